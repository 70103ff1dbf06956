// The portfolio store and the quote manager: free-name rule, concurrent use from two
// threads, live figures on hand-checked examples, the weight rule, market-record
// checks, security restrictions, and loading from the real back end.

#include "testbackend.h"

#include "exchange.h"
#include "portfolioinfomgr.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioordermgr.h"
#include "portfolioquotemgr.h"
#include "securitycatalog.h"
#include "tzpresenterclass.h"

#include <QSet>
#include <QtConcurrent>
#include <cmath>

namespace {

PortfolioDetailBasicInfo portfolio(const QString &no, const QString &name)
{
    PortfolioDetailBasicInfo p;
    p.setPortfolioNo(no);
    p.setName(name);
    return p;
}

PortfolioItem line(const QString &symbol, qint64 qty, double weight = 0.0)
{
    PortfolioItem item;
    item.setSymbol(symbol);
    item.setQuantity(qty);
    item.setRelWeight(weight);
    return item;
}

void quote(const QString &symbol, double last, double pre, double upper, double lower,
           bool suspended = false)
{
    TzPortfolioQuote q;
    q.Symbol = symbol;
    q.LastPx = last;
    q.PreClosePx = pre;
    q.UpperLimitPx = upper;
    q.LowerLimitPx = lower;
    q.Suspended = suspended;
    PortfolioQuoteMgr::GetInstance()->UpdateQuote(symbol, q);
}

} // namespace

class tst_Store : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void freeNames_data();
    void freeNames();
    void addReplaceRemoveKeepPointersAndNames();
    void twoThreadsAddAndCheckNamesAtOnce();
    void extraInfoOnHandCheckedQuotes();
    void marketRecordChecks_data();
    void marketRecordChecks();
    void suspension();
    void weightRule();
    void securityRestrictions();
    void etfComponents();
    void loadsFromBackendOnceAndKeepsStoreOnFailure();
    void loadsALargeBookPageByPage();
};

void tst_Store::initTestCase()
{
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
}

void tst_Store::init()
{
    PortfolioListBasicInfo::GetInstance()->clear();
    PortfolioQuoteMgr::GetInstance()->clear();
}

void tst_Store::freeNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("taken");
    QTest::addColumn<QString>("free");
    QTest::newRow("free name is itself") << "调仓组合" << false << "调仓组合";
    QTest::newRow("smallest free suffix skips used ones") << "新建组合" << true << "新建组合2";
    QTest::newRow("suffix starts at 1") << "组合A" << true << "组合A1";
    QTest::newRow("a suffixed name is a name like any other") << "新建组合1" << true << "新建组合11";
    QTest::newRow("empty name is free") << "" << false << "";
}

void tst_Store::freeNames()
{
    QFETCH(QString, name);
    QFETCH(bool, taken);
    QFETCH(QString, free);
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    int no = 1;
    for (const char *n : {"新建组合", "新建组合1", "新建组合3", "组合A"})
        QCOMPARE(store->AddPortfolioDetail(portfolio(QString::number(no++), QString::fromUtf8(n))), 0);

    QString out = QStringLiteral("garbage");
    QCOMPARE(store->CheckPortfolioName(name, out), taken);
    QCOMPARE(out, free);
    // The same variable as name and result: the answer replaces the name.
    QString inPlace = name;
    QCOMPARE(store->CheckPortfolioName(inPlace, inPlace), taken);
    QCOMPARE(inPlace, free);
}

void tst_Store::addReplaceRemoveKeepPointersAndNames()
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QCOMPARE(store->AddPortfolioDetail(portfolio(QString(), QStringLiteral("无编号"))),
             int(PortfolioListBasicInfo::NoNumber));
    QCOMPARE(store->AddPortfolioDetail(portfolio(QStringLiteral("1"), QStringLiteral("甲"))), 0);
    QCOMPARE(store->AddPortfolioDetail(portfolio(QStringLiteral("2"), QStringLiteral("乙"))), 0);
    PortfolioDetailBasicInfo *first = store->GetPortfolioDetail(QStringLiteral("1"));
    QVERIFY(first);
    QCOMPARE(store->AddPortfolioDetail(portfolio(QStringLiteral("3"), QStringLiteral("甲"))),
             int(PortfolioListBasicInfo::NameTaken));

    // Replacing keeps the pointer and frees the old name.
    QCOMPARE(store->AddPortfolioDetail(portfolio(QStringLiteral("1"), QStringLiteral("丙"))), 0);
    QCOMPARE(store->GetPortfolioDetail(QStringLiteral("1")), first);
    QCOMPARE(first->Name(), QStringLiteral("丙"));
    QString free;
    QVERIFY(!store->CheckPortfolioName(QStringLiteral("甲"), free));
    QCOMPARE(store->getAllPortfolioName(), (QStringList{QStringLiteral("丙"), QStringLiteral("乙")}));

    QCOMPARE(store->RemovePortfolioDetail(QStringLiteral("1")), 0);
    QCOMPARE(store->RemovePortfolioDetail(QStringLiteral("1")), int(PortfolioListBasicInfo::NotFound));
    QVERIFY(!store->GetPortfolioDetail(QStringLiteral("1")));
    QCOMPARE(store->GetPortfolioDetails().size(), 1);
    QVERIFY(!store->CheckPortfolioName(QStringLiteral("丙"), free));
}

