#pragma once

#include "portfoliodetailbasicinfo.h"
#include "tzportfolioquote.h"
#include "tzpresenterclass.h"

#include <QHash>
#include <QStringList>
#include <QThreadPool>
#include <QVector>

// The detail page's link to the platform. It reads and never changes: follows the
// list's clicks and the change notices of every desk, fetches a portfolio from the back
// end off the GUI thread when the page needs one, keeps the quote subscriptions of the
// lines shown, and collects their market records until the page takes them.
class PortfolioDetailPresenterClass : public TzPresenterClass
{
    Q_OBJECT

public:
    explicit PortfolioDetailPresenterClass(QObject *parent = nullptr);
    ~PortfolioDetailPresenterClass() override;

    // Subscribes to the page's messages and events, once.
    void registerMessages();

    // Quotes for exactly these symbols from now on: the new ones are subscribed, the
    // ones no longer shown released. Subscriptions are counted on the back end, so each
    // symbol is held once by this page whatever the number of its lines. The requests
    // leave in order on a worker of their own; the GUI thread never packs them. Quotes
    // not taken yet are dropped: takeQuotes names symbols by their index in this list.
    void watchSymbols(const QStringList &symbols);
    QStringList watchedSymbols() const;
    // Waits until every subscription request has left (tests, shutdown).
    void flushSubscriptions();

    // Fetches the portfolio's current state from the back end on a worker; the answer
    // comes with portfolioFetched. Answers of earlier fetches that come late are dropped.
    void fetchPortfolio(const QString &portfolioNo);
    bool fetchPending() const { return m_fetchInFlight; }
    // Drops the answer of the fetch under way.
    void cancelFetch();

    // The quotes that came for the watched symbols since the last call, latest per
    // symbol, each with the index of its symbol in the list given to watchSymbols.
    QVector<QPair<int, TzPortfolioQuote>> takeQuotes();
    bool hasQuotes() const { return !m_dirty.isEmpty(); }

signals:
    // The list's click on a portfolio.
    void portfolioClicked(QString portfolioNo);
    // A portfolio was created or changed here or at another desk.
    void portfolioChanged(QString portfolioNo);
    void portfolioDeleted(QString portfolioNo);
    // The answer of fetchPortfolio: found false when the back end no longer has it;
    // error non-empty when the back end could not be asked.
    void portfolioFetched(QString portfolioNo, bool found, PortfolioDetailBasicInfo detail, QString error);
    // The first quote after an empty batch: the page schedules its refresh.
    void quotesArrived();

protected:
    void ProcEventMsg(QString source, QVariant type, QVariant message) override;
    void ProcMarketRecords(const QList<QVariantMap> &records) override;

private:
    bool m_registered = false;
    QHash<QString, int> m_indexOf;           // watched symbol -> its index
    QVector<TzPortfolioQuote> m_latest;      // by index: the latest quote not taken yet
    QVector<char> m_waiting;                 // by index: m_latest holds a quote
    QVector<int> m_dirty;                    // indices with a quote, in arrival order
    QThreadPool m_requests;  // one thread: subscriptions leave in the order they were made
    quint64 m_fetchGeneration = 0;
    bool m_fetchInFlight = false;
};
