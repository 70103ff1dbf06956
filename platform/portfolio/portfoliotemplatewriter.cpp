#include "portfoliotemplatewriter.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringList>
#include <QVector>

#include <xlsxwriter.h>

using VeltraConstants::TemplateFileType;

namespace {

// One column of a template: its header, the example values of its lines (an empty
// text leaves the cell empty), how examples are written, and what the user is told.
struct TemplateColumn
{
    QString name;
    QStringList examples;
    bool numeric;
    double width;
    QString help;
};

// The example lines: a Shanghai main-board stock, a Shenzhen one and a Hong Kong stock
// bought through the Shanghai link, so that each way of naming a market is shown.
const QVector<TemplateColumn> &allColumns()
{
    static const QVector<TemplateColumn> columns = {
        {QStringLiteral("证券代码"),
         {QStringLiteral("600519"), QStringLiteral("000001"), QStringLiteral("00700")}, false, 12,
         QStringLiteral("必填。6位A股、ETF、债券代码或5位港股代码，也可写成600519.SH；"
                        "该列为文本格式，以保留开头的0。丢了开头0的代码（如700）可能是A股也可能是"
                        "港股，按市场或证券名称区分，都不能区分的行不导入")},
        {QStringLiteral("市场"),
         {QStringLiteral("SH"), QStringLiteral("SZ"), QStringLiteral("HHK")}, false, 8,
         QStringLiteral("SH上交所、SZ深交所、BJ北交所、HHK沪港通、SZHK深港通，也可填中文名称；"
                        "不填时取该证券的第一个交易市场")},
        {QStringLiteral("证券名称"),
         {QStringLiteral("贵州茅台"), QStringLiteral("平安银行"), QStringLiteral("腾讯控股")},
         false, 12,
         QStringLiteral("用于核对：导入时以系统中的证券名称为准；名称是同一代码另一只证券的，"
                        "该行不导入")},
        {QStringLiteral("委托方向"),
         {QStringLiteral("买入"), QStringLiteral("买入"), QStringLiteral("卖出")}, false, 10,
         QStringLiteral("未指定、买入、卖出、担保品买入、担保品卖出、融资买入、卖券还款、"
                        "融券卖出、买券还券、直接还券之一；不填为买入")},
        {QStringLiteral("委托数量"),
         {QStringLiteral("100"), QStringLiteral("2000"), QStringLiteral("200")}, true, 10,
         QStringLiteral("不小于0的整数；委托数量与相对权重每行至少有一个大于0")},
        {QStringLiteral("相对权重"),
         {QStringLiteral("0.5"), QStringLiteral("0.3"), QStringLiteral("0.2")}, true, 10,
         QStringLiteral("不小于0的数，也可写成百分数（如30%），各行按比例换算，合计无须为1")},
        {QStringLiteral("委托类型"),
         {QStringLiteral("0"), QStringLiteral("0"), QStringLiteral("0")}, false, 10,
         QStringLiteral("不填为0（普通委托）")},
        {QStringLiteral("委托属性"),
         {QStringLiteral("0"), QStringLiteral("0"), QStringLiteral("0")}, false, 10,
         QStringLiteral("不填为0（买卖）")},
        {QStringLiteral("委托价格"),
         {QStringLiteral("1450"), QStringLiteral("11.2"), QStringLiteral("380")}, true, 10,
         QStringLiteral("不小于0的数；不填为0")},
        {QStringLiteral("算法限价"),
         {QStringLiteral("1480"), QStringLiteral("11.5"), QStringLiteral("375")}, true, 10,
         QStringLiteral("算法委托的价格限制：买入不高于、卖出不低于该价；不填为0，表示不限价")},
        {QStringLiteral("资金账号"), {QStringLiteral("100012345678"), QString(), QString()},
         false, 14,
         QStringLiteral("算法参数，整个组合一个值：填在第一行即可，其他行如填写须与第一行相同；"
                        "该列须为文本格式，否则Excel会把长账号改成科学计数法（如1.00012E+11）")},
        {QStringLiteral("算法名称"), {QStringLiteral("TWAP"), QString(), QString()}, false, 10,
         QStringLiteral("算法参数，同资金账号")},
        {QStringLiteral("开始时间"), {QStringLiteral("09:30:00"), QString(), QString()}, false,
         10, QStringLiteral("算法参数，时:分:秒，或日期和时间（如2024-03-15 09:30:00）")},
        {QStringLiteral("结束时间"), {QStringLiteral("14:57:00"), QString(), QString()}, false,
         10, QStringLiteral("算法参数，同开始时间，须晚于开始时间")},
        {QStringLiteral("参与率"), {QStringLiteral("0.1"), QString(), QString()}, true, 8,
         QStringLiteral("算法参数，占市场成交量的比例，0.1或10%均表示一成")},
    };
    return columns;
}

const QString kWeightVariant = QStringLiteral("权重");
const QString kQuantityVariant = QStringLiteral("数量");

QVector<TemplateColumn> columnsOf(TemplateFileType type, const QString &variant)
{
    QStringList posAdjust = {QStringLiteral("证券代码"), QStringLiteral("市场")};
    if (variant != kWeightVariant)
        posAdjust << QStringLiteral("委托数量");
    if (variant != kQuantityVariant)
        posAdjust << QStringLiteral("相对权重");
    // The normal template ends at 委托价格; the algorithm template has every column.
    const int normalCount = 9;
    QVector<TemplateColumn> result;
    const QVector<TemplateColumn> &all = allColumns();
    for (int i = 0; i < all.size(); ++i) {
        const bool wanted = type == TemplateFileType::PortfolioAlgo
                            || (type == TemplateFileType::PortfolioNormal && i < normalCount)
                            || (type == TemplateFileType::PortfolioPosAdjust
                                && posAdjust.contains(all.at(i).name));
        if (wanted)
            result.append(all.at(i));
    }
    if (type == TemplateFileType::PortfolioPosAdjust) {
        for (TemplateColumn &column : result) {
            if (column.name == QLatin1String("委托数量"))
                column.help = QStringLiteral("目标持仓数量（股、份、张），0表示清仓该证券；"
                                             "小数按四舍五入到整数");
            else if (column.name == QLatin1String("相对权重"))
                column.help = QStringLiteral("目标权重，不小于0，各行按比例换算为目标金额，合计无须为1");
            else if (column.name == QLatin1String("市场"))
                column.help = QStringLiteral("必填。SH上交所、SZ深交所、BJ北交所、HHK沪港通、SZHK深港通");
        }
    }
    return result;
}

bool writeCsv(const QVector<TemplateColumn> &columns, const QString &path, QString *error)
{
    QStringList lines;
    QStringList header;
    int rows = 0;
    for (const TemplateColumn &column : columns) {
        header << column.name;
        rows = qMax(rows, column.examples.size());
    }
    lines << header.join(QLatin1Char(','));
    for (int r = 0; r < rows; ++r) {
        QStringList cells;
        for (const TemplateColumn &column : columns)
            cells << column.examples.value(r);
        lines << cells.join(QLatin1Char(','));
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = QStringLiteral("模板文件无法创建：%1（%2）").arg(path, file.errorString());
        return false;
    }
    file.write("\xEF\xBB\xBF");
    file.write((lines.join(QStringLiteral("\r\n")) + QStringLiteral("\r\n")).toUtf8());
    if (!file.commit()) {
        if (error)
            *error = QStringLiteral("模板文件保存失败：%1（%2）").arg(path, file.errorString());
        return false;
    }
    if (error)
        error->clear();
    return true;
}

QString sheetName(TemplateFileType type, const QString &variant = QString())
{
    switch (type) {
    case TemplateFileType::PortfolioAlgo:
        return QStringLiteral("算法组合");
    case TemplateFileType::PortfolioPosAdjust:
        return variant.isEmpty() ? QStringLiteral("调仓目标持仓")
                                 : QStringLiteral("调仓目标持仓（%1）").arg(variant);
    case TemplateFileType::PortfolioNormal:
        break;
    }
    return QStringLiteral("普通组合");
}

} // namespace

