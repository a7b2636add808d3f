#!/usr/bin/env python3
"""Checks the Yocto recipe without bitbake, which Debian does not have.

recipe_test.py BUILD_DIR VERSION

Carries out the recipe's build and installation, with the stand-in of BUILD_DIR as the SDK.
"""

import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD_DIR = VERSION = None
ROOT = pathlib.Path(__file__).resolve().parents[2]
RECIPE = ROOT / "packaging/yocto/subtitlemgr-cli.bb"
# What bitbake itself defines. Files below these folders are in the packages that it makes.
FOLDERS = {"bindir": "/usr/bin", "datadir": "/usr/share"}
PACKED = ("/usr/bin/", "/usr/share/doc/", "/usr/share/man/")


def run(*command, **options):
    result = subprocess.run(
        command, capture_output=True, text=True, timeout=200, check=False, **options
    )
    if result.returncode != 0:
        raise AssertionError("%s\n%s%s" % (command, result.stdout, result.stderr))
    return result.stdout + result.stderr


def variables(text):
    return dict(re.findall(r'^([\w:${}-]+) [?+]?=\+? "(.*)"$', text, re.MULTILINE))


def expand(text, values):
    return re.sub(r"\$\{(\w+)\}", lambda match: values[match[1]], text)


class Recipe(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.text = RECIPE.read_text(encoding="utf-8")
        cls.values = variables(cls.text)
        scratch = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, scratch)
        cls.scratch = pathlib.Path(scratch)

    def test_has_the_version_of_the_project(self):
        self.assertEqual(self.values["PV"], VERSION)

    def test_has_the_checksum_of_the_licence(self):
        path, checksum = re.fullmatch(
            r"file://(\S+);md5=(\w+)", self.values["LIC_FILES_CHKSUM"]
        ).groups()
        self.assertEqual(hashlib.md5((ROOT / path).read_bytes()).hexdigest(), checksum)

    def test_builds_the_tree_that_contains_it(self):
        above = re.search(r"d\.getVar\('THISDIR'\) \+ '([^']+)'", self.values["EXTERNALSRC"])[1]
        self.assertEqual(os.path.abspath(str(RECIPE.parent) + above), str(ROOT))

    def test_names_pages_that_exist(self):
        pages = re.findall(r"\bdocs/\S+\.md\b", self.text)
        self.assertNotEqual(pages, [])
        for page in pages:
            self.assertTrue((ROOT / page).is_file(), page)

    def test_has_functions_that_shellcheck_accepts(self):
        functions = re.findall(r"^(do_\w+)\(\) \{\n(.*?)^\}$", self.text, re.MULTILINE | re.DOTALL)
        self.assertEqual([name for name, _ in functions], ["do_install"])
        for name, body in functions:
            path = self.scratch / (name + ".sh")
            path.write_text("#!/bin/sh\n" + body, encoding="utf-8")
            run("shellcheck", "--exclude=SC2154", path)  # bitbake assigns the variables

    def test_builds_and_packs_all_that_it_installs(self):
        sdk = self.scratch / "sdk"
        run("cmake", "--install", BUILD_DIR, "--component", "dev", "--prefix", sdk)
        config = next(sdk.glob("**/SubtitleSdkConfig.cmake"))
        build, image = str(self.scratch / "build"), str(self.scratch / "image")
        values = {**self.values, **FOLDERS, "STAGING_LIBDIR": str(config.parents[2])}
        values["SUBTITLE_SDK_DIR"] = expand(values["SUBTITLE_SDK_DIR"], values)
        options = expand(values["EXTRA_OECMAKE"], values).split()
        options += ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_INSTALL_PREFIX=/usr"]
        output = run("cmake", "-S", ROOT, "-B", build, *options)
        self.assertNotIn("not used by the project", output)
        targets = values["OECMAKE_TARGET_COMPILE"].split()
        run("cmake", "--build", build, "--target", *targets)

        body = re.search(r"^do_install\(\) \{\n(.*?)^\}$", self.text, re.MULTILINE | re.DOTALL)[1]
        run("sh", "-euc", expand(body, {"D": image, "B": build}))
        installed = ["/" + str(p.relative_to(image)) for p in pathlib.Path(image).glob("**/*.*")]
        installed += ["/usr/bin/" + target for target in targets]
        completion = tuple(expand(values["FILES:${PN}-completion"], values).split())
        for path in installed:
            self.assertTrue(os.path.exists(image + path), path)
            self.assertTrue(path.startswith(PACKED + completion), path)
        for folder in completion:
            self.assertTrue(os.path.isdir(image + folder), folder)


if __name__ == "__main__":
    BUILD_DIR, VERSION = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1], verbosity=2)
