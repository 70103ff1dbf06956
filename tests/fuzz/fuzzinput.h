#pragma once

// What the import fuzz targets share: the reference data the line checks look codes up
// in, and a scratch file of this process that the input is written to, since the
// readers read files.

#include "portfolioimportfile.h"
#include "securitycatalog.h"
#include "tzcore.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

inline void startFuzzing()
{
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    SecurityCatalog::instance();
}

inline void importBytes(const QByteArray &bytes, const char *suffix)
{
    static const QString stem = QDir::tempPath() + QStringLiteral("/tz-fuzz-")
                                + QString::number(QCoreApplication::applicationPid());
    const QString path = stem + QLatin1String(suffix);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        return;
    file.close();
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items = PortfolioImportFile::read(path, error, extension);
    // A refused file returns no line; every returned line names a security.
    const bool unexplained = items.isEmpty() && error.isEmpty();
    if (unexplained || (!items.isEmpty() && items.first().Symbol().isEmpty()))
        __builtin_trap();
}
