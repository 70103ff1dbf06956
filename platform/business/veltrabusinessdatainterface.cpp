#include "veltrabusinessdatainterface.h"

#include "cbusinessdatabase.h"
#include "msgtypes.h"
#include "securitycatalog.h"
#include "tzcore.h"

#include <QFile>
#include <QHash>
#include <QMutex>
#include <QTextStream>

QString VeltraBusinessDataInterface::GetSymbolBySecurityIDAndExchange(const QString &securityID,
                                                                      const QString &exchange)
{
    const SecurityInfo *s = SecurityCatalog::instance().byCodeAndMarket(securityID, exchange);
    return s ? s->symbol : QString();
}

int VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(const QString &eventName)
{
    static QMutex mutex;
    static QHash<QString, int> ids{{EventName::ALL_ETFLIST_LOADED, 300001},
                                   {EventName::PORT_LIST_INIT, 300002},
                                   {EventName::PORTFOLIOS_SETTING_CHANGED, 300003},
                                   {EventName::TRADING_ACCOUNT_CHANGED, 300004}};
    QMutexLocker lock(&mutex);
    auto it = ids.find(eventName);
    if (it == ids.end())
        it = ids.insert(eventName, 310000 + ids.size());
    return *it;
}

QList<VeltraBusinessDataInterface::TradingAccount> VeltraBusinessDataInterface::GetTradingAccountList()
{
    QList<TradingAccount> accounts;
    QFile file(TzCore::dataDir() + QStringLiteral("/accounts.csv"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return accounts;
    const QString user = CBusinessDataBase::GetInstance()->GetLoginAccount();
    QTextStream in(&file);
    in.setCodec("UTF-8");
    in.readLine();  // header
    while (!in.atEnd()) {
        const QStringList cells = in.readLine().trimmed().split(QLatin1Char(','));
        if (cells.size() >= 5 && cells.at(0) == user)
            accounts.append({cells.at(1), cells.at(2), cells.at(3), cells.at(4)});
    }
    return accounts;
}
