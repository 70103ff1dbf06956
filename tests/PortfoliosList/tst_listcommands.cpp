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
    const QByteArray data = (QStringList{kCsvHeader} + lines).join(QLatin1Char('\n')).toUtf8() + '\n';
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

QList<PortfolioDetailBasicInfo> backendPortfolios()
{
    QList<PortfolioDetailBasicInfo> all;
    const TestBackend::Answer a = TestBackend::request(
        MsgType::queryPortfolioRequest,
        {{RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount()}});
    for (const QVariantMap &row : a.body.rows())
        all << PortfolioWireFormat::portfolioFromRow(row);
    return all;
}

PortfolioDetailBasicInfo backendPortfolio(const QString &portfolioNo)
{
    for (const PortfolioDetailBasicInfo &p : backendPortfolios()) {
        if (p.PortfolioNo() == portfolioNo)
            return p;
    }
    return PortfolioDetailBasicInfo();
}

QStringList backendStrategyNames()
{
    QStringList names;
    const TestBackend::Answer a = TestBackend::request(
        MsgType::queryStrategyRequest,
        {{RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount()}});
    for (const QVariantMap &row : a.body.rows())
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
    PortfolioDetailBasicInfo *p = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(portfolioNo);
    return p ? *p : PortfolioDetailBasicInfo();
}

QStringList storeNames()
{
    return PortfolioListBasicInfo::GetInstance()->getAllPortfolioName();
}

bool showPage(PageFixture &f)
{
    f.page->show();
    f.page->activateWindow();
    return QTest::qWaitForWindowActive(f.page.get());
}

QModelIndex indexOf(PageFixture &f, int row, int column = 0)
{
    return f.table()->recordModel()->index(row, column);
}

QPoint centreOf(PageFixture &f, int row)
{
    return f.table()->visualRect(indexOf(f, row)).center();
}

QString numberAt(PageFixture &f, int row)
{
    return f.cell(row, 8);
}

int currentRow(PageFixture &f)
{
    return f.table()->currentIndex().row();
}

void makeCurrent(PageFixture &f, int row)
{
    f.table()->setCurrentIndex(indexOf(f, row), true);
}

void clearCurrent(PageFixture &f)
{
    f.table()->selectionModel()->clear();
}

void selectRows(PageFixture &f, const QStringList &names)
{
    f.table()->selectionModel()->clearSelection();
    for (const QString &name : names)
        f.table()->selectionModel()->select(indexOf(f, f.rowOfName(name)),
                                            QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

QMenu *contextMenu(PageFixture &f)
{
    return f.list()->findChild<QMenu *>(QStringLiteral("PortfoliosListContextMenu"));
}

QAction *menuAction(QMenu *menu, const QString &text)
{
    for (QAction *action : menu->actions()) {
        if (action->text() == text || action->objectName() == text)
            return action;
    }
    return nullptr;
}

// As the trader does it: right button on the row (which makes it current), the menu
// opens over it, the item is picked. False when the menu did not open.
bool pickFromContextMenu(PageFixture &f, int row, const QString &item)
{
    QWidget *viewport = f.table()->viewport();
    const QPoint at = centreOf(f, row);
    QTest::mousePress(viewport, Qt::RightButton, {}, at);
    QTest::mouseRelease(viewport, Qt::RightButton, {}, at);
    QContextMenuEvent event(QContextMenuEvent::Mouse, at, viewport->mapToGlobal(at));
    QApplication::sendEvent(f.list(), &event);
    QMenu *menu = contextMenu(f);
    if (!menu || !menu->isVisible())
        return false;
    menuAction(menu, item)->trigger();
    menu->hide();
    return true;
}

QLineEdit *nameEditor(PageFixture &f, int row)
{
    return qobject_cast<QLineEdit *>(f.table()->indexWidget(indexOf(f, row)));
}

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

// Another page of the client that follows the list's click event.
class ClickListener : public TzPresenterClass
{
public:
    ClickListener() { SubEvent(PORTFOLIO_CLICKED); }
    QStringList portfolioNos;

protected:
    void ProcEventMsg(QString, QVariant, QVariant message) override
    {
        CUnPackMessageCommon body;
        if (body.SetUnPackMsg(message))
            portfolioNos << body.GetValue(RequestField::portfolioNo).toString();
    }
};

} // namespace

class tst_ListCommands : public QObject
{
    Q_OBJECT

private slots:
    void importNamesPortfolio_data();
    void importNamesPortfolio();
    void importRefusesUnusableFile();
    void importPartlyBadFile_data();
    void importPartlyBadFile();

    void commandsNeedCurrentRow_data();
    void commandsNeedCurrentRow();
    void copyShortName();
    void copyLongName_data();
    void copyLongName();

    void deleteSelected_data();
    void deleteSelected();
    void deleteCurrentRunsClickAgain();
    void deleteFromContextMenu_data();
    void deleteFromContextMenu();

    void reorder_data();
    void reorder();
    void reorderLivesInTableOnly();

    void renameInPlace();
    void renameRefused_data();
    void renameRefused();

    void modifyRefused_data();
    void modifyRefused();
    void modifyChangesNameLabelAndQuantity();

    void addRollsBack_data();
    void addRollsBack();
    void alterRollsBack_data();
    void alterRollsBack();

    void templatesDownloadAndImport();
};

// ---- File import --------------------------------------------------------------------

void tst_ListCommands::importNamesPortfolio_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("tip");

    const QString ok = QStringLiteral("组合导入成功！");
    const QString thirty = QStringLiteral("一二三四五六七八九十").repeated(3);
    QTest::newRow("name is the file name up to the dot")
        << QStringLiteral("a/b/组合.csv") << QStringLiteral("组合") << ok;
    QTest::newRow("long name cut to 25 characters")
        << thirty + QStringLiteral(".csv") << thirty.left(25) << ok;
    QTest::newRow("first dot ends the name") << QStringLiteral("x.y.csv") << QStringLiteral("x") << ok;
    QTest::newRow("taken name gets the next free name")
        << kBanks + QStringLiteral(".csv") << kBanks + QStringLiteral("1")
        << QStringLiteral("组合导入成功，组合名称重复，已修改为银行股组合1！");
}

