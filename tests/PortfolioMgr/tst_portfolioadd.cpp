// The creation dialog on the real page over a real embedded back end: the frame and its
// pages, the default page's editors and weight rule, the ETF and industry pages, and the
// confirm step from the dialog to a row in the list and a portfolio on the back end. A
// refusal must leave the dialog open with everything typed, and nothing created.

#include "pagefixture.h"

#include "bdportfolioadd.h"
#include "cdefaultporfoliodelegate.h"
#include "etflogichandler.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "infocenterdatamanagerinterface.h"
#include "portfolioaddrows.h"
#include "portfoliowireformat.h"
#include "securitycatalog.h"
#include "tzdialog.h"
#include "tzsearchbox.h"
#include "tztreeview.h"
#include "veltraspinbox.h"
#include "veltrautils.h"
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
#include <QStyledItemDelegate>
#include <QTest>

using namespace PortfolioAddRows;

namespace {

const QString kNoData = QStringLiteral("组合创建失败：未选择数据或数据为空。");

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
    bool doubleClickTree(TzTreeView *tree, const QString &prefix) const
    {
        QAbstractItemModel *model = tree->model();
        std::function<QModelIndex(const QModelIndex &)> find = [&](const QModelIndex &parent) {
            for (int r = 0; r < model->rowCount(parent); ++r) {
                const QModelIndex i = model->index(r, 0, parent);
                if (i.data().toString().startsWith(prefix))
                    return i;
                const QModelIndex below = find(i);
                if (below.isValid())
                    return below;
            }
            return QModelIndex();
        };
        const QModelIndex index = find(QModelIndex());
        if (!index.isValid())
            return false;
        emit tree->doubleClicked(index);
        return true;
    }
};

PortfolioDetailBasicInfo storedByName(const QString &name)
{
    for (PortfolioDetailBasicInfo *p : PortfolioListBasicInfo::GetInstance()->GetPortfolioDetails()) {
        if (p->Name() == name)
            return *p;
    }
    return PortfolioDetailBasicInfo();
}

QStringList tabTitles(QTabWidget *tabs)
{
    QStringList titles;
    for (int i = 0; i < tabs->count(); ++i)
        titles << tabs->tabText(i);
    return titles;
}

} // namespace

class tst_PortfolioAdd : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestBackend::setTimeoutMs(5000); }

    // Frame
    void newDialogShowsSixPagesAndDefaults();
    void pageChangeRules_data();
    void pageChangeRules();
    void cancelCreatesNothingAndTheFrameIsReused();
    void rebalanceModeAndCtrlN();

    // Default page
    void searchAddsRowsAndMovesDuplicatesToTheOtherMarket();
    void editorsOfTheDefaultTable();
    void relativeWeightEditor_data();
    void relativeWeightEditor();
    void quantityEditorHonoursTheRowLimit();
    void weightsFollowTheListsRule();
    void deleteRemovesTheSelectedRows();

    // Confirm
    void refusalsKeepTheDialogAndItsInput_data();
    void refusalsKeepTheDialogAndItsInput();
    void manualPortfolioEndToEnd();
    void backEndRefusalLeavesNothingAndAllowsAnotherTry();
    void secondConfirmEmitsNothing();
    void rebalanceSplitsBySideBuyFirst();
    void oneSideRefusedKeepsTheDialogOpen_data();
    void oneSideRefusedKeepsTheDialogOpen();

    // Basket pages
    void etfTreeAndComponents();
    void laterEtfDoubleClickWins();
    void etfWithoutComponentsShowsTheTip();
    void industryTreeAndMembers();

    // What a trader sees
    void pagesShowTheirTextsUnclipped();
};

