#include "portfoliodetailwidget.h"

#include "constants.h"
#include "portfoliodetailexport.h"
#include "portfoliodetailmodel.h"
#include "portfoliodetailpresenterclass.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioquotemgr.h"
#include "veltrabuttons.h"
#include "veltrautils.h"
#include "veltrawidget.h"

#include <QDebug>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

namespace {

const char kRise[] = "color: #d03a2f;";
const char kFall[] = "color: #14934a;";

// Texts as wide as a column's usual content: the columns are sized from them, so that
// thousands of rows are never measured.
const char *const kWidestTexts[PortfolioDetailModel::ColumnCount] = {
    "0000000", "国泰君安证券", "深港通", "担保品买入", "99,999,999", "0.0000000", "100.00%",
    "9999.999", "-10.00%", "未知证券", "9,999,999,999.99"};

} // namespace

PortfolioDetailTableView::PortfolioDetailTableView(QWidget *parent)
    : QTableView(parent)
{
}

void PortfolioDetailTableView::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                                           const QVector<int> &roles)
{
    Q_UNUSED(roles)
    if (!topLeft.isValid() || !bottomRight.isValid())
        return;
    // Rows of a range are neighbours in the view (the model sorts itself): their cells
    // form one rectangle. Nothing here is edited, so there is no editor to update.
    const int top = rowViewportPosition(topLeft.row());
    const int bottom = rowViewportPosition(bottomRight.row()) + rowHeight(bottomRight.row());
    const int left = columnViewportPosition(topLeft.column());
    const int right = columnViewportPosition(bottomRight.column()) + columnWidth(bottomRight.column());
    const QRect area = QRect(QPoint(left, top), QPoint(right, bottom)).intersected(viewport()->rect());
    if (!area.isEmpty())
        viewport()->update(area);
}

void PortfolioDetailDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                    const QModelIndex &index) const
{
    const bool selected = option.state & QStyle::State_Selected;
    if (selected)
        painter->fillRect(option.rect, option.palette.brush(QPalette::Normal, QPalette::Highlight));
    const QString text = index.data(Qt::DisplayRole).toString();
    if (text.isEmpty())
        return;
    const QVariant foreground = index.data(Qt::ForegroundRole);
    QPen pen(foreground.isValid() ? qvariant_cast<QBrush>(foreground).color()
                                  : option.palette.color(QPalette::Normal, selected ? QPalette::HighlightedText
                                                                                    : QPalette::Text));
    const QRect area = option.rect.adjusted(4, 0, -4, 0);
    const int alignment = index.data(Qt::TextAlignmentRole).toInt();
    painter->setPen(pen);
    painter->setFont(option.font);
    painter->drawText(area, alignment | Qt::TextSingleLine,
                      option.fontMetrics.elidedText(text, Qt::ElideRight, area.width()));
}

PortfolioDetailWidget::PortfolioDetailWidget(QWidget *parent)
    : TzPluginBaseWidget(parent)
{
    setPluginWidgetTitle(QString::fromUtf8(PortfolioDetailConstants::PAGE_TITLE));
    setPluginTitleAccountShowType(0);
    setPluginSystemButtonVisiable(PLUGIN_SYSTEMBUTTON_SETTING, false);
    setPluginSystemButtonVisiable(PLUGIN_SYSTEMBUTTON_COPY, false);
    setPluginSystemButtonVisiable(PLUGIN_SYSTEMBUTTON_REFRESH, false);
}

PortfolioDetailWidget::~PortfolioDetailWidget()
{
    // The presenter releases the page's quote subscriptions as it goes.
    if (m_presenter)
        m_presenter->deleteLater();
}

