// The page on the offscreen platform against the embedded back end: the page's wiring
// of presenter and list, event dispatch, the back-end requests and their texts, and the
// list's own behaviour (fill, figures, clicks, the name editor, collapse).

#include "accountrows.h"
#include "pagefixture.h"

#include "cdatabase.h"
#include "ceventmessagecommon.h"
#include "etflogichandler.h"
#include "exchange.h"
#include "portfoliorecordaccess.h"
#include "veltrabusinessdatainterface.h"

#include <QAbstractItemView>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>
#include <cmath>
#include <QSignalSpy>
#include <QTemporaryFile>

namespace {

PortfolioItem line(const QString &symbol, qint64 qty)
{
    PortfolioItem item;
    item.setSymbol(symbol);
    item.setSymbolExchange(CBusinessDataBase::GetInstance()->GetSecurityExchangeBySymbol(symbol).value(0));
    item.setQuantity(qty);
    item.setSide(OrderSide::buy);
    return item;
}

PortfolioDetailBasicInfo newPortfolio(const QString &name, const QString &strategy = QStringLiteral("默认"))
{
    PortfolioDetailBasicInfo p;
    p.setName(name);
    p.setStrategyName(strategy);
    p.setDefaultNum(100);
    p.setSymbolList({line(QStringLiteral("600519.SH"), 100), line(QStringLiteral("000001.SZ"), 1000)});
    return p;
}

void quoteAll(double changeFraction)
{
    for (PortfolioDetailBasicInfo *p : PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails()) {
        for (const PortfolioItem &item : p->SymbolList()) {
            TzPortfolioQuote q;
            q.Symbol = item.Symbol();
            q.PreClosePx = 10.0;
            q.LastPx = 10.0 * (1.0 + changeFraction);
            PortfolioQuoteMgr::GetInstance()->UpdateQuote(q.Symbol, q);
        }
    }
}

bool backendHas(const QString &name)
{
    return PageFixture::backendNames().contains(name);
}

} // namespace

class tst_Page : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestBackend::setTimeoutMs(5000); }

    // Wiring of presenter and list, by what arrives on the other side.
    void storeSignalsReachTheList();
    void logOnlySlotsAreWired();
    void messagesAndQuestionsReachTheList();
    void loadStateAndAccountsReachPageAndList();
    void subscribedQuotesArriveThroughTheSignatureConnection();
    void refreshButtonReloadsFromTheBackEnd();
    void anotherDesksChangeShowsUp();

    void eventDispatch();
    void badMarketRecordsAreIgnored();

    // Back-end requests and their texts.
    void addPortfolioSucceedsAndReusesKnownLabel();
    void addPortfolioFailureTexts();
    void detailTimeoutRollsBackTheHeader();
    void alterRefusesExtensionThatJsonCannotCarry();
    void detailRefusesLineWithoutMarket();
    void deleteAndClearTexts();

    // The list itself.
    void fillSkipsDeletedPortfolios();
    void marketValueSwitch_data();
    void marketValueSwitch();
    void changeRateAndShowType();
    void clicksAreCoalesced();
    void emptyNumberClickSendsNothing();
    void autoSelectOnEmptyStoreSendsNothing();
    void nameEditorRules();
    void collapseAndExpand();
};

void tst_Page::storeSignalsReachTheList()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    QCOMPARE(fx.rows(), 5);  // the seeded portfolios
    // CoreDataInitialized(true) made the last row current and told the other pages.
    QCOMPARE(fx.table()->currentIndex().row(), 4);

    // 1: a portfolio that appeared in the store shows after OnPortfolioNewOrCreate.
    PortfolioDetailBasicInfo extra = newPortfolio(QStringLiteral("新到组合"));
    extra.setPortfolioNo(QStringLiteral("990001"));
    PortfolioListBasicInfo::GetInstance()->AddPortfolioDetail(extra);
    emit fx.presenter()->OnPortfolioNewOrCreate(QStringLiteral("990001"));
    QVERIFY(fx.rowOfName(QStringLiteral("新到组合")) >= 0);

    // 2: OnPortfolioDelete drops it from store and table.
    emit fx.presenter()->OnPortfolioDelete(QStringLiteral("990001"));
    QCOMPARE(fx.rowOfName(QStringLiteral("新到组合")), -1);
    QVERIFY(!PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(QStringLiteral("990001")));

    // 3: CoreDataInitialized(false) refills without selecting.
    fx.table()->setCurrentIndex(fx.table()->recordModel()->index(1, 0), true);
    emit fx.presenter()->CoreDataInitialized(false);
    QCOMPARE(fx.rows(), 5);

    // 4: the page's InitCoreDataSingnal reaches the presenter's core-data slot.
    QSignalSpy initialized(fx.presenter(), &PortfoliosListPresenterClass::CoreDataInitialized);
    emit fx.page->InitCoreDataSingnal();
    QCOMPARE(initialized.count(), 1);
    QCOMPARE(initialized.first().first().toBool(), true);
}

