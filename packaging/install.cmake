# The files of an installation, in GNU directories. Components are packages, see packages.cmake.
include(GNUInstallDirs)
set(completion_dir "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
set(fish_dir "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
set(zsh_dir "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
set(doc_dir "${CMAKE_INSTALL_DATADIR}/doc")
# Debian has a folder for each architecture, and GNUInstallDirs knows it only for one prefix.
set(library_dir "${CMAKE_INSTALL_LIBDIR}")
if(CMAKE_LIBRARY_ARCHITECTURE AND library_dir STREQUAL "lib")
  set(library_dir "lib/${CMAKE_LIBRARY_ARCHITECTURE}")
endif()
set(components "")

# install_programs(<component> <program>...): those that this build has, with manual pages and
# completion. One file for fish and one for zsh complete all programs. Each shell looks for a
# program's name.
function(install_programs component)
  foreach(program IN LISTS ARGN)
    if(NOT TARGET ${program})
      continue()
    endif()
    install(TARGETS ${program} RUNTIME COMPONENT ${component})
    install(FILES "docs/man/${program}.1"
      DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT ${component})
    install(FILES "packaging/completion/${program}"
      DESTINATION "${completion_dir}" COMPONENT ${component})
    install(FILES packaging/completion/all.fish
      DESTINATION "${fish_dir}" COMPONENT ${component} RENAME "${program}.fish")
    install(FILES packaging/completion/all.zsh
      DESTINATION "${zsh_dir}" COMPONENT ${component} RENAME "_${program}")
  endforeach()
endfunction()

# install_documents(<component> <package>): what every package has.
macro(install_documents component package)
  install(FILES packaging/copyright CHANGELOG.md
    DESTINATION "${doc_dir}/${package}" COMPONENT ${component})
  list(APPEND components ${component})
endmacro()

# The client and the tap, also with a vendor's SDK.
install_programs(cli SubtitleMgrCli SubtitleMgrTap)
install(FILES docs/man/subtitle-recording.5
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man5" COMPONENT cli)
install_documents(cli subtitlemgr-cli)
install(FILES docs/subtitle-recording.schema.json
  DESTINATION "${doc_dir}/subtitlemgr-cli" COMPONENT cli)

if(SUBTITLE_SIMULATOR)
  install_programs(sim SubtitleMgrSim SubtitleMgrCtl)
  install(FILES docs/man/subtitle-scenario.5
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man5" COMPONENT sim)
  install(FILES simulator/demo.scenario
    DESTINATION "${CMAKE_INSTALL_DATADIR}/subtitlemgr-sim" COMPONENT sim)
  install(FILES packaging/subtitlemgr-sim.service
    DESTINATION lib/systemd/user COMPONENT sim)
  install_documents(sim subtitlemgr-sim)
endif()

if(TARGET SubtitleMgrView)
  install_programs(view SubtitleMgrView)
  # With the program, whose captures it must understand.
  install(FILES tools/view/wireshark/subtitlemgr.lua
    DESTINATION "${library_dir}/wireshark/plugins" COMPONENT view)
  install(PROGRAMS script/demo
    DESTINATION "${doc_dir}/subtitlemgr-view/examples" COMPONENT view)
  install_documents(view subtitlemgr-view)
endif()

# The stand-in, for other clients.
if(TARGET subtitle_platform)
  set(cmake_dir "${library_dir}/cmake/SubtitleSdk")
  set(pkgconfig_dir "${library_dir}/pkgconfig")
  file(RELATIVE_PATH from_cmake_dir "/${cmake_dir}" "/")
  file(RELATIVE_PATH from_pkgconfig_dir "/${pkgconfig_dir}" "/")
  set(sdk "${PROJECT_BINARY_DIR}/sdk")
  configure_file(packaging/SubtitleSdkConfig.cmake.in "${sdk}/SubtitleSdkConfig.cmake" @ONLY)
  configure_file(packaging/subtitlesdk.pc.in "${sdk}/subtitlesdk.pc" @ONLY)
  include(CMakePackageConfigHelpers)
  write_basic_package_version_file("${sdk}/SubtitleSdkConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
  install(TARGETS subtitle_platform ARCHIVE DESTINATION "${library_dir}" COMPONENT dev)
  install(DIRECTORY platform/include/
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/subtitlemgr" COMPONENT dev)
  install(FILES "${sdk}/SubtitleSdkConfig.cmake" "${sdk}/SubtitleSdkConfigVersion.cmake"
    DESTINATION "${cmake_dir}" COMPONENT dev)
  install(FILES "${sdk}/subtitlesdk.pc" DESTINATION "${pkgconfig_dir}" COMPONENT dev)
  install(DIRECTORY tests/sdk/example/
    DESTINATION "${doc_dir}/subtitlemgr-dev/examples" COMPONENT dev)
  install_documents(dev subtitlemgr-dev)
endif()

# The plugin of pytest, for tests at a desk. Its entry point makes pytest load it.
if(TARGET SubtitleMgrView)
  set(entry_point "${PROJECT_BINARY_DIR}/python/pytest_subtitle-${PROJECT_VERSION}.dist-info")
  file(WRITE "${entry_point}/METADATA"
    "Metadata-Version: 2.1\nName: pytest-subtitle\nVersion: ${PROJECT_VERSION}\n")
  file(WRITE "${entry_point}/entry_points.txt" "[pytest11]\npytest_subtitle = pytest_subtitle\n")
  install(DIRECTORY python/pytest_subtitle "${entry_point}"
    DESTINATION lib/python3/dist-packages COMPONENT pytest PATTERN __pycache__ EXCLUDE)
  install(DIRECTORY docs/examples
    DESTINATION "${doc_dir}/python3-pytest-subtitle" COMPONENT pytest)
  install_documents(pytest python3-pytest-subtitle)
endif()

if(NOT DEFINED SubtitleSdk_DIR)
  # The guides, in folders like those of the source tree, so that their links work.
  install(FILES README.md CONTRIBUTING.md DESTINATION "${doc_dir}/subtitlemgr-doc" COMPONENT doc)
  install(DIRECTORY docs DESTINATION "${doc_dir}/subtitlemgr-doc" COMPONENT doc
    FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN man EXCLUDE PATTERN examples EXCLUDE)
  install_documents(doc subtitlemgr-doc)
  include(packaging/packages.cmake)
endif()