void tst_Store::twoThreadsAddAndCheckNamesAtOnce()
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    // Both threads derive names from the same stem, as the auto-import worker and the
    // GUI do for files of one name; a lost update or a torn index would show as a
    // duplicate name or a missing portfolio.
    auto addMany = [store](const QString &prefix, int count) {
        int refused = 0;
        for (int i = 0; i < count; ++i) {
            for (;;) {
                QString name;
                store->CheckPortfolioName(QStringLiteral("自动导入"), name);
                const int rc = store->AddPortfolioDetail(portfolio(prefix + QString::number(i), name));
                if (rc == 0)
                    break;
                if (rc != PortfolioListBasicInfo::NameTaken)
                    return -1;
                ++refused;  // the other thread took the name first
            }
            store->getAllPortfolioName();
            store->GetPortfolioDetails();
        }
        return refused;
    };
    QFuture<int> worker = QtConcurrent::run([&] { return addMany(QStringLiteral("w"), 400); });
    const int guiRefused = addMany(QStringLiteral("g"), 400);
    QVERIFY(guiRefused >= 0);
    QVERIFY(worker.result() >= 0);

    const QStringList names = store->getAllPortfolioName();
    QCOMPARE(names.size(), 800);
    QCOMPARE(QSet<QString>(names.begin(), names.end()).size(), 800);
    QCOMPARE(store->GetPortfolioDetails().size(), 800);
    QString next;
    QVERIFY(store->CheckPortfolioName(QStringLiteral("自动导入"), next));
    QCOMPARE(next, QStringLiteral("自动导入800"));
}

void tst_Store::extraInfoOnHandCheckedQuotes()
{
    quote(QStringLiteral("600519.SH"), 110.0, 100.0, 110.0, 90.0);       // at the upper limit
    quote(QStringLiteral("000001.SZ"), 9.0, 10.0, 11.0, 9.0);            // at the lower limit
    quote(QStringLiteral("300750.SZ"), 50.0, 50.0, 60.0, 40.0, true);    // suspended
    quote(QStringLiteral("00700.HK"), 330.0, 300.0, 0.0, 0.0);           // no daily limit
    // 601398.SH has no quote yet.

    PortfolioDetailBasicInfo p = portfolio(QStringLiteral("7"), QStringLiteral("手算组合"));
    p.setSymbolList({line(QStringLiteral("600519.SH"), 100), line(QStringLiteral("000001.SZ"), 1000),
                     line(QStringLiteral("300750.SZ"), 200), line(QStringLiteral("00700.HK"), 100),
                     line(QStringLiteral("601398.SH"), 500)});
    PortfolioDetailExtraInfo extra;
    QCOMPARE(PortfolioQuoteMgr::GetInstance()->CalculateExtraInfo(p, extra), 0);
    QCOMPARE(extra.ListID(), QStringLiteral("7"));
    // 100*110 + 1000*9 + 200*50 + 100*330 = 63000
    QCOMPARE(extra.MarketValue(), 63000.0);
    // (100*10 - 1000*1 + 0 + 100*30) / (10000 + 10000 + 10000 + 30000) = 0.05
    QVERIFY(std::abs(extra.ChangeRate() - 0.05) < 1e-12);
    QCOMPARE(extra.UpLimitCount(), 1);
    QCOMPARE(extra.DownLimitCount(), 1);
    QCOMPARE(extra.SuspensionCount(), 1);

    // A weight-only basket: (3 * 10% + 1 * -10%) / 4 = 5%, no market value.
    PortfolioDetailBasicInfo weights = portfolio(QStringLiteral("8"), QStringLiteral("权重组合"));
    weights.setSymbolList({line(QStringLiteral("600519.SH"), 0, 3.0),
                           line(QStringLiteral("000001.SZ"), 0, 1.0),
                           line(QStringLiteral("601398.SH"), 0, 5.0)});
    PortfolioQuoteMgr::GetInstance()->CalculateExtraInfo(weights, extra);
    QCOMPARE(extra.MarketValue(), 0.0);
    QVERIFY(std::abs(extra.ChangeRate() - 0.05) < 1e-12);

    // Nothing quoted: all figures zero.
    PortfolioDetailBasicInfo cold = portfolio(QStringLiteral("9"), QStringLiteral("无行情"));
    cold.setSymbolList({line(QStringLiteral("601398.SH"), 500)});
    PortfolioQuoteMgr::GetInstance()->CalculateExtraInfo(cold, extra);
    QCOMPARE(extra.MarketValue(), 0.0);
    QCOMPARE(extra.ChangeRate(), 0.0);
    QCOMPARE(extra.UpLimitCount() + extra.DownLimitCount() + extra.SuspensionCount(), 0);

    // One tick below the limit is not at the limit.
    quote(QStringLiteral("600519.SH"), 109.99, 100.0, 110.0, 90.0);
    PortfolioQuoteMgr::GetInstance()->CalculateExtraInfo(p, extra);
    QCOMPARE(extra.UpLimitCount(), 0);
}

