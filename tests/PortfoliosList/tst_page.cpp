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
#include <QScopeGuard>
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
    void presenterSignalsReachTheList();
    void loadStateAndAccountsReachPageAndList();
    void refreshButtonReloadsFromTheBackEnd();

    void eventDispatch();
    void badMarketRecordsAreIgnored();

    // Back-end requests and their texts.
    void requestTextsAndRollBack();

    // The list itself.
    void rowsShowTheStoreAndTheQuotes();
    void marketValueSwitch();
    void clicksWithoutAPortfolioSendNothing();
    void nameEditorRules();
    void collapseAndExpand();
};

void tst_Page::presenterSignalsReachTheList()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    QCOMPARE(fx.rows(), 5);  // the seeded portfolios
    // CoreDataInitialized(true) made the last row current and told the other pages.
    QCOMPARE(fx.table()->currentIndex().row(), 4);
    // CoreDataInitialized(false) refills without selecting.
    fx.table()->setCurrentIndex(fx.table()->recordModel()->index(1, 0), true);
    emit fx.presenter()->CoreDataInitialized(false);
    QCOMPARE(fx.rows(), 5);
    // The page's InitCoreDataSingnal reaches the presenter's core-data slot.
    QSignalSpy initialized(fx.presenter(), &PortfoliosListPresenterClass::CoreDataInitialized);
    emit fx.page->InitCoreDataSingnal();
    QCOMPARE(initialized.count(), 1);
    QCOMPARE(initialized.first().first().toBool(), true);

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

    // The lending contracts' query reaches the presenter and its answer comes back.
    QVERIFY(fx.backend.accountsLoaded());
    QSignalSpy contracts(fx.presenter(), &PortfoliosListPresenterClass::signalCouponInfoInfoUpdated);
    emit fx.presenter()->signalTradingAccountChanged(QStringLiteral("88002000201"), QStringLiteral("880020002"));
    emit fx.list()->signalQueryCouponInfo(QStringLiteral("20991231"));
    QCOMPARE(contracts.count(), 1);
    QCOMPARE(contracts.first().first().value<QList<QVariantMap>>().size(), 4);

    // Quotes the list subscribes arrive through the signature connection.
    QSignalSpy quotes(fx.presenter(), &PortfoliosListPresenterClass::quotationInfoUpdate);
    emit fx.list()->SubscribeQuotes({QStringLiteral("601857.SH")});
    TzPortfolioQuote q;
    QTRY_VERIFY(PortfolioQuoteMgr::GetInstance()->quote(QStringLiteral("601857.SH"), q));
    QVERIFY(q.LastPx > 0.0 && q.UpperLimitPx > q.LowerLimitPx);
    QVERIFY(quotes.count() > 0);
}

void tst_Page::loadStateAndAccountsReachPageAndList()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    emit fx.presenter()->signalDataLoadState(1);
    QCOMPARE(fx.page->loadingState(), 1);
    emit fx.presenter()->signalDataLoadState(0);
    QCOMPARE(fx.page->loadingState(), 0);

    // The account pair arrives (fund account first); one-key liquidation asks the
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
    QVERIFY(portfolio && portfolio->SymbolList().size() > 20);
    for (const PortfolioItem &item : portfolio->SymbolList()) {
        QVERIFY2(item.Side() == OrderSide::sell && item.Quantity() > 0, qPrintable(item.Symbol()));
        QVERIFY2(!AccountRows::isHongKongConnect(item.SymbolExchange()), qPrintable(item.Symbol()));
        QVERIFY2(!store->checkPortfolioSecurity(item.Symbol()), qPrintable(item.Symbol()));
    }
    QCOMPARE(portfolio->ExtensionDescription().value(Portfolio::portType).toString(), PortType::liquidation);
    // A second press makes the next free name; an account without positions says so.
    button->click();
    QCOMPARE(store->numbersNamed(QStringLiteral("一键清仓组合1")).size(), 1);
    QCOMPARE(fx.boxes.shown.size(), 0);
    emit fx.presenter()->signalTradingAccountChanged(QStringLiteral("nobody"), QStringLiteral("nobody"));
    button->click();
    QCOMPARE(fx.boxes.last(), QStringLiteral("一键清仓组合创建失败：未获取到可用持仓数据。"));
    QVERIFY(button->isEnabled());
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
    QCOMPARE(fx.boxes.shown.last().kind, VeltraWidget::MsgBoxKind::Warning);
    QCOMPARE(fx.rows(), 6);
}

