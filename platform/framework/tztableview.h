#pragma once

#include "tzplatform_global.h"

#include "recordmodel.h"
#include "tableconfig.h"

#include <QTableView>

class TzItemModelDeletage;

// The framework's table: a QTableView over one RecordModel. Its columns (titles, widths,
// order, visibility) come from the table configuration of its table name; widths and
// order the user changes are kept in the settings under that name.
class TZPLATFORM_EXPORT TzTableView : public QTableView
{
    Q_OBJECT

public:
    explicit TzTableView(QWidget *parent = nullptr);

    void SetTableName(const QString &name);
    QString tableName() const { return m_config.name; }
    RecordModel *recordModel() const { return m_model; }
    void setTzTableItemDelegate(TzItemModelDeletage *delegate);

    // Key column for getRowDataByKey / updataRecordData (its display text).
    void setKeyColumn(int column);
    void setCheckBoxEnabled(bool enabled);
    void setSerialNumberVisible(bool visible);
    void setAllCheckBoxChecked(bool checked);
    QList<int> getCheckedRows() const;

    void updateRecordDataList(const QList<RowRecord> &records);
    void addRecordData(const RowRecord &record);
    // Merges the cells into the row of the same key; false when there is none.
    bool updataRecordData(const RowRecord &record);
    void insertRecordData(int row, const RowRecord &record);
    bool deleteRecordData(int row);
    RowRecord getRowData(int row) const;
    RowRecord getRowDataByKey(const QString &key) const;
    int getRowByKey(const QString &key) const;
    QList<RowRecord> getViewData() const;
    void clear();

    using QTableView::setCurrentIndex;
    // Makes index current; with select true its row is selected too, and it is scrolled to.
    void setCurrentIndex(const QModelIndex &index, bool select);
    QModelIndex GetIndexByGlobalPos(const QPoint &globalPos) const;

protected:
    // A cell whose text is cut off by its column shows the whole text as a tooltip.
    bool viewportEvent(QEvent *event) override;
    // Cells of one row that changed off screen cost nothing: the item view repaints its
    // whole viewport for a range of cells, so a row out of sight (and without an open
    // editor) is left alone.
    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QVector<int> &roles = QVector<int>()) override;

private:
    void applyConfig();
    void saveLayout();
    QString settingsKey(const QString &what) const;

    RecordModel *m_model;
    TableConfig m_config;
    bool m_applying = false;
};

// The skinned table of the Veltra look.
class TZPLATFORM_EXPORT VeltraTableView : public TzTableView
{
    Q_OBJECT

public:
    explicit VeltraTableView(QWidget *parent = nullptr);
};
