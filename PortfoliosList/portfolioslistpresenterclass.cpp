#include "portfolioslistpresenterclass.h"

#include "messagebus.h"

#include "businessdatainterface.h"
#include "cbusinessdatabase.h"
#include "ceventmessagecommon.h"
#include "constants.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "etflogichandler.h"
#include "fieldkeys.h"
#include "infocenterdatamanagerinterface.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioquotemgr.h"
#include "portfoliosyncqueue.h"
#include "portparsecreatethread.h"
#include "tzcore.h"
#include "veltrabusinessdatainterface.h"
#include "veltrautils.h"

#include <QDebug>
#include <QDir>
#include <QFutureWatcher>
#include <QtConcurrent>
#include <memory>


PortfoliosListPresenterClass::PortfoliosListPresenterClass(QObject *parent)
    : TzPresenterClass(parent)
    , m_sync(new PortfolioSyncQueue(pluginPid(), this))
{
    connect(this, &PortfoliosListPresenterClass::signalScanFlagChanged, this,
            &PortfoliosListPresenterClass::slotScanFlagChanged);
    connect(this, &PortfoliosListPresenterClass::signalClipboardMsg, this,
            &PortfoliosListPresenterClass::slotClipboardMsg);
    // The queue has brought the store up to date before the list hears of a change.
    connect(m_sync, &PortfolioSyncQueue::portfolioUpdated, this, [this](QString portfolioNo) {
        if (PortfolioDetailBasicInfo *p = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(portfolioNo))
            subscribePortfolios({p});
        emit OnPortfolioNewOrCreate(portfolioNo);
    });
    connect(m_sync, &PortfolioSyncQueue::portfolioRemoved, this, &PortfoliosListPresenterClass::OnPortfolioDelete);
    connect(m_sync, &PortfolioSyncQueue::fetchFailed, this, [](QString reason) {
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Warning, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                QStringLiteral("其他终端的组合变更未能获取：%1，将自动重试").arg(reason));
    });
    connect(m_sync, &PortfolioSyncQueue::batchApplied, this, [](int updated, int removed) {
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Info, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                QStringLiteral("已同步其他终端的组合变更：更新%1个，移除%2个").arg(updated).arg(removed));
    });
    // Changes made elsewhere while the link to the back end was down were never heard
    // of: once it is back, the whole list is loaded again.
    connect(MessageBus::instance(), &MessageBus::connectionStateChanged, this, [this](bool connected) {
        if (connected && m_linkLost) {
            VeltraUtils::PutBusiMsg(BusiMsgLevel::Info, BusiMsgType::SystemMsg, BusiMsgItem::TagSystem,
                                    QStringLiteral("与后台的连接已恢复，重新加载组合列表"));
            slotRefreshPortfoliosList();
        }
        m_linkLost = !connected;
    });
}

PortfoliosListPresenterClass::~PortfoliosListPresenterClass()
{
    // The worker calls this presenter's requests: it ends (its file finished) before
    // anything it uses goes away.
    if (m_parseThread)
        m_parseThread->stopThread();
}

void PortfoliosListPresenterClass::registerMessages()
{
    if (m_registered)
        return;
    m_registered = true;
    applyScanCfg();
    Sub(MsgType::MDMARKETRECORD);
    Sub(PORTFOLIO_NEW_OR_UPDATE);
    Sub(PORTFOLIO_DELETED);
    Sub(POSITION_UPDATE);
    SubEvent(VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(EventName::ALL_ETFLIST_LOADED));
    SubEvent(VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(EventName::PORT_LIST_INIT));
    // The bus delivers only what a presenter subscribed to; the dispatch below also
    // serves these three.
    SubEvent(VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(EventName::PORTFOLIOS_SETTING_CHANGED));
    SubEvent(CLIPBOARD_CLICK_EVENT);
    SubEvent(VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(EventName::TRADING_ACCOUNT_CHANGED));
}

