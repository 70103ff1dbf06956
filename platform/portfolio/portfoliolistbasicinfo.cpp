#include "portfoliolistbasicinfo.h"

#include "busquery.h"
#include <QMutex>
#include "cdatabase.h"

#include "cbusinessdatabase.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "messagebus.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "portfolioimportfile.h"
#include "portfoliowireformat.h"
#include "securitycatalog.h"
#include "tzcore.h"
#include "tzpresenterclass.h"

#include <QSet>
#include <QSettings>

#include <QDebug>
#include <algorithm>
#include <unordered_map>

namespace {

// Portfolios per answer when the store loads ("Platform/PortfolioPageSize", default 500):
// a large book comes in pages, so neither side ever holds it all as message rows at once.
int loadPageSize()
{
    const int size = TzCore::settings()->value(QStringLiteral("Platform/PortfolioPageSize"), 500).toInt();
    return size > 0 ? size : 500;
}

// Portfolios of one query, page by page; each page becomes records before the next one
// is asked for.
bool queryPortfolios(const QString &sourceId, const QVariantMap &filter,
                     QVector<PortfolioDetailBasicInfo> *out, QString &error)
{
    const int pageSize = loadPageSize();
    QString position;
    for (;;) {
        CUnPackMessageCommon page;
        QVariantMap fields = filter;
        fields.insert(RequestField::pageSize, pageSize);
        fields.insert(RequestField::positionStr, position);
        if (!BusQuery(sourceId, MsgType::queryPortfolioRequest, page, error, fields))
            return false;
        for (const QVariantMap &row : page.rows())
            out->append(PortfolioWireFormat::portfolioFromRow(row));
        const QString next = page.GetValue(RequestField::positionStr).toString();
        if (next.isEmpty() || next == position || page.GetRowCount() == 0)
            return true;
        position = next;
    }
}

// Numbers per query when fetching named portfolios (the back end takes up to 500).
constexpr int kNumbersPerFetch = 200;

} // namespace

PortfolioListBasicInfo *PortfolioListBasicInfo::GetInstance()
{
    static PortfolioListBasicInfo instance;
    return &instance;
}

int PortfolioListBasicInfo::tryLockAndInit(TzPresenterClass *presenter, bool bReload)
{
    {
        QReadLocker lock(&m_lock);
        if (m_initialized && !bReload)
            return Ok;
    }
    if (!presenter)
        return RequestFailed;

    // Ask first, lock afterwards: the requests block, and the worker must not wait on
    // the store meanwhile.
    PortfolioSnapshot snapshot;
    QString error;
    if (!LoadSnapshot(presenter->pluginPid(), &snapshot, &error)) {
        qInfo().noquote() << "PortfolioListBasicInfo::tryLockAndInit load failed:" << error;
        QWriteLocker lock(&m_lock);
        m_lastError = error;
        return RequestFailed;
    }
    ApplySnapshot(snapshot);
    return Ok;
}

bool PortfolioListBasicInfo::LoadSnapshot(const QString &sourceId, PortfolioSnapshot *out, QString *error)
{
    QString reason;
    CUnPackMessageCommon strategies;
    if (!BusQuery(sourceId, MsgType::queryStrategyRequest, strategies, reason)) {
        *error = reason;
        return false;
    }
    for (const QVariantMap &row : strategies.rows())
        out->strategies.append(PortfolioWireFormat::strategyFromRow(row));
    if (!queryPortfolios(sourceId, QVariantMap(), &out->portfolios, reason)) {
        *error = reason;
        return false;
    }
    return true;
}

