#include "recordmodel.h"

#include <QBrush>
#include <QColor>
#include <QRunnable>
#include <QThreadPool>

namespace {
const QColor kUp(0xd9, 0x30, 0x26);    // a rise is red on Chinese desks
const QColor kDown(0x1a, 0x8f, 0x3c);  // a fall is green

// Freeing a table of a thousand rows of nested maps takes milliseconds that the trader
// would wait for before the new rows paint; a big table is freed on a pool thread (the
// rows share nothing that is not reference-counted atomically).
constexpr int kFreeInBackgroundRows = 256;

void freeRows(QVector<RowRecord> &&rows)
{
    if (rows.size() < kFreeInBackgroundRows) {
        rows.clear();
        return;
    }
    QThreadPool::globalInstance()->start(QRunnable::create([rows = std::move(rows)]() mutable { rows.clear(); }));
}
}

RecordModel::RecordModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void RecordModel::setColumnCount(int count)
{
    if (count == m_columns)
        return;
    beginResetModel();
    m_columns = count;
    endResetModel();
}

void RecordModel::setHeaderTitles(const QMap<int, QString> &titles)
{
    m_titles = titles;
    if (m_columns > 0)
        emit headerDataChanged(Qt::Horizontal, 0, m_columns - 1);
}

void RecordModel::setColumnAlignment(int column, Qt::Alignment alignment)
{
    m_alignment.insert(column, alignment);
}

void RecordModel::setSignColoredColumns(const QList<int> &columns)
{
    m_signColored = columns;
}

void RecordModel::setKeyColumn(int column)
{
    m_keyColumn = column;
    rebuildIndex();
}

void RecordModel::setCheckable(bool checkable)
{
    m_checkable = checkable;
}

int RecordModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int RecordModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_columns;
}

QVariant RecordModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    const RowRecord &row = m_rows.at(index.row());
    const int column = index.column();
    const QString *key = nullptr;
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        key = &RecordRole::display;
        break;
    case Qt::UserRole:
        key = &RecordRole::user;
        break;
    case Qt::UserRole + 6:
        key = &RecordRole::user6;
        break;
    case Qt::TextAlignmentRole: {
        const auto it = m_alignment.constFind(column);
        return it == m_alignment.cend() ? QVariant() : QVariant(int(*it));
    }
    case Qt::ForegroundRole: {
        if (!m_signColored.contains(column))
            return QVariant();
        const auto cell = row.constFind(column);
        if (cell == row.cend())
            return QVariant();
        const double v = cell->value(RecordRole::user).toDouble();
        if (v > 0.0)
            return QBrush(kUp);
        if (v < 0.0)
            return QBrush(kDown);
        return QVariant();
    }
    case Qt::CheckStateRole:
        if (m_checkable && column == 0)
            return m_checked.value(index.row()) ? Qt::Checked : Qt::Unchecked;
        return QVariant();
    default:
        if (role > Qt::UserRole) {
            // Pages may keep further roles in a cell under their decimal number.
            const auto cell = row.constFind(column);
            return cell == row.cend() ? QVariant() : cell->value(QString::number(role));
        }
        return QVariant();
    }
    const auto cell = row.constFind(column);
    return cell == row.cend() ? QVariant() : cell->value(*key);
}

bool RecordModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return false;
    if (role == Qt::CheckStateRole && m_checkable && index.column() == 0) {
        setChecked(index.row(), value.toInt() == Qt::Checked);
        return true;
    }
    const QString key = role == Qt::EditRole || role == Qt::DisplayRole ? RecordRole::display
                                                                        : QString::number(role);
    m_rows[index.row()][index.column()].insert(key, value);
    if (index.column() == m_keyColumn)
        rebuildIndex();
    emit dataChanged(index, index, {role});
    return true;
}

Qt::ItemFlags RecordModel::flags(const QModelIndex &index) const
{
    Qt::ItemFlags f = QAbstractTableModel::flags(index);
    if (m_checkable && index.column() == 0)
        f |= Qt::ItemIsUserCheckable;
    return f | Qt::ItemIsEditable;
}

QVariant RecordModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (orientation == Qt::Vertical)
        return section + 1;  // serial number
    return m_titles.value(section);
}

QString RecordModel::keyOf(const RowRecord &record) const
{
    return record.value(m_keyColumn).value(RecordRole::display).toString();
}

