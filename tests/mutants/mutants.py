#!/usr/bin/env python3
"""Makes small wrong changes of the product and counts the changes that the tests find."""

import argparse
import collections
import concurrent.futures
import itertools
import json
import os
import pathlib
import queue
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # keeps the source folder clean
import changes
import judge
from source_operators import mutants_of

FOLDERS = ["client/*", "platform/src", "simulator", "simulator/*", "tools/*"]


class Verdicts:
    """The verdicts of a commit, also of interrupted runs: one JSON array per line."""

    def __init__(self, path):
        self.path = path
        self.known = {}
        if path.exists():
            for line in path.read_text("utf-8").splitlines():
                change, verdict, is_first = json.loads(line)
                self.known[changes.Change(*change)] = verdict, is_first

    def add(self, change, verdict, is_first):
        self.known[change] = verdict, is_first
        with open(self.path, "a", encoding="utf-8") as file:
            file.write(json.dumps([change, verdict, is_first]) + "\n")
        print("%s\n    %s" % (change.name, verdict), flush=True)


def column(verdict, is_first):
    """Returns the column of the report for a change."""
    word = verdict.split(":")[0]
    if word in ("survived", "stale", "does not compile"):
        return word
    return "first" if is_first else "others"


def report(listed, known):
    """Prints a line for each folder, and the uncaught changes. Returns whether the run passed."""
    columns = ["first", "others", "survived", "stale", "does not compile"]
    print("\nfirst: caught by a test of the room or of the row; others: caught by another test\n")
    print("%-18s%9s" % ("", "changes") + "".join("%*s" % (len(c) + 3, c) for c in columns))
    rows = collections.defaultdict(collections.Counter)
    for change in listed:
        for row in ("breaks" if change.row() else change.folder(), "total"):
            rows[row][column(*known[change])] += 1
    for name, row in sorted(rows.items(), key=lambda item: (item[0] == "total", item[0])):
        counts = "".join("%*d" % (len(c) + 3, row[c]) for c in columns)
        print("%-18s%9d%s" % (name, sum(row.values()), counts))
    caught = rows["total"]["first"] + rows["total"]["others"]
    wrong = rows["total"]["stale"] + rows["total"]["does not compile"]
    print("caught: %.1f %%\n" % (100.0 * caught / max(len(listed) - wrong, 1)))
    missed = [change for change in listed if column(*known[change]) != "first"]
    missed = [c for c in missed if c.row() or column(*known[c]) != "others"]
    for change in missed:
        print("%s: %s" % (change.name, known[change][0]))
    return wrong == 0 and not any(change.row() for change in missed)


def replay(listed, source, folder, jobs):
    """Judges the changes in several trees, file by file, so that little is built twice."""
    processes = judge.Processes()
    # Like an interruption: the running commands end, and --work keeps the verdicts.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    cores = max(1, len(os.sched_getaffinity(0)) // jobs)
    trees = [judge.Tree(source, folder / f"tree-{n}", cores, processes) for n in range(jobs)]
    pool = concurrent.futures.ThreadPoolExecutor(jobs)
    try:
        list(pool.map(judge.Tree.prepare, trees))
        verdicts = Verdicts(folder / ("verdicts-" + trees[0].commit()))
        left = sorted((c for c in listed if c not in verdicts.known), key=lambda c: c.file)
        files = queue.SimpleQueue()
        for _, entries in itertools.groupby(left, key=lambda change: change.file):
            files.put(list(entries))
        times = trees[0].measure() if left else {}

        def work(tree):
            tree.times = times
            while not files.empty():
                for change in files.get():
                    verdicts.add(change, *tree.judge(change))

        list(pool.map(work, trees))
        return verdicts.known
    finally:
        processes.end()
        pool.shutdown()


def compiles(change):
    """Whether the file of a change compiles with it; does not compile other files."""
    text = (changes.ROOT / change.file).read_text("utf-8").replace(change.old, change.new)
    folders = "-I. -Iclient -Itools -Iplatform/include"
    command = f'g++ -std=c++17 -fsyntax-only -w {folders} -DSUBTITLE_VERSION="" -x c++ -'
    run = subprocess.run(
        command.split(), cwd=changes.ROOT, input=text.encode(), capture_output=True, check=False
    )
    return run.returncode == 0


def renew(path, count, only, seed):
    """Samples COUNT compiling changes. Each has a random number of its own, so most samples are
    the same after a change of the sources."""
    sample = []
    for folder in FOLDERS:
        for file in changes.ROOT.glob(folder + "/*.[ch]*"):
            found = mutants_of(str(file.relative_to(changes.ROOT)), file.read_text("utf-8"))
            sample += (mutant for mutant in found if re.search(only, mutant[1]))
    sample.sort(key=lambda mutant: random.Random(f"{seed} {mutant}").random())
    known = {change[1:] for change in changes.load(path)} if path.exists() else set()
    fitting = (m for m in sample if m[1:] in known or compiles(changes.Change("", *m[1:])))
    numbers = collections.Counter()
    listed = []
    for operator, file, old, new in itertools.islice(fitting, count):
        name = f"{os.path.basename(file)} {operator}"
        numbers[name] += 1
        listed.append(changes.Change(f"{name} {numbers[name]}", file, old, new))
    changes.save(path, sorted(listed, key=lambda change: (change.file, change.name)))


def arguments():
    parser = argparse.ArgumentParser(prog="script/mutants", description=__doc__)
    parser.add_argument("--list", type=pathlib.Path, action="append")
    parser.add_argument("--only", default="")
    parser.add_argument("--tree", default=changes.ROOT)
    parser.add_argument("--work")
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)))
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--renew", type=int, metavar="COUNT")
    parser.add_argument("--seed", type=int, default=1)
    return parser.parse_args()


def main():
    """Judges, checks or renews the lists. Returns the exit status."""
    wanted = arguments()
    if wanted.renew:
        return renew(wanted.list[0], wanted.renew, wanted.only, wanted.seed)
    listed = [change for path in wanted.list or changes.LISTS for change in changes.load(path)]
    listed = [c for c in listed if re.search(wanted.only, c.name + " " + c.file)]
    if wanted.check:
        stale = [f"{change.name}: {change.problem()}" for change in listed if change.problem()]
        print("\n".join(stale) or f"{len(listed)} changes fit the sources")
        return 1 if stale else 0
    folder = pathlib.Path(wanted.work or tempfile.mkdtemp(prefix="mutants-")).resolve()
    try:
        known = replay(listed, pathlib.Path(wanted.tree).resolve(), folder, wanted.jobs)
    finally:
        if not wanted.work:
            shutil.rmtree(folder)
    return 0 if report(listed, known) else 1


if __name__ == "__main__":
    sys.exit(main())
