#!/usr/bin/env python3
"""Runs sessions of the real client beside those of the model and tells every difference.

run_sessions.py PROGRAMS [--count N] [--seed N] [--keys MENU...] [--second-keys MENU...]
                [--replay FOLDER...] [--workers N] [-- EMULATOR...]
"""

import argparse
import mmap
import multiprocessing
import os
import re
import signal
import sys
import time

sys.dont_write_bytecode = True  # nothing of a run stays in the sources

import session_files
from console import Console
from executors import Executor
from platforms import ScriptedPlatform, ServicePlatform
from session_maker import MENUS, Session, SessionMaker, first_keys, second_keys

# Of a session that repeats itself so much is compared, and a few buffers more are thought ahead.
REPEATED = 4096
AHEAD = 24576
SECONDS = 60

# What the sessions of one run must reach, so that their maker loses no place unnoticed.
PLACES = {
    place.encode()
    for place in (
        "(currently subscribed)",
        "  ERROR",
        "Unsubscribing",
        "pixel value out of range",
        "rows by 0 columns",
        "(currently on)",
        "Sent sensor =5  ON",
        "Error Sending sensor",
        "Quit issued",
        "Error running quit",
        "Error opening file",
        "Error reading file",
        "Error opening output file",
        "Error writing output file ( 0",
        "RefreshRegions",
        "InvertRegionData",
        "SetRegionVisibility",
        "SetPaletteData",
        "the console was left",
        "the input ended",
    )
}


def places_of(console, platform):
    """The places that the model of a session reached."""
    told = [
        *console.output,
        *(text for text, _ in console.errors),
        *(text for _, _, text, _ in console.log),
        *(str(event.what).encode() for event in platform.events),
        b"the console was left" if console.ended else b"the input ended",
    ]
    told = b"\n".join(told)
    return {place for place in PLACES if place in told}


def has_huge_buffers(emulator):
    """Whether this machine gives 4 GiB without asking whether they will ever be used."""
    if emulator:
        return False
    try:
        mmap.mmap(-1, 0xFFFFFFFF).close()
    except OSError:
        return False
    return True


def play(session, huge_buffers):
    """The session as the model has it."""
    platform = (
        ServicePlatform(session.service) if session.service else ScriptedPlatform(session.script)
    )
    console = Console(
        session.keys, platform, session_files.SessionFiles(), huge_buffers, REPEATED + AHEAD
    )
    console.run(session.options)
    return console, platform


def shown(character):
    """One character of a log entry; a byte outside all characters is U+DC80 to U+DCFF."""
    code = ord(character)
    if 0xDC80 <= code <= 0xDCFF:
        return b"\\x%02x" % (code - 0xDC00)
    if code < 0x20 or 0x7F <= code < 0xA0:
        return b"".join(b"\\x%02x" % byte for byte in character.encode())
    return character.encode()


def spelled(text):
    """A text as the stand-in's log shows it: valid UTF-8 without control characters."""
    return b"".join(map(shown, text.decode(errors="surrogateescape")))


def about(what, expected, found):
    """Two texts around their first difference."""
    at = next(
        (i for i, pair in enumerate(zip(expected, found)) if pair[0] != pair[1]),
        min(len(expected), len(found)),
    )
    begin = max(0, at - 160)
    return "%s differs at %d of %d and %d:\n  model  %r\n  client %r" % (
        what,
        at,
        len(expected),
        len(found),
        expected[begin : at + 80],
        found[begin : at + 80],
    )


