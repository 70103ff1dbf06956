#pragma once

#include "tzplatform_global.h"

#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

class IPlugin;
class QPluginLoader;
class QWidget;

// A page a plugin offers, as read from the descriptor object it published.
struct PageDescriptor
{
    QString className;  // object name of the descriptor: the page widget's class
    QString id;         // host identifier in its setting form, e.g. "TZApp.PortfoliosList"
    QString dllName;    // library name the host passed to initialize
    int metaId = 0;     // meta-type id under which the page widget can be created
};

// One plugin library and what became of it.
struct PluginEntry
{
    QString filePath;
    QJsonObject metaData;  // the "MetaData" object of the plugin's metadata block
    QString name;
    QString version;
    QString category;
    QString error;         // why the plugin was skipped or failed; empty when loaded
    IPlugin *plugin = nullptr;
    QPluginLoader *loader = nullptr;
    QList<PageDescriptor> pages;
};

// Loads every plugin of a folder the way the client host does: reads the metadata
// without loading, checks the interface id, loads, initialize() then
// extensionsInitialized(), and collects the page descriptors the plugins publish.
class TZPLATFORM_EXPORT PluginManager : public QObject
{
    Q_OBJECT

public:
    static const char *const pluginIid;  // "TZAppPlugin"

    explicit PluginManager(QObject *parent = nullptr);
    ~PluginManager() override;

    // Loads all libraries of the folder, in file-name order. Returns the number loaded.
    int loadPlugins(const QString &folder, const QStringList &arguments = QStringList());
    // Loads one library; the entry records the outcome.
    PluginEntry *loadPlugin(const QString &filePath, const QStringList &arguments = QStringList());

    QList<PluginEntry *> plugins() const { return m_entries; }
    QList<PageDescriptor> pages() const;
    const PageDescriptor *pageById(const QString &id) const;

    // Creates a page widget by its meta-type id (default instance) and parents it.
    QWidget *createPage(int metaId, QWidget *parent = nullptr) const;
    void destroyPage(int metaId, QWidget *page) const;

    // aboutToShutdown on every plugin (newest first), then releases their auto-released
    // objects newest first, then unloads. Safe to call twice.
    void shutdown();

private:
    QList<PluginEntry *> m_entries;
    bool m_shutDown = false;
};
