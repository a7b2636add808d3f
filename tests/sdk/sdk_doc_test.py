#!/usr/bin/env python3
"""Compares docs/device-sdk.md with the example of an SDK, the compiler and the client.

sdk_doc_test.py BUILD_DIR CXX NM
"""

import os
import pathlib
import re
import subprocess
import sys
import unittest

BUILD_DIR, CXX, NM = map(pathlib.Path, sys.argv[1:4])
ROOT = pathlib.Path(__file__).resolve().parents[2]
VENDOR = ROOT / "tests/sdk/vendor"
PAGE = (ROOT / "docs/device-sdk.md").read_text(encoding="utf-8")
# Calls through a virtual table and inline functions of the stand-in have no symbol.
WITHOUT_SYMBOL = {
    "IpcMessage::Payload",
    "Item::Decode",
    "Item::EncodedSize",
    "SysLogMsg::SysLogMsg",
}
CONSEQUENCE = "template argument 2 is invalid"


def first_cells(heading):
    """Returns the first cells of a section's table, without its head."""
    pattern = r"^## \d+\. %s\n(.*?)(?=^## |\Z)" % heading
    text = re.search(pattern, PAGE, re.MULTILINE | re.DOTALL)[1]
    return re.findall(r"^\| (.*?) \|", text, re.MULTILINE)[1:]


def called_members():
    """Returns members of the SDK that are undefined symbols of the client's objects."""
    main = "client/cli/CMakeFiles/SubtitleMgrCli.dir/main.cpp.o"
    command = [NM, "-C", "--undefined-only", BUILD_DIR / "libsubtitle_client.a", BUILD_DIR / main]
    symbols = subprocess.run(command, check=True, text=True, capture_output=True).stdout
    classes = "|".join(path.stem for path in VENDOR.glob("include/*.h"))
    member = r"^ +U ((?:%s)::(?:operator bool|operator=|~?\w+))" % classes
    return set(re.findall(member, symbols, re.MULTILINE))


class ThePage(unittest.TestCase):
    def test_shows_files_as_they_are(self):
        shown = r"^<!-- file: (\S+) -->\n```\w+\n(.*?)^```$"
        guide = (ROOT / "docs/installing.md").read_text(encoding="utf-8")
        files = dict(re.findall(shown, PAGE + guide, re.MULTILINE | re.DOTALL))
        wanted = [VENDOR / "SubtitleSdkConfig.cmake", ROOT / "tests/sdk/example/CMakeLists.txt"]
        wanted += VENDOR.glob("adapters/*")
        self.assertEqual(files, {str(path.relative_to(ROOT)): path.read_text() for path in wanted})

    def test_lists_the_calls_that_the_client_makes(self):
        cells = " ".join(first_cells("What each call has to do"))
        listed, called = set(re.findall(r"`([^`]+)`", cells)), called_members()
        self.assertIn("LinxIpc::Receive", called)
        self.assertEqual(called - listed, set(), "called and not listed")
        self.assertEqual(listed - called - WITHOUT_SYMBOL, set(), "listed, never called")

    def test_gives_the_message_numbers_of_the_sources(self):
        sources = [path.read_text() for path in (ROOT / "client").rglob("*") if path.suffix]
        used = set(re.findall(r"Id = (0x\w+);", "\n".join(sources)))
        self.assertEqual(set(re.findall(r"0x\w+", " ".join(first_cells("Message numbers")))), used)

    @unittest.skipIf("clang" in CXX.name, "the words are those of g++")
    def test_quotes_the_compiler(self):
        source = ROOT / "tests/sdk/interface/sdk_interface.cpp"
        command = [CXX, "-std=c++17", "-fsyntax-only", "-I", VENDOR / "include", source]
        environment = {**os.environ, "LC_ALL": "C"}
        errors = subprocess.run(
            command, capture_output=True, text=True, env=environment, check=False
        ).stderr
        said = set(re.findall(r" error: (.*)$", errors, re.MULTILINE))
        cells = first_cells("Find out what does not compile")
        self.assertEqual({cell.strip("`") for cell in cells} | {CONSEQUENCE}, said)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
