#include "sqlaccountstore.h"

#include "exchange.h"
#include "sqlportfoliostore.h"

#include <QLoggingCategory>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

Q_LOGGING_CATEGORY(lcAccountStore, "tz.backend.accounts")

namespace {

const QChar kPositionSeparator = QLatin1Char(':');

bool run(QSqlQuery &query, QString *error)
{
    if (query.exec())
        return true;
    *error = QStringLiteral("数据库错误：%1").arg(query.lastError().text());
    qCWarning(lcAccountStore).noquote() << *error << query.lastQuery().simplified();
    return false;
}

// Dates are bound and read as ISO text, which a SQLite TEXT and a PostgreSQL DATE column
// both compare in calendar order (PostgreSQL hands a DATE back as a QDate, whose text is
// the same).
QString dateText(const QDate &date)
{
    return date.toString(Qt::ISODate);
}

QDate dateFrom(const QVariant &value)
{
    return QDate::fromString(value.toString().left(10), Qt::ISODate);
}

// A paging position is "<key>:<rest>"; the key part holds no separator.
bool splitPosition(const QString &after, QString *key, QString *rest, QString *error)
{
    const int separator = after.indexOf(kPositionSeparator);
    if (separator > 0 && separator < after.size() - 1) {
        *key = after.left(separator);
        *rest = after.mid(separator + 1);
        return true;
    }
    *error = QStringLiteral("分页位置无效：%1").arg(after);
    return false;
}

const QString kAccountColumns =
    QStringLiteral("a.id, a.user_id, a.fund_account, a.trading_account, a.fund_property,"
                   " a.account_name");

AccountRecord accountFromQuery(const QSqlQuery &query)
{
    AccountRecord account;
    account.id = query.value(0).toLongLong();
    account.userId = query.value(1).toLongLong();
    account.fundAccount = query.value(2).toString();
    account.tradingAccount = query.value(3).toString();
    account.fundProperty = query.value(4).toString();
    account.name = query.value(5).toString();
    return account;
}

} // namespace

SqlAccountStore::SqlAccountStore(SqlPortfolioStore &store)
    : m_store(store)
{
}

const QStringList &SqlAccountStore::markets()
{
    static const QStringList list = {Exchange::sh, Exchange::sz, Exchange::bj, Exchange::hhk,
                                     Exchange::szhk};
    return list;
}

int SqlAccountStore::marketRank(const QString &market)
{
    return int(markets().indexOf(market)) + 1;
}

bool SqlAccountStore::createAccount(AccountRecord *account, QString *error)
{
    QSqlQuery used(m_store.database());
    used.prepare(QStringLiteral(
        "SELECT fund_account, trading_account FROM accounts"
        " WHERE fund_account IN (?, ?) OR trading_account IN (?, ?)"));
    for (int i = 0; i < 2; ++i) {
        used.addBindValue(account->fundAccount);
        used.addBindValue(account->tradingAccount);
    }
    if (!run(used, error))
        return false;
    if (used.next()) {
        const QStringList taken = {used.value(0).toString(), used.value(1).toString()};
        *error = QStringLiteral("账号已存在：%1")
                     .arg(taken.contains(account->fundAccount) ? account->fundAccount
                                                                : account->tradingAccount);
        return false;
    }
    QSqlQuery insert(m_store.database());
    insert.prepare(QStringLiteral(
        "INSERT INTO accounts (user_id, fund_account, trading_account, fund_property,"
        " account_name) VALUES (?, ?, ?, ?, ?)"));
    insert.addBindValue(account->userId);
    insert.addBindValue(account->fundAccount);
    insert.addBindValue(account->tradingAccount);
    insert.addBindValue(account->fundProperty);
    insert.addBindValue(account->name);
    if (!run(insert, error))
        return false;
    AccountRecord stored;
    if (!findAccount(account->userId, account->fundAccount, Prefer::FundAccount, &stored,
                     error))
        return false;
    account->id = stored.id;
    return true;
}

bool SqlAccountStore::addSecurityAccount(qint64 accountId,
                                         const SecurityAccountRecord &securityAccount,
                                         QString *error)
{
    QSqlQuery insert(m_store.database());
    insert.prepare(QStringLiteral(
        "INSERT INTO security_accounts (account_id, market, security_account) VALUES (?, ?, ?)"));
    insert.addBindValue(accountId);
    insert.addBindValue(securityAccount.market);
    insert.addBindValue(securityAccount.securityAccount);
    return run(insert, error);
}

