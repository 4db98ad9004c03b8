# The target headers, not part of all: compiles each public header alone.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
     platform/*/include/*.h platform/*/runtime/*.h src/*.h)
set(units "")
foreach(header IN LISTS headers)
  set(unit ${CMAKE_BINARY_DIR}/headers/${header}.cpp)
  file(CONFIGURE OUTPUT ${unit} CONTENT "#include \"@PROJECT_SOURCE_DIR@/@header@\"\n" @ONLY)
  list(APPEND units ${unit})
endforeach()
add_library(headers OBJECT EXCLUDE_FROM_ALL ${units})
target_link_libraries(headers PRIVATE
  korvrestore_driver CoreFoundationRuntime TYMath dispatch)
