#include "tztableview.h"

#include "tzcore.h"
#include "tzitemmodeldeletage.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QSettings>
#include <QToolTip>

TzTableView::TzTableView(QWidget *parent)
    : QTableView(parent)
    , m_model(new RecordModel(this))
{
    setModel(m_model);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setWordWrap(false);
    verticalHeader()->setVisible(false);
    verticalHeader()->setDefaultSectionSize(24);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSectionsMovable(true);
    horizontalHeader()->setStretchLastSection(true);
    connect(horizontalHeader(), &QHeaderView::sectionResized, this, [this] { saveLayout(); });
    connect(horizontalHeader(), &QHeaderView::sectionMoved, this, [this] { saveLayout(); });
}

QString TzTableView::settingsKey(const QString &what) const
{
    return QStringLiteral("TableView/%1/%2").arg(m_config.name, what);
}

void TzTableView::SetTableName(const QString &name)
{
    m_config = TableConfig::load(name);
    m_config.name = name;
    applyConfig();
}

void TzTableView::applyConfig()
{
    m_applying = true;
    m_model->setColumnCount(m_config.columnCount());
    QMap<int, QString> titles;
    QList<int> signColored;
    for (const TableColumnConfig &c : qAsConst(m_config.columns)) {
        titles.insert(c.id, c.title);
        m_model->setColumnAlignment(c.id, c.alignment);
        if (c.signColored)
            signColored.append(c.id);
    }
    m_model->setHeaderTitles(titles);
    m_model->setSignColoredColumns(signColored);
    if (m_config.keyColumn >= 0)
        m_model->setKeyColumn(m_config.keyColumn);

    QHeaderView *header = horizontalHeader();
    const int count = m_model->columnCount();
    for (int column = 0; column < count; ++column)
        setColumnHidden(column, true);
    QSettings *settings = TzCore::settings();
    const QStringList savedOrder = settings->value(settingsKey(QStringLiteral("order"))).toStringList();
    QList<int> order;
    for (const QString &id : savedOrder)
        order.append(id.toInt());
    for (const TableColumnConfig &c : qAsConst(m_config.columns)) {
        if (!order.contains(c.id))
            order.append(c.id);
    }
    for (int visual = 0; visual < order.size(); ++visual) {
        const int logical = order.at(visual);
        if (logical < 0 || logical >= count)
            continue;
        header->moveSection(header->visualIndex(logical), visual);
    }
    for (const TableColumnConfig &c : qAsConst(m_config.columns)) {
        setColumnHidden(c.id, !c.visible);
        const int width = settings->value(settingsKey(QStringLiteral("width/%1").arg(c.id)), c.width).toInt();
        setColumnWidth(c.id, width);
    }
    m_applying = false;
}

void TzTableView::saveLayout()
{
    if (m_applying || m_config.name.isEmpty())
        return;
    QSettings *settings = TzCore::settings();
    QHeaderView *header = horizontalHeader();
    QStringList order;
    for (int visual = 0; visual < header->count(); ++visual)
        order << QString::number(header->logicalIndex(visual));
    settings->setValue(settingsKey(QStringLiteral("order")), order);
    for (const TableColumnConfig &c : qAsConst(m_config.columns)) {
        if (!isColumnHidden(c.id))
            settings->setValue(settingsKey(QStringLiteral("width/%1").arg(c.id)), columnWidth(c.id));
    }
}

void TzTableView::setTzTableItemDelegate(TzItemModelDeletage *delegate)
{
    setItemDelegate(delegate);
}

void TzTableView::setKeyColumn(int column)
{
    m_model->setKeyColumn(column);
}

void TzTableView::setCheckBoxEnabled(bool enabled)
{
    m_model->setCheckable(enabled);
    viewport()->update();
}

void TzTableView::setSerialNumberVisible(bool visible)
{
    verticalHeader()->setVisible(visible);
}

void TzTableView::setAllCheckBoxChecked(bool checked)
{
    m_model->setAllChecked(checked);
}

QList<int> TzTableView::getCheckedRows() const
{
    return m_model->checkedRows();
}

void TzTableView::updateRecordDataList(const QList<RowRecord> &records)
{
    m_model->resetRecords(records);
}

void TzTableView::addRecordData(const RowRecord &record)
{
    m_model->appendRecord(record);
}

bool TzTableView::updataRecordData(const RowRecord &record)
{
    return m_model->updateRecord(record);
}

void TzTableView::insertRecordData(int row, const RowRecord &record)
{
    m_model->insertRecord(row, record);
}

bool TzTableView::deleteRecordData(int row)
{
    return m_model->removeRecord(row);
}

RowRecord TzTableView::getRowData(int row) const
{
    return m_model->record(row);
}

RowRecord TzTableView::getRowDataByKey(const QString &key) const
{
    return m_model->record(m_model->rowOfKey(key));
}

int TzTableView::getRowByKey(const QString &key) const
{
    return m_model->rowOfKey(key);
}

QList<RowRecord> TzTableView::getViewData() const
{
    return m_model->records();
}

void TzTableView::clear()
{
    m_model->clearRecords();
}

void TzTableView::setCurrentIndex(const QModelIndex &index, bool select)
{
    if (!index.isValid())
        return;
    if (select)
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    else
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    scrollTo(index);
}

QModelIndex TzTableView::GetIndexByGlobalPos(const QPoint &globalPos) const
{
    return indexAt(viewport()->mapFromGlobal(globalPos));
}

VeltraTableView::VeltraTableView(QWidget *parent)
    : TzTableView(parent)
{
    setObjectName(QStringLiteral("VeltraTableView"));
    setAlternatingRowColors(true);
    setShowGrid(true);
}

bool TzTableView::viewportEvent(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QTableView::viewportEvent(event);
    const auto *help = static_cast<QHelpEvent *>(event);
    const QModelIndex index = indexAt(help->pos());
    if (index.isValid() && index.data(Qt::ToolTipRole).isNull()) {
        const QString text = index.data(Qt::DisplayRole).toString();
        const QRect cell = visualRect(index);
        // The style's text margin on both sides, as the item delegate draws it.
        const int margin = 2 * (style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1);
        if (!text.isEmpty() && fontMetrics().horizontalAdvance(text) + margin > cell.width()) {
            QToolTip::showText(help->globalPos(), text, viewport(), cell);
            return true;
        }
        QToolTip::hideText();
        event->ignore();
        return true;
    }
    return QTableView::viewportEvent(event);
}

void TzTableView::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QVector<int> &roles)
{
    const int row = topLeft.row();
    if (topLeft.isValid() && bottomRight.row() == row && isVisible()) {
        const int y = rowViewportPosition(row);
        const bool offScreen = isRowHidden(row) || y + rowHeight(row) <= 0 || y >= viewport()->height();
        bool editorOpen = false;
        for (int c = topLeft.column(); c <= bottomRight.column() && !editorOpen; ++c)
            editorOpen = indexWidget(topLeft.sibling(row, c)) != nullptr;
        if (offScreen && !editorOpen)
            return;
    }
    QTableView::dataChanged(topLeft, bottomRight, roles);
}
