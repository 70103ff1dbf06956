#include "portfolioquotemgr.h"

#include "fieldkeys.h"
#include "securitycatalog.h"

#include <cmath>

namespace {

constexpr double kHalfTick = 0.0005;

// A price field: present, numeric, finite and not negative.
bool readPrice(const QVariantMap &record, const QString &key, bool required, double &out)
{
    const auto it = record.constFind(key);
    if (it == record.cend() || !it->isValid() || it->isNull()) {
        out = 0.0;
        return !required;
    }
    bool ok = false;
    out = it->toDouble(&ok);
    return ok && std::isfinite(out) && out >= 0.0;
}

} // namespace

PortfolioQuoteMgr *PortfolioQuoteMgr::GetInstance()
{
    static PortfolioQuoteMgr instance;
    return &instance;
}

int PortfolioQuoteMgr::GetPortfolioQuote(const QVariantMap &record, TzPortfolioQuote &quote) const
{
    const QString symbol = record.value(Security::symbol).toString();
    if (symbol.isEmpty())
        return NoSymbol;
    TzPortfolioQuote q;
    q.Symbol = symbol;
    q.Suspended = record.value(Security::suspended).toBool();
    if (!readPrice(record, Security::lastPx, true, q.LastPx)
        || !readPrice(record, Security::preClosePx, true, q.PreClosePx)
        || !readPrice(record, Security::bidPx1, false, q.BidPx1)
        || !readPrice(record, Security::askPx1, false, q.AskPx1)
        || !readPrice(record, Security::upperLimitPx, false, q.UpperLimitPx)
        || !readPrice(record, Security::lowerLimitPx, false, q.LowerLimitPx))
        return BadField;
    if (q.PreClosePx <= 0.0 || (!q.Suspended && q.LastPx <= 0.0))
        return BadField;
    if (q.UpperLimitPx > 0.0 && q.LowerLimitPx > q.UpperLimitPx)
        return BadField;
    q.Time = record.value(Security::mdTime).toLongLong();
    quote = q;
    return Ok;
}

int PortfolioQuoteMgr::UpdateQuote(const QString &symbol, const TzPortfolioQuote &quote)
{
    if (symbol.isEmpty())
        return NoSymbol;
    QWriteLocker lock(&m_lock);
    m_quotes.insert(symbol, quote);
    return Ok;
}

bool PortfolioQuoteMgr::quote(const QString &symbol, TzPortfolioQuote &out) const
{
    QReadLocker lock(&m_lock);
    const auto it = m_quotes.constFind(symbol);
    if (it == m_quotes.cend())
        return false;
    out = *it;
    return true;
}

bool PortfolioQuoteMgr::IsSymbolSuspended(QVariant &value) const
{
    if (value.type() == QVariant::Map) {
        QVariantMap record = value.toMap();
        const bool suspended = record.value(Security::suspended).toBool();
        record.insert(Security::suspended, suspended);
        value = record;
        return suspended;
    }
    const QString symbol = value.toString();
    TzPortfolioQuote q;
    if (quote(symbol, q))
        return q.Suspended;
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    return s && s->suspended;
}

int PortfolioQuoteMgr::CalculateExtraInfo(PortfolioDetailBasicInfo &detail,
                                          PortfolioDetailExtraInfo &extra) const
{
    extra = PortfolioDetailExtraInfo();
    extra.m_listId = detail.PortfolioNo();

    const QList<PortfolioItem> items = detail.SymbolList();
    bool hasQuantity = false;
    for (const PortfolioItem &item : items) {
        if (item.Quantity() > 0) {
            hasQuantity = true;
            break;
        }
    }

    double value = 0.0, change = 0.0, base = 0.0;
    QReadLocker lock(&m_lock);
    for (const PortfolioItem &item : items) {
        const auto it = m_quotes.constFind(item.Symbol());
        if (it == m_quotes.cend())
            continue;
        const TzPortfolioQuote &q = *it;
        const double qty = double(item.Quantity());
        value += qty * q.LastPx;
        if (hasQuantity) {
            if (qty > 0.0) {
                change += qty * (q.LastPx - q.PreClosePx);
                base += qty * q.PreClosePx;
            }
        } else if (item.RelWeight() > 0.0) {
            change += item.RelWeight() * (q.LastPx / q.PreClosePx - 1.0);
            base += item.RelWeight();
        }
        switch (lineState(q)) {
        case LineState::Suspended:
            ++extra.m_suspended;
            break;
        case LineState::UpLimit:
            ++extra.m_upLimit;
            break;
        case LineState::DownLimit:
            ++extra.m_downLimit;
            break;
        case LineState::Normal:
            break;
        }
    }
    extra.m_marketValue = value;
    extra.m_changeRate = base > 0.0 ? change / base : 0.0;
    return Ok;
}

PortfolioQuoteMgr::LineState PortfolioQuoteMgr::lineState(const TzPortfolioQuote &q)
{
    if (q.Suspended)
        return LineState::Suspended;
    if (q.UpperLimitPx > 0.0 && q.LastPx >= q.UpperLimitPx - kHalfTick)
        return LineState::UpLimit;
    if (q.LowerLimitPx > 0.0 && q.LastPx <= q.LowerLimitPx + kHalfTick)
        return LineState::DownLimit;
    return LineState::Normal;
}

void PortfolioQuoteMgr::clear()
{
    QWriteLocker lock(&m_lock);
    m_quotes.clear();
}
