// ETF creation baskets and the Shenwan industry classification, both loaded in the
// background from the reference data of the source tree.

#include "etflogichandler.h"
#include "fieldkeys.h"
#include "infocenterdatamanagerinterface.h"
#include "msgtypes.h"
#include "securitycatalog.h"
#include "tzcore.h"
#include "tzpresenterclass.h"
#include "veltrabusinessdatainterface.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QSet>
#include <QTest>
#include <QTextStream>
#include <QThread>
#include <cmath>
#include <memory>

namespace {

QList<QStringList> readData(const QString &name)
{
    QList<QStringList> rows;
    QFile file(TzCore::dataDir() + QLatin1Char('/') + name);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return rows;
    QTextStream in(&file);
    in.setCodec("UTF-8");
    in.readLine();
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (!line.isEmpty())
            rows.append(line.split(QLatin1Char(',')));
    }
    return rows;
}

// Constituents of an index that the catalogue knows as listed: symbol -> weight (%).
QMap<QString, double> tradableConstituents(const QString &indexCode)
{
    QMap<QString, double> result;
    for (const QStringList &row : readData(QStringLiteral("index_constituents.csv"))) {
        if (row.value(0) != indexCode)
            continue;
        const QString symbol = SecurityCatalog::symbolFor(row.value(2), row.value(3));
        const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
        if (s && !s->delisted)
            result.insert(symbol, row.value(5).toDouble());
    }
    return result;
}

QSet<QString> symbolsOf(const QList<QVariantMap> &basket)
{
    QSet<QString> symbols;
    for (const QVariantMap &row : basket)
        symbols.insert(row.value(Security::symbol).toString());
    return symbols;
}

class LoadedProbe : public TzPresenterClass
{
public:
    LoadedProbe()
    {
        SubEvent(VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(
            EventName::ALL_ETFLIST_LOADED));
    }
    int count = 0;
    QString source;

protected:
    void ProcEventMsg(QString src, QVariant, QVariant) override
    {
        ++count;
        source = src;
    }
};

// Sizes of every look-up a reader saw while the data were loading.
struct Seen
{
    QSet<int> etfs, symbols, triNames, secNames, triToSec;

    void read()
    {
        etfs.insert(ETFLogicHandler::instance().getEtfInfoList().size());
        symbols.insert(InfoCenterDataManagerInterface::getSymbolIndustryInfoMap().size());
        triNames.insert(InfoCenterDataManagerInterface::getTriLevelCodeAndNameMap().size());
        secNames.insert(InfoCenterDataManagerInterface::getSecLevelCodeAndNameMap().size());
        triToSec.insert(InfoCenterDataManagerInterface::getTriToSecLevelMap().size());
    }
};

bool emptyOrComplete(const QSet<int> &seen, int complete)
{
    for (int size : seen) {
        if (size != 0 && size != complete)
            return false;
    }
    return seen.contains(complete);
}

} // namespace

class tst_EtfIndustry : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void readsWhileLoadingSeeEmptyOrComplete();
    void loadedEventArrivesOnce();
    void etfListAndFilters();
    void basketOfCsi300Etf();
    void unknownEtfHasNoBasket();
    void industryMaps();

private:
    std::unique_ptr<LoadedProbe> m_probe;
};

void tst_EtfIndustry::initTestCase()
{
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    // Subscribed before the list starts loading, so the event cannot be missed.
    m_probe = std::make_unique<LoadedProbe>();
}

void tst_EtfIndustry::readsWhileLoadingSeeEmptyOrComplete()
{
    // Nothing to wait for before init().
    QVERIFY(!InfoCenterDataManagerInterface::waitUntilReady(5000));
    QVERIFY(InfoCenterDataManagerInterface::getSymbolIndustryInfoMap().isEmpty());

    Seen seen[2];
    QList<QThread *> readers;
    for (Seen &s : seen) {
        readers.append(QThread::create([&s] {
            // The first reader's call creates the handler and starts the ETF load.
            const QDeadlineTimer deadline(30000);
            do {
                s.read();
                QThread::usleep(200);
            } while (!(ETFLogicHandler::instance().isLoaded()
                       && InfoCenterDataManagerInterface::isReady())
                     && !deadline.hasExpired());
            s.read();
        }));
        readers.last()->start();
    }
    InfoCenterDataManagerInterface::init();
    for (QThread *t : qAsConst(readers)) {
        QVERIFY(t->wait(60000));
        delete t;
    }

    QVERIFY(ETFLogicHandler::instance().waitUntilLoaded(0));
    QVERIFY(InfoCenterDataManagerInterface::waitUntilReady(0));
    const int etfs = ETFLogicHandler::instance().getEtfInfoList().size();
    const int symbols = InfoCenterDataManagerInterface::getSymbolIndustryInfoMap().size();
    const int triNames = InfoCenterDataManagerInterface::getTriLevelCodeAndNameMap().size();
    const int secNames = InfoCenterDataManagerInterface::getSecLevelCodeAndNameMap().size();
    const int triToSec = InfoCenterDataManagerInterface::getTriToSecLevelMap().size();
    QVERIFY(etfs > 0 && symbols > 0 && triNames > 0 && secNames > 0);
    for (const Seen &s : seen) {
        QVERIFY2(emptyOrComplete(s.etfs, etfs), "partial ETF list seen");
        QVERIFY2(emptyOrComplete(s.symbols, symbols), "partial symbol map seen");
        QVERIFY2(emptyOrComplete(s.triNames, triNames), "partial level-3 names seen");
        QVERIFY2(emptyOrComplete(s.secNames, secNames), "partial level-2 names seen");
        QVERIFY2(emptyOrComplete(s.triToSec, triToSec), "partial level map seen");
    }

    // A second init() keeps what is loaded.
    InfoCenterDataManagerInterface::init();
    QVERIFY(InfoCenterDataManagerInterface::isReady());
    QCOMPARE(InfoCenterDataManagerInterface::getSymbolIndustryInfoMap().size(), symbols);
}

