// The creation dialog on the real page over a real embedded back end: the frame and its
// pages, the default page's editors and weight rule, the ETF and industry pages, and the
// confirm step from the dialog to a row in the list and a portfolio on the back end. A
// refusal must leave the dialog open with everything typed, and nothing created.

#include "pagefixture.h"

#include "bdportfolioadd.h"
#include "cdefaultporfoliodelegate.h"
#include "etflogichandler.h"
#include "exchange.h"
#include "infocenterdatamanagerinterface.h"
#include "portfolioaddrows.h"
#include "portfoliowireformat.h"
#include "securitycatalog.h"
#include "tzdialog.h"
#include "tzsearchbox.h"
#include "tztreeview.h"
#include "veltraspinbox.h"
#include "veltratabwidget.h"

#include <QApplication>
#include <QCheckBox>
#include <QHeaderView>
#include <QInputMethodEvent>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace PortfolioAddRows;

namespace {

const QString kNoData = QStringLiteral("组合创建失败：未选择数据或数据为空。");

bool near(double a, double b) { return qAbs(a - b) < 1e-9; }

// Types text as a trader does: Latin keys one by one, Chinese through the input method.
void typeText(QWidget *widget, const QString &text)
{
    bool latin = true;
    for (QChar c : text)
        latin = latin && c.unicode() < 0x80;
    if (latin) {
        QTest::keyClicks(widget, text);
        return;
    }
    QInputMethodEvent event;
    event.setCommitString(text);
    QApplication::sendEvent(widget, &event);
}

struct AddPage : PageFixture
{
    AddPage()
    {
        QVERIFY2(ETFLogicHandler::instance().waitUntilLoaded(10000), "ETF list");
        QVERIFY2(InfoCenterDataManagerInterface::waitUntilReady(10000), "industries");
        list()->achieveTreeData();
    }

    BDPortfolioAdd *open(int mode = 0)
    {
        if (mode == 0)
            list()->findChild<QPushButton *>(QStringLiteral("pushButton_new"))->click();
        else
            list()->on_pushButton_pos_clicked();
        return list()->addDialog();
    }
    TzDialog *frame() const { return list()->addFrame(); }

    template <typename T>
    T *in(const char *name) const
    {
        return list()->addDialog() ? list()->addDialog()->findChild<T *>(QLatin1String(name)) : nullptr;
    }
    VeltraTabWidget *tabs() const { return in<VeltraTabWidget>("tabWidget"); }
    QLineEdit *name() const { return in<QLineEdit>("m_pNameEdit"); }
    TzTableView *defaultTable() const { return in<TzTableView>("tableView_Default"); }
    TzSearchBox *search() const { return in<TzSearchBox>("m_pCodeLineEdit"); }
    void confirm() const { in<QPushButton>("pushButton_confirm")->click(); }

    // Types into the search box and takes the first match with Enter, as a trader does.
    void pick(const QString &text) const
    {
        search()->setFocus();
        typeText(search(), text);
        QTest::keyClick(search(), Qt::Key_Return);
    }
    QString text(int row, int column) const
    {
        return defaultTable()->getRowData(row).value(column).value(RecordRole::display).toString();
    }
    QStringList defaultRows() const
    {
        QStringList rows;
        for (const RowRecord &row : defaultTable()->getViewData())
            rows << symbolOf(row) + QLatin1Char('@') + marketOf(row);
        return rows;
    }
    // Edits one cell of the default table through the delegate's real editor.
    bool edit(int row, int column, const QString &text) const
    {
        TzTableView *table = defaultTable();
        const QModelIndex index = table->recordModel()->index(row, column);
        QStyleOptionViewItem option;
        QAbstractItemDelegate *delegate = table->itemDelegate();
        std::unique_ptr<QWidget> editor(delegate->createEditor(table->viewport(), option, index));
        if (!editor)
            return false;
        delegate->setEditorData(editor.get(), index);
        if (auto *line = qobject_cast<QLineEdit *>(editor.get())) {
            line->clear();
            typeText(line, text);
        } else if (auto *combo = qobject_cast<QComboBox *>(editor.get())) {
            combo->setCurrentText(text);
        }
        delegate->setModelData(editor.get(), table->recordModel(), index);
        return true;
    }
    // Double-clicks the tree row whose text starts with prefix (depth-first).
    static bool doubleClickTree(TzTreeView *tree, const QString &prefix)
    {
        const QModelIndexList found = tree->model()->match(tree->model()->index(0, 0), Qt::DisplayRole, prefix, 1,
                                                           Qt::MatchStartsWith | Qt::MatchRecursive);
        if (!found.isEmpty())
            emit tree->doubleClicked(found.first());
        return !found.isEmpty();
    }
};

PortfolioDetailBasicInfo storedByName(const QString &name)
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    const QStringList numbers = store->numbersNamed(name);
    return numbers.isEmpty() ? PortfolioDetailBasicInfo() : *store->GetPortfolioDetail(numbers.first());
}

} // namespace

class tst_PortfolioAdd : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestBackend::setTimeoutMs(5000); }

    // Frame
    void newDialogPagesAndTheirRules();
    void searchAddsLinesAndCancelCreatesNothing();

    // Default page
    void editorsOfTheDefaultTable();
    void weightsFollowTheListsRuleAndDeleteKeepsIt();

    // Confirm
    void refusalsKeepTheDialogAndItsInput();
    void backEndRefusalThenManualPortfolioEndToEnd();
    void rebalanceSplitsBySideBuyFirst();
    void oneSideRefusedKeepsTheDialogOpen();

    // Basket pages
    void etfTreeAndComponents();
    void industryTreeAndMembers();

    // What a trader sees
    void pagesShowTheirTextsUnclipped();
};

