#include "portfolioslistwidget.h"

#include "constants.h"

#include <QDebug>

PortfoliosListWidget::PortfoliosListWidget(QWidget *parent)
    : TzPluginBaseWidget(parent)
{
    setPluginWidgetTitle(QString::fromUtf8(PortfoliosListConstants::PAGE_TITLE));
    setPluginTitleAccountShowType(0);
    setPluginSystemButtonVisiable(PLUGIN_SYSTEMBUTTON_SETTING, false);
    setPluginSystemButtonVisiable(PLUGIN_SYSTEMBUTTON_COPY, false);
    setPluginSystemButtonVisiable(PLUGIN_SYSTEMBUTTON_REFRESH, false);
}

PortfoliosListWidget::~PortfoliosListWidget()
{
    qDebug() << "PortfoliosListWidget::~PortfoliosListWidget";
}
