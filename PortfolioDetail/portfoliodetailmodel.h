#pragma once

#include "portfolioitem.h"
#include "portfolioquotemgr.h"
#include "showtype.h"
#include "tzportfolioquote.h"

#include <QAbstractTableModel>
#include <QHash>
#include <QVector>

// The lines of one portfolio with their live figures, as the detail page shows them.
// Row r of the model is row r of the view: the model filters (code or name) and sorts
// itself, so that thousands of lines need no proxy. Quotes come in batches; a batch
// announces only the rows whose figures changed, one range per run of neighbouring
// rows, over the figure columns alone.
class PortfolioDetailModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        ColSymbol = 0,   // 代码
        ColName,         // 名称
        ColMarket,       // 市场
        ColSide,         // 方向
        ColQuantity,     // 数量
        ColRelWeight,    // 相对权重
        ColAbsWeight,    // 绝对权重
        ColLastPx,       // 最新价
        ColChangeRate,   // 涨跌幅
        ColState,        // 状态
        ColMarketValue,  // 市值
        ColumnCount
    };
    // The columns a quote changes.
    static constexpr int FirstFigureColumn = ColLastPx;
    static constexpr int LastFigureColumn = ColMarketValue;
    // What a cell sorts by: a number for the numeric columns (and the state), text for
    // the others; invalid when the cell has nothing to sort by (no quote yet, a line
    // without quantity in 市值). Such cells go last in either order.
    static constexpr int SortRole = Qt::UserRole + 1;

    explicit PortfolioDetailModel(QObject *parent = nullptr);
    ~PortfolioDetailModel() override;

    static QString columnTitle(int column);

    // Replaces the lines (a reset). Their figures start from the quotes the quote
    // manager holds; filter and sort stay as they are.
    void setLines(const QList<PortfolioItem> &items);
    void clear();
    int lineCount() const { return m_lines.size(); }
    // Lines that have had a quote.
    int quotedLineCount() const { return m_quotedLines; }
    // Distinct symbols of the lines, in line order. Quotes name their symbol by its
    // index in this list, so that thousands of them are applied without a look-up.
    QStringList symbols() const { return m_symbols; }

    // Applies the latest quote of some symbols (index in symbols(), quote) to their
    // lines. Returns how many lines' figures changed. Rows that changed are announced
    // with dataChanged; when the rows are sorted by a figure that moved, they are sorted
    // again (layoutChanged).
    int applyQuotes(const QVector<QPair<int, TzPortfolioQuote>> &quotes);

    // Shows only the lines whose code or name contains the text (any case); empty shows all.
    void setFilterText(const QString &text);
    QString filterText() const { return m_filter; }
    // -1 while the lines are in the portfolio's order.
    int sortColumn() const { return m_sortColumn; }
    Qt::SortOrder sortOrder() const { return m_sortOrder; }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // The cell as a spreadsheet should hold it: a number where the column is numeric and
    // the cell has one, else the text shown.
    QVariant exportValue(int row, int column) const;
    // Index of the line shown in a row (its place in the portfolio), -1 for none.
    int lineOfRow(int row) const { return row >= 0 && row < m_order.size() ? m_order.at(row) : -1; }

private:
    struct Line
    {
        QString symbol;
        QString code;
        QString name;
        QString market;
        QString side;
        qint64 quantity = 0;
        double relWeight = 0.0;
        double absWeight = 0.0;
        int priceDecimals = 2;
        bool known = false;   // in the security catalogue
        bool quoted = false;  // a quote has come
        double lastPx = 0.0;
        double preClosePx = 0.0;
        PortfolioQuoteMgr::LineState state = PortfolioQuoteMgr::LineState::Normal;

        bool hasPrice() const { return quoted && lastPx > 0.0; }
        bool hasChange() const { return hasPrice() && preClosePx > 0.0; }
        double changeRate() const { return lastPx / preClosePx - 1.0; }
        double marketValue() const { return double(quantity) * lastPx; }
    };

    // Copies the quote's figures into the line; false when they were the same already.
    static bool takeQuote(Line &line, const TzPortfolioQuote &quote);
    QString text(const Line &line, int column) const;
    QVariant sortValue(const Line &line, int column) const;
    bool matches(const Line &line) const;
    // The visible lines in the current filter and sort.
    QVector<int> visibleOrder() const;
    void rebuildRowIndex();
    // Sorts the rows again keeping selection and current cell on their lines; false
    // when the order did not change.
    bool resort();

    QVector<Line> m_lines;
    QVector<int> m_order;       // row -> line
    QVector<int> m_rowOfLine;   // line -> row, -1 when filtered out
    QStringList m_symbols;              // distinct, in line order
    QVector<int> m_firstLineOfSymbol;   // index in m_symbols -> its first line
    QVector<int> m_nextSameSymbol;      // line -> next line of the same symbol, -1
    QString m_filter;
    int m_sortColumn = -1;
    Qt::SortOrder m_sortOrder = Qt::AscendingOrder;
    ShowType m_showType = ShowThousands;
    int m_quotedLines = 0;
};
