#pragma once

#include "portfoliodetailbasicinfo.h"
#include "showtype.h"
#include "tzportfolioquote.h"
#include "tzpresenterclass.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMap>
#include <QReadWriteLock>
#include <QSet>
#include <QStringList>
#include <QVariantMap>

class CPackMessageCommon;
class CUnPackMessageCommon;
class PortfolioSyncQueue;
class PortParseCreateThread;
class QTimer;

// The page's one link to the platform: keeps the portfolio store in step with the back
// end, turns bus events and market records into signals for the list, subscribes quotes,
// and sends every portfolio change to the back end before anything else sees it.
class PortfoliosListPresenterClass : public TzPresenterClass
{
    Q_OBJECT

public:
    explicit PortfoliosListPresenterClass(QObject *parent = nullptr);
    ~PortfoliosListPresenterClass() override;

    // Subscribes to the page's messages and events, once.
    void registerMessages();

    // Back-end requests. Each returns "0" on success, else the text to show.
    QString AddPortfolio(PortfolioDetailBasicInfo &detail);
    QString AlterPortfolio(PortfolioDetailBasicInfo &detail, bool bCreate);
    QString AlterStrategy(PortfolioStrategyInfo &strategy, bool bCreate);
    QString AlterPortfolioDetail(PortfolioDetailBasicInfo &detail, bool bCreate);
    QString ClearPortfolioDetail(const PortfolioDetailBasicInfo &detail);
    QString DelPortfolio(const PortfolioDetailBasicInfo &detail);
    QString DelPortfolioList(QStringList portfolioNos);
    // The strategy label of detail by its name: the known number, or a label created on
    // the back end and stored. Returns "0" or the back end's text.
    QString ensureStrategy(PortfolioDetailBasicInfo &detail);
    // AddPortfolio, then weights, creation time and the store (storeAccepted). Returns
    // "0" or the text to show. Safe from the auto-import worker.
    QString AddPortfolioAndStore(PortfolioDetailBasicInfo &detail);
    // Keeps a portfolio the back end accepted in the store. When the store refuses it (it
    // is behind: a rename made elsewhere not heard of yet) the portfolios concerned are
    // fetched again, on this presenter's thread, instead of keeping the disagreement.
    // Returns whether the store holds it now.
    bool storeAccepted(const PortfolioDetailBasicInfo &detail);

    // Event to the other pages: the user picked this portfolio in the list.
    void PutPortfolioClickEvent(const QString &portfolioNo);
    // Event to the other pages: this page created or changed the portfolio.
    void PutPortfolioChangedEvent(const QString &portfolioNo);
    // Fetches these portfolios again off the GUI thread and brings store and list to the
    // back end's state (used when the store disagrees with what the back end accepted).
    void refreshPortfolios(const QStringList &portfolioNos);
    PortfolioSyncQueue *syncQueue() const { return m_sync; }
    // A full reload is under way (the refresh button).
    bool isRefreshing() const { return m_refreshing; }

    // Directory auto-import: applyScanCfg (re)reads the four settings and starts the
    // worker when the scan is on; scanDir, every second while it is on, hands each new
    // file of the watched folder to the worker once the file has stopped changing.
    void applyScanCfg();
    void scanDir();
    PortParseCreateThread *parseThread() const { return m_parseThread; }
    QTimer *scanTimer() const { return m_scanTimer; }
    // Codes another page left in the platform cache for this page, used once.
    bool DealCacheDataByClipboard();
    // The account's positions in the market range of the query under way, as rows of the
    // position page, emitted with signalPositionListUpdate (an empty list when the query
    // failed; the reason goes to signalShowWarningMsg and the business panel).
    void queryPositionInfo(const QString &tradingAccount, const int &iPosType);

