#!/usr/bin/env python3
"""Runs tests while reads and writes move 1 to 3 bytes and return EINTR, repeatable by a seed.

suite.py PROGRAMS [--short] [--seed SEED]
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

# These programs have both sides of the socket, so all of their calls move pieces. The lists name
# the tests that are left out.
IN_ONE_PROCESS = {
    # These tests depend on whole frames and their age.
    "unit_simulator": [
        "PeerTable.Drops*",
        "PeerTable.KeepsAPeerThatIsSilent*",
        # The pipe is full at a certain byte.
        "Recorder.EndsWithAWholeLineInAPipeThatIsNotRead",
    ],
    "unit_platform": [
        # A socket holds less data in pieces than these tests send.
        "EndOfEndpoint.IsABarrierForCallbacks",
        "Notifications.AreDroppedAndCountedWhenReceivedTooLate",
        "Notifications.KeepTheNewestWhenNoCallReceives",
        "OneWayMessage.KeepsTheConnectionWhenTheSocketIsFull",
        # The endpoint closes the connection before the test has sent its last byte.
        "BadFrame.*",
        # A request that was sent in part is sent again, without an answer.
        "Request.FailsWhenTheServiceGoesAwayBeforeItReads",
        # These tests fill sinks, make thousands of concurrent calls or need whole writes.
        "*Sink*",
        "LogFile.*",
        "SystemLog.*",
        "EntriesAboutPeers.*",
        "Concurrent*",
        "Callback.*",
        "ForkedChild.*",
        "MadeDirectory.*",
    ],
}
# In these tests the calls of client and service move pieces, not those of the test.
WITH_PROGRAMS = {
    "resilience_requests": ["UnreadSystemLog.*", "LogFileAtItsLimit.*", "DescriptorShortage.*"],
    "service": [
        # A dropped peer loses its unread bytes.
        "BadFrame.*",
        # Megabytes, many clients, time limits, and sinks that are full at a certain byte.
        "ControlClients.*",
        "CostlyRefresh.*",
        "Flood.*",
        "FullStandardOutput.*",
        "GarbageWithoutSubscriber.*",
        "HostileClient.*",
        "IncompleteFrames.*",
        "LimitedFile.*",
        "ServiceEnd.SleepsWhileASubscriberDoesNotRead",
        "StalledSubscriber.*",
        "Start.IsRefusedWithAnEndlessScenario",
        "SurplusClient.*",
        "TerminalOfAService.*",
        "ThousandSubscribers.*",
        "*Unread*",
    ],
}
# Left out as a whole: unit tests of rooms that neither read nor write (cli, console, generators,
# handlers, records, stats); harness; programs that refuse calls themselves (resilience_memory,
# resilience_calls); programs of other projects, which do not handle EINTR (resilience_directory);
# programs whose time limits are too short for pieces (resilience_idle, _threads); sessions on a
# terminal.
SESSIONS = "sessions"
SHORT = ("unit_simulator", "resilience_requests")
LIMIT_S = 600


def output_of(command, variable, arguments):
    """Runs a command with the library preloaded by the variable. Returns its output."""
    environment = {
        **os.environ,
        "PARTIAL_SEED": str(arguments.seed),
        "WHOLE_FILES": "yes",
        variable: str(arguments.library),
    }
    return subprocess.run(
        command,
        env=environment,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        timeout=LIMIT_S,
        check=False,
        text=True,
        errors="replace",
    )


def run_sessions(arguments):
    """Plays the console sessions on pipes. Returns their name, the number passed and failures."""
    player = pathlib.Path(__file__).parents[2] / "sessions" / "play.py"
    command = [sys.executable, player, "--programs", arguments.bin, "--on", "pipe"]
    text = output_of(command, "PROGRAMS_PRELOAD", arguments).stdout
    failed = re.findall(r"^(\S+) fails on a pipe:$", text, re.MULTILINE)
    count = re.search(r"^\d+ of (\d+) sessions failed", text, re.MULTILINE)
    return SESSIONS, int(count[1]) - len(failed) if count else 0, failed


def run(name, arguments):
    """Runs a test program. Returns its name, the number passed and the failures."""
    if name == SESSIONS:
        return run_sessions(arguments)
    alone = name in IN_ONE_PROCESS
    left_out = (IN_ONE_PROCESS if alone else WITH_PROGRAMS)[name]
    program = pathlib.Path(arguments.bin).resolve() / f"test_{name}"
    command = [program, "--gtest_filter=-" + ":".join(left_out)]
    result = output_of(command, "LD_PRELOAD" if alone else "PROGRAMS_PRELOAD", arguments)
    passed = len(re.findall(r"^\[       OK \]", result.stdout, re.MULTILINE))
    failed = sorted(
        set(re.findall(r"^\[  FAILED  \] (\S+?),? .*ms\)$", result.stdout, re.MULTILINE))
    )
    if result.returncode != 0 and not failed:
        failed = [f"the program, with status {result.returncode}"]
    return name, passed, failed


def main():
    """Reads the command line. Returns the exit status."""
    parser = argparse.ArgumentParser(prog="script/faults --suite", description=__doc__)
    parser.add_argument("bin", help="folder of the programs and of the preloaded library")
    parser.add_argument("--short", action="store_true", help="two programs only")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    names = SHORT if arguments.short else [*IN_ONE_PROCESS, *WITH_PROGRAMS, SESSIONS]
    with tempfile.TemporaryDirectory(prefix="suite.") as folder:
        # Some programs run as another user, who may have no access to the build folder.
        os.chmod(folder, 0o755)
        arguments.library = shutil.copy(
            pathlib.Path(arguments.bin, "libpartial_preload.so"), folder
        )
        return run_all(names, arguments)


def run_all(names, arguments):
    """Runs test programs in parallel. Returns the exit status."""
    started, total, bad = time.monotonic(), 0, False
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for name, passed, failed in pool.map(lambda name: run(name, arguments), names):
            total += passed
            bad = bad or bool(failed) or passed == 0
            print(f"{name:22}{passed:5} passed{len(failed):5} failed", flush=True)
            for test in failed:
                print(f"  {test}", flush=True)
    print(f"{total} tests in pieces, seed {arguments.seed}, {time.monotonic() - started:.0f} s")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
