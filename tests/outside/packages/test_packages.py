"""The packages: clean, the same when made again, and at home in a fresh Debian."""

import pathlib
import re
import shutil
import subprocess

import pytest

from fresh_root import FreshRoot, make_debian, run

ROOT = pathlib.Path(__file__).parents[3]
PRESETS = ("desk", "device", "device-dynamic")
GUIDES = ("installing", "console", "simulator", "testing", "troubleshooting", "view")
TUTORIALS = ("README.md", *("docs/%s.md" % name for name in GUIDES))


def make_packages(tree, preset):
    """Returns the packages of a preset by name."""
    output = subprocess.run(
        [tree / "script/package", preset], stdout=subprocess.PIPE, text=True, check=True
    ).stdout
    paths = [tree / line for line in output.splitlines()]
    assert paths
    return {path.name.split("_")[0]: path for path in paths}


def field(package, name):
    return run("dpkg-deb", "-f", package, name).strip()


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


@pytest.fixture(scope="session", name="packages_of")
def fixture_packages_of():
    made = {}

    def packages_of(preset):
        if preset not in made:
            made[preset] = make_packages(ROOT, preset)
        return made[preset]

    return packages_of


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


@pytest.mark.parametrize("preset", ["desk", "device"])
def test_the_same_sources_give_the_same_bytes(preset, tmp_path, monkeypatch):
    # Without a cache of compiled objects, which would give the same bytes in any case.
    for compiler in ("C", "CXX"):
        monkeypatch.delenv("CMAKE_%s_COMPILER_LAUNCHER" % compiler, raising=False)
    monkeypatch.setenv("SOURCE_DATE_EPOCH", "1700000000")
    trees = [tmp_path / "tree", tmp_path / "another" / "folder"]
    for tree in trees:
        shutil.copytree(
            ROOT, tree, ignore=lambda path, _: [".git", "build"] if path == str(ROOT) else []
        )
    contents = []
    for tree, zone in zip(trees, ("UTC", "Asia/Tokyo")):
        monkeypatch.setenv("TZ", zone)
        made = make_packages(tree, preset)
        contents.append({name: path.read_bytes() for name, path in made.items()})
        shutil.rmtree(tree)
    assert sorted(contents[0]) == sorted(contents[1])
    assert [name for name in contents[0] if contents[0][name] != contents[1][name]] == []


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
