#pragma once

#include "tzcommon_global.h"

#include <QList>
#include <QVariant>
#include <QVariantMap>

// Builds a message body: a header of named fields plus an ordered list of rows.
// On the wire the body is CBOR: {"h": {header}, "r": [{row}, ...]}.
class TZCOMMON_EXPORT CPackMessageCommon
{
public:
    void AddVaule(const QString &key, const QVariant &value);
    // Opens a new, empty row; AddRowVaule fills the row opened last.
    void AddRow();
    void AddRowVaule(const QVariantMap &values);
    void AddRowVaule(const QString &key, const QVariant &value);

    // The packed body. With bJson false it is the CBOR encoding (a QByteArray), which is
    // what travels; with bJson true it is indented JSON text, meant for logs.
    QVariant GetPackedMsg(bool bJson = false) const;

    const QVariantMap &header() const { return m_header; }
    const QList<QVariantMap> &rows() const { return m_rows; }

private:
    QVariantMap m_header;
    QList<QVariantMap> m_rows;
};
