#include "iplugin.h"

#include "objectpool.h"

class IPluginPrivate
{
public:
    QList<QObject *> autoReleased;
};

IPlugin::IPlugin()
    : d(new IPluginPrivate)
{
}

IPlugin::~IPlugin()
{
    releaseAutoReleasedObjects();
    delete d;
}

QObject *IPlugin::remoteCommand(const QStringList &, const QString &, const QStringList &)
{
    return nullptr;
}

QVector<QObject *> IPlugin::createTestObjects() const
{
    return {};
}

void IPlugin::addAutoReleasedObject(QObject *object)
{
    if (!object)
        return;
    d->autoReleased.append(object);
    ObjectPool::instance().addObject(object);
}

QList<QObject *> IPlugin::autoReleasedObjects() const
{
    return d->autoReleased;
}

void IPlugin::releaseAutoReleasedObjects()
{
    while (!d->autoReleased.isEmpty()) {
        QObject *object = d->autoReleased.takeLast();
        ObjectPool::instance().removeObject(object);
        delete object;
    }
}
