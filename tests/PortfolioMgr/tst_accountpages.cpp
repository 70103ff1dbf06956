// The creation dialog's account pages on the real page over the embedded back end and
// its demo accounts: rebalance target files and the lines that move an account to them,
// the price bases with quotes from the feed (and quotes that never come), the position
// page, the short sale, and the account a switch makes current.
#include "pagefixture.h"
#include "accountrows.h"
#include "bdportfolioadd.h"
#include "businessdatainterface.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "portfolioaddrows.h"
#include "portfolioquotemgr.h"
#include "securitycatalog.h"
#include "tzdialog.h"
#include "veltrabusinessdatainterface.h"
#include "veltracombobox.h"
#include "veltrautils.h"
#include "veltratabwidget.h"

#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCodec>

using namespace PortfolioAddRows;

namespace {

const QString kCash = QStringLiteral("880010001");
const QString kCredit = QStringLiteral("880020002");

struct AccountPage : PageFixture
{
    explicit AccountPage(bool quotesNeverCome = false)
        : PageFixture(60000, quotesNeverCome)
    {
        QVERIFY2(backend.accountsLoaded(), "accounts");
        list()->findChild<QPushButton *>(QStringLiteral("pushButton_new"))->click();
        dialog = list()->addDialog();
        VeltraUtils::setOpenFileNameHook([this](QWidget *, const QString &caption, const QString &, const QString &) {
            captions << caption;
            return nextFile;
        });
    }
    ~AccountPage() { VeltraUtils::setOpenFileNameHook(nullptr); }

    template <typename T>
    T *in(const char *name) const { return dialog->findChild<T *>(QLatin1String(name)); }
    void choose(const char *combo, const QVariant &data) const
    {
        auto *box = in<QComboBox>(combo);
        box->setCurrentIndex(box->findData(data));
    }
    // A target file as a trader's tool wrote it.
    QString file(const QString &name, const QString &text, const char *codec = "UTF-8")
    {
        const QString path = dir.filePath(name);
        QFile f(path);
        f.open(QIODevice::WriteOnly);
        f.write(QTextCodec::codecForName(codec)->fromUnicode(text));
        return path;
    }
    // Reads a target file on the rebalance page; the return code, targets in targets.
    int read(const QString &path, int type, QMap<QString, qint64> &targets, bool weights = false,
             const QString &amount = QString(), int basis = BDPortfolioAdd::PricePreClose)
    {
        dialog->findChild<VeltraTabWidget *>(QStringLiteral("tabWidget"))->setCurrentIndex(BDPortfolioAdd::PageRebalance);
        choose("cmb_PRFileType", weights ? 1 : 0);
        choose("cmb_PRPriceType", basis);
        in<QLineEdit>("lineEdit_PRAmount")->setText(amount);
        nextFile = path;
        return dialog->readAndTransPRTargetPosFromFile(targets, BDPortfolioAdd::TargetPosType(type));
    }
    QList<RowRecord> rows(const char *table) const { return in<TzTableView>(table)->getViewData(); }

    QTemporaryDir dir;
    BDPortfolioAdd *dialog = nullptr;
    QString nextFile;
    QStringList captions;
};

qint64 byPreClose(const QString &symbol, double amount)
{
    return qint64(amount / SecurityCatalog::instance().bySymbol(symbol)->preClosePx);
}

// Current holdings of the demo cash account by key, as the back end keeps them.
QMap<QString, qint64> cashHoldings()
{
    QList<QVariantMap> positions;
    BusinessDataInterface::GetPositionListByAccount(kCash, QString(), QString(), positions);
    return AccountRows::currentHoldings(positions);
}

} // namespace

class tst_AccountPages : public QObject
{
    Q_OBJECT

private slots:
    void targetFileRefusals_data();
    void targetFileRefusals();
    void targetFilesFromOtherTools();
    void quantitiesAndWeightsBecomeTargets();
    void rebalanceLinesAgainstHoldings();
    void rebalancePageEndToEnd();
    void priceBasesUseTheFeedsQuotes();
    void quotesThatNeverComeLeaveLinesOut();
    void templatesReadBack();
    void positionPageTakesAShareOfEachHolding();
    void shortSaleAboveLendableIsRefused();
    void accountSwitchReachesLiquidation();
};

