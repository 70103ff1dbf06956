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
#include <QToolButton>
#include <functional>

namespace {

const QString kPending = QStringLiteral("待完成批次组合");  // seeded with a working batch
const QString kBanks = QStringLiteral("银行股组合");
const QString kCsi = QStringLiteral("沪深300前20");
const QString kDeleteQuestion = QStringLiteral("确定删除选中的组合？");
const QString kPickRow = QStringLiteral("请单击表格某一行！");

const QString kCsvHeader = QStringLiteral("证券代码,市场,委托方向,委托数量,相对权重");
const QStringList kGoodLines = {QStringLiteral("600519,SH,买入,100,0.5"),
                                QStringLiteral("000001,SZ,买入,200,0.5")};
const QStringList kBadLines = {QStringLiteral("601318,XX,买入,100,0.5"),
                               QStringLiteral("000002,SZ,买入,abc,0.5")};

bool writeCsv(const QString &path, const QStringList &lines)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray data =
        (QStringList{kCsvHeader} + lines).join(QLatin1Char('\n')).toUtf8() + '\n';
    return file.write(data) == data.size();
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
    const QString user = CBusinessDataBase::GetInstance()->GetLoginAccount();
    return TestBackend::request(type, {{RequestField::userID, user}}).body.rows();
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

QStringList storeNames()
{
    return PortfolioListBasicInfo::GetInstance()->getAllPortfolioName();
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
    QLineEdit *nameEditor(int row) const
    {
        return qobject_cast<QLineEdit *>(table()->indexWidget(at(row)));
    }
    QMenu *contextMenu() const
    {
        return list()->findChild<QMenu *>(QStringLiteral("PortfoliosListContextMenu"));
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

    void commandsNeedCurrentRow_data();
    void commandsNeedCurrentRow();
    void copyShortName();
    void importTakenLongName();
    void copyLongName_data();
    void copyLongName();

    void remove_data();
    void remove();
    void deleteCurrentRunsClickAgain();

    void reorder_data();
    void reorder();
    void reorderLivesInTableOnly();

    void renameInPlace();
    void renameRefused_data();
    void renameRefused();
    void nameEditorOwnsTheKeyboard();
    void nameEditorFollowsItsPortfolio();

    void modify_data();
    void modify();

    void addRollsBack_data();
    void addRollsBack();
    void alterRollsBack_data();
    void alterRollsBack();

    void templatesDownloadAndImport();
    void panelLinePerCommand();
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
    const QStringList mixed = {kGoodLines.at(0), kBadLines.at(0), kGoodLines.at(1)};
    QTest::newRow("dialog cancelled")
        << QString() << QStringList() << 1 << QStringList() << QString();
    QTest::newRow("name is the file name up to the dot") << QStringLiteral("a/b/组合.csv")
        << kGoodLines << 1 << QStringList{ok} << QStringLiteral("组合");
    QTest::newRow("long name cut to 25 characters") << thirty + QStringLiteral(".csv")
        << kGoodLines << 1 << QStringList{ok} << thirty.left(25);
    QTest::newRow("first dot ends the name")
        << QStringLiteral("x.y.csv") << kGoodLines << 1 << QStringList{ok} << QStringLiteral("x");
    QTest::newRow("taken name gets the next free name")
        << kBanks + QStringLiteral(".csv") << kGoodLines << 1
        << QStringList{QStringLiteral("组合导入成功，组合名称重复，已修改为银行股组合1！")}
        << kBanks + QStringLiteral("1");
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
    if (name.isEmpty()) {
        QCOMPARE(f.names(), before);
        QCOMPARE(PageFixture::backendNames(), before);
        QCOMPARE(storeNames(), before);
        return;
    }
    QCOMPARE(f.names(), before + QStringList{name});
    QCOMPARE(f.currentRow(), f.rows() - 1);
    const QString no = f.numberAt(f.rows() - 1);
    QCOMPARE(backendPortfolio(no).Name(), name);
    QCOMPARE(linesOf(backendPortfolio(no)), QStringList({QStringLiteral("600519.SH 买入 100"),
                                                         QStringLiteral("000001.SZ 买入 200")}));
    QCOMPARE(stored(no).Name(), name);
}

void tst_ListCommands::importTakenLongName()
{
    // A taken 25-character name has no room for a number: the name is shortened so that
    // the free name still fits what the back end stores.
    Page f;
    QVERIFY(f.ready());
    const QString longName = QString(25, QLatin1Char('L'));
    PortfolioDetailBasicInfo renamed = stored(f.numberAt(f.rowOfName(kBanks)));
    renamed.setName(longName);
    QCOMPARE(f.list()->modifyPortfolioName(renamed), QStringLiteral("0"));
    FileDialogs dialogs;
    dialogs.openPath = f.backend.path(longName + QStringLiteral(".csv"));
    QVERIFY(writeCsv(dialogs.openPath, kGoodLines));

    f.list()->on_pushButton_import_clicked();

    const QString expected = longName.left(24) + QStringLiteral("1");
    QCOMPARE(f.boxes.texts(),
             QStringList{QStringLiteral("组合导入成功，组合名称重复，已修改为") + expected + QStringLiteral("！")});
    QCOMPARE(f.names().last(), expected);
    QCOMPARE(PageFixture::backendNames().last(), expected);
}

// ---- Current row and copy -------------------------------------------------------------

void tst_ListCommands::commandsNeedCurrentRow_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("tip");
    QTest::newRow("copy") << QStringLiteral("copy") << kPickRow;
    QTest::newRow("modify") << QStringLiteral("modify") << kPickRow;
    QTest::newRow("delete from context menu") << QStringLiteral("delete")
                                              << QStringLiteral("请选择要删除的数据");
}

void tst_ListCommands::commandsNeedCurrentRow()
{
    QFETCH(QString, command);
    QFETCH(QString, tip);
    Page f;
    QVERIFY(f.ready());
    const QStringList before = f.names();
    f.table()->selectionModel()->clear();
    ModalDriver driver([](TzDialog *) {});

    if (command == QLatin1String("copy"))
        f.list()->on_pushButton_copy_clicked();
    else if (command == QLatin1String("modify"))
        f.list()->on_pushButton_modfiy_clicked();
    else
        menuAction(f.contextMenu(), QStringLiteral("删除"))->trigger();

    QCOMPARE(f.boxes.texts(), QStringList{tip});
    QVERIFY(driver.title.isEmpty());
    QCOMPARE(f.names(), before);
    QCOMPARE(PageFixture::backendNames(), before);
}

void tst_ListCommands::copyShortName()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const int source = f.rowOfName(kBanks);
    const QStringList sourceLines = linesOf(backendPortfolio(f.numberAt(source)));
    const QStringList before = f.names();

