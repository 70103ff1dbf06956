#include "infocenterdatamanagerinterface.h"
#include "referencetable.h"

#include "exchange.h"
#include "securitycatalog.h"
#include "tzcore.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QFile>
#include <QMutex>
#include <QReadWriteLock>
#include <QTextStream>
#include <QWaitCondition>
#include <QtConcurrent>

namespace {

// The classification as loaded; replaced as a whole when loading ends.
struct Classification
{
    QMap<QString, QString> symbolToTri;
    QMap<QString, QString> triNames;
    QMap<QString, QString> secNames;
    QMap<QString, QString> triToSec;
    QMap<QString, QStringList> symbolsByIndustry;  // level-2 and level-3 codes, sorted
};

struct State
{
    QReadWriteLock lock;  // guards data
    Classification data;

    QMutex stateMutex;  // guards started and ready
    QWaitCondition readyCondition;
    bool started = false;
    bool ready = false;
};

State &state()
{
    // Never destroyed: the loader may still run while the process winds down.
    static State *s = new State;
    return *s;
}

// Rows of a reference file as maps from column name to cell.
QList<QHash<QString, QString>> readTable(const QString &path)
{
    ReferenceTable table;
    QString error;
    if (!table.load(path, &error))
        qWarning().noquote() << "InfoCenterDataManagerInterface" << error;
    return table.records();
}

// A listed stock of the mainland boards with this code; the classification covers
// nothing else, and a code names one such stock at most.
const SecurityInfo *listedStock(const SecurityCatalog &catalog, const QString &code)
{
    for (const SecurityInfo *s : catalog.byCode(code)) {
        if (s->delisted || s->type == SecurityType::etf || s->type == SecurityType::hkConnect
            || s->type == SecurityType::convertible)
            continue;
        return s;
    }
    return nullptr;
}

Classification loadClassification(const QString &dataDir)
{
    Classification c;
    for (const auto &row : readTable(dataDir + QStringLiteral("/sw_industries.csv"))) {
        const QString sec = row.value(QStringLiteral("l2_code"));
        const QString tri = row.value(QStringLiteral("l3_code"));
        if (sec.isEmpty() || tri.isEmpty())
            continue;
        c.secNames.insert(sec, row.value(QStringLiteral("l2_name")));
        c.triNames.insert(tri, row.value(QStringLiteral("l3_name")));
        c.triToSec.insert(tri, sec);
    }

    const SecurityCatalog &catalog = SecurityCatalog::instance();
    int unknownIndustry = 0;
    for (const auto &row : readTable(dataDir + QStringLiteral("/sw_stock_industry.csv"))) {
        const QString tri = row.value(QStringLiteral("sw_l3_code"));
        const auto sec = c.triToSec.constFind(tri);
        if (sec == c.triToSec.cend()) {
            // Codes of the classification before its 2021 revision.
            ++unknownIndustry;
            continue;
        }
        const SecurityInfo *stock = listedStock(catalog, row.value(QStringLiteral("code")));
        if (!stock)
            continue;
        c.symbolToTri.insert(stock->symbol, tri);
        c.symbolsByIndustry[tri].append(stock->symbol);
        c.symbolsByIndustry[*sec].append(stock->symbol);
    }
    for (QStringList &symbols : c.symbolsByIndustry)
        symbols.sort();
    if (unknownIndustry > 0)
        qInfo() << "InfoCenterDataManagerInterface" << unknownIndustry
                << "stocks with an industry code outside the current classification";
    return c;
}

} // namespace

void InfoCenterDataManagerInterface::init()
{
    State &s = state();
    {
        QMutexLocker lock(&s.stateMutex);
        if (s.started)
            return;
        s.started = true;
    }
    const QString dataDir = TzCore::dataDir();
    QtConcurrent::run([dataDir] {
        Classification loaded = loadClassification(dataDir);
        State &s = state();
        qInfo() << "InfoCenterDataManagerInterface loaded industries of"
                << loaded.symbolToTri.size() << "securities";
        {
            QWriteLocker lock(&s.lock);
            std::swap(s.data, loaded);
        }
        QMutexLocker lock(&s.stateMutex);
        s.ready = true;
        s.readyCondition.wakeAll();
    });
}

bool InfoCenterDataManagerInterface::isReady()
{
    State &s = state();
    QMutexLocker lock(&s.stateMutex);
    return s.ready;
}

bool InfoCenterDataManagerInterface::waitUntilReady(int timeoutMs)
{
    const QDeadlineTimer deadline = timeoutMs < 0 ? QDeadlineTimer(QDeadlineTimer::Forever)
                                                  : QDeadlineTimer(timeoutMs);
    State &s = state();
    QMutexLocker lock(&s.stateMutex);
    if (!s.started)
        return false;
    while (!s.ready) {
        if (!s.readyCondition.wait(&s.stateMutex, deadline))
            return s.ready;
    }
    return true;
}

QMap<QString, QString> InfoCenterDataManagerInterface::getSymbolIndustryInfoMap()
{
    State &s = state();
    QReadLocker lock(&s.lock);
    return s.data.symbolToTri;
}

QMap<QString, QString> InfoCenterDataManagerInterface::getTriLevelCodeAndNameMap()
{
    State &s = state();
    QReadLocker lock(&s.lock);
    return s.data.triNames;
}

QMap<QString, QString> InfoCenterDataManagerInterface::getSecLevelCodeAndNameMap()
{
    State &s = state();
    QReadLocker lock(&s.lock);
    return s.data.secNames;
}

QMap<QString, QString> InfoCenterDataManagerInterface::getTriToSecLevelMap()
{
    State &s = state();
    QReadLocker lock(&s.lock);
    return s.data.triToSec;
}

QStringList InfoCenterDataManagerInterface::getSymbolsOfIndustry(const QString &levelCode)
{
    State &s = state();
    QReadLocker lock(&s.lock);
    return s.data.symbolsByIndustry.value(levelCode.trimmed());
}
