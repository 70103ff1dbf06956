// The commands of the portfolio list on the real page over a real embedded back end: file
// import, copy, delete (selection, Delete key, context menu), reordering, renaming in
// place, the modify dialog, the common add and alter path under back-end faults and the
// template menu. A change must reach the back end before store and table show it, and a
// refused or failed change must leave all three as they were.

#include "pagefixture.h"

#include "portfolioimportfile.h"
#include "portfoliowireformat.h"
#include "tzdialog.h"
#include "veltrautils.h"

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <functional>

namespace {

const QString kPending = QStringLiteral("待完成批次组合");  // seeded with a working batch
const QString kBanks = QStringLiteral("银行股组合");
const QString kCsi = QStringLiteral("沪深300前20");
const QString kDeleteQuestion = QStringLiteral("确定删除选中的组合？");

const QString kCsvHeader = QStringLiteral("证券代码,市场,委托方向,委托数量,相对权重");
const QStringList kGoodLines = {QStringLiteral("600519,SH,买入,100,0.5"), QStringLiteral("000001,SZ,买入,200,0.5")};
const QStringList kBadLines = {QStringLiteral("601318,XX,买入,100,0.5"), QStringLiteral("000002,SZ,买入,abc,0.5")};

bool writeCsv(const QString &path, const QStringList &lines)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    const QByteArray data = (QStringList{kCsvHeader} + lines).join(QLatin1Char('\n')).toUtf8() + '\n';
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

// The file dialogs of one test: the open dialog answers openPath (empty: cancelled), the
// save dialog puts the suggested file into saveFolder.
struct FileDialogs
{
    FileDialogs()
    {
        VeltraUtils::setOpenFileNameHook([this](QWidget *, const QString &, const QString &,
                                                const QString &) { return openPath; });
        VeltraUtils::setSaveFileNameHook([this](QWidget *, const QString &, const QString &name) {
            saved << QDir(saveFolder).filePath(name);
            return saved.last();
        });
    }
    ~FileDialogs()
    {
        VeltraUtils::setOpenFileNameHook({});
        VeltraUtils::setSaveFileNameHook({});
    }
    QString openPath;
    QString saveFolder;
    QStringList saved;
};

QList<QVariantMap> queryRows(const QString &type)
{
    return TestBackend::request(type, {{RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount()}})
        .body.rows();
}

PortfolioDetailBasicInfo backendPortfolio(const QString &portfolioNo)
{
    for (const QVariantMap &row : queryRows(MsgType::queryPortfolioRequest)) {
        if (row.value(RequestField::portfolioNo).toString() == portfolioNo)
            return PortfolioWireFormat::portfolioFromRow(row);
    }
    return PortfolioDetailBasicInfo();
}

QStringList backendStrategyNames()
{
    QStringList names;
    for (const QVariantMap &row : queryRows(MsgType::queryStrategyRequest))
        names << row.value(RequestField::strategyName).toString();
    return names;
}

// Lines as "symbol side quantity", enough to tell one basket from another.
QStringList linesOf(const PortfolioDetailBasicInfo &p)
{
    QStringList lines;
    for (const PortfolioItem &item : p.SymbolList())
        lines << QStringLiteral("%1 %2 %3").arg(item.Symbol(), item.Side()).arg(item.Quantity());
    return lines;
}

PortfolioDetailBasicInfo stored(const QString &portfolioNo)
{
    auto *p = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(portfolioNo);
    return p ? *p : PortfolioDetailBasicInfo();
}

// The names as the table, the back end and the store list them, one line each, and the
// same three lines as they should read: a change shows in all three or in none.
QStringList namesEverywhere(const QStringList &table)
{
    return {table.join(QLatin1Char('|')), PageFixture::backendNames().join(QLatin1Char('|')),
            PortfolioListBasicInfo::GetInstance()->getAllPortfolioName().join(QLatin1Char('|'))};
}
QStringList thrice(const QStringList &names)
{
    const QString line = names.join(QLatin1Char('|'));
    return {line, line, line};
}

QAction *menuAction(QMenu *menu, const QString &text)
{
    for (QAction *action : menu->actions()) {
        if (action->text() == text || action->objectName() == text)
            return action;
    }
    return nullptr;
}

// The page fixture with the table gestures of a trader.
struct Page : PageFixture
{
    QModelIndex at(int row, int col = 0) const { return table()->recordModel()->index(row, col); }
    QPoint centreOf(int row) const { return table()->visualRect(at(row)).center(); }
    QString numberAt(int row) const { return cell(row, 8); }
    int currentRow() const { return table()->currentIndex().row(); }
    void makeCurrent(int row) { table()->setCurrentIndex(at(row), true); }
    QLineEdit *nameEditor(int row) const { return qobject_cast<QLineEdit *>(table()->indexWidget(at(row))); }
    QMenu *menu(const QString &name) const { return list()->findChild<QMenu *>(name); }
    QMenu *contextMenu() const { return menu(QStringLiteral("PortfoliosListContextMenu")); }

