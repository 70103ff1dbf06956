// The code search box and the index behind it: codes with and without a market, names,
// pinyin initials (several readings for one character), ranking, the minimum code length,
// and picking with the keyboard.

#include "securitycatalog.h"
#include "securitysearchindex.h"
#include "tzcore.h"
#include "tzsearchbox.h"

#include <QSignalSpy>
#include <QTest>
#include <QTreeWidget>

namespace {

QStringList symbolsOf(const QVector<SecuritySearchHit> &hits)
{
    QStringList symbols;
    for (const SecuritySearchHit &hit : hits)
        symbols << hit.security->symbol;
    return symbols;
}

QStringList allSymbols()
{
    QStringList symbols;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!s.delisted)
            symbols << s.symbol;
    }
    return symbols;
}

} // namespace

class tst_SearchBox : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR)); }
    void matches_data();
    void matches();
    void rankingAndLimit();
    void onlyTheOfferedSecurities();
    void keyboardPicksAndClears();
};

void tst_SearchBox::matches_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("minCodeLength");
    QTest::addColumn<QString>("expected");  // first hit; empty: no hit at all
    QTest::newRow("code") << "600519" << 6 << "600519.SH";
    QTest::newRow("code with suffix") << "600519.sh" << 6 << "600519.SH";
    QTest::newRow("market first") << "SH600519" << 6 << "600519.SH";
    QTest::newRow("five-digit Hong Kong code") << "00700" << 6 << "00700.HK";
    QTest::newRow("Hong Kong suffix") << "00700.HK" << 6 << "00700.HK";
    QTest::newRow("short code prefix waits") << "60051" << 6 << "";
    QTest::newRow("short code prefix allowed") << "60051" << 3 << "600510.SH";
    QTest::newRow("wrong market") << "600519.SZ" << 6 << "";
    QTest::newRow("name") << "茅台" << 6 << "600519.SH";
    QTest::newRow("one character") << "茅" << 6 << "600519.SH";
    QTest::newRow("initials") << "gzmt" << 6 << "600519.SH";
    QTest::newRow("initials upper case") << "GZMT" << 6 << "600519.SH";
    QTest::newRow("xing reading of 行") << "payx" << 6 << "000001.SZ";
    QTest::newRow("hang reading of 行") << "payh" << 6 << "000001.SZ";
    QTest::newRow("Latin part of a name") << "tcl" << 6 << "000100.SZ";
    QTest::newRow("full-width initials") << "ＧＺＭＴ" << 6 << "600519.SH";
    QTest::newRow("nothing") << "zzzzzz" << 6 << "";
}

void tst_SearchBox::matches()
{
    QFETCH(QString, text);
    QFETCH(int, minCodeLength);
    QFETCH(QString, expected);
    const SecuritySearchIndex &index = SecuritySearchIndex::instance();
    const QVector<SecuritySearchHit> hits = index.search(text, index.positionsOf(allSymbols()), minCodeLength, 20);
    if (expected.isEmpty())
        QVERIFY2(hits.isEmpty(), qPrintable(symbolsOf(hits).join(QLatin1Char(','))));
    else
        QVERIFY2(!hits.isEmpty() && hits.first().security->symbol == expected,
                 qPrintable(symbolsOf(hits).join(QLatin1Char(','))));
}

void tst_SearchBox::rankingAndLimit()
{
    const SecuritySearchIndex &index = SecuritySearchIndex::instance();
    QCOMPARE(index.initialsOf(QStringLiteral("000001.SZ")), QStringLiteral("[bp][a][y][hx]"));
    const QVector<int> all = index.positionsOf(allSymbols());
    // Names that start with the text come before names that only contain it, and the
    // initials before both.
    const QVector<SecuritySearchHit> bank = index.search(QStringLiteral("银行"), all, 6, 200);
    QVERIFY(bank.size() > 10);
    bool containsSeen = false;
    for (const SecuritySearchHit &hit : bank) {
        if (hit.rank == SecuritySearchHit::NameContains)
            containsSeen = true;
        else
            QVERIFY2(!containsSeen, "a prefix match after a contains match");
    }
    QVERIFY(containsSeen);
    QCOMPARE(index.search(QStringLiteral("银行"), all, 6, 5).size(), 5);
    const QVector<SecuritySearchHit> pa = index.search(QStringLiteral("pa"), all, 6, 200);
    QVERIFY(!pa.isEmpty());
    QCOMPARE(pa.first().rank, SecuritySearchHit::InitialsPrefix);
    // Common readings first: 贵州茅台 reads "gzm" plainly, 贵州百灵 only with 百 read mò.
    const QStringList gzm = symbolsOf(index.search(QStringLiteral("gzm"), all, 6, 200));
    QVERIFY(gzm.contains(QStringLiteral("002424.SZ")));
    QVERIFY(gzm.indexOf(QStringLiteral("600519.SH")) < gzm.indexOf(QStringLiteral("002424.SZ")));
}

