#include "tableconfig.h"

#include "tzcore.h"

#include <QDebug>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>

namespace {

Qt::Alignment alignmentOf(const QString &text)
{
    if (text == QLatin1String("right"))
        return Qt::AlignRight | Qt::AlignVCenter;
    if (text == QLatin1String("center"))
        return Qt::AlignCenter;
    return Qt::AlignLeft | Qt::AlignVCenter;
}

QJsonObject allTables()
{
    static QMutex mutex;
    static QJsonObject tables;
    static QString loadedFrom;
    QMutexLocker lock(&mutex);
    const QString path = TzCore::dataDir() + QStringLiteral("/config/tables.json");
    if (loadedFrom != path) {
        loadedFrom = path;
        QFile file(path);
        QJsonParseError error;
        if (!file.open(QIODevice::ReadOnly)) {
            qWarning() << "TableConfig: cannot open" << path;
        } else {
            const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
            if (error.error != QJsonParseError::NoError)
                qWarning() << "TableConfig:" << path << "offset" << error.offset << error.errorString();
            tables = doc.object();
        }
    }
    return tables;
}

} // namespace

int TableConfig::columnCount() const
{
    int count = 0;
    for (const TableColumnConfig &c : columns)
        count = qMax(count, c.id + 1);
    return count;
}

TableConfig TableConfig::load(const QString &tableName)
{
    TableConfig config;
    config.name = tableName;
    const QJsonObject table = allTables().value(tableName).toObject();
    config.keyColumn = table.value(QStringLiteral("keyColumn")).toInt(-1);
    for (const QJsonValue &v : table.value(QStringLiteral("columns")).toArray()) {
        const QJsonObject o = v.toObject();
        TableColumnConfig c;
        c.id = o.value(QStringLiteral("id")).toInt();
        c.title = o.value(QStringLiteral("title")).toString();
        c.width = o.value(QStringLiteral("width")).toInt(80);
        c.visible = o.value(QStringLiteral("visible")).toBool(true);
        c.alignment = alignmentOf(o.value(QStringLiteral("align")).toString());
        c.signColored = o.value(QStringLiteral("signColored")).toBool(false);
        config.columns.append(c);
    }
    return config;
}
