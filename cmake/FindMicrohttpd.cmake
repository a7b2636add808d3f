# Microhttpd::Microhttpd: the library has no file of its own for CMake.
find_path(Microhttpd_HEADERS microhttpd.h)
find_library(Microhttpd_LIBRARY microhttpd)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Microhttpd DEFAULT_MSG Microhttpd_LIBRARY Microhttpd_HEADERS)
if(Microhttpd_FOUND AND NOT TARGET Microhttpd::Microhttpd)
  add_library(Microhttpd::Microhttpd UNKNOWN IMPORTED)
  set_target_properties(Microhttpd::Microhttpd PROPERTIES
    IMPORTED_LOCATION "${Microhttpd_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Microhttpd_HEADERS}")
endif()
