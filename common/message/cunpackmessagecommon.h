#pragma once

#include "tzcommon_global.h"

#include <QList>
#include <QVariant>
#include <QVariantMap>

// Reads a message body packed by CPackMessageCommon: header fields by key, rows by index.
class TZCOMMON_EXPORT CUnPackMessageCommon
{
public:
    // Takes a packed body (CBOR bytes, or JSON text when bJson is true). Also accepts a
    // body that is already a map ({"h":..., "r":...}) as handed over inside the process.
    // Returns false when the body cannot be read; the reader is then empty.
    bool SetUnPackMsg(const QVariant &msg, bool bJson = false);

    QVariant GetValue(const QString &key, const QVariant &defaultValue = QVariant()) const;
    int GetRowCount() const { return m_rows.size(); }
    // Selects the row that GetRowValue reads; false when n is out of range.
    bool SetCurrentRow(int n);
    QVariantMap GetRowValue() const;
    QVariant GetRowValue(const QString &key, const QVariant &defaultValue = QVariant()) const;

    const QVariantMap &header() const { return m_header; }
    const QList<QVariantMap> &rows() const { return m_rows; }

private:
    QVariantMap m_header;
    QList<QVariantMap> m_rows;
    int m_current = -1;
};