void tst_PortfolioAdd::newDialogShowsSixPagesAndDefaults()
{
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open();
    QVERIFY(dialog);
    QVERIFY(fx.frame()->isVisible());
    QCOMPARE(fx.frame()->title(), QStringLiteral("新建组合"));
    QCOMPARE(fx.frame()->margin(), 0);
    QCOMPARE(dialog->windowTitle(), QStringLiteral("BDPortFolioAdd"));
    QCOMPARE(tabTitles(fx.tabs()), (QStringList{QStringLiteral("默认组合"), QStringLiteral("一键融券"),
                                                QStringLiteral("生成调仓组合"), QStringLiteral("提取账号持仓"),
                                                QStringLiteral("ETF组合"), QStringLiteral("申万行业组合")}));
    QCOMPARE(fx.tabs()->currentIndex(), 0);
    // The voucher and index pages are built, wired and not offered.
    QVERIFY(fx.in<QWidget>("tab_OneKeyVoucher"));
    QVERIFY(fx.in<TzTreeView>("treeView_index"));
    QCOMPARE(fx.tabs()->indexOf(fx.in<QWidget>("tab_OneKeyVoucher")), -1);
    QCOMPARE(fx.tabs()->indexOf(fx.in<QWidget>("tab_2")), -1);

    // The seeded book has no "新建组合", so the name is the prefix itself.
    QCOMPARE(fx.name()->text(), QStringLiteral("新建组合"));
    QCOMPARE(fx.in<VeltraSpinBox>("m_pNumberEdit")->value(), 1000);
    QVERIFY(!fx.in<QLineEdit>("m_pStrategyEdit")->isVisibleTo(dialog));
    QCOMPARE(fx.in<QLineEdit>("m_pStrategyEdit")->text(), QStringLiteral("无"));
    QVERIFY(!fx.in<QWidget>("widget_PosTarType")->isVisibleTo(dialog));
    QVERIFY(!fx.in<QCheckBox>("checkBox_bySide")->isVisibleTo(dialog));
    auto *range = fx.in<QComboBox>("cmb_PosTarType");
    QCOMPARE(range->count(), 3);
    QCOMPARE(range->itemText(2), QStringLiteral("A股+港股通"));
    QCOMPARE(range->itemData(1).toInt(), 1);

    // A 26th character cannot be typed.
    fx.name()->clear();
    typeText(fx.name(), QString(30, QChar(0x7EC4)));
    QCOMPARE(fx.name()->text().size(), 25);
}

void tst_PortfolioAdd::pageChangeRules_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("bySide");
    QTest::addColumn<bool>("range");
    QTest::addColumn<bool>("quantity");
    QTest::newRow("short sale") << 1 << "新建组合" << false << false << false;
    QTest::newRow("rebalance") << 2 << "调仓组合" << true << true << false;
    QTest::newRow("position") << 3 << "批量减持组合" << false << true << false;
    QTest::newRow("etf") << 4 << "新建组合" << false << false << false;
    QTest::newRow("industry") << 5 << "新建组合" << false << false << true;
    QTest::newRow("back to default") << 0 << "新建组合" << false << false << true;
}

void tst_PortfolioAdd::pageChangeRules()
{
    QFETCH(int, page);
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open();
    // Start from another page, so that every row is a change of page.
    fx.tabs()->setCurrentIndex(page == 2 ? 3 : 2);
    fx.name()->setText(QStringLiteral("我输入的名字"));
    fx.tabs()->setCurrentIndex(page);
    QTEST(fx.name()->text(), "name");
    QTEST(fx.in<QCheckBox>("checkBox_bySide")->isVisibleTo(dialog), "bySide");
    QTEST(fx.in<QWidget>("widget_PosTarType")->isVisibleTo(dialog), "range");
    QTEST(fx.in<QWidget>("m_pNumberEdit")->isVisibleTo(dialog), "quantity");
    QTEST(fx.in<QLabel>("label_7")->isVisibleTo(dialog), "quantity");
}

void tst_PortfolioAdd::cancelCreatesNothingAndTheFrameIsReused()
{
    AddPage fx;
    QVERIFY(fx.ready());
    QPointer<BDPortfolioAdd> first = fx.open();
    TzDialog *frame = fx.frame();
    fx.pick(QStringLiteral("600519"));
    QCOMPARE(fx.defaultRows().size(), 1);
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
    BDPortfolioAdd *second = fx.open();
    QCOMPARE(fx.frame(), frame);
    QVERIFY(second && frame->isVisible());
    QCOMPARE(fx.defaultRows().size(), 0);
    QVERIFY(!second->isBusy());

    // Escape (or the window's close button) cancels the same way.
    fx.pick(QStringLiteral("600036"));
    QPointer<BDPortfolioAdd> escaped = second;
    QTest::keyClick(frame, Qt::Key_Escape);
    QVERIFY(!frame->isVisible());
    QTRY_VERIFY(!escaped);
    QCOMPARE(fx.rows(), rows);
    second = fx.open();
    QCOMPARE(fx.defaultRows().size(), 0);

    // After a success, too.
    fx.pick(QStringLiteral("000001"));
    fx.confirm();
    QTRY_VERIFY(!frame->isVisible());
    BDPortfolioAdd *third = fx.open();
    QVERIFY(third && third != second);
    QVERIFY(!third->isBusy());
    QCOMPARE(fx.defaultRows().size(), 0);
    QCOMPARE(fx.name()->text(), QStringLiteral("新建组合1"));
}

void tst_PortfolioAdd::rebalanceModeAndCtrlN()
{
    AddPage fx;
    QVERIFY(fx.ready());
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
    // By hand the keyboard starts in the code box: typing at once adds a line.
    QVERIFY(QTest::qWaitForWindowActive(fx.frame()));
    QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget *>(fx.search()));
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("600519"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(fx.defaultRows(), QStringList{QStringLiteral("600519.SH@SH")});
}

