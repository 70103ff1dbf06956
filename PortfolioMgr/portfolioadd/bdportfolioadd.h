#pragma once

#include "portfoliodetailbasicinfo.h"
#include "recordmodel.h"
#include "showtype.h"
#include "tzportfolioquote.h"

#include <QMap>
#include <QModelIndex>
#include <QSet>
#include <QVariantMap>
#include <QWidget>
#include <future>

namespace Ui {
class BDPortfolioAdd;
}

class BDPortfolioAddDelegate;
class CDefaultPorfoliodelegate;
class CharactTip;
class TzPresenterClass;
class TzTableView;

// The dialog body in which a trader creates a portfolio: by hand (default page), from an
// ETF's components, from a Shenwan industry, and from account data (short sale,
// rebalance, positions). It hands each finished portfolio to its owner with
// signalNewPortfolioData and never writes to the store itself. It deletes itself when
// closed; the owner puts a new one into its frame for every use.
class BDPortfolioAdd : public QWidget
{
    Q_OBJECT

public:
    // Pages as the tab widget holds them once the voucher and index pages are taken out.
    enum Page { PageDefault = 0, PageShortSale = 1, PageRebalance = 2, PagePosition = 3, PageEtf = 4,
                PageIndustry = 5, PageIndex = 6 };

    explicit BDPortfolioAdd(QWidget *parent = nullptr);
    ~BDPortfolioAdd() override;

    // The presenter that serves quote subscriptions for the account pages.
    void setPresenter(TzPresenterClass *presenter) { m_presenter = presenter; }
    // 0: a new portfolio (default page); 1: a rebalancing portfolio (rebalance page).
    void setMode(int mode);
    // The Shenwan industry tree (levels two and three) the list prepared.
    void setSWTreeData(const QList<RowRecord> &roots);
    // The owner's answer to each portfolio a confirm hands over. When everything a confirm
    // handed over was created the dialog closes; when anything was refused it stays open
    // with everything typed, and confirm may be pressed again.
    void onAddPortfolioAccepted(const QString &portfolioNo);
    void onAddPortfolioFailed(const QString &reason);
    bool isBusy() const { return m_busy; }

signals:
    void singnalPushBtnClose();
    void signalNewPortfolioData(PortfolioDetailBasicInfo detail, bool flag, int bDetailFlag);
    void SubscriteQuotes(const QVariantList &symbols);
    void signalQueryPositionInfo(QString tradingAccount, int iPosTarType, int iPosType);
    void signalPRWeightCalcFinished();
    void signalQueryMarginInfo(QString tradingAccount);
    void signalQueryCouponInfo(QString strTime);
    void singnalGetETFComponentList(QString code, QList<RowRecord> rows);

public slots:
    void slotRelodadETFList(QList<QMap<int, QMap<QString, QVariant> > > etfRootMapList);
    void slotQuotationUpdated(TzPortfolioQuote quote);
    void slotSecurityLoanUpdated(QList<QMap<int, QVariantMap> > recordList);
    void slotCouponInfoInfoUpdated(QList<QVariantMap> contractList);
    void onpushbtn_confirm_slot();
    void onpushbtn_cancel_slot();
    void onInsertTableDataSLot(QString symbol, QString market);
    void onDeleteTableRow();
    void slotTableItemDoubleClicked(const QModelIndex &index);
    void slotETFTreeDoubleClicked(const QModelIndex &index);
    void slotSWTreeDoubleClicked(const QModelIndex &index);
    void slotCharaterTableIndexDoubleClicked(const QModelIndex &index);
    void slotCharaterTableIndexClicked(const QModelIndex &index);
    void slotUpdateNummber(const QModelIndex &index);
    void slotTabWidgetIndexChanged(int index);
    void slotRowCheckStatusChanged(int row, bool checked);
    void slotTableClicked(const QModelIndex &index);
    void slotPositionClicked(const QModelIndex &index);
    void slotGetETFComponentList(QString code, QList<RowRecord> rows);

private:
    void initTables();
    void initBasketPage(TzTableView *table, const QString &tableName);
    void init();
    void makeConnections();
    // The table of a page, or null for a page without one.
    TzTableView *tableOfPage(int page) const;
    void setFreeName(const QString &prefix);
    void refreshAbsWeights(TzTableView *table);
    void updateSelectionLabel();
    void showSecurityTip(const QModelIndex &index);
    // Confirm branches; each returns the refusal text, empty when the record is complete.
    QString buildDefault(PortfolioDetailBasicInfo &detail);
    QString buildBasket(TzTableView *table, PortfolioDetailBasicInfo &detail);
    QString buildFromCheckedRows(TzTableView *table, PortfolioDetailBasicInfo &detail);
    void emitRecord(const PortfolioDetailBasicInfo &detail);

    Ui::BDPortfolioAdd *ui;
    std::future<void> m_etfFetch;  // the component fetch under way, if any
    TzPresenterClass *m_presenter = nullptr;
    bool m_busy = false;
    // The owner's answer to the portfolio just emitted (none when nobody answers).
    enum class Answer { None, Accepted, Refused };
    Answer m_answer = Answer::None;
    QSet<QString> m_created;   // names of the portfolios created from this dialog
    ShowType m_showType = ShowPlain;
    CDefaultPorfoliodelegate *m_defaultDelegate = nullptr;
    BDPortfolioAddDelegate *m_basketDelegate = nullptr;
    CharactTip *m_tip = nullptr;
    QString m_currentEtfCode;    // the ETF last double-clicked, whose answer is awaited
    QString m_currentEtfSymbol;
    QString m_shownEtfSymbol;    // the ETF whose components the table shows
    QString m_currentIndustry;
    QModelIndex m_defaultClickedIndex;
    QModelIndex m_positionClickedIndex;
};
