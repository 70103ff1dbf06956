#include "backendservice.h"

#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "credentials.h"
#include "cunpackmessagecommon.h"
#include "demoseed.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "migrations.h"
#include "msgtypes.h"
#include "portfolioextension.h"
#include "securitycatalog.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QPointer>
#include <QRegularExpression>
#include <QRunnable>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QThreadPool>
#include <QTimer>
#include <algorithm>
#include <atomic>

Q_LOGGING_CATEGORY(lcService, "tz.backend.service")

namespace {

const QString kSource = QStringLiteral("backend");
// A creation whose lines have not come after this long was cut off with its server.
constexpr int kAbandonedAfterSec = 600;
// How often a server on PostgreSQL looks at its database connection while idle.
constexpr int kDatabaseWatchMs = 3000;
// What a desk is told while the database is away; the cause goes to the log.
const QString kDatabaseAway = QStringLiteral("数据库连接中断，正在重新连接，请稍后重试");
const QString kCommitCut = QStringLiteral("数据库连接在提交时中断，请刷新后确认结果");
// How often requests held while the database is away try it again.
constexpr int kHeldRetryMs = 200;
const QString kCreate = QStringLiteral("c");
const QString kUpdate = QStringLiteral("u");
const int kMaxPortfolioNameLength = 25;
// Portfolio numbers one query may name (each is one bound parameter of the statement).
const int kMaxNumbersPerQuery = 500;
// Rows of one page of positions and of lending contracts: when the request names no
// page size, and the most it may ask for.
const int kDefaultPositionPage = 1000;
const int kMaxPositionPage = 5000;
const int kDefaultContractPage = 100;
const int kMaxContractPage = 500;
const QString kDateFormat = QStringLiteral("yyyyMMdd");

QString connectionName()
{
    static std::atomic<int> counter{0};
    return QStringLiteral("tzbackend-%1").arg(++counter);
}

QString textField(const CUnPackMessageCommon &request, const QString &key)
{
    return request.GetValue(key).toString().trimmed();
}

bool requireText(const CUnPackMessageCommon &request, const QString &key, const QString &what,
                 QString *value, QString *error)
{
    *value = textField(request, key);
    if (!value->isEmpty())
        return true;
    *error = QStringLiteral("%1不能为空").arg(what);
    return false;
}

// The page size a request asks for; absent, empty or 0 is the default.
bool pageSizeField(const CUnPackMessageCommon &request, int defaultSize, int maxSize,
                   int *size, QString *error)
{
    const QString text = textField(request, RequestField::pageSize);
    if (text.isEmpty()) {
        *size = defaultSize;
        return true;
    }
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    if (!ok || value < 0) {
        *error = QStringLiteral("每页条数无效：%1").arg(text);
        return false;
    }
    if (value > maxSize) {
        *error = QStringLiteral("每页最多%1条，请求了%2条").arg(maxSize).arg(value);
        return false;
    }
    *size = value == 0 ? defaultSize : int(value);
    return true;
}

bool checkAlterType(const QString &alterType, QString *error)
{
    if (alterType == kCreate || alterType == kUpdate)
        return true;
    *error = QStringLiteral("不支持的修改类型：%1").arg(alterType);
    return false;
}

bool checkPortfolioName(const QString &name, QString *error)
{
    if (name.trimmed().isEmpty())
        *error = QStringLiteral("组合名称不能为空");
    else if (name != name.trimmed())
        *error = QStringLiteral("组合名称首尾不能有空格：%1").arg(name);
    else if (name.toUcs4().size() > kMaxPortfolioNameLength)
        *error = QStringLiteral("组合名称不能超过%1个字符：%2").arg(kMaxPortfolioNameLength).arg(name);
    else
        return true;
    return false;
}

// The declared number of rows must match the rows carried, so a truncated request is
// refused instead of half applied.
bool checkRowCount(const CUnPackMessageCommon &request, QString *error)
{
    bool ok = false;
    const int declared = request.GetValue(RequestField::subGroupNumber).toInt(&ok);
    if (ok && declared == request.GetRowCount())
        return true;
    *error = QStringLiteral("明细行数不符：声明%1行，实际%2行")
                 .arg(request.GetValue(RequestField::subGroupNumber).toString())
                 .arg(request.GetRowCount());
    return false;
}

bool isKnownMarket(const QString &market)
{
    static const QSet<QString> markets = {Exchange::sh, Exchange::sz,  Exchange::bj,
                                          Exchange::hk, Exchange::hhk, Exchange::szhk};
    return markets.contains(market);
}

bool numberField(const QVariantMap &row, const QString &key, double *value)
{
    const QVariant v = row.value(key);
    if (!v.isValid() || (v.type() == QVariant::String && v.toString().isEmpty())) {
        *value = 0.0;
        return true;
    }
    bool ok = false;
    *value = v.toDouble(&ok);
    return ok;
}

// Reads one detail row; rowNumber counts from 1 for the reason text.
bool lineFromRow(const QVariantMap &row, int rowNumber, PortfolioLine *line, QString *error)
{
    line->securityId = row.value(RequestField::securityID).toString().trimmed();
    line->exchange = row.value(RequestField::securityExchange).toString().trimmed();
    line->side = row.value(RequestField::side).toString();
    line->entrustType = row.value(RequestField::entrustType).toString();
    line->entrustProp = row.value(RequestField::batchEntrustProp).toString();
    if (line->securityId.isEmpty()) {
        *error = QStringLiteral("第%1行证券代码为空").arg(rowNumber);
        return false;
    }
    if (!isKnownMarket(line->exchange)) {
        *error = QStringLiteral("第%1行市场无效：%2").arg(rowNumber).arg(line->exchange);
        return false;
    }
    bool ok = true;
    const QVariant qty = row.value(RequestField::tradeQty);
    line->tradeQty = qty.isValid() ? qty.toLongLong(&ok) : 0;
    if (!ok || line->tradeQty < 0) {
        *error = QStringLiteral("第%1行数量无效：%2").arg(rowNumber).arg(qty.toString());
        return false;
    }
    if (!numberField(row, RequestField::positionWeight, &line->positionWeight)
        || !numberField(row, RequestField::customerPrice, &line->customerPrice)
        || !numberField(row, RequestField::limitPrice, &line->limitPrice)) {
        *error = QStringLiteral("第%1行权重或价格无效").arg(rowNumber);
        return false;
    }
    return true;
}

// A header that waits for its lines (PortfolioRef::replacingHeader), as stored.
QString headerText(const PortfolioRecord &portfolio)
{
    return QString::fromUtf8(
        QJsonDocument(QJsonObject{{QStringLiteral("name"), portfolio.name},
                                  {QStringLiteral("strategyNo"), portfolio.strategyNo},
                                  {QStringLiteral("defaultBasketSize"), QString::number(portfolio.defaultBasketSize)},
                                  {QStringLiteral("extension"), portfolio.extension},
                                  {QStringLiteral("paramType"), portfolio.paramType}})
            .toJson(QJsonDocument::Compact));
}

PortfolioRecord headerFromText(const QString &portfolioNo, const QString &text)
{
    const QJsonObject json = QJsonDocument::fromJson(text.toUtf8()).object();
    PortfolioRecord portfolio;
    portfolio.portfolioNo = portfolioNo;
    portfolio.name = json.value(QStringLiteral("name")).toString();
    portfolio.strategyNo = json.value(QStringLiteral("strategyNo")).toString();
    portfolio.defaultBasketSize = json.value(QStringLiteral("defaultBasketSize")).toString().toLongLong();
    portfolio.extension = json.value(QStringLiteral("extension")).toString();
    portfolio.paramType = json.value(QStringLiteral("paramType")).toInt();
    return portfolio;
}

QVariantMap lineToMap(const PortfolioLine &line)
{
    return {{RequestField::securityID, line.securityId},
            {RequestField::securityExchange, line.exchange},
            {RequestField::side, line.side},
            {RequestField::tradeQty, line.tradeQty},
            {RequestField::positionWeight, line.positionWeight},
            {RequestField::entrustType, line.entrustType},
            {RequestField::batchEntrustProp, line.entrustProp},
            {RequestField::customerPrice, line.customerPrice},
            {RequestField::limitPrice, line.limitPrice}};
}

QVariantMap portfolioToMap(const PortfolioRecord &portfolio)
{
    QVariantList details;
    details.reserve(portfolio.lines.size());
    for (const PortfolioLine &line : portfolio.lines)
        details.append(lineToMap(line));
    return {{RequestField::portfolioNo, portfolio.portfolioNo},
            {RequestField::portfolioName, portfolio.name},
            {RequestField::strategyNo, portfolio.strategyNo},
            {RequestField::strategyName, portfolio.strategyName},
            {RequestField::defaultBasketSize, portfolio.defaultBasketSize},
            {RequestField::portfolioExtensionDescription, portfolio.extension},
            {RequestField::portParamType, portfolio.paramType},
            {RequestField::createTime, portfolio.createTime},
            {RequestField::deleteFlag, false},
            {RequestField::details, details}};
}

MarketFeed::Settings feedSettings(const BackendService::Options &options)
{
    MarketFeed::Settings settings;
    settings.quoteIntervalMs = options.quoteIntervalMs;
    settings.stepMs = options.feedStepMs;
    settings.seed = options.feedSeed;
    settings.manualClock = options.feedManualClock;
    return settings;
}

} // namespace

