#pragma once

#include "importsecurityresolver.h"
#include "portfolioitem.h"
#include "tablefilereader.h"

#include <QHash>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

// The reasons one line is refused. Past the first lines of a file only their number is
// wanted, so texts are then neither built nor kept: a file of bad lines that each quote
// a huge cell costs no more than one of short ones.
class ImportReasons
{
public:
    explicit ImportReasons(bool detailed) : m_detailed(detailed) {}

    template <typename Describe>
    void add(Describe describe)
    {
        ++m_count;
        if (m_detailed)
            m_texts << describe();
    }
    bool isEmpty() const { return m_count == 0; }
    QString text() const { return m_texts.join(QStringLiteral("；")); }

private:
    bool m_detailed;
    int m_count = 0;
    QStringList m_texts;
};

// Turns the rows of an import file into portfolio lines: finds the known columns by the
// names of the header row, checks each line and keeps the portfolio-level values of an
// algorithm portfolio.
class ImportLineReader
{
public:
    // Columns the client knows, by the name in the header row.
    enum Column {
        CodeColumn,
        MarketColumn,
        NameColumn,
        SideColumn,
        QuantityColumn,
        WeightColumn,
        EntrustTypeColumn,
        EntrustPropColumn,
        PriceColumn,
        AlgoLimitColumn,
        // Portfolio-level columns of an algorithm portfolio, in the order of the keys of
        // algoParam().
        FundAccountColumn,
        AlgoNameColumn,
        StartTimeColumn,
        EndTimeColumn,
        ParticipationRateColumn,
        ColumnCount
    };

    // No value of a known column is longer: a code, a number, a time, an account, a name.
    static constexpr int MaxValueLength = 256;

    explicit ImportLineReader(bool decimalComma);

    // Finds the known columns; false with a reason when a required one is missing or
    // one appears twice. format says how the file was read, for that reason.
    bool readHeader(const TableRow &header, const QString &format, QString &error);
    // The sheet columns the known columns are in, for TableFileReader::setColumns.
    QVector<int> usedColumns() const;
    bool isAlgo() const;
    static bool isBlank(const TableRow &row);
    // One data line; false with the reasons it cannot be a portfolio line.
    bool readLine(const TableRow &row, PortfolioItem &item, ImportReasons &reasons);
    QVariantMap algoParam() const;

private:
    static constexpr int FirstAlgoColumn = FundAccountColumn;
    static constexpr int AlgoColumnCount = ColumnCount - FirstAlgoColumn;

    QString cell(const TableRow &row, int column) const;
    void readCellFaults(const TableRow &row, ImportReasons &reasons);
    void readAlgoParameters(const TableRow &row, QString (&algo)[AlgoColumnCount],
                            ImportReasons &reasons);

    ImportSecurityResolver m_securities;
    bool m_decimalComma;
    int m_index[ColumnCount];
    bool m_faulty[ColumnCount];  // of the line being read: a cell that cannot be trusted
    // Security and market of each accepted line -> its row. A security has at most two
    // markets, so the market's place in its list goes in the low bits of the pointer.
    QHash<quintptr, int> m_seen;
    QString m_algo[AlgoColumnCount];
    int m_algoRow[AlgoColumnCount] = {};
};
