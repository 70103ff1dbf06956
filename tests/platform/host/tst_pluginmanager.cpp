// The host's plugin loader and ids: interface-id check, life-cycle order, page
// descriptors, and release of auto-released objects newest first.

#include "id.h"
#include "iplugin.h"
#include "objectpool.h"
#include "pluginmanager.h"

#include <QSet>
#include <QTest>

class tst_PluginManager : public QObject
{
    Q_OBJECT

private slots:
    void ids();
    void loadsOwnPluginsAndSkipsForeignOnes();
    void shutdownReleasesNewestFirst();
};

void tst_PluginManager::ids()
{
    const Id a("TZApp.PortfoliosList");
    const Id b(QStringLiteral("TZApp.PortfoliosList"));
    const Id c("TZApp.Other");
    QVERIFY(a == b);
    QVERIFY(a != c);
    QVERIFY(!Id().isValid());
    QCOMPARE(qHash(a), qHash(b));
    QCOMPARE(a.toSetting().toString(), QStringLiteral("TZApp.PortfoliosList"));
    QCOMPARE(Id::fromSetting(a.toSetting()), a);
    QSet<Id> set{a, b, c};
    QCOMPARE(set.size(), 2);
}

void tst_PluginManager::loadsOwnPluginsAndSkipsForeignOnes()
{
    PluginManager manager;
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral(
        "skipped .*foreigniidplugin.* \"org.example.OtherHost\" is not \"TZAppPlugin\"")));
    QCOMPARE(manager.loadPlugins(QStringLiteral(TEST_PLUGIN_DIR), {QStringLiteral("--flag")}), 1);
    QCOMPARE(manager.plugins().size(), 2);

    const PluginEntry *foreign = nullptr;
    const PluginEntry *own = nullptr;
    for (const PluginEntry *entry : manager.plugins())
        (entry->plugin ? own : foreign) = entry;
    QVERIFY(foreign && own);
    QVERIFY(foreign->error.contains(QStringLiteral("org.example.OtherHost")));
    QCOMPARE(own->name, QStringLiteral("Lifecycle"));
    QCOMPARE(own->category, QStringLiteral("Test"));
    QCOMPARE(own->plugin->property("calls").toStringList(),
             (QStringList{QStringLiteral("initialize"), QStringLiteral("extensionsInitialized")}));
    QCOMPARE(own->plugin->property("arguments").toStringList(), QStringList{QStringLiteral("--flag")});
    QCOMPARE(own->plugin->property("libraryName").toString(), QStringLiteral("liblifecycleplugin"));

    // Only objects that carry an id and a meta id are pages.
    QCOMPARE(own->pages.size(), 1);
    QCOMPARE(manager.pages().first().id, QStringLiteral("Test.Page"));
    QCOMPARE(manager.pages().first().dllName, QStringLiteral("liblifecycleplugin"));
    QVERIFY(manager.pageById(QStringLiteral("Test.Page")));
    QVERIFY(!manager.pageById(QStringLiteral("No.Such.Page")));
}

void tst_PluginManager::shutdownReleasesNewestFirst()
{
    PluginManager manager;
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("skipped")));
    manager.loadPlugins(QStringLiteral(TEST_PLUGIN_DIR));
    IPlugin *plugin = nullptr;
    for (const PluginEntry *entry : manager.plugins())
        plugin = entry->plugin ? entry->plugin : plugin;
    QVERIFY(plugin);
    const QList<QObject *> published = plugin->autoReleasedObjects();
    QCOMPARE(published.size(), 4);
    for (QObject *o : published)
        QVERIFY(ObjectPool::instance().allObjects().contains(o));

    QStringList destroyed;
    for (QObject *o : published) {
        const QString name = o->objectName();
        connect(o, &QObject::destroyed, this, [&destroyed, name] { destroyed << name; });
    }
    manager.shutdown();
    QCOMPARE(destroyed, (QStringList{QStringLiteral("QLabel"), QStringLiteral("third"),
                                     QStringLiteral("second"), QStringLiteral("first")}));
    // aboutToShutdown ran while the objects still existed.
    QCOMPARE(plugin->property("objectsAtShutdown").toInt(), 4);
    QCOMPARE(plugin->property("calls").toStringList().last(), QStringLiteral("aboutToShutdown"));
    for (QObject *o : published)
        QVERIFY(!ObjectPool::instance().allObjects().contains(o));
    manager.shutdown();  // a second shut-down does nothing
}

QTEST_GUILESS_MAIN(tst_PluginManager)
#include "tst_pluginmanager.moc"
