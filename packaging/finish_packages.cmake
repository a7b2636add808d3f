# Prepares the contents of the packages before they are made.
set(roots "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*${CPACK_PACKAGING_INSTALL_PREFIX}")

# Debian expects compressed manual pages; -n leaves the time of compression out.
file(GLOB pages "${roots}/share/man/man[1-9]/*.[1-9]")
if(NOT pages)
  message(FATAL_ERROR "No manual page is in ${roots}")
endif()
execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)

# The folders have modes that depend on the umask of the build.
file(GLOB folders "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
file(CHMOD_RECURSE ${folders} DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