bool SqlAccountStore::countAccounts(qint64 userId, qint64 *count, QString *error)
{
    QSqlQuery query(m_store.database());
    query.prepare(QStringLiteral("SELECT COUNT(*) FROM accounts WHERE user_id = ?"));
    query.addBindValue(userId);
    if (!run(query, error))
        return false;
    *count = query.next() ? query.value(0).toLongLong() : 0;
    return true;
}

bool SqlAccountStore::accountMarkets(qint64 userId, QList<AccountMarketRecord> *out,
                                     QString *error)
{
    QSqlQuery query(m_store.database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT %1, s.market, s.security_account FROM accounts a"
                                 " JOIN security_accounts s ON s.account_id = a.id"
                                 " JOIN markets m ON m.market = s.market"
                                 " WHERE a.user_id = ? ORDER BY a.fund_account, m.sort_order")
                      .arg(kAccountColumns));
    query.addBindValue(userId);
    if (!run(query, error))
        return false;
    out->clear();
    while (query.next())
        out->append({accountFromQuery(query), {query.value(6).toString(), query.value(7).toString()}});
    return true;
}

bool SqlAccountStore::findAccount(qint64 userId, const QString &number, Prefer prefer,
                                  AccountRecord *out, QString *error)
{
    QSqlQuery query(m_store.database());
    query.prepare(QStringLiteral("SELECT %1 FROM accounts a"
                                 " WHERE (a.fund_account = ? OR a.trading_account = ?)%2"
                                 " ORDER BY CASE WHEN a.%3 = ? THEN 0 ELSE 1 END")
                      .arg(kAccountColumns,
                           userId >= 0 ? QStringLiteral(" AND a.user_id = ?") : QString(),
                           prefer == Prefer::FundAccount ? QStringLiteral("fund_account")
                                                         : QStringLiteral("trading_account")));
    query.addBindValue(number);
    query.addBindValue(number);
    if (userId >= 0)
        query.addBindValue(userId);
    query.addBindValue(number);
    if (!run(query, error))
        return false;
    *out = query.next() ? accountFromQuery(query) : AccountRecord();
    return true;
}

bool SqlAccountStore::securityAccounts(qint64 accountId, QList<SecurityAccountRecord> *out,
                                       QString *error)
{
    QSqlQuery query(m_store.database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT s.market, s.security_account FROM security_accounts s"
                                 " JOIN markets m ON m.market = s.market"
                                 " WHERE s.account_id = ? ORDER BY m.sort_order"));
    query.addBindValue(accountId);
    if (!run(query, error))
        return false;
    out->clear();
    while (query.next())
        out->append({query.value(0).toString(), query.value(1).toString()});
    return true;
}

bool SqlAccountStore::positionPage(qint64 accountId, const QString &market,
                                   const QString &securityAccount, const QString &after,
                                   int limit, QList<PositionRecord> *out, QString *nextAfter,
                                   QString *error)
{
    // A position is "<market>:<security code>" of the last row a page held.
    QString afterMarket;
    QString afterCode;
    if (!after.isEmpty()) {
        if (!splitPosition(after, &afterMarket, &afterCode, error))
            return false;
        if (marketRank(afterMarket) == 0) {
            *error = QStringLiteral("分页位置无效：%1").arg(after);
            return false;
        }
    }
    QString filter;
    if (!after.isEmpty())
        filter += QStringLiteral(" AND (m.sort_order > ? OR (m.sort_order = ? AND p.security_id > ?))");
    if (!market.isEmpty())
        filter += QStringLiteral(" AND s.market = ?");
    if (!securityAccount.isEmpty())
        filter += QStringLiteral(" AND s.security_account = ?");
    QSqlQuery query(m_store.database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral(
                      "SELECT s.market, s.security_account, p.security_id, p.current_qty,"
                      " p.available_qty, p.cost_price, p.currency FROM positions p"
                      " JOIN security_accounts s ON s.id = p.security_account_id"
                      " JOIN markets m ON m.market = s.market"
                      " WHERE s.account_id = ?%1 ORDER BY m.sort_order, p.security_id%2")
                      .arg(filter, limit > 0 ? QStringLiteral(" LIMIT ?") : QString()));
    query.addBindValue(accountId);
    if (!after.isEmpty()) {
        query.addBindValue(marketRank(afterMarket));
        query.addBindValue(marketRank(afterMarket));
        query.addBindValue(afterCode);
    }
    if (!market.isEmpty())
        query.addBindValue(market);
    if (!securityAccount.isEmpty())
        query.addBindValue(securityAccount);
    if (limit > 0)
        query.addBindValue(limit + 1);  // one more row tells whether a next page exists
    if (!run(query, error))
        return false;
    out->clear();
    nextAfter->clear();
    while (query.next()) {
        if (limit > 0 && out->size() == limit) {
            // One more row exists: the next page starts after the last one taken.
            *nextAfter = out->last().market + kPositionSeparator + out->last().securityId;
            break;
        }
        PositionRecord position;
        position.market = query.value(0).toString();
        position.securityAccount = query.value(1).toString();
        position.securityId = query.value(2).toString();
        position.currentQty = query.value(3).toLongLong();
        position.availableQty = query.value(4).toLongLong();
        position.costPrice = query.value(5).toDouble();
        position.currency = query.value(6).toString();
        out->append(position);
    }
    return true;
}

