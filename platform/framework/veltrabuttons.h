#pragma once

#include "tzplatform_global.h"

#include <QCheckBox>
#include <QPushButton>
#include <QToolButton>

// Push button of the Veltra skin. Its look is chosen by a style name ("Framed",
// "Highlight", "Text", "fillBlue") that the skin's style sheet matches as
// VeltraPushButton[styleType="Framed"].
class TZPLATFORM_EXPORT VeltraPushButton : public QPushButton
{
    Q_OBJECT
    Q_PROPERTY(QString styleType READ styleType WRITE setStyleType)

public:
    explicit VeltraPushButton(QWidget *parent = nullptr);
    explicit VeltraPushButton(const QString &text, QWidget *parent = nullptr);

    QString styleType() const { return m_styleType; }
    void setStyleType(const QString &styleType);

private:
    QString m_styleType;
};

// Icon-only button of the Veltra skin; the icon comes from a style name ("Refresh",
// "Help", "Collapse", "Expand").
class TZPLATFORM_EXPORT VeltraIconButton : public QToolButton
{
    Q_OBJECT
    Q_PROPERTY(QString iconStyle READ iconStyle WRITE setIconStyle)

public:
    explicit VeltraIconButton(QWidget *parent = nullptr);

    QString iconStyle() const { return m_iconStyle; }
    void setIconStyle(const QString &style);

private:
    QString m_iconStyle;
};

// Check box of the Veltra skin.
class TZPLATFORM_EXPORT VeltraCheckBox : public QCheckBox
{
    Q_OBJECT

public:
    explicit VeltraCheckBox(QWidget *parent = nullptr);
};
