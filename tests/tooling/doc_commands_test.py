#!/usr/bin/env python3
"""Runs each command of the pages in the reader's folder, or only checks a slow command.

doc_commands_test.py BUILD_DIR

Commands are the lines of `sh` blocks and text in backquotes. tests/packaging/transcripts.py runs
transcripts, the blocks fenced as `console`; script/remote-demo runs those of docs/remote.md.
"""

import functools
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "harness"))

# pylint: disable=wrong-import-position
from script_tree import ROOT, ScriptTree
from test_names import names_in

BUILD_DIR = pathlib.Path(sys.argv.pop(1)).resolve()
PAGES = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted(ROOT.glob("docs/*.md"))]
PRESETS = {
    preset["name"] for preset in json.loads((ROOT / "CMakePresets.json").read_text())["testPresets"]
}
PLACEHOLDER = re.compile(r"\[.*\]|[A-Z]+|<.*>")
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


@functools.cache
def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=60).stdout


def commands_of(text):
    """Returns the commands of a page."""
    for kind, block in BLOCK.findall(text):
        if kind == "sh":
            yield from block.splitlines()
    for command in re.findall("`([^`]+)`", BLOCK.sub("", text)):
        if re.match(
            r"script/\w|cmake |man |ps |printf |SubtitleMgr(Cli|Ctl|Sim|Tap|View) .", command
        ):
            yield command


class Commands(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        self.tree.link("build/desk", BUILD_DIR)
        self.environment = {
            "HOME": str(self.tree.caller),
            "LINX_DIR": str(self.tree.tmp / "linx"),
            "PATH": os.environ["PATH"],
        }
        self.programs = {"PATH": f"{BUILD_DIR}/bin:{os.environ['PATH']}"}

    def run_it(self, command, **environment):
        return subprocess.run(
            ["bash", "-c", command],
            check=True,
            capture_output=True,
            text=True,
            timeout=60,
            cwd=self.tree.root,
            env={**self.environment, **environment},
        ).stdout

    def test_work(self):
        rules = {
            "export": self.check_export,
            "cmake": self.check_cmake,
            "apt-get": self.check_packages,
            "man": self.check_man,
            "ps": lambda command: self.run_it(command + " || [ $? -eq 1 ]"),  # 1: no such process
            "printf": lambda command: self.run_it(command, **self.programs),
            "SubtitleMgrCli": functools.partial(self.check_options, ["list_client_options"]),
        }
        for name in ("Ctl", "Sim", "Tap", "View"):
            program = "SubtitleMgr" + name
            rules[program] = functools.partial(self.check_options, [program, "--help"])
        count = 0
        for page in PAGES:
            for command in commands_of(page.read_text(encoding="utf-8")):
                count += 1
                with self.subTest(page=page.name, command=command):
                    first = command.split()[0]
                    rules.get(first, self.check_script)(command)
        self.assertGreater(count, 60)

    def check_script(self, command):
        """Checks that the help has its options and words, and that its preset and tests exist."""
        script, *words = shlex.split(command, comments=True)
        text = output_of(ROOT / script, "--help")
        for word in words:
            if word in PRESETS:
                self.assertRegex(text, "PRESET|preset")
            elif (ROOT / word).is_file():
                self.assertIn("FILE", text)
            elif re.fullmatch(r"\d+", word) or PLACEHOLDER.fullmatch(word):
                self.assertRegex(text, r"[A-Z]{4,}")
            elif not re.search(rf"(?<!\S){re.escape(word)}(?![\w-])", text):
                self.assertEqual(script, "script/test", f"{word} is not in its help")
                selected = [name for name in names_in(BUILD_DIR) if re.search(word, name)]
                self.assertNotEqual(selected, [], f"{word} selects no test")

    def check_options(self, lister, command):
        """Checks the options of a command with those that a program lists."""
        known = output_of(BUILD_DIR / "bin" / lister[0], *lister[1:])
        for option in re.findall(r"(?<!\S)--?[a-z][\w-]*", command):
            self.assertRegex(known, rf"(?<![\w-]){option}(?![\w-])")

    def check_export(self, command):
        found = self.run_it(command + "; command -v SubtitleMgrCli; command -v SubtitleMgrSim")
        self.assertEqual(found.count(str(self.tree.root)), 2)

    def check_man(self, command):
        page = command.split()[-1]
        self.assertTrue((ROOT / page).exists() or [*ROOT.glob(f"docs/man/{page}.?")])

    def check_packages(self, command):
        if " install " in command:
            path = re.search(r"\./(\S+)/desk/\*\.deb$", command)[1]
            self.assertIn(f"{path}/$preset", (ROOT / "script/package").read_text())
        else:
            for package in command.split()[2:]:
                self.assertIn(package, (BUILD_DIR / "CPackConfig.cmake").read_text())

    def check_cmake(self, command):
        words = shlex.split(command)
        if words[1] == "--install" and "desk" in words[2]:
            self.run_it(command)
            self.assertTrue((self.tree.caller / ".local/bin/SubtitleMgrCli").exists())
        for target in words[words.index("--target") + 1 :] if "--target" in words else ():
            self.assertIn(
                f"\n{target}: ", output_of("ninja", "-C", BUILD_DIR, "-t", "targets", "all")
            )
        for name in re.findall(r"--component (\w+)", command):
            self.assertIn(f'"{name}"', (BUILD_DIR / "cmake_install.cmake").read_text())
        for path in re.findall(r'"\$PWD/([^"]+)"', command):
            self.assertTrue((ROOT / path).exists(), path)
        for name in re.findall(r"-D((?!CMAKE_)\w+)", command):
            self.assertIn(name, (ROOT / "CMakeLists.txt").read_text())

    def test_reach_another_machine_as_the_demo_does(self):
        demo = (ROOT / "script/remote-demo").read_text()
        commands = re.findall(r"^\$ (ssh .*)$", (ROOT / "docs/remote.md").read_text(), re.MULTILINE)
        self.assertNotEqual(commands, [])
        for command in commands:
            with self.subTest(command):
                self.run_it(command.replace("ssh", "ssh -G", 1))  # ssh -G reads the options only
                for option in re.findall(r"-o \S+", command):
                    self.assertIn(option, demo)


if __name__ == "__main__":
    unittest.main(verbosity=2)