class Comparison:
    """One session of both."""

    def __init__(self, session, console, platform, result, limit):
        self.session = session
        self.console = console
        self.platform = platform
        self.result = result
        self.limit = limit
        self.problems = []
        self.entry_lines = set()  # (kind of log entry, number of its line)

    def differences(self):
        """What differs, as texts."""
        status = 0 if self.console.ended else -signal.SIGXFSZ
        if self.result.status != status:
            self.problems.append("status %d, not %d" % (self.result.status, status))
        expected = b"".join(self.console.output)
        if not self.console.ended:
            expected = expected[: self.limit]
        self.texts("standard output", expected, self.result.output)
        self.compare_errors()
        self.compare_journal()
        self.compare_log()
        return self.problems

    def texts(self, what, expected, found):
        """Compares two texts."""
        if expected != found:
            self.problems.append(about(what, expected, found))

    def sequence(self, what, expected, found):
        """Compares lists of what the model (with its place) and the client do."""
        surely = len(expected)
        if not self.console.ended:
            surely = sum(1 for _, written in expected if written <= self.limit)
        count = max(surely, min(len(found), len(expected)))
        wanted = [item for item, _ in expected[:count]]
        if wanted != found:
            at = next(
                (i for i, pair in enumerate(zip(wanted, found)) if pair[0] != pair[1]),
                min(len(wanted), len(found)),
            )
            self.problems.append(
                "%s differ from number %d of %d and %d on:\n  model  %r\n  client %r"
                % (what, at + 1, len(wanted), len(found), wanted[at : at + 3], found[at : at + 3])
            )

    def compare_errors(self):
        """Standard error: whole lines."""
        expected = [
            (line, written)
            for text, written in self.console.errors
            for line in text.splitlines(keepends=True)
        ]
        self.sequence("errors", expected, self.result.errors.splitlines(keepends=True))

    def compare_journal(self):
        """Requests, and how much of the output was flushed before each call of the platform."""
        found = self.result.journal
        if not self.session.service:
            found = [self.check_flushed(line, i) for i, line in enumerate(found)]
        self.sequence(
            "requests", [(event.what, event.written) for event in self.platform.events], found
        )

    def check_flushed(self, line, index):
        """A line of the lock step without what it says about the output."""
        number, flushed, rest = line.split(" ", 2)
        if number == "-":
            return line
        if index < len(self.platform.events):
            event = self.platform.events[index]
            if not event.flushed <= int(flushed) <= event.written:
                self.problems.append(
                    "%s: %s bytes were out, not %d to %d"
                    % (line, flushed, event.flushed, event.written)
                )
        return number + " " + rest

    def compare_log(self):
        """Log entries; which line of the sources makes one is told by the kind of entry."""
        expected = []
        for level, _, text, written in self.console.log:
            expected.append(((level, spelled(text) if self.session.service else text), written))
        found = []
        for i, (level, text) in enumerate(self.result.log):
            match = re.match(rb"SubtitleMgrCli:(\d+) ", text)
            if match and i < len(self.console.log):
                self.entry_lines.add((self.console.log[i][1], int(match[1])))
            found.append((level, text[match.end() :] if match else b"no line: " + text))
        self.sequence("log entries", expected, found)


class Worker:
    """Runs sessions in a process of its own."""

    executor = None

    @classmethod
    def start(cls, programs, emulator):
        """Makes the worker of this process."""
        cls.executor = Executor(programs, emulator, SECONDS)
        cls.huge_buffers = has_huge_buffers(emulator)
        multiprocessing.util.Finalize(None, cls.executor.close, exitpriority=10)

    @classmethod
    def run(cls, session):
        """Returns the name of the session, log entries, differences, place and what it reached."""
        if isinstance(session, int):
            session = SessionMaker(session).make()
        try:
            return cls.run_beside_model(session)
        except session_files.TooLong:
            return session.name, set(), [], session.service, set()

    @classmethod
    def run_beside_model(cls, session):
        """Runs one session and compares."""
        console, platform = play(session, cls.huge_buffers)
        if session.service and platform.is_notified:
            # A service would notify whenever it likes; the scripted platform stands in.
            session.service = None
            console, platform = play(session, cls.huge_buffers)
        limit = console.written + 65536
        if not console.ended:
            limit = console.repeats_from + REPEATED
        result = cls.executor.run(session, limit)
        comparison = Comparison(session, console, platform, result, limit)
        problems = comparison.differences()
        if console.files.written or problems:
            if session_files.look_at_folder(cls.executor.folder) != console.files.contents:
                problems.append("files differ")
            cls.executor.prepare_folder()
        if problems:
            problems.append(
                "keys %r, words %r, service %r, script %r"
                % (session.keys, session.words, session.service, session.script.text()[:400])
            )
        return (
            session.name,
            comparison.entry_lines,
            problems,
            session.service,
            places_of(console, platform),
        )

    @classmethod
    def find_leftovers(cls, _):
        """Whether a session that should save nothing did."""
        time.sleep(0.2)  # so that each worker is asked
        return session_files.look_at_folder(cls.executor.folder) != session_files.CONTENTS


