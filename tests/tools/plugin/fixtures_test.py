"""What the fixtures, the marker and the options do."""

import os
import subprocess
import sys

import pytest
from pytest_subtitle import DrivenService, MissingProgram, Refused, Workspace
from pytest_subtitle.tap import Tap


def test_service_takes_commands_and_tells_of_requests(subtitle_service, subtitle_client):
    assert subtitle_service.publish("visibility 3 true") == 0
    assert subtitle_client("-s", "7").returncode == 0
    assert subtitle_client("-s", "9").returncode == 0
    subtitle_service.await_request("SetLogLevel", within=5)
    subtitle_service.await_request("SetLogLevel", level=9, within=5)
    subtitle_client("-i", typed="4\n3\nf\nx\n")
    subtitle_service.await_request("SetRegionVisibility", visible=False, result="ok")
    assert [line.get("level") for line in subtitle_service.requests()] == [7, 9, None]
    state = subtitle_service.state()
    assert state["level"] == 9 and not state["regions"][0]["visible"]
    assert subtitle_service.fault("mute request=Ping times=1") == 1
    with pytest.raises(Refused, match="did you mean Ping"):
        subtitle_service.await_request("Pong")
    with pytest.raises(ValueError, match="one line"):
        subtitle_service.command("state\nstate")


def test_console_types_and_expects(subtitle_service, subtitle_console):
    subtitle_console.key("1")
    subtitle_service.await_subscribers(10)
    assert subtitle_service.publish("visibility 3 true") == 1
    subtitle_console.expect("Subscribing for PaletteUpdate")
    subtitle_console.expect("*** RegionVisi:  3  visible\n")
    assert "x) Exit\n\n1\nSubscribing" in subtitle_console.screen


def test_console_may_leave_before_the_end_of_the_test(subtitle_console):
    subtitle_console.key("x")
    assert subtitle_console.wait() == 0


def test_tap_finds_each_notification_once(subtitle_service, subtitle_tap):
    for region in (3, 4, 3):
        assert subtitle_service.publish("visibility %d true" % region) == 1
    subtitle_service.publish("palette 2 31 on 10ff")
    first = subtitle_tap.await_notification("RegionVisibility", regionId=3, within=5)
    second = subtitle_tap.await_notification("RegionVisibility", regionId=3)
    assert first["visible"] and first["monoUs"] < second["monoUs"]
    assert subtitle_tap.await_notification("Palette")["data"] == "EP8="
    assert [line["regionId"] for line in subtitle_tap.notifications()] == [3, 4, 3, 2]


@pytest.mark.subtitle(scenario="../../../simulator/demo.scenario")
def test_marker_gives_a_file_beside_the_test(subtitle_tap):
    assert subtitle_tap.await_notification("RegionData")


def test_folders_come_from_the_configuration_file(play, pytester, programs):
    pytester.makeini("[pytest]\nsubtitle_programs = bin\nsubtitle_dir = linx\n")
    os.symlink(programs, pytester.path / "bin")
    text = """
        import pytest

        def test_console(subtitle_console):
            subtitle_console.key("r")

        @pytest.mark.subtitle(options=["--fault", "mute"])
        def test_marker(subtitle_client):
            assert False
        """
    play(text, programs=None).stdout.fnmatch_lines(
        "*--subtitle-dir: no folder %s/linx" % pytester.path
    )
    folder = pytester.mkdir("linx")
    folder.chmod(0o700)
    with Workspace(programs, folder) as workspace, DrivenService(workspace) as service:
        service.start()
        play(text, programs=None).assert_outcomes(passed=1, skipped=1)
        service.await_request("RefreshRegions")
        service.stop()


def test_missing_programs_and_services_are_named(monkeypatch, programs, tmp_path):
    with Workspace(programs) as workspace, Tap(workspace) as tap:
        with pytest.raises(
            RuntimeError, match="the tap has ended: SubtitleMgrTap: SubtitleMgr acc"
        ):
            tap.await_subscriptions()
    monkeypatch.setenv("PATH", "/nonexistent")
    for folder, place in (
        (None, r"the PATH \(--subtitle-programs FOLDER names another place\)"),
        (tmp_path, str(tmp_path)),
    ):
        words = "^no program SubtitleMgrSim in %s; it is in the package subtitlemgr-cli or" % place
        with Workspace(folder) as workspace, pytest.raises(MissingProgram, match=words):
            DrivenService(workspace).start()


def test_package_needs_neither_pytest_nor_pexpect():
    script = "import sys; sys.modules.update(pytest=None, pexpect=None); import pytest_subtitle"
    subprocess.run([sys.executable, "-B", "-c", script], check=True)