void tst_AccountPages::targetFileRefusals_data()
{
    QTest::addColumn<QString>("content");
    QTest::addColumn<bool>("weights");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("message");
    const QString header = QStringLiteral("证券代码,市场,委托数量\n");
    QTest::newRow("no amount") << "" << true << 0 << "使用权重方式需填写目标金额！";
    QTest::newRow("no market column") << "证券代码,委托数量\n600000,100\n" << false << 0 << "表头缺少列：市场";
    QTest::newRow("short row") << "证券代码,委托数量,市场\n600000,100\n" << false << 0 << "第1行内容列数不足";
    QTest::newRow("unknown code") << header + "600000,SH,100\n999999,SH,1\n" << false << 0 << "第2行证券代码获取失败";
    QTest::newRow("code on another market") << header + "600000,SZ,100\n" << false << 0 << "第1行证券代码获取失败";
    QTest::newRow("Hong Kong in A-share range") << header + "00700,HHK,100\n" << false << 0
                                                << "第1行证券代码类型暂不支持(00700.HK)";
    QTest::newRow("A share in Hong Kong range") << header + "600000,SH,100\n" << false << 1
                                                << "第1行证券代码类型暂不支持(600000.SH)";
    QTest::newRow("restricted") << header + "000007,SZ,100\n" << false << 0 << "第1行证券代码类型暂不支持(000007.SZ)";
    QTest::newRow("not a number") << header + "600000,SH,一百\n" << false << 0 << "第1行目标量获取失败";
    QTest::newRow("negative weight") << "证券代码,市场,相对权重\n600000,SH,-1\n" << true << 0 << "第1行目标量获取失败";
    QTest::newRow("twice") << header + "600000,SH,100\n600000,SH,200\n" << false << 0
                           << "第2行与第1行重复：600000.SH_SH";
    QTest::newRow("percent sign in a cell") << header + "600000,SH,%3\n" << false << 0 << "第1行目标量获取失败";
}

void tst_AccountPages::targetFileRefusals()
{
    QFETCH(QString, content);
    QFETCH(bool, weights);
    QFETCH(int, type);
    AccountPage fx;
    QVERIFY(fx.dialog);
    QMap<QString, qint64> targets;
    const QString path = fx.file(QStringLiteral("targets.csv"), content);
    QCOMPARE(fx.read(path, type, targets, weights, weights && !content.isEmpty() ? QStringLiteral("1000") : QString()),
             -1);
    QTEST(fx.boxes.last(), "message");
    QVERIFY(targets.isEmpty());
    // The amount is checked before anyone is asked for a file.
    if (content.isEmpty())
        QVERIFY(fx.captions.isEmpty());
    else
        QCOMPARE(fx.captions, QStringList{QStringLiteral("导入目标持仓")});
}

void tst_AccountPages::targetFilesFromOtherTools()
{
    AccountPage fx;
    QMap<QString, qint64> targets;
    // Columns in another order with extra ones, GBK, codes that lost their zeros, a code
    // written as ="..." and Chinese market names: read as meant.
    const QString gbk = fx.file(QStringLiteral("gbk.csv"),
                                QStringLiteral("备注,委托数量,证券名称,市场,证券代码\n"
                                               "x,1000,平安银行,SZ,1\n"
                                               "y,200,浦发银行,SH,=\"600000\"\n"
                                               "z,300,腾讯控股,HHK,700\n"),
                                "GB18030");
    QCOMPARE(fx.read(gbk, BDPortfolioAdd::TargetBoth, targets), 0);
    QCOMPARE(targets.value(QStringLiteral("000001.SZ_SZ")), qint64(1000));
    QCOMPARE(targets.value(QStringLiteral("600000.SH_SH")), qint64(200));
    QCOMPARE(targets.value(QStringLiteral("00700.HK_HHK")), qint64(300));
    QCOMPARE(targets.size(), 3);
    // The account picked must trade the market: the credit account has no Beijing account.
    fx.in<VeltraAccountComboBox>("cmb_PRAccount")->selectFundAccount(kCredit);
    targets.clear();
    QCOMPARE(fx.read(fx.file(QStringLiteral("bj.csv"), QStringLiteral("证券代码,市场,委托数量\n430047,BJ,100\n")),
                     BDPortfolioAdd::TargetNonHongKong, targets),
             -1);
    QCOMPARE(fx.boxes.last(), QStringLiteral("第1行市场错误，账号880020002不支持北交所调仓"));
}

