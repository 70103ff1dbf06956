// The portfolio detail page next to the list page on the embedded back end: loaded as a
// plugin, following the list's clicks, another desk's changes and deletions, live line
// figures from the feed, what it says when it has no lines, sort, filter and export.

#include "pagefixture.h"

#include "backendservice.h"
#include "exchange.h"
#include "pluginmanager.h"
#include "portfoliodetailmodel.h"
#include "portfoliodetailpresenterclass.h"
#include "portfoliodetailwidget.h"
#include "securitycatalog.h"
#include "tablefilereader.h"
#include "veltrabuttons.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

namespace {

using Model = PortfolioDetailModel;

const QString kUser = QStringLiteral("demo");
constexpr quint64 kOtherDesk = 515151;
const qint64 kOpen = QDateTime(QDate(2026, 11, 23), QTime(9, 30), Qt::UTC).toMSecsSinceEpoch();

// Another page following the market records of every subscription of this client.
class RecordTap : public TzPresenterClass
{
public:
    RecordTap() { Sub(MsgType::MDMARKETRECORD); }
    QHash<QString, QVariantMap> latest;
    bool hasAll(const QList<PortfolioItem> &items) const
    {
        for (const PortfolioItem &item : items) {
            if (!latest.contains(item.Symbol()))
                return false;
        }
        return true;
    }

protected:
    void ProcMarketRecords(const QList<QVariantMap> &records) override
    {
        for (const QVariantMap &r : records)
            latest.insert(r.value(Security::symbol).toString(), r);
    }
};

PortfolioItem line(const QString &symbol, qint64 qty, double relWeight = 0.0)
{
    PortfolioItem item;
    item.setSymbol(symbol);
    const QStringList markets = CBusinessDataBase::GetInstance()->GetSecurityExchangeBySymbol(symbol);
    item.setSymbolExchange(markets.isEmpty() ? Exchange::sh : markets.first());
    item.setSymbolName(CBusinessDataBase::GetInstance()->GetSecurityChineseName(symbol));
    item.setQuantity(qty);
    item.setRelWeight(relWeight);
    item.setSide(OrderSide::buy);
    return item;
}

// Traded A shares of the catalogue, suspended ones apart.
QList<const SecurityInfo *> shares(bool suspended)
{
    QList<const SecurityInfo *> out;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (s.listing != Exchange::hk && s.type != SecurityType::etf && s.type != SecurityType::convertible
            && !s.delisted && s.suspended == suspended && s.markets.size() == 1)
            out << &s;
    }
    return out;
}

// Stores a portfolio as the list would after the back end accepted it.
QString storePortfolio(const QString &no, const QString &name, const QList<PortfolioItem> &items)
{
    PortfolioDetailBasicInfo p;
    p.setPortfolioNo(no);
    p.setName(name);
    p.setStrategyName(QStringLiteral("默认"));
    p.setDefaultNum(1);
    p.setSymbolList(items);
    p.CalculateWeight();
    return PortfolioListBasicInfo::GetInstance()->AddPortfolioDetail(p) == 0 ? no : QString();
}

QString numberOf(const QString &name)
{
    for (PortfolioDetailBasicInfo *p : PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails()) {
        if (p->Name() == name)
            return p->PortfolioNo();
    }
    return QString();
}

// What the feed's record says of a line, by the exchange's rules.
QString expectedState(const QVariantMap &r)
{
    const double last = r.value(Security::lastPx).toDouble();
    const double upper = r.value(Security::upperLimitPx).toDouble();
    const double lower = r.value(Security::lowerLimitPx).toDouble();
    if (r.value(Security::suspended).toBool())
        return QStringLiteral("停牌");
    if (upper > 0 && std::abs(last - upper) < 1e-6)
        return QStringLiteral("涨停");
    if (lower > 0 && std::abs(last - lower) < 1e-6)
        return QStringLiteral("跌停");
    return QString();
}

QString amount(double value)
{
    return VeltraUtils::TransQtyShowType(QString::number(value, 'f', 2), VeltraUtils::GetCurrentShowType());
}

double number(const QString &text)
{
    QString t = text;
    t.remove(QLatin1Char(',')).remove(QLatin1Char('%'));
    return t.toDouble();
}

