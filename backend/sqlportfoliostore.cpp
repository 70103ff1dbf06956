#include "sqlportfoliostore.h"

#include <limits>

#include "migrations.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

Q_LOGGING_CATEGORY(lcStore, "tz.backend.store")

namespace {

const QStringList kCountedTables = {
    QStringLiteral("users"), QStringLiteral("strategies"), QStringLiteral("portfolios"),
    QStringLiteral("portfolio_lines"), QStringLiteral("order_batches"),
    QStringLiteral("accounts"), QStringLiteral("security_accounts"),
    QStringLiteral("positions"), QStringLiteral("lendable_securities"),
    QStringLiteral("lending_contracts")};

// SQLite reports a unique or primary key conflict as 19 (2067 and 1555 extended),
// PostgreSQL as SQLSTATE 23505 (unique_violation).
bool isUniqueViolation(const QSqlError &error)
{
    static const QStringList codes = {QStringLiteral("19"), QStringLiteral("2067"),
                                      QStringLiteral("1555"), QStringLiteral("23505")};
    return codes.contains(error.nativeErrorCode())
           || error.databaseText().contains(QLatin1String("UNIQUE"), Qt::CaseInsensitive);
}

// A text for a NOT NULL column: a null QString would be bound as SQL NULL.
QVariant notNullText(const QString &value)
{
    return value.isNull() ? QVariant(QLatin1String("")) : QVariant(value);
}

bool run(QSqlQuery &query, QString *error)
{
    if (query.exec())
        return true;
    *error = QStringLiteral("数据库错误：%1").arg(query.lastError().text());
    qCWarning(lcStore).noquote() << *error << query.lastQuery().simplified();
    return false;
}

QString nowText()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

QDateTime timeFromText(const QString &text)
{
    return QDateTime::fromString(text, Qt::ISODateWithMs);
}

PortfolioLine lineFromQuery(const QSqlQuery &query, int first)
{
    PortfolioLine line;
    line.securityId = query.value(first).toString();
    line.exchange = query.value(first + 1).toString();
    line.side = query.value(first + 2).toString();
    line.tradeQty = query.value(first + 3).toLongLong();
    line.positionWeight = query.value(first + 4).toDouble();
    line.entrustType = query.value(first + 5).toString();
    line.entrustProp = query.value(first + 6).toString();
    line.customerPrice = query.value(first + 7).toDouble();
    line.limitPrice = query.value(first + 8).toDouble();
    return line;
}

// What a line holds besides its security and market.
const QString kLineDataColumns = QStringLiteral(
    "side, trade_qty, position_weight, entrust_type, batch_entrust_prop, customer_price, limit_price");
const QString kLineColumns = QStringLiteral("security_id, security_exchange, ") + kLineDataColumns;

// Lines travel to the database as one JSON array bound to one parameter, which the
// statement opens into rows: one statement of fixed text for any number of lines, prepared
// once, instead of a statement of hundreds of parameters per few dozen lines, which
// PostgreSQL parsed and planned afresh each time. Line numbers follow `lastLine` (none
// when it is negative).
QString linesJson(const QList<PortfolioLine> &lines, qint64 lastLine)
{
    QJsonArray array;
    for (const PortfolioLine &line : lines) {
        QJsonObject row{{QStringLiteral("security_id"), line.securityId},
                        {QStringLiteral("security_exchange"), line.exchange},
                        {QStringLiteral("side"), line.side},
                        // as text: a JSON number is a double, exact to 2^53 only
                        {QStringLiteral("trade_qty"), QString::number(line.tradeQty)},
                        {QStringLiteral("position_weight"), line.positionWeight},
                        {QStringLiteral("entrust_type"), line.entrustType},
                        {QStringLiteral("batch_entrust_prop"), line.entrustProp},
                        {QStringLiteral("customer_price"), line.customerPrice},
                        {QStringLiteral("limit_price"), line.limitPrice}};
        if (lastLine >= 0)
            row.insert(QStringLiteral("line_no"), QString::number(++lastLine));
        array.append(row);
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

const QString kPortfolioColumns = QStringLiteral(
    "p.portfolio_no, p.portfolio_name, s.strategy_no, s.strategy_name,"
    " p.default_basket_size, p.extension, p.param_type, p.created_at");

PortfolioRecord portfolioFromQuery(const QSqlQuery &query, int first)
{
    PortfolioRecord record;
    record.portfolioNo = query.value(first).toString();
    record.name = query.value(first + 1).toString();
    record.strategyNo = query.value(first + 2).toString();
    record.strategyName = query.value(first + 3).toString();
    record.defaultBasketSize = query.value(first + 4).toLongLong();
    record.extension = query.value(first + 5).toString();
    record.paramType = query.value(first + 6).toInt();
    record.createTime = timeFromText(query.value(first + 7).toString());
    return record;
}

} // namespace

SqlPortfolioStore::SqlPortfolioStore(const QString &connectionName)
    : m_connectionName(connectionName)
{
}

SqlPortfolioStore::~SqlPortfolioStore()
{
    close();
}

bool SqlPortfolioStore::open(const QString &database, QString *error)
{
    close();
    DatabaseAddress address;
    if (!DatabaseAddress::parse(database, &address, error))
        return false;
    m_postgres = address.postgres;
    m_displayName = address.displayName();
    m_db = address.addConnection(m_connectionName);
    if (!(m_postgres ? openPostgres(address, error) : openSqlite(address.path, error))) {
        close();
        return false;
    }
    m_versionBeforeOpen = Migrations::currentVersion(m_db, error);
    if (m_versionBeforeOpen < 0 || !Migrations::apply(m_db, error)) {
        close();
        return false;
    }
    return true;
}

bool SqlPortfolioStore::openSqlite(const QString &path, QString *error)
{
    m_db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    if (!m_db.open()) {
        *error = QStringLiteral("无法打开数据库%1：%2").arg(path, m_db.lastError().text());
        return false;
    }
    const QStringList pragmas = {QStringLiteral("PRAGMA journal_mode=WAL"),
                                 QStringLiteral("PRAGMA foreign_keys=ON"),
                                 QStringLiteral("PRAGMA synchronous=NORMAL")};
    for (const QString &pragma : pragmas) {
        QSqlQuery query(m_db);
        if (!query.exec(pragma)) {
            *error = QStringLiteral("无法设置数据库%1：%2").arg(path, query.lastError().text());
            return false;
        }
    }
    return true;
}

bool SqlPortfolioStore::openPostgres(const DatabaseAddress &address, QString *error)
{
    if (!m_db.isValid()) {
        *error = QStringLiteral("无法连接PostgreSQL数据库（%1）：缺少Qt的PostgreSQL驱动QPSQL")
                     .arg(address.serverText());
        return false;
    }
    if (!m_db.open()) {
        // libpq's reason names the server and never the password.
        *error = QStringLiteral("无法连接PostgreSQL数据库（%1）：%2")
                     .arg(address.serverText(), m_db.lastError().databaseText().simplified());
        return false;
    }
    // Identity columns arrived with PostgreSQL 10.
    QSqlQuery query(m_db);
    if (!query.exec(QStringLiteral("SHOW server_version_num")) || !query.next()) {
        *error = QStringLiteral("无法读取PostgreSQL版本（%1）：%2")
                     .arg(address.serverText(), query.lastError().text());
        return false;
    }
    if (query.value(0).toInt() < 100000) {
        *error = QStringLiteral("PostgreSQL版本过低（%1）：需要10或更高版本")
                     .arg(address.serverText());
        return false;
    }
    return true;
}

void SqlPortfolioStore::close()
{
    m_statements.clear();
    m_unprepared = QSqlQuery();
    if (!m_db.isValid() && !QSqlDatabase::contains(m_connectionName))
        return;
    m_db.close();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_connectionName);
}

bool SqlPortfolioStore::isAlive()
{
    if (!m_postgres || !m_db.isOpen())
        return m_db.isOpen();
    QSqlQuery probe(m_db);
    return probe.exec(QStringLiteral("SELECT 1"));
}

SqlPortfolioStore::Statement SqlPortfolioStore::statement(const QString &sql)
{
    auto it = m_statements.find(sql);
    if (it != m_statements.end())
        return Statement(&*it);
    QSqlQuery query(m_db);
    query.setForwardOnly(true);
    if (!query.prepare(sql)) {
        m_unprepared = query;
        return Statement(&m_unprepared);
    }
    return Statement(&*m_statements.insert(sql, query));
}

bool SqlPortfolioStore::execUnique(QSqlQuery &query, const QString &duplicate, QString *error)
{
    // A failed statement aborts a PostgreSQL transaction as a whole, and the driver cannot
    // even free its statements until the rollback. Behind a savepoint the refusal stays
    // with this one statement, as on SQLite.
    QSqlQuery savepoint(m_db);
    if (m_postgres && !savepoint.exec(QStringLiteral("SAVEPOINT unique_check")))
        return run(savepoint, error);
    const bool ok = query.exec();
    if (m_postgres) {
        savepoint.exec(ok ? QStringLiteral("RELEASE SAVEPOINT unique_check")
                          : QStringLiteral("ROLLBACK TO SAVEPOINT unique_check"));
    }
    if (ok)
        return true;
    *error = isUniqueViolation(query.lastError())
        ? duplicate
        : QStringLiteral("数据库错误：%1").arg(query.lastError().text());
    return false;
}

bool SqlPortfolioStore::begin(QString *error)
{
    if (m_db.transaction())
        return true;
    *error = QStringLiteral("数据库无法开始事务：%1").arg(m_db.lastError().text());
    return false;
}

bool SqlPortfolioStore::commit(QString *error)
{
    if (m_db.commit())
        return true;
    *error = QStringLiteral("数据库无法提交：%1").arg(m_db.lastError().text());
    m_db.rollback();
    return false;
}

void SqlPortfolioStore::rollback()
{
    if (!m_db.rollback())
        qCWarning(lcStore).noquote() << "rollback failed:" << m_db.lastError().text();
}

bool SqlPortfolioStore::countRows(const QString &table, qint64 *count, QString *error)
{
    if (!kCountedTables.contains(table)) {
        *error = QStringLiteral("未知的数据表：%1").arg(table);
        return false;
    }
    QSqlQuery query(m_db);
    query.prepare(QStringLiteral("SELECT COUNT(*) FROM %1").arg(table));
    if (!run(query, error))
        return false;
    *count = query.next() ? query.value(0).toLongLong() : 0;
    return true;
}

bool SqlPortfolioStore::nextNumber(const QString &sequence, qint64 *value, QString *error)
{
    // Counting up first locks the sequence's row until the transaction ends: a request of
    // another connection that wants a number of the same sequence waits for this one and
    // then counts on from the committed value, so no number is handed out twice.
    Statement update = statement(QStringLiteral(
        "UPDATE number_sequences SET next_value = next_value + 1 WHERE name = ?"));
    update->addBindValue(sequence);
    if (!run(*update, error))
        return false;
    Statement select = statement(QStringLiteral("SELECT next_value - 1 FROM number_sequences WHERE name = ?"));
    select->addBindValue(sequence);
    if (!run(*select, error))
        return false;
    if (!select->next()) {
        *error = QStringLiteral("数据库缺少编号序列：%1").arg(sequence);
        return false;
    }
    *value = select->value(0).toLongLong();
    return true;
}

bool SqlPortfolioStore::findUser(const QString &userName, qint64 *id, QString *error)
{
    Statement query = statement(QStringLiteral("SELECT id FROM users WHERE user_name = ?"));
    query->addBindValue(userName);
    if (!run(*query, error))
        return false;
    *id = query->next() ? query->value(0).toLongLong() : -1;
    return true;
}

bool SqlPortfolioStore::ensureUser(const QString &userName, qint64 *id, QString *error)
{
    if (!findUser(userName, id, error))
        return false;
    if (*id >= 0)
        return true;
    // Two connections may add the same new user at once: the second finds the first's row.
    Statement insert = statement(QStringLiteral("INSERT INTO users (user_name, created_at) VALUES (?, ?)"
                                  " ON CONFLICT (user_name) DO NOTHING"));
    insert->addBindValue(userName);
    insert->addBindValue(nowText());
    return run(*insert, error) && findUser(userName, id, error);
}

bool SqlPortfolioStore::createStrategy(qint64 userId, StrategyRecord *strategy,
                                       QString *error)
{
    qint64 number = 0;
    if (!nextNumber(QStringLiteral("strategy"), &number, error))
        return false;
    QSqlQuery insert(m_db);
    insert.prepare(QStringLiteral(
        "INSERT INTO strategies (strategy_no, user_id, strategy_name, strategy_type,"
        " mana_status) VALUES (?, ?, ?, ?, ?)"));
    insert.addBindValue(QString::number(number));
    insert.addBindValue(userId);
    insert.addBindValue(strategy->name);
    insert.addBindValue(notNullText(strategy->type));
    insert.addBindValue(notNullText(strategy->manaStatus));
    if (!execUnique(insert, QStringLiteral("策略名称已存在：%1").arg(strategy->name), error))
        return false;
    strategy->strategyNo = QString::number(number);
    return true;
}

bool SqlPortfolioStore::updateStrategy(qint64 userId, const StrategyRecord &strategy,
                                       QString *error)
{
    QSqlQuery update(m_db);
    update.prepare(QStringLiteral(
        "UPDATE strategies SET strategy_name = ?, strategy_type = COALESCE(?, strategy_type),"
        " mana_status = COALESCE(?, mana_status) WHERE user_id = ? AND strategy_no = ?"));
    const auto orNull = [](const QString &text) {
        return text.isNull() ? QVariant(QVariant::String) : QVariant(text);
    };
    update.addBindValue(strategy.name);
    update.addBindValue(orNull(strategy.type));
    update.addBindValue(orNull(strategy.manaStatus));
    update.addBindValue(userId);
    update.addBindValue(strategy.strategyNo);
    if (!execUnique(update, QStringLiteral("策略名称已存在：%1").arg(strategy.name), error))
        return false;
    if (update.numRowsAffected() == 0) {
        *error = QStringLiteral("策略不存在：%1").arg(strategy.strategyNo);
        return false;
    }
    return true;
}

bool SqlPortfolioStore::strategies(qint64 userId, QList<StrategyRecord> *out, QString *error)
{
    QSqlQuery query(m_db);
    query.setForwardOnly(true);
    query.prepare(QStringLiteral(
        "SELECT strategy_no, strategy_name, strategy_type, mana_status FROM strategies"
        " WHERE user_id = ? ORDER BY id"));
    query.addBindValue(userId);
    if (!run(query, error))
        return false;
    out->clear();
    while (query.next()) {
        out->append({query.value(0).toString(), query.value(1).toString(),
                     query.value(2).toString(), query.value(3).toString()});
    }
    return true;
}

bool SqlPortfolioStore::resolveStrategy(qint64 userId, const QString &strategyNo,
                                        QVariant *strategyId, QString *error)
{
    if (strategyNo.isEmpty()) {
        *strategyId = QVariant(QVariant::LongLong);
        return true;
    }
    Statement query = statement(QStringLiteral(
        "SELECT id FROM strategies WHERE user_id = ? AND strategy_no = ?"));
    query->addBindValue(userId);
    query->addBindValue(strategyNo);
    if (!run(*query, error))
        return false;
    if (!query->next()) {
        *error = QStringLiteral("策略不存在：%1").arg(strategyNo);
        return false;
    }
    *strategyId = query->value(0);
    return true;
}

bool SqlPortfolioStore::createPortfolio(qint64 userId, PortfolioRecord *portfolio,
                                        QString *error)
{
    QVariant strategyId;
    if (!resolveStrategy(userId, portfolio->strategyNo, &strategyId, error))
        return false;
    qint64 number = 0;
    if (!nextNumber(QStringLiteral("portfolio"), &number, error))
        return false;
    const QString created = nowText();
    Statement insert = statement(QStringLiteral(
        "INSERT INTO portfolios (portfolio_no, user_id, strategy_id, portfolio_name,"
        " default_basket_size, extension, param_type, created_at, sort_order)"
        " SELECT ?, ?, ?, ?, ?, ?, ?, ?, COALESCE(MAX(sort_order), 0) + 1"
        " FROM portfolios WHERE user_id = ?"));
    insert->addBindValue(QString::number(number));
    insert->addBindValue(userId);
    insert->addBindValue(strategyId);
    insert->addBindValue(portfolio->name);
    insert->addBindValue(portfolio->defaultBasketSize);
    insert->addBindValue(notNullText(portfolio->extension));
    insert->addBindValue(portfolio->paramType);
    insert->addBindValue(created);
    insert->addBindValue(userId);
    if (!execUnique(*insert, QStringLiteral("组合名称已存在：%1").arg(portfolio->name), error))
        return false;
    portfolio->portfolioNo = QString::number(number);
    portfolio->createTime = timeFromText(created);
    return true;
}

bool SqlPortfolioStore::updatePortfolio(qint64 userId, const PortfolioRecord &portfolio,
                                        QString *error)
{
    QVariant strategyId;
    if (!resolveStrategy(userId, portfolio.strategyNo, &strategyId, error))
        return false;
    Statement update = statement(QStringLiteral(
        "UPDATE portfolios SET portfolio_name = ?, strategy_id = ?, default_basket_size = ?,"
        " extension = ?, param_type = ? WHERE user_id = ? AND portfolio_no = ?"));
    update->addBindValue(portfolio.name);
    update->addBindValue(strategyId);
    update->addBindValue(portfolio.defaultBasketSize);
    update->addBindValue(notNullText(portfolio.extension));
    update->addBindValue(portfolio.paramType);
    update->addBindValue(userId);
    update->addBindValue(portfolio.portfolioNo);
    if (!execUnique(*update, QStringLiteral("组合名称已存在：%1").arg(portfolio.name), error))
        return false;
    if (update->numRowsAffected() == 0) {
        *error = QStringLiteral("组合不存在：%1").arg(portfolio.portfolioNo);
        return false;
    }
    return true;
}

bool SqlPortfolioStore::checkPortfolioUpdate(qint64 userId, const PortfolioRecord &portfolio, QString *error)
{
    QSqlQuery savepoint(m_db);
    if (!savepoint.exec(QStringLiteral("SAVEPOINT header_check")))
        return run(savepoint, error);
    const bool ok = updatePortfolio(userId, portfolio, error);
    if (!savepoint.exec(QStringLiteral("ROLLBACK TO SAVEPOINT header_check"))
        || !savepoint.exec(QStringLiteral("RELEASE SAVEPOINT header_check")))
        return run(savepoint, error);
    return ok;
}

bool SqlPortfolioStore::setReplacingHeader(qint64 portfolioId, const QString &header, QString *error)
{
    Statement query = statement(QStringLiteral("UPDATE portfolios SET replacing_header = ? WHERE id = ?"));
    query->addBindValue(header);
    query->addBindValue(portfolioId);
    return run(*query, error);
}

bool SqlPortfolioStore::loadPortfolio(qint64 userId, const QString &portfolioNo,
                                      PortfolioRecord *out, bool *found, QString *error)
{
    Statement query = statement(QStringLiteral("SELECT %1 FROM portfolios p"
                                 " LEFT JOIN strategies s ON s.id = p.strategy_id"
                                 " WHERE p.user_id = ? AND p.portfolio_no = ? AND p.pending_session IS NULL")
                      .arg(kPortfolioColumns));
    query->addBindValue(userId);
    query->addBindValue(portfolioNo);
    if (!run(*query, error))
        return false;
    *found = query->next();
    if (*found)
        *out = portfolioFromQuery(*query, 0);
    return true;
}

bool SqlPortfolioStore::findPortfolio(const QString &portfolioNo, PortfolioRef *ref,
                                      QString *error)
{
    Statement query = statement(QStringLiteral("SELECT p.id, p.user_id, u.user_name, p.pending_session, p.replacing_session,"
                                                    " p.replacing_header"
                                 " FROM portfolios p"
                                 " JOIN users u ON u.id = p.user_id WHERE p.portfolio_no = ?"));
    query->addBindValue(portfolioNo);
    if (!run(*query, error))
        return false;
    *ref = PortfolioRef();
    if (query->next()) {
        ref->id = query->value(0).toLongLong();
        ref->userId = query->value(1).toLongLong();
        ref->userName = query->value(2).toString();
        ref->pendingSession = query->value(3).toString();
        ref->replacingSession = query->value(4).toString();
        ref->replacingHeader = query->value(5).toString();
    }
    return true;
}

bool SqlPortfolioStore::setPending(qint64 portfolioId, const QString &session, QString *error)
{
    return setMark(QStringLiteral("UPDATE portfolios SET pending_session = ?, pending_since = ? WHERE id = ?"),
                   portfolioId, session, error);
}

bool SqlPortfolioStore::setReplacing(qint64 portfolioId, const QString &session, QString *error)
{
    return setMark(QStringLiteral("UPDATE portfolios SET replacing_session = ?, replacing_since = ?,"
                                  " replacing_header = NULL WHERE id = ?"),
                   portfolioId, session, error);
}

bool SqlPortfolioStore::setMark(const QString &sql, qint64 portfolioId, const QString &session, QString *error)
{
    const QVariant none(QVariant::String);
    Statement query = statement(sql);
    query->addBindValue(session.isEmpty() ? none : QVariant(session));
    query->addBindValue(session.isEmpty() ? none : QVariant(nowText()));
    query->addBindValue(portfolioId);
    return run(*query, error);
}

bool SqlPortfolioStore::forgetReplacing(const QString &session, const QString &before, QString *error)
{
    QSqlQuery query(m_db);
    if (!session.isEmpty()) {
        query.prepare(QStringLiteral("UPDATE portfolios SET replacing_session = NULL, replacing_since = NULL, replacing_header = NULL"
                                     " WHERE replacing_session = ?"));
        query.addBindValue(session);
    } else if (!before.isEmpty()) {
        query.prepare(QStringLiteral("UPDATE portfolios SET replacing_session = NULL, replacing_since = NULL, replacing_header = NULL"
                                     " WHERE replacing_session IS NOT NULL AND replacing_since < ?"));
        query.addBindValue(before);
    } else {
        query.prepare(QStringLiteral("UPDATE portfolios SET replacing_session = NULL, replacing_since = NULL, replacing_header = NULL"
                                     " WHERE replacing_session IS NOT NULL"));
    }
    return run(query, error);
}

bool SqlPortfolioStore::dropPending(const QString &session, const QString &before, int *dropped, QString *error)
{
    QSqlQuery select(m_db);
    if (!session.isEmpty()) {
        select.prepare(QStringLiteral("SELECT id FROM portfolios WHERE pending_session = ?"));
        select.addBindValue(session);
    } else if (!before.isEmpty()) {
        select.prepare(QStringLiteral("SELECT id FROM portfolios WHERE pending_session IS NOT NULL"
                                      " AND pending_since < ?"));
        select.addBindValue(before);
    } else {
        select.prepare(QStringLiteral("SELECT id FROM portfolios WHERE pending_session IS NOT NULL"));
    }
    if (!run(select, error))
        return false;
    QList<qint64> ids;
    while (select.next())
        ids.append(select.value(0).toLongLong());
    for (qint64 id : qAsConst(ids)) {
        if (!deletePortfolio(id, error))
            return false;
    }
    *dropped = ids.size();
    return true;
}

bool SqlPortfolioStore::deletePortfolio(qint64 portfolioId, QString *error)
{
    Statement query = statement(QStringLiteral("DELETE FROM portfolios WHERE id = ?"));
    query->addBindValue(portfolioId);
    return run(*query, error);
}

bool SqlPortfolioStore::portfolios(qint64 userId, QList<PortfolioRecord> *out, QString *error)
{
    QString next;
    return portfolioPage(userId, QString(), 0, out, &next, error);
}

bool SqlPortfolioStore::portfolioPage(qint64 userId, const QString &after, int limit,
                                      QList<PortfolioRecord> *out, QString *nextAfter,
                                      QString *error, const QStringList &numbers)
{
    // A position is "sort_order:id" of the last portfolio a page held.
    qint64 afterSort = std::numeric_limits<qint64>::min();
    qint64 afterId = -1;
    if (!after.isEmpty()) {
        const QStringList parts = after.split(QLatin1Char(':'));
        bool okSort = false, okId = false;
        if (parts.size() == 2) {
            afterSort = parts.at(0).toLongLong(&okSort);
            afterId = parts.at(1).toLongLong(&okId);
        }
        if (!okSort || !okId) {
            *error = QStringLiteral("分页位置无效：%1").arg(after);
            return false;
        }
    }
    QString numberFilter;
    if (!numbers.isEmpty()) {
        QStringList marks;
        for (int i = 0; i < numbers.size(); ++i)
            marks << QStringLiteral("?");
        numberFilter = QStringLiteral(" AND p.portfolio_no IN (%1)").arg(marks.join(QLatin1Char(',')));
    }
    QSqlQuery query(m_db);
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT p.id, p.sort_order, %1 FROM portfolios p"
                                 " LEFT JOIN strategies s ON s.id = p.strategy_id"
                                 " WHERE p.user_id = ? AND p.pending_session IS NULL"
                                 " AND (p.sort_order > ? OR (p.sort_order = ? AND p.id > ?))%3"
                                 " ORDER BY p.sort_order, p.id%2")
                      .arg(kPortfolioColumns, limit > 0 ? QStringLiteral(" LIMIT ?") : QString(),
                           numberFilter));
    query.addBindValue(userId);
    query.addBindValue(afterSort);
    query.addBindValue(afterSort);
    query.addBindValue(afterId);
    for (const QString &number : numbers)
        query.addBindValue(number);
    if (limit > 0)
        query.addBindValue(limit + 1);
    if (!run(query, error))
        return false;
    out->clear();
    nextAfter->clear();
    QHash<qint64, int> indexById;
    QString lastPosition;
    while (query.next()) {
        if (limit > 0 && out->size() == limit) {
            *nextAfter = lastPosition;  // one more row exists: there is a next page
            break;
        }
        const qint64 id = query.value(0).toLongLong();
        lastPosition = QStringLiteral("%1:%2").arg(query.value(1).toLongLong()).arg(id);
        indexById.insert(id, out->size());
        out->append(portfolioFromQuery(query, 2));
    }
    if (out->isEmpty())
        return true;

    QStringList placeholders;
    for (int i = 0; i < indexById.size(); ++i)
        placeholders << QStringLiteral("?");
    QSqlQuery lines(m_db);
    lines.setForwardOnly(true);
    lines.prepare(QStringLiteral("SELECT l.portfolio_id, %1 FROM portfolio_lines l"
                                 " WHERE l.portfolio_id IN (%2) ORDER BY l.portfolio_id, l.line_no")
                      .arg(kLineColumns, placeholders.join(QLatin1Char(','))));
    for (auto it = indexById.cbegin(); it != indexById.cend(); ++it)
        lines.addBindValue(it.key());
    if (!run(lines, error))
        return false;
    while (lines.next()) {
        const auto it = indexById.constFind(lines.value(0).toLongLong());
        if (it != indexById.cend())
            (*out)[*it].lines.append(lineFromQuery(lines, 1));
    }
    return true;
}

