#include "marketfeed.h"

#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "securitycatalog.h"

#include <QDateTime>
#include <QTimer>
#include <algorithm>
#include <vector>

namespace {

// A client that falls far behind (a stalled clock, a very short interval) gets at most
// this many records of one symbol per clock step; older ones are skipped.
constexpr qint64 kMaxRecordsPerStep = 1000;

// A record with the time it was taken, for putting a frame in time order.
struct Stamped
{
    qint64 time;
    QString symbol;
    QVariantMap record;
};

QByteArray marketFrame(std::vector<const Stamped *> &records)
{
    std::stable_sort(records.begin(), records.end(), [](const Stamped *a, const Stamped *b) {
        return a->time != b->time ? a->time < b->time : a->symbol < b->symbol;
    });
    CPackMessageCommon body;
    body.AddVaule(RequestField::subGroupNumber, int(records.size()));
    for (const Stamped *stamped : records) {
        body.AddRow();
        body.AddRowVaule(stamped->record);
    }
    CMessageCommon message;
    message.setKind(CMessageCommon::Push);
    message.setRequestId(0);
    message.SetType(MsgType::MDMARKETRECORD);
    message.SetSrcid(QStringLiteral("backend"));
    message.SetMsg(body.GetPackedMsg());
    return message.toWire();
}

} // namespace