void tst_AccountPages::quantitiesAndWeightsBecomeTargets()
{
    AccountPage fx;
    QMap<QString, qint64> targets;
    const QString quantities = fx.file(QStringLiteral("q.csv"),
                                       QStringLiteral("证券代码,市场,委托数量\n600000,SH,99.9999999\n000001,SZ,-3.2\n"));
    QCOMPARE(fx.read(quantities, 0, targets), 0);
    QCOMPARE(targets.value(QStringLiteral("600000.SH_SH")), qint64(100));
    QCOMPARE(targets.value(QStringLiteral("000001.SZ_SZ")), qint64(-3));

    // Weights 2 and 3 of 1000 yuan are 400 and 600 yuan, at the previous close.
    targets.clear();
    const QString weights = fx.file(QStringLiteral("w.csv"),
                                    QStringLiteral("证券代码,市场,相对权重\n600000,SH,2\n000001,SZ,3\n"));
    QCOMPARE(fx.read(weights, 0, targets, true, QStringLiteral("1000")), 0);
    QCOMPARE(targets.value(QStringLiteral("600000.SH_SH")), byPreClose(QStringLiteral("600000.SH"), 400));
    QCOMPARE(targets.value(QStringLiteral("000001.SZ_SZ")), byPreClose(QStringLiteral("000001.SZ"), 600));
    // Percent weights as spreadsheets save them are the same shares.
    targets.clear();
    const QString percents = fx.file(QStringLiteral("p.csv"),
                                     QStringLiteral("证券代码,市场,相对权重\n600000,SH,40%\n000001,SZ,60%\n"));
    QCOMPARE(fx.read(percents, 0, targets, true, QStringLiteral("1000")), 0);
    QCOMPARE(targets.value(QStringLiteral("000001.SZ_SZ")), byPreClose(QStringLiteral("000001.SZ"), 600));
}

void tst_AccountPages::rebalanceLinesAgainstHoldings()
{
    AccountPage fx;
    const QMap<QString, qint64> held = cashHoldings();
    QVERIFY(held.size() >= 30);
    const QString kept = held.firstKey();             // target equal to the holding
    const QString reduced = std::next(held.begin()).key();
    const QString bought = QStringLiteral("600000.SH_SH");  // not held by the demo account
    QVERIFY(!held.contains(bought));
    QMap<QString, qint64> targets{{kept, held.value(kept)}, {reduced, 0}, {bought, 1000}};

    QStringList dropped;
    const QList<RowRecord> rows = AccountRows::rebalanceRows(held, targets, OddLotType::KeepOddLot, ShowPlain, &dropped);
    QMap<QString, QPair<QString, qint64>> lines;
    for (const RowRecord &row : rows)
        lines.insert(AccountRows::targetKey(symbolOf(row), marketOf(row)),
                     {row.value(Side).value(RecordRole::display).toString(), quantityOf(row)});
    QVERIFY(!lines.contains(kept));
    QCOMPARE(lines.value(bought), qMakePair(OrderSide::buy, qint64(1000)));
    QCOMPARE(lines.value(reduced), qMakePair(OrderSide::sell, held.value(reduced)));
    // Every holding the file does not name is sold in full.
    QCOMPARE(lines.size(), held.size() - 1 + 1);
    QVERIFY(dropped.isEmpty());
    // Rows come in key order.
    QStringList keys = lines.keys();
    QStringList inOrder;
    for (const RowRecord &row : rows)
        inOrder << AccountRows::targetKey(symbolOf(row), marketOf(row));
    QCOMPARE(inOrder, keys);

    // Rounding down to whole lots leaves the odd 50 shares unsold and says so.
    const QString odd = [&] {
        for (auto it = held.cbegin(); it != held.cend(); ++it)
            if (it.value() == 50)
                return it.key();
        return QString();
    }();
    QVERIFY2(!odd.isEmpty(), "the demo account holds an odd lot of 50 shares");
    dropped.clear();
    AccountRows::rebalanceRows({{odd, 50}}, {}, OddLotType::RoundDown, ShowPlain, &dropped);
    QCOMPARE(dropped, QStringList{odd});
}

