tz_add_bench(bench_store SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_store.cpp)
tz_add_bench(bench_backend SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_backend.cpp LIBS tzbackendlib)
target_include_directories(bench_backend PRIVATE ${CMAKE_SOURCE_DIR}/tests/common)
target_link_libraries(bench_backend PRIVATE Qt5::Test)
