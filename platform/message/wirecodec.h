#pragma once

#include "tzplatform_global.h"

#include <QByteArray>
#include <QList>
#include <QVariant>
#include <QVariantMap>

// CBOR encoding of message bodies and envelopes.
namespace WireCodec {
TZPLATFORM_EXPORT QByteArray encodeBody(const QVariantMap &header, const QList<QVariantMap> &rows);
TZPLATFORM_EXPORT bool decodeBody(const QByteArray &cbor, QVariantMap &header, QList<QVariantMap> &rows);
TZPLATFORM_EXPORT QVariant bodyToVariant(const QVariantMap &header, const QList<QVariantMap> &rows);
TZPLATFORM_EXPORT bool variantToBody(const QVariant &v, QVariantMap &header, QList<QVariantMap> &rows);
}