void PortfoliosListPresenterClass::ProcEventMsg(QString source, QVariant type, QVariant message)
{
    Q_UNUSED(source)
    CUnPackMessageCommon unpack;
    unpack.SetUnPackMsg(message);
    const QString pluginId = unpack.GetValue(PLUGIN_ID).toString();
    Q_UNUSED(pluginId)

    const int msgType = type.toInt();
    if (msgType == PORTFOLIO_NEW_OR_UPDATE) {
        const QString portfolioNo = unpack.GetValue(RequestField::portfolioNo).toString();
        qInfo().noquote() << QStringLiteral("组合列表收到新组合创建/更新消息，组合号：%1").arg(portfolioNo);
        // The change was made elsewhere (another page or desk): the queue fetches that
        // portfolio alone, off this thread, and emits OnPortfolioNewOrCreate once the
        // store holds its new state.
        m_sync->noteChanged({portfolioNo});
        return;
    }
    if (msgType == PORTFOLIO_DELETED) {
        m_sync->noteDeleted(unpack.GetValue(RequestField::portfolioNo).toString());
        return;
    }
    if (msgType == POSITION_UPDATE) {
        emit OnPositionUpdate(unpack.GetRowCount() > 0 ? unpack.GetRowValue() : unpack.header());
        return;
    }

    const int eventId = msgType;
    if (eventId == VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(EventName::ALL_ETFLIST_LOADED)) {
        qInfo() << "receive ALL_ETFLIST_LOADED";
        emit signalAllETFListLoaded();
    } else if (eventId == VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(
                              EventName::PORTFOLIOS_SETTING_CHANGED)) {
        emit signalScanCfgChanged();
        applyScanCfg();
    } else if (eventId == CLIPBOARD_CLICK_EVENT) {
        if (unpack.GetValue(MENU_ID).toString() != menuID())
            return;
        const QStringList lstSymbols = unpack.GetValue(QStringLiteral("symbolList")).toStringList();
        if (!lstSymbols.isEmpty()) {
            qInfo().noquote() << QStringLiteral("接收到剪切板event数据，开始创建组合。");
            emit signalClipboardMsg(lstSymbols);
        }
    } else if (eventId == VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(
                              EventName::TRADING_ACCOUNT_CHANGED)) {
        emit signalTradingAccountChanged(unpack.GetValue(QStringLiteral("assetAccount")).toString(),
                                         unpack.GetValue(QStringLiteral("tradingAccount")).toString());
    }
}

void PortfoliosListPresenterClass::ProcMarketRecords(const QList<QVariantMap> &records)
{
    PortfolioQuoteMgr *quotes = PortfolioQuoteMgr::GetInstance();
    for (const QVariantMap &record : records) {
        TzPortfolioQuote quote;
        const int rc = quotes->GetPortfolioQuote(record, quote);
        if (rc != 0) {
            qInfo() << "PortfoliosListPresenterClass::ProcMarketRecords record ignored, code" << rc
                    << record.value(Security::symbol).toString();
            continue;
        }
        QVariant asVariant = record;
        quote.Suspended = quotes->IsSymbolSuspended(asVariant);
        quotes->UpdateQuote(quote.Symbol, quote);
        emit quotationInfoUpdate(quote);
    }
}

void PortfoliosListPresenterClass::slotSubscribeSecurityQuotation(const QVariantList &symbols)
{
    const QString rc = BusinessDataInterface::SubscribeSecurityQuotation(this, symbols, 1, 1);
    if (rc != QLatin1String("0"))
        qInfo().noquote() << "PortfoliosListPresenterClass::slotSubscribeSecurityQuotation" << rc;
}

void PortfoliosListPresenterClass::slotOnPortfolioImported(QString portfolioNo)
{
    PutPortfolioChangedEvent(portfolioNo);
}

void PortfoliosListPresenterClass::subscribeStoredPortfolios()
{
    subscribePortfolios(PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails());
}

void PortfoliosListPresenterClass::subscribePortfolios(const QList<PortfolioDetailBasicInfo *> &portfolios)
{
    // Subscriptions are counted on the back end: a reload asks only for what is new, and
    // looks only at portfolios that changed since their lines were subscribed.
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QVariantList list;
    for (PortfolioDetailBasicInfo *p : portfolios) {
        const quint64 stamp = store->changeStamp(p->PortfolioNo());
        auto seen = m_subscribedStamps.find(p->PortfolioNo());
        if (seen != m_subscribedStamps.end() && *seen == stamp)
            continue;
        m_subscribedStamps.insert(p->PortfolioNo(), stamp);
        for (const PortfolioItem &item : p->SymbolList()) {
            if (!m_storeSubscriptions.contains(item.Symbol())) {
                m_storeSubscriptions.insert(item.Symbol());
                list.append(item.Symbol());
            }
        }
    }
    if (!list.isEmpty())
        slotSubscribeSecurityQuotation(list);
}

void PortfoliosListPresenterClass::slotInitCoreData()
{
    emit signalDataLoadState(1);
    int rc = 0;
    {
        QWriteLocker lock(&m_coreLock);
        rc = PortfolioListBasicInfo::GetInstance()->tryLockAndInit(this, false);
        // ETF baskets and industries load in the background; the ETF list announces
        // itself with ALL_ETFLIST_LOADED when ready.
        ETFLogicHandler::instance();
        InfoCenterDataManagerInterface::init();
    }
    watchTreeData();
    m_showType = VeltraUtils::GetCurrentShowType();
    emit signalShowTypeChanged(m_showType);
    if (rc != 0) {
        const QString error = PortfolioListBasicInfo::GetInstance()->lastError();
        qInfo().noquote() << "PortfoliosListPresenterClass::slotInitCoreData load failed:" << error;
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Error, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                QStringLiteral("组合列表加载失败：%1").arg(error));
    } else {
        subscribeStoredPortfolios();
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Info, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                QStringLiteral("组合列表已加载%1个组合")
                                    .arg(PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails().size()));
    }
    emit signalDataLoadState(0);
    emit CoreDataInitialized(rc == 0);
    // Codes another page handed over before this one was open: the list is there now to
    // take the portfolio they make.
    if (rc == 0)
        DealCacheDataByClipboard();
}