void tst_Store::marketRecordChecks_data()
{
    QTest::addColumn<QVariantMap>("record");
    QTest::addColumn<int>("result");
    const QVariantMap good{{Security::symbol, QStringLiteral("600000.SH")}, {Security::lastPx, 7.5},
                           {Security::preClosePx, 7.4}, {Security::upperLimitPx, 8.14},
                           {Security::lowerLimitPx, 6.66}, {Security::bidPx1, 7.49},
                           {Security::askPx1, 7.5}};
    auto with = [good](const QString &key, const QVariant &value) {
        QVariantMap r = good;
        if (value.isValid())
            r.insert(key, value);
        else
            r.remove(key);
        return r;
    };
    QTest::newRow("complete record") << good << 0;
    QTest::newRow("no symbol") << with(Security::symbol, QVariant()) << -1;
    QTest::newRow("no last price") << with(Security::lastPx, QVariant()) << -2;
    QTest::newRow("text price") << with(Security::lastPx, QStringLiteral("abc")) << -2;
    QTest::newRow("negative price") << with(Security::preClosePx, -1.0) << -2;
    QTest::newRow("not a number") << with(Security::lastPx, std::nan("")) << -2;
    QTest::newRow("zero last while trading") << with(Security::lastPx, 0.0) << -2;
    QTest::newRow("limits crossed") << with(Security::lowerLimitPx, 9.0) << -2;
    QTest::newRow("bid and ask optional") << with(Security::bidPx1, QVariant()) << 0;
    QVariantMap suspended = with(Security::lastPx, 0.0);
    suspended.insert(Security::suspended, true);
    QTest::newRow("suspended without trade") << suspended << 0;
}

void tst_Store::marketRecordChecks()
{
    QFETCH(QVariantMap, record);
    QFETCH(int, result);
    TzPortfolioQuote q;
    q.LastPx = -42.0;
    QCOMPARE(PortfolioQuoteMgr::GetInstance()->GetPortfolioQuote(record, q), result);
    if (result != 0)
        QCOMPARE(q.LastPx, -42.0);  // a refused record leaves the quote untouched
    else
        QCOMPARE(q.Symbol, QStringLiteral("600000.SH"));
}

void tst_Store::suspension()
{
    PortfolioQuoteMgr *mgr = PortfolioQuoteMgr::GetInstance();
    QVariant record = QVariantMap{{Security::symbol, QStringLiteral("600000.SH")},
                                  {Security::suspended, true}};
    QVERIFY(mgr->IsSymbolSuspended(record));
    QVariant fresh = QVariantMap{{Security::symbol, QStringLiteral("600000.SH")}};
    QVERIFY(!mgr->IsSymbolSuspended(fresh));
    QCOMPARE(fresh.toMap().value(Security::suspended), QVariant(false));  // written back

    // By symbol: the latest quote decides; before any quote, the reference data.
    const SecurityInfo *halted = nullptr;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (s.suspended && !s.delisted) {
            halted = &s;
            break;
        }
    }
    QVERIFY(halted);
    QVariant symbol = halted->symbol;
    QVERIFY(mgr->IsSymbolSuspended(symbol));
    quote(halted->symbol, 10.0, 10.0, 11.0, 9.0, false);
    QVERIFY(!mgr->IsSymbolSuspended(symbol));
}

