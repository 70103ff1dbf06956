// The trading window: the page plugins loaded from the plugin folder as tzapp loads them,
// the portfolio list as a side panel at the width it asks for beside the other pages,
// pages closed and opened again from the 窗口 menu, and the layout kept in the settings.

#include "testbackend.h"

#include "mainwindow.h"
#include "pagearea.h"
#include "pageframe.h"
#include "pluginmanager.h"
#include "tzpluginbasewidget.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QTest>

namespace {
const QString kList = QStringLiteral("TZApp.PortfoliosList");
const QString kDetail = QStringLiteral("TZApp.PortfolioDetail");

QAction *windowAction(MainWindow &window, const QString &pageId)
{
    return window.windowMenu()->findChild<QAction *>(QStringLiteral("WindowAction:") + pageId);
}
}

class tst_TradingWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { m_plugins.shutdown(); }
    void listIsASidePanelBesideTheDetail();
    void closedPagesComeBackAndTheLayoutIsKept();

private:
    PluginManager m_plugins;
};

void tst_TradingWindow::initTestCase()
{
    m_plugins.loadPlugins(QStringLiteral(TZ_PLUGIN_DIR));
    QVERIFY(m_plugins.pageById(kList));
    QVERIFY(m_plugins.pageById(kDetail));
}

void tst_TradingWindow::listIsASidePanelBesideTheDetail()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    MainWindow window(&m_plugins);
    window.resize(1200, 700);
    window.openStartPages();  // nothing kept yet: the list beside the detail
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    PageArea *area = window.pageArea();
    QCOMPARE(area->openPageIds(), (QStringList{kList, kDetail}));
    PageFrame *list = area->frameOf(kList);
    PageFrame *detail = area->frameOf(kDetail);
    QTRY_COMPARE(list->width(), 216);
    QVERIFY(!list->isCompact());
    QVERIFY(detail->width() > 900);  // the rest of the window
    // The detail page was listening when the loaded list selected its last portfolio.
    const auto shows = [detail](const QString &text) {
        for (const QLabel *label : detail->findChildren<QLabel *>()) {
            if (label->isVisible() && label->text() == text)
                return true;
        }
        return false;
    };
    QTRY_VERIFY(shows(QStringLiteral("待完成批次组合")));

    // Collapsed to its arrow: 35 pixels, no title bar; the detail takes the room.
    auto *toggle = area->page(kList)->findChild<QPushButton *>(QStringLiteral("pushButton"));
    QVERIFY(toggle);
    const int detailWide = detail->width();
    toggle->click();
    QTRY_COMPARE(list->width(), 35);
    QVERIFY(list->isCompact());
    QTRY_COMPARE(detail->width(), detailWide + 216 - 35);
    toggle->click();
    QTRY_COMPARE(list->width(), 216);
    QVERIFY(!list->isCompact());
    QTRY_COMPARE(detail->width(), detailWide);
}

void tst_TradingWindow::closedPagesComeBackAndTheLayoutIsKept()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    {
        MainWindow window(&m_plugins);
        window.openStartPages();
        QVERIFY(windowAction(window, kDetail)->isChecked());
        // "关闭" on the detail page's frame closes it; the 窗口 menu says so.
        auto *close = window.pageArea()->frameOf(kDetail)->findChild<QToolButton *>(QStringLiteral("close"));
        QVERIFY(close && !close->isHidden());
        close->click();
        QCOMPARE(window.pageArea()->openPageIds(), QStringList{kList});
        QVERIFY(!windowAction(window, kDetail)->isChecked());
        window.saveLayout();
    }
    {
        // The next start opens what was open; the menu brings the closed page back.
        MainWindow window(&m_plugins);
        window.openStartPages();
        QCOMPARE(window.pageArea()->openPageIds(), QStringList{kList});
        windowAction(window, kDetail)->trigger();
        QCOMPARE(window.pageArea()->openPageIds(), (QStringList{kList, kDetail}));
        // Closing every page leaves a notice, not an empty window.
        windowAction(window, kList)->trigger();
        windowAction(window, kDetail)->trigger();
        QCOMPARE(window.pageArea()->count(), 0);
        auto *notice = window.findChild<QWidget *>(QStringLiteral("NoPageNotice"));
        QCOMPARE(qobject_cast<QStackedWidget *>(notice->parentWidget())->currentWidget(), notice);
    }
}

QTEST_MAIN(tst_TradingWindow)
#include "tst_tradingwindow.moc"
