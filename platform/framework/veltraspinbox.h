#pragma once

#include "showtype.h"
#include "tzplatform_global.h"

#include <QSpinBox>

// Quantity spin box of the Veltra skin (0 to 999,999,999). Its display follows the
// client's quantity show type: thousands separators for ShowThousands, plain digits
// otherwise (a field being edited is no place for 万/亿).
class TZPLATFORM_EXPORT VeltraSpinBox : public QSpinBox
{
    Q_OBJECT

public:
    explicit VeltraSpinBox(QWidget *parent = nullptr);

    void SetShowType(ShowType showType);
    // The value as plain decimal digits, whatever the display ("1,000" reads "1000").
    QString text() const;
};
