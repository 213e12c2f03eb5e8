# The command runner against other ways to run a program.
find_package(PkgConfig REQUIRED)
find_package(benchmark REQUIRED)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)

add_executable(exec_bench ${CMAKE_CURRENT_LIST_DIR}/exec_bench.cpp)
target_link_libraries(exec_bench PRIVATE tarn_compile znfi_exec benchmark::benchmark PkgConfig::GLIB)
set_target_properties(exec_bench PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
