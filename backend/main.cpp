#include "backendservice.h"
#include "tzcore.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

// The trading back end as a process. For now it opens the database (creating, migrating
// and seeding it as needed), prints what it holds and exits.
int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tzbackend"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Portfolio back end of the trading client"));
    parser.addHelpOption();
    const QCommandLineOption dbOption(QStringLiteral("db"),
                                      QStringLiteral("SQLite database file."),
                                      QStringLiteral("PATH"));
    const QCommandLineOption dataOption(QStringLiteral("data"),
                                        QStringLiteral("Reference data folder."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption noSeedOption(QStringLiteral("no-seed"),
                                          QStringLiteral("Do not write demo data."));
    parser.addOptions({dbOption, dataOption, noSeedOption});
    parser.process(app);

    QTextStream err(stderr);
    if (!parser.isSet(dbOption)) {
        err << "tzbackend: --db PATH is required\n";
        return 2;
    }
    if (parser.isSet(dataOption))
        TzCore::setDataDir(parser.value(dataOption));

    BackendService::Options options;
    options.databasePath = parser.value(dbOption);
    options.seedDemo = !parser.isSet(noSeedOption);
    BackendService service(options);
    QString error;
    if (!service.open(&error)) {
        err << "tzbackend: " << error << '\n';
        return 1;
    }
    QTextStream(stdout) << service.summary() << '\n';
    return 0;
}
