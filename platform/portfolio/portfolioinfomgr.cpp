#include "portfolioinfomgr.h"

#include "exchange.h"
#include "fieldkeys.h"
#include "portfoliolistbasicinfo.h"
#include "securitycatalog.h"

#include <cmath>

PortfolioInfoMgr *PortfolioInfoMgr::GetInstance()
{
    static PortfolioInfoMgr instance;
    return &instance;
}

QString PortfolioInfoMgr::GetPortfolioDetailByBasketData(const QList<QVariantMap> &rows,
                                                         PortfolioDetailBasicInfo &out)
{
    if (rows.isEmpty())
        return QStringLiteral("成分券数据为空");
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    const PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QList<PortfolioItem> items;
    items.reserve(rows.size());
    for (int i = 0; i < rows.size(); ++i) {
        const QVariantMap &row = rows.at(i);
        const QString market = row.value(UserAccount::securityExchange).toString();
        const SecurityInfo *s = row.contains(Security::symbol)
            ? catalog.bySymbol(row.value(Security::symbol).toString())
            : catalog.byCodeAndMarket(row.value(Security::securityID).toString(), market);
        const QString named = row.value(Security::symbol, row.value(Security::securityID)).toString();
        if (!s)
            return QStringLiteral("第%1条成分券代码无效：%2").arg(i + 1).arg(named);
        if (store->checkPortfolioSecurity(s->symbol) || !store->IsSupportSecurity(s->symbol))
            return QStringLiteral("第%1条成分券不可用于组合交易：%2").arg(i + 1).arg(s->symbol);
        if (!market.isEmpty() && !s->markets.contains(market))
            return QStringLiteral("第%1条成分券市场无效：%2 %3").arg(i + 1).arg(s->symbol, market);
        bool ok = false;
        const qint64 qty = row.value(Security::nominalQty).toLongLong(&ok);
        if (!ok || qty < 0)
            return QStringLiteral("第%1条成分券数量无效：%2").arg(i + 1).arg(s->symbol);
        double weight = 0.0;
        if (row.contains(Security::weight)) {
            weight = row.value(Security::weight).toDouble(&ok);
            if (!ok || !std::isfinite(weight) || weight < 0.0)
                return QStringLiteral("第%1条成分券权重无效：%2").arg(i + 1).arg(s->symbol);
        }
        PortfolioItem item;
        item.setSymbol(s->symbol);
        item.setSymbolName(s->name);
        item.setSymbolExchange(market.isEmpty() ? s->markets.value(0) : market);
        item.setQuantity(qty);
        item.setRelWeight(weight);
        item.setSide(row.value(Security::side, OrderSide::buy).toString());
        item.setPortEntrustType(EntrustType::NewOrder);
        item.setPortEntrustProp(EntrustProp::trading);
        items.append(item);
    }
    out.setSymbolList(items);
    return QString();
}

QString PortfolioInfoMgr::GetPortfolioDetailByEtfData(const QList<QVariantMap> &rows,
                                                      PortfolioDetailBasicInfo &out)
{
    if (rows.isEmpty())
        return QStringLiteral("ETF成分券数据为空");
    return GetPortfolioDetailByBasketData(rows, out);
}