void tst_PortfolioAdd::searchAddsRowsAndMovesDuplicatesToTheOtherMarket()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    fx.pick(QStringLiteral("600519"));
    fx.pick(QStringLiteral("gzmt"));  // initials of 贵州茅台: one market only, refused
    QCOMPARE(fx.defaultRows(), QStringList{QStringLiteral("600519.SH@SH")});
    QCOMPARE(fx.boxes.last(), QStringLiteral("组合创建失败：存在相同代码（+市场）：600519 （上交所）。"));

    // A Stock Connect stock trades on two links: the second pick takes the other one.
    fx.pick(QStringLiteral("00700"));
    fx.pick(QStringLiteral("腾讯"));
    QCOMPARE(fx.defaultRows(), (QStringList{QStringLiteral("600519.SH@SH"), QStringLiteral("00700.HK@HHK"),
                                            QStringLiteral("00700.HK@SZHK")}));
    fx.boxes.shown.clear();
    fx.pick(QStringLiteral("00700"));
    QCOMPARE(fx.defaultRows().size(), 3);
    QCOMPARE(fx.boxes.last(), QStringLiteral("组合创建失败：存在相同代码（+市场）：00700 （沪港通）。"));

    const RowRecord row = fx.defaultTable()->getRowData(0);
    QCOMPARE(row.value(Name).value(RecordRole::display).toString(), QStringLiteral("贵州茅台"));
    QCOMPARE(row.value(Market).value(RecordRole::display).toString(), QStringLiteral("上交所"));
    QCOMPARE(row.value(Side).value(RecordRole::display).toString(), OrderSide::buy);

    // A restricted security never reaches a row, even when handed over directly.
    fx.list()->addDialog()->onInsertTableDataSLot(QStringLiteral("600087.SH"), Exchange::sh);
    QCOMPARE(fx.defaultRows().size(), 3);
}

void tst_PortfolioAdd::editorsOfTheDefaultTable()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    fx.pick(QStringLiteral("00700"));
    fx.pick(QStringLiteral("600519"));
    TzTableView *table = fx.defaultTable();
    QAbstractItemDelegate *delegate = table->itemDelegate();
    QStyleOptionViewItem option;
    auto editorAt = [&](int row, int column) {
        return std::unique_ptr<QWidget>(
            delegate->createEditor(table->viewport(), option, table->recordModel()->index(row, column)));
    };
    auto market = editorAt(0, Market);
    auto *combo = qobject_cast<QComboBox *>(market.get());
    QVERIFY(combo);
    QCOMPARE(combo->objectName(), QStringLiteral("cbx_exchange"));
    QCOMPARE(combo->count(), 2);
    QCOMPARE(combo->itemData(1).toString(), Exchange::szhk);
    auto sides = editorAt(1, Side);
    auto *sideCombo = qobject_cast<QComboBox *>(sides.get());
    QVERIFY(sideCombo);
    QStringList offered;
    for (int i = 0; i < sideCombo->count(); ++i)
        offered << sideCombo->itemText(i);
    QCOMPARE(offered, PortfolioAddRows::sides());
    QCOMPARE(offered.size(), 10);
    QCOMPARE(offered.first(), QStringLiteral("未指定"));
    QCOMPARE(offered.last(), QStringLiteral("直接还券"));
    for (int column : {int(Code), int(Name), int(AbsWeight)})
        QVERIFY(!editorAt(0, column));

    QVERIFY(fx.edit(0, Market, QStringLiteral("深港通")));
    QVERIFY(fx.edit(1, Side, QStringLiteral("融券卖出")));
    QCOMPARE(marketOf(table->getRowData(0)), Exchange::szhk);
    QCOMPARE(table->getRowData(1).value(Side).value(RecordRole::display).toString(), QStringLiteral("融券卖出"));
    // A refused weight keeps the old one; an accepted one is taken.
    QVERIFY(fx.edit(0, RelWeight, QStringLiteral("00")));
    QCOMPARE(relWeightOf(table->getRowData(0)), 1.0);
    QVERIFY(fx.edit(0, RelWeight, QStringLiteral("3.25")));
    QCOMPARE(relWeightOf(table->getRowData(0)), 3.25);

    // At the keyboard, in the open dialog: the side list opens with the edit, the arrows
    // move in it, Enter takes the side. An arrow on a closed list opens it rather than
    // taking the next side and ending the edit.
    fx.frame()->show();
    QVERIFY(QTest::qWaitForWindowExposed(fx.frame()));
    const QModelIndex side = table->recordModel()->index(0, Side);
    table->setCurrentIndex(side);
    table->edit(side);
    auto *sideEditor = qobject_cast<QComboBox *>(table->indexWidget(side));
    QVERIFY(sideEditor);
    QTRY_VERIFY(sideEditor->view()->isVisible());
    sideEditor->hidePopup();
    QTest::keyClick(sideEditor, Qt::Key_Down);
    QVERIFY(sideEditor->view()->isVisible());
    QCOMPARE(table->getRowData(0).value(Side).value(RecordRole::display).toString(), OrderSide::buy);
    for (int i = 0; i < 6; ++i)
        QTest::keyClick(sideEditor->view(), Qt::Key_Down);
    QTest::keyClick(sideEditor->view(), Qt::Key_Return);
    QTRY_COMPARE(table->getRowData(0).value(Side).value(RecordRole::display).toString(), QStringLiteral("融券卖出"));
}

