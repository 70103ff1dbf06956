// Hands-free portfolios: files dropped into the watched folder become portfolios on the
// embedded back end through the auto-import worker, and codes handed over by another page
// become the clipboard portfolio. The folder is polled by calling scanDir() as the timer
// would, so the cases do not wait for whole seconds.

#include "pagefixture.h"

#include "cbusinessdatabase.h"
#include "msgtypes.h"
#include "portfoliotradesettings.h"
#include "portparsecreatethread.h"
#include "veltrabusinessdatainterface.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {


bool writeFile(const QString &path, const QByteArray &content, QIODevice::OpenMode mode = QIODevice::WriteOnly)
{
    QFile file(path);
    return file.open(mode) && file.write(content) == content.size();
}

const QByteArray kGoodLines = "证券代码,市场,委托方向,委托数量\n600519,SH,买入,100\n000001,SZ,卖出,1000\n";

// The page with auto-import pointed at two temporary folders.
struct AutoImport : PageFixture
{
    QTemporaryDir root;
    QString scanDir = root.filePath(QStringLiteral("扫描目录"));
    QString backupDir = root.filePath(QStringLiteral("备份目录"));
    PanelRecorder panel;

    // Writes the settings as the settings dialog does and tells the page.
    void configure(bool scan, bool deleteImported)
    {
        PortfolioTradeSettings::AutoImport settings;
        settings.scan = scan;
        settings.scanDir = scanDir;
        settings.deleteImported = deleteImported;
        settings.backupDir = backupDir;
        settings.write(*TzCore::settings());
        presenter()->deliverEvent(QStringLiteral("settings"),
                                  VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(
                                      EventName::PORTFOLIOS_SETTING_CHANGED),
                                  packed({}));
    }
    // Two polls: the first sees the files, the second hands over those that stayed.
    void settleAndScan()
    {
        presenter()->scanDir();
        presenter()->scanDir();
    }
    // Waits until the worker has reported this many files and the page has handled them.
    bool waitFinished(QSignalSpy &finished, int count)
    {
        const bool all = QTest::qWaitFor([&] { return finished.count() >= count; }, 15000);
        // The worker's reports reach the page queued: let them in.
        QCoreApplication::sendPostedEvents();
        return all && finished.count() == count;
    }
    QString scanned(const QString &name) const { return scanDir + QLatin1Char('/') + name; }
    QString backedUp(const QString &name) const { return backupDir + QLatin1Char('/') + name; }
    PortfolioDetailBasicInfo *stored(const QString &name) const
    {
        for (PortfolioDetailBasicInfo *p : PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails()) {
            if (p->Name() == name)
                return p;
        }
        return nullptr;
    }
};

} // namespace

class tst_AutoImport : public QObject
{
    Q_OBJECT

private slots:
    void settingsStartTheWorkerAndTheTimer();
    void filesBecomePortfoliosOrStayInTheBackup_data();
    void filesBecomePortfoliosOrStayInTheBackup();
    void aFileStillBeingWrittenWaits();
    void aHandedPathIsNeverHandedAgain();
    void aBackEndThatDoesNotAnswerLeavesNoPortfolio();
    void aMissingFolderIsReportedAndWatchedAgain();
    void workerAndGuiThreadShareTheStore();

    void clipboardCacheIsConsumedOnce();
    void clipboardPortfolioAfterTheTradersAnswer();
};

void tst_AutoImport::settingsStartTheWorkerAndTheTimer()
{
    AutoImport fx;
    QVERIFY(fx.ready());
    PortfoliosListPresenterClass *p = fx.presenter();
    QVERIFY(!p->parseThread());  // off by default: no worker, no polling

    QSignalSpy cfg(p, &PortfoliosListPresenterClass::signalScanCfgChanged);
    fx.configure(true, false);
    QCOMPARE(cfg.count(), 1);
    PortParseCreateThread *worker = p->parseThread();
    QVERIFY(worker);
    QCOMPARE(worker->objectName(), QStringLiteral("PortParseCreate_Thread"));
    QVERIFY(worker->isRunning());
    QVERIFY(p->scanTimer() && p->scanTimer()->isActive());
    QCOMPARE(p->scanTimer()->interval(), 1000);

    // Off stops the polling and keeps the worker; on again reuses it.
    fx.configure(false, false);
    QVERIFY(!p->scanTimer()->isActive());
    QCOMPARE(p->parseThread(), worker);
    QVERIFY(worker->isRunning());
    fx.configure(true, true);
    QVERIFY(p->scanTimer()->isActive());
    QCOMPARE(p->parseThread(), worker);

    // The timer drives the poll by itself: a file dropped now is imported without help.
    QDir().mkpath(fx.scanDir);
    QVERIFY(writeFile(fx.scanned(QStringLiteral("定时组合.csv")), kGoodLines));
    QTRY_VERIFY_WITH_TIMEOUT(fx.stored(QStringLiteral("定时组合")), 8000);
    QTRY_VERIFY(!QFile::exists(fx.scanned(QStringLiteral("定时组合.csv"))));
}

