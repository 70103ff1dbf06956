#include "portfolioslist.h"
#include "ui_portfolioslist.h"

#include "bdportfolioadd.h"
#include "cdatabase.h"
#include "portfolioslistdelegate.h"
#include "portfolioslistpresenterclass.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioquotemgr.h"
#include "veltrautils.h"
#include "veltrawidget.h"

#include <QContextMenuEvent>
#include <QDebug>
#include <QMenu>
#include <QShortcut>
#include <QTimer>

namespace {
enum Column {
    ColName = 0,
    ColChangeRate = 1,
    ColMarketValue = 2,
    ColCount = 3,
    ColUpLimit = 4,
    ColDownLimit = 5,
    ColSuspended = 6,
    ColParamType = 7,
    ColNumber = 8,
    ColDefaultNum = 9,
    ColCreateTime = 10,
    ColDetail = 12,
};
const char kTrack[] = "Portfolio XN Track:";
}

PortfoliosList::PortfoliosList(QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::PortfoliosList)
{
    ui->setupUi(this);
    ui->tableWidget->SetTableName(QStringLiteral("PortfoliosList"));
    ui->tableWidget->setKeyColumn(ColNumber);
    ui->tableWidget->setSelectionMode(QAbstractItemView::ExtendedSelection);
    ui->tableWidget->setSelectionBehavior(QAbstractItemView::SelectRows);
    ui->tableWidget->setTzTableItemDelegate(new portfolioslistdelegate(this));
    ui->tableWidget->setGridStyle(Qt::PenStyle(3));

    buildMenus();

    m_quoteTimer = new QTimer(this);
    m_quoteTimer->setInterval(2000);
    connect(m_quoteTimer, &QTimer::timeout, this, &PortfoliosList::slotUpdateQuoeData);
    m_quoteTimer->start();
    connect(ui->pushButton, &QPushButton::clicked, this, &PortfoliosList::slotPushbuttonHideClicked);
    connect(ui->tableWidget, &QAbstractItemView::clicked, this, &PortfoliosList::slotTableClicked);
    connect(ui->tableWidget, &QAbstractItemView::doubleClicked, this,
            &PortfoliosList::slotPortfoliosTableViewClicked);
    connect(ui->btn_refresh, &QToolButton::clicked, this, &PortfoliosList::slotBtnRefreshClicked);
    connect(ui->pushButton_posCreate, &QPushButton::clicked, this, [this] { startLiquidation(); });
    connect(ui->pushButton_new, &QPushButton::clicked, this, &PortfoliosList::on_pushButton_new_clicked);
    connect(ui->pushButton_import, &QPushButton::clicked, this, &PortfoliosList::on_pushButton_import_clicked);
    connect(ui->pushButton_type, &QToolButton::clicked, this, &PortfoliosList::on_pushButton_type_clicked);
    // The form calls the edit button "modify"; its handler keeps the spelling "modfiy".
    connect(ui->pushButton_modify, &QPushButton::clicked, this, &PortfoliosList::on_pushButton_modfiy_clicked);
    connect(ui->pushButton_copy, &QPushButton::clicked, this, &PortfoliosList::on_pushButton_copy_clicked);
    connect(ui->pushButton_delete, &QPushButton::clicked, this, &PortfoliosList::on_pushButton_delete_clicked);
    connect(ui->pushButton_pos, &QPushButton::clicked, this, &PortfoliosList::on_pushButton_pos_clicked);

    // Keys a trader expects of a list: Delete removes the selected portfolios (with the
    // same question as the button), F2 renames the current one in place.
    auto *deleteKey = new QShortcut(QKeySequence::Delete, ui->tableWidget);
    deleteKey->setContext(Qt::WidgetShortcut);
    connect(deleteKey, &QShortcut::activated, this, &PortfoliosList::on_pushButton_delete_clicked);
    // Ctrl+N anywhere in the window creates a portfolio by hand, as lists that create
    // things do.
    auto *newKey = new QShortcut(QKeySequence::New, this);
    newKey->setContext(Qt::WindowShortcut);
    connect(newKey, &QShortcut::activated, this, &PortfoliosList::on_pushButton_new_clicked);
    auto *renameKey = new QShortcut(QKeySequence(Qt::Key_F2), ui->tableWidget);
    renameKey->setContext(Qt::WidgetShortcut);
    connect(renameKey, &QShortcut::activated, this, [this] {
        const QModelIndex current = ui->tableWidget->currentIndex();
        if (current.isValid())
            slotPortfoliosTableViewClicked(current.sibling(current.row(), 0));
    });

    ui->pushButton_copy->hide();
    ui->pushButton_modify->hide();
    ui->pushButton_pos->hide();
    ui->btn_refresh->setToolTip(QStringLiteral("刷新组合列表信息"));
    ui->btn_refresh->setIconStyle(QStringLiteral("Refresh"));
    ui->pushButton->setIcon(style()->standardIcon(QStyle::SP_ArrowLeft));
    ui->pushButton_type->setToolTip(QStringLiteral("模板下载"));
    ui->pushButton_type->setIconStyle(QStringLiteral("Help"));
    for (VeltraPushButton *b : {ui->pushButton_new, ui->pushButton_import, ui->pushButton_pos,
                                ui->pushButton_modify, ui->pushButton_copy, ui->pushButton_delete,
                                ui->pushButton_posCreate})
        b->setStyleType(QStringLiteral("Framed"));
    ui->pushButton_posCreate->setToolTip(QStringLiteral("快速提取指定交易账号持仓（A股可用持仓）"));

    bool ok = false;
    const int onOff = CDataBase::GetInstance()
                          ->GetStaticCfgValue(QStringLiteral("PortfolioSysCfg"),
                                              QStringLiteral("ListMarketValueCalcOnoff"))
                          .toInt(&ok, 10);
    m_marketValueOn = ok && onOff == 1;
    m_showType = VeltraUtils::GetCurrentShowType();
}