void tst_Page::logOnlySlotsAreWired()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    // The ETF list reaches the list as a tree for the creation dialog.
    QVERIFY(ETFLogicHandler::instance().waitUntilLoaded(10000));
    QSignalSpy trees(fx.list(), &PortfoliosList::signalRelodadETFList);
    emit fx.presenter()->signalAllETFListLoaded();
    QCOMPARE(trees.count(), 1);
    const auto roots = trees.at(0).at(0).value<QList<QMap<int, QMap<QString, QVariant>>>>();
    QCOMPARE(roots.size(), 1);
    QCOMPARE(roots.at(0).value(0).value(RecordRole::display).toString(), QStringLiteral("ETF组合"));
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("slotInitTreeViewsDataFinished")));
    emit fx.presenter()->signalInitTreeViewsDataFinished();

    // The account queries reach the presenter and their answers come back to the list.
    QVERIFY(fx.backend.accountsLoaded());
    QSignalSpy loans(fx.presenter(), &PortfoliosListPresenterClass::signalSecurityLoanInfoUpdated);
    emit fx.list()->signalQueryMarginInfo(QStringLiteral("88002000201"));
    QCOMPARE(loans.count(), 1);
    using Records = QList<QMap<int, QVariantMap>>;
    QVERIFY(!loans.first().first().value<Records>().isEmpty());
    QSignalSpy contracts(fx.presenter(), &PortfoliosListPresenterClass::signalCouponInfoInfoUpdated);
    emit fx.presenter()->signalTradingAccountChanged(QStringLiteral("88002000201"), QStringLiteral("880020002"));
    emit fx.list()->signalQueryCouponInfo(QStringLiteral("20991231"));
    QCOMPARE(contracts.count(), 1);
    QCOMPARE(contracts.first().first().value<QList<QVariantMap>>().size(), 4);
}

void tst_Page::messagesAndQuestionsReachTheList()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    emit fx.presenter()->signalShowWarningMsg(QStringLiteral("刷新组合列表"), QStringLiteral("组合列表刷新失败：x"));
    QCOMPARE(fx.boxes.shown.last().kind, VeltraWidget::MsgBoxKind::Warning);
    QCOMPARE(fx.boxes.last(), QStringLiteral("组合列表刷新失败：x"));

    QSignalSpy create(fx.list(), &PortfoliosList::signalCreateClipboardPortfolio);
    fx.boxes.answers = {0};
    emit fx.presenter()->signalCreateWarning({QStringLiteral("600519.SH")}, {QStringLiteral("900901.SH")});
    QVERIFY(fx.boxes.last().startsWith(
        QStringLiteral("组合交易不支持以下标的交易，请确认是否剔除以下标的创建组合(1):\r\n")));
    QVERIFY(fx.boxes.last().contains(CBusinessDataBase::GetInstance()->GetSecurityChineseName(QStringLiteral("900901.SH"))));
    QCOMPARE(create.count(), 0);
    fx.boxes.answers = {1};
    emit fx.presenter()->signalCreateWarning({QStringLiteral("600519.SH")}, {QStringLiteral("900901.SH")});
    QCOMPARE(create.count(), 1);
    QCOMPARE(create.first().first().toStringList(), QStringList{QStringLiteral("600519.SH")});
}

