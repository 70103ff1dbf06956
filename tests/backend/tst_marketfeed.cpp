// The back end's simulated level-1 feed, driven by a manual clock: who gets which records,
// reference-counted subscriptions, the price rules every record keeps, limit-up and
// limit-down days, the staggered schedule, replay, and delivery through the client's bus.

#include "serviceclient.h"
#include "testbackend.h"

#include "exchange.h"
#include "portfolioquotemgr.h"
#include "securitycatalog.h"
#include "tzpresenterclass.h"

#include <QMutex>
#include <QScopeGuard>
#include <QtTest>
#include <cmath>

namespace {

// 9:30 on a trading morning in Shanghai.
const qint64 kOpen = QDateTime(QDate(2026, 11, 23), QTime(9, 30), Qt::OffsetFromUTC, 8 * 3600)
                         .toMSecsSinceEpoch();
const QString kMoutai = QStringLiteral("600519.SH");
const QString kPingAn = QStringLiteral("000001.SZ");
const QString kTencent = QStringLiteral("00700.HK");

QStringList symbolsOf(const QList<QVariantMap> &records)
{
    QStringList symbols;
    for (const QVariantMap &record : records) {
        const QString symbol = record.value(Security::symbol).toString();
        if (!symbols.contains(symbol))
            symbols.append(symbol);
    }
    symbols.sort();
    return symbols;
}

// So many symbols of the catalogue, every so many apart.
QStringList spreadSymbols(int count, int apart)
{
    QStringList symbols;
    for (int i = 0; i < count; ++i)
        symbols.append(SecurityCatalog::instance().all()[size_t(i * apart)].symbol);
    return symbols;
}

// Why a record breaks the rules of its security's market, or an empty text.
QString fault(const QVariantMap &r)
{
    const QString symbol = r.value(Security::symbol).toString();
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s || r.size() != 9 || r.value(Security::mdTime).type() != QVariant::LongLong)
        return QStringLiteral("unknown symbol or incomplete record");
    const double tick = s->type == SecurityType::etf || s->type == SecurityType::convertible ? 0.001 : 0.01;
    const double last = r.value(Security::lastPx).toDouble();
    const double pre = r.value(Security::preClosePx).toDouble();
    const double bid = r.value(Security::bidPx1).toDouble();
    const double ask = r.value(Security::askPx1).toDouble();
    const double up = r.value(Security::upperLimitPx).toDouble();
    const double down = r.value(Security::lowerLimitPx).toDouble();
    const double half = tick / 2;
    const auto limit = [&](double ratio) {
        return std::floor(pre * ratio / tick + 0.5 + 1e-6) * tick;
    };
    for (double px : {last, pre, bid, ask, up, down}) {
        if (std::abs(px / tick - std::round(px / tick)) > 1e-6)
            return QStringLiteral("price off the tick: %1").arg(px);
    }
    if (std::abs(pre - s->preClosePx) > half)
        return QStringLiteral("wrong previous close");
    if (s->limitRatio == 0.0 ? (up != 0.0 || down != 0.0)
                             : (std::abs(up - limit(1 + s->limitRatio)) > half
                                || std::abs(down - limit(1 - s->limitRatio)) > half))
        return QStringLiteral("wrong limits %1 %2").arg(up).arg(down);
    if (r.value(Security::suspended).toBool() != s->suspended)
        return QStringLiteral("wrong suspension flag");
    if (s->suspended)
        return last == pre && bid == 0 && ask == 0 ? QString() : QStringLiteral("trades");
    if (up > 0 && (last > up + half || last < down - half))
        return QStringLiteral("outside the band");
    const bool atUp = up > 0 && last >= up - half, atDown = up > 0 && last <= down + half;
    if (std::abs(bid - (atDown ? 0 : last - tick)) > half
        || std::abs(ask - (atUp ? 0 : last + tick)) > half)
        return QStringLiteral("book %1/%2 around %3").arg(bid).arg(ask).arg(last);
    return QString();
}

} // namespace

