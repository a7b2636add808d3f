#!/bin/sh
# Builds the client against the SDK beside this file, from a tree that has neither stand-in nor
# simulated service, and runs it: builds_the_client_alone.sh SCRATCH CXX RUNNER [CMAKE_OPTION...].
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../../.." && pwd)
scratch=$1
cxx=$2
runner=$3  # a command that starts a program
shift 3

rm -rf "$scratch"
mkdir -p "$scratch/tree/tests/sdk"
"$here/make_sdk.sh" "$scratch/sdk" "$cxx"
for part in CMakeLists.txt CHANGELOG.md cmake packaging docs tests/sdk/interface client; do
    cp -R "$root/$part" "$scratch/tree/$part"
done
cmake -S "$scratch/tree" -B "$scratch/build" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
    -DSubtitleSdk_DIR="$scratch/sdk" -DCMAKE_INSTALL_RPATH="$scratch/sdk/lib" "$@"
cmake --build "$scratch/build" --target SubtitleMgrCli sdk_interface

# Not from the tree that the copy was made of either.
if ninja -C "$scratch/build" -t deps | grep -E "$root/(platform|simulator)/"; then
    echo "the build reads files of another platform"
    exit 1
fi

cmake --install "$scratch/build" --component cli --prefix "$scratch/root" --strip
client=$scratch/root/bin/SubtitleMgrCli
run() {
    # shellcheck disable=SC2086  # a list of words
    $runner "$client" "$@"
}

run -h >"$scratch/usage"
head -n 1 "$scratch/usage" | grep -qx 'Usage: SubtitleMgrCli'
[ "$(wc -l <"$scratch/usage")" -eq 9 ]

# This vendor answers one name alone, its own name of process 5 behind a prefix.
[ "$(run -e node1 -p)" = "Let's Ping
Successful Ping" ]
[ "$(run -p 2>&1 >/dev/null)" = "Error running ping" ]

# Through the adapters: a log entry, and the payload of the one notification that this vendor sends.
mkfifo "$scratch/keys"
# shellcheck disable=SC2086  # a list of words
$runner "$client" -i <"$scratch/keys" >"$scratch/console" 2>"$scratch/log" &
console=$!
# A console whose input ends goes on for ever.
trap 'kill "$console" 2>/dev/null || true' EXIT
exec 3>"$scratch/keys"
printf '1\n3\n1\n/no/such/file\n4\n' >&3
tries=0
until grep -qx '\*\*\* RegionVisi:  3  visible' "$scratch/console"; do
    tries=$((tries + 1))
    [ "$tries" -le 100 ] || exit 1
    sleep 0.1
done
echo x >&3
wait "$console"
grep -qE '^SubtitleMgrCli 2 SubtitleMgrCli:[0-9]+ .* - Error opening file /no/such/file$' \
    "$scratch/log"