void PortfolioDetailWidget::initPluginWidget()
{
    if (m_presenter)
        return;
    buildUi();

    m_presenter = new PortfolioDetailPresenterClass;
    m_presenter->setMenuID(getMenuIDByPluginInstanceID(pluginInstanceID()));
    m_presenter->registerMessages();

    PortfolioDetailPresenterClass *p = m_presenter;
    connect(p, &PortfolioDetailPresenterClass::portfolioClicked, this, &PortfolioDetailWidget::onPortfolioClicked);
    connect(p, &PortfolioDetailPresenterClass::portfolioChanged, this, &PortfolioDetailWidget::onPortfolioChanged);
    connect(p, &PortfolioDetailPresenterClass::portfolioDeleted, this, &PortfolioDetailWidget::onPortfolioDeleted);
    connect(p, &PortfolioDetailPresenterClass::portfolioFetched, this, &PortfolioDetailWidget::onPortfolioFetched);
    // Quotes are taken in batches: the first record after a refresh starts the clock.
    connect(p, &PortfolioDetailPresenterClass::quotesArrived, m_refreshTimer, [this] {
        if (!m_refreshTimer->isActive())
            m_refreshTimer->start();
    });

    const bool listLoaded = PortfolioListBasicInfo::GetInstance()->isInitialized();
    showMessage(State::NoneChosen, listLoaded ? QStringLiteral("请在组合列表中选择组合")
                                              : QStringLiteral("组合列表尚未加载；请在组合列表中选择组合"));
}

void PortfolioDetailWidget::buildUi()
{
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(4);
    layout->setContentsMargins(6, 4, 6, 4);

    auto *header = new QWidget(this);
    header->setObjectName(QStringLiteral("DetailHeader"));
    auto *headerLayout = new QHBoxLayout(header);
    headerLayout->setContentsMargins(0, 0, 0, 0);
    headerLayout->setSpacing(14);
    m_name = new QLabel(header);
    m_name->setObjectName(QStringLiteral("DetailName"));
    m_name->setStyleSheet(QStringLiteral("font-weight: bold; color: #253149;"));
    m_summary = new QLabel(header);
    m_summary->setObjectName(QStringLiteral("DetailSummary"));
    m_value = new QLabel(header);
    m_value->setObjectName(QStringLiteral("DetailMarketValue"));
    m_rate = new QLabel(header);
    m_rate->setObjectName(QStringLiteral("DetailChangeRate"));
    m_limits = new QLabel(header);
    m_limits->setObjectName(QStringLiteral("DetailLimits"));
    m_filter = new QLineEdit(header);
    m_filter->setObjectName(QStringLiteral("DetailFilter"));
    m_filter->setPlaceholderText(QStringLiteral("筛选代码/名称"));
    m_filter->setClearButtonEnabled(true);
    m_filter->setFixedWidth(150);
    m_export = new VeltraPushButton(QStringLiteral("导出"), header);
    m_export->setObjectName(QStringLiteral("DetailExport"));
    m_export->setStyleType(QStringLiteral("Framed"));
    m_export->setFixedSize(56, 22);
    m_export->setToolTip(QStringLiteral("把当前显示的明细（按筛选和排序）导出为Excel或CSV文件"));
    for (QWidget *w : {static_cast<QWidget *>(m_name), static_cast<QWidget *>(m_summary),
                       static_cast<QWidget *>(m_value), static_cast<QWidget *>(m_rate),
                       static_cast<QWidget *>(m_limits)})
        headerLayout->addWidget(w);
    headerLayout->addStretch(1);
    headerLayout->addWidget(m_filter);
    headerLayout->addWidget(m_export);
    layout->addWidget(header);

    m_notice = new QLabel(this);
    m_notice->setObjectName(QStringLiteral("DetailNotice"));
    m_notice->setStyleSheet(QStringLiteral("color: #5a6678;"));
    layout->addWidget(m_notice);

    m_model = new PortfolioDetailModel(this);
    m_table = new PortfolioDetailTableView(this);
    m_table->setObjectName(QStringLiteral("DetailTable"));
    m_table->setModel(m_model);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setAlternatingRowColors(true);
    m_table->setWordWrap(false);
    // Rows told apart by their colour, not by a grid: a grid is drawn cell by cell.
    m_table->setShowGrid(false);
    m_table->setItemDelegate(new PortfolioDetailDelegate(m_table));
    // Fixed row heights and preset column widths: nothing is measured per row, so a
    // portfolio of thousands of lines shows at once.
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(22);
    QHeaderView *columns = m_table->horizontalHeader();
    columns->setSectionResizeMode(QHeaderView::Interactive);
    columns->setStretchLastSection(true);
    columns->setHighlightSections(false);
    m_table->ensurePolished();
    const QFontMetrics cells(m_table->font());
    const QFontMetrics titles(columns->font());
    for (int c = 0; c < PortfolioDetailModel::ColumnCount; ++c) {
        const int content = cells.horizontalAdvance(QString::fromUtf8(kWidestTexts[c]));
        const int title = titles.horizontalAdvance(PortfolioDetailModel::columnTitle(c)) + 16;  // the sort arrow
        m_table->setColumnWidth(c, qMax(content, title) + 12);
    }
    // Unsorted until the trader clicks a column title: the portfolio's own order.
    columns->setSortIndicator(-1, Qt::AscendingOrder);
    m_table->setSortingEnabled(true);

    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("DetailMessage"));
    m_message->setAlignment(Qt::AlignCenter);
    m_message->setWordWrap(true);
    m_message->setStyleSheet(QStringLiteral("color: #5a6678;"));

    m_stack = new QStackedWidget(this);
    m_stack->addWidget(m_message);
    m_stack->addWidget(m_table);
    layout->addWidget(m_stack, 1);

    m_refreshTimer = new QTimer(this);
    m_refreshTimer->setSingleShot(true);
    m_refreshTimer->setInterval(RefreshMs);
    connect(m_refreshTimer, &QTimer::timeout, this, &PortfolioDetailWidget::refreshNow);
    connect(m_filter, &QLineEdit::textChanged, this, [this](const QString &text) {
        m_model->setFilterText(text);
        updateNotice();
    });
    connect(m_export, &QPushButton::clicked, this, [this] { exportRows(); });
}

