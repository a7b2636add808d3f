SUMMARY = "Test and diagnostic client of the subtitle service"
DESCRIPTION = "SubtitleMgrCli and SubtitleMgrTap with the vendor's SDK"
LICENSE = "Proprietary"
LIC_FILES_CHKSUM = "file://packaging/copyright;md5=7894a72b95982f28f2e1d80745f43ecf"
PV = "1.0.0"

# Builds the source tree that contains this file.
inherit cmake externalsrc
EXTERNALSRC = "${@os.path.abspath(d.getVar('THISDIR') + '/../..')}"

# The recipe of the SDK installs SubtitleSdkConfig.cmake into this folder; docs/device-sdk.md
# explains that file. For another recipe or folder write a subtitlemgr-cli.bbappend.
DEPENDS = "subtitle-sdk"
SUBTITLE_SDK_DIR = "${STAGING_LIBDIR}/cmake/SubtitleSdk"
EXTRA_OECMAKE = "-DSubtitleSdk_DIR=${SUBTITLE_SDK_DIR}"
OECMAKE_TARGET_COMPILE = "SubtitleMgrCli SubtitleMgrTap"

do_install() {
    DESTDIR="${D}" cmake --install "${B}" --component cli
}

PACKAGES =+ "${PN}-completion"
FILES:${PN}-completion = "${datadir}/bash-completion ${datadir}/fish ${datadir}/zsh"
