#include "securitycatalog.h"
#include "referencetable.h"

#include "exchange.h"
#include "tzcore.h"

#include <QFile>
#include <QLoggingCategory>
#include <QTextStream>
#include <cmath>

namespace {

quint32 fnv1a(const QString &text)
{
    quint32 h = 2166136261u;
    for (QChar c : text) {
        h ^= c.unicode();
        h *= 16777619u;
    }
    return h;
}

bool readCsv(const QString &path, QList<QStringList> &rows, QString *error)
{
    ReferenceTable table;
    if (!table.load(path, error))
        return false;
    rows = table.rows();
    return true;
}

struct Board
{
    QString listing;
    QString type;
    int lot;
    double limit;
};

// Exchange and board of an A-share code by its prefix.
bool boardOf(const QString &code, Board &board)
{
    const auto p = [&](const char *prefix) { return code.startsWith(QLatin1String(prefix)); };
    if (p("600") || p("601") || p("603") || p("605"))
        board = {Exchange::sh, SecurityType::mainBoard, 100, 0.10};
    else if (p("688") || p("689"))
        board = {Exchange::sh, SecurityType::star, 200, 0.20};
    else if (p("000") || p("001") || p("002") || p("003"))
        board = {Exchange::sz, SecurityType::mainBoard, 100, 0.10};
    else if (p("300") || p("301"))
        board = {Exchange::sz, SecurityType::chinext, 100, 0.20};
    else if (p("4") || p("8") || p("92"))
        board = {Exchange::bj, SecurityType::bse, 100, 0.30};
    else if (p("900"))
        board = {Exchange::sh, SecurityType::bShare, 100, 0.10};
    else if (p("200"))
        board = {Exchange::sz, SecurityType::bShare, 100, 0.10};
    else
        return false;
    return true;
}

} // namespace

const SecurityCatalog &SecurityCatalog::instance()
{
    static SecurityCatalog *catalog = [] {
        auto *c = new SecurityCatalog;
        QString error;
        if (!c->load(TzCore::dataDir(), &error))
            qWarning().noquote() << "SecurityCatalog::instance" << error;
        return c;
    }();
    return *catalog;
}

QString SecurityCatalog::symbolFor(const QString &code, const QString &market)
{
    if (market == Exchange::hhk || market == Exchange::szhk || market == Exchange::hk)
        return code + QStringLiteral(".HK");
    return code + QLatin1Char('.') + market;
}

double SecurityCatalog::simulatedPreClose(const QString &code, const QString &type)
{
    // Log-uniform inside a range typical for the class, rounded to the tick.
    double lo = 3.0, hi = 120.0, tick = 0.01;
    if (type == SecurityType::etf) {
        lo = 0.8, hi = 6.0, tick = 0.001;
    } else if (type == SecurityType::hkConnect) {
        lo = 8.0, hi = 480.0, tick = 0.02;
    } else if (type == SecurityType::convertible) {
        lo = 100.0, hi = 160.0, tick = 0.001;
    } else if (type == SecurityType::star) {
        lo = 12.0, hi = 220.0;
    }
    const double u = double(fnv1a(code) % 100000u) / 100000.0;
    const double price = std::exp(std::log(lo) + u * (std::log(hi) - std::log(lo)));
    return std::round(price / tick) * tick;
}

void SecurityCatalog::add(SecurityInfo info)
{
    const int index = int(m_securities.size());
    m_bySymbol.insert(info.symbol, index);
    for (const QString &market : info.markets)
        m_byCodeMarket.insert(info.code + QLatin1Char('|') + market, index);
    m_byCode.insert(info.code, index);
    m_securities.push_back(std::move(info));
}