bool SqlPortfolioStore::addLines(qint64 portfolioId, const QList<PortfolioLine> &lines, int *failedIndex,
                                 QString *error)
{
    *failedIndex = -1;
    if (lines.isEmpty())
        return true;
    // What the portfolio holds and where its lines end, once; then the refusals the
    // statement below would otherwise meet.
    QSet<QPair<QString, QString>> keys;
    qint64 lastLine = 0;
    if (!heldLines(portfolioId, &keys, &lastLine, error))
        return false;
    if (keys.size() + lines.size() > kMaxLines) {
        *error = QStringLiteral("组合明细不能超过%1行（已有%2行，又加%3行）").arg(kMaxLines).arg(keys.size()).arg(lines.size());
        return false;
    }
    for (int i = 0; i < lines.size(); ++i) {
        const PortfolioLine &line = lines.at(i);
        if (keys.contains({line.securityId, line.exchange})) {
            *failedIndex = i;
            *error = QStringLiteral("组合中已有证券：%1（%2）").arg(line.securityId, line.exchange);
            return false;
        }
        keys.insert({line.securityId, line.exchange});
    }
    Statement insert = statement(QStringLiteral("INSERT INTO portfolio_lines (portfolio_id, line_no, %1)"
                                                " SELECT CAST(? AS BIGINT), v.line_no, v.%2 FROM (%3) AS v")
                                     .arg(kLineColumns, QString(kLineColumns).replace(QLatin1String(", "), QLatin1String(", v.")),
                                          linesSource()));
    insert->bindValue(0, portfolioId);
    insert->bindValue(1, linesJson(lines, lastLine));
    return run(*insert, error);
}