void tst_PortfolioAdd::relativeWeightEditor_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("accepted");
    for (const char *text : {"0", "0.0", "00", "0.", "1x5"})
        QTest::newRow(text) << QString::fromLatin1(text) << false;
    for (const char *text : {"0.5", "12", "3.25"})
        QTest::newRow(text) << QString::fromLatin1(text) << true;
}

void tst_PortfolioAdd::relativeWeightEditor()
{
    QFETCH(QString, typed);
    QFETCH(bool, accepted);
    RelWeightValidator validator;
    QCOMPARE(validator.regularExpression().pattern(),
             QStringLiteral("^(?:[1-9][0-9]*(.)?([0-9]+)?|0(.)?((?!0+$)[0-9]+)?)$"));
    int pos = 0;
    QCOMPARE(validator.validate(typed, pos) == QValidator::Acceptable, accepted);
}

void tst_PortfolioAdd::quantityEditorHonoursTheRowLimit()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    fx.pick(QStringLiteral("688981"));  // STAR: one order of at most 100,000 shares
    fx.pick(QStringLiteral("600519"));  // main board: 1,000,000
    QStyleOptionViewItem option;
    std::unique_ptr<QWidget> editor(fx.defaultTable()->itemDelegate()->createEditor(
        fx.defaultTable()->viewport(), option, fx.defaultTable()->recordModel()->index(0, Quantity)));
    auto *bounds = qobject_cast<const QIntValidator *>(qobject_cast<QLineEdit *>(editor.get())->validator());
    QVERIFY(bounds);
    QCOMPARE(bounds->bottom(), 0);
    QCOMPARE(bounds->top(), 100000);
    QVERIFY(fx.edit(0, Quantity, QStringLiteral("100001")));
    QCOMPARE(quantityOf(fx.defaultTable()->getRowData(0)), qint64(10000));  // the 6th digit was refused
    QVERIFY(fx.edit(1, Quantity, QStringLiteral("1000000")));
    QCOMPARE(quantityOf(fx.defaultTable()->getRowData(1)), qint64(1000000));
    QVERIFY(fx.edit(1, Quantity, QStringLiteral("12a3")));
    QCOMPARE(quantityOf(fx.defaultTable()->getRowData(1)), qint64(123));

    // Typing on a focused quantity cell starts the edit with the typed digit.
    TzTableView *table = fx.defaultTable();
    fx.frame()->show();
    QVERIFY(QTest::qWaitForWindowActive(fx.frame()));
    table->setFocus();
    table->setCurrentIndex(table->recordModel()->index(1, Quantity));
    for (QChar digit : QStringLiteral("2500"))  // each key to whatever has the focus
        QTest::keyClick(QApplication::focusWidget(), digit.toLatin1());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QTRY_COMPARE(quantityOf(table->getRowData(1)), qint64(2500));

    auto *delegate = qobject_cast<CDefaultPorfoliodelegate *>(fx.defaultTable()->itemDelegate());
    delegate->setUnlimited(true);
    QVERIFY(fx.edit(0, Quantity, QStringLiteral("9999999999")));
    QCOMPARE(quantityOf(fx.defaultTable()->getRowData(0)), qint64(999999999));
}

