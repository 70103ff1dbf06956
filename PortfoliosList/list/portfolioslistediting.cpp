// Changing a portfolio's basic data from the list: in-place renaming (through the
// delegate) and the modify dialog. Both go to the back end before store and row change.

#include "portfolioslist.h"
#include "ui_portfolioslist.h"

#include "bdportfoliomodify.h"
#include "portfolioslistpresenterclass.h"
#include "portfoliolistbasicinfo.h"
#include "tzdialog.h"
#include "veltrawidget.h"

#include <QDebug>

void PortfoliosList::storeChanged(const PortfolioDetailBasicInfo &detail)
{
    m_presenter->storeAccepted(detail);
    ui->tableWidget->updataRecordData(buildRow(detail));
    m_rowStamps.remove(detail.PortfolioNo());
    m_presenter->PutPortfolioChangedEvent(detail.PortfolioNo());
}

QString PortfoliosList::modifyPortfolioName(PortfolioDetailBasicInfo &baseInfo)
{
    const PortfolioDetailBasicInfo *stored =
        PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(baseInfo.PortfolioNo());
    const QString what = QStringLiteral("重命名组合") + portfolioLabel(stored ? stored->Name() : QString(),
                                                                 baseInfo.PortfolioNo())
        + QStringLiteral("为「") + baseInfo.Name() + QStringLiteral("」");
    QString rc;
    if (!m_presenter)
        rc = QStringLiteral("后台未连接");
    else if (const QString strategy = m_presenter->ensureStrategy(baseInfo); strategy != QLatin1String("0"))
        rc = QStringLiteral("修改策略信息失败，错误原因：") + strategy;
    else if (const QString alter = m_presenter->AlterPortfolio(baseInfo, false); alter != QLatin1String("0"))
        rc = QStringLiteral("修改组合信息失败，错误原因：") + alter;
    if (!rc.isEmpty()) {
        reportCommand(what, rc);
        return rc;
    }
    storeChanged(baseInfo);
    reportCommand(what);
    return QStringLiteral("0");
}

void PortfoliosList::slotModifyPortfolioLst(PortfolioDetailBasicInfo detailInfo)
{
    m_lastModifyOk = false;
    if (!m_presenter)
        return;
    const QString what = QStringLiteral("修改组合") + portfolioLabel(detailInfo.Name(), detailInfo.PortfolioNo());
    QString rc = m_presenter->ensureStrategy(detailInfo);
    if (rc != QLatin1String("0")) {
        reportCommand(what, QStringLiteral("创建组合关联策略标签失败：") + rc);
        VeltraWidget::ShowTipMsgBox(QStringLiteral("创建组合关联策略标签失败。错误代码：") + rc, this);
        return;
    }
    rc = m_presenter->AlterPortfolio(detailInfo, false);
    if (rc != QLatin1String("0")) {
        reportCommand(what, rc);
        VeltraWidget::ShowTipMsgBox(QStringLiteral("修改组合信息失败，错误原因：") + rc, this);
        return;
    }
    storeChanged(detailInfo);
    reportCommand(what);
    m_lastModifyOk = true;
}

void PortfoliosList::on_pushButton_modfiy_clicked()
{
    const QModelIndex current = ui->tableWidget->currentIndex();
    if (!current.isValid()) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("请单击表格某一行！"), this);
        return;
    }
    const QString no = ui->tableWidget->getRowData(current.row()).value(8).value(RecordRole::display).toString();
    PortfolioDetailBasicInfo *stored = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(no);
    if (!stored)
        return;
    TzDialog dialog(this);
    dialog.setTitle(QStringLiteral("修改组合"));
    dialog.setResizable(false);
    auto *body = new BDPortfolioModify(&dialog);
    body->setDetail(*stored);
    dialog.setBody(body);
    connect(body, &BDPortfolioModify::signalModifyPortfolioData, this, [this, &dialog](PortfolioDetailBasicInfo d) {
        slotModifyPortfolioLst(d);
        if (m_lastModifyOk)
            dialog.accept();
    });
    connect(body, &BDPortfolioModify::singnalPushBtnClose, &dialog, [&dialog](bool) { dialog.reject(); });
    dialog.exec();
}
