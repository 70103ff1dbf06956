tz_add_bench(bench_importfile SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_importfile.cpp
             LIBS PkgConfig::XLSXWRITER)