void tst_PortfolioAdd::newDialogPagesAndTheirRules()
{
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open();
    QVERIFY(dialog && fx.frame()->isVisible());
    QCOMPARE(fx.frame()->title(), QStringLiteral("新建组合"));
    QStringList titles;
    for (int i = 0; i < fx.tabs()->count(); ++i)
        titles << fx.tabs()->tabText(i);
    QCOMPARE(titles, (QStringList{QStringLiteral("默认组合"), QStringLiteral("一键融券"), QStringLiteral("生成调仓组合"),
                                  QStringLiteral("提取账号持仓"), QStringLiteral("ETF组合"), QStringLiteral("申万行业组合")}));
    // The voucher and index pages are built, wired and not offered.
    QVERIFY(fx.in<QWidget>("tab_OneKeyVoucher") && fx.in<TzTreeView>("treeView_index"));
    QCOMPARE(fx.tabs()->indexOf(fx.in<QWidget>("tab_OneKeyVoucher")), -1);
    QCOMPARE(fx.tabs()->indexOf(fx.in<QWidget>("tab_2")), -1);
    QCOMPARE(fx.in<VeltraSpinBox>("m_pNumberEdit")->value(), 1000);
    QVERIFY(!fx.in<QLineEdit>("m_pStrategyEdit")->isVisibleTo(dialog));
    QCOMPARE(fx.in<QLineEdit>("m_pStrategyEdit")->text(), QStringLiteral("无"));
    QCOMPARE(fx.in<QComboBox>("cmb_PosTarType")->itemText(2), QStringLiteral("A股+港股通"));

    // The name each page proposes and the editors it shows (by side, market range,
    // quantity and its label), coming from another page with a name typed. The seeded book
    // has no "新建组合", so the name is the prefix itself.
    const auto state = [&] {
        QString shown = fx.name()->text() + QLatin1Char(' ');
        for (const char *w : {"checkBox_bySide", "widget_PosTarType", "m_pNumberEdit", "label_7"})
            shown += fx.in<QWidget>(w)->isVisibleTo(dialog) ? QLatin1Char('1') : QLatin1Char('0');
        return shown;
    };
    QCOMPARE(state(), QStringLiteral("新建组合 0011"));
    const QStringList rules = {QStringLiteral("1 新建组合 0000"), QStringLiteral("2 调仓组合 1100"),
                               QStringLiteral("3 批量减持组合 0100"), QStringLiteral("4 新建组合 0000"),
                               QStringLiteral("5 新建组合 0011"), QStringLiteral("0 新建组合 0011")};
    for (const QString &rule : rules) {
        const int page = rule.left(1).toInt();
        fx.tabs()->setCurrentIndex(page == 2 ? 3 : 2);
        fx.name()->setText(QStringLiteral("我输入的名字"));
        fx.tabs()->setCurrentIndex(page);
        QCOMPARE(QString::number(page) + QLatin1Char(' ') + state(), rule);
    }

    // A 26th character cannot be typed.
    fx.name()->clear();
    typeText(fx.name(), QString(30, QChar(0x7EC4)));
    QCOMPARE(fx.name()->text().size(), 25);
}

