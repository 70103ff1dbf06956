#pragma once

#include "tzplatform_global.h"

#include <QString>
#include <QStringList>
#include <memory>

class QFile;

// One row of a table file: the cell texts from column A on (a cell that is absent or
// empty is an empty text) and the row number the spreadsheet shows for it (1-based).
struct TableRow
{
    int number = 0;
    QStringList cells;
};

// Reads the rows of a user's table file one at a time. Two formats are understood:
// - .xlsx: the first sheet of the workbook, read in chunks straight from the zip entry,
//   so the sheet never sits in memory whole; numbers come back as the user typed them
//   (600519, not 6.00519E5), shared and inline strings as their text.
// - .csv: UTF-8 with or without a byte order mark, or GB18030 (what Excel writes on a
//   Chinese system); fields may be quoted, with doubled quotes and line breaks inside.
//   The encoding can only be told from all of the bytes, so the file (at most
//   MaxFileBytes) is decoded at once and its rows are then cut one at a time.
// Every fault comes back as a reason in Chinese that can be shown to the user as is.
class TZPLATFORM_EXPORT TableFileReader
{
public:
    // Files larger than this are refused before anything is read.
    static constexpr qint64 MaxFileBytes = qint64(64) * 1024 * 1024;

    explicit TableFileReader(const QString &path);
    ~TableFileReader();
    TableFileReader(const TableFileReader &) = delete;
    TableFileReader &operator=(const TableFileReader &) = delete;

    // Checks the file and gets ready to read its first row. False with errorString()
    // when the file is missing, unreadable, too large, of another type or damaged.
    bool open();

    // The next row, empty rows included. False at the end of the table, and on a fault
    // found on the way (errorString() is then non-empty).
    bool readRow(TableRow &row);

    QString errorString() const { return m_error; }

    // Whether the reader understands files with the extension of this path.
    static bool isSupported(const QString &path);

    // The format-specific part, defined where the formats are read.
    class Source;

private:
    QString m_path;
    QString m_error;
    // Declared first so that it outlives the source, which reads from it.
    std::unique_ptr<QFile> m_file;
    std::unique_ptr<Source> m_source;
};
