#!/bin/sh
# A build says what it misses and how to leave that out, and needs nothing for what is left out.
# needs_test.sh ROOT
set -eu
root=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
    echo "$*; the output is:"
    cat "$scratch/output"
    exit 1
}
configure() {
    rm -rf "$scratch/build"
    cmake -S "$root" -B "$scratch/build" -G Ninja "$@" >"$scratch/output" 2>&1
}
refuses() {  # option of CMake that hides a package, message
    ! configure "$1" || fail "a build with $1 was configured"
    tr -s ' \n' ' ' <"$scratch/output" | grep -qF "$2" || fail "with $1: no such message: $2"
}
builds() {  # expected programs, options of CMake
    programs=$1
    shift
    configure "$@" || fail "cannot be configured with $*"
    found=$(ninja -C "$scratch/build" -t targets all | sed -n 's,^bin/\([^:]*\):.*,\1,p' |
        sort | paste -s -d ' ')
    [ "$found" = "$programs" ] || fail "$* builds $found"
    ! ninja -C "$scratch/build" -t commands | grep -w python3 || fail "$* runs Python"
}

no_png=-DCMAKE_DISABLE_FIND_PACKAGE_PNG=ON
no_http=-DCMAKE_DISABLE_FIND_PACKAGE_Microhttpd=ON
no_json=-DCMAKE_DISABLE_FIND_PACKAGE_RapidJSON=ON
no_options=-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON
no_python=-DCMAKE_DISABLE_FIND_PACKAGE_Python3=ON
no_googletest=-DSUBTITLE_GOOGLETEST=
refuses "$no_png" "SubtitleMgrView needs PNG: install the Debian package libpng-dev, or leave\
 SubtitleMgrView out with -DSUBTITLE_TOOLS=OFF"
refuses "$no_http" "SubtitleMgrView needs Microhttpd: install the Debian package libmicrohttpd-dev,\
 or leave SubtitleMgrView out with -DSUBTITLE_TOOLS=OFF"
refuses "$no_json" "the reader of recordings needs RapidJSON: install the Debian package\
 rapidjson-dev, or leave the reader of recordings out with -DSUBTITLE_SIMULATOR=OFF\
 -DSUBTITLE_TOOLS=OFF"
refuses "$no_options" "SubtitleMgrSim needs CLI11: install the Debian package libcli11-dev, or\
 leave SubtitleMgrSim out with -DSUBTITLE_SIMULATOR=OFF"
refuses "$no_python" "the test suite needs Python3: install the Debian package python3, or leave\
 the test suite out with -DBUILD_TESTING=OFF"
refuses "$no_googletest" "the test suite needs GoogleTest: install the Debian package libgtest-dev,\
 or leave the test suite out with -DBUILD_TESTING=OFF"

builds "SubtitleMgrCli SubtitleMgrCtl SubtitleMgrSim SubtitleMgrTap SubtitleMgrView" \
    "$no_python" "$no_googletest" -DBUILD_TESTING=OFF -DSUBTITLE_BENCH=OFF
builds "SubtitleMgrCli SubtitleMgrSim SubtitleMgrTap" \
    "$no_python" "$no_googletest" "$no_png" "$no_http" -DSUBTITLE_TOOLS=OFF
builds "SubtitleMgrCli SubtitleMgrCtl SubtitleMgrTap SubtitleMgrView" \
    "$no_python" "$no_googletest" "$no_options" -DSUBTITLE_SIMULATOR=OFF
builds "SubtitleMgrCli SubtitleMgrTap" "$no_python" "$no_googletest" "$no_options" "$no_json" \
    "$no_png" -DSUBTITLE_SIMULATOR=OFF -DSUBTITLE_TOOLS=OFF

# A build with an outside SDK needs nothing but the compiler.
mkdir "$scratch/sdk"
echo 'add_library(SubtitleSdk::SubtitleSdk INTERFACE IMPORTED)' \
    >"$scratch/sdk/SubtitleSdkConfig.cmake"
builds "SubtitleMgrCli SubtitleMgrTap" "$no_python" "$no_googletest" "$no_options" "$no_json" \
    "$no_png" "$no_http" -DSubtitleSdk_DIR="$scratch/sdk"
