#pragma once

// The portfolio list page as the host opens it, on a real embedded back end, with the
// message boxes recorded and answered by the test instead of shown.

#include "testbackend.h"

#include "portfolioslist.h"
#include "portfolioslistpresenterclass.h"
#include "portfolioslistwidget.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioquotemgr.h"
#include "tztableview.h"
#include "veltrautils.h"
#include "veltrawidget.h"

#include <QMutex>

#include <memory>

// Records every message box and answers question boxes from a queue (yes when empty).
class MsgBoxRecorder
{
public:
    struct Box
    {
        VeltraWidget::MsgBoxKind kind;
        QString title;
        QString text;
    };

    MsgBoxRecorder()
    {
        m_previous = VeltraWidget::setMsgBoxHandler(
            [this](VeltraWidget::MsgBoxKind kind, const QString &title, const QString &text, QWidget *) {
                shown.append({kind, title, text});
                return answers.isEmpty() ? 1 : answers.takeFirst();
            });
    }
    ~MsgBoxRecorder() { VeltraWidget::setMsgBoxHandler(m_previous); }

    QStringList texts() const
    {
        QStringList t;
        for (const Box &b : shown)
            t << b.text;
        return t;
    }
    QString last() const { return shown.isEmpty() ? QString() : shown.last().text; }

    QList<Box> shown;
    QList<int> answers;  // 1 = yes, 0 = no

private:
    VeltraWidget::MsgBoxHandler m_previous;
};

// Collects the lines put on the business message panel while it lives.
class PanelRecorder
{
public:
    PanelRecorder()
    {
        VeltraUtils::setBusiMsgSink([this](BusiMsgLevel level, const QString &line) {
            QMutexLocker lock(&m_mutex);
            m_lines.append({level, line});
        });
    }
    ~PanelRecorder() { VeltraUtils::setBusiMsgSink(nullptr); }

    // The lines' texts after the time stamp, with their level ("信息", "警告" ...).
    QStringList lines() const
    {
        QMutexLocker lock(&m_mutex);
        QStringList out;
        for (const auto &l : m_lines)
            out << l.second.mid(l.second.indexOf(QLatin1Char(' ')) + 1);
        return out;
    }
    QStringList matching(const QString &part) const { return lines().filter(part); }
    int warnings() const
    {
        QMutexLocker lock(&m_mutex);
        int n = 0;
        for (const auto &l : m_lines)
            n += l.first == BusiMsgLevel::Warning ? 1 : 0;
        return n;
    }

private:
    mutable QMutex m_mutex;
    QList<QPair<BusiMsgLevel, QString>> m_lines;
};

// Another page of the client following one event type (by default the list's click,
// 204804): the portfolio numbers it heard.
class EventListener : public TzPresenterClass
{
public:
    explicit EventListener(int type = PORTFOLIO_CLICKED) { SubEvent(type); }
    QStringList portfolioNos;

protected:
    void ProcEventMsg(QString, QVariant, QVariant message) override
    {
        CUnPackMessageCommon body;
        if (body.SetUnPackMsg(message))
            portfolioNos << body.GetValue(RequestField::portfolioNo).toString();
    }
};
using ClickListener = EventListener;

// A message body carrying these header fields, as a page or the back end packs it.
inline QVariant packed(const QVariantMap &header)
{
    CPackMessageCommon body;
    for (auto it = header.cbegin(); it != header.cend(); ++it)
        body.AddVaule(it.key(), it.value());
    return body.GetPackedMsg(false);
}

class PageFixture
{
public:
    explicit PageFixture(int quoteIntervalMs = 3000, bool manualFeedClock = false)
        : backend(QStringLiteral("demo"), true, quoteIntervalMs, manualFeedClock)
    {
        PortfolioListBasicInfo::GetInstance()->clear();
        PortfolioQuoteMgr::GetInstance()->clear();
        page = std::make_unique<PortfoliosListWidget>();
        page->setPluginInstanceID(QStringLiteral("TZApp.PortfoliosList#1"));
        page->resize(1000, 500);
        page->initPluginWidget();
    }
    ~PageFixture()
    {
        page.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    bool ready() const { return backend.ready(); }
    PortfoliosList *list() const { return page->list(); }
    PortfoliosListPresenterClass *presenter() const { return page->presenter(); }
    TzTableView *table() const { return page->findChild<TzTableView *>(QStringLiteral("tableWidget")); }
    int rows() const { return table()->recordModel()->rowCount(); }
    QString cell(int row, int column) const
    {
        return table()->getRowData(row).value(column).value(RecordRole::display).toString();
    }
    int rowOfName(const QString &name) const
    {
        for (int r = 0; r < rows(); ++r) {
            if (cell(r, 0) == name)
                return r;
        }
        return -1;
    }
    QStringList names() const
    {
        QStringList n;
        for (int r = 0; r < rows(); ++r)
            n << cell(r, 0);
        return n;
    }
    // Names of the user's portfolios as the back end has them.
    static QStringList backendNames()
    {
        QStringList n;
        const TestBackend::Answer a = TestBackend::request(
            MsgType::queryPortfolioRequest,
            {{RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount()}});
        for (const QVariantMap &row : a.body.rows())
            n << row.value(RequestField::portfolioName).toString();
        return n;
    }

    TestBackend backend;
    MsgBoxRecorder boxes;
    std::unique_ptr<PortfoliosListWidget> page;
};
