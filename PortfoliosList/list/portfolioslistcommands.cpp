// Commands of the portfolio list: the common add path, file import, copy, delete,
// reorder, template download, one-key liquidation and the clipboard question. Every
// command asks the back end first and changes store and table only on success.

#include "portfolioslist.h"
#include "positionportfolioadd.h"
#include "ui_portfolioslist.h"

#include "bdportfolioadd.h"
#include "bdportfoliomodify.h"
#include "cbusinessdatabase.h"
#include "fieldkeys.h"
#include "portfolioordermgr.h"
#include "portfolioslistpresenterclass.h"
#include "portfoliolistbasicinfo.h"
#include "tzdialog.h"
#include "veltrautils.h"
#include "veltrawidget.h"

#include <QDebug>
#include <QMenu>
#include <QTimer>

namespace {
constexpr int kNumberColumn = 8;
constexpr int kDetailColumn = 12;
constexpr int kMaxNameLength = 25;

QString numberOf(const RowRecord &row)
{
    return row.value(kNumberColumn).value(RecordRole::display).toString();
}

// The panel label of a stored portfolio known by its number.
QString labelOf(const QString &portfolioNo)
{
    const PortfolioDetailBasicInfo *detail = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(portfolioNo);
    return PortfoliosList::portfolioLabel(detail ? detail->Name() : QString(), portfolioNo);
}
}

QString PortfoliosList::panelText(const QString &text)
{
    constexpr int kLongest = 300;
    QString line = text.simplified();
    line.replace(QStringLiteral(" ；"), QStringLiteral("；"));
    return line.size() > kLongest ? line.left(kLongest) + QStringLiteral("…") : line;
}

QString PortfoliosList::portfolioLabel(const QString &name, const QString &portfolioNo)
{
    QString label = QStringLiteral("「") + name + QStringLiteral("」");
    if (!portfolioNo.isEmpty())
        label += QStringLiteral("（组合号 ") + portfolioNo + QStringLiteral("）");
    return label;
}

void PortfoliosList::reportCommand(const QString &what, const QString &failure)
{
    if (failure.isEmpty())
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Info, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                what + QStringLiteral("：成功"));
    else
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Warning, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                what + QStringLiteral("：失败，") + panelText(failure));
}

QString PortfoliosList::fittingFreeName(const QString &name) const
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QString free;
    if (name.size() <= kMaxNameLength && !store->CheckPortfolioName(name, free))
        return name;
    // As the store's rule, the smallest free number, with the name cut to make room.
    for (int n = 1;; ++n) {
        const QString number = QString::number(n);
        const QString candidate = name.left(kMaxNameLength - number.size()) + number;
        if (!store->CheckPortfolioName(candidate, free))
            return candidate;
    }
}

void PortfoliosList::afterAdd(const PortfolioDetailBasicInfo &detail)
{
    QVariantList symbols;
    for (const PortfolioItem &item : detail.SymbolList())
        symbols.append(item.Symbol());
    if (!symbols.isEmpty())
        emit SubscribeQuotes(symbols);
    if (m_presenter)
        m_presenter->PutPortfolioChangedEvent(detail.PortfolioNo());
}

void PortfoliosList::appendAndSelect(const PortfolioDetailBasicInfo &detail)
{
    ui->tableWidget->addRecordData(buildRow(detail));
    m_rowStamps.remove(detail.PortfolioNo());  // written from the command's copy
    afterAdd(detail);
    RecordModel *model = ui->tableWidget->recordModel();
    ui->tableWidget->setCurrentIndex(model->index(model->rowCount() - 1, 0), true);
    updateFiguresOf(detail.PortfolioNo());
}

QString PortfoliosList::addToBackendAndStore(PortfolioDetailBasicInfo &detail)
{
    if (!m_presenter)
        return QStringLiteral("后台未连接");
    return m_presenter->AddPortfolioAndStore(detail);
}

