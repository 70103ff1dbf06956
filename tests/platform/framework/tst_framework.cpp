// Framework pieces pages lean on: the record model's key index and change signals, the
// table's column layout kept per table name, quantity show types, business messages,
// event ids, account look-ups and the lot rules of orders.

#include "cbusinessdatabase.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "recordmodel.h"
#include "tzcore.h"
#include "tztableview.h"
#include "veltrabusinessdatainterface.h"
#include "veltracombobox.h"
#include "veltrautils.h"
#include "msgtypes.h"

#include <QDir>
#include <QHeaderView>
#include <QHelpEvent>
#include <QStandardPaths>
#include <QToolTip>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
RowRecord row(const QString &key, const QString &name, double value = 0.0)
{
    RowRecord r;
    r[0][RecordRole::display] = name;
    r[1][RecordRole::display] = QString::number(value, 'f', 2);
    r[1][RecordRole::user] = value;
    r[8][RecordRole::display] = key;
    r[12][RecordRole::user] = QStringLiteral("payload-") + key;
    return r;
}
}

class tst_Framework : public QObject
{
    Q_OBJECT

private slots:
    void accountLookupsAndLotRules();
    void initTestCase();
    void cleanupTestCase();
    void keyIndexFollowsInsertsAndDeletes();
    void updateAnnouncesOnlyChangedCells();
    void rolesAndCheckMarks();
    void columnLayoutFromConfigurationAndSettings();
    void showTypes_data();
    void showTypes();
    void numbersAreWrittenAsQtWritesThem();
    void businessMessagesReachTheSink();
    void cutOffCellsShowTheirWholeText();
    void fileDialogsStartWhereTheTraderWasLast();
    void eventIdsAndAccounts();

private:
    QTemporaryDir m_dir;
};

void tst_Framework::initTestCase()
{
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    TzCore::setSettingsFile(m_dir.filePath(QStringLiteral("settings.ini")));
}

void tst_Framework::cleanupTestCase()
{
    TzCore::setSettingsFile(QString());  // written out while its folder still exists
}

void tst_Framework::keyIndexFollowsInsertsAndDeletes()
{
    RecordModel model;
    model.setColumnCount(11);
    model.setKeyColumn(8);
    model.resetRecords({row(QStringLiteral("A"), QStringLiteral("甲")), row(QStringLiteral("B"), QStringLiteral("乙")),
                        row(QStringLiteral("C"), QStringLiteral("丙"))});
    QCOMPARE(model.rowOfKey(QStringLiteral("C")), 2);
    model.insertRecord(0, row(QStringLiteral("D"), QStringLiteral("丁")));
    QCOMPARE(model.rowOfKey(QStringLiteral("D")), 0);
    QCOMPARE(model.rowOfKey(QStringLiteral("A")), 1);
    QCOMPARE(model.rowOfKey(QStringLiteral("C")), 3);
    model.removeRecord(1);
    QCOMPARE(model.rowOfKey(QStringLiteral("A")), -1);
    QCOMPARE(model.rowOfKey(QStringLiteral("B")), 1);
    model.appendRecord(row(QStringLiteral("E"), QStringLiteral("戊")));
    QCOMPARE(model.rowOfKey(QStringLiteral("E")), 3);
    // Fields beyond the shown columns travel with the row.
    QCOMPARE(model.record(3).value(12).value(RecordRole::user).toString(), QStringLiteral("payload-E"));
    QVERIFY(!model.removeRecord(9));
    QVERIFY(!model.updateRecord(row(QStringLiteral("Z"), QStringLiteral("无"))));
}

