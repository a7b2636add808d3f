# Header-only libraries, which are installed for the build machine only.

# find_header_only_library(<package> <imported target> <header>)
#
# At the desk, the package's own target if it has one. For another machine, a target of the same
# name with the header's folder alone: the package's target would put all of /usr/include, with the
# build machine's C library, before the compiler's folders.
function(find_header_only_library package target header)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(${package} REQUIRED)
    if(NOT TARGET ${target})
      add_library(${target} INTERFACE IMPORTED)
    endif()
    return()
  endif()
  find_path(${package}_HEADERS "${header}" PATHS /usr/include
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  get_filename_component(folder "${header}" DIRECTORY)
  set(links "${PROJECT_BINARY_DIR}/header_only/${package}")
  file(MAKE_DIRECTORY "${links}")
  file(CREATE_LINK "${${package}_HEADERS}/${folder}" "${links}/${folder}" SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED)
  target_include_directories(${target} SYSTEM INTERFACE "${links}")
endfunction()
