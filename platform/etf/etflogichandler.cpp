#include "etflogichandler.h"
#include "referencetable.h"

#include "ceventmessagecommon.h"
#include "cpackmessagecommon.h"
#include "fieldkeys.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "securitycatalog.h"
#include "tzcore.h"
#include "veltrabusinessdatainterface.h"

#include <QDebug>
#include <QDeadlineTimer>
#include <QFile>
#include <QSet>
#include <QTextStream>
#include <QtConcurrent>
#include <cmath>

namespace {

// Rows of a reference file as maps from column name to cell.
QList<QHash<QString, QString>> readTable(const QString &path)
{
    ReferenceTable table;
    QString error;
    if (!table.load(path, &error))
        qWarning().noquote() << "ETFLogicHandler" << error;
    return table.records();
}

struct Constituent
{
    QString code;
    QString exchange;
    QString name;
    double weight = 0.0;  // percent
};

struct IndexConstituents
{
    QString name;
    QList<Constituent> constituents;
};

// Shares of a component in one creation unit: its weight's share of the unit value at
// the pre-close price, rounded to whole lots, never less than one lot.
qint64 basketQuantity(double weightPercent, const SecurityInfo &security)
{
    const qint64 lot = qMax(1, security.lotSize);
    if (security.preClosePx <= 0.0 || weightPercent <= 0.0)
        return lot;
    const double shares =
        ETFLogicHandler::creationUnitValue * weightPercent / 100.0 / security.preClosePx;
    return qMax<qint64>(1, qRound64(shares / double(lot))) * lot;
}

} // namespace

ETFLogicHandler &ETFLogicHandler::instance()
{
    // Never destroyed: the loader may still run while the process winds down.
    static ETFLogicHandler *handler = new ETFLogicHandler;
    return *handler;
}

ETFLogicHandler::ETFLogicHandler()
{
    // The bus is created here, on the caller's thread, rather than on the loader's.
    MessageBus::instance();
    const QString dataDir = TzCore::dataDir();
    QtConcurrent::run([this, dataDir] { load(dataDir); });
}

void ETFLogicHandler::load(const QString &dataDir)
{
    QHash<QString, IndexConstituents> indices;
    const auto constituentRows = readTable(dataDir + QStringLiteral("/index_constituents.csv"));
    for (const auto &row : constituentRows) {
        IndexConstituents &index = indices[row.value(QStringLiteral("index_code"))];
        index.name = row.value(QStringLiteral("index_name"));
        index.constituents.append({row.value(QStringLiteral("code")),
                                   row.value(QStringLiteral("exchange")),
                                   row.value(QStringLiteral("name")),
                                   row.value(QStringLiteral("weight")).toDouble()});
    }

    const SecurityCatalog &catalog = SecurityCatalog::instance();
    QMap<QString, Entry> etfs;
    QHash<QString, QString> symbolByCode;
    const auto etfRows = readTable(dataDir + QStringLiteral("/etfs.csv"));
    for (const auto &row : etfRows) {
        Entry entry;
        EtfInfo &info = entry.info;
        info.code = row.value(QStringLiteral("code"));
        info.exchange = row.value(QStringLiteral("exchange"));
        if (info.code.isEmpty() || info.exchange.isEmpty())
            continue;
        info.symbol = SecurityCatalog::symbolFor(info.code, info.exchange);
        info.name = row.value(QStringLiteral("name"));
        info.trackedIndex = row.value(QStringLiteral("tracks_index"));
        if (const SecurityInfo *self = catalog.bySymbol(info.symbol))
            entry.suspended = self->suspended;

        const IndexConstituents index = indices.value(info.trackedIndex);
        info.trackedIndexName = index.name;
        for (const Constituent &c : index.constituents) {
            const SecurityInfo *security =
                catalog.bySymbol(SecurityCatalog::symbolFor(c.code, c.exchange));
            if (!security || security->delisted)
                continue;
            if (security->listing != info.exchange)
                entry.crossMarket = true;
            QVariantMap component;
            component.insert(Security::symbol, security->symbol);
            component.insert(Security::securityID, security->code);
            component.insert(UserAccount::securityExchange, security->listing);
            component.insert(Security::symbolName,
                             security->name.isEmpty() ? c.name : security->name);
            component.insert(Security::nominalQty, basketQuantity(c.weight, *security));
            component.insert(Security::weight, c.weight);
            entry.components.append(component);
        }
        info.componentCount = entry.components.size();
        if (info.trackedIndexName.isEmpty())
            qWarning().noquote() << "ETFLogicHandler no constituents for index"
                                 << info.trackedIndex << "tracked by" << info.symbol;
        symbolByCode.insert(info.code, info.symbol);
        etfs.insert(info.symbol, entry);
    }

    const int count = etfs.size();
    {
        QWriteLocker lock(&m_lock);
        m_etfs.swap(etfs);
        m_symbolByCode.swap(symbolByCode);
    }
    {
        QMutexLocker lock(&m_stateMutex);
        m_loaded = true;
        m_loadedCondition.wakeAll();
    }
    qInfo() << "ETFLogicHandler loaded" << count << "ETFs";

    const QVariant emptyPackedBody = CPackMessageCommon().GetPackedMsg();
    CEventMessageCommon event(
        QStringLiteral("ETFLogicHandler"),
        VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(EventName::ALL_ETFLIST_LOADED),
        emptyPackedBody);
    MessageBus::instance()->putEvent(event);
}

bool ETFLogicHandler::isLoaded() const
{
    QMutexLocker lock(&m_stateMutex);
    return m_loaded;
}

bool ETFLogicHandler::waitUntilLoaded(int timeoutMs) const
{
    const QDeadlineTimer deadline = timeoutMs < 0 ? QDeadlineTimer(QDeadlineTimer::Forever)
                                                  : QDeadlineTimer(timeoutMs);
    QMutexLocker lock(&m_stateMutex);
    while (!m_loaded) {
        if (!m_loadedCondition.wait(&m_stateMutex, deadline))
            return m_loaded;
    }
    return true;
}

QMap<QString, EtfInfo> ETFLogicHandler::getEtfInfoList(EtfCodeType codeType,
                                                       EtfStatus status) const
{
    QMap<QString, EtfInfo> result;
    if (codeType == EtfCodeType::bond)
        return result;
    QReadLocker lock(&m_lock);
    for (const Entry &entry : m_etfs) {
        if (codeType == EtfCodeType::crossMarket && !entry.crossMarket)
            continue;
        if (status == EtfStatus::listed && entry.suspended)
            continue;
        if (status == EtfStatus::suspended && !entry.suspended)
            continue;
        result.insert(entry.info.symbol, entry.info);
    }
    return result;
}

QString ETFLogicHandler::symbolOf(const QString &etfCodeOrSymbol) const
{
    const QString key = etfCodeOrSymbol.trimmed().toUpper();
    if (m_etfs.contains(key))
        return key;
    return m_symbolByCode.value(key);
}

QList<QVariantMap> ETFLogicHandler::getEtfComponentList(const QString &etfCodeOrSymbol) const
{
    waitUntilLoaded(-1);
    QReadLocker lock(&m_lock);
    const auto it = m_etfs.constFind(symbolOf(etfCodeOrSymbol));
    return it == m_etfs.cend() ? QList<QVariantMap>() : it->components;
}
