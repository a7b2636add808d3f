#!/usr/bin/env python3
"""Changes the product in small wrong ways and counts how many of the changes the tests notice."""

import argparse
import collections
import filecmp
import glob
import json
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # nothing of a run stays in the sources
from source_operators import Mutant, mutants_of

FOLDERS = [
    "client/cli",
    "client/records",
    "client/stats",
    "client/handlers",
    "client/console",
    "client/generators",
    "platform/src",
]

# What is linked with a folder and quick; the other tests run when these notice nothing.
FIRST_TESTS = {
    "client/cli": ["cli"],
    "client/records": ["records", "handlers"],
    "client/stats": ["stats"],
    "client/handlers": ["handlers"],
    "client/console": ["console"],
    "client/generators": ["generators"],
    "platform/src": ["platform"],
}
# Takes longer than all others of its folder together.
WAITING_TESTS = r"^unit\.platform\.TheMessagingDirectory\.GivesUpOnAServiceThatTakesNobody$"
# What runs then. Sessions that edit regions reach nothing of the stand-in that the others do not.
THEN_TESTS = {
    "platform/src": r"^(unit\.(cli|records|handlers|simulator)|service"
    r"|sessions\.(options|log_level|ping_and_quit|main_menu|subscriptions"
    r"|input_errors|notifications|statistics)"
    r"|resilience\.(requests|directory|losses|threads|bytes|memory"
    r"|call_sweep|memory_sweep|partial_sweep))\.|" + WAITING_TESTS
}
PROGRAMS = ["SubtitleMgrCli", "SubtitleMgrCliLockstep", "SubtitleMgrSim", "test_resilience_threads"]
# Tests of the build itself, which has other compiler options here, of texts, and long ones whose
# place others reach as well.
LEFT_OUT = "|".join(
    [
        r"^resilience\.(exit|idle|soak|page|sources)",
        r"^packaging",
        r"^sdk",
        r"^tooling",
        r"^fuzz",
        r"^unit\.simulator\.Backlog",
    ]
)
ENVIRONMENT = {**os.environ, "SUBTITLE_TEST_SECONDS": "5"}

BUILD_LIMIT_S = 900
TESTS_LIMIT_S = 600
# Of one test, since a wrong program may never end: it waits, or works on and on.
TEST_LIMIT_S = 12
PROCESSOR_LIMIT_S = 10
# Judged together, file by file, so that an object is not built twice without need. Not more, so
# that what an interrupted run has judged is a fair sample too.
BATCH = 100
# No test at all could be listed or started.
ALL_TESTS = "all.of.them"


def run(command, limit, **options):
    """Runs a command and everything it starts. Returns its status; -1 when it took too long."""
    with subprocess.Popen(
        command,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        text=True,
        errors="replace",
        stderr=subprocess.STDOUT,
        start_new_session=True,
        **options
    ) as child:
        try:
            output = child.communicate(timeout=limit)[0]
            return child.returncode, output
        except subprocess.TimeoutExpired:
            os.killpg(child.pid, signal.SIGKILL)
            child.communicate()
            return -1, ""
        except BaseException:
            os.killpg(child.pid, signal.SIGKILL)
            raise


def limit_processor_time():
    resource.setrlimit(resource.RLIMIT_CPU, (PROCESSOR_LIMIT_S, PROCESSOR_LIMIT_S))


