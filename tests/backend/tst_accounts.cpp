// The back end's account service on a real database: who may see which account, the
// paging of positions and lending contracts, lendable securities of credit accounts, the
// loading of positions from files, and the accounts a database of the previous schema
// gets when it is upgraded.

#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "demoseed.h"
#include "embeddedbackend.h"
#include "serviceclient.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "migrations.h"
#include "msgtypes.h"
#include "positionfileloader.h"
#include "securitycatalog.h"
#include "sqlportfoliostore.h"
#include "testdatabase.h"
#include "tzcore.h"

#include <QProcess>
#include <QSignalSpy>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>
#include <memory>

namespace {

const QString kCash = QStringLiteral("880010001");
const QString kCashTrading = QStringLiteral("88001000101");
const QString kCredit = QStringLiteral("880020002");
const QString kCreditTrading = QStringLiteral("88002000201");

QStringList column(const QList<QVariantMap> &rows, const QString &key)
{
    QStringList values;
    for (const QVariantMap &row : rows)
        values << row.value(key).toString();
    return values;
}

// The listed security a row names by code and market.
const SecurityInfo *securityOf(const QVariantMap &row)
{
    return SecurityCatalog::instance().byCodeAndMarket(
        row.value(RequestField::securityID).toString(), row.value(RequestField::securityExchange).toString());
}

QString positionKey(const QVariantMap &row)
{
    return row.value(RequestField::securityExchange).toString() + QLatin1Char('/')
           + row.value(RequestField::securityID).toString();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

} // namespace

// The service client with the account requests' shorthand.
class AccountClient : public ServiceClient
{
public:
    using ServiceClient::ServiceClient;
    QList<QVariantMap> positions(const QString &account)
    {
        return allPages(MsgType::queryPositionRequest, {{AccountField::tradingAccount, account}});
    }
};

class tst_Accounts : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR)); }
    void init();
    void cleanup();

    void accountsOnlyForTheirLoginUser();
    void positionsPagedAndFiltered();
    void lendableAndContractsOnlyForCredit();
    void loadPositionsFile();
    void badLinesLeaveTheAccountUnchanged();
    void commandLine();
    void upgradeSeedsAccountsAndKeepsPortfolios();

private:
    bool start(bool seed = true);
    // Starts the back end and logs a desk in as the demo user.
    std::unique_ptr<AccountClient> demoDesk(bool seed = true);
    void exec(const QString &sql);
    // Loads a file into an account through a store connection of its own.
    bool load(const QString &account, const QByteArray &bytes, bool replace,
              PositionFileLoader::Result *result);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<TestDatabase> m_database;
    std::unique_ptr<EmbeddedBackend> m_backend;
    QString m_dbPath;  // a SQLite file, or a PostgreSQL URL
};

void tst_Accounts::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_database = std::make_unique<TestDatabase>(m_dir->path());
    m_dbPath = m_database->create();
    QVERIFY(!m_dbPath.isEmpty());
}

void tst_Accounts::cleanup()
{
    m_backend.reset();
    m_database.reset();
    m_dir.reset();
}

bool tst_Accounts::start(bool seed)
{
    m_backend = std::make_unique<EmbeddedBackend>();
    BackendService::Options options;
    options.databasePath = m_dbPath;
    options.seedDemo = seed;
    QString error;
    if (!m_backend->start(options, &error))
        qWarning() << "back end did not start:" << error;
    return m_backend->isRunning();
}

std::unique_ptr<AccountClient> tst_Accounts::demoDesk(bool seed)
{
    if (!start(seed))
        return {};
    auto desk = std::make_unique<AccountClient>(*m_backend);
    return desk->login(DemoSeed::userName()).ok() ? std::move(desk) : nullptr;
}

void tst_Accounts::exec(const QString &sql)
{
    {
        QSqlDatabase db = TestDatabase::connect(m_dbPath, QStringLiteral("inspect"));
        QVERIFY(db.isOpen());
        QSqlQuery query(db);
        QVERIFY2(query.exec(sql), qPrintable(query.lastError().text()));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("inspect"));
}

