#pragma once

#include "accountrecords.h"

#include <QList>
#include <QString>
#include <QStringList>

class SqlPortfolioStore;

// Loads the positions of one account from a table file (CSV in UTF-8 with or without a
// byte order mark or in GB18030, or an Excel workbook). Columns are found by the names of
// the header row, in any order; other columns are ignored:
//   证券代码 / code            the security code (600519, 00700; 600519.SH too)
//   市场 / market              SH, SZ, BJ, HHK or SZHK (or 上海, 深圳, 北京, 沪港通, 深港通)
//   当前数量 / current_qty     shares held, a whole number not below 0
//   可用数量 / available_qty   optional, at most the current quantity; default: all of it
//   成本价 / cost_price        optional, not below 0; default 0
// Every line is checked before anything is written: a security the market does not
// list, a market the account has no shareholder account on, a quantity that is negative
// or not whole, more available than held, a security listed twice. One bad line refuses
// the whole file. A good file is written in one transaction: with `replace` the
// account's positions are first removed, otherwise each line adds a position or
// overwrites the one of the same security and market.
class PositionFileLoader
{
public:
    // Reasons of bad lines listed one by one; beyond, only their count.
    static constexpr int MaxListedProblems = 20;

    struct Result
    {
        AccountRecord account;
        int lines = 0;       // positions the file holds
        int added = 0;
        int updated = 0;
        qint64 removed = 0;  // positions cleared first by a replace
        // Why the file was refused: one reason about the file or the account, or the
        // reasons of bad lines ("第3行：..."), at most MaxListedProblems of them.
        QStringList problems;
        int badLines = 0;
    };

    // The positions of the account with this fund or trading account (any user's). False
    // when the file is refused; nothing is written then.
    static bool load(SqlPortfolioStore &store, const QString &accountNumber, const QString &path,
                     bool replace, Result *result);

    // What a load did or why it refused, as lines for a person to read.
    static QStringList report(const QString &path, bool replace, const Result &result);

    // Reads and checks the file for an account that trades on these shareholder
    // accounts. False with result->problems filled when any line is bad.
    static bool read(const QString &path, const QList<SecurityAccountRecord> &securityAccounts,
                     QList<PositionRecord> *positions, Result *result);
};
