#include "cpackmessagecommon.h"
#include "wirecodec.h"

#include <QJsonDocument>

void CPackMessageCommon::AddVaule(const QString &key, const QVariant &value)
{
    m_header.insert(key, value);
}

void CPackMessageCommon::AddRow()
{
    m_rows.append(QVariantMap());
}

void CPackMessageCommon::AddRowVaule(const QVariantMap &values)
{
    if (m_rows.isEmpty())
        m_rows.append(QVariantMap());
    QVariantMap &row = m_rows.last();
    if (row.isEmpty()) {
        row = values;  // a new row takes the map as it is, shared, not key by key
        return;
    }
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        row.insert(it.key(), it.value());
}

void CPackMessageCommon::AddRowVaule(const QString &key, const QVariant &value)
{
    if (m_rows.isEmpty())
        m_rows.append(QVariantMap());
    m_rows.last().insert(key, value);
}

QVariant CPackMessageCommon::GetPackedMsg(bool bJson) const
{
    if (bJson)
        return QString::fromUtf8(QJsonDocument::fromVariant(WireCodec::bodyToVariant(m_header, m_rows))
                                     .toJson(QJsonDocument::Indented));
    return WireCodec::encodeBody(m_header, m_rows);
}