void tst_PortfolioAdd::searchAddsLinesAndCancelCreatesNothing()
{
    AddPage fx;
    QVERIFY(fx.ready());
    QPointer<BDPortfolioAdd> first = fx.open();
    TzDialog *frame = fx.frame();
    fx.pick(QStringLiteral("600519"));
    fx.pick(QStringLiteral("gzmt"));  // initials of 贵州茅台: one market only, refused
    QCOMPARE(fx.defaultRows(), QStringList{QStringLiteral("600519.SH@SH")});
    QCOMPARE(fx.boxes.last(), QStringLiteral("组合创建失败：存在相同代码（+市场）：600519 （上交所）。"));
    QCOMPARE(fx.text(0, Name) + fx.text(0, Market) + fx.text(0, Side), QStringLiteral("贵州茅台上交所") + OrderSide::buy);
    // A Stock Connect stock trades on two links: the second pick takes the other one.
    fx.pick(QStringLiteral("00700"));
    fx.pick(QStringLiteral("腾讯"));
    QCOMPARE(fx.defaultRows(), (QStringList{QStringLiteral("600519.SH@SH"), QStringLiteral("00700.HK@HHK"),
                                            QStringLiteral("00700.HK@SZHK")}));
    fx.pick(QStringLiteral("00700"));
    QCOMPARE(fx.defaultRows().size(), 3);
    QCOMPARE(fx.boxes.last(), QStringLiteral("组合创建失败：存在相同代码（+市场）：00700 （沪港通）。"));
    // A restricted security never reaches a row, even when handed over directly.
    first->onInsertTableDataSLot(QStringLiteral("600087.SH"), Exchange::sh);
    QCOMPARE(fx.defaultRows().size(), 3);

    // Cancel: nothing is created and the dialog deletes itself.
    QSignalSpy closed(first.data(), &BDPortfolioAdd::singnalPushBtnClose);
    QSignalSpy created(first.data(), &BDPortfolioAdd::signalNewPortfolioData);
    const int rows = fx.rows();
    fx.in<QPushButton>("pushButton_cance")->click();
    QCOMPARE(closed.count(), 1);
    QCOMPARE(created.count(), 0);
    QVERIFY(!frame->isVisible());
    QTRY_VERIFY(!first);  // the dialog deleted itself
    QCOMPARE(fx.rows(), rows);

    // The next use gets the same frame with a fresh dialog: nothing typed carries over.
    // Escape (or the window's close button) cancels the same way.
    QPointer<BDPortfolioAdd> second = fx.open();
    QCOMPARE(fx.frame(), frame);
    QVERIFY(second && frame->isVisible() && !second->isBusy());
    QCOMPARE(fx.defaultRows().size(), 0);
    fx.pick(QStringLiteral("600036"));
    QTest::keyClick(frame, Qt::Key_Escape);
    QVERIFY(!frame->isVisible());
    QTRY_VERIFY(!second);
    QCOMPARE(fx.rows(), rows);

    // After a success, too.
    second = fx.open();
    QCOMPARE(fx.defaultRows().size(), 0);
    fx.pick(QStringLiteral("000001"));
    fx.confirm();
    QTRY_VERIFY(!frame->isVisible());
    BDPortfolioAdd *third = fx.open();
    QVERIFY(third && third != second && !third->isBusy());
    QCOMPARE(fx.defaultRows().size(), 0);
    QCOMPARE(fx.name()->text(), QStringLiteral("新建组合1"));

    // The rebalance command opens it on its own page; Ctrl+N on the list afterwards on the
    // default page, with the keyboard in the code box: typing at once adds a line.
    fx.in<QPushButton>("pushButton_cance")->click();
    QTRY_VERIFY(!fx.list()->addDialog());
    fx.open(1);
    QCOMPARE(fx.tabs()->currentIndex(), int(BDPortfolioAdd::PageRebalance));
    QCOMPARE(fx.name()->text(), QStringLiteral("调仓组合"));
    fx.in<QPushButton>("pushButton_cance")->click();
    QTRY_VERIFY(!fx.list()->addDialog());
    fx.page->show();
    QVERIFY(QTest::qWaitForWindowExposed(fx.page.get()));
    fx.table()->setFocus();
    QTest::keyClick(fx.table(), Qt::Key_N, Qt::ControlModifier);
    QVERIFY(fx.list()->addDialog());
    QCOMPARE(fx.tabs()->currentIndex(), 0);
    QVERIFY(QTest::qWaitForWindowActive(fx.frame()));
    QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget *>(fx.search()));
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("600519"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(fx.defaultRows(), QStringList{QStringLiteral("600519.SH@SH")});
}

void tst_PortfolioAdd::editorsOfTheDefaultTable()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    fx.pick(QStringLiteral("00700"));
    fx.pick(QStringLiteral("600519"));  // main board: one order of at most 1,000,000 shares
    fx.pick(QStringLiteral("688981"));  // STAR: 100,000
    TzTableView *table = fx.defaultTable();
    QStyleOptionViewItem option;
    auto editorAt = [&](int row, int column) {
        return std::unique_ptr<QWidget>(
            table->itemDelegate()->createEditor(table->viewport(), option, table->recordModel()->index(row, column)));
    };
    // The market of a Stock Connect line: its two links.
    auto market = editorAt(0, Market);
    auto *combo = qobject_cast<QComboBox *>(market.get());
    QVERIFY(combo && combo->count() == 2);
    QCOMPARE(combo->itemData(1).toString(), Exchange::szhk);
    auto sides = editorAt(1, Side);
    auto *sideCombo = qobject_cast<QComboBox *>(sides.get());
    QVERIFY(sideCombo);
    QStringList offered;
    for (int i = 0; i < sideCombo->count(); ++i)
        offered << sideCombo->itemText(i);
    QCOMPARE(offered, PortfolioAddRows::sides());
    QCOMPARE(offered.first() + offered.last(), QStringLiteral("未指定直接还券"));
    for (int column : {int(Code), int(Name), int(AbsWeight)})
        QVERIFY(!editorAt(0, column));

    QVERIFY(fx.edit(0, Market, QStringLiteral("深港通")));
    QVERIFY(fx.edit(1, Side, QStringLiteral("融券卖出")));
    QCOMPARE(marketOf(table->getRowData(0)), Exchange::szhk);
    QCOMPARE(fx.text(1, Side), QStringLiteral("融券卖出"));
    // The weight editor takes a positive number only; a refused weight keeps the old one.
    RelWeightValidator validator;
    QStringList accepted;
    for (QString typed : {"0", "0.0", "00", "0.", "1x5", "0.5", "12", "3.25"}) {
        int pos = 0;
        if (validator.validate(typed, pos) == QValidator::Acceptable)
            accepted << typed;
    }
    QCOMPARE(accepted, (QStringList{QStringLiteral("0.5"), QStringLiteral("12"), QStringLiteral("3.25")}));
    QVERIFY(fx.edit(0, RelWeight, QStringLiteral("00")));
    QCOMPARE(relWeightOf(table->getRowData(0)), 1.0);
    QVERIFY(fx.edit(0, RelWeight, QStringLiteral("3.25")));
    QCOMPARE(relWeightOf(table->getRowData(0)), 3.25);
    // Quantities within the line's limit, digits only.
    QVERIFY(fx.edit(2, Quantity, QStringLiteral("100001")));
    QCOMPARE(quantityOf(table->getRowData(2)), qint64(10000));  // the 6th digit was refused
    QVERIFY(fx.edit(1, Quantity, QStringLiteral("1000000")));
    QCOMPARE(quantityOf(table->getRowData(1)), qint64(1000000));
    QVERIFY(fx.edit(1, Quantity, QStringLiteral("12a3")));
    QCOMPARE(quantityOf(table->getRowData(1)), qint64(123));

    // At the keyboard, in the open dialog: the side list opens with the edit, the arrows
    // move in it, Enter takes the side. An arrow on a closed list opens it rather than
    // taking the next side and ending the edit.
    fx.frame()->show();
    QVERIFY(QTest::qWaitForWindowActive(fx.frame()));
    const QModelIndex side = table->recordModel()->index(0, Side);
    table->setCurrentIndex(side);
    table->edit(side);
    auto *sideEditor = qobject_cast<QComboBox *>(table->indexWidget(side));
    QVERIFY(sideEditor);
    QTRY_VERIFY(sideEditor->view()->isVisible());
    sideEditor->hidePopup();
    QTest::keyClick(sideEditor, Qt::Key_Down);
    QVERIFY(sideEditor->view()->isVisible());
    QCOMPARE(fx.text(0, Side), OrderSide::buy);
    for (int i = 0; i < 6; ++i)
        QTest::keyClick(sideEditor->view(), Qt::Key_Down);
    QTest::keyClick(sideEditor->view(), Qt::Key_Return);
    QTRY_COMPARE(fx.text(0, Side), QStringLiteral("融券卖出"));

    // Typing on a focused quantity cell starts the edit with the typed digit.
    table->setFocus();
    table->setCurrentIndex(table->recordModel()->index(1, Quantity));
    for (QChar digit : QStringLiteral("2500"))  // each key to whatever has the focus
        QTest::keyClick(QApplication::focusWidget(), digit.toLatin1());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QTRY_COMPARE(quantityOf(table->getRowData(1)), qint64(2500));

    qobject_cast<CDefaultPorfoliodelegate *>(table->itemDelegate())->setUnlimited(true);
    QVERIFY(fx.edit(2, Quantity, QStringLiteral("9999999999")));
    QCOMPARE(quantityOf(table->getRowData(2)), qint64(999999999));
}

