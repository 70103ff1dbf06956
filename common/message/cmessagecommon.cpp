#include "cmessagecommon.h"

#include <QCborMap>
#include <QCborValue>

namespace {
const QString kSrc = QStringLiteral("s");
const QString kType = QStringLiteral("t");
const QString kMsg = QStringLiteral("m");
const QString kKind = QStringLiteral("k");
const QString kRequest = QStringLiteral("q");
}

QByteArray CMessageCommon::toWire() const
{
    QCborMap map;
    map.insert(kSrc, m_srcid);
    map.insert(kType, QCborValue::fromVariant(m_type));
    map.insert(kMsg, QCborValue::fromVariant(m_msg));
    map.insert(kKind, int(m_kind));
    if (m_requestId != 0)
        map.insert(kRequest, qint64(m_requestId));
    return QCborValue(map).toCbor();
}

bool CMessageCommon::fromWire(const QByteArray &bytes)
{
    *this = CMessageCommon();
    QCborParserError error;
    const QCborValue value = QCborValue::fromCbor(bytes, &error);
    if (error.error != QCborError::NoError || !value.isMap())
        return false;
    const QCborMap map = value.toMap();
    const qint64 kind = map.value(kKind).toInteger(-1);
    if (kind < Request || kind > Push || !map.contains(kType))
        return false;
    m_srcid = map.value(kSrc).toString();
    m_type = map.value(kType).toVariant();
    m_msg = map.value(kMsg).toVariant();
    m_kind = Kind(kind);
    m_requestId = quint64(map.value(kRequest).toInteger(0));
    return true;
}
