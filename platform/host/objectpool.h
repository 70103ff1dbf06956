#pragma once

#include "tzplatform_global.h"

#include <QList>
#include <QMutex>
#include <QObject>

// The host's pool of objects that plugins publish (page descriptors and the like).
class TZPLATFORM_EXPORT ObjectPool
{
public:
    static ObjectPool &instance();

    void addObject(QObject *object);
    void removeObject(QObject *object);
    QList<QObject *> allObjects() const;

private:
    mutable QMutex m_mutex;
    QList<QObject *> m_objects;
};
