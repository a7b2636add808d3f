"""What the fixtures, the marker and the options do."""

import os
import subprocess
import sys

from pytest_subtitle import DrivenService, Workspace


def test_service_takes_commands_and_tells_of_requests(play):
    play(
        """
        import pytest
        from pytest_subtitle import Refused

        def test_it(subtitle_service, subtitle_client):
            assert subtitle_service.publish("visibility 3 true") == 0
            assert subtitle_client("-s", "7").returncode == 0
            assert subtitle_client("-s", "9").returncode == 0
            subtitle_service.await_request("SetLogLevel", within=5)
            subtitle_service.await_request("SetLogLevel", level=9, within=5)
            subtitle_client("-i", typed="4\\n3\\nf\\nx\\n")
            subtitle_service.await_request("SetRegionVisibility", visible=False, result="ok")
            levels = [line.get("level") for line in subtitle_service.requests()]
            assert levels == [7, 9, None]
            state = subtitle_service.state()
            assert state["level"] == 9 and not state["regions"][0]["visible"]
            assert subtitle_service.fault("mute request=Ping times=1") == 1
            with pytest.raises(Refused, match="did you mean Ping"):
                subtitle_service.await_request("Pong")
            with pytest.raises(ValueError, match="one line"):
                subtitle_service.command("state\\nstate")
        """
    ).assert_outcomes(passed=1)


def test_console_types_expects_and_leaves(play):
    play(
        """
        def test_it(subtitle_service, subtitle_console):
            subtitle_console.key("1")
            subtitle_service.await_subscribers(10)
            assert subtitle_service.publish("region-data 3 cif 00010203") == 1
            subtitle_console.expect("CLI: Process region  3 (2):")
            subtitle_console.key("4")
            subtitle_console.expect("Enter region ID: ")
            subtitle_console.key("3")
            subtitle_console.expect("visibility (t/f): ")
            subtitle_console.key("t")
            subtitle_service.await_request("SetRegionVisibility", regionId=3, visible=True)
            subtitle_console.expect("*** RegionVisi:  3  visible\\n")
            assert "\\nEnter region ID: 3\\nEnter" in subtitle_console.screen

        def test_that_leaves_itself(subtitle_console):
            subtitle_console.key("x")
            assert subtitle_console.wait() == 0
        """
    ).assert_outcomes(passed=2)


def test_tap_finds_each_notification_once(play):
    play(
        """
        def test_it(subtitle_service, subtitle_tap):
            for region in (3, 4, 3):
                assert subtitle_service.publish("visibility %d true" % region) == 1
            subtitle_service.publish("palette 2 31 on 10ff")
            first = subtitle_tap.await_notification("RegionVisibility", regionId=3, within=5)
            second = subtitle_tap.await_notification("RegionVisibility", regionId=3)
            assert first["visible"] and first["monoUs"] < second["monoUs"]
            assert subtitle_tap.await_notification("Palette")["data"] == "EP8="
            assert [line["regionId"] for line in subtitle_tap.notifications()] == [3, 4, 3, 2]
        """
    ).assert_outcomes(passed=1)


def test_marker_gives_a_scenario_and_options(play, pytester):
    pytester.makefile(".scenario", traffic="wait-subscribers 10\nvisibility 3 on\n")
    play(
        r"""
        import pytest

        @pytest.mark.subtitle(scenario="traffic.scenario")
        def test_file(subtitle_tap):
            assert subtitle_tap.await_notification("RegionVisibility")["regionId"] == 3

        @pytest.mark.subtitle(scenario="wait-subscribers 10\nvisibility 5 on\n")
        def test_lines(subtitle_tap):
            assert subtitle_tap.await_notification("RegionVisibility")["regionId"] == 5

        @pytest.mark.subtitle(options=["--fault", "hang-up"])
        def test_options(subtitle_client):
            assert subtitle_client("-p").stderr == "Error running ping\n"
        """,
        "--strict-markers",
    ).assert_outcomes(passed=3)


def test_a_running_service_serves_the_tests_that_do_not_drive_it(play, programs):
    with Workspace(programs) as workspace, DrivenService(workspace) as service:
        service.start()
        play(
            """
            import pytest

            def test_console(subtitle_console):
                subtitle_console.key("r")

            def test_tap(subtitle_tap):
                assert subtitle_tap.notifications() == []

            def test_client(subtitle_client):
                assert "Successful Ping" in subtitle_client("-p").stdout

            def test_service(subtitle_service):
                assert False

            @pytest.mark.subtitle(options=["--fault", "mute"])
            def test_marker(subtitle_client):
                assert False
            """,
            "--subtitle-dir",
            workspace.messaging,
        ).assert_outcomes(passed=3, skipped=2)
        service.await_request("RefreshRegions")
        service.stop()


def test_folders_come_from_the_configuration_file_too(play, pytester, programs):
    pytester.makeini("[pytest]\nsubtitle_programs = bin\nsubtitle_dir = none\n")
    os.symlink(programs, pytester.path / "bin")
    outcome = play("def test_it(subtitle_client): pass", programs=None)
    outcome.stdout.fnmatch_lines("*--subtitle-dir: no folder %s/none" % pytester.path)
    (pytester.path / "none").mkdir(0o700)
    play(
        "def test_it(subtitle_client): assert 'Error' in subtitle_client('-p').stderr",
        programs=None,
    ).assert_outcomes(passed=1)


def test_programs_come_from_the_path(play, programs, monkeypatch):
    monkeypatch.setenv("PATH", programs, prepend=os.pathsep)
    text = "def test_it(subtitle_tap, subtitle_console): pass"
    play(text, programs=None).assert_outcomes(passed=1)


def test_messaging_directory_may_have_a_long_path(play, scratch, monkeypatch):
    folder = scratch / ("long" * 30)
    folder.mkdir()
    monkeypatch.setattr("tempfile.tempdir", str(folder))
    play(
        "def test_it(subtitle_service, subtitle_tap): subtitle_service.await_subscribers(10)"
    ).assert_outcomes(passed=1)
    folder.rmdir()


def test_many_tests_run_in_parallel(play):
    play(
        """
        import pytest

        @pytest.mark.parametrize("number", range(24))
        def test_it(subtitle_service, subtitle_tap, subtitle_console, number):
            subtitle_service.publish("visibility 3 true")
            assert subtitle_tap.await_notification("RegionVisibility")["visible"]
            subtitle_console.key("r")
            subtitle_service.await_request("RefreshRegions")
        """,
        "-n8",
        subprocess=True,
    ).assert_outcomes(passed=24)


def test_package_needs_neither_pytest_nor_pexpect():
    script = "import sys; sys.modules.update(pytest=None, pexpect=None); import pytest_subtitle"
    subprocess.run([sys.executable, "-B", "-c", script], check=True)
