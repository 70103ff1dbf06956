#pragma once

#include "clipboardcommand.h"

#include <QMainWindow>

class PageArea;
class PluginManager;
class QAction;
class QMenu;
class QStackedWidget;
class QLabel;
class QPlainTextEdit;
class VeltraAccountComboBox;
class TzPluginBaseWidget;

// The client's main window: the menu bar, the page area, the business-message panel and
// a status line that shows the back end's state.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(PluginManager *plugins, QWidget *parent = nullptr);
    ~MainWindow() override;

    // Creates the page with this host id from its plugin's descriptor and shows it in
    // the trading window (an open page stays as it is); false, with a notice in the
    // status line and the panel, when no plugin offers it.
    bool openPage(const QString &pageId);
    // The pages the trader had open when the client last closed (by default the
    // portfolio list beside the portfolio detail), with the splitter as he left it.
    void openStartPages();
    PageArea *pageArea() const { return m_pages; }
    QMenu *windowMenu() const { return m_windowMenu; }
    QPlainTextEdit *businessMessagePanel() const { return m_messages; }
    void setBackendState(bool connected, const QString &text);
    // Fills the account picker with the login user's accounts (the platform's list) and
    // shows the current one. Picking another makes it current for every page.
    void showAccounts();
    VeltraAccountComboBox *accountPicker() const { return m_accounts; }
    // "粘贴代码建组合" with this text (the menu command reads the system clipboard):
    // the codes go to the portfolio list, or wait for it when it is not open. The
    // status line says what became of them.
    ClipboardCommand::Report pasteCodes(const QString &text);
    // The options dialog; modal.
    void openSettings();
    QAction *pasteCodesAction() const { return m_pasteCodes; }
    QAction *settingsAction() const { return m_settings; }
    // Size, position and docks as the user left them (kept in the settings).
    void restoreLayout();
    void saveLayout() const;

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void createMenus();
    // The 窗口 menu: one checkable entry per page a plugin offers.
    void syncWindowMenu();

    PluginManager *m_plugins;
    QPlainTextEdit *m_messages;
    QLabel *m_backendState;
    VeltraAccountComboBox *m_accounts;
    QAction *m_pasteCodes = nullptr;
    QAction *m_settings = nullptr;
    QStackedWidget *m_central;
    QLabel *m_noPage;
    PageArea *m_pages;
    QMenu *m_windowMenu = nullptr;
};