BackendService::BackendService(const Options &options, QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_store(connectionName())
    , m_accounts(m_store)
    , m_feed(new MarketFeed(feedSettings(options), this))
{
    connect(m_feed, &MarketFeed::frameToClient, this, &BackendService::frameToClient);
}

BackendService::~BackendService()
{
    close();
}

bool BackendService::open(QString *error)
{
    if (!m_store.open(m_options.databasePath, error))
        return false;
    if (m_store.isPostgres() && !listenToOtherServers(error)) {
        m_store.close();
        return false;
    }
    // Creations cut off by a crash. A SQLite file has one server, so any is abandoned; on
    // PostgreSQL another server may be in the middle of one, so only old ones are, now
    // and every minute.
    if (m_store.isPostgres()) {
        if (!m_watchdog) {
            m_watchdog = new QTimer(this);
            connect(m_watchdog, &QTimer::timeout, this, &BackendService::watchDatabase);
            m_watchdog->start(kDatabaseWatchMs);
        }
        auto sweep = [this] {
            dropPendingOf(QString(), QDateTime::currentDateTimeUtc().addSecs(-kAbandonedAfterSec)
                                         .toString(Qt::ISODateWithMs));
        };
        sweep();
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, sweep);
        timer->start(60 * 1000);
    } else {
        dropPendingOf(QString(), QString());
    }
    if (!m_options.seedDemo)
        return true;
    QString written;
    if (!DemoSeed::seedIfDue(m_store, &written, error)) {
        m_store.close();
        return false;
    }
    if (!written.isEmpty())
        qCInfo(lcService).noquote() << "demo data written to" << m_store.displayName()
                                    << QStringLiteral("(%1)").arg(written);
    return true;
}

bool BackendService::listenToOtherServers(QString *error)
{
    // One channel per schema: deployments that share a database do not hear each other.
    QSqlQuery query(m_store.database());
    if (!query.exec(QStringLiteral("SELECT current_schema()")) || !query.next()) {
        *error = QStringLiteral("无法读取数据库的当前模式：%1").arg(query.lastError().text());
        return false;
    }
    QString schema = query.value(0).toString().toLower();
    schema.remove(QRegularExpression(QStringLiteral("[^a-z0-9_]")));
    m_channel = QStringLiteral("tz_changes_") + schema.left(40);
    QSqlDriver *driver = m_store.database().driver();
    if (!driver->subscribeToNotification(m_channel)) {
        *error = QStringLiteral("无法订阅数据库通知 %1：%2").arg(m_channel, driver->lastError().text());
        return false;
    }
    connect(driver, QOverload<const QString &, QSqlDriver::NotificationSource, const QVariant &>::of(
                        &QSqlDriver::notification),
            this, &BackendService::onDatabaseNotification, Qt::UniqueConnection);
    return true;
}

void BackendService::onDatabaseNotification(const QString &channel, QSqlDriver::NotificationSource source,
                                            const QVariant &payload)
{
    // This server's own changes reached its clients already.
    if (channel != m_channel || source == QSqlDriver::SelfSource)
        return;
    const QJsonObject notice = QJsonDocument::fromJson(payload.toString().toUtf8()).object();
    const QString user = notice.value(QStringLiteral("user")).toString();
    const int type = notice.value(QStringLiteral("type")).toInt();
    const QString portfolioNo = notice.value(QStringLiteral("portfolio")).toString();
    if (user.isEmpty() || type == 0)
        return;
    deliver(0, {user, type, portfolioNo});
}

void BackendService::close()
{
    if (!m_channel.isEmpty() && m_store.isOpen())
        m_store.database().driver()->unsubscribeFromNotification(m_channel);
    m_channel.clear();
    delete m_watchdog;
    m_watchdog = nullptr;
    m_held.clear();
    m_databaseLost.clear();
    m_store.close();
    m_userOfClient.clear();
    m_markingClients.clear();
    m_feed->clear();
}

QString BackendService::summary()
{
    if (!m_store.isOpen())
        return QStringLiteral("数据库未打开");
    QString error;
    const int version = Migrations::currentVersion(m_store.database(), &error);
    QStringList counts;
    const QStringList tables = {QStringLiteral("users"), QStringLiteral("strategies"),
                                QStringLiteral("portfolios"), QStringLiteral("portfolio_lines"),
                                QStringLiteral("order_batches"), QStringLiteral("accounts"),
                                QStringLiteral("positions")};
    for (const QString &table : tables) {
        qint64 count = 0;
        if (!m_store.countRows(table, &count, &error))
            return error;
        counts.append(QStringLiteral("%1=%2").arg(table).arg(count));
    }
    return QStringLiteral("%1：版本%2，%3")
        .arg(m_store.displayName(), QString::number(version), counts.join(QLatin1Char(' ')));
}

