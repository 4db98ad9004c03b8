# Debian's Boost built for macOS: its headers, and the two libraries from its sources. Of the newest
# Boost there are headers only.
cmake_path(SET work NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../../build/macos)

add_library(Boost::headers INTERFACE IMPORTED GLOBAL)
target_include_directories(Boost::headers SYSTEM INTERFACE ${work}/${MACOS_LIBRARY_HEADERS})

foreach(name IN ITEMS filesystem program_options)
  if(MACOS_LIBRARY_HEADERS STREQUAL "newest")
    add_library(boost_${name} INTERFACE)
    target_link_libraries(boost_${name} INTERFACE Boost::headers)
  else()
    file(GLOB sources ${work}/fetched/boost/libs/${name}/src/*.cpp)
    add_library(boost_${name} STATIC ${sources})
    target_compile_options(boost_${name} PRIVATE -w)
    target_link_libraries(boost_${name} PUBLIC Boost::headers)
  endif()
  add_library(Boost::${name} ALIAS boost_${name})
endforeach()
set(Boost_FOUND TRUE)