    QVERIFY(f.pickFromContextMenu(source, QStringLiteral("复制")));

    QVERIFY(f.boxes.shown.isEmpty());
    const QString copyName = kBanks + QStringLiteral("1");
    QCOMPARE(f.names(), before + QStringList{copyName});
    QCOMPARE(f.currentRow(), f.rows() - 1);
    const QString no = f.numberAt(f.rows() - 1);
    QVERIFY(no != f.numberAt(source));
    QCOMPARE(backendPortfolio(no).Name(), copyName);
    QCOMPARE(linesOf(backendPortfolio(no)), sourceLines);
    QCOMPARE(stored(no).Name(), copyName);
}

void tst_ListCommands::copyLongName_data()
{
    QTest::addColumn<bool>("confirm");
    QTest::newRow("new name confirmed") << true;
    QTest::newRow("cancelled") << false;
}

void tst_ListCommands::copyLongName()
{
    QFETCH(bool, confirm);
    Page f;
    QVERIFY(f.ready());
    // A 25-character name leaves no room for the copy's number.
    const int row = f.rowOfName(kBanks);
    PortfolioDetailBasicInfo renamed = stored(f.numberAt(row));
    const QString longName = QString(25, QLatin1Char('L'));
    renamed.setName(longName);
    QCOMPARE(f.list()->modifyPortfolioName(renamed), QStringLiteral("0"));
    const QStringList before = f.names();
    f.makeCurrent(row);

    QString proposed;
    QStringList tipsWhileOpen;
    ModalDriver driver([&](TzDialog *dialog) {
        proposed = dialog->findChild<QLineEdit *>(QStringLiteral("m_pNameEdit"))->text();
        if (!confirm) {
            press(dialog, "cancelBtn");
            return;
        }
        setField(dialog, "m_pNameEdit", QStringLiteral("沪深300前20"));  // taken
        press(dialog, "pushButton_confirm");
        tipsWhileOpen = f.boxes.texts();
        setField(dialog, "m_pNameEdit", proposed);
        press(dialog, "pushButton_confirm");
    });
    f.list()->on_pushButton_copy_clicked();

    QCOMPARE(driver.title, QStringLiteral("复制组合-修改组合名称"));
    QVERIFY(!driver.stillOpen);
    // A free name that fits: the long name shortened by the room its number needs.
    QCOMPARE(proposed, longName.left(24) + QStringLiteral("1"));
    if (!confirm) {
        QVERIFY(f.boxes.shown.isEmpty());
        QCOMPARE(f.names(), before);
        QCOMPARE(PageFixture::backendNames(), before);
        return;
    }
    QCOMPARE(tipsWhileOpen, QStringList{QStringLiteral("组合名称重复，请修改!")});
    QCOMPARE(f.names(), before + QStringList{proposed});
    QCOMPARE(PageFixture::backendNames(), f.names());
    QCOMPARE(f.currentRow(), f.rows() - 1);
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
    QCOMPARE(f.names(), expected);
    QCOMPARE(PageFixture::backendNames(), expected);
    QCOMPARE(storeNames(), expected);
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

void tst_ListCommands::reorder_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("order");  // seeded rows by their first positions

    QTest::newRow("置顶 first") << QStringLiteral("置顶") << 0 << QStringLiteral("01234");
    QTest::newRow("置顶 middle") << QStringLiteral("置顶") << 2 << QStringLiteral("20134");
    QTest::newRow("置顶 last") << QStringLiteral("置顶") << 4 << QStringLiteral("40123");
    QTest::newRow("上移 first") << QStringLiteral("上移") << 0 << QStringLiteral("01234");
    QTest::newRow("上移 middle") << QStringLiteral("上移") << 2 << QStringLiteral("02134");
    QTest::newRow("上移 last") << QStringLiteral("上移") << 4 << QStringLiteral("01243");
    QTest::newRow("下移 first") << QStringLiteral("下移") << 0 << QStringLiteral("10234");
    QTest::newRow("下移 middle") << QStringLiteral("下移") << 2 << QStringLiteral("01324");
    QTest::newRow("下移 last stays last") << QStringLiteral("下移") << 4 << QStringLiteral("01234");
    QTest::newRow("置底 first") << QStringLiteral("置底") << 0 << QStringLiteral("12340");
    QTest::newRow("置底 middle") << QStringLiteral("置底") << 2 << QStringLiteral("01342");
    QTest::newRow("置底 last") << QStringLiteral("置底") << 4 << QStringLiteral("01234");
}

