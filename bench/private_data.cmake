# The private-data factory against a bare map.
find_package(benchmark REQUIRED)

add_executable(private_data_bench ${CMAKE_CURRENT_LIST_DIR}/private_data_bench.cpp)
target_link_libraries(private_data_bench PRIVATE tarn_compile znfi benchmark::benchmark)
set_target_properties(private_data_bench PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
