add_compile_options(-Wall -Wextra -Wpedantic)
# Asio uses fences. GCC warns that its thread sanitizer doesn't support them.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
