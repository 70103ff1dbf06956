tz_add_bench(bench_importfile SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_importfile.cpp
             LIBS PkgConfig::XLSXWRITER ZLIB::ZLIB)
# The hostile files are written with the zip writer of the tests.
target_include_directories(bench_importfile PRIVATE ${CMAKE_SOURCE_DIR}/tests/platform/portfolio)
