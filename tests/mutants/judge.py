"""Judges a change of the product: builds a tree with it, and runs tests until one fails."""

import collections
import concurrent.futures
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
import tomllib

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "resilience/faults"))
from fault_page import is_named

# Tests of the build, which has other compiler options here, and of test equipment.
NEVER_RUN = r"^(packaging\.(?!transcripts|descriptions)|sdk|tooling|harness|resilience\.page)"
# A longer test runs only for a break whose row names it; other tests run the same code.
LONG_S = 12
# A wrong program may never end.
LIMIT_S, LIMIT_FACTOR, LONGEST_S, PROCESSOR_LIMIT_S = 5, 5, 30, 20
BUILD_LIMIT_S = 1800
AT_ONCE = 4  # tests of a tree at a time; most tests wait
ENVIRONMENT = {**os.environ, "SUBTITLE_TEST_SECONDS": "5"}
# Without optimisation the build is faster; -w, since a change may leave a name unused.
CONFIGURE = ["cmake", "--preset", "desk", "-B", "build", "-DCMAKE_BUILD_TYPE=Debug"] + [
    "-DSUBTITLE_TOOL_TESTS=ON",  # the examples of documents are some of the tests
    "-DCMAKE_CXX_FLAGS=-w",
    "-DCMAKE_CXX_FLAGS_DEBUG=-O0",
    "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold",
]


class Processes:
    """The running commands. end() ends them, and none starts afterwards."""

    def __init__(self):
        self.running = set()
        self.lock = threading.Lock()
        self.ended = False

    def run(self, command, limit, **options):
        """Runs a command. Returns its output and status; the status is -1 after the limit."""
        with self.lock:
            if self.ended:
                raise SystemExit(1)
            options = {"stdout": subprocess.PIPE, "text": True, "errors": "replace", **options}
            child = subprocess.Popen(
                command,
                stdin=subprocess.DEVNULL,
                stderr=subprocess.STDOUT,
                start_new_session=True,
                **options,
            )
            self.running.add(child)
        try:
            return child.communicate(timeout=limit)[0], child.returncode
        except subprocess.TimeoutExpired:
            return "", -1
        finally:
            self.running.discard(child)
            kill(child)
            child.wait()

    def end(self):
        with self.lock:
            self.ended = True
            for child in self.running:
                kill(child)


