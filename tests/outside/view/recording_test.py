"""The page shows a recording, with a time line."""

import random
import subprocess

import pytest

LEFT, UP, RIGHT, DOWN, HOME, END = "\ue012", "\ue013", "\ue014", "\ue015", "\ue011", "\ue010"
PAGE_UP, PAGE_DOWN = "\ue00e", "\ue00f"
PIXELS = "#region-3 canvas"


def greys(*values):
    """A row of grey pixels, as bytes above 3 have without a palette."""
    return [[(value, value, value, 255) for value in values]]


@pytest.fixture(name="replay")
def fixture_replay(page, serve, recording, tmp_path):
    """Opens the page of a recording at its first moment."""

    def start(width=2):
        address, process = serve("--width", width, recording.write(tmp_path / "drive.jsonl"))
        page.open(address)
        page.shows("#connection", "recording")
        page.server = process

    page.start = start
    return page


@pytest.fixture(name="drive")
def fixture_drive(replay, recording):
    """The page of a recording of a minute: a change of region 3 each second, 100 of region 4."""
    for second in range(61):
        recording.bitmap(1000 * second, 3, bytes([100, second]), form=0)
        if second == 30:
            for ms in range(100):
                recording.bitmap(1000 * second + 1 + ms, 4, bytes([200, ms]), form=0)
    recording.visibility(60_500, 3, True)
    replay.start()
    replay.draws(PIXELS, greys(100, 0))
    replay.shows("#region-3 .rate", "Messages/s: 1, bytes/s: 2")
    return replay


def draw_lots(recording):
    """All formats, palettes of all lengths, wrong values and short rows, the same in every run."""
    numbers = random.Random(14)
    for region in range(1, 15):
        if region % 3 > 0:
            content = numbers.randbytes(4 * 3 ** (region % 6) + region % 4)
            recording.palette(3 * region, region, content)
        largest = (3, 7, 255)[region % 3 if region < 12 else 0]
        content = bytes(numbers.randint(0, largest) for _ in range(16 * region + region % 5))
        recording.bitmap(3 * region + 1, region, content, form=region % 4)
        recording.visibility(3 * region + 2, region, region % 4 > 0)


def test_has_and_saves_the_pictures_of_the_program(replay, recording, programs, tmp_path):
    draw_lots(recording)
    replay.start(16)
    replay.run("document.getElementById('position').focus()")
    replay.press(END)
    replay.wait_for(lambda: replay.text("#time").endswith(" message 38 of 38"), True)
    made = tmp_path / "made"
    command = [programs / "SubtitleMgrView", "png", "--width", "16", "-o", made]
    subprocess.run([*command, tmp_path / "drive.jsonl"], check=True, capture_output=True)
    pictures = {path.stem: replay.pixels_of_png(path.read_bytes()) for path in made.glob("*.png")}
    assert len(pictures) == 15
    replay.draws("#screen canvas", pictures["screen"])
    for region in range(1, 15):
        replay.draws(f"#region-{region} canvas", pictures[f"region-{region:02}"])
    replay.click("#screen button")
    replay.click("[aria-label='Save region 5 as PNG']")
    replay.run("document.querySelector('#region-11 canvas').focus()")
    replay.press("s")
    for name in ("screen", "region-05", "region-11"):
        saved = replay.downloads / (name + ".png")
        # pylint: disable-next=cell-var-from-loop
        replay.wait_for(lambda: saved.exists() and saved.stat().st_size > 0, True)
        assert replay.pixels_of_png(saved.read_bytes()) == pictures[name]


def test_seeks_and_steps(drive):
    drive.run("document.getElementById('position').focus()")
    for key, second, message in (
        (PAGE_UP, 10, 11),
        (RIGHT, 11, 12),
        (RIGHT, 12, 13),
        (LEFT, 11, 12),
        (UP, 12, 13),
        (DOWN, 11, 12),
        (PAGE_UP, 21, 22),
        (PAGE_UP, 31, 132),
        (PAGE_DOWN, 21, 22),
        (HOME, 0, 1),
    ):
        drive.press(key)
        drive.shows("#time", f"0:00:{second:02}.000 of 0:01:00.500, message {message} of 162")
        drive.draws(PIXELS, greys(100, second))
        drive.wait_for(lambda: drive.is_there("#region-4"), second > 30)
    drive.press(LEFT)
    drive.shows("#time", "0:00:00.000 of 0:01:00.500, message 0 of 162")
    drive.shows("#nothing", "No message yet.")
    drive.wait_for(lambda: drive.is_there("#region-3"), False)
    drive.press(END)
    drive.shows("#time", "0:01:00.500 of 0:01:00.500, message 162 of 162")
    drive.wait_for(lambda: ", visible, " in drive.text("#region-3 .state"), True)
    drive.click("#back")
    drive.wait_for(lambda: ", hidden, " in drive.text("#region-3 .state"), True)
    drive.press(",,,.")
    drive.draws(PIXELS, greys(100, 58))


