#include "mainwindow.h"

#include "pagearea.h"
#include "pageframe.h"
#include "pluginmanager.h"
#include "settingsdialog.h"
#include "tzcore.h"
#include "tzpluginbasewidget.h"
#include "veltrautils.h"
#include "veltrawidget.h"

#include <QAction>
#include <QClipboard>
#include <QCloseEvent>
#include <QDebug>
#include <QGuiApplication>
#include <QSettings>
#include <QDockWidget>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QStackedWidget>
#include <QStatusBar>
#include <QToolBar>

#include "veltrabusinessdatainterface.h"
#include "veltracombobox.h"

MainWindow::MainWindow(PluginManager *plugins, QWidget *parent)
    : QMainWindow(parent)
    , m_plugins(plugins)
{
    setWindowTitle(QStringLiteral("TZApp 交易终端"));
    resize(1280, 760);
    m_central = new QStackedWidget(this);
    m_noPage = new QLabel(QStringLiteral("没有打开的页面：请从“窗口”菜单打开。"), m_central);
    m_noPage->setObjectName(QStringLiteral("NoPageNotice"));
    m_noPage->setAlignment(Qt::AlignCenter);
    m_pages = new PageArea(plugins, m_central);
    m_central->addWidget(m_noPage);
    m_central->addWidget(m_pages);
    setCentralWidget(m_central);
    createMenus();
    connect(m_pages, &PageArea::pagesChanged, this, [this] {
        m_central->setCurrentWidget(m_pages->count() > 0 ? static_cast<QWidget *>(m_pages) : m_noPage);
        syncWindowMenu();
    });

    auto *dock = new QDockWidget(QStringLiteral("业务消息"), this);
    dock->setObjectName(QStringLiteral("BusinessMessageDock"));
    dock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    m_messages = new QPlainTextEdit(dock);
    m_messages->setObjectName(QStringLiteral("BusinessMessagePanel"));
    m_messages->setReadOnly(true);
    m_messages->setMaximumBlockCount(2000);
    dock->setWidget(m_messages);
    addDockWidget(Qt::BottomDockWidgetArea, dock);
    resizeDocks({dock}, {120}, Qt::Vertical);

    // Business messages may be put from any thread; they reach the panel on this one.
    VeltraUtils::setBusiMsgSink([this](BusiMsgLevel, const QString &line) {
        QMetaObject::invokeMethod(m_messages, [this, line] { m_messages->appendPlainText(line); },
                                  Qt::QueuedConnection);
    });

    auto *accountBar = new QToolBar(QStringLiteral("账号"), this);
    accountBar->setObjectName(QStringLiteral("AccountToolBar"));
    accountBar->setMovable(false);
    accountBar->addWidget(new QLabel(QStringLiteral(" 当前账号： "), accountBar));
    m_accounts = new VeltraAccountComboBox(accountBar);
    m_accounts->setObjectName(QStringLiteral("CurrentAccountComboBox"));
    m_accounts->setToolTip(QStringLiteral("一键清仓等功能使用的资产账号"));
    accountBar->addWidget(m_accounts);
    addToolBar(Qt::TopToolBarArea, accountBar);
    connect(m_accounts, QOverload<int>::of(&QComboBox::activated), this, [this](int) {
        const AccountDetails account = m_accounts->currentAccount();
        if (VeltraBusinessDataInterface::SwitchCurrentAccount(account.fundAccount))
            statusBar()->showMessage(QStringLiteral("当前账号：%1").arg(account.displayText()), 5000);
    });

    m_backendState = new QLabel(this);
    statusBar()->addPermanentWidget(m_backendState);
    setBackendState(false, QStringLiteral("后台未连接"));
    restoreLayout();
}

void MainWindow::createMenus()
{
    QMenu *portfolios = menuBar()->addMenu(QStringLiteral("组合"));
    m_pasteCodes = portfolios->addAction(QStringLiteral("粘贴代码建组合"));
    m_pasteCodes->setObjectName(QStringLiteral("PasteCodesAction"));
    m_pasteCodes->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V));
    // Anywhere in the window, also while the page's table or a field has the focus.
    m_pasteCodes->setShortcutContext(Qt::WindowShortcut);
    m_pasteCodes->setStatusTip(QStringLiteral("用剪贴板中的证券代码（如从表格复制的一列代码）新建组合"));
    connect(m_pasteCodes, &QAction::triggered, this,
            [this] { pasteCodes(QGuiApplication::clipboard()->text()); });

    QMenu *tools = menuBar()->addMenu(QStringLiteral("设置"));
    m_settings = tools->addAction(QStringLiteral("选项…"));
    m_settings->setObjectName(QStringLiteral("SettingsAction"));
    m_settings->setMenuRole(QAction::PreferencesRole);
    connect(m_settings, &QAction::triggered, this, &MainWindow::openSettings);

    m_windowMenu = menuBar()->addMenu(QStringLiteral("窗口"));
    m_windowMenu->setObjectName(QStringLiteral("WindowMenu"));
    syncWindowMenu();
}