struct DetailFixture : PageFixture
{
    explicit DetailFixture(int quoteIntervalMs = 3000, bool manualFeedClock = false)
        : PageFixture(quoteIntervalMs, manualFeedClock)
    {
        QTest::qWait(100);  // the list's auto-selection has gone by before the detail page opens
        detail = std::make_unique<PortfolioDetailWidget>();
        detail->setPluginInstanceID(QStringLiteral("TZApp.PortfolioDetail#1"));
        detail->resize(1100, 500);
        detail->initPluginWidget();
    }
    ~DetailFixture()
    {
        detail.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    Model *model() const { return detail->model(); }
    PortfolioDetailPresenterClass *detailPresenter() const { return detail->presenter(); }
    QString text(int row, int column) const { return model()->index(row, column).data().toString(); }
    QStringList column(int column) const
    {
        QStringList out;
        for (int r = 0; r < model()->rowCount(); ++r)
            out << text(r, column);
        return out;
    }
    QStringList cells(int row, std::initializer_list<int> columns) const
    {
        QStringList out;
        for (int c : columns)
            out << text(row, c);
        return out;
    }
    QList<double> numbers(int column) const
    {
        QList<double> out;
        for (const QString &t : this->column(column))
            out << number(t);
        return out;
    }
    QLineEdit *filter() const { return detail->findChild<QLineEdit *>(QStringLiteral("DetailFilter")); }
    VeltraPushButton *exportButton() const { return detail->findChild<VeltraPushButton *>(QStringLiteral("DetailExport")); }
    // The line shown in a row.
    PortfolioItem itemAt(int row) const
    {
        return detail->shownPortfolio().SymbolList().value(model()->lineOfRow(row));
    }
    // The trader clicks the portfolio's row in the list.
    void click(const QString &no) const
    {
        list()->slotTableClicked(table()->recordModel()->index(table()->getRowByKey(no), 0));
    }
    // The list's click event, straight to the detail page.
    void clickEvent(const QString &no) const
    {
        detailPresenter()->deliverEvent(presenter()->pluginPid(), PORTFOLIO_CLICKED,
                                        packed({{RequestField::portfolioNo, no},
                                                {PLUGIN_ID, QStringLiteral("TZApp.PortfoliosList")}}));
    }
    // Shows a portfolio and waits for every line's first quote.
    void showQuoted(const QString &no, int lines) const
    {
        clickEvent(no);
        advanceFeed(kOpen);
        QTRY_COMPARE(model()->quotedLineCount(), lines);
    }
    // Moves the feed's clock; its records are on their way afterwards.
    void advanceFeed(qint64 time) const
    {
        detailPresenter()->flushSubscriptions();
        MarketFeed *feed = backend.service()->marketFeed();
        QMetaObject::invokeMethod(feed, [feed, time] { feed->advanceTo(time); }, Qt::BlockingQueuedConnection);
    }

    std::unique_ptr<PortfolioDetailWidget> detail;
};

} // namespace

class tst_PortfolioDetail : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestBackend::setTimeoutMs(5000); }
    void cleanup() { VeltraUtils::setSaveFileNameHook(nullptr); }

    void pluginLoadsFromThePluginsFolder();
    void listClickShowsThePortfolioOncePerBurst();  // or asks the back end for it
    void anotherDesksChangeAndDeletion();
    void lineFiguresFollowTheFeed();
    void suspendedUnknownAndWeightOnlyLinesSaySo();
    void largePortfolioAndItsQuotesComeAndGo();
    void sortAndFilter();
    void exportWritesWhatIsShownOrSaysWhyNot();
};

void tst_PortfolioDetail::pluginLoadsFromThePluginsFolder()
{
    PluginManager manager;
    QVERIFY(manager.loadPlugins(QStringLiteral(TZ_PLUGIN_DIR)) >= 2);
    const PageDescriptor *page = manager.pageById(QStringLiteral("TZApp.PortfolioDetail"));
    QVERIFY(page);
    QCOMPARE(page->className, QStringLiteral("PortfolioDetailWidget"));
    QCOMPARE(page->dllName, QStringLiteral("libPortfolioDetail"));
    QVERIFY(manager.pageById(QStringLiteral("TZApp.PortfoliosList")));

    auto *widget = qobject_cast<TzPluginBaseWidget *>(manager.createPage(page->metaId));
    QVERIFY(widget);
    QCOMPARE(widget->pluginWidgetTitle(), QStringLiteral("组合明细"));
    // Opened with no list loaded and no back end, it says what it waits for.
    PortfolioListBasicInfo::GetInstance()->clear();
    widget->initPluginWidget();
    QVERIFY(widget->findChild<QLabel *>(QStringLiteral("DetailMessage"))->text().contains(QStringLiteral("组合列表尚未加载")));
    QPointer<QWidget> guard(widget);
    manager.destroyPage(page->metaId, widget);
    QVERIFY(guard.isNull());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    QProcess tzapp;
    tzapp.start(QStringLiteral(TZAPP_BINARY), {QStringLiteral("--list-plugins")});
    QVERIFY(tzapp.waitForFinished(30000));
    const QStringList lines = QString::fromUtf8(tzapp.readAllStandardOutput()).split(QLatin1Char('\n'));
    QVERIFY(lines.contains(QStringLiteral("PortfolioDetail 2.0.0 Page TZApp.PortfolioDetail")));
}