    ShowType currentShowType() const { return m_showType; }

signals:
    void quotationInfoUpdate(TzPortfolioQuote quote);
    void OnNewExecutionReport(TzPortfolioExecutionReport report);
    void OnPortfolioDelete(QString portfolioNo);
    void OnPortfolioNewOrCreate(QString portfolioNo);
    void OnPositionUpdate(QVariantMap positionDetail);
    void CoreDataInitialized(bool bAutoSelect);
    void signalAllETFListLoaded();
    void signalInitTreeViewsDataFinished();
    void signalPositionListUpdate(QList<QMap<int, QVariantMap> > recordList);
    void signalSecurityLoanInfoUpdated(QList<QMap<int, QVariantMap> > recordList);
    void signalCouponInfoInfoUpdated(QList<QVariantMap> contractList);
    void signalScanFlagChanged(bool bStart);
    void signalShowTypeChanged(ShowType showType);
    void signalScanCfgChanged();
    void signalClipboardMsg(QStringList lstSymbols);
    void signalShowWarningMsg(QString title, QString msg);
    void signalCreateWarning(QStringList lstSupport, QStringList lstUnSupport);
    void signalDataLoadState(int iState);
    void signalTradingAccountChanged(QString fundAccount, QString tradingAccount);

public slots:
    void slotSubscribeSecurityQuotation(const QVariantList &symbols);
    void slotOnPortfolioImported(QString portfolioNo);
    void slotInitCoreData();
    void slotQueryPositionInfoAndFundInfo(QString tradingAccount, int iPosTarType, int iPosType);
    void slotQurMarginInfoData(QString tradingAccount);
    void slotQueryCouponInfo(QString tradingAccount, QString strTime);
    int slotCreateClipboardPortfolio(QStringList lstSymbols);
    void slotRefreshPortfoliosList();

private slots:
    void slotFileParseFinished(QString filePath, QString portNo);
    void slotScanFlagChanged(bool bStart);
    void slotClipboardMsg(QStringList lstSymbols);

protected:
    void ProcEventMsg(QString source, QVariant type, QVariant message) override;
    void ProcMarketRecords(const QList<QVariantMap> &records) override;

private:
    // The common answer handling of a single request: sends the body, then returns "0"
    // (answer unpacked), "请求超时" on a time-out, or the back end's text (logged with
    // logLabel and logKey). With sendFailurePrefix, any transport failure returns that
    // prefix and the transport code instead.
    QString request(const QString &type, const CPackMessageCommon &body, const QString &logLabel,
                    const QString &logKey, CUnPackMessageCommon &answer,
                    const QString &sendFailurePrefix = QString());
    void putEvent(int type, const QVariantMap &fields);
    void subscribeStoredPortfolios();
    // Quotes for the lines of these stored portfolios that are not subscribed yet.
    void subscribePortfolios(const QList<PortfolioDetailBasicInfo *> &portfolios);
    // Announces signalInitTreeViewsDataFinished once ETF and industry data have loaded.
    void watchTreeData();

    int m_positionMarketRange = 0;  // market range of the position query under way
    bool m_registered = false;
    bool m_refreshing = false;
    bool m_linkLost = false;  // the back end's link dropped since the list last loaded
    PortfolioSyncQueue *m_sync = nullptr;
    QSet<QString> m_storeSubscriptions;  // symbols subscribed for the stored portfolios
    QHash<QString, quint64> m_subscribedStamps;  // portfolio -> change stamp whose lines are subscribed
    ShowType m_showType = ShowPlain;
    QReadWriteLock m_coreLock;

    // Auto-import settings, guarded by m_scanLock.
    QReadWriteLock m_scanLock;
    bool m_scanFlag = false;
    QString m_scanDir;
    bool m_deleteFlag = false;
    QString m_backupDir;

    // Says in the panel when the watched folder goes missing or unreadable and when it
    // is back, once per change.
    enum class ScanDirState { Unknown, Ok, Missing, Unreadable };
    void noteScanDirState(ScanDirState state, const QString &dir);
    struct FileStamp
    {
        qint64 size = -1;
        QDateTime modified;
    };
    QSet<QString> m_handedPaths;            // never emptied while the page lives
    QHash<QString, FileStamp> m_settling;   // seen once, not handed yet: the last stamp
    ScanDirState m_scanDirState = ScanDirState::Unknown;
    QTimer *m_scanTimer = nullptr;
    PortParseCreateThread *m_parseThread = nullptr;
};
