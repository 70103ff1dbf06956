#pragma once

// Where a test keeps the back end's data: by default a SQLite file in a folder the test
// owns. When TZ_TEST_PG_URL names a PostgreSQL database (tests/backend/run_pg.sh sets it
// for a throw-away server that pg_virtualenv starts), every database a test asks for is
// instead a new schema there, dropped again when the TestDatabase goes.

#include "databaseaddress.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QProcess>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QUrl>
#include <atomic>

class TestDatabase
{
public:
    static QString serverUrl() { return qEnvironmentVariable("TZ_TEST_PG_URL"); }
    static bool onPostgres() { return !serverUrl().isEmpty(); }
    // Stops, starts or restarts the throw-away server with pg_ctlcluster; false when this
    // run has no server it may control (run_pg.sh names its cluster).
    static bool controlServer(const QString &action)
    {
        const QStringList cluster = qEnvironmentVariable("TZ_TEST_PG_CLUSTER").split(QLatin1Char(' '), Qt::SkipEmptyParts);
        return cluster.size() == 2
            && QProcess::execute(QStringLiteral("pg_ctlcluster"), {cluster.at(0), cluster.at(1), action}) == 0;
    }

    explicit TestDatabase(const QString &folder)
        : m_folder(folder)
    {
    }
    ~TestDatabase()
    {
        if (m_schemas.isEmpty())
            return;
        {
            QSqlDatabase admin = connect(serverUrl(), m_adminName);
            QSqlQuery(admin).exec(QStringLiteral("SET client_min_messages TO warning"));
            for (const QString &schema : qAsConst(m_schemas))
                QSqlQuery(admin).exec(QStringLiteral("DROP SCHEMA %1 CASCADE").arg(schema));
        }
        QSqlDatabase::removeDatabase(m_adminName);
    }
    TestDatabase(const TestDatabase &) = delete;
    TestDatabase &operator=(const TestDatabase &) = delete;

    // A new empty database: what SqlPortfolioStore::open and tzbackend --db take. A SQLite
    // file of that name in the folder, or the server's URL narrowed to a new schema.
    // Empty, with a warning, when the server refuses.
    QString create(const QString &fileName = QStringLiteral("backend.db"))
    {
        if (!onPostgres())
            return QDir(m_folder).filePath(fileName);
        static std::atomic<int> counter{0};
        const QString schema = QStringLiteral("tzt_%1_%2")
                                   .arg(QCoreApplication::applicationPid())
                                   .arg(++counter);
        bool created = false;
        {
            QSqlDatabase admin = connect(serverUrl(), m_adminName);
            QSqlQuery query(admin);
            created = query.exec(QStringLiteral("CREATE SCHEMA %1").arg(schema));
            if (!created)
                qWarning() << "TestDatabase: no schema" << schema << query.lastError().text();
        }
        QSqlDatabase::removeDatabase(m_adminName);
        if (!created)
            return QString();
        m_schemas << schema;
        const QString url = serverUrl();
        return url + (url.contains(QLatin1Char('?')) ? QLatin1Char('&') : QLatin1Char('?'))
               + QStringLiteral("options=")
               + QString::fromLatin1(QUrl::toPercentEncoding(
                   QStringLiteral("-c search_path=") + schema));
    }

    // A connection of its own to a database that create() gave, opened (a warning when
    // it cannot be). The caller removes it with QSqlDatabase::removeDatabase.
    static QSqlDatabase connect(const QString &address, const QString &connectionName)
    {
        DatabaseAddress parsed;
        QString error;
        if (!DatabaseAddress::parse(address, &parsed, &error)) {
            qWarning() << "TestDatabase:" << error;
            return QSqlDatabase();
        }
        QSqlDatabase db = parsed.addConnection(connectionName);
        if (!db.open())
            qWarning() << "TestDatabase: cannot open" << parsed.displayName()
                       << db.lastError().text();
        return db;
    }

private:
    QString m_folder;
    QString m_adminName = QStringLiteral("testdatabase-admin");
    QStringList m_schemas;
};