bool SqlAccountStore::writePosition(qint64 accountId, const PositionRecord &position,
                                    bool *added, QString *error)
{
    QSqlQuery holder(m_store.database());
    holder.prepare(QStringLiteral(
        "SELECT id FROM security_accounts WHERE account_id = ? AND market = ?"));
    holder.addBindValue(accountId);
    holder.addBindValue(position.market);
    if (!run(holder, error))
        return false;
    if (!holder.next()) {
        *error = QStringLiteral("账户没有%1市场的证券账号").arg(position.market);
        return false;
    }
    const qint64 securityAccountId = holder.value(0).toLongLong();
    const QString currency =
        position.currency.isEmpty() ? QStringLiteral("CNY") : position.currency;

    QSqlQuery update(m_store.database());
    update.prepare(QStringLiteral(
        "UPDATE positions SET current_qty = ?, available_qty = ?, cost_price = ?, currency = ?"
        " WHERE security_account_id = ? AND security_id = ?"));
    update.addBindValue(position.currentQty);
    update.addBindValue(position.availableQty);
    update.addBindValue(position.costPrice);
    update.addBindValue(currency);
    update.addBindValue(securityAccountId);
    update.addBindValue(position.securityId);
    if (!run(update, error))
        return false;
    *added = update.numRowsAffected() == 0;
    if (!*added)
        return true;
    QSqlQuery insert(m_store.database());
    insert.prepare(QStringLiteral(
        "INSERT INTO positions (security_account_id, security_id, current_qty, available_qty,"
        " cost_price, currency) VALUES (?, ?, ?, ?, ?, ?)"));
    insert.addBindValue(securityAccountId);
    insert.addBindValue(position.securityId);
    insert.addBindValue(position.currentQty);
    insert.addBindValue(position.availableQty);
    insert.addBindValue(position.costPrice);
    insert.addBindValue(currency);
    return run(insert, error);
}

bool SqlAccountStore::clearPositions(qint64 accountId, qint64 *removed, QString *error)
{
    QSqlQuery query(m_store.database());
    query.prepare(QStringLiteral(
        "DELETE FROM positions WHERE security_account_id IN"
        " (SELECT id FROM security_accounts WHERE account_id = ?)"));
    query.addBindValue(accountId);
    if (!run(query, error))
        return false;
    *removed = query.numRowsAffected();
    return true;
}

bool SqlAccountStore::setLendable(qint64 accountId, const LendableRecord &lendable,
                                  QString *error)
{
    QSqlQuery update(m_store.database());
    update.prepare(QStringLiteral(
        "UPDATE lendable_securities SET lendable_qty = ?"
        " WHERE account_id = ? AND market = ? AND security_id = ?"));
    update.addBindValue(lendable.lendableQty);
    update.addBindValue(accountId);
    update.addBindValue(lendable.market);
    update.addBindValue(lendable.securityId);
    if (!run(update, error))
        return false;
    if (update.numRowsAffected() > 0)
        return true;
    QSqlQuery insert(m_store.database());
    insert.prepare(QStringLiteral(
        "INSERT INTO lendable_securities (account_id, market, security_id, lendable_qty)"
        " VALUES (?, ?, ?, ?)"));
    insert.addBindValue(accountId);
    insert.addBindValue(lendable.market);
    insert.addBindValue(lendable.securityId);
    insert.addBindValue(lendable.lendableQty);
    return run(insert, error);
}