// bAddFlag false replaces an existing portfolio: its lines cleared, the header, the new
// lines. From the clear on, the back end keeps the old portfolio as it is and takes the new
// header with the new lines, in one transaction, so that a connection cut in between
// leaves the old portfolio whole. When a step fails, the old header and lines are sent in
// the same way to end the replacement as it began.
QString PortfoliosList::alterOnBackend(PortfolioDetailBasicInfo &detail)
{
    PortfolioDetailBasicInfo *stored = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(detail.PortfolioNo());
    if (!stored)
        return QStringLiteral("组合%1不存在").arg(detail.PortfolioNo());
    PortfolioDetailBasicInfo old = *stored;

    QString rc = m_presenter->ClearPortfolioDetail(detail);
    if (rc != QLatin1String("0"))
        return rc;
    rc = m_presenter->AlterPortfolio(detail, false);
    if (rc == QLatin1String("0"))
        rc = m_presenter->AlterPortfolioDetail(detail, true);
    if (rc != QLatin1String("0")) {
        m_presenter->AlterPortfolio(old, false);
        m_presenter->AlterPortfolioDetail(old, true);
    }
    return rc;
}

void PortfoliosList::slotAddPortfolioLst(PortfolioDetailBasicInfo detailInfo, bool bAddFlag, int nDetailFlag,
                                         bool bWithAddDlg)
{
    if (bAddFlag) {
        BDPortfolioAdd *dialog = bWithAddDlg ? m_addDialog.data() : nullptr;
        const QString status = addToBackendAndStore(detailInfo);
        if (status != RequestExeStatus::success) {
            reportCommand(QStringLiteral("新建组合") + portfolioLabel(detailInfo.Name(), QString()), status);
            if (dialog)
                dialog->onAddPortfolioFailed(status);
            VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合后台数据添加失败：") + status,
                                          dialog ? static_cast<QWidget *>(dialog) : this);
            return;
        }
        appendAndSelect(detailInfo);
        reportCommand(QStringLiteral("新建组合") + portfolioLabel(detailInfo.Name(), detailInfo.PortfolioNo()));
        if (dialog)
            dialog->onAddPortfolioAccepted(detailInfo.PortfolioNo());
        return;
    }
    if (nDetailFlag != 0 && nDetailFlag != 1)
        return;
    if (!m_presenter)
        return;
    const QString rc = alterOnBackend(detailInfo);
    const QString what = QStringLiteral("修改组合") + portfolioLabel(detailInfo.Name(), detailInfo.PortfolioNo());
    if (rc != QLatin1String("0")) {
        reportCommand(what, rc);
        VeltraWidget::ShowTipMsgBox(rc, this);
        return;
    }
    reportCommand(what);
    m_presenter->storeAccepted(detailInfo);
    ui->tableWidget->updataRecordData(buildRow(detailInfo));
    m_rowStamps.remove(detailInfo.PortfolioNo());
    if (nDetailFlag == 1)
        afterAdd(detailInfo);
    else if (m_presenter)
        m_presenter->PutPortfolioChangedEvent(detailInfo.PortfolioNo());
}

void PortfoliosList::on_pushButton_new_clicked()
{
    openAddDialog(0);
}

void PortfoliosList::on_pushButton_pos_clicked()
{
    openAddDialog(1);
}

