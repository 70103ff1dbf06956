#include "objectpool.h"

ObjectPool &ObjectPool::instance()
{
    static ObjectPool pool;
    return pool;
}

void ObjectPool::addObject(QObject *object)
{
    QMutexLocker lock(&m_mutex);
    if (object && !m_objects.contains(object))
        m_objects.append(object);
}

void ObjectPool::removeObject(QObject *object)
{
    QMutexLocker lock(&m_mutex);
    m_objects.removeAll(object);
}

QList<QObject *> ObjectPool::allObjects() const
{
    QMutexLocker lock(&m_mutex);
    return m_objects;
}
