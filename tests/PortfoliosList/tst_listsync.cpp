// The list kept in step with changes made elsewhere: another desk's creations, changes
// and deletions arrive as notices; the page fetches just those portfolios off the GUI
// thread and changes their rows in place, merges bursts, survives a back end that does
// not answer, and mends a store that disagrees with the back end.

#include "pagefixture.h"

#include "exchange.h"
#include "portfoliosyncqueue.h"

#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString kUser = QStringLiteral("demo");
constexpr quint64 kOtherDesk = 424242;

// What the back end would send this client after a change elsewhere.
void notice(PortfoliosListPresenterClass *p, int type, const QString &portfolioNo)
{
    p->deliverEvent(QStringLiteral("backend"), type, packed({{RequestField::portfolioNo, portfolioNo}}));
}

QVariantMap renameRequest(const QString &portfolioNo, const QString &name)
{
    return {{RequestField::alterType, QStringLiteral("u")}, {RequestField::userID, kUser},
            {RequestField::portfolioNo, portfolioNo}, {RequestField::portfolioName, name},
            {RequestField::portfolioExtensionDescription, QStringLiteral("{}")}};
}

QVariantMap createRequest(const QString &name)
{
    return {{RequestField::alterType, QStringLiteral("c")}, {RequestField::userID, kUser},
            {RequestField::portfolioName, name}, {RequestField::defaultBasketSize, 1},
            {RequestField::portfolioExtensionDescription, QStringLiteral("{}")}};
}

QString storedName(const QString &portfolioNo)
{
    const PortfolioDetailBasicInfo *p = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(portfolioNo);
    return p ? p->Name() : QStringLiteral("<none>");
}

struct Sync : PageFixture
{
    QString numberAt(int row) const { return cell(row, 8); }
    QString nameOf(const QString &portfolioNo) const
    {
        const int row = table()->getRowByKey(portfolioNo);
        return row < 0 ? QStringLiteral("<no row>") : cell(row, 0);
    }
    bool idle() const { return presenter()->syncQueue()->idle(); }
};

} // namespace

class tst_ListSync : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestBackend::setTimeoutMs(5000); }

    void anotherDesksChangesChangeOneRowEach();
    void burstOfNoticesIsMerged();
    void fetchThatTimesOutIsRetriedAndReportedOnce();
    void storeDisagreementIsMended();
};

void tst_ListSync::anotherDesksChangesChangeOneRowEach()
{
    Sync fx;
    QVERIFY(fx.ready());
    fx.page->show();
    QVERIFY(QTest::qWaitForWindowActive(fx.page.get()));
    QSignalSpy resets(fx.table()->recordModel(), &QAbstractItemModel::modelReset);
    const QString first = fx.numberAt(0), second = fx.numberAt(1), last = fx.numberAt(fx.rows() - 1);
    // The trader is renaming the last portfolio meanwhile.
    fx.list()->slotPortfoliosTableViewClicked(fx.table()->recordModel()->index(fx.rows() - 1, 0));
    QLineEdit *editor = fx.list()->nameEditor();
    QVERIFY(editor);
    QTest::keyClicks(editor, QStringLiteral("half"));

    fx.backend.sendAsOtherDesk(kOtherDesk, MsgType::loginRequest, {{RequestField::userID, kUser}});
    QVERIFY(fx.backend.createAsOtherDesk(kOtherDesk, createRequest(QStringLiteral("另一台终端"))).ok);
    fx.backend.sendAsOtherDesk(kOtherDesk, MsgType::alterPortfolioRequest, renameRequest(first, QStringLiteral("改过的名字")));
    fx.backend.sendAsOtherDesk(kOtherDesk, MsgType::deletePortfolioRequest,
                               {{RequestField::userID, kUser}, {RequestField::subGroupNumber, 1}},
                               {{{RequestField::portfolioNo, second}}});

    QTRY_VERIFY(fx.rowOfName(QStringLiteral("另一台终端")) >= 0);
    QTRY_COMPARE(fx.nameOf(first), QStringLiteral("改过的名字"));
    QTRY_COMPARE(fx.nameOf(second), QStringLiteral("<no row>"));
    QCOMPARE(storedName(first), QStringLiteral("改过的名字"));
    QCOMPARE(storedName(second), QStringLiteral("<none>"));
    QCOMPARE(fx.rowOfName(QStringLiteral("另一台终端")), fx.rows() - 1);  // appended
    QCOMPARE(fx.table()->getRowByKey(first), 0);                          // changed in place
    QCOMPARE(resets.count(), 0);
    QCOMPARE(fx.names(), PageFixture::backendNames());
    // The editor is still open on its portfolio with what was typed.
    QVERIFY(fx.list()->nameEditor());
    QCOMPARE(fx.list()->nameEditor()->text(), QStringLiteral("half"));  // typed over the selected name
    QCOMPARE(fx.table()->indexWidget(fx.table()->recordModel()->index(fx.table()->getRowByKey(last), 0)),
             fx.list()->nameEditor());

    // A notice for a portfolio the back end no longer has (deleted where no notice
    // reached this client) removes it here too.
    const QString third = fx.numberAt(1);
    QVERIFY(TestBackend::request(MsgType::deletePortfolioRequest,
                                 {{RequestField::userID, kUser}, {RequestField::subGroupNumber, 1}},
                                 {{{RequestField::portfolioNo, third}}}).ok);
    notice(fx.presenter(), PORTFOLIO_NEW_OR_UPDATE, third);
    QTRY_COMPARE(fx.nameOf(third), QStringLiteral("<no row>"));
    QCOMPARE(storedName(third), QStringLiteral("<none>"));
    QVERIFY(fx.boxes.shown.isEmpty());
}

