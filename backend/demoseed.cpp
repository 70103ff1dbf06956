#include "demoseed.h"
#include "referencetable.h"

#include "exchange.h"
#include "fieldkeys.h"
#include "migrations.h"
#include "portfolioextension.h"
#include "securitycatalog.h"
#include "sqlaccountstore.h"
#include "sqlportfoliostore.h"
#include "tzcore.h"

#include <QFile>
#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QTextStream>
#include <algorithm>
#include <cmath>

namespace {

// Every demo line is bought for about this much at the previous close.
const double kLineValue = 100000.0;

const QString kCsi300 = QStringLiteral("000300.SH");
const QString kChiNext = QStringLiteral("399006.SZ");
const QString kBankIndustry = QStringLiteral("银行");

// A security picked for a demo portfolio, on the market it is traded through.
struct Pick
{
    const SecurityInfo *security;
    QString market;
};

bool readCsv(const QString &name, QList<QStringList> *rows, QString *error)
{
    ReferenceTable table;
    if (!table.load(name, error))
        return false;
    *rows = table.rows();
    return true;
}

bool usable(const SecurityInfo *security)
{
    return security && !security->delisted && security->preClosePx > 0.0;
}

// Constituents of an index, heaviest first, as securities the catalogue knows.
QList<Pick> indexMembers(const QList<QStringList> &constituents, const QString &index)
{
    struct Member
    {
        Pick pick;
        double weight;
    };
    QList<Member> members;
    for (const QStringList &row : constituents) {
        // index_code, index_name, code, exchange, name, weight
        if (row.size() < 6 || row.at(0) != index)
            continue;
        const SecurityInfo *security = SecurityCatalog::instance().byCodeAndMarket(row.at(2),
                                                                                  row.at(3));
        if (usable(security))
            members.append({{security, row.at(3)}, row.at(5).toDouble()});
    }
    std::stable_sort(members.begin(), members.end(),
                     [](const Member &a, const Member &b) { return a.weight > b.weight; });
    QList<Pick> picks;
    for (const Member &member : qAsConst(members))
        picks.append(member.pick);
    return picks;
}

// A-shares of the Shenwan level-1 banking industry, the largest CSI 300 weights first.
bool bankStocks(const QList<QStringList> &constituents, QList<Pick> *picks, QString *error)
{
    QList<QStringList> industries;
    QList<QStringList> stockIndustry;
    if (!readCsv(QStringLiteral("sw_industries.csv"), &industries, error)
        || !readCsv(QStringLiteral("sw_stock_industry.csv"), &stockIndustry, error))
        return false;
    QSet<QString> bankLevel3;
    for (const QStringList &row : qAsConst(industries)) {
        // l1_code, l1_name, l2_code, l2_name, l3_code, l3_name
        if (row.size() >= 5 && row.at(1) == kBankIndustry)
            bankLevel3.insert(row.at(4));
    }
    QHash<QString, double> csi300Weight;
    for (const QStringList &row : constituents) {
        if (row.size() >= 6 && row.at(0) == kCsi300)
            csi300Weight.insert(row.at(2), row.at(5).toDouble());
    }
    for (const QStringList &row : qAsConst(stockIndustry)) {
        // code, sw_l3_code, since
        if (row.size() < 2 || !bankLevel3.contains(row.at(1)))
            continue;
        for (const SecurityInfo *security : SecurityCatalog::instance().byCode(row.at(0))) {
            if (usable(security) && security->listing != Exchange::hk)
                picks->append({security, security->listing});
        }
    }
    std::sort(picks->begin(), picks->end(), [&](const Pick &a, const Pick &b) {
        const double wa = csi300Weight.value(a.security->code);
        const double wb = csi300Weight.value(b.security->code);
        return wa != wb ? wa > wb : a.security->code < b.security->code;
    });
    return true;
}

// Stock Connect securities in catalogue order, alternating the Shanghai and Shenzhen link.
QList<Pick> hkConnectStocks()
{
    QList<Pick> picks;
    for (const SecurityInfo &security : SecurityCatalog::instance().all()) {
        if (security.type == SecurityType::hkConnect && usable(&security))
            picks.append({&security, picks.size() % 2 == 0 ? Exchange::hhk : Exchange::szhk});
    }
    return picks;
}

QList<Pick> chiNextStocks(const QList<QStringList> &constituents)
{
    QList<Pick> picks = indexMembers(constituents, kChiNext);
    if (!picks.isEmpty())
        return picks;
    for (const SecurityInfo &security : SecurityCatalog::instance().all()) {
        if (security.type == SecurityType::chinext && usable(&security))
            picks.append({&security, security.listing});
    }
    std::sort(picks.begin(), picks.end(), [](const Pick &a, const Pick &b) {
        return a.security->code < b.security->code;
    });
    return picks;
}

QList<Pick> bySymbols(const QStringList &symbols)
{
    QList<Pick> picks;
    for (const QString &symbol : symbols) {
        const SecurityInfo *security = SecurityCatalog::instance().bySymbol(symbol);
        if (usable(security))
            picks.append({security, security->listing});
    }
    return picks;
}

// Buy lines of whole lots worth about kLineValue each; a line's weight is its share of
// the portfolio's value, in percent.
QList<PortfolioLine> buyLines(const QList<Pick> &picks)
{
    QList<PortfolioLine> lines;
    QList<double> values;
    double total = 0.0;
    for (const Pick &pick : picks) {
        const SecurityInfo &security = *pick.security;
        const int lot = qMax(1, security.lotSize);
        const qint64 lots = qMax<qint64>(1, qRound64(kLineValue / (security.preClosePx * lot)));
        PortfolioLine line;
        line.securityId = security.code;
        line.exchange = pick.market;
        line.side = OrderSide::buy;
        line.tradeQty = lots * lot;
        line.entrustType = EntrustType::NewOrder;
        line.entrustProp = EntrustProp::trading;
        lines.append(line);
        values.append(double(line.tradeQty) * security.preClosePx);
        total += values.last();
    }
    for (int i = 0; i < lines.size(); ++i)
        lines[i].positionWeight = std::round(values.at(i) / total * 1e6) / 1e4;
    return lines;
}

bool addPortfolio(SqlPortfolioStore &store, qint64 userId, const QString &strategyNo,
                  const QString &name, const QList<Pick> &picks, const QJsonObject &extension,
                  qint64 *portfolioId, QString *error)
{
    if (picks.isEmpty()) {
        *error = QStringLiteral("参考数据中没有演示组合%1可用的证券").arg(name);
        return false;
    }
    PortfolioRecord portfolio;
    portfolio.name = name;
    portfolio.strategyNo = strategyNo;
    portfolio.defaultBasketSize = 1;
    portfolio.extension = PortfolioExtension::toText(extension);
    portfolio.paramType = PortfolioExtension::paramType(extension);
    PortfolioRef ref;
    if (!store.createPortfolio(userId, &portfolio, error)
        || !store.findPortfolio(portfolio.portfolioNo, &ref, error))
        return false;
    int failed = -1;
    if (!store.addLines(ref.id, buyLines(picks), &failed, error))
        return false;
    *portfolioId = ref.id;
    return true;
}

} // namespace

