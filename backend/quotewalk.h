#pragma once

#include <QString>
#include <QVariantMap>

struct SecurityInfo;

// The simulated level-1 quote of one security through a trading day. The last price
// walks at random in whole ticks inside the daily price band, pulled gently back towards
// the previous close. About one security in twenty is pushed hard one way instead and
// ends up stuck at its limit; a suspended security never trades. The walk depends only
// on the security and the seed, so the same day replays step for step.
class QuoteWalk
{
public:
    QuoteWalk() = default;
    QuoteWalk(const SecurityInfo &security, quint32 seed);

    const QString &symbol() const { return m_symbol; }
    // Prices in the currency of the listing place; limits of 0 mean no daily limit.
    double tick() const { return 1.0 / m_ticksPerUnit; }
    double lastPx() const { return price(m_last); }
    double preClosePx() const { return price(m_preClose); }
    double upperLimitPx() const { return price(m_upper); }
    double lowerLimitPx() const { return price(m_lower); }
    bool isSuspended() const { return m_suspended; }
    // +1 when the day drives the price to its upper limit, -1 to its lower, else 0.
    int trend() const { return m_trend; }

    // Moves the last price by one record's worth: 0.3 to 0.8 percent either way.
    void step();
    // The market record of the current state, with Security:: keys.
    QVariantMap record(qint64 mdTime) const;

    // Ticks in one unit of price: 100 for stocks, 1000 for ETFs and convertible bonds.
    static int ticksPerUnit(const QString &securityType);
    // Stable hash of a text, the same in every process.
    static quint32 hash(const QString &text);

private:
    double nextUniform();  // [0, 1)
    double price(qint64 ticks) const { return double(ticks) / m_ticksPerUnit; }

    QString m_symbol;
    int m_ticksPerUnit = 100;
    // Prices in ticks; both limits are 0 on a market without daily limits.
    qint64 m_preClose = 0;
    qint64 m_upper = 0;
    qint64 m_lower = 0;
    qint64 m_last = 0;
    bool m_suspended = false;
    int m_trend = 0;
    quint64 m_random = 0;
};
