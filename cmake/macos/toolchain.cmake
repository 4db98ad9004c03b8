# Builds for macOS on Linux: Debian's clang with the SDK that scripts/check-macos creates.
# The processor is CMAKE_OSX_ARCHITECTURES, given on the command line.
cmake_path(SET work NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/macos)

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_OSX_ARCHITECTURES})
set(CMAKE_OSX_SYSROOT ${work}/MacOSX.sdk)
set(CMAKE_OSX_DEPLOYMENT_TARGET 12.0)

set(llvm /usr/lib/llvm-19/bin)
set(CMAKE_CXX_COMPILER ${llvm}/clang++)
set(CMAKE_CXX_COMPILER_TARGET ${CMAKE_OSX_ARCHITECTURES}-apple-macos)
set(CMAKE_INSTALL_NAME_TOOL ${llvm}/llvm-install-name-tool)
set(CMAKE_EXE_LINKER_FLAGS_INIT -fuse-ld=lld)

# Only programs are found on this machine. Find modules provide the libraries that aren't part of
# macOS.
set(MACOS_LIBRARY_HEADERS include CACHE STRING "The folder of Boost's and {fmt}'s headers")
set(CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/modules)
set(CMAKE_FIND_ROOT_PATH ${CMAKE_OSX_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
