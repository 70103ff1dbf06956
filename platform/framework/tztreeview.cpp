#include "tztreeview.h"

#include <QHeaderView>
#include <QStandardItemModel>

namespace {
constexpr int kCellRole = Qt::UserRole + 100;
}

TzTreeView::TzTreeView(QWidget *parent)
    : QTreeView(parent)
    , m_model(new QStandardItemModel(this))
{
    setModel(m_model);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setUniformRowHeights(true);
    header()->setStretchLastSection(true);
}

void TzTreeView::setHeaderTitles(const QStringList &titles)
{
    m_model->setHorizontalHeaderLabels(titles);
}

QList<QStandardItem *> TzTreeView::buildRow(const RowRecord &record) const
{
    QList<QStandardItem *> items;
    const int columns = record.isEmpty() ? 1 : qMax(1, record.lastKey() + 1);
    for (int column = 0; column < columns; ++column) {
        QMap<QString, QVariant> cell = record.value(column);
        const QList<RowRecord> children = cell.take(TreeRecord::children).value<QList<RowRecord>>();
        auto *item = new QStandardItem(cell.value(RecordRole::display).toString());
        item->setData(cell, kCellRole);
        item->setEditable(false);
        for (const RowRecord &child : children)
            item->appendRow(buildRow(child));
        items.append(item);
    }
    return items;
}

void TzTreeView::updateRecordDataList(const QList<RowRecord> &roots)
{
    m_model->removeRows(0, m_model->rowCount());
    for (const RowRecord &root : roots)
        m_model->appendRow(buildRow(root));
}

void TzTreeView::clear()
{
    m_model->removeRows(0, m_model->rowCount());
}

RowRecord TzTreeView::getRowData(const QModelIndex &index) const
{
    RowRecord record;
    if (!index.isValid() || index.model() != m_model)
        return record;
    const int columns = m_model->columnCount(index.parent());
    for (int column = 0; column < columns; ++column) {
        const QModelIndex cell = index.sibling(index.row(), column);
        const QVariant value = cell.data(kCellRole);
        if (value.isValid())
            record.insert(column, value.toMap());
    }
    return record;
}

int TzTreeView::topLevelCount() const
{
    return m_model->rowCount();
}
