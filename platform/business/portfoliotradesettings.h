#pragma once

#include <QDir>
#include <QSettings>
#include <QStandardPaths>
#include <QString>

// The portfolio trade settings of the client (TzCore::settings, group "PortfolioTrade"):
// directory auto-import. The portfolio list reads them; the client's settings dialog
// writes them and then puts the PORTFOLIOS_SETTING_CHANGED event so that an open list
// applies them at once.
namespace PortfolioTradeSettings {

inline const QString PortfolioTradeGroup = QStringLiteral("PortfolioTrade/");
inline const QString PortScanFlag = QStringLiteral("PortScanFlag");
inline const QString PortScanDir = QStringLiteral("PortScanDir");
inline const QString PortDeleteFlag = QStringLiteral("PortDeleteFlag");
inline const QString PortBackupDir = QStringLiteral("PortBackupDir");

// The user's documents folder (~/Documents, or the home folder where there is none):
// where a trader looks for files, and where the default folders below are made.
inline QString standardLocation()
{
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return documents.isEmpty() ? QDir::homePath() : documents;
}
inline QString defaultScanDir() { return standardLocation() + QStringLiteral("/组合交易扫描目录"); }
inline QString defaultBackupDir() { return standardLocation() + QStringLiteral("/已扫描组合"); }

// The four auto-import settings with their defaults: off, the two default folders, and
// imported files moved to the backup folder rather than deleted.
struct AutoImport
{
    bool scan = false;
    QString scanDir = defaultScanDir();
    bool deleteImported = false;
    QString backupDir = defaultBackupDir();

    static AutoImport read(const QSettings &settings)
    {
        AutoImport a;
        a.scan = settings.value(PortfolioTradeGroup + PortScanFlag, a.scan).toBool();
        a.scanDir = settings.value(PortfolioTradeGroup + PortScanDir, a.scanDir).toString();
        a.deleteImported = settings.value(PortfolioTradeGroup + PortDeleteFlag, a.deleteImported).toBool();
        a.backupDir = settings.value(PortfolioTradeGroup + PortBackupDir, a.backupDir).toString();
        return a;
    }
    void write(QSettings &settings) const
    {
        settings.setValue(PortfolioTradeGroup + PortScanFlag, scan);
        settings.setValue(PortfolioTradeGroup + PortScanDir, scanDir);
        settings.setValue(PortfolioTradeGroup + PortDeleteFlag, deleteImported);
        settings.setValue(PortfolioTradeGroup + PortBackupDir, backupDir);
        settings.sync();
    }
};

} // namespace PortfolioTradeSettings
