"""What the report of a failed test has, on the terminal and in JUnit's file."""

import json
import re
import xml.etree.ElementTree

import pytest


def report_of(outcome, pytester):
    """The text of the only failed test in JUnit's file; the terminal shows the same."""
    tree = xml.etree.ElementTree.parse(pytester.path / "report.xml")
    (failure,) = [*tree.iter("failure"), *tree.iter("error")]
    shown = "\n".join(outcome.outlines)
    assert failure.text in shown
    return failure.text


def sections_of(report):
    """The sections that the plugin added, by their names."""
    parts = re.split(r"^-{3,} (.*?)(?: -*)?$", report, flags=re.MULTILINE)
    return {name: text.strip("\n") for name, text in zip(parts[1::2], parts[2::2])}


@pytest.mark.parametrize("options", [[], ["-n2"]], ids=["alone", "in a worker"])
def test_failed_test_shows_all_that_its_programs_did(play, pytester, options):
    outcome = play(
        """
        def test_it(subtitle_service, subtitle_console, subtitle_tap):
            subtitle_console.key("3")
            subtitle_console.key("1")
            subtitle_console.key("no.such.file")
            subtitle_console.key("4")
            subtitle_service.await_request("SetRegionData")
            subtitle_service.publish("visibility 3 true")
            subtitle_tap.await_notification("RegionVisibility")
            assert subtitle_service is None
        """,
        "--junit-xml=report.xml",
        *options,
        subprocess=bool(options),
    )
    outcome.assert_outcomes(failed=1)
    report = report_of(outcome, pytester)
    assert ">       assert subtitle_service is None" in report
    sections = sections_of(report)
    assert "x) Exit\n\n3\n" in sections["screen of the console"]
    assert "level=2" in sections["log of the client"]
    assert "Error opening file no.such.file" in sections["log of the client"]
    assert "client 2: SetRegionData" in sections["standard error of the service"]
    recorded = [json.loads(line) for line in sections["recording of the service"].splitlines()]
    assert recorded[-1]["notification"] == "RegionVisibility"
    received = [json.loads(line) for line in sections["recording of the tap"].splitlines()]
    assert received[-1]["regionId"] == 3
    assert '"regionId": 3' in sections["state of the service"]


def test_report_without_a_traceback_shows_it_too(play, pytester):
    outcome = play(
        """
        import pytest

        def test_it(subtitle_service):
            for _ in range(100):
                subtitle_service.publish("visibility 3 true")
            subtitle_service.publish("region-data 3 hd " + 500 * "00")
            pytest.fail("in words", pytrace=False)
        """,
        "--junit-xml=report.xml",
    )
    report = report_of(outcome, pytester)
    assert report.startswith("in words\n---")
    recording = sections_of(report)["recording of the service"]
    assert recording.startswith("[42 lines before]\n")
    assert max(map(len, recording.split("\n"))) == 300


def test_service_that_does_not_start_is_told_in_its_words(play, pytester):
    outcome = play(
        """
        import pytest

        @pytest.mark.subtitle(scenario="sleep\\n")
        def test_it(subtitle_service):
            pass
        """,
        "--junit-xml=report.xml",
    )
    outcome.assert_outcomes(errors=1)
    report = report_of(outcome, pytester)
    assert "RuntimeError: the service does not start:" in report
    assert "scenario" in sections_of(report)["standard error of the service"]


def test_report_of_a_missing_fixture_shows_it_on_the_terminal(play):
    outcome = play("def test_it(subtitle_service, no_such_fixture): pass")
    outcome.stdout.fnmatch_lines(["*no_such_fixture' not found", "-* state of the service -*"])


def test_missing_programs_are_named(play, pytester, monkeypatch):
    monkeypatch.setenv("PATH", "/nonexistent")
    outcome = play("def test_it(subtitle_client): pass", programs=None)
    outcome.stdout.fnmatch_lines(
        "E *MissingProgram: no program SubtitleMgrSim in the PATH (--subtitle-programs FOLDER*"
        "; it is in the package subtitlemgr-cli or subtitlemgr-sim"
    )
    outcome = play("def test_it(subtitle_client): pass", programs=str(pytester.path))
    outcome.stdout.fnmatch_lines(
        "E *MissingProgram: no program SubtitleMgrSim in %s;*" % pytester.path
    )


def test_missing_service_is_told_in_the_words_of_the_tap(play, pytester):
    (pytester.path / "linx").mkdir(0o700)
    outcome = play("def test_it(subtitle_tap): pass", "--subtitle-dir", "linx")
    outcome.stdout.fnmatch_lines("E *the tap has ended: SubtitleMgrTap: SubtitleMgr accepts no*")


def test_console_that_does_not_leave_fails_the_test_at_its_end(play, pytester):
    outcome = play(
        "def test_it(subtitle_console): subtitle_console.key('4')", "--junit-xml=report.xml"
    )
    outcome.assert_outcomes(passed=1, errors=1)
    report = report_of(outcome, pytester)
    assert "TimeLimit: the console does not leave with x: the client prints without end" in report
    sections = sections_of(report)
    assert re.match(r"\[\d+ lines before\]\n", sections["screen of the console"])
    assert "SetRegionVisibility" in sections["recording of the service"]


def test_killed_service_fails_the_test_at_its_end(play, pytester):
    outcome = play(
        """
        import os, signal

        def test_it(subtitle_service):
            os.kill(subtitle_service.process.pid, signal.SIGSEGV)

        def test_fault(subtitle_service, subtitle_client):
            subtitle_service.fault("crash request=Ping")
            assert subtitle_client("-p").stderr
        """,
        "--junit-xml=report.xml",
    )
    outcome.assert_outcomes(passed=2, errors=1)
    report = report_of(outcome, pytester)
    assert "RuntimeError: signal 11 has ended the service" in report
    assert "the service does not run" in sections_of(report)["state of the service"]


def test_files_of_a_failed_test_are_kept_where_the_option_says(play, pytester):
    outcome = play(
        """
        import os

        def test_good(subtitle_service):
            pass

        def test_bad(subtitle_service, subtitle_client):
            subtitle_client("-p")
            os.mkfifo(os.path.join(subtitle_service.workspace.files, "fifo"))
            assert False
        """,
        "--subtitle-keep=kept",
    )
    outcome.assert_outcomes(passed=1, failed=1)
    outcome.stdout.no_fnmatch_line("*not kept*")
    (kept,) = (pytester.path / "kept").iterdir()
    assert kept.name == "test_it.py_test_bad"
    (recording,) = kept.glob("recording*")
    assert '"request":"Ping"' in recording.read_text()
    text = "def test_it(subtitle_service): assert False"
    play(text, "--subtitle-keep=test_it.py").stdout.fnmatch_lines(
        ["-* files that are not kept -*", "*Not a directory: *"]
    )
