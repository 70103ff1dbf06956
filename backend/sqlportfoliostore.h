#pragma once

#include "databaseaddress.h"
#include "portfoliorecords.h"

#include <QHash>
#include <QList>
#include <QSqlDatabase>
#include <QSet>
#include <QSqlQuery>
#include <QString>
#include <QVariant>

// Every statement of the portfolio store. One instance owns one database connection and
// must be used on the thread that opened it. Methods return false with a reason in
// *error; the caller brackets the calls of one request with begin() and commit() or
// rollback(). The SQL sticks to what SQLite and PostgreSQL both understand, with values
// always bound. On PostgreSQL transactions are READ COMMITTED and several back ends may
// share one database: what must not collide (numbers handed out, unique names) is
// settled by row locks and unique constraints.
class SqlPortfolioStore
{
public:
    explicit SqlPortfolioStore(const QString &connectionName);

    // Lines one portfolio may hold: more than every listed security of every market, so
    // that only a runaway client meets it.
    static constexpr int kMaxLines = 20000;
    ~SqlPortfolioStore();
    SqlPortfolioStore(const SqlPortfolioStore &) = delete;
    SqlPortfolioStore &operator=(const SqlPortfolioStore &) = delete;

    // Opens the database and brings its schema to the latest version. `database` is the
    // path of a SQLite file, opened (created when missing) in WAL mode with foreign keys
    // enforced, or a postgresql:// URL (see DatabaseAddress) of a database that exists.
    bool open(const QString &database, QString *error);
    void close();
    bool isOpen() const { return m_db.isOpen(); }
    // Open, and on PostgreSQL the server still answers (a round trip).
    bool isAlive();
    bool isPostgres() const { return m_postgres; }
    // The database as logs and messages name it: never with a password.
    QString displayName() const { return m_displayName; }
    QSqlDatabase database() const { return m_db; }
    // Schema version the database had before open() brought it up to date; 0 for a new
    // file.
    int versionBeforeOpen() const { return m_versionBeforeOpen; }

    bool begin(QString *error);
    bool commit(QString *error);
    void rollback();

    // Rows in one of the store's tables (users, strategies, portfolios, portfolio_lines,
    // order_batches, and those of the account store).
    bool countRows(const QString &table, qint64 *count, QString *error);

    // *id is -1 when the user is unknown.
    bool findUser(const QString &userName, qint64 *id, QString *error);
    bool ensureUser(const QString &userName, qint64 *id, QString *error);

    // Assigns strategy->strategyNo.
    bool createStrategy(qint64 userId, StrategyRecord *strategy, QString *error);
    // Renames a label; a null type or status keeps the stored one.
    bool updateStrategy(qint64 userId, const StrategyRecord &strategy, QString *error);
    bool strategies(qint64 userId, QList<StrategyRecord> *out, QString *error);

    // Assigns portfolio->portfolioNo and portfolio->createTime. Lines are not written.
    bool createPortfolio(qint64 userId, PortfolioRecord *portfolio, QString *error);
    // Rewrites name, strategy, default basket size and extension of a portfolio.
    bool updatePortfolio(qint64 userId, const PortfolioRecord &portfolio, QString *error);
    // Whether updatePortfolio() would take this header (name free, strategy known,
    // portfolio there), changing nothing.
    bool checkPortfolioUpdate(qint64 userId, const PortfolioRecord &portfolio, QString *error);
    // *found is false when the user has no portfolio of that number. Lines not loaded.
    bool loadPortfolio(qint64 userId, const QString &portfolioNo, PortfolioRecord *out,
                       bool *found, QString *error);
    // ref->id is -1 when no portfolio has that number.
    bool findPortfolio(const QString &portfolioNo, PortfolioRef *ref, QString *error);
    // Removes a portfolio with its lines and order batches.
    bool deletePortfolio(qint64 portfolioId, QString *error);
    // A portfolio whose header a session created and whose lines have not come yet: no
    // list shows it, and it goes when the session does. An empty session completes it.
    bool setPending(qint64 portfolioId, const QString &session, QString *error);
    // Deletes the portfolios still pending for this session (empty: for any session whose
    // creation began before `before`, an ISO time; both empty: all); *dropped counts them.
    bool dropPending(const QString &session, const QString &before, int *dropped, QString *error);
    // A session cleared the portfolio's lines to send new ones: the old lines stay until
    // they come (an empty session: they came). forgetReplacing() gives up the marks of a
    // session, or (session empty) those set before `before` (empty: all), old lines kept.
    // A header sent while the lines are being replaced waits with the mark (see
    // PortfolioRef::replacingHeader); setReplacing() and forgetReplacing() drop it.
    bool setReplacing(qint64 portfolioId, const QString &session, QString *error);
    bool setReplacingHeader(qint64 portfolioId, const QString &header, QString *error);
    bool forgetReplacing(const QString &session, const QString &before, QString *error);
    // The user's portfolios with their lines, in display order.
    bool portfolios(qint64 userId, QList<PortfolioRecord> *out, QString *error);
    // One page of the user's portfolios in display order: those after the position
    // `after` (empty: from the start), at most `limit`. nextAfter receives the position
    // of the page's last portfolio, or an empty text when no portfolio follows. With
    // `numbers`, only the portfolios of those numbers are taken.
    bool portfolioPage(qint64 userId, const QString &after, int limit,
                       QList<PortfolioRecord> *out, QString *nextAfter, QString *error,
                       const QStringList &numbers = QStringList());

