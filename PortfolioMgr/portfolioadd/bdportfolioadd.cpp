#include "bdportfolioadd.h"
#include "ui_bdportfolioadd.h"

#include "bdportfolioadddelegate.h"
#include "cbusinessdatabase.h"
#include "cdefaultporfoliodelegate.h"
#include "characttip.h"
#include "etflogichandler.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "infocenterdatamanagerinterface.h"
#include "portfolioaddrows.h"
#include "portfolioinfomgr.h"
#include "portfoliolistbasicinfo.h"
#include "portfolionamerule.h"
#include "positionportfolioadd.h"
#include "securitycatalog.h"
#include "veltrautils.h"
#include "veltrawidget.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDate>
#include <QDebug>
#include <QHeaderView>
#include <QShortcut>
#include <QPointer>
#include <algorithm>
#include <future>
#include <vector>

using namespace PortfolioAddRows;

namespace {

const QString kNewName = QStringLiteral("新建组合");
const QString kRebalanceName = QStringLiteral("调仓组合");
const QString kPositionName = QStringLiteral("批量减持组合");
const QString kNoData = QStringLiteral("组合创建失败：未选择数据或数据为空。");
const QString kNoItems = QStringLiteral("组合创建失败：获取表格数据失败。");

// A component fetch still running when its dialog goes away (or a newer double-click
// replaces it) is parked here, so that neither ever waits for it (a std::async future
// blocks in its destructor); it ends on its own. Used on the GUI thread only.
std::vector<std::future<void>> g_parked;

void park(std::future<void> future)
{
    if (!future.valid())
        return;
    g_parked.erase(std::remove_if(g_parked.begin(), g_parked.end(),
                                  [](const std::future<void> &f) {
                                      return f.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
                                  }),
                   g_parked.end());
    g_parked.push_back(std::move(future));
}

// The securities the code search box offers: every listed security of a type portfolios
// trade, less the restricted ones.
QStringList searchableSymbols()
{
    const QStringList types{SecurityType::mainBoard, SecurityType::star, SecurityType::chinext,
                            SecurityType::bse, SecurityType::etf, SecurityType::hkConnect,
                            SecurityType::convertible};
    QStringList symbols = CBusinessDataBase::GetInstance()->GetAllSymbolByType(types);
    const PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    symbols.erase(std::remove_if(symbols.begin(), symbols.end(),
                                 [store](const QString &s) { return store->checkPortfolioSecurity(s); }),
                  symbols.end());
    return symbols;
}

} // namespace

BDPortfolioAdd::BDPortfolioAdd(QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::BDPortfolioAdd)
{
    ui->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);

    m_showType = VeltraUtils::GetCurrentShowType();
    ui->m_pNumberEdit->SetShowType(m_showType);
    ui->m_pNumberEdit->setMinimum(1);  // a single order of nothing is no default

    initTables();
    init();
    initAccountPages();

    ui->pushButton_confirm->setStyleType(QStringLiteral("Highlight"));
    ui->pushButton_cance->setStyleType(QStringLiteral("Framed"));
    ui->pushButton_delete->setStyleType(QStringLiteral("Text"));
    ui->pushButton_PRImport->setStyleType(QStringLiteral("Text"));
    ui->pushButton_PRExportTemplate->setStyleType(QStringLiteral("Text"));
    ui->pushButton_ShortSaleSearch->setStyleType(QStringLiteral("Framed"));
    ui->pushButton_VoucherSearch->setStyleType(QStringLiteral("Framed"));
    ui->pushButton_PosRefresh->setStyleType(QStringLiteral("fillBlue"));

    makeConnections();
    ui->tabWidget->setCurrentIndex(0);
    ui->tabWidget->SetTabStyleType(QStringLiteral("Transparent"));
    ui->tabWidget->SetTabSizePolicy(TabResizePolicy(2));
    ui->tabWidget->SetTabSize(QSize(80, 20));

    // The index-constituent page is built and wired, and not offered.
    ui->tabWidget->removeTab(6);

    ui->m_pNameEdit->setMaxLength(PortfolioNameRule::maxLength);
    ui->label_3->hide();
    ui->m_pStrategyEdit->hide();
}

