# Debian packages of the components; script/package makes them.

# Only the programs are packaged: do not build tests and benchmarks for them.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

# The folder of the checkout would be in the debugging information and, through the build id that is
# made of it, in the stripped programs too.
target_compile_options(project_settings INTERFACE "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.")

# Debian's name of the architecture. dpkg --print-architecture would tell the builder's own.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(ppc|powerpc)$")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE powerpc)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${CMAKE_SYSTEM_PROCESSOR}")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_SUBTITLE_STRIP "${CMAKE_STRIP}")
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/finish_packages.cmake")
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/set_installed_size.cmake")

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "SubtitleMgrCli maintainers <maintainers@subtitlemgr.invalid>")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_CLI_PACKAGE_NAME subtitlemgr-cli)
set(CPACK_DEBIAN_CLI_PACKAGE_SUGGESTS "bash-completion, subtitlemgr-sim")
set(CPACK_DEBIAN_SIM_PACKAGE_NAME subtitlemgr-sim)
set(CPACK_DEBIAN_SIM_PACKAGE_SUGGESTS "bash-completion, openssh-client, subtitlemgr-cli")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME subtitlemgr-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "cmake, g++, pkgconf, subtitlemgr-sim")
set(CPACK_DEBIAN_DOC_PACKAGE_NAME subtitlemgr-doc)
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_VIEW_PACKAGE_NAME subtitlemgr-view)
set(CPACK_DEBIAN_VIEW_PACKAGE_SUGGESTS
  "bash-completion, subtitlemgr-cli, subtitlemgr-sim, wireshark | tshark")
set(CPACK_DEBIAN_PYTEST_PACKAGE_NAME python3-pytest-subtitle)
set(CPACK_DEBIAN_PYTEST_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTEST_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTEST_PACKAGE_DEPENDS
  "python3 (>= 3.10), python3-pexpect, python3-pytest (>= 7), subtitlemgr-cli, subtitlemgr-sim")
set(CPACK_DEBIAN_PYTEST_PACKAGE_CONTROL_EXTRA
  "${PROJECT_SOURCE_DIR}/packaging/pytest/postinst;${PROJECT_SOURCE_DIR}/packaging/pytest/prerm")
set(CPACK_DEBIAN_PYTEST_PACKAGE_SUGGESTS python3-pytest-xdist)

# Written by hand: the tool that finds dependencies does not know the libraries of another
# architecture. tests/outside/packages/ compares them with what the programs are linked with.
if(CMAKE_EXE_LINKER_FLAGS MATCHES "-static( |$)")
  set(CPACK_SUBTITLE_STATIC ON)
else()
  get_target_property(client_link_options SubtitleMgrCli LINK_OPTIONS)
  if(client_link_options MATCHES "-static-libgcc")
    set(CPACK_DEBIAN_CLI_PACKAGE_DEPENDS "libc6 (>= 2.35)")
  else()
    set(CPACK_DEBIAN_CLI_PACKAGE_DEPENDS
      "libc6 (>= 2.34), libgcc-s1 (>= 4.2.0), libstdc++6 (>= 12)")
  endif()
  set(CPACK_DEBIAN_SIM_PACKAGE_DEPENDS
    "libc6 (>= 2.34), libgcc-s1 (>= 4.2.0), libstdc++6 (>= 12)")
  set(CPACK_DEBIAN_VIEW_PACKAGE_DEPENDS
    "libc6 (>= 2.34), libgcc-s1 (>= 4.2.0), libmicrohttpd12 (>= 0.9.75), libpng16-16 (>= 1.6.2), \
libstdc++6 (>= 12)")
endif()

# Empty, so that each package begins with its own first line and not with the project's.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEBIAN_CLI_DESCRIPTION
  "test and diagnostic client of the subtitle service
SubtitleMgrCli pings the subtitle service of an in-vehicle video system, stops
it, sets its log level, and opens a console that subscribes to its
notifications, counts them, and sends bitmaps, visibility and palettes.
SubtitleMgrTap shows and records what the service publishes.
.
This build talks to a service on the same machine, through a local socket.")
set(CPACK_DEBIAN_SIM_DESCRIPTION
  "simulated subtitle service
SubtitleMgrSim plays the subtitle service of an in-vehicle video system. It
serves the requests of SubtitleMgrCli, publishes notifications, plays
scenarios, keeps a journal, and causes faults on request. SubtitleMgrCtl drives
it while it runs and shows its state.")
set(CPACK_DEBIAN_VIEW_DESCRIPTION
  "pictures of subtitle regions
SubtitleMgrView turns recordings of the subtitle service of an in-vehicle video
system into pictures of its regions, draws them on a terminal, and turns
pictures into bitmaps and palettes for the console of SubtitleMgrCli. It makes
captures of the messages, and a dissector shows their fields in Wireshark.")
set(CPACK_DEBIAN_PYTEST_DESCRIPTION
  "pytest plugin for tests of the subtitle service
Fixtures start a simulated subtitle service of an in-vehicle video system, the
console of SubtitleMgrCli on a pseudo-terminal, and a tap for each test. Every
wait has a limit, and the report of a failed test has recording, log, screen
and state.")

set(CPACK_DEBIAN_DEV_DESCRIPTION
  "stand-in for the SDK of the subtitle service
Headers and a static library that replace the vendor's SDK at a desk, with
files for CMake and pkg-config. A client that is built with them talks to the
simulated service of the package subtitlemgr-sim. An example is in
/usr/share/doc/subtitlemgr-dev/examples.")
set(CPACK_DEBIAN_DOC_DESCRIPTION
  "guides to the programs around the subtitle service
README.md in /usr/share/doc/subtitlemgr-doc is the way in. The guides show the
console, the simulated service, pictures of regions, services on other machines
and the client with the vendor's SDK.")

include(CPack)
