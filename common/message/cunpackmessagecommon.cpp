#include "cunpackmessagecommon.h"
#include "wirecodec.h"

#include <QJsonDocument>

bool CUnPackMessageCommon::SetUnPackMsg(const QVariant &msg, bool bJson)
{
    m_header.clear();
    m_rows.clear();
    m_current = -1;
    bool ok = false;
    if (bJson) {
        const QVariant v = QJsonDocument::fromJson(msg.toString().toUtf8()).toVariant();
        ok = WireCodec::variantToBody(v, m_header, m_rows);
    } else if (msg.type() == QVariant::Map) {
        ok = WireCodec::variantToBody(msg, m_header, m_rows);
    } else {
        ok = WireCodec::decodeBody(msg.toByteArray(), m_header, m_rows);
    }
    if (!ok) {
        m_header.clear();
        m_rows.clear();
    }
    if (!m_rows.isEmpty())
        m_current = 0;
    return ok;
}

QVariant CUnPackMessageCommon::GetValue(const QString &key, const QVariant &defaultValue) const
{
    return m_header.value(key, defaultValue);
}

bool CUnPackMessageCommon::SetCurrentRow(int n)
{
    if (n < 0 || n >= m_rows.size())
        return false;
    m_current = n;
    return true;
}

QVariantMap CUnPackMessageCommon::GetRowValue() const
{
    if (m_current < 0 || m_current >= m_rows.size())
        return QVariantMap();
    return m_rows.at(m_current);
}

QVariant CUnPackMessageCommon::GetRowValue(const QString &key, const QVariant &defaultValue) const
{
    if (m_current < 0 || m_current >= m_rows.size())
        return defaultValue;
    return m_rows.at(m_current).value(key, defaultValue);
}
