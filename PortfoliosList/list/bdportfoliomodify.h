#pragma once

#include "portfoliodetailbasicinfo.h"

#include <QWidget>

namespace Ui {
class BDPortfolioModify;
}

// The small dialog body to change a portfolio's name, strategy label and default
// single-order quantity; in name-only use (copy) it only asks for a name.
class BDPortfolioModify : public QWidget
{
    Q_OBJECT

public:
    explicit BDPortfolioModify(QWidget *parent = nullptr);
    ~BDPortfolioModify() override;

    void setDetail(const PortfolioDetailBasicInfo &detail);
    void setNameOnly(bool nameOnly);
    // Puts a suggested name into the name field; the portfolio itself keeps its name.
    void setProposedName(const QString &name);
    QString nameText() const;

signals:
    void singnalPushBtnClose(bool isConfirmed);
    void signalModifyPortfolioData(PortfolioDetailBasicInfo dataLst);

public slots:
    void onpushbtn_confirm_slot();
    void onpushbtn_cancel_slot();

private:
    Ui::BDPortfolioModify *ui;
    PortfolioDetailBasicInfo m_detail;
    bool m_nameOnly = false;
};