    // Renames the banks portfolio to 25 characters, which leave no room for a number.
    QString longBanksName()
    {
        PortfolioDetailBasicInfo renamed = stored(numberAt(rowOfName(kBanks)));
        renamed.setName(QString(25, QLatin1Char('L')));
        return list()->modifyPortfolioName(renamed) == QLatin1String("0") ? renamed.Name() : QString();
    }

    bool show()
    {
        page->show();
        page->activateWindow();
        return QTest::qWaitForWindowActive(page.get());
    }

    void selectRows(const QStringList &names)
    {
        table()->selectionModel()->clearSelection();
        for (const QString &name : names)
            table()->selectionModel()->select(
                at(rowOfName(name)), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }

    // Right button on the row (which makes it current), the menu opens over it, the item
    // is picked. False when the menu did not open.
    bool pickFromContextMenu(int row, const QString &item)
    {
        QWidget *viewport = table()->viewport();
        const QPoint pos = centreOf(row);
        QTest::mousePress(viewport, Qt::RightButton, {}, pos);
        QTest::mouseRelease(viewport, Qt::RightButton, {}, pos);
        QContextMenuEvent event(QContextMenuEvent::Mouse, pos, viewport->mapToGlobal(pos));
        QApplication::sendEvent(list(), &event);
        QMenu *menu = contextMenu();
        if (!menu || !menu->isVisible())
            return false;
        menuAction(menu, item)->trigger();
        menu->hide();
        return true;
    }

    // A real double click (press, release, double click, release); returns the editor.
    QLineEdit *doubleClickName(int row)
    {
        QWidget *viewport = table()->viewport();
        QTest::mouseClick(viewport, Qt::LeftButton, {}, centreOf(row));
        QTest::mouseDClick(viewport, Qt::LeftButton, {}, centreOf(row));
        QTest::mouseRelease(viewport, Qt::LeftButton, {}, centreOf(row));
        return nameEditor(row);
    }
};

// Works the modal dialog a command opens, as the trader would: act runs once the dialog
// is up. A dialog still open afterwards is cancelled (stillOpen says so), so a wrong
// expectation cannot leave the test waiting for ever.
class ModalDriver
{
public:
    explicit ModalDriver(std::function<void(TzDialog *)> act)
        : m_act(std::move(act))
    {
        m_poll.setInterval(10);
        QObject::connect(&m_poll, &QTimer::timeout, [this] { poll(); });
        m_poll.start();
    }

    QString title;  // empty when no dialog opened
    bool stillOpen = false;

private:
    void poll()
    {
        auto *dialog = qobject_cast<TzDialog *>(QApplication::activeModalWidget());
        if (!dialog) {
            if (++m_polls > 500)
                m_poll.stop();
            return;
        }
        m_poll.stop();
        title = dialog->title();
        m_act(dialog);
        stillOpen = dialog->isVisible();
        if (stillOpen)
            dialog->reject();
    }

    std::function<void(TzDialog *)> m_act;
    QTimer m_poll;
    int m_polls = 0;
};

void setField(TzDialog *dialog, const char *name, const QString &text)
{
    if (auto *edit = dialog->findChild<QLineEdit *>(QLatin1String(name)))
        edit->setText(text);
}

void press(TzDialog *dialog, const char *name)
{
    if (auto *button = dialog->findChild<QPushButton *>(QLatin1String(name)))
        button->click();
}

} // namespace

class tst_ListCommands : public QObject
{
    Q_OBJECT

private slots:
    void import_data();
    void import();

    void commandsNeedCurrentRow();
    void copy();

    void remove_data();
    void remove();
    void deleteCurrentRunsClickAgain();

