// tzapp: the trading client. Loads every page plugin of its plugin folder the way the
// host does, starts the back end in-process on a SQLite file of the user's data folder
// (or, with --backend, logs in to a shared tzbackend server), connects the message bus
// to it and opens the portfolio list page.

#include "cbusinessdatabase.h"
#include "cmessagecommon.h"
#include "commandline.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "datafolderbackend.h"
#include "fieldkeys.h"
#include "inprocesstransport.h"
#include "iplugin.h"
#include "logfile.h"
#include "logindialog.h"
#include "mainwindow.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "pluginmanager.h"
#include "tzcore.h"
#include "veltrautils.h"
#include "websockettransport.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLocale>
#include <QThread>
#include <QTimer>
#include <QTranslator>
#include <cstdio>

namespace {


// Qt's own texts (file dialogs, message-box buttons, context menus of text fields) in
// the client's language. The client speaks Simplified Chinese whatever the machine's
// locale, so a Chinese locale picks its variant and any other gets zh_CN.
void installQtTranslations(QApplication &app)
{
    QLocale locale = QLocale::system();
    if (locale.language() != QLocale::Chinese)
        locale = QLocale(QLocale::Chinese, QLocale::China);
    const QString folder = QLibraryInfo::location(QLibraryInfo::TranslationsPath);
    auto *translator = new QTranslator(&app);
    if (translator->load(locale, QStringLiteral("qtbase"), QStringLiteral("_"), folder))
        app.installTranslator(translator);
    else
        qWarning().noquote() << "tzapp: no Qt translation for" << locale.name() << "in" << folder
                             << "(package qttranslations5-l10n); Qt's dialogs stay in English";
}

int listPlugins(PluginManager &plugins, const QString &folder)
{
    plugins.loadPlugins(folder);
    for (const PluginEntry *entry : plugins.plugins()) {
        if (!entry->plugin)
            continue;
        QStringList ids;
        for (const PageDescriptor &page : entry->pages)
            ids << page.id;
        printf("%s %s %s %s\n", qPrintable(entry->name), qPrintable(entry->version),
               qPrintable(entry->category), qPrintable(ids.join(QLatin1Char(','))));
    }
    return 0;
}

// Tells the back end which user this client acts for, so it can keep the user's other
// desks in step.
bool login(const QString &user, QString &error)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::userID, user);
    CMessageCommon message;
    message.SetSrcid(QStringLiteral("tzapp"));
    message.SetType(MsgType::loginRequest);
    message.SetMsg(body.GetPackedMsg(false));
    QVariant reply;
    const int rc = MessageBus::instance()->request(message, reply, MessageBus::defaultTimeoutMs());
    CUnPackMessageCommon answer;
    if (rc != 0 || !answer.SetUnPackMsg(reply)) {
        error = rc == 1 ? QStringLiteral("登录请求超时") : QStringLiteral("登录请求发送失败");
        return false;
    }
    if (answer.GetValue(RequestField::requestExeStatus).toString() != RequestExeStatus::success) {
        error = answer.GetValue(RequestField::textDescription).toString();
        return false;
    }
    return true;
}

// Starts the bus on the shared back end and waits for the transport's first word: logged
// in, refused, or unreachable. Returns the status text; *connected tells which.
QString connectShared(const WebSocketTransport::Options &link, bool *connected)
{
    MessageBus *bus = MessageBus::instance();
    QEventLoop loop;
    QString text = QStringLiteral("连接后台超时：%1").arg(link.url.toString(QUrl::RemoveUserInfo));
    *connected = false;
    const QMetaObject::Connection heard =
        QObject::connect(bus, &MessageBus::connectionStateChanged, &loop, [&](bool up, const QString &state) {
            *connected = up;
            text = state;
            loop.quit();
        });
    QTimer::singleShot(MessageBus::defaultTimeoutMs() * 2, &loop, &QEventLoop::quit);
    bus->start(new WebSocketTransport(link));
    loop.exec();
    QObject::disconnect(heard);
    if (!*connected)
        bus->stop();
    return text;
}

// Joins the back end that the first tzapp of this data folder runs. That tzapp may still
// be starting: its address file is awaited for a few seconds. When it closes, the link
// goes to the desk that takes over from it, which may be this one.
QString connectLocal(DataFolderBackend &folder, const QString &user, bool *connected)
{
    *connected = false;
    QString error;
    EmbeddedBackend::LocalEndpoint endpoint;
    QElapsedTimer clock;
    clock.start();
    while (!EmbeddedBackend::readLocalEndpoint(folder.endpointFile(), &endpoint, &error) && clock.elapsed() < 10000)
        QThread::msleep(200);
    if (endpoint.token.isEmpty())
        return QStringLiteral("本数据目录的后台由另一个 tzapp 运行，但无法连接：%1").arg(error);
    WebSocketTransport::Options link;
    link.url = endpoint.url;
    link.user = user;
    link.password = endpoint.token;
    link.beforeReconnect = [&folder](QUrl *url, QString *password) { folder.follow(url, password); };
    const QString state = connectShared(link, connected);
    return *connected ? QStringLiteral("共用本机另一个 tzapp 的后台 · 用户 %1").arg(user) : state;
}

