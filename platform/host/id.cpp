#include "id.h"

#include <QHash>
#include <QMutex>
#include <QVector>

namespace {
struct IdTable
{
    QMutex mutex;
    QHash<QByteArray, quintptr> byName;
    QVector<QByteArray> names{QByteArray()};  // index 0 is the invalid id
};

IdTable &table()
{
    static IdTable t;
    return t;
}
}

quintptr Id::intern(const QByteArray &name)
{
    if (name.isEmpty())
        return 0;
    IdTable &t = table();
    QMutexLocker lock(&t.mutex);
    const auto it = t.byName.constFind(name);
    if (it != t.byName.cend())
        return *it;
    const quintptr id = quintptr(t.names.size());
    t.names.append(name);
    t.byName.insert(name, id);
    return id;
}

Id::Id(const char *name)
    : m_id(intern(QByteArray(name)))
{
}

Id::Id(const QString &name)
    : m_id(intern(name.toUtf8()))
{
}

QByteArray Id::name() const
{
    IdTable &t = table();
    QMutexLocker lock(&t.mutex);
    return t.names.value(int(m_id));
}

QString Id::toString() const
{
    return QString::fromUtf8(name());
}

QVariant Id::toSetting() const
{
    return QVariant(toString());
}

Id Id::fromSetting(const QVariant &variant)
{
    const QByteArray name = variant.toString().toUtf8();
    return name.isEmpty() ? Id() : Id(intern(name));
}
