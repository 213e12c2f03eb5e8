# tarn_python_ring(LABEL road TIMEOUT seconds)
# Every `test_…` method in the *_test.py files of the calling folder is a CTest test of its own, LABEL/<file>/<method>, run by
# tests/road/one_case.py as root with loop devices: one at a time. Exit status 77 is a skip. What these tests share is built with them.
function(tarn_python_ring)
  cmake_parse_arguments(R "" "LABEL;TIMEOUT" "" ${ARGN})
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  if(NOT TARGET record_writer)
    add_subdirectory(${PROJECT_SOURCE_DIR}/tests/lib ${CMAKE_BINARY_DIR}/tests/lib)
  endif()
  add_dependencies(${R_LABEL}_ring tarnctl tarnfi loopfi record_writer pause_at seen_as refuse_ioctl)
  file(GLOB files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.py)
  foreach(file ${files})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    get_filename_component(module ${file} NAME_WE)
    file(STRINGS ${file} lines REGEX "^    def test_")
    foreach(line ${lines})
      string(REGEX REPLACE "^    def (test_[a-z0-9_]+).*" "\\1" method ${line})
      set(name ${R_LABEL}/${module}/${method})
      add_test(NAME ${name}
        COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/road/one_case.py ${module} ${method})
      set_tests_properties(${name} PROPERTIES LABELS ${R_LABEL} TIMEOUT ${R_TIMEOUT} SKIP_RETURN_CODE 77
        RESOURCE_LOCK loop-devices ENVIRONMENT
        "TARNFI_TEST_BUILD=${CMAKE_BINARY_DIR};PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR};PYTHONDONTWRITEBYTECODE=1")
    endforeach()
  endforeach()
endfunction()
