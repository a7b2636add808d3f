#!/bin/sh
# Builds the client and the tap with the vendor's SDK from a tree without stand-in and simulated
# service, and runs them: builds_the_client_alone.sh SCRATCH CXX RUNNER [CMAKE_OPTION...].
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
scratch=$1
cxx=$2
runner=$3  # a command that starts a program
shift 3

# The vendor's SDK and the files that wrap it.
rm -rf "$scratch"
sdk=$scratch/sdk
mkdir -p "$sdk/lib" "$scratch/tree/tests/sdk"
cp -R "$here/vendor/SubtitleSdkConfig.cmake" "$here/vendor/adapters" "$here/vendor/include" "$sdk/"
"$cxx" -std=c++17 -shared -fPIC -O1 -I"$sdk/include" -I"$root" "$here"/vendor/*.cpp \
    -Wl,-soname,libsubtitleclient.so -o "$sdk/lib/libsubtitleclient.so"

for part in CMakeLists.txt CHANGELOG.md cmake packaging docs tests/sdk/interface client tools; do
    cp -R "$root/$part" "$scratch/tree/$part"
done
cmake -S "$scratch/tree" -B "$scratch/build" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 \
    -DSubtitleSdk_DIR="$sdk" -DCMAKE_INSTALL_RPATH="$sdk/lib" "$@"
cmake --build "$scratch/build" --target SubtitleMgrCli SubtitleMgrTap sdk_interface

# The build must not use the original tree.
if ninja -C "$scratch/build" -t deps | grep -E "$root/(platform|simulator)/"; then
    echo "the build reads files outside the SDK and the copy"
    exit 1
fi
cmake --install "$scratch/build" --component cli --prefix "$scratch/root" --strip

cd "$scratch"
export LOCKSTEP_FOLDER="$scratch"
run() {
    # shellcheck disable=SC2086  # a list of words
    $runner root/bin/SubtitleMgrCli "$@"
}

run -h >usage
head -n 1 usage | grep -qx 'Usage: SubtitleMgrCli'
[ "$(wc -l <usage)" -eq 9 ]

# The prefix and the vendor's name of process 5.
[ "$(run -e node1 -p)" = "Let's Ping
Successful Ping" ]
grep ' Request node1/Titles 15105 15106 -1 null$' journal

# The adapters pass on a log entry, and the payload of a notification during call 8.
echo 'at 8 visibility 3 1' >script
printf '1\n3\n1\n/no/such/file\n4\nx\n' | run -i >console
cat journal log
grep -x '\*\*\* RegionVisi:  3  visible' console
grep -E ' 2 SubtitleMgrCli SubtitleMgrCli:[0-9]+ .* - Error opening file /no/such/file$' log

# The tap has no option frame, so this vendor makes region 3 visible once.
tap() {
    # shellcheck disable=SC2086  # a list of words
    $runner root/bin/SubtitleMgrTap --count 1 "$@"
}
[ "$(tap --time zero)" = "0.000000 visibility region 3 visible" ]
tap --json >recording
head -n 1 recording | grep '"service":"Titles"'
grep '"notification":"RegionVisibility","subscription":6,"regionId":3,"visible":true}$' recording