void tst_Page::loadStateAndAccountsReachPageAndList()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    emit fx.presenter()->signalDataLoadState(1);
    QCOMPARE(fx.page->loadingState(), 1);
    emit fx.presenter()->signalDataLoadState(0);
    QCOMPARE(fx.page->loadingState(), 0);

    // 20: the account pair arrives (fund account first); one-key liquidation asks the
    // positions of the trading account and sells every available A-share holding.
    emit fx.presenter()->signalTradingAccountChanged(QStringLiteral("880010001"), QStringLiteral("88001000101"));
    QSignalSpy query(fx.list(), &PortfoliosList::signalQueryPositionInfo);
    auto *button = fx.list()->findChild<QPushButton *>(QStringLiteral("pushButton_posCreate"));
    button->click();
    QCOMPARE(query.count(), 1);
    QCOMPARE(query.first().at(0).toString(), QStringLiteral("88001000101"));
    QVERIFY(button->isEnabled());
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    const QStringList numbers = store->numbersNamed(QStringLiteral("一键清仓组合"));
    QCOMPARE(numbers.size(), 1);
    const PortfolioDetailBasicInfo *portfolio = store->GetPortfolioDetail(numbers.first());
    QVERIFY(portfolio);
    QVERIFY(portfolio->SymbolList().size() > 20);
    for (const PortfolioItem &item : portfolio->SymbolList()) {
        QCOMPARE(item.Side(), OrderSide::sell);
        QVERIFY(item.Quantity() > 0);
        QVERIFY2(!AccountRows::isHongKongConnect(item.SymbolExchange()), qPrintable(item.Symbol()));
        QVERIFY2(!store->checkPortfolioSecurity(item.Symbol()), qPrintable(item.Symbol()));
    }
    QCOMPARE(portfolio->ExtensionDescription().value(Portfolio::portType).toString(), PortType::liquidation);
    QCOMPARE(portfolio->ExtensionDescription().value(Portfolio::algoParam).toMap().value(ImportField::FundAccount).toString(),
             QStringLiteral("880010001"));
    // A second press makes the next free name; an account without positions says so.
    button->click();
    QString next = QStringLiteral("一键清仓组合");
    QVERIFY(store->CheckPortfolioName(next, next));  // taken; next is now the free form
    QVERIFY(next != QStringLiteral("一键清仓组合"));
    QCOMPARE(fx.boxes.shown.size(), 0);
    emit fx.presenter()->signalTradingAccountChanged(QStringLiteral("nobody"), QStringLiteral("nobody"));
    button->click();
    QCOMPARE(fx.boxes.last(), QStringLiteral("一键清仓组合创建失败：未获取到可用持仓数据。"));
    QVERIFY(button->isEnabled());
}

void tst_Page::subscribedQuotesArriveThroughTheSignatureConnection()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    QSignalSpy quotes(fx.presenter(), &PortfoliosListPresenterClass::quotationInfoUpdate);
    emit fx.list()->SubscribeQuotes({QStringLiteral("601857.SH")});
    TzPortfolioQuote q;
    QTRY_VERIFY(PortfolioQuoteMgr::GetInstance()->quote(QStringLiteral("601857.SH"), q));
    QVERIFY(q.LastPx > 0.0);
    QVERIFY(q.UpperLimitPx > q.LowerLimitPx);
    QVERIFY(quotes.count() > 0);
}

void tst_Page::refreshButtonReloadsFromTheBackEnd()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    // Created on the back end behind the page's back (no notification reaches this client).
    const TestBackend::Answer created = TestBackend::createPortfolio(
        {{RequestField::alterType, QStringLiteral("c")},
         {RequestField::userID, QStringLiteral("demo")},
         {RequestField::portfolioName, QStringLiteral("后台新建")},
         {RequestField::defaultBasketSize, 1},
         {RequestField::portfolioExtensionDescription, QStringLiteral("{}")}});
    QVERIFY(created.ok);
    QCOMPARE(fx.rowOfName(QStringLiteral("后台新建")), -1);
    fx.list()->findChild<QToolButton *>(QStringLiteral("btn_refresh"))->click();
    QTRY_VERIFY(fx.rowOfName(QStringLiteral("后台新建")) >= 0);

    // A refresh the back end does not answer keeps the list and says why.
    TestBackend::setTimeoutMs(200);
    fx.backend.faults().dropNext(MsgType::queryStrategyRequest);
    fx.list()->findChild<QToolButton *>(QStringLiteral("btn_refresh"))->click();
    QTRY_COMPARE(fx.boxes.last(), QStringLiteral("组合列表刷新失败：请求超时"));
    QCOMPARE(fx.rows(), 6);
}