void tst_ListCommands::reorder()
{
    QFETCH(QString, item);
    QFETCH(int, row);
    QFETCH(QString, order);
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const QStringList seeded = f.names();
    QCOMPARE(seeded.size(), 5);
    QStringList expected;
    for (const QChar c : order)
        expected << seeded.at(c.digitValue());

    QVERIFY(f.pickFromContextMenu(row, item));

    QCOMPARE(f.names(), expected);
    QCOMPARE(f.cell(f.currentRow(), 0), seeded.at(row));  // the moved row stays current
    QCOMPARE(f.table()->selectionModel()->selectedRows().size(), 1);
    // Keys follow their rows.
    const int moved = f.rowOfName(seeded.at(row));
    QCOMPARE(f.table()->getRowByKey(f.numberAt(moved)), moved);
}

void tst_ListCommands::reorderLivesInTableOnly()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const QStringList seeded = f.names();

    QVERIFY(f.pickFromContextMenu(3, QStringLiteral("置顶")));
    QVERIFY(f.names() != seeded);
    QCOMPARE(PageFixture::backendNames(), seeded);
    f.page->findChild<QToolButton *>(QStringLiteral("btn_refresh"))->click();
    QTRY_COMPARE(f.names(), seeded);

    QVERIFY(f.pickFromContextMenu(0, QStringLiteral("置底")));
    QVERIFY(f.names() != seeded);
    emit f.list()->signalRefreshPortfoliosList();
    QTRY_COMPARE(f.names(), seeded);
    QVERIFY(f.boxes.shown.isEmpty());
}

