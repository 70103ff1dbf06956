#pragma once

#include "tzplatform_global.h"

#include <QAbstractTableModel>
#include <QHash>
#include <QMap>
#include <QVector>

// A table row as pages build it: column number -> (role key -> value). The role keys
// "0", "256" and "262" are Qt's display role, user role and user role + 6; any other key
// is a record field that only getRowData returns.
using RowRecord = QMap<int, QMap<QString, QVariant>>;

namespace RecordRole {
inline const QString display = QStringLiteral("0");
inline const QString user = QStringLiteral("256");
inline const QString user6 = QStringLiteral("262");
}

// The one model behind TzTableView: a plain vector of row records, an optional hash
// index on a key column (its display text), and per-row check marks. Edits emit
// dataChanged for exactly the cells that changed.
class TZPLATFORM_EXPORT RecordModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit RecordModel(QObject *parent = nullptr);

    void setColumnCount(int count);
    void setHeaderTitles(const QMap<int, QString> &titles);
    void setColumnAlignment(int column, Qt::Alignment alignment);
    // Columns whose text turns red above zero and green below, by the cell's user value.
    void setSignColoredColumns(const QList<int> &columns);
    // The key column: rows are found by the display text of this column. -1 = none.
    void setKeyColumn(int column);
    int keyColumn() const { return m_keyColumn; }
    void setCheckable(bool checkable);
    bool isCheckable() const { return m_checkable; }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    void resetRecords(const QList<RowRecord> &records);
    void appendRecord(const RowRecord &record);
    void insertRecord(int row, const RowRecord &record);
    bool removeRecord(int row);
    // Merges the record's cells into the row with the same key (key column required).
    // Returns false when no row has that key.
    bool updateRecord(const RowRecord &record);
    void clearRecords();

    RowRecord record(int row) const;
    int rowOfKey(const QString &key) const;
    QList<RowRecord> records() const { return m_rows.toList(); }

    bool isChecked(int row) const;
    void setChecked(int row, bool checked);
    void setAllChecked(bool checked);
    QList<int> checkedRows() const;

signals:
    // A row's check mark changed; row -1: every row's, to checked (setAllChecked).
    void checkStateChanged(int row, bool checked);

private:
    QString keyOf(const RowRecord &record) const;
    void rebuildIndex(int fromRow = 0);

    QVector<RowRecord> m_rows;
    QVector<bool> m_checked;
    QHash<QString, int> m_keyIndex;
    QMap<int, QString> m_titles;
    QHash<int, Qt::Alignment> m_alignment;
    QList<int> m_signColored;
    int m_columns = 0;
    int m_keyColumn = -1;
    bool m_checkable = false;
};