    void reorder();
    void renameInPlace();
    void modify();
    void changeRollsBack();
    void templatesAndPanelLines();
};

// ---- File import --------------------------------------------------------------------

void tst_ListCommands::import_data()
{
    QTest::addColumn<QString>("file");  // empty: the trader cancels the file dialog
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<int>("answer");
    QTest::addColumn<QStringList>("boxes");  // %1 = what the file reader says of the file
    QTest::addColumn<QString>("name");  // of the new portfolio; empty: nothing added

    const QString ok = QStringLiteral("组合导入成功！");
    const QString partly =
        QStringLiteral("组合部分数据未通过校验，原因：\r\n%1 请确认是否继续导入通过检验部分？");
    const QString thirty = QStringLiteral("一二三四五六七八九十").repeated(3);
    const QString renamed = QStringLiteral("组合导入成功，组合名称重复，已修改为%1！");
    const QString longName(25, QLatin1Char('L'));  // the banks portfolio's name in that row
    const QStringList mixed = {kGoodLines.at(0), kBadLines.at(0), kGoodLines.at(1)};
    QTest::newRow("dialog cancelled")
        << QString() << QStringList() << 1 << QStringList() << QString();
    QTest::newRow("name is the file name up to the dot") << QStringLiteral("a/b/组合.csv")
        << kGoodLines << 1 << QStringList{ok} << QStringLiteral("组合");
    QTest::newRow("long name cut to 25 characters") << thirty + QStringLiteral(".csv")
        << kGoodLines << 1 << QStringList{ok} << thirty.left(25);
    QTest::newRow("first dot ends the name")
        << QStringLiteral("x.y.csv") << kGoodLines << 1 << QStringList{ok} << QStringLiteral("x");
    QTest::newRow("taken name gets the next free name") << kBanks + QStringLiteral(".csv") << kGoodLines << 1
        << QStringList{renamed.arg(kBanks + QStringLiteral("1"))} << kBanks + QStringLiteral("1");
    // No room for a number: the name is shortened so that the free name still fits.
    QTest::newRow("taken 25-character name is shortened") << longName + QStringLiteral(".csv") << kGoodLines << 1
        << QStringList{renamed.arg(longName.left(24) + QStringLiteral("1"))} << longName.left(24) + QStringLiteral("1");
    QTest::newRow("no good line") << QStringLiteral("坏组合.csv") << kBadLines << 1
                                  << QStringList{QStringLiteral("组合导入失败，原因：\r\n%1")} << QString();
    QTest::newRow("partly bad, trader declines")
        << QStringLiteral("半好组合.csv") << mixed << 0 << QStringList{partly} << QString();
    QTest::newRow("partly bad, trader accepts the good lines")
        << QStringLiteral("半好组合.csv") << mixed << 1 << QStringList{partly, ok}
        << QStringLiteral("半好组合");
}

void tst_ListCommands::import()
{
    QFETCH(QString, file);
    QFETCH(QStringList, lines);
    QFETCH(int, answer);
    QFETCH(QStringList, boxes);
    QFETCH(QString, name);
    Page f;
    QVERIFY(f.ready());
    if (file.startsWith(QString(25, QLatin1Char('L'))))
        QVERIFY(!f.longBanksName().isEmpty());
    FileDialogs dialogs;
    if (!file.isEmpty()) {
        dialogs.openPath = f.backend.path(file);
        QVERIFY(writeCsv(dialogs.openPath, lines));
        QString reason;
        QVariantMap extension;
        PortfolioImportFile::read(dialogs.openPath, reason, extension);
        for (QString &text : boxes)
            text = text.arg(reason);
    }
    const QStringList before = f.names();
    f.boxes.answers = {answer};

    f.list()->on_pushButton_import_clicked();

    QCOMPARE(f.boxes.texts(), boxes);
    QCOMPARE(namesEverywhere(f.names()), thrice(name.isEmpty() ? before : before + QStringList{name}));
    if (name.isEmpty())
        return;
    QCOMPARE(f.currentRow(), f.rows() - 1);
    QCOMPARE(linesOf(backendPortfolio(f.numberAt(f.rows() - 1))),
             QStringList({QStringLiteral("600519.SH 买入 100"), QStringLiteral("000001.SZ 买入 200")}));
}

// ---- Current row and copy -------------------------------------------------------------

void tst_ListCommands::commandsNeedCurrentRow()
{
    Page f;
    QVERIFY(f.ready());
    const QStringList before = f.names();
    f.table()->selectionModel()->clear();
    ModalDriver driver([](TzDialog *) {});
    f.list()->on_pushButton_copy_clicked();
    f.list()->on_pushButton_modfiy_clicked();
    menuAction(f.contextMenu(), QStringLiteral("删除"))->trigger();
    const QString pickRow = QStringLiteral("请单击表格某一行！");
    QCOMPARE(f.boxes.texts(), (QStringList{pickRow, pickRow, QStringLiteral("请选择要删除的数据")}));
    QVERIFY(driver.title.isEmpty());
    QCOMPARE(namesEverywhere(f.names()), thrice(before));
}

void tst_ListCommands::copy()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const int row = f.rowOfName(kBanks);
    const QString source = f.numberAt(row);
    // The copy: the last row, current, under a number of its own, with the source's lines.
    const auto copied = [&](const QString &name) {
        const QString no = f.numberAt(f.rows() - 1);
        return f.cell(f.rows() - 1, 0) == name && f.currentRow() == f.rows() - 1 && no != source
            && linesOf(backendPortfolio(no)) == linesOf(backendPortfolio(source));
    };
    // From the context menu: a number added, no question.
    QStringList names = f.names();
    QVERIFY(f.pickFromContextMenu(row, QStringLiteral("复制")));
    QVERIFY(copied(kBanks + QStringLiteral("1")));
    QCOMPARE(namesEverywhere(f.names()), thrice(names << kBanks + QStringLiteral("1")));
    QVERIFY(f.boxes.shown.isEmpty());

    // A 25-character name leaves no room for the copy's number: a dialog proposes the free
    // name that fits, the long name shortened by the room its number needs. Cancelled,
    // nothing is made; a taken name is refused; the proposed one is taken.
    const QString longName = f.longBanksName();
    names = f.names();
    for (bool confirm : {false, true}) {
        QString proposed;
        ModalDriver driver([&](TzDialog *dialog) {
            proposed = dialog->findChild<QLineEdit *>(QStringLiteral("m_pNameEdit"))->text();
            if (!confirm) {
                press(dialog, "cancelBtn");
                return;
            }
            setField(dialog, "m_pNameEdit", kCsi);
            press(dialog, "pushButton_confirm");
            setField(dialog, "m_pNameEdit", proposed);
            press(dialog, "pushButton_confirm");
        });
        f.makeCurrent(row);
        f.list()->on_pushButton_copy_clicked();
        QCOMPARE(driver.title, QStringLiteral("复制组合-修改组合名称"));
        QVERIFY(!driver.stillOpen);
        QCOMPARE(proposed, longName.left(24) + QStringLiteral("1"));
    }
    QCOMPARE(f.boxes.texts(), QStringList{QStringLiteral("组合名称重复，请修改!")});
    QVERIFY(copied(longName.left(24) + QStringLiteral("1")));
    QCOMPARE(namesEverywhere(f.names()), thrice(names << longName.left(24) + QStringLiteral("1")));
}