void PortfolioListBasicInfo::DiffSnapshot(PortfolioSnapshot *snapshot) const
{
    // In slices, so the GUI thread never waits long for the lock; a change of the list
    // between slices makes the order unknown, and a changed portfolio has a new stamp.
    constexpr int kSlice = 256;
    const QVector<PortfolioDetailBasicInfo> &fresh = snapshot->portfolios;
    snapshot->sameAsStamp.fill(0, fresh.size());
    quint64 version = 0;
    bool sameOrder = true;
    for (int from = 0; from < fresh.size() || from == 0; from += kSlice) {
        QReadLocker lock(&m_lock);
        if (from == 0) {
            version = m_listVersion;
            sameOrder = size_t(fresh.size()) == m_portfolios.size();
        }
        sameOrder = sameOrder && version == m_listVersion;
        for (int i = from; i < qMin(from + kSlice, int(fresh.size())); ++i) {
            const PortfolioDetailBasicInfo *stored = m_byNumber.value(fresh.at(i).PortfolioNo());
            sameOrder = sameOrder && stored == m_portfolios[size_t(i)].get();
            if (stored && *stored == fresh.at(i))
                snapshot->sameAsStamp[i] = m_stamps.value(stored->PortfolioNo());
        }
        if (fresh.isEmpty())
            break;
    }
    snapshot->sameOrderVersion = sameOrder ? version : 0;
}

QStringList PortfolioListBasicInfo::ApplySnapshot(PortfolioSnapshot &snapshot)
{
    QStringList changed;
    QWriteLocker lock(&m_lock);
    QVector<PortfolioDetailBasicInfo> &fresh = snapshot.portfolios;
    const auto unchangedSinceDiff = [&](int i) {
        return i < snapshot.sameAsStamp.size() && snapshot.sameAsStamp.at(i) != 0
            && m_stamps.value(fresh.at(i).PortfolioNo()) == snapshot.sameAsStamp.at(i);
    };

    if (snapshot.sameOrderVersion != 0 && snapshot.sameOrderVersion == m_listVersion
        && size_t(fresh.size()) == m_portfolios.size()) {
        // The same portfolios in the same order: only the changed ones are written.
        for (int i = 0; i < fresh.size(); ++i) {
            if (unchangedSinceDiff(i))
                continue;
            PortfolioDetailBasicInfo &stored = *m_portfolios[size_t(i)];
            if (stored == fresh.at(i))
                continue;
            if (--m_nameCount[stored.Name()] == 0)
                m_nameCount.remove(stored.Name());
            stored = std::move(fresh[i]);
            ++m_nameCount[stored.Name()];
            stampLocked(stored.PortfolioNo());
            changed << stored.PortfolioNo();
        }
    } else {
        // Merge in place: a portfolio that is still there keeps its object (pointers
        // handed out stay valid), updated to the back end's state; one that is gone is
        // removed.
        std::unordered_map<const PortfolioDetailBasicInfo *, std::unique_ptr<PortfolioDetailBasicInfo>> kept;
        kept.reserve(m_portfolios.size());
        for (auto &p : m_portfolios)
            kept.emplace(p.get(), std::move(p));
        std::vector<std::unique_ptr<PortfolioDetailBasicInfo>> portfolios;
        portfolios.reserve(size_t(fresh.size()));
        for (int i = 0; i < fresh.size(); ++i) {
            const auto old = kept.find(m_byNumber.value(fresh.at(i).PortfolioNo()));
            if (old != kept.end()) {
                // Only a real change gets a new stamp: what did not change needs no repaint.
                if (!unchangedSinceDiff(i) && *old->second != fresh.at(i)) {
                    *old->second = std::move(fresh[i]);
                    stampLocked(old->second->PortfolioNo());
                    changed << old->second->PortfolioNo();
                }
                portfolios.push_back(std::move(old->second));
                kept.erase(old);
            } else {
                stampLocked(fresh.at(i).PortfolioNo());
                changed << fresh.at(i).PortfolioNo();
                portfolios.push_back(std::make_unique<PortfolioDetailBasicInfo>(std::move(fresh[i])));
            }
        }
        for (const auto &gone : kept)
            stampLocked(gone.second->PortfolioNo());
        m_portfolios = std::move(portfolios);
        m_byNumber.clear();
        m_nameCount.clear();
        for (const auto &p : m_portfolios) {
            m_byNumber.insert(p->PortfolioNo(), p.get());
            ++m_nameCount[p->Name()];
        }
        ++m_listVersion;
    }

    std::vector<std::unique_ptr<PortfolioStrategyInfo>> strategies;
    strategies.reserve(size_t(snapshot.strategies.size()));
    for (PortfolioStrategyInfo &label : snapshot.strategies) {
        auto same = std::find_if(m_strategies.begin(), m_strategies.end(), [&label](const auto &s) {
            return s && s->StrategyNo() == label.StrategyNo();
        });
        if (same != m_strategies.end()) {
            **same = std::move(label);
            strategies.push_back(std::move(*same));
        } else {
            strategies.push_back(std::make_unique<PortfolioStrategyInfo>(std::move(label)));
        }
    }
    m_strategies = std::move(strategies);
    m_initialized = true;
    m_lastError.clear();
    qInfo() << "PortfolioListBasicInfo::ApplySnapshot" << m_portfolios.size()
            << "portfolios and" << m_strategies.size() << "strategy labels," << changed.size() << "changed";
    return changed;
}