void tst_PortfolioAdd::weightsFollowTheListsRuleAndDeleteKeepsIt()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    TzTableView *table = fx.defaultTable();
    auto absOf = [&](int row) { return table->getRowData(row).value(AbsWeight).value(RecordRole::user).toDouble(); };
    // The selected rows go and the weights are shared again; with none selected, a tip.
    for (const char *code : {"600519", "000001", "600036", "300750"})
        fx.pick(QString::fromLatin1(code));
    table->selectionModel()->clearSelection();
    for (int row : {1, 3})
        table->selectionModel()->select(table->recordModel()->index(row, 0),
                                        QItemSelectionModel::Select | QItemSelectionModel::Rows);
    fx.in<QPushButton>("pushButton_delete")->click();
    QCOMPARE(fx.defaultRows(), (QStringList{QStringLiteral("600519.SH@SH"), QStringLiteral("600036.SH@SH")}));
    QVERIFY(near(absOf(0), 50.0));
    table->selectionModel()->clearSelection();
    fx.in<QPushButton>("pushButton_delete")->click();
    QCOMPARE(fx.boxes.last(), QStringLiteral("请选择要删除的数据"));
    QCOMPARE(fx.defaultRows().size(), 2);

    // No quantities: the weights decide, equal by default.
    fx.pick(QStringLiteral("000001"));
    QVERIFY(near(absOf(0), 100.0 / 3) && near(absOf(1), 100.0 / 3) && near(absOf(2), 100.0 / 3));
    QVERIFY(fx.edit(2, RelWeight, QStringLiteral("2")));
    QVERIFY(near(absOf(2), 50.0) && near(absOf(0), 25.0));

    // Every line with a quantity: shares by value at the previous close.
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    const double v0 = 100 * catalog.bySymbol(QStringLiteral("600519.SH"))->preClosePx;
    const double v1 = 300 * catalog.bySymbol(QStringLiteral("600036.SH"))->preClosePx;
    const double v2 = 1000 * catalog.bySymbol(QStringLiteral("000001.SZ"))->preClosePx;
    QVERIFY(fx.edit(0, Quantity, QStringLiteral("100")) && fx.edit(1, Quantity, QStringLiteral("300"))
            && fx.edit(2, Quantity, QStringLiteral("1000")));
    QVERIFY(near(absOf(0), 100 * v0 / (v0 + v1 + v2)));

    // A weight typed then makes its line weighted: its quantity goes back to 0.
    QVERIFY(fx.edit(1, RelWeight, QStringLiteral("3")));
    QCOMPARE(quantityOf(table->getRowData(1)), qint64(0));
    QVERIFY(near(absOf(1), 50.0));

    // What the dialog shows is what the portfolio stores.
    fx.confirm();
    QTRY_VERIFY(!fx.frame()->isVisible());
    const PortfolioDetailBasicInfo stored = storedByName(QStringLiteral("新建组合"));
    QCOMPARE(stored.SymbolList().size(), 3);
    QVERIFY(near(stored.SymbolList().at(1).AbsWeight(), 50.0) && near(stored.SymbolList().at(0).AbsWeight(), 100.0 / 6));
}

