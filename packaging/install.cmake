# The files of an installation, in GNU directories. Components are packages, see packages.cmake.
include(GNUInstallDirs)
set(completion_dir "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
set(fish_dir "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
set(zsh_dir "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
set(doc_dir "${CMAKE_INSTALL_DATADIR}/doc")

# One file for fish and one for zsh complete all programs. Each shell looks for a program's name.
function(install_completion component)
  foreach(program IN LISTS ARGN)
    install(FILES "packaging/completion/${program}"
      DESTINATION "${completion_dir}" COMPONENT ${component})
    install(FILES packaging/completion/all.fish
      DESTINATION "${fish_dir}" COMPONENT ${component} RENAME "${program}.fish")
    install(FILES packaging/completion/all.zsh
      DESTINATION "${zsh_dir}" COMPONENT ${component} RENAME "_${program}")
  endforeach()
endfunction()

# The client and the tap, also with a vendor's SDK.
install(TARGETS SubtitleMgrCli SubtitleMgrTap RUNTIME COMPONENT cli)
install(FILES docs/man/SubtitleMgrCli.1 docs/man/SubtitleMgrTap.1
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT cli)
install(FILES docs/man/subtitle-recording.5
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man5" COMPONENT cli)
install_completion(cli SubtitleMgrCli SubtitleMgrTap)
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
  install_completion(sim SubtitleMgrSim SubtitleMgrCtl)
  install(FILES simulator/demo.scenario
    DESTINATION "${CMAKE_INSTALL_DATADIR}/subtitlemgr-sim" COMPONENT sim)
  install(FILES packaging/copyright CHANGELOG.md
    DESTINATION "${doc_dir}/subtitlemgr-sim" COMPONENT sim)
  include(packaging/packages.cmake)
endif()

if(TARGET SubtitleMgrView)
  install(TARGETS SubtitleMgrView RUNTIME COMPONENT view)
  install(FILES docs/man/SubtitleMgrView.1
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT view)
  install_completion(view SubtitleMgrView)
  install(FILES packaging/copyright CHANGELOG.md
    DESTINATION "${doc_dir}/subtitlemgr-view" COMPONENT view)
endif()