MarketFeed::MarketFeed(const Settings &settings, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_timer(new QTimer(this))
    , m_intervalMs(qMax(1, settings.quoteIntervalMs))
    , m_requestedIntervalMs(m_intervalMs)
{
    m_timer->setInterval(qMax(1, settings.stepMs));
    connect(m_timer, &QTimer::timeout, this,
            [this] { advanceTo(QDateTime::currentMSecsSinceEpoch()); });
}

MarketFeed::~MarketFeed() = default;

QStringList MarketFeed::subscribe(quint64 clientId, const QStringList &symbols)
{
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    QStringList unknown;
    for (const QString &symbol : symbols) {
        const SecurityInfo *security = catalog.bySymbol(symbol);
        if (!security) {
            unknown.append(symbol);
            continue;
        }
        Client &client = m_clients[clientId];
        // Every subscription gets the current record at once, also of a symbol the
        // client already held: a page pricing a basket must not wait an interval.
        client.waitingForFirst.insert(symbol);
        if (client.references[symbol]++ > 0)
            continue;
        auto line = m_lines.find(symbol);
        if (line == m_lines.end()) {
            line = m_lines.insert(symbol, Line());
            line->walk = QuoteWalk(*security, m_settings.seed);
            line->phaseHash = QuoteWalk::hash(symbol);
        }
        line->holders.insert(clientId);
    }
    updateTimer();
    return unknown;
}

void MarketFeed::unsubscribe(quint64 clientId, const QStringList &symbols)
{
    const auto client = m_clients.find(clientId);
    if (client == m_clients.end())
        return;
    for (const QString &symbol : symbols) {
        const auto references = client->references.find(symbol);
        if (references == client->references.end() || --*references > 0)
            continue;
        client->references.erase(references);
        client->waitingForFirst.remove(symbol);
        release(symbol, clientId);
    }
    if (client->references.isEmpty())
        m_clients.erase(client);
    updateTimer();
}

void MarketFeed::detach(quint64 clientId)
{
    const auto client = m_clients.find(clientId);
    if (client == m_clients.end())
        return;
    for (auto it = client->references.cbegin(); it != client->references.cend(); ++it)
        release(it.key(), clientId);
    m_clients.erase(client);
    updateTimer();
}

void MarketFeed::clear()
{
    m_clients.clear();
    m_lines.clear();
    updateTimer();
}

void MarketFeed::release(const QString &symbol, quint64 clientId)
{
    Line &line = m_lines[symbol];
    line.holders.remove(clientId);
    // Nobody watches: the walk rests and resumes from its price when subscribed again.
    if (line.holders.isEmpty())
        line.nextSlot = 0;
}

void MarketFeed::publishNow()
{
    if (!m_settings.manualClock)
        advanceTo(QDateTime::currentMSecsSinceEpoch());
    else if (m_now > 0)
        advanceTo(m_now);
}

void MarketFeed::setQuoteIntervalMs(int ms)
{
    m_requestedIntervalMs.store(qMax(1, ms));
}

qint64 MarketFeed::nextSlotAfter(const Line &line, qint64 time) const
{
    const qint64 interval = m_intervalMs;
    const qint64 phase = line.phaseHash % quint32(m_intervalMs);
    qint64 sinceSlot = (time - phase) % interval;
    if (sinceSlot < 0)
        sinceSlot += interval;
    return time - sinceSlot + interval;
}

void MarketFeed::applyInterval()
{
    const int wanted = m_requestedIntervalMs.load();
    if (wanted == m_intervalMs)
        return;
    m_intervalMs = wanted;
    for (Line &line : m_lines) {
        if (line.nextSlot != 0)
            line.nextSlot = nextSlotAfter(line, m_now);
    }
}

void MarketFeed::advanceTo(qint64 msSinceEpoch)
{
    const qint64 now = qMax(msSinceEpoch, m_now);
    applyInterval();

    // Every held symbol walks through its slots up to now; a symbol held again after a
    // rest starts on the next slot of its phase.
    QHash<QString, QList<Stamped>> due;
    for (auto it = m_lines.begin(); it != m_lines.end(); ++it) {
        Line &line = *it;
        if (line.holders.isEmpty())
            continue;
        if (line.nextSlot == 0) {
            // A symbol held anew shows the price of its latest slot, as every server does.
            line.nextSlot = nextSlotAfter(line, now);
            line.walk.moveTo(line.nextSlot - m_intervalMs, m_intervalMs);
            line.lastTime = now;
            continue;
        }
        const qint64 behind = (now - line.nextSlot) / m_intervalMs;
        if (behind >= kMaxRecordsPerStep)
            line.nextSlot += (behind - kMaxRecordsPerStep + 1) * m_intervalMs;
        QList<Stamped> records;
        for (; line.nextSlot <= now; line.nextSlot += m_intervalMs) {
            line.walk.moveTo(line.nextSlot, m_intervalMs);
            line.lastTime = line.nextSlot;
            records.append({line.nextSlot, it.key(), line.walk.record(line.nextSlot)});
        }
        if (!records.isEmpty())
            due.insert(it.key(), records);
    }
    m_now = now;

    // A subscription shows the current price at once unless a fresh one is due.
    QHash<quint64, std::vector<Stamped>> first;
    for (auto client = m_clients.begin(); client != m_clients.end(); ++client) {
        if (client->waitingForFirst.isEmpty())
            continue;
        std::vector<Stamped> &records = first[client.key()];
        for (const QString &symbol : qAsConst(client->waitingForFirst)) {
            if (due.contains(symbol))
                continue;
            const Line &line = m_lines[symbol];
            records.push_back({line.lastTime, symbol, line.walk.record(line.lastTime)});
        }
        client->waitingForFirst.clear();
    }
    // Then each due record to the clients that hold its symbol: the work follows what
    // is due, not what is held (a thousand desks of 300 symbols hold 300,000).
    QHash<quint64, std::vector<const Stamped *>> outgoing;
    for (auto it = first.cbegin(); it != first.cend(); ++it) {
        std::vector<const Stamped *> &records = outgoing[it.key()];
        for (const Stamped &stamped : it.value())
            records.push_back(&stamped);
    }
    for (auto symbolDue = due.cbegin(); symbolDue != due.cend(); ++symbolDue) {
        for (quint64 clientId : qAsConst(m_lines[symbolDue.key()].holders)) {
            std::vector<const Stamped *> &records = outgoing[clientId];
            for (const Stamped &stamped : symbolDue.value())
                records.push_back(&stamped);
        }
    }
    for (auto it = outgoing.begin(); it != outgoing.end(); ++it) {
        if (!it->empty())
            emit frameToClient(it.key(), marketFrame(*it));
    }
}

void MarketFeed::updateTimer()
{
    if (m_settings.manualClock)
        return;
    if (m_clients.isEmpty())
        m_timer->stop();
    else if (!m_timer->isActive())
        m_timer->start();
}
