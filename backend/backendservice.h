#pragma once

#include "cmessagecommon.h"
#include "faultinjector.h"
#include "marketfeed.h"
#include "sqlaccountstore.h"
#include "sqlportfoliostore.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QSqlDriver>
#include <QString>
#include <QUuid>

class CPackMessageCommon;
class CUnPackMessageCommon;

// The back end's portfolio and account service: answers the portfolio and strategy
// requests of the connected clients from the portfolio store, and the account requests
// of a logged-in client about that user's own accounts from the account store; tells
// the other clients of a user when that user's portfolios change. Lives on its own thread; every request is handled there
// as one database transaction. Its market feed publishes level-1 records of the symbols
// each client subscribed to. A request with id 0 is answered by nobody: the client sent
// it without waiting, and a failure is only logged.
class QTimer;

class BackendService : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QString databasePath;
        // Write the demo user, portfolios and accounts into an empty database, and the
        // demo accounts into one from before accounts existed.
        bool seedDemo = true;
        int quoteIntervalMs = 3000;  // one market record per subscribed symbol per interval
        int feedStepMs = 100;        // how often the feed reads the real clock
        quint32 feedSeed = 20261121;
        bool feedManualClock = false;  // the feed's time moves only by MarketFeed::advanceTo
        // A secret that another client of the same machine user presents instead of a
        // password (read from a file only that user can read): such a desk logs in by
        // name, as one inside this process does. Empty: no such logins.
        QString localToken;
        // A request that meets the database away (PostgreSQL restarting) waits this long
        // for it, within the desks' 5 s time-out, before it is answered that it is away.
        int databaseHoldMs = 3000;
    };

    explicit BackendService(const Options &options, QObject *parent = nullptr);
    ~BackendService() override;

    // Opens the database, brings its schema up to date and writes the demo data that
    // is due (see DemoSeed::seedIfDue). Call on the service's thread.
    bool open(QString *error);
    void close();
    bool isOpen() const { return m_store.isOpen(); }

    // One line about the open database: schema version and row counts.
    QString summary();

    // Planned failures; any thread may plan them.
    FaultInjector &faults() { return m_faults; }
    // The market-data feed; lives on the service's thread.
    MarketFeed *marketFeed() const { return m_feed; }

    // A client id that no other client of this process has had; any thread may ask.
    static quint64 newClientId();

public slots:
    // A client that came over the network: nothing but a login with a password is
    // answered until it logged in. Clients inside this process are trusted as the
    // desk's own and log in by name.
    void onRemoteClientAttached(quint64 clientId);
    // A frame from a client: the wire bytes of a request envelope.
    void onClientFrame(quint64 clientId, const QByteArray &frame);
    // The client is gone: it gets no more notifications.
    void onClientDetached(quint64 clientId);

signals:
    void frameToClient(quint64 clientId, const QByteArray &frame);
    // The client sent something that is not a request envelope; a network transport
    // closes such a connection.
    void protocolViolation(quint64 clientId, const QString &reason);