BDPortfolioAdd::~BDPortfolioAdd()
{
    park(std::move(m_etfFetch));
    delete ui;
}

void BDPortfolioAdd::initBasketPage(TzTableView *table, const QString &tableName)
{
    table->SetTableName(tableName);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table->setCheckBoxEnabled(true);
    table->setGridStyle(Qt::PenStyle(3));
    for (int column = Code; column <= Market; ++column)
        table->recordModel()->setColumnAlignment(column, Qt::Alignment(132));
    table->setTzTableItemDelegate(m_basketDelegate);
    table->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
}

void BDPortfolioAdd::initTables()
{
    TzTableView *table = ui->tableView_Default;
    table->SetTableName(QStringLiteral("Portfolios/AddDefaultPortfolios"));
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_defaultDelegate = new CDefaultPorfoliodelegate(m_showType, this);
    table->setTzTableItemDelegate(m_defaultDelegate);
    // Typing on a quantity or weight cell starts its edit with that key, as in a sheet;
    // double-click (slotTableItemDoubleClicked) and F2 open the editor too, Delete removes
    // the selected lines. An open editor keeps its keys: the shortcuts act on the table.
    table->setEditTriggers(QAbstractItemView::AnyKeyPressed);
    auto *deleteKey = new QShortcut(QKeySequence::Delete, table);
    deleteKey->setContext(Qt::WidgetShortcut);
    connect(deleteKey, &QShortcut::activated, this, &BDPortfolioAdd::onDeleteTableRow);
    auto *editKey = new QShortcut(QKeySequence(Qt::Key_F2), table);
    editKey->setContext(Qt::WidgetShortcut);
    connect(editKey, &QShortcut::activated, this,
            [this, table] { slotTableItemDoubleClicked(table->currentIndex()); });

    m_basketDelegate = new BDPortfolioAddDelegate(Quantity, m_showType, this);
    initBasketPage(ui->tableWidget_ETF, QStringLiteral("Portfolios/AddETFPortfolios"));
    initBasketPage(ui->tableWidget_index_SW, QStringLiteral("Portfolios/AddSWPortfolios"));
    initBasketPage(ui->tableWidget_index, QStringLiteral("Portfolios/AddIndexPortfolios"));

    for (TzTreeView *tree : {ui->treeView_ETF, ui->treeView_index_SW, ui->treeView_index})
        tree->setHeaderTitles({QStringLiteral("待选范围")});
    ui->treeView_ETF->setRootIsDecorated(true);
    ui->treeView_ETF->header()->setDefaultSectionSize(80);
    ui->treeView_ETF->setColumnWidth(0, 120);
    ui->treeView_ETF->header()->setDefaultAlignment(Qt::Alignment(129));

    ui->tableView_ShortSale->SetTableName(QStringLiteral("Portfolios/AddShortSalePortfolios"));
    ui->tableView_Voucher->SetTableName(QStringLiteral("Portfolios/AddVoucherPortfolios"));
    ui->tableView_PR->SetTableName(QStringLiteral("Portfolios/AddPRPortfolios"));
    ui->tableView_Pos->SetTableName(QStringLiteral("Portfolios/AddPositionPortfolios"));
    for (TzTableView *t : {ui->tableView_ShortSale, ui->tableView_Voucher, ui->tableView_PR, ui->tableView_Pos}) {
        t->setSelectionBehavior(QAbstractItemView::SelectRows);
        t->setCheckBoxEnabled(true);
        t->setSerialNumberVisible(true);
    }
    ui->tableView_PR->setSelectionBehavior(QAbstractItemView::SelectRows);
    ui->tableView_PR->setEnabled(false);

    // The return-security page is built with the others and not offered.
    ui->tabWidget->removeTab(ui->tabWidget->indexOf(ui->tab_OneKeyVoucher));
}

