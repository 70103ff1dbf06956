#pragma once

#include "tzpluginbasewidget.h"

#include <QVariantList>

// The portfolio list page: hosts the presenter and the list view and wires them.
class PortfoliosListWidget : public TzPluginBaseWidget
{
    Q_OBJECT

public:
    explicit PortfoliosListWidget(QWidget *parent = nullptr);
    ~PortfoliosListWidget() override;

signals:
    void SubscribeQuotes(const QVariantList &symbols);
    void InitCoreDataSingnal();
};