void tst_SearchBox::onlyTheOfferedSecurities()
{
    TzSearchBox box;
    box.setSymbolList({QStringLiteral("600519.SH"), QStringLiteral("000001.SZ"), QStringLiteral("nonsense")});
    box.setMinMatchLength(6);
    QCOMPARE(box.symbolCount(), 2);
    QCOMPARE(symbolsOf(box.search(QStringLiteral("600036"))), QStringList());
    QCOMPARE(symbolsOf(box.search(QStringLiteral("p"))), QStringList{QStringLiteral("000001.SZ")});
}

void tst_SearchBox::keyboardPicksAndClears()
{
    TzSearchBox box;
    box.setSymbolList(allSymbols());
    box.setMinMatchLength(6);
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QSignalSpy picked(&box, &TzSearchBox::signalSymbolSelected);
    QTest::keyClicks(&box, "zsyh");  // 招商银行 and others
    QVERIFY(box.isPopupVisible());
    QTreeWidget *list = box.popupList();
    QVERIFY(list->topLevelItemCount() >= 2);
    QCOMPARE(list->topLevelItem(0)->text(2).isEmpty(), false);  // the market is shown
    const QString second = list->topLevelItem(1)->data(0, Qt::UserRole).toString();
    QTest::keyClick(&box, Qt::Key_Down);
    QTest::keyClick(&box, Qt::Key_Return);
    QCOMPARE(picked.count(), 1);
    QCOMPARE(picked.at(0).at(0).toString(), second);
    QVERIFY(box.text().isEmpty());
    QVERIFY(!box.isPopupVisible());

    // Escape closes the list and keeps the text; Enter on a whole code picks it at once.
    QTest::keyClicks(&box, "000001");
    QTest::keyClick(&box, Qt::Key_Escape);
    QVERIFY(!box.isPopupVisible());
    QCOMPARE(box.text(), QStringLiteral("000001"));
    QTest::keyClick(&box, Qt::Key_Return);
    QCOMPARE(picked.count(), 2);
    QCOMPARE(picked.at(1).at(0).toString(), QStringLiteral("000001.SZ"));
    QCOMPARE(picked.at(1).at(1).toString(), QStringLiteral("SZ"));

    // A click on a line of the list picks it too.
    QTest::keyClicks(&box, "00700");
    QVERIFY(box.isPopupVisible());
    const QRect rect = list->visualItemRect(list->topLevelItem(0));
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rect.center());
    QCOMPARE(picked.count(), 3);
    QCOMPARE(picked.at(2).at(1).toString(), QStringLiteral("HHK"));

    // Nothing to pick: the list says why, Enter picks nothing and keeps the text.
    QTest::keyClicks(&box, "zzzzzz");
    QVERIFY(box.isPopupVisible());
    QCOMPARE(list->topLevelItem(0)->text(0), QStringLiteral("无匹配的证券：zzzzzz"));
    QTest::keyClick(&box, Qt::Key_Return);
    QCOMPARE(picked.count(), 3);
    QCOMPARE(box.text(), QStringLiteral("zzzzzz"));
    // A code being typed shows nothing until Enter, which asks for the whole code.
    box.clear();
    QTest::keyClicks(&box, "6005");
    QVERIFY(!box.isPopupVisible());
    QTest::keyClick(&box, Qt::Key_Return);
    QVERIFY(box.isPopupVisible());
    QCOMPARE(list->topLevelItem(0)->text(0), QStringLiteral("请输入至少6位证券代码"));
    QCOMPARE(picked.count(), 3);
}

QTEST_MAIN(tst_SearchBox)
#include "tst_searchbox.moc"
