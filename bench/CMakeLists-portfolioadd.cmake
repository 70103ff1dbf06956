tz_add_bench(bench_portfolioadd SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_portfolioadd.cpp
             LIBS portfolioslistpage tzbackendlib Qt5::Test)
target_include_directories(bench_portfolioadd PRIVATE ${CMAKE_SOURCE_DIR}/tests/common)