void BDPortfolioAdd::init()
{
    ui->tableView_Default->clear();
    ui->checkBox_bySide->setChecked(false);
    ui->checkBox_bySide->hide();

    ui->cmb_PosTarType->clear();
    ui->cmb_PosTarType->addItem(style()->standardIcon(QStyle::SP_FileDialogListView),
                                QStringLiteral("仅限A股"), 0);
    ui->cmb_PosTarType->addItem(style()->standardIcon(QStyle::SP_FileDialogDetailedView),
                                QStringLiteral("仅限港股通"), 1);
    ui->cmb_PosTarType->addItem(style()->standardIcon(QStyle::SP_FileDialogContentsView),
                                QStringLiteral("A股+港股通"), 2);
    ui->widget_PosTarType->hide();

    ui->tabWidget->setCurrentIndex(0);
    setFreeName(kNewName);
    ui->m_pStrategyEdit->setText(QStringLiteral("无"));
    ui->m_pNumberEdit->setValue(1000);

    ui->m_pCodeLineEdit->setSymbolList(searchableSymbols());
    ui->m_pCodeLineEdit->setMinMatchLength(6);
    ui->m_pCodeLineEdit->setContextMenuPolicy(Qt::NoContextMenu);

    ui->dateEdit_Voucher->setDate(QDate::currentDate());
}

void BDPortfolioAdd::makeConnections()
{
    connect(ui->pushButton_confirm, &QPushButton::clicked, this, &BDPortfolioAdd::onpushbtn_confirm_slot);
    connect(ui->pushButton_cance, &QPushButton::clicked, this, &BDPortfolioAdd::onpushbtn_cancel_slot);
    connect(ui->pushButton_delete, &QPushButton::clicked, this, &BDPortfolioAdd::onDeleteTableRow);
    connect(ui->m_pCodeLineEdit, &TzSearchBox::signalSymbolSelected, this, &BDPortfolioAdd::onInsertTableDataSLot);
    connect(ui->tabWidget, &QTabWidget::currentChanged, this, &BDPortfolioAdd::slotTabWidgetIndexChanged);

    connect(ui->tableView_Default, &QAbstractItemView::clicked, this, &BDPortfolioAdd::slotTableClicked);
    connect(ui->tableView_Default, &QAbstractItemView::doubleClicked, this,
            &BDPortfolioAdd::slotTableItemDoubleClicked);
    connect(m_defaultDelegate, &CDefaultPorfoliodelegate::signalDataChanged, this,
            &BDPortfolioAdd::slotUpdateNummber);

    connect(ui->treeView_ETF, &QAbstractItemView::doubleClicked, this, &BDPortfolioAdd::slotETFTreeDoubleClicked);
    connect(ui->treeView_index_SW, &QAbstractItemView::doubleClicked, this,
            &BDPortfolioAdd::slotSWTreeDoubleClicked);
    connect(this, &BDPortfolioAdd::singnalGetETFComponentList, this, &BDPortfolioAdd::slotGetETFComponentList);
    connect(m_basketDelegate, &BDPortfolioAddDelegate::signalAmountChanged, this, [this](const QModelIndex &index) {
        // Only the tables with weight columns; a short-sale quantity has no weight.
        if (auto *table = qobject_cast<TzTableView *>(tableOfPage(ui->tabWidget->currentIndex())))
            if (table->recordModel() == index.model() && table != ui->tableView_ShortSale)
                refreshAbsWeights(table);
    });

    for (TzTableView *table : {ui->tableView_Default, ui->tableWidget_ETF, ui->tableWidget_index_SW,
                               ui->tableWidget_index, ui->tableView_Pos, ui->tableView_ShortSale}) {
        connect(table, &QAbstractItemView::clicked, this, &BDPortfolioAdd::slotCharaterTableIndexClicked);
        connect(table, &QAbstractItemView::doubleClicked, this, &BDPortfolioAdd::slotCharaterTableIndexDoubleClicked);
        connect(table->recordModel(), &RecordModel::checkStateChanged, this,
                &BDPortfolioAdd::slotRowCheckStatusChanged);
        connect(table->recordModel(), &QAbstractItemModel::modelReset, this, &BDPortfolioAdd::updateSelectionLabel);
    }
    connect(ui->tableView_Pos, &QAbstractItemView::clicked, this, &BDPortfolioAdd::slotPositionClicked);

    connectAccountPages();
}

