# Libraries that consist of headers alone, and that no other machine has packages of.

# find_header_only_library(<package> <imported target> <header>)
#
# At the desk, the package's own target if it has one. For another machine a target of the same name
# that has nothing but the header's folder: the package's target would put the whole of
# /usr/include, the build machine's C library among it, before the folders of the compiler.
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
