# The libraries are the program's own, so they keep out of the system's library directory.
set(private_library_dir ${CMAKE_INSTALL_LIBDIR}/korvrestore)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR}
           OUTPUT_VARIABLE libraries_from_program)
if(APPLE)
  set(origin @loader_path)
else()
  set(origin $ORIGIN)
endif()

install(TARGETS korvrestore RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
foreach(library IN ITEMS CoreFoundation MobileDevice TYMath dispatch)
  get_target_property(type ${library} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    install(TARGETS ${library} LIBRARY DESTINATION ${private_library_dir} NAMELINK_SKIP)
    set_target_properties(${library} PROPERTIES INSTALL_RPATH ${origin})
    set_target_properties(korvrestore PROPERTIES
      INSTALL_RPATH ${origin}/${libraries_from_program}/korvrestore)
  endif()
endforeach()

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS
        PATTERN __pycache__ EXCLUDE)
install(FILES packaging/korvrestore.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