void tst_Page::anotherDesksChangeShowsUp()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    // A second desk of the same user logs in and creates a portfolio.
    const quint64 otherDesk = 424242;
    fx.backend.sendAsOtherDesk(otherDesk, MsgType::loginRequest, {{RequestField::userID, QStringLiteral("demo")}});
    QVERIFY(fx.backend
                .createAsOtherDesk(otherDesk, {{RequestField::alterType, QStringLiteral("c")},
                                               {RequestField::userID, QStringLiteral("demo")},
                                               {RequestField::portfolioName, QStringLiteral("另一台终端")},
                                               {RequestField::defaultBasketSize, 1},
                                               {RequestField::portfolioExtensionDescription, QStringLiteral("{}")}})
                .ok);
    QTRY_VERIFY(fx.rowOfName(QStringLiteral("另一台终端")) >= 0);
}

void tst_Page::eventDispatch()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfoliosListPresenterClass *p = fx.presenter();
    const auto id = [](const QString &name) { return VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(name); };

    QSignalSpy created(p, &PortfoliosListPresenterClass::OnPortfolioNewOrCreate);
    p->deliverEvent(QStringLiteral("other"), PORTFOLIO_NEW_OR_UPDATE, packed({{RequestField::portfolioNo, QStringLiteral("100002")}}));
    QTRY_COMPARE(created.count(), 1);  // once the store holds its state
    QCOMPARE(created.first().first().toString(), QStringLiteral("100002"));

    QSignalSpy deleted(p, &PortfoliosListPresenterClass::OnPortfolioDelete);
    p->deliverEvent(QStringLiteral("other"), PORTFOLIO_DELETED, packed({{RequestField::portfolioNo, QStringLiteral("100003")}}));
    QCOMPARE(deleted.first().first().toString(), QStringLiteral("100003"));
    QVERIFY(!PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(QStringLiteral("100003")));

    QSignalSpy position(p, &PortfoliosListPresenterClass::OnPositionUpdate);
    CPackMessageCommon row;
    row.AddRow();
    row.AddRowVaule({{Security::symbol, QStringLiteral("600519.SH")}, {QStringLiteral("qty"), 300}});
    p->deliverEvent(QStringLiteral("other"), POSITION_UPDATE, row.GetPackedMsg(false));
    QCOMPARE(position.first().first().toMap().value(QStringLiteral("qty")).toInt(), 300);

    QSignalSpy etf(p, &PortfoliosListPresenterClass::signalAllETFListLoaded);
    p->deliverEvent(QStringLiteral("other"), id(EventName::ALL_ETFLIST_LOADED), packed({}));
    QCOMPARE(etf.count(), 1);

    QSignalSpy scan(p, &PortfoliosListPresenterClass::signalScanCfgChanged);
    p->deliverEvent(QStringLiteral("other"), id(EventName::PORTFOLIOS_SETTING_CHANGED), packed({}));
    QCOMPARE(scan.count(), 1);

    // Clipboard events count only for this page's menu id and a non-empty list.
    QSignalSpy clipboard(p, &PortfoliosListPresenterClass::signalClipboardMsg);
    const QStringList codes{QStringLiteral("600519.SH"), QStringLiteral("000001.SZ")};
    p->deliverEvent(QStringLiteral("other"), CLIPBOARD_CLICK_EVENT,
                    packed({{MENU_ID, QStringLiteral("menu.Other")}, {QStringLiteral("symbolList"), codes}}));
    p->deliverEvent(QStringLiteral("other"), CLIPBOARD_CLICK_EVENT,
                    packed({{MENU_ID, p->menuID()}, {QStringLiteral("symbolList"), QStringList()}}));
    QCOMPARE(clipboard.count(), 0);
    p->deliverEvent(QStringLiteral("other"), CLIPBOARD_CLICK_EVENT,
                    packed({{MENU_ID, p->menuID()}, {QStringLiteral("symbolList"), codes}}));
    QCOMPARE(clipboard.count(), 1);
    QCOMPARE(clipboard.first().first().toStringList(), codes);
    QCOMPARE(p->menuID(), QStringLiteral("menu.TZApp.PortfoliosList"));

    QSignalSpy account(p, &PortfoliosListPresenterClass::signalTradingAccountChanged);
    p->deliverEvent(QStringLiteral("other"), id(EventName::TRADING_ACCOUNT_CHANGED),
                    packed({{QStringLiteral("assetAccount"), QStringLiteral("880010001")},
                            {QStringLiteral("tradingAccount"), QStringLiteral("A123456789")}}));
    QCOMPARE(account.first().at(0).toString(), QStringLiteral("880010001"));
    QCOMPARE(account.first().at(1).toString(), QStringLiteral("A123456789"));

    // An unknown event changes nothing.
    QSignalSpy any(p, &PortfoliosListPresenterClass::CoreDataInitialized);
    const int createdBefore = created.count();
    p->deliverEvent(QStringLiteral("other"), 123456, packed({}));
    QCOMPARE(any.count(), 0);
    QCOMPARE(created.count(), createdBefore);
}