// ---- Delete ---------------------------------------------------------------------------

void tst_ListCommands::remove_data()
{
    QTest::addColumn<QString>("how");  // "button", "key" or "menu" (on the first selected)
    QTest::addColumn<QStringList>("selected");
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("backendFails");
    // %1 = number of the portfolio with the unfinished batch, %2 = of the first selected
    QTest::addColumn<QStringList>("boxes");
    QTest::addColumn<QStringList>("deleted");

    const QString blocked = QStringLiteral("组合%1存在订单未完成，无法删除!");
    const QString growth = QStringLiteral("创业板成长");
    const QStringList mixed = {kBanks, kPending, growth};
    const QStringList none;
    QTest::newRow("question answered no")
        << "button" << mixed << 0 << false << QStringList{kDeleteQuestion} << none;
    QTest::newRow("unfinished batch kept, others deleted") << "button" << mixed << 1 << false
        << QStringList{kDeleteQuestion, blocked} << QStringList{kBanks, growth};
    QTest::newRow("Delete key does the same") << "key" << mixed << 1 << false
        << QStringList{kDeleteQuestion, blocked} << QStringList{kBanks, growth};
    QTest::newRow("all blocked") << "button" << QStringList{kPending} << 1 << false
        << QStringList{kDeleteQuestion, blocked, QStringLiteral("无符合删除条件的数据")} << none;
    QTest::newRow("menu deletes the current row") << "menu" << QStringList{kBanks} << 1 << false
        << QStringList{kDeleteQuestion} << QStringList{kBanks};
    QTest::newRow("menu on unfinished batch") << "menu" << QStringList{kPending} << 1 << false
        << QStringList{QStringLiteral("当前删除组合存在订单未完成，无法删除!")} << none;
    QTest::newRow("menu, back end refuses") << "menu" << QStringList{kBanks} << 1 << true
        << QStringList{kDeleteQuestion,
                       QStringLiteral("编号为:%2数据删除错误!错误代码:删除组合失败。错误代码：x")}
        << none;
}

void tst_ListCommands::remove()
{
    QFETCH(QString, how);
    QFETCH(QStringList, selected);
    QFETCH(int, answer);
    QFETCH(bool, backendFails);
    QFETCH(QStringList, boxes);
    QFETCH(QStringList, deleted);
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    for (QString &text : boxes) {
        text.replace(QLatin1String("%1"), f.numberAt(f.rowOfName(kPending)));
        text.replace(QLatin1String("%2"), f.numberAt(f.rowOfName(selected.first())));
    }
    QStringList expected = f.names();
    for (const QString &name : deleted)
        expected.removeOne(name);
    if (backendFails)
        f.backend.faults().failNext(MsgType::deletePortfolioRequest, QStringLiteral("x"));
    f.boxes.answers = {answer};

    if (how == QLatin1String("menu")) {
        QVERIFY(f.pickFromContextMenu(f.rowOfName(selected.first()), QStringLiteral("删除")));
    } else {
        f.selectRows(selected);
        if (how == QLatin1String("key")) {
            f.table()->setFocus();
            QTest::keyClick(f.table(), Qt::Key_Delete);
        } else {
            f.list()->on_pushButton_delete_clicked();
        }
    }

    QCOMPARE(f.boxes.texts(), boxes);
    QCOMPARE(namesEverywhere(f.names()), thrice(expected));
}

void tst_ListCommands::deleteCurrentRunsClickAgain()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    ClickListener listener;
    const int row = f.rowOfName(kBanks);
    const QString deletedNo = f.numberAt(row);
    QTest::mouseClick(f.table()->viewport(), Qt::LeftButton, {}, f.centreOf(row));
    QTest::qWait(100);
    QCOMPARE(listener.portfolioNos, QStringList{deletedNo});
    listener.portfolioNos.clear();

    f.list()->on_pushButton_delete_clicked();  // the clicked row is the selection
    QTest::qWait(100);

    QCOMPARE(f.rowOfName(kBanks), -1);
    QVERIFY(f.currentRow() >= 0);
    const QString nowCurrent = f.numberAt(f.currentRow());
    QCOMPARE(listener.portfolioNos, QStringList{nowCurrent});
    QCOMPARE(f.list()->currentPortfolioNo(), nowCurrent);

    // Deleting a portfolio that is not the clicked one leaves the click alone.
    listener.portfolioNos.clear();
    const QString other = f.cell(f.currentRow() == 0 ? 1 : 0, 0);
    f.selectRows({other});
    f.list()->on_pushButton_delete_clicked();
    QTest::qWait(100);
    QCOMPARE(f.rowOfName(other), -1);
    QVERIFY(listener.portfolioNos.isEmpty());
    QCOMPARE(f.list()->currentPortfolioNo(), nowCurrent);
}

