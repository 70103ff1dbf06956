# loadgen: N simulated desks against a real tzbackend server process (see bench/run).
add_executable(loadgen ${CMAKE_CURRENT_SOURCE_DIR}/loadgen.cpp)
target_link_libraries(loadgen PRIVATE tzcommon Qt5::Network Qt5::WebSockets)
target_compile_definitions(loadgen PRIVATE TZ_SOURCE_DATA_DIR="${TZ_DATA_DIR}")
add_dependencies(loadgen tzbackend)
