# Only this program uses the libraries, so they aren't in the system's library directory.
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

# udev reads the rule under /usr and /usr/local only; under another prefix it has no effect.
set(udev_rules_dir ${CMAKE_INSTALL_PREFIX}/lib/udev/rules.d)
if(KORVRESTORE_USB)
  install(FILES packaging/70-korvrestore.rules DESTINATION lib/udev/rules.d)
endif()

# Only CMake knows the version and the installation folders.
set(programs korvrestore-bench korvrestore-fleet korvrestore-status)
set(manuals korvrestore.1)
foreach(program IN LISTS programs)
  list(APPEND manuals ${program}.1)
endforeach()
foreach(file IN ITEMS changelog ${manuals})
  configure_file(packaging/${file} ${PROJECT_BINARY_DIR}/${file} @ONLY)
endforeach()

install(FILES README.md packaging/copyright ${PROJECT_BINARY_DIR}/changelog
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS
        PATTERN __pycache__ EXCLUDE)
list(TRANSFORM manuals PREPEND ${PROJECT_BINARY_DIR}/)
install(FILES ${manuals} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/korvrestore.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME korvrestore)

# The programs search their own prefix for the package, if Python doesn't find it.
install(DIRECTORY python/korvrestore DESTINATION lib/python3/dist-packages
        PATTERN __pycache__ EXCLUDE)
foreach(program IN LISTS programs)
  install(PROGRAMS python/bin/${program} DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES packaging/korvrestore-programs.bash
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${program})
endforeach()
