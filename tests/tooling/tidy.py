#!/usr/bin/env python3
"""Runs clang-tidy on what a build compiles.

tidy.py BUILD FOLDER...    BUILD has compile_commands.json; FOLDER is one of the tree

Reading the headers takes most of the time, so a few files are read together. When clang-tidy
reports anything for them, each of them is checked by itself, and only that is printed.
"""

import collections
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

WORK = pathlib.Path("build/lint/tidy")
FILES = 8  # of a batch
# clang-tidy writes there how many warnings are in other libraries' headers, and its own errors.
HARMLESS = re.compile(r"^\d+ warnings?( and \d+ errors?)? generated\.\n", re.MULTILINE)
SHARED = ("-I", "-D", "-isystem")  # options that files of one batch share
# clang-tidy finds unused ones only in the file that it is called with.
ALIAS = re.compile(r"\bnamespace \w+ = ")
INCLUDE = re.compile(r"^#include [<\"].*[>\"]", re.MULTILINE)


def read_commands(build, folders):
    """Returns a command for each file; a file of several programs has several."""
    entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    commands = {os.path.relpath(entry["file"]): entry for entry in reversed(entries)}
    return {path: commands[path] for path in commands if path.split("/")[0] in folders}


def read(path):
    return pathlib.Path(path).read_text(encoding="utf-8")


def is_test(path):
    return path.endswith("_test.cpp") and path.startswith("tests/")


def group(path):
    """Files of one group are read together: tests of one level, other files of one folder."""
    parts = path.split("/")
    return tuple(parts[:2]) if is_test(path) else tuple(parts[:-1])


def batches(paths):
    """Returns lists of files."""
    groups = collections.defaultdict(list)
    for path in sorted(paths):
        alone = path if ALIAS.search(read(path)) else ""
        groups[is_test(path), group(path), alone].append(path)
    return [
        files[at : at + FILES] for files in groups.values() for at in range(0, len(files), FILES)
    ]


def batch_text(paths):
    """Returns a source that includes the files, each test in a namespace of its own.

    Tests define names that other tests define too, but no members of classes outside the namespace.
    """
    lines = []
    if is_test(paths[0]):
        lines = list(dict.fromkeys(line for path in paths for line in INCLUDE.findall(read(path))))
    for number, path in enumerate(paths):
        line = '#include "%s"  // NOLINT(bugprone-suspicious-include)' % os.path.abspath(path)
        lines.append("namespace file%d {\n%s\n}" % (number, line) if is_test(path) else line)
    return "\n".join(lines) + "\n"


def batch_command(source, entries):
    """Returns the first command with the folders and the definitions of all."""
    words = []
    for entry in entries:
        command = entry["command"].replace("-isystem ", "-isystem")
        others = command.replace(entry["file"], str(source)).split()
        words += [
            word
            for word in others
            if entry is entries[0] or (word.startswith(SHARED) and word not in words)
        ]
        words.append("-iquote" + os.path.dirname(entry["file"]))
    return {"directory": entries[0]["directory"], "file": str(source), "command": " ".join(words)}


def make_batch(number, entries):
    """Writes the source of a batch. Returns its command.

    clang-tidy takes the checks from the folder. In an included file its analyzer follows the paths
    of a program only if the name of the file that includes it contains UnifiedSource.
    """
    paths = [os.path.relpath(entry["file"]) for entry in entries]
    folder = WORK / paths[0].split("/", maxsplit=1)[0]
    folder.mkdir(parents=True, exist_ok=True)
    checks = pathlib.Path(folder.name, ".clang-tidy").absolute()
    if checks.exists() and not (folder / checks.name).exists():
        (folder / checks.name).symlink_to(checks)
    source = (folder / ("UnifiedSource%d.cpp" % number)).absolute()
    source.write_text(batch_text(paths), encoding="utf-8")
    return batch_command(source, entries)


def tidy(path):
    """Returns what clang-tidy found."""
    result = subprocess.run(
        ["clang-tidy-14", "-p", WORK, "--quiet", path],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        check=False,
    )
    found = result.stdout + HARMLESS.sub("", result.stderr)
    return found or ("%s: status %d\n" % (path, result.returncode) if result.returncode else "")


def main(build, *folders):
    commands = read_commands(pathlib.Path(build), folders)
    size = {path: os.path.getsize(path) for path in commands}
    files_of = {}
    database = list(commands.values())
    for number, paths in enumerate(batches(commands)):
        source = paths[0]
        if len(paths) > 1:
            database.append(make_batch(number, [commands[path] for path in paths]))
            source = database[-1]["file"]
        files_of[source] = paths
    WORK.mkdir(parents=True, exist_ok=True)
    (WORK / "compile_commands.json").write_text(json.dumps(database), encoding="utf-8")

    failed = False
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        largest_first = sorted(files_of, key=lambda it: -sum(size[path] for path in files_of[it]))
        running = {pool.submit(tidy, source): files_of[source] for source in largest_first}
        while running:
            done = next(concurrent.futures.as_completed(running))
            paths, found = running.pop(done), done.result()
            if found and len(paths) > 1:
                running.update({pool.submit(tidy, path): [path] for path in paths})
            elif found:
                print(found, end="", flush=True)
                failed = True
    return failed


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
