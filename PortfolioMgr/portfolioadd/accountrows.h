#pragma once

#include "cbusinessdatabase.h"
#include "margindc.h"
#include "portfolioaddrows.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QVariantMap>

// Rows of the creation dialog's account pages (positions, rebalance, short sale), built
// from the account data the presenter fetches. Plain functions, so that they can be
// tested and measured without a widget.
//
// The position and rebalance tables have the columns of PortfolioAddRows (code, name,
// market, side, quantity, and for positions the two weights). Column 0 keeps the order
// fields of the line as record fields: Security::symbol, Security::side,
// Security::entrustType, UserAccount::entrustProp, UserAccount::securityExchange,
// Security::nominalQty and OptionHoldType::key; a position row keeps the holding too
// (AccountField::currentQty, availableQty, securityAccount, costPrice).
namespace AccountRows {

// Which holding the position page takes (the item data of its holding combo).
enum PositionQtyType { AvailableQty = 0, CurrentQty = 1 };
// Which markets a page covers (the item data of the market-range combo).
enum MarketRange { NonHongKong = 0, HongKongConnect = 1, BothMarkets = 2 };

// Markets of a range, in the order the account data are scanned.
QStringList marketsOfRange(int marketRange);
bool isHongKongConnect(const QString &market);

// The positions of an account on the markets of a range, each on the security account
// the account has there, in one request. "0", or the text to show.
QString positionsInRange(const QString &tradingAccount, int marketRange, QList<QVariantMap> &positions,
                         const QString &sourceId);

// Why a position may not become a portfolio line ("" when it may): not CNY, a security
// unknown here or of a class portfolios do not trade (B shares), or restricted.
QString positionRefusal(const QVariantMap &position);
// The holding a position row starts from: available or current quantity, in order units
// (times GetDispFactorBySymbol).
qint64 positionQuantity(const QVariantMap &position, int positionQtyType);

// A sell row for the holding, with the quantity given.
RowRecord positionRow(const QVariantMap &position, qint64 quantity, ShowType showType);
// The part of a holding a ratio (in percent, 0 to 100) gives: the whole holding at 100,
// else the share rounded down to a quantity one order may carry (0 when below it).
qint64 quantityByRatio(const QString &symbol, qint64 holding, double ratioPercent);
// Sets the two weight columns from the quantities (share of value at previous close).
void weighRows(QList<RowRecord> &rows);

// A short-sale row: what may be borrowed, and what to sell short (at first all of it).
enum ShortSaleColumn { SSCode = 0, SSName = 1, SSMarket = 2, SSLendable = 3, SSQuantity = 4 };
RowRecord shortSaleRow(const TzMarginSecurityInfo &info, ShowType showType);
qint64 shortSaleQuantity(const RowRecord &row);
qint64 shortSaleLendable(const RowRecord &row);
void setShortSaleQuantity(RowRecord &row, qint64 quantity, ShowType showType);
// The portfolio line of a short-sale row: side "融券卖出".
PortfolioItem shortSaleItemOf(const RowRecord &row);

// A return-security row of one lending contract.
enum VoucherColumn { VCode = 0, VName = 1, VMarket = 2, VQuantity = 3, VReturnDate = 4 };
RowRecord voucherRow(const QVariantMap &contract, ShowType showType);

// ---- Rebalancing ------------------------------------------------------------------------

// Key of a holding or target: symbol + "_" + market.
QString targetKey(const QString &symbol, const QString &market);

// Quantity cell of a target file to a whole quantity: 99.9999999 -> 100, -3.2 -> -3
// (1e-6 towards the far side of zero, then truncated).
qint64 targetQuantity(double value);

// Current holdings by key, in order units, of the positions given (a later position of
// the same key replaces an earlier one).
QMap<QString, qint64> currentHoldings(const QList<QVariantMap> &positions);

// The rows that move holdings to targets: one per key whose target differs from its
// holding, in ascending key order; a holding without target is sold in full, a target
// without holding bought. Quantities pass GetQtyByOddLotType(oddLotType, tradable);
// a row whose quantity becomes 0 is left out and its key added to droppedKeys.
QList<RowRecord> rebalanceRows(const QMap<QString, qint64> &current, const QMap<QString, qint64> &targets,
                               int oddLotType, ShowType showType, QStringList *droppedKeys = nullptr);

} // namespace AccountRows