void BackendService::onClientFrame(quint64 clientId, const QByteArray &frame)
{
    CMessageCommon request;
    if (!request.fromWire(frame)) {
        qCWarning(lcService) << "client" << clientId << "sent an undecodable frame of"
                             << frame.size() << "bytes; dropped";
        emit protocolViolation(clientId, QStringLiteral("undecodable frame"));
        return;
    }
    if (request.kind() != CMessageCommon::Request) {
        qCWarning(lcService) << "client" << clientId << "sent a frame of kind"
                             << int(request.kind()) << "instead of a request; dropped";
        emit protocolViolation(clientId, QStringLiteral("not a request"));
        return;
    }
    const QString type = request.GetType().toString();
    const FaultInjector::Fault fault = m_faults.take(type);
    switch (fault.action) {
    case FaultInjector::Action::None:
        handle(clientId, request);
        break;
    case FaultInjector::Action::Fail:
        sendAnswer(clientId, request, false, fault.text, CPackMessageCommon());
        break;
    case FaultInjector::Action::Delay:
        QTimer::singleShot(fault.delayMs, this,
                           [this, clientId, request] { handle(clientId, request); });
        break;
    case FaultInjector::Action::Drop:
        qCInfo(lcService) << "request" << request.requestId() << type << "dropped as planned";
        break;
    }
}

quint64 BackendService::newClientId()
{
    static std::atomic<quint64> next{1};
    return next.fetch_add(1);
}

void BackendService::onRemoteClientAttached(quint64 clientId)
{
    m_remoteClients.insert(clientId);
}

QString BackendService::sessionOf(quint64 clientId) const
{
    return m_instance + QLatin1Char('/') + QString::number(clientId);
}

void BackendService::dropPendingOf(const QString &session, const QString &before)
{
    if (!m_store.isOpen())
        return;
    QString error;
    int dropped = 0;
    if (m_store.begin(&error) && m_store.dropPending(session, before, &dropped, &error)
        && m_store.forgetReplacing(session, before, &error) && m_store.commit(&error)) {
        if (dropped > 0)
            qCInfo(lcService).noquote() << "dropped" << dropped << "portfolio(s) whose lines never came"
                                        << (session.isEmpty() ? QStringLiteral("(abandoned)") : session);
        return;
    }
    m_store.rollback();
    qCWarning(lcService).noquote() << "unfinished portfolios not dropped:" << error;
}

void BackendService::onClientDetached(quint64 clientId)
{
    m_held.erase(std::remove_if(m_held.begin(), m_held.end(),
                                [clientId](const HeldRequest &one) { return one.clientId == clientId; }),
                 m_held.end());
    if (m_markingClients.remove(clientId))
        dropPendingOf(sessionOf(clientId), QString());
    // The session ends with the connection: a new one logs in again.
    m_remoteClients.remove(clientId);
    m_userOfClient.remove(clientId);
    m_feed->detach(clientId);
}

const QHash<QString, BackendService::Handler> &BackendService::handlers()
{
    static const QHash<QString, Handler> table = {
        {MsgType::loginRequest, &BackendService::login},
        {MsgType::alterStrategyRequest, &BackendService::alterStrategy},
        {MsgType::alterPortfolioRequest, &BackendService::alterPortfolio},
        {MsgType::alterPortfolioDetailRequest, &BackendService::alterPortfolioDetail},
        {MsgType::deletePortfolioDetailRequest, &BackendService::deletePortfolioDetail},
        {MsgType::deletePortfolioRequest, &BackendService::deletePortfolio},
        {MsgType::queryPortfolioRequest, &BackendService::queryPortfolio},
        {MsgType::queryStrategyRequest, &BackendService::queryStrategy},
        {MsgType::queryBatchStateRequest, &BackendService::queryBatchState},
        {MsgType::queryAccountRequest, &BackendService::queryAccount},
        {MsgType::queryPositionRequest, &BackendService::queryPosition},
        {MsgType::queryMarginSecurityRequest, &BackendService::queryMarginSecurity},
        {MsgType::QuerySecurityCashcompactRequest, &BackendService::queryLendingContracts},
    };
    return table;
}

void BackendService::handle(quint64 clientId, const CMessageCommon &request)
{
    const QString type = request.GetType().toString();
    const bool remote = m_remoteClients.contains(clientId);
    // Another desk of this machine's user, sharing this process's back end, logs in by
    // name with the local token, as a desk inside the process does.
    if (remote && type == MsgType::loginRequest && !presentsLocalToken(request)) {
        handlePasswordLogin(clientId, request);
        return;
    }
    if (remote && !m_userOfClient.contains(clientId) && type != MsgType::loginRequest) {
        sendAnswer(clientId, request, false, QStringLiteral("请先登录"), CPackMessageCommon());
        return;
    }
    if (type == MsgType::subscribeQuoteRequest || type == MsgType::unsubscribeQuoteRequest) {
        handleQuoteSubscription(clientId, request);
        return;
    }
    const Handler handler = handlers().value(type, nullptr);
    CPackMessageCommon result;
    Outcome outcome;
    QString error;
    CUnPackMessageCommon body;
    bool ok = false;
    if (!handler) {
        error = QStringLiteral("未知的请求类型：%1").arg(request.GetType().toString());
    } else if (!m_held.isEmpty() || !databaseReady(&error)) {
        if (hold(clientId, request))
            return;
    } else if (!body.SetUnPackMsg(request.GetMsg())) {
        error = QStringLiteral("请求内容无法解析：%1").arg(type);
    } else {
        ok = transact(clientId, type, handler, body, &result, &outcome, &error);
        if (!ok && error == kDatabaseAway && hold(clientId, request))
            return;
    }
    if (ok && !outcome.boundUser.isEmpty())
        m_userOfClient.insert(clientId, outcome.boundUser);
    sendAnswer(clientId, request, ok, error, result);
    if (ok) {
        for (const Notice &notice : qAsConst(outcome.notices))
            notify(clientId, notice);
    }
}

bool BackendService::transact(quint64 clientId, const QString &type, Handler handler,
                              const CUnPackMessageCommon &body, CPackMessageCommon *result, Outcome *outcome,
                              QString *error)
{
    for (int attempt = 1;; ++attempt) {
        bool committing = false;
        bool ok = m_store.begin(error);
        if (ok) {
            *error = refusal(clientId, type, body);
            ok = error->isEmpty() && (this->*handler)(clientId, body, result, outcome, error);
            if (ok) {
                committing = true;
                ok = m_store.commit(error);
            } else {
                m_store.rollback();
            }
        }
        if (ok || m_store.isAlive())
            return ok;
        // The database server went away (restarted, or the link to it cut), taking the
        // open transaction with it: nothing of this request was kept, so after connecting
        // again it runs once more and the desk sees only a short wait. A commit that was
        // cut off may have been carried out, so that request is not repeated.
        const QString cause = *error;
        const bool reconnected = reconnectDatabase(cause);
        if (committing) {
            *error = kCommitCut;
            return false;
        }
        if (!reconnected || attempt == 2) {
            *error = kDatabaseAway;
            return false;
        }
        *result = CPackMessageCommon();
        *outcome = Outcome();
        error->clear();
    }
}