class Tree:
    """A copy of the tree with a build of its own, of which one line at a time is changed."""

    def __init__(self, source, folder):
        self.source = source
        self.root = os.path.join(folder, "tree")
        self.build = os.path.join(self.root, "build")

    def prepare(self):
        """Copies what is committed, unless an earlier run did, and builds it."""
        if os.path.isdir(self.root):
            return
        self.extract(self.root)
        # Not optimised, for speed; -w, since a change may leave a name unused.
        self.must(
            [
                "cmake",
                "--preset",
                "desk",
                "-B",
                self.build,
                "-DCMAKE_BUILD_TYPE=Debug",
                "-DCMAKE_CXX_FLAGS=-w",
                "-DCMAKE_CXX_FLAGS_DEBUG=-O0",
                "-DSUBTITLE_TEST_SECONDS=%d" % TEST_LIMIT_S,
            ]
        )
        self.must(["ninja", "-C", self.build])
        failed = self.failed_test(".")
        if failed:
            sys.exit("mutants: without any change fails " + failed)

    def extract(self, folder):
        os.makedirs(folder)
        subprocess.run(
            "git -C '%s' archive HEAD | tar x -C '%s'" % (self.source, folder),
            shell=True,
            check=True,
        )

    def renew_tests(self):
        """Takes the tests as they are committed now; those that did not change stay built."""
        with tempfile.TemporaryDirectory() as folder:
            now = os.path.join(folder, "now")
            self.extract(now)
            for path in glob.glob(os.path.join(now, "tests", "**"), recursive=True):
                ours = os.path.join(self.root, os.path.relpath(path, now))
                if os.path.isdir(path):
                    os.makedirs(ours, exist_ok=True)
                elif not os.path.exists(ours) or not filecmp.cmp(path, ours, shallow=False):
                    shutil.copy(path, ours)
        self.must(["ninja", "-C", self.build])

    def must(self, command):
        status, output = run(command, BUILD_LIMIT_S, cwd=self.root)
        if status != 0:
            sys.exit(output)

    def builds(self, targets):
        return run(["ninja", "-C", self.build, *targets], BUILD_LIMIT_S)[0] == 0

    def failed_test(self, choice, left_out=LEFT_OUT):
        """Runs tests, each in a process of its own, until one fails. Returns its name, or None.

        On a busy machine a test may fail for once: one that passes when it is run again, alone, is
        no verdict, and the others decide.
        """
        while True:
            failed = self.first_failure(choice, left_out)
            if not failed or self.first_failure("^" + re.escape(failed) + "$", "^$"):
                return failed
            left_out += "|^" + re.escape(failed) + "$"

    def first_failure(self, choice, left_out):
        status, output = run(
            [
                "ctest",
                "--test-dir",
                self.build,
                "-j",
                "8",
                "--stop-on-failure",
                "--no-tests=error",
                "-R",
                choice,
                "-E",
                left_out,
            ],
            TESTS_LIMIT_S,
            env=ENVIRONMENT,
            preexec_fn=limit_processor_time,
        )
        failed = re.search(r"^\s*\d+ - (\S+) \(", output, re.MULTILINE)
        return failed[1] if failed else None if status == 0 else ALL_TESTS

    def unit_targets(self):
        programs = glob.glob(os.path.join(self.build, "bin", "test_unit_*"))
        return [os.path.basename(program) for program in programs]

    def path(self, mutant):
        return os.path.join(self.root, mutant.path)

    def judge(self, mutant):
        """What became of a mutant: the test that fails, `survived`, or `does not compile`."""
        folder = os.path.dirname(mutant.path)
        first = FIRST_TESTS[folder]
        if not self.builds(["test_unit_" + room for room in first]):
            return "does not compile"
        failed = self.failed_test(
            r"^unit\.(%s)\." % "|".join(first), LEFT_OUT + "|" + WAITING_TESTS
        )
        # A program of another room, left from another mutant, may be one that does not even start.
        if failed and failed != ALL_TESTS:
            return failed
        if not self.builds(PROGRAMS + self.unit_targets()):
            return "does not compile"
        return self.failed_test(THEN_TESTS.get(folder, ".")) or "survived"


class ChangedLine:
    """While it lives, the tree has the mutant."""

    def __init__(self, tree, mutant):
        self.path = tree.path(mutant)
        self.mutant = mutant
        self.text = None

    def __enter__(self):
        with open(self.path, encoding="utf-8") as file:
            self.text = file.read()
        lines = self.text.split("\n")
        lines[self.mutant.line - 1] = self.mutant.text
        self.write("\n".join(lines))

    def __exit__(self, *_):
        self.write(self.text)

    def write(self, text):
        with open(self.path, "w", encoding="utf-8") as file:
            file.write(text)


def all_mutants(root):
    found = []
    for folder in FOLDERS:
        for path in sorted(
            glob.glob(os.path.join(root, folder, "*.cpp"))
            + glob.glob(os.path.join(root, folder, "*.h"))
        ):
            with open(path, encoding="utf-8") as file:
                found += mutants_of(os.path.relpath(path, root), file.read())
    return found


