#!/bin/sh
# Plants one error for each check of script/lint into a copy of the tree; the check must find it.
# A check that cannot fail is none.
set -eu
root=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
copy=$scratch/tree
output=$scratch/output
failures=0

fresh_copy() {
    rm -rf "$copy"
    mkdir "$copy"
    tar -c -C "$root" --exclude=./build --exclude=./.git --exclude=./tests/fuzz/corpus . |
        tar -x -C "$copy"
    # One is enough: pylint takes seconds for all.
    find "$copy" -name '*.py' ! -path '*/tests/harness/not_run.py' -delete
}

# expect_found CHECK FILE LINE: a file or line that CHECK must refuse.
expect_found() {
    fresh_copy
    if ! "$copy/script/lint" "$1" >"$output" 2>&1; then
        echo "$1 fails without a planted error:"
        cat "$output"
        failures=$((failures + 1))
        return
    fi
    printf '%s\n' "$3" >>"$copy/$2"
    if "$copy/script/lint" "$1" >"$output" 2>&1; then
        echo "$1 does not find in $2: $3"
        failures=$((failures + 1))
    elif ! grep -q "$2" "$output"; then
        echo "$1 fails without naming $2:"
        cat "$output"
        failures=$((failures + 1))
    fi
}

# Written so that this file itself passes.
expect_found references docs/notes.md "see P""art 9.9"
expect_found class_map client/cli/SubtitleMgrCli.h "    // A group; defined in console/main_menu.cpp
    void NotThere();"
expect_found includes client/console/planted.cpp '#include "platform/src/wire_format.h"'
expect_found includes client/cli/planted.cpp '#include "simulator/subtitle_service.h"'
expect_found includes client/records/planted.cpp '#include "stats/SubtitleStats.h"'
expect_found includes client/stats/planted.cpp '#include "../console/prompts.h"'
expect_found includes client/handlers/planted.cpp '#include <nlohmann/json.hpp>'
expect_found includes client/handlers/planted.cpp '#include "console/prompts.h"'
expect_found includes platform/include/Planted.h '#include <poll.h>'
expect_found includes platform/src/planted.cpp '#include "cli/SubtitleMgrCli.h"'
expect_found includes simulator/planted.cpp '#include "cli/SubtitleMgrCli.h"'
expect_found locks client/handlers/planted.cpp 'std::atomic<int> count;'
expect_found locks client/console/planted.cpp 'const std::lock_guard<std::mutex> lock(mutex);'
expect_found scripts script/build 'unused=1'
expect_found format client/cli/planted.cpp 'int  F( ){return 1;}'
expect_found columns client/cli/planted.cpp "// $(printf 'no end %.0s' $(seq 20))"
expect_found columns tests/tooling/planted.sh "echo $(printf 'no end %.0s' $(seq 20))"
expect_found python tests/planted.py 'import os'
expect_found python tests/planted.py "print( 'not as black writes it' )"

# expect_tidy STATUS WORDS FILE LINE: what it says of a tree with this source file alone. What CMake
# would write is there, without CMake.
expect_tidy() {
    find "$copy/client" "$copy/platform" "$copy/simulator" "$copy/tests" "$copy/bench" \
        -name '*.cpp' -delete
    printf '%s\n' "$4" >"$copy/$3"
    mkdir -p "$copy/build/clang" "$scratch/bin"
    printf '[{"directory": "%s", "file": "%s", "command": "clang++-14 -std=c++17 -c %s"}]\n' \
        "$copy" "$copy/$3" "$3" >"$copy/build/clang/compile_commands.json"
    ln -sf /bin/true "$scratch/bin/cmake"
    status=0
    PATH=$scratch/bin:$PATH "$copy/script/lint" tidy >"$output" 2>&1 || status=$?
    if [ "$status" -ne "$1" ] || ! grep -q -- "$2" "$output"; then
        echo "tidy of $3 with $4: status $status and not $1, or not the words $2:"
        cat "$output"
        failures=$((failures + 1))
    fi
}

fresh_copy
expect_tidy 0 'lint: tidy' client/cli/planted.cpp 'int* NoPlace() { return nullptr; }'
for planted in client/cli/planted.cpp tests/planted_test.cpp bench/planted.cpp; do
    fresh_copy
    expect_tidy 1 "$planted.*modernize-use-nullptr" "$planted" 'int* NoPlace() { return 0; }'
done
fresh_copy
expect_tidy 1 'client/cli/planted.cpp.*expected' client/cli/planted.cpp 'int'
# An error of its own; clang-tidy goes on with other checks then, and ends with status 0.
fresh_copy
echo 'Checks: [' >"$copy/.clang-tidy"
expect_tidy 1 'rror.*\.clang-tidy' client/cli/planted.cpp 'int Number() { return 1; }'
exit "$failures"