void tst_PortfolioDetail::listClickShowsThePortfolioOncePerBurst()
{
    DetailFixture fx;
    QVERIFY(fx.ready());
    QCOMPARE(fx.detail->state(), PortfolioDetailWidget::State::NoneChosen);
    QCOMPARE(fx.detail->messageText(), QStringLiteral("请在组合列表中选择组合"));

    QSignalSpy clicks(fx.detailPresenter(), &PortfolioDetailPresenterClass::portfolioClicked);
    const QString csi = numberOf(QStringLiteral("沪深300前20"));
    const QString banks = numberOf(QStringLiteral("银行股组合"));
    fx.click(banks);
    fx.click(numberOf(QStringLiteral("港股通精选")));
    fx.click(csi);
    QTRY_COMPARE(fx.detail->state(), PortfolioDetailWidget::State::Showing);
    QTest::qWait(150);
    QCOMPARE(clicks.count(), 1);
    QCOMPARE(fx.detail->followedPortfolioNo(), csi);

    const PortfolioDetailBasicInfo *stored = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(csi);
    const QList<PortfolioItem> items = stored->SymbolList();
    QCOMPARE(items.size(), 20);
    QCOMPARE(fx.model()->rowCount(), 20);
    QVERIFY(fx.detail->headerText().startsWith(QStringLiteral("沪深300前20 编号 %1  共20行").arg(csi)));
    for (int r = 0; r < items.size(); ++r) {
        QCOMPARE(fx.text(r, Model::ColSymbol), items.at(r).Symbol().section(QLatin1Char('.'), 0, 0));
        QCOMPARE(fx.text(r, Model::ColName), items.at(r).SymbolName());
        QCOMPARE(number(fx.text(r, Model::ColQuantity)), double(items.at(r).Quantity()));
    }
    QCOMPARE(fx.text(0, Model::ColMarket), QStringLiteral("上交所"));
    QVERIFY(fx.detail->noticeText().isEmpty());
    // The page subscribed the lines it shows, each symbol once.
    QCOMPARE(fx.detailPresenter()->watchedSymbols().size(), 20);

    // A click far apart is a new event and another portfolio.
    fx.click(banks);
    QTRY_COMPARE(fx.detail->followedPortfolioNo(), banks);
    QCOMPARE(clicks.count(), 2);
    QCOMPARE(fx.model()->rowCount(), 10);
    QCOMPARE(fx.detailPresenter()->watchedSymbols().size(), 10);

    // The detail page opened before the list loaded: the store is empty. The page says
    // so, reads the portfolio itself and shows it.
    PortfolioListBasicInfo::GetInstance()->clear();
    fx.clickEvent(csi);
    QCOMPARE(fx.detail->state(), PortfolioDetailWidget::State::Loading);
    QCOMPARE(fx.detail->messageText(), QStringLiteral("组合列表尚未加载，正在从后台读取组合%1…").arg(csi));
    QTRY_COMPARE(fx.detail->state(), PortfolioDetailWidget::State::Showing);
    QCOMPARE(fx.model()->rowCount(), 20);
    QCOMPARE(fx.detail->shownPortfolio().Name(), QStringLiteral("沪深300前20"));

    // A click on a portfolio deleted meanwhile (here where no notice reached this client).
    QVERIFY(TestBackend::request(MsgType::deletePortfolioRequest,
                                 {{RequestField::userID, kUser}, {RequestField::subGroupNumber, 1}},
                                 {{{RequestField::portfolioNo, banks}}}).ok);
    fx.clickEvent(banks);
    QTRY_COMPARE(fx.detail->state(), PortfolioDetailWidget::State::Deleted);
    QCOMPARE(fx.detail->messageText(), QStringLiteral("组合%1已删除").arg(banks));
    QCOMPARE(fx.model()->rowCount(), 0);
    QVERIFY(fx.detailPresenter()->watchedSymbols().isEmpty());
    QVERIFY(fx.detail->headerText().isEmpty());

    // A back end that does not answer: the page says so and a later click tries again.
    TestBackend::setTimeoutMs(200);
    fx.backend.faults().dropNext(MsgType::queryPortfolioRequest);
    fx.clickEvent(csi);
    QTRY_COMPARE(fx.detail->state(), PortfolioDetailWidget::State::Failed);
    QVERIFY(fx.detail->messageText().startsWith(QStringLiteral("组合%1读取失败：请求超时").arg(csi)));
    fx.clickEvent(csi);
    QTRY_COMPARE(fx.detail->state(), PortfolioDetailWidget::State::Showing);
    QVERIFY(fx.boxes.shown.isEmpty());
}