PortfoliosList::~PortfoliosList()
{
    delete ui;
}

BDPortfolioAdd *PortfoliosList::addDialog() const
{
    return m_addDialog;
}

void PortfoliosList::setPresenter(PortfoliosListPresenterClass *presenter)
{
    m_presenter = presenter;
}

void PortfoliosList::buildMenus()
{
    m_contextMenu = new QMenu(this);
    m_contextMenu->setObjectName(QStringLiteral("PortfoliosListContextMenu"));
    const QStringList items{QStringLiteral("复制"), QStringLiteral("删除"), QStringLiteral("置顶"),
                            QStringLiteral("上移"), QStringLiteral("下移"), QStringLiteral("置底")};
    for (const QString &text : items)
        m_contextMenu->addAction(text);
    connect(m_contextMenu, &QMenu::triggered, this, &PortfoliosList::onContextAction);

    m_templateMenu = new QMenu(this);
    m_templateMenu->setObjectName(QStringLiteral("PortfoliosListTemplateMenu"));
    QAction *normal = m_templateMenu->addAction(QStringLiteral("下载普通组合模板"));
    normal->setObjectName(QStringLiteral("menu_dlNormal"));
    QAction *algo = m_templateMenu->addAction(QStringLiteral("下载算法组合模板"));
    algo->setObjectName(QStringLiteral("menu_dlAlgo"));
    connect(normal, &QAction::triggered, this, &PortfoliosList::on_menu_dlNormal_clicked);
    connect(algo, &QAction::triggered, this, &PortfoliosList::on_menu_dlAlgo_clicked);
}

QString PortfoliosList::formatCount(qint64 value) const
{
    return VeltraUtils::TransQtyShowType(QString::number(double(value), 'f', 0), m_showType);
}