void tst_AutoImport::filesBecomePortfoliosOrStayInTheBackup_data()
{
    QTest::addColumn<bool>("deleteImported");
    QTest::newRow("imported files moved") << false;
    QTest::newRow("imported files deleted") << true;
}

void tst_AutoImport::filesBecomePortfoliosOrStayInTheBackup()
{
    QFETCH(bool, deleteImported);
    AutoImport fx;
    QVERIFY(fx.ready());
    QVERIFY(QDir().mkpath(fx.scanDir));
    const QString taken = fx.names().value(0);
    QVERIFY(!taken.isEmpty());
    QVERIFY(writeFile(fx.scanned(QStringLiteral("早盘调仓.csv")), kGoodLines));
    QVERIFY(writeFile(fx.scanned(QStringLiteral("只有坏行.csv")), "证券代码,委托数量\n999999,100\nABCDEF,100\n"));
    // One bad line among good ones: nobody is there to confirm a partial basket.
    QVERIFY(writeFile(fx.scanned(QStringLiteral("部分坏行.csv")), "证券代码,委托数量\n600519,100\n999999,100\n"));
    QVERIFY(writeFile(fx.scanned(taken + QStringLiteral(".csv")), kGoodLines));
    QVERIFY(writeFile(fx.scanned(QStringLiteral("说明.txt")), "not a portfolio"));
    QVERIFY(writeFile(fx.scanned(QStringLiteral("~$早盘调仓.xlsx")), "owner file"));

    EventListener changes(PORTFOLIO_NEW_OR_UPDATE);
    QSignalSpy finished(fx.presenter(), &PortfoliosListPresenterClass::OnPortfolioNewOrCreate);
    fx.configure(true, deleteImported);
    QSignalSpy reported(fx.presenter()->parseThread(), &PortParseCreateThread::signalFileParseFinished);
    const int rowsBefore = fx.rows();
    fx.settleAndScan();
    QVERIFY(fx.waitFinished(reported, 4));
    QTRY_COMPARE(finished.count(), 1);

    // The good file: a portfolio named after it, in store, list, back end and broadcast.
    PortfolioDetailBasicInfo *made = fx.stored(QStringLiteral("早盘调仓"));
    QVERIFY(made);
    QCOMPARE(made->SymbolList().size(), 2);
    QCOMPARE(made->SymbolList().at(1).Side(), QStringLiteral("卖出"));
    QCOMPARE(made->StrategyName(), QStringLiteral("默认"));
    QCOMPARE(finished.first().first().toString(), made->PortfolioNo());
    QCOMPARE(fx.rows(), rowsBefore + 1);
    QVERIFY(PageFixture::backendNames().contains(QStringLiteral("早盘调仓")));
    QTRY_COMPARE(changes.portfolioNos, QStringList{made->PortfolioNo()});
    QCOMPARE(QFile::exists(fx.backedUp(QStringLiteral("早盘调仓.csv"))), !deleteImported);
    QVERIFY(!QFile::exists(fx.scanned(QStringLiteral("早盘调仓.csv"))));

    // The refused files: no portfolio, moved to the backup even when deleting, each
    // reported once with the file and the reason.
    for (const QString &name : {QStringLiteral("只有坏行"), QStringLiteral("部分坏行")}) {
        QVERIFY2(!fx.stored(name), qPrintable(name));
        QVERIFY(QFile::exists(fx.backedUp(name + QStringLiteral(".csv"))));
        QCOMPARE(fx.panel.matching(QStringLiteral("组合自动导入失败，文件名：%1，原因：").arg(fx.scanned(name + QStringLiteral(".csv")))).size(), 1);
    }
    QCOMPARE(fx.panel.matching(QStringLiteral("999999")).size(), 2);
    QCOMPARE(fx.panel.matching(QStringLiteral("组合自动导入成功")).size(), 1);
    QCOMPARE(fx.panel.matching(QStringLiteral("组合自动导入失败，文件名：%1，组合名称%2已存在")
                                   .arg(fx.scanned(taken + QStringLiteral(".csv")), taken)).size(), 1);
    QVERIFY(QFile::exists(fx.backedUp(taken + QStringLiteral(".csv"))));
    QCOMPARE(PageFixture::backendNames().count(taken), 1);

    // What is not a portfolio file stays where it was.
    QVERIFY(QFile::exists(fx.scanned(QStringLiteral("说明.txt"))));
    QVERIFY(QFile::exists(fx.scanned(QStringLiteral("~$早盘调仓.xlsx"))));
}