void tst_PortfolioDetail::anotherDesksChangeAndDeletion()
{
    DetailFixture fx;
    QVERIFY(fx.ready());
    const QString csi = numberOf(QStringLiteral("沪深300前20"));
    const QString banks = numberOf(QStringLiteral("银行股组合"));
    fx.click(csi);
    QTRY_COMPARE(fx.model()->rowCount(), 20);
    QSignalSpy fetched(fx.detailPresenter(), &PortfolioDetailPresenterClass::portfolioFetched);

    // Another desk renames it, empties it and puts one line in: the page follows each
    // notice and ends with what the back end holds.
    const auto otherDesk = [&](const QString &type, const QVariantMap &header, const QList<QVariantMap> &rows = {}) {
        fx.backend.sendAsOtherDesk(kOtherDesk, type, header, rows);
    };
    // Its lines, cleared and then sent anew.
    const auto newLines = [&](const QString &no, const QList<QVariantMap> &rows) {
        otherDesk(MsgType::deletePortfolioDetailRequest, {{RequestField::portfolioNo, no}});
        otherDesk(MsgType::alterPortfolioDetailRequest, {{RequestField::alterType, QStringLiteral("c")},
                  {RequestField::portfolioNo, no}, {RequestField::subGroupNumber, rows.size()}}, rows);
    };
    otherDesk(MsgType::loginRequest, {{RequestField::userID, kUser}});
    otherDesk(MsgType::alterPortfolioRequest,
              {{RequestField::alterType, QStringLiteral("u")}, {RequestField::userID, kUser},
               {RequestField::portfolioNo, csi}, {RequestField::portfolioName, QStringLiteral("改过的明细")},
               {RequestField::portfolioExtensionDescription, QStringLiteral("{}")}});
    newLines(csi, {{{RequestField::securityID, QStringLiteral("600519")}, {RequestField::securityExchange, Exchange::sh},
                    {RequestField::side, OrderSide::sell}, {RequestField::tradeQty, 300}}});
    QTRY_COMPARE(fx.model()->rowCount(), 1);
    QTRY_VERIFY(!fx.detailPresenter()->fetchPending());
    QCOMPARE(fx.detail->state(), PortfolioDetailWidget::State::Showing);
    QCOMPARE(fx.detail->shownPortfolio().Name(), QStringLiteral("改过的明细"));
    QCOMPARE(fx.text(0, Model::ColSymbol), QStringLiteral("600519"));
    QCOMPARE(fx.text(0, Model::ColSide), OrderSide::sell);
    QCOMPARE(fx.text(0, Model::ColQuantity), QStringLiteral("300"));
    QVERIFY(fx.detail->headerText().startsWith(QStringLiteral("改过的明细 编号 %1  共1行").arg(csi)));
    QCOMPARE(fx.detailPresenter()->watchedSymbols(), QStringList{QStringLiteral("600519.SH")});
    QVERIFY(fetched.count() >= 1);

    // A change to another portfolio leaves this one alone.
    fetched.clear();
    newLines(banks, {});
    QTRY_VERIFY(PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(banks)->SymbolList().isEmpty());
    QCOMPARE(fetched.count(), 0);
    QCOMPARE(fx.model()->rowCount(), 1);

    // Deleted at the other desk: the page lets the lines go and says so.
    otherDesk(MsgType::deletePortfolioRequest, {{RequestField::userID, kUser}, {RequestField::subGroupNumber, 1}},
              {{{RequestField::portfolioNo, csi}}});
    QTRY_COMPARE(fx.detail->state(), PortfolioDetailWidget::State::Deleted);
    QCOMPARE(fx.detail->messageText(), QStringLiteral("组合“改过的明细”（%1）已删除").arg(csi));
    QCOMPARE(fx.model()->rowCount(), 0);
    QVERIFY(fx.detailPresenter()->watchedSymbols().isEmpty());
    QVERIFY(!fx.exportButton()->isEnabled());
    QVERIFY(fx.boxes.shown.isEmpty());
}

