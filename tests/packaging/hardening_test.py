#!/usr/bin/env python3
"""Checks that the shipped programs have protections against exploits.

hardening_test.py BUILD_DIR is_static|is_dynamic
"""

import os
import re
import subprocess
import sys
import unittest

BUILD_DIR = None
IS_STATIC = False
PROGRAMS = ["SubtitleMgrCli", "SubtitleMgrCtl", "SubtitleMgrSim", "SubtitleMgrTap"]
LIBRARIES = (
    "libsubtitle_client.a",
    "platform/libsubtitle_platform.a",
    "simulator/libsubtitle_simulator.a",
)


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=60).stdout


def segments(program):
    """Returns the flags of the program's segments by type, such as {"LOAD": ["R E", "RW "]}."""
    flags = {}
    listing = output_of("readelf", "-lW", os.path.join(BUILD_DIR, "bin", program))
    for kind, value in re.findall(r"^  (\w+) +(?:0x\w+ ){5}([R ][W ][E ])", listing, re.MULTILINE):
        flags.setdefault(kind, []).append(value)
    return flags


def dynamic_section(program):
    return output_of("readelf", "-dW", os.path.join(BUILD_DIR, "bin", program))


def wanted_symbols(library):
    """Returns the undefined symbols in the machine code of a library's objects. (nm would read the
    code for link-time optimisation, which has no guards yet.)"""
    listing = output_of("readelf", "-sW", os.path.join(BUILD_DIR, library))
    return set(re.findall(r" UND (\S+)$", listing, re.MULTILINE))


class EachProgram(unittest.TestCase):
    def test_is_loaded_anywhere(self):
        if IS_STATIC:
            self.skipTest("the C library of the device has no start files for such static programs")
        for program in PROGRAMS:
            self.assertRegex(dynamic_section(program), r"FLAGS_1.*\bPIE\b", program)
            self.assertNotIn("TEXTREL", dynamic_section(program), program)

    def test_has_nothing_that_is_written_and_run(self):
        for program in PROGRAMS:
            found = segments(program)
            self.assertTrue(found["LOAD"], program)
            self.assertEqual(found["GNU_STACK"], ["RW "], program)
            for flags in found["LOAD"]:
                self.assertFalse("W" in flags and "E" in flags, program)

    def test_can_write_no_table_of_addresses_once_it_runs(self):
        for program in PROGRAMS:
            self.assertIn("GNU_RELRO", segments(program), program)
            if not IS_STATIC:  # a static program has no table that is filled later
                self.assertRegex(dynamic_section(program), r"\(FLAGS_1\).*\bNOW\b", program)

    def test_guards_its_stack(self):
        for library in LIBRARIES:
            # On some machines the program calls the check through a function of its own.
            self.assertTrue(
                wanted_symbols(library) & {"__stack_chk_fail", "__stack_chk_fail_local"}, library
            )

    def test_calls_functions_that_know_the_size_of_a_buffer(self):
        checked = set()
        for library in LIBRARIES:
            checked |= {name for name in wanted_symbols(library) if re.match(r"__\w+_chk\b", name)}
        self.assertTrue(
            checked & {"__printf_chk", "__memcpy_chk", "__vsnprintf_chk", "__snprintf_chk"}, checked
        )


if __name__ == "__main__":
    BUILD_DIR = sys.argv[1]
    IS_STATIC = sys.argv[2] == "is_static"
    if os.path.exists(os.path.join(BUILD_DIR, "bin/SubtitleMgrView")):  # for the desk only
        PROGRAMS.append("SubtitleMgrView")
    unittest.main(argv=sys.argv[:1], verbosity=2)
