#include "portfolioslistpresenterclass.h"

#include "businessdatainterface.h"
#include "cbusinessdatabase.h"
#include "ceventmessagecommon.h"
#include "constants.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "etflogichandler.h"
#include "fieldkeys.h"
#include "infocenterdatamanagerinterface.h"
#include "msgtypes.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioquotemgr.h"
#include "tzcore.h"
#include "veltrabusinessdatainterface.h"
#include "veltrautils.h"

#include <QDebug>
#include <QDir>
#include <QFutureWatcher>
#include <QtConcurrent>
#include <QSettings>
#include <QStandardPaths>

namespace {
// Setting names of the auto-import group of the portfolio trade settings.
const QString kScanGroup = QStringLiteral("PortfolioTrade/");
const QString PortScanFlag = QStringLiteral("PortScanFlag");
const QString PortScanDir = QStringLiteral("PortScanDir");
const QString PortDeleteFlag = QStringLiteral("PortDeleteFlag");
const QString PortBackupDir = QStringLiteral("PortBackupDir");
}

PortfoliosListPresenterClass::PortfoliosListPresenterClass(QObject *parent)
    : TzPresenterClass(parent)
{
}

PortfoliosListPresenterClass::~PortfoliosListPresenterClass() = default;

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
        // The change was made elsewhere (another page or desk): bring the store up to
        // date first, so the list finds the new state when it refills.
        {
            QWriteLocker lock(&m_coreLock);
            if (PortfolioListBasicInfo::GetInstance()->tryLockAndInit(this, true) == 0)
                subscribeStoredPortfolios();
        }
        emit OnPortfolioNewOrCreate(portfolioNo);
        return;
    }
    if (msgType == PORTFOLIO_DELETED) {
        emit OnPortfolioDelete(unpack.GetValue(RequestField::portfolioNo).toString());
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
    // Subscriptions are counted on the back end: a reload asks only for what is new.
    QVariantList list;
    for (PortfolioDetailBasicInfo *p : PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails()) {
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
    emit signalDataLoadState(1);
    int rc = 0;
    {
        QWriteLocker lock(&m_coreLock);
        rc = PortfolioListBasicInfo::GetInstance()->tryLockAndInit(this, true);
    }
    emit signalDataLoadState(0);
    if (rc != 0) {
        emit signalShowWarningMsg(QStringLiteral("刷新组合列表"),
                                  QStringLiteral("组合列表刷新失败：%1")
                                      .arg(PortfolioListBasicInfo::GetInstance()->lastError()));
        return;
    }
    subscribeStoredPortfolios();
    emit OnPortfolioNewOrCreate(QString());
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

void PortfoliosListPresenterClass::applyScanCfg()
{
    QWriteLocker lock(&m_scanLock);
    QSettings *settings = TzCore::settings();
    const QString home = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    m_scanFlag = settings->value(kScanGroup + PortScanFlag, false).toBool();
    m_scanDir = settings->value(kScanGroup + PortScanDir, home + QStringLiteral("/组合交易扫描目录")).toString();
    m_deleteFlag = settings->value(kScanGroup + PortDeleteFlag, false).toBool();
    m_backupDir = settings->value(kScanGroup + PortBackupDir, home + QStringLiteral("/已扫描组合")).toString();
    if (!QDir(m_scanDir).exists())
        qInfo().noquote() << QStringLiteral("组合自动导入扫描目录%1不存在").arg(m_scanDir);
    emit signalScanFlagChanged(m_scanFlag);
    qDebug().noquote() << QStringLiteral("获取到组合自动导入设置：扫描开关%2，扫描目录%1，是否删除%3，备份目录%4")
                              .arg(m_scanDir)
                              .arg(m_scanFlag)
                              .arg(m_deleteFlag)
                              .arg(m_backupDir);
}

// Directory auto-import, the clipboard portfolio and the account queries are served by
// their own parts of this presenter; until those land, these entry points say so in the
// log and change nothing.
void PortfoliosListPresenterClass::scanDir()
{
    qInfo() << "PortfoliosListPresenterClass::scanDir directory auto-import is not available in this build";
}

bool PortfoliosListPresenterClass::DealCacheDataByClipboard()
{
    qInfo() << "PortfoliosListPresenterClass::DealCacheDataByClipboard clipboard portfolios are not available in this build";
    return false;
}

void PortfoliosListPresenterClass::queryPositionInfo(const QString &tradingAccount, const int &iPosType)
{
    qInfo() << "PortfoliosListPresenterClass::queryPositionInfo account positions are not available in this build"
            << tradingAccount << iPosType;
}

void PortfoliosListPresenterClass::slotQueryPositionInfoAndFundInfo(QString tradingAccount, int, int iPosType)
{
    queryPositionInfo(tradingAccount, iPosType);
    // No position source yet: answer with no positions, so a waiting caller finishes.
    emit signalPositionListUpdate(QList<QMap<int, QVariantMap> >());
}

void PortfoliosListPresenterClass::slotQurMarginInfoData(QString tradingAccount)
{
    qInfo() << "PortfoliosListPresenterClass::slotQurMarginInfoData margin data are not available in this build"
            << tradingAccount;
}

void PortfoliosListPresenterClass::slotQueryCouponInfo(QString tradingAccount, QString strTime)
{
    qInfo() << "PortfoliosListPresenterClass::slotQueryCouponInfo loan contracts are not available in this build"
            << tradingAccount << strTime;
}

int PortfoliosListPresenterClass::slotCreateClipboardPortfolio(QStringList lstSymbols)
{
    qInfo() << "PortfoliosListPresenterClass::slotCreateClipboardPortfolio clipboard portfolios are not available in this build"
            << lstSymbols.size();
    return 0;
}

void PortfoliosListPresenterClass::slotFileParseFinished(QString filePath, QString portNo)
{
    qDebug().noquote() << QStringLiteral("收到组合自动导入创建成功信息，文件名：%1，组合号%2").arg(filePath, portNo);
}

void PortfoliosListPresenterClass::slotScanFlagChanged(bool bStart)
{
    qInfo() << "PortfoliosListPresenterClass::slotScanFlagChanged" << bStart
            << "directory auto-import is not available in this build";
}

void PortfoliosListPresenterClass::slotClipboardMsg(QStringList lstSymbols)
{
    QStringList supported, unsupported;
    for (const QString &symbol : lstSymbols)
        (PortfolioListBasicInfo::GetInstance()->IsSupportSecurity(symbol) ? supported : unsupported) << symbol;
    emit signalCreateWarning(supported, unsupported);
}
