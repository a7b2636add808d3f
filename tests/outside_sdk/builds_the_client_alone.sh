#!/bin/sh
# Builds the client against the tiny SDK beside this file: builds_the_client_alone.sh SCRATCH CXX.
# Neither the stand-in nor the simulated service may be part of it.
set -eu
sdk=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$sdk/../.." && pwd)
scratch=$1
rm -rf "$scratch"
cmake -S "$root" -B "$scratch" -G Ninja -DCMAKE_CXX_COMPILER="$2" -DSubtitleSdk_DIR="$sdk"
cmake --build "$scratch" --target SubtitleMgrCli

for room in platform simulator; do
    if [ -e "$scratch/$room" ] || grep -n "$root/$room/" "$scratch/build.ninja"; then
        echo "$room/ is part of the build"
        exit 1
    fi
done

client=$(find "$scratch" -name SubtitleMgrCli -type f)
"$client" -h >"$scratch/usage"
head -n 1 "$scratch/usage" | grep -qx 'Usage: SubtitleMgrCli'
[ "$(wc -l <"$scratch/usage")" -eq 9 ]

# This SDK answers one name alone, its own name of process 5 behind a prefix.
[ "$("$client" -e node1 -p)" = "Let's Ping
Successful Ping" ]
[ "$("$client" -p 2>&1 >/dev/null)" = "Error running ping" ]
