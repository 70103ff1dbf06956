#pragma once

#include "tzplatform_global.h"

#include <QString>
#include <QVariantMap>

class CUnPackMessageCommon;

// One request of the login user to the back end, waited for on the calling thread
// (any thread but the bus thread). True with the answer's reader when the back end
// answered with success; otherwise error holds the text to show: "请求超时" on a
// time-out, the transport's failure, or the back end's textDescription.
TZPLATFORM_EXPORT bool BusQuery(const QString &sourceId, const QString &type, CUnPackMessageCommon &answer,
                                QString &error, const QVariantMap &fields = QVariantMap());

// The rows of a paged query: asks page after page (RequestField::pageSize and
// positionStr) until the back end says there are no more, and appends every row.
TZPLATFORM_EXPORT bool BusQueryAllPages(const QString &sourceId, const QString &type, const QVariantMap &fields,
                                        int pageSize, QList<QVariantMap> &rows, QString &error);
