#pragma once

#include <QJsonObject>
#include <QString>

// The extension description of a portfolio: a JSON object of portfolio-level attributes
// (portfolio type, algorithm parameters, ...) kept as compact text.
namespace PortfolioExtension {

// Parses extension text; empty text is an empty object. Returns false when the text is
// not a JSON object.
bool parse(const QString &text, QJsonObject *object);

// Compact text of an extension object.
QString toText(const QJsonObject &object);

// 1 when the extension carries a non-empty algorithm parameter object, else 0.
int paramType(const QJsonObject &object);
int paramTypeOfText(const QString &text);

}
