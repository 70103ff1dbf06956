#include "demoseed.h"

#include "exchange.h"
#include "fieldkeys.h"
#include "referencetable.h"
#include "securitycatalog.h"
#include "sqlaccountstore.h"
#include "sqlportfoliostore.h"

#include <QHash>
#include <QSet>
#include <algorithm>
#include <cmath>

// The demo user's accounts. Every pick follows from the reference data alone (catalogue
// order, index weights), so every fresh database holds the same positions.

namespace {

const QString kCsi300 = QStringLiteral("000300.SH");
const QString kChiNext = QStringLiteral("399006.SZ");
const QString kCurrency = QStringLiteral("CNY");

// Lending contracts run six months.
const int kContractDays = 182;

quint32 stableHash(const QString &text)
{
    quint32 h = 2166136261u;
    for (QChar c : text) {
        h ^= c.unicode();
        h *= 16777619u;
    }
    return h;
}

// A number in [0, 1) that a text always gives.
double unitOf(const QString &text)
{
    return double(stableHash(text) % 10007u) / 10007.0;
}

// A security on the market it is held through.
struct Pick
{
    const SecurityInfo *security;
    QString market;
};

bool tradable(const SecurityInfo &security)
{
    return !security.delisted && !security.suspended && security.preClosePx > 0.0;
}

bool isAShare(const SecurityInfo &security)
{
    return security.type == SecurityType::mainBoard || security.type == SecurityType::star
           || security.type == SecurityType::chinext || security.type == SecurityType::bse;
}

// Picks securities once each.
class Picker
{
public:
    explicit Picker(const QList<QStringList> &constituents)
        : m_constituents(constituents)
    {
    }

    // Tradable constituents of an index of one class and listing, heaviest first.
    QList<Pick> fromIndex(const QString &index, const QString &type, const QString &listing,
                          int count)
    {
        struct Member
        {
            const SecurityInfo *security;
            double weight;
        };
        QList<Member> members;
        for (const QStringList &row : m_constituents) {
            // index_code, index_name, code, exchange, name, weight
            if (row.size() < 6 || row.at(0) != index || row.at(3) != listing)
                continue;
            const SecurityInfo *security =
                SecurityCatalog::instance().byCodeAndMarket(row.at(2), row.at(3));
            if (security && security->type == type && tradable(*security))
                members.append({security, row.at(5).toDouble()});
        }
        std::stable_sort(members.begin(), members.end(), [](const Member &a, const Member &b) {
            return a.weight > b.weight;
        });
        QList<Pick> picks;
        for (const Member &member : qAsConst(members)) {
            if (picks.size() < count && take(member.security))
                picks.append({member.security, listing});
        }
        return picks;
    }

    // The first securities in catalogue order that `wanted` accepts.
    template <typename Wanted>
    QList<Pick> fromCatalogue(Wanted wanted, int count)
    {
        QList<Pick> picks;
        for (const SecurityInfo &security : SecurityCatalog::instance().all()) {
            if (picks.size() == count)
                break;
            if (wanted(security) && take(&security))
                picks.append({&security, security.markets.value(0)});
        }
        return picks;
    }

private:
    bool take(const SecurityInfo *security)
    {
        if (m_taken.contains(security))
            return false;
        m_taken.insert(security);
        return true;
    }

    const QList<QStringList> &m_constituents;
    QSet<const SecurityInfo *> m_taken;
};

// Whole lots worth between 20,000 and 300,000 CNY at the previous close.
qint64 wholeLots(const SecurityInfo &security)
{
    const int lot = qMax(1, security.lotSize);
    const double value = 20000.0 + unitOf(security.symbol + QStringLiteral("/value")) * 280000.0;
    return qMax<qint64>(1, qRound64(value / (security.preClosePx * lot))) * lot;
}

PositionRecord position(const Pick &pick, qint64 quantity)
{
    const SecurityInfo &security = *pick.security;
    PositionRecord position;
    position.market = pick.market;
    position.securityId = security.code;
    position.currentQty = quantity;
    position.availableQty = quantity;
    // Bought somewhere within a quarter of today's price, to three decimals as brokers
    // show a cost price that includes the fees.
    const double factor = 0.8 + 0.4 * unitOf(security.symbol + QStringLiteral("/cost"));
    position.costPrice = std::round(security.preClosePx * factor * 1000.0) / 1000.0;
    position.currency = kCurrency;
    return position;
}

// A-shares are sold the day after they are bought: part of what was bought today is
// not available yet.
void boughtToday(const Pick &pick, PositionRecord *position)
{
    const int lot = qMax(1, pick.security->lotSize);
    const qint64 lots = position->currentQty / lot;
    position->availableQty = position->currentQty - qMax<qint64>(1, lots / 3) * lot;
}

// A business day: a date on a weekend moves to the Monday after or the Friday before.
QDate weekday(const QDate &date, bool forward)
{
    QDate day = date;
    while (day.dayOfWeek() > 5)
        day = day.addDays(forward ? 1 : -1);
    return day;
}

bool addAccount(SqlAccountStore &accounts, qint64 userId, const QString &fundAccount,
                const QString &tradingAccount, const QString &property, const QString &name,
                const QList<SecurityAccountRecord> &securityAccounts, qint64 *accountId,
                QString *error)
{
    AccountRecord account;
    account.userId = userId;
    account.fundAccount = fundAccount;
    account.tradingAccount = tradingAccount;
    account.fundProperty = property;
    account.name = name;
    if (!accounts.createAccount(&account, error))
        return false;
    for (const SecurityAccountRecord &securityAccount : securityAccounts) {
        if (!accounts.addSecurityAccount(account.id, securityAccount, error))
            return false;
    }
    *accountId = account.id;
    return true;
}

bool writePositions(SqlAccountStore &accounts, qint64 accountId,
                    const QList<PositionRecord> &positions, QString *error)
{
    for (const PositionRecord &record : positions) {
        bool added = false;
        if (!accounts.writePosition(accountId, record, &added, error))
            return false;
    }
    return true;
}

} // namespace

