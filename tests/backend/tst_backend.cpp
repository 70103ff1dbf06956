#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "embeddedbackend.h"
#include "serviceclient.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "migrations.h"
#include "msgtypes.h"
#include "securitycatalog.h"
#include "testdatabase.h"
#include "tzcore.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

namespace {

QVariantMap line(const QString &code, const QString &exchange, qint64 qty)
{
    return {{RequestField::securityID, code},
            {RequestField::securityExchange, exchange},
            {RequestField::side, OrderSide::buy},
            {RequestField::tradeQty, qty},
            {RequestField::positionWeight, 0.0},
            {RequestField::entrustType, EntrustType::NewOrder},
            {RequestField::batchEntrustProp, EntrustProp::trading},
            {RequestField::customerPrice, 0.0},
            {RequestField::limitPrice, 0.0}};
}

QString rowsText(const QList<QVariantMap> &rows, const QString &key)
{
    QStringList values;
    for (const QVariantMap &row : rows)
        values.append(row.value(key).toString());
    return values.join(QLatin1Char(','));
}

} // namespace

// The service client with the portfolio requests these cases send.
class TestClient : public ServiceClient
{
public:
    using ServiceClient::ServiceClient;
    using ServiceClient::request;

    // A round trip: every frame the service sent this client before is in by now.
    void sync()
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::userID, QStringLiteral("nobody"));
        request(MsgType::queryStrategyRequest, body);
    }

    // A header and then its lines (none here), as a desk creates a portfolio: the
    // header's reply.
    Reply createPortfolio(const QString &user, const QString &name,
                          const QString &extension = QStringLiteral("{}"),
                          const QString &strategyNo = QString())
    {
        const Reply header = request(MsgType::alterPortfolioRequest,
                                     portfolioBody(QStringLiteral("c"), user, QString(), name, extension,
                                                   strategyNo));
        if (header.ok())
            alterDetails(QStringLiteral("c"), header.value(RequestField::portfolioNo), {});
        return header;
    }
    static CPackMessageCommon portfolioBody(const QString &alterType, const QString &user,
                                            const QString &portfolioNo, const QString &name,
                                            const QString &extension,
                                            const QString &strategyNo = QString())
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::alterType, alterType);
        body.AddVaule(RequestField::userID, user);
        body.AddVaule(RequestField::strategyNo, strategyNo);
        body.AddVaule(RequestField::portfolioNo, portfolioNo);
        body.AddVaule(RequestField::portfolioName, name);
        body.AddVaule(RequestField::defaultBasketSize, 2);
        body.AddVaule(RequestField::msgType, MsgType::alterPortfolioRequest);
        body.AddVaule(RequestField::portfolioExtensionDescription, extension);
        return body;
    }
    Reply alterDetails(const QString &alterType, const QString &portfolioNo,
                       const QList<QVariantMap> &rows, int declared = -1)
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::alterType, alterType);
        body.AddVaule(RequestField::portfolioNo, portfolioNo);
        body.AddVaule(RequestField::subGroupNumber, declared < 0 ? rows.size() : declared);
        for (const QVariantMap &row : rows) {
            body.AddRow();
            body.AddRowVaule(row);
        }
        return request(MsgType::alterPortfolioDetailRequest, body);
    }
    Reply deletePortfolios(const QString &user, const QStringList &numbers)
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::userID, user);
        body.AddVaule(RequestField::subGroupNumber, numbers.size());
        for (const QString &number : numbers) {
            body.AddRow();
            body.AddRowVaule(RequestField::portfolioNo, number);
        }
        return request(MsgType::deletePortfolioRequest, body);
    }
    QList<QVariantMap> portfolios(const QString &user)
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::userID, user);
        const Reply reply = request(MsgType::queryPortfolioRequest, body);
        return reply.ok() ? reply.body.rows() : QList<QVariantMap>();
    }
    Reply batchState(const QString &portfolioNo)
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::portfolioNo, portfolioNo);
        return request(MsgType::queryBatchStateRequest, body);
    }

};