// ---- Reorder --------------------------------------------------------------------------

// Each command on the first, a middle and the last row: the moved row stays current and
// selected, keys follow their rows, and at the edge nothing moves. The order lives in the
// table only: a reload shows the back end's again.
void tst_ListCommands::reorder()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const QStringList seeded = f.names();
    QCOMPARE(seeded.size(), 5);
    // The seeded rows by their first positions after the command on rows 0, 2 and 4.
    const QList<QPair<QString, QStringList>> orders = {
        {QStringLiteral("置顶"), {QStringLiteral("01234"), QStringLiteral("20134"), QStringLiteral("40123")}},
        {QStringLiteral("上移"), {QStringLiteral("01234"), QStringLiteral("02134"), QStringLiteral("01243")}},
        {QStringLiteral("下移"), {QStringLiteral("10234"), QStringLiteral("01324"), QStringLiteral("01234")}},
        {QStringLiteral("置底"), {QStringLiteral("12340"), QStringLiteral("01342"), QStringLiteral("01234")}}};
    for (const auto &command : orders) {
        for (int row : {0, 2, 4}) {
            QStringList expected;
            for (const QChar c : command.second.at(row / 2))
                expected << seeded.at(c.digitValue());
            QVERIFY(f.pickFromContextMenu(row, command.first));
            const QString what = command.first + QString::number(row) + QLatin1Char(' ');
            QCOMPARE(what + f.names().join(QLatin1Char('|')), what + expected.join(QLatin1Char('|')));
            QCOMPARE(f.cell(f.currentRow(), 0), seeded.at(row));
            QCOMPARE(f.table()->selectionModel()->selectedRows().size(), 1);
            const int moved = f.rowOfName(seeded.at(row));
            QCOMPARE(f.table()->getRowByKey(f.numberAt(moved)), moved);
            QCOMPARE(PageFixture::backendNames(), seeded);
            emit f.list()->signalRefreshPortfoliosList();
            QTRY_VERIFY(!f.presenter()->isRefreshing());
            QCOMPARE(f.names(), seeded);
        }
    }
    QVERIFY(f.boxes.shown.isEmpty());
}

// ---- Renaming in place ----------------------------------------------------------------

