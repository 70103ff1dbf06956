#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

// Rows of the portfolio store as the service hands them around.

// A strategy label that portfolios are filed under.
struct StrategyRecord
{
    QString strategyNo;
    QString name;
    QString type;
    QString manaStatus;
};

// One security line of a portfolio. A portfolio holds a security on a market once.
struct PortfolioLine
{
    QString securityId;
    QString exchange;
    QString side;
    qint64 tradeQty = 0;
    double positionWeight = 0.0;  // value share in percent
    QString entrustType;
    QString entrustProp;
    double customerPrice = 0.0;
    double limitPrice = 0.0;
};

struct PortfolioRecord
{
    QString portfolioNo;
    QString name;
    QString strategyNo;        // empty: not filed under a label
    QString strategyName;
    qint64 defaultBasketSize = 0;
    QString extension;         // compact JSON object text
    int paramType = 0;         // 1 when the extension carries algorithm parameters
    QDateTime createTime;
    QList<PortfolioLine> lines;
};

// Where a portfolio lives, found by its number.
struct PortfolioRef
{
    qint64 id = -1;
    qint64 userId = -1;
    QString userName;
    QString pendingSession;    // the session whose creation is not complete yet, or empty
    QString replacingSession;  // the session that cleared the lines and owes the new ones
    QString replacingHeader;   // the header that session sent meanwhile (JSON), taken with the lines
};
