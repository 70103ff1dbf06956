#pragma once

#include "portfoliodetailbasicinfo.h"
#include "portfoliodetailpresenterclass.h"
#include "tzpluginbasewidget.h"

#include <QPointer>
#include <QStyledItemDelegate>
#include <QTableView>

class PortfolioDetailModel;
class QLabel;
class QLineEdit;
class QStackedWidget;
class QTimer;
class VeltraPushButton;

// The detail table. A batch of quotes changes scattered rows; the item view would
// repaint its whole viewport for each range, so a range repaints its own cells, and
// rows out of sight cost nothing.
class PortfolioDetailTableView : public QTableView
{
    Q_OBJECT

public:
    explicit PortfolioDetailTableView(QWidget *parent = nullptr);

protected:
    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QVector<int> &roles = QVector<int>()) override;
};

// Paints a cell as plain text (elided to fit) in the model's colour and alignment over
// the selection colour. The style's item painting lays every cell's text out as a
// paragraph; a table of figures repainted every refresh needs none of that.
class PortfolioDetailDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};

// The portfolio detail page: the lines of the portfolio last clicked in the list, with
// live prices, limit states and market values. It only reads; every change to a
// portfolio goes through the list. When it has no lines to show it says why.
class PortfolioDetailWidget : public TzPluginBaseWidget
{
    Q_OBJECT

public:
    // What the page shows.
    enum class State {
        NoneChosen,  // nothing clicked yet
        Loading,     // reading the clicked portfolio from the back end
        Showing,     // a portfolio's lines (or that it has none)
        Deleted,     // the portfolio followed was deleted
        Failed,      // the back end could not be asked
    };

    explicit PortfolioDetailWidget(QWidget *parent = nullptr);
    ~PortfolioDetailWidget() override;

    // Set-up the host calls once after construction: presenter, view, connections.
    void initPluginWidget() override;

    PortfolioDetailPresenterClass *presenter() const { return m_presenter; }
    PortfolioDetailModel *model() const { return m_model; }
    PortfolioDetailTableView *table() const { return m_table; }
    State state() const { return m_state; }
    // The portfolio the page follows (the last one clicked), and the one it shows.
    QString followedPortfolioNo() const { return m_portfolioNo; }
    const PortfolioDetailBasicInfo &shownPortfolio() const { return m_detail; }
    // The text in place of the table when there are no lines to show.
    QString messageText() const;
    // The header line: name, number, line count, market value, change rate.
    QString headerText() const;
    QString noticeText() const;

    // Applies the quotes that came since the last refresh (the timer does so at most
    // every RefreshMs).
    void refreshNow();
    static constexpr int RefreshMs = 500;

    // Exports the rows shown to this file (.xlsx or .csv by its suffix); with an empty
    // path the trader is asked where. False when nothing was written.
    bool exportRows(const QString &path = QString());

private slots:
    void onPortfolioClicked(const QString &portfolioNo);
    void onPortfolioChanged(const QString &portfolioNo);
    void onPortfolioDeleted(const QString &portfolioNo);
    void onPortfolioFetched(const QString &portfolioNo, bool found, const PortfolioDetailBasicInfo &detail,
                            const QString &error);

private:
    void buildUi();
    void showPortfolio(const PortfolioDetailBasicInfo &detail);
    // Shows a text in place of the table and lets the lines go.
    void showMessage(State state, const QString &text);
    void updateHeader();
    void updateFigures();
    void updateNotice();
    QString portfolioLabel() const;

    QPointer<PortfolioDetailPresenterClass> m_presenter;
    PortfolioDetailModel *m_model = nullptr;
    PortfolioDetailTableView *m_table = nullptr;
    QStackedWidget *m_stack = nullptr;
    QLabel *m_message = nullptr;
    QLabel *m_name = nullptr;
    QLabel *m_summary = nullptr;
    QLabel *m_value = nullptr;
    QLabel *m_rate = nullptr;
    QLabel *m_limits = nullptr;
    QLabel *m_notice = nullptr;
    QLineEdit *m_filter = nullptr;
    VeltraPushButton *m_export = nullptr;
    QTimer *m_refreshTimer = nullptr;

    State m_state = State::NoneChosen;
    QString m_portfolioNo;
    PortfolioDetailBasicInfo m_detail;
    QString m_pendingNote;  // said in the notice line until the next portfolio shows
    bool m_anyQuantity = false;  // some line has a quantity: the portfolio has a market value
    int m_rateSign = 0;          // direction the change rate is coloured for
};
