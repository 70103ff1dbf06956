#include "portfolioslistdelegate.h"

#include "portfolioslist.h"
#include "portfoliolistbasicinfo.h"
#include "portfolionamerule.h"
#include "recordmodel.h"
#include "veltrawidget.h"

#include <QDebug>
#include <QKeyEvent>
#include <QLineEdit>

namespace {
constexpr int kNameColumn = 0;
constexpr int kDetailColumn = 12;
const QString kRemind = QStringLiteral("提醒");
}

portfolioslistdelegate::portfolioslistdelegate(PortfoliosList *list)
    : TzItemModelDeletage(list)
    , m_list(list)
{
}

QWidget *portfolioslistdelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                                              const QModelIndex &index) const
{
    if (index.column() != kNameColumn)
        return TzItemModelDeletage::createEditor(parent, option, index);
    auto *edit = new QLineEdit(parent);
    edit->setObjectName(QStringLiteral("portfolioNameEditor"));
    edit->setMaxLength(PortfolioNameRule::maxLength);
    // Enter or leaving the field ends the edit; the editor is persistent, so tell the
    // view to commit by hand.
    connect(edit, &QLineEdit::editingFinished, this, [this, edit] { commit(edit); });
    return edit;
}

void portfolioslistdelegate::commit(QLineEdit *edit) const
{
    if (edit->property("committing").toBool())
        return;
    edit->setProperty("committing", true);
    emit const_cast<portfolioslistdelegate *>(this)->commitData(edit);
}

bool portfolioslistdelegate::eventFilter(QObject *object, QEvent *event)
{
    auto *edit = qobject_cast<QLineEdit *>(object);
    if (!edit || edit->objectName() != QLatin1String("portfolioNameEditor"))
        return TzItemModelDeletage::eventFilter(object, event);
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();  // the key goes to the editor as a key press
        return true;
    }
    if (event->type() != QEvent::KeyPress)
        return TzItemModelDeletage::eventFilter(object, event);
    switch (static_cast<QKeyEvent *>(event)->key()) {
    case Qt::Key_Escape:
        m_list->cancelNameEdit();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        commit(edit);
        return true;
    default:
        return false;  // typed into the editor
    }
}

void portfolioslistdelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    if (index.column() != kNameColumn)
        return TzItemModelDeletage::setEditorData(editor, index);
    auto *edit = qobject_cast<QLineEdit *>(editor);
    if (!edit) {
        qDebug() << "portfolioslistdelegate::setEditorData no editor";
        return;
    }
    // A change of the same portfolio made elsewhere must not wipe what is being typed.
    if (!edit->isModified())
        edit->setText(index.data(Qt::DisplayRole).toString());
}

void portfolioslistdelegate::setModelData(QWidget *editor, QAbstractItemModel *model,
                                          const QModelIndex &index) const
{
    if (index.column() != kNameColumn)
        return TzItemModelDeletage::setModelData(editor, model, index);
    auto *edit = qobject_cast<QLineEdit *>(editor);
    const QString name = edit ? edit->text() : QString();
    const QString oldName = index.data(Qt::DisplayRole).toString();
    QString refusal;
    if (name == oldName) {
        // Nothing to change: just close the editor.
    } else if (name.isEmpty()) {
        refusal = QStringLiteral("组合名称不可为空！");
    } else if (const QString problem = PortfolioNameRule::check(name); !problem.isEmpty()) {
        refusal = problem;
    } else if (PortfolioListBasicInfo::GetInstance()->getAllPortfolioName().contains(name)) {
        refusal = QStringLiteral("组合名称重复，请修改!");
    } else {
        // The row's copy of the portfolio lies beyond the shown columns, in its record.
        auto *records = qobject_cast<RecordModel *>(model);
        PortfolioDetailBasicInfo detail;
        if (records)
            detail = records->record(index.row()).value(kDetailColumn).value(RecordRole::user)
                         .value<PortfolioDetailBasicInfo>();
        detail.setName(name);
        const QString rc = m_list->modifyPortfolioName(detail);
        if (rc != QLatin1String("0"))
            VeltraWidget::ShowMsgBox(kRemind, rc, m_list);
    }
    if (!refusal.isEmpty()) {
        PortfoliosList::reportCommand(QStringLiteral("重命名组合") + PortfoliosList::portfolioLabel(oldName, QString())
                                          + QStringLiteral("为「") + name + QStringLiteral("」"),
                                      refusal);
        VeltraWidget::ShowMsgBox(kRemind, refusal, m_list);
    }
    // The view deletes a closed editor later, so closing it from inside its commit is safe.
    m_list->slotClosePersistentEditor();
}
