#pragma once

#include "showtype.h"
#include "tzitemmodeldeletage.h"

// Editor of the amount column of the creation dialog's basket and account tables (the
// quantity of an ETF component or industry member, a short-sale quantity): a line edit
// named "QLineEditForAmount" for a whole number up to the row's limit. The amount is
// kept in the cell (text and number); the page reads it with the row's record when it
// builds the portfolio.
class BDPortfolioAddDelegate : public TzItemModelDeletage
{
    Q_OBJECT

public:
    BDPortfolioAddDelegate(int amountColumn, ShowType showType, QObject *parent = nullptr);

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;

signals:
    void signalAmountChanged(const QModelIndex &index) const;

private:
    int m_amountColumn;
    ShowType m_showType;
};
