#!/usr/bin/env python3
"""Compares docs/device-sdk.md with the example of an SDK, the compiler and the client.

page_test.py BUILD_DIR CXX NM
"""

import os
import re
import subprocess
import sys
import unittest

BUILD_DIR = CXX = NM = None
HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
PAGE = os.path.join(ROOT, "docs/device-sdk.md")
CLIENT_FOLDERS = tuple(
    "client/" + room for room in ("cli", "records", "stats", "handlers", "console", "generators")
)
INTERFACE = [
    name[: -len(".h")] for name in sorted(os.listdir(os.path.join(HERE, "vendor/include")))
]

# Calls through a virtual table and inline functions of the stand-in have no symbol.
WITHOUT_SYMBOL = {
    "IpcMessage::Payload",
    "Item::Decode",
    "Item::EncodedSize",
    "SysLogMsg::SysLogMsg",
}
CONSEQUENCE = "template argument 2 is invalid"


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def section(heading):
    return re.search(
        r"^## \d+\. %s\n(.*?)(?=^## |\Z)" % re.escape(heading), read(PAGE), re.MULTILINE | re.DOTALL
    ).group(1)


def first_cells(text):
    """Returns the first cells of all rows of a table, without its head."""
    rows = re.findall(r"^\| (.*?) \|", text, re.MULTILINE)
    return rows[1:]


def called_members():
    """Returns members of the SDK that are undefined symbols of the client's objects."""
    objects = [
        os.path.join(BUILD_DIR, "libsubtitle_client.a"),
        os.path.join(BUILD_DIR, "client/cli/CMakeFiles/SubtitleMgrCli.dir/main.cpp.o"),
    ]
    symbols = subprocess.run(
        [NM, "-C", "--undefined-only", *objects], check=True, text=True, capture_output=True
    ).stdout
    members = re.findall(
        r"^ +U ((?:%s)::(?:operator bool|operator=|~?\w+))" % "|".join(INTERFACE),
        symbols,
        re.MULTILINE,
    )
    return set(members)


class ThePage(unittest.TestCase):
    def shown_files(self, page):
        shown = re.findall(
            r"^<!-- file: (\S+) -->\n```\w+\n(.*?)^```$", read(page), re.MULTILINE | re.DOTALL
        )
        for path, text in shown:
            self.assertEqual(text, read(os.path.join(ROOT, path)), path)
        return {path for path, _ in shown}

    def test_shows_files_as_they_are(self):
        adapters = {
            "tests/sdk/vendor/adapters/" + name
            for name in os.listdir(os.path.join(HERE, "vendor/adapters"))
        }
        self.assertEqual(
            self.shown_files(PAGE), adapters | {"tests/sdk/vendor/SubtitleSdkConfig.cmake"}
        )
        self.assertEqual(
            self.shown_files(os.path.join(ROOT, "docs/installing.md")),
            {"tests/sdk/example/CMakeLists.txt"},
        )

    def test_lists_the_calls_that_the_client_makes(self):
        listed = set(
            re.findall(r"`([^`]+)`", " ".join(first_cells(section("What each call has to do"))))
        )
        self.assertIn("LinxIpc::Receive", listed)
        self.assertEqual(called_members() - listed, set(), "called and not listed")
        self.assertEqual(listed - called_members() - WITHOUT_SYMBOL, set(), "listed, never called")

    def test_gives_the_message_numbers_of_the_sources(self):
        used = set()
        for folder in CLIENT_FOLDERS:
            for name in os.listdir(os.path.join(ROOT, folder)):
                if name.endswith((".cpp", ".h")):
                    used.update(
                        re.findall(r"Id = (0x\w+);", read(os.path.join(ROOT, folder, name)))
                    )
        cells = " ".join(first_cells(section("Message numbers")))
        self.assertEqual(set(re.findall(r"0x\w+", cells)), used)

    def test_quotes_the_compiler(self):
        if "clang" in os.path.basename(CXX):
            self.skipTest("the words are those of g++")
        result = subprocess.run(
            [
                CXX,
                "-std=c++17",
                "-fsyntax-only",
                "-I" + os.path.join(HERE, "vendor/include"),
                os.path.join(ROOT, "tests/sdk/interface/sdk_interface.cpp"),
            ],
            capture_output=True,
            text=True,
            env=dict(os.environ, LC_ALL="C"),
            check=False,
        )
        said = set(re.findall(r" error: (.*)$", result.stderr, re.MULTILINE))
        cells = first_cells(section("Find out what does not compile"))
        self.assertEqual({cell.strip("`") for cell in cells} | {CONSEQUENCE}, said)


if __name__ == "__main__":
    BUILD_DIR, CXX, NM = sys.argv[1:4]
    unittest.main(argv=sys.argv[:1], verbosity=2)
