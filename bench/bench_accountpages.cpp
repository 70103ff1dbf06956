// The creation dialog's account pages over the embedded back end, on a cash account of
// 1,000 positions (A shares and Stock Connect): importing a 3,000-line target-weight
// workbook on the rebalance page at the previous close, with the file reading and the
// calculation alone measured apart, and the position page's 刷新 from the click to the
// filled table, with the back-end position query alone measured apart.

#include "guibenchmain.h"
#include "pagefixture.h"

#include "accountrows.h"
#include "bdportfolioadd.h"
#include "businessdatainterface.h"
#include "demoseed.h"
#include "exchange.h"
#include "positionfileloader.h"
#include "securitycatalog.h"
#include "sqlportfoliostore.h"
#include "veltrabusinessdatainterface.h"
#include "veltracombobox.h"
#include "veltratabwidget.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <benchmark/benchmark.h>
#include <xlsxwriter.h>

namespace {

constexpr int HeldPositions = 1000;
constexpr int TargetLines = 3000;
constexpr int OverlapLines = 500;  // held securities that the target file names too

// One security on the market it is held or targeted through.
struct Line
{
    const SecurityInfo *security = nullptr;
    QString market;
    qint64 held = 0;
    qint64 target = 0;
    bool inFile = false;
};

// The account's holdings and the target file, chosen from the reference data alone so
// that every run trades the same book.
struct Book
{
    QList<Line> lines;     // the held ones first
    QList<int> fileOrder;  // indexes into lines, in the order of the file's rows
    qint64 amount = 0;     // the target amount typed on the page, in CNY
    int buys = 0;
    int sells = 0;
    int unchanged = 0;
    int rows() const { return buys + sells; }
    // Whether the page turned every weight into exactly the quantity it stands for.
    bool matches(const QMap<QString, qint64> &targets) const
    {
        if (targets.size() != fileOrder.size())
            return false;
        for (int i : fileOrder) {
            const Line &line = lines.at(i);
            if (targets.value(AccountRows::targetKey(line.security->symbol, line.market), -1) != line.target)
                return false;
        }
        return true;
    }
};

// The smallest step the rebalance keeps whole: a lot, 200 shares on the STAR market
// (one-share steps only above that minimum).
qint64 unitOf(const SecurityInfo &s)
{
    return s.type == SecurityType::star ? 200 : qMax(1, s.lotSize);
}

qint64 worth(const SecurityInfo &s, double value)
{
    const qint64 unit = unitOf(s);
    return qMax<qint64>(1, qRound64(value / (s.preClosePx * unit))) * unit;
}

// Securities a portfolio may trade today: listed, not suspended, priced, not restricted.
bool tradable(const SecurityInfo &s)
{
    const PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    return !s.delisted && !s.suspended && s.preClosePx > 0.0 && store->IsSupportSecurity(s.symbol)
        && !store->checkPortfolioSecurity(s.symbol);
}

// 980 A shares and 20 Stock Connect holdings (alternately through Shanghai and Shenzhen);
// the file names every second holding (a third unchanged, a third more, a third less)
// and 2,500 securities not held. Weights are the target values at the previous close,
// half a share above each target so that the page's truncation lands on it exactly.
Book makeBook()
{
    QList<Line> aShares;
    QList<Line> hongKong;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!tradable(s))
            continue;
        if (s.type == SecurityType::hkConnect)
            hongKong.append({&s, hongKong.size() % 2 ? Exchange::szhk : Exchange::hhk});
        else if ((s.type == SecurityType::mainBoard || s.type == SecurityType::star
                  || s.type == SecurityType::chinext || s.type == SecurityType::bse)
                 && s.markets.size() == 1)
            aShares.append({&s, s.markets.first()});
    }
    const int heldHongKong = 20;
    const int heldA = HeldPositions - heldHongKong;
    const int newHongKong = qMin(10, hongKong.size() - heldHongKong);
    const int newA = TargetLines - OverlapLines - newHongKong;
    Book book;
    if (hongKong.size() < heldHongKong || newHongKong < 0 || aShares.size() < heldA + newA)
        return book;

    book.lines = aShares.mid(0, heldA) + hongKong.mid(0, heldHongKong);
    for (int i = 0; i < book.lines.size(); ++i) {
        Line &line = book.lines[i];
        line.held = worth(*line.security, 20000.0 + (i * 7919 % 1000) * 280.0);
        line.target = 0;
        if (i % 2 == 0) {
            line.inFile = true;
            const qint64 unit = unitOf(*line.security);
            switch ((i / 2) % 3) {
            case 0: line.target = line.held; break;
            case 1: line.target = line.held + worth(*line.security, 50000.0); break;
            default: line.target = line.held / unit / 2 * unit; break;
            }
        }
    }
    const QList<Line> fresh = aShares.mid(heldA, newA) + hongKong.mid(heldHongKong, newHongKong);
    for (int i = 0; i < fresh.size(); ++i) {
        Line line = fresh.at(i);
        line.inFile = true;
        line.target = worth(*line.security, 30000.0 + (i * 104729 % 1000) * 50.0);
        book.lines.append(line);
    }

    // Rows of the file: every sixth a held security, the rest new ones.
    QList<int> held, added;
    for (int i = 0; i < book.lines.size(); ++i) {
        if (book.lines.at(i).inFile)
            (i < HeldPositions ? held : added).append(i);
        const Line &line = book.lines.at(i);
        if (line.target == line.held)
            ++book.unchanged;
        else
            ++(line.target > line.held ? book.buys : book.sells);
    }
    while (!held.isEmpty() || !added.isEmpty()) {
        const bool takeHeld = !held.isEmpty() && (added.isEmpty() || book.fileOrder.size() % 6 == 0);
        book.fileOrder.append((takeHeld ? held : added).takeFirst());
    }
    double total = 0.0;
    for (int i : qAsConst(book.fileOrder))
        total += (book.lines.at(i).target + 0.5) * book.lines.at(i).security->preClosePx;
    book.amount = qRound64(total);
    return book;
}