bool DemoSeed::writeAccounts(SqlPortfolioStore &store, qint64 userId, const QDate &today,
                             QString *error)
{
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    if (catalog.all().empty()) {
        *error = QStringLiteral("证券参考数据未加载，无法写入演示账户");
        return false;
    }
    ReferenceTable constituentsFile;
    if (!constituentsFile.load(QStringLiteral("index_constituents.csv"), error))
        return false;
    Picker picker(constituentsFile.rows());

    // The cash account: the heaviest CSI 300 and ChiNext stocks, the first STAR and
    // Beijing stocks, Stock Connect stocks through both links, two ETFs, a convertible
    // bond, a suspended stock and one in a delisting arrangement or under risk warning.
    const QList<Pick> shMain = picker.fromIndex(kCsi300, SecurityType::mainBoard, Exchange::sh, 9);
    const QList<Pick> szMain = picker.fromIndex(kCsi300, SecurityType::mainBoard, Exchange::sz, 7);
    const QList<Pick> chiNext = picker.fromIndex(kChiNext, SecurityType::chinext, Exchange::sz, 5);
    const QList<Pick> star = picker.fromCatalogue(
        [](const SecurityInfo &s) { return s.type == SecurityType::star && tradable(s); }, 4);
    const QList<Pick> bse = picker.fromCatalogue(
        [](const SecurityInfo &s) { return s.type == SecurityType::bse && tradable(s); }, 3);
    const QList<Pick> hongKong = picker.fromCatalogue(
        [](const SecurityInfo &s) { return s.type == SecurityType::hkConnect && tradable(s); }, 7);
    const QList<Pick> etfs = picker.fromCatalogue(
        [](const SecurityInfo &s) {
            return s.type == SecurityType::etf && tradable(s) && s.listing == Exchange::sh;
        }, 1)
        + picker.fromCatalogue(
            [](const SecurityInfo &s) {
                return s.type == SecurityType::etf && tradable(s) && s.listing == Exchange::sz;
            }, 1);
    const QList<Pick> bonds = picker.fromCatalogue(
        [](const SecurityInfo &s) { return s.type == SecurityType::convertible && tradable(s); },
        1);
    const QList<Pick> suspended = picker.fromCatalogue(
        [](const SecurityInfo &s) {
            return s.type == SecurityType::mainBoard && s.suspended && !s.delisted;
        }, 1);
    const auto restrictedName = [](const SecurityInfo &s) {
        return !s.delisted && s.type == SecurityType::mainBoard
               && (s.name.startsWith(QStringLiteral("退")) || s.name.endsWith(QStringLiteral("退")));
    };
    QList<Pick> restricted = picker.fromCatalogue(restrictedName, 1);
    if (restricted.isEmpty()) {
        restricted = picker.fromCatalogue(
            [](const SecurityInfo &s) {
                return !s.delisted && s.type == SecurityType::mainBoard
                       && s.name.startsWith(QStringLiteral("*ST"));
            }, 1);
    }
    if (shMain.size() < 9 || szMain.size() < 7 || chiNext.isEmpty() || star.isEmpty()
        || bse.isEmpty() || hongKong.size() < 7 || etfs.size() < 2 || bonds.isEmpty()
        || suspended.isEmpty()) {
        *error = QStringLiteral("参考数据中缺少演示账户持仓所需的证券");
        return false;
    }

    QList<PositionRecord> cash;
    int aShares = 0;
    const auto hold = [&](const Pick &pick, qint64 quantity) {
        PositionRecord record = position(pick, quantity);
        // Every fourth A-share position was added to today.
        if (isAShare(*pick.security) && ++aShares % 4 == 0 && !pick.security->suspended)
            boughtToday(pick, &record);
        cash.append(record);
    };
    for (int i = 0; i < shMain.size(); ++i) {
        // The last one: the odd shares a bonus issue left after the rest was sold.
        hold(shMain.at(i), i == shMain.size() - 1 ? 50 : wholeLots(*shMain.at(i).security));
    }
    for (const Pick &pick : szMain + chiNext + bse + etfs + suspended + restricted)
        hold(pick, wholeLots(*pick.security));
    // Shanghai bonds are held in lots of ten pieces (手), as the exchange's registrar
    // keeps them; the client turns them into pieces (张) for orders.
    for (const Pick &pick : bonds) {
        const qint64 pieces = wholeLots(*pick.security);
        hold(pick, pick.security->listing == Exchange::sh ? qMax<qint64>(1, pieces / 10) : pieces);
    }
    for (int i = 0; i < star.size(); ++i) {
        // STAR shares trade in single shares above the 200-share minimum.
        hold(star.at(i), i == 0 ? 1234 : wholeLots(*star.at(i).security));
    }
    for (int i = 0; i < hongKong.size(); ++i) {
        Pick pick = hongKong.at(i);
        pick.market = i < 4 ? Exchange::hhk : Exchange::szhk;
        hold(pick, wholeLots(*pick.security));
    }

    SqlAccountStore accounts(store);
    qint64 cashId = -1;
    qint64 creditId = -1;
    if (!addAccount(accounts, userId, cashFundAccount(), QStringLiteral("88001000101"),
                    FundProperty::normal, QStringLiteral("演示普通账户"),
                    {{Exchange::sh, QStringLiteral("A123456789")},
                     {Exchange::sz, QStringLiteral("0123456789")},
                     {Exchange::bj, QStringLiteral("0212345678")},
                     {Exchange::hhk, QStringLiteral("A123456789")},
                     {Exchange::szhk, QStringLiteral("0123456789")}},
                    &cashId, error)
        || !writePositions(accounts, cashId, cash, error)
        || !addAccount(accounts, userId, creditFundAccount(), QStringLiteral("88002000201"),
                       FundProperty::credit, QStringLiteral("演示信用账户"),
                       {{Exchange::sh, QStringLiteral("E987654321")},
                        {Exchange::sz, QStringLiteral("0687654321")}},
                       &creditId, error))
        return false;

    // The credit account: a few large caps as collateral, the thirty heaviest main-board
    // CSI 300 stocks to borrow, and four contracts on some of those.
    Picker collateralPicker(constituentsFile.rows());
    QList<PositionRecord> collateral;
    for (const Pick &pick :
         collateralPicker.fromIndex(kCsi300, SecurityType::mainBoard, Exchange::sh, 3)
             + collateralPicker.fromIndex(kCsi300, SecurityType::mainBoard, Exchange::sz, 2))
        collateral.append(position(pick, wholeLots(*pick.security)));
    if (!writePositions(accounts, creditId, collateral, error))
        return false;
    Picker lendablePicker(constituentsFile.rows());
    const QList<Pick> lendable =
        lendablePicker.fromIndex(kCsi300, SecurityType::mainBoard, Exchange::sh, 18)
        + lendablePicker.fromIndex(kCsi300, SecurityType::mainBoard, Exchange::sz, 12);
    for (const Pick &pick : lendable) {
        const qint64 lots =
            10 + qint64(unitOf(pick.security->symbol + QStringLiteral("/lend")) * 490);
        if (!accounts.setLendable(creditId, {pick.market, pick.security->code, lots * 100},
                                  error))
            return false;
    }
    // Contracts on Shanghai and Shenzhen stocks, opened 150, 100, 60 and 20 days ago.
    const int openedDaysAgo[] = {150, 100, 60, 20};
    const int borrowed[] = {0, 18, 5, 21};
    for (int i = 0; i < 4 && borrowed[i] < lendable.size(); ++i) {
        const Pick &pick = lendable.at(borrowed[i]);
        LendingContractRecord contract;
        contract.openDate = weekday(today.addDays(-openedDaysAgo[i]), false);
        contract.returnDate = weekday(contract.openDate.addDays(kContractDays), true);
        contract.contractNo = QStringLiteral("RQ%1%2")
                                  .arg(contract.openDate.toString(QStringLiteral("yyyyMMdd")))
                                  .arg(i + 1, 4, 10, QLatin1Char('0'));
        contract.market = pick.market;
        contract.securityId = pick.security->code;
        contract.contractQty =
            (5 + qint64(unitOf(pick.security->symbol + QStringLiteral("/borrow")) * 45)) * 100;
        if (!accounts.addContract(creditId, contract, error))
            return false;
    }
    return true;
}
