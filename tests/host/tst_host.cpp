// The client host: codes read from pasted text, the paste command's way to the
// portfolio list (event for an open page, cache for a closed one), the main window's
// menus, and the options dialog for directory auto-import.

#include "cbusinessdatabase.h"
#include "clipboardcodes.h"
#include "clipboardcommand.h"
#include "cunpackmessagecommon.h"
#include "fieldkeys.h"
#include "hostevents.h"
#include "mainwindow.h"
#include "msgtypes.h"
#include "pluginmanager.h"
#include "settingsdialog.h"
#include "tzcore.h"
#include "tzpluginbasewidget.h"
#include "tzpresenterclass.h"
#include "veltrabusinessdatainterface.h"
#include "veltrawidget.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

using PortfolioTradeSettings::AutoImport;

namespace {

const QString kPageInstance = QStringLiteral("TZApp.PortfoliosList#1");

int settingsChangedEvent()
{
    return VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(EventName::PORTFOLIOS_SETTING_CHANGED);
}

// A page's presenter as the bus sees it: records what reaches ProcEventMsg.
class RecordingPresenter : public TzPresenterClass
{
public:
    struct Event
    {
        QString source;
        int type;
        QString menuId;
        QStringList symbols;
    };
    QList<Event> events;

protected:
    void ProcEventMsg(QString source, QVariant type, QVariant message) override
    {
        CUnPackMessageCommon body;
        body.SetUnPackMsg(message);
        events.append({source, type.toInt(), body.GetValue(MENU_ID).toString(),
                       body.GetValue(QStringLiteral("symbolList")).toStringList()});
    }
};

// Message boxes recorded and answered (yes when no answer is queued).
class MsgBoxRecorder
{
public:
    MsgBoxRecorder()
    {
        m_previous = VeltraWidget::setMsgBoxHandler(
            [this](VeltraWidget::MsgBoxKind kind, const QString &, const QString &text, QWidget *) {
                kinds << kind;
                texts << text;
                return answers.isEmpty() ? 1 : answers.takeFirst();
            });
    }
    ~MsgBoxRecorder() { VeltraWidget::setMsgBoxHandler(m_previous); }
    QList<VeltraWidget::MsgBoxKind> kinds;
    QStringList texts;
    QList<int> answers;

private:
    VeltraWidget::MsgBoxHandler m_previous;
};

void clickOk(SettingsDialog &dialog)
{
    dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
}

} // namespace

class tst_Host : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void parse_data();
    void parse();

    void pasteReachesTheOpenPageOfItsMenu();
    void pasteKeepsCodesForAClosedPageAndNeverSendsNone();
    void windowMenusAndPasteCommand();

    void optionsShowWriteOrCancelTheFourSettings();
    void optionsRefuseUnusableFolders_data();
    void optionsRefuseUnusableFolders();
    void optionsOfferToCreateMissingFolders();

private:
    QTemporaryDir m_dir;
};

void tst_Host::initTestCase()
{
    QVERIFY(m_dir.isValid());
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    TzCore::setUserDataDir(m_dir.path());
}

void tst_Host::init()
{
    // Every case (and data row) starts from default settings in a file of its own, and
    // from an empty cache entry.
    static int run = 0;
    TzCore::setSettingsFile(m_dir.filePath(QStringLiteral("settings-%1.ini").arg(++run)));
    CBusinessDataBase::GetInstance()->SetCacheData(CacheName::ClipboardData, QVariant());
}

