#include "positionfileloader.h"

#include "exchange.h"
#include "importvalue.h"
#include "securitycatalog.h"
#include "sqlaccountstore.h"
#include "sqlportfoliostore.h"
#include "tablefilereader.h"

#include <QFileInfo>
#include <QHash>
#include <QVector>

using ImportValue::quoted;

namespace {

enum Column { CodeColumn, MarketColumn, CurrentColumn, AvailableColumn, CostColumn, ColumnCount };

struct ColumnName
{
    QString chinese;
    QString english;
    bool required;
};

const ColumnName kColumns[ColumnCount] = {
    {QStringLiteral("证券代码"), QStringLiteral("code"), true},
    {QStringLiteral("市场"), QStringLiteral("market"), true},
    {QStringLiteral("当前数量"), QStringLiteral("current_qty"), true},
    {QStringLiteral("可用数量"), QStringLiteral("available_qty"), false},
    {QStringLiteral("成本价"), QStringLiteral("cost_price"), false},
};

// The market key a market cell names, or an empty text.
QString marketOf(const QString &cell)
{
    static const QHash<QString, QString> names = {
        {QStringLiteral("上海"), Exchange::sh},      {QStringLiteral("沪"), Exchange::sh},
        {QStringLiteral("深圳"), Exchange::sz},      {QStringLiteral("深"), Exchange::sz},
        {QStringLiteral("北京"), Exchange::bj},      {QStringLiteral("北交所"), Exchange::bj},
        {QStringLiteral("沪港通"), Exchange::hhk},   {QStringLiteral("深港通"), Exchange::szhk},
    };
    const QString key = cell.toUpper();
    if (SqlAccountStore::marketRank(key) > 0)
        return key;
    return names.value(cell);
}

bool isDigits(const QString &text)
{
    if (text.isEmpty())
        return false;
    for (QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
    }
    return true;
}

// The code a cell means on a market: ="600519" and 600519.SH are 600519, and a code that
// a spreadsheet kept as a number gets back the leading zeros it lost (1 is 000001 in
// Shenzhen, 700 is 00700 in Hong Kong). Empty when the cell cannot be a code there.
QString codeOf(const QString &cell, const QString &market)
{
    const bool hongKong = market == Exchange::hhk || market == Exchange::szhk;
    QString code = ImportValue::withoutFormulaQuotes(cell);
    const int dot = code.lastIndexOf(QLatin1Char('.'));
    if (dot > 0) {
        const QString suffix = code.mid(dot + 1).toUpper();
        if (suffix != (hongKong ? Exchange::hk : market))
            return QString();
        code.truncate(dot);
    }
    const int width = hongKong ? 5 : 6;
    if (!isDigits(code) || code.size() > width)
        return QString();
    return code.rightJustified(width, QLatin1Char('0'));
}

QString cell(const TableRow &row, const QVector<int> &columns, Column column)
{
    const int index = columns.at(column);
    return index >= 0 ? row.cells.value(index) : QString();
}

} // namespace

