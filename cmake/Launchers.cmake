# Programs that tests start as processes of their own.

# add_launcher(<variable> <program>)
#
# Sets the variable to the path that starts the program: its own, or, for another machine, that of a
# launcher of the same name that has the emulator run it. The kernel may or may not know what to do
# with a foreign program; what a test starts must not depend on that. The process stays the one that
# was started, and the program finds the launcher's path as its own name.
function(add_launcher variable program)
  set(path "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${program}")
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    set(launcher "${PROJECT_BINARY_DIR}/launchers/${program}")
    file(WRITE "${launcher}" "#!/bin/sh\nexec ${emulator} -0 \"$0\" '${path}' \"$@\"\n")
    file(CHMOD "${launcher}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
      GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    set(path "${launcher}")
  endif()
  set(${variable} "${path}" PARENT_SCOPE)
endfunction()
