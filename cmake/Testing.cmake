# korvrestore_add_unit_test(NAME SOURCES file... LIBRARIES target... [WRAPS function...])
# Adds a GoogleTest program and a ctest entry. It can include tests/support/*.h.
# TEST_DATA_DIR names the data folder beside the CMakeLists.txt that calls this.
# WRAPS names system functions that the sources replace: calls to FUNCTION go to __wrap_FUNCTION,
# and __real_FUNCTION is the system's. Such a test is built on Linux only.
function(korvrestore_add_unit_test name)
  if(NOT BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;WRAPS" ${ARGN})
  if(arg_WRAPS AND NOT LINUX)
    return()
  endif()
  find_package(GTest REQUIRED)
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest_main)
  list(TRANSFORM arg_WRAPS PREPEND "LINKER:--wrap=")
  target_link_options(${name} PRIVATE ${arg_WRAPS})
  target_compile_definitions(${name} PRIVATE
                             TEST_DATA_DIR="${CMAKE_CURRENT_SOURCE_DIR}/testdata")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
