tz_add_bench(bench_portfoliodetail SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_portfoliodetail.cpp
             LIBS portfoliodetailpage portfolioslistpage tzbackendlib Qt5::Test)
target_include_directories(bench_portfoliodetail PRIVATE ${CMAKE_SOURCE_DIR}/tests/common)
