#!/usr/bin/env python3
"""Checks that the shipped programs have protections against exploits.

hardening_test.py BUILD_DIR is_static|is_dynamic
"""

import pathlib
import re
import subprocess
import sys
import unittest

BUILD_DIR = pathlib.Path(sys.argv.pop(1))
IS_STATIC = sys.argv.pop(1) == "is_static"
PROGRAMS = [*BUILD_DIR.glob("bin/SubtitleMgr???"), *BUILD_DIR.glob("bin/SubtitleMgrView")]
LIBRARIES = (
    "libsubtitle_client.a",
    "platform/libsubtitle_platform.a",
    "simulator/libsubtitle_simulator.a",
)


def readelf(option, path):
    command = ["readelf", option, path]
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=60).stdout


def undefined_symbols(library):
    """Those of its machine code. (nm reads the code for link-time optimisation, without guards.)"""
    return set(re.findall(r" UND (\S+)$", readelf("-sW", BUILD_DIR / library), re.MULTILINE))


class Hardening(unittest.TestCase):
    def test_protects_the_memory_of_each_program(self):
        self.assertIn(BUILD_DIR / "bin/SubtitleMgrSim", PROGRAMS)
        for program in PROGRAMS:
            segments = re.findall(
                r"^  (\w+) +(?:0x\w+ ){5}([R ][W ][E ])", readelf("-lW", program), re.MULTILINE
            )
            self.assertIn(("LOAD", "R E"), segments, program)
            self.assertNotIn(("LOAD", "RWE"), segments, program)
            self.assertIn(("GNU_STACK", "RW "), segments, program)
            self.assertIn("GNU_RELRO", dict(segments), program)
            # The device's C library has no start files for static programs that load anywhere, and
            # a static program has no table of addresses that is filled later.
            if not IS_STATIC:
                self.assertRegex(readelf("-dW", program), r"\(FLAGS_1\).*\bNOW\b.*\bPIE\b", program)
                self.assertNotIn("TEXTREL", readelf("-dW", program), program)

    def test_guards_stacks_and_buffers(self):
        checked = set()
        for library in LIBRARIES:
            symbols = undefined_symbols(library)
            # On some machines the program calls the check through a function of its own.
            guards = {"__stack_chk_fail", "__stack_chk_fail_local"}
            self.assertTrue(symbols & guards, library)
            checked |= symbols & {"__printf_chk", "__memcpy_chk", "__snprintf_chk"}
        self.assertNotEqual(checked, set())


if __name__ == "__main__":
    unittest.main(verbosity=2)
