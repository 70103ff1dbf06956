#include "portfolioimportfile.h"

#include "cdatabase.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "portfoliorecordaccess.h"
#include "securitycatalog.h"
#include "tablefilereader.h"

#include <QHash>
#include <QSet>
#include <QTime>
#include <cmath>

namespace {

// Columns the client knows, by the name in the header row.
enum ColumnId {
    CodeColumn,
    MarketColumn,
    NameColumn,
    SideColumn,
    QuantityColumn,
    WeightColumn,
    EntrustTypeColumn,
    EntrustPropColumn,
    PriceColumn,
    AlgoLimitColumn,
    // Portfolio-level columns of an algorithm portfolio, in the order of algoParamKeys().
    FundAccountColumn,
    AlgoNameColumn,
    StartTimeColumn,
    EndTimeColumn,
    ParticipationRateColumn,
    ColumnCount
};

constexpr int FirstAlgoColumn = FundAccountColumn;
constexpr int AlgoColumnCount = ColumnCount - FirstAlgoColumn;

const QStringList &columnNames()
{
    static const QStringList names = {
        QStringLiteral("证券代码"), QStringLiteral("市场"),     QStringLiteral("证券名称"),
        QStringLiteral("委托方向"), QStringLiteral("委托数量"), QStringLiteral("相对权重"),
        QStringLiteral("委托类型"), QStringLiteral("委托属性"), QStringLiteral("委托价格"),
        QStringLiteral("算法限价"), QStringLiteral("资金账号"), QStringLiteral("算法名称"),
        QStringLiteral("开始时间"), QStringLiteral("结束时间"), QStringLiteral("参与率"),
    };
    return names;
}

const QStringList &algoParamKeys()
{
    static const QStringList keys = {ImportField::FundAccount, ImportField::AlgoName,
                                     ImportField::StartTime, ImportField::EndTime,
                                     ImportField::ParticipationRate};
    return keys;
}

const QSet<QString> &knownSides()
{
    static const QSet<QString> sides = {
        OrderSide::unspecified,          OrderSide::buy,
        OrderSide::sell,                 QStringLiteral("担保品买入"),
        QStringLiteral("担保品卖出"),    QStringLiteral("融资买入"),
        QStringLiteral("卖券还款"),      QStringLiteral("融券卖出"),
        QStringLiteral("买券还券"),      QStringLiteral("直接还券"),
    };
    return sides;
}

// Most cells have no surrounding space; those skip the copy trimmed() would make.
QString trimmedCell(const QString &text)
{
    if (text.isEmpty() || (!text.at(0).isSpace() && !text.at(text.size() - 1).isSpace()))
        return text;
    return text.trimmed();
}

bool isDigits(const QString &text)
{
    if (text.isEmpty())
        return false;
    for (QChar c : text) {
        if (c.unicode() < '0' || c.unicode() > '9')
            return false;
    }
    return true;
}

// "1,000", "1000" and "1000.0" are all a thousand shares. A fraction, a sign or letters
// make it no quantity. An empty cell is 0.
bool parseQuantity(QString text, qint64 &quantity)
{
    quantity = 0;
    if (text.isEmpty())
        return true;
    if (text.contains(QLatin1Char(',')))
        text.remove(QLatin1Char(','));
    if (isDigits(text) && text.size() <= 15) {
        quantity = text.toLongLong();
        return true;
    }
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < 0 || value != std::floor(value) || value >= 1e15)
        return false;
    quantity = qint64(value);
    return true;
}

// A weight or a price: a finite number not below 0; an empty cell is 0.
bool parseNonNegative(QString text, double &number)
{
    number = 0.0;
    if (text.isEmpty())
        return true;
    if (text.contains(QLatin1Char(',')))
        text.remove(QLatin1Char(','));
    bool ok = false;
    number = text.toDouble(&ok);
    return ok && std::isfinite(number) && number >= 0.0;
}

// Excel keeps a time the user typed as 09:30 as the fraction of a day it is; the
// algorithm wants the clock time.
QString clockTime(const QString &text)
{
    bool ok = false;
    const double day = text.toDouble(&ok);
    if (!ok || day < 0.0 || day >= 1.0)
        return text;
    const int seconds = qMin(int(std::lround(day * 86400.0)), 86399);
    return QTime(0, 0).addSecs(seconds).toString(QStringLiteral("HH:mm:ss"));
}

// Lines are told apart by security and market in one integer (see m_seen).
static_assert(alignof(SecurityInfo) >= 8, "market index needs three free pointer bits");

class LineReader
{
public:
    LineReader();

