# Prepares the contents of the packages as Debian expects them, before the packages are made.
set(roots "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*${CPACK_PACKAGING_INSTALL_PREFIX}")

# find_files(<variable> <pattern>...): stops when there are none, since the folders have changed.
function(find_files variable)
  list(TRANSFORM ARGN PREPEND "${roots}/")
  file(GLOB found ${ARGN})
  if(NOT found)
    message(FATAL_ERROR "No file is like ${ARGN}")
  endif()
  set(${variable} "${found}" PARENT_SCOPE)
endfunction()

# The newest entry has the time of the source, which is SOURCE_DATE_EPOCH.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
find_files(copyrights "share/doc/*/copyright")
foreach(copyright IN LISTS copyrights)
  get_filename_component(folder "${copyright}" DIRECTORY)
  get_filename_component(package "${folder}" NAME)
  file(WRITE "${folder}/changelog" "${package} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * CHANGELOG.md in this folder lists the changes.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}\n")
  if(CPACK_SUBTITLE_STATIC AND EXISTS "${folder}/../../../bin")
    file(WRITE "${folder}/../../lintian/overrides/${package}"
      "# The programs run on every device of this kind, whatever libraries it has.\n"
      "${package}: statically-linked-binary\n")
  endif()
endforeach()

# -n leaves the time of compression out.
find_files(texts "share/man/man[1-9]/*.[1-9]" "share/doc/*/changelog")
execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)

# CPack strips programs only. Code for link-time optimisation is for one compiler version.
find_files(libraries "lib/*/*.a")
execute_process(COMMAND "${CPACK_SUBTITLE_STRIP}" --strip-debug --remove-section=.comment
  --remove-section=.gnu.lto_* --remove-section=.gnu.debuglto_* ${libraries}
  COMMAND_ERROR_IS_FATAL ANY)

# The modes depend on the umask of the build.
file(GLOB folders "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
execute_process(COMMAND chmod -R u=rwX,go=rX ${folders} COMMAND_ERROR_IS_FATAL ANY)