TzTableView *BDPortfolioAdd::tableOfPage(int page) const
{
    switch (page) {
    case PageDefault:
        return ui->tableView_Default;
    case PageShortSale:
        return ui->tableView_ShortSale;
    case PageRebalance:
        return ui->tableView_PR;
    case PagePosition:
        return ui->tableView_Pos;
    case PageEtf:
        return ui->tableWidget_ETF;
    case PageIndustry:
        return ui->tableWidget_index_SW;
    default:
        return nullptr;
    }
}

void BDPortfolioAdd::setFreeName(const QString &prefix)
{
    QString name = prefix;
    PortfolioListBasicInfo::GetInstance()->CheckPortfolioName(name, name);
    ui->m_pNameEdit->setText(name);
}

void BDPortfolioAdd::setMode(int mode)
{
    ui->tabWidget->setCurrentIndex(mode == 1 ? PageRebalance : PageDefault);
    // The name is proposed already; by hand, a trader starts with the first code.
    if (mode != 1)
        ui->m_pCodeLineEdit->setFocus();
}

void BDPortfolioAdd::setSWTreeData(const QList<RowRecord> &roots)
{
    ui->treeView_index_SW->updateRecordDataList(roots);
}

void BDPortfolioAdd::onAddPortfolioAccepted(const QString &portfolioNo)
{
    qInfo().noquote() << "BDPortfolioAdd::onAddPortfolioAccepted" << portfolioNo;
    m_answer = Answer::Accepted;
}

void BDPortfolioAdd::onAddPortfolioFailed(const QString &reason)
{
    qInfo().noquote() << "BDPortfolioAdd::onAddPortfolioFailed" << reason;
    m_answer = Answer::Refused;
    m_busy = false;
}

void BDPortfolioAdd::slotTabWidgetIndexChanged(int index)
{
    ui->checkBox_bySide->hide();
    ui->widget_PosTarType->hide();
    setFreeName(kNewName);
    if (TzTableView *table = tableOfPage(index)) {
        if (table->recordModel()->isCheckable())
            table->setAllCheckBoxChecked(false);
    }
    const bool defaultQuantity = index == PageDefault || index == PageIndustry;
    ui->label_7->setVisible(defaultQuantity);
    ui->m_pNumberEdit->setVisible(defaultQuantity);
    switch (index) {
    case PageShortSale:
        ui->cmb_ShortSaleAccount->setMouseTracking(true);
        break;
    case PageRebalance:
        ui->checkBox_bySide->show();
        ui->widget_PosTarType->show();
        // The weight form: weights, target amount and price basis.
        ui->cmb_PRFileType->setCurrentIndex(ui->cmb_PRFileType->findData(1));
        setFreeName(kRebalanceName);
        break;
    case PagePosition:
        ui->widget_PosTarType->show();
        ui->cmb_PosTarType->setEnabled(true);
        setFreeName(kPositionName);
        slotBtnRefreshPosTableClicked();
        ui->cmb_PosAccount->setMouseTracking(true);
        break;
    default:
        break;
    }
    updateSelectionLabel();
}

void BDPortfolioAdd::onpushbtn_cancel_slot()
{
    emit singnalPushBtnClose();
    close();
}

void BDPortfolioAdd::onInsertTableDataSLot(QString symbol, QString market)
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    const PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    if (!s || store->checkPortfolioSecurity(symbol) || !store->IsSupportSecurity(symbol)) {
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合创建失败：证券%1不可用于组合交易。").arg(symbol), this);
        return;
    }
    const QStringList markets = CBusinessDataBase::GetInstance()->GetSecurityExchangeBySymbol(symbol);
    if (market.isEmpty() || !markets.contains(market))
        market = markets.value(0);

    TzTableView *table = ui->tableView_Default;
    const QList<RowRecord> rows = table->getViewData();
    auto inTable = [&](const QString &m) {
        for (const RowRecord &row : rows) {
            if (row.value(Code).value(RecordRole::display).toString() == s->code && marketOf(row) == m)
                return true;
        }
        return false;
    };
    if (inTable(market)) {
        QString other;
        if (markets.size() > 1) {
            for (const QString &m : markets) {
                if (m != market && !inTable(m)) {
                    other = m;
                    break;
                }
            }
        }
        if (other.isEmpty()) {
            VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合创建失败：存在相同代码（+市场）：%1 （%2）。")
                                              .arg(s->code, marketName(market)),
                                          this);
            return;
        }
        market = other;
    }
    table->addRecordData(securityRow(*s, market, 0, 1.0, OrderSide::buy, m_showType, m_defaultDelegate->unlimited()));
    refreshAbsWeights(table);
    const QModelIndex added = table->recordModel()->index(table->recordModel()->rowCount() - 1, Quantity);
    table->setCurrentIndex(added, true);
}

