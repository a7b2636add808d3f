# Libraries and programs of others. A message names what is missing and how to go on.

# stop_without(<what> <user> <Debian package> <option that leaves the user out>)
function(stop_without what user debian_package option)
  message(FATAL_ERROR "${user} needs ${what}: install the Debian package ${debian_package}, "
    "or leave ${user} out with -D${option}=OFF")
endfunction()

# For packages that have no file of their own for CMake.
list(APPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}")

# need_package(<package> <user> <Debian package> <option> [COMPONENTS <components>])
#
# The package's targets are for the whole project, its variables for the caller.
macro(need_package package user debian_package option)
  find_package(${package} QUIET GLOBAL ${ARGN})
  if(NOT ${package}_FOUND)
    stop_without(${package} "${user}" ${debian_package} ${option})
  endif()
endmacro()

# need_header_only_library(<package> <target> <header> <user> <Debian package> <option>)
#
# At the desk, the package's own target if it has one. For another machine, a target of the same
# name with the header's folder alone: the package's target would put all of /usr/include, with the
# build machine's C library, before the compiler's folders.
function(need_header_only_library package target header)
  if(TARGET ${target})
    return()
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    need_package(${package} ${ARGN})
    if(NOT TARGET ${target})
      add_library(${target} INTERFACE IMPORTED GLOBAL)
    endif()
    return()
  endif()
  find_path(${package}_HEADERS "${header}" PATHS /usr/include
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT ${package}_HEADERS)
    stop_without(${package} ${ARGN})
  endif()
  get_filename_component(folder "${header}" DIRECTORY)
  set(links "${PROJECT_BINARY_DIR}/header_only/${package}")
  file(MAKE_DIRECTORY "${links}")
  file(CREATE_LINK "${${package}_HEADERS}/${folder}" "${links}/${folder}" SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE "${links}")
endfunction()