void tst_PortfolioDetail::lineFiguresFollowTheFeed()
{
    DetailFixture fx(3000, true);
    QVERIFY(fx.ready());
    RecordTap tap;
    const QString csi = numberOf(QStringLiteral("沪深300前20"));
    fx.clickEvent(csi);
    QCOMPARE(fx.model()->rowCount(), 20);
    QCOMPARE(fx.detail->headerText(), QStringLiteral("沪深300前20 编号 %1  共20行 市值 -- 涨跌幅 --"
                                                     " 涨停 0  跌停 0  停牌 0").arg(csi));
    QCOMPARE(fx.cells(0, {Model::ColLastPx, Model::ColState}), QStringList({QStringLiteral("--"), QStringLiteral("无行情")}));

    const auto checkAgainstFeed = [&] {
        double value = 0;
        for (int r = 0; r < 20; ++r) {
            const PortfolioItem item = fx.itemAt(r);
            const QVariantMap rec = tap.latest.value(item.Symbol());
            const double last = rec.value(Security::lastPx).toDouble();
            const double pre = rec.value(Security::preClosePx).toDouble();
            QCOMPARE(fx.text(r, Model::ColLastPx), QString::number(last, 'f', 2));
            QCOMPARE(fx.text(r, Model::ColChangeRate), QString::number((last / pre - 1) * 100, 'f', 2) + QLatin1Char('%'));
            QCOMPARE(fx.text(r, Model::ColState), expectedState(rec));
            QCOMPARE(fx.text(r, Model::ColMarketValue), amount(item.Quantity() * last));
            value += item.Quantity() * last;
        }
        QVERIFY(fx.detail->headerText().contains(QStringLiteral("市值 ") + amount(value)));
    };

    fx.advanceFeed(kOpen);
    QTRY_VERIFY(tap.hasAll(fx.detail->shownPortfolio().SymbolList()));
    // Not painted one record at a time: the refresh takes them together.
    QTRY_COMPARE(fx.model()->quotedLineCount(), 20);
    checkAgainstFeed();

    // One interval later every traded line has a new record. Only the figure cells of
    // rows whose figures moved are announced.
    const QHash<QString, QVariantMap> before = tap.latest;
    QSignalSpy changes(fx.model(), &QAbstractItemModel::dataChanged);
    QSignalSpy resets(fx.model(), &QAbstractItemModel::modelReset);
    fx.advanceFeed(kOpen + 3000);
    QTRY_VERIFY(tap.latest != before);
    QTRY_VERIFY(!changes.isEmpty());
    QTest::qWait(PortfolioDetailWidget::RefreshMs + 100);
    checkAgainstFeed();
    QSet<int> announced;
    for (const QList<QVariant> &args : changes) {
        const QModelIndex tl = args.at(0).toModelIndex(), br = args.at(1).toModelIndex();
        QCOMPARE(tl.column(), int(Model::ColLastPx));
        QCOMPARE(br.column(), int(Model::ColMarketValue));
        for (int r = tl.row(); r <= br.row(); ++r)
            announced.insert(r);
    }
    QSet<int> moved;
    for (int r = 0; r < 20; ++r) {
        const QString symbol = fx.itemAt(r).Symbol();
        if (before.value(symbol).value(Security::lastPx) != tap.latest.value(symbol).value(Security::lastPx))
            moved.insert(r);
    }
    QCOMPARE(announced, moved);
    QCOMPARE(resets.count(), 0);

    // Records at the limits and a record that cannot be a price.
    const QString up = fx.itemAt(0).Symbol(), down = fx.itemAt(1).Symbol();
    fx.detailPresenter()->deliverMarketRecords(
        {{{Security::symbol, up}, {Security::lastPx, 11.0}, {Security::preClosePx, 10.0},
          {Security::upperLimitPx, 11.0}, {Security::lowerLimitPx, 9.0}},
         {{Security::symbol, down}, {Security::lastPx, 9.0}, {Security::preClosePx, 10.0},
          {Security::upperLimitPx, 11.0}, {Security::lowerLimitPx, 9.0}},
         {{Security::symbol, fx.itemAt(2).Symbol()}, {Security::lastPx, -1.0}, {Security::preClosePx, 10.0}}});
    const QString thirdPrice = fx.text(2, Model::ColLastPx);
    fx.detail->refreshNow();
    QCOMPARE(fx.cells(0, {Model::ColState, Model::ColChangeRate}),
             QStringList({QStringLiteral("涨停"), QStringLiteral("10.00%")}));
    QCOMPARE(fx.cells(1, {Model::ColState, Model::ColChangeRate}),
             QStringList({QStringLiteral("跌停"), QStringLiteral("-10.00%")}));
    QCOMPARE(fx.text(2, Model::ColLastPx), thirdPrice);
    QVERIFY(fx.detail->headerText().contains(QStringLiteral("涨停 1  跌停 1")));
}

