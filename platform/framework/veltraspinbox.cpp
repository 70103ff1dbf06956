#include "veltraspinbox.h"

VeltraSpinBox::VeltraSpinBox(QWidget *parent)
    : QSpinBox(parent)
{
    setRange(0, 999999999);
    setButtonSymbols(QAbstractSpinBox::NoButtons);
    setAccelerated(true);
}

void VeltraSpinBox::SetShowType(ShowType showType)
{
    setGroupSeparatorShown(showType == ShowThousands);
}

QString VeltraSpinBox::text() const
{
    return QString::number(value());
}
