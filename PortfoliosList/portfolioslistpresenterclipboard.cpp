// The clipboard portfolio: codes handed over by another page (an event while this page
// is open, the platform cache when it opens later) become one portfolio of equal weights.

#include "portfolioslistpresenterclass.h"

#include "businessdatainterface.h"
#include "cbusinessdatabase.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "portfoliolistbasicinfo.h"
#include "securitycatalog.h"
#include "veltrautils.h"

#include <QDebug>

namespace {
const QString kSymbolList = QStringLiteral("symbolList");
const QString kClipboardTitle = QStringLiteral("新建剪切板组合");
}

bool PortfoliosListPresenterClass::DealCacheDataByClipboard()
{
    CBusinessDataBase *cache = CBusinessDataBase::GetInstance();
    const QStringList lstSymbols = cache->GetCacheData(CacheName::ClipboardData).toMap().value(kSymbolList).toStringList();
    if (lstSymbols.isEmpty())
        return false;
    qInfo().noquote() << QStringLiteral("从Cache中检测到剪切板数据，开始创建组合。");
    cache->SetCacheData(CacheName::ClipboardData, QVariant());
    emit signalClipboardMsg(lstSymbols);
    return true;
}

void PortfoliosListPresenterClass::slotClipboardMsg(QStringList lstSymbols)
{
    QStringList supported, unsupported;
    for (const QString &symbol : lstSymbols)
        (PortfolioListBasicInfo::GetInstance()->IsSupportSecurity(symbol) ? supported : unsupported) << symbol;
    emit signalCreateWarning(supported, unsupported);
}

int PortfoliosListPresenterClass::slotCreateClipboardPortfolio(QStringList lstSymbols)
{
    if (lstSymbols.isEmpty()) {
        emit signalShowWarningMsg(kClipboardTitle, QStringLiteral("无有效代码数据！"));
        return 0;
    }
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QString name = QStringLiteral("剪切板组合");
    store->CheckPortfolioName(name, name);

    PortfolioDetailBasicInfo detail;
    detail.setName(name);
    detail.setStrategyName(QStringLiteral("默认"));
    QList<PortfolioItem> items;
    QVariantList codes;
    for (const QString &symbol : qAsConst(lstSymbols)) {
        PortfolioItem item;
        item.setSymbol(symbol);
        item.setRelWeight(1.0);
        // Name, market and a plain buy make the line what every other page shows; the
        // weight alone says how much of the basket it is.
        if (const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol)) {
            item.setSymbolName(s->name);
            item.setSymbolExchange(s->markets.value(0));
        }
        item.setSide(OrderSide::buy);
        item.setPortEntrustType(EntrustType::NewOrder);
        item.setPortEntrustProp(EntrustProp::trading);
        items.append(item);
        codes.append(symbol);
    }
    detail.setSymbolList(items);

    if (AddPortfolioAndStore(detail) != QLatin1String("0")) {
        emit signalShowWarningMsg(kClipboardTitle, QStringLiteral("后台数据添加失败！"));
        return 0;
    }
    BusinessDataInterface::SubscribeSecurityQuotation(this, codes, 1, 2);
    for (const QString &symbol : qAsConst(lstSymbols))
        m_storeSubscriptions.insert(symbol);
    m_subscribedStamps.insert(detail.PortfolioNo(), store->changeStamp(detail.PortfolioNo()));
    VeltraUtils::PutBusiMsg(BusiMsgLevel::Info, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                            QStringLiteral("已新建剪切板组合：%1（%2），%3只证券")
                                .arg(detail.Name(), detail.PortfolioNo(), QString::number(lstSymbols.size())));
    emit OnPortfolioNewOrCreate(detail.PortfolioNo());
    PutPortfolioClickEvent(detail.PortfolioNo());
    return 1;
}
