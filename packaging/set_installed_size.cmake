# Writes the size of the installed files into each package. CPack also adds the sizes of folders,
# which differ from one file system to another. A folder counts 1 KiB here, a file each KiB that it
# begins.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(tree "${package}.tree")
  execute_process(COMMAND dpkg-deb -R "${package}" "${tree}" COMMAND_ERROR_IS_FATAL ANY)
  file(GLOB_RECURSE paths LIST_DIRECTORIES true RELATIVE "${tree}" "${tree}/*")
  set(kibibytes 0)
  foreach(path IN LISTS paths)
    set(bytes 1024)
    if(NOT IS_DIRECTORY "${tree}/${path}" AND NOT IS_SYMLINK "${tree}/${path}")
      file(SIZE "${tree}/${path}" bytes)
    endif()
    if(NOT path MATCHES "^DEBIAN")
      math(EXPR kibibytes "${kibibytes} + (${bytes} + 1023) / 1024")
    endif()
  endforeach()
  file(READ "${tree}/DEBIAN/control" control)
  string(REGEX REPLACE "Installed-Size: [0-9]+" "Installed-Size: ${kibibytes}" control "${control}")
  file(WRITE "${tree}/DEBIAN/control" "${control}")
  execute_process(COMMAND dpkg-deb --root-owner-group -b "${tree}" "${package}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE "${tree}")
endforeach()
