#pragma once

#include "tzcommon_global.h"

#include <QString>

class QSettings;

// Process-wide services of the client host.
class TZCOMMON_EXPORT TzCore
{
public:
    // The host's settings (user scope, INI format in the user's config folder). Tests
    // point it elsewhere with setSettingsFile.
    static QSettings *settings();
    static void setSettingsFile(const QString &path);

    // Folder of the shipped reference data and configuration (data/).
    static QString dataDir();
    static void setDataDir(const QString &dir);

    // Folder for the user's writable files: database, logs, screenshots.
    static QString userDataDir();
    static void setUserDataDir(const QString &dir);
};