void tst_ListSync::burstOfNoticesIsMerged()
{
    Sync fx;
    QVERIFY(fx.ready());
    QSignalSpy updated(fx.presenter(), &PortfoliosListPresenterClass::OnPortfolioNewOrCreate);
    QStringList numbers;
    for (int r = 0; r < fx.rows(); ++r)
        numbers << fx.numberAt(r);
    // A hundred notices about five portfolios, faster than any fetch: each portfolio is
    // fetched and announced once.
    for (int i = 0; i < 100; ++i)
        notice(fx.presenter(), PORTFOLIO_NEW_OR_UPDATE, numbers.at(i % numbers.size()));
    QCOMPARE(updated.count(), 0);  // nothing before the store has the new state
    QTRY_VERIFY(fx.idle());
    QCOMPARE(updated.count(), numbers.size());
    QStringList announced;
    for (const QList<QVariant> &args : updated)
        announced << args.first().toString();
    announced.sort();
    numbers.sort();
    QCOMPARE(announced, numbers);
}

void tst_ListSync::fetchThatTimesOutIsRetriedAndReportedOnce()
{
    Sync fx;
    QVERIFY(fx.ready());
    PanelRecorder panel;
    const QString no = fx.numberAt(2);
    // Renamed where no notice reaches this client; then the notice comes, and the back
    // end does not answer the first two fetches.
    QVERIFY(TestBackend::request(MsgType::alterPortfolioRequest, renameRequest(no, QStringLiteral("迟到的名字"))).ok);
    TestBackend::setTimeoutMs(200);
    fx.backend.faults().dropNext(MsgType::queryPortfolioRequest);
    fx.backend.faults().dropNext(MsgType::queryPortfolioRequest);
    notice(fx.presenter(), PORTFOLIO_NEW_OR_UPDATE, no);

    QTRY_COMPARE_WITH_TIMEOUT(fx.nameOf(no), QStringLiteral("迟到的名字"), 10000);
    QCOMPARE(storedName(no), QStringLiteral("迟到的名字"));
    const QStringList failures = panel.matching(QStringLiteral("未能获取"));
    QCOMPARE(failures.size(), 1);
    QVERIFY(failures.first().contains(QStringLiteral("请求超时")));
    QCOMPARE(panel.warnings(), 1);
    QVERIFY(fx.boxes.shown.isEmpty());
}

void tst_ListSync::storeDisagreementIsMended()
{
    Sync fx;
    QVERIFY(fx.ready());
    const QString a = fx.numberAt(0), b = fx.numberAt(1);
    const QString aName = fx.cell(0, 0), bName = fx.cell(1, 0);

    // 1: elsewhere, a was renamed and a new portfolio took a's old name; only the notice
    // of the new one arrives. The store cannot take it while a holds the name, so both
    // are fetched again and end as the back end has them.
    QVERIFY(TestBackend::request(MsgType::alterPortfolioRequest, renameRequest(a, aName + QStringLiteral("旧"))).ok);
    const TestBackend::Answer created = TestBackend::createPortfolio(createRequest(aName));
    QVERIFY(created.ok);
    const QString fresh = created.body.GetValue(RequestField::portfolioNo).toString();
    notice(fx.presenter(), PORTFOLIO_NEW_OR_UPDATE, fresh);
    QTRY_COMPARE(storedName(fresh), aName);
    QCOMPARE(storedName(a), aName + QStringLiteral("旧"));
    QTRY_COMPARE(fx.nameOf(fresh), aName);
    QCOMPARE(fx.nameOf(a), aName + QStringLiteral("旧"));

    // 2: this desk creates a portfolio with b's name, which the back end accepts because
    // b was renamed elsewhere unheard of. The store's refusal fetches both.
    QVERIFY(TestBackend::request(MsgType::alterPortfolioRequest, renameRequest(b, bName + QStringLiteral("旧"))).ok);
    PortfolioDetailBasicInfo detail;
    detail.setName(bName);
    detail.setStrategyName(QStringLiteral("默认"));
    detail.setDefaultNum(1);
    PortfolioItem item;
    item.setSymbol(QStringLiteral("600519.SH"));
    item.setSymbolExchange(CBusinessDataBase::GetInstance()->GetSecurityExchangeBySymbol(item.Symbol()).value(0));
    item.setQuantity(100);
    item.setSide(OrderSide::buy);
    detail.setSymbolList({item});
    fx.list()->slotAddPortfolioLst(detail, true, 0, false);
    QVERIFY(fx.boxes.shown.isEmpty());
    QTRY_COMPARE(storedName(b), bName + QStringLiteral("旧"));
    QTRY_COMPARE(PortfolioListBasicInfo::GetInstance()->numbersNamed(bName).size(), 1);
    QTRY_VERIFY(fx.idle());
    QCOMPARE(fx.names(), PageFixture::backendNames());
}

QTEST_MAIN(tst_ListSync)
#include "tst_listsync.moc"