    // Finds the known columns; false with a reason when a required one is missing.
    bool readHeader(const TableRow &header, QString &error);
    bool isAlgo() const;
    bool isBlank(const TableRow &row) const;
    // One data line; false with the reasons it cannot be a portfolio line.
    bool readLine(const TableRow &row, PortfolioItem &item, QStringList &reasons);
    QVariantMap algoParam() const;

private:
    QString cell(const TableRow &row, int column) const;
    const SecurityInfo *resolve(const QString &code, const QString &market, QString &key,
                                QStringList &reasons) const;
    QList<const SecurityInfo *> candidates(const QString &code) const;
    static const SecurityInfo *choose(const QList<const SecurityInfo *> &found,
                                      const QString &wanted, QString &key);

    const SecurityCatalog &m_catalog;
    QHash<QString, QString> m_markets;  // key or Chinese name, upper case -> market key
    int m_index[ColumnCount];
    // Security and market of each accepted line -> its row. A security has at most two
    // markets, so the market's place in its list goes in the low bits of the pointer.
    QHash<quintptr, int> m_seen;
    QString m_algo[AlgoColumnCount];
    int m_algoRow[AlgoColumnCount] = {};
};

LineReader::LineReader()
    : m_catalog(SecurityCatalog::instance())
{
    std::fill(std::begin(m_index), std::end(m_index), -1);
    const QStringList keys = {Exchange::sh, Exchange::sz, Exchange::bj, Exchange::hhk,
                              Exchange::szhk, Exchange::hk};
    CDataBase *config = CDataBase::GetInstance();
    for (const QString &key : keys) {
        m_markets.insert(key, key);
        const QString name = config->GetStaticCfgValue(DictionaryKey::exchangeChineseName, key);
        if (!name.isEmpty())
            m_markets.insert(name.toUpper(), key);
    }
}

bool LineReader::readHeader(const TableRow &header, QString &error)
{
    const QStringList &names = columnNames();
    for (int i = 0; i < header.cells.size(); ++i) {
        const int id = names.indexOf(trimmedCell(header.cells.at(i)));
        if (id >= 0 && m_index[id] < 0)
            m_index[id] = i;
    }
    if (m_index[CodeColumn] < 0) {
        error = QStringLiteral("文件缺少“%1”列（第1行应为列名）").arg(names.at(CodeColumn));
        return false;
    }
    if (m_index[QuantityColumn] < 0 && m_index[WeightColumn] < 0) {
        error = QStringLiteral("文件缺少“%1”列或“%2”列，至少需要其中之一")
                    .arg(names.at(QuantityColumn), names.at(WeightColumn));
        return false;
    }
    return true;
}

bool LineReader::isAlgo() const
{
    for (int i = FirstAlgoColumn; i < ColumnCount; ++i) {
        if (m_index[i] >= 0)
            return true;
    }
    return false;
}

bool LineReader::isBlank(const TableRow &row) const
{
    for (const QString &text : row.cells) {
        if (!trimmedCell(text).isEmpty())
            return false;
    }
    return true;
}

QString LineReader::cell(const TableRow &row, int column) const
{
    const int i = m_index[column];
    return (i >= 0 && i < row.cells.size()) ? trimmedCell(row.cells.at(i)) : QString();
}

// Securities a code cell may stand for, the likeliest first. Excel drops the leading
// zeros of a code kept as a number (000001 -> 1, 00700 -> 700): such a code is tried as
// an A-share, ETF or bond code first, then as a Hong Kong code.
QList<const SecurityInfo *> LineReader::candidates(const QString &code) const
{
    QList<const SecurityInfo *> result;
    const int dot = code.lastIndexOf(QLatin1Char('.'));
    if (dot > 0) {
        // A full symbol such as 600519.SH or 700.HK; a number cell may also read 600519.0.
        QString digits = code.left(dot);
        const QString suffix = code.mid(dot + 1).toUpper();
        if (!isDigits(digits) || digits.size() > 6)
            return result;
        if (isDigits(suffix) && suffix.count(QLatin1Char('0')) == suffix.size())
            return candidates(digits);
        const bool hk = suffix == Exchange::hk;
        digits = digits.rightJustified(hk ? 5 : 6, QLatin1Char('0'));
        if (const SecurityInfo *s = m_catalog.bySymbol(digits + QLatin1Char('.') + suffix))
            result.append(s);
        return result;
    }
    if (!isDigits(code) || code.size() > 6)
        return result;
    const auto add = [&](const QString &digits, bool hk) {
        for (const SecurityInfo *s : m_catalog.byCode(digits)) {
            if ((s->listing == Exchange::hk) == hk)
                result.append(s);
        }
    };
    if (code.size() == 6) {
        add(code, false);
    } else if (code.size() == 5 && code.startsWith(QLatin1Char('0'))) {
        // Written with its leading zero, so kept as text: a Hong Kong code as it is.
        add(code, true);
    } else {
        add(code.rightJustified(6, QLatin1Char('0')), false);
        add(code.rightJustified(5, QLatin1Char('0')), true);
    }
    return result;
}

