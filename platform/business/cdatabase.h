#pragma once

#include "tzplatform_global.h"

#include <QHash>
#include <QReadWriteLock>
#include <QString>

// Static configuration of the client (data/config/static.ini): sections of key=value.
class TZPLATFORM_EXPORT CDataBase
{
public:
    static CDataBase *GetInstance();

    // The value, or an empty text when the section or key is absent.
    QString GetStaticCfgValue(const QString &section, const QString &key);

    // Reads another file instead (tests); the next look-up uses it.
    void load(const QString &iniPath);

private:
    void ensureLoaded();

    QReadWriteLock m_lock;
    bool m_loaded = false;
    QHash<QString, QString> m_values;  // "section/key" -> value
};
