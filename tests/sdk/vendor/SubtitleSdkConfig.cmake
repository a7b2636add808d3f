# Wraps a vendor's headers and libraries into the one target that the client is compiled against.
# Copy this file and adapters/ beside the vendor's include/ and lib/, and change the names.
get_filename_component(sdk "${CMAKE_CURRENT_LIST_DIR}" ABSOLUTE)

# Only in this folder: a library of the same name on the build machine or in the compiler's root is
# another one.
find_library(SUBTITLE_SDK_CLIENT_LIBRARY subtitleclient PATHS "${sdk}/lib"
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_package(Threads REQUIRED)

# UNKNOWN: the library may be shared or static. For a second vendor library add another
# find_library() and put the result into INTERFACE_LINK_LIBRARIES, after the libraries that use it.
add_library(SubtitleSdk::SubtitleSdk UNKNOWN IMPORTED)
set_target_properties(SubtitleSdk::SubtitleSdk PROPERTIES
  IMPORTED_LOCATION "${SUBTITLE_SDK_CLIENT_LIBRARY}"
  # The adapters come first; each includes the vendor's header of the same name.
  INTERFACE_INCLUDE_DIRECTORIES "${sdk}/adapters;${sdk}/include"
  INTERFACE_LINK_LIBRARIES Threads::Threads)