void tst_Framework::updateAnnouncesOnlyChangedCells()
{
    RecordModel model;
    model.setColumnCount(11);
    model.setKeyColumn(8);
    model.resetRecords({row(QStringLiteral("A"), QStringLiteral("甲"), 1.0), row(QStringLiteral("B"), QStringLiteral("乙"))});
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);

    QVERIFY(model.updateRecord(row(QStringLiteral("B"), QStringLiteral("乙"))));
    QCOMPARE(changed.count(), 0);  // nothing moved

    RowRecord update;
    update[8][RecordRole::display] = QStringLiteral("A");
    update[1][RecordRole::user] = 2.0;
    update[4][RecordRole::display] = QStringLiteral("3");
    update[5][RecordRole::display] = QStringLiteral("1");
    QVERIFY(model.updateRecord(update));
    // Column 1 alone, then the adjacent 4 and 5 together: two ranges, row 0 only.
    QCOMPARE(changed.count(), 2);
    QCOMPARE(changed.at(0).at(0).toModelIndex(), model.index(0, 1));
    QCOMPARE(changed.at(0).at(1).toModelIndex(), model.index(0, 1));
    QCOMPARE(changed.at(1).at(0).toModelIndex(), model.index(0, 4));
    QCOMPARE(changed.at(1).at(1).toModelIndex(), model.index(0, 5));
    QCOMPARE(model.data(model.index(0, 1), Qt::UserRole).toDouble(), 2.0);
    QCOMPARE(model.data(model.index(0, 1), Qt::DisplayRole).toString(), QStringLiteral("1.00"));
}

void tst_Framework::rolesAndCheckMarks()
{
    RecordModel model;
    model.setColumnCount(3);
    model.setSignColoredColumns({1});
    RowRecord r;
    r[0][RecordRole::display] = QStringLiteral("x");
    r[1][RecordRole::user] = -0.5;
    r[1][RecordRole::user6] = QStringLiteral("extra");
    model.resetRecords({r});
    QCOMPARE(model.data(model.index(0, 1), Qt::UserRole + 6).toString(), QStringLiteral("extra"));
    QVERIFY(model.data(model.index(0, 1), Qt::ForegroundRole).isValid());
    QVERIFY(!model.data(model.index(0, 0), Qt::ForegroundRole).isValid());
    QCOMPARE(model.headerData(0, Qt::Vertical).toInt(), 1);  // serial number

    QVERIFY(!model.data(model.index(0, 0), Qt::CheckStateRole).isValid());
    model.setCheckable(true);
    QSignalSpy checks(&model, &RecordModel::checkStateChanged);
    QVERIFY(model.setData(model.index(0, 0), Qt::Checked, Qt::CheckStateRole));
    QCOMPARE(model.checkedRows(), QList<int>{0});
    model.setAllChecked(false);
    QCOMPARE(model.checkedRows(), QList<int>());
    QCOMPARE(checks.count(), 2);
}

void tst_Framework::columnLayoutFromConfigurationAndSettings()
{
    {
        TzTableView view;
        view.SetTableName(QStringLiteral("PortfoliosList"));
        RecordModel *model = view.recordModel();
        QCOMPARE(model->columnCount(), 11);
        QCOMPARE(model->headerData(0, Qt::Horizontal).toString(), QStringLiteral("组合名称"));
        QCOMPARE(model->headerData(10, Qt::Horizontal).toString(), QStringLiteral("创建时间"));
        QCOMPARE(view.columnWidth(0), 128);
        // The trader widens the name column and drags the number column to the front.
        view.horizontalHeader()->resizeSection(0, 200);
        view.horizontalHeader()->moveSection(view.horizontalHeader()->visualIndex(8), 0);
    }
    TzTableView again;
    again.SetTableName(QStringLiteral("PortfoliosList"));
    QCOMPARE(again.columnWidth(0), 200);
    QCOMPARE(again.horizontalHeader()->logicalIndex(0), 8);
    QCOMPARE(again.horizontalHeader()->logicalIndex(1), 0);

    // Another table name has its own layout; an unknown one has none.
    TzTableView other;
    other.SetTableName(QStringLiteral("Portfolios/AddDefaultPortfolios"));
    QCOMPARE(other.recordModel()->headerData(6, Qt::Horizontal).toString(), QStringLiteral("绝对权重"));
    QCOMPARE(other.columnWidth(0), 80);
    TzTableView unknown;
    unknown.SetTableName(QStringLiteral("NoSuchTable"));
    QCOMPARE(unknown.recordModel()->columnCount(), 0);
}