void tst_Store::weightRule()
{
    const double p1 = SecurityCatalog::instance().bySymbol(QStringLiteral("600519.SH"))->preClosePx;
    const double p2 = SecurityCatalog::instance().bySymbol(QStringLiteral("000001.SZ"))->preClosePx;
    PortfolioDetailBasicInfo byValue;
    byValue.setSymbolList({line(QStringLiteral("600519.SH"), 100, 9.0),
                           line(QStringLiteral("000001.SZ"), 300, 1.0)});
    QCOMPARE(byValue.CalculateWeight(), 0);
    const double share = 100 * p1 / (100 * p1 + 300 * p2);
    QVERIFY(std::abs(byValue.SymbolList().at(0).RelWeight() - share) < 1e-12);
    QVERIFY(std::abs(byValue.SymbolList().at(0).AbsWeight() - share * 100) < 1e-9);

    // One line without quantity: weights as given, normalised.
    PortfolioDetailBasicInfo given;
    given.setSymbolList({line(QStringLiteral("600519.SH"), 100, 3.0),
                         line(QStringLiteral("000001.SZ"), 0, 1.0),
                         line(QStringLiteral("601398.SH"), 0, -2.0)});
    QCOMPARE(given.CalculateWeight(), 0);
    QCOMPARE(given.SymbolList().at(0).RelWeight(), 0.75);
    QCOMPARE(given.SymbolList().at(1).AbsWeight(), 25.0);
    QCOMPARE(given.SymbolList().at(2).RelWeight(), 0.0);

    PortfolioDetailBasicInfo nothing;
    nothing.setSymbolList({line(QStringLiteral("600519.SH"), 0, 0.0)});
    QCOMPARE(nothing.CalculateWeight(), -2);
    QCOMPARE(PortfolioDetailBasicInfo().CalculateWeight(), -1);
}

void tst_Store::securityRestrictions()
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QVERIFY(!store->checkPortfolioSecurity(QStringLiteral("600519.SH")));
    QVERIFY(!store->checkPortfolioSecurity(QStringLiteral("00700.HK")));
    QVERIFY(store->checkPortfolioSecurity(QStringLiteral("000003.SZ")));  // delisted
    QVERIFY(store->checkPortfolioSecurity(QStringLiteral("999999.SH")));  // unknown
    QVERIFY(store->IsSupportSecurity(QStringLiteral("688981.SH")));
    QVERIFY(store->IsSupportSecurity(QStringLiteral("510300.SH")));
    QVERIFY(store->IsSupportSecurity(QStringLiteral("113050.SH")));
    QVERIFY(!store->IsSupportSecurity(QStringLiteral("900901.SH")));  // B share
    QVERIFY(!store->IsSupportSecurity(QStringLiteral("999999.SH")));
}

void tst_Store::etfComponents()
{
    PortfolioDetailBasicInfo out;
    const QString error = PortfolioInfoMgr::GetInstance()->GetPortfolioDetailByEtfData(
        {{{Security::symbol, QStringLiteral("600519.SH")}, {Security::nominalQty, 100}},
         {{Security::securityID, QStringLiteral("00700")},
          {UserAccount::securityExchange, Exchange::szhk},
          {Security::nominalQty, 200}}},
        out);
    QCOMPARE(error, QString());
    QCOMPARE(out.SymbolList().size(), 2);
    QCOMPARE(out.SymbolList().at(1).Symbol(), QStringLiteral("00700.HK"));
    QCOMPARE(out.SymbolList().at(1).SymbolExchange(), Exchange::szhk);
    QCOMPARE(out.SymbolList().at(1).Quantity(), 200);

    const QString bad = PortfolioInfoMgr::GetInstance()->GetPortfolioDetailByEtfData(
        {{{Security::symbol, QStringLiteral("600519.SH")}, {Security::nominalQty, 1}},
         {{Security::symbol, QStringLiteral("123456.SH")}, {Security::nominalQty, 1}}},
        out);
    QVERIFY(bad.contains(QStringLiteral("第2条")));
    QCOMPARE(out.SymbolList().size(), 2);  // unchanged
    QVERIFY(!PortfolioInfoMgr::GetInstance()->GetPortfolioDetailByEtfData({}, out).isEmpty());
}