QHash<QString, quint64> PortfolioListBasicInfo::changeStamps() const
{
    QReadLocker lock(&m_lock);
    return m_stamps;
}

bool PortfolioListBasicInfo::FetchPortfolios(const QString &sourceId, const QStringList &numbers,
                                             QVector<PortfolioDetailBasicInfo> *out, QString *error)
{
    QString reason;
    for (int i = 0; i < numbers.size(); i += kNumbersPerFetch) {
        const QStringList part = numbers.mid(i, kNumbersPerFetch);
        if (!queryPortfolios(sourceId, {{RequestField::portfolioNoList, part}}, out, reason)) {
            *error = reason;
            return false;
        }
    }
    return true;
}

quint64 PortfolioListBasicInfo::changeStamp(const QString &portfolioNo) const
{
    QReadLocker lock(&m_lock);
    return m_stamps.value(portfolioNo);
}

void PortfolioListBasicInfo::knowStrategyLocked(const PortfolioDetailBasicInfo &detail)
{
    if (detail.StrategyID().isEmpty())
        return;
    for (const auto &s : m_strategies) {
        if (s->StrategyNo() == detail.StrategyID()) {
            s->setStrategyName(detail.StrategyName());
            return;
        }
    }
    auto label = std::make_unique<PortfolioStrategyInfo>();
    label->setStrategyNo(detail.StrategyID());
    label->setStrategyName(detail.StrategyName());
    m_strategies.push_back(std::move(label));
}

PortfolioListBasicInfo::SyncResult
PortfolioListBasicInfo::SyncPortfolioDetails(const QVector<PortfolioDetailBasicInfo> &fresh,
                                              const QStringList &gone,
                                              const QHash<QString, quint64> &stampsAtFetch)
{
    SyncResult result;
    QWriteLocker lock(&m_lock);
    const auto unchanged = [&](const QString &no) { return m_stamps.value(no) == stampsAtFetch.value(no); };

    // A name is free in the end state when the stored portfolios carrying it are all
    // replaced or removed by this batch, and no other portfolio of the batch takes it.
    QVector<const PortfolioDetailBasicInfo *> take;
    QStringList drop;
    for (const QString &no : gone) {
        if (!unchanged(no))
            result.skipped << no;
        else if (m_byNumber.contains(no))
            drop << no;
    }
    for (const PortfolioDetailBasicInfo &p : fresh) {
        if (!unchanged(p.PortfolioNo()))
            result.skipped << p.PortfolioNo();
        else
            take << &p;
    }
    // Decided before anything changes; a refusal keeps a stored name in place, which may
    // refuse another of the batch, so this runs until nothing more is refused.
    QSet<const PortfolioDetailBasicInfo *> refused;
    for (bool again = true; again;) {
        again = false;
        QHash<QString, int> released;  // stored names the batch lets go of
        QHash<QString, int> incoming;  // names the accepted part of the batch brings
        const auto release = [&released, this](const QString &no) {
            if (const PortfolioDetailBasicInfo *stored = m_byNumber.value(no))
                ++released[stored->Name()];
        };
        for (const QString &no : qAsConst(drop))
            release(no);
        for (const PortfolioDetailBasicInfo *p : qAsConst(take)) {
            if (!refused.contains(p)) {
                release(p->PortfolioNo());
                ++incoming[p->Name()];
            }
        }
        for (const PortfolioDetailBasicInfo *p : qAsConst(take)) {
            const QString &name = p->Name();
            if (!refused.contains(p)
                && (p->PortfolioNo().isEmpty() || m_nameCount.value(name) - released.value(name) > 0
                    || incoming.value(name) > 1)) {
                refused.insert(p);
                again = true;
            }
        }
    }

    for (const QString &no : qAsConst(drop)) {
        PortfolioDetailBasicInfo *stored = m_byNumber.take(no);
        if (--m_nameCount[stored->Name()] == 0)
            m_nameCount.remove(stored->Name());
        m_portfolios.erase(std::find_if(m_portfolios.begin(), m_portfolios.end(),
                                        [stored](const auto &p) { return p.get() == stored; }));
        stampLocked(no);
        ++m_listVersion;
        result.removed << no;
    }
    for (const PortfolioDetailBasicInfo *p : qAsConst(take)) {
        const QString no = p->PortfolioNo();
        if (refused.contains(p)) {
            result.refused << no;
            continue;
        }
        if (PortfolioDetailBasicInfo *stored = m_byNumber.value(no)) {
            if (--m_nameCount[stored->Name()] == 0)
                m_nameCount.remove(stored->Name());
            *stored = *p;
        } else {
            m_portfolios.push_back(std::make_unique<PortfolioDetailBasicInfo>(*p));
            m_byNumber.insert(no, m_portfolios.back().get());
            ++m_listVersion;
        }
        ++m_nameCount[p->Name()];
        knowStrategyLocked(*p);
        stampLocked(no);
        result.updated << no;
    }
    return result;
}

