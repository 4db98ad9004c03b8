# Debian packages contain compressed manual pages and changelogs.
file(GLOB_RECURSE documents
     "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/korvrestore*.1"
     "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/changelog")
execute_process(COMMAND gzip --best --no-name ${documents} COMMAND_ERROR_IS_FATAL ANY)
