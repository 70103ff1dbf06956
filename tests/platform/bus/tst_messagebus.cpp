// The client's message bus against the real embedded back end: request/answer pairing,
// time-outs and late answers, requests from two threads at once, and delivery of events
// and market records on the presenter's own thread; the body codec on every kind of
// value a body carries and on frames that are cut short or not bodies at all.

#include "testbackend.h"

#include "ceventmessagecommon.h"
#include "wirecodec.h"
#include "tzpresenterclass.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QDateTime>
#include <QThread>
#include <QtConcurrent>

namespace {

class RecordingPresenter : public TzPresenterClass
{
public:
    struct Event
    {
        QString source;
        QVariant type;
        QString portfolioNo;
        QThread *thread;
    };
    QList<Event> events;
    QList<QVariantMap> records;
    QList<QThread *> recordThreads;

protected:
    void ProcEventMsg(QString source, QVariant type, QVariant message) override
    {
        CUnPackMessageCommon body;
        body.SetUnPackMsg(message);
        events.append({source, type, body.GetValue(RequestField::portfolioNo).toString(),
                       QThread::currentThread()});
    }
    void ProcMarketRecords(const QList<QVariantMap> &batch) override
    {
        records += batch;
        recordThreads.append(QThread::currentThread());
    }
};

// Portfolio numbers of the seeded demo user with their batch state.
QMap<QString, bool> seededBatchStates()
{
    QMap<QString, bool> states;
    const TestBackend::Answer all = TestBackend::request(
        MsgType::queryPortfolioRequest, {{RequestField::userID, QStringLiteral("demo")}});
    for (const QVariantMap &row : all.body.rows()) {
        const QString no = row.value(RequestField::portfolioNo).toString();
        const TestBackend::Answer state = TestBackend::request(
            MsgType::queryBatchStateRequest, {{RequestField::portfolioNo, no}});
        states.insert(no, state.body.GetValue(RequestField::batchFinished).toBool());
    }
    return states;
}

} // namespace

class tst_MessageBus : public QObject
{
    Q_OBJECT

private slots:
    void answeredRequestCarriesItsOwnAnswer();
    void timeoutThenLateAnswerIsDropped();
    void concurrentRequestsFromGuiAndWorker();
    void notConnectedIsASendFailure();
    void putEventSkipsTheSender();
    void marketRecordsArriveInBatchesOnPresenterThread();
    void bodyCodecKeepsEveryValueKind();
    void bodyCodecRefusesBrokenFrames();
};

void tst_MessageBus::bodyCodecKeepsEveryValueKind()
{
    const QVariantMap header{{QStringLiteral("text"), QStringLiteral("组合%1 \u0000")},
                             {QStringLiteral("empty"), QString()},
                             {QStringLiteral("int"), 42},
                             {QStringLiteral("big"), Q_INT64_C(-9007199254740993)},
                             {QStringLiteral("uint"), 4000000000u},
                             {QStringLiteral("real"), 0.1},
                             {QStringLiteral("whole"), 700.0},
                             {QStringLiteral("flag"), true},
                             {QStringLiteral("none"), QVariant()},
                             {QStringLiteral("list"), QVariantList{1, QStringLiteral("a")}},
                             {QStringLiteral("map"), QVariantMap{{QStringLiteral("k"), 2.5}}},
                             {QStringLiteral("time"), QDateTime(QDate(2026, 3, 15), QTime(14, 52), Qt::UTC)},
                             {QStringLiteral("bytes"), QByteArray("\x00\xff", 2)}};
    QList<QVariantMap> rows;
    for (int i = 0; i < 3; ++i)
        rows.append({{QStringLiteral("i"), i}, {QStringLiteral("s"), QString(i * 1000, QLatin1Char('x'))}});
    const QByteArray cbor = WireCodec::encodeBody(header, rows);
    // What the generic converter gives is what the wire must give.
    const QVariantMap expected = QCborValue::fromCbor(cbor).toMap().value(QStringLiteral("h")).toMap().toVariantMap();
    QVariantMap gotHeader;
    QList<QVariantMap> gotRows;
    QVERIFY(WireCodec::decodeBody(cbor, gotHeader, gotRows));
    QCOMPARE(gotHeader, expected);
    for (const char *key : {"text", "empty", "int", "big", "uint", "real", "whole", "flag", "list", "map", "bytes"})
        QVERIFY2(gotHeader.value(QLatin1String(key)) == header.value(QLatin1String(key)), key);
    QCOMPARE(gotHeader.value(QStringLiteral("big")).toLongLong(), Q_INT64_C(-9007199254740993));
    QCOMPARE(gotHeader.value(QStringLiteral("uint")).toLongLong(), Q_INT64_C(4000000000));
    QCOMPARE(gotHeader.value(QStringLiteral("whole")).type(), QVariant::Double);
    QCOMPARE(gotHeader.value(QStringLiteral("time")).toDateTime(), header.value(QStringLiteral("time")).toDateTime());
    QCOMPARE(gotRows.size(), 3);
    QCOMPARE(gotRows.at(2).value(QStringLiteral("s")).toString().size(), 2000);

    // A body without rows and one with an empty header.
    gotRows.clear();
    QVERIFY(WireCodec::decodeBody(WireCodec::encodeBody({}, {}), gotHeader, gotRows));
    QVERIFY(gotHeader.isEmpty() && gotRows.isEmpty());
}