def test_steps_through_large_messages(replay, recording):
    for i in range(3):
        recording.bitmap(i, 3, bytes(2_000_000 + i))
    replay.start()
    replay.press("..")
    replay.shows("#rates", "Messages/s: 3, bytes/s: 6,000,003")


def test_has_the_moment_of_the_slider(drive):
    slide = """
        const slider = document.getElementById("position");
        for (const value of arguments[0]) {
            slider.value = value;
            slider.dispatchEvent(new InputEvent("input", {bubbles: true}));
        }
    """
    drive.run(slide, [1_000_000 * second for second in (50, 3, 44, 29)] + [30_050_900])
    # The last of many wins.
    drive.draws("#region-4 canvas", greys(200, 49))
    drive.shows("#time", "0:00:30.050 of 0:01:00.500, message 81 of 162")
    # All messages of the last second, also after a seek.
    drive.shows("#rates", "Messages/s: 51, bytes/s: 102")
    drive.shows("#region-4 .rate", "Messages/s: 50, bytes/s: 100")
    drive.run(slide, [12_500_000])
    drive.shows("#rates", "Messages/s: 1, bytes/s: 2")
    drive.press("..")
    drive.draws(PIXELS, greys(100, 14))
    drive.shows("#rates", "Messages/s: 1, bytes/s: 2")


def test_plays_in_real_time_and_pauses(drive):
    moments = """
        const [answer] = arguments;
        const start = performance.now();
        const look = () => {
            const text = document.getElementById("time").textContent;
            if (text > "0:00:01.500") {
                answer(performance.now() - start);
            } else {
                requestAnimationFrame(look);
            }
        };
        document.getElementById("play").click();
        look();
    """
    assert 1200 < drive.driver.execute_async_script(moments) < 2250
    assert drive.text("#play") == "Pause"
    drive.press(" ")
    drive.shows("#play", "Play")
    stopped = drive.text("#time")
    drive.press(" ")
    drive.wait_for(lambda: drive.text("#time") > stopped, True)
    drive.run("document.getElementById('position').focus()")
    drive.press(END)
    # The play ends at the end, and begins again there.
    drive.shows("#play", "Play")
    drive.shows("#time", "0:01:00.500 of 0:01:00.500, message 162 of 162")
    drive.click("#play")
    drive.draws(PIXELS, greys(100, 0))


def test_shows_the_difference_of_two_moments(replay, recording):
    recording.palette(0, 3, bytes(8) + b"\x10\x80\x80\xff")
    recording.bitmap(1, 3, b"\2\0")
    recording.bitmap(1, 4, b"\5")
    recording.bitmap(2, 3, b"\2\1\0")
    recording.visibility(2, 3, True)
    replay.start()
    replay.press("..a")
    replay.shows("#difference", "A is 0:00:00.001. Mark two moments.")
    replay.press("..")
    replay.shows("#time", "0:00:00.002 of 0:00:00.002, message 5 of 5")
    replay.click("#mark-b")
    replay.shows("#difference", "A is 0:00:00.001. B is 0:00:00.002. 1 different region.")
    assert replay.text("#difference-3 p") == "2 pixels, becomes visible"
    # Pale where nothing changed, orange also for another byte of the same colour.
    orange, clear = (255, 140, 0, 255), (0, 0, 0, 0)
    replay.draws("#difference-3 canvas", [[(0, 0, 0, 64), orange], [orange, clear]])
    replay.press("a")
    replay.shows("#announcement", "A marked. A is 0:00:00.002. B is 0:00:00.002. No difference.")


def test_shows_the_time_of_the_last_change_of_any_kind(replay, recording):
    recording.palette(0, 3, bytes(4))
    recording.bitmap(1250, 3, b"\0")
    recording.visibility(2000, 4, True)
    replay.start()
    for keys in ("..", ","):
        replay.press(keys)
        replay.wait_for(lambda: replay.text("#region-3 .state")[-7:], ":06.250")


def test_changes_the_width(drive):
    width = drive.find("#width")
    width.clear()
    width.send_keys("1")
    drive.draws(PIXELS, [greys(100)[0], greys(0)[0]])


def test_shows_a_recording_without_messages(replay):
    replay.start()
    replay.shows("#time", "0:00:00.000 of 0:00:00.000, message 0 of 0")
    for control in ("#forward", "#back", "#mark-a", "#mark-b"):
        replay.click(control)
    replay.shows("#difference", "A is 0:00:00.000. B is 0:00:00.000. No difference.")
    assert replay.is_there("#nothing")


def test_shows_the_mistake_of_a_recording(replay, recording):
    recording.bitmap(0, 3, b"\5\6", form=0)
    recording.lines.append("{")
    replay.start()
    replay.draws(PIXELS, greys(5, 6))
    replay.wait_for(lambda: "drive.jsonl:3:" in replay.text("#mistake"), True)
    assert replay.is_there("#mistake")


def test_tells_that_the_server_has_ended(drive):
    drive.expected_errors.append("net::ERR_CONNECTION_REFUSED")
    drive.server.terminate()
    drive.server.wait()
    drive.run("document.getElementById('position').focus()")
    drive.press(END)
    drive.shows("#connection", "no answer from SubtitleMgrView")
