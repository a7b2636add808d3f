#!/bin/sh
# A desk build without libpng says what is missing, and a build with an outside SDK needs no libpng.
# libpng_test.sh ROOT
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
    cmake -S "$root" -G Ninja -DCMAKE_DISABLE_FIND_PACKAGE_PNG=ON "$@" >"$scratch/output" 2>&1
}

! configure -B "$scratch/desk" || fail "a desk build was configured"
grep -q 'SubtitleMgrView needs libpng; script/bootstrap desk installs it' "$scratch/output" ||
    fail "no word about libpng"

mkdir "$scratch/sdk"
echo 'add_library(SubtitleSdk::SubtitleSdk INTERFACE IMPORTED)' \
    >"$scratch/sdk/SubtitleSdkConfig.cmake"
configure -B "$scratch/device" -DSubtitleSdk_DIR="$scratch/sdk" || fail "it needs libpng"