bool tst_Accounts::load(const QString &account, const QByteArray &bytes, bool replace,
                        PositionFileLoader::Result *result)
{
    const QString path = m_dir->filePath(QStringLiteral("positions.csv"));
    writeFile(path, bytes);
    SqlPortfolioStore store(QStringLiteral("loader"));
    QString error;
    if (!store.open(m_dbPath, &error)) {
        qWarning() << error;
        return false;
    }
    return PositionFileLoader::load(store, account, path, replace, result);
}

void tst_Accounts::accountsOnlyForTheirLoginUser()
{
    QVERIFY(start());
    AccountClient stranger(*m_backend), demo(*m_backend), other(*m_backend);

    // Before a login nothing is told, not even whether the account exists.
    const QString notLoggedIn = QStringLiteral("未登录，请先登录再查询账户");
    QCOMPARE(stranger.request(MsgType::queryAccountRequest).text(), notLoggedIn);
    const Reply early =
        stranger.request(MsgType::queryPositionRequest, {{AccountField::tradingAccount, kCash}});
    QVERIFY(early.answered && !early.ok());
    QCOMPARE(early.text(), notLoggedIn);

    QVERIFY(demo.login(DemoSeed::userName()).ok());
    const Reply accounts = demo.request(MsgType::queryAccountRequest);
    QVERIFY(accounts.ok());
    QCOMPARE(column(accounts.rows(), RequestField::securityExchange),
             QStringList({"SH", "SZ", "BJ", "HHK", "SZHK", "SH", "SZ"}));
    QCOMPARE(column(accounts.rows(), AccountField::securityAccount),
             QStringList({"A123456789", "0123456789", "0212345678", "A123456789", "0123456789",
                          "E987654321", "0687654321"}));
    const QVariantMap credit = accounts.rows().last();
    QCOMPARE(QStringList({credit.value(AccountField::fundAccount).toString(),
                          credit.value(AccountField::tradingAccount).toString(),
                          credit.value(AccountField::fundProperty).toString(),
                          credit.value(AccountField::accountName).toString()}),
             QStringList({kCredit, kCreditTrading, FundProperty::credit, QStringLiteral("演示信用账户")}));
    QCOMPARE(accounts.rows().first().value(AccountField::fundProperty).toString(), FundProperty::normal);

    // Positions by the trading account or by the fund account are the same.
    const QList<QVariantMap> byTrading = demo.positions(kCashTrading);
    QCOMPARE(byTrading.size(), 40);
    QCOMPARE(demo.positions(kCash), byTrading);
    QCOMPARE(byTrading.first().value(AccountField::fundAccount).toString(), kCash);
    QCOMPARE(byTrading.first().value(AccountField::tradingAccount).toString(), kCashTrading);
    QVERIFY(demo.request(MsgType::queryMarginSecurityRequest,
                         {{AccountField::fundAccount, kCreditTrading}}).ok());
    QCOMPARE(demo.request(MsgType::queryPositionRequest,
                          {{AccountField::tradingAccount, QStringLiteral("123")}}).text(),
             QStringLiteral("账号不存在：123"));

    // Another user learns nothing of the demo user's accounts.
    QVERIFY(other.login(QStringLiteral("other")).ok());
    const QList<QPair<QString, QVariantMap>> queries = {
        {MsgType::queryPositionRequest, {{AccountField::tradingAccount, kCash}}},
        {MsgType::queryMarginSecurityRequest, {{AccountField::fundAccount, kCredit}}},
        {MsgType::QuerySecurityCashcompactRequest, {{AccountField::fundAccount, kCreditTrading}}}};
    for (const auto &query : queries)
        QCOMPARE(other.request(query.first, query.second).text(),
                 QStringLiteral("账号不存在：") + query.second.first().toString());
}

