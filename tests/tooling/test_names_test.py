#!/usr/bin/env python3
"""Checks that test names are short and the same in every run: test_names_test.py BUILD CTEST"""

import json
import re
import subprocess
import sys

LONGEST = 69


def main():
    build, ctest = sys.argv[1], sys.argv[2]
    shown = subprocess.run(
        [ctest, "--test-dir", build, "--show-only=json-v1"],
        check=True,
        capture_output=True,
        text=True,
    ).stdout
    names = [test["name"] for test in json.loads(shown[shown.index("{") :])["tests"]]
    wrong = [name for name in names if len(name) > LONGEST or re.search(r"/\d|[^!-~]", name)]
    print("\n".join(wrong) or f"{len(names)} names")
    return 1 if wrong or not names else 0


sys.exit(main())