class Results:
    """The verdicts so far, also of an interrupted run: one JSON array a line."""

    def __init__(self, path):
        self.path = path
        self.verdicts = {}
        if os.path.exists(path):
            with open(path, encoding="utf-8") as file:
                for line in file:
                    fields, verdict = json.loads(line)
                    self.verdicts[Mutant(*fields)] = verdict

    def add(self, mutant, verdict):
        self.verdicts[mutant] = verdict
        with open(self.path, "a", encoding="utf-8") as file:
            file.write(json.dumps([list(mutant), verdict]) + "\n")

    def forget_survivors(self):
        kept = {m: verdict for m, verdict in self.verdicts.items() if verdict != "survived"}
        self.verdicts = {}
        os.remove(self.path)
        for mutant, verdict in kept.items():
            self.add(mutant, verdict)


def judge_sample(tree, results, sample, count):
    """Judges mutants in the order of the sample until \\p count of them compiled."""
    judged = []
    at = 0
    while len(judged) < count and at < len(sample):
        batch = sorted(sample[at : at + min(BATCH, count - len(judged))])
        at += len(batch)
        for mutant in batch:
            if mutant not in results.verdicts:
                with ChangedLine(tree, mutant):
                    results.add(mutant, tree.judge(mutant))
                print("%s\n    %s" % (mutant.name(), results.verdicts[mutant]), flush=True)
            if results.verdicts[mutant] != "does not compile":
                judged.append(mutant)
    return judged


def caught_by(mutant, verdict):
    """Which column of the report a mutant belongs to."""
    if verdict == "survived":
        return verdict
    rooms = FIRST_TESTS[os.path.dirname(mutant.path)]
    return "own" if verdict.startswith(tuple("unit.%s." % room for room in rooms)) else "others"


def report(judged, verdicts, seed):
    """Prints a line for each folder and for all of them, then the survivors."""
    print(
        "\nseed %d\n%-13s%9s%17s%9s%10s"
        % (seed, "", "mutants", "own unit tests", "others", "survived")
    )
    rows = {folder: collections.Counter() for folder in FOLDERS + ["all"]}
    for mutant in judged:
        for row in (os.path.dirname(mutant.path), "all"):
            rows[row][caught_by(mutant, verdicts[mutant])] += 1
    for folder, row in rows.items():
        print(
            "%-13s%9d%17d%9d%10d"
            % (folder, sum(row.values()), row["own"], row["others"], row["survived"])
        )
    everything = rows["all"]
    print(
        "caught: %.1f %%\n"
        % (100.0 * (everything["own"] + everything["others"]) / sum(everything.values()))
    )
    for mutant in sorted(judged):
        if verdicts[mutant] == "survived":
            print("survived: " + mutant.name())


def arguments():
    parser = argparse.ArgumentParser(prog="script/mutants", description=__doc__)
    parser.add_argument("--count", type=int, default=300, help="mutants that compile; default 300")
    parser.add_argument("--seed", type=int, default=1, help="of the sample; default 1")
    parser.add_argument("--only", default="", help="only paths that this regular expression finds")
    parser.add_argument("--work", help="keep copy and verdicts in this folder, and go on there")
    parser.add_argument(
        "--again",
        action="store_true",
        help="judge what survived in --work again, with the tests of now",
    )
    return parser.parse_args()


def prepare(tree, results, again):
    """Makes the tree, or takes the tests of now into it when survivors are judged again."""
    tree.prepare()
    if again and results.verdicts:
        results.forget_survivors()
        tree.renew_tests()


def main():
    """Judges a seeded sample and prints how many were caught, and the survivors."""
    wanted = arguments()
    # As an interruption does: the changed line is put back, and what was started ends.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    source = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    folder = os.path.abspath(wanted.work or tempfile.mkdtemp(prefix="subtitle-mutants-"))
    os.makedirs(folder, exist_ok=True)
    try:
        tree = Tree(source, folder)
        results = Results(os.path.join(folder, "verdicts"))
        prepare(tree, results, wanted.again)
        sample = [m for m in all_mutants(tree.root) if re.search(wanted.only, m.path)]
        random.Random(wanted.seed).shuffle(sample)
        judged = judge_sample(tree, results, sample, wanted.count)
        report(judged, results.verdicts, wanted.seed)
    finally:
        if not wanted.work:
            shutil.rmtree(folder)


if __name__ == "__main__":
    main()
