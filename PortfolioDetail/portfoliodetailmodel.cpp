#include "portfoliodetailmodel.h"

#include "cdatabase.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "securitycatalog.h"
#include "veltrautils.h"

#include <QBrush>
#include <QCollator>
#include <QColor>
#include <QLocale>
#include <algorithm>
#include <cmath>

namespace {

using LineState = PortfolioQuoteMgr::LineState;

const QColor kRise(0xd0, 0x3a, 0x2f);   // red: up, as Chinese desks read a price
const QColor kFall(0x14, 0x93, 0x4a);   // green: down
const QColor kMuted(0x8a, 0x94, 0xa3);  // no trading, no figure

const QString kNoFigure = QStringLiteral("--");

QString stateText(LineState state)
{
    switch (state) {
    case LineState::UpLimit:
        return QStringLiteral("涨停");
    case LineState::DownLimit:
        return QStringLiteral("跌停");
    case LineState::Suspended:
        return QStringLiteral("停牌");
    case LineState::Normal:
        break;
    }
    return QString();
}

bool isNumericColumn(int column)
{
    switch (column) {
    case PortfolioDetailModel::ColQuantity:
    case PortfolioDetailModel::ColRelWeight:
    case PortfolioDetailModel::ColAbsWeight:
    case PortfolioDetailModel::ColLastPx:
    case PortfolioDetailModel::ColChangeRate:
    case PortfolioDetailModel::ColMarketValue:
        return true;
    default:
        return false;
    }
}

bool isFigureColumn(int column)
{
    return column >= PortfolioDetailModel::FirstFigureColumn && column <= PortfolioDetailModel::LastFigureColumn;
}

} // namespace

PortfolioDetailModel::PortfolioDetailModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

PortfolioDetailModel::~PortfolioDetailModel() = default;

QString PortfolioDetailModel::columnTitle(int column)
{
    static const QStringList titles{
        QStringLiteral("代码"),     QStringLiteral("名称"),     QStringLiteral("市场"),   QStringLiteral("方向"),
        QStringLiteral("数量"),     QStringLiteral("相对权重"), QStringLiteral("绝对权重"), QStringLiteral("最新价"),
        QStringLiteral("涨跌幅"),   QStringLiteral("状态"),     QStringLiteral("市值")};
    return titles.value(column);
}

void PortfolioDetailModel::setLines(const QList<PortfolioItem> &items)
{
    const SecurityCatalog &catalog = SecurityCatalog::instance();
    const PortfolioQuoteMgr *quotes = PortfolioQuoteMgr::GetInstance();
    // A handful of markets among thousands of lines: their names are looked up once.
    QHash<QString, QString> marketNames;
    QVector<Line> lines;
    lines.reserve(items.size());
    QStringList symbols;
    QVector<int> firstLineOfSymbol;
    QVector<int> nextSameSymbol(items.size(), -1);
    QHash<QString, int> lastLineOf;  // symbol -> its last line so far
    lastLineOf.reserve(items.size());
    for (const PortfolioItem &item : items) {
        Line line;
        line.symbol = item.Symbol();
        const int dot = line.symbol.lastIndexOf(QLatin1Char('.'));
        line.code = dot > 0 ? line.symbol.left(dot) : line.symbol;
        const SecurityInfo *security = catalog.bySymbol(line.symbol);
        line.known = security != nullptr;
        line.name = item.SymbolName();
        if (line.name.isEmpty() && security)
            line.name = security->name;
        if (security && (security->type == SecurityType::etf || security->type == SecurityType::convertible))
            line.priceDecimals = 3;
        auto market = marketNames.find(item.SymbolExchange());
        if (market == marketNames.end()) {
            const QString name = CDataBase::GetInstance()->GetStaticCfgValue(DictionaryKey::exchangeChineseName,
                                                                              item.SymbolExchange());
            market = marketNames.insert(item.SymbolExchange(), name.isEmpty() ? item.SymbolExchange() : name);
        }
        line.market = *market;
        line.side = item.Side();
        line.quantity = item.Quantity();
        line.relWeight = item.RelWeight();
        line.absWeight = item.AbsWeight();
        TzPortfolioQuote quote;
        if (line.known && quotes->quote(line.symbol, quote))
            takeQuote(line, quote);

        const int index = lines.size();
        auto last = lastLineOf.find(line.symbol);
        if (last == lastLineOf.end()) {
            symbols << line.symbol;
            firstLineOfSymbol << index;
            lastLineOf.insert(line.symbol, index);
        } else {
            nextSameSymbol[*last] = index;
            *last = index;
        }
        lines.append(std::move(line));
    }

    beginResetModel();
    m_lines = std::move(lines);
    m_symbols = std::move(symbols);
    m_firstLineOfSymbol = std::move(firstLineOfSymbol);
    m_nextSameSymbol = std::move(nextSameSymbol);
    m_quotedLines = int(std::count_if(m_lines.cbegin(), m_lines.cend(), [](const Line &l) { return l.quoted; }));
    m_showType = VeltraUtils::GetCurrentShowType();
    m_order = visibleOrder();
    rebuildRowIndex();
    endResetModel();
}