void BDPortfolioAdd::onDeleteTableRow()
{
    TzTableView *table = ui->tableView_Default;
    QList<int> rows;
    for (const QModelIndex &index : table->selectionModel()->selectedRows())
        rows.append(index.row());
    if (rows.isEmpty()) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("请选择要删除的数据"), this);
        return;
    }
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    for (int row : qAsConst(rows))
        table->deleteRecordData(row);
    m_defaultClickedIndex = QModelIndex();
    refreshAbsWeights(table);
}

void BDPortfolioAdd::refreshAbsWeights(TzTableView *table)
{
    QList<RowRecord> rows = table->getViewData();
    recomputeAbsWeights(rows);
    RecordModel *model = table->recordModel();
    for (int r = 0; r < rows.size(); ++r) {
        const QMap<QString, QVariant> cell = rows.at(r).value(AbsWeight);
        const QModelIndex index = model->index(r, AbsWeight);
        if (index.data(Qt::UserRole) == cell.value(RecordRole::user))
            continue;
        model->setData(index, cell.value(RecordRole::display), Qt::DisplayRole);
        model->setData(index, cell.value(RecordRole::user), Qt::UserRole);
    }
}

void BDPortfolioAdd::slotUpdateNummber(const QModelIndex &index)
{
    TzTableView *table = ui->tableView_Default;
    if (index.model() != table->recordModel())
        return;
    if (index.column() == RelWeight) {
        // A weight typed while every line has a quantity would change nothing (quantities
        // decide then): the line is weighted instead, its quantity set back to 0.
        const QList<RowRecord> rows = table->getViewData();
        const bool quantitiesDecide = std::all_of(rows.cbegin(), rows.cend(),
                                                  [](const RowRecord &r) { return quantityOf(r) > 0; });
        if (quantitiesDecide) {
            RowRecord row;
            setQuantity(row, 0, m_showType);
            const QModelIndex quantity = index.sibling(index.row(), Quantity);
            table->recordModel()->setData(quantity, row[Quantity][RecordRole::display], Qt::DisplayRole);
            table->recordModel()->setData(quantity, row[Quantity][RecordRole::user], Qt::UserRole);
        }
    }
    refreshAbsWeights(table);
}

void BDPortfolioAdd::slotTableClicked(const QModelIndex &index)
{
    m_defaultClickedIndex = index;
}

void BDPortfolioAdd::slotTableItemDoubleClicked(const QModelIndex &index)
{
    if (!index.isValid() || index.column() < Market || index.column() > RelWeight)
        return;
    ui->tableView_Default->edit(index);
}

void BDPortfolioAdd::slotCharaterTableIndexClicked(const QModelIndex &index)
{
    if (index.isValid() && index.column() == Name)
        showSecurityTip(index);
}

void BDPortfolioAdd::slotCharaterTableIndexDoubleClicked(const QModelIndex &index)
{
    if (index.isValid() && index.column() == Name)
        showSecurityTip(index);
}