void tst_AutoImport::aFileStillBeingWrittenWaits()
{
    AutoImport fx;
    QVERIFY(fx.ready());
    QVERIFY(QDir().mkpath(fx.scanDir));
    fx.configure(true, false);
    QSignalSpy reported(fx.presenter()->parseThread(), &PortParseCreateThread::signalFileParseFinished);
    const QString path = fx.scanned(QStringLiteral("复制中.csv"));

    QVERIFY(writeFile(path, "证券代码,市场,委托方向,委托数量\n600519,SH,买入,100\n"));
    fx.presenter()->scanDir();  // seen
    QVERIFY(writeFile(path, "000001,SZ,卖出,1000\n", QIODevice::Append));
    fx.presenter()->scanDir();  // grown: not yet
    QTest::qWait(200);
    QCOMPARE(reported.count(), 0);
    QCOMPARE(fx.presenter()->parseThread()->queued(), 0);
    fx.presenter()->scanDir();  // unchanged since the last poll: handed over
    QVERIFY(fx.waitFinished(reported, 1));
    PortfolioDetailBasicInfo *made = fx.stored(QStringLiteral("复制中"));
    QVERIFY(made);
    QCOMPARE(made->SymbolList().size(), 2);  // every line, none of a half-written file
}

void tst_AutoImport::aHandedPathIsNeverHandedAgain()
{
    AutoImport fx;
    QVERIFY(fx.ready());
    QVERIFY(QDir().mkpath(fx.scanDir));
    fx.configure(true, false);
    QSignalSpy reported(fx.presenter()->parseThread(), &PortParseCreateThread::signalFileParseFinished);
    const QString path = fx.scanned(QStringLiteral("重投.csv"));
    QVERIFY(writeFile(path, "证券代码,委托数量\n999999,100\n"));
    fx.settleAndScan();
    QVERIFY(fx.waitFinished(reported, 1));
    QTRY_VERIFY(QFile::exists(fx.backedUp(QStringLiteral("重投.csv"))));

    // The same name dropped again, now good: that path was handed over once already.
    QVERIFY(writeFile(path, kGoodLines));
    fx.settleAndScan();
    fx.settleAndScan();
    QTest::qWait(200);
    QCOMPARE(reported.count(), 1);
    QVERIFY(QFile::exists(path));
    QVERIFY(!fx.stored(QStringLiteral("重投")));
}

void tst_AutoImport::aBackEndThatDoesNotAnswerLeavesNoPortfolio()
{
    AutoImport fx;
    QVERIFY(fx.ready());
    QVERIFY(QDir().mkpath(fx.scanDir));
    fx.configure(true, true);
    QSignalSpy reported(fx.presenter()->parseThread(), &PortParseCreateThread::signalFileParseFinished);
    const QStringList before = PageFixture::backendNames();
    TestBackend::setTimeoutMs(1000);  // the header is answered in time, the lines never
    fx.backend.faults().dropNext(MsgType::alterPortfolioDetailRequest);
    QVERIFY(writeFile(fx.scanned(QStringLiteral("超时组合.csv")), kGoodLines));
    fx.settleAndScan();
    QVERIFY(fx.waitFinished(reported, 1));
    TestBackend::setTimeoutMs(5000);
    QCOMPARE(reported.first().at(1).toString(), QString());
    // The header made before the lines timed out is taken back: nothing half-created.
    QCOMPARE(PageFixture::backendNames(), before);
    QVERIFY(!fx.stored(QStringLiteral("超时组合")));
    QCOMPARE(fx.panel.matching(QStringLiteral("组合自动导入失败，文件名：%1，原因：创建组合明细失败2")
                                   .arg(fx.scanned(QStringLiteral("超时组合.csv")))).size(), 1);
    // Refused, so kept in the backup although imported files are deleted.
    QVERIFY(QFile::exists(fx.backedUp(QStringLiteral("超时组合.csv"))));
}

