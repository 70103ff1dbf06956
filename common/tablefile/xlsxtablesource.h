#pragma once

#include "tablefilereader_p.h"
#include "xmlpullscanner.h"
#include "zippackage.h"

#include <QByteArray>
#include <QIODevice>
#include <QVector>
#include <memory>

// Rows of the first visible worksheet of an .xlsx or .xlsm workbook.
//
// Each cell yields exactly one value, the one its type names: the text of an inline
// string, the shared string a t="s" cell points to, else its <v>. A formula cell whose
// file keeps no computed value (no <v>, an empty one, or a workbook that asks to be
// recalculated when opened, as openpyxl, pandas and libxlsxwriter write) has no value
// to trust and is reported as such. Rows and cells must come in order, rows within
// Excel's 1,048,576.
class XlsxTableSource : public TableFileReader::Source
{
public:
    bool open(QFile &file, QString &error) override;
    bool readRow(TableRow &row, QString &error) override;
    QString description() const override;

    // Bounds on what a part may inflate to, whatever its directory entry claims.
    static constexpr qint64 MaxSmallPartBytes = qint64(8) * 1024 * 1024;
    static constexpr qint64 MaxSharedStringsBytes = qint64(32) * 1024 * 1024;
    // A basket of the most lines an import takes, 100,000, written by Excel with fifteen
    // columns, is some 55 MiB.
    static constexpr qint64 MaxSheetBytes = qint64(64) * 1024 * 1024;

private:
    enum CellType { Number, Shared, Boolean, InlineString, Text };

    QString sheetWhat() const;
    bool readPackageKind(QString &error);
    bool findSheet(QString &sheetPart, QString &sharedPart, QString &error);
    bool findPart(const QString &name, const QString &what, ZipPackage::Entry &entry,
                  QString &error);
    bool readSmallPart(const QString &name, const QString &what, QByteArray &xml,
                       QString &error);
    std::unique_ptr<QIODevice> openPart(const QString &name, qint64 limit, const QString &what,
                                        QString &error, QFile *file = nullptr);
    std::unique_ptr<QIODevice> openSheet(QFile &file, const QString &part, QString &error);
    bool readSharedStrings(const QString &part, QString &error);
    void startScanning(std::unique_ptr<QIODevice> part, const QString &what);
    bool readCell(TableRow &row, int &nextColumn, QString &error);
    bool readCellSlowly(CellType type, bool &formula, int &values, QString &error);
    bool finishSheet(QString &error);
    bool streamFault(QString &error);
    bool damaged(QString &error, const QString &reason);

    std::unique_ptr<ZipPackage> m_zip;
    std::unique_ptr<QIODevice> m_part;  // the part being streamed; one at a time
    std::unique_ptr<XmlPullScanner> m_scan;
    QString m_partWhat;
    QString m_sheetName;
    QVector<QString> m_shared;
    QByteArray m_value;
    QByteArray m_inline;
    bool m_recalculatedOnOpen = false;
    bool m_inSheetData = false;
    bool m_done = false;
    int m_lastRow = 0;
};