void tst_PortfolioAdd::weightsFollowTheListsRule()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    fx.pick(QStringLiteral("600519"));
    fx.pick(QStringLiteral("000001"));
    fx.pick(QStringLiteral("600036"));
    auto absOf = [&](int row) { return fx.defaultTable()->getRowData(row).value(AbsWeight).value(RecordRole::user).toDouble(); };
    // No quantities yet: the weights decide, equal by default.
    for (int r = 0; r < 3; ++r)
        QVERIFY(qAbs(absOf(r) - 100.0 / 3) < 1e-9);
    QVERIFY(fx.edit(2, RelWeight, QStringLiteral("2")));
    QVERIFY(qAbs(absOf(2) - 50.0) < 1e-9 && qAbs(absOf(0) - 25.0) < 1e-9);

    // Every line with a quantity: shares by value at the previous close.
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    const double v0 = 100 * catalog.bySymbol(QStringLiteral("600519.SH"))->preClosePx;
    const double v1 = 1000 * catalog.bySymbol(QStringLiteral("000001.SZ"))->preClosePx;
    const double v2 = 300 * catalog.bySymbol(QStringLiteral("600036.SH"))->preClosePx;
    QVERIFY(fx.edit(0, Quantity, QStringLiteral("100")));
    QVERIFY(fx.edit(1, Quantity, QStringLiteral("1000")));
    QVERIFY(fx.edit(2, Quantity, QStringLiteral("300")));
    QVERIFY(qAbs(absOf(0) - 100 * v0 / (v0 + v1 + v2)) < 1e-9);

    // A weight typed then makes its line weighted: its quantity goes back to 0.
    QVERIFY(fx.edit(1, RelWeight, QStringLiteral("3")));
    QCOMPARE(quantityOf(fx.defaultTable()->getRowData(1)), qint64(0));
    QVERIFY(qAbs(absOf(1) - 50.0) < 1e-9);

    // What the dialog shows is what the portfolio stores.
    fx.confirm();
    QTRY_VERIFY(!fx.frame()->isVisible());
    const PortfolioDetailBasicInfo stored = storedByName(QStringLiteral("新建组合"));
    QCOMPARE(stored.SymbolList().size(), 3);
    QVERIFY(qAbs(stored.SymbolList().at(1).AbsWeight() - 50.0) < 1e-9);
    QVERIFY(qAbs(stored.SymbolList().at(0).AbsWeight() - 100.0 / 6) < 1e-9);
}

void tst_PortfolioAdd::deleteRemovesTheSelectedRows()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    for (const char *code : {"600519", "000001", "600036", "300750"})
        fx.pick(QString::fromLatin1(code));
    TzTableView *table = fx.defaultTable();
    table->selectionModel()->clearSelection();
    for (int row : {1, 3})
        table->selectionModel()->select(table->recordModel()->index(row, 0),
                                        QItemSelectionModel::Select | QItemSelectionModel::Rows);
    fx.in<QPushButton>("pushButton_delete")->click();
    QCOMPARE(fx.defaultRows(), (QStringList{QStringLiteral("600519.SH@SH"), QStringLiteral("600036.SH@SH")}));
    QVERIFY(qAbs(table->getRowData(0).value(AbsWeight).value(RecordRole::user).toDouble() - 50.0) < 1e-9);
    table->selectionModel()->clearSelection();
    fx.in<QPushButton>("pushButton_delete")->click();
    QCOMPARE(fx.boxes.last(), QStringLiteral("请选择要删除的数据"));
    QCOMPARE(fx.defaultRows().size(), 2);
}

void tst_PortfolioAdd::refusalsKeepTheDialogAndItsInput_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("page");
    QTest::addColumn<bool>("withRow");
    QTest::addColumn<QString>("message");
    // An empty name is refused before the name is looked up.
    QTest::newRow("empty name") << "" << 0 << true << "组合名称为空!";
    QTest::newRow("blank name") << "   " << 0 << true << "组合名称为空!";
    QTest::newRow("control character") << "篮子\t一" << 0 << true << "组合创建失败：组合名称含有无法保存的字符！";
    QTest::newRow("taken name") << "银行股组合" << 0 << true << "组合创建失败：组合名称重复。";
    QTest::newRow("no rows") << "新组合" << 0 << false << kNoData;
    QTest::newRow("no ETF chosen") << "新组合" << 4 << false << kNoData;
    QTest::newRow("no industry chosen") << "新组合" << 5 << false << kNoData;
    QTest::newRow("no short-sale rows") << "新组合" << 1 << false << kNoData;
    QTest::newRow("no rebalance rows") << "新组合" << 2 << false << kNoData;
    QTest::newRow("no positions") << "新组合" << 3 << false << kNoData;
}

void tst_PortfolioAdd::refusalsKeepTheDialogAndItsInput()
{
    QFETCH(QString, name);
    QFETCH(int, page);
    QFETCH(bool, withRow);
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open();
    if (withRow)
        fx.pick(QStringLiteral("600519"));
    fx.tabs()->setCurrentIndex(page);
    // The position page fills itself with the account's holdings, all chosen; none of
    // them is chosen here.
    for (auto *table : dialog->findChildren<TzTableView *>()) {
        if (fx.tabs()->currentWidget()->isAncestorOf(table) && table->recordModel()->isCheckable())
            table->setAllCheckBoxChecked(false);
    }
    fx.name()->setText(name);
    QSignalSpy created(dialog, &BDPortfolioAdd::signalNewPortfolioData);
    const QStringList before = PageFixture::backendNames();
    fx.confirm();
    QTEST(fx.boxes.last(), "message");
    QCOMPARE(fx.boxes.shown.last().kind, VeltraWidget::MsgBoxKind::Error);
    QCOMPARE(created.count(), 0);
    QVERIFY(fx.frame()->isVisible());
    QCOMPARE(fx.list()->addDialog(), dialog);
    QCOMPARE(fx.name()->text(), name.trimmed());
    QCOMPARE(fx.defaultRows().size(), withRow ? 1 : 0);
    QVERIFY(!dialog->isBusy());
    QCOMPARE(PageFixture::backendNames(), before);
}

