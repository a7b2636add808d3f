#!/usr/bin/env python3
"""Every program answers --help and --version: tools_test.py BIN VERSION PROGRAM..."""

import os
import subprocess
import sys


def answer(command, option):
    result = subprocess.run(
        command + [option], capture_output=True, text=True, timeout=60, check=False
    )
    return result.stdout if result.returncode == 0 else "status %d" % result.returncode


def main(arguments):
    bin_dir, version, *programs = arguments
    problems = []
    for program in programs:
        command = [os.path.join(bin_dir, program)]
        said = answer(command, "--version")
        if said != "%s %s\n" % (program, version):
            problems.append("%s --version says: %s" % (program, said))
        said = answer(command, "--help")
        if program not in said:
            problems.append("%s --help says: %s" % (program, said))
    print("\n".join(problems) or "%d programs" % len(programs))
    return 1 if problems or not programs else 0


sys.exit(main(sys.argv[1:]))
