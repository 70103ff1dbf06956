#include "wirecodec.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborStreamReader>
#include <QCborValue>

namespace {
const QString kHeader = QStringLiteral("h");
const QString kRows = QStringLiteral("r");
}

namespace WireCodec {

QByteArray encodeBody(const QVariantMap &header, const QList<QVariantMap> &rows)
{
    QCborMap body;
    body.insert(kHeader, QCborMap::fromVariantMap(header));
    if (!rows.isEmpty()) {
        QCborArray array;
        for (const QVariantMap &row : rows)
            array.append(QCborMap::fromVariantMap(row));
        body.insert(kRows, array);
    }
    return QCborValue(body).toCbor();
}

bool decodeBody(const QByteArray &cbor, QVariantMap &header, QList<QVariantMap> &rows)
{
    if (cbor.isEmpty())
        return false;
    QCborParserError error;
    const QCborValue value = QCborValue::fromCbor(cbor, &error);
    if (error.error != QCborError::NoError || !value.isMap())
        return false;
    const QCborMap body = value.toMap();
    header = body.value(kHeader).toMap().toVariantMap();
    const QCborArray array = body.value(kRows).toArray();
    rows.reserve(array.size());
    for (const QCborValue &row : array)
        rows.append(row.toMap().toVariantMap());
    return true;
}

QVariant bodyToVariant(const QVariantMap &header, const QList<QVariantMap> &rows)
{
    QVariantList list;
    list.reserve(rows.size());
    for (const QVariantMap &row : rows)
        list.append(row);
    return QVariantMap{{kHeader, header}, {kRows, list}};
}

bool variantToBody(const QVariant &v, QVariantMap &header, QList<QVariantMap> &rows)
{
    if (v.type() != QVariant::Map)
        return false;
    const QVariantMap map = v.toMap();
    if (!map.contains(kHeader))
        return false;
    header = map.value(kHeader).toMap();
    const QVariantList list = map.value(kRows).toList();
    for (const QVariant &row : list)
        rows.append(row.toMap());
    return true;
}

} // namespace WireCodec
