#include "cbusinessdatabase.h"

#include "exchange.h"
#include "securitycatalog.h"

CBusinessDataBase *CBusinessDataBase::GetInstance()
{
    static CBusinessDataBase instance;
    return &instance;
}

QString CBusinessDataBase::GetLoginAccount() const
{
    QMutexLocker lock(&m_mutex);
    return m_loginAccount;
}

void CBusinessDataBase::SetLoginAccount(const QString &account)
{
    QMutexLocker lock(&m_mutex);
    m_loginAccount = account;
}

QString CBusinessDataBase::getSecurityIDBySymbol(const QString &symbol, const QString &,
                                                 const QString &source) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return QString();
    return source == SecurityIDSource::symbol ? s->symbol : s->code;
}

QStringList CBusinessDataBase::GetSecurityExchangeBySymbol(const QString &symbol, bool bTradable) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s || (bTradable && s->delisted))
        return QStringList();
    return s->markets;
}

QString CBusinessDataBase::GetSecurityChineseName(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    return s ? s->name : QString();
}

QString CBusinessDataBase::GetSecurityType(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    return s ? s->type : QString();
}

QStringList CBusinessDataBase::GetAllSymbolByType(const QStringList &types) const
{
    QStringList result;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!s.delisted && (types.isEmpty() || types.contains(s.type)))
            result.append(s.symbol);
    }
    return result;
}

qint64 CBusinessDataBase::GetMaxOrderQty(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return 0;
    if (s->type == SecurityType::star)
        return 100000;
    if (s->type == SecurityType::chinext)
        return 300000;
    if (s->type == SecurityType::convertible)
        return 100000;
    if (s->type == SecurityType::hkConnect)
        return 10000000;
    return 1000000;
}

QVariant CBusinessDataBase::GetCacheData(const QString &name) const
{
    QMutexLocker lock(&m_mutex);
    return m_cache.value(name);
}

void CBusinessDataBase::SetCacheData(const QString &name, const QVariant &value)
{
    QMutexLocker lock(&m_mutex);
    m_cache.insert(name, value);
}
