#pragma once

#include "tzplatform_global.h"

#include <QByteArray>
#include <QHashFunctions>
#include <QString>
#include <QVariant>

// A cheap handle for a host identifier such as "TZApp.PortfoliosList": texts are
// interned once, after which ids compare and hash as integers.
class TZPLATFORM_EXPORT Id
{
public:
    Id() = default;
    Id(const char *name);  // NOLINT: intentionally implicit, as host ids are written inline
    explicit Id(const QString &name);

    QByteArray name() const;
    QString toString() const;
    // Returns a persistent value representing the id which is suitable to be stored in
    // QSettings.
    QVariant toSetting() const;
    static Id fromSetting(const QVariant &variant);

    bool isValid() const { return m_id != 0; }
    quintptr uniqueIdentifier() const { return m_id; }
    bool operator==(Id other) const { return m_id == other.m_id; }
    bool operator!=(Id other) const { return m_id != other.m_id; }
    bool operator<(Id other) const { return m_id < other.m_id; }

private:
    explicit Id(quintptr id) : m_id(id) {}
    static quintptr intern(const QByteArray &name);

    quintptr m_id = 0;
};

inline uint qHash(Id id, uint seed = 0)
{
    return ::qHash(id.uniqueIdentifier(), seed);
}