// Every refusal leaves the dialog open with what was typed and creates nothing. A page
// without chosen lines says so; an empty name is refused before the name is looked up.
void tst_PortfolioAdd::refusalsKeepTheDialogAndItsInput()
{
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open();
    QSignalSpy created(dialog, &BDPortfolioAdd::signalNewPortfolioData);
    const QStringList before = PageFixture::backendNames();
    const QList<QStringList> attempts = {  // page, name, refusal
        {"0", "新组合", kNoData}, {"4", "新组合", kNoData}, {"5", "新组合", kNoData},
        {"1", "新组合", kNoData}, {"2", "新组合", kNoData}, {"3", "新组合", kNoData},
        // With a line on the default page.
        {"0", "", "组合名称为空!"}, {"0", "   ", "组合名称为空!"},
        {"0", "篮子\t一", "组合创建失败：组合名称含有无法保存的字符！"}, {"0", "银行股组合", "组合创建失败：组合名称重复。"}};
    for (const QStringList &attempt : attempts) {
        const bool withLine = attempt.at(2) != kNoData;
        fx.boxes.shown.clear();
        fx.tabs()->setCurrentIndex(attempt.at(0).toInt());
        if (withLine && fx.defaultRows().isEmpty())
            fx.pick(QStringLiteral("600519"));
        // The position page fills itself with the account's holdings, all chosen; none of
        // them is chosen here.
        for (auto *table : dialog->findChildren<TzTableView *>()) {
            if (fx.tabs()->currentWidget()->isAncestorOf(table) && table->recordModel()->isCheckable())
                table->setAllCheckBoxChecked(false);
        }
        fx.name()->setText(attempt.at(1));
        fx.confirm();
        const QString what = attempt.join(QLatin1Char('|')) + QStringLiteral(" → ");
        QCOMPARE(what + fx.boxes.texts().join(QLatin1Char('|')), what + attempt.at(2));
        QCOMPARE(fx.boxes.shown.last().kind, VeltraWidget::MsgBoxKind::Error);
        QVERIFY(fx.frame()->isVisible() && !dialog->isBusy());
        QCOMPARE(fx.list()->addDialog(), dialog);
        QCOMPARE(fx.name()->text(), attempt.at(1).trimmed());
        QCOMPARE(fx.defaultRows().size(), withLine ? 1 : 0);
    }
    QCOMPARE(created.count(), 0);
    QCOMPARE(PageFixture::backendNames(), before);
}

void tst_PortfolioAdd::backEndRefusalThenManualPortfolioEndToEnd()
{
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open();
    fx.pick(QStringLiteral("600519"));
    fx.pick(QStringLiteral("00700"));
    QVERIFY(fx.edit(0, Quantity, QStringLiteral("200")));
    QVERIFY(fx.edit(1, Quantity, QStringLiteral("500")));
    QVERIFY(fx.edit(1, Side, QStringLiteral("卖出")));
    fx.name()->setText(QStringLiteral(" 手工篮子  "));  // padding is dropped, not refused
    fx.in<QLineEdit>("m_pStrategyEdit")->clear();  // an empty label is filed under "无"
    fx.in<VeltraSpinBox>("m_pNumberEdit")->setValue(3);
    const int rows = fx.rows();
    const QStringList before = PageFixture::backendNames();

    // The lines are refused after the header was written: the header is rolled back and
    // the dialog stays as it was.
    fx.backend.faults().failNext(MsgType::alterPortfolioDetailRequest, QStringLiteral("明细写入失败"));
    fx.confirm();
    QVERIFY(fx.boxes.last().startsWith(QStringLiteral("组合后台数据添加失败：")));
    QVERIFY(fx.boxes.last().contains(QStringLiteral("明细写入失败")));
    QTest::qWait(20);
    QVERIFY(fx.frame()->isVisible() && !dialog->isBusy());
    QCOMPARE(fx.list()->addDialog(), dialog);
    QCOMPARE(fx.defaultRows().size(), 2);
    QCOMPARE(fx.rows(), rows);
    QCOMPARE(PageFixture::backendNames(), before);
    QVERIFY(!PortfolioListBasicInfo::GetInstance()->getAllPortfolioName().contains(QStringLiteral("手工篮子")));
    // A time-out is a refusal too.
    TestBackend::setTimeoutMs(200);
    fx.backend.faults().dropNext(MsgType::alterPortfolioRequest);
    fx.confirm();
    QVERIFY(fx.boxes.last().contains(QStringLiteral("请求超时")));
    QVERIFY(!dialog->isBusy());
    TestBackend::setTimeoutMs(5000);

    // Another try goes through: a row in the list, current, and the portfolio as typed.
    fx.confirm();
    QTRY_VERIFY2(!fx.frame()->isVisible(), qPrintable(fx.boxes.texts().join(QLatin1Char('|'))));
    QTRY_VERIFY(!fx.list()->addDialog());
    QCOMPARE(fx.rows(), rows + 1);
    QCOMPARE(fx.cell(rows, 0), QStringLiteral("手工篮子"));
    QCOMPARE(fx.table()->currentIndex().row(), rows);
    QVERIFY(PageFixture::backendNames().contains(QStringLiteral("手工篮子")));
    const PortfolioDetailBasicInfo stored = storedByName(QStringLiteral("手工篮子"));
    QCOMPARE(stored.StrategyName(), QStringLiteral("无"));
    QCOMPARE(stored.DefaultNum(), qint64(3));
    QCOMPARE(stored.ExtensionDescription().value(Portfolio::portType).toString(), PortType::normal);
    QCOMPARE(stored.SymbolList().size(), 2);
    const PortfolioItem hk = stored.SymbolList().at(1);
    QCOMPARE(hk.Symbol() + QLatin1Char('@') + hk.SymbolExchange(), QStringLiteral("00700.HK@") + Exchange::hhk);
    QCOMPARE(hk.Quantity(), qint64(500));
    QCOMPARE(hk.Side(), OrderSide::sell);
}

