#include "migrations.h"

#include "portfolioextension.h"

#include <QDateTime>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <vector>

Q_LOGGING_CATEGORY(lcMigrations, "tz.backend.migrations")

namespace {

struct Migration
{
    int version;
    QString description;
    QStringList statements;
    // Data conversion that SQL alone cannot do, run after the statements.
    std::function<bool(const QSqlDatabase &, QString *)> convert;
};

bool exec(const QSqlDatabase &db, const QString &sql, QString *error)
{
    QSqlQuery query(db);
    if (query.exec(sql))
        return true;
    *error = QStringLiteral("数据库升级失败：%1（%2）").arg(query.lastError().text(), sql.simplified());
    return false;
}

// Fills the parameter type of portfolios written before the column existed.
bool backfillParamType(const QSqlDatabase &db, QString *error)
{
    QSqlQuery select(db);
    if (!select.exec(QStringLiteral("SELECT id, extension FROM portfolios"))) {
        *error = QStringLiteral("数据库升级失败：%1").arg(select.lastError().text());
        return false;
    }
    QSqlQuery update(db);
    update.prepare(QStringLiteral("UPDATE portfolios SET param_type = ? WHERE id = ?"));
    while (select.next()) {
        const int type = PortfolioExtension::paramTypeOfText(select.value(1).toString());
        if (type == 0)
            continue;
        update.addBindValue(type);
        update.addBindValue(select.value(0));
        if (!update.exec()) {
            *error = QStringLiteral("数据库升级失败：%1").arg(update.lastError().text());
            return false;
        }
    }
    return true;
}

const std::vector<Migration> &migrationList()
{
    static const std::vector<Migration> list = {
        {1, QStringLiteral("users, strategy labels, portfolios and their lines"),
         {QStringLiteral("CREATE TABLE users ("
                         " id INTEGER PRIMARY KEY,"
                         " user_name TEXT NOT NULL UNIQUE,"
                         " created_at TEXT NOT NULL)"),
          // Numbers handed out to clients; never reused, also after a delete.
          QStringLiteral("CREATE TABLE number_sequences ("
                         " name TEXT PRIMARY KEY,"
                         " next_value BIGINT NOT NULL)"),
          QStringLiteral("INSERT INTO number_sequences (name, next_value)"
                         " VALUES ('strategy', 1001), ('portfolio', 100001)"),
          QStringLiteral("CREATE TABLE strategies ("
                         " id INTEGER PRIMARY KEY,"
                         " strategy_no TEXT NOT NULL UNIQUE,"
                         " user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
                         " strategy_name TEXT NOT NULL,"
                         " strategy_type TEXT NOT NULL DEFAULT '',"
                         " mana_status TEXT NOT NULL DEFAULT '',"
                         " UNIQUE (user_id, strategy_name))"),
          // Deleted portfolios are removed, so the unique name only binds live ones.
          QStringLiteral("CREATE TABLE portfolios ("
                         " id INTEGER PRIMARY KEY,"
                         " portfolio_no TEXT NOT NULL UNIQUE,"
                         " user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
                         " strategy_id INTEGER REFERENCES strategies(id) ON DELETE SET NULL,"
                         " portfolio_name TEXT NOT NULL,"
                         " default_basket_size BIGINT NOT NULL DEFAULT 0,"
                         " extension TEXT NOT NULL DEFAULT '{}',"
                         " created_at TEXT NOT NULL,"
                         " UNIQUE (user_id, portfolio_name))"),
          QStringLiteral("CREATE TABLE portfolio_lines ("
                         " portfolio_id INTEGER NOT NULL"
                         "  REFERENCES portfolios(id) ON DELETE CASCADE,"
                         " line_no INTEGER NOT NULL,"
                         " security_id TEXT NOT NULL,"
                         " security_exchange TEXT NOT NULL,"
                         " side TEXT NOT NULL DEFAULT '',"
                         " trade_qty BIGINT NOT NULL DEFAULT 0,"
                         " position_weight DOUBLE PRECISION NOT NULL DEFAULT 0,"
                         " entrust_type TEXT NOT NULL DEFAULT '',"
                         " batch_entrust_prop TEXT NOT NULL DEFAULT '',"
                         " customer_price DOUBLE PRECISION NOT NULL DEFAULT 0,"
                         " limit_price DOUBLE PRECISION NOT NULL DEFAULT 0,"
                         " PRIMARY KEY (portfolio_id, security_id, security_exchange))")},
         {}},
        {2, QStringLiteral("order batches; parameter type and display order of portfolios"),
         {QStringLiteral("ALTER TABLE portfolios"
                         " ADD COLUMN param_type INTEGER NOT NULL DEFAULT 0"),
          QStringLiteral("ALTER TABLE portfolios"
                         " ADD COLUMN sort_order BIGINT NOT NULL DEFAULT 0"),
          QStringLiteral("UPDATE portfolios SET sort_order = id"),
          QStringLiteral("CREATE TABLE order_batches ("
                         " id INTEGER PRIMARY KEY,"
                         " batch_no TEXT NOT NULL UNIQUE,"
                         " portfolio_id INTEGER NOT NULL"
                         "  REFERENCES portfolios(id) ON DELETE CASCADE,"
                         " state TEXT NOT NULL CHECK (state IN"
                         "  ('pending', 'working', 'finished', 'cancelled', 'rejected')),"
                         " created_at TEXT NOT NULL)"),
          QStringLiteral("CREATE INDEX order_batches_by_portfolio"
                         " ON order_batches (portfolio_id, state)"),
          QStringLiteral("INSERT INTO number_sequences (name, next_value) VALUES ('batch', 1)")},
         backfillParamType},
        {3, QStringLiteral("lines indexed by their position, so appending a line is one probe"),
         {QStringLiteral("CREATE INDEX portfolio_lines_by_position"
                         " ON portfolio_lines (portfolio_id, line_no)")},
         {}},
        {4, QStringLiteral("accounts of users: shareholder accounts, positions, lendable"
                           " securities and lending contracts"),
         {// The markets an account can trade on, in the order account lists show them.
          QStringLiteral("CREATE TABLE markets ("
                         " market TEXT PRIMARY KEY,"
                         " sort_order INTEGER NOT NULL UNIQUE)"),
          QStringLiteral("INSERT INTO markets (market, sort_order)"
                         " VALUES ('SH', 1), ('SZ', 2), ('BJ', 3), ('HHK', 4), ('SZHK', 5)"),
          // A fund account and its trading account are two numbers of one account;
          // fund_property is '0' for a cash account and '1' for a credit account.
          QStringLiteral("CREATE TABLE accounts ("
                         " id INTEGER PRIMARY KEY,"
                         " user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
                         " fund_account TEXT NOT NULL UNIQUE,"
                         " trading_account TEXT NOT NULL UNIQUE,"
                         " fund_property TEXT NOT NULL CHECK (fund_property IN ('0', '1')),"
                         " account_name TEXT NOT NULL)"),
          QStringLiteral("CREATE INDEX accounts_by_user ON accounts (user_id, fund_account)"),
          // The shareholder account through which an account trades on one market; the
          // Stock Connect links use the Shanghai and Shenzhen numbers.
          QStringLiteral("CREATE TABLE security_accounts ("
                         " id INTEGER PRIMARY KEY,"
                         " account_id INTEGER NOT NULL"
                         "  REFERENCES accounts(id) ON DELETE CASCADE,"
                         " market TEXT NOT NULL REFERENCES markets(market),"
                         " security_account TEXT NOT NULL,"
                         " UNIQUE (account_id, market))"),
          QStringLiteral("CREATE TABLE positions ("
                         " security_account_id INTEGER NOT NULL"
                         "  REFERENCES security_accounts(id) ON DELETE CASCADE,"
                         " security_id TEXT NOT NULL,"
                         " current_qty BIGINT NOT NULL CHECK (current_qty >= 0),"
                         " available_qty BIGINT NOT NULL"
                         "  CHECK (available_qty >= 0 AND available_qty <= current_qty),"
                         " cost_price DOUBLE PRECISION NOT NULL DEFAULT 0,"
                         " currency TEXT NOT NULL DEFAULT 'CNY',"
                         " PRIMARY KEY (security_account_id, security_id))"),
          // What a credit account may still borrow to sell short.
          QStringLiteral("CREATE TABLE lendable_securities ("
                         " account_id INTEGER NOT NULL"
                         "  REFERENCES accounts(id) ON DELETE CASCADE,"
                         " market TEXT NOT NULL REFERENCES markets(market),"
                         " security_id TEXT NOT NULL,"
                         " lendable_qty BIGINT NOT NULL CHECK (lendable_qty >= 0),"
                         " PRIMARY KEY (account_id, market, security_id))"),
          QStringLiteral("CREATE TABLE lending_contracts ("
                         " id INTEGER PRIMARY KEY,"
                         " contract_no TEXT NOT NULL UNIQUE,"
                         " account_id INTEGER NOT NULL"
                         "  REFERENCES accounts(id) ON DELETE CASCADE,"
                         " market TEXT NOT NULL REFERENCES markets(market),"
                         " security_id TEXT NOT NULL,"
                         " contract_qty BIGINT NOT NULL CHECK (contract_qty > 0),"
                         " open_date DATE NOT NULL,"
                         " return_date DATE NOT NULL)"),
          QStringLiteral("CREATE INDEX lending_contracts_by_return_date"
                         " ON lending_contracts (account_id, return_date, contract_no)")},
         {}},
        {5, QStringLiteral("passwords of users who log in over the network"),
         {// PBKDF2-HMAC-SHA256 of the password with a random salt, both in hex; a user
          // without a row here can only work on the embedded back end of its own machine.
          QStringLiteral("CREATE TABLE user_credentials ("
                         " user_id INTEGER PRIMARY KEY REFERENCES users(id) ON DELETE CASCADE,"
                         " password_hash TEXT NOT NULL,"
                         " salt TEXT NOT NULL,"
                         " iterations INTEGER NOT NULL CHECK (iterations > 0),"
                         " updated_at TEXT NOT NULL)")},
         {}},
        {6, QStringLiteral("portfolios being created: header stored, lines still to come"),
         {// The session that created the header; the portfolio is complete (and listed)
          // once that session's lines arrive, and goes away when the session does.
          QStringLiteral("ALTER TABLE portfolios ADD COLUMN pending_session TEXT"),
          QStringLiteral("ALTER TABLE portfolios ADD COLUMN pending_since TEXT"),
          QStringLiteral("CREATE INDEX portfolios_pending ON portfolios (pending_session)")},
         {}},
        {7, QStringLiteral("portfolios whose lines are being replaced: old lines kept until the new come"),
         {QStringLiteral("ALTER TABLE portfolios ADD COLUMN replacing_session TEXT"),
          QStringLiteral("ALTER TABLE portfolios ADD COLUMN replacing_since TEXT")},
         {}},
        {8, QStringLiteral("a replaced portfolio's new header waits with its old lines until the new lines come"),
         {QStringLiteral("ALTER TABLE portfolios ADD COLUMN replacing_header TEXT")},
         {}},
    };
    return list;
}

bool isPostgres(const QSqlDatabase &db)
{
    return db.driverName() == QLatin1String("QPSQL");
}

const QString kCreateVersionTable = QStringLiteral(
    "CREATE TABLE IF NOT EXISTS schema_version ("
    " version INTEGER PRIMARY KEY,"
    " description TEXT NOT NULL,"
    " applied_at TEXT NOT NULL)");

bool runStep(const QSqlDatabase &db, const Migration &migration, QString *error)
{
    const bool postgres = isPostgres(db);
    for (const QString &sql : migration.statements) {
        if (!exec(db, postgres ? Migrations::postgresStatement(sql) : sql, error))
            return false;
    }
    if (migration.convert && !migration.convert(db, error))
        return false;
    QSqlQuery record(db);
    record.prepare(QStringLiteral(
        "INSERT INTO schema_version (version, description, applied_at) VALUES (?, ?, ?)"));
    record.addBindValue(migration.version);
    record.addBindValue(migration.description);
    record.addBindValue(QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    if (record.exec())
        return true;
    *error = QStringLiteral("数据库升级失败：%1").arg(record.lastError().text());
    return false;
}

// One transaction: reads the version under the schema lock and applies the step that
// follows it, if any up to the target. *done when there was none.
bool applyNext(const QSqlDatabase &db, int target, bool *done, QString *error)
{
    QSqlDatabase handle = db;
    if (!handle.transaction()) {
        *error = QStringLiteral("数据库升级无法开始事务：%1").arg(handle.lastError().text());
        return false;
    }
    // Without this, PostgreSQL tells of the version table that exists already.
    bool ok = !isPostgres(db)
              || exec(db, QStringLiteral("SET LOCAL client_min_messages TO warning"), error);
    ok = ok && Migrations::lockUntilCommit(db, error) && exec(db, kCreateVersionTable, error);
    const int current = ok ? Migrations::currentVersion(db, error) : -1;
    ok = current >= 0;
    if (ok && current > Migrations::latestVersion()) {
        *error = QStringLiteral("数据库版本%1高于本程序支持的版本%2")
                     .arg(current)
                     .arg(Migrations::latestVersion());
        ok = false;
    }
    const Migration *next = nullptr;
    for (const Migration &migration : migrationList()) {
        if (!next && migration.version > current && migration.version <= target)
            next = &migration;
    }
    if (ok && next)
        ok = runStep(db, *next, error);
    if (ok && !handle.commit()) {
        ok = false;
        *error = QStringLiteral("数据库升级无法提交：%1").arg(handle.lastError().text());
    }
    if (!ok) {
        handle.rollback();
        return false;
    }
    *done = !next;
    if (next) {
        qCInfo(lcMigrations).noquote()
            << "schema version" << next->version << "applied:" << next->description;
    }
    return true;
}

} // namespace

int Migrations::latestVersion()
{
    return migrationList().back().version;
}

int Migrations::currentVersion(const QSqlDatabase &db, QString *error)
{
    QSqlQuery query(db);
    if (isPostgres(db)) {
        // The table of the schema the store works in, the first of the search path.
        if (!query.exec(QStringLiteral(
                "SELECT COUNT(*) FROM information_schema.tables"
                " WHERE table_schema = current_schema() AND table_name = 'schema_version'"))
            || !query.next()) {
            *error = QStringLiteral("无法读取数据库版本：%1").arg(query.lastError().text());
            return -1;
        }
        if (query.value(0).toInt() == 0)
            return 0;
    } else if (!db.tables().contains(QStringLiteral("schema_version"))) {
        return 0;
    }
    if (!query.exec(QStringLiteral("SELECT MAX(version) FROM schema_version")) || !query.next()) {
        *error = QStringLiteral("无法读取数据库版本：%1").arg(query.lastError().text());
        return -1;
    }
    return query.value(0).toInt();
}

bool Migrations::apply(const QSqlDatabase &db, QString *error, int targetVersion)
{
    const int target = targetVersion < 0 ? latestVersion() : targetVersion;
    bool done = false;
    while (!done) {
        if (!applyNext(db, target, &done, error))
            return false;
    }
    return true;
}

bool Migrations::lockUntilCommit(const QSqlDatabase &db, QString *error)
{
    if (!isPostgres(db))
        return true;
    // Any fixed number serves, as long as every back end takes the same one.
    const qint64 schemaLock = 0x747a736368656d61;  // "tzschema"
    QSqlQuery query(db);
    query.prepare(QStringLiteral("SELECT pg_advisory_xact_lock(?)"));
    query.addBindValue(schemaLock);
    if (query.exec())
        return true;
    *error = QStringLiteral("无法取得数据库升级锁：%1").arg(query.lastError().text());
    return false;
}

QString Migrations::postgresStatement(const QString &sqliteStatement)
{
    // SQLite numbers the rows of an INTEGER PRIMARY KEY itself; PostgreSQL needs an
    // identity column for that.
    static const QRegularExpression ownId(QStringLiteral("\\bid INTEGER PRIMARY KEY\\b"));
    static const QRegularExpression reference(QStringLiteral("\\b(\\w+_id) INTEGER\\b"));
    // Texts compare byte by byte as in SQLite, whatever the server's locale: codes,
    // account and contract numbers sort (and page) the same on both.
    static const QRegularExpression text(QStringLiteral("\\bTEXT\\b"));
    QString sql = sqliteStatement;
    sql.replace(ownId, QStringLiteral("id BIGINT GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY"));
    sql.replace(reference, QStringLiteral("\\1 BIGINT"));
    sql.replace(text, QStringLiteral("TEXT COLLATE \"C\""));
    return sql;
}
