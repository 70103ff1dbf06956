#include "portfolioextension.h"

#include "fieldkeys.h"

#include <QJsonDocument>
#include <QJsonParseError>

namespace PortfolioExtension {

bool parse(const QString &text, QJsonObject *object)
{
    if (text.trimmed().isEmpty()) {
        *object = QJsonObject();
        return true;
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return false;
    *object = doc.object();
    return true;
}

QString toText(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

int paramType(const QJsonObject &object)
{
    const QJsonValue algo = object.value(Portfolio::algoParam);
    return algo.isObject() && !algo.toObject().isEmpty() ? 1 : 0;
}

int paramTypeOfText(const QString &text)
{
    QJsonObject object;
    return parse(text, &object) ? paramType(object) : 0;
}

}