void tst_Store::loadsFromBackendOnceAndKeepsStoreOnFailure()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    TzPresenterClass presenter;
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QCOMPARE(store->tryLockAndInit(&presenter, false), 0);
    const QList<PortfolioDetailBasicInfo *> loaded = store->GetPortfolioDetails();
    QVERIFY(loaded.size() >= 5);
    PortfolioDetailBasicInfo *csi = nullptr;
    for (PortfolioDetailBasicInfo *p : loaded) {
        QVERIFY(!p->PortfolioNo().isEmpty());
        if (p->Name() == QStringLiteral("沪深300前20"))
            csi = p;
    }
    QVERIFY(csi);
    QCOMPARE(csi->SymbolList().size(), 20);
    for (const PortfolioItem &item : csi->SymbolList()) {
        QVERIFY2(SecurityCatalog::instance().bySymbol(item.Symbol()), qPrintable(item.Symbol()));
        QVERIFY(!item.SymbolName().isEmpty());
        QVERIFY(item.Quantity() > 0);
    }
    QVERIFY(store->GetStrategyInfoByName(QStringLiteral("默认")));

    // Loaded once: a second call does not ask the back end again.
    backend.faults().failNext(MsgType::queryPortfolioRequest, QStringLiteral("数据库繁忙"));
    QCOMPARE(store->tryLockAndInit(&presenter, false), 0);
    // A reload that fails leaves everything as it was.
    QCOMPARE(store->tryLockAndInit(&presenter, true), int(PortfolioListBasicInfo::RequestFailed));
    QCOMPARE(store->lastError(), QStringLiteral("数据库繁忙"));
    QCOMPARE(store->GetPortfolioDetails(), loaded);
    QCOMPARE(store->GetPortfolioDetail(csi->PortfolioNo()), csi);

    // Order-batch state comes from the back end; the seeded unfinished batch blocks.
    bool sawUnfinished = false, sawFinished = false;
    for (PortfolioDetailBasicInfo *p : loaded)
        (PortfolioOrderMgr::GetInstance()->GetBatchNosState(p->PortfolioNo()) ? sawFinished : sawUnfinished) = true;
    QVERIFY(sawUnfinished && sawFinished);
    // Without an answer the state is "unfinished", so nothing is deleted blindly.
    TestBackend::setTimeoutMs(100);
    backend.faults().dropNext(MsgType::queryBatchStateRequest);
    QVERIFY(!PortfolioOrderMgr::GetInstance()->GetBatchNosState(csi->PortfolioNo()));
    TestBackend::setTimeoutMs(5000);
}

void tst_Store::loadsALargeBookPageByPage()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    TzPresenterClass presenter;
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QCOMPARE(store->tryLockAndInit(&presenter, true), 0);
    const QStringList oneAnswer = store->getAllPortfolioName();
    QCOMPARE(oneAnswer.size(), 5);
    PortfolioDetailBasicInfo *held = store->GetPortfolioDetails().at(1);
    const QString heldNo = held->PortfolioNo();

    // Pages of two: three answers, the same book in the same order.
    TzCore::settings()->setValue(QStringLiteral("Platform/PortfolioPageSize"), 2);
    QCOMPARE(store->tryLockAndInit(&presenter, true), 0);
    QCOMPARE(store->getAllPortfolioName(), oneAnswer);
    QCOMPARE(store->GetPortfolioDetails().last()->SymbolList().size(), 3);
    // A pointer handed out before the reload still points at that portfolio.
    QCOMPARE(store->GetPortfolioDetail(heldNo), held);
    QCOMPARE(held->PortfolioNo(), heldNo);

    // A failure on the second page keeps the store as it was: nothing half-loaded.
    const QList<PortfolioDetailBasicInfo *> before = store->GetPortfolioDetails();
    backend.faults().delayNext(MsgType::queryPortfolioRequest, 0);  // the first page passes
    backend.faults().failNext(MsgType::queryPortfolioRequest, QStringLiteral("第二页失败"));
    QCOMPARE(store->tryLockAndInit(&presenter, true), int(PortfolioListBasicInfo::RequestFailed));
    QCOMPARE(store->lastError(), QStringLiteral("第二页失败"));
    QCOMPARE(store->GetPortfolioDetails(), before);

    // The back end refuses a position it never handed out.
    const TestBackend::Answer bad = TestBackend::request(
        MsgType::queryPortfolioRequest, {{RequestField::userID, QStringLiteral("demo")},
                                         {RequestField::pageSize, 2},
                                         {RequestField::positionStr, QStringLiteral("x")}});
    QVERIFY(!bad.ok);
    QCOMPARE(bad.body.GetValue(RequestField::textDescription).toString(), QStringLiteral("分页位置无效：x"));
    TzCore::settings()->remove(QStringLiteral("Platform/PortfolioPageSize"));
}

QTEST_GUILESS_MAIN(tst_Store)
#include "tst_store.moc"
