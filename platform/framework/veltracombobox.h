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

// The account picker of the Veltra skin: as wide as its longest account.
class TZPLATFORM_EXPORT VeltraAccountComboBox : public VeltraComboBox
{
    Q_OBJECT

public:
    explicit VeltraAccountComboBox(QWidget *parent = nullptr);
};
