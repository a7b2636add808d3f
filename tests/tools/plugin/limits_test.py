"""Every wait has a limit, and nothing runs on after it."""

import shutil

import pytest
from pytest_subtitle import TimeLimit
from pytest_subtitle.limits import Deadline

REPEATS = "the client prints without end, as at the end of its input"


def test_client_on_pipes_is_killed_at_the_end_of_its_input(subtitle_client):
    with pytest.raises(TimeLimit, match="-i was killed: " + REPEATS):
        subtitle_client("-i", typed="s\n")


@pytest.mark.subtitle(options=["--fault", "mute"])
def test_ping_is_killed_at_its_limit(subtitle_service, subtitle_client):
    words = "SubtitleMgrCli -p was killed: waited 0.3 s in vain for the end of the client; it pri"
    with pytest.raises(TimeLimit, match=words):
        subtitle_client("-p", within=0.3)
    assert subtitle_service.state()["clients"] == []


def test_console_at_the_end_of_its_input_reaches_a_limit(subtitle_console):
    subtitle_console.end_input()
    with pytest.raises(TimeLimit, match=REPEATS):
        subtitle_console.wait()
    subtitle_console.kill()


def test_waits_end_with_words(subtitle_service, subtitle_tap, subtitle_console):
    for words, wait, *arguments in (
        ("subscribers=1 .*the time ran out", subtitle_service.await_subscribers, 1, 0.01),
        ("request=Ping .*ran out", subtitle_service.await_request, "Ping", 0.01),
        ("0.1 s in vain for an answer to 'sleep", subtitle_service.command, "sleep 5s", 0.1),
        ("0.01 s .*'Palette'", subtitle_tap.await_notification, "Palette", 0.01),
        ("0.01 s in vain for 'no such text'", subtitle_console.expect, "no such text", 0.01),
        ("0.01 s in vain for the end of the client", subtitle_console.wait, 0.01),
    ):
        with pytest.raises(TimeLimit, match=words):
            wait(*arguments)
        assert "regions" in subtitle_service.state()


def test_programs_end_with_a_pytest_that_is_killed(play, pytester, scratch, processes_below):
    play(
        """
        import os, signal

        def test_it(subtitle_console, subtitle_tap):
            os.kill(os.getpid(), signal.SIGKILL)
        """,
        run=pytester.runpytest_subprocess,
    )
    limit = Deadline()
    while processes_below(scratch):
        limit.left("the end of the programs")
    (left,) = scratch.iterdir()  # only the folder of the test
    shutil.rmtree(left)
