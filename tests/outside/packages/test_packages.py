"""The packages: clean, the same when made again, and at home in a fresh Debian."""

import gzip
import pathlib
import re
import shutil

import pytest

from fresh_root import FreshRoot, make_debian, run

ROOT = pathlib.Path(__file__).parents[3]
PRESETS = ("desk", "device", "device-dynamic")
VERSION = re.search(r"SubtitleMgrCli VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
PROGRAMS = {
    "subtitlemgr-cli": ("SubtitleMgrCli", "SubtitleMgrTap"),
    "subtitlemgr-sim": ("SubtitleMgrCtl", "SubtitleMgrSim"),
    "subtitlemgr-view": ("SubtitleMgrView",),
}
OF_EACH_PACKAGE = ("CHANGELOG.md", "changelog.gz", "copyright")
OF_EACH_PROGRAM = (
    "bin/{}",
    "share/bash-completion/completions/{}",
    "share/fish/vendor_completions.d/{}.fish",
    "share/man/man1/{}.1.gz",
    "share/zsh/vendor-completions/_{}",
)
# What else is in a package: a file below usr/, or a folder with copies of these files.
CONTENTS = {
    "subtitlemgr-cli": [
        "share/doc/subtitlemgr-cli/subtitle-recording.schema.json",
        "share/man/man5/subtitle-recording.5.gz",
    ],
    "subtitlemgr-sim": [
        "lib/systemd/user/subtitlemgr-sim.service",
        "share/man/man5/subtitle-scenario.5.gz",
        "share/subtitlemgr-sim/demo.scenario",
    ],
    "subtitlemgr-dev": [
        "lib/{triplet}/cmake/SubtitleSdk/SubtitleSdkConfig.cmake",
        "lib/{triplet}/cmake/SubtitleSdk/SubtitleSdkConfigVersion.cmake",
        "lib/{triplet}/libsubtitle_platform.a",
        "lib/{triplet}/pkgconfig/subtitlesdk.pc",
        ("include/subtitlemgr", "platform/include/*"),
        ("share/doc/subtitlemgr-dev/examples", "tests/sdk/example/*"),
    ],
    "subtitlemgr-doc": [
        ("share/doc/subtitlemgr-doc", "README.md"),
        ("share/doc/subtitlemgr-doc", "CONTRIBUTING.md"),
        ("share/doc/subtitlemgr-doc/docs", "docs/*.md"),
        ("share/doc/subtitlemgr-doc/docs/pictures", "docs/pictures/*"),
    ],
    "subtitlemgr-view": [
        "lib/{triplet}/wireshark/plugins/subtitlemgr.lua",
        "share/doc/subtitlemgr-view/examples/demo",
    ],
    "python3-pytest-subtitle": [
        f"lib/python3/dist-packages/pytest_subtitle-{VERSION}.dist-info/METADATA",
        f"lib/python3/dist-packages/pytest_subtitle-{VERSION}.dist-info/entry_points.txt",
        ("lib/python3/dist-packages/pytest_subtitle", "python/pytest_subtitle/*.py"),
        ("share/doc/python3-pytest-subtitle/examples", "docs/examples/*"),
    ],
}
DESK_ONLY = {"subtitlemgr-view", "python3-pytest-subtitle"}
FOR_ALL = {"subtitlemgr-doc", "python3-pytest-subtitle"}
GUIDES = ("installing", "console", "simulator", "testing", "troubleshooting", "view")
TUTORIALS = ("README.md", *("docs/%s.md" % name for name in GUIDES))


def field(package, name):
    return run("dpkg-deb", "-f", package, name).strip()


def files_below(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()}


def contents_of(package, preset):
    triplet = "x86_64-linux-gnu" if preset == "desk" else "powerpc-linux-gnu"
    files = [f"share/doc/{package}/{name}" for name in OF_EACH_PACKAGE]
    for program in PROGRAMS.get(package, ()):
        files += [form.format(program) for form in OF_EACH_PROGRAM]
        if preset == "device":
            files.append("share/lintian/overrides/" + package)
    for entry in CONTENTS[package]:
        if isinstance(entry, str):
            files.append(entry.format(triplet=triplet))
        else:
            folder, sources = entry
            files += [f"{folder}/{path.name}" for path in ROOT.glob(sources) if path.is_file()]
    return set(files)


def needs_of(packages):
    """Returns the packages of Debian that these packages depend on."""
    fields = ",".join(
        field(path, name) for path in packages.values() for name in ("Depends", "Pre-Depends")
    )
    names = set(re.findall(r"(?:^|,)\s*([\w.+-]+)", fields))
    return names - set(packages)


def versions_in(root, packages):
    shown = root.run("dpkg-query -W -f '${Package} ${Version}\n' \"$@\"", *packages)
    return dict(line.split() for line in shown.splitlines())


@pytest.fixture(scope="session", name="packages")
def fixture_packages(packages_of):
    return packages_of("desk")


@pytest.fixture(scope="session", name="debian")
def fixture_debian(packages, tmp_path_factory):
    folder = tmp_path_factory.mktemp("debian")
    # systemd checks the unit, pexpect and xdist play the tutorials; the others complete words.
    helpers = {
        "systemd",
        "python3-pexpect",
        "python3-pytest-xdist",
        "bash-completion",
        "fish",
        "zsh",
    }
    make_debian(folder / "root", needs_of(packages) | helpers)
    yield folder / "root"
    shutil.rmtree(folder)


@pytest.fixture(name="root")
def fixture_root(debian, tmp_path):
    root = FreshRoot(debian, tmp_path / "root")
    yield root
    root.close()


@pytest.mark.parametrize("preset", PRESETS)
def test_lintian_finds_nothing(packages_of, preset):
    found = run("lintian", "--no-cfg", "--fail-on", "error,warning", *packages_of(preset).values())
    assert re.findall("^[EW]: .*", found, re.MULTILINE) == []


@pytest.mark.parametrize("preset", PRESETS)
def test_each_package_has_its_files_only(packages_of, preset, tmp_path):
    packages = packages_of(preset)
    assert set(packages) == set(CONTENTS) - (DESK_ONLY if preset != "desk" else set())
    machine = "amd64" if preset == "desk" else "powerpc"
    for name, path in packages.items():
        architecture = "all" if name in FOR_ALL else machine
        assert path.name == f"{name}_{VERSION}_{architecture}.deb"
        folder = tmp_path / name
        run("dpkg-deb", "-x", path, folder)
        assert files_below(folder / "usr") == contents_of(name, preset)
        changelog = gzip.decompress((folder / f"usr/share/doc/{name}/changelog.gz").read_bytes())
        assert f"{name} ({VERSION}) ".encode() in changelog
        shutil.copytree(folder, tmp_path / "packed", dirs_exist_ok=True)
    run("cmake", "--install", ROOT / "build" / preset, "--prefix", tmp_path / "installed")
    of_debian = re.compile(r".*/changelog\.gz|share/lintian/.*")  # not those of CMake
    assert files_below(tmp_path / "installed") == {
        path.removesuffix(".gz")
        for path in files_below(tmp_path / "packed/usr")
        if not of_debian.fullmatch(path)
    }


def versions_of(depends):
    """Returns the packages of a list with their lowest versions."""
    entry = r"([\w.+-]+?)(?:-powerpc-cross|:powerpc)?(?: \(>= ([\d.]+)[^)]*\))?(?:, |$)"
    return dict(re.findall(entry, depends))


@pytest.mark.parametrize("preset", ["desk", "device-dynamic"])
def test_the_programs_need_what_their_packages_name(packages_of, preset, tmp_path):
    (tmp_path / "debian").mkdir()
    (tmp_path / "debian/control").write_text("Source: any\n\nPackage: any\nArchitecture: any\n")
    for name in PROGRAMS.keys() & packages_of(preset).keys():
        run("dpkg-deb", "-x", packages_of(preset)[name], tmp_path)
        programs = ["-eusr/bin/" + program for program in PROGRAMS[name]]
        folder = "-l/usr/powerpc-linux-gnu/lib"
        shown = run("dpkg-shlibdeps", folder, "-O", *programs, cwd=tmp_path)
        needed = versions_of(re.search("^shlibs:Depends=(.*)$", shown, re.MULTILINE)[1])
        named = versions_of(field(packages_of(preset)[name], "Depends"))
        assert set(named) == set(needed)
        for library, version in needed.items() if preset == "desk" else ():
            run("dpkg", "--compare-versions", named[library], "ge", version)


@pytest.mark.parametrize("preset", ["desk", "device"])
def test_the_same_sources_give_the_same_bytes(packages_of, preset, tmp_path, monkeypatch):
    """Compares the packages of this tree with those of a new build in another folder."""
    here = packages_of(preset)
    # Without a cache of compiled objects, which would give the same bytes in any case.
    for compiler in ("C", "CXX"):
        monkeypatch.delenv("CMAKE_%s_COMPILER_LAUNCHER" % compiler, raising=False)
    monkeypatch.setenv("TZ", "Asia/Tokyo")
    tree = tmp_path / "another" / "folder"
    shutil.copytree(
        ROOT, tree, ignore=lambda path, _: [".git", "build"] if path == str(ROOT) else []
    )
    there = packages_of(preset, tree)
    assert sorted(here) == sorted(there)
    assert [name for name in here if here[name].read_bytes() != there[name].read_bytes()] == []
    shutil.rmtree(tree)


def test_the_programs_work_without_a_source_tree(packages, root):
    root.install(packages.values())
    unit = (root.folder / "usr/lib/systemd/user/subtitlemgr-sim.service").read_text()
    command = re.search("^ExecStart=(.*)$", unit, re.MULTILINE)[1]
    shown = root.run_as_user(
        """
        mkfifo /tmp/ready
        $1 --play /usr/share/subtitlemgr-sim/demo.scenario --loop >/tmp/ready &
        read -r word </tmp/ready
        SubtitleMgrCtl ping >/dev/null
        SubtitleMgrCli -p
        SubtitleMgrTap --json --count 3 --seconds 60 >/tmp/recording
        SubtitleMgrView terminal /tmp/recording >/dev/null
        SubtitleMgrCtl quit >/dev/null
        wait
        echo "$word" $(wc -l </tmp/recording)
        """,
        command,
    )
    assert shown == "Let's Ping\nSuccessful Ping\nready 4\n"


def test_the_tutorials_work_without_a_source_tree(packages, root):
    root.install(packages.values())
    for folder in ("tests/packaging", "python"):
        shutil.copytree(ROOT / folder, root.folder / "player" / folder)
    (root.folder / "player/script").symlink_to("/usr/share/doc/subtitlemgr-view/examples")
    shown = root.run_as_user(
        'cd /usr/share/doc/subtitlemgr-doc && python3 /player/tests/packaging/transcripts.py "$@"',
        "/usr/bin",
        *TUTORIALS,
    )
    assert len(re.findall(r": [1-9]\d* commands", shown)) == len(TUTORIALS)


def test_the_plugin_runs_its_examples_eight_at_once(packages, root):
    root.install(packages.values())
    shown = root.run_as_user(
        """
        cp -r /usr/share/doc/python3-pytest-subtitle/examples /tmp/examples
        cd /tmp/examples
        pytest -q -n 8
        """
    )
    assert re.search("^3 passed", shown, re.MULTILINE)


def test_systemd_accepts_the_unit(packages, root):
    root.install(packages.values())
    shown = root.run(
        "XDG_RUNTIME_DIR=/tmp systemd-analyze --user --man=no verify subtitlemgr-sim.service"
    )
    assert shown == ""


def test_the_shells_find_the_completion(packages, root):
    root.install(packages.values())
    bash = """
        . /usr/share/bash-completion/bash_completion
        _completion_loader SubtitleMgrTap || [ $? -eq 124 ]
        complete -p SubtitleMgrTap
    """
    zsh = "autoload -U compinit; compinit -D; echo $_comps[SubtitleMgrTap]"
    assert root.run('bash -c "$1"', bash) == "complete -F _SubtitleMgrTap SubtitleMgrTap\n"
    # Each file for zsh completes all programs.
    assert root.run('zsh -f -c "$1"', zsh).startswith("_SubtitleMgr")
    assert root.run("fish -c 'complete -C \"SubtitleMgrTap --kin\"'") == "--kinds\n"


def test_an_upgrade_replaces_every_package(packages, root, tmp_path):
    """The older packages have an additional file each."""
    for name, path in packages.items():
        older = tmp_path / name
        run("dpkg-deb", "-R", path, older)
        control = older / "DEBIAN/control"
        control.write_text(re.sub("(?m)^Version: .*$", "Version: 0.1", control.read_text()))
        (older / "usr/share/doc" / name / "of_the_older_package").touch()
        run("dpkg-deb", "--root-owner-group", "-b", older, tmp_path / (name + ".deb"))
    root.install(tmp_path.glob("*.deb"))
    assert set(versions_in(root, packages).values()) == {"0.1"}
    before = root.files()
    root.install(packages.values())
    assert versions_in(root, packages) == {
        name: field(path, "Version") for name, path in packages.items()
    }
    gone = {"usr/share/doc/%s/of_the_older_package" % name for name in packages}
    assert before - root.files() == gone
    assert root.run('dpkg --verify "$@"', *packages) == ""


def test_removing_leaves_nothing(packages, root):
    before = root.files()
    root.install(packages.values())
    assert len(root.files() - before) > 50
    root.run('apt-get remove --yes "$@"', *packages, network=False)
    assert sorted(root.files() - before) == []
    assert sorted(before - root.files()) == []
    # No configuration files that only a purge would remove.
    shown = root.run("dpkg-query -W -f '${db:Status-Status} ${Package}\n'").splitlines()
    assert [
        line for line in shown if line.split()[1] in packages and "not-installed" not in line
    ] == []