void PortfoliosListPresenterClass::watchTreeData()
{
    // The creation dialog's basket trees need both the ETF list and the industries; a
    // watcher owned by this presenter tells the list once both are there (and says
    // nothing if the page is gone by then).
    auto *watcher = new QFutureWatcher<void>(this);
    connect(watcher, &QFutureWatcher<void>::finished, this, [this, watcher] {
        watcher->deleteLater();
        emit signalInitTreeViewsDataFinished();
    });
    watcher->setFuture(QtConcurrent::run([] {
        constexpr int kWaitMs = 60000;
        if (!ETFLogicHandler::instance().waitUntilLoaded(kWaitMs)
            || !InfoCenterDataManagerInterface::waitUntilReady(kWaitMs))
            qWarning() << "PortfoliosListPresenterClass reference data still loading after" << kWaitMs << "ms";
    }));
}

void PortfoliosListPresenterClass::slotRefreshPortfoliosList()
{
    // The back end is asked on a worker; the window stays usable meanwhile, and the
    // store changes on this thread once the answer is complete.
    if (m_refreshing)
        return;
    m_refreshing = true;
    emit signalDataLoadState(1);
    struct Load
    {
        bool ok = false;
        QString error;
        PortfolioSnapshot snapshot;
    };
    // Shared, not copied: the snapshot's only owner hands it to the store as it is.
    using LoadPtr = std::shared_ptr<Load>;
    auto *watcher = new QFutureWatcher<LoadPtr>(this);
    connect(watcher, &QFutureWatcher<LoadPtr>::finished, this, [this, watcher] {
        watcher->deleteLater();
        LoadPtr load = watcher->result();
        m_refreshing = false;
        emit signalDataLoadState(0);
        if (!load->ok) {
            qInfo().noquote() << "PortfoliosListPresenterClass::slotRefreshPortfoliosList failed:" << load->error;
            VeltraUtils::PutBusiMsg(BusiMsgLevel::Warning, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                    QStringLiteral("组合列表刷新失败：%1").arg(load->error));
            emit signalShowWarningMsg(QStringLiteral("刷新组合列表"),
                                      QStringLiteral("组合列表刷新失败：%1").arg(load->error));
            return;
        }
        PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
        QStringList changed;
        {
            QWriteLocker lock(&m_coreLock);
            changed = store->ApplySnapshot(load->snapshot);
        }
        // Thousands of unchanged portfolios are left in the snapshot: freeing them is
        // work for a worker, not for the window.
        QtConcurrent::run([load] { load->snapshot = PortfolioSnapshot(); });
        QList<PortfolioDetailBasicInfo *> fresh;
        for (const QString &no : qAsConst(changed)) {
            if (PortfolioDetailBasicInfo *p = store->GetPortfolioDetail(no))
                fresh << p;
        }
        subscribePortfolios(fresh);
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Info, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                QStringLiteral("组合列表已刷新，共%1个组合").arg(store->GetPortfolioDetails().size()));
        emit OnPortfolioNewOrCreate(QString());
    });
    const QString source = pluginPid();
    watcher->setFuture(QtConcurrent::run([source] {
        auto load = std::make_shared<Load>();
        load->ok = PortfolioListBasicInfo::LoadSnapshot(source, &load->snapshot, &load->error);
        if (load->ok)
            PortfolioListBasicInfo::GetInstance()->DiffSnapshot(&load->snapshot);
        return load;
    }));
}

void PortfoliosListPresenterClass::refreshPortfolios(const QStringList &portfolioNos)
{
    m_sync->noteChanged(portfolioNos);
}

void PortfoliosListPresenterClass::putEvent(int type, const QVariantMap &fields)
{
    CPackMessageCommon body;
    for (auto it = fields.cbegin(); it != fields.cend(); ++it)
        body.AddVaule(it.key(), it.value());
    CEventMessageCommon event(pluginPid(), type, body.GetPackedMsg(false));
    PutEvent(&event);
}

void PortfoliosListPresenterClass::PutPortfolioClickEvent(const QString &portfolioNo)
{
    putEvent(PORTFOLIO_CLICKED, {{RequestField::portfolioNo, portfolioNo},
                                 {PLUGIN_ID, QString::fromLatin1(PortfoliosListConstants::PAGE_ID)}});
}

void PortfoliosListPresenterClass::PutPortfolioChangedEvent(const QString &portfolioNo)
{
    putEvent(PORTFOLIO_NEW_OR_UPDATE, {{RequestField::portfolioNo, portfolioNo}});
}