void tst_PortfolioAdd::rebalanceSplitsBySideBuyFirst()
{
    // Of the ten sides, four buy and four sell; unspecified and direct return do neither.
    QList<PortfolioItem> items, buy, sell;
    for (const QString &side : PortfolioAddRows::sides()) {
        items << PortfolioItem();
        items.last().setSide(side);
    }
    splitBySide(items, buy, sell);
    QCOMPARE(buy.size(), 4);
    QCOMPARE(sell.size(), 4);
    QCOMPARE(buy.at(1).Side(), QStringLiteral("担保品买入"));
    QCOMPARE(sell.at(3).Side(), QStringLiteral("融券卖出"));

    TestBackend backend;
    QVERIFY(backend.ready());
    PortfolioListBasicInfo::GetInstance()->clear();
    BDPortfolioAdd dialog;
    dialog.setAttribute(Qt::WA_DeleteOnClose, false);
    dialog.setMode(1);
    dialog.findChild<QCheckBox *>(QStringLiteral("checkBox_bySide"))->setChecked(true);
    auto *table = dialog.findChild<TzTableView *>(QStringLiteral("tableView_PR"));
    auto *confirm = dialog.findChild<QPushButton *>(QStringLiteral("pushButton_confirm"));
    MsgBoxRecorder boxes;
    // Lines of these sides, alternately 600519 and 000001: the portfolios sent, by name.
    auto confirmWith = [&](const QStringList &sidesOfRows) {
        QList<RowRecord> rows;
        for (int i = 0; i < sidesOfRows.size(); ++i) {
            const SecurityInfo *s = SecurityCatalog::instance().bySymbol(i % 2 ? QStringLiteral("000001.SZ")
                                                                               : QStringLiteral("600519.SH"));
            rows << securityRow(*s, s->markets.first(), 100 * (i + 1), 1.0, sidesOfRows.at(i), ShowPlain, false);
        }
        table->updateRecordDataList(rows);
        table->setAllCheckBoxChecked(true);
        QSignalSpy created(&dialog, &BDPortfolioAdd::signalNewPortfolioData);
        confirm->click();
        QList<PortfolioDetailBasicInfo> sent;
        for (const QList<QVariant> &args : created)
            sent << args.at(0).value<PortfolioDetailBasicInfo>();
        return sent;
    };

    const auto both = confirmWith({OrderSide::sell, OrderSide::buy});
    QCOMPARE(both.size(), 2);
    QCOMPARE(both.at(0).Name() + both.at(1).Name(), QStringLiteral("调仓组合(买)调仓组合(卖)"));
    QCOMPARE(both.at(0).SymbolList().size(), 1);
    QCOMPARE(both.at(0).SymbolList().at(0).Symbol(), QStringLiteral("000001.SZ"));
    QCOMPARE(both.at(1).SymbolList().at(0).Quantity(), qint64(100));
    QCOMPARE(both.at(0).ExtensionDescription().value(Portfolio::portType).toString(), PortType::rebalance);
    // Until the list answers, another confirm sends nothing.
    QSignalSpy again(&dialog, &BDPortfolioAdd::signalNewPortfolioData);
    confirm->click();
    QCOMPARE(again.count(), 0);
    QVERIFY(dialog.isBusy());

    dialog.onAddPortfolioFailed(QStringLiteral("again"));
    const auto buyOnly = confirmWith({OrderSide::buy, OrderSide::buy});
    QCOMPARE(buyOnly.size(), 1);
    QCOMPARE(buyOnly.at(0).Name(), QStringLiteral("调仓组合(买)"));
    dialog.onAddPortfolioFailed(QStringLiteral("again"));
    // Lines on neither side give nothing to split.
    QVERIFY(confirmWith({QStringLiteral("未指定"), QStringLiteral("直接还券")}).isEmpty());
    QCOMPARE(boxes.last(), kNoData);
}

// By side, the buy portfolio is sent first. When one side's header is refused the other
// is made, the dialog stays as it was, and confirming again makes the refused one only.
void tst_PortfolioAdd::oneSideRefusedKeepsTheDialogOpen()
{
    AddPage fx;
    QVERIFY(fx.ready());
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    for (const QString &base : {QStringLiteral("卖被拒"), QStringLiteral("买被拒")}) {
        const bool buyRefused = base == QStringLiteral("买被拒");
        const QString buyName = base + QStringLiteral("(买)"), sellName = base + QStringLiteral("(卖)");
        BDPortfolioAdd *dialog = fx.open(1);
        auto *table = fx.in<TzTableView>("tableView_PR");
        table->updateRecordDataList(
            {securityRow(*catalog.bySymbol(QStringLiteral("600519.SH")), Exchange::sh, 100, 1.0, OrderSide::buy, ShowPlain, false),
             securityRow(*catalog.bySymbol(QStringLiteral("000001.SZ")), Exchange::sz, 500, 1.0, OrderSide::sell, ShowPlain, false)});
        table->setAllCheckBoxChecked(true);
        fx.in<QCheckBox>("checkBox_bySide")->setChecked(true);
        fx.name()->setText(base);
        if (!buyRefused)
            fx.backend.faults().delayNext(MsgType::alterPortfolioRequest, 0);
        fx.backend.faults().failNext(MsgType::alterPortfolioRequest, QStringLiteral("组合被拒"));
        fx.confirm();
        QCOMPARE(PageFixture::backendNames().filter(base), QStringList{buyRefused ? sellName : buyName});
        QVERIFY(fx.boxes.texts().join(QLatin1Char('|')).contains(QStringLiteral("组合被拒")));
        QTest::qWait(20);
        QCOMPARE(fx.list()->addDialog(), dialog);
        QVERIFY(fx.frame()->isVisible() && !dialog->isBusy());
        QCOMPARE(table->recordModel()->rowCount(), 2);

        const int listed = fx.rows();
        fx.confirm();
        QTRY_VERIFY(!fx.frame()->isVisible());
        QCOMPARE(fx.rows(), listed + 1);
        QStringList made = PageFixture::backendNames().filter(base);
        made.sort();
        QCOMPARE(made, (QStringList{buyName, sellName}));
        QTRY_VERIFY(!fx.list()->addDialog());
    }
}