void tst_AccountPages::rebalancePageEndToEnd()
{
    AccountPage fx;
    const QMap<QString, qint64> held = cashHoldings();
    // Hong Kong connect only: A-share holdings are never sold, whatever the file says.
    QString notHeld;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (s.type == SecurityType::hkConnect && !s.suspended && !held.contains(s.symbol + QStringLiteral("_HHK"))) {
            notHeld = s.code;
            break;
        }
    }
    const QString path = fx.file(QStringLiteral("hk.csv"),
                                 QStringLiteral("证券代码,市场,委托数量\n%1,HHK,5000\n").arg(notHeld));
    QMap<QString, qint64> unused;
    fx.read(path, BDPortfolioAdd::TargetHongKongConnect, unused);  // page set-up
    fx.choose("cmb_PosTarType", int(BDPortfolioAdd::TargetHongKongConnect));
    fx.choose("cmb_PROddLot", int(OddLotType::KeepOddLot));
    fx.nextFile = path;
    fx.in<QPushButton>("pushButton_PRImport")->click();
    const QList<RowRecord> rows = fx.rows("tableView_PR");
    QVERIFY(!rows.isEmpty());
    int sells = 0;
    for (const RowRecord &row : rows) {
        QVERIFY2(AccountRows::isHongKongConnect(marketOf(row)), qPrintable(symbolOf(row)));
        sells += row.value(Side).value(RecordRole::display) == OrderSide::sell;
    }
    QVERIFY(sells > 0);  // the other Hong Kong holdings
    QVERIFY(fx.in<QLabel>("label_PRImportTime")->text().startsWith(QStringLiteral("最新导入时间：")));
    QVERIFY(fx.in<TzTableView>("tableView_PR")->isEnabled());

    // A bad file afterwards leaves the table as it was.
    fx.nextFile = fx.file(QStringLiteral("bad.csv"), QStringLiteral("证券代码,市场,委托数量\n%1,HHK,x\n").arg(notHeld));
    fx.in<QPushButton>("pushButton_PRImport")->click();
    QCOMPARE(fx.boxes.last(), QStringLiteral("第1行目标量获取失败"));
    QCOMPARE(fx.rows("tableView_PR").size(), rows.size());

    // Confirmed, for the account the page shows, and listed.
    fx.in<QLineEdit>("m_pNameEdit")->setText(QStringLiteral("港股调仓"));
    QSignalSpy created(fx.dialog, &BDPortfolioAdd::signalNewPortfolioData);
    fx.in<QPushButton>("pushButton_confirm")->click();
    QCOMPARE(created.count(), 1);
    const auto made = created.at(0).at(0).value<PortfolioDetailBasicInfo>();
    QCOMPARE(made.SymbolList().size(), rows.size());
    QCOMPARE(made.ExtensionDescription().value(Portfolio::algoParam).toMap().value(ImportField::FundAccount).toString(),
             kCash);
    QTRY_VERIFY(fx.rowOfName(QStringLiteral("港股调仓")) >= 0);
}

void tst_AccountPages::priceBasesUseTheFeedsQuotes()
{
    AccountPage fx;
    const QString path = fx.file(QStringLiteral("w.csv"),
                                 QStringLiteral("证券代码,市场,相对权重\n600000,SH,1\n000001,SZ,1\n"));
    for (int basis : {BDPortfolioAdd::PriceLatest, BDPortfolioAdd::PriceBid1, BDPortfolioAdd::PriceAsk1}) {
        QMap<QString, qint64> targets;
        QCOMPARE(fx.read(path, 0, targets, true, QStringLiteral("200000"), basis), 0);
        // The feed sends one record per symbol at once and none for a minute: the price
        // used is the one the quote manager keeps.
        for (const QString &symbol : {QStringLiteral("600000.SH"), QStringLiteral("000001.SZ")}) {
            TzPortfolioQuote quote;
            QVERIFY(PortfolioQuoteMgr::GetInstance()->quote(symbol, quote));
            const double price = basis == BDPortfolioAdd::PriceBid1 ? quote.BidPx1
                                 : basis == BDPortfolioAdd::PriceAsk1 ? quote.AskPx1
                                                                      : quote.LastPx;
            QVERIFY(price > 0.0);
            const QString key = symbol + (symbol.endsWith(QLatin1String("SH")) ? "_SH" : "_SZ");
            QCOMPARE(targets.value(key), qint64(100000.0 / price));
        }
    }
}

