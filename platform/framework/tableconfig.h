#pragma once

#include "tzplatform_global.h"

#include <QList>
#include <QString>

// Column layout of one named table: which model columns show, in which order, with which
// title, width and alignment. Read from data/config/tables.json.
struct TableColumnConfig
{
    int id = 0;           // model column
    QString title;
    int width = 80;
    bool visible = true;
    Qt::Alignment alignment = Qt::AlignLeft | Qt::AlignVCenter;
    bool signColored = false;  // red above zero, green below
};

struct TableConfig
{
    QString name;
    int keyColumn = -1;
    QList<TableColumnConfig> columns;  // display order

    bool isValid() const { return !columns.isEmpty(); }
    int columnCount() const;  // largest model column + 1

    // The configuration of a table name, or an invalid one when the file has none.
    static TZPLATFORM_EXPORT TableConfig load(const QString &tableName);
};
