"""Every wait has a limit, and nothing runs on after it."""

import shutil

from left_over import processes_below
from pytest_subtitle.limits import Deadline

QUICK = "import pytest\nfrom pytest_subtitle import TimeLimit\n\n"


def test_ping_is_killed_at_its_limit(play):
    play(
        QUICK
        + """
@pytest.mark.subtitle(options=["--fault", "mute"])
def test_it(subtitle_service, subtitle_client):
    with pytest.raises(TimeLimit) as limit:
        subtitle_client("-p", within=0.3)
    assert str(limit.value) == (
        "SubtitleMgrCli -p was killed: waited 0.3 s in vain for the end of the client; it printed:"
        "\\nLet's Ping")
    assert subtitle_service.state()["clients"] == []
"""
    ).assert_outcomes(passed=1)


def test_console_at_the_end_of_its_input_is_killed(play):
    play(
        QUICK
        + """
def test_on_pipes(subtitle_client):
    with pytest.raises(TimeLimit, match="-i was killed: the client prints without end, as at the"):
        subtitle_client("-i", typed="s\\n")

def test_on_a_terminal(subtitle_console):
    subtitle_console.end_input()
    with pytest.raises(TimeLimit, match="the client prints without end, as at the"):
        subtitle_console.wait()
    subtitle_console.kill()
"""
    ).assert_outcomes(passed=2)


def test_waits_end_with_words(play):
    play(
        QUICK
        + """
@pytest.mark.parametrize("wait, words", [
    (lambda service, *_: service.await_subscribers(1, 0.1), "subscribers=1 .*the time ran out"),
    (lambda service, *_: service.await_request("Ping", within=0.1), "request=Ping .*ran out"),
    (lambda service, *_: service.command("sleep 5s", 0.1), "0.1 s in vain for an answer to 'sleep"),
    (lambda _, tap, *__: tap.await_notification("Palette", within=0.1), "0.1 s .*'Palette'"),
    (lambda *them: them[2].expect("no such text", within=0.1), "0.1 s in vain for 'no such text'"),
    (lambda *them: them[2].wait(0.1), "0.1 s in vain for the end of the client"),
])
def test_it(subtitle_service, subtitle_tap, subtitle_console, wait, words):
    with pytest.raises(TimeLimit, match=words):
        wait(subtitle_service, subtitle_tap, subtitle_console)
    assert "regions" in subtitle_service.state()
"""
    ).assert_outcomes(passed=6)


def test_programs_end_with_a_pytest_that_is_killed(play, scratch):
    play(
        """
        import os, signal

        def test_it(subtitle_console, subtitle_tap):
            os.kill(os.getpid(), signal.SIGKILL)
        """,
        subprocess=True,
    )
    limit = Deadline()
    while processes_below(scratch):
        limit.left("the end of the programs")
    (left,) = scratch.iterdir()  # only the folder of the test
    shutil.rmtree(left)