// One client of the service; the market records pushed to it are kept.
class FeedClient : public ServiceClient
{
public:
    using ServiceClient::ServiceClient;

    static CPackMessageCommon symbolsBody(const QStringList &symbols)
    {
        CPackMessageCommon body;
        for (const QString &symbol : symbols) {
            body.AddRow();
            body.AddRowVaule(Security::symbol, symbol);
        }
        return body;
    }
    // Sends a request and returns the answer's text ("" = success).
    QString ask(const QString &type, const QStringList &symbols)
    {
        const Reply reply = request(type, symbolsBody(symbols));
        return !reply.answered ? QStringLiteral("no answer") : reply.ok() ? QString() : reply.text();
    }
    QString subscribe(const QStringList &s) { return ask(MsgType::subscribeQuoteRequest, s); }
    QString unsubscribe(const QStringList &s) { return ask(MsgType::unsubscribeQuoteRequest, s); }
    // A request that wants no answer: request id 0.
    void post(const QString &type, const QStringList &symbols)
    {
        CMessageCommon message;
        message.SetType(type);
        message.SetMsg(symbolsBody(symbols).GetPackedMsg());
        sendRaw(message.toWire());
    }

    // The records of every push so far.
    QList<QVariantMap> &records()
    {
        takePushes();
        return m_records;
    }

private:
    // Each push checked for what a market push is.
    void takePushes()
    {
        for (const CMessageCommon &message : qAsConst(events)) {
            CUnPackMessageCommon body;
            QVERIFY(body.SetUnPackMsg(message.GetMsg()));
            QCOMPARE(message.kind(), CMessageCommon::Push);
            QCOMPARE(message.GetType().toString(), MsgType::MDMARKETRECORD);
            QCOMPARE(message.requestId(), quint64(0));
            QCOMPARE(body.GetValue(RequestField::subGroupNumber).toInt(), body.GetRowCount());
            m_records += body.rows();
        }
        events.clear();
    }

    QList<QVariantMap> m_records;
};

class tst_MarketFeed : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR)); }
    void cleanup() { m_backend.reset(); }

    void clientsGetOnlyTheirOwnKnownSymbols();
    void subscriptionsAreCountedPerClient();
    void everySubscriptionGetsTheCurrentRecordAtOnce();
    void requestIdZeroIsNeverAnswered();
    void longSessionKeepsMarketRulesAndRunsSomeToLimits();
    void eachSymbolOncePerIntervalOnItsOwnPhase();
    void sameSeedReplaysTheSameRecords();
    void serversStartedApartPublishTheSamePrices();
    void recordsReachPresenterThroughTheBus();

private:
    bool start(quint32 seed = 20261121)
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_backend = std::make_unique<EmbeddedBackend>();
        BackendService::Options options;
        options.databasePath = m_dir->filePath(QStringLiteral("backend.db"));
        options.seedDemo = false;
        options.feedSeed = seed;
        options.feedManualClock = true;
        QString error;
        if (!m_backend->start(options, &error))
            qWarning() << "back end did not start:" << error;
        return m_backend->isRunning();
    }
    // Moves the feed's clock and takes in every frame it published.
    void advanceTo(qint64 time)
    {
        MarketFeed *feed = m_backend->service()->marketFeed();
        QMetaObject::invokeMethod(
            feed, [feed, time] { feed->advanceTo(time); }, Qt::BlockingQueuedConnection);
        QCoreApplication::sendPostedEvents();
    }
    // Drives the clock from one time to another, ending exactly there.
    void run(qint64 from, qint64 to, qint64 step)
    {
        for (qint64 t = from; t < to; t += step)
            advanceTo(t);
        advanceTo(to);
    }
    QList<QVariantMap> session(quint32 seed, qint64 step, qint64 durationMs);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<EmbeddedBackend> m_backend;
};