void tst_Host::parse_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("symbols");
    QTest::addColumn<QStringList>("unresolved");
    const auto row = [](const char *name, const char *text, const char *symbols, const char *unresolved = "") {
        const auto list = [](const char *csv) {
            return QString::fromUtf8(csv).split(QLatin1Char(','), Qt::SkipEmptyParts);
        };
        QTest::newRow(name) << QString::fromUtf8(text) << list(symbols) << list(unresolved);
    };
    row("separators, half and full width", "600519\t000001\r\n300750，000858；601318、002594 510300　159919;\n\n"
        "６００５１９．ＳＨ　ｓｚ０００００２",
        "600519.SH,000001.SZ,300750.SZ,000858.SZ,601318.SH,002594.SZ,510300.SH,159919.SZ,000002.SZ");
    row("suffix and prefix forms, repeats once",
        "600519.SH sh600519 SZ000001 600036.ss 000002.XSHE bj430047 SH.601318\n00700 700.HK hk9988 00005",
        "600519.SH,000001.SZ,600036.SH,000002.SZ,430047.BJ,601318.SH,00700.HK,09988.HK,00005.HK");
    row("market in the next or previous cell", "600000\tSH\n700\t港股\nHK 5\n5 深圳\n600519 SZ",
        "600000.SH,00700.HK,00005.HK,000005.SZ,600519.SZ", "600519.SZ");
    // A column a spreadsheet kept as numbers: the leading zeros are gone.
    row("lost zeros, one reading", "1\n2\n941", "000001.SZ,000002.SZ,00941.HK");
    row("lost zeros, two readings kept as written", "700\n5", "700,5", "700,5");
    row("lost zeros, the name decides", "700\t腾讯控股\n700\t模塑科技\n5,汇丰控股", "00700.HK,000700.SZ,00005.HK");
    row("lost zeros beside another name are no code", "1) 贵州茅台\n3 只涨停", "");
    row("kept as written: unknown, wrong market, delisted", "123456\n999999.SH\n99.hk\n600519.SZ\n000003",
        "123456,999999.SH,00099.HK,600519.SZ,000003", "123456,999999.SH,00099.HK,600519.SZ,000003");
    row("unknown number after a code is a quantity", "600519\t100000\n000001 123456.SH",
        "600519.SH,000001.SZ,123456.SH", "123456.SH");
    row("sheet with header, names and weights",
        "证券代码\t证券名称\t权重\t数量\n600519\t贵州茅台\t30%\t1,000\n000001\t平安银行\t1.5\t200\n",
        "600519.SH,000001.SZ");
    row("sheet with lost zeros and whole-number weights", "1\t平安银行\t30\n2\t万科A\t20\n8\t50\n",
        "000001.SZ,000002.SZ,000008.SZ");
    row("research note", "建议关注贵州茅台(600519)、宁德时代（300750.SZ）和腾讯控股00700。另：五粮液000858.",
        "600519.SH,300750.SZ,00700.HK,000858.SZ");
    row("junk, dates, times and amounts only",
        "证券代码 名称\nhello world 30% 1.5 SH\n张三 2024-05-01 10:30:15\n"
        "2024/05/01 买入1,000股，截至2024年，涨 3.5% 12\n1,000\n10:30", "");
    row("empty", "", "");
}

void tst_Host::parse()
{
    QFETCH(QString, text);
    QFETCH(QStringList, symbols);
    QFETCH(QStringList, unresolved);
    const ClipboardCodes::Result result = ClipboardCodes::parse(text);
    QCOMPARE(result.symbols, symbols);
    QCOMPARE(result.unresolved, unresolved);
    QCOMPARE(result.isEmpty(), symbols.isEmpty());
}

void tst_Host::pasteReachesTheOpenPageOfItsMenu()
{
    RecordingPresenter page, settingsOnly;
    page.SubEvent(CLIPBOARD_CLICK_EVENT);
    settingsOnly.SubEvent(settingsChangedEvent());
    const ClipboardCommand::Report report = ClipboardCommand::paste(
        QStringLiteral("证券代码\n600519\t30%\n700 港股\n600519.SH\n700"), kPageInstance);
    QCOMPARE(report.outcome, ClipboardCommand::SentToPage);
    QCOMPARE(report.codes.codeCount, 4);
    // As written; the market word that belongs to a code is none of them.
    QCOMPARE(report.codes.ignored, (QStringList{QStringLiteral("证券代码"), QStringLiteral("30%")}));
    QTRY_COMPARE(page.events.size(), 1);
    const RecordingPresenter::Event &event = page.events.first();
    QCOMPARE(event.source, HostEvents::sourceId);
    QCOMPARE(event.type, int(CLIPBOARD_CLICK_EVENT));
    QCOMPARE(event.menuId, TzPluginBaseWidget::getMenuIDByPluginInstanceID(kPageInstance));
    QCOMPARE(event.symbols, (QStringList{QStringLiteral("600519.SH"), QStringLiteral("00700.HK"),
                                         QStringLiteral("700")}));
    QCOMPARE(settingsOnly.events.size(), 0);
    QVERIFY(!CBusinessDataBase::GetInstance()->GetCacheData(CacheName::ClipboardData).isValid());
    // The trader learns which code the list will not know, and that something was passed over.
    QVERIFY2(report.text.contains(QStringLiteral("3个证券代码")) && report.text.contains(QStringLiteral("（700）"))
                 && report.text.contains(QStringLiteral("忽略2项")),
             qPrintable(report.text));
}