bool BackendService::reconnectDatabase(const QString &cause)
{
    if (m_databaseLost.isEmpty())
        qCWarning(lcService).noquote() << "database connection lost:" << cause;
    m_databaseLost = cause;
    const bool listening = !m_channel.isEmpty() || m_store.isPostgres();
    m_channel.clear();
    QString error;
    if (m_store.open(m_options.databasePath, &error) && (!listening || listenToOtherServers(&error))) {
        qCInfo(lcService).noquote() << "database connected again:" << m_store.displayName();
        m_databaseLost.clear();
        m_reconnectError.clear();
        return true;
    }
    m_store.close();
    if (error != m_reconnectError)  // tried every 0.2 s while requests wait: said once
        qCWarning(lcService).noquote() << "database not reached; trying again:" << error;
    m_reconnectError = error;
    return false;
}

void BackendService::watchDatabase()
{
    // An idle server learns of a lost connection here, and not from the next request: the
    // notices of the other servers come over that connection.
    if (!m_databaseLost.isEmpty() || !m_store.isAlive())
        reconnectDatabase(m_databaseLost.isEmpty() ? QStringLiteral("数据库无应答") : m_databaseLost);
}

bool BackendService::hold(quint64 clientId, const CMessageCommon &request)
{
    if (m_databaseLost.isEmpty() && m_held.isEmpty())
        return false;
    m_held.append({clientId, request, QDateTime::currentMSecsSinceEpoch()});
    if (!m_heldRetry) {
        m_heldRetry = new QTimer(this);
        connect(m_heldRetry, &QTimer::timeout, this, &BackendService::retryHeld);
    }
    if (!m_heldRetry->isActive())
        m_heldRetry->start(kHeldRetryMs);
    return true;
}

void BackendService::retryHeld()
{
    if (!m_databaseLost.isEmpty())
        reconnectDatabase(m_databaseLost);
    QList<HeldRequest> held;
    held.swap(m_held);
    m_heldRetry->stop();
    const qint64 tooOld = QDateTime::currentMSecsSinceEpoch() - m_options.databaseHoldMs;
    for (const HeldRequest &one : qAsConst(held)) {
        // In arrival order: those that still wait keep theirs, those that came before.
        if (!m_databaseLost.isEmpty() && one.receivedMs < tooOld)
            sendAnswer(one.clientId, one.request, false, kDatabaseAway, CPackMessageCommon());
        else if (!m_databaseLost.isEmpty())
            m_held.append(one);
        else
            handle(one.clientId, one.request);
    }
    if (!m_held.isEmpty() && !m_heldRetry->isActive())
        m_heldRetry->start(kHeldRetryMs);
}

bool BackendService::databaseReady(QString *error)
{
    if (m_store.isOpen())
        return true;
    // The driver found its PostgreSQL connection dead: open it again now, once; while the
    // server stays away, the watchdog tries.
    if (m_watchdog && m_databaseLost.isEmpty() && reconnectDatabase(QStringLiteral("数据库连接已断开")))
        return true;
    *error = m_databaseLost.isEmpty() ? QStringLiteral("数据库未打开")
                                      : kDatabaseAway;
    return false;
}

QString BackendService::refusal(quint64 clientId, const QString &type, const CUnPackMessageCommon &body)
{
    const auto bound = m_userOfClient.constFind(clientId);
    if (bound == m_userOfClient.cend())
        return QString();
    if (type == MsgType::loginRequest) {
        // A desk stays who it logged in as; another user needs a connection of its own.
        const QString user = body.GetValue(RequestField::userID).toString().trimmed();
        return user.isEmpty() || user == *bound ? QString() : QStringLiteral("已登录为用户%1").arg(*bound);
    }
    const QString user = body.GetValue(RequestField::userID).toString().trimmed();
    if (!user.isEmpty() && user != *bound)
        return QStringLiteral("无权访问用户%1的数据").arg(user);
    // A portfolio of someone else is answered as one that does not exist.
    QStringList numbers{body.GetValue(RequestField::portfolioNo).toString().trimmed()};
    for (const QVariantMap &row : body.rows())
        numbers.append(row.value(RequestField::portfolioNo).toString().trimmed());
    for (const QString &number : qAsConst(numbers)) {
        if (number.isEmpty())
            continue;
        PortfolioRef portfolio;
        QString error;
        if (!m_store.findPortfolio(number, &portfolio, &error))
            return error;
        if (portfolio.id >= 0 && portfolio.userName != *bound)
            return QStringLiteral("组合不存在：%1").arg(number);
    }
    return QString();
}

bool BackendService::presentsLocalToken(const CMessageCommon &request) const
{
    CUnPackMessageCommon body;
    return !m_options.localToken.isEmpty() && body.SetUnPackMsg(request.GetMsg())
        && Credentials::sameText(body.GetValue(RequestField::password).toString(), m_options.localToken);
}

void BackendService::handlePasswordLogin(quint64 clientId, const CMessageCommon &request)
{
    CUnPackMessageCommon body;
    if (!body.SetUnPackMsg(request.GetMsg())) {
        sendAnswer(clientId, request, false, QStringLiteral("请求内容无法解析：%1").arg(MsgType::loginRequest),
                   CPackMessageCommon());
        return;
    }
    const QString user = body.GetValue(RequestField::userID).toString().trimmed();
    const QString password = body.GetValue(RequestField::password).toString();
    if (m_userOfClient.contains(clientId)) {
        const bool same = m_userOfClient.value(clientId) == user;
        sendAnswer(clientId, request, same, QStringLiteral("已登录为用户%1").arg(m_userOfClient.value(clientId)),
                   CPackMessageCommon());
        return;
    }
    Credentials::Stored stored;
    QString error;
    if (!databaseReady(&error) || !Credentials::lookup(m_store.database(), user.left(256), &stored, &error)) {
        sendAnswer(clientId, request, false, error, CPackMessageCommon());
        return;
    }
    // The digest takes tens of milliseconds: the service answers others meanwhile.
    QPointer<BackendService> self(this);
    QThreadPool::globalInstance()->start(QRunnable::create([self, clientId, request, user, password, stored] {
        const bool matched = Credentials::matches(stored, password);
        if (self) {
            QMetaObject::invokeMethod(self, [self, clientId, request, user, matched] {
                if (self)
                    self->finishPasswordLogin(clientId, request, user, matched);
            }, Qt::QueuedConnection);
        }
    }));
}