void tst_MarketFeed::clientsGetOnlyTheirOwnKnownSymbols()
{
    QVERIFY(start());
    FeedClient a(*m_backend), b(*m_backend), idle(*m_backend);
    advanceTo(kOpen);
    QCOMPARE(a.subscribe({kMoutai, kTencent}), QString());
    // Unknown symbols are refused by name; the known ones of the request still count.
    QCOMPARE(b.subscribe({QStringLiteral("999999.SH"), kPingAn, QStringLiteral("AAPL.US")}),
             QStringLiteral("未知证券：999999.SH、AAPL.US"));
    // The first records come at once, before the clock moves.
    advanceTo(kOpen);
    QCOMPARE(symbolsOf(a.records()), QStringList({kTencent, kMoutai}));
    QCOMPARE(a.records().first().value(Security::mdTime).toLongLong(), kOpen);
    QCOMPARE(symbolsOf(b.records()), QStringList({kPingAn}));

    run(kOpen, kOpen + 12000, 500);
    QCOMPARE(symbolsOf(a.records()), QStringList({kTencent, kMoutai}));
    QCOMPARE(symbolsOf(b.records()), QStringList({kPingAn}));
    QCOMPARE(a.records().size(), 2 * (1 + 4));
    QVERIFY(idle.records().isEmpty());
}

void tst_MarketFeed::subscriptionsAreCountedPerClient()
{
    QVERIFY(start());
    FeedClient a(*m_backend), b(*m_backend);
    qint64 t = kOpen;
    advanceTo(t);
    const auto nextInterval = [&](FeedClient &client) {
        advanceTo(t);  // takes in what was sent before
        client.records().clear();
        advanceTo(t += 3000);
        return symbolsOf(client.records());
    };

    QCOMPARE(a.subscribe({kMoutai, kMoutai}), QString());
    QCOMPARE(nextInterval(a), QStringList({kMoutai}));
    QCOMPARE(a.unsubscribe({kMoutai}), QString());
    QCOMPARE(nextInterval(a), QStringList({kMoutai}));
    QCOMPARE(a.unsubscribe({kMoutai}), QString());
    QCOMPARE(nextInterval(a), QStringList());
    // Never below zero: one more subscription is undone by one unsubscription.
    QCOMPARE(a.unsubscribe({kMoutai, kPingAn}), QString());
    QCOMPARE(a.subscribe({kMoutai}), QString());
    QCOMPARE(a.unsubscribe({kMoutai}), QString());
    QCOMPARE(nextInterval(a), QStringList());

    // A client that goes loses its subscriptions; the other keeps the shared symbol.
    QCOMPARE(a.subscribe({kMoutai, kPingAn}), QString());
    QCOMPARE(b.subscribe({kPingAn}), QString());
    QMetaObject::invokeMethod(m_backend->service(), "onClientDetached",
                              Qt::BlockingQueuedConnection, Q_ARG(quint64, a.id()));
    QCOMPARE(nextInterval(a), QStringList());
    QCOMPARE(nextInterval(b), QStringList({kPingAn}));
}

void tst_MarketFeed::everySubscriptionGetsTheCurrentRecordAtOnce()
{
    QVERIFY(start());
    FeedClient a(*m_backend), b(*m_backend);
    advanceTo(kOpen);
    QCOMPARE(a.subscribe({kMoutai}), QString());
    QCOMPARE(b.subscribe({kMoutai}), QString());
    run(kOpen, kOpen + 7000, 500);
    const QVariantMap latest = a.records().last();
    QVERIFY(latest.value(Security::mdTime).toLongLong() > kOpen);
    a.records().clear();
    b.records().clear();

    // A page pricing a basket subscribes, between two slots, a symbol the client holds
    // and a new one, the new one twice: each comes at once and once, at its current price.
    QCOMPARE(a.subscribe({kMoutai, kPingAn, kPingAn}), QString());
    advanceTo(kOpen + 7000);
    QCOMPARE(a.records().size(), 2);
    QCOMPARE(symbolsOf(a.records()), QStringList({kPingAn, kMoutai}));
    const QVariantMap moutai = a.records().at(a.records().at(0).value(Security::symbol) == kMoutai ? 0 : 1);
    QCOMPARE(moutai, latest);
    // The other holder of the symbol hears nothing new before its slot.
    QVERIFY(b.records().isEmpty());

    // Subscribed twice now: one unsubscription keeps it.
    QCOMPARE(a.unsubscribe({kMoutai}), QString());
    a.records().clear();
    run(kOpen + 7000, kOpen + 10000, 500);
    QCOMPARE(symbolsOf(a.records()), QStringList({kPingAn, kMoutai}));
}