void tst_PortfolioAdd::manualPortfolioEndToEnd()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    fx.pick(QStringLiteral("600519"));
    fx.pick(QStringLiteral("00700"));
    QVERIFY(fx.edit(0, Quantity, QStringLiteral("200")));
    QVERIFY(fx.edit(1, Quantity, QStringLiteral("500")));
    QVERIFY(fx.edit(1, Side, QStringLiteral("卖出")));
    fx.name()->setText(QStringLiteral(" 手工篮子  "));  // padding is dropped, not refused
    fx.in<QLineEdit>("m_pStrategyEdit")->clear();  // an empty label is filed under "无"
    fx.in<VeltraSpinBox>("m_pNumberEdit")->setValue(3);
    const int rows = fx.rows();
    fx.confirm();

    QTRY_VERIFY(!fx.frame()->isVisible());
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
    QCOMPARE(hk.Symbol(), QStringLiteral("00700.HK"));
    QCOMPARE(hk.SymbolExchange(), Exchange::hhk);
    QCOMPARE(hk.Quantity(), qint64(500));
    QCOMPARE(hk.Side(), OrderSide::sell);
}

void tst_PortfolioAdd::backEndRefusalLeavesNothingAndAllowsAnotherTry()
{
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open();
    fx.pick(QStringLiteral("600519"));
    fx.name()->setText(QStringLiteral("第二次才成"));
    const int rows = fx.rows();
    const QStringList before = PageFixture::backendNames();
    // The lines are refused after the header was written: the header is rolled back.
    fx.backend.faults().failNext(MsgType::alterPortfolioDetailRequest, QStringLiteral("明细写入失败"));
    fx.confirm();
    QVERIFY(fx.boxes.last().startsWith(QStringLiteral("组合后台数据添加失败：")));
    QVERIFY(fx.boxes.last().contains(QStringLiteral("明细写入失败")));
    QTest::qWait(20);
    QVERIFY(fx.frame()->isVisible());
    QCOMPARE(fx.list()->addDialog(), dialog);
    QVERIFY(!dialog->isBusy());
    QCOMPARE(fx.defaultRows().size(), 1);
    QCOMPARE(fx.rows(), rows);
    QCOMPARE(PageFixture::backendNames(), before);
    QVERIFY(!PortfolioListBasicInfo::GetInstance()->getAllPortfolioName().contains(QStringLiteral("第二次才成")));

    // A time-out is a refusal too.
    TestBackend::setTimeoutMs(200);
    fx.backend.faults().dropNext(MsgType::alterPortfolioRequest);
    fx.confirm();
    QVERIFY(fx.boxes.last().contains(QStringLiteral("请求超时")));
    QVERIFY(!dialog->isBusy());
    TestBackend::setTimeoutMs(5000);

    fx.confirm();
    QTRY_VERIFY2(!fx.frame()->isVisible(), qPrintable(fx.boxes.texts().join(QLatin1Char('|'))));
    QCOMPARE(fx.rows(), rows + 1);
    QVERIFY(PageFixture::backendNames().contains(QStringLiteral("第二次才成")));
}

void tst_PortfolioAdd::secondConfirmEmitsNothing()
{
    TestBackend backend;
    QVERIFY(backend.ready());
    PortfolioListBasicInfo::GetInstance()->clear();
    BDPortfolioAdd dialog;
    dialog.setAttribute(Qt::WA_DeleteOnClose, false);
    QSignalSpy created(&dialog, &BDPortfolioAdd::signalNewPortfolioData);
    dialog.onInsertTableDataSLot(QStringLiteral("600519.SH"), Exchange::sh);
    auto *confirm = dialog.findChild<QPushButton *>(QStringLiteral("pushButton_confirm"));
    confirm->click();
    QCOMPARE(created.count(), 1);
    QVERIFY(created.at(0).at(1).toBool());
    QCOMPARE(created.at(0).at(2).toInt(), 0);
    confirm->click();
    QCOMPARE(created.count(), 1);
    QVERIFY(dialog.isBusy());
}

