#include "pluginmanager.h"

#include "iplugin.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QMetaType>
#include <QPluginLoader>
#include <QWidget>

const char *const PluginManager::pluginIid = "TZAppPlugin";

PluginManager::PluginManager(QObject *parent)
    : QObject(parent)
{
}

PluginManager::~PluginManager()
{
    shutdown();
    qDeleteAll(m_entries);
}

int PluginManager::loadPlugins(const QString &folder, const QStringList &arguments)
{
    QDir dir(folder);
    const QFileInfoList files = dir.entryInfoList(QDir::Files, QDir::Name);
    int loaded = 0;
    for (const QFileInfo &file : files) {
        if (!QLibrary::isLibrary(file.fileName()))
            continue;
        PluginEntry *entry = loadPlugin(file.absoluteFilePath(), arguments);
        if (entry && entry->plugin)
            ++loaded;
    }
    return loaded;
}

PluginEntry *PluginManager::loadPlugin(const QString &filePath, const QStringList &arguments)
{
    auto *entry = new PluginEntry;
    entry->filePath = filePath;
    m_entries.append(entry);

    auto *loader = new QPluginLoader(filePath, this);
    const QJsonObject meta = loader->metaData();
    const QString iid = meta.value(QStringLiteral("IID")).toString();
    if (iid != QLatin1String(pluginIid)) {
        entry->error = QStringLiteral("interface id \"%1\" is not \"%2\"").arg(iid, pluginIid);
        qInfo().noquote() << "PluginManager::loadPlugin skipped" << filePath << entry->error;
        delete loader;
        return entry;
    }
    entry->metaData = meta.value(QStringLiteral("MetaData")).toObject();
    entry->name = entry->metaData.value(QStringLiteral("Name")).toString();
    entry->version = entry->metaData.value(QStringLiteral("Version")).toString();
    entry->category = entry->metaData.value(QStringLiteral("Category")).toString();

    QObject *instance = loader->instance();
    auto *plugin = qobject_cast<IPlugin *>(instance);
    if (!plugin) {
        entry->error = instance ? QStringLiteral("root object is not an IPlugin")
                               : loader->errorString();
        qWarning().noquote() << "PluginManager::loadPlugin failed" << filePath << entry->error;
        loader->unload();
        delete loader;
        return entry;
    }
    entry->loader = loader;
    entry->plugin = plugin;

    const int before = plugin->autoReleasedObjects().size();
    QString error;
    const QString libraryName = QFileInfo(filePath).completeBaseName();
    if (!plugin->initialize(arguments, &error, libraryName)) {
        entry->error = error.isEmpty() ? QStringLiteral("initialize failed") : error;
        qWarning().noquote() << "PluginManager::loadPlugin initialize failed" << filePath << entry->error;
        return entry;
    }
    plugin->extensionsInitialized();

    // Page descriptors are the published objects that carry an "id" and a "metaId".
    const QList<QObject *> published = plugin->autoReleasedObjects();
    for (int i = before; i < published.size(); ++i) {
        QObject *o = published.at(i);
        if (!o->property("id").isValid() || !o->property("metaId").isValid())
            continue;
        PageDescriptor page;
        page.className = o->objectName();
        page.id = o->property("id").toString();
        page.dllName = o->property("dllname").toString();
        page.metaId = o->property("metaId").toInt();
        entry->pages.append(page);
    }
    qInfo().noquote() << "PluginManager::loadPlugin loaded" << entry->name << entry->version
                      << "from" << filePath;
    return entry;
}

QList<PageDescriptor> PluginManager::pages() const
{
    QList<PageDescriptor> result;
    for (const PluginEntry *entry : m_entries)
        result += entry->pages;
    return result;
}

const PageDescriptor *PluginManager::pageById(const QString &id) const
{
    for (const PluginEntry *entry : m_entries) {
        for (const PageDescriptor &page : entry->pages) {
            if (page.id == id)
                return &page;
        }
    }
    return nullptr;
}

QWidget *PluginManager::createPage(int metaId, QWidget *parent) const
{
    if (!QMetaType::isRegistered(metaId))
        return nullptr;
    // Page types are registered as QWidget subclasses whose QWidget base sits first.
    auto *page = static_cast<QWidget *>(QMetaType::create(metaId));
    if (page && parent)
        page->setParent(parent);
    return page;
}

void PluginManager::destroyPage(int metaId, QWidget *page) const
{
    if (page && QMetaType::isRegistered(metaId))
        QMetaType::destroy(metaId, page);
}

void PluginManager::shutdown()
{
    if (m_shutDown)
        return;
    m_shutDown = true;
    for (int i = m_entries.size() - 1; i >= 0; --i) {
        if (IPlugin *plugin = m_entries.at(i)->plugin)
            plugin->aboutToShutdown();
    }
    for (int i = m_entries.size() - 1; i >= 0; --i) {
        if (IPlugin *plugin = m_entries.at(i)->plugin)
            plugin->releaseAutoReleasedObjects();
    }
    for (int i = m_entries.size() - 1; i >= 0; --i) {
        PluginEntry *entry = m_entries.at(i);
        if (entry->loader) {
            // Unloading a library that still has live widgets or meta-types would pull
            // code from under them; the process is ending anyway, so keep it mapped.
            entry->plugin = nullptr;
        }
    }
}
