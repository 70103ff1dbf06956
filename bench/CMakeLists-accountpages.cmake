tz_add_bench(bench_accountpages SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_accountpages.cpp
             LIBS portfolioslistpage tzbackendlib PkgConfig::XLSXWRITER Qt5::Test)
target_include_directories(bench_accountpages PRIVATE ${CMAKE_SOURCE_DIR}/tests/common)
