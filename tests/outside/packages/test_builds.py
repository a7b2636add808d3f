"""What a build needs, and what it makes of a compiler's warnings."""

import os
import pathlib
import re
import shutil
import subprocess

import pytest

from fresh_root import run

ROOT = pathlib.Path(__file__).parents[3]
HIDE = "-DCMAKE_DISABLE_FIND_PACKAGE_%s=ON"
NO_TESTS = ("-DBUILD_TESTING=OFF", "-DSUBTITLE_BENCH=OFF")


def configure(build, *options, **environment):
    """Returns the exit status and the output, with one blank between words."""
    result = subprocess.run(
        ["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", *options],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        env={**os.environ, **environment},
        text=True,
        check=False,
    )
    return result.returncode, " ".join(result.stdout.split())


@pytest.mark.parametrize(
    "what, user, package, option",
    [
        ("PNG", "SubtitleMgrView", "libpng-dev", "TOOLS"),
        ("Microhttpd", "SubtitleMgrView", "libmicrohttpd-dev", "TOOLS"),
        (
            "RapidJSON",
            "the reader of recordings",
            "rapidjson-dev",
            "SIMULATOR=OFF -DSUBTITLE_TOOLS",
        ),
        ("CLI11", "SubtitleMgrSim", "libcli11-dev", "SIMULATOR"),
        ("Python3", "the test suite", "python3", "BUILD_TESTING"),
        ("GoogleTest", "the test suite", "libgtest-dev", "BUILD_TESTING"),
    ],
)
def test_a_build_names_what_it_misses(tmp_path, what, user, package, option):
    hidden = "-DSUBTITLE_GOOGLETEST=" if what == "GoogleTest" else HIDE % what
    status, output = configure(tmp_path, hidden)
    assert status != 0
    option = option if option == "BUILD_TESTING" else "SUBTITLE_" + option
    assert (
        f"{user} needs {what}: install the Debian package {package}, "
        f"or leave {user} out with -D{option}=OFF" in output
    )


@pytest.mark.parametrize(
    "programs, hidden, options",
    [
        ("Cli Ctl Sim Tap View", [], NO_TESTS),
        ("Cli Sim Tap", ["PNG", "Microhttpd"], ["-DSUBTITLE_TOOLS=OFF"]),
        ("Cli Ctl Tap View", ["CLI11"], ["-DSUBTITLE_SIMULATOR=OFF"]),
        ("Cli Tap", ["PNG", "Microhttpd", "RapidJSON", "CLI11"], ["-DSubtitleSdk_DIR={sdk}"]),
    ],
    ids=["all", "without_tools", "without_simulator", "with_another_sdk"],
)
def test_a_build_needs_nothing_for_what_it_leaves_out(tmp_path, programs, hidden, options):
    (tmp_path / "SubtitleSdkConfig.cmake").write_text(
        "add_library(SubtitleSdk::SubtitleSdk INTERFACE IMPORTED)\n"
    )
    words = [HIDE % package for package in ("Python3", *hidden)]
    words += ["-DSUBTITLE_GOOGLETEST=", *(option.format(sdk=tmp_path) for option in options)]
    status, output = configure(tmp_path / "build", *words)
    assert status == 0, output
    targets = run("ninja", "-C", tmp_path / "build", "-t", "targets", "all")
    found = re.findall(r"^bin/(\w+):", targets, re.MULTILINE)
    assert sorted(found) == ["SubtitleMgr" + name for name in programs.split()]
    assert "python3" not in run("ninja", "-C", tmp_path / "build", "-t", "commands")


def test_a_warning_is_an_error_in_each_preset():
    presets = re.findall(r'^ +"(.*)"', run("cmake", "--list-presets", cwd=ROOT), re.MULTILINE)
    assert "desk" in presets
    for preset in presets:
        shown = run("cmake", "-N", "--preset", preset, cwd=ROOT)
        assert 'CMAKE_COMPILE_WARNING_AS_ERROR:BOOL="TRUE"' in shown, preset


def test_a_warning_stops_no_plain_build(tmp_path):
    """A user's newer compiler may have more warnings; this flag always causes one."""
    configure(tmp_path, *NO_TESTS, "-DSUBTITLE_TOOLS=OFF", "-DCMAKE_CXX_FLAGS=-Wpadded")
    target = "CMakeFiles/subtitle_client.dir/client/cli/connection.cpp.o"
    assert "[-Wpadded]" in run("cmake", "--build", tmp_path, "--target", target)


def test_the_device_preset_recovers_from_a_missing_compiler(tmp_path):
    for folder, prefix, tools in (
        ("none", "", ["cmake", "ninja", "gcc", "g++", "as", "ld", "ar", "strip"]),
        ("cross", "powerpc-linux-gnu-", ["gcc", "g++", "ar", "strip"]),
    ):
        (tmp_path / folder).mkdir()
        for tool in tools:
            (tmp_path / folder / (prefix + tool)).symlink_to(shutil.which(tool))
    without = str(tmp_path / "none")
    options = [
        "--toolchain",
        ROOT / "cmake/toolchain-powerpc-linux-gnu.cmake",
        "-DSubtitleSdk_DIR=" + without,
    ]
    (tmp_path / "none/SubtitleSdkConfig.cmake").touch()
    status, output = configure(tmp_path / "build", *options, PATH=without)
    assert status != 0 and "script/bootstrap device" in output
    configure(tmp_path / "build", *options, PATH=f"{tmp_path}/cross:{without}")
    cache = (tmp_path / "build/CMakeCache.txt").read_text()
    assert f"CMAKE_STRIP:FILEPATH={tmp_path}/cross/powerpc-linux-gnu-strip" in cache


def test_packaging_for_the_device_installs_its_compiler_first(tmp_path):
    shutil.copytree(ROOT / "script", tmp_path / "script")
    job = tmp_path / "job"
    (tmp_path / "script/bootstrap").write_text(f'#!/bin/sh\necho "$*" >{job}\nexit 1\n')
    command = [tmp_path / "script/package", "device"]
    environment = {**os.environ, "SOURCE_DATE_EPOCH": "0"}
    assert subprocess.run(command, env=environment, capture_output=True, check=False).returncode
    assert job.read_text() == "preset device\n"