QString DemoSeed::userName()
{
    return QStringLiteral("demo");
}

QString DemoSeed::strategyName()
{
    return QStringLiteral("默认");
}

bool DemoSeed::seedIfDue(SqlPortfolioStore &store, QString *written, QString *error)
{
    written->clear();
    qint64 users = 0;
    qint64 demoUser = -1;
    qint64 accounts = 0;
    if (!store.begin(error))
        return false;
    // Of two back ends starting on one new PostgreSQL database, the second waits here
    // and then finds the first one's users.
    bool ok = Migrations::lockUntilCommit(store.database(), error)
              && store.countRows(QStringLiteral("users"), &users, error);
    if (ok && users == 0) {
        ok = write(store, error);
        *written = QStringLiteral("演示用户、组合和账户");
    } else if (ok && store.versionBeforeOpen() > 0
               && store.versionBeforeOpen() < Migrations::accountsVersion) {
        // A database from before accounts existed: its demo user gets the demo accounts.
        SqlAccountStore accountStore(store);
        ok = store.findUser(userName(), &demoUser, error)
             && (demoUser < 0 || accountStore.countAccounts(demoUser, &accounts, error));
        if (ok && demoUser >= 0 && accounts == 0) {
            ok = writeAccounts(store, demoUser, QDate::currentDate(), error);
            *written = QStringLiteral("演示账户");
        }
    }
    if (ok)
        ok = store.commit(error);
    else
        store.rollback();
    if (!ok)
        written->clear();
    return ok;
}

bool DemoSeed::write(SqlPortfolioStore &store, QString *error)
{
    if (SecurityCatalog::instance().all().empty()) {
        *error = QStringLiteral("证券参考数据未加载（%1），无法写入演示组合").arg(TzCore::dataDir());
        return false;
    }
    QList<QStringList> constituents;
    QList<Pick> banks;
    if (!readCsv(QStringLiteral("index_constituents.csv"), &constituents, error)
        || !bankStocks(constituents, &banks, error))
        return false;

    qint64 userId = -1;
    StrategyRecord strategy;
    strategy.name = strategyName();
    strategy.type = QStringLiteral("0");
    strategy.manaStatus = QStringLiteral("0");
    if (!store.ensureUser(userName(), &userId, error)
        || !store.createStrategy(userId, &strategy, error))
        return false;

    const QJsonObject noExtension;
    const QJsonObject twap{{Portfolio::algoParam,
                            QJsonObject{{ImportField::AlgoName, QStringLiteral("TWAP")},
                                        {ImportField::StartTime, QStringLiteral("09:30:00")},
                                        {ImportField::EndTime, QStringLiteral("14:57:00")},
                                        {ImportField::ParticipationRate, 0.1}}}};
    const QStringList pendingBasket = {QStringLiteral("600519.SH"), QStringLiteral("601318.SH"),
                                       QStringLiteral("600036.SH")};
    const QString &no = strategy.strategyNo;
    qint64 csi300Id = -1;
    qint64 pendingId = -1;
    qint64 otherId = -1;
    return addPortfolio(store, userId, no, QStringLiteral("沪深300前20"),
                        indexMembers(constituents, kCsi300).mid(0, 20), noExtension, &csi300Id,
                        error)
           && addPortfolio(store, userId, no, QStringLiteral("银行股组合"), banks.mid(0, 10),
                           noExtension, &otherId, error)
           && addPortfolio(store, userId, no, QStringLiteral("港股通精选"),
                           hkConnectStocks().mid(0, 8), noExtension, &otherId, error)
           && addPortfolio(store, userId, no, QStringLiteral("创业板成长"),
                           chiNextStocks(constituents).mid(0, 10), noExtension, &otherId, error)
           && addPortfolio(store, userId, no, QStringLiteral("待完成批次组合"),
                           bySymbols(pendingBasket), twap, &pendingId, error)
           && store.addOrderBatch(csi300Id, QStringLiteral("finished"), nullptr, error)
           && store.addOrderBatch(pendingId, QStringLiteral("working"), nullptr, error)
           && writeAccounts(store, userId, QDate::currentDate(), error);
}