QStringList PortfolioListBasicInfo::numbersNamed(const QString &name) const
{
    QReadLocker lock(&m_lock);
    QStringList numbers;
    if (!m_nameCount.contains(name))
        return numbers;
    for (const auto &p : m_portfolios) {
        if (p->Name() == name)
            numbers << p->PortfolioNo();
    }
    return numbers;
}

bool PortfolioListBasicInfo::isInitialized() const
{
    QReadLocker lock(&m_lock);
    return m_initialized;
}

QString PortfolioListBasicInfo::lastError() const
{
    QReadLocker lock(&m_lock);
    return m_lastError;
}

QStringList PortfolioListBasicInfo::getAllPortfolioName() const
{
    QReadLocker lock(&m_lock);
    QStringList names;
    names.reserve(int(m_portfolios.size()));
    for (const auto &p : m_portfolios)
        names.append(p->Name());
    return names;
}

bool PortfolioListBasicInfo::nameTakenLocked(const QString &name, const QString &exceptNo) const
{
    if (!m_nameCount.contains(name))
        return false;
    if (exceptNo.isEmpty())
        return true;
    const PortfolioDetailBasicInfo *self = m_byNumber.value(exceptNo);
    // The portfolio itself may keep its own name.
    return !(self && self->Name() == name && m_nameCount.value(name) == 1);
}

bool PortfolioListBasicInfo::CheckPortfolioName(const QString &name, QString &freeName) const
{
    const QString base = name;  // freeName may alias name
    QReadLocker lock(&m_lock);
    if (!m_nameCount.contains(base)) {
        freeName = base;
        return false;
    }
    for (int n = 1;; ++n) {
        const QString candidate = base + QString::number(n);
        if (!m_nameCount.contains(candidate)) {
            freeName = candidate;
            return true;
        }
    }
}

namespace {
// The firm's restricted list, parsed again only when the configuration's text changes:
// the search box asks for every security when a dialog opens.
QSet<QString> restrictedSymbols()
{
    static QMutex mutex;
    static QString parsedText;
    static QSet<QString> symbols;
    const QString text = CDataBase::GetInstance()->GetStaticCfgValue(QStringLiteral("PortfolioSysCfg"),
                                                                     QStringLiteral("RestrictedSymbols"));
    QMutexLocker lock(&mutex);
    if (text != parsedText) {
        parsedText = text;
        symbols.clear();
        for (const QStringRef &entry : text.splitRef(QLatin1Char(','), Qt::SkipEmptyParts))
            symbols.insert(entry.trimmed().toString());
    }
    return symbols;
}
} // namespace