QString SqlPortfolioStore::linesSource() const
{
    // PostgreSQL types the columns as it opens the array; taking each field with ->> in
    // the statement itself would parse the line's text again at every comparison.
    if (m_postgres) {
        return QStringLiteral(
            "SELECT * FROM json_to_recordset(CAST(? AS JSON)) AS j(line_no BIGINT, security_id TEXT,"
            " security_exchange TEXT, side TEXT, trade_qty BIGINT, position_weight DOUBLE PRECISION,"
            " entrust_type TEXT, batch_entrust_prop TEXT, customer_price DOUBLE PRECISION,"
            " limit_price DOUBLE PRECISION)");
    }
    return QStringLiteral(
        "SELECT CAST(e.value ->> 'line_no' AS INTEGER) AS line_no, e.value ->> 'security_id' AS security_id,"
        " e.value ->> 'security_exchange' AS security_exchange, e.value ->> 'side' AS side,"
        " CAST(e.value ->> 'trade_qty' AS INTEGER) AS trade_qty, CAST(e.value ->> 'position_weight' AS REAL) AS position_weight,"
        " e.value ->> 'entrust_type' AS entrust_type, e.value ->> 'batch_entrust_prop' AS batch_entrust_prop,"
        " CAST(e.value ->> 'customer_price' AS REAL) AS customer_price,"
        " CAST(e.value ->> 'limit_price' AS REAL) AS limit_price FROM json_each(?) AS e");
}

