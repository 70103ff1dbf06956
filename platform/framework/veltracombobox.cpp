#include "veltracombobox.h"

VeltraComboBox::VeltraComboBox(QWidget *parent)
    : QComboBox(parent)
{
}

VeltraAccountComboBox::VeltraAccountComboBox(QWidget *parent)
    : VeltraComboBox(parent)
{
    setSizeAdjustPolicy(QComboBox::AdjustToContents);
}

void VeltraAccountComboBox::SetAccountList(const QList<AccountDetails> &accounts)
{
    const QString shown = currentFundAccount();
    QSignalBlocker blocker(this);
    clear();
    m_accounts = accounts;
    for (const AccountDetails &account : accounts)
        addItem(account.displayText(), account.fundAccount);
    if (!selectFundAccount(shown))
        selectFundAccount(CBusinessDataBase::GetInstance()->GetCurrentFundAccount());
    blocker.unblock();
    // Listeners hear of the account now shown, once.
    emit currentIndexChanged(currentIndex());
}

AccountDetails VeltraAccountComboBox::currentAccount() const
{
    const int index = currentIndex();
    return index >= 0 && index < m_accounts.size() ? m_accounts.at(index) : AccountDetails();
}

bool VeltraAccountComboBox::selectFundAccount(const QString &fundAccount)
{
    const int index = fundAccount.isEmpty() ? -1 : findData(fundAccount);
    if (index < 0)
        return false;
    setCurrentIndex(index);
    return true;
}