// Of the securities a code may stand for, the first that trades on the wanted market
// (any market when none is wanted, preferring one still listed), and the market key.
const SecurityInfo *LineReader::choose(const QList<const SecurityInfo *> &found,
                                       const QString &wanted, QString &key)
{
    if (wanted.isEmpty()) {
        const SecurityInfo *security = found.first();
        for (const SecurityInfo *s : found) {
            if (!s->delisted && !s->markets.isEmpty()) {
                security = s;
                break;
            }
        }
        key = security->markets.value(0);
        return security;
    }
    for (const SecurityInfo *s : found) {
        // "HK" names the listing; the line trades on its first Stock Connect link.
        if (wanted == Exchange::hk ? (s->listing == Exchange::hk && !s->markets.isEmpty())
                                   : s->markets.contains(wanted)) {
            key = wanted == Exchange::hk ? s->markets.first() : wanted;
            return s;
        }
    }
    return nullptr;
}

// The security of a line and the market key it trades on there. An empty market cell
// means the security's first market (the Shanghai link for a Stock Connect stock).
const SecurityInfo *LineReader::resolve(const QString &code, const QString &market,
                                        QString &key, QStringList &reasons) const
{
    QString wanted;
    if (!market.isEmpty()) {
        wanted = m_markets.value(market.toUpper());
        if (wanted.isEmpty()) {
            reasons << QStringLiteral("市场%1无效").arg(market);
            return nullptr;
        }
    }
    const SecurityInfo *security = nullptr;
    // The usual line, a code as written and its market, takes one look-up.
    const bool fullCode = code.size() == 6
                          || (code.size() == 5 && code.startsWith(QLatin1Char('0')));
    if (!wanted.isEmpty() && wanted != Exchange::hk && fullCode && isDigits(code)) {
        security = m_catalog.byCodeAndMarket(code, wanted);
        key = wanted;
    }
    if (!security) {
        const QList<const SecurityInfo *> found = candidates(code);
        if (found.isEmpty()) {
            reasons << QStringLiteral("代码%1不存在").arg(code);
            return nullptr;
        }
        security = choose(found, wanted, key);
        if (!security) {
            reasons << QStringLiteral("代码%1不在市场%2交易").arg(code, market);
            return nullptr;
        }
    }
    if (security->delisted || key.isEmpty()) {
        reasons << QStringLiteral("代码%1（%2）已退市").arg(code, security->name);
        return nullptr;
    }
    return security;
}