void tst_Accounts::positionsPagedAndFiltered()
{
    const auto demo = demoDesk();
    QVERIFY(demo);
    // One page of an account's positions, with more fields.
    const auto page = [&](const QString &account, QVariantMap fields) {
        fields.insert(AccountField::tradingAccount, account);
        return demo->request(MsgType::queryPositionRequest, fields);
    };
    const QList<QVariantMap> all = demo->positions(kCash);
    QCOMPARE(all.size(), 40);
    // Real listed securities on each of the five markets, by market in list order and
    // then by code; some not yet available, bought today.
    const QStringList marketOrder = {"SH", "SZ", "BJ", "HHK", "SZHK"};
    QStringList order, markets;
    int partlyAvailable = 0;
    for (const QVariantMap &row : all) {
        const QString market = row.value(RequestField::securityExchange).toString();
        const SecurityInfo *security = securityOf(row);
        QVERIFY2(security && !security->delisted, qPrintable(positionKey(row)));
        QCOMPARE(row.value(AccountField::currentQty).type(), QVariant::LongLong);
        QCOMPARE(row.value(AccountField::costPrice).type(), QVariant::Double);
        const qint64 available = row.value(AccountField::availableQty).toLongLong();
        QVERIFY(available <= row.value(AccountField::currentQty).toLongLong());
        partlyAvailable += available < row.value(AccountField::currentQty).toLongLong();
        order << QStringLiteral("%1/%2").arg(marketOrder.indexOf(market)).arg(security->code);
        if (!markets.contains(market))
            markets << market;
    }
    QStringList sorted = order;
    sorted.sort();
    QCOMPARE(order, sorted);
    QCOMPARE(markets, marketOrder);
    QVERIFY(partlyAvailable >= 3);

    // Pages of 7 and of exactly all: no gap, no duplicate, no empty page at the end.
    for (const auto &size : {qMakePair(7, 6), qMakePair(40, 1)}) {
        int pages = 0;
        QCOMPARE(demo->allPages(MsgType::queryPositionRequest,
                                {{AccountField::tradingAccount, kCash}, {RequestField::pageSize, size.first}},
                                &pages),
                 all);
        QCOMPARE(pages, size.second);
    }
    // A position added before the page already read does not shift the next page.
    const Reply first = page(kCash, {{RequestField::pageSize, 10}});
    QCOMPARE(first.rows(), all.mid(0, 10));
    exec(QStringLiteral("INSERT INTO positions (security_account_id, security_id, current_qty,"
                        " available_qty) SELECT id, '600000', 100, 100 FROM security_accounts"
                        " WHERE security_account = 'A123456789' AND market = 'SH'"));
    QCOMPARE(page(kCash, {{RequestField::pageSize, 10}, {RequestField::positionStr, first.next()}}).rows(),
             all.mid(10, 10));

    // Filters by market and by shareholder account; the Shanghai shareholder account also
    // trades the Shanghai Stock Connect link.
    const auto marketsOf = [&](const QVariantMap &filter) {
        QVariantMap fields = filter;
        fields.insert(AccountField::tradingAccount, kCash);
        QStringList seen = column(demo->allPages(MsgType::queryPositionRequest, fields),
                                  RequestField::securityExchange);
        seen.removeDuplicates();
        return seen;
    };
    QCOMPARE(marketsOf({{RequestField::securityExchange, Exchange::szhk}}), QStringList({"SZHK"}));
    QCOMPARE(marketsOf({{AccountField::securityAccount, QStringLiteral("A123456789")}}),
             QStringList({"SH", "HHK"}));
    QCOMPARE(marketsOf({{AccountField::securityAccount, QStringLiteral("A123456789")},
                        {RequestField::securityExchange, Exchange::hhk}}),
             QStringList({"HHK"}));

    QCOMPARE(page(kCash, {{RequestField::pageSize, 5001}}).text(),
             QStringLiteral("每页最多5000条，请求了5001条"));
    QCOMPARE(page(kCash, {{RequestField::positionStr, QStringLiteral("garbage")}}).text(),
             QStringLiteral("分页位置无效：garbage"));
    QCOMPARE(page(kCash, {{RequestField::securityExchange, QStringLiteral("NY")}}).text(),
             QStringLiteral("市场无效：NY"));
    QCOMPARE(page(kCredit, {{RequestField::securityExchange, Exchange::bj}}).text(),
             QStringLiteral("账号880020002没有BJ市场的证券账号"));
    QCOMPARE(page(kCash, {{AccountField::securityAccount, QStringLiteral("E987654321")}}).text(),
             QStringLiteral("证券账号不存在：E987654321"));
}

