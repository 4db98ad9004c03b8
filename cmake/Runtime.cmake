# The C++ libraries. The dynamic loader takes most of the time of a short run, above all for
# libstdc++. So on Linux they are linked into the program: Boost and libstdc++ as static libraries,
# {fmt} from its headers only, because Debian has no static library of it. libusb and the libraries
# that read untrusted files (expat, zlib) stay shared, so that the system's updates fix them.
find_package(fmt 9 REQUIRED)
add_library(korvrestore_runtime INTERFACE)
if(LINUX AND NOT BUILD_SHARED_LIBS)
  set(Boost_USE_STATIC_LIBS ON)
  # The sanitizers see thrown exceptions only in a shared libstdc++.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
    target_link_options(korvrestore_runtime INTERFACE
      -static-libgcc -static-libstdc++ LINKER:--gc-sections)
  endif()
endif()
find_package(Boost 1.81 REQUIRED COMPONENTS program_options filesystem)
