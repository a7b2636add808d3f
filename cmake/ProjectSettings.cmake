# Language level, warnings and sanitizers of our own code; GoogleTest does not link this target.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Kind of build" FORCE)
endif()
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

set(SUBTITLE_SANITIZE "" CACHE STRING "Sanitizers for everything, as -fsanitize= takes them")
if(SUBTITLE_SANITIZE)
  # Everything that is linked together is instrumented, GoogleTest included.
  add_compile_options(
    -fsanitize=${SUBTITLE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SUBTITLE_SANITIZE})
  # g++ warns of the standard library's own headers once it has instrumented them.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

add_library(project_settings INTERFACE)
target_compile_definitions(project_settings INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
# Only the presets make them errors: a compiler with more warnings must not stop a user's build. In
# a batch of files a name may hide another file's.
target_compile_options(project_settings INTERFACE
  -Wall -Wextra -Wpedantic $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow>
  -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wdouble-promotion
  -Wformat=2 -Wimplicit-fallthrough -Wvla
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wsuggest-override>)
target_link_libraries(project_settings INTERFACE Threads::Threads)

# Functions without a caller are left out: a static client becomes a quarter smaller.
if(NOT SUBTITLE_SANITIZE)
  target_compile_options(project_settings INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(project_settings INTERFACE LINKER:--gc-sections)
endif()

# Shipped code: the client, the stand-in, the simulated service and the tools. It is hardened. Tests
# and benchmarks are not: test code is not optimised, and _FORTIFY_SOURCE needs optimisation.
add_library(product_settings INTERFACE)
target_link_libraries(product_settings INTERFACE project_settings)
add_library(program_settings INTERFACE)
target_link_libraries(program_settings INTERFACE product_settings)
if(NOT SUBTITLE_SANITIZE)
  # Stacks of the device's threads are small.
  target_compile_options(product_settings INTERFACE
    -Wframe-larger-than=8192 -fstack-protector-strong
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
  target_link_options(program_settings INTERFACE LINKER:-z,relro,-z,now)
  # Debian has no start files for static position-independent programs of the device, and code at a
  # fixed address is smaller. -no-pie is for vendors' libraries that are not position-independent.
  if(CMAKE_EXE_LINKER_FLAGS MATCHES "-static( |$)|-no-pie")
    target_compile_options(product_settings INTERFACE -fno-pie)
    target_link_options(program_settings INTERFACE -no-pie)
  else()
    target_compile_options(product_settings INTERFACE -fpie)
    target_link_options(program_settings INTERFACE -pie)
  endif()
endif()

# Fat objects: the programs are linked with this optimisation, the many tests without it.
option(SUBTITLE_LTO "Optimise each program as a whole: smaller" OFF)
if(SUBTITLE_LTO)
  target_compile_options(product_settings INTERFACE -flto=auto -ffat-lto-objects)
  target_link_options(program_settings INTERFACE -flto=auto)
endif()

# Programs that help with building, testing or measuring: see packaging/tool_options.h.
add_library(tool_settings INTERFACE)
target_compile_definitions(tool_settings INTERFACE SUBTITLE_VERSION="${PROJECT_VERSION}")
target_include_directories(tool_settings INTERFACE "${PROJECT_SOURCE_DIR}")
target_link_libraries(tool_settings INTERFACE project_settings)
