#include "quotewalk.h"

#include "exchange.h"
#include "fieldkeys.h"
#include "securitycatalog.h"

#include <QtGlobal>
#include <cmath>

namespace {

// Weight of one shock: a record moves the price by up to two of them (0.8 %), and the
// sum over the window has a spread of about 1.6 % of the previous close.
constexpr double kShockWeight = 0.004;
// A security that runs to its limit gets there over this many records and stays: the
// push then exceeds the band plus the largest sum of shocks.
constexpr int kTrendSlots = 40;
constexpr double kTrendShare = 0.05;
constexpr qint64 kChinaOffsetMs = 8 * 3600 * 1000;
constexpr qint64 kOpenMs = (9 * 60 + 30) * 60 * 1000;  // 09:30, when a run to a limit starts
constexpr qint64 kDayMs = 24 * 3600 * 1000;

// Rounds half up, as the exchanges round a limit price.
qint64 roundHalfUp(double ticks)
{
    return qint64(std::floor(ticks + 0.5 + 1e-6));
}

// A well-mixed 64-bit value of any 64-bit input: draws by index, no state.
quint64 mix(quint64 z)
{
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

double uniform(quint64 bits)
{
    return double(bits >> 11) * (1.0 / 9007199254740992.0);  // [0, 1)
}

} // namespace

QuoteWalk::QuoteWalk(const SecurityInfo &security, quint32 seed)
    : m_symbol(security.symbol)
    , m_ticksPerUnit(ticksPerUnit(security.type))
    , m_suspended(security.suspended)
    , m_key((quint64(seed) << 32) | hash(security.symbol))
{
    m_preClose = qMax<qint64>(1, roundHalfUp(security.preClosePx * m_ticksPerUnit));
    if (security.limitRatio > 0.0) {
        m_upper = roundHalfUp(double(m_preClose) * (1.0 + security.limitRatio));
        m_lower = qMax<qint64>(1, roundHalfUp(double(m_preClose) * (1.0 - security.limitRatio)));
    }
    m_last = m_preClose;
}

void QuoteWalk::startDay(qint64 day)
{
    m_day = day;
    m_dayKey = mix(m_key ^ mix(quint64(day)));
    m_slot = -1;
    m_shockSum = 0.0;
    // The day's first draw decides whether it runs to a limit; only a market with
    // limits and a security that trades can get stuck at one.
    const double pick = uniform(mix(m_dayKey));
    m_trend = 0;
    if (m_upper > 0 && !m_suspended && pick < kTrendShare)
        m_trend = pick < kTrendShare / 2 ? 1 : -1;
}

double QuoteWalk::shock(qint64 slot) const
{
    return slot < 0 ? 0.0 : 2.0 * uniform(mix(m_dayKey + 1 + quint64(slot))) - 1.0;
}

void QuoteWalk::moveTo(qint64 slotTime, qint64 intervalMs)
{
    if (m_suspended)
        return;
    const qint64 local = slotTime + kChinaOffsetMs;
    const qint64 day = local >= 0 ? local / kDayMs : (local - kDayMs + 1) / kDayMs;
    if (day != m_day)
        startDay(day);
    const qint64 slot = (local - day * kDayMs) / qMax<qint64>(1, intervalMs);
    if (slot == m_slot + 1 && m_slot >= 0) {
        m_shockSum += shock(slot) - shock(slot - kWindow);
    } else if (slot != m_slot) {
        m_shockSum = 0.0;
        for (qint64 i = slot - kWindow + 1; i <= slot; ++i)
            m_shockSum += shock(i);
    }
    m_slot = slot;
    double move = kShockWeight * m_shockSum;
    const qint64 sinceOpen = (local - day * kDayMs - kOpenMs) / qMax<qint64>(1, intervalMs);
    if (m_trend != 0 && m_upper > 0 && sinceOpen >= 0) {
        const double band = double(m_upper - m_preClose) / double(m_preClose);
        const double ramp = qMin<double>(1.0, double(sinceOpen + 1) / kTrendSlots);
        move += m_trend * (band + 2.0 * kShockWeight * kWindow) * ramp;
    }
    qint64 next = qRound64(double(m_preClose) * (1.0 + move));
    if (m_upper > 0)
        next = qBound(m_lower, next, m_upper);
    m_last = qMax<qint64>(1, next);
}

int QuoteWalk::ticksPerUnit(const QString &securityType)
{
    return securityType == SecurityType::etf || securityType == SecurityType::convertible
               ? 1000
               : 100;
}

quint32 QuoteWalk::hash(const QString &text)
{
    quint32 h = 2166136261u;
    for (QChar c : text) {
        h ^= c.unicode();
        h *= 16777619u;
    }
    return h;
}

QVariantMap QuoteWalk::record(qint64 mdTime) const
{
    // A book at limit-up has no sellers, at limit-down no buyers; a suspended one neither.
    const bool atUpper = m_upper > 0 && m_last >= m_upper;
    const bool atLower = m_upper > 0 && m_last <= m_lower;
    const qint64 bid = m_suspended || atLower ? 0 : m_last - 1;
    const qint64 ask = m_suspended || atUpper ? 0 : m_last + 1;
    return {{Security::symbol, m_symbol},
            {Security::lastPx, price(m_last)},
            {Security::preClosePx, price(m_preClose)},
            {Security::bidPx1, price(bid)},
            {Security::askPx1, price(ask)},
            {Security::upperLimitPx, price(m_upper)},
            {Security::lowerLimitPx, price(m_lower)},
            {Security::suspended, m_suspended},
            {Security::mdTime, mdTime}};
}