QString PortfolioDetailWidget::messageText() const
{
    return m_stack && m_stack->currentWidget() == m_message ? m_message->text() : QString();
}

QString PortfolioDetailWidget::headerText() const
{
    QStringList parts;
    for (const QLabel *label : {m_name, m_summary, m_value, m_rate, m_limits}) {
        if (label && !label->text().isEmpty())
            parts << label->text();
    }
    return parts.join(QLatin1Char(' '));
}

QString PortfolioDetailWidget::noticeText() const
{
    return m_notice ? m_notice->text() : QString();
}

QString PortfolioDetailWidget::portfolioLabel() const
{
    if (m_detail.PortfolioNo() == m_portfolioNo && !m_detail.Name().isEmpty())
        return QStringLiteral("组合“%1”（%2）").arg(m_detail.Name(), m_portfolioNo);
    return QStringLiteral("组合%1").arg(m_portfolioNo);
}

void PortfolioDetailWidget::onPortfolioClicked(const QString &portfolioNo)
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    const PortfolioDetailBasicInfo *stored = store->GetPortfolioDetail(portfolioNo);
    m_portfolioNo = portfolioNo;
    m_pendingNote.clear();
    if (stored && !stored->DeleteFlag()) {
        m_presenter->cancelFetch();  // an answer still on its way is of no use now
        showPortfolio(*stored);
        return;
    }
    // Not in the store: the list has not loaded yet, or the portfolio was deleted since
    // the click. The back end tells which.
    m_detail = PortfolioDetailBasicInfo();
    showMessage(State::Loading, store->isInitialized()
                                    ? QStringLiteral("正在读取组合%1…").arg(portfolioNo)
                                    : QStringLiteral("组合列表尚未加载，正在从后台读取组合%1…").arg(portfolioNo));
    m_presenter->fetchPortfolio(portfolioNo);
}

