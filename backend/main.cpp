#include "backendservice.h"
#include "demoseed.h"
#include "positionfileloader.h"
#include "sqlportfoliostore.h"
#include "tzcore.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

// The trading back end as a process. Without a command it opens the database (creating,
// migrating and seeding it as needed), prints what it holds and exits; the command
// "positions load" loads an account's positions from a file into it.
namespace {

enum ExitCode { Ok = 0, Refused = 1, Usage = 2 };

const char kDescription[] =
    "Trading back end. Without a command: opens the database (creating, migrating and\n"
    "seeding it as needed), prints what it holds and exits.\n"
    "\n"
    "Commands:\n"
    "  positions load --fund-account ACCOUNT --file FILE [--replace]\n"
    "      Loads the positions of one account (fund or trading account number) from a\n"
    "      CSV file (UTF-8, with or without BOM, or GB18030) or an Excel workbook.\n"
    "      Columns by header name, in any order; other columns are ignored:\n"
    "        证券代码 or code, 市场 or market (SH, SZ, BJ, HHK, SZHK),\n"
    "        当前数量 or current_qty, 可用数量 or available_qty (optional, default:\n"
    "        the current quantity), 成本价 or cost_price (optional, default 0).\n"
    "      Every line is checked first; one bad line refuses the whole file and\n"
    "      nothing is written. Otherwise the lines add positions or overwrite those of\n"
    "      the same security and market, in one transaction; --replace first removes\n"
    "      all of the account's positions.\n"
    "\n"
    "Exit codes: 0 done, 1 refused (database, account or file), 2 wrong usage.";

int loadPositions(const QString &databasePath, bool seed, const QString &account,
                  const QString &file, bool replace)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    SqlPortfolioStore store(QStringLiteral("tzbackend-cli"));
    QString error;
    QString written;
    if (!store.open(databasePath, &error)
        || (seed && !DemoSeed::seedIfDue(store, &written, &error))) {
        err << "tzbackend: " << error << '\n';
        return Refused;
    }
    PositionFileLoader::Result result;
    const bool loaded = PositionFileLoader::load(store, account, file, replace, &result);
    QTextStream &stream = loaded ? out : err;
    for (const QString &line : PositionFileLoader::report(file, replace, result))
        stream << line << '\n';
    return loaded ? Ok : Refused;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tzbackend"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromUtf8(kDescription));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption dbOption(QStringLiteral("db"),
                                      QStringLiteral("SQLite database file."),
                                      QStringLiteral("PATH"));
    const QCommandLineOption dataOption(QStringLiteral("data"),
                                        QStringLiteral("Reference data folder."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption noSeedOption(QStringLiteral("no-seed"),
                                          QStringLiteral("Do not write demo data."));
    const QCommandLineOption accountOption(
        QStringLiteral("fund-account"),
        QStringLiteral("positions load: the account, by fund or trading account number."),
        QStringLiteral("ACCOUNT"));
    const QCommandLineOption fileOption(QStringLiteral("file"),
                                        QStringLiteral("positions load: the file to load."),
                                        QStringLiteral("FILE"));
    const QCommandLineOption replaceOption(
        QStringLiteral("replace"),
        QStringLiteral("positions load: remove the account's positions first."));
    parser.addOptions({dbOption, dataOption, noSeedOption, accountOption, fileOption,
                       replaceOption});
    parser.addPositionalArgument(QStringLiteral("command"),
                                 QStringLiteral("Optional: positions load."),
                                 QStringLiteral("[positions load]"));

    QTextStream err(stderr);
    const auto usage = [&](const QString &problem) {
        err << "tzbackend: " << problem << QStringLiteral("（用法见 tzbackend --help）") << '\n';
        return Usage;
    };
    if (!parser.parse(QCoreApplication::arguments()))
        return usage(parser.errorText());
    if (parser.isSet(helpOption)) {
        QTextStream(stdout) << parser.helpText();
        return Ok;
    }
    if (!parser.isSet(dbOption))
        return usage(QStringLiteral("缺少数据库文件：--db PATH"));
    if (parser.isSet(dataOption))
        TzCore::setDataDir(parser.value(dataOption));

    const QStringList command = parser.positionalArguments();
    const bool loadCommand =
        command == QStringList{QStringLiteral("positions"), QStringLiteral("load")};
    if (!command.isEmpty() && !loadCommand)
        return usage(QStringLiteral("未知的命令：%1").arg(command.join(QLatin1Char(' '))));
    if (loadCommand) {
        if (!parser.isSet(accountOption) || !parser.isSet(fileOption))
            return usage(QStringLiteral("positions load 需要 --fund-account 和 --file"));
        return loadPositions(parser.value(dbOption), !parser.isSet(noSeedOption),
                             parser.value(accountOption), parser.value(fileOption),
                             parser.isSet(replaceOption));
    }
    if (parser.isSet(accountOption) || parser.isSet(fileOption) || parser.isSet(replaceOption))
        return usage(QStringLiteral("--fund-account、--file 和 --replace 只用于 positions load"));

    BackendService::Options options;
    options.databasePath = parser.value(dbOption);
    options.seedDemo = !parser.isSet(noSeedOption);
    BackendService service(options);
    QString error;
    if (!service.open(&error)) {
        err << "tzbackend: " << error << '\n';
        return Refused;
    }
    QTextStream(stdout) << service.summary() << '\n';
    return Ok;
}
