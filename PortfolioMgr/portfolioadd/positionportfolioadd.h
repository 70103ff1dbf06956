#pragma once

#include "fieldkeys.h"
#include "portfoliodetailbasicinfo.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

// Turns rows of the account pages (positions, rebalance lines) into the lines of a
// portfolio. Used by the creation dialog's confirm and by the list's one-key liquidation.
class PositionPortfolioAdd
{
public:
    // Each row becomes one PortfolioItem (code, name, market, side, quantity, weight of
    // the row); rows without a record, and rows whose quantity is not above zero, are
    // skipped. The record gets those items and an extension map: Portfolio::portType =
    // the port type's text, Portfolio::algoParam = {ImportField::FundAccount: fundAccount}.
    static void transTableDataToPortInfo(const QList<QMap<int, QMap<QString, QVariant> > > &rows,
                                         PortfolioDetailBasicInfo &info, const QString &fundAccount,
                                         const PortfolioPortType &portType);
};
