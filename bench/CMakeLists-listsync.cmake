tz_add_bench(bench_listsync SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_listsync.cpp
             LIBS portfolioslistpage tzbackendlib Qt5::Sql Qt5::Test)
target_include_directories(bench_listsync PRIVATE ${CMAKE_SOURCE_DIR}/tests/common)