void tst_Page::eventDispatch()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfoliosListPresenterClass *p = fx.presenter();
    const auto id = [](const QString &name) { return VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(name); };
    const auto deliver = [p](int type, const QVariant &body) { p->deliverEvent(QStringLiteral("other"), type, body); };

    QSignalSpy created(p, &PortfoliosListPresenterClass::OnPortfolioNewOrCreate);
    deliver(PORTFOLIO_NEW_OR_UPDATE, packed({{RequestField::portfolioNo, QStringLiteral("100002")}}));
    QTRY_COMPARE(created.count(), 1);  // once the store holds its state
    QCOMPARE(created.first().first().toString(), QStringLiteral("100002"));

    QSignalSpy deleted(p, &PortfoliosListPresenterClass::OnPortfolioDelete);
    deliver(PORTFOLIO_DELETED, packed({{RequestField::portfolioNo, QStringLiteral("100003")}}));
    QCOMPARE(deleted.first().first().toString(), QStringLiteral("100003"));
    QVERIFY(!PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(QStringLiteral("100003")));

    QSignalSpy position(p, &PortfoliosListPresenterClass::OnPositionUpdate);
    CPackMessageCommon row;
    row.AddRow();
    row.AddRowVaule({{Security::symbol, QStringLiteral("600519.SH")}, {QStringLiteral("qty"), 300}});
    deliver(POSITION_UPDATE, row.GetPackedMsg(false));
    QCOMPARE(position.first().first().toMap().value(QStringLiteral("qty")).toInt(), 300);

    QSignalSpy etf(p, &PortfoliosListPresenterClass::signalAllETFListLoaded);
    deliver(id(EventName::ALL_ETFLIST_LOADED), packed({}));
    QSignalSpy scan(p, &PortfoliosListPresenterClass::signalScanCfgChanged);
    deliver(id(EventName::PORTFOLIOS_SETTING_CHANGED), packed({}));
    QCOMPARE(etf.count(), 1);
    QCOMPARE(scan.count(), 1);

    // Clipboard events count only for this page's menu id and a non-empty list.
    QSignalSpy clipboard(p, &PortfoliosListPresenterClass::signalClipboardMsg);
    const QStringList codes{QStringLiteral("600519.SH"), QStringLiteral("000001.SZ")};
    QCOMPARE(p->menuID(), QStringLiteral("menu.TZApp.PortfoliosList"));
    deliver(CLIPBOARD_CLICK_EVENT, packed({{MENU_ID, QStringLiteral("menu.Other")}, {QStringLiteral("symbolList"), codes}}));
    deliver(CLIPBOARD_CLICK_EVENT, packed({{MENU_ID, p->menuID()}, {QStringLiteral("symbolList"), QStringList()}}));
    QCOMPARE(clipboard.count(), 0);
    deliver(CLIPBOARD_CLICK_EVENT, packed({{MENU_ID, p->menuID()}, {QStringLiteral("symbolList"), codes}}));
    QCOMPARE(clipboard.count(), 1);
    QCOMPARE(clipboard.first().first().toStringList(), codes);

    QSignalSpy account(p, &PortfoliosListPresenterClass::signalTradingAccountChanged);
    deliver(id(EventName::TRADING_ACCOUNT_CHANGED), packed({{QStringLiteral("assetAccount"), QStringLiteral("880010001")},
                                                            {QStringLiteral("tradingAccount"), QStringLiteral("A123456789")}}));
    QCOMPARE(account.first().at(0).toString() + QLatin1Char(' ') + account.first().at(1).toString(),
             QStringLiteral("880010001 A123456789"));

    // An unknown event changes nothing.
    QSignalSpy any(p, &PortfoliosListPresenterClass::CoreDataInitialized);
    const int createdBefore = created.count();
    deliver(123456, packed({}));
    QCOMPARE(any.count(), 0);
    QCOMPARE(created.count(), createdBefore);
}

