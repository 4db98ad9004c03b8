# korvrestore_add_unit_test(NAME SOURCES file... LIBRARIES target... [WRAPS function...])
# One GoogleTest program, one ctest entry; test support is included as tests/support/*.h.
# TEST_DATA_DIR names the data folder beside the CMakeLists.txt that calls this.
# WRAPS names functions of the system that the sources put their own before: FUNCTION is called
# __wrap_FUNCTION, and the system's __real_FUNCTION. No such test is made but on Linux.
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