void tst_Host::pasteKeepsCodesForAClosedPageAndNeverSendsNone()
{
    RecordingPresenter page;
    page.SubEvent(CLIPBOARD_CLICK_EVENT);
    const auto cached = [] {
        return CBusinessDataBase::GetInstance()->GetCacheData(CacheName::ClipboardData).toMap()
            .value(QStringLiteral("symbolList")).toStringList();
    };
    // Nothing like a code: nothing is sent or kept, open page or not.
    for (const QString &text : {QString(), QStringLiteral("证券代码\t权重\n贵州茅台\t30%")}) {
        for (const QString &instance : {kPageInstance, QString()}) {
            const ClipboardCommand::Report report = ClipboardCommand::paste(text, instance);
            QCOMPARE(report.outcome, ClipboardCommand::NoCodes);
            QCOMPARE(report.text, QStringLiteral("剪贴板中没有证券代码"));
        }
    }
    QVERIFY(!CBusinessDataBase::GetInstance()->GetCacheData(CacheName::ClipboardData).isValid());

    const ClipboardCommand::Report report =
        ClipboardCommand::paste(QStringLiteral("sh600519 00700\n123456"), QString());
    QCOMPARE(report.outcome, ClipboardCommand::KeptForPage);
    QCOMPARE(cached(), (QStringList{QStringLiteral("600519.SH"), QStringLiteral("00700.HK"),
                                    QStringLiteral("123456")}));
    QCoreApplication::processEvents();
    QCOMPARE(page.events.size(), 0);
}

void tst_Host::windowMenusAndPasteCommand()
{
    PluginManager plugins;  // no plugin: the list cannot open
    MainWindow window(&plugins);
    QVERIFY(!window.openPage(QStringLiteral("TZApp.PortfoliosList")));
    const QList<QAction *> menus = window.menuBar()->actions();
    QAction *paste = window.pasteCodesAction();
    QVERIFY(menus.size() == 3 && menus.at(0)->text() == QStringLiteral("组合")
            && menus.at(1)->text() == QStringLiteral("设置") && menus.at(2)->text() == QStringLiteral("窗口"));
    QVERIFY(menus.at(0)->menu()->actions().contains(paste));
    QVERIFY(menus.at(1)->menu()->actions().contains(window.settingsAction()));
    QCOMPARE(paste->shortcut(), QKeySequence(QStringLiteral("Ctrl+Shift+V")));
    QCOMPARE(paste->shortcutContext(), Qt::WindowShortcut);

    // The command reads the system clipboard; the list is not open, so the codes wait.
    QGuiApplication::clipboard()->setText(QStringLiteral("证券代码\n600519\n000001"));
    paste->trigger();
    QCOMPARE(CBusinessDataBase::GetInstance()->GetCacheData(CacheName::ClipboardData).toMap()
                 .value(QStringLiteral("symbolList")).toStringList(),
             (QStringList{QStringLiteral("600519.SH"), QStringLiteral("000001.SZ")}));
    QVERIFY2(window.statusBar()->currentMessage().contains(QStringLiteral("2个证券代码")),
             qPrintable(window.statusBar()->currentMessage()));

    // Nothing that looks like a code: the warning, and the waiting codes stay as they were.
    MsgBoxRecorder boxes;
    QGuiApplication::clipboard()->setText(QStringLiteral("证券代码\n贵州茅台 30%"));
    paste->trigger();
    QCOMPARE(boxes.texts, QStringList{QStringLiteral("无有效代码数据！")});
    QCOMPARE(CBusinessDataBase::GetInstance()->GetCacheData(CacheName::ClipboardData).toMap()
                 .value(QStringLiteral("symbolList")).toStringList().size(), 2);
}

void tst_Host::optionsShowWriteOrCancelTheFourSettings()
{
    QTemporaryDir root;
    const QString scan = root.filePath(QStringLiteral("扫描"));
    const QString backup = root.filePath(QStringLiteral("备份"));
    QVERIFY(QDir().mkpath(scan) && QDir().mkpath(backup));
    AutoImport before;
    before.scanDir = QStringLiteral("/old/scan");
    before.deleteImported = true;
    before.write(*TzCore::settings());

    RecordingPresenter page;
    page.SubEvent(settingsChangedEvent());
    MsgBoxRecorder boxes;
    SettingsDialog dialog;
    QVERIFY(!dialog.scanCheck()->isChecked());
    QCOMPARE(dialog.scanDirEdit()->text(), QStringLiteral("/old/scan"));
    QVERIFY(dialog.deleteCheck()->isChecked());
    QCOMPARE(dialog.backupDirEdit()->text(), before.backupDir);
    QVERIFY(dialog.backupDirEdit()->isEnabled());  // refused files go there in any case

    const auto pick = [&](QWidget *, const QString &caption, const QString &) {
        return caption.contains(QStringLiteral("扫描")) ? scan : backup;
    };
    SettingsDialog cancelled;
    cancelled.setFolderPicker(pick);
    cancelled.scanCheck()->setChecked(true);
    cancelled.scanDirButton()->click();
    QCOMPARE(cancelled.scanDirEdit()->text(), scan);
    cancelled.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Cancel)->click();
    QCOMPARE(AutoImport::read(*TzCore::settings()).scanDir, before.scanDir);

    dialog.setFolderPicker(pick);
    dialog.scanCheck()->setChecked(true);
    dialog.scanDirButton()->click();
    dialog.deleteCheck()->setChecked(false);
    dialog.backupDirButton()->click();
    clickOk(dialog);
    QCOMPARE(boxes.texts, QStringList());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    const AutoImport after = AutoImport::read(*TzCore::settings());
    QCOMPARE(after.scan, true);
    QCOMPARE(after.scanDir, scan);
    QCOMPARE(after.deleteImported, false);
    QCOMPARE(after.backupDir, backup);
    QTRY_COMPARE(page.events.size(), 1);
    QCOMPARE(page.events.first().source, HostEvents::sourceId);

    // Off, the folders are written as they are, without a look at them.
    SettingsDialog off;
    off.scanCheck()->setChecked(false);
    off.scanDirEdit()->clear();
    clickOk(off);
    QVERIFY(off.result() == QDialog::Accepted && AutoImport::read(*TzCore::settings()).scanDir.isEmpty());
}

