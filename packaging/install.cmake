# The files of an installation, in GNU directories. Components are packages, see packages.cmake.
include(GNUInstallDirs)
set(completion_dir "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
set(doc_dir "${CMAKE_INSTALL_DATADIR}/doc")

# The client and the tap, also with a vendor's SDK.
install(TARGETS SubtitleMgrCli SubtitleMgrTap RUNTIME COMPONENT cli)
install(FILES docs/man/SubtitleMgrCli.1 docs/man/SubtitleMgrTap.1
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT cli)
install(FILES docs/man/subtitle-recording.5
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man5" COMPONENT cli)
install(FILES packaging/completion/SubtitleMgrCli packaging/completion/SubtitleMgrTap
  DESTINATION "${completion_dir}" COMPONENT cli)
install(FILES docs/subtitle-recording.schema.json
  DESTINATION "${doc_dir}/subtitlemgr-cli" COMPONENT cli)
install(FILES packaging/copyright CHANGELOG.md
  DESTINATION "${doc_dir}/subtitlemgr-cli" COMPONENT cli)

if(TARGET SubtitleMgrSim)
  install(TARGETS SubtitleMgrSim SubtitleMgrCtl RUNTIME COMPONENT sim)
  install(FILES docs/man/SubtitleMgrSim.1 docs/man/SubtitleMgrCtl.1
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT sim)
  install(FILES docs/man/subtitle-scenario.5
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man5" COMPONENT sim)
  install(FILES packaging/completion/SubtitleMgrSim packaging/completion/SubtitleMgrCtl
    DESTINATION "${completion_dir}" COMPONENT sim)
  install(FILES simulator/demo.scenario
    DESTINATION "${CMAKE_INSTALL_DATADIR}/subtitlemgr-sim" COMPONENT sim)
  install(FILES packaging/copyright CHANGELOG.md
    DESTINATION "${doc_dir}/subtitlemgr-sim" COMPONENT sim)
  include(packaging/packages.cmake)
endif()
