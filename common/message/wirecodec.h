#pragma once

#include "tzcommon_global.h"

#include <QByteArray>
#include <QList>
#include <QVariant>
#include <QVariantMap>

// CBOR encoding of message bodies and envelopes.
namespace WireCodec {
TZCOMMON_EXPORT QByteArray encodeBody(const QVariantMap &header, const QList<QVariantMap> &rows);
TZCOMMON_EXPORT bool decodeBody(const QByteArray &cbor, QVariantMap &header, QList<QVariantMap> &rows);
TZCOMMON_EXPORT QVariant bodyToVariant(const QVariantMap &header, const QList<QVariantMap> &rows);
TZCOMMON_EXPORT bool variantToBody(const QVariant &v, QVariantMap &header, QList<QVariantMap> &rows);
}
