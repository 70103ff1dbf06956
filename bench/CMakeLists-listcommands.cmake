tz_add_bench(bench_listcommands SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_listcommands.cpp
             LIBS portfolioslistpage tzbackendlib PkgConfig::XLSXWRITER Qt5::Test)
target_include_directories(bench_listcommands PRIVATE ${CMAKE_SOURCE_DIR}/tests/common)