bool writeTargets(const QString &path, const Book &book)
{
    lxw_workbook *workbook = workbook_new(QFile::encodeName(path).constData());
    if (!workbook)
        return false;
    lxw_worksheet *sheet = workbook_add_worksheet(workbook, nullptr);
    const char *header[] = {"证券代码", "市场", "相对权重"};
    for (int c = 0; c < 3; ++c)
        worksheet_write_string(sheet, 0, lxw_col_t(c), header[c], nullptr);
    lxw_row_t row = 0;
    for (int i : book.fileOrder) {
        const Line &line = book.lines.at(i);
        ++row;
        worksheet_write_string(sheet, row, 0, line.security->code.toUtf8().constData(), nullptr);
        worksheet_write_string(sheet, row, 1, line.market.toUtf8().constData(), nullptr);
        worksheet_write_number(sheet, row, 2,
                               (line.target + 0.5) * line.security->preClosePx / double(book.amount), nullptr);
    }
    return workbook_close(workbook) == LXW_NO_ERROR && row == lxw_row_t(TargetLines);
}

// Loads the holdings into the demo cash account, replacing its own, through a second
// connection to the running back end's database, as `tzbackend positions load` does.
QString loadPositions(const TestBackend &backend, const Book &book)
{
    QByteArray csv = "证券代码,市场,当前数量,成本价\n";
    for (const Line &line : book.lines) {
        if (line.held > 0)
            csv += QStringLiteral("%1,%2,%3,%4\n")
                       .arg(line.security->code, line.market)
                       .arg(line.held)
                       .arg(line.security->preClosePx * 0.95, 0, 'f', 3)
                       .toUtf8();
    }
    const QString path = backend.path(QStringLiteral("positions.csv"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(csv) != csv.size())
        return QStringLiteral("cannot write ") + path;
    file.close();
    SqlPortfolioStore store(QStringLiteral("bench-positions"));
    QString error;
    if (!store.open(backend.path(QStringLiteral("backend.sqlite")), &error))
        return error;
    PositionFileLoader::Result result;
    if (!PositionFileLoader::load(store, DemoSeed::cashFundAccount(), path, true, &result))
        return result.problems.join(QLatin1Char(' '));
    return result.lines == HeldPositions ? QString() : QStringLiteral("positions loaded: %1").arg(result.lines);
}

// The page on its back end with the book loaded into the cash account and the target
// file written; skips the benchmark with the reason when anything is missing.
struct AccountPage
{
    PageFixture f;
    Book book;
    QString targetFile;

    bool ready(benchmark::State &state)
    {
        if (!f.ready() || !f.backend.accountsLoaded()) {
            state.SkipWithError("back end not ready");
            return false;
        }
        book = makeBook();
        if (book.lines.isEmpty() || book.amount > 999999999) {
            state.SkipWithError("not enough tradable securities for the book");
            return false;
        }
        const QString loaded = loadPositions(f.backend, book);
        if (!loaded.isEmpty()) {
            state.SkipWithError(qPrintable(QStringLiteral("positions not loaded: ") + loaded));
            return false;
        }
        targetFile = f.backend.path(QStringLiteral("调仓目标.xlsx"));
        if (!writeTargets(targetFile, book)) {
            state.SkipWithError("target workbook not written");
            return false;
        }
        const QString path = targetFile;
        VeltraUtils::setOpenFileNameHook(
            [path](QWidget *, const QString &, const QString &, const QString &) { return path; });
        return true;
    }
    ~AccountPage() { VeltraUtils::setOpenFileNameHook({}); }

    template <typename T>
    T *in(const char *name) const
    {
        return f.list()->addDialog()->findChild<T *>(QLatin1String(name));
    }
    static void select(QComboBox *combo, int data) { combo->setCurrentIndex(combo->findData(data)); }

    // The rebalance page as a trader fills it: weights, the amount, previous close, the
    // cash account, A shares and Stock Connect.
    BDPortfolioAdd *openRebalance()
    {
        f.list()->on_pushButton_pos_clicked();
        BDPortfolioAdd *dialog = f.list()->addDialog();
        select(in<QComboBox>("cmb_PRFileType"), 1);
        in<QLineEdit>("lineEdit_PRAmount")->setText(QString::number(book.amount));
        select(in<QComboBox>("cmb_PRPriceType"), BDPortfolioAdd::PricePreClose);
        in<VeltraAccountComboBox>("cmb_PRAccount")->selectFundAccount(DemoSeed::cashFundAccount());
        select(in<QComboBox>("cmb_PosTarType"), BDPortfolioAdd::TargetBoth);
        return dialog;
    }

    // The account's positions as the page and the presenter ask for them.
    QString queryPositions(QList<QVariantMap> &positions) const
    {
        QString tradingAccount;
        for (const AccountDetails &account : CBusinessDataBase::GetInstance()->GetAccountList()) {
            if (account.fundAccount == DemoSeed::cashFundAccount())
                tradingAccount = account.tradingAccount;
        }
        const QString rc = AccountRows::positionsInRange(tradingAccount, AccountRows::BothMarkets, positions,
                                                         f.presenter()->pluginPid());
        if (rc != QLatin1String("0"))
            return rc;
        return QString();
    }
};

// Lays out and paints what the last step changed, as the event loop does after it; the
// time goes to `painted`.
void paintAfter(double &painted)
{
    QElapsedTimer clock;
    clock.start();
    QCoreApplication::processEvents();
    painted += clock.nsecsElapsed() / 1e6;
}

// 导入权重 on the rebalance page: the workbook read and checked, weights turned into
// quantities at the previous close, the positions fetched, the lines computed and put
// into the table.
void BM_RebalanceImport3000(benchmark::State &state)
{
    AccountPage page;
    if (!page.ready(state))
        return;
    page.openRebalance();
    auto *import = page.in<QPushButton>("pushButton_PRImport");
    TzTableView *table = page.in<TzTableView>("tableView_PR");
    auto *note = page.in<QLabel>("label_PRNote");  // lines left out, if any
    double painted = 0.0;
    for (auto _ : state) {
        import->click();
        state.PauseTiming();
        const int rows = table->recordModel()->rowCount();
        paintAfter(painted);
        state.ResumeTiming();
        if (rows != page.book.rows() || !note->text().isEmpty() || !page.f.boxes.shown.isEmpty()) {
            state.SkipWithError(qPrintable(QStringLiteral("%1 rows instead of %2: %3")
                                               .arg(rows)
                                               .arg(page.book.rows())
                                               .arg(page.f.boxes.last() + note->text())));
            break;
        }
    }
    state.counters["rows"] = page.book.rows();
    state.counters["buys"] = page.book.buys;
    state.counters["sells"] = page.book.sells;
    state.counters["unchanged"] = page.book.unchanged;
    state.counters["paint_ms"] = painted / qMax<double>(1, state.iterations());
}
BENCHMARK(BM_RebalanceImport3000)->Unit(benchmark::kMillisecond)->UseRealTime();

// The file alone: the workbook read, every line checked and turned into a quantity.
void BM_RebalanceReadTargets3000(benchmark::State &state)
{
    AccountPage page;
    if (!page.ready(state))
        return;
    BDPortfolioAdd *dialog = page.openRebalance();
    for (auto _ : state) {
        QMap<QString, qint64> targets;
        const int rc = dialog->readAndTransPRTargetPosFromFile(targets, BDPortfolioAdd::TargetBoth);
        if (rc != 0 || !page.book.matches(targets)) {
            state.SkipWithError(qPrintable(QStringLiteral("targets not read: ") + page.f.boxes.last()));
            break;
        }
    }
}
BENCHMARK(BM_RebalanceReadTargets3000)->Unit(benchmark::kMillisecond)->UseRealTime();

// The calculation alone, on positions and targets fetched and read beforehand.
void BM_RebalanceCalc3000(benchmark::State &state)
{
    AccountPage page;
    if (!page.ready(state))
        return;
    BDPortfolioAdd *dialog = page.openRebalance();
    QMap<QString, qint64> targets;
    QList<QVariantMap> positions;
    if (dialog->readAndTransPRTargetPosFromFile(targets, BDPortfolioAdd::TargetBoth) != 0 || !page.book.matches(targets)
        || !page.queryPositions(positions).isEmpty() || positions.size() != HeldPositions) {
        state.SkipWithError("targets or positions not there");
        return;
    }
    for (auto _ : state) {
        const QMap<QString, qint64> current = AccountRows::currentHoldings(positions);
        const QList<RowRecord> rows = AccountRows::rebalanceRows(current, targets, OddLotType::RoundDown, ShowPlain);
        if (rows.size() != page.book.rows()) {
            state.SkipWithError(qPrintable(QStringLiteral("%1 rows instead of %2").arg(rows.size()).arg(page.book.rows())));
            break;
        }
    }
}
BENCHMARK(BM_RebalanceCalc3000)->Unit(benchmark::kMillisecond)->UseRealTime();

// 刷新 on the position page over the rows the tab opened with: the presenter's query
// through the bus, the rows built and put into the table, all on the GUI thread before
// the click returns.
void BM_PositionRefresh1000(benchmark::State &state)
{
    AccountPage page;
    if (!page.ready(state))
        return;
    page.f.list()->on_pushButton_new_clicked();
    page.in<VeltraAccountComboBox>("cmb_PosAccount")->selectFundAccount(DemoSeed::cashFundAccount());
    AccountPage::select(page.in<QComboBox>("cmb_PosTarType"), BDPortfolioAdd::TargetBoth);
    page.in<VeltraTabWidget>("tabWidget")->setCurrentIndex(BDPortfolioAdd::PagePosition);
    auto *refresh = page.in<QPushButton>("pushButton_PosRefresh");
    TzTableView *table = page.in<TzTableView>("tableView_Pos");
    double painted = 0.0;
    for (auto _ : state) {
        refresh->click();
        state.PauseTiming();
        const int rows = table->recordModel()->rowCount();
        paintAfter(painted);
        state.ResumeTiming();
        if (rows != HeldPositions || !page.f.boxes.shown.isEmpty()) {
            state.SkipWithError(qPrintable(QStringLiteral("%1 rows: %2").arg(rows).arg(page.f.boxes.last())));
            break;
        }
    }
    state.counters["paint_ms"] = painted / qMax<double>(1, state.iterations());
}
BENCHMARK(BM_PositionRefresh1000)->Unit(benchmark::kMillisecond)->UseRealTime();

// What both pages wait for: the account's positions on its five markets from the back
// end, through the bus, one request per market.
void BM_PositionQuery1000(benchmark::State &state)
{
    AccountPage page;
    if (!page.ready(state))
        return;
    for (auto _ : state) {
        QList<QVariantMap> positions;
        const QString rc = page.queryPositions(positions);
        if (!rc.isEmpty() || positions.size() != HeldPositions) {
            state.SkipWithError(qPrintable(QStringLiteral("query failed: ") + rc));
            break;
        }
    }
}
BENCHMARK(BM_PositionQuery1000)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    return runGuiBenchmarks(argc, argv);
}
