#include "tzpluginbasewidget.h"

#include <QLabel>
#include <QResizeEvent>

TzPluginBaseWidget::TzPluginBaseWidget(QWidget *parent)
    : QWidget(parent)
{
    for (const QString &name : {PLUGIN_SYSTEMBUTTON_SETTING, PLUGIN_SYSTEMBUTTON_COPY,
                                PLUGIN_SYSTEMBUTTON_REFRESH, PLUGIN_SYSTEMBUTTON_CLOSE})
        m_systemButtons.insert(name, true);
}

TzPluginBaseWidget::~TzPluginBaseWidget() = default;

void TzPluginBaseWidget::setPluginWidgetTitle(const QString &title)
{
    m_title = title;
    setWindowTitle(title);
    emit pluginTitleChanged();
}

void TzPluginBaseWidget::setPluginTitleAccountShowType(int type)
{
    m_accountShowType = type;
    emit pluginTitleChanged();
}

void TzPluginBaseWidget::setPluginSystemButtonVisiable(const QString &name, bool visible)
{
    m_systemButtons.insert(name, visible);
    emit pluginTitleChanged();
}

bool TzPluginBaseWidget::pluginSystemButtonVisible(const QString &name) const
{
    return m_systemButtons.value(name, false);
}

QString TzPluginBaseWidget::getMenuIDByPluginInstanceID(const QString &instanceId)
{
    // The menu id is the instance id without the host's instance counter.
    const int hash = instanceId.indexOf(QLatin1Char('#'));
    return QStringLiteral("menu.") + (hash < 0 ? instanceId : instanceId.left(hash));
}

void TzPluginBaseWidget::setLoadingState(int state)
{
    m_loadingState = state;
    if (state == 0) {
        if (m_busyOverlay)
            m_busyOverlay->hide();
        return;
    }
    if (!m_busyOverlay) {
        m_busyOverlay = new QLabel(QStringLiteral("正在加载…"), this);
        m_busyOverlay->setObjectName(QStringLiteral("TzPluginBusyOverlay"));
        m_busyOverlay->setAlignment(Qt::AlignCenter);
        m_busyOverlay->setStyleSheet(QStringLiteral(
            "QLabel#TzPluginBusyOverlay { background: rgba(20, 24, 32, 160); color: white; }"));
    }
    m_busyOverlay->setGeometry(rect());
    m_busyOverlay->raise();
    m_busyOverlay->show();
}

void TzPluginBaseWidget::initPluginWidget()
{
}

void TzPluginBaseWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (m_busyOverlay)
        m_busyOverlay->setGeometry(rect());
}
