#include "tzcore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QSettings>
#include <QStandardPaths>
#include <memory>

namespace {
QMutex g_mutex;
std::unique_ptr<QSettings> g_settings;
QString g_settingsFile;
QString g_dataDir;
QString g_userDataDir;
}

QSettings *TzCore::settings()
{
    QMutexLocker lock(&g_mutex);
    if (!g_settings) {
        if (g_settingsFile.isEmpty()) {
            const QString dir = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
            QDir().mkpath(dir);
            g_settingsFile = dir + QStringLiteral("/tzapp.ini");
        }
        g_settings = std::make_unique<QSettings>(g_settingsFile, QSettings::IniFormat);
        g_settings->setIniCodec("UTF-8");
        // Written back while the application still exists; QSettings must not outlive it.
        static bool cleanupRegistered = false;
        if (!cleanupRegistered && QCoreApplication::instance()) {
            cleanupRegistered = true;
            qAddPostRoutine([] {
                QMutexLocker lock(&g_mutex);
                g_settings.reset();
            });
        }
    }
    return g_settings.get();
}

void TzCore::setSettingsFile(const QString &path)
{
    QMutexLocker lock(&g_mutex);
    g_settingsFile = path;
    g_settings.reset();
}

QString TzCore::dataDir()
{
    QMutexLocker lock(&g_mutex);
    if (g_dataDir.isEmpty()) {
        // Next to the executable first (an installed client), then the source tree.
        const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/data");
        if (QFileInfo::exists(beside + QStringLiteral("/a_shares.csv")))
            g_dataDir = beside;
#ifdef TZ_SOURCE_DATA_DIR
        else
            g_dataDir = QStringLiteral(TZ_SOURCE_DATA_DIR);
#endif
    }
    return g_dataDir;
}

void TzCore::setDataDir(const QString &dir)
{
    QMutexLocker lock(&g_mutex);
    g_dataDir = dir;
}

QString TzCore::userDataDir()
{
    QMutexLocker lock(&g_mutex);
    if (g_userDataDir.isEmpty())
        g_userDataDir = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    QDir().mkpath(g_userDataDir);
    return g_userDataDir;
}

void TzCore::setUserDataDir(const QString &dir)
{
    QMutexLocker lock(&g_mutex);
    g_userDataDir = dir;
}