void BDPortfolioAdd::showSecurityTip(const QModelIndex &index)
{
    const QString symbol = index.sibling(index.row(), Code).data(Qt::UserRole).toString();
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return;
    QStringList lines{QStringLiteral("证券名称：%1").arg(s->name),
                      QStringLiteral("证券代码：%1").arg(s->symbol),
                      QStringLiteral("交易市场：%1").arg(index.sibling(index.row(), Market).data().toString()),
                      QStringLiteral("证券类别：%1").arg(s->type)};
    const QString industry = InfoCenterDataManagerInterface::getSymbolIndustryInfoMap().value(symbol);
    if (!industry.isEmpty())
        lines << QStringLiteral("申万行业：%1").arg(InfoCenterDataManagerInterface::getTriLevelCodeAndNameMap().value(industry));
    lines << QStringLiteral("昨收价：%1").arg(s->preClosePx, 0, 'f', s->preClosePx < 10 ? 3 : 2);
    if (s->suspended)
        lines << QStringLiteral("停牌中");
    if (!m_tip) {
        m_tip = new CharactTip(this);
        m_tip->setTitle(QStringLiteral("提示"));
    }
    m_tip->setText(lines.join(QLatin1Char('\n')));
    m_tip->showAt(QCursor::pos());
}

void BDPortfolioAdd::slotRowCheckStatusChanged(int, bool)
{
    updateSelectionLabel();
}

void BDPortfolioAdd::updateSelectionLabel()
{
    TzTableView *table = tableOfPage(ui->tabWidget->currentIndex());
    if (!table || !table->recordModel()->isCheckable() || table->recordModel()->rowCount() == 0) {
        ui->label_selection->clear();
        return;
    }
    ui->label_selection->setText(QStringLiteral("已选 %1 / %2")
                                     .arg(table->getCheckedRows().size())
                                     .arg(table->recordModel()->rowCount()));
}

void BDPortfolioAdd::slotRelodadETFList(QList<QMap<int, QMap<QString, QVariant> > > etfRootMapList)
{
    ui->treeView_ETF->updateRecordDataList(etfRootMapList);
    ui->treeView_ETF->expandToDepth(0);
}

void BDPortfolioAdd::slotETFTreeDoubleClicked(const QModelIndex &index)
{
    const RowRecord record = ui->treeView_ETF->getRowData(index);
    if (record.isEmpty()) {
        qDebug() << "BDPortfolioAdd::slotETFTreeDoubleClicked" << "recordMap is emtpy, return";
        return;
    }
    const QString code = record.value(0).value(Security::securityID).toString();
    const QString symbol = record.value(0).value(Security::symbol).toString();
    if (code.isEmpty())
        return;  // the "ETF组合" root
    m_currentEtfCode = code;
    m_currentEtfSymbol = symbol;
    qInfo() << "BDPortfolioAdd::slotETFTreeDoubleClicked fetching components of" << symbol;

    // The basket is fetched and turned into rows off the GUI thread; the answer comes back
    // through the application's event loop and reaches this dialog only if it still exists.
    QPointer<BDPortfolioAdd> guard(this);
    const ShowType showType = m_showType;
    park(std::move(m_etfFetch));
    m_etfFetch = std::async(std::launch::async, [guard, code, symbol, showType] {
        const QList<QVariantMap> components = ETFLogicHandler::instance().getEtfComponentList(symbol);
        QList<RowRecord> rows;
        rows.reserve(components.size());
        for (const QVariantMap &component : components) {
            RowRecord row = basketRow(component, showType);
            if (!row.isEmpty())
                rows.append(row);
        }
        recomputeAbsWeights(rows);
        QCoreApplication *app = QCoreApplication::instance();
        if (!app)
            return;
        QMetaObject::invokeMethod(app, [guard, code, rows] {
            if (guard)
                emit guard->singnalGetETFComponentList(code, rows);
        }, Qt::QueuedConnection);
    });
}

void BDPortfolioAdd::slotGetETFComponentList(QString code, QList<RowRecord> rows)
{
    if (code != m_currentEtfCode) {
        qInfo() << "BDPortfolioAdd::slotGetETFComponentList late answer dropped" << code;
        return;
    }
    if (rows.isEmpty())
        VeltraWidget::ShowTipMsgBox(QStringLiteral("%1未能获取有效ETF成分券数据!").arg(code), this);
    m_shownEtfSymbol = rows.isEmpty() ? QString() : m_currentEtfSymbol;
    ui->tableWidget_ETF->updateRecordDataList(rows);
    ui->tableWidget_ETF->setAllCheckBoxChecked(true);
    updateSelectionLabel();
}

