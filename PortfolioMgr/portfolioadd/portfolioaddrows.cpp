#include "portfolioaddrows.h"

#include "cbusinessdatabase.h"
#include "cdatabase.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "portfoliodetailbasicinfo.h"
#include "portfoliolistbasicinfo.h"
#include "securitycatalog.h"
#include "veltrautils.h"

namespace PortfolioAddRows {

namespace {

const QString kMarketsKey = QString::number(MarketsRole);
const QString kQtyLimitKey = QString::number(QtyLimitRole);

bool isRoleKey(const QString &key)
{
    bool numeric = false;
    key.toInt(&numeric);
    return numeric;
}

} // namespace

int editableQuantityLimit(const QModelIndex &index, bool unlimited)
{
    const qint64 limit = unlimited ? UnlimitedQty : index.data(QtyLimitRole).toLongLong();
    return int(limit > 0 && limit < UnlimitedQty ? limit : UnlimitedQty);
}

const QStringList &sides()
{
    static const QStringList list{
        QStringLiteral("未指定"),   QStringLiteral("买入"),     QStringLiteral("卖出"),
        QStringLiteral("担保品买入"), QStringLiteral("担保品卖出"), QStringLiteral("融资买入"),
        QStringLiteral("卖券还款"),  QStringLiteral("融券卖出"),  QStringLiteral("买券还券"),
        QStringLiteral("直接还券")};
    return list;
}

QString marketName(const QString &market)
{
    const QString name = CDataBase::GetInstance()->GetStaticCfgValue(DictionaryKey::exchangeChineseName, market);
    return name.isEmpty() ? market : name;
}

void setQuantity(RowRecord &row, qint64 quantity, ShowType showType)
{
    row[Quantity][RecordRole::display] = VeltraUtils::TransQtyShowType(QString::number(quantity), showType);
    row[Quantity][RecordRole::user] = quantity;
}

void setRelWeight(RowRecord &row, double weight)
{
    row[RelWeight][RecordRole::display] = VeltraUtils::CompactNumber(weight);
    row[RelWeight][RecordRole::user] = weight;
}

void setAbsWeight(RowRecord &row, double percent)
{
    row[AbsWeight][RecordRole::display] = VeltraUtils::FixedText(percent, 2) + QLatin1Char('%');
    row[AbsWeight][RecordRole::user] = percent;
}

RowRecord securityRow(const SecurityInfo &security, const QString &market, qint64 quantity,
                      double relWeight, const QString &side, ShowType showType, bool unlimited)
{
    RowRecord row;
    row[Code][RecordRole::display] = security.code;
    row[Code][RecordRole::user] = security.symbol;
    row[Name][RecordRole::display] = security.name;
    row[Market][RecordRole::display] = marketName(market);
    row[Market][RecordRole::user] = market;
    row[Market][kMarketsKey] = security.markets;
    row[Side][RecordRole::display] = side;
    row[Side][RecordRole::user] = side;
    setQuantity(row, quantity, showType);
    row[Quantity][kQtyLimitKey] =
        unlimited ? UnlimitedQty : CBusinessDataBase::GetInstance()->GetMaxOrderQty(security.symbol);
    setRelWeight(row, relWeight);
    setAbsWeight(row, 0.0);
    return row;
}

RowRecord basketRow(const QVariantMap &record, ShowType showType)
{
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    QString market = record.value(UserAccount::securityExchange).toString();
    const SecurityInfo *s = record.contains(Security::symbol)
        ? catalog.bySymbol(record.value(Security::symbol).toString())
        : catalog.byCodeAndMarket(record.value(Security::securityID).toString(), market);
    const PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    if (!s || store->checkPortfolioSecurity(s->symbol) || !store->IsSupportSecurity(s->symbol))
        return RowRecord();
    if (!s->markets.contains(market))
        market = s->markets.value(0);
    const double weight = record.contains(Security::weight) ? record.value(Security::weight).toDouble() : 1.0;
    RowRecord row = securityRow(*s, market, record.value(Security::nominalQty).toLongLong(), weight,
                                record.value(Security::side, OrderSide::buy).toString(), showType, false);
    QMap<QString, QVariant> &cell = row[Code];
    for (auto it = record.cbegin(); it != record.cend(); ++it)
        cell.insert(it.key(), it.value());
    cell.insert(Security::symbol, s->symbol);
    return row;
}

QString symbolOf(const RowRecord &row)
{
    return row.value(Code).value(RecordRole::user).toString();
}

QString marketOf(const RowRecord &row)
{
    return row.value(Market).value(RecordRole::user).toString();
}

qint64 quantityOf(const RowRecord &row)
{
    return row.value(Quantity).value(RecordRole::user).toLongLong();
}

double relWeightOf(const RowRecord &row)
{
    return row.value(RelWeight).value(RecordRole::user).toDouble();
}

QVariantMap recordOf(const RowRecord &row)
{
    QVariantMap record;
    const QMap<QString, QVariant> cell = row.value(Code);
    for (auto it = cell.cbegin(); it != cell.cend(); ++it) {
        if (!isRoleKey(it.key()))
            record.insert(it.key(), it.value());
    }
    if (record.isEmpty())
        return record;
    record.insert(Security::nominalQty, quantityOf(row));
    record.insert(Security::weight, relWeightOf(row));
    record.insert(Security::side, row.value(Side).value(RecordRole::display));
    record.insert(UserAccount::securityExchange, marketOf(row));
    return record;
}

PortfolioItem itemOf(const RowRecord &row)
{
    PortfolioItem item;
    item.setSymbol(symbolOf(row));
    item.setSymbolName(row.value(Name).value(RecordRole::display).toString());
    item.setSymbolExchange(marketOf(row));
    item.setSide(row.value(Side).value(RecordRole::display).toString());
    item.setQuantity(quantityOf(row));
    item.setRelWeight(relWeightOf(row));
    item.setPortEntrustType(EntrustType::NewOrder);
    item.setPortEntrustProp(EntrustProp::trading);
    return item;
}

void recomputeAbsWeights(QList<RowRecord> &rows)
{
    QVector<PortfolioDetailBasicInfo::WeightLine> lines;
    lines.reserve(rows.size());
    for (const RowRecord &row : qAsConst(rows))
        lines.append({symbolOf(row), quantityOf(row), relWeightOf(row)});
    const bool weighted = PortfolioDetailBasicInfo::CalculateWeight(lines) == 0;
    for (int i = 0; i < rows.size(); ++i)
        setAbsWeight(rows[i], weighted ? lines.at(i).relWeight * 100.0 : 0.0);
}

void splitBySide(const QList<PortfolioItem> &items, QList<PortfolioItem> &buy, QList<PortfolioItem> &sell)
{
    static const QStringList buying{QStringLiteral("买入"), QStringLiteral("担保品买入"),
                                    QStringLiteral("融资买入"), QStringLiteral("买券还券")};
    static const QStringList selling{QStringLiteral("卖出"), QStringLiteral("担保品卖出"),
                                     QStringLiteral("卖券还款"), QStringLiteral("融券卖出")};
    for (const PortfolioItem &item : items) {
        if (buying.contains(item.Side()))
            buy.append(item);
        else if (selling.contains(item.Side()))
            sell.append(item);
    }
}

} // namespace PortfolioAddRows
