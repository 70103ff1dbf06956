#include "tzdialog.h"

#include <QLayout>
#include <QVBoxLayout>

TzDialog::TzDialog(QWidget *parent)
    : QDialog(parent)
    , m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("TzDialog"));
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    m_layout->setContentsMargins(8, 8, 8, 8);
}

void TzDialog::setTitle(const QString &title)
{
    setWindowTitle(title);
}

void TzDialog::setResizable(bool resizable)
{
    m_layout->setSizeConstraint(resizable ? QLayout::SetDefaultConstraint : QLayout::SetFixedSize);
    setSizeGripEnabled(resizable);
}

int TzDialog::margin() const
{
    return m_layout->contentsMargins().left();
}

void TzDialog::setMargin(int margin)
{
    m_layout->setContentsMargins(margin, margin, margin, margin);
}

void TzDialog::setDeleteOnClose(bool on)
{
    setAttribute(Qt::WA_DeleteOnClose, on);
}

void TzDialog::setBody(QWidget *body)
{
    if (m_body) {
        m_layout->removeWidget(m_body);
        m_body->hide();
        m_body->deleteLater();
    }
    m_body = body;
    if (body) {
        body->setParent(this);
        m_layout->addWidget(body);
    }
}