void tst_ListCommands::importNamesPortfolio()
{
    QFETCH(QString, file);
    QFETCH(QString, name);
    QFETCH(QString, tip);
    PageFixture f;
    QVERIFY(f.ready());
    FileDialogs dialogs;
    dialogs.openPath = f.backend.path(file);
    QVERIFY(writeCsv(dialogs.openPath, kGoodLines));
    const QStringList before = f.names();

    f.list()->on_pushButton_import_clicked();

    QCOMPARE(f.boxes.texts(), QStringList{tip});
    QCOMPARE(f.names(), before + QStringList{name});
    QCOMPARE(currentRow(f), f.rows() - 1);
    const QString no = numberAt(f, f.rows() - 1);
    const PortfolioDetailBasicInfo onBackend = backendPortfolio(no);
    QCOMPARE(onBackend.Name(), name);
    QCOMPARE(linesOf(onBackend), QStringList({QStringLiteral("600519.SH 买入 100"),
                                              QStringLiteral("000001.SZ 买入 200")}));
    QCOMPARE(stored(no).Name(), name);
}

void tst_ListCommands::importRefusesUnusableFile()
{
    PageFixture f;
    QVERIFY(f.ready());
    FileDialogs dialogs;
    const QStringList before = f.names();

    // Cancelling the file dialog does nothing at all.
    f.list()->on_pushButton_import_clicked();
    QVERIFY(f.boxes.shown.isEmpty());

    dialogs.openPath = f.backend.path(QStringLiteral("坏组合.csv"));
    QVERIFY(writeCsv(dialogs.openPath, kBadLines));
    QString reason;
    QVariantMap extension;
    QVERIFY(PortfolioImportFile::read(dialogs.openPath, reason, extension).isEmpty());
    QVERIFY(!reason.isEmpty());

    f.list()->on_pushButton_import_clicked();

    QCOMPARE(f.boxes.shown.size(), 1);
    QCOMPARE(f.boxes.shown.first().kind, VeltraWidget::MsgBoxKind::Error);
    QCOMPARE(f.boxes.last(), QStringLiteral("组合导入失败，原因：\r\n") + reason);
    QCOMPARE(f.names(), before);
    QCOMPARE(PageFixture::backendNames(), before);
    QCOMPARE(storeNames(), before);
}