void PortfolioDetailWidget::onPortfolioChanged(const QString &portfolioNo)
{
    if (portfolioNo != m_portfolioNo)
        return;
    // Changed here or at another desk: the back end's state is read, not the store's,
    // which the list brings up to date on its own time (or never, while it is closed).
    if (m_state == State::Showing) {
        m_pendingNote = QStringLiteral("组合已修改，正在读取最新内容…");
        updateNotice();
    } else {
        showMessage(State::Loading, QStringLiteral("正在读取%1…").arg(portfolioLabel()));
    }
    m_presenter->fetchPortfolio(portfolioNo);
}

void PortfolioDetailWidget::onPortfolioDeleted(const QString &portfolioNo)
{
    if (portfolioNo != m_portfolioNo || m_state == State::Deleted)
        return;
    const QString label = portfolioLabel();
    m_presenter->cancelFetch();  // a fetch under way may still have seen it
    showMessage(State::Deleted, QStringLiteral("%1已删除").arg(label));
}

void PortfolioDetailWidget::onPortfolioFetched(const QString &portfolioNo, bool found,
                                               const PortfolioDetailBasicInfo &detail, const QString &error)
{
    if (portfolioNo != m_portfolioNo)
        return;
    if (!error.isEmpty()) {
        if (m_state == State::Showing) {
            m_pendingNote = QStringLiteral("最新内容读取失败（%1），显示的是之前的内容").arg(error);
            updateNotice();
        } else {
            showMessage(State::Failed, QStringLiteral("%1读取失败：%2\n再次点击该组合可重试").arg(portfolioLabel(), error));
        }
        return;
    }
    if (!found) {
        showMessage(State::Deleted, QStringLiteral("%1已删除").arg(portfolioLabel()));
        return;
    }
    m_pendingNote.clear();
    showPortfolio(detail);
}

void PortfolioDetailWidget::showPortfolio(const PortfolioDetailBasicInfo &detail)
{
    m_detail = detail;
    m_state = State::Showing;
    const QList<PortfolioItem> items = detail.SymbolList();
    m_anyQuantity = std::any_of(items.cbegin(), items.cend(), [](const PortfolioItem &i) { return i.Quantity() > 0; });
    m_model->setLines(items);
    m_presenter->watchSymbols(m_model->symbols());
    // Quotes gathered for the previous lines are in the quote manager already; what
    // came for these lines is in their figures now.
    m_presenter->takeQuotes();
    if (items.isEmpty()) {
        m_message->setText(QStringLiteral("组合“%1”没有证券").arg(detail.Name()));
        m_stack->setCurrentWidget(m_message);
    } else {
        m_stack->setCurrentWidget(m_table);
    }
    updateHeader();
    updateFigures();
    updateNotice();
}

void PortfolioDetailWidget::showMessage(State state, const QString &text)
{
    m_state = state;
    if (state != State::Loading) {
        m_detail = PortfolioDetailBasicInfo();
        m_pendingNote.clear();
    }
    m_model->clear();
    m_presenter->watchSymbols({});
    m_message->setText(text);
    m_stack->setCurrentWidget(m_message);
    updateHeader();
    updateFigures();
    updateNotice();
}

void PortfolioDetailWidget::updateHeader()
{
    if (m_state != State::Showing) {
        m_name->clear();
        m_summary->clear();
        return;
    }
    m_name->setText(m_detail.Name());
    m_summary->setText(QStringLiteral("编号 %1  共%2行").arg(m_detail.PortfolioNo()).arg(m_model->lineCount()));
}