void tst_AccountPages::quotesThatNeverComeLeaveLinesOut()
{
    AccountPage fx(true);
    // A symbol no other case subscribes, so that no record of an earlier session's feed
    // can be in flight.
    const QString path = fx.file(QStringLiteral("w.csv"), QStringLiteral("证券代码,市场,相对权重\n601398,SH,1\n"));
    fx.choose("cmb_PosTarType", 0);
    QMap<QString, qint64> targets;
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(fx.read(path, 0, targets, true, QStringLiteral("100000"), BDPortfolioAdd::PriceLatest), 0);
    QVERIFY2(clock.elapsed() >= 4900, qPrintable(QStringLiteral("%1 ms, %2 targets").arg(clock.elapsed()).arg(targets.size())));  // bounded, not skipped
    QVERIFY(targets.isEmpty());        // no quantity from a missing price
    // Neither bought nor, through a missing target, sold: named in the page instead.
    const auto rows = fx.dialog->calcPortDetailByTargetPos(QStringLiteral("88001000101"), targets,
                                                           BDPortfolioAdd::TargetNonHongKong);
    for (const RowRecord &row : rows)
        QVERIFY(symbolOf(row) != QStringLiteral("601398.SH"));
    QVERIFY(fx.in<QLabel>("label_PRNote")->text().contains(QStringLiteral("601398.SH")));
}

void tst_AccountPages::templatesReadBack()
{
    AccountPage fx;
    for (const QString &suffix : {QStringLiteral("xlsx"), QStringLiteral("csv")}) {
        for (const bool weights : {true, false}) {
            const QString path = fx.dir.filePath(QStringLiteral("template%1.%2").arg(weights).arg(suffix));
            QString error;
            QVERIFY2(VeltraUtils::DownloadTemplateFile(VeltraConstants::TemplateFileType::PortfolioPosAdjust, nullptr,
                                                       path, &error, nullptr,
                                                       weights ? QStringLiteral("权重") : QStringLiteral("数量")),
                     qPrintable(error));
            QMap<QString, qint64> targets;
            QCOMPARE(fx.read(path, BDPortfolioAdd::TargetBoth, targets, weights, QStringLiteral("1000000")), 0);
            QCOMPARE(targets.size(), 3);
        }
    }
}

void tst_AccountPages::positionPageTakesAShareOfEachHolding()
{
    AccountPage fx;
    fx.dialog->findChild<VeltraTabWidget *>(QStringLiteral("tabWidget"))->setCurrentIndex(BDPortfolioAdd::PagePosition);
    const QList<RowRecord> full = fx.rows("tableView_Pos");
    QVERIFY(full.size() > 20);
    for (const RowRecord &row : full) {
        QVERIFY(!AccountRows::isHongKongConnect(marketOf(row)));
        QVERIFY(symbolOf(row) != QStringLiteral("000007.SZ"));  // restricted
        QCOMPARE(quantityOf(row), row.value(Code).value(AccountField::availableQty).toLongLong()
                                      * qint64(VeltraBusinessDataInterface::GetDispFactorBySymbol(symbolOf(row))));
    }
    // Current holdings include what was bought today.
    fx.choose("cmb_PosType", int(AccountRows::CurrentQty));
    qint64 current = 0, available = 0;
    for (const RowRecord &row : fx.rows("tableView_Pos"))
        current += quantityOf(row);
    for (const RowRecord &row : full)
        available += quantityOf(row);
    QVERIFY(current > available);

    // 30 %: whole lots of each holding; what is below a lot is named, not listed.
    auto *ratio = fx.in<QDoubleSpinBox>("spinBox_PosRatio");
    ratio->setValue(30);
    emit ratio->editingFinished();
    for (const RowRecord &row : fx.rows("tableView_Pos")) {
        qint64 step = 0, minimum = 0;
        VeltraBusinessDataInterface::GetLotRule(symbolOf(row), &step, &minimum);
        QVERIFY(quantityOf(row) >= minimum && quantityOf(row) % step == 0);
    }
    QVERIFY(fx.in<QLabel>("label_PosNote")->text().startsWith(QStringLiteral("按比例不足一手，未列出：")));

    fx.in<QPushButton>("pushButton_confirm")->click();
    const PortfolioDetailBasicInfo *made = nullptr;
    for (PortfolioDetailBasicInfo *p : PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails())
        if (p->Name() == QStringLiteral("批量减持组合"))
            made = p;
    QVERIFY(made);
    QCOMPARE(made->SymbolList().size(), fx.rows("tableView_Pos").size());
    QCOMPARE(made->ExtensionDescription().value(Portfolio::portType).toString(), PortType::positionReduce);
}