void tst_EtfIndustry::loadedEventArrivesOnce()
{
    QVERIFY(ETFLogicHandler::instance().waitUntilLoaded(30000));
    QTRY_COMPARE(m_probe->count, 1);
    QCOMPARE(m_probe->source, QStringLiteral("ETFLogicHandler"));
    QTest::qWait(300);
    QCOMPARE(m_probe->count, 1);
}

void tst_EtfIndustry::etfListAndFilters()
{
    ETFLogicHandler &handler = ETFLogicHandler::instance();
    QVERIFY(handler.waitUntilLoaded(30000));
    const QMap<QString, EtfInfo> all = handler.getEtfInfoList();

    QSet<QString> expected;
    for (const QStringList &row : readData(QStringLiteral("etfs.csv")))
        expected.insert(SecurityCatalog::symbolFor(row.value(0), row.value(1)));
    QCOMPARE(QSet<QString>(all.keyBegin(), all.keyEnd()), expected);

    const EtfInfo csi300 = all.value(QStringLiteral("510300.SH"));
    QCOMPARE(csi300.symbol, QStringLiteral("510300.SH"));
    QCOMPARE(csi300.code, QStringLiteral("510300"));
    QCOMPARE(csi300.exchange, QStringLiteral("SH"));
    QCOMPARE(csi300.name, QStringLiteral("沪深300ETF"));
    QCOMPARE(csi300.trackedIndex, QStringLiteral("000300.SH"));
    QCOMPARE(csi300.trackedIndexName, QStringLiteral("沪深300"));
    for (const EtfInfo &info : all) {
        QVERIFY2(info.componentCount > 0, qPrintable(info.symbol));
        QCOMPARE(info.componentCount, handler.getEtfComponentList(info.symbol).size());
    }

    // The reference data hold listed stock ETFs only.
    QCOMPARE(handler.getEtfInfoList(EtfCodeType::stock, EtfStatus::all).keys(), all.keys());
    QCOMPARE(handler.getEtfInfoList(EtfCodeType::all, EtfStatus::listed).keys(), all.keys());
    QVERIFY(handler.getEtfInfoList(EtfCodeType::bond, EtfStatus::all).isEmpty());
    QVERIFY(handler.getEtfInfoList(EtfCodeType::all, EtfStatus::suspended).isEmpty());

    // Cross-market: the basket holds stocks of the other exchange.
    const QMap<QString, EtfInfo> cross =
        handler.getEtfInfoList(EtfCodeType::crossMarket, EtfStatus::listed);
    QVERIFY(cross.contains(QStringLiteral("510300.SH")));
    QVERIFY(cross.contains(QStringLiteral("159919.SZ")));
    QVERIFY(!cross.contains(QStringLiteral("510050.SH")));  // SSE 50: Shanghai only
    QVERIFY(!cross.contains(QStringLiteral("159915.SZ")));  // ChiNext: Shenzhen only
    for (const EtfInfo &info : all) {
        bool foreign = false;
        for (const QVariantMap &row : handler.getEtfComponentList(info.symbol))
            foreign |= row.value(UserAccount::securityExchange).toString() != info.exchange;
        QVERIFY2(foreign == cross.contains(info.symbol), qPrintable(info.symbol));
    }
}