void tst_AutoImport::aMissingFolderIsReportedAndWatchedAgain()
{
    AutoImport fx;
    QVERIFY(fx.ready());
    fx.configure(true, false);  // the folder does not exist yet
    QSignalSpy reported(fx.presenter()->parseThread(), &PortParseCreateThread::signalFileParseFinished);
    fx.settleAndScan();
    fx.settleAndScan();
    QCOMPARE(fx.panel.matching(QStringLiteral("扫描目录%1不存在").arg(fx.scanDir)).size(), 1);

    QVERIFY(QDir().mkpath(fx.scanDir));
    QVERIFY(writeFile(fx.scanned(QStringLiteral("恢复后.csv")), kGoodLines));
    fx.settleAndScan();
    QCOMPARE(fx.panel.matching(QStringLiteral("扫描目录%1已恢复").arg(fx.scanDir)).size(), 1);
    QVERIFY(fx.waitFinished(reported, 1));
    QVERIFY(fx.stored(QStringLiteral("恢复后")));

    // Taken away while watched, then back.
    QVERIFY(QDir(fx.scanDir).removeRecursively());
    fx.settleAndScan();
    QCOMPARE(fx.panel.matching(QStringLiteral("扫描目录%1不存在").arg(fx.scanDir)).size(), 2);
    QVERIFY(QDir().mkpath(fx.scanDir));
    fx.settleAndScan();
    QCOMPARE(fx.panel.matching(QStringLiteral("扫描目录%1已恢复").arg(fx.scanDir)).size(), 2);
}

// The worker stores portfolios while the GUI thread creates its own and reads the store
// for the list: every portfolio arrives once, in store, list and back end alike. (Run
// under ThreadSanitizer as well, where a missing lock shows as a data race.)
void tst_AutoImport::workerAndGuiThreadShareTheStore()
{
    AutoImport fx;
    QVERIFY(fx.ready());
    QVERIFY(QDir().mkpath(fx.scanDir));
    constexpr int kFiles = 12;
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(writeFile(fx.scanned(QStringLiteral("文件组合%1.csv").arg(i)), kGoodLines));
    fx.configure(true, true);
    QSignalSpy reported(fx.presenter()->parseThread(), &PortParseCreateThread::signalFileParseFinished);
    const int rowsBefore = fx.rows();
    fx.settleAndScan();

    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    int made = 0;
    while (reported.count() < kFiles && made < 40) {
        PortfolioDetailBasicInfo detail;
        QString name = QStringLiteral("手工组合");
        store->CheckPortfolioName(name, name);
        detail.setName(name);
        detail.setStrategyName(QStringLiteral("默认"));
        PortfolioItem item;
        item.setSymbol(QStringLiteral("600000.SH"));
        item.setSymbolExchange(QStringLiteral("SH"));
        item.setSide(QStringLiteral("买入"));
        item.setQuantity(100);
        detail.setSymbolList({item});
        QCOMPARE(fx.presenter()->AddPortfolio(detail), QStringLiteral("0"));
        QCOMPARE(store->AddPortfolioDetail(detail), int(PortfolioListBasicInfo::Ok));
        emit fx.presenter()->OnPortfolioNewOrCreate(detail.PortfolioNo());
        ++made;
        for (PortfolioDetailBasicInfo *p : store->GetPortfolioDetails())
            QVERIFY(!p->Name().isEmpty());
        QCoreApplication::processEvents();
    }
    QVERIFY(fx.waitFinished(reported, kFiles));
    for (const QList<QVariant> &report : qAsConst(reported))
        QVERIFY2(!report.at(1).toString().isEmpty(), qPrintable(report.at(0).toString()));
    QCOMPARE(fx.rows(), rowsBefore + kFiles + made);
    QStringList names = fx.names();
    names.removeDuplicates();
    QCOMPARE(names.size(), fx.rows());
    QCOMPARE(PageFixture::backendNames().size(), fx.rows());
    QCOMPARE(QDir(fx.scanDir).entryList(QDir::Files).size(), 0);
}

