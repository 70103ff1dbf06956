#include "portfoliolistbasicinfo.h"

#include "cbusinessdatabase.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "portfolioimportfile.h"
#include "portfoliowireformat.h"
#include "securitycatalog.h"
#include "tzcore.h"
#include "tzpresenterclass.h"

#include <QSettings>

#include <QDebug>
#include <algorithm>

namespace {

// Portfolios per answer when the store loads ("Platform/PortfolioPageSize", default 500):
// a large book comes in pages, so neither side ever holds it all as message rows at once.
int loadPageSize()
{
    const int size = TzCore::settings()->value(QStringLiteral("Platform/PortfolioPageSize"), 500).toInt();
    return size > 0 ? size : 500;
}

// Sends one query for the login user; true with the answer's reader on success.
bool query(TzPresenterClass *presenter, const QString &type, CUnPackMessageCommon &answer,
           QString &error, const QVariantMap &extra = QVariantMap())
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount());
    body.AddVaule(RequestField::msgType, type);
    for (auto it = extra.cbegin(); it != extra.cend(); ++it)
        body.AddVaule(it.key(), it.value());
    CMessageCommon message;
    message.SetSrcid(presenter->pluginPid());
    message.SetType(type);
    message.SetMsg(body.GetPackedMsg(false));
    QVariant reply;
    const int rc = presenter->sendRequest_Sync(&message, reply);
    if (rc == 1) {
        error = QStringLiteral("请求超时");
        return false;
    }
    if (rc != 0) {
        error = QStringLiteral("请求发送失败，错误代码：%1").arg(rc);
        return false;
    }
    if (!answer.SetUnPackMsg(reply)) {
        error = QStringLiteral("后台应答无法解析");
        return false;
    }
    if (answer.GetValue(RequestField::requestExeStatus).toString() != RequestExeStatus::success) {
        error = answer.GetValue(RequestField::textDescription).toString();
        return false;
    }
    return true;
}

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
    QString error;
    std::vector<std::unique_ptr<PortfolioStrategyInfo>> newStrategies;
    std::vector<std::unique_ptr<PortfolioDetailBasicInfo>> newPortfolios;
    bool loaded = false;
    {
        CUnPackMessageCommon strategies;
        if (query(presenter, MsgType::queryStrategyRequest, strategies, error)) {
            for (const QVariantMap &row : strategies.rows())
                newStrategies.push_back(std::make_unique<PortfolioStrategyInfo>(PortfolioWireFormat::strategyFromRow(row)));
            loaded = true;
        }
    }
    // Page by page; each page becomes records before the next one is asked for.
    const int pageSize = loadPageSize();
    QString position;
    while (loaded) {
        CUnPackMessageCommon page;
        if (!query(presenter, MsgType::queryPortfolioRequest, page, error,
                   {{RequestField::pageSize, pageSize}, {RequestField::positionStr, position}})) {
            loaded = false;
            break;
        }
        for (const QVariantMap &row : page.rows())
            newPortfolios.push_back(std::make_unique<PortfolioDetailBasicInfo>(PortfolioWireFormat::portfolioFromRow(row)));
        const QString next = page.GetValue(RequestField::positionStr).toString();
        if (next.isEmpty() || next == position || page.GetRowCount() == 0)
            break;
        position = next;
    }
    if (!loaded) {
        qInfo().noquote() << "PortfolioListBasicInfo::tryLockAndInit load failed:" << error;
        QWriteLocker lock(&m_lock);
        m_lastError = error;
        return RequestFailed;
    }

    QWriteLocker lock(&m_lock);
    // Merge in place: a portfolio that is still there keeps its object (pointers handed
    // out stay valid), updated to the back end's state; one that is gone is removed.
    for (auto &fresh : newPortfolios) {
        if (PortfolioDetailBasicInfo *kept = m_byNumber.value(fresh->PortfolioNo())) {
            *kept = std::move(*fresh);
            const auto it = std::find_if(m_portfolios.begin(), m_portfolios.end(),
                                         [kept](const auto &p) { return p.get() == kept; });
            fresh = std::move(*it);
        }
    }
    for (auto &fresh : newStrategies) {
        for (auto &kept : m_strategies) {
            if (kept && kept->StrategyNo() == fresh->StrategyNo()) {
                *kept = std::move(*fresh);
                fresh = std::move(kept);
                break;
            }
        }
    }
    m_strategies = std::move(newStrategies);
    m_portfolios = std::move(newPortfolios);
    m_byNumber.clear();
    m_nameCount.clear();
    for (const auto &p : m_portfolios) {
        m_byNumber.insert(p->PortfolioNo(), p.get());
        ++m_nameCount[p->Name()];
    }
    m_initialized = true;
    m_lastError.clear();
    qInfo() << "PortfolioListBasicInfo::tryLockAndInit loaded" << m_portfolios.size()
            << "portfolios and" << m_strategies.size() << "strategy labels";
    return Ok;
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

bool PortfolioListBasicInfo::checkPortfolioSecurity(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s || s->delisted)
        return true;
    return s->name.startsWith(QStringLiteral("退")) || s->name.endsWith(QStringLiteral("退"));
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
    }
    ++m_nameCount[info.Name()];
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
    m_initialized = false;
    m_lastError.clear();
}
