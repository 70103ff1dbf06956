// A plugin that records what the host does with it, for tst_pluginmanager.

#include "iplugin.h"

#include <QStringList>
#include <QVariant>

#include <QMetaType>

class LifecyclePlugin : public IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "TZAppPlugin" FILE "lifecycleplugin.json")
    Q_INTERFACES(IPlugin)

public:
    bool initialize(const QStringList &arguments, QString *, const QString &libraryName) override
    {
        setProperty("calls", property("calls").toStringList() << QStringLiteral("initialize"));
        setProperty("arguments", arguments);
        setProperty("libraryName", libraryName);
        for (const char *name : {"first", "second", "third"}) {
            auto *o = new QObject;
            o->setObjectName(QLatin1String(name));
            addAutoReleasedObject(o);
        }
        auto *page = new QObject;
        page->setObjectName(QStringLiteral("QLabel"));
        page->setProperty("id", QStringLiteral("Test.Page"));
        page->setProperty("dllname", libraryName);
        page->setProperty("metaId", int(QMetaType::QString));
        addAutoReleasedObject(page);
        return true;
    }
    void extensionsInitialized() override
    {
        setProperty("calls", property("calls").toStringList() << QStringLiteral("extensionsInitialized"));
    }
    ShutdownFlag aboutToShutdown() override
    {
        setProperty("calls", property("calls").toStringList() << QStringLiteral("aboutToShutdown"));
        setProperty("objectsAtShutdown", autoReleasedObjects().size());
        return SynchronousShutdown;
    }
};

#include "lifecycleplugin.moc"
