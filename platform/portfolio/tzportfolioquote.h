#pragma once

#include "tzplatform_global.h"

#include <QMetaType>
#include <QString>

// The latest level-1 quote of one security, as the quote manager keeps it.
struct TZPLATFORM_EXPORT TzPortfolioQuote
{
    QString Symbol;
    double LastPx = 0.0;
    double PreClosePx = 0.0;
    double BidPx1 = 0.0;
    double AskPx1 = 0.0;
    double UpperLimitPx = 0.0;  // 0 when the market has no daily limit
    double LowerLimitPx = 0.0;
    bool Suspended = false;
    qint64 Time = 0;  // exchange time of the record, ms since the epoch
};

Q_DECLARE_METATYPE(TzPortfolioQuote)

// An execution report of a portfolio order.
struct TZPLATFORM_EXPORT TzPortfolioExecutionReport
{
    QString PortfolioNo;
    QString BatchNo;
    QString Symbol;
    QString Side;
    qint64 FilledQty = 0;
    double FilledPx = 0.0;
};

Q_DECLARE_METATYPE(TzPortfolioExecutionReport)