bool SqlPortfolioStore::heldLines(qint64 portfolioId, QSet<QPair<QString, QString>> *keys, qint64 *lastLine,
                                  QString *error)
{
    Statement held = statement(QStringLiteral("SELECT security_id, security_exchange, line_no FROM portfolio_lines"
                                " WHERE portfolio_id = ?"));
    held->addBindValue(portfolioId);
    if (!run(*held, error))
        return false;
    keys->clear();
    *lastLine = 0;
    while (held->next()) {
        keys->insert({held->value(0).toString(), held->value(1).toString()});
        *lastLine = qMax(*lastLine, held->value(2).toLongLong());
    }
    return true;
}

bool SqlPortfolioStore::replaceLines(qint64 portfolioId, const QList<PortfolioLine> &lines, QString *error)
{
    QSet<QPair<QString, QString>> keys;
    qint64 lastLine = 0;
    if (!heldLines(portfolioId, &keys, &lastLine, error))
        return false;
    // The later of two lines of one security wins, as one statement per line had it.
    QHash<QPair<QString, QString>, int> latest;
    for (int i = 0; i < lines.size(); ++i)
        latest.insert({lines.at(i).securityId, lines.at(i).exchange}, i);
    QList<PortfolioLine> updates;
    QList<PortfolioLine> appends;
    for (int i = 0; i < lines.size(); ++i) {
        const QPair<QString, QString> key{lines.at(i).securityId, lines.at(i).exchange};
        if (latest.value(key) != i)
            continue;
        (keys.contains(key) ? updates : appends).append(lines.at(i));
    }
    if (!updates.isEmpty()) {
        Statement update = statement(QStringLiteral(
            "WITH v AS %4 (%3) UPDATE portfolio_lines SET (%1) = (v.%2) FROM v"
            " WHERE portfolio_lines.portfolio_id = CAST(? AS BIGINT)"
            " AND portfolio_lines.security_id = v.security_id AND portfolio_lines.security_exchange = v.security_exchange")
                                         .arg(kLineDataColumns,
                                              QString(kLineDataColumns).replace(QLatin1String(", "), QLatin1String(", v.")),
                                              linesSource(),
                                              // SQLite would read the array again for every line it
                                              // updates (50 ms for 200 lines); PostgreSQL before 12
                                              // knows no such word and materializes anyway.
                                              m_postgres ? QString() : QStringLiteral("MATERIALIZED")));
        update->bindValue(0, linesJson(updates, -1));
        update->bindValue(1, portfolioId);
        if (!run(*update, error))
            return false;
    }
    int failed = -1;
    return addLines(portfolioId, appends, &failed, error);
}