void tst_Framework::showTypes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("shown");
    QTest::newRow("plain keeps the text") << "1234567.89" << int(ShowPlain) << "1234567.89";
    QTest::newRow("thousands") << "1234567.89" << int(ShowThousands) << "1,234,567.89";
    QTest::newRow("thousands, negative") << "-1234567" << int(ShowThousands) << "-1,234,567";
    QTest::newRow("thousands, short") << "999" << int(ShowThousands) << "999";
    QTest::newRow("thousands, six digits") << "100000.00" << int(ShowThousands) << "100,000.00";
    QTest::newRow("wan") << "1234567.89" << int(ShowWanYi) << "123.46万";
    QTest::newRow("yi") << "123456789" << int(ShowWanYi) << "1.23亿";
    QTest::newRow("below wan stays") << "9999" << int(ShowWanYi) << "9999";
    QTest::newRow("negative wan") << "-50000" << int(ShowWanYi) << "-5.00万";
    QTest::newRow("not a number stays") << "--" << int(ShowThousands) << "--";
    QTest::newRow("exponent stays") << "1e9" << int(ShowThousands) << "1e9";
}

void tst_Framework::showTypes()
{
    QFETCH(QString, text);
    QFETCH(int, type);
    QFETCH(QString, shown);
    QCOMPARE(VeltraUtils::TransQtyShowType(text, ShowType(type)), shown);
}

void tst_Framework::numbersAreWrittenAsQtWritesThem()
{
    // Halfway cases in binary, negative zero, large and tiny magnitudes, and a spread of
    // prices, weights and values as tables show them.
    QList<double> values{0.0, -0.0, 0.125, -0.125, 0.375, 2.5, 3.5, -2.5, 0.0625, 2.675, 1.005, -1.5, 0.5, 1e-7, -1e-7, 123456789.987654321,
                         9007199254740993.0, 1e300, 5e-324, 1.0 / 3.0, 99.9999999};
    quint64 state = 88172645463325252ull;
    for (int i = 0; i < 2000; ++i) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        const double unit = double(state >> 11) / double(1ull << 53);
        values << unit << unit * 1000.0 - 500.0 << unit * 1e9;
    }
    for (double value : qAsConst(values)) {
        for (int decimals : {0, 2, 3, 6}) {
            const QString qt = QString::number(value, 'f', decimals);
            QCOMPARE(VeltraUtils::FixedText(value, decimals), qt);
            QString compact = qt;
            while (compact.contains(QLatin1Char('.')) && (compact.endsWith(QLatin1Char('0')) || compact.endsWith(QLatin1Char('.'))))
                compact.chop(1);
            if (compact == QLatin1String("-0"))
                compact = QStringLiteral("0");
            QCOMPARE(VeltraUtils::CompactNumber(value, decimals), compact);
        }
    }
    QCOMPARE(VeltraUtils::CompactNumber(1.0), QStringLiteral("1"));
    QCOMPARE(VeltraUtils::CompactNumber(0.0523417), QStringLiteral("0.052342"));
    QCOMPARE(VeltraUtils::CompactNumber(100.0), QStringLiteral("100"));
}

void tst_Framework::businessMessagesReachTheSink()
{
    QStringList lines;
    VeltraUtils::setBusiMsgSink([&lines](BusiMsgLevel level, const QString &line) {
        if (level == BusiMsgLevel::Emergency)
            lines << line;
    });
    VeltraUtils::PutBusiMsg(BusiMsgLevel::Emergency, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                            QStringLiteral("组合自动导入失败，文件名：a.csv，原因：x"), QStringLiteral("1017"),
                            QStringLiteral("E001"));
    VeltraUtils::setBusiMsgSink(nullptr);
    VeltraUtils::PutBusiMsg(BusiMsgLevel::Emergency, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                            QStringLiteral("after the sink is gone"));
    QCOMPARE(lines.size(), 1);
    QVERIFY(lines.first().contains(QStringLiteral("[紧急] 组合自动导入失败，文件名：a.csv，原因：x")));
    QVERIFY(lines.first().endsWith(QStringLiteral("（1017 E001）")));

    QCOMPARE(VeltraUtils::GetCurrentShowType(), ShowThousands);
    TzCore::settings()->setValue(QStringLiteral("Display/QtyShowType"), int(ShowWanYi));
    QCOMPARE(VeltraUtils::GetCurrentShowType(), ShowWanYi);
    TzCore::settings()->remove(QStringLiteral("Display/QtyShowType"));
}

