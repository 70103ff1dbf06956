#pragma once

#include <QString>

// Field catalogue of the trading platform: the keys of request and answer bodies, of
// market records and of portfolio records. Pages use these by name only; the text
// values are the platform's own and are what travels on the wire.

namespace RequestField {
inline const QString alterType = QStringLiteral("alterType");
inline const QString userID = QStringLiteral("userID");
// The password of a login over the network; never stored or logged as it is.
inline const QString password = QStringLiteral("password");
inline const QString strategyNo = QStringLiteral("strategyNo");
inline const QString strategyName = QStringLiteral("strategyName");
inline const QString strategyType = QStringLiteral("strategyType");
inline const QString StrategyManaStatus = QStringLiteral("strategyManaStatus");
inline const QString portfolioNo = QStringLiteral("portfolioNo");
inline const QString portfolioName = QStringLiteral("portfolioName");
inline const QString defaultBasketSize = QStringLiteral("defaultBasketSize");
inline const QString portfolioExtensionDescription = QStringLiteral("portfolioExtensionDescription");
inline const QString portParamType = QStringLiteral("portParamType");
inline const QString createTime = QStringLiteral("createTime");
inline const QString deleteFlag = QStringLiteral("deleteFlag");
inline const QString msgType = QStringLiteral("msgType");
inline const QString subGroupNumber = QStringLiteral("subGroupNumber");
inline const QString securityID = QStringLiteral("securityID");
inline const QString securityExchange = QStringLiteral("securityExchange");
inline const QString side = QStringLiteral("side");
inline const QString tradeQty = QStringLiteral("tradeQty");
inline const QString positionWeight = QStringLiteral("positionWeight");
inline const QString entrustType = QStringLiteral("entrustType");
inline const QString batchEntrustProp = QStringLiteral("batchEntrustProp");
inline const QString customerPrice = QStringLiteral("customerPrice");
inline const QString limitPrice = QStringLiteral("limitPrice");
inline const QString details = QStringLiteral("details");
inline const QString batchNo = QStringLiteral("batchNo");
inline const QString batchFinished = QStringLiteral("batchFinished");
inline const QString securityIDSource = QStringLiteral("securityIDSource");
// Paging of long answers: at most pageSize rows per answer; positionStr is where the
// next page starts (empty in an answer: no more rows).
inline const QString pageSize = QStringLiteral("pageSize");
// A portfolio query limited to these portfolio numbers (a list of texts); numbers the
// user does not have are simply absent from the answer.
inline const QString portfolioNoList = QStringLiteral("portfolioNoList");
inline const QString positionStr = QStringLiteral("positionStr");
// Answer fields.
inline const QString requestExeStatus = QStringLiteral("requestExeStatus");
inline const QString textDescription = QStringLiteral("textDescription");
}

// Fields of the account requests and their answers. An account is a fund (asset)
// account with one trading account and one security (shareholder) account per market
// it may trade; a position belongs to a security account.
namespace AccountField {
inline const QString fundAccount = QStringLiteral("fundAccount");
inline const QString tradingAccount = QStringLiteral("tradingAccount");
inline const QString securityAccount = QStringLiteral("securityAccount");
inline const QString fundProperty = QStringLiteral("fundProperty");
inline const QString accountName = QStringLiteral("accountName");
inline const QString currentQty = QStringLiteral("currentQty");
inline const QString availableQty = QStringLiteral("availableQty");
inline const QString costPrice = QStringLiteral("costPrice");
inline const QString currency = QStringLiteral("currency");
// Quantity of a security a credit account may still borrow.
inline const QString lendableQty = QStringLiteral("lendableQty");
// Contracts due on or before this date (yyyyMMdd); empty: every open contract.
inline const QString returnDate = QStringLiteral("returnDate");
}

// Values of AccountField::fundProperty.
namespace FundProperty {
inline const QString normal = QStringLiteral("0");  // cash account
inline const QString credit = QStringLiteral("1");  // margin (credit) account
}

// Fields of a security-lending contract ("头寸合约").
namespace SecurityProvideLoan {
inline const QString ContractNo = QStringLiteral("ContractNo");
inline const QString SecurityName = QStringLiteral("SecurityName");
inline const QString ContractQty = QStringLiteral("ContractQty");
inline const QString ReturnDate = QStringLiteral("ReturnDate");
inline const QString OpenDate = QStringLiteral("OpenDate");
}

namespace RequestExeStatus {
inline const QString success = QStringLiteral("0");
inline const QString failure = QStringLiteral("1");
}

// Where a security identifier comes from when it is turned into a code.
namespace SecurityIDSource {
inline const QString securityID = QStringLiteral("securityID");
inline const QString symbol = QStringLiteral("symbol");
}