namespace {
// Titles of the pages the 窗口 menu offers before they were ever opened.
QString pageTitle(const QString &pageId)
{
    if (pageId == PageArea::kPortfolioListId)
        return QStringLiteral("组合列表");
    if (pageId == PageArea::kPortfolioDetailId)
        return QStringLiteral("组合明细");
    return pageId;
}
}

void MainWindow::syncWindowMenu()
{
    m_windowMenu->clear();
    const QList<PageDescriptor> pages = m_plugins->pages();
    for (const PageDescriptor &descriptor : pages) {
        const QString id = descriptor.id;
        QAction *action = m_windowMenu->addAction(pageTitle(id));
        action->setObjectName(QStringLiteral("WindowAction:") + id);
        action->setCheckable(true);
        action->setChecked(m_pages->isOpen(id));
        connect(action, &QAction::triggered, this, [this, id](bool open) {
            if (open)
                openPage(id);
            else
                m_pages->close(id);
        });
    }
    m_windowMenu->setEnabled(!pages.isEmpty());
}

ClipboardCommand::Report MainWindow::pasteCodes(const QString &text)
{
    const ClipboardCommand::Report report =
        ClipboardCommand::paste(text, m_pages->isOpen(PageArea::kPortfolioListId)
                                          ? m_pages->page(PageArea::kPortfolioListId)->pluginInstanceID()
                                          : QString());
    statusBar()->showMessage(report.text, 10000);
    // Nothing on the clipboard looked like a code: the list's own words for it.
    if (report.outcome == ClipboardCommand::NoCodes)
        VeltraWidget::ShowWarningMsgBox(QStringLiteral("无有效代码数据！"), this);
    return report;
}

void MainWindow::openSettings()
{
    SettingsDialog dialog(this);
    if (dialog.exec() == QDialog::Accepted)
        statusBar()->showMessage(QStringLiteral("选项已保存"), 5000);
}

namespace {
const QString kGeometryKey = QStringLiteral("MainWindow/geometry");
const QString kStateKey = QStringLiteral("MainWindow/state");
const QString kPagesKey = QStringLiteral("MainWindow/openPages");
const QString kSplitterKey = QStringLiteral("MainWindow/pageSplitter");
}

void MainWindow::restoreLayout()
{
    QSettings *settings = TzCore::settings();
    // restoreGeometry keeps the window on a screen that still exists.
    restoreGeometry(settings->value(kGeometryKey).toByteArray());
    restoreState(settings->value(kStateKey).toByteArray());
}

void MainWindow::saveLayout() const
{
    QSettings *settings = TzCore::settings();
    settings->setValue(kGeometryKey, saveGeometry());
    settings->setValue(kStateKey, saveState());
    settings->setValue(kPagesKey, m_pages->openPageIds());
    settings->setValue(kSplitterKey, m_pages->saveState());
    settings->sync();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    saveLayout();
    QMainWindow::closeEvent(event);
}

MainWindow::~MainWindow()
{
    VeltraUtils::setBusiMsgSink(nullptr);
    // The pages' destructors live in their plugins: the page area destroys them while
    // the libraries are still loaded.
    delete m_pages;
    m_pages = nullptr;
}

bool MainWindow::openPage(const QString &pageId)
{
    QString error;
    if (!m_pages->open(pageId, &error)) {
        statusBar()->showMessage(error, 10000);
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Warning, BusiMsgType::SystemMsg, BusiMsgItem::TagSystem, error);
        if (m_pages->count() == 0)
            m_noPage->setText(error);
        return false;
    }
    TzPluginBaseWidget *page = m_pages->page(pageId);
    statusBar()->showMessage(QStringLiteral("已打开页面 %1（%2）").arg(page->pluginWidgetTitle(), pageId));
    return true;
}

void MainWindow::openStartPages()
{
    QSettings *settings = TzCore::settings();
    const QStringList ids = settings->value(kPagesKey, QStringList{PageArea::kPortfolioListId,
                                                                   PageArea::kPortfolioDetailId})
                                .toStringList();
    // The side panel last: the list tells the other pages which portfolio it selected
    // once it has loaded, and they must be listening by then. (Its place on the left
    // does not depend on the order.)
    for (const QString &id : ids) {
        if (!PageArea::isSidePanel(id))
            openPage(id);
    }
    for (const QString &id : ids) {
        if (PageArea::isSidePanel(id))
            openPage(id);
    }
    m_pages->restoreState(settings->value(kSplitterKey).toByteArray());
}

void MainWindow::showAccounts()
{
    m_accounts->SetAccountList(CBusinessDataBase::GetInstance()->GetAccountList());
    m_accounts->setEnabled(m_accounts->count() > 0);
}

void MainWindow::setBackendState(bool connected, const QString &text)
{
    m_backendState->setText((connected ? QStringLiteral("● ") : QStringLiteral("○ ")) + text);
    m_backendState->setStyleSheet(connected ? QStringLiteral("color: #1a7f37;")
                                            : QStringLiteral("color: #b42318;"));
}