void tst_PortfolioDetail::suspendedUnknownAndWeightOnlyLinesSaySo()
{
    DetailFixture fx(3000, true);
    QVERIFY(fx.ready());
    RecordTap tap;
    const QString suspended = shares(true).first()->symbol;
    const QString traded = shares(false).at(7)->symbol;
    PortfolioItem unknown = line(QStringLiteral("999999.SH"), 100);
    const QString no = storePortfolio(QStringLiteral("T900001"), QStringLiteral("杂项组合"),
                                      {line(suspended, 200), unknown, line(traded, 0, 0.5),
                                       line(QStringLiteral("00700.HK"), 100)});
    QVERIFY(!no.isEmpty());
    fx.clickEvent(no);
    QCOMPARE(fx.model()->rowCount(), 4);
    QCOMPARE(fx.text(2, Model::ColQuantity), QStringLiteral("--"));

    fx.advanceFeed(kOpen);
    QTRY_VERIFY(tap.latest.contains(suspended) && tap.latest.contains(traded));
    QTRY_COMPARE(fx.model()->quotedLineCount(), 3);
    QCOMPARE(fx.cells(0, {Model::ColState, Model::ColLastPx, Model::ColChangeRate}),
             QStringList({QStringLiteral("停牌"),
                          QString::number(tap.latest.value(suspended).value(Security::preClosePx).toDouble(), 'f', 2),
                          QStringLiteral("0.00%")}));
    QCOMPARE(fx.cells(1, {Model::ColState, Model::ColLastPx, Model::ColMarketValue}),
             QStringList({QStringLiteral("未知证券"), QStringLiteral("--"), QStringLiteral("--")}));
    QCOMPARE(fx.text(2, Model::ColMarketValue), QStringLiteral("仅权重"));
    QVERIFY(!fx.text(2, Model::ColLastPx).isEmpty() && fx.text(2, Model::ColLastPx) != QStringLiteral("--"));
    // No daily limits in Hong Kong.
    QCOMPARE(fx.cells(3, {Model::ColMarket, Model::ColState}), QStringList({QStringLiteral("沪港通"), QString()}));
    QVERIFY(fx.detail->headerText().contains(QStringLiteral("停牌 1")));
    // The market value counts the lines that have a quantity and a price.
    const double value = 200 * tap.latest.value(suspended).value(Security::lastPx).toDouble()
                         + 100 * tap.latest.value(QStringLiteral("00700.HK")).value(Security::lastPx).toDouble();
    QVERIFY(fx.detail->headerText().contains(QStringLiteral("市值 ") + amount(value)));

    // A portfolio of weights alone has no market value to show; one without lines says so.
    QVERIFY(!storePortfolio(QStringLiteral("T900002"), QStringLiteral("权重组合"), {line(traded, 0, 1.0)}).isEmpty());
    fx.clickEvent(QStringLiteral("T900002"));
    QTRY_VERIFY(fx.detail->headerText().contains(QStringLiteral("市值 --（仅权重）")));
    QVERIFY(!storePortfolio(QStringLiteral("T900003"), QStringLiteral("空组合"), {}).isEmpty());
    fx.clickEvent(QStringLiteral("T900003"));
    QCOMPARE(fx.detail->state(), PortfolioDetailWidget::State::Showing);
    QCOMPARE(fx.detail->messageText(), QStringLiteral("组合“空组合”没有证券"));
}

void tst_PortfolioDetail::largePortfolioAndItsQuotesComeAndGo()
{
    DetailFixture fx(3000, true);
    QVERIFY(fx.ready());
    RecordTap tap;
    QList<PortfolioItem> items;
    const QList<const SecurityInfo *> pool = shares(false);
    QVERIFY(pool.size() >= 5000);
    for (int i = 0; i < 5000; ++i)
        items << line(pool.at(i)->symbol, 100 * (1 + i % 9));
    QVERIFY(!storePortfolio(QStringLiteral("T950000"), QStringLiteral("五千行组合"), items).isEmpty());

    fx.clickEvent(QStringLiteral("T950000"));
    QCOMPARE(fx.model()->rowCount(), 5000);
    QCOMPARE(fx.detailPresenter()->watchedSymbols().size(), 5000);
    fx.detail->show();
    QVERIFY(QTest::qWaitForWindowExposed(fx.detail.get()));
    fx.advanceFeed(kOpen);
    QTRY_COMPARE_WITH_TIMEOUT(fx.model()->quotedLineCount(), 5000, 10000);
    fx.filter()->setText(QStringLiteral("6000"));
    QVERIFY(fx.model()->rowCount() > 0 && fx.model()->rowCount() < 5000);
    for (const QString &code : fx.column(Model::ColSymbol))
        QVERIFY(code.contains(QStringLiteral("6000")));

    // Another portfolio: the 5,000 subscriptions are released. The list still holds
    // the symbols of the demo portfolios; nothing else comes any more.
    QSet<QString> held;
    for (PortfolioDetailBasicInfo *p : PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails()) {
        if (!p->PortfolioNo().startsWith(QLatin1Char('T'))) {
            for (const PortfolioItem &item : p->SymbolList())
                held.insert(item.Symbol());
        }
    }
    fx.clickEvent(numberOf(QStringLiteral("银行股组合")));
    QCOMPARE(fx.detailPresenter()->watchedSymbols().size(), 10);
    fx.advanceFeed(kOpen + 3000);
    QTest::qWait(200);
    tap.latest.clear();
    fx.advanceFeed(kOpen + 6000);
    QTRY_VERIFY(!tap.latest.isEmpty());
    QTest::qWait(200);
    for (const QString &symbol : tap.latest.keys())
        QVERIFY2(held.contains(symbol), qPrintable(symbol));
}