void tst_Host::optionsRefuseUnusableFolders_data()
{
    QTest::addColumn<QString>("scan");  // S... and B... are folders of a temporary root
    QTest::addColumn<QString>("backup");
    QTest::addColumn<bool>("deleteImported");
    QTest::addColumn<QString>("message");  // part of the warning; empty when accepted
    QTest::newRow("no scan folder") << QString() << "B" << false << "须填写扫描目录";
    QTest::newRow("relative scan folder") << "scan" << "B" << false << "扫描目录须为完整路径";
    QTest::newRow("no backup folder") << "S" << QString() << false << "须填写备份目录";
    QTest::newRow("same folder") << "S" << "S/./" << false << "不能与扫描目录相同";
    QTest::newRow("backup inside scan") << "S" << "S/done" << false << "不能位于扫描目录之内";
    QTest::newRow("sibling with a longer name") << "S" << "S-done" << false << QString();
    QTest::newRow("deleting still needs a backup folder") << "S" << QString() << true << "须填写备份目录";
}

void tst_Host::optionsRefuseUnusableFolders()
{
    QFETCH(QString, scan);
    QFETCH(QString, backup);
    QFETCH(bool, deleteImported);
    QFETCH(QString, message);
    QTemporaryDir root;
    for (const char *folder : {"S/done", "S-done", "B"})
        QDir().mkpath(root.filePath(QLatin1String(folder)));
    const auto path = [&](const QString &p) {
        return p.startsWith(QLatin1Char('S')) || p == QLatin1String("B") ? root.filePath(p) : p;
    };

    RecordingPresenter page;
    page.SubEvent(settingsChangedEvent());
    MsgBoxRecorder boxes;
    SettingsDialog dialog;
    dialog.scanCheck()->setChecked(true);
    dialog.scanDirEdit()->setText(path(scan));
    dialog.backupDirEdit()->setText(path(backup));
    dialog.deleteCheck()->setChecked(deleteImported);
    clickOk(dialog);
    QCoreApplication::processEvents();
    if (message.isEmpty()) {
        QCOMPARE(boxes.texts, QStringList());
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(page.events.size(), 1);
        return;
    }
    QCOMPARE(boxes.kinds, QList<VeltraWidget::MsgBoxKind>{VeltraWidget::MsgBoxKind::Warning});
    QVERIFY2(boxes.texts.first().contains(message), qPrintable(boxes.texts.first()));
    QCOMPARE(dialog.result(), int(QDialog::Rejected));  // still open
    QCOMPARE(page.events.size(), 0);
    QVERIFY(TzCore::settings()->allKeys().isEmpty());
}

void tst_Host::optionsOfferToCreateMissingFolders()
{
    QTemporaryDir root;
    const QString scan = root.filePath(QStringLiteral("新建/扫描"));
    const QString backup = root.filePath(QStringLiteral("新建/备份"));
    MsgBoxRecorder boxes;
    SettingsDialog dialog;
    dialog.scanCheck()->setChecked(true);
    dialog.scanDirEdit()->setText(scan);
    dialog.backupDirEdit()->setText(backup);

    // Declined: nothing is created or written, the dialog stays open without a warning.
    boxes.answers = {0};
    clickOk(dialog);
    QCOMPARE(boxes.kinds, QList<VeltraWidget::MsgBoxKind>{VeltraWidget::MsgBoxKind::Question});
    QVERIFY(boxes.texts.first().contains(scan));
    QVERIFY(!QFileInfo::exists(scan));
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QVERIFY(TzCore::settings()->allKeys().isEmpty());

    // Accepted: both folders are made and the settings written.
    boxes.texts.clear();
    clickOk(dialog);
    QCOMPARE(boxes.texts.size(), 2);
    QVERIFY(QFileInfo(scan).isDir() && QFileInfo(backup).isDir());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(AutoImport::read(*TzCore::settings()).backupDir, backup);
}

QTEST_MAIN(tst_Host)
#include "tst_host.moc"
