#include "veltrawidget.h"

#include <QMessageBox>
#include <QMutex>
#include <QPushButton>

namespace {

int showModal(VeltraWidget::MsgBoxKind kind, const QString &title, const QString &text, QWidget *parent)
{
    QMessageBox box(parent);
    box.setObjectName(QStringLiteral("VeltraMsgBox"));
    box.setText(text);
    box.setTextFormat(Qt::PlainText);
    switch (kind) {
    case VeltraWidget::MsgBoxKind::Tip:
        box.setWindowTitle(QStringLiteral("提示"));
        box.setIcon(QMessageBox::Information);
        break;
    case VeltraWidget::MsgBoxKind::Error:
        box.setWindowTitle(QStringLiteral("错误"));
        box.setIcon(QMessageBox::Critical);
        break;
    case VeltraWidget::MsgBoxKind::Warning:
        box.setWindowTitle(QStringLiteral("警告"));
        box.setIcon(QMessageBox::Warning);
        break;
    case VeltraWidget::MsgBoxKind::Question: {
        box.setWindowTitle(QStringLiteral("确认"));
        box.setIcon(QMessageBox::Question);
        QPushButton *yes = box.addButton(QStringLiteral("确定"), QMessageBox::YesRole);
        box.addButton(QStringLiteral("取消"), QMessageBox::NoRole);
        box.setDefaultButton(yes);
        box.exec();
        return box.clickedButton() == yes ? 1 : 0;
    }
    case VeltraWidget::MsgBoxKind::Titled:
        box.setWindowTitle(title);
        box.setIcon(QMessageBox::Information);
        break;
    }
    box.addButton(QStringLiteral("确定"), QMessageBox::AcceptRole);
    box.exec();
    return 1;
}

QMutex g_mutex;
VeltraWidget::MsgBoxHandler g_handler;

int show(VeltraWidget::MsgBoxKind kind, const QString &title, const QString &text, QWidget *parent)
{
    VeltraWidget::MsgBoxHandler handler;
    {
        QMutexLocker lock(&g_mutex);
        handler = g_handler;
    }
    return handler ? handler(kind, title, text, parent) : showModal(kind, title, text, parent);
}

} // namespace

int VeltraWidget::ShowTipMsgBox(const QString &text, QWidget *parent)
{
    return show(MsgBoxKind::Tip, QString(), text, parent);
}

int VeltraWidget::ShowErrorMsgBox(const QString &text, QWidget *parent)
{
    return show(MsgBoxKind::Error, QString(), text, parent);
}

int VeltraWidget::ShowWarningMsgBox(const QString &text, QWidget *parent)
{
    return show(MsgBoxKind::Warning, QString(), text, parent);
}

int VeltraWidget::ShowQuestionMsgBox(const QString &text, QWidget *parent, int)
{
    return show(MsgBoxKind::Question, QString(), text, parent);
}

int VeltraWidget::ShowMsgBox(const QString &title, const QString &text, QWidget *parent)
{
    return show(MsgBoxKind::Titled, title, text, parent);
}

VeltraWidget::MsgBoxHandler VeltraWidget::setMsgBoxHandler(MsgBoxHandler handler)
{
    QMutexLocker lock(&g_mutex);
    MsgBoxHandler previous = g_handler;
    g_handler = std::move(handler);
    return previous;
}