void tst_Accounts::lendableAndContractsOnlyForCredit()
{
    const auto demo = demoDesk();
    QVERIFY(demo);
    const auto lendables = [&](const QString &account) {
        return demo->request(MsgType::queryMarginSecurityRequest, {{AccountField::fundAccount, account}});
    };
    const auto contracts = [&](QVariantMap fields) {
        fields.insert(AccountField::fundAccount, kCredit);
        return demo->request(MsgType::QuerySecurityCashcompactRequest, fields);
    };
    QCOMPARE(lendables(kCashTrading).text(), QStringLiteral("账号88001000101不是信用账户"));
    QCOMPARE(demo->request(MsgType::QuerySecurityCashcompactRequest, {{AccountField::fundAccount, kCash}})
                 .text(),
             QStringLiteral("账号880010001不是信用账户"));

    const Reply lendable = lendables(kCredit);
    QVERIFY(lendable.ok());
    QCOMPARE(lendable.rows().size(), 30);
    for (const QVariantMap &row : lendable.rows()) {
        QVERIFY(securityOf(row) && securityOf(row)->type == SecurityType::mainBoard);
        QCOMPARE(row.value(AccountField::lendableQty).type(), QVariant::LongLong);
    }

    const Reply all = contracts({});
    QVERIFY(all.ok());
    QCOMPARE(all.rows().size(), 4);
    QCOMPARE(all.next(), QString());
    // Due in the coming months, the soonest first; opened before today.
    const QDate today = QDate::currentDate();
    const QStringList returnDates = column(all.rows(), SecurityProvideLoan::ReturnDate);
    QStringList sortedDates = returnDates;
    sortedDates.sort();
    QCOMPARE(returnDates, sortedDates);
    const auto date = [](const QVariant &text) {
        return QDate::fromString(text.toString(), QStringLiteral("yyyyMMdd"));
    };
    for (const QVariantMap &row : all.rows()) {
        const QDate open = date(row.value(SecurityProvideLoan::OpenDate));
        const QDate due = date(row.value(SecurityProvideLoan::ReturnDate));
        QVERIFY(open.isValid() && open < today && due > today && due < today.addDays(200));
        QVERIFY(securityOf(row));
        QCOMPARE(row.value(SecurityProvideLoan::SecurityName).toString(), securityOf(row)->name);
        QCOMPARE(row.value(SecurityProvideLoan::ContractQty).type(), QVariant::LongLong);
    }
    const QStringList markets = column(all.rows(), RequestField::securityExchange);
    QVERIFY(markets.contains(Exchange::sh) && markets.contains(Exchange::sz));

    // Due on or before a day: the day itself counts.
    QCOMPARE(contracts({{AccountField::returnDate, returnDates.at(1)}}).rows(), all.rows().mid(0, 2));
    QVERIFY(contracts({{AccountField::returnDate, QStringLiteral("20000101")}}).rows().isEmpty());

    const Reply page1 = contracts({{RequestField::pageSize, 3}});
    QCOMPARE(page1.rows(), all.rows().mid(0, 3));
    QVERIFY(!page1.next().isEmpty());
    const Reply page2 = contracts({{RequestField::pageSize, 3}, {RequestField::positionStr, page1.next()}});
    QCOMPARE(page2.rows(), all.rows().mid(3));
    QCOMPARE(page2.next(), QString());

    QCOMPARE(contracts({{AccountField::returnDate, QStringLiteral("2026-03-15")}}).text(),
             QStringLiteral("归还日期无效：2026-03-15（应为yyyyMMdd，如20260315）"));
    QCOMPARE(contracts({{RequestField::pageSize, 501}}).text(), QStringLiteral("每页最多500条，请求了501条"));
}

