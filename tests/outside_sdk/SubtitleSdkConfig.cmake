# Wraps a vendor's headers and libraries into the one target that the client is compiled against.
# Copy this file and adapters/ beside the vendor's include/ and lib/, and change the names.
get_filename_component(sdk "${CMAKE_CURRENT_LIST_DIR}" ABSOLUTE)

# In this folder and nowhere else: what the build machine or the compiler's own root has under the
# same name is another library.
find_library(SUBTITLE_SDK_CLIENT_LIBRARY subtitleclient PATHS "${sdk}/lib"
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_package(Threads REQUIRED)

# Neither shared nor static is said: it may be either. A second library of the vendor's gets a
# find_library() of its own and stands among the link libraries, behind those that use it.
add_library(SubtitleSdk::SubtitleSdk UNKNOWN IMPORTED)
set_target_properties(SubtitleSdk::SubtitleSdk PROPERTIES
  IMPORTED_LOCATION "${SUBTITLE_SDK_CLIENT_LIBRARY}"
  # The adapters come first, and each includes the vendor's header of its name.
  INTERFACE_INCLUDE_DIRECTORIES "${sdk}/adapters;${sdk}/include"
  INTERFACE_LINK_LIBRARIES Threads::Threads)