void tst_PortfolioAdd::rebalanceSplitsBySideBuyFirst()
{
    QList<PortfolioItem> items;
    for (const QString &side : PortfolioAddRows::sides()) {
        PortfolioItem item;
        item.setSide(side);
        items << item;
    }
    QList<PortfolioItem> buy, sell;
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
    auto *table = dialog.findChild<TzTableView *>(QStringLiteral("tableView_PR"));
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    auto fill = [&](const QStringList &sidesOfRows) {
        QList<RowRecord> rows;
        for (int i = 0; i < sidesOfRows.size(); ++i) {
            const SecurityInfo *s = catalog.bySymbol(i % 2 ? QStringLiteral("000001.SZ") : QStringLiteral("600519.SH"));
            rows << securityRow(*s, s->markets.first(), 100 * (i + 1), 1.0, sidesOfRows.at(i), ShowPlain, false);
        }
        table->updateRecordDataList(rows);
        table->setAllCheckBoxChecked(true);
    };
    dialog.findChild<QCheckBox *>(QStringLiteral("checkBox_bySide"))->setChecked(true);
    auto *confirm = dialog.findChild<QPushButton *>(QStringLiteral("pushButton_confirm"));

    {
        fill({OrderSide::sell, OrderSide::buy});
        QSignalSpy created(&dialog, &BDPortfolioAdd::signalNewPortfolioData);
        confirm->click();
        QCOMPARE(created.count(), 2);
        const auto first = created.at(0).at(0).value<PortfolioDetailBasicInfo>();
        const auto second = created.at(1).at(0).value<PortfolioDetailBasicInfo>();
        QCOMPARE(first.Name(), QStringLiteral("调仓组合(买)"));
        QCOMPARE(second.Name(), QStringLiteral("调仓组合(卖)"));
        QCOMPARE(first.SymbolList().size(), 1);
        QCOMPARE(first.SymbolList().at(0).Symbol(), QStringLiteral("000001.SZ"));
        QCOMPARE(second.SymbolList().at(0).Quantity(), qint64(100));
        QCOMPARE(first.ExtensionDescription().value(Portfolio::portType).toString(), PortType::rebalance);
    }
    dialog.onAddPortfolioFailed(QStringLiteral("again"));
    {
        fill({OrderSide::buy, OrderSide::buy});
        QSignalSpy created(&dialog, &BDPortfolioAdd::signalNewPortfolioData);
        confirm->click();
        QCOMPARE(created.count(), 1);
        QCOMPARE(created.at(0).at(0).value<PortfolioDetailBasicInfo>().Name(), QStringLiteral("调仓组合(买)"));
    }
    dialog.onAddPortfolioFailed(QStringLiteral("again"));
    {
        // Lines on neither side (unspecified, direct return) give nothing to split.
        fill({QStringLiteral("未指定"), QStringLiteral("直接还券")});
        QSignalSpy created(&dialog, &BDPortfolioAdd::signalNewPortfolioData);
        MsgBoxRecorder boxes;
        confirm->click();
        QCOMPARE(created.count(), 0);
        QCOMPARE(boxes.last(), kNoData);
    }
}

void tst_PortfolioAdd::oneSideRefusedKeepsTheDialogOpen_data()
{
    QTest::addColumn<bool>("buyRefused");  // the buy portfolio is sent first
    QTest::newRow("sell refused") << false;
    QTest::newRow("buy refused, sell created after it") << true;
}

void tst_PortfolioAdd::oneSideRefusedKeepsTheDialogOpen()
{
    QFETCH(bool, buyRefused);
    const QString created = buyRefused ? QStringLiteral("调仓组合(卖)") : QStringLiteral("调仓组合(买)");
    const QString refused = buyRefused ? QStringLiteral("调仓组合(买)") : QStringLiteral("调仓组合(卖)");
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open(1);
    auto *table = fx.in<TzTableView>("tableView_PR");
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    const SecurityInfo *a = catalog.bySymbol(QStringLiteral("600519.SH"));
    const SecurityInfo *b = catalog.bySymbol(QStringLiteral("000001.SZ"));
    table->updateRecordDataList({securityRow(*a, Exchange::sh, 100, 1.0, OrderSide::buy, ShowPlain, false),
                                 securityRow(*b, Exchange::sz, 500, 1.0, OrderSide::sell, ShowPlain, false)});
    table->setAllCheckBoxChecked(true);
    fx.in<QCheckBox>("checkBox_bySide")->setChecked(true);
    // One portfolio's header is refused; the other passes.
    if (!buyRefused)
        fx.backend.faults().delayNext(MsgType::alterPortfolioRequest, 0);
    fx.backend.faults().failNext(MsgType::alterPortfolioRequest, QStringLiteral("组合被拒"));
    fx.confirm();
    QVERIFY(PageFixture::backendNames().contains(created));
    QVERIFY(!PageFixture::backendNames().contains(refused));
    QVERIFY(fx.boxes.texts().join(QLatin1Char('|')).contains(QStringLiteral("组合被拒")));
    QTest::qWait(20);
    QCOMPARE(fx.list()->addDialog(), dialog);
    QVERIFY(fx.frame()->isVisible());
    QVERIFY(!dialog->isBusy());
    QCOMPARE(table->recordModel()->rowCount(), 2);

    // Confirming again creates the refused portfolio only; the other stays single.
    const int listed = fx.rows();
    fx.confirm();
    QTRY_VERIFY(!fx.frame()->isVisible());
    QCOMPARE(fx.rows(), listed + 1);
    QCOMPARE(PageFixture::backendNames().count(QStringLiteral("调仓组合(买)")), 1);
    QCOMPARE(PageFixture::backendNames().count(QStringLiteral("调仓组合(卖)")), 1);
}

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
        const QString text = tree->model()->index(r, 0, root).data().toString();
        const QString id = tree->getRowData(tree->model()->index(r, 0, root)).value(0).value(Security::securityID).toString();
        QVERIFY2(text.startsWith(id + QStringLiteral("  ")), qPrintable(text));
    }

    fx.tabs()->setCurrentIndex(BDPortfolioAdd::PageEtf);
    QVERIFY(fx.doubleClickTree(tree, QStringLiteral("510050")));
    auto *table = fx.in<TzTableView>("tableWidget_ETF");
    const QList<QVariantMap> components = ETFLogicHandler::instance().getEtfComponentList(QStringLiteral("510050"));
    QTRY_COMPARE(table->recordModel()->rowCount(), components.size());
    QCOMPARE(table->getCheckedRows().size(), components.size());
    QCOMPARE(fx.in<QLabel>("label_selection")->text(),
             QStringLiteral("已选 %1 / %1").arg(components.size()));

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
    const QVariantMap third = components.at(2);
    const PortfolioItem line = stored.SymbolList().at(0);
    QCOMPARE(line.Symbol(), third.value(Security::symbol).toString());
    QCOMPARE(line.Quantity(), third.value(Security::nominalQty).toLongLong());
    QCOMPARE(line.Side(), OrderSide::buy);
    const TestBackend::Answer answer = TestBackend::request(
        MsgType::queryPortfolioRequest, {{RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount()}});
    PortfolioDetailBasicInfo onBackend;
    for (const QVariantMap &row : answer.body.rows()) {
        if (row.value(RequestField::portfolioName).toString() == QStringLiteral("上证50篮子"))
            onBackend = PortfolioWireFormat::portfolioFromRow(row);
    }
    QCOMPARE(onBackend.SymbolList().size(), components.size() - 2);
}