void tst_ListCommands::importPartlyBadFile_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("trader declines: nothing imported") << 0;
    QTest::newRow("trader accepts: good lines imported") << 1;
}

void tst_ListCommands::importPartlyBadFile()
{
    QFETCH(int, answer);
    PageFixture f;
    QVERIFY(f.ready());
    FileDialogs dialogs;
    dialogs.openPath = f.backend.path(QStringLiteral("半好组合.csv"));
    QVERIFY(writeCsv(dialogs.openPath, {kGoodLines.at(0), kBadLines.at(0), kGoodLines.at(1)}));
    const QStringList before = f.names();
    f.boxes.answers = {answer};

    f.list()->on_pushButton_import_clicked();

    QVERIFY(!f.boxes.shown.isEmpty());
    QCOMPARE(f.boxes.shown.first().kind, VeltraWidget::MsgBoxKind::Question);
    QVERIFY(f.boxes.shown.first().text.startsWith(QStringLiteral("组合部分数据未通过校验，原因：\r\n第3行：")));
    if (!answer) {
        QCOMPARE(f.boxes.shown.size(), 1);
        QCOMPARE(f.names(), before);
        QCOMPARE(PageFixture::backendNames(), before);
        return;
    }
    QCOMPARE(f.boxes.last(), QStringLiteral("组合导入成功！"));
    QCOMPARE(f.names(), before + QStringList{QStringLiteral("半好组合")});
    QCOMPARE(linesOf(backendPortfolio(numberAt(f, f.rows() - 1))),
             QStringList({QStringLiteral("600519.SH 买入 100"), QStringLiteral("000001.SZ 买入 200")}));
}

// ---- Copy -----------------------------------------------------------------------------

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
    PageFixture f;
    QVERIFY(f.ready());
    const QStringList before = f.names();
    clearCurrent(f);
    ModalDriver driver([](TzDialog *) {});

    if (command == QLatin1String("copy"))
        f.list()->on_pushButton_copy_clicked();
    else if (command == QLatin1String("modify"))
        f.list()->on_pushButton_modfiy_clicked();
    else
        menuAction(contextMenu(f), QStringLiteral("删除"))->trigger();

    QCOMPARE(f.boxes.texts(), QStringList{tip});
    QVERIFY(driver.title.isEmpty());
    QCOMPARE(f.names(), before);
    QCOMPARE(PageFixture::backendNames(), before);
}

void tst_ListCommands::copyShortName()
{
    PageFixture f;
    QVERIFY(f.ready());
    QVERIFY(showPage(f));
    const int source = f.rowOfName(kBanks);
    const QStringList sourceLines = linesOf(backendPortfolio(numberAt(f, source)));
    const QStringList before = f.names();

    QVERIFY(pickFromContextMenu(f, source, QStringLiteral("复制")));

    QVERIFY(f.boxes.shown.isEmpty());
    const QString copyName = kBanks + QStringLiteral("1");
    QCOMPARE(f.names(), before + QStringList{copyName});
    QCOMPARE(currentRow(f), f.rows() - 1);
    const QString no = numberAt(f, f.rows() - 1);
    QVERIFY(no != numberAt(f, source));
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
    PageFixture f;
    QVERIFY(f.ready());
    // A 25-character name leaves no room for the copy's number.
    const int row = f.rowOfName(kBanks);
    PortfolioDetailBasicInfo renamed = stored(numberAt(f, row));
    const QString longName = QString(25, QLatin1Char('L'));
    renamed.setName(longName);
    QCOMPARE(f.list()->modifyPortfolioName(renamed), QStringLiteral("0"));
    const QStringList before = f.names();
    makeCurrent(f, row);

    QString proposed;
    QStringList tipsWhileOpen;
    ModalDriver driver([&](TzDialog *dialog) {
        proposed = dialog->findChild<QLineEdit *>(QStringLiteral("m_pNameEdit"))->text();
        if (!confirm) {
            press(dialog, "cancelBtn");
            return;
        }
        press(dialog, "pushButton_confirm");  // the proposal is the taken name
        tipsWhileOpen = f.boxes.texts();
        setField(dialog, "m_pNameEdit", QStringLiteral("长名称副本"));
        press(dialog, "pushButton_confirm");
    });
    f.list()->on_pushButton_copy_clicked();

    QCOMPARE(driver.title, QStringLiteral("复制组合-修改组合名称"));
    QVERIFY(!driver.stillOpen);
    QCOMPARE(proposed, longName);  // the free name cut to what the field takes
    if (!confirm) {
        QVERIFY(f.boxes.shown.isEmpty());
        QCOMPARE(f.names(), before);
        QCOMPARE(PageFixture::backendNames(), before);
        return;
    }
    QCOMPARE(tipsWhileOpen, QStringList{QStringLiteral("组合名称重复，请修改!")});
    QCOMPARE(f.names(), before + QStringList{QStringLiteral("长名称副本")});
    QCOMPARE(PageFixture::backendNames(), f.names());
    QCOMPARE(currentRow(f), f.rows() - 1);
}

