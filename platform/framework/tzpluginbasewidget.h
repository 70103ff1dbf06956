#pragma once

#include "tzplatform_global.h"

#include <QHash>
#include <QWidget>

class QLabel;

// Names of the title-bar buttons the host draws for every page.
inline const QString PLUGIN_SYSTEMBUTTON_SETTING = QStringLiteral("setting");
inline const QString PLUGIN_SYSTEMBUTTON_COPY = QStringLiteral("copy");
inline const QString PLUGIN_SYSTEMBUTTON_REFRESH = QStringLiteral("refresh");
inline const QString PLUGIN_SYSTEMBUTTON_CLOSE = QStringLiteral("close");

// Base class of plugin pages. The host frames the page with a title bar (title,
// account display, system buttons) built from what the page sets here, and calls
// initPluginWidget once after construction, before the page is shown.
class TZPLATFORM_EXPORT TzPluginBaseWidget : public QWidget
{
    Q_OBJECT

public:
    explicit TzPluginBaseWidget(QWidget *parent = nullptr);
    ~TzPluginBaseWidget() override;

    void setPluginWidgetTitle(const QString &title);
    QString pluginWidgetTitle() const { return m_title; }
    void setPluginTitleAccountShowType(int type);
    int pluginTitleAccountShowType() const { return m_accountShowType; }
    void setPluginSystemButtonVisiable(const QString &name, bool visible);
    bool pluginSystemButtonVisible(const QString &name) const;

    // Instance id the host gave this page ("TZApp.PortfoliosList#1") and the menu id
    // derived from it.
    QString pluginInstanceID() const { return m_instanceId; }
    void setPluginInstanceID(const QString &id) { m_instanceId = id; }
    static QString getMenuIDByPluginInstanceID(const QString &instanceId);

    // 0 = idle; any other value shows a busy overlay over the page until idle again.
    void setLoadingState(int state);
    int loadingState() const { return m_loadingState; }

    virtual void initPluginWidget();

signals:
    void pluginTitleChanged();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    QString m_title;
    int m_accountShowType = 0;
    QHash<QString, bool> m_systemButtons;
    QString m_instanceId;
    int m_loadingState = 0;
    QLabel *m_busyOverlay = nullptr;
};
