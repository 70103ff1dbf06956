#include "quotewalk.h"

#include "exchange.h"
#include "fieldkeys.h"
#include "securitycatalog.h"

#include <QtGlobal>
#include <cmath>

namespace {

constexpr double kMinStep = 0.003;
constexpr double kMaxStep = 0.008;
// Share of the distance from the previous close given back on each record; keeps an
// ordinary day within a few percent.
constexpr double kReversion = 0.02;
// Push per record of a security that runs to its limit: more than the largest step, so
// once at the limit it stays there.
constexpr double kTrendDrift = 0.009;
constexpr double kTrendShare = 0.05;

// Rounds half up, as the exchanges round a limit price.
qint64 roundHalfUp(double ticks)
{
    return qint64(std::floor(ticks + 0.5 + 1e-6));
}

quint64 splitMix(quint64 *state)
{
    quint64 z = (*state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

} // namespace

QuoteWalk::QuoteWalk(const SecurityInfo &security, quint32 seed)
    : m_symbol(security.symbol)
    , m_ticksPerUnit(ticksPerUnit(security.type))
    , m_suspended(security.suspended)
    , m_random((quint64(seed) << 32) | hash(security.symbol))
{
    m_preClose = qMax<qint64>(1, roundHalfUp(security.preClosePx * m_ticksPerUnit));
    if (security.limitRatio > 0.0) {
        m_upper = roundHalfUp(double(m_preClose) * (1.0 + security.limitRatio));
        m_lower = qMax<qint64>(1, roundHalfUp(double(m_preClose) * (1.0 - security.limitRatio)));
    }
    m_last = m_preClose;
    // The first draw decides whether the day runs to a limit; only a market with limits
    // and a security that trades can get stuck at one.
    const double pick = nextUniform();
    if (m_upper > 0 && !m_suspended && pick < kTrendShare)
        m_trend = pick < kTrendShare / 2 ? 1 : -1;
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

double QuoteWalk::nextUniform()
{
    return double(splitMix(&m_random) >> 11) * (1.0 / 9007199254740992.0);
}

void QuoteWalk::step()
{
    if (m_suspended)
        return;
    const double size = kMinStep + (kMaxStep - kMinStep) * nextUniform();
    double move = nextUniform() < 0.5 ? -size : size;
    if (m_trend != 0)
        move += m_trend * kTrendDrift;
    else
        move -= kReversion * (double(m_last) / double(m_preClose) - 1.0);
    qint64 next = qRound64(double(m_last) * (1.0 + move));
    if (m_upper > 0)
        next = qBound(m_lower, next, m_upper);
    m_last = qMax<qint64>(1, next);
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