// ---- Delete ---------------------------------------------------------------------------

void tst_ListCommands::deleteSelected_data()
{
    QTest::addColumn<QStringList>("selected");
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("byKey");
    QTest::addColumn<QStringList>("boxes");  // %1 = number of the blocked portfolio
    QTest::addColumn<QStringList>("deleted");

    const QString blocked = QStringLiteral("组合%1存在订单未完成，无法删除!");
    const QStringList mixed = {kBanks, kPending, QStringLiteral("创业板成长")};
    QTest::newRow("question answered no") << mixed << 0 << false << QStringList{kDeleteQuestion}
                                          << QStringList();
    QTest::newRow("unfinished batch kept, others deleted")
        << mixed << 1 << false << QStringList{kDeleteQuestion, blocked} << QStringList{kBanks, mixed.at(2)};
    QTest::newRow("Delete key does the same")
        << mixed << 1 << true << QStringList{kDeleteQuestion, blocked} << QStringList{kBanks, mixed.at(2)};
    QTest::newRow("all blocked") << QStringList{kPending} << 1 << false
                                 << QStringList{kDeleteQuestion, blocked,
                                                QStringLiteral("无符合删除条件的数据")}
                                 << QStringList();
}

void tst_ListCommands::deleteSelected()
{
    QFETCH(QStringList, selected);
    QFETCH(int, answer);
    QFETCH(bool, byKey);
    QFETCH(QStringList, boxes);
    QFETCH(QStringList, deleted);
    PageFixture f;
    QVERIFY(f.ready());
    QVERIFY(showPage(f));
    const QString pendingNo = numberAt(f, f.rowOfName(kPending));
    for (QString &text : boxes)
        text = text.arg(pendingNo);
    QStringList expected = f.names();
    for (const QString &name : deleted)
        expected.removeOne(name);
    selectRows(f, selected);
    f.boxes.answers = {answer};

    if (byKey) {
        f.table()->setFocus();
        QTest::keyClick(f.table(), Qt::Key_Delete);
    } else {
        f.list()->on_pushButton_delete_clicked();
    }

    QCOMPARE(f.boxes.texts(), boxes);
    QCOMPARE(f.names(), expected);
    QCOMPARE(PageFixture::backendNames(), expected);
    QCOMPARE(storeNames(), expected);
}

void tst_ListCommands::deleteCurrentRunsClickAgain()
{
    PageFixture f;
    QVERIFY(f.ready());
    QVERIFY(showPage(f));
    ClickListener listener;
    const int row = f.rowOfName(kBanks);
    const QString deletedNo = numberAt(f, row);
    QTest::mouseClick(f.table()->viewport(), Qt::LeftButton, {}, centreOf(f, row));
    QTest::qWait(100);
    QCOMPARE(listener.portfolioNos, QStringList{deletedNo});
    listener.portfolioNos.clear();

    f.list()->on_pushButton_delete_clicked();  // the clicked row is the selection
    QTest::qWait(100);

    QCOMPARE(f.rowOfName(kBanks), -1);
    QVERIFY(currentRow(f) >= 0);
    const QString nowCurrent = numberAt(f, currentRow(f));
    QCOMPARE(listener.portfolioNos, QStringList{nowCurrent});
    QCOMPARE(f.list()->currentPortfolioNo(), nowCurrent);

    // Deleting a portfolio that is not the clicked one leaves the click alone.
    listener.portfolioNos.clear();
    const QString other = f.cell(f.rowOfName(kCsi) == currentRow(f) ? 1 : f.rowOfName(kCsi), 0);
    selectRows(f, {other});
    f.list()->on_pushButton_delete_clicked();
    QTest::qWait(100);
    QCOMPARE(f.rowOfName(other), -1);
    QVERIFY(listener.portfolioNos.isEmpty());
    QCOMPARE(f.list()->currentPortfolioNo(), nowCurrent);
}