void PortfolioDetailModel::clear()
{
    beginResetModel();
    m_lines.clear();
    m_order.clear();
    m_rowOfLine.clear();
    m_symbols.clear();
    m_firstLineOfSymbol.clear();
    m_nextSameSymbol.clear();
    m_quotedLines = 0;
    endResetModel();
}

bool PortfolioDetailModel::takeQuote(Line &line, const TzPortfolioQuote &quote)
{
    const LineState state = PortfolioQuoteMgr::lineState(quote);
    if (line.quoted && line.lastPx == quote.LastPx && line.preClosePx == quote.PreClosePx && line.state == state)
        return false;
    line.quoted = true;
    line.lastPx = quote.LastPx;
    line.preClosePx = quote.PreClosePx;
    line.state = state;
    return true;
}

int PortfolioDetailModel::applyQuotes(const QVector<QPair<int, TzPortfolioQuote>> &quotes)
{
    int changed = 0;
    QVector<int> changedRows;
    for (const QPair<int, TzPortfolioQuote> &quote : quotes) {
        if (quote.first < 0 || quote.first >= m_firstLineOfSymbol.size())
            continue;
        for (int line = m_firstLineOfSymbol.at(quote.first); line >= 0; line = m_nextSameSymbol.at(line)) {
            const bool wasQuoted = m_lines.at(line).quoted;
            if (!takeQuote(m_lines[line], quote.second))
                continue;
            m_quotedLines += wasQuoted ? 0 : 1;
            ++changed;
            const int row = m_rowOfLine.at(line);
            if (row >= 0)
                changedRows.append(row);
        }
    }
    if (changedRows.isEmpty())
        return changed;
    if (isFigureColumn(m_sortColumn) && resort())
        return changed;  // the layout change repaints what is in sight
    std::sort(changedRows.begin(), changedRows.end());
    int start = 0;
    for (int i = 1; i <= changedRows.size(); ++i) {
        if (i < changedRows.size() && changedRows.at(i) == changedRows.at(i - 1) + 1)
            continue;
        emit dataChanged(index(changedRows.at(start), FirstFigureColumn),
                         index(changedRows.at(i - 1), LastFigureColumn),
                         {Qt::DisplayRole, Qt::ForegroundRole, SortRole});
        start = i;
    }
    return changed;
}

void PortfolioDetailModel::setFilterText(const QString &text)
{
    const QString filter = text.trimmed();
    if (filter == m_filter)
        return;
    m_filter = filter;
    beginResetModel();
    m_order = visibleOrder();
    rebuildRowIndex();
    endResetModel();
}

bool PortfolioDetailModel::matches(const Line &line) const
{
    return m_filter.isEmpty() || line.code.contains(m_filter, Qt::CaseInsensitive)
           || line.symbol.contains(m_filter, Qt::CaseInsensitive) || line.name.contains(m_filter, Qt::CaseInsensitive);
}

