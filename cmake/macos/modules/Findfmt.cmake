# Debian's {fmt}, without a library.
cmake_path(SET work NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../../build/macos)

add_library(fmt::fmt INTERFACE IMPORTED GLOBAL)
target_include_directories(fmt::fmt SYSTEM INTERFACE ${work}/include)
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
set(fmt_FOUND TRUE)