void tst_Page::badMarketRecordsAreIgnored()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    QSignalSpy quotes(fx.presenter(), &PortfoliosListPresenterClass::quotationInfoUpdate);
    // Without a price, and with a price that is no number: only the good record counts.
    const QVariantMap good{{Security::symbol, QStringLiteral("600000.SH")}, {Security::lastPx, 7.5},
                           {Security::preClosePx, 7.4}};
    QVariantMap noPrice = good, nonsense = good;
    noPrice.remove(Security::lastPx);
    nonsense.insert(Security::symbol, QStringLiteral("600036.SH"));
    nonsense.insert(Security::lastPx, QStringLiteral("n/a"));
    fx.presenter()->deliverMarketRecords({noPrice, nonsense, good});
    QCOMPARE(quotes.count(), 1);
    TzPortfolioQuote q;
    QVERIFY(!PortfolioQuoteMgr::GetInstance()->quote(QStringLiteral("600036.SH"), q));
    QVERIFY(PortfolioQuoteMgr::GetInstance()->quote(QStringLiteral("600000.SH"), q));
    QCOMPARE(q.LastPx, 7.5);
}

void tst_Page::requestTextsAndRollBack()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    // A label the store knows ("默认") is never created again: a planned strategy failure
    // stays unused. A new label is created first and then known.
    fx.backend.faults().failNext(MsgType::alterStrategyRequest, QStringLiteral("不应发送"));
    PortfolioDetailBasicInfo p = newPortfolio(QStringLiteral("新组合甲"));
    QCOMPARE(fx.presenter()->AddPortfolio(p), QStringLiteral("0"));
    QVERIFY(!p.PortfolioNo().isEmpty() && !p.StrategyID().isEmpty());
    QVERIFY(backendHas(QStringLiteral("新组合甲")));
    fx.backend.faults().clear();
    PortfolioDetailBasicInfo q = newPortfolio(QStringLiteral("新组合乙"), QStringLiteral("动量"));
    QCOMPARE(fx.presenter()->AddPortfolio(q), QStringLiteral("0"));
    QVERIFY(store->GetStrategyInfoByName(QStringLiteral("动量")));
    QCOMPARE(q.StrategyID(), store->GetStrategyInfoByName(QStringLiteral("动量"))->StrategyNo());

    // The back end's own refusal comes through as its text.
    PortfolioDetailBasicInfo taken = newPortfolio(QStringLiteral("沪深300前20"));
    QCOMPARE(fx.presenter()->AddPortfolio(taken), QStringLiteral("创建组合信息失败1，错误原因：组合名称已存在：沪深300前20"));

    // Time-outs: of the header; of the lines, whose answer comes too late, so that the
    // header just created is deleted again. The header must be answered in time even on a
    // busy machine.
    TestBackend::setTimeoutMs(1000);
    fx.backend.faults().dropNext(MsgType::alterPortfolioRequest);
    PortfolioDetailBasicInfo lost = newPortfolio(QStringLiteral("失败三"));
    QCOMPARE(fx.presenter()->AddPortfolio(lost), QStringLiteral("创建组合信息失败1，错误原因：请求超时"));
    fx.backend.faults().delayNext(MsgType::alterPortfolioDetailRequest, 2500);
    PortfolioDetailBasicInfo late = newPortfolio(QStringLiteral("半途组合"));
    QCOMPARE(fx.presenter()->AddPortfolio(late), QStringLiteral("创建组合明细失败2，错误原因：请求超时"));
    TestBackend::setTimeoutMs(5000);
    QTest::qWait(1600);  // let the late lines land, then look
    QVERIFY(!backendHas(QStringLiteral("半途组合")));

    // A refused line (duplicate in the request) also leaves nothing.
    PortfolioDetailBasicInfo dup = newPortfolio(QStringLiteral("重复明细"));
    dup.setSymbolList(dup.SymbolList() << dup.SymbolList().first());
    QVERIFY(fx.presenter()->AddPortfolio(dup).startsWith(QStringLiteral("创建组合明细失败2，错误原因：")));
    QVERIFY(!backendHas(QStringLiteral("重复明细")));

    // Changes of a seeded portfolio. An extension JSON cannot carry is refused before
    // anything is sent: a planned failure that a sent request would consume stays for the
    // next one.
    PortfolioDetailBasicInfo seeded = *store->GetPortfolioDetails().first();
    fx.backend.faults().failNext(MsgType::alterPortfolioRequest, QStringLiteral("已发送"));
    for (const QVariant &bad : {QVariant(QPoint(1, 2)), QVariant(std::nan(""))}) {
        seeded.setExtensionDescription({{Portfolio::portType, QStringLiteral("normal")}, {QStringLiteral("x"), bad}});
        QCOMPARE(fx.presenter()->AlterPortfolio(seeded, false), QStringLiteral("扩展参数错误，无法转换成指定格式。"));
    }
    seeded.setExtensionDescription({{Portfolio::portType, QStringLiteral("normal")}});
    QCOMPARE(fx.presenter()->AlterPortfolio(seeded, false), QStringLiteral("已发送"));
    QCOMPARE(fx.presenter()->AlterPortfolio(seeded, false), QStringLiteral("0"));

    PortfolioDetailBasicInfo unknown = seeded;
    unknown.setSymbolList(seeded.SymbolList() << line(QStringLiteral("999999.SH"), 100));
    QCOMPARE(fx.presenter()->AlterPortfolioDetail(unknown, false),
             QStringLiteral("组合详情插入错误，组合号%1，代码999999.SH找不到市场").arg(seeded.PortfolioNo()));

    PortfolioDetailBasicInfo ghost;
    ghost.setPortfolioNo(QStringLiteral("777777"));
    QCOMPARE(fx.presenter()->DelPortfolio(ghost), QStringLiteral("删除组合失败。错误代码：组合不存在：777777"));
    TestBackend::setTimeoutMs(200);
    fx.backend.faults().dropNext(MsgType::deletePortfolioRequest);
    QCOMPARE(fx.presenter()->DelPortfolioList({QStringLiteral("100001")}), QStringLiteral("删除组合列表发送失败。错误代码：1"));
    fx.backend.faults().dropNext(MsgType::deletePortfolioDetailRequest);
    QCOMPARE(fx.presenter()->ClearPortfolioDetail(seeded), QStringLiteral("清除组合明细信息发送失败。错误代码：1"));
    TestBackend::setTimeoutMs(5000);
    QCOMPARE(fx.presenter()->DelPortfolio(seeded), QStringLiteral("0"));
    QVERIFY(!backendHas(seeded.Name()));
}