void BDPortfolioAdd::slotSWTreeDoubleClicked(const QModelIndex &index)
{
    const RowRecord record = ui->treeView_index_SW->getRowData(index);
    const QString industry = record.value(0).value(Industry::code).toString();
    ui->tableWidget_index_SW->clear();
    if (industry.isEmpty())
        return;
    m_currentIndustry = industry;
    const qint64 quantity = ui->m_pNumberEdit->value();
    QList<RowRecord> rows;
    for (const QString &symbol : InfoCenterDataManagerInterface::getSymbolsOfIndustry(industry)) {
        RowRecord row = basketRow({{Security::symbol, symbol},
                                   {Security::nominalQty, quantity},
                                   {Security::weight, 1.0},
                                   {Industry::code, industry}},
                                  m_showType);
        if (!row.isEmpty())
            rows.append(row);
    }
    recomputeAbsWeights(rows);
    ui->tableWidget_index_SW->updateRecordDataList(rows);
    ui->tableWidget_index_SW->setAllCheckBoxChecked(true);
    updateSelectionLabel();
}

// ---- Confirm ---------------------------------------------------------------------------

void BDPortfolioAdd::emitRecord(const PortfolioDetailBasicInfo &detail)
{
    m_busy = true;
    emit signalNewPortfolioData(detail, true, 0);
}

QString BDPortfolioAdd::buildDefault(PortfolioDetailBasicInfo &detail)
{
    const QList<RowRecord> rows = ui->tableView_Default->getViewData();
    if (rows.isEmpty())
        return kNoData;
    QList<PortfolioItem> items;
    items.reserve(rows.size());
    for (const RowRecord &row : rows)
        items.append(itemOf(row));
    detail.setSymbolList(items);
    return QString();
}

QString BDPortfolioAdd::buildBasket(TzTableView *table, PortfolioDetailBasicInfo &detail)
{
    const QList<int> checked = table->getCheckedRows();
    qDebug() << "BDPortfolioAdd::onpushbtn_confirm_slot" << "checked rows count: " << checked.size();
    if (checked.isEmpty())
        return kNoData;
    QList<QVariantMap> records;
    for (int row : checked) {
        const QVariantMap record = recordOf(table->getRowData(row));
        if (record.isEmpty()) {
            qDebug() << "BDPortfolioAdd::onpushbtn_confirm_slot" << "recordMap is empty, continue";
            continue;
        }
        records.append(record);
    }
    if (records.isEmpty())
        return kNoItems;
    const QString error = PortfolioInfoMgr::GetInstance()->GetPortfolioDetailByBasketData(records, detail);
    if (!error.isEmpty()) {
        qInfo().noquote() << "BDPortfolioAdd::onpushbtn_confirm_slot" << error;
        return kNoItems;
    }
    return detail.SymbolList().isEmpty() ? kNoItems : QString();
}