void tst_EtfIndustry::basketOfCsi300Etf()
{
    ETFLogicHandler &handler = ETFLogicHandler::instance();
    const QList<QVariantMap> basket = handler.getEtfComponentList(QStringLiteral("510300.SH"));
    QCOMPARE(handler.getEtfComponentList(QStringLiteral("510300")), basket);

    // Exactly the CSI 300 constituents the client can trade; 葛洲坝 was delisted.
    const QMap<QString, double> constituents = tradableConstituents(QStringLiteral("000300.SH"));
    QVERIFY(constituents.size() > 290);
    QCOMPARE(symbolsOf(basket), QSet<QString>(constituents.keyBegin(), constituents.keyEnd()));
    QVERIFY(!symbolsOf(basket).contains(QStringLiteral("600068.SH")));

    double weightSum = 0.0;
    for (const QVariantMap &row : basket) {
        const QString symbol = row.value(Security::symbol).toString();
        const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
        QVERIFY2(s, qPrintable(symbol));
        QCOMPARE(row.value(Security::securityID).toString(), s->code);
        QCOMPARE(row.value(UserAccount::securityExchange).toString(), s->listing);
        QVERIFY(!row.value(Security::symbolName).toString().isEmpty());
        const double weight = row.value(Security::weight).toDouble();
        QCOMPARE(weight, constituents.value(symbol));
        weightSum += weight;

        // Whole lots whose value is the weight's share of the unit, give or take half a lot.
        const qint64 qty = row.value(Security::nominalQty).toLongLong();
        QVERIFY2(qty >= s->lotSize && qty % s->lotSize == 0, qPrintable(symbol));
        const double target = ETFLogicHandler::creationUnitValue * weight / 100.0;
        const double value = double(qty) * s->preClosePx;
        QVERIFY2(qty == s->lotSize || std::abs(value - target) <= s->lotSize * s->preClosePx / 2
                                                                     + 1e-6,
                 qPrintable(symbol));
    }
    QVERIFY2(weightSum > 99.0 && weightSum < 100.01, qPrintable(QString::number(weightSum)));

    const auto moutai = std::find_if(basket.begin(), basket.end(), [](const QVariantMap &row) {
        return row.value(Security::symbol).toString() == QLatin1String("600519.SH");
    });
    QVERIFY(moutai != basket.end());
    QCOMPARE(moutai->value(Security::securityID).toString(), QStringLiteral("600519"));
    QCOMPARE(moutai->value(UserAccount::securityExchange).toString(), QStringLiteral("SH"));
    QCOMPARE(moutai->value(Security::symbolName).toString(), QStringLiteral("贵州茅台"));
    QVERIFY(moutai->value(Security::nominalQty).toLongLong() % 100 == 0);

    // Another ETF on the same index, listed in Shenzhen, holds the same basket.
    QCOMPARE(handler.getEtfComponentList(QStringLiteral("159919.SZ")), basket);
}

void tst_EtfIndustry::unknownEtfHasNoBasket()
{
    ETFLogicHandler &handler = ETFLogicHandler::instance();
    QVERIFY(handler.getEtfComponentList(QStringLiteral("999999.SH")).isEmpty());
    QVERIFY(handler.getEtfComponentList(QString()).isEmpty());
    QVERIFY(handler.getEtfComponentList(QStringLiteral("000300.SH")).isEmpty());  // index
    QVERIFY(handler.getEtfComponentList(QStringLiteral("600519.SH")).isEmpty());  // stock
}

void tst_EtfIndustry::industryMaps()
{
    using Info = InfoCenterDataManagerInterface;
    QVERIFY(Info::waitUntilReady(30000));
    const QMap<QString, QString> symbols = Info::getSymbolIndustryInfoMap();
    const QMap<QString, QString> triNames = Info::getTriLevelCodeAndNameMap();
    const QMap<QString, QString> secNames = Info::getSecLevelCodeAndNameMap();
    const QMap<QString, QString> triToSec = Info::getTriToSecLevelMap();

    // 招商银行: a joint-stock bank.
    const QString bank = QStringLiteral("600036.SH");
    QCOMPARE(symbols.value(bank), QStringLiteral("480301"));
    QCOMPARE(triNames.value(QStringLiteral("480301")), QStringLiteral("股份制银行Ⅲ"));
    QCOMPARE(triToSec.value(QStringLiteral("480301")), QStringLiteral("4803"));
    QCOMPARE(secNames.value(QStringLiteral("4803")), QStringLiteral("股份制银行Ⅱ"));
    QVERIFY(Info::getSymbolsOfIndustry(QStringLiteral("4803")).contains(bank));
    QVERIFY(Info::getSymbolsOfIndustry(QStringLiteral("480301")).contains(bank));

    // Only listed securities, each in a level-3 industry of the current classification.
    QVERIFY(symbols.size() > 4000);
    QCOMPARE(triToSec.keys(), triNames.keys());
    for (auto it = symbols.cbegin(); it != symbols.cend(); ++it) {
        const SecurityInfo *s = SecurityCatalog::instance().bySymbol(it.key());
        QVERIFY2(s && !s->delisted, qPrintable(it.key()));
        QVERIFY2(triNames.contains(it.value()), qPrintable(it.key()));
    }

    // A level-2 industry holds exactly the stocks of its level-3 industries, sorted.
    QMap<QString, QStringList> bySec;
    for (auto it = symbols.cbegin(); it != symbols.cend(); ++it)
        bySec[triToSec.value(it.value())].append(it.key());
    for (auto it = bySec.cbegin(); it != bySec.cend(); ++it) {
        QVERIFY(secNames.contains(it.key()));
        QCOMPARE(Info::getSymbolsOfIndustry(it.key()), it.value());  // QMap keys are sorted
    }

    QVERIFY(Info::getSymbolsOfIndustry(QStringLiteral("99")).isEmpty());
    QVERIFY(Info::getSymbolsOfIndustry(QString()).isEmpty());
}

QTEST_GUILESS_MAIN(tst_EtfIndustry)
#include "tst_etfindustry.moc"
