#pragma once

#include "tzplatform_global.h"

#include <QSize>
#include <QTabWidget>

// How the tabs of a VeltraTabWidget are sized.
enum TabResizePolicy {
    TabFitContents = 0,  // each tab as wide as its title
    TabExpanding = 1,    // tabs share the bar's width
    TabFixed = 2,        // every tab the size given by SetTabSize
};

// Tab widget of the Veltra skin: a named tab style the skin's style sheet matches
// (VeltraTabWidget[tabStyleType="Transparent"]) and a sizing policy for its tabs.
class TZPLATFORM_EXPORT VeltraTabWidget : public QTabWidget
{
    Q_OBJECT
    Q_PROPERTY(QString tabStyleType READ tabStyleType WRITE SetTabStyleType)

public:
    explicit VeltraTabWidget(QWidget *parent = nullptr);

    void SetTabStyleType(const QString &styleType);
    QString tabStyleType() const { return m_styleType; }
    void SetTabSizePolicy(TabResizePolicy policy);
    void SetTabSize(const QSize &size);

private:
    QString m_styleType;
};
