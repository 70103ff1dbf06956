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