void BackendService::finishPasswordLogin(quint64 clientId, const CMessageCommon &request, const QString &user,
                                         bool matched)
{
    if (!m_remoteClients.contains(clientId))
        return;  // gone meanwhile
    FailedLogins &failed = m_failedLogins[user];
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (failed.last.isValid() && failed.last.secsTo(now) > 15 * 60)
        failed = FailedLogins();  // old failures are forgotten
    if (matched) {
        m_failedLogins.remove(user);
        m_userOfClient.insert(clientId, user);
        CPackMessageCommon answer;
        answer.AddVaule(RequestField::userID, user);
        qCInfo(lcService).noquote() << "client" << clientId << "logged in as" << user;
        sendAnswer(clientId, request, true, QString(), answer);
        return;
    }
    ++failed.count;
    failed.last = now;
    // 0.5 s after the first failure, doubling to 8 s: guessing gets slow, a typo does not.
    const int delayMs = 500 << qMin(failed.count - 1, 4);
    qCWarning(lcService).noquote() << "failed login of" << user.left(64) << "from client" << clientId << "("
                                   << failed.count << "recent failures)";
    QPointer<BackendService> self(this);
    QTimer::singleShot(delayMs, this, [self, clientId, request] {
        if (self && self->m_remoteClients.contains(clientId))
            self->sendAnswer(clientId, request, false, QStringLiteral("用户名或密码错误"), CPackMessageCommon());
    });
}

// Market subscriptions touch no database. Each row names one symbol by Security::symbol;
// the known symbols are subscribed even when others are refused.
void BackendService::handleQuoteSubscription(quint64 clientId, const CMessageCommon &request)
{
    const bool subscribing = request.GetType().toString() == MsgType::subscribeQuoteRequest;
    CUnPackMessageCommon body;
    QString error;
    if (body.SetUnPackMsg(request.GetMsg())) {
        QStringList symbols;
        for (const QVariantMap &row : body.rows())
            symbols.append(row.value(Security::symbol).toString().trimmed());
        if (subscribing) {
            QStringList unknown = m_feed->subscribe(clientId, symbols);
            for (QString &symbol : unknown) {
                if (symbol.isEmpty())
                    symbol = QStringLiteral("（空）");
            }
            if (!unknown.isEmpty())
                error = QStringLiteral("未知证券：%1").arg(unknown.join(QStringLiteral("、")));
        } else {
            m_feed->unsubscribe(clientId, symbols);
        }
    } else {
        error = QStringLiteral("请求内容无法解析：%1").arg(request.GetType().toString());
    }
    sendAnswer(clientId, request, error.isEmpty(), error, CPackMessageCommon());
    // The first records of new subscriptions follow the answer.
    m_feed->publishNow();
}

void BackendService::sendAnswer(quint64 clientId, const CMessageCommon &request, bool ok,
                                const QString &reason, const CPackMessageCommon &result)
{
    // Id 0: the client posted the request without waiting, so nobody takes an answer.
    const bool wanted = request.requestId() != 0;
    if (!ok && wanted) {
        qCInfo(lcService).noquote() << "request" << request.requestId()
                                    << request.GetType().toString() << "of client" << clientId
                                    << "failed:" << reason;
    } else if (!ok) {
        qCWarning(lcService).noquote() << "unanswered request"
                                       << request.GetType().toString() << "of client"
                                       << clientId << "failed:" << reason;
    }
    if (!wanted)
        return;
    CPackMessageCommon body = result;
    body.AddVaule(RequestField::requestExeStatus,
                  ok ? RequestExeStatus::success : RequestExeStatus::failure);
    body.AddVaule(RequestField::textDescription, ok ? QString() : reason);
    CMessageCommon message;
    message.setKind(CMessageCommon::Answer);
    message.setRequestId(request.requestId());
    message.SetType(request.GetType());
    message.SetSrcid(kSource);
    message.SetMsg(body.GetPackedMsg());
    emit frameToClient(clientId, message.toWire());
}

void BackendService::notify(quint64 senderId, const Notice &notice)
{
    deliver(senderId, notice);
    if (m_channel.isEmpty())
        return;
    // The clients of other servers on this database hear of it through the database.
    QSqlQuery query(m_store.database());
    query.prepare(QStringLiteral("SELECT pg_notify(?, ?)"));
    query.addBindValue(m_channel);
    query.addBindValue(QString::fromUtf8(
        QJsonDocument(QJsonObject{{QStringLiteral("user"), notice.userName},
                                  {QStringLiteral("type"), notice.type},
                                  {QStringLiteral("portfolio"), notice.portfolioNo}})
            .toJson(QJsonDocument::Compact)));
    if (!query.exec())
        qCWarning(lcService).noquote() << "notice for other servers not sent:" << query.lastError().text();
}

void BackendService::deliver(quint64 senderId, const Notice &notice)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::portfolioNo, notice.portfolioNo);
    CMessageCommon event;
    event.setKind(CMessageCommon::Event);
    event.SetType(notice.type);
    event.SetSrcid(kSource);
    event.SetMsg(body.GetPackedMsg());
    const QByteArray frame = event.toWire();
    for (auto it = m_userOfClient.cbegin(); it != m_userOfClient.cend(); ++it) {
        if (it.key() != senderId && it.value() == notice.userName)
            emit frameToClient(it.key(), frame);
    }
}

bool BackendService::login(quint64, const CUnPackMessageCommon &request,
                           CPackMessageCommon *answer, Outcome *outcome, QString *error)
{
    QString user;
    qint64 userId = -1;
    if (!requireText(request, RequestField::userID, QStringLiteral("用户编号"), &user, error)
        || !m_store.ensureUser(user, &userId, error))
        return false;
    outcome->boundUser = user;
    answer->AddVaule(RequestField::userID, user);
    return true;
}

bool BackendService::alterStrategy(quint64, const CUnPackMessageCommon &request,
                                   CPackMessageCommon *answer, Outcome *, QString *error)
{
    const QString alterType = textField(request, RequestField::alterType);
    QString user;
    StrategyRecord strategy;
    if (!checkAlterType(alterType, error)
        || !requireText(request, RequestField::userID, QStringLiteral("用户编号"), &user, error)
        || !requireText(request, RequestField::strategyName, QStringLiteral("策略名称"),
                        &strategy.name, error))
        return false;
    // A field left out of an update keeps its stored value (null here).
    if (request.header().contains(RequestField::strategyType))
        strategy.type = request.GetValue(RequestField::strategyType).toString();
    if (request.header().contains(RequestField::StrategyManaStatus))
        strategy.manaStatus = request.GetValue(RequestField::StrategyManaStatus).toString();

    qint64 userId = -1;
    if (alterType == kCreate) {
        if (!m_store.ensureUser(user, &userId, error)
            || !m_store.createStrategy(userId, &strategy, error))
            return false;
    } else {
        if (!requireText(request, RequestField::strategyNo, QStringLiteral("策略编号"),
                         &strategy.strategyNo, error)
            || !m_store.findUser(user, &userId, error))
            return false;
        if (userId < 0) {
            *error = QStringLiteral("策略不存在：%1").arg(strategy.strategyNo);
            return false;
        }
        if (!m_store.updateStrategy(userId, strategy, error))
            return false;
    }
    answer->AddVaule(RequestField::strategyNo, strategy.strategyNo);
    answer->AddVaule(RequestField::strategyName, strategy.name);
    return true;
}

