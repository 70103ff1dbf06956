// A Qt plugin of some other host: its IID is not the client's, so it must be skipped.

#include "iplugin.h"

class ForeignPlugin : public IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.example.OtherHost" FILE "foreigniidplugin.json")
    Q_INTERFACES(IPlugin)

public:
    bool initialize(const QStringList &, QString *, const QString &) override
    {
        qFatal("a plugin with a foreign interface id must never be initialised");
        return false;
    }
    void extensionsInitialized() override {}
};

#include "foreigniidplugin.moc"