void tst_MarketFeed::requestIdZeroIsNeverAnswered()
{
    QVERIFY(start());
    FeedClient client(*m_backend);
    advanceTo(kOpen);
    client.post(MsgType::subscribeQuoteRequest, {kMoutai, QStringLiteral("NOPE.SH")});
    client.post(QStringLiteral("noSuchRequest"), {});
    m_backend->service()->faults().failNext(MsgType::unsubscribeQuoteRequest, QStringLiteral("忙"));
    client.post(MsgType::unsubscribeQuoteRequest, {kMoutai});
    client.post(MsgType::queryStrategyRequest, {});
    // A request that wants its answer gets it, and it is the only one.
    QCOMPARE(client.unsubscribe({}), QString());
    QVERIFY(!client.hasAnswer(0));
    advanceTo(kOpen + 3000);
    QCOMPARE(symbolsOf(client.records()), QStringList({kMoutai}));
}

// One in sixteen stocks of every board, tradable or suspended, and every ETF, Stock
// Connect stock and convertible bond, from the open on.
QList<QVariantMap> tst_MarketFeed::session(quint32 seed, qint64 step, qint64 durationMs)
{
    QStringList symbols;
    const std::vector<SecurityInfo> &all = SecurityCatalog::instance().all();
    for (size_t i = 0; i < all.size(); ++i) {
        const QString &type = all[i].type;
        if (i % 16 == 0 || type == SecurityType::etf || type == SecurityType::hkConnect
            || type == SecurityType::convertible)
            symbols.append(all[i].symbol);
    }
    if (!start(seed))
        return {};
    FeedClient client(*m_backend);
    advanceTo(kOpen);
    if (!client.subscribe(symbols).isEmpty())
        return {};
    run(kOpen, kOpen + durationMs, step);
    return client.records();
}

void tst_MarketFeed::longSessionKeepsMarketRulesAndRunsSomeToLimits()
{
    const QList<QVariantMap> records = session(20261121, 1000, 600000);
    QHash<QString, QVariantMap> latest;
    int suspended = 0;
    QHash<QString, qint64> reachedLimit;  // symbol -> time it last arrived at a limit
    for (const QVariantMap &r : records) {
        const QString symbol = r.value(Security::symbol).toString();
        QVERIFY2(fault(r).isEmpty(), qPrintable(symbol + ": " + fault(r)));
        const double last = r.value(Security::lastPx).toDouble();
        suspended += r.value(Security::suspended).toBool();
        const bool atLimit = !r.value(Security::suspended).toBool()
                             && (last == r.value(Security::upperLimitPx).toDouble()
                                 || last == r.value(Security::lowerLimitPx).toDouble());
        if (!atLimit)
            reachedLimit.remove(symbol);
        else if (!reachedLimit.contains(symbol))
            reachedLimit.insert(symbol, r.value(Security::mdTime).toLongLong());
        latest.insert(symbol, r);
    }
    QVERIFY(latest.size() > 350);
    QVERIFY(suspended > 0);
    // Some run to a limit within a few minutes and stay there; most do not.
    int early = 0;
    for (qint64 since : qAsConst(reachedLimit))
        early += since <= kOpen + 240000;
    QVERIFY2(early >= 5, qPrintable(QString::number(early)));
    QVERIFY2(reachedLimit.size() < latest.size() / 5,
             qPrintable(QString::number(reachedLimit.size())));

    // The client's quote manager counts the limit-up and limit-down lines of a portfolio
    // of them as the feed has them.
    PortfolioQuoteMgr *quotes = PortfolioQuoteMgr::GetInstance();
    quotes->clear();
    QList<PortfolioItem> items;
    int up = 0;
    for (auto it = reachedLimit.cbegin(); it != reachedLimit.cend(); ++it) {
        const QVariantMap &r = latest.value(it.key());
        TzPortfolioQuote quote;
        QCOMPARE(quotes->GetPortfolioQuote(r, quote), int(PortfolioQuoteMgr::Ok));
        quotes->UpdateQuote(it.key(), quote);
        items << PortfolioItem();
        items.last().setSymbol(it.key());
        items.last().setQuantity(100);
        up += r.value(Security::lastPx) == r.value(Security::upperLimitPx);
    }
    PortfolioDetailBasicInfo portfolio;
    portfolio.setSymbolList(items);
    PortfolioDetailExtraInfo extra;
    quotes->CalculateExtraInfo(portfolio, extra);
    quotes->clear();
    QVERIFY(up > 0);
    QCOMPARE(QList<int>({extra.UpLimitCount(), extra.DownLimitCount(), extra.SuspensionCount()}),
             QList<int>({up, reachedLimit.size() - up, 0}));
}