bool BackendService::alterPortfolio(quint64 clientId, const CUnPackMessageCommon &request,
                                    CPackMessageCommon *answer, Outcome *outcome,
                                    QString *error)
{
    const QString alterType = textField(request, RequestField::alterType);
    QString user;
    if (!checkAlterType(alterType, error)
        || !requireText(request, RequestField::userID, QStringLiteral("用户编号"), &user, error))
        return false;

    qint64 userId = -1;
    PortfolioRecord portfolio;
    if (alterType == kCreate) {
        if (!m_store.ensureUser(user, &userId, error))
            return false;
    } else {
        bool found = false;
        if (!requireText(request, RequestField::portfolioNo, QStringLiteral("组合编号"),
                         &portfolio.portfolioNo, error)
            || !m_store.findUser(user, &userId, error)
            || (userId >= 0
                && !m_store.loadPortfolio(userId, portfolio.portfolioNo, &portfolio, &found,
                                          error)))
            return false;
        if (!found) {
            *error = QStringLiteral("组合不存在：%1").arg(portfolio.portfolioNo);
            return false;
        }
    }

    // A create takes every field; an update only those the request carries.
    const QVariantMap &header = request.header();
    const auto carries = [&](const QString &key) {
        return alterType == kCreate || header.contains(key);
    };
    if (carries(RequestField::portfolioName)) {
        portfolio.name = request.GetValue(RequestField::portfolioName).toString();
        if (!checkPortfolioName(portfolio.name, error))
            return false;
    }
    if (carries(RequestField::strategyNo))
        portfolio.strategyNo = textField(request, RequestField::strategyNo);
    if (carries(RequestField::defaultBasketSize)) {
        const QVariant size = request.GetValue(RequestField::defaultBasketSize, 0);
        bool ok = false;
        portfolio.defaultBasketSize = size.toLongLong(&ok);
        if (!ok || portfolio.defaultBasketSize < 0) {
            *error = QStringLiteral("默认篮子份数无效：%1").arg(size.toString());
            return false;
        }
    }
    if (carries(RequestField::portfolioExtensionDescription)) {
        const QString text =
            request.GetValue(RequestField::portfolioExtensionDescription).toString();
        QJsonObject extension;
        if (!PortfolioExtension::parse(text, &extension)) {
            *error = QStringLiteral("组合扩展描述不是有效的JSON对象：%1").arg(text);
            return false;
        }
        portfolio.extension = PortfolioExtension::toText(extension);
        portfolio.paramType = PortfolioExtension::paramType(extension);
    }

    // Only a session that cleared lines can be replacing (and a plain rename skips the look).
    PortfolioRef replaced;
    if (alterType != kCreate && m_markingClients.contains(clientId)
        && !m_store.findPortfolio(portfolio.portfolioNo, &replaced, error))
        return false;
    // A desk replacing the portfolio sends its header between the clear and the lines:
    // the header waits and goes in with the lines, so that a connection cut before them
    // leaves the old portfolio whole. What would refuse it then refuses it now.
    const bool waits = replaced.replacingSession == sessionOf(clientId);
    const bool stored = alterType == kCreate ? m_store.createPortfolio(userId, &portfolio, error)
                        : waits ? m_store.checkPortfolioUpdate(userId, portfolio, error)
                                && m_store.setReplacingHeader(replaced.id, headerText(portfolio), error)
                                : m_store.updatePortfolio(userId, portfolio, error);
    if (!stored)
        return false;
    answer->AddVaule(RequestField::portfolioNo, portfolio.portfolioNo);
    answer->AddVaule(RequestField::createTime, portfolio.createTime);
    answer->AddVaule(RequestField::portParamType, portfolio.paramType);
    if (waits)
        return true;  // the lines announce the change
    if (alterType != kCreate) {
        outcome->notices.append({user, PORTFOLIO_NEW_OR_UPDATE, portfolio.portfolioNo});
        return true;
    }
    // A new portfolio is a header and then its lines, two requests: until this session's
    // lines come it is nobody's to see, and it goes if the session ends first.
    PortfolioRef created;
    m_markingClients.insert(clientId);
    return m_store.findPortfolio(portfolio.portfolioNo, &created, error)
        && m_store.setPending(created.id, sessionOf(clientId), error);
}

bool BackendService::alterPortfolioDetail(quint64 clientId, const CUnPackMessageCommon &request,
                                          CPackMessageCommon *answer, Outcome *outcome,
                                          QString *error)
{
    const QString alterType = textField(request, RequestField::alterType);
    QString portfolioNo;
    PortfolioRef portfolio;
    if (!checkAlterType(alterType, error)
        || !requireText(request, RequestField::portfolioNo, QStringLiteral("组合编号"),
                        &portfolioNo, error)
        || !checkRowCount(request, error)
        || !m_store.findPortfolio(portfolioNo, &portfolio, error))
        return false;
    const bool completes = !portfolio.pendingSession.isEmpty() && portfolio.pendingSession == sessionOf(clientId);
    if (portfolio.id < 0 || (!portfolio.pendingSession.isEmpty() && !completes)) {
        *error = QStringLiteral("组合不存在：%1").arg(portfolioNo);
        return false;
    }
    if (completes && !m_store.setPending(portfolio.id, QString(), error))
        return false;
    // The lines this session cleared before are replaced now, in this transaction, and the
    // header it sent meanwhile goes in with them.
    if (portfolio.replacingSession == sessionOf(clientId)
        && (!m_store.clearLines(portfolio.id, error)
            || (!portfolio.replacingHeader.isEmpty()
                && !m_store.updatePortfolio(portfolio.userId, headerFromText(portfolioNo, portfolio.replacingHeader),
                                            error))
            || !m_store.setReplacing(portfolio.id, QString(), error)))
        return false;
    const QList<QVariantMap> &rows = request.rows();
    QList<PortfolioLine> lines;
    lines.reserve(rows.size());
    for (int i = 0; i < rows.size(); ++i) {
        PortfolioLine line;
        if (!lineFromRow(rows.at(i), i + 1, &line, error))
            return false;
        lines.append(line);
    }
    if (alterType == kCreate) {
        int failed = -1;
        if (!m_store.addLines(portfolio.id, lines, &failed, error)) {
            if (failed >= 0)
                *error = QStringLiteral("第%1行：%2").arg(failed + 1).arg(*error);
            return false;
        }
    } else if (!m_store.replaceLines(portfolio.id, lines, error)) {
        return false;
    }
    answer->AddVaule(RequestField::portfolioNo, portfolioNo);
    answer->AddVaule(RequestField::subGroupNumber, rows.size());
    outcome->notices.append({portfolio.userName, PORTFOLIO_NEW_OR_UPDATE, portfolioNo});
    return true;
}