void tst_PortfolioDetail::sortAndFilter()
{
    DetailFixture fx(3000, true);
    QVERIFY(fx.ready());
    fx.showQuoted(numberOf(QStringLiteral("沪深300前20")), 20);
    QTableView *view = fx.detail->table();
    const auto sortedBy = [&](int column, Qt::SortOrder order) {
        view->sortByColumn(column, order);
        QList<double> values = fx.numbers(column);
        if (order == Qt::DescendingOrder)
            std::reverse(values.begin(), values.end());
        return std::is_sorted(values.cbegin(), values.cend());
    };
    // Numbers sort as numbers ("1,000" after "200"), both ways.
    QVERIFY(sortedBy(Model::ColQuantity, Qt::DescendingOrder));
    QVERIFY(sortedBy(Model::ColLastPx, Qt::AscendingOrder));
    QVERIFY(sortedBy(Model::ColMarketValue, Qt::DescendingOrder));
    QVERIFY(sortedBy(Model::ColChangeRate, Qt::AscendingOrder));
    QStringList codes = fx.column(Model::ColSymbol);
    view->sortByColumn(Model::ColSymbol, Qt::AscendingOrder);
    codes.sort();
    QCOMPARE(fx.column(Model::ColSymbol), codes);

    // Sorted by a live figure, the rows follow the quotes and the selection its line.
    QVERIFY(sortedBy(Model::ColChangeRate, Qt::DescendingOrder));
    view->selectRow(5);
    const QString selected = fx.text(5, Model::ColSymbol);
    fx.advanceFeed(kOpen + 3000);
    fx.advanceFeed(kOpen + 6000);
    QTest::qWait(PortfolioDetailWidget::RefreshMs + 200);
    const QList<double> rates = fx.numbers(Model::ColChangeRate);
    QVERIFY(std::is_sorted(rates.crbegin(), rates.crend()));
    const QModelIndexList rows = view->selectionModel()->selectedRows();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(fx.text(rows.first().row(), Model::ColSymbol), selected);

    // The filter looks at codes and names; the sort stays.
    int banks = 0;
    for (const PortfolioItem &item : fx.detail->shownPortfolio().SymbolList())
        banks += item.SymbolName().contains(QStringLiteral("银行")) ? 1 : 0;
    QVERIFY(banks > 0);
    fx.filter()->setText(QStringLiteral("银行"));
    QCOMPARE(fx.model()->rowCount(), banks);
    for (const QString &name : fx.column(Model::ColName))
        QVERIFY(name.contains(QStringLiteral("银行")));
    QCOMPARE(fx.detail->noticeText(), QStringLiteral("显示%1/20行（筛选“银行”）").arg(banks));
    fx.filter()->setText(QStringLiteral(" 600 "));
    QVERIFY(fx.model()->rowCount() > 0);
    for (const QString &code : fx.column(Model::ColSymbol))
        QVERIFY(code.contains(QStringLiteral("600")));
    const QList<double> filtered = fx.numbers(Model::ColChangeRate);
    QVERIFY(std::is_sorted(filtered.crbegin(), filtered.crend()));
    fx.filter()->setText(QStringLiteral("没有这只"));
    QCOMPARE(fx.model()->rowCount(), 0);
    QCOMPARE(fx.detail->noticeText(), QStringLiteral("没有代码或名称含“没有这只”的证券（共20行）"));
    QVERIFY(!fx.exportButton()->isEnabled());
    // The filter stays when the trader clicks another portfolio.
    fx.clickEvent(numberOf(QStringLiteral("银行股组合")));
    QCOMPARE(fx.model()->rowCount(), 0);
    fx.filter()->clear();
    QCOMPARE(fx.model()->rowCount(), 10);
}

