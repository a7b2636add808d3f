#!/bin/sh
# A warning is an error in every preset and in no other build, since a user's newer compiler may
# have more warnings. warnings_test.sh ROOT
set -eu
root=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
    echo "$*; the output is:"
    cat "$scratch/output"
    exit 1
}

cd "$root"
cmake --list-presets | sed -n 's/^  "\(.*\)".*/\1/p' >"$scratch/presets"
grep -qx desk "$scratch/presets"
while read -r preset; do
    cmake -N --preset "$preset" >"$scratch/output"
    grep -q 'CMAKE_COMPILE_WARNING_AS_ERROR:BOOL="TRUE"' "$scratch/output" ||
        fail "warnings are no errors in the preset $preset"
done <"$scratch/presets"

# This flag always causes a warning. An outside SDK leaves out the tests, which is quicker.
mkdir "$scratch/sdk"
cat >"$scratch/sdk/SubtitleSdkConfig.cmake" <<SDK
add_library(sdk INTERFACE)
target_include_directories(sdk INTERFACE "$root/platform/include")
add_library(SubtitleSdk::SubtitleSdk ALIAS sdk)
SDK
object=CMakeFiles/subtitle_client.dir/client/cli/connection.cpp.o
cmake -S "$root" -B "$scratch/build" -G Ninja -DSubtitleSdk_DIR="$scratch/sdk" \
    -DCMAKE_CXX_FLAGS=-Wpadded >"$scratch/output" 2>&1 || fail "a plain build cannot be configured"
cmake --build "$scratch/build" --target "$object" >"$scratch/output" 2>&1 ||
    fail "a warning stops a plain build"
grep -q 'warning: .*\[-Wpadded\]' "$scratch/output" || fail "the flag makes no warning any more"
