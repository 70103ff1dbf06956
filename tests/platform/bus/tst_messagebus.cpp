// The client's message bus against the real embedded back end: request/answer pairing,
// time-outs and late answers, requests from two threads at once, and delivery of events
// and market records on the presenter's own thread.

#include "testbackend.h"

#include "ceventmessagecommon.h"
#include "tzpresenterclass.h"

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
};

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
