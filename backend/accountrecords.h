#pragma once

#include <QDate>
#include <QList>
#include <QString>

// Rows of the account store as the service hands them around.

// A fund account of a user; its trading account is a second number for the same account.
struct AccountRecord
{
    qint64 id = -1;
    qint64 userId = -1;
    QString fundAccount;
    QString tradingAccount;
    QString fundProperty;  // FundProperty::normal or FundProperty::credit
    QString name;
};

// The shareholder account through which an account trades on one market.
struct SecurityAccountRecord
{
    QString market;
    QString securityAccount;
};

// One row of the account list: an account on one of its markets.
struct AccountMarketRecord
{
    AccountRecord account;
    SecurityAccountRecord securityAccount;
};

// A holding of one security on one market of an account.
struct PositionRecord
{
    QString market;
    QString securityAccount;
    QString securityId;
    qint64 currentQty = 0;
    qint64 availableQty = 0;  // what may be sold today: bought today is not yet available
    double costPrice = 0.0;
    QString currency;
};

// A security a credit account may still borrow to sell short.
struct LendableRecord
{
    QString market;
    QString securityId;
    qint64 lendableQty = 0;
};

// A security-lending contract of a credit account: borrowed on the open date, to be
// returned by the return date.
struct LendingContractRecord
{
    QString contractNo;
    QString market;
    QString securityId;
    qint64 contractQty = 0;
    QDate openDate;
    QDate returnDate;
};
