#include "busquery.h"

#include "cbusinessdatabase.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "fieldkeys.h"
#include "messagebus.h"

bool BusQuery(const QString &sourceId, const QString &type, CUnPackMessageCommon &answer, QString &error,
              const QVariantMap &fields)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount());
    body.AddVaule(RequestField::msgType, type);
    for (auto it = fields.cbegin(); it != fields.cend(); ++it)
        body.AddVaule(it.key(), it.value());
    CMessageCommon message;
    message.SetSrcid(sourceId);
    message.SetType(type);
    message.SetMsg(body.GetPackedMsg(false));
    QVariant reply;
    const int rc = MessageBus::instance()->request(message, reply, MessageBus::defaultTimeoutMs());
    if (rc == MessageBus::TimedOut) {
        error = QStringLiteral("请求超时");
        return false;
    }
    if (rc != MessageBus::Answered) {
        error = QStringLiteral("请求发送失败，错误代码：%1").arg(rc);
        return false;
    }
    if (!answer.SetUnPackMsg(reply)) {
        error = QStringLiteral("后台应答无法解析");
        return false;
    }
    if (answer.GetValue(RequestField::requestExeStatus).toString() != RequestExeStatus::success) {
        error = answer.GetValue(RequestField::textDescription).toString();
        return false;
    }
    return true;
}

bool BusQueryAllPages(const QString &sourceId, const QString &type, const QVariantMap &fields, int pageSize,
                      QList<QVariantMap> &rows, QString &error)
{
    QString position;
    for (;;) {
        CUnPackMessageCommon page;
        QVariantMap pageFields = fields;
        pageFields.insert(RequestField::pageSize, pageSize);
        pageFields.insert(RequestField::positionStr, position);
        if (!BusQuery(sourceId, type, page, error, pageFields))
            return false;
        rows.append(page.rows());
        const QString next = page.GetValue(RequestField::positionStr).toString();
        // A back end that hands back the same position would page forever.
        if (next.isEmpty() || next == position || page.GetRowCount() == 0)
            return true;
        position = next;
    }
}