private:
    // A change that the other clients of a user hear about.
    struct Notice
    {
        QString userName;
        int type = 0;
        QString portfolioNo;
    };

    // What a successful request leaves behind besides its answer.
    struct Outcome
    {
        QList<Notice> notices;
        QString boundUser;  // set by a login
    };

    using Handler = bool (BackendService::*)(quint64 clientId,
                                             const CUnPackMessageCommon &request,
                                             CPackMessageCommon *answer, Outcome *outcome,
                                             QString *error);
    static const QHash<QString, Handler> &handlers();

    void handle(quint64 clientId, const CMessageCommon &request);
    // Runs a request as one transaction; on a lost database connection, connects again and
    // runs it once more unless its commit was under way.
    bool transact(quint64 clientId, const QString &type, Handler handler, const CUnPackMessageCommon &body,
                  CPackMessageCommon *result, Outcome *outcome, QString *error);
    // Opens the database again after its connection was lost for `cause`; false (and the
    // store closed, requests answered with the cause) until the server is back.
    bool reconnectDatabase(const QString &cause);
    void watchDatabase();
    // Whether requests may go to the database; why not in *error.
    bool databaseReady(QString *error);
    // While the database is away, requests wait for it in arrival order (false: not away).
    bool hold(quint64 clientId, const CMessageCommon &request);
    void retryHeld();
    // Why a logged-in client may not send this request (another user's data), or empty.
    QString refusal(quint64 clientId, const QString &type, const CUnPackMessageCommon &body);
    // A login with a password: checked on a pool thread, answered on this one; a failed
    // attempt is answered late, the later the more a name failed recently.
    void handlePasswordLogin(quint64 clientId, const CMessageCommon &request);
    bool presentsLocalToken(const CMessageCommon &request) const;
    void finishPasswordLogin(quint64 clientId, const CMessageCommon &request, const QString &user,
                             bool matched);
    void handleQuoteSubscription(quint64 clientId, const CMessageCommon &request);
    void sendAnswer(quint64 clientId, const CMessageCommon &request, bool ok,
                    const QString &reason, const CPackMessageCommon &result);
    // Tells the user's other clients, here and (on PostgreSQL) on the other servers of
    // this database; deliver() only those here.
    void notify(quint64 senderId, const Notice &notice);
    void deliver(quint64 senderId, const Notice &notice);
    bool listenToOtherServers(QString *error);
    // What marks the portfolios a client's session is creating: unique across servers.
    QString sessionOf(quint64 clientId) const;
    // Deletes unfinished creations of one session, or (session empty) those begun before
    // `before` (empty: all).
    void dropPendingOf(const QString &session, const QString &before);
    void onDatabaseNotification(const QString &channel, QSqlDriver::NotificationSource source,
                                const QVariant &payload);

    bool login(quint64 clientId, const CUnPackMessageCommon &request,
               CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool alterStrategy(quint64 clientId, const CUnPackMessageCommon &request,
                       CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool alterPortfolio(quint64 clientId, const CUnPackMessageCommon &request,
                        CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool alterPortfolioDetail(quint64 clientId, const CUnPackMessageCommon &request,
                              CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool deletePortfolioDetail(quint64 clientId, const CUnPackMessageCommon &request,
                               CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool deletePortfolio(quint64 clientId, const CUnPackMessageCommon &request,
                         CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool queryPortfolio(quint64 clientId, const CUnPackMessageCommon &request,
                        CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool queryStrategy(quint64 clientId, const CUnPackMessageCommon &request,
                       CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool queryBatchState(quint64 clientId, const CUnPackMessageCommon &request,
                         CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool queryAccount(quint64 clientId, const CUnPackMessageCommon &request,
                      CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool queryPosition(quint64 clientId, const CUnPackMessageCommon &request,
                       CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool queryMarginSecurity(quint64 clientId, const CUnPackMessageCommon &request,
                             CPackMessageCommon *answer, Outcome *outcome, QString *error);
    bool queryLendingContracts(quint64 clientId, const CUnPackMessageCommon &request,
                               CPackMessageCommon *answer, Outcome *outcome, QString *error);

    // The id of the user the client logged in as; refused before a login.
    bool loginUser(quint64 clientId, qint64 *userId, QString *error);
    // The login user's account named by the request's field `key`, by its fund or its
    // trading account; anyone else's account is refused as unknown.
    bool ownAccount(quint64 clientId, const CUnPackMessageCommon &request, const QString &key,
                    AccountRecord *account, QString *error);

    Options m_options;
    SqlPortfolioStore m_store;
    SqlAccountStore m_accounts;  // on m_store's connection
    FaultInjector m_faults;
    MarketFeed *m_feed = nullptr;
    QHash<quint64, QString> m_userOfClient;  // clients that logged in
    // Clients that began a creation or a replacement: what they leave unfinished goes
    // when they do.
    QSet<quint64> m_markingClients;
    QSet<quint64> m_remoteClients;           // clients that must log in with a password
    QString m_channel;  // PostgreSQL: where the servers of this database tell each other
    QString m_databaseLost;  // why the database connection went, while it is gone
    QString m_reconnectError;  // why the last attempt to connect again failed
    QTimer *m_watchdog = nullptr;  // PostgreSQL: looks at the connection, connects again
    struct HeldRequest
    {
        quint64 clientId = 0;
        CMessageCommon request;
        qint64 receivedMs = 0;
    };
    QList<HeldRequest> m_held;
    QTimer *m_heldRetry = nullptr;
    const QString m_instance = QUuid::createUuid().toString(QUuid::WithoutBraces);
    struct FailedLogins
    {
        int count = 0;
        QDateTime last;
    };
    QHash<QString, FailedLogins> m_failedLogins;  // by user name, recent failures only
};
