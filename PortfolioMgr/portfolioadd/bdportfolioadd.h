#pragma once

#include "portfoliodetailbasicinfo.h"
#include "recordmodel.h"
#include "showtype.h"
#include "tzportfolioquote.h"

#include <QMap>
#include <QModelIndex>
#include <QMutex>
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
    // Markets a rebalance covers: 0 = non-Hong-Kong markets, 1 = the two Hong Kong connect
    // markets, 2 = both (the item data of the market-range combo).
    enum TargetPosType { TargetNonHongKong = 0, TargetHongKongConnect = 1, TargetBoth = 2 };
    // Price bases of the weight conversion (the item data of the price-basis combo).
    enum PriceBasis { PriceLatest = 0, PricePreClose = 1, PriceBid1 = 2, PriceAsk1 = 3 };

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

    // Reads the target file the trader picks into target quantities by key (symbol + "_"
    // + market). 0 on success; -1 after showing why not (or silently on cancel).
    int readAndTransPRTargetPosFromFile(QMap<QString, qint64> &targets, const TargetPosType &type);
    // The lines that move the account's holdings to the targets. An account without
    // positions yields lines for the targets alone. When the positions cannot be read the
    // list is empty and prCalcError() says why.
    QList<QMap<int, QMap<QString, QVariant> > > calcPortDetailByTargetPos(const QString &tradingAccount,
                                                                          const QMap<QString, qint64> &targets,
                                                                          const TargetPosType &type);
    QString prCalcError() const { return m_prCalcError; }
    // The trading account the return page asks lending contracts for.
    QString voucherAccount() const;

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

    // Account pages.
    void slotPositionListUpdate(QList<QMap<int, QVariantMap> > recordList);
    void slotPRImportBtnClicked();
    void slotPRExportTemplateBtnClicked();
    void slotPRFileTypeCmdChanged(int index);
    void slotPROddLotChanged(int index);
    void slotPositionRatioChanged();
    void slotBtnRefreshPosTableClicked();
    void slotCmbPosTarTypeChanged(int index);
    void slotCmbPosTypeChanged(int index);
    void slotComboxFundAccountChanged(int index);
    void slotClosePositionPersistentEditor();
    void slotShortSaleSearchBtnClicked();
    void SlotVoucherSearchBtnClicked();
    void slotMarFundAccountChanged(int index);
    void slotShortSaleTableClicked(const QModelIndex &index);
    void slotVoucherTableClicked(const QModelIndex &index);

private:
    void initTables();
    void initAccountPages();
    void connectAccountPages();
    // Shows the position rows at the chosen share of each holding.
    void showPositionRows();
    QString buildShortSale(PortfolioDetailBasicInfo &detail);
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
    QPersistentModelIndex m_positionEditorIndex;  // the position cell whose editor is open
    QModelIndex m_shortSaleClickedIndex;
    QModelIndex m_voucherClickedIndex;

    // Position page: the rows of the whole holdings as the presenter answered.
    QList<QMap<int, QVariantMap> > m_positionRecords;
    bool m_positionQueryPending = false;

    // Rebalance page. While quotes convert weights, the handler and the import share
    // these under m_mutex.
    QMutex m_mutex;
    QMap<QString, double> m_prTargetAmounts;        // key -> amount, then quantity
    QMap<QString, QStringList> m_prSymbolKeys;      // symbol -> its keys
    QStringList m_prWaitingSymbols;                 // symbols still without a quote
    QStringList m_prUnpricedKeys;                   // keys left out: no usable price
    int m_prPriceBasis = PriceLatest;
    int m_prOddLotType = 0;
    QString m_prCalcError;
};