RowRecord PortfoliosList::buildRow(const PortfolioDetailBasicInfo &detail) const
{
    RowRecord row;
    row[ColName][RecordRole::display] = detail.Name();
    row[ColCount][RecordRole::display] = formatCount(detail.SymbolList().size());
    row[ColParamType][RecordRole::display] = detail.PortParamType() == 1 ? QStringLiteral("带参")
                                                                         : QStringLiteral("无参");
    row[ColParamType][RecordRole::user] = detail.PortParamType();
    row[ColNumber][RecordRole::display] = detail.PortfolioNo();
    row[ColDefaultNum][RecordRole::display] = detail.DefaultNum();
    row[ColCreateTime][RecordRole::display] = detail.CreateDate().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    row[ColDetail][RecordRole::user] = QVariant::fromValue(detail);
    return row;
}

void PortfoliosList::fillTable()
{
    QList<RowRecord> rows;
    const QList<PortfolioDetailBasicInfo *> all = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails();
    rows.reserve(all.size());
    for (const PortfolioDetailBasicInfo *detail : all) {
        if (!detail->DeleteFlag())
            rows.append(buildRow(*detail));
    }
    ui->tableWidget->updateRecordDataList(rows);
}

void PortfoliosList::slotCoreDataInitialized(bool bAutoSelect)
{
    fillTable();
    RecordModel *model = ui->tableWidget->recordModel();
    if (!bAutoSelect || model->rowCount() < 1)
        return;
    const int last = model->rowCount() - 1;
    const QString portfolioNo = ui->tableWidget->getRowData(last).value(ColNumber).value(RecordRole::display).toString();
    if (m_presenter)
        m_presenter->PutPortfolioClickEvent(portfolioNo);
    ui->tableWidget->setCurrentIndex(model->index(last, 0), true);
}

void PortfoliosList::slotChangeUpData()
{
    fillTable();
    slotUpdateQuoeData();
}

void PortfoliosList::slotUpdateQuoeData()
{
    if (!m_marketValueOn)
        return;
    PortfolioQuoteMgr *quotes = PortfolioQuoteMgr::GetInstance();
    const QList<PortfolioDetailBasicInfo *> all = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails();
    QVector<PortfolioDetailExtraInfo> extras;
    extras.reserve(all.size());
    for (PortfolioDetailBasicInfo *detail : all) {
        PortfolioDetailExtraInfo extra;
        quotes->CalculateExtraInfo(*detail, extra);
        extras.append(extra);
    }
    for (const PortfolioDetailExtraInfo &extra : qAsConst(extras)) {
        if (ui->tableWidget->getRowByKey(extra.ListID()) < 0)
            continue;  // deleted portfolios have no row
        RowRecord row;
        row[ColNumber][RecordRole::display] = extra.ListID();
        row[ColUpLimit][RecordRole::display] = formatCount(extra.UpLimitCount());
        row[ColDownLimit][RecordRole::display] = formatCount(extra.DownLimitCount());
        row[ColSuspended][RecordRole::display] = formatCount(extra.SuspensionCount());
        row[ColMarketValue][RecordRole::display] =
            VeltraUtils::TransQtyShowType(QString::number(extra.MarketValue(), 'f', 2), m_showType);
        row[ColMarketValue][RecordRole::user] = extra.MarketValue();
        QString rate;
        rate.setNum(extra.ChangeRate() * 100, 'f', 2);
        row[ColChangeRate][RecordRole::display] = rate + QLatin1Char('%');
        row[ColChangeRate][RecordRole::user] = extra.ChangeRate();
        ui->tableWidget->updataRecordData(row);
    }
}