// ---- Renaming in place ----------------------------------------------------------------

void tst_ListCommands::renameInPlace()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const int row = f.rowOfName(kBanks);
    const QString no = f.numberAt(row);

    QLineEdit *editor = f.doubleClickName(row);
    QVERIFY(editor);
    QCOMPARE(editor->objectName(), QStringLiteral("portfolioNameEditor"));
    QCOMPARE(editor->text(), kBanks);
    editor->clear();
    QTest::keyClicks(editor, QStringLiteral("abcdefghijklmnopqrstuvwxyz"));
    QCOMPARE(editor->text(), QStringLiteral("abcdefghijklmnopqrstuvwxy"));

    editor->setText(QStringLiteral("银行精选"));
    QTest::keyClick(editor, Qt::Key_Return);

    QVERIFY(f.boxes.shown.isEmpty());
    QVERIFY(!f.table()->isPersistentEditorOpen(f.at(row)));
    QCOMPARE(f.cell(row, 0), QStringLiteral("银行精选"));
    QCOMPARE(backendPortfolio(no).Name(), QStringLiteral("银行精选"));
    QCOMPARE(stored(no).Name(), QStringLiteral("银行精选"));
    QCOMPARE(linesOf(backendPortfolio(no)), linesOf(stored(no)));

    // F2 opens the editor on the current row, whatever column is current.
    const int other = f.rowOfName(kCsi);
    f.table()->setCurrentIndex(f.at(other, 3), true);
    f.table()->setFocus();
    QTest::keyClick(f.table(), Qt::Key_F2);
    QVERIFY(f.table()->isPersistentEditorOpen(f.at(other)));
    QCOMPARE(f.nameEditor(other)->text(), kCsi);
}

void tst_ListCommands::renameRefused_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("fault");  // "", "fail" or "drop"
    QTest::addColumn<QString>("message");

    QTest::newRow("taken name") << kCsi << QString() << QStringLiteral("组合名称重复，请修改!");
    QTest::newRow("empty") << QString() << QString() << QStringLiteral("组合名称不可为空！");
    QTest::newRow("leading and trailing blanks") << QStringLiteral(" 银行精选 ") << QString()
                                                 << QStringLiteral("组合名称首尾不能有空格！");
    QTest::newRow("blanks only") << QStringLiteral("   ") << QString()
                                 << QStringLiteral("组合名称不能只包含空格！");
    QTest::newRow("back end refuses") << QStringLiteral("银行精选") << QStringLiteral("fail")
                                      << QStringLiteral("修改组合信息失败，错误原因：x");
    QTest::newRow("back end does not answer") << QStringLiteral("银行精选") << QStringLiteral("drop")
                                              << QStringLiteral("修改组合信息失败，错误原因：请求超时");
}

void tst_ListCommands::renameRefused()
{
    QFETCH(QString, typed);
    QFETCH(QString, fault);
    QFETCH(QString, message);
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const int row = f.rowOfName(kBanks);
    const QString no = f.numberAt(row);
    if (fault == QLatin1String("fail")) {
        f.backend.faults().failNext(MsgType::alterPortfolioRequest, QStringLiteral("x"));
    } else if (fault == QLatin1String("drop")) {
        TestBackend::setTimeoutMs(200);
        f.backend.faults().dropNext(MsgType::alterPortfolioRequest);
    }

    QLineEdit *editor = f.doubleClickName(row);
    QVERIFY(editor);
    editor->setText(typed);
    QTest::keyClick(editor, Qt::Key_Return);

    QCOMPARE(f.boxes.shown.size(), 1);
    QCOMPARE(f.boxes.shown.first().title, QStringLiteral("提醒"));
    QCOMPARE(f.boxes.last(), message);
    QVERIFY(!f.table()->isPersistentEditorOpen(f.at(row)));
    QCOMPARE(f.cell(row, 0), kBanks);
    QCOMPARE(stored(no).Name(), kBanks);
    QCOMPARE(backendPortfolio(no).Name(), kBanks);
    QVERIFY(f.doubleClickName(row));  // and opens again
}

