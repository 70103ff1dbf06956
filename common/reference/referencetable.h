#pragma once

#include "tzcommon_global.h"

#include <QHash>
#include <QList>
#include <QStringList>

// One reference file of the data folder: CSV in UTF-8 with a header line and no quoted
// fields, as the shipped market lists are written.
class TZCOMMON_EXPORT ReferenceTable
{
public:
    // Reads a file; a relative name is taken in the data folder. False with the reason
    // when it cannot be opened.
    bool load(const QString &fileName, QString *error = nullptr);

    const QStringList &header() const { return m_header; }
    // The cells of each non-empty data line, trimmed.
    const QList<QStringList> &rows() const { return m_rows; }
    // The rows as maps from column name to cell.
    QList<QHash<QString, QString>> records() const;

private:
    QStringList m_header;
    QList<QStringList> m_rows;
};
