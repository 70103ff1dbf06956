#pragma once

#include "tzitemmodeldeletage.h"

class PortfoliosList;

// In-place editor of the portfolio name (column 0): at most 25 characters; an empty,
// blank, padded or duplicate name is refused with a message; a change goes to the back
// end through the list before the row changes; the editor always closes afterwards.
class portfolioslistdelegate : public TzItemModelDeletage
{
    Q_OBJECT

public:
    explicit portfolioslistdelegate(PortfoliosList *list);

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;

private:
    PortfoliosList *m_list;
};