void tst_MessageBus::bodyCodecRefusesBrokenFrames()
{
    QList<QVariantMap> rows;
    rows.append({{QStringLiteral("code"), QStringLiteral("600519")}, {QStringLiteral("qty"), 100}});
    const QByteArray cbor = WireCodec::encodeBody({{QStringLiteral("n"), 1}}, rows);
    // Every cut of a good frame is refused and leaves the output as it was.
    for (int cut = 0; cut < cbor.size(); ++cut) {
        QVariantMap header{{QStringLiteral("before"), 1}};
        QList<QVariantMap> got;
        QVERIFY2(!WireCodec::decodeBody(cbor.left(cut), header, got), qPrintable(QString::number(cut)));
        QCOMPARE(header.size(), 1);
        QVERIFY(got.isEmpty());
    }
    QVariantMap header;
    QList<QVariantMap> got;
    // Not a map; rows that are not maps; a key that is not a field name.
    QVERIFY(!WireCodec::decodeBody(QCborValue(42).toCbor(), header, got));
    QCborMap notRows{{QStringLiteral("r"), QCborArray{1, 2}}};
    QVERIFY(!WireCodec::decodeBody(QCborValue(notRows).toCbor(), header, got));
    QCborMap numberKey{{QStringLiteral("h"), QCborMap{{7, 1}}}};
    QVERIFY(!WireCodec::decodeBody(QCborValue(numberKey).toCbor(), header, got));
    // A text that claims two gigabytes in a frame of eleven bytes.
    QVERIFY(!WireCodec::decodeBody(QByteArray::fromHex("a16168a1616b7a7fffffff"), header, got));
}

void tst_MessageBus::answeredRequestCarriesItsOwnAnswer()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    const TestBackend::Answer answer = TestBackend::request(
        MsgType::queryPortfolioRequest, {{RequestField::userID, QStringLiteral("demo")}});
    QCOMPARE(answer.rc, 0);
    QVERIFY(answer.ok);
    QVERIFY(answer.body.GetRowCount() >= 5);

    const TestBackend::Answer unknown = TestBackend::request(QStringLiteral("noSuchRequest"), {});
    QCOMPARE(unknown.rc, 0);
    QVERIFY(!unknown.ok);
    QVERIFY(unknown.body.GetValue(RequestField::textDescription).toString().contains(
        QStringLiteral("noSuchRequest")));
}

void tst_MessageBus::timeoutThenLateAnswerIsDropped()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    const QMap<QString, bool> states = seededBatchStates();
    const QString unfinished = states.key(false);
    const QString finished = states.key(true);
    QVERIFY(!unfinished.isEmpty() && !finished.isEmpty());

    TestBackend::setTimeoutMs(150);
    const quint64 droppedBefore = MessageBus::instance()->droppedReplies();
    backend.faults().delayNext(MsgType::queryBatchStateRequest, 500);
    QElapsedTimer clock;
    clock.start();
    const TestBackend::Answer late = TestBackend::request(
        MsgType::queryBatchStateRequest, {{RequestField::portfolioNo, unfinished}});
    QCOMPARE(late.rc, 1);
    QVERIFY2(clock.elapsed() < 450, "the caller must not wait for the slow answer");

    // The next request must get its own answer, not the late one of the unfinished batch.
    TestBackend::setTimeoutMs(5000);
    QTRY_COMPARE_WITH_TIMEOUT(MessageBus::instance()->droppedReplies(), droppedBefore + 1, 2000);
    const TestBackend::Answer next = TestBackend::request(
        MsgType::queryBatchStateRequest, {{RequestField::portfolioNo, finished}});
    QCOMPARE(next.rc, 0);
    QCOMPARE(next.body.GetValue(RequestField::batchFinished).toBool(), true);

    backend.faults().dropNext(MsgType::queryBatchStateRequest);
    TestBackend::setTimeoutMs(100);
    QCOMPARE(TestBackend::request(MsgType::queryBatchStateRequest,
                                  {{RequestField::portfolioNo, finished}}).rc, 1);
}

