# Programs that tests start as processes.

# add_launcher(<variable> <program>)
#
# Sets the variable to the path that starts the program: its own or, for another machine, that of a
# launcher of the same name, which runs the program in the emulator. So tests do not depend on
# whether the kernel can start programs of that machine. The process id does not change, and the
# program's own name is the launcher's path.
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