// Asks for name and password until the shared back end accepts them; false when the
// trader gives up.
bool loginShared(const CommandLine &options, QString *user, QString *state)
{
    WebSocketTransport::Options link;
    link.url = QUrl(options.backendUrl);
    link.caFile = options.backendCa;
    link.user = options.user;
    link.password = qEnvironmentVariable("TZAPP_PASSWORD");
    LoginDialog dialog(link.url.toString(QUrl::RemoveUserInfo), options.user);
    bool connected = false;
    if (!link.password.isEmpty()) {
        *state = connectShared(link, &connected);
        if (connected) {
            *user = link.user;
            return true;
        }
        dialog.setProblem(*state);
    }
    while (dialog.exec() == QDialog::Accepted) {
        link.user = dialog.user();
        link.password = dialog.password();
        *state = connectShared(link, &connected);
        if (connected) {
            *user = link.user;
            return true;
        }
        dialog.setProblem(*state);
    }
    return false;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("TZApp"));
    QApplication::setApplicationName(QStringLiteral("tzapp"));

    const CommandLine options = CommandLine::parse(app.arguments());
    if (options.error == QLatin1String("help")) {
        printf("%s", qPrintable(CommandLine::helpText()));
        return 0;
    }
    if (!options.error.isEmpty()) {
        fprintf(stderr, "tzapp: %s\n%s", qPrintable(options.error), qPrintable(CommandLine::helpText()));
        return 2;
    }

    const QString pluginDir = options.pluginDir.isEmpty()
        ? QCoreApplication::applicationDirPath() + QStringLiteral("/plugins")
        : options.pluginDir;
    PluginManager plugins;
    if (options.listPlugins)
        return listPlugins(plugins, pluginDir);

    if (!options.dataDir.isEmpty())
        TzCore::setUserDataDir(QDir(options.dataDir).absolutePath());
    const QString dataDir = TzCore::userDataDir();
    TzCore::setSettingsFile(dataDir + QStringLiteral("/tzapp.ini"));
    const QString logPath = LogFile::install(dataDir + QStringLiteral("/logs"));
    qInfo().noquote() << "tzapp starting; data folder" << dataDir << "log" << logPath;
    app.setStyleSheet(VeltraUtils::GetSkinStyleSheet(QStringLiteral("veltra.qss")));
    installQtTranslations(app);

    // The embedded back end runs on a thread of this process; a shared one elsewhere. The
    // lock says which tzapp of this data folder runs it.
    BackendService::Options backendOptions;
    backendOptions.databasePath = options.databasePath.isEmpty()
        ? dataDir + QStringLiteral("/tzapp.sqlite")
        : options.databasePath;
    DataFolderBackend folder(dataDir, backendOptions);
    QString user = options.user;
    QString state;
    bool linked = false;
    bool followsFolder = false;  // linked to the back end another tzapp of the folder runs
    if (options.backendUrl.isEmpty() && !folder.tryLock()) {
        // Another tzapp runs the back end of this data folder: this desk uses it, so that
        // both see the same portfolios and prices as two desks of a shared back end do.
        state = connectLocal(folder, user, &linked);
        followsFolder = linked;
        // That tzapp may have closed just now: then this one runs the back end.
        if (!linked && folder.tryLock())
            qInfo().noquote() << "tzapp: no back end to share on this data folder:" << state;
    }
    if (!options.backendUrl.isEmpty()) {
        if (!loginShared(options, &user, &state))
            return 0;
        linked = true;
    } else if (!followsFolder && folder.tryLock()) {
        // The first desk on this data folder runs the back end and shares it.
        QString error;
        if (!folder.start(&error)) {
            qCritical().noquote() << "tzapp: the embedded back end did not start:" << error;
            state = QStringLiteral("后台启动失败：%1").arg(error);
        } else {
            EmbeddedBackend &backend = folder.backend();
            MessageBus::instance()->start(new InProcessTransport(backend.service(), backend.newClientId()));
            linked = login(user, error);
            state = linked ? QStringLiteral("嵌入式后台 · 用户 %1 · %2").arg(user, backendOptions.databasePath)
                           : QStringLiteral("后台登录失败：%1").arg(error);
        }
    }
    CBusinessDataBase::GetInstance()->SetLoginAccount(user);

    plugins.loadPlugins(pluginDir);
    MainWindow window(&plugins);
    window.setBackendState(linked, state);
    if (linked) {
        const QString accounts = CBusinessDataBase::GetInstance()->LoadAccountList(QStringLiteral("tzapp"));
        if (accounts != QLatin1String("0"))
            VeltraUtils::PutBusiMsg(BusiMsgLevel::Warning, BusiMsgType::SystemMsg, BusiMsgItem::TagSystem, accounts);
        window.showAccounts();
    }
    // Later changes of the link (a lost connection, a reconnect) replace the line above.
    // A desk of the folder's back end says whose it is: when the tzapp that ran it has
    // closed, this one or another has taken it over.
    QObject::connect(
        MessageBus::instance(), &MessageBus::connectionStateChanged, &window,
        [&window, &folder, followsFolder, user](bool connected, const QString &text) {
            if (!connected || !followsFolder)
                window.setBackendState(connected, text);
            else if (folder.runsHere())
                window.setBackendState(true, QStringLiteral("本 tzapp 已接管本数据目录的后台 · 用户 %1 · %2")
                                                 .arg(user, folder.options().databasePath));
            else
                window.setBackendState(true, QStringLiteral("共用本机另一个 tzapp 的后台 · 用户 %1").arg(user));
        },
        Qt::QueuedConnection);
    window.openStartPages();
    window.show();

    if (!options.screenshotFile.isEmpty()) {
        const QString file = QFileInfo(options.screenshotFile).absoluteFilePath();
        QTimer::singleShot(options.screenshotDelayMs, &window, [&window, file] {
            const bool saved = window.grab().save(file, "PNG");
            if (saved)
                printf("%s\n", qPrintable(file));
            else
                fprintf(stderr, "tzapp: cannot write screenshot %s\n", qPrintable(file));
            QCoreApplication::exit(saved ? 0 : 1);
        });
    }

    const int rc = app.exec();
    MessageBus::instance()->stop();
    // Before the plugins shut down, so that a desk linked to this one takes over at once.
    folder.stop();
    plugins.shutdown();
    return rc;
}
