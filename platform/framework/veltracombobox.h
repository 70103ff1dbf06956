#pragma once

#include "tzplatform_global.h"
#include "cbusinessdatabase.h"

#include <QComboBox>
#include <QList>

// Combo box of the Veltra skin.
class TZPLATFORM_EXPORT VeltraComboBox : public QComboBox
{
    Q_OBJECT

public:
    explicit VeltraComboBox(QWidget *parent = nullptr);
};

// The account picker of the Veltra skin: one item per account ("880010001 演示普通账户"),
// as wide as its longest account. The fund account is each item's data.
class TZPLATFORM_EXPORT VeltraAccountComboBox : public VeltraComboBox
{
    Q_OBJECT

public:
    explicit VeltraAccountComboBox(QWidget *parent = nullptr);

    // Replaces the items; the account shown before stays current when it is still listed,
    // else the client's current account when listed, else the first.
    void SetAccountList(const QList<AccountDetails> &accounts);
    AccountDetails currentAccount() const;
    QString currentFundAccount() const { return currentAccount().fundAccount; }
    QString currentTradingAccount() const { return currentAccount().tradingAccount; }
    bool selectFundAccount(const QString &fundAccount);

private:
    QList<AccountDetails> m_accounts;
};