// The ETF page: the tree of ETFs, a basket's components from a double click (the later
// click wins when two answers are awaited), a portfolio of the components chosen, and the
// tip for an ETF without components.
void tst_PortfolioAdd::etfTreeAndComponents()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    auto *tree = fx.in<TzTreeView>("treeView_ETF");
    QCOMPARE(tree->topLevelCount(), 1);
    const QModelIndex root = tree->model()->index(0, 0);
    QCOMPARE(root.data().toString(), QStringLiteral("ETF组合"));
    const int etfs = ETFLogicHandler::instance().getEtfInfoList().size();
    QCOMPARE(tree->model()->rowCount(root), etfs);
    for (int r = 0; r < etfs; ++r) {
        const QModelIndex etf = tree->model()->index(r, 0, root);
        const QString id = tree->getRowData(etf).value(0).value(Security::securityID).toString();
        QVERIFY2(etf.data().toString().startsWith(id + QStringLiteral("  ")), qPrintable(etf.data().toString()));
    }

    fx.tabs()->setCurrentIndex(BDPortfolioAdd::PageEtf);
    QVERIFY(fx.doubleClickTree(tree, QStringLiteral("510300")));
    QVERIFY(fx.doubleClickTree(tree, QStringLiteral("510050")));
    auto *table = fx.in<TzTableView>("tableWidget_ETF");
    const QList<QVariantMap> components = ETFLogicHandler::instance().getEtfComponentList(QStringLiteral("510050"));
    QTRY_COMPARE(table->recordModel()->rowCount(), components.size());
    QTest::qWait(100);  // the first answer, if late, must not replace the second
    QCOMPARE(table->recordModel()->rowCount(), components.size());
    QCOMPARE(fx.boxes.shown.size(), 0);
    QCOMPARE(table->getCheckedRows().size(), components.size());
    QCOMPARE(fx.in<QLabel>("label_selection")->text(), QStringLiteral("已选 %1 / %1").arg(components.size()));

    // The trader leaves two components out; the rest become the portfolio, with the
    // index weight as relative weight and the basket quantity.
    table->recordModel()->setChecked(0, false);
    table->recordModel()->setChecked(1, false);
    fx.name()->setText(QStringLiteral("上证50篮子"));
    fx.confirm();
    QTRY_VERIFY(!fx.frame()->isVisible());
    const PortfolioDetailBasicInfo stored = storedByName(QStringLiteral("上证50篮子"));
    QCOMPARE(stored.SymbolList().size(), components.size() - 2);
    QCOMPARE(stored.ExtensionDescription().value(Portfolio::portType).toString(), PortType::etf);
    QCOMPARE(stored.ExtensionDescription().value(Portfolio::basketCode).toString(), QStringLiteral("510050.SH"));
    const PortfolioItem line = stored.SymbolList().at(0);
    QCOMPARE(line.Symbol(), components.at(2).value(Security::symbol).toString());
    QCOMPARE(line.Quantity(), components.at(2).value(Security::nominalQty).toLongLong());
    QCOMPARE(line.Side(), OrderSide::buy);
    const TestBackend::Answer answer = TestBackend::request(
        MsgType::queryPortfolioRequest, {{RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount()}});
    int onBackend = -1;
    for (const QVariantMap &row : answer.body.rows()) {
        if (row.value(RequestField::portfolioName).toString() == QStringLiteral("上证50篮子"))
            onBackend = PortfolioWireFormat::portfolioFromRow(row).SymbolList().size();
    }
    QCOMPARE(onBackend, components.size() - 2);

    // An ETF without components: a tip, and nothing to choose.
    BDPortfolioAdd *dialog = fx.open();
    fx.tabs()->setCurrentIndex(BDPortfolioAdd::PageEtf);
    RowRecord child, fakeRoot;
    child[0] = {{RecordRole::display, QStringLiteral("519999  无成分ETF")},
                {Security::securityID, QStringLiteral("519999")},
                {Security::symbol, QStringLiteral("519999.SH")}};
    fakeRoot[0] = {{RecordRole::display, QStringLiteral("ETF组合")},
                   {TreeRecord::children, QVariant::fromValue(QList<RowRecord>{child})}};
    dialog->slotRelodadETFList({fakeRoot});
    QVERIFY(fx.doubleClickTree(fx.in<TzTreeView>("treeView_ETF"), QStringLiteral("519999")));
    QTRY_COMPARE(fx.boxes.last(), QStringLiteral("519999未能获取有效ETF成分券数据!"));
    QCOMPARE(fx.boxes.shown.last().kind, VeltraWidget::MsgBoxKind::Tip);
    QCOMPARE(fx.in<TzTableView>("tableWidget_ETF")->recordModel()->rowCount(), 0);
}

