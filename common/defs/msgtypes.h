#pragma once

#include <QString>

// Message types of the bus. Requests are named by text; platform notifications by
// number; market data by its own name.
namespace MsgType {
inline const QString alterPortfolioRequest = QStringLiteral("alterPortfolioRequest");
inline const QString alterStrategyRequest = QStringLiteral("alterStrategyRequest");
inline const QString alterPortfolioDetailRequest = QStringLiteral("alterPortfolioDetailRequest");
inline const QString deletePortfolioDetailRequest = QStringLiteral("deletePortfolioDetailRequest");
inline const QString deletePortfolioRequest = QStringLiteral("deletePortfolioRequest");
inline const QString queryPortfolioRequest = QStringLiteral("queryPortfolioRequest");
inline const QString queryStrategyRequest = QStringLiteral("queryStrategyRequest");
inline const QString queryBatchStateRequest = QStringLiteral("queryBatchStateRequest");
// Account data of the login user (answered only for that user's own accounts).
inline const QString queryAccountRequest = QStringLiteral("queryAccountRequest");
inline const QString queryPositionRequest = QStringLiteral("queryPositionRequest");
inline const QString queryMarginSecurityRequest = QStringLiteral("queryMarginSecurityRequest");
inline const QString QuerySecurityCashcompactRequest = QStringLiteral("QuerySecurityCashcompactRequest");
inline const QString loginRequest = QStringLiteral("loginRequest");
inline const QString subscribeQuoteRequest = QStringLiteral("subscribeQuoteRequest");
inline const QString unsubscribeQuoteRequest = QStringLiteral("unsubscribeQuoteRequest");
inline const QString answer = QStringLiteral("answer");
inline const QString MDMARKETRECORD = QStringLiteral("MDMARKETRECORD");
}

// Platform notification types (numeric).
enum : int {
    PORTFOLIO_NEW_OR_UPDATE = 204800,   // 0x32000
    PORTFOLIO_DELETED = 204801,         // 0x32001
    PORTFOLIO_CLICKED = 204804,         // 0x32004
    POSITION_UPDATE = 200706,           // 0x31002
};

// Named client events; numeric ids come from VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr.
namespace EventName {
inline const QString ALL_ETFLIST_LOADED = QStringLiteral("ALL_ETFLIST_LOADED");
inline const QString PORT_LIST_INIT = QStringLiteral("PORT_LIST_INIT");
inline const QString PORTFOLIOS_SETTING_CHANGED = QStringLiteral("PORTFOLIOS_SETTING_CHANGED");
inline const QString TRADING_ACCOUNT_CHANGED = QStringLiteral("TRADING_ACCOUNT_CHANGED");
}

enum : int { CLIPBOARD_CLICK_EVENT = 300101 };

// Names of entries in the platform data cache (CBusinessDataBase::GetCacheData).
namespace CacheName {
// Codes handed to the portfolio list while it is not open: a map whose "symbolList"
// entry is the list of codes; the page consumes it once.
inline const QString ClipboardData = QStringLiteral("ClipboardData");
}

