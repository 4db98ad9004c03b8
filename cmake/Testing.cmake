# korvrestore_add_unit_test(NAME SOURCES file... LIBRARIES target...)
# One GoogleTest program, one ctest entry; test support is included as tests/support/*.h.
# TEST_DATA_DIR names the data folder beside the CMakeLists.txt that calls this.
function(korvrestore_add_unit_test name)
  if(NOT BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  find_package(GTest REQUIRED)
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
                             TEST_DATA_DIR="${CMAKE_CURRENT_SOURCE_DIR}/testdata")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