void tst_PortfolioAdd::laterEtfDoubleClickWins()
{
    AddPage fx;
    QVERIFY(fx.ready());
    fx.open();
    fx.tabs()->setCurrentIndex(BDPortfolioAdd::PageEtf);
    auto *tree = fx.in<TzTreeView>("treeView_ETF");
    QVERIFY(fx.doubleClickTree(tree, QStringLiteral("510300")));
    QVERIFY(fx.doubleClickTree(tree, QStringLiteral("510050")));
    auto *table = fx.in<TzTableView>("tableWidget_ETF");
    const int fifty = ETFLogicHandler::instance().getEtfComponentList(QStringLiteral("510050")).size();
    QTRY_COMPARE(table->recordModel()->rowCount(), fifty);
    QTest::qWait(100);  // the first answer, if late, must not replace the second
    QCOMPARE(table->recordModel()->rowCount(), fifty);
    QCOMPARE(fx.boxes.shown.size(), 0);
}

void tst_PortfolioAdd::etfWithoutComponentsShowsTheTip()
{
    AddPage fx;
    QVERIFY(fx.ready());
    BDPortfolioAdd *dialog = fx.open();
    fx.tabs()->setCurrentIndex(BDPortfolioAdd::PageEtf);
    RowRecord child;
    child[0] = {{RecordRole::display, QStringLiteral("519999  无成分ETF")},
                {Security::securityID, QStringLiteral("519999")},
                {Security::symbol, QStringLiteral("519999.SH")}};
    RowRecord root;
    root[0] = {{RecordRole::display, QStringLiteral("ETF组合")},
               {TreeRecord::children, QVariant::fromValue(QList<RowRecord>{child})}};
    dialog->slotRelodadETFList({root});
    QVERIFY(fx.doubleClickTree(fx.in<TzTreeView>("treeView_ETF"), QStringLiteral("519999")));
    QTRY_COMPARE(fx.boxes.last(), QStringLiteral("519999未能获取有效ETF成分券数据!"));
    QCOMPARE(fx.boxes.shown.last().kind, VeltraWidget::MsgBoxKind::Tip);
    QCOMPARE(fx.in<TzTableView>("tableWidget_ETF")->recordModel()->rowCount(), 0);
    fx.confirm();
    QCOMPARE(fx.boxes.last(), kNoData);
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
        QList<QWidget *> texts;
        for (QWidget *w : dialog->findChildren<QWidget *>()) {
            if ((qobject_cast<QAbstractButton *>(w) || qobject_cast<QLabel *>(w)) && w->isVisible()
                && !w->objectName().isEmpty() && !w->objectName().startsWith(QLatin1String("qt_"))
                && (current->isAncestorOf(w) || !fx.tabs()->isAncestorOf(w)))
                texts << w;
        }
        for (QWidget *w : texts) {
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