void tst_Page::badMarketRecordsAreIgnored()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    QSignalSpy quotes(fx.presenter(), &PortfoliosListPresenterClass::quotationInfoUpdate);
    const QVariantMap good{{Security::symbol, QStringLiteral("600000.SH")}, {Security::lastPx, 7.5},
                           {Security::preClosePx, 7.4}};
    QVariantMap noPrice = good;
    noPrice.remove(Security::lastPx);
    QVariantMap nonsense = good;
    nonsense.insert(Security::symbol, QStringLiteral("600036.SH"));
    nonsense.insert(Security::lastPx, QStringLiteral("n/a"));
    fx.presenter()->deliverMarketRecords({noPrice, nonsense, good});
    QCOMPARE(quotes.count(), 1);
    TzPortfolioQuote q;
    QVERIFY(!PortfolioQuoteMgr::GetInstance()->quote(QStringLiteral("600036.SH"), q));
    QVERIFY(PortfolioQuoteMgr::GetInstance()->quote(QStringLiteral("600000.SH"), q));
    QCOMPARE(q.LastPx, 7.5);
}

void tst_Page::addPortfolioSucceedsAndReusesKnownLabel()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    // A label the store knows ("默认") is never created again: a planned strategy failure
    // stays unused.
    fx.backend.faults().failNext(MsgType::alterStrategyRequest, QStringLiteral("不应发送"));
    PortfolioDetailBasicInfo p = newPortfolio(QStringLiteral("新组合甲"));
    QCOMPARE(fx.presenter()->AddPortfolio(p), QStringLiteral("0"));
    QVERIFY(!p.PortfolioNo().isEmpty());
    QVERIFY(!p.StrategyID().isEmpty());
    QVERIFY(backendHas(QStringLiteral("新组合甲")));

    // A new label is created first and then known.
    fx.backend.faults().clear();
    PortfolioDetailBasicInfo q = newPortfolio(QStringLiteral("新组合乙"), QStringLiteral("动量"));
    QCOMPARE(fx.presenter()->AddPortfolio(q), QStringLiteral("0"));
    QVERIFY(PortfolioListBasicInfo::GetInstance()->GetStrategyInfoByName(QStringLiteral("动量")));
    QCOMPARE(q.StrategyID(), PortfolioListBasicInfo::GetInstance()->GetStrategyInfoByName(QStringLiteral("动量"))->StrategyNo());
}

void tst_Page::addPortfolioFailureTexts()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    fx.backend.faults().failNext(MsgType::alterStrategyRequest, QStringLiteral("标签库只读"));
    PortfolioDetailBasicInfo a = newPortfolio(QStringLiteral("失败一"), QStringLiteral("全新标签"));
    QCOMPARE(fx.presenter()->AddPortfolio(a), QStringLiteral("创建组合关联策略标签失败。错误代码：标签库只读"));

    fx.backend.faults().failNext(MsgType::alterPortfolioRequest, QStringLiteral("配额已满"));
    PortfolioDetailBasicInfo b = newPortfolio(QStringLiteral("失败二"));
    QCOMPARE(fx.presenter()->AddPortfolio(b), QStringLiteral("创建组合信息失败1，错误原因：配额已满"));

    // The back end's own refusal comes through as its text.
    PortfolioDetailBasicInfo c = newPortfolio(QStringLiteral("沪深300前20"));
    QCOMPARE(fx.presenter()->AddPortfolio(c), QStringLiteral("创建组合信息失败1，错误原因：组合名称已存在：沪深300前20"));

    // A time-out of the header.
    TestBackend::setTimeoutMs(1000);
    fx.backend.faults().dropNext(MsgType::alterPortfolioRequest);
    PortfolioDetailBasicInfo d = newPortfolio(QStringLiteral("失败三"));
    QCOMPARE(fx.presenter()->AddPortfolio(d), QStringLiteral("创建组合信息失败1，错误原因：请求超时"));
    for (const QString &name : {QStringLiteral("失败一"), QStringLiteral("失败二")})
        QVERIFY(!backendHas(name));
}

