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
    (cd "$root" && tar -c --exclude=./build --exclude=./.git .) | tar -x -C "$copy"
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
exit "$failures"