void PortfoliosList::slotPushbuttonHideClicked()
{
    const bool collapse = m_expanded;
    for (QWidget *w : {static_cast<QWidget *>(ui->tableWidget), static_cast<QWidget *>(ui->label),
                       static_cast<QWidget *>(ui->pushButton_type), static_cast<QWidget *>(ui->pushButton_new),
                       static_cast<QWidget *>(ui->pushButton_import), static_cast<QWidget *>(ui->pushButton_pos)})
        w->setVisible(!collapse);
    if (QWidget *parent = parentWidget()) {
        parent->setFixedWidth(collapse ? 35 : 216);
        m_expanded = !collapse;
        ui->pushButton->setIcon(style()->standardIcon(m_expanded ? QStyle::SP_ArrowLeft : QStyle::SP_ArrowRight));
    }
    emit signalsChangeListWgtWidth(false);
}

void PortfoliosList::slotTableClicked(const QModelIndex &index)
{
    const QString portfolioNo =
        ui->tableWidget->getRowData(index.row()).value(ColNumber).value(RecordRole::display).toString();
    qInfo() << kTrack << "Begin Clicked" << portfolioNo;
    m_currentPortfolioNo = portfolioNo;
    if (portfolioNo.isEmpty())
        return;
    if (!m_clickTimer) {
        m_clickTimer = new QTimer(this);
        m_clickTimer->setInterval(50);
        m_clickTimer->setSingleShot(true);
        connect(m_clickTimer, &QTimer::timeout, this, [this] {
            qInfo() << kTrack << "Timer out to PutEvent" << m_currentPortfolioNo;
            if (m_presenter)
                m_presenter->PutPortfolioClickEvent(m_currentPortfolioNo);
            emit signalClickBasketID(m_currentPortfolioNo);
        });
    }
    m_clickTimer->start();
}

void PortfoliosList::slotPortfoliosTableViewClicked(const QModelIndex &index)
{
    if (!index.isValid() || index.column() != ColName)
        return;
    if (mOpenIndex == index) {
        qDebug() << "PortfoliosList::slotPortfoliosTableViewClicked" << " mOpenIndex: " << mOpenIndex
                 << " index: " << index;
        return;
    }
    if (mOpenIndex.isValid()) {
        // As in slotClosePersistentEditor: the closing editor commits and may call back.
        const QModelIndex open = mOpenIndex;
        mOpenIndex = QModelIndex();
        ui->tableWidget->closePersistentEditor(open);
        qDebug() << "PortfoliosList::slotPortfoliosTableViewClicked" << "open row is in" << open << index;
    }
    ui->tableWidget->openPersistentEditor(index);
    ui->tableWidget->setCurrentIndex(index, true);
    mOpenIndex = index;
}

void PortfoliosList::slotClosePersistentEditor()
{
    if (mOpenIndex.row() < 0)
        return;
    // Closing hides the editor, which then loses focus and commits, and the commit ends
    // by calling this slot again: forget the index first so that call finds nothing.
    const QModelIndex open = mOpenIndex;
    mOpenIndex = QModelIndex();
    ui->tableWidget->closePersistentEditor(open);
    ui->tableWidget->setCurrentIndex(open, true);
}

void PortfoliosList::contextMenuEvent(QContextMenuEvent *event)
{
    const QModelIndex under = ui->tableWidget->GetIndexByGlobalPos(event->globalPos());
    if (!under.isValid())
        return;
    m_contextIndex = ui->tableWidget->currentIndex();
    slotTableClicked(m_contextIndex);
    m_contextMenu->popup(event->globalPos());
}

void PortfoliosList::slotBtnRefreshClicked()
{
    emit signalRefreshPortfoliosList();
}

void PortfoliosList::slotTradingAccountChanged(QString tradingAccount, QString fundAccount)
{
    m_tradingAccount = tradingAccount;
    m_fundAccount = fundAccount;
}

void PortfoliosList::slotShowTypeChanged(ShowType showType)
{
    m_showType = showType;
}

void PortfoliosList::slotQuationUpdated(TzPortfolioQuote quotaData)
{
    // The list's figures are recomputed for all portfolios by the 2-second timer, never
    // per quote; an open creation dialog may be waiting for prices.
    if (m_addDialog)
        m_addDialog->slotQuotationUpdated(quotaData);
}
