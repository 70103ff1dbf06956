#pragma once

#include "tzplatform_global.h"

#include "recordmodel.h"

#include <QTreeView>

class QStandardItem;
class QStandardItemModel;

namespace TreeRecord {
// Cell key of column 0 under which a tree record keeps its child records
// (a QList<RowRecord>).
inline const QString children = QStringLiteral("children");
}

// The framework's tree: a QTreeView over records of the same form as the table's rows
// (column -> cell, a cell holding the role keys "0" for the text shown and any record
// fields). A record's children hang under TreeRecord::children of its column 0.
class TZPLATFORM_EXPORT TzTreeView : public QTreeView
{
    Q_OBJECT

public:
    explicit TzTreeView(QWidget *parent = nullptr);

    void setHeaderTitles(const QStringList &titles);
    // Replaces the whole tree with these top-level records.
    void updateRecordDataList(const QList<RowRecord> &roots);
    void clear();
    // The record of the row of index (every column's cell, children left out); empty for
    // an invalid index.
    RowRecord getRowData(const QModelIndex &index) const;
    int topLevelCount() const;

private:
    QList<QStandardItem *> buildRow(const RowRecord &record) const;

    QStandardItemModel *m_model;
};