QString PortfolioTemplateWriter::suggestedFileName(TemplateFileType type, const QString &variant)
{
    return sheetName(type, variant) + QStringLiteral("模板.xlsx");
}

QString PortfolioTemplateWriter::caption(TemplateFileType type, const QString &variant)
{
    return QStringLiteral("保存%1模板").arg(sheetName(type, variant));
}

bool PortfolioTemplateWriter::write(TemplateFileType type, const QString &path, QString *error,
                                    const QString &variant)
{
    const QVector<TemplateColumn> columns = columnsOf(type, variant);
    if (QFileInfo(path).suffix().compare(QLatin1String("csv"), Qt::CaseInsensitive) == 0)
        return writeCsv(columns, path, error);

    const QByteArray fileName = QFile::encodeName(path);
    lxw_workbook *workbook = workbook_new(fileName.constData());
    if (!workbook) {
        if (error)
            *error = QStringLiteral("模板文件无法创建：%1").arg(path);
        return false;
    }
    lxw_format *header = workbook_add_format(workbook);
    format_set_bold(header);
    format_set_bg_color(header, 0xDDEBF7);
    // Text format keeps the leading zeros of codes the user types later (000001, 00700).
    lxw_format *text = workbook_add_format(workbook);
    format_set_num_format(text, "@");
    lxw_format *wrap = workbook_add_format(workbook);
    format_set_text_wrap(wrap);

    // A sheet name holds at most 31 characters and no brackets of some kinds; the
    // variant's full-width brackets are allowed.
    lxw_worksheet *sheet = workbook_add_worksheet(workbook, sheetName(type, variant).toUtf8().constData());
    for (int c = 0; c < columns.size(); ++c) {
        const TemplateColumn &column = columns.at(c);
        const lxw_col_t col = lxw_col_t(c);
        worksheet_set_column(sheet, col, col, column.width, column.numeric ? nullptr : text);
        worksheet_write_string(sheet, 0, col, column.name.toUtf8().constData(), header);
        for (int r = 0; r < column.examples.size(); ++r) {
            const QString &value = column.examples.at(r);
            if (value.isEmpty())
                continue;
            const lxw_row_t row = lxw_row_t(r + 1);
            if (column.numeric)
                worksheet_write_number(sheet, row, col, value.toDouble(), nullptr);
            else
                worksheet_write_string(sheet, row, col, value.toUtf8().constData(), text);
        }
    }
    worksheet_freeze_panes(sheet, 1, 0);

    lxw_worksheet *help = workbook_add_worksheet(workbook, "填写说明");
    worksheet_set_column(help, 0, 0, 12, nullptr);
    worksheet_set_column(help, 1, 1, 80, wrap);
    worksheet_write_string(help, 0, 0, "列名", header);
    worksheet_write_string(help, 0, 1, "说明", header);
    for (int c = 0; c < columns.size(); ++c) {
        const lxw_row_t row = lxw_row_t(c + 1);
        worksheet_write_string(help, row, 0, columns.at(c).name.toUtf8().constData(), nullptr);
        worksheet_write_string(help, row, 1, columns.at(c).help.toUtf8().constData(), wrap);
    }
    const lxw_row_t note = lxw_row_t(columns.size() + 2);
    worksheet_write_string(help, note, 0, "注意", nullptr);
    worksheet_write_string(help, note, 1,
                           "导入时只读取第一个可见的工作表，第1行为列名，列的顺序不限；"
                           "示例行请替换为实际的组合明细",
                           wrap);

    const lxw_error result = workbook_close(workbook);
    if (result != LXW_NO_ERROR) {
        if (error) {
            *error = QStringLiteral("模板文件保存失败：%1（%2）")
                         .arg(path, QString::fromUtf8(lxw_strerror(result)));
        }
        return false;
    }
    if (error)
        error->clear();
    return true;
}
