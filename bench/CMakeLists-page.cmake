tz_add_bench(bench_page SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_page.cpp LIBS portfolioslistpage)
