#include "veltrabuttons.h"

#include "veltrarepolish.h"

#include <QStyle>

VeltraPushButton::VeltraPushButton(QWidget *parent)
    : QPushButton(parent)
{
}

VeltraPushButton::VeltraPushButton(const QString &text, QWidget *parent)
    : QPushButton(text, parent)
{
}

void VeltraPushButton::setStyleType(const QString &styleType)
{
    m_styleType = styleType;
    repolish(this);
}

VeltraIconButton::VeltraIconButton(QWidget *parent)
    : QToolButton(parent)
{
    setAutoRaise(true);
}

void VeltraIconButton::setIconStyle(const QString &style)
{
    m_iconStyle = style;
    QStyle::StandardPixmap pixmap = QStyle::SP_CustomBase;
    if (style == QLatin1String("Refresh"))
        pixmap = QStyle::SP_BrowserReload;
    else if (style == QLatin1String("Help"))
        pixmap = QStyle::SP_FileDialogDetailedView;
    else if (style == QLatin1String("Collapse"))
        pixmap = QStyle::SP_ArrowLeft;
    else if (style == QLatin1String("Expand"))
        pixmap = QStyle::SP_ArrowRight;
    if (pixmap != QStyle::SP_CustomBase)
        setIcon(this->style()->standardIcon(pixmap));
    repolish(this);
}

VeltraCheckBox::VeltraCheckBox(QWidget *parent)
    : QCheckBox(parent)
{
}