void tst_Page::detailTimeoutRollsBackTheHeader()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    // The header must be answered in time even on a busy machine; the lines come late.
    TestBackend::setTimeoutMs(1000);
    // The lines' answer comes too late: the header just created is deleted again.
    fx.backend.faults().delayNext(MsgType::alterPortfolioDetailRequest, 2500);
    PortfolioDetailBasicInfo p = newPortfolio(QStringLiteral("半途组合"));
    QCOMPARE(fx.presenter()->AddPortfolio(p), QStringLiteral("创建组合明细失败2，错误原因：请求超时"));
    TestBackend::setTimeoutMs(5000);
    QTest::qWait(1600);  // let the late lines land, then look
    QVERIFY(!backendHas(QStringLiteral("半途组合")));

    // A refused line (duplicate in the request) also leaves nothing.
    PortfolioDetailBasicInfo dup = newPortfolio(QStringLiteral("重复明细"));
    QList<PortfolioItem> items = dup.SymbolList();
    items.append(items.first());
    dup.setSymbolList(items);
    QVERIFY(fx.presenter()->AddPortfolio(dup).startsWith(QStringLiteral("创建组合明细失败2，错误原因：")));
    QVERIFY(!backendHas(QStringLiteral("重复明细")));
}

void tst_Page::alterRefusesExtensionThatJsonCannotCarry()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfolioDetailBasicInfo p = *PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails().first();
    // A planned failure that a sent request would consume.
    fx.backend.faults().failNext(MsgType::alterPortfolioRequest, QStringLiteral("已发送"));
    for (const QVariant &bad : {QVariant(QPoint(1, 2)), QVariant(std::nan(""))}) {
        p.setExtensionDescription({{Portfolio::portType, QStringLiteral("normal")}, {QStringLiteral("x"), bad}});
        QCOMPARE(fx.presenter()->AlterPortfolio(p, false), QStringLiteral("扩展参数错误，无法转换成指定格式。"));
    }
    p.setExtensionDescription({{Portfolio::portType, QStringLiteral("normal")}});
    QCOMPARE(fx.presenter()->AlterPortfolio(p, false), QStringLiteral("已发送"));
    QCOMPARE(fx.presenter()->AlterPortfolio(p, false), QStringLiteral("0"));
}

void tst_Page::detailRefusesLineWithoutMarket()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfolioDetailBasicInfo p = *PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails().first();
    QList<PortfolioItem> items = p.SymbolList();
    items.append(line(QStringLiteral("999999.SH"), 100));
    p.setSymbolList(items);
    QCOMPARE(fx.presenter()->AlterPortfolioDetail(p, false),
             QStringLiteral("组合详情插入错误，组合号%1，代码999999.SH找不到市场").arg(p.PortfolioNo()));
}

void tst_Page::deleteAndClearTexts()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfolioDetailBasicInfo ghost;
    ghost.setPortfolioNo(QStringLiteral("777777"));
    QCOMPARE(fx.presenter()->DelPortfolio(ghost), QStringLiteral("删除组合失败。错误代码：组合不存在：777777"));

    TestBackend::setTimeoutMs(200);
    fx.backend.faults().dropNext(MsgType::deletePortfolioRequest);
    QCOMPARE(fx.presenter()->DelPortfolioList({QStringLiteral("100001")}),
             QStringLiteral("删除组合列表发送失败。错误代码：1"));
    fx.backend.faults().dropNext(MsgType::deletePortfolioDetailRequest);
    QCOMPARE(fx.presenter()->ClearPortfolioDetail(*PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails().first()),
             QStringLiteral("清除组合明细信息发送失败。错误代码：1"));

    TestBackend::setTimeoutMs(5000);
    PortfolioDetailBasicInfo first = *PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails().first();
    QCOMPARE(fx.presenter()->DelPortfolio(first), QStringLiteral("0"));
    QVERIFY(!backendHas(first.Name()));
}