void tst_ListCommands::nameEditorOwnsTheKeyboard()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    PanelRecorder panel;
    const QStringList seeded = f.names();
    const int row = f.rowOfName(kBanks);
    const QString no = f.numberAt(row);
    const auto type = [](Qt::Key key, Qt::KeyboardModifiers mods = Qt::NoModifier) {
        QTest::keyClick(QApplication::focusWidget(), key, mods);
    };
    const auto rename = [&] {
        f.makeCurrent(row);
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

    // One panel line per attempt, the refusal as a warning.
    QCOMPARE(panel.matching(QStringLiteral("重命名组合")).size(), 2);
    QCOMPARE(panel.warnings(), 1);
    QVERIFY(panel.lines().last().endsWith(QStringLiteral("为「Banks 88」：成功")));
}

void tst_ListCommands::nameEditorFollowsItsPortfolio()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    const QString first = f.numberAt(0);
    const int row = 2;
    const QString no = f.numberAt(row), name = f.cell(row, 0);
    QLineEdit *editor = f.doubleClickName(row);
    QVERIFY(editor);
    QTRY_VERIFY(editor->hasFocus());
    QTest::keyClick(editor, Qt::Key_End);
    QTest::keyClicks(editor, QStringLiteral(" plus"));
    const QString typed = name + QStringLiteral(" plus");
    const auto openOn = [&](const QString &portfolioNo) {
        QLineEdit *e = f.nameEditor(f.table()->getRowByKey(portfolioNo));
        return e ? e->text() : QStringLiteral("<closed>");
    };

    // A refill (the refresh button, a reload) keeps the editor, the text and the focus.
    f.list()->slotChangeUpData();
    QCOMPARE(openOn(no), typed);
    QVERIFY(f.nameEditor(f.table()->getRowByKey(no))->hasFocus());
    // A row above it goes: the editor moves with its portfolio.
    emit f.presenter()->OnPortfolioDelete(first);
    QCOMPARE(f.table()->getRowByKey(no), row - 1);
    QCOMPARE(openOn(no), typed);
    // A change of the same portfolio elsewhere does not wipe what is typed.
    emit f.presenter()->OnPortfolioNewOrCreate(no);
    QCOMPARE(openOn(no), typed);

    // Its own portfolio goes: so does the editor, and the cell opens again afterwards.
    emit f.presenter()->OnPortfolioDelete(no);
    QVERIFY(!f.list()->nameEditor());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(f.table()->findChildren<QLineEdit *>(QStringLiteral("portfolioNameEditor")).size(), 0);
    QVERIFY(f.boxes.shown.isEmpty());
    QCOMPARE(backendPortfolio(no).Name(), name);  // nothing was sent
    QVERIFY(f.doubleClickName(row - 1));
}

// ---- Modify dialog ------------------------------------------------------------------

void tst_ListCommands::modify_data()
{
    QTest::addColumn<QString>("name");  // empty: leave the field as it is
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("quantity");
    QTest::addColumn<QString>("tip");  // empty: accepted

    const QString none;
    QTest::newRow("nothing changed") << none << none << none << QStringLiteral("未修改任何内容!");
    QTest::newRow("taken name") << kCsi << none << none << QStringLiteral("组合名称重复，请修改!");
    QTest::newRow("padded name")
        << QStringLiteral("银行精选 ") << none << none << QStringLiteral("组合名称首尾不能有空格！");
    QTest::newRow("quantity not a number")
        << none << none << QStringLiteral("abc") << QStringLiteral("默认单笔数量须为正整数：abc");
    QTest::newRow("zero quantity")
        << none << none << QStringLiteral("0") << QStringLiteral("默认单笔数量须为正整数：0");
    QTest::newRow("name, new label and quantity changed") << QStringLiteral("银行精选")
        << QStringLiteral("红利策略") << QStringLiteral("500") << none;
}

