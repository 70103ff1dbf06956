#include "portfolioordermgr.h"

#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "fieldkeys.h"
#include "messagebus.h"
#include "msgtypes.h"

#include <QDebug>

PortfolioOrderMgr *PortfolioOrderMgr::GetInstance()
{
    static PortfolioOrderMgr instance;
    return &instance;
}

bool PortfolioOrderMgr::GetBatchNosState(const QString &portfolioNo)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::portfolioNo, portfolioNo);
    body.AddVaule(RequestField::msgType, MsgType::queryBatchStateRequest);
    CMessageCommon message;
    message.SetSrcid(QStringLiteral("PortfolioOrderMgr"));
    message.SetType(MsgType::queryBatchStateRequest);
    message.SetMsg(body.GetPackedMsg(false));
    QVariant reply;
    const int rc = MessageBus::instance()->request(message, reply, MessageBus::defaultTimeoutMs());
    CUnPackMessageCommon answer;
    if (rc != 0 || !answer.SetUnPackMsg(reply)
        || answer.GetValue(RequestField::requestExeStatus).toString() != RequestExeStatus::success) {
        qInfo() << "PortfolioOrderMgr::GetBatchNosState no answer for" << portfolioNo << "rc" << rc
                << answer.GetValue(RequestField::textDescription).toString();
        return false;
    }
    return answer.GetValue(RequestField::batchFinished).toBool();
}
