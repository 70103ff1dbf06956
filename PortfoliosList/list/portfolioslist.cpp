#include "portfolioslist.h"
#include "ui_portfolioslist.h"

#include "cbusinessdatabase.h"

#include "bdportfolioadd.h"
#include "cdatabase.h"
#include "portfolioslistdelegate.h"
#include "portfolioslistpresenterclass.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioquotemgr.h"
#include "veltrautils.h"
#include "veltrawidget.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDebug>
#include <QLineEdit>
#include <QMenu>
#include <QShortcut>
#include <QTimer>
#include <algorithm>

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
    // The client's current account until the host announces another one.
    const AccountDetails current = CBusinessDataBase::GetInstance()->GetAccountDetailsByTradinngAccount(
        CBusinessDataBase::GetInstance()->GetCurrentFundAccount());
    slotTradingAccountChanged(current.fundAccount, current.tradingAccount);
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
    // Ctrl+E edits the current portfolio's name, strategy label and default quantity in
    // the modify dialog, whose button stays hidden.
    auto *modifyKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_E), ui->tableWidget);
    modifyKey->setContext(Qt::WidgetShortcut);
    connect(modifyKey, &QShortcut::activated, this, &PortfoliosList::on_pushButton_modfiy_clicked);

    // A refill replaces every row, and with them the open name editor.
    connect(ui->tableWidget->recordModel(), &QAbstractItemModel::modelAboutToBeReset, this,
            &PortfoliosList::rememberEditor);
    connect(ui->tableWidget->recordModel(), &QAbstractItemModel::modelReset, this, &PortfoliosList::reopenEditor);

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

bool PortfoliosList::fillTable(QStringList *changed)
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QList<PortfolioDetailBasicInfo *> shown = store->GetPortfolioDetails();
    shown.erase(std::remove_if(shown.begin(), shown.end(), [](const PortfolioDetailBasicInfo *d) { return d->DeleteFlag(); }),
                shown.end());
    RecordModel *model = ui->tableWidget->recordModel();
    bool sameOrder = model->rowCount() == shown.size();
    for (int i = 0; sameOrder && i < shown.size(); ++i)
        sameOrder = model->rowOfKey(shown.at(i)->PortfolioNo()) == i;
    if (sameOrder) {
        // A reload that changed little: a large book is not rebuilt for it.
        const QHash<QString, quint64> stamps = store->changeStamps();
        for (const PortfolioDetailBasicInfo *detail : qAsConst(shown)) {
            if (m_rowStamps.value(detail->PortfolioNo(), ~quint64(0)) == stamps.value(detail->PortfolioNo()))
                continue;
            writeStoredRow(*detail);
            if (changed)
                *changed << detail->PortfolioNo();
        }
        return false;
    }
    QList<RowRecord> rows;
    rows.reserve(shown.size());
    m_rowStamps.clear();
    const QHash<QString, quint64> stamps = store->changeStamps();
    for (const PortfolioDetailBasicInfo *detail : qAsConst(shown)) {
        rows.append(buildRow(*detail));
        m_rowStamps.insert(detail->PortfolioNo(), stamps.value(detail->PortfolioNo()));
    }
    ui->tableWidget->updateRecordDataList(rows);
    return true;
}

void PortfoliosList::writeStoredRow(const PortfolioDetailBasicInfo &detail)
{
    const RowRecord row = buildRow(detail);
    if (!ui->tableWidget->updataRecordData(row))
        ui->tableWidget->addRecordData(row);
    m_rowStamps.insert(detail.PortfolioNo(), PortfolioListBasicInfo::GetInstance()->changeStamp(detail.PortfolioNo()));
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
    QStringList changed;
    if (fillTable(&changed)) {
        slotUpdateQuoeData();
        return;
    }
    for (const QString &no : qAsConst(changed))
        updateFiguresOf(no);
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
    for (const PortfolioDetailExtraInfo &extra : qAsConst(extras))
        writeFigures(extra);
}

