#include "accountrows.h"

#include "businessdatainterface.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "portfoliolistbasicinfo.h"
#include "securitycatalog.h"
#include "veltrabusinessdatainterface.h"
#include "veltrautils.h"

#include <QDebug>
#include <cmath>

namespace AccountRows {

using namespace PortfolioAddRows;

namespace {

const QString kCny = QStringLiteral("CNY");
const QString kShortSaleSide = QStringLiteral("融券卖出");

// The order fields every account-derived line carries in its code cell.
void putOrderFields(RowRecord &row, const QString &symbol, const QString &market, const QString &side,
                    qint64 quantity)
{
    QMap<QString, QVariant> &cell = row[Code];
    cell.insert(Security::symbol, symbol);
    cell.insert(Security::side, side);
    cell.insert(Security::entrustType, EntrustType::NewOrder);
    cell.insert(UserAccount::entrustProp, EntrustProp::trading);
    cell.insert(UserAccount::securityExchange, market);
    cell.insert(Security::nominalQty, quantity);
    cell.insert(OptionHoldType::key, OptionHoldType::ordinary);
}

void setQuantityCell(RowRecord &row, int column, qint64 quantity, ShowType showType)
{
    row[column][RecordRole::display] = VeltraUtils::TransQtyShowType(QString::number(quantity), showType);
    row[column][RecordRole::user] = quantity;
}

} // namespace

QStringList marketsOfRange(int marketRange)
{
    QStringList markets;
    if (marketRange == NonHongKong || marketRange == BothMarkets)
        markets << Exchange::sh << Exchange::sz << Exchange::bj;
    if (marketRange == HongKongConnect || marketRange == BothMarkets)
        markets << Exchange::hhk << Exchange::szhk;
    return markets;
}

bool isHongKongConnect(const QString &market)
{
    return market == Exchange::hhk || market == Exchange::szhk || market == Exchange::hk;
}

QString positionsInRange(const QString &tradingAccount, int marketRange, QList<QVariantMap> &positions,
                         const QString &sourceId)
{
    QList<QVariantMap> all;
    const QString rc = BusinessDataInterface::GetPositionListByAccount(tradingAccount, QString(), QString(), all,
                                                                       sourceId);
    if (rc != QLatin1String("0"))
        return rc;
    const QStringList markets = marketsOfRange(marketRange);
    for (const QVariantMap &position : qAsConst(all)) {
        const QString market = position.value(RequestField::securityExchange).toString();
        // A Stock Connect holding sits on the shareholder account of its link's home
        // market: the market decides, checked against the account's own there.
        if (markets.contains(market)
            && VeltraBusinessDataInterface::GetCurrentSecurityAccountByTradingAndExchange(tradingAccount, market)
                   == position.value(AccountField::securityAccount).toString())
            positions.append(position);
    }
    return QStringLiteral("0");
}

QString positionRefusal(const QVariantMap &position)
{
    const QString symbol = position.value(Security::symbol).toString();
    const QString currency = position.value(AccountField::currency, kCny).toString();
    if (currency != kCny)
        return QStringLiteral("币种%1").arg(currency);
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return QStringLiteral("未知证券");
    const PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    if (!store->IsSupportSecurity(symbol))
        return QStringLiteral("%1不支持组合交易").arg(s->type);
    if (store->checkPortfolioSecurity(symbol))
        return QStringLiteral("限制交易");
    return QString();
}

qint64 positionQuantity(const QVariantMap &position, int positionQtyType)
{
    const QString key = positionQtyType == CurrentQty ? AccountField::currentQty : AccountField::availableQty;
    const double factor = VeltraBusinessDataInterface::GetDispFactorBySymbol(position.value(Security::symbol).toString());
    return qint64(position.value(key).toDouble() * factor);
}

RowRecord positionRow(const QVariantMap &position, qint64 quantity, ShowType showType)
{
    const QString symbol = position.value(Security::symbol).toString();
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return RowRecord();
    const QString market = position.value(RequestField::securityExchange).toString();
    RowRecord row = securityRow(*s, market, quantity, 1.0, OrderSide::sell, showType, true);
    putOrderFields(row, symbol, market, OrderSide::sell, quantity);
    QMap<QString, QVariant> &cell = row[Code];
    for (const QString &key : {AccountField::currentQty, AccountField::availableQty, AccountField::securityAccount,
                               AccountField::costPrice}) {
        cell.insert(key, position.value(key));
    }
    return row;
}

qint64 quantityByRatio(const QString &symbol, qint64 holding, double ratioPercent)
{
    if (holding <= 0 || ratioPercent <= 0.0)
        return 0;
    if (ratioPercent >= 100.0)
        return holding;  // a whole holding may be sold, odd lot and all
    // 1e-9 keeps 30% of 1000 at 300 despite binary fractions.
    const qint64 share = qint64(std::floor(double(holding) * ratioPercent / 100.0 + 1e-9));
    return VeltraBusinessDataInterface::GetQtyByOddLotType(symbol, OddLotType::RoundDown, share, true);
}

void weighRows(QList<RowRecord> &rows)
{
    recomputeAbsWeights(rows);
    for (RowRecord &row : rows)
        setRelWeight(row, row.value(AbsWeight).value(RecordRole::user).toDouble() / 100.0);
}

RowRecord shortSaleRow(const TzMarginSecurityInfo &info, ShowType showType)
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(info.symbol);
    if (!s)
        return RowRecord();
    RowRecord row;
    row[SSCode][RecordRole::display] = s->code;
    row[SSCode][RecordRole::user] = s->symbol;
    putOrderFields(row, s->symbol, info.market, kShortSaleSide, info.lendableQty);
    row[SSName][RecordRole::display] = s->name;
    row[SSMarket][RecordRole::display] = marketName(info.market);
    row[SSMarket][RecordRole::user] = info.market;
    setQuantityCell(row, SSLendable, info.lendableQty, showType);
    setShortSaleQuantity(row, info.lendableQty, showType);
    return row;
}

