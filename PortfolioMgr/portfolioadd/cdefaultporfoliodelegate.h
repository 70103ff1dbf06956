#pragma once

#include "showtype.h"
#include "tzitemmodeldeletage.h"

#include <QRegularExpressionValidator>
#include <QIntValidator>

class QComboBox;

// Whole quantities from 0 to a limit (bottom() 0, top() the limit). Stricter than
// QIntValidator, which lets a number above the limit be typed when it has no more digits
// than the limit: here it cannot be typed at all, nor a sign or a separator.
class QuantityValidator : public QIntValidator
{
    Q_OBJECT

public:
    QuantityValidator(int top, QObject *parent = nullptr);
    State validate(QString &input, int &pos) const override;
};

// A relative weight: a positive number, with or without a fraction, never zero. The
// pattern lets any character stand between the whole and the fractional part and lets
// "0" or "00" through, so a text is only acceptable when it also reads as a number
// greater than zero.
class RelWeightValidator : public QRegularExpressionValidator
{
    Q_OBJECT

public:
    static const QString pattern;

    explicit RelWeightValidator(QObject *parent = nullptr);
    State validate(QString &input, int &pos) const override;
};

// Editors of the default page's table: the markets the row's code trades on, the ten
// sides, a whole quantity up to the row's limit, a positive relative weight. The code,
// name and absolute weight are not edited.
class CDefaultPorfoliodelegate : public TzItemModelDeletage
{
    Q_OBJECT

public:
    CDefaultPorfoliodelegate(ShowType showType, QObject *parent = nullptr);

    // With the switch on, quantities go up to 999,999,999 whatever the row's limit (the
    // setting "PortfolioTrade/UnlimitedLineQty" turns it on for desks that work lines
    // with algorithms rather than as single orders).
    void setUnlimited(bool unlimited) { m_unlimited = unlimited; }
    bool unlimited() const { return m_unlimited; }

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;

signals:
    // A cell took a new value from its editor.
    void signalDataChanged(const QModelIndex &index) const;

private:
    void commitOnPick(QComboBox *combo) const;

    ShowType m_showType;
    bool m_unlimited = false;
};
