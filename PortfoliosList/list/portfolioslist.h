#pragma once

#include "portfoliodetailbasicinfo.h"
#include "recordmodel.h"
#include "showtype.h"
#include "tzportfolioquote.h"

#include <QHash>
#include <QModelIndex>
#include <QPersistentModelIndex>
#include <QPointer>
#include <QVariantMap>
#include <QWidget>

namespace Ui {
class PortfoliosList;
}
namespace VeltraConstants {
enum class TemplateFileType;
}

class BDPortfolioAdd;
class PortfolioDetailExtraInfo;
class PortfoliosListPresenterClass;
class QLineEdit;
class QAction;
class TzDialog;
class QMenu;
class QTimer;

// The left-hand list of the portfolio page: one row per stored portfolio with its live
// figures, the command buttons and the context menu, in-place renaming.
class PortfoliosList : public QWidget
{
    Q_OBJECT

public:
    explicit PortfoliosList(QWidget *parent = nullptr);
    ~PortfoliosList() override;

    void setPresenter(PortfoliosListPresenterClass *presenter);
    PortfoliosListPresenterClass *presenter() const { return m_presenter; }
    QString currentPortfolioNo() const { return m_currentPortfolioNo; }
    bool marketValueSwitch() const { return m_marketValueOn; }

    // The row record of one portfolio (columns 0, 3, 7, 8, 9, 10 and 12).
    RowRecord buildRow(const PortfolioDetailBasicInfo &detail) const;

    // The creation dialog in use, if any, and the frame that holds it.
    BDPortfolioAdd *addDialog() const;
    TzDialog *addFrame() const { return m_addFrame; }

    // Basket trees for the creation dialog: the ETF tree and the Shenwan industry tree.
    void initETFInfoList(QList<QMap<int, QMap<QString, QVariant> > > &list);
    void achieveTreeData();
    const QList<QMap<int, QMap<QString, QVariant> > > &etfRootList() const { return mETFRootList; }
    const QList<QMap<int, QMap<QString, QVariant> > > &swRootList() const { return mSWRootList; }

signals:
    void signalsChangeListWgtWidth(bool type);
    void signalClickBasketID(QString strId);
    void signalDeleteBasketID(QString strId);
    void signalRelodadETFList(QList<QMap<int, QMap<QString, QVariant> > > etfRootMapList);
    void SubscriteQuotes();
    void SubscribeQuotes(const QVariantList &symbols);
    void signalQueryPositionInfo(QString tradingAccount, int iPosTarType, int iPosType);
    void signalQueryMarginInfo(QString tradingAccount);
    void signalQueryCouponInfo(QString strTime);
    void signalCreateClipboardPortfolio(QStringList lstSymbols);
    void signalRefreshPortfoliosList();

public slots:
    void slotCoreDataInitialized(bool bAutoSelect);
    void slotUpdateQuoeData();
    void slotChangeUpData();
    void slotPushbuttonHideClicked();
    void slotTableClicked(const QModelIndex &index);
    void slotPortfoliosTableViewClicked(const QModelIndex &index);
    void slotAllETFListLoaded();
    void slotAddPortfolioLst(PortfolioDetailBasicInfo detailInfo, bool bAddFlag = true,
                             int nDetailFlag = 0, bool bWithAddDlg = true);
    void slotModifyPortfolioLst(PortfolioDetailBasicInfo detailInfo);
    QString modifyPortfolioName(PortfolioDetailBasicInfo &baseInfo);
    void slotClosePersistentEditor();
    void slotInitTreeViewsDataFinished();
    void slotPositionListUpdate(QList<QMap<int, QVariantMap> > recordList);
    void slotQuationUpdated(TzPortfolioQuote quotaData);
    void slotSecurityLoanUpdated(QList<QMap<int, QVariantMap> > recordList);
    void slotShowTypeChanged(ShowType showType);
    void slotCouponInfoInfoUpdated(QList<QVariantMap> contractList);
    void slotShowWarningMsg(QString title, QString msg);
    void slotCreateWarning(QStringList lstSupport, QStringList lstUnSupport);
    void slotBtnRefreshClicked();
    void slotTradingAccountChanged(QString tradingAccount, QString fundAccount);
public:
    // The account whose lending contracts the open dialog's return page asks for (the
    // client's current account when no dialog is open).
    QString voucherAccount() const;
public slots:

    void on_pushButton_new_clicked();
    void on_pushButton_import_clicked();
    void on_pushButton_type_clicked();
    void on_pushButton_modfiy_clicked();
    void on_pushButton_copy_clicked();
    void on_pushButton_delete_clicked();
    void on_pushButton_pos_clicked();
    void on_menu_dlNormal_clicked();
    void on_menu_dlAlgo_clicked();