void tst_Accounts::loadPositionsFile()
{
    QVERIFY(start());
    m_backend.reset();
    PositionFileLoader::Result result;

    // UTF-8 with a mark, English headers in another order, a column of its own, a code
    // that lost its leading zeros, an update of a held position and new ones.
    QVERIFY(load(kCash,
                 "\xEF\xBB\xBFmarket,note,code,cost_price,current_qty,available_qty\n"
                 "SZ,x,1,10.5,1000,400\n"
                 "SH,y,600000,8.25,\"2,000\",\n"
                 "\n"
                 "hhk,z,700,,300,300\n",
                 false, &result));
    QCOMPARE(result.lines, 3);
    QCOMPARE(result.added, 1);    // 600000
    QCOMPARE(result.updated, 2);  // 000001 and 00700 were held
    QCOMPARE(PositionFileLoader::report(QStringLiteral("p.csv"), false, result),
             QStringList(QStringLiteral("账户880010001（演示普通账户）：从p.csv写入3行持仓，"
                                        "新增1行，更新2行")));

    // GB18030 with the Chinese headers and market names, replacing all positions.
    const QString text = QStringLiteral("证券代码,市场,当前数量,可用数量,成本价\n"
                                        "600036,上海,1500,1500,30.1\n"
                                        "000333,深圳,800,,\n");
    QVERIFY(load(kCashTrading, QTextCodec::codecForName("GB18030")->fromUnicode(text), true, &result));
    QCOMPARE(result.removed, qint64(41));
    QCOMPARE(result.added, 2);

    // An empty available quantity is the current one, an empty cost price 0.
    const auto demo = demoDesk(false);
    QVERIFY(demo);
    QStringList rows;
    for (const QVariantMap &row : demo->positions(kCash))
        rows << QStringLiteral("%1 %2/%3 @%4 %5")
                    .arg(positionKey(row), row.value(AccountField::currentQty).toString(),
                         row.value(AccountField::availableQty).toString(),
                         row.value(AccountField::costPrice).toString(),
                         row.value(AccountField::securityAccount).toString());
    QCOMPARE(rows, QStringList({"SH/600036 1500/1500 @30.1 A123456789", "SZ/000333 800/800 @0 0123456789"}));
}

void tst_Accounts::badLinesLeaveTheAccountUnchanged()
{
    const auto demo = demoDesk();
    QVERIFY(demo);
    const QList<QVariantMap> before = demo->positions(kCredit);

    PositionFileLoader::Result result;
    QVERIFY(!load(kCredit,
                  "证券代码,市场,当前数量,可用数量\n"
                  "600519,SH,100,100\n"
                  "999999,SH,100,\n"
                  "430017,BJ,100,\n"
                  "000001,SZ,-100,\n"
                  "000002,SZ,12.5,\n"
                  "000858,SZ,100,200\n"
                  "600519,SH,300,\n"
                  "600036,NYSE,100,\n",
                  true, &result));
    QCOMPARE(result.problems,
             QStringList({QStringLiteral("第3行：证券代码“999999”在市场SH不存在"),
                          QStringLiteral("第4行：账户没有BJ市场的证券账号"),
                          QStringLiteral("第5行：当前数量“-100”应为不小于0的整数"),
                          QStringLiteral("第6行：当前数量“12.5”应为不小于0的整数"),
                          QStringLiteral("第7行：可用数量200大于当前数量100"),
                          QStringLiteral("第8行：与第2行是同一证券（600519，SH）"),
                          QStringLiteral("第9行：市场“NYSE”无效")}));
    QCOMPARE(demo->positions(kCredit), before);

    // Beyond twenty reasons only their number is told.
    QVERIFY(!load(kCredit, "code,market,current_qty\n" + QByteArray("999999,SH,1\n").repeated(25), false,
                  &result));
    QCOMPARE(result.badLines, 25);
    const QStringList report = PositionFileLoader::report(QStringLiteral("p.csv"), false, result);
    QCOMPARE(report.size(), 1 + 20 + 1);
    QCOMPARE(report.first(),
             QStringLiteral("p.csv有25行有误，账户880020002（演示信用账户）的持仓未作任何改动："));
    QCOMPARE(report.last(), QStringLiteral("  另有5行有误未列出"));

    QVERIFY(!load(kCredit, "code,current_qty\n600519,100\n", false, &result));
    QCOMPARE(result.problems, QStringList(QStringLiteral("表头缺少“市场”列（或market）")));
    QVERIFY(!load(QStringLiteral("42"), "code,market,current_qty\n600519,SH,1\n", false, &result));
    QCOMPARE(result.problems, QStringList(QStringLiteral("账号不存在：42")));
    QCOMPARE(demo->positions(kCredit), before);
}

