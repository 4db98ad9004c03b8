# Debian's {fmt}, without a library.
cmake_path(SET work NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../../build/macos)

add_library(fmt::fmt-header-only INTERFACE IMPORTED GLOBAL)
target_include_directories(fmt::fmt-header-only SYSTEM INTERFACE ${work}/${MACOS_LIBRARY_HEADERS})
target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY)
set(fmt_FOUND TRUE)