void PortfolioDetailWidget::updateFigures()
{
    if (m_state != State::Showing || m_model->lineCount() == 0) {
        m_value->clear();
        m_rate->clear();
        m_limits->clear();
        return;
    }
    // The portfolio's figures by the rule the list shows them with.
    PortfolioDetailExtraInfo extra;
    PortfolioQuoteMgr::GetInstance()->CalculateExtraInfo(m_detail, extra);
    const int quoted = m_model->quotedLineCount();
    const ShowType showType = VeltraUtils::GetCurrentShowType();
    if (!m_anyQuantity)
        m_value->setText(QStringLiteral("市值 --（仅权重）"));
    else if (quoted == 0)
        m_value->setText(QStringLiteral("市值 --"));
    else
        m_value->setText(QStringLiteral("市值 ")
                         + VeltraUtils::TransQtyShowType(QString::number(extra.MarketValue(), 'f', 2), showType));
    int sign = 0;
    if (quoted == 0) {
        m_rate->setText(QStringLiteral("涨跌幅 --"));
    } else {
        QString rate = QString::number(extra.ChangeRate() * 100.0, 'f', 2);
        const double shown = rate.toDouble();
        sign = shown > 0 ? 1 : shown < 0 ? -1 : 0;
        if (sign == 0)
            rate = QStringLiteral("0.00");  // never "-0.00"
        m_rate->setText(QStringLiteral("涨跌幅 %1%2%").arg(sign > 0 ? QStringLiteral("+") : QString(), rate));
    }
    // Restyling costs more than the figures: only when the direction turns.
    if (sign != m_rateSign) {
        m_rateSign = sign;
        m_rate->setStyleSheet(sign > 0 ? QLatin1String(kRise) : sign < 0 ? QLatin1String(kFall) : QString());
    }
    m_limits->setText(QStringLiteral("涨停 %1  跌停 %2  停牌 %3")
                          .arg(extra.UpLimitCount())
                          .arg(extra.DownLimitCount())
                          .arg(extra.SuspensionCount()));
}

void PortfolioDetailWidget::updateNotice()
{
    QStringList parts;
    if (m_state == State::Showing && m_model->lineCount() > 0 && !m_model->filterText().isEmpty()) {
        if (m_model->rowCount() == 0)
            parts << QStringLiteral("没有代码或名称含“%1”的证券（共%2行）").arg(m_model->filterText()).arg(m_model->lineCount());
        else
            parts << QStringLiteral("显示%1/%2行（筛选“%3”）")
                         .arg(m_model->rowCount())
                         .arg(m_model->lineCount())
                         .arg(m_model->filterText());
    }
    if (!m_pendingNote.isEmpty())
        parts << m_pendingNote;
    m_notice->setText(parts.join(QStringLiteral("；")));
    m_export->setEnabled(m_state == State::Showing && m_model->rowCount() > 0);
}

void PortfolioDetailWidget::refreshNow()
{
    if (!m_presenter || !m_presenter->hasQuotes())
        return;
    const QVector<QPair<int, TzPortfolioQuote>> quotes = m_presenter->takeQuotes();
    if (m_state != State::Showing)
        return;
    if (m_model->applyQuotes(quotes) > 0)
        updateFigures();
}

bool PortfolioDetailWidget::exportRows(const QString &path)
{
    if (m_state != State::Showing || m_model->rowCount() == 0) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("没有可导出的明细"), this);
        return false;
    }
    QString target = path;
    if (target.isEmpty()) {
        target = VeltraUtils::GetSaveTableFileName(this, QStringLiteral("导出组合明细"),
                                                   PortfolioDetailExport::suggestedFileName(m_detail.Name()));
        if (target.isEmpty())
            return false;
    }
    QString error;
    const int rows = m_model->rowCount();
    if (!PortfolioDetailExport::write(*m_model, m_detail.Name(), target, &error)) {
        VeltraUtils::PutBusiMsg(BusiMsgLevel::Warning, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                                QStringLiteral("导出组合明细：失败，%1").arg(error));
        VeltraWidget::ShowErrorMsgBox(QStringLiteral("组合明细导出失败：%1").arg(error), this);
        return false;
    }
    VeltraUtils::PutBusiMsg(BusiMsgLevel::Info, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu,
                            QStringLiteral("导出组合明细 %1（%2行）：成功").arg(QDir::toNativeSeparators(target)).arg(rows));
    m_pendingNote = QStringLiteral("已导出%1行到%2").arg(rows).arg(QDir::toNativeSeparators(target));
    updateNotice();
    return true;
}
