#pragma once

#include <QString>

class QSqlDatabase;

// Schema of the portfolio store as a numbered list of steps. The database records the
// steps it has in schema_version; opening a database applies the missing ones in order,
// each in its own transaction, so a file written by an older back end is upgraded in
// place and a step that fails leaves the database at the previous version.
//
// The same steps build a SQLite file and a PostgreSQL database. They are written for
// SQLite; postgresStatement() turns the few types that differ into PostgreSQL's. On
// PostgreSQL several back ends may start on one database at once: each step runs under
// the schema lock and reads the version again once it holds it, so a step is applied by
// one of them only.
class Migrations
{
public:
    static int latestVersion();
    // The version that brought the account tables.
    static constexpr int accountsVersion = 4;

    // Highest version recorded in the database; 0 for a database never migrated.
    // Returns -1 with a reason when it cannot be read.
    static int currentVersion(const QSqlDatabase &db, QString *error);

    // Applies every step above the current version up to targetVersion (the latest when
    // -1). Refuses a database newer than this back end knows.
    static bool apply(const QSqlDatabase &db, QString *error, int targetVersion = -1);

    // Inside a transaction on PostgreSQL: waits for and then holds, until the transaction
    // ends, the lock that lets one back end at a time change the schema or write the first
    // data. Nothing to do on SQLite, where one writer at a time is the rule anyway.
    static bool lockUntilCommit(const QSqlDatabase &db, QString *error);

    // A step's statement as PostgreSQL takes it: a column named id becomes an identity
    // column of 64 bits, the columns that refer to one (named ..._id) 64-bit integers,
    // and text columns compare byte by byte as SQLite's do.
    static QString postgresStatement(const QString &sqliteStatement);
};
