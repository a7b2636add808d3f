# Each program contains the thread sanitizer's list of races that are kept on purpose: a program
# that runs as another user may not be able to read the source tree.
if(SUBTITLE_SANITIZE MATCHES "thread")
  set(list "${PROJECT_SOURCE_DIR}/tests/tsan.supp")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${list}")
  file(READ "${list}" races)
  set(source "${PROJECT_BINARY_DIR}/silenced_races.cpp")
  file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT [=[
extern "C" const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() { return R"(@races@)"; }
]=])
  add_library(silenced_races OBJECT "${source}")
  link_libraries("$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:silenced_races>>")
endif()