void tst_Page::marketValueSwitch()
{
    const auto restore = qScopeGuard([] {
        CDataBase::GetInstance()->load(QStringLiteral(TZ_SOURCE_DATA_DIR) + QStringLiteral("/config/static.ini"));
    });
    for (const QString &value : {QString(), QStringLiteral("0"), QStringLiteral("2"), QStringLiteral("abc"), QStringLiteral("1")}) {
        const bool on = value == QLatin1String("1");
        QTemporaryFile ini;
        QVERIFY(ini.open());
        if (!value.isNull())
            ini.write(QStringLiteral("[PortfolioSysCfg]\nListMarketValueCalcOnoff=%1\n").arg(value).toUtf8());
        ini.close();
        CDataBase::GetInstance()->load(ini.fileName());
        PageFixture fx;
        QVERIFY(fx.ready());
        QCOMPARE(fx.list()->marketValueSwitch(), on);
        quoteAll(0.02);
        fx.list()->slotUpdateQuoeData();
        for (int column : {1, 2, 4, 5, 6})
            QVERIFY2(fx.cell(0, column).isEmpty() != on, qPrintable(value + QLatin1Char(' ') + QString::number(column)));
    }
}

void tst_Page::rowsShowTheStoreAndTheQuotes()
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

    // Their figures: the change rate as a percentage, values with separators, or in
    // 万/亿 as the trader chooses.
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

void tst_Page::clicksWithoutAPortfolioSendNothing()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    ClickListener listener;
    QTest::qWait(100);  // the auto-selection's event has gone by
    listener.portfolioNos.clear();
    // A row without a number.
    RowRecord blank;
    blank[0][RecordRole::display] = QStringLiteral("无编号");
    fx.table()->addRecordData(blank);
    fx.list()->slotTableClicked(fx.table()->recordModel()->index(fx.rows() - 1, 0));
    QCOMPARE(fx.list()->currentPortfolioNo(), QString());
    // The auto-selection over an empty store.
    PortfolioListBasicInfo::GetInstance()->clear();
    fx.list()->slotCoreDataInitialized(true);
    QCOMPARE(fx.rows(), 0);
    QTest::qWait(120);
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
    QCOMPARE(width.count(), 2);  // the host's page area follows the width
}

QTEST_MAIN(tst_Page)
#include "tst_page.moc"
