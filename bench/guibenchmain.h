#pragma once

// The main() of the benchmarks that drive widgets: offscreen platform, the source tree's
// data folder, and a throw-away settings file, so that a run never changes the column
// widths or folders a trader's own client remembers.

#include "tzcore.h"

#include <QApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <functional>

// App: the application class (a QApplication, or one that measures its event delivery).
// atEnd runs after the benchmarks while the application still exists (to free what the
// benchmarks kept between runs).
template <typename App = QApplication>
int runGuiBenchmarks(int argc, char **argv, const std::function<void()> &atEnd = {})
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    App app(argc, argv);
    QTemporaryDir settings;
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    TzCore::setSettingsFile(settings.filePath(QStringLiteral("bench.ini")));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    if (atEnd)
        atEnd();
    TzCore::setSettingsFile(QString());  // written out while its folder still exists
    return 0;
}
