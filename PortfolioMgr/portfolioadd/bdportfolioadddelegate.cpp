#include "bdportfolioadddelegate.h"

#include "cdefaultporfoliodelegate.h"
#include "portfolioaddrows.h"
#include "veltrautils.h"

#include <QLineEdit>

BDPortfolioAddDelegate::BDPortfolioAddDelegate(int amountColumn, ShowType showType, QObject *parent)
    : TzItemModelDeletage(parent)
    , m_amountColumn(amountColumn)
    , m_showType(showType)
{
}

QWidget *BDPortfolioAddDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &,
                                              const QModelIndex &index) const
{
    if (index.column() != m_amountColumn)
        return nullptr;
    auto *edit = new QLineEdit(parent);
    edit->setObjectName(QStringLiteral("QLineEditForAmount"));
    edit->setValidator(new QuantityValidator(PortfolioAddRows::editableQuantityLimit(index, false), edit));
    return edit;
}

void BDPortfolioAddDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    auto *edit = qobject_cast<QLineEdit *>(editor);
    if (!edit)
        return;
    edit->setText(QString::number(index.data(Qt::UserRole).toLongLong()));
    edit->selectAll();
}

void BDPortfolioAddDelegate::setModelData(QWidget *editor, QAbstractItemModel *model,
                                          const QModelIndex &index) const
{
    auto *edit = qobject_cast<QLineEdit *>(editor);
    if (!edit || !edit->hasAcceptableInput())
        return;
    const qint64 amount = edit->text().toLongLong();
    if (amount == index.data(Qt::UserRole).toLongLong())
        return;
    model->setData(index, VeltraUtils::TransQtyShowType(QString::number(amount), m_showType), Qt::DisplayRole);
    model->setData(index, amount, Qt::UserRole);
    emit signalAmountChanged(index);
}
