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

void VeltraAccountComboBox::SetAccountList(const QStringList &fundAccounts, const QStringList &names)
{
    const QString previous = currentFundAccount();
    const QSignalBlocker blocker(this);
    clear();
    for (int i = 0; i < fundAccounts.size(); ++i) {
        const QString name = names.value(i);
        addItem(name.isEmpty() ? fundAccounts.at(i) : fundAccounts.at(i) + QLatin1Char(' ') + name,
                fundAccounts.at(i));
    }
    if (!setCurrentFundAccount(previous) && count() > 0)
        setCurrentIndex(0);
}

QString VeltraAccountComboBox::currentFundAccount() const
{
    return currentData().toString();
}

bool VeltraAccountComboBox::setCurrentFundAccount(const QString &fundAccount)
{
    const int index = fundAccount.isEmpty() ? -1 : findData(fundAccount);
    if (index < 0)
        return false;
    setCurrentIndex(index);
    return true;
}
