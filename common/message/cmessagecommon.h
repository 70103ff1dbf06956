#pragma once

#include "tzcommon_global.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

// The envelope of everything on the bus: who sent it, its type, the packed body and,
// for requests and their answers, the request id that pairs them.
class TZCOMMON_EXPORT CMessageCommon
{
public:
    enum Kind : int { Request = 0, Answer = 1, Event = 2, Push = 3 };

    CMessageCommon() = default;
    virtual ~CMessageCommon() = default;
    // A request envelope: from `srcid`, of `type`, with the packed body; id 0 asks for
    // no answer.
    static CMessageCommon request(quint64 requestId, const QString &srcid, const QVariant &type,
                                  const QVariant &msg)
    {
        CMessageCommon message;
        message.m_requestId = requestId;
        message.m_srcid = srcid;
        message.m_type = type;
        message.m_msg = msg;
        return message;
    }

    void SetSrcid(const QString &srcid) { m_srcid = srcid; }
    void SetType(const QVariant &type) { m_type = type; }
    void SetMsg(const QVariant &msg) { m_msg = msg; }

    QString GetSrcid() const { return m_srcid; }
    QVariant GetType() const { return m_type; }
    QVariant GetMsg() const { return m_msg; }

    Kind kind() const { return m_kind; }
    void setKind(Kind kind) { m_kind = kind; }
    quint64 requestId() const { return m_requestId; }
    void setRequestId(quint64 id) { m_requestId = id; }

    // CBOR encoding of the whole envelope, and back. fromWire returns false on bytes
    // that are not an envelope; the message is then left empty.
    QByteArray toWire() const;
    bool fromWire(const QByteArray &bytes);

private:
    QString m_srcid;
    QVariant m_type;
    QVariant m_msg;
    Kind m_kind = Request;
    quint64 m_requestId = 0;
};
