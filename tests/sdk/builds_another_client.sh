#!/bin/sh
# Builds the example of a client with the installed stand-in, with CMake and with pkg-config, and
# runs it: builds_another_client.sh SCRATCH BUILD_DIR VERSION CXX RUNNER [CMAKE_OPTION...].
set -eu
here=$(cd "$(dirname "$0")" && pwd)
scratch=$1
build=$2
version=$3
cxx=$4
runner=$5  # a command that starts a program
shift 5

rm -rf "$scratch"
mkdir -p "$scratch"
cmake --install "$build" --component dev --prefix "$scratch/first" >/dev/null
mv "$scratch/first" "$scratch/root"  # the files must work in every folder
config=$(dirname "$(find "$scratch/root" -name SubtitleSdkConfig.cmake)")

configure() {
    cmake "$@" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" >"$scratch/output" 2>&1
}
configure -S "$here/example" -B "$scratch/cmake" -DSubtitleSdk_DIR="$config" "$@"
cmake --build "$scratch/cmake"

PKG_CONFIG_PATH=$(dirname "$(find "$scratch/root" -name subtitlesdk.pc)")
export PKG_CONFIG_PATH
[ "$(pkg-config --modversion subtitlesdk)" = "$version" ]
# shellcheck disable=SC2046  # a list of words
"$cxx" -std=c++17 "$here/example/show_visibility.cpp" \
    $(pkg-config --cflags --libs subtitlesdk) -o "$scratch/show_visibility"

# The installed stand-in is an SDK for the client itself too.
configure -S "$here/../.." -B "$scratch/client" -DSubtitleSdk_DIR="$config" "$@"
cmake --build "$scratch/client" --target sdk_interface

# A client may ask for a version.
mkdir "$scratch/newer"
sed 's/SubtitleSdk REQUIRED/SubtitleSdk 99 REQUIRED/' "$here/example/CMakeLists.txt" \
    >"$scratch/newer/CMakeLists.txt"
if configure -S "$scratch/newer" -B "$scratch/newer/build" -DSubtitleSdk_DIR="$config" "$@"; then
    echo "version $version is taken for 99"
    exit 1
fi
grep "SubtitleSdkConfig.cmake, version: $version" "$scratch/output"

export LINX_DIR="$scratch/linx"
mkfifo "$scratch/ready"
# shellcheck disable=SC2086  # a list of words
$runner "$build/bin/SubtitleMgrSim" --quiet >"$scratch/ready" &
service=$!
trap 'kill "$service"; wait "$service"' EXIT
read -r state <"$scratch/ready"
[ "$state" = ready ]
for program in cmake/show_visibility show_visibility; do
    # shellcheck disable=SC2086  # a list of words
    [ "$($runner "$scratch/$program")" = "region 3 is visible" ]
done