bool BackendService::deletePortfolioDetail(quint64 clientId, const CUnPackMessageCommon &request,
                                           CPackMessageCommon *answer, Outcome *,
                                           QString *error)
{
    QString portfolioNo;
    PortfolioRef portfolio;
    if (!requireText(request, RequestField::portfolioNo, QStringLiteral("组合编号"),
                     &portfolioNo, error)
        || !m_store.findPortfolio(portfolioNo, &portfolio, error))
        return false;
    if (portfolio.id < 0) {
        *error = QStringLiteral("组合不存在：%1").arg(portfolioNo);
        return false;
    }
    if (!portfolio.pendingSession.isEmpty()) {
        // Not complete yet, so nobody sees it: cleared at once.
        if (portfolio.pendingSession != sessionOf(clientId)) {
            *error = QStringLiteral("组合不存在：%1").arg(portfolioNo);
            return false;
        }
        if (!m_store.clearLines(portfolio.id, error))
            return false;
        answer->AddVaule(RequestField::portfolioNo, portfolioNo);
        return true;
    }
    // A desk changing a portfolio clears its lines and sends the new ones: the old lines
    // stay until those come, and stay for good if the session ends first.
    m_markingClients.insert(clientId);
    if (!m_store.setReplacing(portfolio.id, sessionOf(clientId), error))
        return false;
    answer->AddVaule(RequestField::portfolioNo, portfolioNo);
    return true;
}

bool BackendService::deletePortfolio(quint64, const CUnPackMessageCommon &request,
                                     CPackMessageCommon *answer, Outcome *outcome,
                                     QString *error)
{
    QString user;
    qint64 userId = -1;
    if (!requireText(request, RequestField::userID, QStringLiteral("用户编号"), &user, error)
        || !checkRowCount(request, error) || !m_store.findUser(user, &userId, error))
        return false;
    if (request.GetRowCount() == 0) {
        *error = QStringLiteral("未指定要删除的组合");
        return false;
    }
    QStringList deleted;
    for (const QVariantMap &row : request.rows()) {
        const QString portfolioNo = row.value(RequestField::portfolioNo).toString().trimmed();
        if (deleted.contains(portfolioNo))
            continue;
        PortfolioRef portfolio;
        if (!m_store.findPortfolio(portfolioNo, &portfolio, error))
            return false;
        if (portfolio.id < 0 || portfolio.userId != userId) {
            *error = QStringLiteral("组合不存在：%1").arg(portfolioNo);
            return false;
        }
        if (!m_store.deletePortfolio(portfolio.id, error))
            return false;
        deleted.append(portfolioNo);
    }
    answer->AddVaule(RequestField::subGroupNumber, deleted.size());
    for (const QString &portfolioNo : qAsConst(deleted)) {
        answer->AddRow();
        answer->AddRowVaule(RequestField::portfolioNo, portfolioNo);
        outcome->notices.append({user, PORTFOLIO_DELETED, portfolioNo});
    }
    return true;
}

bool BackendService::queryPortfolio(quint64, const CUnPackMessageCommon &request,
                                    CPackMessageCommon *answer, Outcome *, QString *error)
{
    QString user;
    qint64 userId = -1;
    QList<PortfolioRecord> portfolios;
    QString next;
    // Without a page size the whole list comes in one answer.
    const int pageSize = request.GetValue(RequestField::pageSize, 0).toInt();
    const QString after = request.GetValue(RequestField::positionStr).toString();
    // A client that heard of changes asks for just those portfolios.
    const QStringList numbers = request.GetValue(RequestField::portfolioNoList).toStringList();
    if (numbers.size() > kMaxNumbersPerQuery) {
        *error = QStringLiteral("一次最多查询%1个组合，请求了%2个").arg(kMaxNumbersPerQuery).arg(numbers.size());
        return false;
    }
    if (!requireText(request, RequestField::userID, QStringLiteral("用户编号"), &user, error)
        || !m_store.findUser(user, &userId, error)
        || (userId >= 0
            && !m_store.portfolioPage(userId, after, qMax(0, pageSize), &portfolios, &next, error, numbers)))
        return false;
    answer->AddVaule(RequestField::subGroupNumber, portfolios.size());
    answer->AddVaule(RequestField::positionStr, next);
    for (const PortfolioRecord &portfolio : qAsConst(portfolios)) {
        answer->AddRow();
        answer->AddRowVaule(portfolioToMap(portfolio));
    }
    return true;
}

bool BackendService::queryStrategy(quint64, const CUnPackMessageCommon &request,
                                   CPackMessageCommon *answer, Outcome *, QString *error)
{
    QString user;
    qint64 userId = -1;
    QList<StrategyRecord> strategies;
    if (!requireText(request, RequestField::userID, QStringLiteral("用户编号"), &user, error)
        || !m_store.findUser(user, &userId, error)
        || (userId >= 0 && !m_store.strategies(userId, &strategies, error)))
        return false;
    answer->AddVaule(RequestField::subGroupNumber, strategies.size());
    for (const StrategyRecord &strategy : qAsConst(strategies)) {
        answer->AddRow();
        answer->AddRowVaule({{RequestField::strategyNo, strategy.strategyNo},
                             {RequestField::strategyName, strategy.name},
                             {RequestField::strategyType, strategy.type},
                             {RequestField::StrategyManaStatus, strategy.manaStatus}});
    }
    return true;
}

bool BackendService::queryBatchState(quint64, const CUnPackMessageCommon &request,
                                     CPackMessageCommon *answer, Outcome *, QString *error)
{
    QString portfolioNo;
    PortfolioRef portfolio;
    QString batchNo;
    if (!requireText(request, RequestField::portfolioNo, QStringLiteral("组合编号"),
                     &portfolioNo, error)
        || !m_store.findPortfolio(portfolioNo, &portfolio, error))
        return false;
    if (portfolio.id < 0) {
        *error = QStringLiteral("组合不存在：%1").arg(portfolioNo);
        return false;
    }
    if (!m_store.unfinishedBatch(portfolio.id, &batchNo, error))
        return false;
    answer->AddVaule(RequestField::portfolioNo, portfolioNo);
    answer->AddVaule(RequestField::batchFinished, batchNo.isEmpty());
    if (!batchNo.isEmpty())
        answer->AddVaule(RequestField::batchNo, batchNo);
    return true;
}

bool BackendService::loginUser(quint64 clientId, qint64 *userId, QString *error)
{
    const QString user = m_userOfClient.value(clientId);
    *userId = -1;
    if (!user.isEmpty() && !m_store.findUser(user, userId, error))
        return false;
    if (*userId >= 0)
        return true;
    *error = QStringLiteral("未登录，请先登录再查询账户");
    return false;
}

bool BackendService::ownAccount(quint64 clientId, const CUnPackMessageCommon &request,
                                const QString &key, AccountRecord *account, QString *error)
{
    qint64 userId = -1;
    QString number;
    const SqlAccountStore::Prefer prefer = key == AccountField::tradingAccount
                                               ? SqlAccountStore::Prefer::TradingAccount
                                               : SqlAccountStore::Prefer::FundAccount;
    const QString what = prefer == SqlAccountStore::Prefer::TradingAccount
                             ? QStringLiteral("交易账号")
                             : QStringLiteral("资金账号");
    if (!loginUser(clientId, &userId, error) || !requireText(request, key, what, &number, error)
        || !m_accounts.findAccount(userId, number, prefer, account, error))
        return false;
    if (account->id >= 0)
        return true;
    *error = QStringLiteral("账号不存在：%1").arg(number);
    return false;
}

