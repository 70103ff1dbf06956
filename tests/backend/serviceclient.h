#pragma once

// A client of the back-end service as a transport would present it: request frames go
// in through onClientFrame, answers and notifications come back through frameToClient.

#include "backendservice.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "embeddedbackend.h"
#include "fieldkeys.h"
#include "msgtypes.h"

#include <QElapsedTimer>
#include <QHash>
#include <QTest>

// What came back for one request.
struct Reply
{
    bool answered = false;
    CMessageCommon message;
    CUnPackMessageCommon body;

    bool ok() const
    {
        return answered && body.GetValue(RequestField::requestExeStatus) == RequestExeStatus::success;
    }
    QString text() const { return body.GetValue(RequestField::textDescription).toString(); }
    QString value(const QString &key) const { return body.GetValue(key).toString(); }
    QString next() const { return value(RequestField::positionStr); }
    QList<QVariantMap> rows() const { return body.rows(); }
};

class ServiceClient : public QObject
{
public:
    explicit ServiceClient(EmbeddedBackend &backend)
        : m_service(backend.service())
        , m_id(backend.newClientId())
    {
        connect(m_service, &BackendService::frameToClient, this, [this](quint64 clientId, const QByteArray &frame) {
            if (clientId != m_id)
                return;
            CMessageCommon message;
            QVERIFY(message.fromWire(frame));
            QCOMPARE(message.GetSrcid(), QStringLiteral("backend"));
            if (message.kind() == CMessageCommon::Answer)
                m_answers.insert(message.requestId(), message);
            else
                events.append(message);
        });
    }

    quint64 id() const { return m_id; }
    QList<CMessageCommon> events;  // notifications, in arrival order

    quint64 send(const QString &type, const CPackMessageCommon &body)
    {
        sendRaw(CMessageCommon::request(++m_lastRequestId, QStringLiteral("client"), type, body.GetPackedMsg())
                    .toWire());
        return m_lastRequestId;
    }
    void sendRaw(const QByteArray &frame)
    {
        BackendService *service = m_service;
        const quint64 id = m_id;
        QMetaObject::invokeMethod(service, [service, id, frame] { service->onClientFrame(id, frame); },
                                  Qt::QueuedConnection);
    }
    Reply wait(quint64 requestId, int timeoutMs = 5000)
    {
        static_cast<void>(QTest::qWaitFor([&] { return m_answers.contains(requestId); }, timeoutMs));
        Reply reply;
        if (m_answers.contains(requestId)) {
            reply.answered = true;
            reply.message = m_answers.take(requestId);
            reply.body.SetUnPackMsg(reply.message.GetMsg());
        }
        return reply;
    }
    bool hasAnswer(quint64 requestId) const { return m_answers.contains(requestId); }
    Reply request(const QString &type, const CPackMessageCommon &body, int timeoutMs = 5000)
    {
        return wait(send(type, body), timeoutMs);
    }
    Reply request(const QString &type, const QVariantMap &fields = {})
    {
        CPackMessageCommon body;
        for (auto it = fields.cbegin(); it != fields.cend(); ++it)
            body.AddVaule(it.key(), it.value());
        return request(type, body);
    }
    Reply login(const QString &user) { return request(MsgType::loginRequest, {{RequestField::userID, user}}); }
    // Every page of a paged query; *pages counts the answers. Empty on a failure.
    QList<QVariantMap> allPages(const QString &type, QVariantMap fields, int *pages = nullptr)
    {
        QList<QVariantMap> rows;
        int count = 0;
        do {
            const Reply reply = request(type, fields);
            if (!reply.ok() || ++count > 100)
                return {};
            rows += reply.rows();
            fields.insert(RequestField::positionStr, reply.next());
        } while (!fields.value(RequestField::positionStr).toString().isEmpty());
        if (pages)
            *pages = count;
        return rows;
    }

private:
    BackendService *m_service;
    quint64 m_id;
    quint64 m_lastRequestId = 0;
    QHash<quint64, CMessageCommon> m_answers;
};