void tst_Framework::cutOffCellsShowTheirWholeText()
{
    TzTableView view;
    view.recordModel()->setColumnCount(9);
    view.setKeyColumn(8);
    const QString longName = QStringLiteral("沪深300指数增强组合第二期（备用）");
    view.updateRecordDataList({row(QStringLiteral("A"), longName), row(QStringLiteral("B"), QStringLiteral("甲"))});
    view.resize(400, 200);
    view.setColumnWidth(0, 60);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    const auto tipAt = [&view](int r) -> QString {
        QToolTip::hideText();
        for (int waited = 0; QToolTip::isVisible() && waited < 2000; waited += 20)
            QTest::qWait(20);
        const QPoint pos = view.visualRect(view.recordModel()->index(r, 0)).center();
        QHelpEvent help(QEvent::ToolTip, pos, view.viewport()->mapToGlobal(pos));
        QCoreApplication::sendEvent(view.viewport(), &help);
        return QToolTip::isVisible() ? QToolTip::text() : QStringLiteral("<none>");
    };
    QString tip = tipAt(0);
    QCOMPARE(tip, longName);  // cut off: the whole name
    tip = tipAt(1);
    QCOMPARE(tip, QStringLiteral("<none>"));  // fits: no tooltip
    view.setColumnWidth(0, 600);
    tip = tipAt(0);
    QCOMPARE(tip, QStringLiteral("<none>"));
}

void tst_Framework::fileDialogsStartWhereTheTraderWasLast()
{
    TzCore::settings()->remove(QStringLiteral("Dialogs/LastTableFolder"));
    QStringList starts;
    VeltraUtils::setOpenFileNameHook([&starts, this](QWidget *, const QString &, const QString &dir, const QString &) {
        starts << dir;
        return m_dir.filePath(QStringLiteral("in/组合.csv"));
    });
    VeltraUtils::setSaveFileNameHook([this](QWidget *, const QString &, const QString &suggested) {
        return m_dir.filePath(QStringLiteral("out/") + suggested);
    });
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("in")) && QDir(m_dir.path()).mkpath(QStringLiteral("out")));

    // First time: the documents folder, not the root of the home folder.
    VeltraUtils::GetOpenTableFileName(nullptr, QStringLiteral("导入组合"), QString(), 0);
    QCOMPARE(starts.last(), QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    QVERIFY(QFileInfo(starts.last()).isDir());
    // Then where the last file was opened, and where the last template was saved.
    VeltraUtils::GetOpenTableFileName(nullptr, QStringLiteral("导入组合"), QString(), 0);
    QCOMPARE(starts.last(), m_dir.filePath(QStringLiteral("in")));
    QString saved, error;
    QVERIFY(VeltraUtils::DownloadTemplateFile(VeltraConstants::TemplateFileType::PortfolioNormal, nullptr, QString(),
                                              &error, &saved));
    QCOMPARE(QFileInfo(saved).absolutePath(), m_dir.filePath(QStringLiteral("out")));
    VeltraUtils::GetOpenTableFileName(nullptr, QStringLiteral("导入组合"), QString(), 0);
    QCOMPARE(starts.last(), m_dir.filePath(QStringLiteral("out")));
    VeltraUtils::setOpenFileNameHook({});
    VeltraUtils::setSaveFileNameHook({});
}

void tst_Framework::eventIdsAndAccounts()
{
    const int etf = VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(EventName::ALL_ETFLIST_LOADED);
    const int other = VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(QStringLiteral("SOME_NEW_EVENT"));
    QVERIFY(etf != other);
    QCOMPARE(VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(QStringLiteral("SOME_NEW_EVENT")), other);
    QVERIFY(other != VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(QStringLiteral("ANOTHER_EVENT")));

}