void tst_ListCommands::deleteFromContextMenu_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("backendFails");
    QTest::addColumn<QStringList>("boxes");  // %1 = the portfolio's number
    QTest::addColumn<bool>("deleted");

    QTest::newRow("deleted") << kBanks << false << QStringList{kDeleteQuestion} << true;
    QTest::newRow("unfinished batch")
        << kPending << false << QStringList{QStringLiteral("当前删除组合存在订单未完成，无法删除!")}
        << false;
    QTest::newRow("back end refuses")
        << kBanks << true
        << QStringList{kDeleteQuestion,
                       QStringLiteral("编号为:%1数据删除错误!错误代码:删除组合失败。错误代码：x")}
        << false;
}

void tst_ListCommands::deleteFromContextMenu()
{
    QFETCH(QString, name);
    QFETCH(bool, backendFails);
    QFETCH(QStringList, boxes);
    QFETCH(bool, deleted);
    PageFixture f;
    QVERIFY(f.ready());
    QVERIFY(showPage(f));
    const QString no = numberAt(f, f.rowOfName(name));
    for (QString &text : boxes)
        text = text.arg(no);
    QStringList expected = f.names();
    if (deleted)
        expected.removeOne(name);
    if (backendFails)
        f.backend.faults().failNext(MsgType::deletePortfolioRequest, QStringLiteral("x"));

    QVERIFY(pickFromContextMenu(f, f.rowOfName(name), QStringLiteral("删除")));

    QCOMPARE(f.boxes.texts(), boxes);
    QCOMPARE(f.names(), expected);
    QCOMPARE(PageFixture::backendNames(), expected);
    QCOMPARE(storeNames(), expected);
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
    PageFixture f;
    QVERIFY(f.ready());
    QVERIFY(showPage(f));
    const QStringList seeded = f.names();
    QCOMPARE(seeded.size(), 5);
    QStringList expected;
    for (const QChar c : order)
        expected << seeded.at(c.digitValue());

    QVERIFY(pickFromContextMenu(f, row, item));

    QCOMPARE(f.names(), expected);
    QCOMPARE(f.cell(currentRow(f), 0), seeded.at(row));  // the moved row stays current
    QCOMPARE(f.table()->selectionModel()->selectedRows().size(), 1);
    // Keys follow their rows.
    const int moved = f.rowOfName(seeded.at(row));
    QCOMPARE(f.table()->getRowByKey(numberAt(f, moved)), moved);
}

void tst_ListCommands::reorderLivesInTableOnly()
{
    PageFixture f;
    QVERIFY(f.ready());
    QVERIFY(showPage(f));
    const QStringList seeded = f.names();

    QVERIFY(pickFromContextMenu(f, 3, QStringLiteral("置顶")));
    QVERIFY(f.names() != seeded);
    QCOMPARE(PageFixture::backendNames(), seeded);
    f.page->findChild<QToolButton *>(QStringLiteral("btn_refresh"))->click();
    QCOMPARE(f.names(), seeded);

    QVERIFY(pickFromContextMenu(f, 0, QStringLiteral("置底")));
    QVERIFY(f.names() != seeded);
    emit f.list()->signalRefreshPortfoliosList();
    QCOMPARE(f.names(), seeded);
    QVERIFY(f.boxes.shown.isEmpty());
}

// ---- Renaming in place ----------------------------------------------------------------

