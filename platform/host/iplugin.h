#pragma once

#include "tzplatform_global.h"

#include <QObject>
#include <QStringList>
#include <QVector>

class IPluginPrivate;

// Base class of every plugin the client host loads. The host calls initialize, then
// extensionsInitialized once all plugins are initialised, later delayedInitialize, and
// aboutToShutdown before it unloads. Objects a plugin hands to addAutoReleasedObject
// join the host's object pool and are deleted by the host, newest first, at shut-down.
class TZPLATFORM_EXPORT IPlugin : public QObject
{
    Q_OBJECT

public:
    enum ShutdownFlag { SynchronousShutdown, AsynchronousShutdown };

    IPlugin();
    ~IPlugin() override;

    virtual bool initialize(const QStringList &arguments, QString *errorString,
                            const QString &libraryName) = 0;
    virtual void extensionsInitialized() = 0;
    virtual bool delayedInitialize() { return false; }
    virtual ShutdownFlag aboutToShutdown() { return SynchronousShutdown; }
    virtual QObject *remoteCommand(const QStringList &options, const QString &workingDirectory,
                                   const QStringList &arguments);
    virtual QVector<QObject *> createTestObjects() const;

    void addAutoReleasedObject(QObject *object);
    // The auto-released objects of this plugin, oldest first.
    QList<QObject *> autoReleasedObjects() const;
    // Deletes the auto-released objects, newest first. The host calls this at shut-down.
    void releaseAutoReleasedObjects();

signals:
    void asynchronousShutdownFinished();

private:
    IPluginPrivate *d;
};

Q_DECLARE_INTERFACE(IPlugin, "com.kestrilon.com.IPlugin")