void tst_Page::fillSkipsDeletedPortfolios()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfolioDetailBasicInfo flagged = newPortfolio(QStringLiteral("已删除组合"));
    flagged.setPortfolioNo(QStringLiteral("880001"));
    PortfolioRecordAccess::setDeleteFlag(flagged, true);
    PortfolioListBasicInfo::GetInstance()->AddPortfolioDetail(flagged);
    fx.list()->slotChangeUpData();
    QCOMPARE(fx.rowOfName(QStringLiteral("已删除组合")), -1);
    QCOMPARE(fx.rows(), 5);

    // Rows carry the store's fields in their columns.
    const int row = fx.rowOfName(QStringLiteral("待完成批次组合"));
    QVERIFY(row >= 0);
    QCOMPARE(fx.cell(row, 3), QStringLiteral("3"));
    QCOMPARE(fx.cell(row, 7), QStringLiteral("带参"));
    const RowRecord record = fx.table()->getRowData(row);
    const auto detail = record.value(12).value(RecordRole::user).value<PortfolioDetailBasicInfo>();
    QCOMPARE(detail.PortfolioNo(), fx.cell(row, 8));
    QCOMPARE(fx.cell(row, 10), detail.CreateDate().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
}

void tst_Page::marketValueSwitch_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("on");
    QTest::newRow("absent") << QString() << false;
    QTest::newRow("0") << QStringLiteral("0") << false;
    QTest::newRow("2") << QStringLiteral("2") << false;
    QTest::newRow("abc") << QStringLiteral("abc") << false;
    QTest::newRow("1") << QStringLiteral("1") << true;
}

void tst_Page::marketValueSwitch()
{
    QFETCH(QString, value);
    QFETCH(bool, on);
    QTemporaryFile ini;
    QVERIFY(ini.open());
    if (!value.isNull())
        ini.write(QStringLiteral("[PortfolioSysCfg]\nListMarketValueCalcOnoff=%1\n").arg(value).toUtf8());
    ini.close();
    CDataBase::GetInstance()->load(ini.fileName());
    {
        PageFixture fx;
        QVERIFY(fx.ready());
        QCOMPARE(fx.list()->marketValueSwitch(), on);
        quoteAll(0.02);
        fx.list()->slotUpdateQuoeData();
        for (int column : {1, 2, 4, 5, 6})
            QCOMPARE(fx.cell(0, column).isEmpty(), !on);
    }
    CDataBase::GetInstance()->load(QStringLiteral(TZ_SOURCE_DATA_DIR) + QStringLiteral("/config/static.ini"));
}

void tst_Page::changeRateAndShowType()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    quoteAll(0.01234);
    fx.list()->slotUpdateQuoeData();
    QCOMPARE(fx.cell(0, 1), QStringLiteral("1.23%"));
    QCOMPARE(fx.table()->getRowData(0).value(1).value(RecordRole::user).toDouble(), 0.01234);
    QVERIFY(fx.cell(0, 2).contains(QLatin1Char(',')));  // thousands separators by default

    emit fx.presenter()->signalShowTypeChanged(ShowWanYi);
    fx.list()->slotUpdateQuoeData();
    QVERIFY2(fx.cell(0, 2).endsWith(QStringLiteral("万")), qPrintable(fx.cell(0, 2)));

    // Only changed cells are announced: a second refresh with the same quotes is silent.
    QSignalSpy changed(fx.table()->recordModel(), &QAbstractItemModel::dataChanged);
    fx.list()->slotUpdateQuoeData();
    QCOMPARE(changed.count(), 0);
    quoteAll(-0.03);
    fx.list()->slotUpdateQuoeData();
    QVERIFY(changed.count() > 0);
    for (const QList<QVariant> &args : changed) {
        const QModelIndex from = args.at(0).toModelIndex();
        const QModelIndex to = args.at(1).toModelIndex();
        QCOMPARE(from.row(), to.row());
        QVERIFY(from.column() >= 1 && to.column() <= 2);  // counts stayed 0: not repainted
    }
}