void tst_AccountPages::shortSaleAboveLendableIsRefused()
{
    AccountPage fx;
    fx.dialog->findChild<VeltraTabWidget *>(QStringLiteral("tabWidget"))->setCurrentIndex(BDPortfolioAdd::PageShortSale);
    // Only credit accounts are offered.
    auto *accounts = fx.in<VeltraAccountComboBox>("cmb_ShortSaleAccount");
    QCOMPARE(accounts->count(), 1);
    QCOMPARE(accounts->currentFundAccount(), kCredit);
    fx.in<QPushButton>("pushButton_ShortSaleSearch")->click();
    TzTableView *table = fx.in<TzTableView>("tableView_ShortSale");
    QCOMPARE(table->recordModel()->rowCount(), 30);
    // One quantity above what may be borrowed: refused before anything is sent.
    const QModelIndex cell = table->recordModel()->index(3, AccountRows::SSQuantity);
    const qint64 lendable = table->recordModel()->index(3, AccountRows::SSLendable).data(Qt::UserRole).toLongLong();
    table->recordModel()->setData(cell, lendable + 100, Qt::UserRole);
    const QStringList before = PageFixture::backendNames();
    QSignalSpy created(fx.dialog, &BDPortfolioAdd::signalNewPortfolioData);
    fx.in<QPushButton>("pushButton_confirm")->click();
    QCOMPARE(fx.boxes.last(), QStringLiteral("创建组合失败：融券数量超过可融券数量。"));
    QCOMPARE(created.count(), 0);
    QCOMPARE(PageFixture::backendNames(), before);
    // Within the limit: one line per security, sold short, for the credit account.
    table->recordModel()->setData(cell, lendable, Qt::UserRole);
    fx.in<QPushButton>("pushButton_confirm")->click();
    QCOMPARE(created.count(), 1);
    const auto detail = created.first().first().value<PortfolioDetailBasicInfo>();
    QCOMPARE(detail.SymbolList().size(), 30);
    QCOMPARE(detail.SymbolList().first().Side(), QStringLiteral("融券卖出"));
    QCOMPARE(detail.ExtensionDescription().value(Portfolio::portType).toString(), PortType::shortSale);
}

void tst_AccountPages::accountSwitchReachesLiquidation()
{
    AccountPage fx;
    // The host's picker makes the credit account current; the page hears of it.
    QVERIFY(VeltraBusinessDataInterface::SwitchCurrentAccount(kCredit));
    QVERIFY(!VeltraBusinessDataInterface::SwitchCurrentAccount(QStringLiteral("123")));
    QTRY_COMPARE(fx.list()->voucherAccount(), QStringLiteral("88002000201"));  // the dialog's credit account
    fx.list()->addFrame()->hide();
    fx.dialog->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QTRY_COMPARE(fx.list()->voucherAccount(), kCredit);  // the list's own account, no dialog open
    fx.list()->findChild<QPushButton *>(QStringLiteral("pushButton_posCreate"))->click();
    const QStringList numbers = PortfolioListBasicInfo::GetInstance()->numbersNamed(QStringLiteral("一键清仓组合"));
    QCOMPARE(numbers.size(), 1);
    const PortfolioDetailBasicInfo *made = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(numbers.first());
    QCOMPARE(made->ExtensionDescription().value(Portfolio::algoParam).toMap().value(ImportField::FundAccount).toString(),
             kCredit);
    QCOMPARE(made->SymbolList().size(), 5);  // the credit account's collateral
    CBusinessDataBase::GetInstance()->SetCurrentFundAccount(kCash);
}

QTEST_MAIN(tst_AccountPages)
#include "tst_accountpages.moc"
