#pragma once

#include "tzplatform_global.h"

#include "portfoliodetailbasicinfo.h"
#include "tzportfolioquote.h"

#include <QHash>
#include <QReadWriteLock>
#include <QVariant>

// Latest quote per security and the live figures of portfolios computed from them.
class TZPLATFORM_EXPORT PortfolioQuoteMgr
{
public:
    enum Result { Ok = 0, NoSymbol = -1, BadField = -2 };

    static PortfolioQuoteMgr *GetInstance();

    // Builds the quote of one security from a market record (Security:: keys). Refuses a
    // record without symbol (NoSymbol) or with a missing, non-numeric, negative or
    // inconsistent price field (BadField): such a record must never show as a price.
    int GetPortfolioQuote(const QVariantMap &record, TzPortfolioQuote &quote) const;
    int UpdateQuote(const QString &symbol, const TzPortfolioQuote &quote);
    bool quote(const QString &symbol, TzPortfolioQuote &out) const;

    // Whether the security is suspended. Takes a market record (map) or a symbol (text).
    // A record is judged by its own flag and written back with Security::suspended set;
    // a symbol by its latest quote, or by the reference data when no quote came yet.
    bool IsSymbolSuspended(QVariant &value) const;

    // Live figures of one portfolio, in one pass over its lines:
    // - market value = sum of quantity * last price over lines that have a quote;
    // - change rate: when the portfolio has quantities, sum(q * (last - preClose)) /
    //   sum(q * preClose) over quoted lines with a quantity; otherwise the relative-weight
    //   average of last / preClose - 1 over quoted lines;
    // - a suspended line counts as suspended only; otherwise a line whose last price is
    //   within half a tick of the upper (lower) limit counts as limit-up (limit-down);
    //   markets without limits report 0 limits and never count.
    // Lines without a quote yet count nowhere. Returns 0.
    int CalculateExtraInfo(PortfolioDetailBasicInfo &detail, PortfolioDetailExtraInfo &extra) const;

    // Where one quoted line stands, by the rule CalculateExtraInfo counts: suspended
    // first; else at the upper (lower) limit within half a tick; markets without daily
    // limits (limits of 0) are never at one.
    enum class LineState { Normal = 0, UpLimit, DownLimit, Suspended };
    static LineState lineState(const TzPortfolioQuote &quote);

    void clear();

private:
    PortfolioQuoteMgr() = default;

    mutable QReadWriteLock m_lock;
    QHash<QString, TzPortfolioQuote> m_quotes;
};
