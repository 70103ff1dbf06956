#include "referencetable.h"

#include "tzcore.h"

#include <QDir>
#include <QFile>
#include <QTextStream>

bool ReferenceTable::load(const QString &fileName, QString *error)
{
    m_header.clear();
    m_rows.clear();
    const QString path = QDir::isAbsolutePath(fileName) ? fileName
                                                        : TzCore::dataDir() + QLatin1Char('/') + fileName;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        if (error)
            *error = QStringLiteral("参考数据文件%1无法打开：%2").arg(path, file.errorString());
        return false;
    }
    QTextStream in(&file);
    in.setCodec("UTF-8");
    for (const QString &name : in.readLine().split(QLatin1Char(',')))
        m_header << name.trimmed();
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.isEmpty())
            continue;
        QStringList cells = line.split(QLatin1Char(','));
        for (QString &cell : cells)
            cell = cell.trimmed();
        m_rows.append(cells);
    }
    return true;
}

QList<QHash<QString, QString>> ReferenceTable::records() const
{
    QList<QHash<QString, QString>> records;
    records.reserve(m_rows.size());
    for (const QStringList &cells : m_rows) {
        QHash<QString, QString> record;
        for (int i = 0; i < m_header.size() && i < cells.size(); ++i)
            record.insert(m_header.at(i), cells.at(i));
        records.append(record);
    }
    return records;
}