class TestBackend : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR)); }
    void init();
    void cleanup();

    void seedHoldsFivePortfoliosOfRealSecurities();
    void portfoliosNumberedAndListedInCreationOrder();
    void portfolioNameRules();
    void duplicateNamesRefused();
    void failedRequestLeavesNothing();
    void detailLinesCreateReplaceAndClear();
    void otherClientsOfUserAreNotified();
    void faultsFailDelayAndDrop();
    void unknownAndUndecodableFrames();
    void upgradesOldFileRefusesNewer();

private:
    bool start(bool seed = false);
    qint64 scalar(const QString &sql);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<TestDatabase> m_database;
    std::unique_ptr<EmbeddedBackend> m_backend;
    QString m_dbPath;  // a SQLite file, or a PostgreSQL URL
    QString m_startError;
};

void TestBackend::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_database = std::make_unique<TestDatabase>(m_dir->path());
    m_dbPath = m_database->create();
    QVERIFY(!m_dbPath.isEmpty());
}

void TestBackend::cleanup()
{
    m_backend.reset();
    m_database.reset();
    m_dir.reset();
}

bool TestBackend::start(bool seed)
{
    m_backend = std::make_unique<EmbeddedBackend>();
    BackendService::Options options;
    options.databasePath = m_dbPath;
    options.seedDemo = seed;
    m_startError.clear();
    return m_backend->start(options, &m_startError);
}

