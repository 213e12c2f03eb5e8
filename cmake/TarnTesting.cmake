include(GoogleTest)
find_package(GTest REQUIRED)

# tarn_test(NAME x LABEL unit SOURCES a.cpp … LIBRARIES t … [PROPERTIES p v …])
# One GoogleTest program; each of its tests is a CTest test in the ring LABEL. A skipped test counts as skipped.
function(tarn_test)
  cmake_parse_arguments(T "" "NAME;LABEL" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE tarn_compile ${T_LIBRARIES} GTest::gtest GTest::gtest_main)
  # Half of a test file's compile time is this header, and a test program need not be fast.
  target_precompile_headers(${T_NAME} PRIVATE <gtest/gtest.h>)
  target_compile_options(${T_NAME} PRIVATE -O1)
  set_target_properties(${T_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  if(T_LABEL STREQUAL "road")
    list(APPEND T_PROPERTIES RESOURCE_LOCK loop-devices)  # the machine has one set of them
  endif()
  gtest_discover_tests(${T_NAME} TEST_PREFIX "${T_NAME}/" DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS ${T_LABEL} SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]" ${T_PROPERTIES})
endfunction()
