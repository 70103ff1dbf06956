#pragma once

#include "tzpluginbasewidget.h"

#include <QPointer>
#include <QVariantList>

class PortfoliosList;
#include "portfolioslistpresenterclass.h"

// The portfolio list page: hosts the presenter and the list view and wires them.
class PortfoliosListWidget : public TzPluginBaseWidget
{
    Q_OBJECT

public:
    explicit PortfoliosListWidget(QWidget *parent = nullptr);
    ~PortfoliosListWidget() override;

    // Set-up the host calls once after construction: presenter, list, connections.
    void initPluginWidget() override;

    PortfoliosListPresenterClass *presenter() const { return m_presenter; }
    PortfoliosList *list() const { return m_list; }

signals:
    void SubscribeQuotes(const QVariantList &symbols);
    void InitCoreDataSingnal();

private:
    QPointer<PortfoliosListPresenterClass> m_presenter;
    PortfoliosList *m_list = nullptr;
};