// Runs one statement on the database beside the running service, on a connection of its
// own; returns the first column of the first row.
qint64 TestBackend::scalar(const QString &sql)
{
    const QString name = QStringLiteral("inspect");
    qint64 value = -1;
    {
        QSqlDatabase db = TestDatabase::connect(m_dbPath, name);
        if (db.isOpen()) {
            QSqlQuery query(db);
            if (!query.exec(sql))
                qWarning() << sql << query.lastError().text();
            else if (query.isSelect() && query.next())
                value = query.value(0).toLongLong();
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return value;
}

void TestBackend::seedHoldsFivePortfoliosOfRealSecurities()
{
    QVERIFY2(start(true), qPrintable(m_startError));
    TestClient client(*m_backend);
    const QList<QVariantMap> rows = client.portfolios(QStringLiteral("demo"));
    QCOMPARE(rowsText(rows, RequestField::portfolioName),
             QStringLiteral("沪深300前20,银行股组合,港股通精选,创业板成长,待完成批次组合"));
    const QHash<QString, int> sizes = {{QStringLiteral("沪深300前20"), 20}, {QStringLiteral("银行股组合"), 10},
                                       {QStringLiteral("港股通精选"), 8}, {QStringLiteral("创业板成长"), 10},
                                       {QStringLiteral("待完成批次组合"), 3}};

    for (const QVariantMap &row : rows) {
        const QString name = row.value(RequestField::portfolioName).toString();
        const bool pending = name == QStringLiteral("待完成批次组合");
        QCOMPARE(row.value(RequestField::strategyName).toString(), QStringLiteral("默认"));
        const QVariantList details = row.value(RequestField::details).toList();
        QCOMPARE(details.size(), sizes.value(name));
        double weights = 0.0;
        for (const QVariant &detail : details) {
            const QVariantMap l = detail.toMap();
            const QString code = l.value(RequestField::securityID).toString();
            const QString market = l.value(RequestField::securityExchange).toString();
            const SecurityInfo *security = SecurityCatalog::instance().byCodeAndMarket(code, market);
            QVERIFY2(security, qPrintable(name + QLatin1Char(' ') + code + market));
            const qint64 qty = l.value(RequestField::tradeQty).toLongLong();
            QVERIFY(qty > 0 && qty % security->lotSize == 0);
            // Whole lots closest to 100,000 CNY.
            const double value = double(qty) * security->preClosePx;
            QVERIFY2(qAbs(value - 100000.0) <= security->preClosePx * security->lotSize / 2 + 1,
                     qPrintable(code));
            weights += l.value(RequestField::positionWeight).toDouble();

            if (name == QStringLiteral("银行股组合"))
                QVERIFY2(security->name.endsWith(QStringLiteral("行")), qPrintable(security->name));
            if (name == QStringLiteral("港股通精选"))
                QVERIFY(security->type == SecurityType::hkConnect
                        && (market == Exchange::hhk || market == Exchange::szhk));
            if (name == QStringLiteral("创业板成长"))
                QCOMPARE(security->type, SecurityType::chinext);
        }
        QVERIFY2(qAbs(weights - 100.0) < 0.01, qPrintable(name));
        const Reply batch = client.batchState(row.value(RequestField::portfolioNo).toString());
        QVERIFY(batch.ok());
        QCOMPARE(batch.body.GetValue(RequestField::batchFinished).toBool(), !pending);
        QCOMPARE(row.value(RequestField::portParamType).toInt(), pending ? 1 : 0);
    }
    // The heaviest CSI 300 constituent leads its portfolio.
    QCOMPARE(rows.first().value(RequestField::details).toList().first().toMap()
                 .value(RequestField::securityID).toString(),
             QStringLiteral("600519"));

    // A second start finds the demo user and writes nothing more.
    m_backend.reset();
    QVERIFY2(start(true), qPrintable(m_startError));
    QCOMPARE(TestClient(*m_backend).portfolios(QStringLiteral("demo")).size(), 5);
    QCOMPARE(scalar(QStringLiteral("SELECT COUNT(*) FROM strategies")), 1);
}

void TestBackend::portfoliosNumberedAndListedInCreationOrder()
{
    QVERIFY(start());
    TestClient client(*m_backend);
    const QString user = QStringLiteral("trader");

    const Reply strategy = client.request(
        MsgType::alterStrategyRequest,
        QVariantMap{{RequestField::alterType, QStringLiteral("c")}, {RequestField::userID, user},
                    {RequestField::strategyName, QStringLiteral("套利")},
                    {RequestField::strategyType, QStringLiteral("1")},
                    {RequestField::StrategyManaStatus, QStringLiteral("0")}});
    QVERIFY2(strategy.ok(), qPrintable(strategy.text()));
    const QString strategyNo = strategy.value(RequestField::strategyNo);
    QVERIFY(!strategyNo.isEmpty());

    const QString algo = QStringLiteral(R"({"algoParam":{"algoName":"VWAP"}})");
    const Reply a = client.createPortfolio(user, QStringLiteral("甲"), QStringLiteral("{}"),
                                           strategyNo);
    const Reply b = client.createPortfolio(user, QStringLiteral("乙"), algo);
    const Reply c = client.createPortfolio(user, QStringLiteral("丙"));
    QVERIFY(a.ok() && b.ok() && c.ok());
    QVERIFY(a.body.GetValue(RequestField::createTime).toDateTime().isValid());
    const qint64 na = a.value(RequestField::portfolioNo).toLongLong();
    const qint64 nb = b.value(RequestField::portfolioNo).toLongLong();
    const qint64 nc = c.value(RequestField::portfolioNo).toLongLong();
    QVERIFY(na > 0 && na < nb && nb < nc);

    QList<QVariantMap> rows = client.portfolios(user);
    QCOMPARE(rowsText(rows, RequestField::portfolioName), QStringLiteral("甲,乙,丙"));
    QCOMPARE(rows.at(0).value(RequestField::strategyName).toString(), QStringLiteral("套利"));
    QCOMPARE(rows.at(0).value(RequestField::defaultBasketSize).toInt(), 2);
    QCOMPARE(rows.at(0).value(RequestField::portParamType).toInt(), 0);
    QCOMPARE(rows.at(1).value(RequestField::portParamType).toInt(), 1);
    QCOMPARE(rows.at(1).value(RequestField::portfolioExtensionDescription).toString(), algo);
    QCOMPARE(rows.at(2).value(RequestField::deleteFlag), QVariant(false));
    QCOMPARE(rows.at(0).value(RequestField::createTime).toDateTime(),
             a.body.GetValue(RequestField::createTime).toDateTime());

    // A deleted number is never handed out again.
    QVERIFY(client.deletePortfolios(user, {QString::number(nc)}).ok());
    const Reply d = client.createPortfolio(user, QStringLiteral("丁"));
    QVERIFY(d.value(RequestField::portfolioNo).toLongLong() > nc);

    // An update touches the fields it carries; dropping the algorithm parameters
    // turns the parameter type back to 0.
    QVERIFY(client.request(MsgType::alterPortfolioRequest,
                           QVariantMap{{RequestField::alterType, QStringLiteral("u")},
                                       {RequestField::userID, user},
                                       {RequestField::portfolioNo, QString::number(nb)},
                                       {RequestField::portfolioName, QStringLiteral("乙二")},
                                       {RequestField::portfolioExtensionDescription, QStringLiteral("{}")}}).ok());
    rows = client.portfolios(user);
    QCOMPARE(rowsText(rows, RequestField::portfolioName), QStringLiteral("甲,乙二,丁"));
    QCOMPARE(rows.at(1).value(RequestField::portParamType).toInt(), 0);
    QCOMPARE(rows.at(1).value(RequestField::defaultBasketSize).toInt(), 2);

    // A query for named portfolios answers just those of this user, in display order;
    // numbers it does not have (deleted, another user's) are absent, not an error.
    const auto named = [&client](const QString &who, const QStringList &numbers) {
        return client.request(MsgType::queryPortfolioRequest,
                              QVariantMap{{RequestField::userID, who}, {RequestField::portfolioNoList, numbers}});
    };
    const QStringList wanted{d.value(RequestField::portfolioNo), QString::number(nc), QString::number(na)};
    const Reply some = named(user, wanted);
    QVERIFY(some.ok());
    QCOMPARE(rowsText(some.rows(), RequestField::portfolioName), QStringLiteral("甲,丁"));
    const Reply none = named(QStringLiteral("intruder"), wanted);
    QVERIFY(none.ok() && none.rows().isEmpty());
    QStringList tooMany;
    for (int i = 0; i < 501; ++i)
        tooMany << QString::number(na + i);
    QCOMPARE(named(user, tooMany).text(), QStringLiteral("一次最多查询500个组合，请求了501个"));
}

void TestBackend::portfolioNameRules()
{
    QVERIFY(start());
    TestClient client(*m_backend);
    const QString tooLong(26, QChar(0x7ec4));
    const QList<QPair<QString, QString>> cases = {  // name, reason it is refused
        {QString(), QStringLiteral("组合名称不能为空")},
        {QStringLiteral("   "), QStringLiteral("组合名称不能为空")},
        {QStringLiteral(" 组合"), QStringLiteral("组合名称首尾不能有空格： 组合")},
        {QStringLiteral("组合 "), QStringLiteral("组合名称首尾不能有空格：组合 ")},
        {tooLong, QStringLiteral("组合名称不能超过25个字符：") + tooLong},
        {QString(25, QChar(0x7ec4)), QString()},
        {QStringLiteral("组合 一"), QString()}};
    for (const auto &c : cases) {
        const Reply reply = client.createPortfolio(QStringLiteral("trader"), c.first);
        QVERIFY2(reply.answered && reply.ok() == c.second.isEmpty(), qPrintable(c.first));
        QCOMPARE(reply.text(), c.second);
    }
}

// Names are unique per user among live portfolios, also when two desks create the same
// name at once.
void TestBackend::duplicateNamesRefused()
{
    QVERIFY(start());
    TestClient one(*m_backend);
    TestClient two(*m_backend);
    const QString name = QStringLiteral("红利");
    const Reply first = one.createPortfolio(QStringLiteral("a"), name);
    QVERIFY(first.ok());
    QCOMPARE(one.createPortfolio(QStringLiteral("a"), name).text(), QStringLiteral("组合名称已存在：红利"));
    QVERIFY(one.createPortfolio(QStringLiteral("b"), name).ok());
    QVERIFY(one.deletePortfolios(QStringLiteral("a"), {first.value(RequestField::portfolioNo)}).ok());
    QVERIFY(one.createPortfolio(QStringLiteral("a"), name).ok());

    const CPackMessageCommon body = TestClient::portfolioBody(
        QStringLiteral("c"), QStringLiteral("demo"), QString(), QStringLiteral("同名"),
        QStringLiteral("{}"));
    const quint64 r1 = one.send(MsgType::alterPortfolioRequest, body);
    const quint64 r2 = two.send(MsgType::alterPortfolioRequest, body);
    const Reply a = one.wait(r1);
    const Reply b = two.wait(r2);
    QVERIFY(a.answered && b.answered);
    QVERIFY(a.ok() != b.ok());
    QCOMPARE((a.ok() ? b : a).text(), QStringLiteral("组合名称已存在：同名"));
    // Listed once the winner's lines are in.
    QCOMPARE(one.portfolios(QStringLiteral("demo")).size(), 0);
    TestClient &winner = a.ok() ? one : two;
    QVERIFY(winner.alterDetails(QStringLiteral("c"), (a.ok() ? a : b).value(RequestField::portfolioNo), {}).ok());
    QCOMPARE(one.portfolios(QStringLiteral("demo")).size(), 1);
}

void TestBackend::failedRequestLeavesNothing()
{
    QVERIFY(start());
    TestClient client(*m_backend);
    const QString no = client.createPortfolio(QStringLiteral("a"), QStringLiteral("P"))
                           .value(RequestField::portfolioNo);
    const QString sql = QStringLiteral("SELECT COUNT(*) FROM portfolio_lines");

    // The third row repeats the first: none of the three lines is kept.
    const QVariantMap first = line(QStringLiteral("600000"), Exchange::sh, 100);
    Reply reply = client.alterDetails(
        QStringLiteral("c"), no,
        {first, line(QStringLiteral("000001"), Exchange::sz, 100), first});
    QVERIFY(!reply.ok());
    QVERIFY2(reply.text().startsWith(QStringLiteral("第3行")), qPrintable(reply.text()));
    QCOMPARE(scalar(sql), 0);

    reply = client.alterDetails(QStringLiteral("c"), no,
                                {first, line(QStringLiteral("000001"), Exchange::sz, 100),
                                 line(QStringLiteral("600036"), QStringLiteral("XX"), 100)});
    QCOMPARE(reply.text(), QStringLiteral("第3行市场无效：XX"));
    reply = client.alterDetails(QStringLiteral("c"), no, {first}, 2);
    QCOMPARE(reply.text(), QStringLiteral("明细行数不符：声明2行，实际1行"));
    QCOMPARE(scalar(sql), 0);

    // A create that fails late (unknown label) leaves neither the new user nor a number.
    reply = client.createPortfolio(QStringLiteral("ghost"), QStringLiteral("Q"),
                                   QStringLiteral("{}"), QStringLiteral("999"));
    QCOMPARE(reply.text(), QStringLiteral("策略不存在：999"));
    QCOMPARE(scalar(QStringLiteral("SELECT COUNT(*) FROM users WHERE user_name = 'ghost'")), 0);
    QCOMPARE(scalar(QStringLiteral("SELECT COUNT(*) FROM portfolios")), 1);
    const Reply next = client.createPortfolio(QStringLiteral("a"), QStringLiteral("Q"));
    QCOMPARE(next.value(RequestField::portfolioNo).toLongLong(), no.toLongLong() + 1);

    // One unknown number fails the whole delete.
    reply = client.deletePortfolios(QStringLiteral("a"), {no, QStringLiteral("424242")});
    QCOMPARE(reply.text(), QStringLiteral("组合不存在：424242"));
    QCOMPARE(client.portfolios(QStringLiteral("a")).size(), 2);
}

void TestBackend::detailLinesCreateReplaceAndClear()
{
    QVERIFY(start());
    TestClient client(*m_backend);
    const QString no = client.createPortfolio(QStringLiteral("a"), QStringLiteral("P"))
                           .value(RequestField::portfolioNo);
    const auto lines = [&] {
        return client.portfolios(QStringLiteral("a")).first().value(RequestField::details).toList();
    };
    const auto codes = [&] {
        QStringList result;
        for (const QVariant &l : lines())
            result.append(l.toMap().value(RequestField::securityID).toString() + QLatin1Char('@')
                          + l.toMap().value(RequestField::tradeQty).toString());
        return result.join(QLatin1Char(','));
    };
    const auto alter = [&](TestClient &desk, const char *type, const QList<QVariantMap> &rows) {
        return desk.alterDetails(QLatin1String(type), no, rows);
    };

    QVERIFY(alter(client, "c", {line("600519", Exchange::sh, 100), line("000001", Exchange::sz, 200),
                                line("00700", Exchange::hhk, 300)}).ok());
    QCOMPARE(codes(), QStringLiteral("600519@100,000001@200,00700@300"));
    const QVariantMap stored = lines().first().toMap();
    QCOMPARE(stored.value(RequestField::side).toString(), OrderSide::buy);
    QCOMPARE(stored.value(RequestField::securityExchange).toString(), Exchange::sh);

    // The same code on the other Stock Connect link is a different line.
    QVERIFY(alter(client, "c", {line("00700", Exchange::szhk, 400)}).ok());
    QCOMPARE(alter(client, "c", {line("000001", Exchange::sz, 1)}).text(),
             QStringLiteral("第1行：组合中已有证券：000001（SZ）"));
    QVERIFY(alter(client, "u", {line("000001", Exchange::sz, 900), line("300750", Exchange::sz, 100)}).ok());
    QCOMPARE(codes(), QStringLiteral("600519@100,000001@900,00700@300,00700@400,300750@100"));

    // A change clears the lines and sends new ones: the old stay until the new come, and
    // stay if the desk is gone before that.
    const QVariantMap clear = {{RequestField::portfolioNo, no}};
    QVERIFY(client.request(MsgType::deletePortfolioDetailRequest, clear).ok());
    QCOMPARE(codes(), QStringLiteral("600519@100,000001@900,00700@300,00700@400,300750@100"));
    QVERIFY(alter(client, "c", {line("601318", Exchange::sh, 500)}).ok());
    QCOMPARE(codes(), QStringLiteral("601318@500"));
    QVERIFY(client.request(MsgType::deletePortfolioDetailRequest, clear).ok());
    QMetaObject::invokeMethod(m_backend->service(), "onClientDetached", Qt::BlockingQueuedConnection,
                              Q_ARG(quint64, client.id()));
    TestClient later(*m_backend);
    QVERIFY(alter(later, "c", {line("600036", Exchange::sh, 100)}).ok());
    QCOMPARE(codes(), QStringLiteral("601318@500,600036@100"));
    QCOMPARE(later.alterDetails(QStringLiteral("c"), QStringLiteral("999999"), {}).text(),
             QStringLiteral("组合不存在：999999"));

    // A portfolio holds at most its limit of lines; changing lines it holds is still fine.
    QList<QVariantMap> rows;
    for (int i = 0; i < SqlPortfolioStore::kMaxLines - 2; ++i)
        rows.append(line(QString::number(100000 + i), Exchange::sz, 100));
    QVERIFY(alter(later, "c", rows).ok());
    QCOMPARE(alter(later, "c", {line("600519", Exchange::sz, 1)}).text(),
             QStringLiteral("组合明细不能超过%1行（已有%1行，又加1行）").arg(SqlPortfolioStore::kMaxLines));
    QVERIFY(alter(later, "u", {line("600036", Exchange::sh, 300)}).ok());
}

void TestBackend::otherClientsOfUserAreNotified()
{
    QVERIFY(start());
    TestClient sender(*m_backend);
    TestClient sameUser(*m_backend);
    TestClient otherUser(*m_backend);
    QVERIFY(sender.login(QStringLiteral("demo")).ok() && sameUser.login(QStringLiteral("demo")).ok()
            && otherUser.login(QStringLiteral("other")).ok());

    const auto eventsOf = [](TestClient &client) {
        client.sync();
        QStringList seen;
        for (const CMessageCommon &event : qAsConst(client.events)) {
            CUnPackMessageCommon body;
            body.SetUnPackMsg(event.GetMsg());
            seen.append(QStringLiteral("%1:%2").arg(event.GetType().toInt()).arg(
                body.GetValue(RequestField::portfolioNo).toString()));
        }
        client.events.clear();
        return seen.join(QLatin1Char(','));
    };

    const auto create = [&](const char *name) { return sender.createPortfolio(QStringLiteral("demo"), QLatin1String(name)); };
    const QString a = create("A").value(RequestField::portfolioNo);
    const QString b = create("B").value(RequestField::portfolioNo);
    QVERIFY(sender.alterDetails(QStringLiteral("c"), a, {line("600000", Exchange::sh, 100)}).ok());
    const QString update = QString::number(PORTFOLIO_NEW_OR_UPDATE);
    QCOMPARE(eventsOf(sameUser),
             QStringList({update + ':' + a, update + ':' + b, update + ':' + a}).join(','));
    QCOMPARE(eventsOf(sender), QString());
    QCOMPARE(eventsOf(otherUser), QString());

    // A failed request tells nobody.
    QVERIFY(!create("A").ok());
    QCOMPARE(eventsOf(sameUser), QString());

    QVERIFY(sender.deletePortfolios(QStringLiteral("demo"), {a, b}).ok());
    const QString deleted = QString::number(PORTFOLIO_DELETED);
    QCOMPARE(eventsOf(sameUser), deleted + ':' + a + ',' + deleted + ':' + b);
    QCOMPARE(eventsOf(otherUser), QString());

    // A detached client hears nothing more.
    QMetaObject::invokeMethod(m_backend->service(), "onClientDetached", Qt::QueuedConnection,
                              Q_ARG(quint64, sameUser.id()));
    QVERIFY(create("C").ok());
    QCOMPARE(eventsOf(sameUser), QString());
}

void TestBackend::faultsFailDelayAndDrop()
{
    QVERIFY(start());
    TestClient client(*m_backend);
    FaultInjector &faults = m_backend->service()->faults();
    const QString user = QStringLiteral("a");
    CPackMessageCommon query;
    query.AddVaule(RequestField::userID, user);

    // A planned failure answers with its reason and writes nothing.
    faults.failNext(MsgType::alterPortfolioRequest, QStringLiteral("柜台繁忙"));
    Reply reply = client.createPortfolio(user, QStringLiteral("P"));
    QVERIFY(reply.answered && !reply.ok());
    QCOMPARE(reply.text(), QStringLiteral("柜台繁忙"));
    QVERIFY(client.portfolios(user).isEmpty());
    QVERIFY(client.createPortfolio(user, QStringLiteral("P")).ok());

    // A delayed request does not hold up the others.
    faults.delayNext(MsgType::queryPortfolioRequest, 1000);
    QElapsedTimer clock;
    clock.start();
    const quint64 slow = client.send(MsgType::queryPortfolioRequest, query);
    QVERIFY(client.request(MsgType::queryStrategyRequest, query).ok());
    QVERIFY(!client.hasAnswer(slow));
    reply = client.wait(slow);
    QVERIFY(reply.ok());
    QVERIFY(clock.elapsed() >= 950);
    QCOMPARE(reply.body.GetRowCount(), 1);

    // A dropped request is never answered; the next one of its type is.
    faults.dropNext(MsgType::queryStrategyRequest);
    QVERIFY(!client.request(MsgType::queryStrategyRequest, query, 300).answered);
    QVERIFY(client.request(MsgType::queryStrategyRequest, query).ok());

    faults.failNext(MsgType::queryStrategyRequest, QStringLiteral("x"));
    faults.clear();
    QVERIFY(client.request(MsgType::queryStrategyRequest, query).ok());
}

void TestBackend::unknownAndUndecodableFrames()
{
    QVERIFY(start());
    TestClient client(*m_backend);
    const quint64 id = client.send(QStringLiteral("transferFundsRequest"), CPackMessageCommon());
    const Reply reply = client.wait(id);
    QVERIFY(reply.answered && !reply.ok());
    QCOMPARE(reply.message.requestId(), id);
    QCOMPARE(reply.message.GetType().toString(), QStringLiteral("transferFundsRequest"));
    QCOMPARE(reply.text(), QStringLiteral("未知的请求类型：transferFundsRequest"));

    // Garbage is dropped without an answer and the service carries on.
    client.sendRaw(QByteArray("\xff\x00garbage", 9));
    client.sendRaw(QByteArray());
    QVERIFY(client.login(QStringLiteral("a")).ok());
    QVERIFY(client.events.isEmpty());
}

void TestBackend::upgradesOldFileRefusesNewer()
{
    {
        QSqlDatabase db = TestDatabase::connect(m_dbPath, QStringLiteral("v1"));
        QVERIFY(db.isOpen());
        QString error;
        QVERIFY2(Migrations::apply(db, &error, 1), qPrintable(error));
        QCOMPARE(Migrations::currentVersion(db, &error), 1);
        const QStringList inserts = {
            "INSERT INTO users (user_name, created_at) VALUES ('demo', '2024-01-02')",
            "INSERT INTO portfolios (portfolio_no, user_id, portfolio_name, extension,"
            " created_at) SELECT '100001', id, '旧组合',"
            " '{\"algoParam\":{\"algoName\":\"TWAP\"}}', '2024-01-02T09:30:00.000Z'"
            " FROM users WHERE user_name = 'demo'",
            "INSERT INTO portfolio_lines (portfolio_id, line_no, security_id,"
            " security_exchange, trade_qty)"
            " SELECT id, 1, '600519', 'SH', 100 FROM portfolios WHERE portfolio_no = '100001'",
            "UPDATE number_sequences SET next_value = 100002 WHERE name = 'portfolio'"};
        for (const QString &sql : inserts) {
            QSqlQuery query(db);
            QVERIFY2(query.exec(sql), qPrintable(query.lastError().text()));
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("v1"));

    QVERIFY2(start(true), qPrintable(m_startError));
    QCOMPARE(scalar(QStringLiteral("SELECT MAX(version) FROM schema_version")),
             Migrations::latestVersion());
    TestClient client(*m_backend);
    const QList<QVariantMap> rows = client.portfolios(QStringLiteral("demo"));
    QCOMPARE(rows.size(), 1);  // kept, and no demo data over it
    QCOMPARE(rows.first().value(RequestField::portfolioName).toString(),
             QStringLiteral("旧组合"));
    QCOMPARE(rows.first().value(RequestField::portParamType).toInt(), 1);
    QCOMPARE(rows.first().value(RequestField::details).toList().size(), 1);
    QCOMPARE(rows.first().value(RequestField::createTime).toDateTime(),
             QDateTime(QDate(2024, 1, 2), QTime(9, 30), Qt::UTC));

    const Reply batch = client.batchState(QStringLiteral("100001"));
    QVERIFY(batch.ok());
    QCOMPARE(batch.body.GetValue(RequestField::batchFinished).toBool(), true);
    QCOMPARE(client.createPortfolio(QStringLiteral("demo"), QStringLiteral("新组合"))
                 .value(RequestField::portfolioNo),
             QStringLiteral("100002"));

    // A database of a later version than this program knows is left alone.
    m_backend.reset();
    scalar(QStringLiteral("INSERT INTO schema_version VALUES (99, 'future', 'x')"));
    QVERIFY(!start());
    QCOMPARE(m_startError, QStringLiteral("数据库版本99高于本程序支持的版本%1").arg(Migrations::latestVersion()));
    QVERIFY(!m_backend->isRunning());
}

QTEST_GUILESS_MAIN(TestBackend)

#include "tst_backend.moc"
