#pragma once

#include <QString>

// What tzapp was asked to do on its command line.
struct CommandLine
{
    bool listPlugins = false;
    QString screenshotFile;  // render the main window to this PNG after start-up, then quit
    int screenshotDelayMs = 4500;  // two refreshes of the list after the first quotes
    QString pluginDir;       // default: plugins/ beside the executable
    QString dataDir;         // user data: database, logs; default: the user's data folder
    QString databasePath;    // default: tzapp.sqlite in the data folder
    QString user = QStringLiteral("demo");
    QString backendUrl;      // ws:// or wss:// of a shared back end; empty: embedded
    QString backendCa;       // PEM certificates to trust for wss:// besides the system's
    QString error;           // set when the command line is wrong

    static CommandLine parse(const QStringList &arguments);
    static QString helpText();
};
