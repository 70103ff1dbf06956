#include "portparsecreatethread.h"

#include "fieldkeys.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioslistpresenterclass.h"
#include "veltrautils.h"

#include <QDateTime>
#include <QDebug>
#include <QFileInfo>

namespace {

// Refusals go to the panel as emergencies of the portfolio menu: a file the trader
// expected to become a basket did not.
void report(const QString &text)
{
    qInfo().noquote() << text;
    VeltraUtils::PutBusiMsg(BusiMsgLevel::Emergency, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu, text,
                            QStringLiteral("1017"), QStringLiteral("E001"));
}

} // namespace

PortParseCreateThread::PortParseCreateThread(PortfoliosListPresenterClass *presenter)
    : m_presenter(presenter)
{
}

PortParseCreateThread::~PortParseCreateThread()
{
    stopThread();
}

void PortParseCreateThread::enqueue(const QString &path)
{
    {
        QMutexLocker lock(&m_mutex);
        m_queue.append(path);
    }
    m_semaphore.release();
}

int PortParseCreateThread::queued() const
{
    QMutexLocker lock(&m_mutex);
    return m_queue.size();
}

void PortParseCreateThread::run()
{
    while (keepRunning()) {
        m_semaphore.acquire();
        if (!keepRunning())
            break;
        QString path;
        {
            QMutexLocker lock(&m_mutex);
            if (m_queue.isEmpty())
                continue;
            path = m_queue.takeFirst();
        }
        const QString portNo = createFrom(path);
        emit signalFileParseFinished(path, portNo);
        QThread::msleep(50);
    }
}

QString PortParseCreateThread::createFrom(const QString &path)
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items = store->GetPortItemListFromFile(path, error, extension);
    // Nobody is there to confirm a basket that lost some of its lines: a file with any
    // refused line is refused whole, as one with none readable.
    if (items.isEmpty() || !error.isEmpty()) {
        if (error.isEmpty())
            error = QStringLiteral("文件中没有组合明细");
        else if (!items.isEmpty())
            error = QStringLiteral("自动导入不导入部分明细，整个文件未导入。") + error;
        report(QStringLiteral("组合自动导入失败，文件名：%1，原因：%2").arg(path, error));
        return QString();
    }

    const QString name = QFileInfo(path).completeBaseName();
    QString freeName;
    if (name.trimmed().isEmpty() || store->CheckPortfolioName(name, freeName)) {
        const QString reason = name.trimmed().isEmpty() ? QStringLiteral("文件名不能作为组合名称")
                                                        : QStringLiteral("组合名称%1已存在").arg(name);
        report(QStringLiteral("组合自动导入失败，文件名：%1，%2").arg(path, reason));
        return QString();
    }

    PortfolioDetailBasicInfo detail;
    detail.setName(name);
    detail.setStrategyName(QStringLiteral("默认"));
    detail.setSymbolList(items);
    detail.setExtensionDescription(extension);
    detail.setCreateDate(QDateTime::currentDateTime());
    detail.setPortFilePath(path);
    detail.CalculateWeight();

    const QString rc = m_presenter->AddPortfolioAndStore(detail);
    if (rc != QLatin1String("0")) {
        report(QStringLiteral("组合自动导入失败，文件名：%1，原因：%2").arg(path, rc));
        return QString();
    }
    qInfo().noquote() << QStringLiteral("组合自动导入新增组合成功，文件名：%1，组合号：%2").arg(path, detail.PortfolioNo());
    return detail.PortfolioNo();
}
