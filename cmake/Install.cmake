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

# Under /usr and /usr/local udev reads it; under another prefix it has no effect.
set(udev_rules_dir ${CMAKE_INSTALL_PREFIX}/lib/udev/rules.d)
if(KORVRESTORE_USB)
  install(FILES packaging/70-korvrestore.rules DESTINATION lib/udev/rules.d)
endif()

# The version, and where things are installed, are in CMake's hands only.
foreach(file IN ITEMS changelog korvrestore.1)
  configure_file(packaging/${file} ${PROJECT_BINARY_DIR}/${file} @ONLY)
endforeach()

install(FILES README.md packaging/copyright ${PROJECT_BINARY_DIR}/changelog
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS
        PATTERN __pycache__ EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/korvrestore.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/korvrestore.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME korvrestore)
