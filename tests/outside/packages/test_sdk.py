"""The seam: the client with a vendor's SDK, and another client with the packaged stand-in."""

import json
import pathlib
import re
import shutil
import subprocess

import pytest

from fresh_root import run

ROOT = pathlib.Path(__file__).parents[3]
SDK_TESTS = ROOT / "tests/sdk"
TOOLCHAIN = ROOT / "cmake/toolchain-powerpc-linux-gnu.cmake"
# By preset: the compiler, the command that starts a program, and options of CMake.
MACHINES = {
    "desk": ("g++", [], []),
    "device": (
        "powerpc-linux-gnu-g++",
        ["qemu-ppc", "-L", "/usr/powerpc-linux-gnu"],
        ["--toolchain", TOOLCHAIN],
    ),
}


def build(source, folder, sdk, options, *targets):
    run("cmake", "-S", source, "-B", folder, "-G", "Ninja", f"-DSubtitleSdk_DIR={sdk}", *options)
    run("cmake", "--build", folder, *(["--target", *targets] if targets else []))


@pytest.mark.parametrize("preset", MACHINES)
def test_the_client_works_with_a_vendors_sdk(preset, tmp_path, monkeypatch):
    compiler, runner, options = MACHINES[preset]
    sdk = tmp_path / "sdk"
    shutil.copytree(SDK_TESTS / "vendor", sdk)
    (sdk / "lib").mkdir()
    library = sdk / "lib/libsubtitleclient.so"
    flags = ["-std=c++17", "-shared", "-fPIC", f"-I{sdk}/include", f"-I{ROOT}"]
    sources = sdk.glob("*.cpp")
    run(compiler, *flags, *sources, f"-Wl,-soname,{library.name}", "-o", library)

    folder = tmp_path / "build"
    options = [*options, "-DCMAKE_BUILD_TYPE=Debug", f"-DCMAKE_INSTALL_RPATH={sdk}/lib"]
    build(ROOT, folder, sdk, options, "SubtitleMgrCli", "SubtitleMgrTap", "sdk_interface")
    read = run("ninja", "-C", folder, "-t", "deps")
    assert "client/cli/main.cpp" in read
    assert re.findall(rf"{ROOT}/(?:platform|simulator)/\S+", read) == []
    prefix = tmp_path / "root"
    run("cmake", "--install", folder, "--component", "cli", "--prefix", prefix, "--strip")
    client, tap = (
        [*runner, prefix / "bin" / name] for name in ("SubtitleMgrCli", "SubtitleMgrTap")
    )
    monkeypatch.setenv("LOCKSTEP_FOLDER", str(tmp_path))

    assert len(run(*client, "-h").splitlines()) == 9
    # The prefix and the vendor's name of process 5.
    assert run(*client, "-e", "node1", "-p") == "Let's Ping\nSuccessful Ping\n"
    journal = (tmp_path / "journal").read_text()
    assert " Request node1/Titles 15105 15106 -1 null\n" in journal
    # The adapters pass on a log entry, and the payload of a notification during call 8.
    (tmp_path / "script").write_text("at 8 visibility 3 1\n")
    keys = "1\n3\n1\n/no/such/file\n4\nx\n"
    console = subprocess.run(
        [*client, "-i"], input=keys, capture_output=True, text=True, check=True
    )
    assert "\n*** RegionVisi:  3  visible\n" in console.stdout
    assert re.search(
        r" 2 SubtitleMgrCli SubtitleMgrCli:\d+ .* - Error opening file /no/such/file\n",
        (tmp_path / "log").read_text(),
    )
    # The tap has no option frame, so this vendor makes region 3 visible once.
    shown = run(*tap, "--count", "1", "--time", "zero")
    assert shown == "0.000000 visibility region 3 visible\n"
    header, line = map(json.loads, run(*tap, "--count", "1", "--json").splitlines())
    assert header["service"] == "Titles"
    assert (line["notification"], line["regionId"], line["visible"]) == (
        "RegionVisibility",
        3,
        True,
    )


@pytest.mark.parametrize("preset", MACHINES)
def test_another_client_works_with_the_packaged_stand_in(
    preset, packages_of, tmp_path, monkeypatch
):
    compiler, runner, options = MACHINES[preset]
    root = tmp_path / "root"
    for name in ("subtitlemgr-dev", "subtitlemgr-sim"):
        run("dpkg-deb", "-x", packages_of(preset)[name], root)
    (sdk,) = root.glob("usr/lib/*/cmake/SubtitleSdk")
    example = root / "usr/share/doc/subtitlemgr-dev/examples"
    build(example, tmp_path / "cmake", sdk, options)
    # The packaged stand-in is an SDK for the client itself too.
    build(ROOT, tmp_path / "client", sdk, options, "sdk_interface")
    monkeypatch.setenv("PKG_CONFIG_PATH", str(sdk.parents[1] / "pkgconfig"))
    flags = run("pkg-config", "--cflags", "--libs", "subtitlesdk").split()
    program = tmp_path / "show_visibility"
    run(compiler, "-std=c++17", example / "show_visibility.cpp", *flags, "-o", program)

    version = run("pkg-config", "--modversion", "subtitlesdk").strip()
    newer = tmp_path / "CMakeLists.txt"
    newer.write_text(
        "cmake_minimum_required(VERSION 3.16)\nproject(Newer LANGUAGES CXX)\n"
        "find_package(SubtitleSdk 99 REQUIRED)\n"
    )
    with pytest.raises(AssertionError, match=f"SubtitleSdkConfig.cmake, version: {version}"):
        build(tmp_path, tmp_path / "newer", sdk, options)

    monkeypatch.setenv("LINX_DIR", str(tmp_path / "linx"))
    command = [*runner, root / "usr/bin/SubtitleMgrSim", "--quiet"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as service:
        assert service.stdout.readline() == "ready\n"
        shown = [run(*runner, path) for path in (tmp_path / "cmake/show_visibility", program)]
        service.terminate()
    assert shown == 2 * ["region 3 is visible\n"]
