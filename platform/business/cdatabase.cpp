#include "cdatabase.h"

#include "tzcore.h"

#include <QSettings>

CDataBase *CDataBase::GetInstance()
{
    static CDataBase instance;
    return &instance;
}

void CDataBase::load(const QString &iniPath)
{
    QSettings ini(iniPath, QSettings::IniFormat);
    ini.setIniCodec("UTF-8");
    QHash<QString, QString> values;
    for (const QString &key : ini.allKeys())
        values.insert(key, ini.value(key).toString());
    QWriteLocker lock(&m_lock);
    m_values = std::move(values);
    m_loaded = true;
}

void CDataBase::ensureLoaded()
{
    {
        QReadLocker lock(&m_lock);
        if (m_loaded)
            return;
    }
    load(TzCore::dataDir() + QStringLiteral("/config/static.ini"));
}

QString CDataBase::GetStaticCfgValue(const QString &section, const QString &key)
{
    ensureLoaded();
    QReadLocker lock(&m_lock);
    return m_values.value(section + QLatin1Char('/') + key);
}