void tst_AutoImport::clipboardCacheIsConsumedOnce()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfoliosListPresenterClass *p = fx.presenter();
    QSignalSpy handed(p, &PortfoliosListPresenterClass::signalClipboardMsg);
    fx.boxes.answers = {0};  // the trader declines: only the hand-over is looked at here
    const QStringList codes{QStringLiteral("600519.SH"), QStringLiteral("000001.SZ")};
    CBusinessDataBase::GetInstance()->SetCacheData(CacheName::ClipboardData,
                                                   QVariantMap{{QStringLiteral("symbolList"), codes}});
    QVERIFY(p->DealCacheDataByClipboard());
    QCOMPARE(handed.count(), 1);
    QCOMPARE(handed.first().first().toStringList(), codes);
    QVERIFY(!p->DealCacheDataByClipboard());
    QCOMPARE(handed.count(), 1);

    // Left in the cache before the page opened: the page takes it once loaded.
    CBusinessDataBase::GetInstance()->SetCacheData(CacheName::ClipboardData,
                                                   QVariantMap{{QStringLiteral("symbolList"), codes}});
    fx.boxes.answers = {1};
    fx.page.reset();
    fx.page = std::make_unique<PortfoliosListWidget>();
    fx.page->setPluginInstanceID(QStringLiteral("TZApp.PortfoliosList#1"));
    fx.page->initPluginWidget();
    QTRY_VERIFY(fx.rowOfName(QStringLiteral("剪切板组合")) >= 0);
    QVERIFY(!fx.presenter()->DealCacheDataByClipboard());
}

void tst_AutoImport::clipboardPortfolioAfterTheTradersAnswer()
{
    PageFixture fx;
    QVERIFY(fx.ready());
    PortfoliosListPresenterClass *p = fx.presenter();
    ClickListener clicks;
    auto paste = [&](const QStringList &codes) {
        p->deliverEvent(QStringLiteral("host"), CLIPBOARD_CLICK_EVENT,
                        packed({{MENU_ID, p->menuID()}, {QStringLiteral("symbolList"), codes}}));
    };

    // A B share and an unknown code are named in the question; yes keeps the others.
    paste({QStringLiteral("600519.SH"), QStringLiteral("900901.SH"), QStringLiteral("000001.SZ"),
           QStringLiteral("ABC123")});
    const QString question = fx.boxes.last();
    QVERIFY2(question.startsWith(QStringLiteral("组合交易不支持以下标的交易，请确认是否剔除以下标的创建组合(2):\r\n")),
             qPrintable(question));
    QVERIFY(question.contains(QStringLiteral("900901.SH ") + CBusinessDataBase::GetInstance()->GetSecurityChineseName(QStringLiteral("900901.SH"))));
    QVERIFY(question.contains(QStringLiteral("ABC123 （未知证券）")));
    const int row = fx.rowOfName(QStringLiteral("剪切板组合"));
    QVERIFY(row >= 0);
    PortfolioDetailBasicInfo *made = nullptr;
    for (PortfolioDetailBasicInfo *d : PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails())
        made = d->Name() == QStringLiteral("剪切板组合") ? d : made;
    QVERIFY(made);
    QCOMPARE(made->SymbolList().size(), 2);
    QCOMPARE(made->SymbolList().at(0).Symbol(), QStringLiteral("600519.SH"));
    QCOMPARE(made->SymbolList().at(1).Symbol(), QStringLiteral("000001.SZ"));
    QCOMPARE(made->SymbolList().at(0).RelWeight(), made->SymbolList().at(1).RelWeight());
    QCOMPARE(made->SymbolList().at(0).Quantity(), 0);
    QTRY_COMPARE(clicks.portfolioNos, QStringList{made->PortfolioNo()});

    // Asked also when every code is supported; the next one takes the next free name.
    const int boxes = fx.boxes.shown.size();
    paste({QStringLiteral("600000.SH")});
    QCOMPARE(fx.boxes.shown.size(), boxes + 1);
    QVERIFY(fx.boxes.last().contains(QStringLiteral("(0)")));
    QVERIFY(fx.rowOfName(QStringLiteral("剪切板组合1")) >= 0);

    // No: nothing is made.
    fx.boxes.answers = {0};
    const int rows = fx.rows();
    paste({QStringLiteral("600036.SH")});
    QCOMPARE(fx.rows(), rows);

    // Nothing usable: the warning, and nothing on the back end.
    paste({QStringLiteral("900901.SH")});
    QCOMPARE(fx.boxes.last(), QStringLiteral("无有效代码数据！"));
    QCOMPARE(fx.rows(), rows);
    QVERIFY(!PageFixture::backendNames().contains(QStringLiteral("剪切板组合2")));
}

QTEST_MAIN(tst_AutoImport)
#include "tst_autoimport.moc"