void tst_ListCommands::renameInPlace()
{
    PageFixture f;
    QVERIFY(f.ready());
    QVERIFY(showPage(f));
    const int row = f.rowOfName(kBanks);
    const QString no = numberAt(f, row);

    QTest::mouseDClick(f.table()->viewport(), Qt::LeftButton, {}, centreOf(f, row));
    QLineEdit *editor = nameEditor(f, row);
    QVERIFY(editor);
    QCOMPARE(editor->objectName(), QStringLiteral("portfolioNameEditor"));
    QCOMPARE(editor->text(), kBanks);
    editor->clear();
    QTest::keyClicks(editor, QStringLiteral("abcdefghijklmnopqrstuvwxyz"));
    QCOMPARE(editor->text(), QStringLiteral("abcdefghijklmnopqrstuvwxy"));

    editor->setText(QStringLiteral("银行精选"));
    QTest::keyClick(editor, Qt::Key_Return);

    QVERIFY(f.boxes.shown.isEmpty());
    QVERIFY(!f.table()->isPersistentEditorOpen(indexOf(f, row)));
    QCOMPARE(f.cell(row, 0), QStringLiteral("银行精选"));
    QCOMPARE(backendPortfolio(no).Name(), QStringLiteral("银行精选"));
    QCOMPARE(stored(no).Name(), QStringLiteral("银行精选"));
    QCOMPARE(linesOf(backendPortfolio(no)), linesOf(stored(no)));

    // F2 opens the editor on the current row, whatever column is current.
    const int other = f.rowOfName(kCsi);
    f.table()->setCurrentIndex(indexOf(f, other, 3), true);
    f.table()->setFocus();
    QTest::keyClick(f.table(), Qt::Key_F2);
    QVERIFY(f.table()->isPersistentEditorOpen(indexOf(f, other)));
    QCOMPARE(nameEditor(f, other)->text(), kCsi);
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
    PageFixture f;
    QVERIFY(f.ready());
    QVERIFY(showPage(f));
    const int row = f.rowOfName(kBanks);
    const QString no = numberAt(f, row);
    if (fault == QLatin1String("fail")) {
        f.backend.faults().failNext(MsgType::alterPortfolioRequest, QStringLiteral("x"));
    } else if (fault == QLatin1String("drop")) {
        TestBackend::setTimeoutMs(200);
        f.backend.faults().dropNext(MsgType::alterPortfolioRequest);
    }

    QTest::mouseDClick(f.table()->viewport(), Qt::LeftButton, {}, centreOf(f, row));
    QLineEdit *editor = nameEditor(f, row);
    QVERIFY(editor);
    editor->setText(typed);
    QTest::keyClick(editor, Qt::Key_Return);

    QCOMPARE(f.boxes.shown.size(), 1);
    QCOMPARE(f.boxes.shown.first().title, QStringLiteral("提醒"));
    QCOMPARE(f.boxes.last(), message);
    QVERIFY(!f.table()->isPersistentEditorOpen(indexOf(f, row)));
    QCOMPARE(f.cell(row, 0), kBanks);
    QCOMPARE(stored(no).Name(), kBanks);
    QCOMPARE(backendPortfolio(no).Name(), kBanks);
}

// ---- Modify dialog ------------------------------------------------------------------

void tst_ListCommands::modifyRefused_data()
{
    QTest::addColumn<QString>("name");  // empty: leave the field as it is
    QTest::addColumn<QString>("quantity");
    QTest::addColumn<QString>("tip");

    QTest::newRow("nothing changed") << QString() << QString() << QStringLiteral("未修改任何内容!");
    QTest::newRow("taken name") << kCsi << QString() << QStringLiteral("组合名称重复，请修改!");
    QTest::newRow("padded name") << QStringLiteral("银行精选 ") << QString()
                                 << QStringLiteral("组合名称首尾不能有空格！");
    QTest::newRow("quantity not a number") << QString() << QStringLiteral("abc")
                                           << QStringLiteral("默认单笔数量须为正整数：abc");
    QTest::newRow("zero quantity") << QString() << QStringLiteral("0")
                                   << QStringLiteral("默认单笔数量须为正整数：0");
}

void tst_ListCommands::modifyRefused()
{
    QFETCH(QString, name);
    QFETCH(QString, quantity);
    QFETCH(QString, tip);
    PageFixture f;
    QVERIFY(f.ready());
    const int row = f.rowOfName(kBanks);
    const QString no = numberAt(f, row);
    const PortfolioDetailBasicInfo before = backendPortfolio(no);
    makeCurrent(f, row);

    ModalDriver driver([&](TzDialog *dialog) {
        if (!name.isEmpty())
            setField(dialog, "m_pNameEdit", name);
        if (!quantity.isEmpty())
            setField(dialog, "m_pNumberEdit", quantity);
        press(dialog, "pushButton_confirm");
    });
    f.list()->on_pushButton_modfiy_clicked();

    QCOMPARE(driver.title, QStringLiteral("修改组合"));
    QVERIFY(driver.stillOpen);
    QCOMPARE(f.boxes.texts(), QStringList{tip});
    QVERIFY(!f.list()->modifyDialog());
    const PortfolioDetailBasicInfo after = backendPortfolio(no);
    QCOMPARE(after.Name(), before.Name());
    QCOMPARE(after.DefaultNum(), before.DefaultNum());
    QCOMPARE(after.StrategyName(), before.StrategyName());
    QCOMPARE(f.cell(row, 0), kBanks);
}