void PortfoliosList::openAddDialog(int mode)
{
    if (m_addFrame && m_addFrame->isVisible() && m_addDialog) {
        // A use is under way: bring it forward with everything typed so far.
        if (mode == 1)
            m_addDialog->setMode(1);
        m_addFrame->raise();
        m_addFrame->activateWindow();
        return;
    }
    if (!m_addFrame) {
        m_addFrame = new TzDialog(this);
        m_addFrame->setObjectName(QStringLiteral("PortfolioAddFrame"));
        m_addFrame->setTitle(QStringLiteral("新建组合"));
        m_addFrame->setResizable(true);
        m_addFrame->setProperty("margin", 0);
        m_addFrame->resize(880, 580);
        // Escape and the window's close button cancel the way "取消" does: the dialog in
        // the frame ends and deletes itself.
        connect(m_addFrame, &QDialog::rejected, this, [this] {
            if (m_addDialog)
                m_addDialog->onpushbtn_cancel_slot();
        });
    }
    // A fresh dialog for every use: nothing typed before, no busy flag, carries over.
    auto *dialog = new BDPortfolioAdd(m_addFrame);
    m_addDialog = dialog;
    dialog->setPresenter(m_presenter);
    connect(dialog, &BDPortfolioAdd::signalNewPortfolioData, this,
            [this](PortfolioDetailBasicInfo detail, bool flag, int bDetailFlag) {
                slotAddPortfolioLst(detail, flag, bDetailFlag, true);
            });
    connect(this, &PortfoliosList::signalRelodadETFList, dialog, &BDPortfolioAdd::slotRelodadETFList);
    connect(dialog, &BDPortfolioAdd::signalQueryPositionInfo, this, &PortfoliosList::signalQueryPositionInfo);
    connect(dialog, &BDPortfolioAdd::signalQueryMarginInfo, this, &PortfoliosList::signalQueryMarginInfo);
    connect(dialog, &BDPortfolioAdd::signalQueryCouponInfo, this, &PortfoliosList::signalQueryCouponInfo);
    connect(dialog, &BDPortfolioAdd::SubscriteQuotes, this, &PortfoliosList::SubscribeQuotes);
    connect(dialog, &BDPortfolioAdd::singnalPushBtnClose, m_addFrame, &QWidget::hide);
    dialog->slotRelodadETFList(mETFRootList);
    dialog->setSWTreeData(mSWRootList);
    m_addFrame->setBody(dialog);
    dialog->setMode(mode);
    m_addFrame->move(VeltraUtils::GetWidgetPos(this, m_addFrame->size()));
    m_addFrame->show();
    m_addFrame->raise();
    m_addFrame->activateWindow();
}

void PortfoliosList::on_pushButton_import_clicked()
{
    const QString path = VeltraUtils::GetOpenTableFileName(this, QStringLiteral("导入组合"), QString(), 0);
    if (path.isEmpty())
        return;
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items =
        PortfolioListBasicInfo::GetInstance()->GetPortItemListFromFile(path, error, extension);
    const QString what = QStringLiteral("文件导入 ") + path;
    if (items.isEmpty()) {
        reportCommand(what, error);
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合导入失败，原因：\r\n%1").arg(error), this);
        return;
    }
    if (!error.isEmpty()) {
        qInfo().noquote() << QStringLiteral("导入组合提示，文件名：%1，提示内容：%2").arg(path, error);
        if (!VeltraWidget::ShowQuestionMsgBox(
                QStringLiteral("组合部分数据未通过校验，原因：\r\n%1 请确认是否继续导入通过检验部分？").arg(error), this, 0)) {
            reportCommand(what, QStringLiteral("部分数据未通过校验，已取消导入：") + error);
            return;
        }
    }
    const QString fileName = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    const int dot = fileName.indexOf(QLatin1Char('.'));
    // A name without a dot keeps its whole length: left() of a negative count is all.
    QString name = fileName.left(dot < 0 ? dot : qMin(dot, kMaxNameLength));
    bool renamed = PortfolioListBasicInfo::GetInstance()->CheckPortfolioName(name, name);
    if (name.size() > kMaxNameLength) {
        // The free name outgrew what the back end stores: shorten it instead.
        name = fittingFreeName(fileName.left(dot < 0 ? dot : qMin(dot, kMaxNameLength)));
        renamed = true;
    }

    PortfolioDetailBasicInfo detail;
    detail.setName(name);
    detail.setSymbolList(items);
    detail.setPortFilePath(path);
    detail.setExtensionDescription(extension);
    detail.setStrategyName(QStringLiteral("默认"));
    const QString status = addToBackendAndStore(detail);
    if (status != RequestExeStatus::success) {
        reportCommand(what, status);
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合导入失败，%1！").arg(status), this);
        return;
    }
    appendAndSelect(detail);
    reportCommand(what + QStringLiteral(" → 组合") + portfolioLabel(name, detail.PortfolioNo())
                  + (error.isEmpty() ? QString() : QStringLiteral("（未通过校验的行已略过）")));
    VeltraWidget::ShowTipMsgBox(renamed ? QStringLiteral("组合导入成功，组合名称重复，已修改为") + name + QStringLiteral("！")
                                        : QStringLiteral("组合导入成功！"),
                                this);
}

