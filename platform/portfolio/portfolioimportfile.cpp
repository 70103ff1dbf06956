#include "portfolioimportfile.h"

#include "fieldkeys.h"
#include "importlinereader.h"
#include "tablefilereader.h"

#include <QFileInfo>

QList<PortfolioItem> PortfolioImportFile::read(const QString &path, QString &error,
                                               QVariantMap &extension)
{
    error.clear();
    extension.clear();
    const QString file = QStringLiteral("文件“") + QFileInfo(path).fileName() + QStringLiteral("”");
    const auto refuse = [&](const QString &reason) {
        error = file + QStringLiteral("无法导入：") + reason;
        return QList<PortfolioItem>();
    };
    TableFileReader table(path);
    if (!table.open())
        return refuse(table.errorString());

    ImportLineReader lines(table.decimalComma());
    TableRow row;
    bool haveHeader = false;
    while (!haveHeader && table.readRow(row)) {
        if (ImportLineReader::isBlank(row))
            continue;
        QString reason;
        if (!lines.readHeader(row, table.formatDescription(), reason))
            return refuse(reason);
        haveHeader = true;
    }
    if (!haveHeader) {
        return refuse(table.errorString().isEmpty()
                          ? QStringLiteral("文件中没有内容：第1行应为列名，如证券代码、委托数量")
                          : table.errorString());
    }
    table.setColumns(lines.usedColumns());

    QList<PortfolioItem> items;
    QStringList shown;
    int faults = 0;
    int dataLines = 0;
    while (table.readRow(row)) {
        if (ImportLineReader::isBlank(row))
            continue;
        if (++dataLines > MaxDataLines) {
            return refuse(QStringLiteral("明细超过%1行，请分成多个文件导入")
                              .arg(QString::number(MaxDataLines)));
        }
        items.append(PortfolioItem());
        ImportReasons reasons(faults < ShownFaults);
        if (lines.readLine(row, items.last(), reasons))
            continue;
        items.removeLast();
        if (++faults <= ShownFaults)
            shown << QStringLiteral("第") + QString::number(row.number) + QStringLiteral("行：")
                         + reasons.text();
    }
    if (!table.errorString().isEmpty()) {
        // A damaged file may have lost lines anywhere: none of it is taken.
        return refuse(table.errorString());
    }

    extension.insert(Portfolio::portType, lines.isAlgo() ? PortType::algo : PortType::normal);
    if (lines.isAlgo())
        extension.insert(Portfolio::algoParam, lines.algoParam());
    if (faults > ShownFaults)
        shown << QStringLiteral("……另有%1行未通过校验").arg(faults - ShownFaults);
    if (items.isEmpty()) {
        extension.clear();
        if (faults == 0)
            return refuse(QStringLiteral("列名行之后没有组合明细"));
        error = file + QStringLiteral("中没有可导入的组合明细，%1行未通过校验：\n").arg(faults)
                + shown.join(QLatin1Char('\n'));
        return items;
    }
    if (faults > 0) {
        error = file
                + QStringLiteral("有%1行未通过校验，其余%2行可以导入：\n")
                      .arg(QString::number(faults), QString::number(items.size()))
                + shown.join(QLatin1Char('\n'));
    }
    return items;
}
