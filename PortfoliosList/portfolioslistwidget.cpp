#include "portfolioslistwidget.h"

#include "constants.h"
#include "portfolioslist.h"
#include "portfolioslistpresenterclass.h"

#include <QDebug>
#include <QHBoxLayout>
#include <QMetaType>


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
    if (m_list && m_presenter)
        disconnect(m_list, SIGNAL(SubscribeQuotes(const QVariantList &)), m_presenter,
                   SLOT(slotSubscribeSecurityQuotation(const QVariantList &)));
    if (m_presenter)
        m_presenter->deleteLater();
}

void PortfoliosListWidget::initPluginWidget()
{
    if (m_presenter)
        return;
    qRegisterMetaType<TzPortfolioQuote>("TzPortfolioQuote");
    qRegisterMetaType<QList<QMap<int, QVariantMap> > >("QList<QMap<int, QVariantMap>>");
    qRegisterMetaType<QList<QMap<int, QVariantMap> > >("QList<QMap<int, QVariantMap>>&");
    QMetaType::registerConverter<QList<QMap<int, QVariantMap> >, QVariantList>(
        [](const QList<QMap<int, QVariantMap> > &list) {
            QVariantList out;
            for (const auto &row : list)
                out.append(QVariant::fromValue(row));
            return out;
        });
    qRegisterMetaType<ShowType>("ShowType");
    // The basket trees the list hands to the creation dialog.
    qRegisterMetaType<QList<QMap<int, QMap<QString, QVariant> > > >(
        "QList<QMap<int,QMap<QString,QVariant> > >");
    qRegisterMetaType<QList<QMap<int, QMap<QString, QVariant> > > >("QList<RowRecord>");

    m_list = new PortfoliosList(this);
    auto *layout = new QHBoxLayout(this);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_list);

    m_presenter = new PortfoliosListPresenterClass;
    m_presenter->setMenuID(getMenuIDByPluginInstanceID(pluginInstanceID()));
    m_presenter->registerMessages();
    m_list->setPresenter(m_presenter);

    connect(m_list, SIGNAL(SubscribeQuotes(const QVariantList &)), m_presenter,
            SLOT(slotSubscribeSecurityQuotation(const QVariantList &)));

    PortfoliosListPresenterClass *p = m_presenter;
    PortfoliosList *l = m_list;
    // Both arrive after the store changed: the list changes the one row concerned (an
    // empty number after a reload: every row).
    connect(p, &PortfoliosListPresenterClass::OnPortfolioNewOrCreate, l, &PortfoliosList::slotPortfolioUpdated);
    connect(p, &PortfoliosListPresenterClass::OnPortfolioDelete, l, &PortfoliosList::slotPortfolioRemoved);
    connect(p, &PortfoliosListPresenterClass::CoreDataInitialized, l, &PortfoliosList::slotCoreDataInitialized);
    connect(this, &PortfoliosListWidget::InitCoreDataSingnal, p, &PortfoliosListPresenterClass::slotInitCoreData);
    connect(p, &PortfoliosListPresenterClass::signalAllETFListLoaded, l, &PortfoliosList::slotAllETFListLoaded);
    connect(p, &PortfoliosListPresenterClass::signalInitTreeViewsDataFinished, l,
            &PortfoliosList::slotInitTreeViewsDataFinished);
    connect(l, &PortfoliosList::signalQueryPositionInfo, p,
            &PortfoliosListPresenterClass::slotQueryPositionInfoAndFundInfo);
    connect(p, &PortfoliosListPresenterClass::signalPositionListUpdate, l, &PortfoliosList::slotPositionListUpdate);
    connect(p, &PortfoliosListPresenterClass::quotationInfoUpdate, l, &PortfoliosList::slotQuationUpdated);
    connect(p, &PortfoliosListPresenterClass::signalSecurityLoanInfoUpdated, l,
            &PortfoliosList::slotSecurityLoanUpdated);
    connect(l, &PortfoliosList::signalQueryMarginInfo, p, &PortfoliosListPresenterClass::slotQurMarginInfoData);
    // The request names only the date; the account is the one the return page shows.
    connect(l, &PortfoliosList::signalQueryCouponInfo, p, [p, l](QString strTime) {
        p->slotQueryCouponInfo(l->voucherAccount(), strTime);
    });
    connect(p, &PortfoliosListPresenterClass::signalShowTypeChanged, l, &PortfoliosList::slotShowTypeChanged);
    connect(p, &PortfoliosListPresenterClass::signalCouponInfoInfoUpdated, l,
            &PortfoliosList::slotCouponInfoInfoUpdated);
    connect(p, &PortfoliosListPresenterClass::signalShowWarningMsg, l, &PortfoliosList::slotShowWarningMsg);
    connect(p, &PortfoliosListPresenterClass::signalCreateWarning, l, &PortfoliosList::slotCreateWarning);
    connect(l, &PortfoliosList::signalCreateClipboardPortfolio, p,
            &PortfoliosListPresenterClass::slotCreateClipboardPortfolio);
    connect(l, &PortfoliosList::signalRefreshPortfoliosList, p, &PortfoliosListPresenterClass::slotRefreshPortfoliosList);
    connect(p, &PortfoliosListPresenterClass::signalDataLoadState, this, [this](int iState) {
        setLoadingState(iState);
    });
    connect(p, &PortfoliosListPresenterClass::signalTradingAccountChanged, l,
            &PortfoliosList::slotTradingAccountChanged);

    emit InitCoreDataSingnal();
}
