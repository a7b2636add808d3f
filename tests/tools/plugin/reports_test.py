"""What the report of a failed test has, on the terminal and in JUnit's file."""

import json
import re
import xml.etree.ElementTree

import pytest


@pytest.fixture(name="fail")
def failer(play, pytester):
    """A function that plays a test that fails, and returns its report and the sections in it.

    The outcomes are those of pytest. The report is JUnit's; the terminal shows the same.
    """

    def fail(text, **outcomes):
        outcome = play(text, "--junit-xml=report.xml")
        outcome.assert_outcomes(**outcomes)
        tree = xml.etree.ElementTree.parse(pytester.path / "report.xml")
        (failure,) = [*tree.iter("failure"), *tree.iter("error")]
        assert failure.text in "\n".join(outcome.outlines)
        parts = re.split(r"^-{3,} (.*?)(?: -*)?$", failure.text, flags=re.MULTILINE)
        return failure.text, {
            name: section.strip("\n") for name, section in zip(parts[1::2], parts[2::2])
        }

    return fail


def test_failed_test_shows_all_that_its_programs_did(fail):
    report, sections = fail(
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
        failed=1,
    )
    assert ">       assert subtitle_service is None" in report
    assert "x) Exit\n\n3\n" in sections["screen of the console"]
    assert "level=2" in sections["log of the client"]
    assert "Error opening file no.such.file" in sections["log of the client"]
    assert "client 2: SetRegionData" in sections["standard error of the service"]
    for name in ("service", "tap"):
        recorded = sections["recording of the " + name].splitlines()
        assert json.loads(recorded[-1])["notification"] == "RegionVisibility"
    assert '"regionId": 3' in sections["state of the service"]


def test_report_without_a_traceback_shows_ends_of_long_texts(fail):
    report, sections = fail(
        """
        import pytest

        def test_it(subtitle_service):
            for _ in range(100):
                subtitle_service.publish("visibility 3 true")
            subtitle_service.publish("region-data 3 hd " + 500 * "00")
            pytest.fail("in words", pytrace=False)
        """,
        failed=1,
    )
    assert report.startswith("in words\n---")
    recording = sections["recording of the service"]
    assert recording.startswith("[42 lines before]\n")
    assert max(map(len, recording.split("\n"))) == 300


def test_service_that_does_not_start_is_told_in_its_words(fail):
    report, sections = fail(
        """
        import pytest

        @pytest.mark.subtitle(scenario="sleep\\n")
        def test_it(subtitle_service):
            pass
        """,
        errors=1,
    )
    assert "RuntimeError: the service does not start:" in report
    assert "scenario" in sections["standard error of the service"]


def test_report_of_a_missing_fixture_shows_it_on_the_terminal(play):
    outcome = play("def test_it(subtitle_service, no_such_fixture): pass")
    outcome.stdout.fnmatch_lines(["*no_such_fixture' not found", "-* state of the service -*"])


def test_console_that_does_not_leave_fails_the_test_at_its_end(fail):
    report, sections = fail(
        "def test_it(subtitle_console): subtitle_console.key('4')", passed=1, errors=1
    )
    assert "TimeLimit: the console does not leave with x: the client prints without end" in report
    assert re.match(r"\[\d+ lines before\]\n", sections["screen of the console"])
    assert "SetRegionVisibility" in sections["recording of the service"]


def test_killed_service_fails_the_test_at_its_end(fail):
    report, sections = fail(
        """
        import os, signal

        def test_it(subtitle_service):
            os.kill(subtitle_service.process.pid, signal.SIGSEGV)

        def test_fault(subtitle_service, subtitle_client):
            subtitle_service.fault("crash request=Ping")
            assert subtitle_client("-p").stderr
        """,
        passed=2,
        errors=1,
    )
    assert "RuntimeError: signal 11 has ended the service" in report
    assert "the service does not run" in sections["state of the service"]


def test_files_of_a_failed_test_are_kept_where_the_option_says(play, pytester):
    text = """
        import os

        def test_good(subtitle_service):
            pass

        def test_bad(subtitle_service, subtitle_client):
            subtitle_client("-p")
            os.mkfifo(os.path.join(subtitle_service.workspace.files, "fifo"))
            assert False
        """
    play(text, "--subtitle-keep=kept").stdout.no_fnmatch_line("*not kept*")
    (kept,) = (pytester.path / "kept").iterdir()
    assert kept.name == "test_it.py_test_bad"
    (recording,) = kept.glob("recording*")
    assert '"request":"Ping"' in recording.read_text()
    play(text, "--subtitle-keep=test_it.py").stdout.fnmatch_lines(
        ["-* files that are not kept -*", "*Not a directory: *"]
    )
