#include "margindc.h"

#include "busquery.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "veltrabusinessdatainterface.h"

#include <QDebug>
#include <QtConcurrent>

MarginDC *MarginDC::GetInstance()
{
    static MarginDC instance;
    return &instance;
}

void MarginDC::RequestMarginSecurity(const QString &fundAccount, const QString &sourceId)
{
    quint64 generation = 0;
    {
        QMutexLocker lock(&m_mutex);
        Entry &entry = m_entries[fundAccount];
        entry.state = Loading;
        entry.error.clear();
        generation = ++entry.generation;
    }
    QtConcurrent::run([this, fundAccount, sourceId, generation] {
        QList<QVariantMap> rows;
        QString error;
        const bool ok = BusQueryAllPages(sourceId, MsgType::queryMarginSecurityRequest,
                                         {{AccountField::fundAccount, fundAccount}}, 1000, rows, error);
        QList<TzMarginSecurityInfo> securities;
        if (ok) {
            securities.reserve(rows.size());
            for (const QVariantMap &row : qAsConst(rows)) {
                TzMarginSecurityInfo info;
                info.securityID = row.value(RequestField::securityID).toString();
                info.market = row.value(RequestField::securityExchange).toString();
                info.symbol = VeltraBusinessDataInterface::GetSymbolBySecurityIDAndExchange(info.securityID, info.market);
                info.lendableQty = row.value(AccountField::lendableQty).toLongLong();
                securities.append(info);
            }
        } else {
            qInfo().noquote() << "MarginDC::RequestMarginSecurity" << fundAccount << "failed:" << error;
        }
        QMutexLocker lock(&m_mutex);
        Entry &entry = m_entries[fundAccount];
        if (entry.generation != generation)
            return;  // a newer load of the account is under way
        entry.state = ok ? Loaded : Failed;
        entry.error = error;
        entry.securities = securities;
    });
}

MarginDC::LoadState MarginDC::GetLoadState(const QString &fundAccount, QString *error) const
{
    QMutexLocker lock(&m_mutex);
    const auto it = m_entries.constFind(fundAccount);
    if (it == m_entries.cend())
        return NotLoaded;
    if (error)
        *error = it->error;
    return it->state;
}

QList<TzMarginSecurityInfo> MarginDC::GetMarginSecurityInfoByFilter(const QStringList &filter, int iLendableOnly,
                                                                    const QString &fundAccount) const
{
    QMutexLocker lock(&m_mutex);
    QList<TzMarginSecurityInfo> result;
    const auto it = m_entries.constFind(fundAccount);
    if (it == m_entries.cend() || it->state != Loaded)
        return result;
    for (const TzMarginSecurityInfo &info : it->securities) {
        if (!filter.isEmpty() && !filter.contains(info.market))
            continue;
        if (iLendableOnly != 0 && info.lendableQty <= 0)
            continue;
        result.append(info);
    }
    return result;
}
