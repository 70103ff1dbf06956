#include "mainwindow.h"

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
    createMenus();

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
}

ClipboardCommand::Report MainWindow::pasteCodes(const QString &text)
{
    const ClipboardCommand::Report report =
        ClipboardCommand::paste(text, m_page ? m_page->pluginInstanceID() : QString());
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
    // The page type's destructor lives in its plugin; destroy it through the meta-type
    // while the library is still loaded.
    if (m_page) {
        QWidget *frame = m_page->parentWidget();
        m_page->setParent(nullptr);
        m_plugins->destroyPage(m_pageMetaId, m_page);
        delete frame;
    }
}

bool MainWindow::openPage(const QString &pageId)
{
    const PageDescriptor *descriptor = m_plugins->pageById(pageId);
    QWidget *widget = descriptor ? m_plugins->createPage(descriptor->metaId) : nullptr;
    auto *page = qobject_cast<TzPluginBaseWidget *>(widget);
    if (!page) {
        auto *notice = new QLabel(QStringLiteral("未找到页面插件 %1，请检查插件目录。").arg(pageId), this);
        notice->setAlignment(Qt::AlignCenter);
        setCentralWidget(notice);
        qWarning() << "MainWindow::openPage no plugin offers" << pageId;
        return false;
    }
    m_page = page;
    m_pageMetaId = descriptor->metaId;
    page->setPluginInstanceID(pageId + QStringLiteral("#1"));
    auto *frame = new PageFrame(page, this);
    setCentralWidget(frame);
    page->initPluginWidget();
    statusBar()->showMessage(QStringLiteral("已打开页面 %1（%2）").arg(page->pluginWidgetTitle(), pageId));
    return true;
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