def kill(child):
    try:
        os.killpg(child.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def kill_left(folder):
    """Ends processes that a failed test left in other sessions. Only that test uses its folder."""
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            words = (process / "cmdline").read_bytes() + (process / "environ").read_bytes()
            if folder.encode() in words:
                os.kill(int(process.name), signal.SIGKILL)
        except OSError:
            pass


class Tree:
    """A clone with its own build, for one change at a time."""

    def __init__(self, source, root, cores, processes):
        self.source = source
        self.root = pathlib.Path(root)
        self.cores = cores
        self.processes = processes
        self.tests = {}  # by name: its command, and the programs that it needs
        self.times = {}  # by name: seconds, without a change
        self.linked = set()  # programs that were linked with the change

    def must(self, *command):
        output, status = self.processes.run(command, BUILD_LIMIT_S, cwd=self.root)
        if status != 0:
            sys.exit("mutants: %s\n%s" % (" ".join(map(str, command)), output))
        return output

    def fetch(self):
        """Checks out the commit. Unchanged files keep their times, so they are not built again."""
        if not self.root.exists():
            self.root.mkdir(parents=True)
            self.must("git", "init", "-q")
        self.must("git", "fetch", "-q", "--depth=1", "file://%s" % self.source, "HEAD")
        self.must("git", "checkout", "-q", "-f", "--detach", "FETCH_HEAD")

    def commit(self):
        return self.must("git", "log", "-1", "--format=%h").strip()

    def prepare(self):
        """Builds everything and reads the list of tests."""
        self.fetch()
        if not (self.root / "build/build.ninja").exists():
            self.must(*CONFIGURE)
        self.must("ninja", "-C", "build", "-j", str(self.cores))
        self.must("ninja", "-C", "build", "-t", "cleandead")  # programs of earlier commits
        listing = self.must("ctest", "--test-dir", "build", "--show-only=json-v1")
        others = [
            path.name
            for path in (self.root / "build/bin").iterdir()
            if re.match("SubtitleMgr|session_runner|soak_|lib", path.name)
        ]
        for test in json.loads(listing[listing.index("{") :])["tests"]:
            if not re.search(NEVER_RUN, test["name"]) and "command" in test:
                program = pathlib.Path(test["command"][0])
                own = [program.name] if program.parent == self.root / "build/bin" else []
                level = test["name"].split(".")[0]
                started = {"unit": [], "fuzz": [], "service": ["SubtitleMgrSim"]}.get(level, others)
                self.tests[test["name"]] = test["command"], frozenset(own + started)

    def measure(self):
        """Runs every test without a change. Returns their times."""
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            runs = dict(zip(self.tests, pool.map(self.run_test, self.tests)))
        failed = [name for name, (passed, _) in runs.items() if not passed]
        if failed:
            sys.exit("mutants: these tests fail without a change: " + ", ".join(failed))
        return {name: seconds for name, (_, seconds) in runs.items()}

    def build(self, programs):
        """Links the programs that the tests need. Returns whether they compile."""
        output, status = self.processes.run(
            ["ninja", "-C", "build", "-j", str(self.cores), *("bin/" + name for name in programs)],
            BUILD_LIMIT_S,
            cwd=self.root,
        )
        self.linked.update(re.findall(r"Linking .*\bbin/(\S+)", output))
        return status == 0

    def run_test(self, name):
        """Whether a test passes, and its time. Repeats a failure, since the machine may be busy."""
        limit = LIMIT_S + LIMIT_FACTOR * self.times.get(name, LONGEST_S)
        command = ["prlimit", "--cpu=%d" % PROCESSOR_LIMIT_S, *self.tests[name][0]]
        for _ in range(2):
            begin = time.monotonic()
            with tempfile.TemporaryDirectory(prefix="mutant-", ignore_cleanup_errors=True) as tmp:
                os.chmod(tmp, 0o1777)  # some tests run as another user
                options = {"cwd": tmp, "env": {**ENVIRONMENT, "TMPDIR": tmp}}
                _, status = self.processes.run(command, limit, stdout=subprocess.DEVNULL, **options)
                if status == 0:
                    break
                kill_left(tmp)
        return status == 0, time.monotonic() - begin

    def first_failure(self, names):
        """Runs tests until one fails. Returns its name, or None."""
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            runs = {pool.submit(self.run_test, name): name for name in names}
            for run in concurrent.futures.as_completed(runs):
                if not run.result()[0]:
                    pool.shutdown(cancel_futures=True)
                    return runs[run]
        return None

    def killer(self, names):
        """The failing test, `does not compile` or None. Runs the quickest programs first."""
        groups = collections.defaultdict(list)
        for name in sorted(names, key=self.seconds):
            groups[self.tests[name][1]].append(name)
        for programs, tests in sorted(
            groups.items(), key=lambda group: sum(map(self.seconds, group[1]))
        ):
            if not self.build(programs):
                return "does not compile"
            # Programs that were not linked again do not contain the change.
            failed = self.first_failure(tests) if self.linked & programs else None
            if failed:
                return failed
        return None

    def seconds(self, name):
        return self.times.get(name, 0)

    def named_by(self, row):
        """Returns the tests that a row of the fault table names; for sessions, their files."""
        with open(self.root / "tests/resilience/faults/rows.toml", "rb") as file:
            names = tomllib.load(file).get(row, {}).get("tests", [])
        names = [re.sub(r"^(sessions\.\w+\.).*", r"\1", name) for name in names]
        return {test for test in self.tests for name in names if is_named(name, test)}

    def judge(self, change):
        """Returns the failing test, and whether it is a test of the change's row or room, which run
        first. Instead of a test, the result may be a word such as "survived"."""
        problem = change.problem(self.root)
        if problem:
            return problem, False
        room = re.sub(r"^client/|/.*", "", change.file)
        first = self.named_by(change.row()) or {
            name for name in self.tests if name.startswith("unit.%s." % room)
        }
        others = {name for name in self.tests if self.seconds(name) <= LONG_S} - first
        change.make(self.root)
        self.linked.clear()
        try:
            found = self.killer(first)
            return (found, True) if found else (self.killer(others) or "survived", False)
        finally:
            subprocess.run(["git", "checkout", "-q", "-f"], cwd=self.root, check=True)
