#include "portfoliodetailexport.h"

#include "portfoliodetailmodel.h"
#include "veltrautils.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTemporaryFile>
#include <QVector>

#include <xlsxwriter.h>

namespace PortfolioDetailExport {

namespace {

using Model = PortfolioDetailModel;

// Why a file could not be written, in the words a trader reads.
QString reasonOf(const QFileDevice &file)
{
    if (file.error() == QFileDevice::PermissionsError)
        return QStringLiteral("没有写入权限（%1）").arg(file.errorString());
    return file.errorString();
}

bool isPercentColumn(int column)
{
    return column == Model::ColAbsWeight || column == Model::ColChangeRate;
}

QString csvText(const QVariant &value, int column)
{
    QString text;
    if (value.type() == QVariant::String) {
        text = value.toString();
    } else if (column == Model::ColQuantity) {
        text = QString::number(value.toLongLong());
    } else if (isPercentColumn(column)) {
        text = VeltraUtils::FixedText(value.toDouble() * 100.0, 2) + QLatin1Char('%');
    } else if (column == Model::ColMarketValue) {
        text = VeltraUtils::FixedText(value.toDouble(), 2);
    } else {
        text = VeltraUtils::CompactNumber(value.toDouble(), 6);
    }
    if (text.contains(QLatin1Char(',')) || text.contains(QLatin1Char('"')) || text.contains(QLatin1Char('\n')))
        text = QLatin1Char('"') + text.replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
    return text;
}

bool writeCsv(const Model &model, const QString &path, QString *error)
{
    QStringList lines;
    lines.reserve(model.rowCount() + 1);
    QStringList cells;
    for (int c = 0; c < Model::ColumnCount; ++c)
        cells << Model::columnTitle(c);
    lines << cells.join(QLatin1Char(','));
    for (int r = 0; r < model.rowCount(); ++r) {
        cells.clear();
        for (int c = 0; c < Model::ColumnCount; ++c)
            cells << csvText(model.exportValue(r, c), c);
        lines << cells.join(QLatin1Char(','));
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = QStringLiteral("无法创建文件%1：%2").arg(QDir::toNativeSeparators(path), reasonOf(file));
        return false;
    }
    file.write("\xEF\xBB\xBF");
    file.write((lines.join(QStringLiteral("\r\n")) + QStringLiteral("\r\n")).toUtf8());
    if (!file.commit()) {
        *error = QStringLiteral("无法写入文件%1：%2").arg(QDir::toNativeSeparators(path), reasonOf(file));
        return false;
    }
    return true;
}

// A worksheet name: at most 31 characters, none of []:*?/\ .
QString sheetName(const QString &title)
{
    QString name = title;
    name.replace(QRegularExpression(QStringLiteral("[\\[\\]:*?/\\\\]")), QStringLiteral("_"));
    name = name.left(31).trimmed();
    return name.isEmpty() ? QStringLiteral("组合明细") : name;
}

bool writeXlsx(const Model &model, const QString &sheetTitle, const QString &path, QString *error)
{
    const QString where = QDir::toNativeSeparators(path);
    // libxlsxwriter writes its file only when the workbook is closed and says little
    // about why it could not. The workbook is built in a scratch file and then saved
    // under the trader's name in one step, so that a failed export names the real reason
    // and never leaves half a file behind.
    QTemporaryFile scratch(QDir::temp().filePath(QStringLiteral("tzapp-detail-XXXXXX.xlsx")));
    if (!scratch.open()) {
        *error = QStringLiteral("无法写入文件%1：临时文件无法创建（%2）").arg(where, scratch.errorString());
        return false;
    }
    scratch.close();

    lxw_workbook *workbook = workbook_new(QFile::encodeName(scratch.fileName()).constData());
    if (!workbook) {
        *error = QStringLiteral("无法创建文件%1").arg(where);
        return false;
    }
    lxw_format *header = workbook_add_format(workbook);
    format_set_bold(header);
    format_set_bg_color(header, 0xDDEBF7);
    lxw_format *text = workbook_add_format(workbook);
    format_set_num_format(text, "@");
    lxw_format *integer = workbook_add_format(workbook);
    format_set_num_format(integer, "#,##0");
    lxw_format *weight = workbook_add_format(workbook);
    format_set_num_format(weight, "0.000000");
    lxw_format *percent = workbook_add_format(workbook);
    format_set_num_format(percent, "0.00%");
    lxw_format *price = workbook_add_format(workbook);
    format_set_num_format(price, "0.00#");
    lxw_format *amount = workbook_add_format(workbook);
    format_set_num_format(amount, "#,##0.00");
    const QVector<lxw_format *> numberFormat{nullptr, nullptr, nullptr, nullptr, integer, weight,
                                             percent, price,   percent, nullptr, amount};
    static const double widths[Model::ColumnCount] = {10, 12, 9, 10, 12, 11, 10, 10, 10, 8, 16};

    lxw_worksheet *sheet = workbook_add_worksheet(workbook, sheetName(sheetTitle).toUtf8().constData());
    for (int c = 0; c < Model::ColumnCount; ++c) {
        const lxw_col_t col = lxw_col_t(c);
        worksheet_set_column(sheet, col, col, widths[c], nullptr);
        worksheet_write_string(sheet, 0, col, Model::columnTitle(c).toUtf8().constData(), header);
    }
    for (int r = 0; r < model.rowCount(); ++r) {
        const lxw_row_t row = lxw_row_t(r + 1);
        for (int c = 0; c < Model::ColumnCount; ++c) {
            const QVariant value = model.exportValue(r, c);
            const lxw_col_t col = lxw_col_t(c);
            if (value.type() == QVariant::String) {
                const QString s = value.toString();
                if (!s.isEmpty())
                    worksheet_write_string(sheet, row, col, s.toUtf8().constData(), c == Model::ColSymbol ? text : nullptr);
            } else {
                worksheet_write_number(sheet, row, col, value.toDouble(), numberFormat.at(c));
            }
        }
    }
    worksheet_freeze_panes(sheet, 1, 0);

    const lxw_error result = workbook_close(workbook);
    if (result != LXW_NO_ERROR) {
        *error = QStringLiteral("无法写入文件%1：%2").arg(where, QString::fromUtf8(lxw_strerror(result)));
        return false;
    }
    if (!scratch.open()) {
        *error = QStringLiteral("无法写入文件%1：%2").arg(where, scratch.errorString());
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = QStringLiteral("无法创建文件%1：%2").arg(where, reasonOf(file));
        return false;
    }
    file.write(scratch.readAll());
    if (!file.commit()) {
        *error = QStringLiteral("无法写入文件%1：%2").arg(where, reasonOf(file));
        return false;
    }
    return true;
}

} // namespace

QString suggestedFileName(const QString &portfolioName)
{
    QString name = portfolioName;
    name.replace(QRegularExpression(QStringLiteral("[\\\\/:*?\"<>|\\s]+")), QStringLiteral("_"));
    return QStringLiteral("组合明细_%1_%2.xlsx").arg(name, QDate::currentDate().toString(QStringLiteral("yyyyMMdd")));
}

bool write(const PortfolioDetailModel &model, const QString &sheetTitle, const QString &path, QString *error)
{
    QString reason;
    const QFileInfo target(path);
    if (!target.absoluteDir().exists()) {
        if (error)
            *error = QStringLiteral("无法写入文件%1：文件夹%2不存在")
                         .arg(QDir::toNativeSeparators(path), QDir::toNativeSeparators(target.absolutePath()));
        return false;
    }
    const bool ok = QFileInfo(path).suffix().compare(QLatin1String("csv"), Qt::CaseInsensitive) == 0
                        ? writeCsv(model, path, &reason)
                        : writeXlsx(model, sheetTitle, path, &reason);
    if (error)
        *error = reason;
    return ok;
}

} // namespace PortfolioDetailExport