void tst_ListCommands::modify()
{
    QFETCH(QString, name);
    QFETCH(QString, label);
    QFETCH(QString, quantity);
    QFETCH(QString, tip);
    Page f;
    QVERIFY(f.ready());
    const int row = f.rowOfName(kBanks);
    const QString no = f.numberAt(row);
    const PortfolioDetailBasicInfo before = backendPortfolio(no);
    QVERIFY(!backendStrategyNames().contains(QStringLiteral("红利策略")));
    f.makeCurrent(row);

    QStringList shown;
    ModalDriver driver([&](TzDialog *dialog) {
        for (const char *field : {"m_pNameEdit", "m_pStrategyEdit", "m_pNumberEdit"})
            shown << dialog->findChild<QLineEdit *>(QLatin1String(field))->text();
        if (!name.isEmpty())
            setField(dialog, "m_pNameEdit", name);
        if (!label.isEmpty())
            setField(dialog, "m_pStrategyEdit", label);
        if (!quantity.isEmpty())
            setField(dialog, "m_pNumberEdit", quantity);
        press(dialog, "pushButton_confirm");
    });
    // Its button stays hidden; Ctrl+E on the table opens it for the current row.
    QVERIFY(f.show());
    f.table()->setFocus();
    QTest::keyClick(f.table(), Qt::Key_E, Qt::ControlModifier);

    QCOMPARE(driver.title, QStringLiteral("修改组合"));
    QCOMPARE(shown, QStringList({kBanks, QStringLiteral("默认"), QStringLiteral("1")}));
    const PortfolioDetailBasicInfo after = backendPortfolio(no);
    QCOMPARE(linesOf(after), linesOf(before));
    if (!tip.isEmpty()) {
        QVERIFY(driver.stillOpen);
        QCOMPARE(f.boxes.texts(), QStringList{tip});
        QCOMPARE(after.Name(), before.Name());
        QCOMPARE(after.DefaultNum(), before.DefaultNum());
        QCOMPARE(after.StrategyName(), before.StrategyName());
        QCOMPARE(f.cell(row, 0), kBanks);
        return;
    }
    QVERIFY(!driver.stillOpen);
    QVERIFY(f.boxes.shown.isEmpty());
    QVERIFY(backendStrategyNames().contains(label));
    for (const PortfolioDetailBasicInfo &p : {after, stored(no)}) {
        QCOMPARE(p.Name(), name);
        QCOMPARE(p.StrategyName(), label);
        QCOMPARE(p.DefaultNum(), quantity.toLongLong());
    }
    QCOMPARE(f.cell(row, 0), name);
    QCOMPARE(f.cell(row, 9), quantity);
}

// ---- The common add and alter path ----------------------------------------------------

void tst_ListCommands::addRollsBack_data()
{
    QTest::addColumn<QString>("failing");  // request type that fails; empty: none
    QTest::addColumn<QString>("reason");

    QTest::newRow("no fault") << QString() << QString();
    QTest::newRow("strategy label") << MsgType::alterStrategyRequest
                                    << QStringLiteral("创建组合关联策略标签失败。错误代码：x");
    QTest::newRow("header") << MsgType::alterPortfolioRequest
                            << QStringLiteral("创建组合信息失败1，错误原因：x");
    QTest::newRow("lines") << MsgType::alterPortfolioDetailRequest
                           << QStringLiteral("创建组合明细失败2，错误原因：x");
}

