#!/usr/bin/env python3
"""Runs sessions with the real client and with the model, and prints every difference.

run_sessions.py PROGRAMS [OPTION...] [-- EMULATOR...]
"""

import argparse
import mmap
import multiprocessing
import os
import re
import signal
import sys
import time

sys.dont_write_bytecode = True  # keeps the source folder clean
sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# pylint: disable=wrong-import-position
import session_files
from console import Console
from expectation import Difference, ExpectedText, check_lines
from lockstep_client import LockstepClient
from session_maker import Session, SessionMaker, cut_dialogues, failing_calls, first_keys

# The compared output of a session that repeats itself; the model plays a few buffers more.
REPEATED = 4096
AHEAD = 24576
# How much more than the model a client may print.
TOO_MUCH = 65536
SHOWN_FAILURES = 20


def has_huge_buffers(emulator):
    """Whether this machine allocates 4 GiB that are never used."""
    if emulator:
        return False
    try:
        mmap.mmap(-1, 0xFFFFFFFF).close()
    except OSError:
        return False
    return True


class Comparison:
    """The model and the client after one session."""

    def __init__(self, model, result, limit):
        self.model = model
        self.result = result
        self.limit = limit

    def differences(self):
        """Returns the first difference of each kind as text."""
        for compare in (self.status, self.output, self.errors, self.journal, self.log):
            try:
                compare()
            except Difference as difference:
                yield "\n".join([difference.what, *difference.context])

    def status(self):
        status = 0 if self.model.ended else -signal.SIGXFSZ
        if self.result.status != status:
            raise Difference(None, "status %d, not %d" % (self.result.status, status))

    def output(self):
        expected = ExpectedText()
        output = b"".join(self.model.output)
        expected.add(output if self.model.ended else output[: self.limit], None)
        expected.check("standard output differs", self.result.output)

    def sequence(self, what, expected, found):
        """Compares lists. Expected items are pairs: an item, and the amount of output before it."""
        surely = len(expected)
        if not self.model.ended:
            surely = sum(1 for _, written in expected if written <= self.limit)
        count = max(surely, min(len(found), len(expected)))
        check_lines(what, None, [(item, None) for item, _ in expected[:count]], found)

    def errors(self):
        expected = [
            (line, written)
            for text, written in self.model.errors
            for line in text.splitlines(keepends=True)
        ]
        self.sequence("errors", expected, self.result.errors.splitlines(keepends=True))

    def journal(self):
        """Compares the calls, and the amount of flushed output before each of them."""
        events = self.model.platform.events
        found = []
        for index, line in enumerate(self.result.journal):
            number, flushed, rest = line.split(" ", 2)
            if number != "-":
                line = number + " " + rest
                if index < len(events):
                    self.check_flushed(events[index], int(flushed), line)
            found.append(line)
        self.sequence("calls", [(event.what, event.written) for event in events], found)

    @staticmethod
    def check_flushed(event, flushed, line):
        if not event.flushed <= flushed <= event.written:
            between = "%d to %d" % (event.flushed, event.written)
            raise Difference(None, "%s: %d bytes were out, not %s" % (line, flushed, between))

    def log(self):
        """Compares log entries without their source lines."""
        found = [
            level + b" " + re.sub(rb"^SubtitleMgrCli SubtitleMgrCli:\d+ ", b"", text)
            for level, text in self.result.log
        ]
        expected = [(b"%d %s" % (level, text), written) for level, text, written in self.model.log]
        self.sequence("log entries", expected, found)


class Worker:
    """Runs sessions in a process of its own."""

    client = None
    huge_buffers = None

    @classmethod
    def start(cls, programs, emulator):
        program = os.path.join(os.path.abspath(programs), "SubtitleMgrCliLockstep")
        cls.client = LockstepClient([*emulator, program])
        cls.huge_buffers = has_huge_buffers(emulator)
        multiprocessing.util.Finalize(None, cls.client.close, exitpriority=10)

    @classmethod
    def run(cls, session):
        """Runs a session. Returns its name and its differences."""
        if isinstance(session, int):
            session = SessionMaker(session).make()
        model = Console(session, cls.huge_buffers, REPEATED + AHEAD)
        try:
            model.run()
        except session_files.TooLong:
            return session.name, []
        limit = model.written + TOO_MUCH if model.ended else model.repeats_from + REPEATED
        result = cls.client.run(session, limit)
        problems = list(Comparison(model, result, limit).differences())
        found = session_files.look_at_folder(cls.client.folder)
        if found != model.files.contents:
            problems.append("files differ")
        if found != session_files.CONTENTS:
            cls.client.prepare_folder()
        if problems:
            script = session.script.text()[:400]
            problems.append("keys %r, words %r, script %r" % (session.keys, session.words, script))
        return session.name, problems


def replayed(folder):
    """Yields a session for each file of keys in a folder."""
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), "rb") as file:
            yield Session(name, file.read())


def wanted_sessions(options):
    for folder in options.replay:
        yield from replayed(folder)
    if options.keys:
        yield from first_keys()
        yield from cut_dialogues()
        yield from failing_calls()
    yield from range(options.seed, options.seed + options.count)


def end_in_order(*_):
    """Makes the workers remove their folders too; a second call is harmless."""
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    sys.exit(1)


def parse():
    words, emulator = sys.argv[1:], []
    if "--" in words:
        at = words.index("--")
        words, emulator = words[:at], words[at + 1 :]
    parser = argparse.ArgumentParser()
    parser.add_argument("programs")
    parser.add_argument("--count", type=int, default=0)
    parser.add_argument("--seed", type=int, default=int(time.time()) % 1000000 * 1000)
    parser.add_argument("--keys", action="store_true")
    parser.add_argument("--replay", metavar="FOLDER", nargs="*", default=[])
    parser.add_argument("--workers", type=int, default=4)
    return parser.parse_args(words), emulator


def main():
    """Runs, prints differences and a summary. Returns the exit status."""
    options, emulator = parse()
    signal.signal(signal.SIGTERM, end_in_order)
    if options.count:
        print("seeds %d to %d" % (options.seed, options.seed + options.count - 1), flush=True)
    begin = time.monotonic()
    failed, total = 0, 0
    with multiprocessing.Pool(options.workers, Worker.start, (options.programs, emulator)) as pool:
        results = pool.imap_unordered(Worker.run, wanted_sessions(options), chunksize=8)
        for name, problems in results:
            total += 1
            failed += bool(problems)
            if problems and failed <= SHOWN_FAILURES:
                print("%s:\n%s\n" % (name, "\n".join(problems)), flush=True)
        pool.close()
        pool.join()
    print("%d sessions in %.0f s: %d differ" % (total, time.monotonic() - begin, failed))
    return 1 if failed or not total else 0


if __name__ == "__main__":
    sys.exit(main())