void PortfoliosList::on_pushButton_copy_clicked()
{
    const QModelIndex current = ui->tableWidget->currentIndex();
    if (!current.isValid()) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("请单击表格某一行！"), this);
        return;
    }
    PortfolioDetailBasicInfo detail = ui->tableWidget->getRowData(current.row())
                                          .value(kDetailColumn)
                                          .value(RecordRole::user)
                                          .value<PortfolioDetailBasicInfo>();
    QString name = detail.Name();
    PortfolioListBasicInfo::GetInstance()->CheckPortfolioName(name, name);
    if (name.size() > kMaxNameLength) {
        TzDialog dialog(this);
        dialog.setTitle(QStringLiteral("复制组合-修改组合名称"));
        auto *body = new BDPortfolioModify(&dialog);
        body->setNameOnly(true);
        body->setDetail(detail);
        body->setProposedName(fittingFreeName(detail.Name()));
        dialog.setBody(body);
        connect(body, &BDPortfolioModify::singnalPushBtnClose, &dialog, [&](bool confirmed) {
            name = confirmed ? body->nameText() : QString();
            dialog.close();
        });
        name.clear();
        dialog.exec();
        if (name.isEmpty())
            return;
    }
    const QString what = QStringLiteral("复制组合") + portfolioLabel(detail.Name(), detail.PortfolioNo());
    detail.setName(name);
    detail.setPortfolioNo(QString());
    const QString status = addToBackendAndStore(detail);
    if (status != RequestExeStatus::success) {
        reportCommand(what, status);
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合复制失败，%1！").arg(status), this);
        return;
    }
    appendAndSelect(detail);
    reportCommand(what + QStringLiteral(" → ") + portfolioLabel(name, detail.PortfolioNo()));
}

void PortfoliosList::on_pushButton_delete_clicked()
{
    if (!VeltraWidget::ShowQuestionMsgBox(QStringLiteral("确定删除选中的组合？"), this, 0))
        return;
    QStringList blocked, deletable;
    const QModelIndexList rows = ui->tableWidget->selectionModel()->selectedRows();
    for (const QModelIndex &index : rows) {
        const QString no = numberOf(ui->tableWidget->getRowData(index.row()));
        (PortfolioOrderMgr::GetInstance()->GetBatchNosState(no) ? deletable : blocked) << no;
    }
    for (const QString &no : qAsConst(blocked))
        reportCommand(QStringLiteral("删除组合") + labelOf(no), QStringLiteral("存在订单未完成"));
    if (!blocked.isEmpty())
        VeltraWidget::ShowTipMsgBox(QStringLiteral("组合%1存在订单未完成，无法删除!").arg(blocked.join(QLatin1Char(','))), this);
    if (deletable.isEmpty()) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("无符合删除条件的数据"), this);
        return;
    }
    QString failures;  // collected for the log; the user is not shown them
    bool currentDeleted = false;
    for (const QString &no : qAsConst(deletable)) {
        PortfolioDetailBasicInfo *detail = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(no);
        PortfolioDetailBasicInfo copy;
        if (detail)
            copy = *detail;
        else
            copy.setPortfolioNo(no);
        const QString rc = m_presenter ? m_presenter->DelPortfolio(copy) : QStringLiteral("后台未连接");
        const QString what = QStringLiteral("删除组合") + portfolioLabel(copy.Name(), no);
        if (rc != QLatin1String("0")) {
            reportCommand(what, rc);
            failures += QStringLiteral("组合号%1删除失败!原因:%2\r\n").arg(no, rc);
            continue;
        }
        reportCommand(what);
        removeRow(no);
        currentDeleted = currentDeleted || no == m_currentPortfolioNo;
    }
    if (!failures.isEmpty())
        qInfo().noquote() << "PortfoliosList::on_pushButton_delete_clicked" << failures;
    if (currentDeleted)
        slotTableClicked(ui->tableWidget->currentIndex());
}