void tst_PortfolioAdd::industryTreeAndMembers()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    auto *tree = fx.in<TzTreeView>("treeView_index_SW");
    QVERIFY(tree->topLevelCount() > 100);
    // Level two at the top, level three below.
    const QModelIndex first = tree->model()->index(0, 0);
    QCOMPARE(tree->getRowData(first).value(0).value(Industry::level).toInt(), 2);
    QVERIFY(tree->model()->rowCount(first) > 0);
    QCOMPARE(tree->getRowData(tree->model()->index(0, 0, first)).value(0).value(Industry::level).toInt(), 3);

    fx.tabs()->setCurrentIndex(BDPortfolioAdd::PageIndustry);
    fx.in<VeltraSpinBox>("m_pNumberEdit")->setValue(200);
    QVERIFY(fx.doubleClickTree(tree, QStringLiteral("国有大型银行Ⅲ")));
    auto *table = fx.in<TzTableView>("tableWidget_index_SW");
    const QStringList members = InfoCenterDataManagerInterface::getSymbolsOfIndustry(QStringLiteral("480201"));
    QVERIFY(!members.isEmpty());
    QCOMPARE(table->recordModel()->rowCount(), members.size());
    QCOMPARE(table->getCheckedRows().size(), members.size());
    QCOMPARE(quantityOf(table->getRowData(0)), qint64(200));
    fx.name()->setText(QStringLiteral("国有大行"));
    fx.confirm();
    QTRY_VERIFY(!fx.frame()->isVisible());
    const PortfolioDetailBasicInfo stored = storedByName(QStringLiteral("国有大行"));
    QCOMPARE(stored.SymbolList().size(), members.size());
    QCOMPARE(stored.ExtensionDescription().value(Portfolio::portType).toString(), PortType::industry);
    QCOMPARE(stored.ExtensionDescription().value(Portfolio::basketCode).toString(), QStringLiteral("480201"));
}

// Every page of the dialog at its opening size: no label or button narrower than its text,
// no table column narrower than its title. With TZ_SCREENSHOT_DIR set, each page is also
// saved as a PNG there for a person to look at.
void tst_PortfolioAdd::pagesShowTheirTextsUnclipped()
{
    AddPage fx;
    QVERIFY(fx.ready());
    const QString skin = VeltraUtils::GetSkinStyleSheet(QStringLiteral("veltra.qss"));
    QVERIFY(!skin.isEmpty());
    qApp->setStyleSheet(skin);
    fx.page->resize(1100, 700);
    fx.page->show();
    BDPortfolioAdd *dialog = fx.open();
    fx.pick(QStringLiteral("600519"));
    fx.pick(QStringLiteral("00700"));
    fx.pick(QStringLiteral("00700"));
    QVERIFY(QTest::qWaitForWindowExposed(fx.frame()));
    const QString folder = qEnvironmentVariable("TZ_SCREENSHOT_DIR");
    for (int page = 0; page < fx.tabs()->count(); ++page) {
        fx.tabs()->setCurrentIndex(page);
        if (page == BDPortfolioAdd::PageEtf)
            fx.doubleClickTree(fx.in<TzTreeView>("treeView_ETF"), QStringLiteral("510300"));
        if (page == BDPortfolioAdd::PageIndustry)
            fx.doubleClickTree(fx.in<TzTreeView>("treeView_index_SW"), QStringLiteral("白酒"));
        QTest::qWait(page == BDPortfolioAdd::PageEtf ? 300 : 30);
        QWidget *current = fx.tabs()->currentWidget();
        for (QWidget *w : dialog->findChildren<QWidget *>()) {
            if ((qobject_cast<QAbstractButton *>(w) || qobject_cast<QLabel *>(w)) && w->isVisible()
                && !w->objectName().isEmpty() && !w->objectName().startsWith(QLatin1String("qt_"))
                && (current->isAncestorOf(w) || !fx.tabs()->isAncestorOf(w)))
                QVERIFY2(w->width() >= w->minimumSizeHint().width(),
                         qPrintable(QStringLiteral("page %1: %2 is %3 wide, needs %4")
                                        .arg(page).arg(w->objectName()).arg(w->width()).arg(w->minimumSizeHint().width())));
        }
        for (TzTableView *table : current->findChildren<TzTableView *>()) {
            const QFontMetrics metrics(table->horizontalHeader()->font());
            for (int c = 0; c < table->recordModel()->columnCount(); ++c) {
                const QString title = table->recordModel()->headerData(c, Qt::Horizontal).toString();
                if (table->isColumnHidden(c) || title.isEmpty())
                    continue;
                QVERIFY2(table->columnWidth(c) >= metrics.horizontalAdvance(title) + 8,
                         qPrintable(QStringLiteral("%1 column %2").arg(table->tableName(), title)));
            }
        }
        if (!folder.isEmpty())
            fx.frame()->grab().save(QStringLiteral("%1/portfolioadd-page%2.png").arg(folder).arg(page));
    }
    qApp->setStyleSheet(QString());
}

QTEST_MAIN(tst_PortfolioAdd)
#include "tst_portfolioadd.moc"

