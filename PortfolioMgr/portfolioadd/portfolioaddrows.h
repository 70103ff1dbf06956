#pragma once

#include "portfolioitem.h"
#include "recordmodel.h"
#include "showtype.h"

#include <QModelIndex>
#include <QStringList>
#include <QVariantMap>

struct SecurityInfo;

// The rows of the creation dialog's security tables (default, ETF, industry and index
// pages), and the rules that turn them into portfolio lines. Plain functions, so they can
// be tested and measured without a widget.
//
// Every such table has the columns below. Column 0 shows the code and keeps the symbol as
// its user value; on the basket pages it also keeps the record the row was built from
// (field keys of the platform: Security::symbol, Security::nominalQty, Security::weight
// ...). The market column shows the market's name and keeps its key; the quantity and
// weight columns show formatted text and keep the number.
namespace PortfolioAddRows {

enum Column { Code = 0, Name = 1, Market = 2, Side = 3, Quantity = 4, RelWeight = 5, AbsWeight = 6 };

// Roles the row editors read: the markets a row's code trades on (a list of keys) and
// the largest quantity the row may carry.
constexpr int MarketsRole = Qt::UserRole + 1;
constexpr int QtyLimitRole = Qt::UserRole + 101;
// The largest quantity a line may carry when no exchange cap applies.
constexpr qint64 UnlimitedQty = 999999999;

// The largest quantity the editor of index's row accepts: the row's limit, or
// UnlimitedQty when unlimited is set or the row has no limit.
int editableQuantityLimit(const QModelIndex &index, bool unlimited);

// The ten sides a line can take, in the order the side editor offers them.
const QStringList &sides();
// "SH" -> "上交所", as the static configuration names the markets.
QString marketName(const QString &market);

// A row for the security on that market. The quantity limit is the market's cap on one
// order (or 999,999,999 when unlimited).
RowRecord securityRow(const SecurityInfo &security, const QString &market, qint64 quantity,
                      double relWeight, const QString &side, ShowType showType, bool unlimited);
// A basket page's row from a component or member record (see PortfolioInfoMgr for the
// fields). Empty when the security is unknown, restricted or not tradable in portfolios.
RowRecord basketRow(const QVariantMap &record, ShowType showType);

void setQuantity(RowRecord &row, qint64 quantity, ShowType showType);
void setRelWeight(RowRecord &row, double weight);
void setAbsWeight(RowRecord &row, double percent);

QString symbolOf(const RowRecord &row);
QString marketOf(const RowRecord &row);
qint64 quantityOf(const RowRecord &row);
double relWeightOf(const RowRecord &row);
// The record a basket row was built from, with its current quantity and side; empty for
// a row without one.
QVariantMap recordOf(const RowRecord &row);

// The line of a row, as it leaves the dialog.
PortfolioItem itemOf(const RowRecord &row);

// Weight rule of the creation dialog, the store's own (PortfolioDetailBasicInfo::
// CalculateWeight): when every line has a quantity, a line's share is its value at the
// previous close; otherwise the relative weights decide, in the trader's own scale. The
// absolute weight column then shows each line's share in percent, exactly as the
// portfolio will store it; the relative weight column keeps what the trader typed.
void recomputeAbsWeights(QList<RowRecord> &rows);

// Lines on a buying side ("买入", "担保品买入", "融资买入", "买券还券") and on a selling
// side ("卖出", "担保品卖出", "卖券还款", "融券卖出"); other lines ("未指定", "直接还券")
// are in neither.
void splitBySide(const QList<PortfolioItem> &items, QList<PortfolioItem> &buy, QList<PortfolioItem> &sell);

} // namespace PortfolioAddRows