void tst_MarketFeed::eachSymbolOncePerIntervalOnItsOwnPhase()
{
    QVERIFY(start());
    FeedClient client(*m_backend);
    const QStringList symbols = spreadSymbols(40, 7);
    advanceTo(kOpen);
    QVERIFY(client.subscribe(symbols).isEmpty());
    advanceTo(kOpen);
    QCOMPARE(client.records().size(), symbols.size());

    // Over four intervals every symbol comes exactly four times, spread over the interval
    // and each in the clock step its time falls in.
    QHash<QString, QList<qint64>> times;
    QSet<qint64> phases;
    int largestFrame = 0;
    const auto follow = [&](qint64 from, qint64 to) {
        for (qint64 t = from + 100; t <= to; t += 100) {
            client.records().clear();
            advanceTo(t);
            largestFrame = qMax(largestFrame, client.records().size());
            for (const QVariantMap &r : qAsConst(client.records())) {
                const qint64 time = r.value(Security::mdTime).toLongLong();
                QVERIFY(time > t - 100 && time <= t);
                times[r.value(Security::symbol).toString()].append(time);
                phases.insert(time % 3000);
            }
        }
    };
    follow(kOpen, kOpen + 12000);
    QCOMPARE(times.size(), symbols.size());
    for (const QList<qint64> &list : qAsConst(times)) {
        QCOMPARE(list.size(), 4);
        for (int i = 1; i < list.size(); ++i)
            QCOMPARE(list[i] - list[i - 1], qint64(3000));
    }
    QVERIFY(phases.size() > 30);
    QVERIFY(largestFrame < 8);

    // A shorter interval applies from the next step.
    m_backend->service()->marketFeed()->setQuoteIntervalMs(500);
    times.clear();
    follow(kOpen + 12000, kOpen + 14000);
    QCOMPARE(times.size(), symbols.size());
    for (const QList<qint64> &list : qAsConst(times))
        QCOMPARE(list.size(), 4);
}

void tst_MarketFeed::sameSeedReplaysTheSameRecords()
{
    // The records depend on the clock times only through the schedule, not on how
    // finely the clock is driven.
    const QList<QVariantMap> fine = session(7, 100, 120000);
    const QList<QVariantMap> coarse = session(7, 700, 120000);
    QVERIFY(fine.size() > 10000);
    QVERIFY(fine == coarse);
    QVERIFY(session(8, 700, 120000) != coarse);
}

