#include "tzsearchbox.h"

#include "cdatabase.h"
#include "fieldkeys.h"
#include "securitycatalog.h"

#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScreen>
#include <QTimer>
#include <QTreeWidget>

TzSearchBox::TzSearchBox(QWidget *parent)
    : QLineEdit(parent)
    , m_popup(new QTreeWidget(this))
{
    setPlaceholderText(QStringLiteral("代码/名称/拼音首字母"));
    setClearButtonEnabled(true);
    // A tool-tip window never takes the focus from the box: typing goes on while the
    // list shows.
    m_popup->setWindowFlags(Qt::ToolTip | Qt::FramelessWindowHint);
    m_popup->setAttribute(Qt::WA_ShowWithoutActivating);
    m_popup->setObjectName(QStringLiteral("TzSearchBoxPopup"));
    m_popup->setFocusPolicy(Qt::NoFocus);
    m_popup->setColumnCount(3);
    m_popup->setHeaderHidden(true);
    m_popup->setRootIsDecorated(false);
    m_popup->setUniformRowHeights(true);
    m_popup->setSelectionMode(QAbstractItemView::SingleSelection);
    m_popup->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_popup->header()->setStretchLastSection(true);
    m_popup->setColumnWidth(0, 90);
    m_popup->setColumnWidth(1, 110);
    m_popup->viewport()->installEventFilter(this);
    connect(this, &QLineEdit::textEdited, this, &TzSearchBox::refresh);
}

TzSearchBox::~TzSearchBox() = default;

void TzSearchBox::setSymbolList(const QStringList &symbols)
{
    m_positions = SecuritySearchIndex::instance().positionsOf(symbols);
}

void TzSearchBox::setMinMatchLength(int length)
{
    m_minCodeLength = qMax(1, length);
}

QVector<SecuritySearchHit> TzSearchBox::search(const QString &text) const
{
    return SecuritySearchIndex::instance().search(text, m_positions, m_minCodeLength, m_maxResults);
}

bool TzSearchBox::isPopupVisible() const
{
    return m_popup->isVisible();
}

void TzSearchBox::refresh(const QString &text)
{
    const QVector<SecuritySearchHit> hits = search(text);
    m_popup->clear();
    if (hits.isEmpty()) {
        // While a code is still being typed there is nothing to say yet.
        const int digits = SecuritySearchIndex::codeDigits(text);
        if (text.trimmed().isEmpty() || (digits >= 0 && digits < m_minCodeLength))
            hidePopup();
        else
            showNotice(QStringLiteral("无匹配的证券：%1").arg(text.trimmed()));
        return;
    }
    CDataBase *config = CDataBase::GetInstance();
    QList<QTreeWidgetItem *> items;
    items.reserve(hits.size());
    for (const SecuritySearchHit &hit : hits) {
        const SecurityInfo *s = hit.security;
        const QString market = s->markets.value(0);
        auto *item = new QTreeWidgetItem(
            {s->code, s->name, config->GetStaticCfgValue(DictionaryKey::exchangeChineseName, market)});
        item->setData(0, Qt::UserRole, s->symbol);
        item->setData(0, Qt::UserRole + 1, market);
        items.append(item);
    }
    m_popup->addTopLevelItems(items);
    m_popup->setCurrentItem(m_popup->topLevelItem(0));
    placePopup();
}

void TzSearchBox::placePopup()
{
    const int rows = qMin(m_popup->topLevelItemCount(), 10);
    const int rowHeight = qMax(18, m_popup->sizeHintForRow(0));
    const QSize size(qMax(width(), 300), rows * rowHeight + 2 * m_popup->frameWidth() + 2);
    QPoint pos = mapToGlobal(QPoint(0, height()));
    if (QScreen *screen = this->screen()) {
        const QRect area = screen->availableGeometry();
        if (pos.y() + size.height() > area.bottom())
            pos.setY(mapToGlobal(QPoint(0, 0)).y() - size.height());
        pos.setX(qBound(area.left(), pos.x(), qMax(area.left(), area.right() - size.width())));
    }
    m_popup->setGeometry(QRect(pos, size));
    if (!m_popup->isVisible())
        m_popup->show();
}

void TzSearchBox::showNotice(const QString &notice)
{
    m_popup->clear();
    auto *item = new QTreeWidgetItem({notice});
    item->setFlags(Qt::NoItemFlags);
    m_popup->addTopLevelItem(item);
    item->setFirstColumnSpanned(true);  // only once the item is in the list
    placePopup();
}

void TzSearchBox::hidePopup()
{
    m_popup->hide();
}

void TzSearchBox::pick(int row)
{
    QTreeWidgetItem *item = m_popup->topLevelItem(row);
    if (!item)
        return;
    const QString symbol = item->data(0, Qt::UserRole).toString();
    const QString market = item->data(0, Qt::UserRole + 1).toString();
    if (symbol.isEmpty())
        return;  // a notice, not a security
    hidePopup();
    clear();
    emit signalSymbolSelected(symbol, market);
}

void TzSearchBox::keyPressEvent(QKeyEvent *event)
{
    const int count = m_popup->topLevelItemCount();
    const int current = m_popup->currentItem() ? m_popup->indexOfTopLevelItem(m_popup->currentItem()) : -1;
    switch (event->key()) {
    case Qt::Key_Down:
    case Qt::Key_Up:
    case Qt::Key_PageDown:
    case Qt::Key_PageUp: {
        if (!isPopupVisible()) {
            if (!text().isEmpty())
                refresh(text());
            return;
        }
        const int step = event->key() == Qt::Key_Down ? 1 : event->key() == Qt::Key_Up ? -1
                       : event->key() == Qt::Key_PageDown ? 10 : -10;
        const int next = qBound(0, current + step, count - 1);
        m_popup->setCurrentItem(m_popup->topLevelItem(next));
        m_popup->scrollToItem(m_popup->currentItem());
        return;
    }
    case Qt::Key_Return:
    case Qt::Key_Enter: {
        if (!isPopupVisible() && !text().isEmpty())
            refresh(text());
        const int digits = SecuritySearchIndex::codeDigits(text());
        if (!isPopupVisible() && digits >= 0 && digits < m_minCodeLength)
            showNotice(QStringLiteral("请输入至少%1位证券代码").arg(m_minCodeLength));
        else if (isPopupVisible() && m_popup->topLevelItemCount() > 0)
            pick(qMax(0, current));
        return;
    }
    case Qt::Key_Escape:
        if (isPopupVisible()) {
            hidePopup();
            return;
        }
        break;
    default:
        break;
    }
    QLineEdit::keyPressEvent(event);
}

void TzSearchBox::focusOutEvent(QFocusEvent *event)
{
    QLineEdit::focusOutEvent(event);
    // A click into the list arrives after the focus moved; let it pick first.
    QTimer::singleShot(150, this, [this] {
        if (!hasFocus())
            hidePopup();
    });
}

bool TzSearchBox::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_popup->viewport() && event->type() == QEvent::MouseButtonRelease) {
        auto *mouse = static_cast<QMouseEvent *>(event);
        if (QTreeWidgetItem *item = m_popup->itemAt(mouse->pos())) {
            pick(m_popup->indexOfTopLevelItem(item));
            return true;
        }
    }
    return QLineEdit::eventFilter(watched, event);
}