QVector<int> PortfolioDetailModel::visibleOrder() const
{
    QVector<int> order;
    order.reserve(m_lines.size());
    for (int i = 0; i < m_lines.size(); ++i) {
        if (matches(m_lines.at(i)))
            order.append(i);
    }
    if (m_sortColumn < 0 || m_sortColumn >= ColumnCount || order.size() < 2)
        return order;

    const bool descending = m_sortOrder == Qt::DescendingOrder;
    // Keys are taken once per line, not once per comparison; cells without a value go
    // last in either order, and equal keys keep the portfolio's order.
    if (isNumericColumn(m_sortColumn) || m_sortColumn == ColState) {
        QVector<double> keys(m_lines.size(), std::nan(""));
        for (int line : qAsConst(order)) {
            const QVariant v = sortValue(m_lines.at(line), m_sortColumn);
            if (v.isValid())
                keys[line] = v.toDouble();
        }
        std::stable_sort(order.begin(), order.end(), [&keys, descending](int a, int b) {
            const double ka = keys.at(a), kb = keys.at(b);
            if (std::isnan(ka) || std::isnan(kb))
                return !std::isnan(ka) && std::isnan(kb);
            return descending ? ka > kb : ka < kb;
        });
        return order;
    }
    if (m_sortColumn == ColSymbol) {
        std::stable_sort(order.begin(), order.end(), [this, descending](int a, int b) {
            const int c = QString::compare(m_lines.at(a).code, m_lines.at(b).code);
            return descending ? c > 0 : c < 0;
        });
        return order;
    }
    // Names, markets and sides in the order a Chinese reader expects (pinyin).
    QCollator collator{QLocale(QLocale::Chinese, QLocale::China)};
    QVector<QCollatorSortKey> keys;
    keys.reserve(m_lines.size());
    QVector<int> keyOf(m_lines.size(), -1);
    for (int line : qAsConst(order)) {
        keyOf[line] = keys.size();
        keys.append(collator.sortKey(text(m_lines.at(line), m_sortColumn)));
    }
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        const int c = keys.at(keyOf.at(a)).compare(keys.at(keyOf.at(b)));
        return descending ? c > 0 : c < 0;
    });
    return order;
}

void PortfolioDetailModel::rebuildRowIndex()
{
    m_rowOfLine.fill(-1, m_lines.size());
    for (int row = 0; row < m_order.size(); ++row)
        m_rowOfLine[m_order.at(row)] = row;
}

void PortfolioDetailModel::sort(int column, Qt::SortOrder order)
{
    if (column == m_sortColumn && order == m_sortOrder)
        return;
    m_sortColumn = column >= 0 && column < ColumnCount ? column : -1;
    m_sortOrder = order;
    resort();
}

bool PortfolioDetailModel::resort()
{
    QVector<int> order = visibleOrder();
    if (order == m_order)
        return false;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    QVector<int> lines;
    lines.reserve(before.size());
    for (const QModelIndex &index : before)
        lines.append(lineOfRow(index.row()));
    m_order = std::move(order);
    rebuildRowIndex();
    QModelIndexList after;
    after.reserve(before.size());
    for (int i = 0; i < before.size(); ++i) {
        const int row = lines.at(i) >= 0 ? m_rowOfLine.at(lines.at(i)) : -1;
        after.append(row >= 0 ? index(row, before.at(i).column()) : QModelIndex());
    }
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    return true;
}

int PortfolioDetailModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_order.size();
}

int PortfolioDetailModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString PortfolioDetailModel::text(const Line &line, int column) const
{
    switch (column) {
    case ColSymbol:
        return line.code;
    case ColName:
        return line.name;
    case ColMarket:
        return line.market;
    case ColSide:
        return line.side;
    case ColQuantity:
        // A line given by weight alone has no quantity to show.
        return line.quantity > 0 ? VeltraUtils::TransQtyShowType(QString::number(line.quantity), m_showType)
                                 : kNoFigure;
    case ColRelWeight:
        return VeltraUtils::CompactNumber(line.relWeight);
    case ColAbsWeight:
        return VeltraUtils::FixedText(line.absWeight, 2) + QLatin1Char('%');
    case ColLastPx:
        return line.hasPrice() ? VeltraUtils::FixedText(line.lastPx, line.priceDecimals) : kNoFigure;
    case ColChangeRate:
        return line.hasChange() ? VeltraUtils::FixedText(line.changeRate() * 100.0, 2) + QLatin1Char('%') : kNoFigure;
    case ColState:
        if (!line.known)
            return QStringLiteral("未知证券");
        if (!line.quoted)
            return QStringLiteral("无行情");
        return stateText(line.state);
    case ColMarketValue:
        if (line.quantity <= 0)
            return QStringLiteral("仅权重");
        return line.hasPrice()
                   ? VeltraUtils::TransQtyShowType(VeltraUtils::FixedText(line.marketValue(), 2), m_showType)
                   : kNoFigure;
    default:
        return QString();
    }
}