void tst_MarketFeed::serversStartedApartPublishTheSamePrices()
{
    const QStringList symbols = spreadSymbols(60, 13);
    const qint64 end = kOpen + 90000;
    // One server whose desk subscribed at the open, another whose desk did so later, in
    // another order, driven by a coarser clock.
    const auto prices = [&](qint64 subscribedAt, qint64 step, const QStringList &order) {
        QMap<QPair<QString, qint64>, double> seen;
        if (!start())
            return seen;
        FeedClient client(*m_backend);
        advanceTo(subscribedAt);
        client.subscribe(order);
        run(subscribedAt, end, step);
        for (const QVariantMap &r : qAsConst(client.records()))
            seen.insert({r.value(Security::symbol).toString(), r.value(Security::mdTime).toLongLong()},
                        r.value(Security::lastPx).toDouble());
        m_backend.reset();
        return seen;
    };
    const auto early = prices(kOpen, 100, symbols);
    QStringList reversed = symbols;
    std::reverse(reversed.begin(), reversed.end());
    const auto late = prices(kOpen + 23456, 700, reversed);
    QVERIFY(early.size() > 60 * 25);
    int compared = 0;
    for (auto it = late.cbegin(); it != late.cend(); ++it) {
        // The record at subscription shows the latest slot's price, stamped now.
        auto same = early.upperBound({it.key().first, it.key().second});
        QVERIFY(same != early.cbegin());
        --same;
        QCOMPARE(same.key().first, it.key().first);
        QVERIFY2(same.value() == it.value(),
                 qPrintable(QStringLiteral("%1 at %2: %3 and %4")
                                .arg(it.key().first).arg(it.key().second).arg(same.value()).arg(it.value())));
        ++compared;
    }
    QVERIFY(compared > 60 * 20);
}

// A page's presenter on its own thread gets the records of what its client posted.
class QuotePresenter : public TzPresenterClass
{
public:
    mutable QMutex mutex;
    QList<QVariantMap> records;
    QSet<QThread *> threads;
    int count(const QString &symbol) const
    {
        QMutexLocker lock(&mutex);
        return int(std::count_if(records.cbegin(), records.cend(), [&](const QVariantMap &r) {
            return r.value(Security::symbol) == symbol;
        }));
    }

protected:
    void ProcMarketRecords(const QList<QVariantMap> &batch) override
    {
        QMutexLocker lock(&mutex);
        records += batch;
        threads.insert(QThread::currentThread());
    }
};

void tst_MarketFeed::recordsReachPresenterThroughTheBus()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    QThread pageThread;
    auto presenter = std::make_unique<QuotePresenter>();
    // Stops the page's thread before the presenter goes, however the test ends.
    const auto stop = qScopeGuard([&pageThread] {
        pageThread.quit();
        pageThread.wait();
    });
    pageThread.start();
    presenter->moveToThread(&pageThread);
    presenter->Sub(MsgType::MDMARKETRECORD);
    const quint64 droppedBefore = MessageBus::instance()->droppedReplies();
    const auto post = [](const QString &type) {
        CPackMessageCommon body;
        for (const QString &symbol : {kMoutai, kTencent}) {
            body.AddRow();
            body.AddRowVaule(Security::symbol, symbol);
        }
        CMessageCommon message;
        message.SetType(type);
        message.SetMsg(body.GetPackedMsg());
        return MessageBus::instance()->post(message);
    };

    QVERIFY(post(MsgType::subscribeQuoteRequest));
    QTRY_VERIFY(presenter->count(kMoutai) == 1 && presenter->count(kTencent) == 1);
    backend.service()->marketFeed()->setQuoteIntervalMs(100);
    QTRY_VERIFY(presenter->count(kMoutai) >= 3 && presenter->count(kTencent) >= 3);
    QVERIFY(post(MsgType::unsubscribeQuoteRequest));
    QVERIFY(TestBackend::request(MsgType::queryStrategyRequest,
                                 {{RequestField::userID, QStringLiteral("demo")}}).ok);
    QTest::qWait(200);
    const int received = presenter->count(kMoutai);
    QTest::qWait(500);
    QCOMPARE(presenter->count(kMoutai), received);

    {
        QMutexLocker lock(&presenter->mutex);
        QVERIFY(presenter->threads == QSet<QThread *>({&pageThread}));
        QCOMPARE(symbolsOf(presenter->records), QStringList({kTencent, kMoutai}));
    }
    // The posted requests were not answered, so no answer came back for nobody.
    QCOMPARE(MessageBus::instance()->droppedReplies(), droppedBefore);
}

QTEST_GUILESS_MAIN(tst_MarketFeed)

#include "tst_marketfeed.moc"