bool LineReader::readLine(const TableRow &row, PortfolioItem &item, QStringList &reasons)
{
    const QString code = cell(row, CodeColumn);
    QString market;
    const SecurityInfo *security = nullptr;
    if (code.isEmpty())
        reasons << QStringLiteral("证券代码为空");
    else
        security = resolve(code, cell(row, MarketColumn), market, reasons);

    QString side = cell(row, SideColumn);
    if (side.isEmpty())
        side = OrderSide::buy;
    else if (!knownSides().contains(side))
        reasons << QStringLiteral("委托方向%1无效").arg(side);

    const QString quantityText = cell(row, QuantityColumn);
    qint64 quantity = 0;
    const bool quantityOk = parseQuantity(quantityText, quantity);
    if (!quantityOk)
        reasons << QStringLiteral("委托数量%1无效，应为不小于0的整数").arg(quantityText);
    const QString weightText = cell(row, WeightColumn);
    double weight = 0.0;
    const bool weightOk = parseNonNegative(weightText, weight);
    if (!weightOk)
        reasons << QStringLiteral("相对权重%1无效，应为不小于0的数").arg(weightText);
    if (quantityOk && weightOk && quantity <= 0 && weight <= 0.0)
        reasons << QStringLiteral("委托数量和相对权重不能都为0");

    double price = 0.0;
    const QString priceText = cell(row, PriceColumn);
    if (!parseNonNegative(priceText, price))
        reasons << QStringLiteral("委托价格%1无效").arg(priceText);
    double limitPrice = 0.0;
    const QString limitText = cell(row, AlgoLimitColumn);
    if (!parseNonNegative(limitText, limitPrice))
        reasons << QStringLiteral("算法限价%1无效").arg(limitText);

    quintptr duplicateKey = 0;
    if (security) {
        duplicateKey = quintptr(security) | quintptr(security->markets.indexOf(market) & 7);
        const int earlier = m_seen.value(duplicateKey);
        if (earlier > 0)
            reasons << QStringLiteral("与第%1行重复（%2 %3）")
                           .arg(earlier)
                           .arg(security->symbol, market);
    }

    // Portfolio-level values: one per portfolio, so a line that says otherwise is wrong.
    QString algo[AlgoColumnCount];
    for (int i = 0; i < AlgoColumnCount; ++i) {
        const int column = FirstAlgoColumn + i;
        algo[i] = cell(row, column);
        if (column == StartTimeColumn || column == EndTimeColumn)
            algo[i] = clockTime(algo[i]);
        if (!algo[i].isEmpty() && !m_algo[i].isEmpty() && algo[i] != m_algo[i]) {
            reasons << QStringLiteral("算法参数与首行不一致：%1为%2，第%3行为%4")
                           .arg(columnNames().at(column), algo[i])
                           .arg(m_algoRow[i])
                           .arg(m_algo[i]);
        }
    }
    if (!reasons.isEmpty())
        return false;

    for (int i = 0; i < AlgoColumnCount; ++i) {
        if (m_algo[i].isEmpty() && !algo[i].isEmpty()) {
            m_algo[i] = algo[i];
            m_algoRow[i] = row.number;
        }
    }
    m_seen.insert(duplicateKey, row.number);

    QString entrustType = cell(row, EntrustTypeColumn);
    QString entrustProp = cell(row, EntrustPropColumn);
    item.setSymbol(security->symbol);
    item.setSymbolName(security->name);
    item.setSymbolExchange(market);
    item.setQuantity(quantity);
    item.setRelWeight(weight);
    item.setSide(side);
    item.setPortEntrustType(entrustType.isEmpty() ? EntrustType::NewOrder : entrustType);
    item.setPortEntrustProp(entrustProp.isEmpty() ? EntrustProp::trading : entrustProp);
    PortfolioRecordAccess::setPrices(item, price, limitPrice);
    return true;
}

QVariantMap LineReader::algoParam() const
{
    QVariantMap param;
    for (int i = 0; i < AlgoColumnCount; ++i)
        param.insert(algoParamKeys().at(i), m_algo[i]);
    return param;
}

} // namespace

QList<PortfolioItem> PortfolioImportFile::read(const QString &path, QString &error,
                                               QVariantMap &extension)
{
    error.clear();
    extension.clear();
    TableFileReader file(path);
    if (!file.open()) {
        error = file.errorString();
        return {};
    }

    LineReader lines;
    TableRow row;
    bool haveHeader = false;
    while (!haveHeader && file.readRow(row)) {
        if (lines.isBlank(row))
            continue;
        if (!lines.readHeader(row, error))
            return {};
        haveHeader = true;
    }
    if (!haveHeader) {
        error = file.errorString();
        if (error.isEmpty())
            error = QStringLiteral("文件为空：第1行应为列名，如证券代码、委托数量");
        return {};
    }

    QList<PortfolioItem> items;
    QStringList faults;
    int dataLines = 0;
    while (file.readRow(row)) {
        if (lines.isBlank(row))
            continue;
        if (++dataLines > MaxDataLines) {
            error = QStringLiteral("文件中的明细超过%1行，请分成多个文件导入").arg(MaxDataLines);
            return {};
        }
        PortfolioItem item;
        QStringList reasons;
        if (lines.readLine(row, item, reasons))
            items.append(item);
        else
            faults << QStringLiteral("第%1行：%2")
                          .arg(row.number)
                          .arg(reasons.join(QStringLiteral("；")));
    }
    if (!file.errorString().isEmpty()) {
        // A damaged file may have lost lines anywhere: none of it is taken.
        error = file.errorString();
        return {};
    }

    extension.insert(Portfolio::portType, lines.isAlgo() ? PortType::algo : PortType::normal);
    if (lines.isAlgo())
        extension.insert(Portfolio::algoParam, lines.algoParam());
    // A message box can show a screenful: name the first lines and count the rest.
    constexpr int shownFaults = 20;
    const int hidden = faults.size() - shownFaults;
    if (hidden > 0) {
        faults.erase(faults.begin() + shownFaults, faults.end());
        faults << QStringLiteral("……另有%1行未通过校验").arg(hidden);
    }
    if (items.isEmpty())
        faults.prepend(QStringLiteral("文件中没有有效的组合明细"));
    error = faults.join(QLatin1Char('\n'));
    return items;
}
