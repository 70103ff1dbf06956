#pragma once

#include "tzplatform_global.h"

#include "portfolioitem.h"

#include <QDateTime>
#include <QList>
#include <QVariantMap>
#include <QVector>

// One portfolio: header fields and its lines in display order.
class TZPLATFORM_EXPORT PortfolioDetailBasicInfo
{
public:
    QString PortfolioNo() const { return m_portfolioNo; }
    void setPortfolioNo(QString no) { m_portfolioNo = std::move(no); }
    QString Name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    QString StrategyID() const { return m_strategyId; }
    void setStrategyID(const QString &id) { m_strategyId = id; }
    QString StrategyName() const { return m_strategyName; }
    void setStrategyName(const QString &name) { m_strategyName = name; }
    qint64 DefaultNum() const { return m_defaultNum; }
    void setDefaultNum(qint64 num) { m_defaultNum = num; }
    QList<PortfolioItem> SymbolList() const { return m_items; }
    void setSymbolList(const QList<PortfolioItem> &items) { m_items = items; }
    QVariantMap ExtensionDescription() const { return m_extension; }
    // Also sets the parameter type: 1 when the map carries algorithm parameters.
    void setExtensionDescription(QVariantMap extension);
    QDateTime CreateDate() const { return m_createDate; }
    void setCreateDate(const QDateTime &date) { m_createDate = date; }
    bool DeleteFlag() const { return m_deleteFlag; }
    void setPortFilePath(const QString &path) { m_portFilePath = path; }
    int PortParamType() const { return m_portParamType; }

    // Weight rule, applied by every creation path before the record is stored:
    // 1. When every line has a positive quantity and a known pre-close price, a line's
    //    relative weight is its value share: qty * preClose / sum(qty * preClose).
    // 2. Otherwise the relative weights are taken as given (any positive scale) and
    //    normalised to sum to 1; lines with a negative weight count as 0.
    // 3. A line's absolute weight is its relative weight in percent (0..100).
    // Returns 0; -1 when the portfolio has no line; -2 when neither quantities nor
    // weights give a positive total (weights are then left untouched).
    int CalculateWeight();
    // The same rule on bare lines, for tables that hold no PortfolioItem: `relWeight` is
    // read as given and replaced by the line's share (0..1).
    struct WeightLine
    {
        QString symbol;
        qint64 quantity = 0;
        double relWeight = 0.0;
    };
    static int CalculateWeight(QVector<WeightLine> &lines);

    // Same header and lines (the file it came from is not compared).
    bool operator==(const PortfolioDetailBasicInfo &o) const;
    bool operator!=(const PortfolioDetailBasicInfo &o) const { return !(*this == o); }

private:
    friend class PortfolioRecordAccess;

    QString m_portfolioNo;
    QString m_name;
    QString m_strategyId;
    QString m_strategyName;
    qint64 m_defaultNum = 0;
    QList<PortfolioItem> m_items;
    QVariantMap m_extension;
    QDateTime m_createDate;
    bool m_deleteFlag = false;
    QString m_portFilePath;
    int m_portParamType = 0;
};

Q_DECLARE_METATYPE(PortfolioDetailBasicInfo)

// Figures of one portfolio computed from live quotes.
class TZPLATFORM_EXPORT PortfolioDetailExtraInfo
{
public:
    QString ListID() const { return m_listId; }
    double MarketValue() const { return m_marketValue; }
    double ChangeRate() const { return m_changeRate; }
    int UpLimitCount() const { return m_upLimit; }
    int DownLimitCount() const { return m_downLimit; }
    int SuspensionCount() const { return m_suspended; }

private:
    friend class PortfolioQuoteMgr;

    QString m_listId;
    double m_marketValue = 0.0;
    double m_changeRate = 0.0;
    int m_upLimit = 0;
    int m_downLimit = 0;
    int m_suspended = 0;
};

Q_DECLARE_METATYPE(PortfolioDetailExtraInfo)

// A strategy label that portfolios are filed under.
class TZPLATFORM_EXPORT PortfolioStrategyInfo
{
public:
    QString StrategyNo() const { return m_no; }
    void setStrategyNo(const QString &no) { m_no = no; }
    QString StrategyName() const { return m_name; }
    void setStrategyName(const QString &name) { m_name = name; }
    QString StrategyType() const { return m_type; }
    QString StrategyManaStatus() const { return m_status; }

private:
    friend class PortfolioRecordAccess;

    QString m_no;
    QString m_name;
    QString m_type;
    QString m_status;
};

Q_DECLARE_METATYPE(PortfolioStrategyInfo)
