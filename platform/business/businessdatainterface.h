#pragma once

#include "tzplatform_global.h"

#include <QList>
#include <QString>
#include <QVariant>
#include <QVariantMap>

class TzPresenterClass;

// Business data services that talk to the back end on behalf of a presenter.
class TZPLATFORM_EXPORT BusinessDataInterface
{
public:
    // Subscribes (or releases) level-1 quotes of the symbols for the presenter's client;
    // the records then arrive as "MDMARKETRECORD" messages to presenters that subscribed
    // to that type. symbols is one symbol text, a QStringList or a QVariantList of texts.
    // quoteType and quoteLevel name the data category and depth the caller wants; the
    // feed of this platform has one category, level-1 snapshots, and serves it for every
    // value. Subscriptions are reference counted on the back end: every subscribe needs
    // its unsubscribe. Returns "0", or the text naming the symbols that are unknown (the
    // known ones are still subscribed) or why nothing could be sent.
    static QString SubscribeSecurityQuotation(TzPresenterClass *receiver, const QVariant &symbols,
                                              int quoteType, int quoteLevel);
    static QString UnSubscribeSecurityQuotation(TzPresenterClass *receiver, const QVariant &symbols,
                                                int quoteType, int quoteLevel);

    // The positions of a trading account (the fund account is accepted too), all of its
    // security accounts, or only securityAccount / market when given. Blocks until the
    // back end has answered every page. Each position carries the back end's fields
    // (AccountField::, RequestField::securityID and securityExchange) and
    // Security::symbol, empty when the security is unknown here. Returns "0", or the text
    // to show.
    static QString GetPositionListByAccount(const QString &tradingAccount, const QString &securityAccount,
                                            const QString &market, QList<QVariantMap> &positions,
                                            const QString &sourceId = QStringLiteral("platform"));
};