bool SqlPortfolioStore::clearLines(qint64 portfolioId, QString *error)
{
    Statement query = statement(QStringLiteral("DELETE FROM portfolio_lines WHERE portfolio_id = ?"));
    query->addBindValue(portfolioId);
    return run(*query, error);
}

bool SqlPortfolioStore::addOrderBatch(qint64 portfolioId, const QString &state,
                                      QString *batchNo, QString *error)
{
    qint64 number = 0;
    if (!nextNumber(QStringLiteral("batch"), &number, error))
        return false;
    const QString no = QStringLiteral("B%1").arg(number, 8, 10, QLatin1Char('0'));
    QSqlQuery insert(m_db);
    insert.prepare(QStringLiteral(
        "INSERT INTO order_batches (batch_no, portfolio_id, state, created_at)"
        " VALUES (?, ?, ?, ?)"));
    insert.addBindValue(no);
    insert.addBindValue(portfolioId);
    insert.addBindValue(state);
    insert.addBindValue(nowText());
    if (!run(insert, error))
        return false;
    if (batchNo)
        *batchNo = no;
    return true;
}

bool SqlPortfolioStore::unfinishedBatch(qint64 portfolioId, QString *batchNo, QString *error)
{
    QSqlQuery query(m_db);
    query.prepare(QStringLiteral(
        "SELECT batch_no FROM order_batches"
        " WHERE portfolio_id = ? AND state IN ('pending', 'working') ORDER BY id"));
    query.addBindValue(portfolioId);
    if (!run(query, error))
        return false;
    *batchNo = query.next() ? query.value(0).toString() : QString();
    return true;
}
