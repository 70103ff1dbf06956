#include "portfolioinfomgr.h"

#include "exchange.h"
#include "fieldkeys.h"
#include "securitycatalog.h"

PortfolioInfoMgr *PortfolioInfoMgr::GetInstance()
{
    static PortfolioInfoMgr instance;
    return &instance;
}

QString PortfolioInfoMgr::GetPortfolioDetailByEtfData(const QList<QVariantMap> &rows,
                                                      PortfolioDetailBasicInfo &out)
{
    if (rows.isEmpty())
        return QStringLiteral("ETF成分券数据为空");
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    QList<PortfolioItem> items;
    items.reserve(rows.size());
    for (int i = 0; i < rows.size(); ++i) {
        const QVariantMap &row = rows.at(i);
        const SecurityInfo *s = nullptr;
        QString market;
        if (row.contains(Security::symbol)) {
            s = catalog.bySymbol(row.value(Security::symbol).toString());
        } else {
            market = row.value(UserAccount::securityExchange).toString();
            s = catalog.byCodeAndMarket(row.value(Security::securityID).toString(), market);
        }
        if (!s) {
            return QStringLiteral("第%1条成分券代码无效：%2")
                .arg(i + 1)
                .arg(row.value(Security::symbol, row.value(Security::securityID)).toString());
        }
        bool ok = false;
        const qint64 qty = row.value(Security::nominalQty).toLongLong(&ok);
        if (!ok || qty < 0)
            return QStringLiteral("第%1条成分券数量无效：%2").arg(i + 1).arg(s->symbol);
        PortfolioItem item;
        item.setSymbol(s->symbol);
        item.setSymbolName(s->name);
        item.setSymbolExchange(market.isEmpty() ? s->markets.value(0) : market);
        item.setQuantity(qty);
        item.setSide(OrderSide::buy);
        item.setPortEntrustType(EntrustType::NewOrder);
        item.setPortEntrustProp(EntrustProp::trading);
        items.append(item);
    }
    out.setSymbolList(items);
    return QString();
}
