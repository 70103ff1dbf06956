#pragma once

#include "clipboardcommand.h"

#include <QMainWindow>

class PluginManager;
class QAction;
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

    // Creates the page with this host id from its plugin's descriptor and shows it;
    // false (with a visible notice in the page area) when no plugin offers it.
    bool openPage(const QString &pageId);
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

    PluginManager *m_plugins;
    QPlainTextEdit *m_messages;
    QLabel *m_backendState;
    VeltraAccountComboBox *m_accounts;
    QAction *m_pasteCodes = nullptr;
    QAction *m_settings = nullptr;
    TzPluginBaseWidget *m_page = nullptr;
    int m_pageMetaId = 0;
};
