#pragma once

#include "tzplatform_global.h"

#include <QComboBox>

// Combo box of the Veltra skin.
class TZPLATFORM_EXPORT VeltraComboBox : public QComboBox
{
    Q_OBJECT

public:
    explicit VeltraComboBox(QWidget *parent = nullptr);
};

// The account picker of the Veltra skin: one line per fund (asset) account, shown as
// "account name", the fund account as the item's data.
class TZPLATFORM_EXPORT VeltraAccountComboBox : public VeltraComboBox
{
    Q_OBJECT

public:
    explicit VeltraAccountComboBox(QWidget *parent = nullptr);

    // fundAccounts and names pair up by position; a missing name shows the account alone.
    void SetAccountList(const QStringList &fundAccounts, const QStringList &names = QStringList());
    QString currentFundAccount() const;
    // Makes the account current when listed; false otherwise.
    bool setCurrentFundAccount(const QString &fundAccount);
};
