#include "bdportfoliomodify.h"
#include "ui_bdportfoliomodify.h"

#include "portfoliolistbasicinfo.h"
#include "portfolionamerule.h"
#include "veltrawidget.h"

BDPortfolioModify::BDPortfolioModify(QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::BDPortfolioModify)
{
    ui->setupUi(this);
    ui->m_pNameEdit->setMaxLength(PortfolioNameRule::maxLength);
    ui->pushButton_confirm->setStyleType(QStringLiteral("Highlight"));
    connect(ui->pushButton_confirm, &QPushButton::clicked, this, &BDPortfolioModify::onpushbtn_confirm_slot);
    connect(ui->cancelBtn, &QPushButton::clicked, this, &BDPortfolioModify::onpushbtn_cancel_slot);
}

BDPortfolioModify::~BDPortfolioModify()
{
    delete ui;
}

void BDPortfolioModify::setDetail(const PortfolioDetailBasicInfo &detail)
{
    m_detail = detail;
    ui->m_pNameEdit->setText(detail.Name());
    ui->m_pStrategyEdit->setText(detail.StrategyName());
    ui->m_pNumberEdit->setText(QString::number(detail.DefaultNum()));
}

void BDPortfolioModify::setNameOnly(bool nameOnly)
{
    m_nameOnly = nameOnly;
    for (QWidget *w : {static_cast<QWidget *>(ui->label_3), static_cast<QWidget *>(ui->m_pStrategyEdit),
                       static_cast<QWidget *>(ui->label_7), static_cast<QWidget *>(ui->m_pNumberEdit)})
        w->setVisible(!nameOnly);
}

void BDPortfolioModify::setProposedName(const QString &name)
{
    ui->m_pNameEdit->setText(name);
}

QString BDPortfolioModify::nameText() const
{
    return ui->m_pNameEdit->text();
}

void BDPortfolioModify::onpushbtn_confirm_slot()
{
    const QString name = ui->m_pNameEdit->text();
    const QString strategy = ui->m_pStrategyEdit->text();
    const QString number = ui->m_pNumberEdit->text().trimmed();
    const bool nameChanged = name != m_detail.Name();
    const bool strategyChanged = !m_nameOnly && strategy != m_detail.StrategyName();
    const bool numberChanged = !m_nameOnly && number != QString::number(m_detail.DefaultNum());
    if (!nameChanged && !strategyChanged && !numberChanged) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("未修改任何内容!"), this);
        return;
    }
    if (nameChanged) {
        if (name.isEmpty()) {
            VeltraWidget::ShowTipMsgBox(QStringLiteral("组合名称不可为空！"), this);
            return;
        }
        const QString problem = PortfolioNameRule::check(name);
        if (!problem.isEmpty()) {
            VeltraWidget::ShowTipMsgBox(problem, this);
            return;
        }
        if (PortfolioListBasicInfo::GetInstance()->getAllPortfolioName().contains(name)) {
            VeltraWidget::ShowTipMsgBox(QStringLiteral("组合名称重复，请修改!"), this);
            return;
        }
    }
    if (m_nameOnly) {
        emit singnalPushBtnClose(true);
        return;
    }
    bool ok = false;
    const qint64 defaultNum = number.toLongLong(&ok, 10);
    if (!ok || defaultNum <= 0) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("默认单笔数量须为正整数：%1").arg(number), this);
        return;
    }
    if (strategy.trimmed().isEmpty()) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("策略标签不可为空！"), this);
        return;
    }
    PortfolioDetailBasicInfo detail = m_detail;
    detail.setName(name);
    detail.setDefaultNum(defaultNum);
    detail.setStrategyName(strategy.trimmed());
    emit signalModifyPortfolioData(detail);
}

void BDPortfolioModify::onpushbtn_cancel_slot()
{
    emit singnalPushBtnClose(false);
}