qint64 shortSaleQuantity(const RowRecord &row)
{
    return row.value(SSQuantity).value(RecordRole::user).toLongLong();
}

qint64 shortSaleLendable(const RowRecord &row)
{
    return row.value(SSLendable).value(RecordRole::user).toLongLong();
}

void setShortSaleQuantity(RowRecord &row, qint64 quantity, ShowType showType)
{
    setQuantityCell(row, SSQuantity, quantity, showType);
    row[SSCode][Security::nominalQty] = quantity;
}

PortfolioItem shortSaleItemOf(const RowRecord &row)
{
    PortfolioItem item;
    item.setSymbol(row.value(SSCode).value(RecordRole::user).toString());
    item.setSymbolName(row.value(SSName).value(RecordRole::display).toString());
    item.setSymbolExchange(row.value(SSMarket).value(RecordRole::user).toString());
    item.setSide(kShortSaleSide);
    item.setQuantity(shortSaleQuantity(row));
    item.setRelWeight(1.0);
    item.setPortEntrustType(EntrustType::NewOrder);
    item.setPortEntrustProp(EntrustProp::trading);
    return item;
}

RowRecord voucherRow(const QVariantMap &contract, ShowType showType)
{
    const QString code = contract.value(Security::securityID).toString();
    const QString market = contract.value(UserAccount::securityExchange).toString();
    const QString symbol = VeltraBusinessDataInterface::GetSymbolBySecurityIDAndExchange(code, market);
    RowRecord row;
    row[VCode][RecordRole::display] = code;
    row[VCode][RecordRole::user] = symbol;
    putOrderFields(row, symbol, market, QStringLiteral("买券还券"),
                   contract.value(SecurityProvideLoan::ContractQty).toLongLong());
    row[VCode][SecurityProvideLoan::ContractNo] = contract.value(SecurityProvideLoan::ContractNo);
    row[VName][RecordRole::display] = contract.value(SecurityProvideLoan::SecurityName);
    row[VMarket][RecordRole::display] = marketName(market);
    row[VMarket][RecordRole::user] = market;
    setQuantityCell(row, VQuantity, contract.value(SecurityProvideLoan::ContractQty).toLongLong(), showType);
    row[VReturnDate][RecordRole::display] = contract.value(SecurityProvideLoan::ReturnDate);
    return row;
}

QString targetKey(const QString &symbol, const QString &market)
{
    return symbol + QLatin1Char('_') + market;
}

qint64 targetQuantity(double value)
{
    return qint64(value >= -1e-10 ? value + 1e-6 : value - 1e-6);
}

QMap<QString, qint64> currentHoldings(const QList<QVariantMap> &positions)
{
    QMap<QString, qint64> current;
    for (const QVariantMap &position : positions) {
        const QString symbol = position.value(Security::symbol).toString();
        if (symbol.isEmpty())
            continue;
        current.insert(targetKey(symbol, position.value(RequestField::securityExchange).toString()),
                       qint64(position.value(AccountField::currentQty).toDouble()
                              * VeltraBusinessDataInterface::GetDispFactorBySymbol(symbol)));
    }
    return current;
}

QList<RowRecord> rebalanceRows(const QMap<QString, qint64> &current, const QMap<QString, qint64> &targets,
                               int oddLotType, ShowType showType, QStringList *droppedKeys)
{
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    QList<RowRecord> rows;
    rows.reserve(current.size() + targets.size());
    // Both maps are in key order: one walk over the two gives every key once, in order,
    // with its holding and its target (0 where a map has none).
    auto held = current.cbegin();
    auto target = targets.cbegin();
    while (held != current.cend() || target != targets.cend()) {
        const bool fromHeld = target == targets.cend() || (held != current.cend() && held.key() <= target.key());
        const bool fromTarget = held == current.cend() || (target != targets.cend() && target.key() <= held.key());
        const QString &key = fromHeld ? held.key() : target.key();
        const qint64 holding = fromHeld ? held.value() : 0;
        const qint64 wanted = fromTarget ? target.value() : 0;
        if (fromHeld)
            ++held;
        if (fromTarget)
            ++target;
        const qint64 difference = wanted - holding;
        if (difference == 0) {
            qDebug().noquote() << "调仓过滤代码 " << key << wanted;
            continue;
        }
        const int split = key.lastIndexOf(QLatin1Char('_'));
        const QString symbol = key.left(split);
        const QString market = key.mid(split + 1);
        const qint64 quantity = VeltraBusinessDataInterface::GetQtyByOddLotType(symbol, oddLotType,
                                                                                qAbs(difference), true);
        const SecurityInfo *s = catalog.bySymbol(symbol);
        if (!s || quantity <= 0) {
            if (droppedKeys)
                droppedKeys->append(key);
            continue;
        }
        const QString &side = difference < 1 ? OrderSide::sell : OrderSide::buy;
        RowRecord row;
        row[Code][RecordRole::display] = s->code;
        row[Code][RecordRole::user] = symbol;
        putOrderFields(row, symbol, market, side, quantity);
        row[Code][RecordRole::user6] = difference;
        row[Name][RecordRole::display] = s->name;
        row[Market][RecordRole::display] = marketName(market);
        row[Market][RecordRole::user] = market;
        row[Side][RecordRole::display] = side;
        row[Side][RecordRole::user] = side;
        setQuantity(row, quantity, showType);
        setRelWeight(row, 1.0);
        rows.append(row);
    }
    return rows;
}

} // namespace AccountRows