void tst_ListCommands::renameInPlace()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const QStringList seeded = f.names();
    const int row = f.rowOfName(kBanks);
    const QString no = f.numberAt(row);

    // Refused names, and names the back end refuses or does not answer, leave the name as
    // it was everywhere, each with its reminder.
    const QList<QStringList> refused = {  // typed, back-end fault, reminder
        {kCsi, "", "组合名称重复，请修改!"},
        {" 银行精选 ", "", "组合名称首尾不能有空格！"},
        {"   ", "", "组合名称不能只包含空格！"},
        {"银行精选", "fail", "修改组合信息失败，错误原因：x"},
        {"银行精选", "drop", "修改组合信息失败，错误原因：请求超时"}};
    for (const QStringList &attempt : refused) {
        f.boxes.shown.clear();
        if (attempt.at(1) == QLatin1String("fail")) {
            f.backend.faults().failNext(MsgType::alterPortfolioRequest, QStringLiteral("x"));
        } else if (attempt.at(1) == QLatin1String("drop")) {
            TestBackend::setTimeoutMs(200);
            f.backend.faults().dropNext(MsgType::alterPortfolioRequest);
        }
        // A double click opens the editor on the name; a 26th character cannot be typed.
        QLineEdit *editor = f.doubleClickName(row);
        QVERIFY(editor);
        QCOMPARE(editor->text(), kBanks);
        editor->clear();
        QTest::keyClicks(editor, QStringLiteral("abcdefghijklmnopqrstuvwxyz"));
        QCOMPARE(editor->text(), QStringLiteral("abcdefghijklmnopqrstuvwxy"));
        editor->setText(attempt.at(0));
        QTest::keyClick(editor, Qt::Key_Return);
        TestBackend::setTimeoutMs(5000);
        QCOMPARE(f.boxes.texts(), QStringList{attempt.at(2)});
        QCOMPARE(f.boxes.shown.first().title, QStringLiteral("提醒"));
        QVERIFY(!f.table()->isPersistentEditorOpen(f.at(row)));
        QCOMPARE(f.cell(row, 0) + stored(no).Name() + backendPortfolio(no).Name(), kBanks + kBanks + kBanks);
    }
    f.boxes.shown.clear();

    PanelRecorder panel;
    const auto type = [](Qt::Key key, Qt::KeyboardModifiers mods = Qt::NoModifier) {
        QTest::keyClick(QApplication::focusWidget(), key, mods);
    };
    // F2 opens the editor on the current row, whatever column is current.
    const auto rename = [&] {
        f.table()->setCurrentIndex(f.at(row, 3), true);
        f.table()->setFocus();
        QTest::keyClick(f.table(), Qt::Key_F2);
        QLineEdit *editor = f.nameEditor(row);
        return editor && editor->hasFocus() ? editor : nullptr;
    };

    // The sequence that once emptied the book: F2, Ctrl+A, Delete, Enter. Every key stays
    // in the editor; so do the window's Ctrl+N and the table's Ctrl+E.
    QLineEdit *editor = rename();
    QVERIFY(editor);
    QCOMPARE(editor->selectedText(), kBanks);
    ModalDriver anyDialog([](TzDialog *) {});
    type(Qt::Key_A, Qt::ControlModifier);
    type(Qt::Key_Delete);
    type(Qt::Key_N, Qt::ControlModifier);
    type(Qt::Key_E, Qt::ControlModifier);
    QCOMPARE(editor->text(), QString());
    type(Qt::Key_Return);
    QCOMPARE(f.boxes.texts(), QStringList{QStringLiteral("组合名称不可为空！")});  // no deletion question
    QVERIFY(anyDialog.title.isEmpty());
    QVERIFY(!f.list()->addFrame() || !f.list()->addFrame()->isVisible());
    QCOMPARE(f.names(), seeded);
    QCOMPARE(PageFixture::backendNames(), seeded);

    // Escape restores the old name, sends nothing and gives the keyboard back to the table.
    editor = rename();
    QVERIFY(editor);
    QTest::keyClicks(editor, QStringLiteral("drop me"));
    type(Qt::Key_Escape);
    QVERIFY(!f.table()->isPersistentEditorOpen(f.at(row)));
    QVERIFY(f.table()->hasFocus());
    QCOMPARE(f.cell(row, 0), kBanks);
    QCOMPARE(backendPortfolio(no).Name(), kBanks);
    QCOMPARE(f.boxes.shown.size(), 1);

    // After the message box above, the first key typed after F2 is kept.
    editor = rename();
    QVERIFY(editor);
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("Banks 88"));
    type(Qt::Key_Return);
    QCOMPARE(f.cell(row, 0), QStringLiteral("Banks 88"));
    QCOMPARE(backendPortfolio(no).Name(), QStringLiteral("Banks 88"));
    QCOMPARE(stored(no).Name(), QStringLiteral("Banks 88"));
    QCOMPARE(linesOf(backendPortfolio(no)), linesOf(stored(no)));

    // One panel line per attempt, the refusal as a warning.
    QCOMPARE(panel.matching(QStringLiteral("重命名组合")).size(), 2);
    QCOMPARE(panel.warnings(), 1);
    QVERIFY(panel.lines().last().endsWith(QStringLiteral("为「Banks 88」：成功")));

    // A refill (the refresh button, a reload) keeps an open editor, the text and the focus;
    // so does a change of the same portfolio elsewhere.
    const QString other = f.numberAt(2), otherName = f.cell(2, 0);
    editor = f.doubleClickName(2);
    QVERIFY(editor);
    QTRY_VERIFY(editor->hasFocus());
    QTest::keyClick(editor, Qt::Key_End);
    QTest::keyClicks(editor, QStringLiteral(" plus"));
    const auto openOn = [&](const QString &portfolioNo) {
        QLineEdit *e = f.nameEditor(f.table()->getRowByKey(portfolioNo));
        return e ? e->text() : QStringLiteral("<closed>");
    };
    f.list()->slotChangeUpData();
    QCOMPARE(openOn(other), otherName + QStringLiteral(" plus"));
    QVERIFY(f.nameEditor(f.table()->getRowByKey(other))->hasFocus());
    emit f.presenter()->OnPortfolioNewOrCreate(other);
    QCOMPARE(openOn(other), otherName + QStringLiteral(" plus"));
    // Its own portfolio goes: so does the editor, nothing is sent, and the cell opens again.
    emit f.presenter()->OnPortfolioDelete(other);
    QVERIFY(!f.list()->nameEditor());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(f.table()->findChildren<QLineEdit *>(QStringLiteral("portfolioNameEditor")).size(), 0);
    QCOMPARE(f.boxes.shown.size(), 1);
    QCOMPARE(backendPortfolio(other).Name(), otherName);
    QVERIFY(f.doubleClickName(2));
}

// ---- Modify dialog ------------------------------------------------------------------

