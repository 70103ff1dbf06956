#pragma once

#include "tzcommon_global.h"

#include <QString>
#include <QStringList>
#include <QVector>
#include <memory>

class QFile;

// A cell whose text cannot be trusted as the value the user sees.
struct TableCellFault
{
    enum Kind {
        FormulaWithoutResult,  // the file keeps the formula but no computed value
        SeveralValues,         // the cell holds more than one value
        Undecodable,           // bytes that are no text in the file's encoding
    };
    int column;
    Kind kind;
};

// One row of a table file: the trimmed cell texts from column A on (a cell that is
// absent or empty is an empty text), up to the last column asked for, and the row number
// the spreadsheet shows for it (1-based).
struct TableRow
{
    int number = 0;
    QStringList cells;
    // Cells of the columns asked for that cannot be trusted; their text is empty.
    QVector<TableCellFault> faults;
    // Whether a column not asked for holds text (such cells are not decoded).
    bool otherText = false;
};

// Reads the rows of a user's table file one at a time. The content decides how, not
// the file name, so an .xlsx saved under a .csv name still reads as the workbook it is:
// - a workbook (.xlsx, .xlsm): the first visible worksheet, streamed from the zip entry
//   so that the sheet never sits in memory whole; every part is checked against its
//   CRC-32 and bounded in size; numbers come back as Excel shows them (600519, not
//   6.00519E5; 700, not 700.0000000000001);
// - text (.csv): UTF-8 with or without a byte order mark, UTF-16 (what Excel saves as
//   "Unicode text"), GB18030 with or without its mark (what Excel writes on a Chinese
//   system); separated by commas, semicolons or tabs, told from the header row; fields
//   may be quoted, with doubled quotes and line breaks inside. The encoding can only be
//   told from all of the bytes, so the file (at most MaxFileBytes) is decoded at once.
// Old .xls workbooks, workbooks with a password, web pages and other files are named
// for what they are. Every fault comes back as a reason in Chinese that can be shown to
// the user as is.
class TZCOMMON_EXPORT TableFileReader
{
public:
    // Files larger than this are refused before anything is read.
    static constexpr qint64 MaxFileBytes = qint64(64) * 1024 * 1024;
    // Excel's own limits; beyond them a file can only be damaged or hostile.
    static constexpr int MaxRows = 1048576;
    static constexpr int MaxColumns = 16384;

    explicit TableFileReader(const QString &path);
    ~TableFileReader();
    TableFileReader(const TableFileReader &) = delete;
    TableFileReader &operator=(const TableFileReader &) = delete;

    // Checks the file and gets ready to read its first row. False with errorString()
    // when the file is missing, unreadable, too large, of another type or damaged.
    bool open();

    // The columns (A is 0) whose cells the caller reads from the next row on; until
    // called, all of them. Other cells are not decoded; TableRow::otherText tells
    // whether any of them holds text.
    void setColumns(const QVector<int> &columns);

    // The next row, empty rows included. False at the end of the table, and on a fault
    // found on the way (errorString() is then non-empty).
    bool readRow(TableRow &row);

    QString errorString() const { return m_error; }
    // How the file is read, for messages: "Excel工作簿，工作表“明细”".
    QString formatDescription() const { return m_description; }
    // Whether a comma in a number is its decimal point (a semicolon-separated text file).
    bool decimalComma() const { return m_decimalComma; }

    // Whether the reader understands files with the extension of this path.
    static bool isSupported(const QString &path);

    // The format-specific part, defined where the formats are read.
    class Source;

private:
    QString m_path;
    QString m_error;
    QString m_description;
    bool m_decimalComma = false;
    // Declared first so that it outlives the source, which reads from it.
    std::unique_ptr<QFile> m_file;
    std::unique_ptr<Source> m_source;
};
