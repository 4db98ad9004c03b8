# The C++ libraries. Most of a short run is the dynamic loader's, above all on behalf of libstdc++,
# so on Linux they are linked into the program. What reads other people's files (expat, zlib)
# and libusb stay shared, so that the system's updates mend them.
find_package(fmt 9 REQUIRED)
add_library(korvrestore_runtime INTERFACE)
if(LINUX AND fmt_VERSION VERSION_LESS 10 AND NOT BUILD_SHARED_LIBS)
  # Debian has {fmt} as a shared library only, which needs a shared libstdc++.
  add_library(korvrestore_fmt STATIC cmake/fmt.cpp)
  target_include_directories(korvrestore_fmt SYSTEM PUBLIC
    $<TARGET_PROPERTY:fmt::fmt,INTERFACE_INCLUDE_DIRECTORIES>)
  set(Boost_USE_STATIC_LIBS ON)
  # The sanitizers must see exceptions being thrown, which they do in a shared libstdc++ only.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
    target_link_options(korvrestore_runtime INTERFACE
      -static-libgcc -static-libstdc++ LINKER:--gc-sections)
  endif()
else()
  add_library(korvrestore_fmt ALIAS fmt::fmt)
endif()
find_package(Boost 1.81 REQUIRED COMPONENTS program_options filesystem)
