# The Debian package. scripts/package builds and checks it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "find, query and restore mobile devices in DFU, Recovery or RestoreOS")
set(CPACK_PACKAGE_DESCRIPTION
"Lists Apple mobile devices in DFU, Recovery or RestoreOS, reports their
properties, makes them leave Recovery or stay in it, and restores them from a
firmware bundle. It is driven by other programs: every result, progress report
and error is an XML property list. A device simulator is built in. Restoring
works with simulated devices only.")
# The project has no address. This one is a placeholder that can't be reached.
set(CPACK_PACKAGE_CONTACT "korvrestore maintainers <maintainers@korvrestore.invalid>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS udev)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3 (>= 3.11)")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "bash-completion, openssh-client, parallel")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/postinst ${PROJECT_SOURCE_DIR}/packaging/prerm
    ${PROJECT_SOURCE_DIR}/packaging/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/compress.cmake)
include(CPack)
