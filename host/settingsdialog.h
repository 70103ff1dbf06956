#pragma once

#include "portfoliotradesettings.h"

#include <QDialog>
#include <functional>

class QCheckBox;
class QLineEdit;
class QPushButton;

// The client's options ("选项"): the directory auto-import of the portfolio list. OK
// checks the folders, writes the settings and tells an open list to apply them at once;
// Cancel changes nothing.
class SettingsDialog : public QDialog
{
    Q_OBJECT

public:
    // Asks the trader for a folder, starting at start; empty when he cancels.
    using FolderPicker = std::function<QString(QWidget *parent, const QString &caption, const QString &start)>;

    explicit SettingsDialog(QWidget *parent = nullptr);

    // Replaces the folder dialog (QFileDialog::getExistingDirectory).
    void setFolderPicker(FolderPicker picker) { m_pickFolder = std::move(picker); }

    // The settings as the dialog shows them now.
    PortfolioTradeSettings::AutoImport autoImport() const;

    QCheckBox *scanCheck() const { return m_scan; }
    QLineEdit *scanDirEdit() const { return m_scanDir; }
    QPushButton *scanDirButton() const { return m_scanDirButton; }
    QCheckBox *deleteCheck() const { return m_delete; }
    QLineEdit *backupDirEdit() const { return m_backupDir; }
    QPushButton *backupDirButton() const { return m_backupDirButton; }

public slots:
    void accept() override;

private:
    void browse(QLineEdit *edit, const QString &caption);
    // False when the settings cannot be used, with what to tell the trader in problem
    // (empty when he declined to create a missing folder); missing folders are created
    // on his word.
    bool check(const PortfolioTradeSettings::AutoImport &settings, QString &problem);
    bool ensureFolder(const QString &what, const QString &path, QString &problem);

    QCheckBox *m_scan;
    QLineEdit *m_scanDir;
    QPushButton *m_scanDirButton;
    QCheckBox *m_delete;
    QLineEdit *m_backupDir;
    QPushButton *m_backupDirButton;
    FolderPicker m_pickFolder;
};
