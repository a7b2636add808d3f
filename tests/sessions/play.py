#!/usr/bin/env python3
"""Plays console sessions with the real client and the simulated service; see README.md.

    play.py                              all sessions, with the programs of build/desk
    play.py options                      the sessions of one file
    play.py options.TakesShortenedWords  one session
"""

import argparse
import concurrent.futures
import glob
import os
import sys
import time
import traceback

sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from expectation import Difference
from player import Player, belongs_on
from session_file import Mistake, read_sessions

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
MEDIA = ("pipe", "terminal")


def chosen_sessions(folder, names):
    """Returns the sessions with these names or in files with these names; or all."""
    sessions = [
        session
        for path in sorted(glob.glob(os.path.join(folder, "*.session")))
        for session in read_sessions(path, os.path.relpath(path))
    ]
    if not names:
        return sessions
    found = [
        session for session in sessions if {session.name, session.name.split(".")[0]} & set(names)
    ]
    if not found:
        sys.exit("no such session: " + " ".join(names))
    return found


def play(session, programs, medium):
    """Plays a session. Returns the error, or None."""
    try:
        Player(session, programs, medium).play()
        return None
    except Difference as difference:
        head = "%s:%d: %s" % (session.path, difference.line or session.line, difference.what)
        return "\n".join([head, *difference.context])
    except Mistake as mistake:
        return str(mistake)
    except Exception:  # pylint: disable=broad-exception-caught
        return "%s:%d: %s" % (session.path, session.line, traceback.format_exc())


def parse():
    """Reads the command line."""
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("names", nargs="*", metavar="FILE[.SESSION]")
    parser.add_argument(
        "--programs",
        default=os.path.join(ROOT, "build/desk/bin"),
        help="the folder of SubtitleMgrCli and SubtitleMgrSim, or their launchers",
    )
    parser.add_argument("--on", choices=MEDIA, action="append", help="default: both")
    parser.add_argument("--folder", default=HERE, help="the folder of the session files")
    return parser.parse_args()


def main():
    """Plays sessions and prints failures. Returns the exit status."""
    options = parse()
    begin = time.monotonic()
    sessions = chosen_sessions(options.folder, options.names)
    for session in sessions:
        session.texts["client"] = os.path.join(os.path.abspath(options.programs), "SubtitleMgrCli")
    plays = [
        (session, medium)
        for session in sessions
        for medium in options.on or MEDIA
        if belongs_on(medium, session)
    ]
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        results = pool.map(lambda it: play(it[0], options.programs, it[1]), plays)
        for (session, medium), result in zip(plays, results):
            if result:
                failed += 1
                print(
                    "%s fails on a %s:\n%s\n    again: %s --programs %s --on %s %s\n"
                    % (
                        session.name,
                        medium,
                        result,
                        os.path.relpath(__file__),
                        os.path.relpath(options.programs),
                        medium,
                        session.name,
                    ),
                    flush=True,
                )
    print("%d of %d sessions failed in %.1f s" % (failed, len(plays), time.monotonic() - begin))
    return 1 if failed or not plays else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Mistake as in_a_file:
        sys.exit(str(in_a_file))
