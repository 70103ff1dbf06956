#pragma once

#include "tablefilereader.h"

#include <QVector>

class QFile;

// The format-specific part of a reader: one per file format.
class TableFileReader::Source
{
public:
    virtual ~Source() = default;
    virtual bool open(QFile &file, QString &error) = 0;
    virtual bool readRow(TableRow &row, QString &error) = 0;
    virtual QString description() const = 0;
    virtual bool decimalComma() const { return false; }

    // Columns to decode from now on; an empty list means all of them.
    virtual void setColumns(const QVector<int> &columns)
    {
        m_wanted.clear();
        m_limit = columns.isEmpty() ? TableFileReader::MaxColumns : 0;
        for (int column : columns) {
            if (column < 0 || column >= TableFileReader::MaxColumns)
                continue;
            m_limit = qMax(m_limit, column + 1);
            if (m_wanted.size() < m_limit)
                m_wanted.resize(m_limit);
            m_wanted[column] = true;
        }
    }

protected:
    bool isWanted(int column) const
    {
        return column < m_limit && (m_wanted.isEmpty() || m_wanted.at(column));
    }

    // A row's cells are put in column order between beginRow() and endRow(); the list
    // of the previous row is reused, which saves allocations on every row.
    void beginRow(TableRow &row)
    {
        row.faults.clear();
        row.otherText = false;
        m_count = 0;
    }

    // Puts a decoded cell at its column; cells before it that are absent stay empty.
    void putCell(TableRow &row, int column, QString &&text)
    {
        for (; m_count <= column; ++m_count) {
            if (m_count == row.cells.size())
                row.cells.append(QString());
            else if (m_count < column)
                row.cells[m_count].clear();
        }
        row.cells[column] = std::move(text);
    }

    void endRow(TableRow &row)
    {
        if (row.cells.size() > m_count)
            row.cells.erase(row.cells.begin() + m_count, row.cells.end());
    }

private:
    QVector<bool> m_wanted;
    int m_limit = TableFileReader::MaxColumns;
    int m_count = 0;
};

// The part of a reason that names a cell: "E3".
QString tableCellName(int column, int row);

// The real kind of a file whose first bytes are not a zip archive nor text: an old
// Excel workbook, a workbook with a password, another Office document. Empty when it
// is none of those.
QString compoundFileKind(QFile &file);