void tst_ListCommands::addRollsBack()
{
    QFETCH(QString, failing);
    QFETCH(QString, reason);
    Page f;
    QVERIFY(f.ready());
    const QStringList before = f.names();
    PortfolioDetailBasicInfo detail;
    detail.setName(QStringLiteral("新组合"));
    detail.setStrategyName(QStringLiteral("新标签"));
    detail.setDefaultNum(1);
    detail.setSymbolList(stored(f.numberAt(f.rowOfName(kBanks))).SymbolList());
    QVERIFY(!detail.SymbolList().isEmpty());
    if (!failing.isEmpty())
        f.backend.faults().failNext(failing, QStringLiteral("x"));

    f.list()->slotAddPortfolioLst(detail);

    if (failing.isEmpty()) {
        QVERIFY(f.boxes.shown.isEmpty());
        QCOMPARE(f.names(), before + QStringList{detail.Name()});
        QCOMPARE(f.currentRow(), f.rows() - 1);
        QCOMPARE(linesOf(backendPortfolio(f.numberAt(f.rows() - 1))), linesOf(detail));
        return;
    }
    QCOMPARE(f.boxes.texts(), QStringList{QStringLiteral("组合后台数据添加失败：") + reason});
    QCOMPARE(f.names(), before);
    QCOMPARE(PageFixture::backendNames(), before);
    QCOMPARE(storeNames(), before);
    if (failing == MsgType::alterStrategyRequest)
        QVERIFY(!backendStrategyNames().contains(QStringLiteral("新标签")));
}

void tst_ListCommands::alterRollsBack_data()
{
    QTest::addColumn<QString>("failing");  // request type that fails; empty: none
    QTest::newRow("no fault") << QString();
    QTest::newRow("header") << MsgType::alterPortfolioRequest;
    QTest::newRow("clearing the lines") << MsgType::deletePortfolioDetailRequest;
    QTest::newRow("new lines") << MsgType::alterPortfolioDetailRequest;
}

void tst_ListCommands::alterRollsBack()
{
    QFETCH(QString, failing);
    Page f;
    QVERIFY(f.ready());
    const int row = f.rowOfName(kBanks);
    const QString no = f.numberAt(row);
    const PortfolioDetailBasicInfo old = backendPortfolio(no);
    PortfolioDetailBasicInfo changed = stored(no);
    changed.setName(QStringLiteral("银行股组合（调）"));
    changed.setSymbolList(stored(f.numberAt(f.rowOfName(kCsi))).SymbolList());
    QVERIFY(linesOf(changed) != linesOf(old));
    if (!failing.isEmpty())
        f.backend.faults().failNext(failing, QStringLiteral("x"));

    f.list()->slotAddPortfolioLst(changed, false, 0);

    const PortfolioDetailBasicInfo now = backendPortfolio(no);
    if (failing.isEmpty()) {
        QVERIFY(f.boxes.shown.isEmpty());
        QCOMPARE(now.Name(), changed.Name());
        QCOMPARE(linesOf(now), linesOf(changed));
        QCOMPARE(f.cell(row, 0), changed.Name());
        QCOMPARE(stored(no).Name(), changed.Name());
        return;
    }
    QCOMPARE(f.boxes.texts(), QStringList{QStringLiteral("x")});
    QCOMPARE(now.Name(), old.Name());
    QCOMPARE(linesOf(now), linesOf(old));
    QCOMPARE(f.cell(row, 0), kBanks);
    QCOMPARE(f.cell(row, 3), QString::number(old.SymbolList().size()));
    QCOMPARE(linesOf(stored(no)), linesOf(old));
}

// ---- Templates ------------------------------------------------------------------------

