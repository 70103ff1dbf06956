#pragma once

#include "tzplatform_global.h"

#include <QStyledItemDelegate>

// Base of the item delegates pages install on framework tables.
class TZPLATFORM_EXPORT TzItemModelDeletage : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
};
