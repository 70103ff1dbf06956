#include "portfoliodetailpresenterclass.h"

#include "businessdatainterface.h"
#include "cunpackmessagecommon.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioquotemgr.h"

#include <QDebug>
#include <QFutureWatcher>
#include <QtConcurrent>

PortfolioDetailPresenterClass::PortfolioDetailPresenterClass(QObject *parent)
    : TzPresenterClass(parent)
{
    m_requests.setMaxThreadCount(1);
    m_requests.setExpiryTimeout(-1);
    qRegisterMetaType<PortfolioDetailBasicInfo>("PortfolioDetailBasicInfo");
}

PortfolioDetailPresenterClass::~PortfolioDetailPresenterClass()
{
    // What this page holds is released before it goes: the back end counts it.
    watchSymbols({});
    flushSubscriptions();
}

void PortfolioDetailPresenterClass::registerMessages()
{
    if (m_registered)
        return;
    m_registered = true;
    Sub(MsgType::MDMARKETRECORD);
    Sub(PORTFOLIO_NEW_OR_UPDATE);
    Sub(PORTFOLIO_DELETED);
    SubEvent(PORTFOLIO_CLICKED);
}

void PortfolioDetailPresenterClass::ProcEventMsg(QString source, QVariant type, QVariant message)
{
    Q_UNUSED(source)
    CUnPackMessageCommon unpack;
    if (!unpack.SetUnPackMsg(message))
        return;
    const QString portfolioNo = unpack.GetValue(RequestField::portfolioNo).toString();
    if (portfolioNo.isEmpty())
        return;
    switch (type.toInt()) {
    case PORTFOLIO_CLICKED:
        emit portfolioClicked(portfolioNo);
        break;
    case PORTFOLIO_NEW_OR_UPDATE:
        emit portfolioChanged(portfolioNo);
        break;
    case PORTFOLIO_DELETED:
        emit portfolioDeleted(portfolioNo);
        break;
    default:
        break;
    }
}

void PortfolioDetailPresenterClass::ProcMarketRecords(const QList<QVariantMap> &records)
{
    if (m_indexOf.isEmpty())
        return;
    // Records of every page's subscriptions come here; only the lines shown matter.
    PortfolioQuoteMgr *quotes = PortfolioQuoteMgr::GetInstance();
    const bool wasEmpty = m_dirty.isEmpty();
    for (const QVariantMap &record : records) {
        const QString symbol = record.value(Security::symbol).toString();
        const int index = m_indexOf.value(symbol, -1);
        if (index < 0)
            continue;
        TzPortfolioQuote quote;
        const int rc = quotes->GetPortfolioQuote(record, quote);
        if (rc != 0) {
            qInfo() << "PortfolioDetailPresenterClass::ProcMarketRecords record ignored, code" << rc << symbol;
            continue;
        }
        QVariant asVariant = record;
        quote.Suspended = quotes->IsSymbolSuspended(asVariant);
        // The shared quotes stay current for the portfolio figures while the list is closed.
        quotes->UpdateQuote(symbol, quote);
        m_latest[index] = quote;
        if (!m_waiting.at(index)) {
            m_waiting[index] = 1;
            m_dirty.append(index);
        }
    }
    if (wasEmpty && !m_dirty.isEmpty())
        emit quotesArrived();
}

QVector<QPair<int, TzPortfolioQuote>> PortfolioDetailPresenterClass::takeQuotes()
{
    QVector<QPair<int, TzPortfolioQuote>> taken;
    taken.reserve(m_dirty.size());
    for (int index : qAsConst(m_dirty)) {
        taken.append({index, m_latest.at(index)});
        m_waiting[index] = 0;
    }
    m_dirty.clear();
    return taken;
}

void PortfolioDetailPresenterClass::watchSymbols(const QStringList &symbols)
{
    QHash<QString, int> indexOf;
    indexOf.reserve(symbols.size());
    QVariantList added;
    for (int i = 0; i < symbols.size(); ++i) {
        const QString &symbol = symbols.at(i);
        if (symbol.isEmpty() || indexOf.contains(symbol))
            continue;
        indexOf.insert(symbol, i);
        if (!m_indexOf.contains(symbol))
            added << symbol;
    }
    QVariantList dropped;
    for (auto it = m_indexOf.cbegin(); it != m_indexOf.cend(); ++it) {
        if (!indexOf.contains(it.key()))
            dropped << it.key();
    }
    m_indexOf = std::move(indexOf);
    // Quotes not taken are in the quote manager; the lines shown next start from there.
    m_latest = QVector<TzPortfolioQuote>(symbols.size());
    m_waiting = QVector<char>(symbols.size(), 0);
    m_dirty.clear();
    if (added.isEmpty() && dropped.isEmpty())
        return;
    // Unknown symbols are left out of both requests alike, so the counts stay paired.
    QtConcurrent::run(&m_requests, [this, added, dropped] {
        if (!dropped.isEmpty()) {
            const QString rc = BusinessDataInterface::UnSubscribeSecurityQuotation(this, dropped, 1, 1);
            if (rc != QLatin1String("0"))
                qInfo().noquote() << "PortfolioDetailPresenterClass unsubscribe:" << rc;
        }
        if (!added.isEmpty()) {
            const QString rc = BusinessDataInterface::SubscribeSecurityQuotation(this, added, 1, 1);
            if (rc != QLatin1String("0"))
                qInfo().noquote() << "PortfolioDetailPresenterClass subscribe:" << rc;
        }
    });
}

QStringList PortfolioDetailPresenterClass::watchedSymbols() const
{
    return m_indexOf.keys();
}

void PortfolioDetailPresenterClass::flushSubscriptions()
{
    m_requests.waitForDone();
}

void PortfolioDetailPresenterClass::fetchPortfolio(const QString &portfolioNo)
{
    const quint64 generation = ++m_fetchGeneration;
    m_fetchInFlight = true;
    struct Fetch
    {
        bool ok = false;
        QString error;
        QVector<PortfolioDetailBasicInfo> portfolios;
    };
    auto *watcher = new QFutureWatcher<Fetch>(this);
    connect(watcher, &QFutureWatcher<Fetch>::finished, this, [this, watcher, generation, portfolioNo] {
        watcher->deleteLater();
        if (generation != m_fetchGeneration)
            return;  // a later fetch is under way; its answer is the one that counts
        m_fetchInFlight = false;
        const Fetch fetch = watcher->result();
        if (!fetch.ok) {
            emit portfolioFetched(portfolioNo, false, PortfolioDetailBasicInfo(), fetch.error);
            return;
        }
        for (const PortfolioDetailBasicInfo &p : fetch.portfolios) {
            if (p.PortfolioNo() == portfolioNo && !p.DeleteFlag()) {
                emit portfolioFetched(portfolioNo, true, p, QString());
                return;
            }
        }
        emit portfolioFetched(portfolioNo, false, PortfolioDetailBasicInfo(), QString());
    });
    const QString source = pluginPid();
    watcher->setFuture(QtConcurrent::run([source, portfolioNo] {
        Fetch fetch;
        fetch.ok = PortfolioListBasicInfo::FetchPortfolios(source, {portfolioNo}, &fetch.portfolios, &fetch.error);
        return fetch;
    }));
}

void PortfolioDetailPresenterClass::cancelFetch()
{
    ++m_fetchGeneration;
    m_fetchInFlight = false;
}