bool BackendService::queryAccount(quint64 clientId, const CUnPackMessageCommon &,
                                  CPackMessageCommon *answer, Outcome *, QString *error)
{
    qint64 userId = -1;
    QList<AccountMarketRecord> rows;
    if (!loginUser(clientId, &userId, error) || !m_accounts.accountMarkets(userId, &rows, error))
        return false;
    answer->AddVaule(RequestField::subGroupNumber, rows.size());
    for (const AccountMarketRecord &row : qAsConst(rows)) {
        answer->AddRow();
        answer->AddRowVaule({{AccountField::fundAccount, row.account.fundAccount},
                             {AccountField::tradingAccount, row.account.tradingAccount},
                             {AccountField::securityAccount, row.securityAccount.securityAccount},
                             {RequestField::securityExchange, row.securityAccount.market},
                             {AccountField::fundProperty, row.account.fundProperty},
                             {AccountField::accountName, row.account.name}});
    }
    return true;
}

bool BackendService::queryPosition(quint64 clientId, const CUnPackMessageCommon &request,
                                   CPackMessageCommon *answer, Outcome *, QString *error)
{
    AccountRecord account;
    int pageSize = 0;
    if (!ownAccount(clientId, request, AccountField::tradingAccount, &account, error)
        || !pageSizeField(request, kDefaultPositionPage, kMaxPositionPage, &pageSize, error))
        return false;
    const QString market = textField(request, RequestField::securityExchange);
    const QString securityAccount = textField(request, AccountField::securityAccount);
    if (!market.isEmpty() || !securityAccount.isEmpty()) {
        // A narrowing the account does not have is a mistake, not an empty answer.
        QList<SecurityAccountRecord> held;
        if (!m_accounts.securityAccounts(account.id, &held, error))
            return false;
        const bool marketHeld = std::any_of(held.cbegin(), held.cend(), [&](const auto &h) {
            return h.market == market;
        });
        const bool numberHeld = std::any_of(held.cbegin(), held.cend(), [&](const auto &h) {
            return h.securityAccount == securityAccount
                   && (market.isEmpty() || h.market == market);
        });
        if (!market.isEmpty() && !marketHeld) {
            *error = SqlAccountStore::marketRank(market) == 0
                         ? QStringLiteral("市场无效：%1").arg(market)
                         : QStringLiteral("账号%1没有%2市场的证券账号")
                               .arg(account.fundAccount, market);
            return false;
        }
        if (!securityAccount.isEmpty() && !numberHeld) {
            *error = market.isEmpty()
                         ? QStringLiteral("证券账号不存在：%1").arg(securityAccount)
                         : QStringLiteral("证券账号不存在：%1（%2）").arg(securityAccount, market);
            return false;
        }
    }
    QList<PositionRecord> positions;
    QString next;
    if (!m_accounts.positionPage(account.id, market, securityAccount,
                                 request.GetValue(RequestField::positionStr).toString(),
                                 pageSize, &positions, &next, error))
        return false;
    answer->AddVaule(RequestField::subGroupNumber, positions.size());
    answer->AddVaule(RequestField::positionStr, next);
    for (const PositionRecord &position : qAsConst(positions)) {
        answer->AddRow();
        answer->AddRowVaule({{AccountField::fundAccount, account.fundAccount},
                             {AccountField::tradingAccount, account.tradingAccount},
                             {AccountField::securityAccount, position.securityAccount},
                             {RequestField::securityExchange, position.market},
                             {RequestField::securityID, position.securityId},
                             {AccountField::currentQty, position.currentQty},
                             {AccountField::availableQty, position.availableQty},
                             {AccountField::costPrice, position.costPrice},
                             {AccountField::currency, position.currency}});
    }
    return true;
}

bool BackendService::queryMarginSecurity(quint64 clientId, const CUnPackMessageCommon &request,
                                         CPackMessageCommon *answer, Outcome *, QString *error)
{
    AccountRecord account;
    QList<LendableRecord> lendable;
    if (!ownAccount(clientId, request, AccountField::fundAccount, &account, error))
        return false;
    if (account.fundProperty != FundProperty::credit) {
        *error = QStringLiteral("账号%1不是信用账户").arg(textField(request, AccountField::fundAccount));
        return false;
    }
    if (!m_accounts.lendable(account.id, &lendable, error))
        return false;
    answer->AddVaule(RequestField::subGroupNumber, lendable.size());
    for (const LendableRecord &row : qAsConst(lendable)) {
        answer->AddRow();
        answer->AddRowVaule({{RequestField::securityID, row.securityId},
                             {RequestField::securityExchange, row.market},
                             {AccountField::lendableQty, row.lendableQty}});
    }
    return true;
}

bool BackendService::queryLendingContracts(quint64 clientId,
                                           const CUnPackMessageCommon &request,
                                           CPackMessageCommon *answer, Outcome *,
                                           QString *error)
{
    AccountRecord account;
    int pageSize = 0;
    if (!ownAccount(clientId, request, AccountField::fundAccount, &account, error)
        || !pageSizeField(request, kDefaultContractPage, kMaxContractPage, &pageSize, error))
        return false;
    if (account.fundProperty != FundProperty::credit) {
        *error = QStringLiteral("账号%1不是信用账户").arg(textField(request, AccountField::fundAccount));
        return false;
    }
    const QString dueText = textField(request, AccountField::returnDate);
    QDate dueBy;
    if (!dueText.isEmpty()) {
        dueBy = QDate::fromString(dueText, kDateFormat);
        if (dueText.size() != 8 || !dueBy.isValid()) {
            *error = QStringLiteral("归还日期无效：%1（应为yyyyMMdd，如20260315）").arg(dueText);
            return false;
        }
    }
    QList<LendingContractRecord> contracts;
    QString next;
    if (!m_accounts.contractPage(account.id, dueBy,
                                 request.GetValue(RequestField::positionStr).toString(),
                                 pageSize, &contracts, &next, error))
        return false;
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    answer->AddVaule(RequestField::subGroupNumber, contracts.size());
    answer->AddVaule(RequestField::positionStr, next);
    for (const LendingContractRecord &contract : qAsConst(contracts)) {
        const SecurityInfo *security = catalog.byCodeAndMarket(contract.securityId,
                                                               contract.market);
        answer->AddRow();
        answer->AddRowVaule({{SecurityProvideLoan::ContractNo, contract.contractNo},
                             {RequestField::securityID, contract.securityId},
                             {RequestField::securityExchange, contract.market},
                             {SecurityProvideLoan::SecurityName,
                              security ? security->name : QString()},
                             {SecurityProvideLoan::ContractQty, contract.contractQty},
                             {SecurityProvideLoan::ReturnDate,
                              contract.returnDate.toString(kDateFormat)},
                             {SecurityProvideLoan::OpenDate,
                              contract.openDate.toString(kDateFormat)}});
    }
    return true;
}
