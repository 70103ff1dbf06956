#pragma once

#include "tzplatform_global.h"

#include <QByteArray>
#include <QObject>

// A link from this client to a back end. Lives on the bus thread; every call is made
// there and every signal is emitted there.
class TZPLATFORM_EXPORT Transport : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    virtual QString describe() const = 0;

public slots:
    virtual void open() = 0;
    virtual void send(const QByteArray &frame) = 0;

signals:
    void frameReceived(const QByteArray &frame);
    void stateChanged(bool connected, const QString &text);
};