// Keys of a market record ("MDMARKETRECORD") and of security static data.
namespace Security {
inline const QString symbol = QStringLiteral("Symbol");
inline const QString securityID = QStringLiteral("SecurityID");
inline const QString symbolName = QStringLiteral("SymbolName");
inline const QString side = QStringLiteral("Side");
inline const QString entrustType = QStringLiteral("EntrustType");
inline const QString nominalQty = QStringLiteral("NominalQty");
// Weight of a constituent in its index or basket, in percent.
inline const QString weight = QStringLiteral("Weight");
inline const QString lastPx = QStringLiteral("LastPx");
inline const QString preClosePx = QStringLiteral("PreClosePx");
inline const QString bidPx1 = QStringLiteral("BidPx1");
inline const QString askPx1 = QStringLiteral("AskPx1");
inline const QString upperLimitPx = QStringLiteral("UpperLimitPx");
inline const QString lowerLimitPx = QStringLiteral("LowerLimitPx");
inline const QString suspended = QStringLiteral("Suspended");
inline const QString mdTime = QStringLiteral("MDTime");
}

namespace UserAccount {
inline const QString securityExchange = QStringLiteral("SecurityExchange");
inline const QString entrustProp = QStringLiteral("EntrustProp");
}

// How a line's securities are held; ordinary holdings (not covered or pledged).
namespace OptionHoldType {
inline const QString key = QStringLiteral("OptionHoldType");
inline const QString ordinary = QStringLiteral("0");
}

// Portfolio-level extension attributes (the extension map of a portfolio).
namespace Portfolio {
inline const QString portType = QStringLiteral("portType");
inline const QString algoParam = QStringLiteral("algoParam");
// The basket a portfolio was built from: an ETF's symbol, an industry's code.
inline const QString basketCode = QStringLiteral("basketCode");
}

// Values of Portfolio::portType: where a portfolio came from, so that the trading pages
// know how the basket was meant (a liquidation sells, a short sale borrows). They are
// stored by the back end with the portfolio and must not be renamed.
namespace PortType {
inline const QString normal = QStringLiteral("normal");          // by hand, or a plain file
inline const QString algo = QStringLiteral("algo");              // a file with algorithm parameters
inline const QString etf = QStringLiteral("etf");                // an ETF's creation basket
inline const QString industry = QStringLiteral("industry");      // the stocks of a Shenwan industry
inline const QString index = QStringLiteral("index");            // an index's constituents
inline const QString rebalance = QStringLiteral("rebalance");    // moves an account to target holdings
inline const QString positionReduce = QStringLiteral("positionReduce"); // part of a holding, to sell
inline const QString liquidation = QStringLiteral("liquidation"); // every available holding, to sell
inline const QString shortSale = QStringLiteral("shortSale");    // securities to borrow and sell
inline const QString clipboard = QStringLiteral("clipboard");    // codes handed over by another page
}

// The same origins by number, as the pages that build portfolios from account data pass
// them; PortTypeText gives the text stored in Portfolio::portType.
enum PortfolioPortType : int {
    PortTypeNormal = 0,
    PortTypeAlgo = 1,
    PortTypeRebalance = 2,
    PortTypePositionReduce = 3,
    PortTypeShortSale = 4,
    PortTypeLiquidation = 5,
    PortTypeEtf = 6,
    PortTypeIndustry = 7,
    PortTypeIndex = 8,
    PortTypeClipboard = 9,
};

inline QString PortTypeText(PortfolioPortType type)
{
    switch (type) {
    case PortTypeAlgo: return PortType::algo;
    case PortTypeRebalance: return PortType::rebalance;
    case PortTypePositionReduce: return PortType::positionReduce;
    case PortTypeShortSale: return PortType::shortSale;
    case PortTypeLiquidation: return PortType::liquidation;
    case PortTypeEtf: return PortType::etf;
    case PortTypeIndustry: return PortType::industry;
    case PortTypeIndex: return PortType::index;
    case PortTypeClipboard: return PortType::clipboard;
    case PortTypeNormal: break;
    }
    return PortType::normal;
}

// Fields of an industry record in the Shenwan tree.
namespace Industry {
inline const QString code = QStringLiteral("IndustryCode");
inline const QString name = QStringLiteral("IndustryName");
inline const QString level = QStringLiteral("IndustryLevel");
}

// Portfolio-level columns of an algorithm import file; they go to Portfolio::algoParam.
namespace ImportField {
inline const QString FundAccount = QStringLiteral("fundAccount");
inline const QString AlgoName = QStringLiteral("algoName");
inline const QString StartTime = QStringLiteral("startTime");
inline const QString EndTime = QStringLiteral("endTime");
inline const QString ParticipationRate = QStringLiteral("participationRate");
}

namespace DictionaryKey {
inline const QString exchangeChineseName = QStringLiteral("exchangeChineseName");
}

// Event message keys.
inline const QString PLUGIN_ID = QStringLiteral("pluginId");
inline const QString MENU_ID = QStringLiteral("menuId");
