#pragma once

#include <QString>
#include <QVariantMap>

struct SecurityInfo;

// The simulated level-1 quote of one security through a trading day. The last price
// moves at random in whole ticks inside the daily price band: its distance from the
// previous close is the sum of the last kWindow random shocks of the day's record slots,
// so each record moves it by at most two shocks and an ordinary day stays within a few
// percent. About one security in twenty is pushed hard one way instead and ends up stuck
// at its limit within minutes; a suspended security never trades. The price at a slot
// is a function of the security, the seed and the slot's time alone, not of what the
// process saw before: two servers publish the same price for a symbol at the same time.
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

    // The price at the record slot of this time (milliseconds since the epoch), with
    // slots `intervalMs` apart counted from the start of the day in China (UTC+8). Cheap
    // for the slot after the current one; any other costs kWindow draws.
    void moveTo(qint64 slotTime, qint64 intervalMs);
    // The market record of the current state, with Security:: keys.
    QVariantMap record(qint64 mdTime) const;

    // Ticks in one unit of price: 100 for stocks, 1000 for ETFs and convertible bonds.
    static int ticksPerUnit(const QString &securityType);
    // Stable hash of a text, the same in every process.
    static quint32 hash(const QString &text);

    static constexpr int kWindow = 48;

private:
    double shock(qint64 slot) const;  // [-1, 1), the same for a slot in every process
    void startDay(qint64 day);
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
    quint64 m_key = 0;       // of the security and the seed
    quint64 m_dayKey = 0;    // of the day, too
    qint64 m_day = -1;       // days since the epoch in China
    qint64 m_slot = -1;      // of the day; -1 before the first move
    double m_shockSum = 0.0; // of the slots (m_slot - kWindow, m_slot]
};
