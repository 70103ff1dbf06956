#pragma once

// The main() of the benchmarks that drive widgets: offscreen platform, the source tree's
// data folder, and a throw-away settings file, so that a run never changes the column
// widths or folders a trader's own client remembers.

#include "tzcore.h"

#include <QApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

inline int runGuiBenchmarks(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir settings;
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    TzCore::setSettingsFile(settings.filePath(QStringLiteral("bench.ini")));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