    // Appends lines after the portfolio's last one, in one statement whatever their
    // number; all or none. Refused when the portfolio already holds one of
    // the securities on that market (*failedIndex names the line) or would pass kMaxLines
    // (*failedIndex -1).
    bool addLines(qint64 portfolioId, const QList<PortfolioLine> &lines, int *failedIndex, QString *error);
    // Overwrites the lines of the same security and market in place and appends the
    // others, in two statements; a security named twice keeps the later line. All or
    // none.
    bool replaceLines(qint64 portfolioId, const QList<PortfolioLine> &lines, QString *error);
    bool clearLines(qint64 portfolioId, QString *error);

    // Order batches: state is one of pending, working, finished, cancelled, rejected.
    bool addOrderBatch(qint64 portfolioId, const QString &state, QString *batchNo,
                       QString *error);
    // *batchNo is the oldest batch still pending or working; empty when there is none.
    bool unfinishedBatch(qint64 portfolioId, QString *batchNo, QString *error);

private:
    bool openSqlite(const QString &path, QString *error);
    bool openPostgres(const DatabaseAddress &address, QString *error);
    // Runs a statement that may break a uniqueness rule: such a break is answered with
    // `duplicate`, any other failure with the database's own text.
    bool execUnique(QSqlQuery &query, const QString &duplicate, QString *error);
    // Sets (session empty: clears) a session mark and its time: `sql` binds session, time
    // and portfolio id.
    bool setMark(const QString &sql, qint64 portfolioId, const QString &session, QString *error);
    // The security and market of every line the portfolio holds, and its last line number.
    // A SELECT of the rows of a JSON array of lines (linesJson()) bound to a parameter,
    // with the columns of portfolio_lines.
    QString linesSource() const;
    bool heldLines(qint64 portfolioId, QSet<QPair<QString, QString>> *keys, qint64 *lastLine, QString *error);
    bool nextNumber(const QString &sequence, qint64 *value, QString *error);
    bool resolveStrategy(qint64 userId, const QString &strategyNo, QVariant *strategyId,
                         QString *error);

    // A statement of the cache below, its result let go when this goes out of scope (an
    // open SQLite read would otherwise pin a snapshot of the database).
    class Statement
    {
    public:
        explicit Statement(QSqlQuery *query) : m_query(query) {}
        Statement(const Statement &) = delete;
        Statement &operator=(const Statement &) = delete;
        ~Statement() { m_query->finish(); }
        QSqlQuery &operator*() const { return *m_query; }
        QSqlQuery *operator->() const { return m_query; }

    private:
        QSqlQuery *m_query;
    };
    // The statements of every request, prepared once per connection and then only bound
    // and run: on PostgreSQL a statement prepared afresh costs a PREPARE and a DEALLOCATE
    // round trip besides its EXECUTE. Values are bound anew for every run.
    // A statement that does not prepare is not kept; running it gives the reason.
    Statement statement(const QString &sql);

    QString m_connectionName;
    QSqlDatabase m_db;
    bool m_postgres = false;
    QString m_displayName;
    int m_versionBeforeOpen = 0;
    QHash<QString, QSqlQuery> m_statements;
    QSqlQuery m_unprepared;  // the last statement that did not prepare
};