QVariant PortfolioDetailModel::sortValue(const Line &line, int column) const
{
    switch (column) {
    case ColQuantity:
        return line.quantity > 0 ? QVariant(double(line.quantity)) : QVariant();
    case ColRelWeight:
        return line.relWeight;
    case ColAbsWeight:
        return line.absWeight;
    case ColLastPx:
        return line.hasPrice() ? QVariant(line.lastPx) : QVariant();
    case ColChangeRate:
        return line.hasChange() ? QVariant(line.changeRate()) : QVariant();
    case ColState:
        return line.known && line.quoted ? QVariant(double(line.state)) : QVariant();
    case ColMarketValue:
        return line.quantity > 0 && line.hasPrice() ? QVariant(line.marketValue()) : QVariant();
    default:
        return text(line, column);
    }
}

QVariant PortfolioDetailModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_order.size() || index.column() >= ColumnCount)
        return QVariant();
    const Line &line = m_lines.at(m_order.at(index.row()));
    const int column = index.column();
    switch (role) {
    case Qt::DisplayRole:
        return text(line, column);
    case SortRole:
        return sortValue(line, column);
    case Qt::TextAlignmentRole:
        return isNumericColumn(column) ? int(Qt::AlignRight | Qt::AlignVCenter) : int(Qt::AlignLeft | Qt::AlignVCenter);
    case Qt::ForegroundRole:
        if (column == ColLastPx || column == ColChangeRate) {
            if (!line.hasChange() || line.lastPx == line.preClosePx)
                return QVariant();
            return QBrush(line.lastPx > line.preClosePx ? kRise : kFall);
        }
        if (column == ColState) {
            if (!line.known || !line.quoted || line.state == LineState::Suspended)
                return QBrush(kMuted);
            if (line.state != LineState::Normal)
                return QBrush(line.state == LineState::UpLimit ? kRise : kFall);
        }
        if (column == ColMarketValue && line.quantity <= 0)
            return QBrush(kMuted);
        return QVariant();
    case Qt::ToolTipRole:
        if (column == ColMarketValue && line.quantity <= 0)
            return QStringLiteral("该行只有权重，没有数量，不计市值");
        if (column == ColState && !line.known)
            return QStringLiteral("证券代码%1不在证券资料中，没有行情").arg(line.symbol);
        if (column == ColState && !line.quoted)
            return QStringLiteral("尚未收到%1的行情").arg(line.symbol);
        return QVariant();
    default:
        return QVariant();
    }
}

QVariant PortfolioDetailModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
        return columnTitle(section);
    if (orientation == Qt::Horizontal && role == Qt::TextAlignmentRole)
        return int(Qt::AlignCenter);
    return QAbstractTableModel::headerData(section, orientation, role);
}

QVariant PortfolioDetailModel::exportValue(int row, int column) const
{
    const int lineIndex = lineOfRow(row);
    if (lineIndex < 0)
        return QVariant();
    const Line &line = m_lines.at(lineIndex);
    switch (column) {
    case ColQuantity:
        return line.quantity > 0 ? QVariant(line.quantity) : QVariant(text(line, column));
    case ColRelWeight:
        return line.relWeight;
    case ColAbsWeight:
        return line.absWeight / 100.0;  // a percentage cell
    case ColLastPx:
        return line.hasPrice() ? QVariant(line.lastPx) : QVariant(text(line, column));
    case ColChangeRate:
        return line.hasChange() ? QVariant(line.changeRate()) : QVariant(text(line, column));
    case ColMarketValue:
        return line.quantity > 0 && line.hasPrice() ? QVariant(line.marketValue()) : QVariant(text(line, column));
    default:
        return text(line, column);
    }
}