bool SecurityCatalog::load(const QString &dataDir, QString *error)
{
    m_securities.clear();
    m_bySymbol.clear();
    m_byCodeMarket.clear();
    m_byCode.clear();

    QList<QStringList> rows;
    if (!readCsv(dataDir + QStringLiteral("/a_shares.csv"), rows, error))
        return false;
    m_securities.reserve(size_t(rows.size()) + 64);
    for (const QStringList &row : qAsConst(rows)) {
        if (row.size() < 2)
            continue;
        Board board;
        if (!boardOf(row.at(0), board))
            continue;
        SecurityInfo s;
        s.code = row.at(0);
        s.listing = board.listing;
        s.markets = QStringList{board.listing};
        s.symbol = symbolFor(s.code, board.listing);
        s.name = row.at(1);
        s.type = board.type;
        s.lotSize = board.lot;
        s.delisted = row.size() < 3 || row.at(2).isEmpty();
        // Securities under risk warning move half as far on the main boards.
        const bool st = s.name.contains(QLatin1String("ST"));
        s.limitRatio = (st && board.type == SecurityType::mainBoard) ? 0.05 : board.limit;
        s.preClosePx = simulatedPreClose(s.code, s.type);
        s.suspended = s.delisted || fnv1a(s.symbol) % 100u == 7u;
        add(std::move(s));
    }

    rows.clear();
    if (!readCsv(dataDir + QStringLiteral("/etfs.csv"), rows, error))
        return false;
    for (const QStringList &row : qAsConst(rows)) {
        if (row.size() < 3)
            continue;
        SecurityInfo s;
        s.code = row.at(0);
        s.listing = row.at(1);
        s.markets = QStringList{s.listing};
        s.symbol = symbolFor(s.code, s.listing);
        s.name = row.at(2);
        s.type = SecurityType::etf;
        s.limitRatio = 0.10;
        s.preClosePx = simulatedPreClose(s.code, s.type);
        add(std::move(s));
    }

    rows.clear();
    if (!readCsv(dataDir + QStringLiteral("/hk_connect.csv"), rows, error))
        return false;
    for (const QStringList &row : qAsConst(rows)) {
        if (row.size() < 2)
            continue;
        SecurityInfo s;
        s.code = row.at(0);
        s.listing = Exchange::hk;
        s.markets = QStringList{Exchange::hhk, Exchange::szhk};
        s.symbol = symbolFor(s.code, Exchange::hk);
        s.name = row.at(1);
        s.type = SecurityType::hkConnect;
        s.limitRatio = 0.0;
        s.preClosePx = simulatedPreClose(s.code, s.type);
        add(std::move(s));
    }

    rows.clear();
    if (!readCsv(dataDir + QStringLiteral("/bonds.csv"), rows, error))
        return false;
    for (const QStringList &row : qAsConst(rows)) {
        if (row.size() < 3)
            continue;
        SecurityInfo s;
        s.code = row.at(0);
        s.listing = row.at(1);
        s.markets = QStringList{s.listing};
        s.symbol = symbolFor(s.code, s.listing);
        s.name = row.at(2);
        s.type = SecurityType::convertible;
        s.lotSize = 10;
        s.limitRatio = 0.20;
        s.preClosePx = simulatedPreClose(s.code, s.type);
        add(std::move(s));
    }
    return true;
}

const SecurityInfo *SecurityCatalog::bySymbol(const QString &symbol) const
{
    const auto it = m_bySymbol.constFind(symbol);
    return it == m_bySymbol.cend() ? nullptr : &m_securities[size_t(*it)];
}

const SecurityInfo *SecurityCatalog::byCodeAndMarket(const QString &code, const QString &market) const
{
    const auto it = m_byCodeMarket.constFind(code + QLatin1Char('|') + market);
    return it == m_byCodeMarket.cend() ? nullptr : &m_securities[size_t(*it)];
}

QList<const SecurityInfo *> SecurityCatalog::byCode(const QString &code) const
{
    QList<const SecurityInfo *> result;
    for (auto it = m_byCode.constFind(code); it != m_byCode.cend() && it.key() == code; ++it)
        result.prepend(&m_securities[size_t(it.value())]);
    return result;
}