void tst_PortfolioDetail::exportWritesWhatIsShownOrSaysWhyNot()
{
    DetailFixture fx(3000, true);
    QVERIFY(fx.ready());
    RecordTap tap;
    PanelRecorder panel;
    // Nothing shown yet: nothing to export.
    QVERIFY(!fx.detail->exportRows(QStringLiteral("/tmp/x.xlsx")));
    QCOMPARE(fx.boxes.last(), QStringLiteral("没有可导出的明细"));
    // A Shenzhen code with leading zeros must come back as written.
    fx.showQuoted(numberOf(QStringLiteral("沪深300前20")), 20);
    QTRY_VERIFY(tap.hasAll(fx.detail->shownPortfolio().SymbolList()));
    fx.detail->table()->sortByColumn(Model::ColMarketValue, Qt::DescendingOrder);
    fx.filter()->setText(QStringLiteral("0"));
    const int shown = fx.model()->rowCount();
    QVERIFY(shown > 1);

    QTemporaryDir dir;
    QString asked;
    VeltraUtils::setSaveFileNameHook([&](QWidget *, const QString &, const QString &suggested) {
        asked = suggested;
        return dir.filePath(QStringLiteral("明细"));  // no suffix: an .xlsx
    });
    fx.exportButton()->click();
    QVERIFY(asked.startsWith(QStringLiteral("组合明细_沪深300前20_")));
    QCOMPARE(panel.matching(QStringLiteral("导出组合明细")).size(), 1);
    QVERIFY(fx.detail->noticeText().contains(QStringLiteral("已导出%1行").arg(shown)));
    const QString csv = dir.filePath(QStringLiteral("明细.csv"));
    QVERIFY(fx.detail->exportRows(csv));

    QStringList titles;
    for (int c = 0; c < Model::ColumnCount; ++c)
        titles << Model::columnTitle(c);
    for (const QString &path : {dir.filePath(QStringLiteral("明细.xlsx")), csv}) {
        TableFileReader reader(path);
        QVERIFY2(reader.open(), qPrintable(path));
        TableRow row;
        QVERIFY(reader.readRow(row));
        QCOMPARE(row.cells.mid(0, Model::ColumnCount), titles);
        for (int r = 0; r < shown; ++r) {
            QVERIFY(reader.readRow(row));
            const QStringList &cells = row.cells;
            const PortfolioItem item = fx.itemAt(r);
            const QVariantMap rec = tap.latest.value(item.Symbol());
            const double last = rec.value(Security::lastPx).toDouble();
            const double pre = rec.value(Security::preClosePx).toDouble();
            QCOMPARE(cells.mid(0, 3), QStringList({item.Symbol().section(QLatin1Char('.'), 0, 0), item.SymbolName(),
                                                   fx.text(r, Model::ColMarket)}));
            QCOMPARE(cells.at(Model::ColQuantity).toLongLong(), item.Quantity());
            QVERIFY(std::abs(cells.at(Model::ColLastPx).toDouble() - last) < 1e-9);
            QVERIFY(std::abs(cells.at(Model::ColMarketValue).toDouble() - item.Quantity() * last) < 0.005);
            const QString rate = cells.at(Model::ColChangeRate);
            const double rateValue = rate.endsWith(QLatin1Char('%')) ? number(rate) / 100 : rate.toDouble();
            QVERIFY(std::abs(rateValue - (last / pre - 1)) < 0.00005);
            QCOMPARE(cells.at(Model::ColState), expectedState(rec));
        }
        QVERIFY(!reader.readRow(row));
    }
    QFile file(csv);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.read(3) == QByteArray("\xEF\xBB\xBF"));
    QCOMPARE(fx.boxes.shown.size(), 1);

    // The trader cancels the dialog: nothing happens.
    int cancelled = 0;
    VeltraUtils::setSaveFileNameHook([&](QWidget *, const QString &, const QString &) {
        ++cancelled;
        return QString();
    });
    QVERIFY(!fx.detail->exportRows());
    QCOMPARE(cancelled, 1);
    QCOMPARE(fx.boxes.shown.size(), 1);

    const QString missing = dir.filePath(QStringLiteral("不存在/明细.xlsx"));
    QVERIFY(!fx.detail->exportRows(missing));
    QVERIFY(fx.boxes.last().contains(QDir::toNativeSeparators(missing)) && fx.boxes.last().contains(QStringLiteral("不存在")));
    // A folder where the file should be, for both formats; the folder stays as it was.
    const int files = QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size();
    for (const QString &name : {QStringLiteral("占用.xlsx"), QStringLiteral("占用.csv")}) {
        QVERIFY(QDir(dir.path()).mkdir(name));
        QVERIFY(!fx.detail->exportRows(dir.filePath(name)));
        QVERIFY2(fx.boxes.last().startsWith(QStringLiteral("组合明细导出失败：无法")), qPrintable(fx.boxes.last()));
        QVERIFY(fx.boxes.last().contains(dir.filePath(name)) && QFileInfo(dir.filePath(name)).isDir());
    }
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), files);
}

QTEST_MAIN(tst_PortfolioDetail)
#include "tst_portfoliodetail.moc"