void tst_ListCommands::modifyChangesNameLabelAndQuantity()
{
    PageFixture f;
    QVERIFY(f.ready());
    const int row = f.rowOfName(kBanks);
    const QString no = numberAt(f, row);
    const QStringList lines = linesOf(backendPortfolio(no));
    QVERIFY(!backendStrategyNames().contains(QStringLiteral("红利策略")));
    makeCurrent(f, row);

    QString shownLabel;
    ModalDriver driver([&](TzDialog *dialog) {
        shownLabel = dialog->findChild<QLineEdit *>(QStringLiteral("m_pStrategyEdit"))->text();
        setField(dialog, "m_pNameEdit", QStringLiteral("银行精选"));
        setField(dialog, "m_pStrategyEdit", QStringLiteral("红利策略"));
        setField(dialog, "m_pNumberEdit", QStringLiteral("500"));
        press(dialog, "pushButton_confirm");
    });
    f.list()->on_pushButton_modfiy_clicked();

    QCOMPARE(driver.title, QStringLiteral("修改组合"));
    QVERIFY(!driver.stillOpen);
    QVERIFY(f.boxes.shown.isEmpty());
    QCOMPARE(shownLabel, QStringLiteral("默认"));
    QVERIFY(backendStrategyNames().contains(QStringLiteral("红利策略")));
    const PortfolioDetailBasicInfo onBackend = backendPortfolio(no);
    QCOMPARE(onBackend.Name(), QStringLiteral("银行精选"));
    QCOMPARE(onBackend.StrategyName(), QStringLiteral("红利策略"));
    QCOMPARE(onBackend.DefaultNum(), qint64(500));
    QCOMPARE(linesOf(onBackend), lines);
    const PortfolioDetailBasicInfo inStore = stored(no);
    QCOMPARE(inStore.Name(), QStringLiteral("银行精选"));
    QCOMPARE(inStore.StrategyName(), QStringLiteral("红利策略"));
    QCOMPARE(inStore.DefaultNum(), qint64(500));
    QCOMPARE(f.cell(row, 0), QStringLiteral("银行精选"));
    QCOMPARE(f.cell(row, 9), QStringLiteral("500"));
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
    PageFixture f;
    QVERIFY(f.ready());
    const QStringList before = f.names();
    PortfolioDetailBasicInfo detail;
    detail.setName(QStringLiteral("新组合"));
    detail.setStrategyName(QStringLiteral("新标签"));
    detail.setDefaultNum(1);
    detail.setSymbolList(stored(numberAt(f, f.rowOfName(kBanks))).SymbolList());
    QVERIFY(!detail.SymbolList().isEmpty());
    if (!failing.isEmpty())
        f.backend.faults().failNext(failing, QStringLiteral("x"));

    f.list()->slotAddPortfolioLst(detail);

    if (failing.isEmpty()) {
        QVERIFY(f.boxes.shown.isEmpty());
        QCOMPARE(f.names(), before + QStringList{detail.Name()});
        QCOMPARE(currentRow(f), f.rows() - 1);
        QCOMPARE(linesOf(backendPortfolio(numberAt(f, f.rows() - 1))), linesOf(detail));
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
    PageFixture f;
    QVERIFY(f.ready());
    const int row = f.rowOfName(kBanks);
    const QString no = numberAt(f, row);
    const PortfolioDetailBasicInfo old = backendPortfolio(no);
    PortfolioDetailBasicInfo changed = stored(no);
    changed.setName(QStringLiteral("银行股组合（调）"));
    changed.setSymbolList(stored(numberAt(f, f.rowOfName(kCsi))).SymbolList());
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
    PageFixture f;
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
}

QTEST_MAIN(tst_ListCommands)
#include "tst_listcommands.moc"