void tst_Accounts::commandLine()
{
    const QString good = m_dir->filePath(QStringLiteral("good.csv"));
    const QString bad = m_dir->filePath(QStringLiteral("bad.csv"));
    writeFile(good, "code,market,current_qty\n600036,SH,900\n");
    writeFile(bad, "code,market,current_qty\n600036,SH,-1\n");
    const auto run = [&](const QStringList &arguments, QString *output = nullptr) {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(TZBACKEND_PATH),
                      QStringList{QStringLiteral("--data"), QStringLiteral(TZ_SOURCE_DATA_DIR)}
                          + arguments);
        if (!process.waitForFinished(20000))
            return -1;
        if (output)
            *output = QString::fromUtf8(process.readAll());
        return process.exitCode();
    };
    const QStringList load = {QStringLiteral("--db"), m_dbPath, QStringLiteral("positions"),
                              QStringLiteral("load"), QStringLiteral("--fund-account"), kCredit};
    QString output;
    QCOMPARE(run(load + QStringList{QStringLiteral("--file"), good, QStringLiteral("--replace")}, &output), 0);
    QVERIFY2(output.contains(QStringLiteral("从good.csv写入1行持仓")), qPrintable(output));
    QCOMPARE(run(load + QStringList{QStringLiteral("--file"), bad}, &output), 1);
    QVERIFY2(output.contains(QStringLiteral("第2行：当前数量“-1”应为不小于0的整数")), qPrintable(output));
    QCOMPARE(run(load), 2);  // no file
    QCOMPARE(run({QStringLiteral("--db"), m_dbPath, QStringLiteral("positions")}), 2);

    const auto demo = demoDesk(false);
    QVERIFY(demo);
    const QList<QVariantMap> rows = demo->positions(kCredit);
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.first().value(AccountField::currentQty).toLongLong(), qint64(900));
}

void tst_Accounts::upgradeSeedsAccountsAndKeepsPortfolios()
{
    // A file of the previous schema version with the demo user and a portfolio of its own.
    const auto writeOldFile = [&](const QString &user) {
        {
            QSqlDatabase db = TestDatabase::connect(m_dbPath, QStringLiteral("old"));
            QVERIFY(db.isOpen());
            QString error;
            QVERIFY2(Migrations::apply(db, &error, Migrations::accountsVersion - 1),
                     qPrintable(error));
            QSqlQuery query(db);
            query.prepare(QStringLiteral("INSERT INTO users (user_name, created_at) VALUES (?, ?)"));
            query.addBindValue(user);
            query.addBindValue(QStringLiteral("2025-01-02"));
            QVERIFY(query.exec());
            QVERIFY(query.exec("INSERT INTO portfolios (portfolio_no, user_id, portfolio_name,"
                               " created_at, sort_order)"
                               " SELECT '100001', id, '旧组合', '2025-01-02T09:30:00.000Z', 1"
                               " FROM users"));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("old"));
    };
    writeOldFile(DemoSeed::userName());
    auto demo = demoDesk();
    QVERIFY(demo);
    QCOMPARE(demo->request(MsgType::queryAccountRequest).rows().size(), 7);
    QCOMPARE(demo->positions(kCash).size(), 40);
    const Reply portfolios =
        demo->request(MsgType::queryPortfolioRequest, {{RequestField::userID, DemoSeed::userName()}});
    QCOMPARE(column(portfolios.rows(), RequestField::portfolioName), QStringList({"旧组合"}));

    // Once upgraded the accounts are the user's: a restart writes none again.
    exec(QStringLiteral("DELETE FROM positions"));
    demo.reset();
    m_backend.reset();
    demo = demoDesk();
    QVERIFY(demo);
    QVERIFY(demo->positions(kCash).isEmpty());
    demo.reset();
    m_backend.reset();

    // Another user's old file gets no demo accounts.
    m_dbPath = m_database->create(QStringLiteral("other.db"));
    writeOldFile(QStringLiteral("trader"));
    QVERIFY(start());
    AccountClient trader(*m_backend);
    QVERIFY(trader.login(QStringLiteral("trader")).ok());
    const Reply accounts = trader.request(MsgType::queryAccountRequest);
    QVERIFY(accounts.ok() && accounts.rows().isEmpty());
}

QTEST_GUILESS_MAIN(tst_Accounts)

#include "tst_accounts.moc"