bool SqlAccountStore::lendable(qint64 accountId, QList<LendableRecord> *out, QString *error)
{
    QSqlQuery query(m_store.database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral(
        "SELECT l.market, l.security_id, l.lendable_qty FROM lendable_securities l"
        " JOIN markets m ON m.market = l.market"
        " WHERE l.account_id = ? ORDER BY m.sort_order, l.security_id"));
    query.addBindValue(accountId);
    if (!run(query, error))
        return false;
    out->clear();
    while (query.next())
        out->append({query.value(0).toString(), query.value(1).toString(),
                     query.value(2).toLongLong()});
    return true;
}

bool SqlAccountStore::addContract(qint64 accountId, const LendingContractRecord &contract,
                                  QString *error)
{
    QSqlQuery insert(m_store.database());
    insert.prepare(QStringLiteral(
        "INSERT INTO lending_contracts (contract_no, account_id, market, security_id,"
        " contract_qty, open_date, return_date) VALUES (?, ?, ?, ?, ?, ?, ?)"));
    insert.addBindValue(contract.contractNo);
    insert.addBindValue(accountId);
    insert.addBindValue(contract.market);
    insert.addBindValue(contract.securityId);
    insert.addBindValue(contract.contractQty);
    insert.addBindValue(dateText(contract.openDate));
    insert.addBindValue(dateText(contract.returnDate));
    return run(insert, error);
}

bool SqlAccountStore::contractPage(qint64 accountId, const QDate &dueBy, const QString &after,
                                   int limit, QList<LendingContractRecord> *out,
                                   QString *nextAfter, QString *error)
{
    // A position is "<return date yyyyMMdd>:<contract number>" of the last row a page held.
    QDate afterDate;
    QString afterNo;
    if (!after.isEmpty()) {
        QString dateKey;
        if (!splitPosition(after, &dateKey, &afterNo, error))
            return false;
        afterDate = QDate::fromString(dateKey, QStringLiteral("yyyyMMdd"));
        if (!afterDate.isValid()) {
            *error = QStringLiteral("分页位置无效：%1").arg(after);
            return false;
        }
    }
    QString filter;
    if (dueBy.isValid())
        filter += QStringLiteral(" AND c.return_date <= ?");
    if (afterDate.isValid())
        filter += QStringLiteral(
            " AND (c.return_date > ? OR (c.return_date = ? AND c.contract_no > ?))");
    QSqlQuery query(m_store.database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT c.contract_no, c.market, c.security_id,"
                                 " c.contract_qty, c.open_date, c.return_date"
                                 " FROM lending_contracts c WHERE c.account_id = ?%1"
                                 " ORDER BY c.return_date, c.contract_no%2")
                      .arg(filter, limit > 0 ? QStringLiteral(" LIMIT ?") : QString()));
    query.addBindValue(accountId);
    if (dueBy.isValid())
        query.addBindValue(dateText(dueBy));
    if (afterDate.isValid()) {
        query.addBindValue(dateText(afterDate));
        query.addBindValue(dateText(afterDate));
        query.addBindValue(afterNo);
    }
    if (limit > 0)
        query.addBindValue(limit + 1);
    if (!run(query, error))
        return false;
    out->clear();
    nextAfter->clear();
    while (query.next()) {
        if (limit > 0 && out->size() == limit) {
            *nextAfter = out->last().returnDate.toString(QStringLiteral("yyyyMMdd"))
                         + kPositionSeparator + out->last().contractNo;
            break;
        }
        LendingContractRecord contract;
        contract.contractNo = query.value(0).toString();
        contract.market = query.value(1).toString();
        contract.securityId = query.value(2).toString();
        contract.contractQty = query.value(3).toLongLong();
        contract.openDate = dateFrom(query.value(4));
        contract.returnDate = dateFrom(query.value(5));
        out->append(contract);
    }
    return true;
}