void PortfoliosList::removeRow(const QString &portfolioNo)
{
    m_rowStamps.remove(portfolioNo);
    ui->tableWidget->deleteRecordData(ui->tableWidget->getRowByKey(portfolioNo));
    PortfolioListBasicInfo::GetInstance()->RemovePortfolioDetail(portfolioNo);
    emit signalDeleteBasketID(portfolioNo);
}

void PortfoliosList::deleteCurrent()
{
    const QModelIndex current = ui->tableWidget->currentIndex();
    if (!current.isValid()) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("请选择要删除的数据"), this);
        return;
    }
    const QString no = numberOf(ui->tableWidget->getRowData(current.row()));
    if (!PortfolioOrderMgr::GetInstance()->GetBatchNosState(no)) {
        reportCommand(QStringLiteral("删除组合") + labelOf(no), QStringLiteral("存在订单未完成"));
        VeltraWidget::ShowTipMsgBox(QStringLiteral("当前删除组合存在订单未完成，无法删除!"), this);
        return;
    }
    if (!VeltraWidget::ShowQuestionMsgBox(QStringLiteral("确定删除选中的组合？"), this, 0))
        return;
    PortfolioDetailBasicInfo copy;
    if (PortfolioDetailBasicInfo *detail = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(no))
        copy = *detail;
    else
        copy.setPortfolioNo(no);
    const QString rc = m_presenter ? m_presenter->DelPortfolio(copy) : QStringLiteral("后台未连接");
    const QString what = QStringLiteral("删除组合") + portfolioLabel(copy.Name(), no);
    if (rc != QLatin1String("0")) {
        reportCommand(what, rc);
        VeltraWidget::ShowTipMsgBox(QStringLiteral("编号为:") + no + QStringLiteral("数据删除错误!错误代码:") + rc, this);
        return;
    }
    reportCommand(what);
    removeRow(no);
    if (no == m_currentPortfolioNo)
        slotTableClicked(ui->tableWidget->currentIndex());
}

void PortfoliosList::modifySequence(int targetRow, int sourceRow)
{
    RecordModel *model = ui->tableWidget->recordModel();
    if (sourceRow < 0 || sourceRow >= model->rowCount())
        return;
    const RowRecord record = ui->tableWidget->getRowData(sourceRow);
    reportCommand(QStringLiteral("调整组合") + portfolioLabel(record.value(0).value(RecordRole::display).toString(),
                                                         numberOf(record))
                  + QStringLiteral("的显示位置：第%1行 → 第%2行").arg(sourceRow + 1).arg(qMin(targetRow, model->rowCount() - 1) + 1));
    ui->tableWidget->deleteRecordData(sourceRow);
    ui->tableWidget->insertRecordData(targetRow, record);
    qDebug() << "PortfoliosList::modifySequence" << "rowcount" << model->rowCount();
    ui->tableWidget->setCurrentIndex(model->index(qMin(targetRow, model->rowCount() - 1), 0), true);
}

void PortfoliosList::reorder(const QString &item)
{
    QModelIndex index = ui->tableWidget->currentIndex();
    if (index.row() == 0 && m_contextIndex.isValid() && m_contextIndex.row() != 0)
        index = m_contextIndex;
    if (!index.isValid())
        return;
    const int row = index.row();
    const int rowCount = ui->tableWidget->recordModel()->rowCount();
    if (item == QStringLiteral("置顶") && row >= 1)
        modifySequence(0, row);
    else if (item == QStringLiteral("上移") && row - 1 >= 0)
        modifySequence(row - 1, row);
    else if (item == QStringLiteral("下移") && row + 1 <= rowCount)
        modifySequence(row + 1, row);
    else if (item == QStringLiteral("置底") && row < rowCount)
        modifySequence(rowCount - 1, row);
}

void PortfoliosList::onContextAction(QAction *action)
{
    const QString text = action->text();
    if (text == QStringLiteral("复制"))
        on_pushButton_copy_clicked();
    else if (text == QStringLiteral("删除"))
        deleteCurrent();
    else
        reorder(text);
}

void PortfoliosList::on_pushButton_type_clicked()
{
    m_templateMenu->popup(ui->pushButton_type->mapToGlobal(QPoint(0, ui->pushButton_type->height())));
}

