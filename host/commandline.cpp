#include "commandline.h"

#include <QCommandLineParser>
#include <QStringList>
#include <QUrl>

namespace {
QCommandLineParser &parser()
{
    static QCommandLineParser p;
    static bool built = false;
    if (!built) {
        built = true;
        p.setApplicationDescription(QStringLiteral("TZApp trading client"));
        p.addHelpOption();
        p.addOptions({
            {QStringLiteral("list-plugins"), QStringLiteral("Print one line per plugin and exit.")},
            {QStringLiteral("screenshot"), QStringLiteral("Render the main window to FILE after start-up and exit."),
             QStringLiteral("FILE")},
            {QStringLiteral("screenshot-delay"), QStringLiteral("Milliseconds to wait before the screenshot (default 4500)."),
             QStringLiteral("MS")},
            {QStringLiteral("plugins"), QStringLiteral("Plugin folder (default: plugins beside tzapp)."),
             QStringLiteral("DIR")},
            {QStringLiteral("data"), QStringLiteral("User data folder: database and logs."), QStringLiteral("DIR")},
            {QStringLiteral("db"), QStringLiteral("SQLite file of the embedded back end."), QStringLiteral("FILE")},
            {QStringLiteral("user"), QStringLiteral("Login user (default demo)."), QStringLiteral("NAME")},
            {QStringLiteral("backend"),
             QStringLiteral("A shared back end (ws://HOST:PORT or wss://...) instead of the embedded one; "
                            "asks for the password (or takes it from TZAPP_PASSWORD)."),
             QStringLiteral("URL")},
            {QStringLiteral("backend-ca"), QStringLiteral("PEM certificates to trust for wss:// besides the system's."),
             QStringLiteral("FILE")},
        });
    }
    return p;
}
}

CommandLine CommandLine::parse(const QStringList &arguments)
{
    CommandLine c;
    QCommandLineParser &p = parser();
    if (!p.parse(arguments)) {
        c.error = p.errorText();
        return c;
    }
    c.listPlugins = p.isSet(QStringLiteral("list-plugins"));
    c.screenshotFile = p.value(QStringLiteral("screenshot"));
    if (p.isSet(QStringLiteral("screenshot-delay"))) {
        bool ok = false;
        c.screenshotDelayMs = p.value(QStringLiteral("screenshot-delay")).toInt(&ok);
        if (!ok || c.screenshotDelayMs < 0)
            c.error = QStringLiteral("--screenshot-delay takes a number of milliseconds");
    }
    c.pluginDir = p.value(QStringLiteral("plugins"));
    c.dataDir = p.value(QStringLiteral("data"));
    c.databasePath = p.value(QStringLiteral("db"));
    if (p.isSet(QStringLiteral("user")))
        c.user = p.value(QStringLiteral("user"));
    c.backendUrl = p.value(QStringLiteral("backend"));
    c.backendCa = p.value(QStringLiteral("backend-ca"));
    if (!c.backendUrl.isEmpty()) {
        const QUrl url(c.backendUrl, QUrl::StrictMode);
        if (!url.isValid() || (url.scheme() != QLatin1String("ws") && url.scheme() != QLatin1String("wss"))
            || url.host().isEmpty() || url.port() <= 0)
            c.error = QStringLiteral("--backend takes ws://HOST:PORT or wss://HOST:PORT");
    }
    if (p.isSet(QStringLiteral("help")))
        c.error = QStringLiteral("help");
    return c;
}

QString CommandLine::helpText()
{
    return parser().helpText();
}