bool PositionFileLoader::read(const QString &path,
                              const QList<SecurityAccountRecord> &securityAccounts,
                              QList<PositionRecord> *positions, Result *result)
{
    positions->clear();
    TableFileReader reader(path);
    if (!reader.open()) {
        result->problems = QStringList{reader.errorString()};
        return false;
    }
    // The header: the first row that holds anything.
    TableRow row;
    bool haveHeader = false;
    while (!haveHeader && reader.readRow(row)) {
        for (const QString &text : qAsConst(row.cells))
            haveHeader = haveHeader || !text.isEmpty();
    }
    if (!haveHeader) {
        result->problems = QStringList{reader.errorString().isEmpty()
                                           ? QStringLiteral("文件是空的，没有表头行")
                                           : reader.errorString()};
        return false;
    }
    QVector<int> columns(ColumnCount, -1);
    QStringList headerProblems;
    for (int i = 0; i < row.cells.size(); ++i) {
        const QString name = row.cells.at(i).trimmed();
        for (int c = 0; c < ColumnCount; ++c) {
            if (name != kColumns[c].chinese
                && name.compare(kColumns[c].english, Qt::CaseInsensitive) != 0)
                continue;
            if (columns[c] >= 0)
                headerProblems << QStringLiteral("表头第%1行的“%2”列出现了两次")
                                      .arg(row.number)
                                      .arg(kColumns[c].chinese);
            columns[c] = i;
        }
    }
    for (int c = 0; c < ColumnCount; ++c) {
        if (kColumns[c].required && columns[c] < 0)
            headerProblems << QStringLiteral("表头缺少“%1”列（或%2）")
                                  .arg(kColumns[c].chinese, kColumns[c].english);
    }
    if (!headerProblems.isEmpty()) {
        result->problems = headerProblems;
        return false;
    }
    QVector<int> used;
    for (int index : qAsConst(columns)) {
        if (index >= 0)
            used << index;
    }
    reader.setColumns(used);

    QHash<QString, QString> securityAccountOf;
    for (const SecurityAccountRecord &account : securityAccounts)
        securityAccountOf.insert(account.market, account.securityAccount);
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    QHash<QString, int> lineOf;  // market|code -> line it is on
    const auto bad = [&](const TableRow &line, const QString &reason) {
        if (result->problems.size() < MaxListedProblems)
            result->problems << QStringLiteral("第%1行：%2").arg(line.number).arg(reason);
    };
    while (reader.readRow(row)) {
        bool blank = true;
        for (const QString &text : qAsConst(row.cells))
            blank = blank && text.isEmpty();
        if (blank && row.faults.isEmpty())
            continue;
        QStringList reasons;
        for (const TableCellFault &fault : qAsConst(row.faults)) {
            const int c = int(columns.indexOf(fault.column));
            reasons << QStringLiteral("“%1”列的内容无法识别").arg(kColumns[qMax(0, c)].chinese);
        }

        PositionRecord position;
        const QString codeText = cell(row, columns, CodeColumn);
        const QString marketText = cell(row, columns, MarketColumn);
        position.market = marketOf(marketText);
        if (codeText.isEmpty())
            reasons << QStringLiteral("证券代码为空");
        if (position.market.isEmpty()) {
            reasons << (marketText.isEmpty() ? QStringLiteral("市场为空")
                                             : QStringLiteral("市场%1无效").arg(quoted(marketText)));
        } else if (!securityAccountOf.contains(position.market)) {
            reasons << QStringLiteral("账户没有%1市场的证券账号").arg(position.market);
        } else if (!codeText.isEmpty()) {
            position.securityId = codeOf(codeText, position.market);
            position.securityAccount = securityAccountOf.value(position.market);
            if (position.securityId.isEmpty()
                || !catalog.byCodeAndMarket(position.securityId, position.market))
                reasons << QStringLiteral("证券代码%1在市场%2不存在")
                               .arg(quoted(codeText), position.market);
        }

        const QString currentText = cell(row, columns, CurrentColumn);
        const QString availableText = cell(row, columns, AvailableColumn);
        const QString costText = cell(row, columns, CostColumn);
        QString problem;
        if (currentText.isEmpty())
            reasons << QStringLiteral("当前数量为空");
        else if (!(problem = ImportValue::readQuantity(currentText, reader.decimalComma(),
                                                       position.currentQty)).isEmpty())
            reasons << QStringLiteral("当前数量%1%2").arg(quoted(currentText), problem);
        const bool currentOk = !currentText.isEmpty() && problem.isEmpty();
        position.availableQty = position.currentQty;
        if (!availableText.isEmpty()) {
            problem = ImportValue::readQuantity(availableText, reader.decimalComma(),
                                                position.availableQty);
            if (!problem.isEmpty())
                reasons << QStringLiteral("可用数量%1%2").arg(quoted(availableText), problem);
            else if (currentOk && position.availableQty > position.currentQty)
                reasons << QStringLiteral("可用数量%1大于当前数量%2")
                               .arg(position.availableQty)
                               .arg(position.currentQty);
        }
        problem = ImportValue::readNonNegative(costText, reader.decimalComma(), false,
                                               position.costPrice);
        if (!problem.isEmpty())
            reasons << QStringLiteral("成本价%1%2").arg(quoted(costText), problem);
        position.currency = QStringLiteral("CNY");

        if (reasons.isEmpty()) {
            const QString key = position.market + QLatin1Char('|') + position.securityId;
            const int first = lineOf.value(key);
            if (first > 0)
                reasons << QStringLiteral("与第%1行是同一证券（%2，%3）")
                               .arg(first)
                               .arg(position.securityId, position.market);
            else
                lineOf.insert(key, row.number);
        }
        if (!reasons.isEmpty()) {
            ++result->badLines;
            bad(row, reasons.join(QStringLiteral("；")));
            continue;
        }
        positions->append(position);
    }
    if (!reader.errorString().isEmpty()) {
        result->problems = QStringList{reader.errorString()};
        return false;
    }
    if (result->badLines > 0)
        return false;
    if (positions->isEmpty()) {
        result->problems = QStringList{QStringLiteral("文件中没有持仓行")};
        return false;
    }
    return true;
}

