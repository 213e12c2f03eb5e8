include(GoogleTest)
find_package(GTest REQUIRED)

# Half of a test file's compile time is one header: compiled once here, for all test programs. They need not be fast.
file(WRITE ${CMAKE_BINARY_DIR}/tests/headers.cpp "int main() {}\n")
set(tarn_test_options -O1)
if(TARNFI_SANITIZE)  # instrumented code takes the longer to compile, the more the optimiser looks at it
  set(tarn_test_options -O0)
endif()
add_executable(tarn_test_headers EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/tests/headers.cpp)
target_link_libraries(tarn_test_headers PRIVATE tarn_compile GTest::gtest)
target_compile_options(tarn_test_headers PRIVATE ${tarn_test_options})
target_precompile_headers(tarn_test_headers PRIVATE <gtest/gtest.h> <map> <memory> <string> <vector>)

# What a ring's tests run is built by the target <ring>_ring, so that a build for some rings need not build everything.
foreach(ring unit contract road vm fault fuzz)
  add_custom_target(${ring}_ring)
endforeach()

# tarn_test(NAME x LABEL unit SOURCES a.cpp … LIBRARIES t … [PROPERTIES p v …] [SWEPT])
# One GoogleTest program; each of its tests is a CTest test in the ring LABEL. A skipped test counts as skipped. SWEPT: the
# machine is looked at before and after each of them.
function(tarn_test)
  cmake_parse_arguments(T "SWEPT" "NAME;LABEL" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE tarn_compile ${T_LIBRARIES} GTest::gtest GTest::gtest_main)
  target_precompile_headers(${T_NAME} REUSE_FROM tarn_test_headers)
  target_compile_options(${T_NAME} PRIVATE ${tarn_test_options})
  set_target_properties(${T_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  add_dependencies(${T_LABEL}_ring ${T_NAME})
  if(T_SWEPT)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    set_target_properties(${T_NAME} PROPERTIES CROSSCOMPILING_EMULATOR
      "${Python3_EXECUTABLE};-B;${PROJECT_SOURCE_DIR}/tests/lib/swept.py")
  endif()
  if(T_LABEL STREQUAL "road")
    list(APPEND T_PROPERTIES RESOURCE_LOCK loop-devices)  # the machine has one set of them
  endif()
  gtest_discover_tests(${T_NAME} TEST_PREFIX "${T_NAME}/" DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS ${T_LABEL} SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]" ${T_PROPERTIES})
endfunction()
