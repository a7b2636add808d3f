#!/usr/bin/env python3
"""Plants errors that the checks of script/lint must find."""

import json
import os
import re
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from script_tree import ROOT, ScriptTree

CHECKS = "references class_map includes locks columns scripts python format".split()
# Check, file and appended text. All are planted at once, and each check must report its file.
PLANTED = [
    ("references", "docs/notes.md", "see P" + "art 9.9"),
    (
        "class_map",
        "client/cli/SubtitleMgrCli.h",
        "// A group; defined in console/a.cpp\nvoid NotThere();",
    ),
    ("includes", "client/console/a.cpp", '#include "platform/src/wire_format.h"'),
    ("includes", "client/stats/a.cpp", '#include "../console/prompts.h"'),
    ("includes", "client/handlers/a.cpp", "#include <nlohmann/json.hpp>"),
    ("includes", "platform/include/A.h", "#include <poll.h>"),
    ("includes", "simulator/a.cpp", '#include "cli/SubtitleMgrCli.h"'),
    ("includes", "tools/recording/a.cpp", "#include <rapidjson/writer.h>"),
    ("locks", "client/handlers/c.cpp", "std::atomic<int> count;"),
    ("columns", "client/cli/d.cpp", "// " + 20 * "no end "),
    ("scripts", "script/unused", "#!/bin/sh\nunused=1"),
    ("python", "tests/a.py", "print( 'not as black writes it' )"),
    ("format", "client/cli/e.cpp", "int  F( ){return 1;}"),
]


class Lint(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        self.tree.replace("bootstrap", "exit 0\n")
        for folder in ("client", "platform", "simulator", "tools"):
            shutil.copytree(ROOT / folder, self.tree.root / folder)
        for name in (".clang-format", ".clang-tidy", "pyproject.toml"):
            shutil.copy(ROOT / name, self.tree.root)
        for folder in (".ci", "bench", "docs"):
            (self.tree.root / folder).mkdir()
        self.write("tests/right.py", 'print("right")')
        self.tree.link("bin/cmake", "/bin/true")
        self.tree.environment["PATH"] = f"{self.tree.root}/bin:{os.environ['PATH']}"

    def write(self, name, text):
        path = self.tree.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        with path.open("a", encoding="utf-8") as file:
            file.write(text + "\n")

    def lint(self, *checks):
        """Returns the exit status and the output by check."""
        result = subprocess.run(
            [self.tree.root / "script/lint", *checks],
            env=self.tree.environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            timeout=60,
            check=False,
        )
        parts = re.split(r"^lint: (\w+)\n", result.stdout, flags=re.MULTILINE)
        return result.returncode, dict(zip(parts[1::2], parts[2::2]))

    def test_passes_a_tree_without_errors(self):
        self.assertEqual(self.lint(*CHECKS), (0, dict.fromkeys(CHECKS, "")))

    def test_finds_each_planted_error(self):
        self.assertEqual({check for check, _, _ in PLANTED}, set(CHECKS))
        for _, name, text in PLANTED:
            self.write(name, text)
        status, output = self.lint(*CHECKS)
        self.assertEqual(status, 1)
        self.assertIn("lint: failed: " + " ".join(CHECKS), output["format"])
        for check, name, text in PLANTED:
            with self.subTest(check=check, planted=text):
                self.assertIn(name, output[check])

    def test_finds_errors_that_black_does_not_find(self):
        self.write("tests/right.py", "\nimport os")
        status, output = self.lint("python")
        self.assertEqual(status, 1)
        self.assertRegex(output["python"], r"tests/right\.py:.*unused-import")

    def tidy(self, texts):
        """Returns status and output for a tree with only these sources and CMake's files."""
        for path in self.tree.root.rglob("*.cpp"):
            path.unlink()
        for name, text in texts.items():
            self.write(name, text)
        root = self.tree.root
        commands = [
            {
                "directory": str(root),
                "file": str(root / name),
                "command": f"clang++-14 -c {root / name}",
            }
            for name in texts
        ]
        for folder in ("tests/tooling", "build/lint"):
            (root / folder).mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / "tests/tooling/tidy.py", root / "tests/tooling")
        (root / "build/lint/compile_commands.json").write_text(
            json.dumps(commands), encoding="utf-8"
        )
        status, output = self.lint("tidy")
        return status, output["tidy"]

    def test_runs_clang_tidy_on_product_tests_and_bench(self):
        names = ("client/a.cpp", "tests/a.cpp", "bench/a.cpp")
        status, output = self.tidy(dict.fromkeys(names, "int* None() { return 0; }"))
        self.assertEqual(status, 1)
        for name in names:
            self.assertRegex(output, name + ".*modernize-use-nullptr")

    def test_finds_errors_in_each_file_that_is_read_with_others(self):
        right = "int Right(int number) { return number; }"
        last = """
            int Last(int number) {
                const int* none = nullptr;
                if (number > 5) { none = &number; }
                return *none;
            }"""
        same = "namespace { class Same {}; } int* %s() { Same same; (void)same; return 0; }"
        texts = {
            "client/a.cpp": right,
            "client/b.cpp": last,
            "tests/a_test.cpp": same % "First",
            "tests/b_test.cpp": same % "Second",
        }
        status, output = self.tidy(texts)
        self.assertEqual(status, 1)
        self.assertRegex(output, r"client/b\.cpp.*clang-analyzer-core\.NullDereference")
        for name in "ab":
            self.assertRegex(output, rf"tests/{name}_test\.cpp.*modernize-use-nullptr")

    def test_passes_sources_that_clang_tidy_passes(self):
        texts = {"client/a.cpp": "int Number() { return 1; }"}
        self.assertEqual(self.tidy(texts), (0, ""))
        self.assertEqual(self.tidy({**texts, "client/b.cpp": texts["client/a.cpp"]}), (0, ""))

    def test_finds_a_source_that_does_not_compile(self):
        status, output = self.tidy({"client/a.cpp": "int"})
        self.assertEqual(status, 1)
        self.assertRegex(output, "client/a.cpp.*expected")

    def test_finds_errors_in_the_configuration_of_clang_tidy(self):
        # Then clang-tidy goes on with other checks and ends with status 0.
        (self.tree.root / ".clang-tidy").write_text("Checks: [\n")
        status, output = self.tidy({"client/a.cpp": "int Number() { return 1; }"})
        self.assertEqual(status, 1)
        self.assertRegex(output, r"rror.*\.clang-tidy")


if __name__ == "__main__":
    unittest.main(verbosity=2)
