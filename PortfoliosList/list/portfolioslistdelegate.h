#pragma once

#include "tzitemmodeldeletage.h"

class PortfoliosList;
class QLineEdit;

// In-place editor of the portfolio name (column 0): at most 25 characters; an empty,
// blank, padded or duplicate name is refused with a message; a change goes to the back
// end through the list before the row changes; the editor always closes afterwards.
// Escape closes it with the old name kept.
class portfolioslistdelegate : public TzItemModelDeletage
{
    Q_OBJECT

public:
    explicit portfolioslistdelegate(PortfoliosList *list);

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;

protected:
    // While the name editor has the focus every key is its own: no shortcut of the table
    // or the window fires. Enter and Tab commit, Escape restores the old name.
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void commit(QLineEdit *edit) const;

    PortfoliosList *m_list;
};
