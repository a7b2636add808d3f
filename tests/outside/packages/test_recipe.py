"""The Yocto recipe without bitbake, which Debian does not have.

Carries out the recipe's build and installation, with the stand-in of the preset desk as the SDK.
"""

import hashlib
import os
import pathlib
import re

from fresh_root import run

ROOT = pathlib.Path(__file__).resolve().parents[3]
DESK = ROOT / "build/desk"
RECIPE = ROOT / "packaging/yocto/subtitlemgr-cli.bb"
TEXT = RECIPE.read_text(encoding="utf-8")
VALUES = dict(re.findall(r'^([\w:${}-]+) [?+]?=\+? "(.*)"$', TEXT, re.MULTILINE))
(INSTALL,) = re.findall(r"^do_\w+\(\) \{\n(.*?)^\}$", TEXT, re.MULTILINE | re.DOTALL)
# What bitbake itself defines. Files below these folders are in the packages that it makes.
FOLDERS = {"bindir": "/usr/bin", "datadir": "/usr/share"}
PACKED = ("/usr/bin/", "/usr/share/doc/", "/usr/share/man/")


def expand(text, values):
    return re.sub(r"\$\{(\w+)\}", lambda match: str(values[match[1]]), text)


def test_it_has_the_version_of_the_project():
    assert run(DESK / "bin/SubtitleMgrTap", "--version") == "SubtitleMgrTap %s\n" % VALUES["PV"]


def test_it_has_the_checksum_of_the_licence():
    path, checksum = re.fullmatch(r"file://(\S+);md5=(\w+)", VALUES["LIC_FILES_CHKSUM"]).groups()
    assert hashlib.md5((ROOT / path).read_bytes()).hexdigest() == checksum


def test_it_builds_the_tree_that_contains_it():
    above = re.search(r"d\.getVar\('THISDIR'\) \+ '([^']+)'", VALUES["EXTERNALSRC"])[1]
    assert os.path.abspath(str(RECIPE.parent) + above) == str(ROOT)


def test_it_names_pages_that_exist():
    pages = re.findall(r"\bdocs/\S+\.md\b", TEXT)
    assert pages and [page for page in pages if not (ROOT / page).is_file()] == []


def test_shellcheck_accepts_its_function(tmp_path):
    (tmp_path / "install.sh").write_text("#!/bin/sh\n" + INSTALL, encoding="utf-8")
    run("shellcheck", "--exclude=SC2154", tmp_path / "install.sh")  # bitbake assigns the variables


def test_it_builds_and_packs_all_that_it_installs(tmp_path):
    sdk, build, image = (tmp_path / name for name in ("sdk", "build", "image"))
    run("cmake", "--install", DESK, "--component", "dev", "--prefix", sdk)
    config = next(sdk.glob("**/SubtitleSdkConfig.cmake"))
    values = {**VALUES, **FOLDERS, "STAGING_LIBDIR": config.parents[2]}
    values["SUBTITLE_SDK_DIR"] = expand(values["SUBTITLE_SDK_DIR"], values)
    options = expand(values["EXTRA_OECMAKE"], values).split()
    options += ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_INSTALL_PREFIX=/usr"]
    assert "not used by the project" not in run("cmake", "-S", ROOT, "-B", build, *options)
    targets = values["OECMAKE_TARGET_COMPILE"].split()
    run("cmake", "--build", build, "--target", *targets)

    run("sh", "-euc", expand(INSTALL, {"D": image, "B": build}))
    installed = {"/" + str(path.relative_to(image)) for path in image.glob("**/*.*")}
    programs = {"/usr/bin/" + target for target in targets}
    completion = expand(values["FILES:${PN}-completion"], values).split()
    packed = (*PACKED, *completion)
    assert [path for path in installed if not path.startswith(packed)] == []
    assert [path for path in (*programs, *completion) if not os.path.exists(f"{image}{path}")] == []