void RecordModel::rebuildIndex(int fromRow)
{
    if (fromRow == 0)
        m_keyIndex.clear();
    if (m_keyColumn < 0)
        return;
    for (int r = fromRow; r < m_rows.size(); ++r)
        m_keyIndex.insert(keyOf(m_rows.at(r)), r);
}

void RecordModel::resetRecords(const QList<RowRecord> &records)
{
    beginResetModel();
    QVector<RowRecord> previous = std::move(m_rows);
    m_rows = records.toVector();
    m_checked.fill(false, m_rows.size());
    rebuildIndex();
    endResetModel();
    freeRows(std::move(previous));
}

void RecordModel::appendRecord(const RowRecord &record)
{
    insertRecord(m_rows.size(), record);
}

void RecordModel::insertRecord(int row, const RowRecord &record)
{
    row = qBound(0, row, m_rows.size());
    beginInsertRows(QModelIndex(), row, row);
    m_rows.insert(row, record);
    m_checked.insert(row, false);
    if (row == m_rows.size() - 1 && m_keyColumn >= 0)
        m_keyIndex.insert(keyOf(record), row);
    else
        rebuildIndex(row == 0 ? 0 : row);
    endInsertRows();
}

bool RecordModel::removeRecord(int row)
{
    if (row < 0 || row >= m_rows.size())
        return false;
    beginRemoveRows(QModelIndex(), row, row);
    if (m_keyColumn >= 0)
        m_keyIndex.remove(keyOf(m_rows.at(row)));
    m_rows.removeAt(row);
    m_checked.removeAt(row);
    rebuildIndex(row);
    endRemoveRows();
    return true;
}

bool RecordModel::updateRecord(const RowRecord &record)
{
    const int row = rowOfKey(keyOf(record));
    if (row < 0)
        return false;
    RowRecord &stored = m_rows[row];
    // Columns come in ascending order; each run of adjacent changed columns becomes one
    // dataChanged, so a view repaints only the cells whose content moved.
    int runStart = -1, runEnd = -1;
    auto flush = [&] {
        if (runStart >= 0)
            emit dataChanged(index(row, runStart), index(row, runEnd));
        runStart = runEnd = -1;
    };
    for (auto cell = record.cbegin(); cell != record.cend(); ++cell) {
        QMap<QString, QVariant> &target = stored[cell.key()];
        bool changed = false;
        for (auto role = cell->cbegin(); role != cell->cend(); ++role) {
            auto it = target.find(role.key());
            if (it == target.end()) {
                target.insert(role.key(), role.value());
                changed = true;
            } else if (*it != role.value()) {
                *it = role.value();
                changed = true;
            }
        }
        if (!changed || cell.key() >= m_columns)
            continue;
        if (runStart >= 0 && cell.key() == runEnd + 1) {
            runEnd = cell.key();
        } else {
            flush();
            runStart = runEnd = cell.key();
        }
    }
    flush();
    return true;
}

void RecordModel::clearRecords()
{
    resetRecords({});
}

RowRecord RecordModel::record(int row) const
{
    return m_rows.value(row);
}

int RecordModel::rowOfKey(const QString &key) const
{
    return m_keyIndex.value(key, -1);
}

bool RecordModel::isChecked(int row) const
{
    return m_checked.value(row);
}

void RecordModel::setChecked(int row, bool checked)
{
    if (row < 0 || row >= m_checked.size() || m_checked.at(row) == checked)
        return;
    m_checked[row] = checked;
    emit dataChanged(index(row, 0), index(row, 0), {Qt::CheckStateRole});
    emit checkStateChanged(row, checked);
}

void RecordModel::setAllChecked(bool checked)
{
    bool changed = false;
    for (int r = 0; r < m_checked.size(); ++r) {
        changed = changed || m_checked.at(r) != checked;
        m_checked[r] = checked;
    }
    if (!changed)
        return;
    // One notice for the whole table: a thousand rows ticked at once are one change.
    emit dataChanged(index(0, 0), index(int(m_checked.size()) - 1, 0), {Qt::CheckStateRole});
    emit checkStateChanged(-1, checked);
}

QList<int> RecordModel::checkedRows() const
{
    QList<int> rows;
    for (int r = 0; r < m_checked.size(); ++r) {
        if (m_checked.at(r))
            rows.append(r);
    }
    return rows;
}
