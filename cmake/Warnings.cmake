add_compile_options(-Wall -Wextra -Wpedantic)
# GCC's thread sanitizer doesn't know fences, and says so of Asio's; it needs none of them.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