bool PortfolioListBasicInfo::checkPortfolioSecurity(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s || s->delisted)
        return true;
    if (s->name.startsWith(QStringLiteral("退")) || s->name.endsWith(QStringLiteral("退")))
        return true;
    return restrictedSymbols().contains(symbol);
}

bool PortfolioListBasicInfo::IsSupportSecurity(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    return s && s->type != SecurityType::bShare;
}

int PortfolioListBasicInfo::AddStrategyInfo(const PortfolioStrategyInfo &info)
{
    QWriteLocker lock(&m_lock);
    for (const auto &s : m_strategies) {
        if (s->StrategyName() == info.StrategyName()) {
            *s = info;
            return Ok;
        }
    }
    m_strategies.push_back(std::make_unique<PortfolioStrategyInfo>(info));
    return Ok;
}

PortfolioStrategyInfo *PortfolioListBasicInfo::GetStrategyInfoByName(const QString &name)
{
    QReadLocker lock(&m_lock);
    for (const auto &s : m_strategies) {
        if (s->StrategyName() == name)
            return s.get();
    }
    return nullptr;
}

QString PortfolioListBasicInfo::strategyNoByName(const QString &name) const
{
    QReadLocker lock(&m_lock);
    for (const auto &s : m_strategies) {
        if (s->StrategyName() == name)
            return s->StrategyNo();
    }
    return QString();
}

PortfolioDetailBasicInfo *PortfolioListBasicInfo::GetPortfolioDetail(const QString &portfolioNo)
{
    QReadLocker lock(&m_lock);
    return m_byNumber.value(portfolioNo);
}

QList<PortfolioDetailBasicInfo *> PortfolioListBasicInfo::GetPortfolioDetails()
{
    QReadLocker lock(&m_lock);
    QList<PortfolioDetailBasicInfo *> list;
    list.reserve(int(m_portfolios.size()));
    for (const auto &p : m_portfolios)
        list.append(p.get());
    return list;
}

int PortfolioListBasicInfo::AddPortfolioDetail(const PortfolioDetailBasicInfo &info)
{
    if (info.PortfolioNo().isEmpty())
        return NoNumber;
    QWriteLocker lock(&m_lock);
    if (nameTakenLocked(info.Name(), info.PortfolioNo()))
        return NameTaken;
    if (PortfolioDetailBasicInfo *stored = m_byNumber.value(info.PortfolioNo())) {
        if (--m_nameCount[stored->Name()] == 0)
            m_nameCount.remove(stored->Name());
        *stored = info;
    } else {
        m_portfolios.push_back(std::make_unique<PortfolioDetailBasicInfo>(info));
        m_byNumber.insert(info.PortfolioNo(), m_portfolios.back().get());
        ++m_listVersion;
    }
    ++m_nameCount[info.Name()];
    stampLocked(info.PortfolioNo());
    return Ok;
}

int PortfolioListBasicInfo::RemovePortfolioDetail(const QString &portfolioNo)
{
    QWriteLocker lock(&m_lock);
    PortfolioDetailBasicInfo *stored = m_byNumber.take(portfolioNo);
    if (!stored)
        return NotFound;
    if (--m_nameCount[stored->Name()] == 0)
        m_nameCount.remove(stored->Name());
    m_portfolios.erase(std::find_if(m_portfolios.begin(), m_portfolios.end(),
                                    [stored](const auto &p) { return p.get() == stored; }));
    stampLocked(portfolioNo);
    ++m_listVersion;
    return Ok;
}

QList<PortfolioItem> PortfolioListBasicInfo::GetPortItemListFromFile(const QString &path, QString &error,
                                                                     QVariantMap &extension)
{
    // Parsing needs no store state; it runs outside the lock so a long file never
    // holds up the other thread.
    return PortfolioImportFile::read(path, error, extension);
}

void PortfolioListBasicInfo::clear()
{
    QWriteLocker lock(&m_lock);
    m_portfolios.clear();
    m_byNumber.clear();
    m_nameCount.clear();
    m_strategies.clear();
    m_stamps.clear();
    ++m_listVersion;
    m_initialized = false;
    m_lastError.clear();
}
