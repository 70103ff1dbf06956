#include "characttip.h"

#include "veltrautils.h"

#include <QApplication>
#include <QGridLayout>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QLabel>
#include <QScreen>
#include <QTextEdit>

CharactTip::CharactTip(QWidget *parent)
    : QFrame(parent, Qt::ToolTip | Qt::FramelessWindowHint)
    , m_title(new QLabel(this))
    , m_text(new QTextEdit(this))
{
    setObjectName(QStringLiteral("CharactTip"));
    setAttribute(Qt::WA_StyledBackground);
    m_title->setObjectName(QStringLiteral("CharactTipTitle"));
    m_text->setReadOnly(true);
    m_text->setFrameShape(QFrame::NoFrame);
    m_text->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_text->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *layout = new QGridLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setSpacing(2);
    layout->addWidget(m_title, 0, 0);
    layout->addWidget(m_text, 1, 0);
    setStyleSheet(VeltraUtils::GetSkinStyleSheet(QStringLiteral("Veltra/portfolio/portfolionewview.css")));
    resize(240, 120);
}

void CharactTip::setTitle(const QString &title)
{
    m_title->setText(title);
    setWindowTitle(title);
}

QString CharactTip::title() const
{
    return m_title->text();
}

void CharactTip::setText(const QString &text)
{
    m_text->setPlainText(text);
}

QString CharactTip::text() const
{
    return m_text->toPlainText();
}

void CharactTip::showAt(const QPoint &globalPos)
{
    QPoint pos = globalPos + QPoint(12, 12);
    if (QScreen *screen = QGuiApplication::screenAt(globalPos)) {
        const QRect area = screen->availableGeometry();
        pos.setX(qMin(pos.x(), area.right() - width()));
        pos.setY(qMin(pos.y(), area.bottom() - height()));
    }
    move(pos);
    show();
    qApp->installEventFilter(this);
}

void CharactTip::hideEvent(QHideEvent *event)
{
    qApp->removeEventFilter(this);
    QFrame::hideEvent(event);
}

bool CharactTip::eventFilter(QObject *watched, QEvent *event)
{
    // The next click anywhere else, or Escape, closes the tip; the click itself still
    // goes where it was aimed.
    if (event->type() == QEvent::MouseButtonPress) {
        auto *widget = qobject_cast<QWidget *>(watched);
        if (widget != this && !(widget && isAncestorOf(widget)))
            hide();
    } else if (event->type() == QEvent::KeyPress
               && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
        hide();
    }
    return QFrame::eventFilter(watched, event);
}
