#pragma once

#include "tzplatform_global.h"

#include <QHash>
#include <QList>
#include <QMutex>
#include <QString>
#include <QStringList>

// One security a credit account may borrow, with the quantity it may still borrow.
struct TzMarginSecurityInfo
{
    QString securityID;
    QString market;
    QString symbol;  // empty when the security is unknown here
    qint64 lendableQty = 0;
};

// Margin data of the login user's credit accounts: the securities each may borrow.
// Loading runs on a worker (the back end's list can be long); callers start it, then
// ask for the state and read the list once it is loaded. Any thread may call.
class TZPLATFORM_EXPORT MarginDC
{
public:
    enum LoadState { NotLoaded, Loading, Loaded, Failed };

    static MarginDC *GetInstance();

    // Starts (or restarts) loading the lendable securities of a credit account. A load
    // started earlier for the account is superseded: its answer is dropped.
    void RequestMarginSecurity(const QString &fundAccount, const QString &sourceId = QStringLiteral("platform"));
    // Where the account's load stands; on Failed, error receives the reason.
    LoadState GetLoadState(const QString &fundAccount, QString *error = nullptr) const;

    // The loaded list of the account, kept to the markets in filter (all for an empty
    // filter) and, with iLendableOnly non-zero, to securities with a quantity left to
    // borrow. In the back end's order (market, then code).
    QList<TzMarginSecurityInfo> GetMarginSecurityInfoByFilter(const QStringList &filter, int iLendableOnly,
                                                              const QString &fundAccount) const;

private:
    struct Entry
    {
        LoadState state = NotLoaded;
        quint64 generation = 0;
        QString error;
        QList<TzMarginSecurityInfo> securities;
    };

    mutable QMutex m_mutex;
    QHash<QString, Entry> m_entries;
};