bool PositionFileLoader::load(SqlPortfolioStore &store, const QString &accountNumber,
                              const QString &path, bool replace, Result *result)
{
    *result = Result();
    SqlAccountStore accounts(store);
    QString error;
    if (!store.begin(&error)) {
        result->problems = QStringList{error};
        return false;
    }
    QList<SecurityAccountRecord> securityAccounts;
    QList<PositionRecord> positions;
    bool ok = accounts.findAccount(-1, accountNumber, SqlAccountStore::Prefer::FundAccount,
                                   &result->account, &error);
    if (ok && result->account.id < 0) {
        ok = false;
        error = QStringLiteral("账号不存在：%1").arg(accountNumber);
    }
    ok = ok && accounts.securityAccounts(result->account.id, &securityAccounts, &error);
    // A file that is refused has its reasons in result->problems already.
    ok = ok && read(path, securityAccounts, &positions, result);
    if (ok && replace)
        ok = accounts.clearPositions(result->account.id, &result->removed, &error);
    for (int i = 0; ok && i < positions.size(); ++i) {
        bool added = false;
        ok = accounts.writePosition(result->account.id, positions.at(i), &added, &error);
        ++(added ? result->added : result->updated);
    }
    if (ok) {
        ok = store.commit(&error);
    } else {
        store.rollback();
    }
    if (!ok) {
        if (!error.isEmpty())
            result->problems = QStringList{error};
        result->added = result->updated = 0;
        result->removed = 0;
        return false;
    }
    result->lines = positions.size();
    return true;
}

QStringList PositionFileLoader::report(const QString &path, bool replace, const Result &result)
{
    const QString file = QFileInfo(path).fileName();
    const QString account = result.account.id < 0
                                ? QString()
                                : QStringLiteral("账户%1（%2）")
                                      .arg(result.account.fundAccount, result.account.name);
    if (result.problems.isEmpty()) {
        QString summary = QStringLiteral("%1：从%2写入%3行持仓，新增%4行，更新%5行")
                              .arg(account, file)
                              .arg(result.lines)
                              .arg(result.added)
                              .arg(result.updated);
        if (replace)
            summary += QStringLiteral("；写入前清除了原有的%1行持仓").arg(result.removed);
        return {summary};
    }
    QStringList lines;
    if (result.badLines > 0) {
        lines << QStringLiteral("%1有%2行有误，%3的持仓未作任何改动：")
                     .arg(file)
                     .arg(result.badLines)
                     .arg(account);
        for (const QString &problem : result.problems)
            lines << QStringLiteral("  ") + problem;
        if (result.badLines > result.problems.size())
            lines << QStringLiteral("  另有%1行有误未列出").arg(result.badLines - result.problems.size());
    } else {
        lines << QStringLiteral("%1未载入，持仓未作任何改动：%2")
                     .arg(file, result.problems.join(QStringLiteral("；")));
    }
    return lines;
}