// The account look-ups pages make by trading or fund account, and the quantity rules
// orders must follow, board by board.
void tst_Framework::accountLookupsAndLotRules()
{
    AccountDetails normal;
    normal.fundAccount = QStringLiteral("880010001");
    normal.tradingAccount = QStringLiteral("88001000101");
    normal.fundProperty = FundProperty::normal;
    normal.securityAccounts = {{Exchange::szhk, QStringLiteral("0123456789")},
                               {Exchange::sh, QStringLiteral("A123456789")}};
    AccountDetails credit;
    credit.fundAccount = QStringLiteral("880020002");
    credit.tradingAccount = QStringLiteral("88002000201");
    credit.fundProperty = FundProperty::credit;
    credit.securityAccounts = {{Exchange::sz, QStringLiteral("0687654321")}};
    CBusinessDataBase *data = CBusinessDataBase::GetInstance();
    data->SetCurrentFundAccount(QString());
    data->SetAccountList({normal, credit});
    QCOMPARE(data->GetCurrentFundAccount(), normal.fundAccount);  // the first until one is picked

    QCOMPARE(data->GetAccountDetailsByTradinngAccount(QStringLiteral("88002000201")).fundAccount, credit.fundAccount);
    QCOMPARE(data->GetAccountDetailsByTradinngAccount(QStringLiteral("880020002")).tradingAccount, credit.tradingAccount);
    QVERIFY(!data->GetAccountDetailsByTradinngAccount(QString()).isValid());
    QCOMPARE(normal.markets(), (QStringList{Exchange::sh, Exchange::szhk}));  // market order, not map order
    QCOMPARE(VeltraBusinessDataInterface::GetCurrentSecurityAccountByTradingAndExchange(QStringLiteral("88001000101"),
                                                                                         Exchange::szhk),
             QStringLiteral("0123456789"));
    QVERIFY(VeltraBusinessDataInterface::GetCurrentSecurityAccountByTradingAndExchange(QStringLiteral("88001000101"),
                                                                                        Exchange::bj).isEmpty());
    const auto creditOnly = VeltraBusinessDataInterface::GetFundAccountListByFundProp({FundProperty::credit});
    QCOMPARE(creditOnly.size(), 1);
    QCOMPARE(creditOnly.first().fundAccount, credit.fundAccount);
    QCOMPARE(VeltraBusinessDataInterface::GetTradingAccountList().size(), 3);  // one per account and market

    // A picker keeps the account it shows across a refill, else takes the current one.
    VeltraAccountComboBox picker;
    picker.SetAccountList({normal, credit});
    QCOMPARE(picker.currentTradingAccount(), normal.tradingAccount);
    QVERIFY(picker.selectFundAccount(credit.fundAccount));
    picker.SetAccountList({credit, normal});
    QCOMPARE(picker.currentFundAccount(), credit.fundAccount);
    data->SetAccountList({});
    QVERIFY(data->GetCurrentFundAccount().isEmpty());

    using V = VeltraBusinessDataInterface;
    const QString mainBoard = QStringLiteral("600519.SH"), star = QStringLiteral("688981.SH"),
                  beijing = QStringLiteral("430047.BJ"), tencent = QStringLiteral("00700.HK");
    QCOMPARE(V::GetQtyByOddLotType(mainBoard, OddLotType::RoundDown, 1250, true), qint64(1200));
    QCOMPARE(V::GetQtyByOddLotType(mainBoard, OddLotType::RoundUp, 1250, true), qint64(1300));
    QCOMPARE(V::GetQtyByOddLotType(mainBoard, OddLotType::KeepOddLot, -1250, true), qint64(1250));
    QCOMPARE(V::GetQtyByOddLotType(mainBoard, OddLotType::RoundDown, 99, true), qint64(0));
    QCOMPARE(V::GetQtyByOddLotType(star, OddLotType::RoundDown, 1234, true), qint64(1234));  // steps of 1 above 200
    QCOMPARE(V::GetQtyByOddLotType(star, OddLotType::RoundDown, 150, true), qint64(0));
    QCOMPARE(V::GetQtyByOddLotType(star, OddLotType::RoundUp, 150, true), qint64(200));
    QCOMPARE(V::GetQtyByOddLotType(star, OddLotType::RoundDown, 150, false), qint64(150));  // no minimum asked for
    QCOMPARE(V::GetQtyByOddLotType(beijing, OddLotType::RoundDown, 101, true), qint64(101));
    qint64 step = 0, minimum = 0;
    V::GetLotRule(tencent, &step, &minimum);
    QVERIFY(step >= 100);
    QCOMPARE(V::GetQtyByOddLotType(tencent, OddLotType::RoundDown, step * 3 + 1, true), step * 3);
    QCOMPARE(V::GetQtyByOddLotType(QStringLiteral("999999.XX"), OddLotType::RoundDown, 500, true), qint64(0));
    QCOMPARE(V::GetDispFactorBySymbol(mainBoard), 1.0);
}

QTEST_MAIN(tst_Framework)
#include "tst_framework.moc"