// Ctrl+E on the table opens the dialog for the current row (its button stays hidden).
// Each refusal keeps the dialog open and changes nothing; then a good change is taken.
void tst_ListCommands::modify()
{
    Page f;
    QVERIFY(f.ready());
    const int row = f.rowOfName(kBanks);
    const QString no = f.numberAt(row);
    const PortfolioDetailBasicInfo before = backendPortfolio(no);
    QVERIFY(!backendStrategyNames().contains(QStringLiteral("红利策略")));
    const auto header = [](const PortfolioDetailBasicInfo &p) {
        return QStringLiteral("%1|%2|%3").arg(p.Name(), p.StrategyName()).arg(p.DefaultNum());
    };
    const char *const fields[] = {"m_pNameEdit", "m_pStrategyEdit", "m_pNumberEdit"};
    const QList<QStringList> attempts = {  // name, label, quantity (empty: as shown), refusal
        {"", "", "", "未修改任何内容!"},
        {kCsi, "", "", "组合名称重复，请修改!"},
        {"银行精选 ", "", "", "组合名称首尾不能有空格！"},
        {"", "", "abc", "默认单笔数量须为正整数：abc"},
        {"", "", "0", "默认单笔数量须为正整数：0"},
        {"银行精选", "红利策略", "500", ""}};
    for (const QStringList &attempt : attempts) {
        f.boxes.shown.clear();
        QStringList shown;
        ModalDriver driver([&](TzDialog *dialog) {
            for (int i = 0; i < 3; ++i) {
                shown << dialog->findChild<QLineEdit *>(QLatin1String(fields[i]))->text();
                if (!attempt.at(i).isEmpty())
                    setField(dialog, fields[i], attempt.at(i));
            }
            press(dialog, "pushButton_confirm");
        });
        QVERIFY(f.show());
        f.makeCurrent(row);
        f.table()->setFocus();
        QTest::keyClick(f.table(), Qt::Key_E, Qt::ControlModifier);

        const QString refusal = attempt.at(3);
        QCOMPARE(driver.title, QStringLiteral("修改组合"));
        QCOMPARE(shown, QStringList({kBanks, QStringLiteral("默认"), QStringLiteral("1")}));
        QCOMPARE(driver.stillOpen, !refusal.isEmpty());
        QCOMPARE(f.boxes.texts(), refusal.isEmpty() ? QStringList() : QStringList{refusal});
        const PortfolioDetailBasicInfo after = backendPortfolio(no);
        QCOMPARE(linesOf(after), linesOf(before));
        QCOMPARE(header(after), refusal.isEmpty() ? attempt.mid(0, 3).join(QLatin1Char('|')) : header(before));
        QCOMPARE(header(stored(no)), header(after));
        QCOMPARE(f.cell(row, 0), refusal.isEmpty() ? attempt.at(0) : kBanks);
    }
    QVERIFY(backendStrategyNames().contains(QStringLiteral("红利策略")));
    QCOMPARE(f.cell(row, 9), QStringLiteral("500"));
}

// ---- The common add and alter path ----------------------------------------------------

// A new portfolio, then a change of the banks portfolio (renamed, with the CSI lines).
// When one of the requests fails the trader is told, and table, back end and store stay
// as they were; then the same change goes through.
void tst_ListCommands::changeRollsBack()
{
    Page f;
    QVERIFY(f.ready());
    const QList<PortfolioItem> csiLines = stored(f.numberAt(f.rowOfName(kCsi))).SymbolList();
    const QString add = QStringLiteral("组合后台数据添加失败：");
    const QList<QStringList> attempts = {  // add or alter, failing request (none: goes through), box
        {"add", MsgType::alterStrategyRequest, add + "创建组合关联策略标签失败。错误代码：x"},
        {"add", MsgType::alterPortfolioRequest, add + "创建组合信息失败1，错误原因：x"},
        {"add", MsgType::alterPortfolioDetailRequest, add + "创建组合明细失败2，错误原因：x"},
        {"add", "", ""},
        {"alter", MsgType::alterPortfolioRequest, "x"},
        {"alter", MsgType::deletePortfolioDetailRequest, "x"},
        {"alter", MsgType::alterPortfolioDetailRequest, "x"},
        {"alter", "", ""}};
    for (const QStringList &attempt : attempts) {
        f.boxes.shown.clear();
        const bool alter = attempt.at(0) == QLatin1String("alter");
        const QString failing = attempt.at(1);
        const QStringList before = f.names();
        const int row = alter ? f.rowOfName(kBanks) : f.rows();
        const QString no = alter ? f.numberAt(row) : QString();
        const PortfolioDetailBasicInfo old = alter ? backendPortfolio(no) : PortfolioDetailBasicInfo();
        PortfolioDetailBasicInfo changed = alter ? stored(no) : PortfolioDetailBasicInfo();
        changed.setName(alter ? QStringLiteral("银行股组合（调）") : QStringLiteral("新组合"));
        if (!alter) {
            changed.setStrategyName(QStringLiteral("新标签"));
            changed.setDefaultNum(1);
        }
        changed.setSymbolList(csiLines);
        if (!failing.isEmpty())
            f.backend.faults().failNext(failing, QStringLiteral("x"));

        f.list()->slotAddPortfolioLst(changed, !alter, 0);

        QCOMPARE(f.boxes.texts(), attempt.at(2).isEmpty() ? QStringList() : QStringList{attempt.at(2)});
        if (failing.isEmpty()) {
            const QString shown = f.numberAt(row);
            QCOMPARE(f.cell(row, 0), changed.Name());
            QCOMPARE(backendPortfolio(shown).Name(), changed.Name());
            QCOMPARE(linesOf(backendPortfolio(shown)), linesOf(changed));
            QCOMPARE(stored(shown).Name(), changed.Name());
            if (!alter)
                QCOMPARE(f.currentRow(), row);
            continue;
        }
        QCOMPARE(namesEverywhere(f.names()), thrice(before));
        if (alter) {
            QVERIFY(linesOf(old) != linesOf(changed));
            QCOMPARE(linesOf(backendPortfolio(no)), linesOf(old));
            QCOMPARE(linesOf(stored(no)), linesOf(old));
            QCOMPARE(f.cell(row, 3), QString::number(old.SymbolList().size()));
            // The desk's next rename goes through at once: the failed change let go of
            // the portfolio it had begun to replace.
            PortfolioDetailBasicInfo renamed = stored(no);
            for (const QString &name : {QStringLiteral("银行股组合（名）"), old.Name()}) {
                renamed.setName(name);
                QCOMPARE(f.list()->modifyPortfolioName(renamed), QStringLiteral("0"));
                QCOMPARE(backendPortfolio(no).Name(), name);
            }
        }
        if (failing == MsgType::alterStrategyRequest)
            QVERIFY(!backendStrategyNames().contains(QStringLiteral("新标签")));
    }
}