void BDPortfolioAdd::onpushbtn_confirm_slot()
{
    if (m_busy)
        return;
    // Spaces around a name are never meant (and the back end refuses them): a blank name
    // is an empty one, a padded one is taken without its padding, as the field then shows.
    const QString name = ui->m_pNameEdit->text().trimmed();
    if (name != ui->m_pNameEdit->text())
        ui->m_pNameEdit->setText(name);
    if (name.isEmpty()) {
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合名称为空!"), this);
        return;
    }
    if (const QString problem = PortfolioNameRule::check(name); !problem.isEmpty()) {
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合创建失败：") + problem, this);
        return;
    }
    PortfolioDetailBasicInfo detail;
    detail.setName(name);
    const QString strategy = ui->m_pStrategyEdit->text();
    detail.setStrategyName(strategy.isEmpty() ? QStringLiteral("无") : strategy);
    detail.setDefaultNum(ui->m_pNumberEdit->text().toLongLong(nullptr, 10));
    QString freeName;
    if (PortfolioListBasicInfo::GetInstance()->CheckPortfolioName(detail.Name(), freeName)) {
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合创建失败：组合名称重复。"), this);
        return;
    }

    const int page = ui->tabWidget->currentIndex();
    QVariantMap extension;
    QString refusal;
    switch (page) {
    case PageDefault:
        extension.insert(Portfolio::portType, PortType::normal);
        refusal = buildDefault(detail);
        break;
    case PageShortSale:
        extension.insert(Portfolio::portType, PortType::shortSale);
        extension.insert(Portfolio::algoParam,
                         QVariantMap{{ImportField::FundAccount, ui->cmb_ShortSaleAccount->currentFundAccount()}});
        refusal = buildShortSale(detail);
        break;
    case PageRebalance:
    case PagePosition: {
        TzTableView *table = page == PageRebalance ? ui->tableView_PR : ui->tableView_Pos;
        const QList<int> checked = table->getCheckedRows();
        if (checked.isEmpty()) {
            refusal = kNoData;
            break;
        }
        QList<RowRecord> rows;
        for (int row : checked)
            rows.append(table->getRowData(row));
        const QString fundAccount = page == PageRebalance ? ui->cmb_PRAccount->currentFundAccount()
                                                          : ui->cmb_PosAccount->currentFundAccount();
        PositionPortfolioAdd::transTableDataToPortInfo(
            rows, detail, fundAccount, page == PageRebalance ? PortTypeRebalance : PortTypePositionReduce);
        extension = detail.ExtensionDescription();
        if (detail.SymbolList().isEmpty())
            refusal = kNoItems;
        break;
    }
    case PageEtf:
        extension.insert(Portfolio::portType, PortType::etf);
        refusal = buildBasket(ui->tableWidget_ETF, detail);
        break;
    case PageIndustry:
        extension.insert(Portfolio::portType, PortType::industry);
        refusal = buildBasket(ui->tableWidget_index_SW, detail);
        break;
    case PageIndex:
        extension.insert(Portfolio::portType, PortType::index);
        refusal = buildBasket(ui->tableWidget_index, detail);
        if (!refusal.isEmpty())
            refusal = kNoData;  // this page knows only the one refusal
        break;
    default:
        return;
    }
    if (!refusal.isEmpty()) {
        VeltraWidget::ShowErrorMsgBox(refusal, this);
        return;
    }
    if (page == PageEtf)
        extension.insert(Portfolio::basketCode, m_shownEtfSymbol);
    else if (page == PageIndustry)
        extension.insert(Portfolio::basketCode, m_currentIndustry);
    detail.setExtensionDescription(extension);

    QList<PortfolioDetailBasicInfo> records;
    if (page == PageRebalance && ui->checkBox_bySide->isChecked()) {
        QList<PortfolioItem> buy, sell;
        splitBySide(detail.SymbolList(), buy, sell);
        if (buy.isEmpty() && sell.isEmpty()) {
            VeltraWidget::ShowErrorMsgBox(kNoData, this);
            return;
        }
        if (!buy.isEmpty()) {
            PortfolioDetailBasicInfo buyDetail = detail;
            buyDetail.setName(detail.Name() + QStringLiteral("(买)"));
            buyDetail.setSymbolList(buy);
            records.append(buyDetail);
        }
        if (!sell.isEmpty()) {
            PortfolioDetailBasicInfo sellDetail = detail;
            sellDetail.setName(detail.Name() + QStringLiteral("(卖)"));
            sellDetail.setSymbolList(sell);
            records.append(sellDetail);
        }
    } else {
        records.append(detail);
    }

    // A two-sided confirm may have had one of its portfolios created and the other
    // refused: confirming again sends only what does not exist yet.
    bool refused = false;
    bool allCreated = true;
    for (const PortfolioDetailBasicInfo &record : qAsConst(records)) {
        if (m_created.contains(record.Name())) {
            qInfo().noquote() << "BDPortfolioAdd::onpushbtn_confirm_slot already created:" << record.Name();
            continue;
        }
        m_answer = Answer::None;
        emitRecord(record);
        if (m_answer == Answer::Accepted)
            m_created.insert(record.Name());
        else
            allCreated = false;
        refused = refused || m_answer == Answer::Refused;
    }
    if (refused) {
        // Whatever was emitted after the refusal set the busy flag again: the trader must
        // be able to confirm the refused portfolio once more.
        m_busy = false;
        return;
    }
    if (allCreated) {
        emit singnalPushBtnClose();
        close();
    }
}