void tst_MessageBus::concurrentRequestsFromGuiAndWorker()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    const QMap<QString, bool> states = seededBatchStates();
    QVERIFY(states.size() >= 2);
    const QStringList numbers = states.keys();

    // Each side asks for every portfolio many times; a mixed-up pairing would show as a
    // batch state that belongs to another portfolio.
    auto askAll = [&](int rounds) {
        int wrong = 0;
        for (int i = 0; i < rounds; ++i) {
            const QString no = numbers.at(i % numbers.size());
            const TestBackend::Answer a = TestBackend::request(
                MsgType::queryBatchStateRequest, {{RequestField::portfolioNo, no}});
            if (a.rc != 0 || !a.ok || a.body.GetValue(RequestField::batchFinished).toBool() != states[no])
                ++wrong;
        }
        return wrong;
    };
    QFuture<int> worker = QtConcurrent::run([&] { return askAll(300); });
    const int guiWrong = askAll(300);
    QCOMPARE(guiWrong, 0);
    QCOMPARE(worker.result(), 0);
}

void tst_MessageBus::notConnectedIsASendFailure()
{
    MessageBus::instance()->stop();
    CMessageCommon message;
    message.SetType(MsgType::queryPortfolioRequest);
    QVariant reply;
    const int rc = MessageBus::instance()->request(message, reply, 100);
    QVERIFY(rc != 0 && rc != 1);
}

void tst_MessageBus::putEventSkipsTheSender()
{
    RecordingPresenter a, b;
    a.SubEvent(PORTFOLIO_CLICKED);
    b.SubEvent(PORTFOLIO_CLICKED);
    CPackMessageCommon body;
    body.AddVaule(RequestField::portfolioNo, QStringLiteral("42"));
    CEventMessageCommon event(a.pluginPid(), PORTFOLIO_CLICKED, body.GetPackedMsg(false));
    a.PutEvent(&event);
    QTRY_COMPARE(b.events.size(), 1);
    QCOMPARE(b.events.first().portfolioNo, QStringLiteral("42"));
    QCOMPARE(b.events.first().source, a.pluginPid());
    QCoreApplication::processEvents();
    QCOMPARE(a.events.size(), 0);
}

void tst_MessageBus::marketRecordsArriveInBatchesOnPresenterThread()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    RecordingPresenter presenter;
    presenter.Sub(MsgType::MDMARKETRECORD);

    CPackMessageCommon body;
    for (const char *symbol : {"600519.SH", "000001.SZ", "00700.HK"}) {
        body.AddRow();
        body.AddRowVaule({{Security::symbol, QString::fromLatin1(symbol)}, {Security::lastPx, 10.5}});
    }
    CMessageCommon push;
    push.setKind(CMessageCommon::Push);
    push.SetSrcid(QStringLiteral("backend"));
    push.SetType(MsgType::MDMARKETRECORD);
    push.SetMsg(body.GetPackedMsg(false));
    // Pushed by the service to every client; this client id is the one the bus uses, so
    // broadcast to a range of ids (a client ignores frames for other ids).
    for (quint64 id = 1; id < 8; ++id)
        emit backend.service()->frameToClient(id, push.toWire());
    QTRY_COMPARE(presenter.records.size(), 3);
    QCOMPARE(presenter.recordThreads.size(), 1);
    QCOMPARE(presenter.recordThreads.first(), QThread::currentThread());
    QCOMPARE(presenter.records.at(2).value(Security::symbol).toString(), QStringLiteral("00700.HK"));
}

QTEST_GUILESS_MAIN(tst_MessageBus)
#include "tst_messagebus.moc"