void PortfoliosList::writeFigures(const PortfolioDetailExtraInfo &extra)
{
    if (ui->tableWidget->getRowByKey(extra.ListID()) < 0)
        return;  // deleted portfolios have no row
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

void PortfoliosList::updateFiguresOf(const QString &portfolioNo)
{
    if (!m_marketValueOn)
        return;
    PortfolioDetailBasicInfo *detail = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(portfolioNo);
    if (!detail)
        return;
    PortfolioDetailExtraInfo extra;
    PortfolioQuoteMgr::GetInstance()->CalculateExtraInfo(*detail, extra);
    writeFigures(extra);
}

void PortfoliosList::slotPortfolioUpdated(QString portfolioNo)
{
    if (portfolioNo.isEmpty()) {
        slotChangeUpData();
        return;
    }
    PortfolioDetailBasicInfo *detail = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(portfolioNo);
    if (!detail || detail->DeleteFlag()) {
        slotPortfolioRemoved(portfolioNo);
        return;
    }
    writeStoredRow(*detail);
    updateFiguresOf(portfolioNo);
}

void PortfoliosList::slotPortfolioRemoved(QString portfolioNo)
{
    if (ui->tableWidget->getRowByKey(portfolioNo) < 0) {
        // No row to drop; the store lets it go too (it already has when the change
        // came from elsewhere).
        PortfolioListBasicInfo::GetInstance()->RemovePortfolioDetail(portfolioNo);
        return;
    }
    removeRow(portfolioNo);
    if (portfolioNo == m_currentPortfolioNo && ui->tableWidget->currentIndex().isValid())
        slotTableClicked(ui->tableWidget->currentIndex());
}

void PortfoliosList::slotPushbuttonHideClicked()
{
    const bool collapse = m_expanded;
    for (QWidget *w : {static_cast<QWidget *>(ui->tableWidget), static_cast<QWidget *>(ui->label),
                       static_cast<QWidget *>(ui->pushButton_type), static_cast<QWidget *>(ui->pushButton_new),
                       static_cast<QWidget *>(ui->pushButton_import), static_cast<QWidget *>(ui->pushButton_pos)})
        w->setVisible(!collapse);
    // Collapsed to a 35-pixel strip, only the arrow that expands it again is left.
    ui->frame_buttons->setVisible(!collapse);
    ui->btn_refresh->setVisible(!collapse);
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
        qDebug() << "PortfoliosList::slotPortfoliosTableViewClicked" << " mOpenIndex: " << QModelIndex(mOpenIndex)
                 << " index: " << index;
        if (QLineEdit *editor = nameEditor())
            editor->setFocus(Qt::OtherFocusReason);
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
    // The keyboard belongs to the editor from the first key on: nothing typed reaches
    // the table's own keys (Delete, Ctrl+A) while a name is being edited.
    if (QLineEdit *editor = nameEditor()) {
        editor->setFocus(Qt::OtherFocusReason);
        editor->selectAll();
    }
}

QLineEdit *PortfoliosList::nameEditor() const
{
    return mOpenIndex.isValid() ? qobject_cast<QLineEdit *>(ui->tableWidget->indexWidget(mOpenIndex)) : nullptr;
}

void PortfoliosList::slotClosePersistentEditor()
{
    if (mOpenIndex.row() < 0)
        return;
    QLineEdit *editor = nameEditor();
    // The keyboard goes back to the table unless the trader has moved on to another
    // widget of this window. After a message box (its own window) the table is also the
    // widget that gets the focus when this window is active again.
    const QWidget *focus = QApplication::focusWidget();
    const bool hadFocus = editor && (!focus || focus == editor || focus->window() != window());
    // Closing hides the editor, which then loses focus and commits, and the commit ends
    // by calling this slot again: forget the index first so that call finds nothing.
    const QModelIndex open = mOpenIndex;
    mOpenIndex = QModelIndex();
    ui->tableWidget->closePersistentEditor(open);
    ui->tableWidget->setCurrentIndex(open, true);
    if (hadFocus) {
        ui->tableWidget->setFocus(Qt::OtherFocusReason);
        if (!window()->isActiveWindow())
            window()->activateWindow();  // a message box was on top
    }
}

void PortfoliosList::cancelNameEdit()
{
    QLineEdit *editor = nameEditor();
    if (!editor)
        return;
    // Marked as committing, the editor's focus loss on closing sends nothing.
    editor->setProperty("committing", true);
    editor->setText(mOpenIndex.data(Qt::DisplayRole).toString());
    slotClosePersistentEditor();
}

void PortfoliosList::rememberEditor()
{
    m_editorMemo = EditorMemo();
    QLineEdit *editor = nameEditor();
    if (!editor)
        return;
    m_editorMemo.portfolioNo =
        ui->tableWidget->getRowData(mOpenIndex.row()).value(ColNumber).value(RecordRole::display).toString();
    m_editorMemo.text = editor->text();
    m_editorMemo.cursor = editor->cursorPosition();
    m_editorMemo.modified = editor->isModified();
    m_editorMemo.focused = editor->hasFocus();
    // The view drops this editor with the rows; it must not commit on the way out.
    editor->setProperty("committing", true);
    mOpenIndex = QModelIndex();
}

void PortfoliosList::reopenEditor()
{
    const EditorMemo memo = m_editorMemo;
    m_editorMemo = EditorMemo();
    if (memo.portfolioNo.isEmpty())
        return;
    const int row = ui->tableWidget->getRowByKey(memo.portfolioNo);
    if (row < 0)
        return;  // the portfolio is gone: so is its editor
    const QModelIndex index = ui->tableWidget->recordModel()->index(row, ColName);
    ui->tableWidget->openPersistentEditor(index);
    mOpenIndex = index;
    QLineEdit *editor = nameEditor();
    if (!editor)
        return;
    editor->setText(memo.text);
    editor->setModified(memo.modified);
    editor->setCursorPosition(memo.cursor);
    if (memo.focused) {
        ui->tableWidget->setCurrentIndex(index, true);
        editor->setFocus(Qt::OtherFocusReason);
    }
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
    qInfo().noquote() << "PortfoliosList::slotTradingAccountChanged" << tradingAccount << fundAccount;
}

QString PortfoliosList::voucherAccount() const
{
    if (m_addDialog)
        return m_addDialog->voucherAccount();
    return m_tradingAccount;
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