    // The store changed one portfolio (an empty number: it was reloaded). Only that
    // portfolio's row changes; a new one is appended without taking the selection.
    void slotPortfolioUpdated(QString portfolioNo);
    // The store no longer holds the portfolio: its row goes.
    void slotPortfolioRemoved(QString portfolioNo);

public:
    // The name editor: open on which portfolio, and its widget (null when closed).
    QLineEdit *nameEditor() const;
    // Escape in the editor: the old name stays and the editor closes without a request.
    void cancelNameEdit();
    // Cut to one line for the business message panel.
    static QString panelText(const QString &text);
    // "「名称」（组合号 N）" for the panel.
    static QString portfolioLabel(const QString &name, const QString &portfolioNo);
    // One line per command in the business message panel: "<what>：成功" at info level,
    // or "<what>：失败，<reason>" at warning level.
    static void reportCommand(const QString &what, const QString &failure = QString());

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    // Brings the rows to the store. When the rows already list the stored portfolios in
    // the stored order, only rows whose portfolio changed since they were written are
    // rewritten (their numbers go to `changed`) and false is returned; otherwise every
    // row is replaced and true is returned.
    bool fillTable(QStringList *changed = nullptr);
    // A row written from the store's current state of its portfolio (appended when new).
    void writeStoredRow(const PortfolioDetailBasicInfo &detail);
    // Figures of one portfolio into its row (columns 1, 2, 4, 5, 6).
    void writeFigures(const PortfolioDetailExtraInfo &extra);
    void updateFiguresOf(const QString &portfolioNo);
    // The name editor across a refill of the table: remembered before the model resets,
    // opened again afterwards on the same portfolio with what was typed.
    void rememberEditor();
    void reopenEditor();
    void buildMenus();
    QString formatCount(qint64 value) const;
    void startLiquidation();
    // Puts a fresh creation dialog into the reused frame and shows it (mode 0: new, 1:
    // rebalance); while one is open it is only brought forward.
    void openAddDialog(int mode);
    // Back end first, then the store; returns RequestExeStatus::success or the reason.
    QString addToBackendAndStore(PortfolioDetailBasicInfo &detail);
    QString alterOnBackend(PortfolioDetailBasicInfo &detail);
    // Quote subscription of a new portfolio's lines and the broadcast to other pages.
    void afterAdd(const PortfolioDetailBasicInfo &detail);
    void appendAndSelect(const PortfolioDetailBasicInfo &detail);
    void removeRow(const QString &portfolioNo);
    void deleteCurrent();
    void modifySequence(int targetRow, int sourceRow);
    void reorder(const QString &item);
    void onContextAction(QAction *action);
    void downloadTemplate(VeltraConstants::TemplateFileType type);
    // A free name of at most 25 characters for a portfolio called `name`: the name itself
    // when free, else the smallest free number appended to the name cut to make room.
    QString fittingFreeName(const QString &name) const;
    // After a successful alteration: store, row and the broadcast to other pages.
    void storeChanged(const PortfolioDetailBasicInfo &detail);

    Ui::PortfoliosList *ui;
    PortfoliosListPresenterClass *m_presenter = nullptr;
    // Persistent, so it follows its row when rows above it come or go, and becomes
    // invalid when its row is removed.
    QPersistentModelIndex mOpenIndex;
    struct EditorMemo
    {
        QString portfolioNo;
        QString text;
        int cursor = 0;
        bool modified = false;
        bool focused = false;
    };
    EditorMemo m_editorMemo;
    // The store's change stamp of each portfolio when its row was last written from it;
    // rows written from anything else have none and are rewritten by the next fill.
    QHash<QString, quint64> m_rowStamps;
    QModelIndex m_contextIndex;
    bool m_expanded = true;
    bool m_marketValueOn = false;
    bool m_liquidationPending = false;
    QString m_currentPortfolioNo;
    QTimer *m_quoteTimer = nullptr;
    QTimer *m_clickTimer = nullptr;
    ShowType m_showType = ShowPlain;
    // Set by slotTradingAccountChanged(a, b), whose arguments come from the presenter's
    // signalTradingAccountChanged(fundAccount, tradingAccount): m_tradingAccount holds the
    // fund account and m_fundAccount the trading account. One-key liquidation relies on
    // exactly this (positions are asked for by trading account, the portfolio is made
    // for the fund account).
    QString m_tradingAccount;
    QString m_fundAccount;
    bool m_lastModifyOk = false;
    QMenu *m_contextMenu = nullptr;
    QMenu *m_templateMenu = nullptr;
    TzDialog *m_addFrame = nullptr;
    QPointer<BDPortfolioAdd> m_addDialog;
    QList<QMap<int, QMap<QString, QVariant> > > mETFRootList;
    QList<QMap<int, QMap<QString, QVariant> > > mSWRootList;
};