void PortfoliosList::downloadTemplate(VeltraConstants::TemplateFileType type)
{
    QString error;
    QString saved;
    const QString what = type == VeltraConstants::TemplateFileType::PortfolioAlgo ? QStringLiteral("下载算法组合模板")
                                                                                 : QStringLiteral("下载普通组合模板");
    if (VeltraUtils::DownloadTemplateFile(type, this, QString(), &error, &saved)) {
        reportCommand(what + QStringLiteral(" ") + saved);
    } else if (!error.isEmpty()) {
        reportCommand(what, error);
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("模板下载失败：%1").arg(error), this);
    }
}

void PortfoliosList::on_menu_dlNormal_clicked()
{
    downloadTemplate(VeltraConstants::TemplateFileType::PortfolioNormal);
}

void PortfoliosList::on_menu_dlAlgo_clicked()
{
    downloadTemplate(VeltraConstants::TemplateFileType::PortfolioAlgo);
}

void PortfoliosList::startLiquidation()
{
    m_liquidationPending = true;
    ui->pushButton_posCreate->setEnabled(false);
    // See slotPositionListUpdate: what the list calls the fund account is the trading
    // account the positions are asked for.
    emit signalQueryPositionInfo(m_fundAccount, 0, 0);
}

void PortfoliosList::slotPositionListUpdate(QList<QMap<int, QVariantMap> > recordList)
{
    if (!m_liquidationPending) {
        if (m_addDialog)
            m_addDialog->slotPositionListUpdate(recordList);
        return;
    }
    m_liquidationPending = false;
    ui->pushButton_posCreate->setEnabled(true);

    PortfolioDetailBasicInfo detail;
    QString name = QStringLiteral("一键清仓组合");
    PortfolioListBasicInfo::GetInstance()->CheckPortfolioName(name, name);
    detail.setName(name);
    detail.setStrategyName(QStringLiteral("无"));
    detail.setDefaultNum(1000);
    // The list keeps the two accounts in the order the account event names them: what
    // it calls the trading account is the fund account the portfolio is for.
    PositionPortfolioAdd::transTableDataToPortInfo(recordList, detail, m_tradingAccount, PortTypeLiquidation);
    if (detail.SymbolList().isEmpty()) {
        reportCommand(QStringLiteral("一键清仓"), QStringLiteral("未获取到可用持仓数据"));
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("一键清仓组合创建失败：未获取到可用持仓数据。"), this);
        return;
    }
    slotAddPortfolioLst(detail, true, 0, false);
}

void PortfoliosList::slotSecurityLoanUpdated(QList<QMap<int, QVariantMap> > recordList)
{
    if (m_addDialog)
        m_addDialog->slotSecurityLoanUpdated(recordList);
}

void PortfoliosList::slotCouponInfoInfoUpdated(QList<QVariantMap> contractList)
{
    if (m_addDialog)
        m_addDialog->slotCouponInfoInfoUpdated(contractList);
}

void PortfoliosList::slotShowWarningMsg(QString title, QString msg)
{
    Q_UNUSED(title)
    VeltraWidget::ShowWarningMsgBox(msg, this);
}

void PortfoliosList::slotCreateWarning(QStringList lstSupport, QStringList lstUnSupport)
{
    // The trader confirms every clipboard portfolio, also when no code has to go.
    QString text = QStringLiteral("组合交易不支持以下标的交易，请确认是否剔除以下标的创建组合(%1):\r\n")
                       .arg(lstUnSupport.size());
    QStringList named;
    for (const QString &symbol : qAsConst(lstUnSupport)) {
        const QString chineseName = CBusinessDataBase::GetInstance()->GetSecurityChineseName(symbol);
        named << symbol + QLatin1Char(' ') + (chineseName.isEmpty() ? QStringLiteral("（未知证券）") : chineseName);
    }
    text += named.join(QStringLiteral("\r\n"));
    if (VeltraWidget::ShowQuestionMsgBox(text, this, 0))
        emit signalCreateClipboardPortfolio(lstSupport);
}