def replayed(folder):
    """The keys of each file of a folder, on the scripted platform and without a service."""
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), "rb") as file:
            keys = file.read()
        yield Session(name, keys)
        yield Session(name, keys, service="missing")


def wanted_sessions(options):
    """All sessions that were asked for."""
    for folder in options.replay:
        yield from replayed(folder)
    for menu in options.keys:
        yield from first_keys(menu)
    for menu in options.second_keys:
        yield from second_keys(menu)
    yield from range(options.seed, options.seed + options.count)


def lines_disagree(lines):
    """Whether a kind of entry comes from two lines, or two kinds from one."""
    kinds = [kind for kind, _ in lines]
    numbers = [number for _, number in lines]
    return len(set(kinds)) < len(kinds) or len(set(numbers)) < len(numbers)


def end_in_order(*_):
    """Also the workers do so, who have services and folders; they may be told twice."""
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    sys.exit(1)


def parse():
    """The command line."""
    words = sys.argv[1:]
    emulator = []
    if "--" in words:
        at = words.index("--")
        words, emulator = words[:at], words[at + 1 :]
    parser = argparse.ArgumentParser()
    parser.add_argument("programs")
    parser.add_argument("--count", type=int, default=0)
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--keys", choices=MENUS, nargs="*", default=[])
    parser.add_argument("--second-keys", choices=MENUS, nargs="*", default=[])
    parser.add_argument("--replay", metavar="FOLDER", nargs="*", default=[])
    parser.add_argument("--everywhere", action="store_true", help="fail unless PLACES are reached")
    parser.add_argument("--workers", type=int, default=4)
    options = parser.parse_args(words)
    if options.seed is None:
        options.seed = int(time.time()) % 1000000 * 1000
    return options, emulator


def main():
    """Runs, prints differences and a summary. Returns the exit status."""
    options, emulator = parse()
    signal.signal(signal.SIGTERM, end_in_order)
    if options.count:
        print("seeds %d to %d" % (options.seed, options.seed + options.count - 1), flush=True)
    begin = time.monotonic()
    lines, failed, total, with_service, missed = set(), 0, 0, 0, set(PLACES)
    with multiprocessing.Pool(options.workers, Worker.start, (options.programs, emulator)) as pool:
        for name, found, problems, service, reached in pool.imap_unordered(
            Worker.run, wanted_sessions(options), chunksize=8
        ):
            total += 1
            with_service += service is not None
            lines |= found
            missed -= reached
            if total % 10000 == 0:
                print(
                    "%d sessions after %.0f s: %d differ"
                    % (total, time.monotonic() - begin, failed),
                    flush=True,
                )
            if problems:
                failed += 1
                if failed <= 20:
                    print("%s:\n%s\n" % (name, "\n".join(problems)), flush=True)
        leftovers = any(pool.map(Worker.find_leftovers, range(options.workers), chunksize=1))
        pool.close()
        pool.join()
    if lines_disagree(lines):
        print("log entries have wrong lines: %r" % sorted(lines))
        failed += 1
    if options.everywhere and missed:
        print("no session reached %r" % sorted(missed))
        failed += 1
    if leftovers:
        print("a session saved a file that it should not")
        failed += 1
    print(
        "%d sessions, %d of them with a service, in %.0f s: %d differ"
        % (total, with_service, time.monotonic() - begin, failed)
    )
    return 1 if failed or not total else 0


if __name__ == "__main__":
    sys.exit(main())
