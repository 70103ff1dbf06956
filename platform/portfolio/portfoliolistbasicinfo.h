#pragma once

#include "portfoliodetailbasicinfo.h"

#include <QHash>
#include <QReadWriteLock>
#include <QStringList>
#include <memory>
#include <vector>

class TzPresenterClass;

// The store of every portfolio of the logged-in user, in back-end order, and of the
// user's strategy labels. It owns the records; pointers it hands out stay valid until
// the portfolio is removed. Every operation may be called from the GUI thread and the
// auto-import worker at the same time (one read/write lock).
class TZPLATFORM_EXPORT PortfolioListBasicInfo
{
public:
    enum Result { Ok = 0, NoNumber = -1, NameTaken = -2, NotFound = -3, RequestFailed = -4 };

    static PortfolioListBasicInfo *GetInstance();

    // Loads all portfolios and strategy labels of the login user from the back end through
    // the presenter's sendRequest_Sync. Loads once; bReload = true loads again and, only
    // when the back end answered, brings the store to its state: kept portfolios keep
    // their objects, updated in place. Returns 0, or RequestFailed with the store unchanged.
    int tryLockAndInit(TzPresenterClass *presenter, bool bReload = false);
    bool isInitialized() const;
    QString lastError() const;

    QStringList getAllPortfolioName() const;

    // Free-name rule: a name is free when no stored portfolio carries it. When `name` is
    // taken, the free name is `name` followed by the smallest number from 1 up that gives
    // a free name ("新建组合" -> "新建组合1" -> "新建组合2" ...). Returns true when `name`
    // is taken; freeName always receives a free name (name itself when free). name and
    // freeName may be the same variable.
    bool CheckPortfolioName(const QString &name, QString &freeName) const;

    // True when the security is restricted for portfolios and must not be held in one:
    // it is unknown, delisted, or under delisting arrangement (its short name starts with
    // "退" or carries "退" at the end). Callers keep a security only when this is false.
    bool checkPortfolioSecurity(const QString &symbol) const;
    // True when the security type can be traded in portfolios: A shares of every board
    // except B shares, ETFs, convertible bonds and Hong-Kong connect stocks.
    bool IsSupportSecurity(const QString &symbol) const;

    int AddStrategyInfo(const PortfolioStrategyInfo &info);
    PortfolioStrategyInfo *GetStrategyInfoByName(const QString &name);

    PortfolioDetailBasicInfo *GetPortfolioDetail(const QString &portfolioNo);
    QList<PortfolioDetailBasicInfo *> GetPortfolioDetails();
    // Stores a portfolio the back end accepted. A known number replaces the stored record
    // in place (its pointer stays valid); a new number is appended. Refuses a record
    // without number (NoNumber) and a name another stored portfolio carries (NameTaken).
    int AddPortfolioDetail(const PortfolioDetailBasicInfo &info);
    int RemovePortfolioDetail(const QString &portfolioNo);

    QList<PortfolioItem> GetPortItemListFromFile(const QString &path, QString &error,
                                                 QVariantMap &extension);

    // Empties the store (tests, log-out).
    void clear();

private:
    PortfolioListBasicInfo() = default;
    bool nameTakenLocked(const QString &name, const QString &exceptNo) const;

    mutable QReadWriteLock m_lock;
    std::vector<std::unique_ptr<PortfolioDetailBasicInfo>> m_portfolios;
    QHash<QString, PortfolioDetailBasicInfo *> m_byNumber;
    QHash<QString, int> m_nameCount;  // names of stored portfolios
    std::vector<std::unique_ptr<PortfolioStrategyInfo>> m_strategies;
    bool m_initialized = false;
    QString m_lastError;
};
