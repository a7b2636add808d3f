#!/usr/bin/env python3
"""Runs tests while reads and writes move 1 to 3 bytes and return EINTR, repeatable by a seed.

suite.py PROGRAMS [--seed SEED]
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

# Programs with both sides of the socket, so all of their calls move pieces; and what is left out.
LEFT_OUT = {
    # These tests depend on whole frames and their age, or on the byte at which a pipe is full.
    "unit_simulator": [
        "PeerTable.Drops*",
        "PeerTable.KeepsAPeerThatIsSilent*",
        "PeerTable.KeepsAPeerStalled*",
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
SESSIONS = "sessions"
LIMIT_S = 600


def output_of(command, variable, arguments):
    """Runs a command with the library preloaded by the variable. Returns its output."""
    environment = {
        **os.environ,
        "PARTIAL_SEED": str(arguments.seed),
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
    program = pathlib.Path(arguments.bin).resolve() / f"test_{name}"
    command = [program, "--gtest_filter=-" + ":".join(LEFT_OUT[name])]
    result = output_of(command, "LD_PRELOAD", arguments)
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
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    started, total, bad = time.monotonic(), 0, False
    with tempfile.TemporaryDirectory(prefix="suite.") as folder:
        # Some programs run as another user, who may have no access to the build folder.
        os.chmod(folder, 0o755)
        library = pathlib.Path(arguments.bin, "libpartial_preload.so")
        arguments.library = shutil.copy(library, folder)
        with concurrent.futures.ThreadPoolExecutor() as pool:
            jobs = pool.map(lambda name: run(name, arguments), [*LEFT_OUT, SESSIONS])
            for name, passed, failed in jobs:
                total += passed
                bad = bad or bool(failed) or passed == 0
                print(f"{name:22}{passed:5} passed{len(failed):5} failed", flush=True)
                for test in failed:
                    print(f"  {test}", flush=True)
    print(f"{total} tests in pieces, seed {arguments.seed}, {time.monotonic() - started:.0f} s")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
