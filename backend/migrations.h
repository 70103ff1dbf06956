#pragma once

#include <QString>

class QSqlDatabase;

// Schema of the portfolio store as a numbered list of steps. The database records the
// steps it has in schema_version; opening a database applies the missing ones in order,
// each in its own transaction, so a file written by an older back end is upgraded in
// place and a step that fails leaves the database at the previous version.
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
};