void tst_Page::clicksAreCoalesced()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    ClickListener listener;
    QTest::qWait(100);  // the auto-selection's event has gone by
    listener.portfolioNos.clear();
    RecordModel *model = fx.table()->recordModel();
    for (int row : {0, 1, 2})
        fx.list()->slotTableClicked(model->index(row, 0));
    QCOMPARE(fx.list()->currentPortfolioNo(), fx.cell(2, 8));
    QTRY_COMPARE(listener.portfolioNos.size(), 1);
    QTest::qWait(120);
    QCOMPARE(listener.portfolioNos, QStringList{fx.cell(2, 8)});

    // Clicks far apart each make their own event.
    fx.list()->slotTableClicked(model->index(3, 0));
    QTRY_COMPARE(listener.portfolioNos.size(), 2);
    QCOMPARE(listener.portfolioNos.last(), fx.cell(3, 8));
}

void tst_Page::emptyNumberClickSendsNothing()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    ClickListener listener;
    QTest::qWait(100);
    listener.portfolioNos.clear();
    RowRecord blank;
    blank[0][RecordRole::display] = QStringLiteral("无编号");
    fx.table()->addRecordData(blank);
    fx.list()->slotTableClicked(fx.table()->recordModel()->index(fx.rows() - 1, 0));
    QCOMPARE(fx.list()->currentPortfolioNo(), QString());
    QTest::qWait(120);
    QVERIFY(listener.portfolioNos.isEmpty());
}

void tst_Page::autoSelectOnEmptyStoreSendsNothing()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    ClickListener listener;
    PortfolioListBasicInfo::GetInstance()->clear();
    fx.list()->slotCoreDataInitialized(true);
    QCOMPARE(fx.rows(), 0);
    QTest::qWait(100);
    QVERIFY(listener.portfolioNos.isEmpty());
}

void tst_Page::nameEditorRules()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    fx.page->show();
    RecordModel *model = fx.table()->recordModel();
    auto editors = [&] { return fx.table()->findChildren<QLineEdit *>(QStringLiteral("portfolioNameEditor")); };

    fx.list()->slotPortfoliosTableViewClicked(model->index(0, 1));  // not the name column
    QCOMPARE(editors().size(), 0);
    fx.list()->slotPortfoliosTableViewClicked(QModelIndex());
    QCOMPARE(editors().size(), 0);

    fx.list()->slotPortfoliosTableViewClicked(model->index(0, 0));
    QCOMPARE(editors().size(), 1);
    QCOMPARE(editors().first()->maxLength(), 25);
    QCOMPARE(editors().first()->text(), fx.cell(0, 0));
    // Opening another row's editor closes the first one, also while it has the focus.
    fx.page->activateWindow();
    editors().first()->setFocus();
    QTRY_VERIFY(editors().first()->hasFocus());
    fx.list()->slotPortfoliosTableViewClicked(model->index(1, 0));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(editors().size(), 1);
    QCOMPARE(editors().first()->text(), fx.cell(1, 0));
    // The same index again changes nothing.
    fx.list()->slotPortfoliosTableViewClicked(model->index(1, 0));
    QCOMPARE(editors().size(), 1);
    // Closing an editor that has the focus: it commits on the way out, which closes again.
    fx.page->activateWindow();
    editors().first()->setFocus();
    QTRY_VERIFY(editors().first()->hasFocus());
    fx.list()->slotClosePersistentEditor();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(editors().size(), 0);
    QCOMPARE(fx.table()->currentIndex().row(), 1);
}

void tst_Page::collapseAndExpand()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    QSignalSpy width(fx.list(), &PortfoliosList::signalsChangeListWgtWidth);
    auto *table = fx.list()->findChild<QWidget *>(QStringLiteral("tableWidget"));
    auto *toggle = fx.list()->findChild<QPushButton *>(QStringLiteral("pushButton"));
    fx.page->show();
    toggle->click();
    QVERIFY(!table->isVisible());
    QCOMPARE(fx.page->width(), 35);
    toggle->click();
    QVERIFY(table->isVisible());
    QCOMPARE(fx.page->width(), 216);
    QCOMPARE(width.count(), 2);
    QCOMPARE(width.at(0).first().toBool(), false);
    QCOMPARE(width.at(1).first().toBool(), false);
}

QTEST_MAIN(tst_Page)
#include "tst_page.moc"
