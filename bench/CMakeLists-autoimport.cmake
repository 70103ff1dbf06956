tz_add_bench(bench_autoimport SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_autoimport.cpp
             LIBS portfolioslistpage tzbackendlib Qt5::Sql Qt5::Test)
target_include_directories(bench_autoimport PRIVATE ${CMAKE_SOURCE_DIR}/tests/common)
