// The page plugin as the host sees it: loaded from the build tree with QPluginLoader,
// its metadata, its meta-cast, the page descriptor it publishes, and the page created
// from that descriptor by meta-type id. Also tzapp's --list-plugins line.

#include "iplugin.h"
#include "id.h"
#include "pluginmanager.h"
#include "tzpluginbasewidget.h"

#include <QJsonArray>
#include <QMetaType>
#include <QPluginLoader>
#include <QProcess>
#include <QTest>

namespace {
QString pluginPath()
{
    return QStringLiteral(TZ_PLUGIN_DIR) + QStringLiteral("/libPortfoliosList.so");
}
}

class tst_PluginEntry : public QObject
{
    Q_OBJECT

private slots:
    void metadataBlock();
    void metaCast();
    void initializePublishesDescriptor();
    void pageCreatedByMetaTypeId();
    void listPluginsLine();
};

void tst_PluginEntry::metadataBlock()
{
    QPluginLoader loader(pluginPath());
    const QJsonObject meta = loader.metaData();
    QCOMPARE(meta.value(QStringLiteral("IID")).toString(), QStringLiteral("TZAppPlugin"));
    QCOMPARE(meta.value(QStringLiteral("className")).toString(),
             QStringLiteral("PortfoliosListWidgetPlugin"));
    const QJsonObject data = meta.value(QStringLiteral("MetaData")).toObject();
    QCOMPARE(data.value(QStringLiteral("Name")).toString(), QStringLiteral("PortfoliosList"));
    QCOMPARE(data.value(QStringLiteral("Version")).toString(), QStringLiteral("2.0.0"));
    QCOMPARE(data.value(QStringLiteral("CompatVersion")).toString(), QStringLiteral("2.0.0"));
    QCOMPARE(data.value(QStringLiteral("Required")).toBool(true), false);
    QCOMPARE(data.value(QStringLiteral("Category")).toString(), QStringLiteral("Page"));
    QCOMPARE(data.value(QStringLiteral("Description")).toString(),
             QStringLiteral("The option plugin for the TZApp."));
    QVERIFY(data.value(QStringLiteral("Arguments")).isArray());
    QVERIFY(data.value(QStringLiteral("Arguments")).toArray().isEmpty());
    QVERIFY(data.value(QStringLiteral("Dependencies")).toArray().isEmpty());
}

void tst_PluginEntry::metaCast()
{
    QPluginLoader loader(pluginPath());
    QObject *root = loader.instance();
    QVERIFY2(root, qPrintable(loader.errorString()));
    QCOMPARE(root->qt_metacast("PortfoliosListWidgetPlugin"), static_cast<void *>(root));
    // The interface id yields the object as an IPlugin, which is the object itself.
    void *asInterface = root->qt_metacast("com.kestrilon.com.IPlugin");
    QVERIFY(asInterface);
    QCOMPARE(static_cast<QObject *>(static_cast<IPlugin *>(asInterface)), root);
    QVERIFY(qobject_cast<IPlugin *>(root));
    // Anything else goes to IPlugin's meta-cast: its own class name and QObject succeed,
    // unknown names do not.
    QVERIFY(root->qt_metacast("IPlugin"));
    QVERIFY(root->qt_metacast("QObject"));
    QVERIFY(!root->qt_metacast("TzPluginBaseWidget"));
}

void tst_PluginEntry::initializePublishesDescriptor()
{
    QPluginLoader loader(pluginPath());
    auto *plugin = qobject_cast<IPlugin *>(loader.instance());
    QVERIFY(plugin);
    const int before = plugin->autoReleasedObjects().size();
    // Empty arguments and a null error pointer are fine.
    QVERIFY(plugin->initialize(QStringList(), nullptr, QStringLiteral("PortfoliosList")));
    const QList<QObject *> objects = plugin->autoReleasedObjects();
    QCOMPARE(objects.size(), before + 1);
    QObject *descriptor = objects.last();
    QCOMPARE(descriptor->objectName(), QStringLiteral("PortfoliosListWidget"));
    QCOMPARE(descriptor->property("id"), Id("TZApp.PortfoliosList").toSetting());
    QCOMPARE(descriptor->property("dllname").toString(), QStringLiteral("PortfoliosList"));
    QCOMPARE(descriptor->property("metaId").toInt(), QMetaType::type("PortfoliosListWidget"));
    QVERIFY(descriptor->property("metaId").toInt() != QMetaType::UnknownType);
    QVERIFY(QMetaType::typeFlags(descriptor->property("metaId").toInt())
            .testFlag(QMetaType::NeedsConstruction));
    QCOMPARE(descriptor->parent(), nullptr);

    // Initialising again publishes a second descriptor with the same type id.
    QVERIFY(plugin->initialize({QStringLiteral("-x")}, nullptr, QStringLiteral("other")));
    QCOMPARE(plugin->autoReleasedObjects().last()->property("metaId"), descriptor->property("metaId"));
    QCOMPARE(plugin->autoReleasedObjects().last()->property("dllname").toString(), QStringLiteral("other"));
}

void tst_PluginEntry::pageCreatedByMetaTypeId()
{
    PluginManager manager;
    // The plugins folder holds the other pages too.
    QVERIFY(manager.loadPlugins(QStringLiteral(TZ_PLUGIN_DIR)) >= 1);
    const PageDescriptor *page = manager.pageById(QStringLiteral("TZApp.PortfoliosList"));
    QVERIFY(page);
    QCOMPARE(page->className, QStringLiteral("PortfoliosListWidget"));
    QCOMPARE(page->dllName, QStringLiteral("libPortfoliosList"));

    for (int round = 0; round < 2; ++round) {  // pages come and go any number of times
        auto *widget = qobject_cast<TzPluginBaseWidget *>(manager.createPage(page->metaId));
        QVERIFY(widget);
        QCOMPARE(widget->metaObject()->className(), "PortfoliosListWidget");
        QCOMPARE(widget->pluginWidgetTitle(), QStringLiteral("组合列表"));
        QCOMPARE(widget->pluginTitleAccountShowType(), 0);
        QVERIFY(!widget->pluginSystemButtonVisible(PLUGIN_SYSTEMBUTTON_SETTING));
        QVERIFY(!widget->pluginSystemButtonVisible(PLUGIN_SYSTEMBUTTON_COPY));
        QVERIFY(!widget->pluginSystemButtonVisible(PLUGIN_SYSTEMBUTTON_REFRESH));
        QVERIFY(widget->pluginSystemButtonVisible(PLUGIN_SYSTEMBUTTON_CLOSE));
        QPointer<QWidget> guard(widget);
        manager.destroyPage(page->metaId, widget);
        QVERIFY(guard.isNull());
    }
}

void tst_PluginEntry::listPluginsLine()
{
    QProcess tzapp;
    tzapp.setProcessChannelMode(QProcess::SeparateChannels);
    tzapp.start(QStringLiteral(TZAPP_BINARY), {QStringLiteral("--list-plugins")});
    QVERIFY(tzapp.waitForFinished(30000));
    QCOMPARE(tzapp.exitCode(), 0);
    const QStringList lines = QString::fromUtf8(tzapp.readAllStandardOutput()).trimmed().split(QLatin1Char('\n'));
    QVERIFY(lines.contains(QStringLiteral("PortfoliosList 2.0.0 Page TZApp.PortfoliosList")));
}

QTEST_MAIN(tst_PluginEntry)
#include "tst_pluginentry.moc"