// ---- Templates and the business message panel ----------------------------------------

// The downloaded templates import as they are, the algorithm one with its parameters
// shown at once; every command puts one line on the panel, a failure as a warning.
void tst_ListCommands::templatesAndPanelLines()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    FileDialogs dialogs;
    dialogs.saveFolder = f.backend.path(QStringLiteral("templates"));
    QVERIFY(QDir().mkpath(dialogs.saveFolder));
    PanelRecorder panel;
    const QString pending = f.numberAt(f.rowOfName(kPending));
    QMenu *templates = f.menu(QStringLiteral("PortfoliosListTemplateMenu"));
    menuAction(templates, QStringLiteral("menu_dlNormal"))->trigger();
    menuAction(templates, QStringLiteral("menu_dlAlgo"))->trigger();
    QCOMPARE(dialogs.saved.size(), 2);
    for (const QString &path : qAsConst(dialogs.saved))
        QVERIFY2(QFileInfo(path).size() > 0, qPrintable(path));
    QVERIFY(f.boxes.shown.isEmpty());

    const QString bad = f.backend.path(QStringLiteral("坏.csv"));
    QVERIFY(writeCsv(bad, {kBadLines.at(0)}));
    dialogs.openPath = bad;
    f.list()->on_pushButton_import_clicked();
    dialogs.openPath = dialogs.saved.first();
    f.list()->on_pushButton_import_clicked();
    const QString name = QFileInfo(dialogs.openPath).completeBaseName(), imported = f.numberAt(f.rows() - 1);
    QCOMPARE(f.boxes.last(), QStringLiteral("组合导入成功！"));
    QCOMPARE(f.cell(f.rows() - 1, 0) + f.cell(f.rows() - 1, 7), name + QStringLiteral("无参"));
    QVERIFY(PageFixture::backendNames().contains(name));
    f.makeCurrent(f.rows() - 1);
    f.list()->on_pushButton_copy_clicked();
    const int copyRow = f.rows() - 1;
    const QString copy = f.numberAt(copyRow);
    QVERIFY(f.pickFromContextMenu(copyRow, QStringLiteral("置顶")));
    QVERIFY(f.pickFromContextMenu(0, QStringLiteral("删除")));
    QVERIFY(f.pickFromContextMenu(f.rowOfName(kPending), QStringLiteral("删除")));

    const QStringList lines = panel.lines();
    QCOMPARE(lines.size(), 8);
    QCOMPARE(lines.mid(0, 2), QStringList({QStringLiteral("[信息] 下载普通组合模板 %1：成功").arg(dialogs.saved.at(0)),
                                           QStringLiteral("[信息] 下载算法组合模板 %1：成功").arg(dialogs.saved.at(1))}));
    QVERIFY2(lines.at(2).startsWith(QStringLiteral("[警告] 文件导入 ") + bad + QStringLiteral("：失败，")),
             qPrintable(lines.at(2)));
    QVERIFY2(!lines.at(2).contains(QLatin1Char('\n')), qPrintable(lines.at(2)));
    QCOMPARE(lines.mid(3), QStringList({
        QStringLiteral("[信息] 文件导入 %1 → 组合「%2」（组合号 %3）：成功").arg(dialogs.saved.at(0), name, imported),
        QStringLiteral("[信息] 复制组合「%1」（组合号 %2） → 「%3」（组合号 %4）：成功").arg(name, imported, name + QLatin1Char('1'), copy),
        QStringLiteral("[信息] 调整组合「%1」（组合号 %2）的显示位置：第%3行 → 第1行：成功").arg(name + QLatin1Char('1'), copy).arg(copyRow + 1),
        QStringLiteral("[信息] 删除组合「%1」（组合号 %2）：成功").arg(name + QLatin1Char('1'), copy),
        QStringLiteral("[警告] 删除组合「%1」（组合号 %2）：失败，存在订单未完成").arg(kPending, pending),
    }));

    dialogs.openPath = dialogs.saved.last();
    f.list()->on_pushButton_import_clicked();
    QCOMPARE(f.cell(f.rows() - 1, 7), QStringLiteral("带参"));
    emit f.list()->signalRefreshPortfoliosList();
    QTRY_VERIFY(!f.presenter()->isRefreshing());
    QCOMPARE(f.cell(f.rows() - 1, 7), QStringLiteral("带参"));
}

QTEST_MAIN(tst_ListCommands)
#include "tst_listcommands.moc"
