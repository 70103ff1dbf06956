#include "pageframe.h"

#include "tzpluginbasewidget.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

PageFrame::PageFrame(TzPluginBaseWidget *page, QWidget *parent)
    : QWidget(parent)
    , m_page(page)
{
    setObjectName(QStringLiteral("PageFrame"));
    auto *bar = m_bar = new QWidget(this);
    bar->setObjectName(QStringLiteral("PageTitleBar"));
    auto *barLayout = new QHBoxLayout(bar);
    barLayout->setContentsMargins(8, 2, 4, 2);
    m_title = new QLabel(bar);
    m_title->setObjectName(QStringLiteral("PageTitle"));
    barLayout->addWidget(m_title);
    barLayout->addStretch(1);
    const QList<QPair<QString, QString>> buttons = {
        {PLUGIN_SYSTEMBUTTON_SETTING, QStringLiteral("设置")},
        {PLUGIN_SYSTEMBUTTON_COPY, QStringLiteral("复制")},
        {PLUGIN_SYSTEMBUTTON_REFRESH, QStringLiteral("刷新")},
        {PLUGIN_SYSTEMBUTTON_CLOSE, QStringLiteral("关闭")}};
    for (const auto &b : buttons) {
        auto *button = new QToolButton(bar);
        button->setObjectName(b.first);
        button->setText(b.second);
        button->setAutoRaise(true);
        barLayout->addWidget(button);
        m_buttons.append(button);
        if (b.first == PLUGIN_SYSTEMBUTTON_CLOSE)
            connect(button, &QToolButton::clicked, this, &PageFrame::closeRequested);
    }

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(bar);
    page->setParent(this);
    layout->addWidget(page, 1);
    connect(page, &TzPluginBaseWidget::pluginTitleChanged, this, &PageFrame::syncTitleBar);
    syncTitleBar();
}

void PageFrame::syncTitleBar()
{
    m_title->setText(m_page->pluginWidgetTitle());
    for (QToolButton *button : qAsConst(m_buttons))
        button->setVisible(m_page->pluginSystemButtonVisible(button->objectName()));
}

void PageFrame::setCompact(bool compact)
{
    m_compact = compact;
    m_bar->setVisible(!compact);
}
