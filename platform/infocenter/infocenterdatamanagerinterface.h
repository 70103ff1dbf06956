#pragma once

#include "tzplatform_global.h"

#include <QMap>
#include <QString>
#include <QStringList>

// Shenwan (2021) industry classification of the listed stocks the client knows.
// init() loads it in the background, once; until it is ready every look-up is empty.
// A look-up never sees a half-loaded classification. Every member is thread-safe.
//
// Codes: level 2 has four digits ("4803"), level 3 six ("480301").
class TZPLATFORM_EXPORT InfoCenterDataManagerInterface
{
public:
    // Starts loading; later calls do nothing.
    static void init();
    static bool isReady();
    // Blocks until ready or the time-out passes; a negative time-out waits without
    // limit. False at once when init() has not been called.
    static bool waitUntilReady(int timeoutMs);

    // Security symbol ("600036.SH") -> its level-3 industry code. Listed securities only.
    static QMap<QString, QString> getSymbolIndustryInfoMap();
    // Level-3 code -> name.
    static QMap<QString, QString> getTriLevelCodeAndNameMap();
    // Level-2 code -> name.
    static QMap<QString, QString> getSecLevelCodeAndNameMap();
    // Level-3 code -> the level-2 code it belongs to.
    static QMap<QString, QString> getTriToSecLevelMap();
    // Symbols of all securities in a level-2 or level-3 industry, sorted.
    static QStringList getSymbolsOfIndustry(const QString &levelCode);
};
