#pragma once

#include "tablefilereader_p.h"

// Rows of a text table, as RFC 4180 has them but with the encodings and separators that
// spreadsheet programs really write.
//
// The encoding is told from the whole file: a byte order mark (UTF-8, UTF-16, GB18030)
// decides; without one, UTF-16 shows by its zero bytes, and UTF-8 is taken when its
// multi-byte sequences far outnumber the bytes that are no UTF-8, so that one damaged
// byte in a UTF-8 file spoils one cell instead of every Chinese text of the file;
// otherwise GB18030, which Excel on a Chinese system writes. A cell that holds bytes
// that are no text in the chosen encoding is reported as undecodable. The separator is
// the one of comma, tab and semicolon that splits the first non-blank line into a
// "证券代码" cell, else the most frequent of them there.
class CsvTableSource : public TableFileReader::Source
{
public:
    bool open(QFile &file, QString &error) override;
    bool readRow(TableRow &row, QString &error) override;
    QString description() const override;
    bool decimalComma() const override { return m_separator == QLatin1Char(';'); }

    // Excel's own limit; a longer cell can only come from a damaged or hostile file.
    static constexpr int MaxCellLength = 32767;

private:
    enum Encoding { Utf8, Utf16LittleEndian, Utf16BigEndian, Gb18030 };

    static bool chooseEncoding(QFile &file, Encoding &encoding, int &mark, QString &error);
    bool decode(QFile &file, Encoding encoding, int mark, QString &error);
    QString kindOfMarkup() const;
    void chooseSeparator();

    QString m_text;
    QString m_encoding;
    QChar m_separator = QLatin1Char(',');
    bool m_undecodable = false;
    int m_pos = 0;
    int m_rowNumber = 0;
};
