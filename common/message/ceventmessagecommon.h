#pragma once

#include "cmessagecommon.h"

// An event put from one page to the other pages of the client (PutEvent), or pushed by
// the back end. The type is the numeric event id or notification type.
class TZCOMMON_EXPORT CEventMessageCommon : public CMessageCommon
{
public:
    CEventMessageCommon() { setKind(Event); }
    CEventMessageCommon(const QString &srcid, const QVariant &type, const QVariant &msg)
    {
        setKind(Event);
        SetSrcid(srcid);
        SetType(type);
        SetMsg(msg);
    }
};