void tst_ListCommands::templatesDownloadAndImport()
{
    Page f;
    QVERIFY(f.ready());
    FileDialogs dialogs;
    dialogs.saveFolder = f.backend.path(QStringLiteral("templates"));
    QVERIFY(QDir().mkpath(dialogs.saveFolder));
    QMenu *menu = f.list()->findChild<QMenu *>(QStringLiteral("PortfoliosListTemplateMenu"));
    QVERIFY(menu);

    menuAction(menu, QStringLiteral("menu_dlNormal"))->trigger();
    menuAction(menu, QStringLiteral("menu_dlAlgo"))->trigger();

    QVERIFY(f.boxes.shown.isEmpty());
    QCOMPARE(dialogs.saved.size(), 2);
    for (const QString &path : qAsConst(dialogs.saved))
        QVERIFY2(QFileInfo(path).size() > 0, qPrintable(path));

    dialogs.openPath = dialogs.saved.first();
    const QString name = QFileInfo(dialogs.openPath).completeBaseName();
    f.list()->on_pushButton_import_clicked();

    QCOMPARE(f.boxes.last(), QStringLiteral("组合导入成功！"));
    QCOMPARE(f.cell(f.rows() - 1, 0), name);
    QVERIFY(PageFixture::backendNames().contains(name));
    QCOMPARE(f.cell(f.rows() - 1, 7), QStringLiteral("无参"));

    // The algorithm template's parameters show at once, as after a reload.
    dialogs.openPath = dialogs.saved.last();
    f.list()->on_pushButton_import_clicked();
    QCOMPARE(f.cell(f.rows() - 1, 7), QStringLiteral("带参"));
    emit f.list()->signalRefreshPortfoliosList();
    QTRY_VERIFY(!f.presenter()->isRefreshing());
    QCOMPARE(f.cell(f.rows() - 1, 7), QStringLiteral("带参"));
}

// ---- Business message panel -----------------------------------------------------------

void tst_ListCommands::panelLinePerCommand()
{
    Page f;
    QVERIFY(f.ready());
    QVERIFY(f.show());
    FileDialogs dialogs;
    dialogs.saveFolder = f.backend.path(QStringLiteral("templates"));
    QVERIFY(QDir().mkpath(dialogs.saveFolder));
    PanelRecorder panel;
    const QString pending = f.numberAt(f.rowOfName(kPending));

    const QString bad = f.backend.path(QStringLiteral("坏.csv")), good = f.backend.path(QStringLiteral("好.csv"));
    QVERIFY(writeCsv(bad, {kBadLines.at(0)}) && writeCsv(good, kGoodLines));
    dialogs.openPath = bad;
    f.list()->on_pushButton_import_clicked();
    dialogs.openPath = good;
    f.list()->on_pushButton_import_clicked();
    const QString imported = f.numberAt(f.rows() - 1);
    f.makeCurrent(f.rows() - 1);
    f.list()->on_pushButton_copy_clicked();
    const int copyRow = f.rows() - 1;
    const QString copy = f.numberAt(copyRow);
    QVERIFY(f.pickFromContextMenu(copyRow, QStringLiteral("置顶")));
    menuAction(f.list()->findChild<QMenu *>(QStringLiteral("PortfoliosListTemplateMenu")),
               QStringLiteral("menu_dlNormal"))->trigger();
    QVERIFY(f.pickFromContextMenu(0, QStringLiteral("删除")));
    QVERIFY(f.pickFromContextMenu(f.rowOfName(kPending), QStringLiteral("删除")));

    const QStringList lines = panel.lines();
    QCOMPARE(lines.size(), 7);
    QVERIFY2(lines.at(0).startsWith(QStringLiteral("[警告] 文件导入 ") + bad + QStringLiteral("：失败，")),
             qPrintable(lines.at(0)));
    QVERIFY2(!lines.at(0).contains(QLatin1Char('\n')), qPrintable(lines.at(0)));
    QCOMPARE(lines.mid(1, 3), QStringList({
        QStringLiteral("[信息] 文件导入 %1 → 组合「好」（组合号 %2）：成功").arg(good, imported),
        QStringLiteral("[信息] 复制组合「好」（组合号 %1） → 「好1」（组合号 %2）：成功").arg(imported, copy),
        QStringLiteral("[信息] 调整组合「好1」（组合号 %1）的显示位置：第%2行 → 第1行：成功").arg(copy).arg(copyRow + 1),
    }));
    QCOMPARE(lines.at(4), QStringLiteral("[信息] 下载普通组合模板 %1：成功").arg(dialogs.saved.value(0)));
    QCOMPARE(lines.mid(5), QStringList({
        QStringLiteral("[信息] 删除组合「好1」（组合号 %1）：成功").arg(copy),
        QStringLiteral("[警告] 删除组合「%1」（组合号 %2）：失败，存在订单未完成").arg(kPending, pending),
    }));
}

QTEST_MAIN(tst_ListCommands)
#include "tst_listcommands.moc"
