# A stand-in for the device's own SDK: the same interface under the same target, other names where
# names are the SDK's business, and no messaging at all.
add_library(tiny_sdk STATIC "${CMAKE_CURRENT_LIST_DIR}/tiny_sdk.cpp")
target_include_directories(tiny_sdk PRIVATE "${CMAKE_CURRENT_LIST_DIR}/include")
target_compile_features(tiny_sdk PRIVATE cxx_std_17)

add_library(SubtitleSdk::SubtitleSdk INTERFACE IMPORTED)
target_include_directories(SubtitleSdk::SubtitleSdk INTERFACE "${CMAKE_CURRENT_LIST_DIR}/include")
target_link_libraries(SubtitleSdk::SubtitleSdk INTERFACE tiny_sdk)
