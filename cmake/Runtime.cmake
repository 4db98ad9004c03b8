# The C++ libraries. Most of a short run's time is the dynamic loader's, above all for libstdc++.
# So on Linux they are linked into the program: Boost and libstdc++ as static libraries, {fmt} by
# its headers alone, because Debian has no static library of it. The libraries that read input
# (expat, zlib) and libusb stay shared, so that the system's updates fix them.
find_package(fmt 9 REQUIRED)
add_library(korvrestore_runtime INTERFACE)
if(LINUX AND NOT BUILD_SHARED_LIBS)
  set(Boost_USE_STATIC_LIBS ON)
  # The sanitizers must see exceptions being thrown, which they do in a shared libstdc++ only.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
    target_link_options(korvrestore_runtime INTERFACE
      -static-libgcc -static-libstdc++ LINKER:--gc-sections)
  endif()
endif()
find_package(Boost 1.81 REQUIRED COMPONENTS program_options filesystem)
