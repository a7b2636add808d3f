"""The page shows what a service publishes."""

import pytest
from pytest_subtitle.terminal import TerminalConsole

# Entries of Y, Cb, Cr and a byte without a meaning, and their colours, computed by hand.
ENTRIES = bytes.fromhex("00808000 108080ff ea8080ff 515af0ff")
CLEAR, BLACK, GREY, RED = (0, 0, 0, 0), (0, 0, 0, 255), (254, 254, 254, 255), (254, 0, 0, 255)
COLOURS = [CLEAR, BLACK, GREY, RED]
STEPS = [BLACK, (85, 85, 85, 255), (170, 170, 170, 255), (255, 255, 255, 255)]  # no palette
MAGENTA = (255, 0, 255, 255)

PIXELS = "#region-3 canvas"
SCREEN = "#screen canvas"
STATE = "#region-3 .state"


@pytest.fixture(name="live")
def fixture_live(page, serve, service):  # pylint: disable=unused-argument
    """The page of the service, with rows of four pixels, after it has subscribed."""
    address, _ = serve("--live", "--width", 4)
    page.open(address)
    page.shows("#connection", "connected")
    return page


def type_keys(console, *keys):
    for key in keys:
        console.key(key)


def test_keys_of_the_console_change_the_pixels(live, workspace):
    with open(workspace.files + "/frame", "wb") as file:
        file.write(bytes([0, 1, 2, 3, 1]))
    with open(workspace.files + "/colours", "wb") as file:
        file.write(ENTRIES.ljust(1024, b"\0"))
    with TerminalConsole(workspace, ["-i"]) as console:
        console.expect("x) Exit")
        type_keys(console, "3", "3", "frame", "5")
        live.draws(PIXELS, [STEPS, [STEPS[1], CLEAR, CLEAR, CLEAR]])
        live.wait_for(lambda: live.text(STATE).startswith("cif, hidden, last change "), True)
        type_keys(console, "5", "3", "colours", "f", "31", "t")
        live.draws(PIXELS, [COLOURS, [BLACK, CLEAR, CLEAR, CLEAR]])
        live.draws("#region-3 .palette", [COLOURS + [CLEAR] * 252])
        assert "Palette of 256 entries, fill, background 31" in live.text("#region-3")
        type_keys(console, "4", "3", "t")
        live.wait_for(lambda: live.text(STATE).startswith("cif, visible, last change "), True)
        type_keys(console, "6", "3")
        # In CIF, 255 - v has the low two bits 3 - v.
        live.draws(PIXELS, [COLOURS[::-1], [GREY, CLEAR, CLEAR, CLEAR]])
        type_keys(console, "x")
        assert console.wait() == 0


def test_marks_wrong_values(live, service):
    service.publish("palette 3 1 f " + ENTRIES.hex())
    service.publish("region-data 3 hd 0001020307030201")
    live.draws(PIXELS, [COLOURS, [MAGENTA, RED, GREY, BLACK]])
    live.shows("#region-3 .wrong", "1 wrong value: show next")
    live.click("#region-3 .wrong")
    live.shows("#region-3 .pixel", "x 0, y 1: byte 7, no entry")
    live.shows("#announcement", "x 0, y 1: byte 7, no entry")
    service.publish("region-data 3 cif 0004010205")
    live.draws(PIXELS, [[CLEAR, MAGENTA, BLACK, GREY], [MAGENTA, CLEAR, CLEAR, CLEAR]])
    live.shows("#region-3 .wrong", "2 wrong values: show next")
    live.click("#region-3 .wrong")
    live.shows("#region-3 .pixel", "x 1, y 0: byte 4, above 3 in CIF")
    live.click("#region-3 .wrong")
    live.shows("#region-3 .pixel", "x 0, y 1: byte 5, above 3 in CIF")
    service.publish("region-data 3 sd 00010203")
    live.wait_for(lambda: live.is_there("#region-3 .wrong"), False)


def test_stacks_the_visible_regions_by_number(live, service):
    live.shows("#screen p", "No region is visible.")
    for region, content in ((10, "0303"), (2, "0001020301"), (7, "02")):
        service.publish(f"palette {region} 1 f {ENTRIES.hex()}")
        service.publish(f"region-data {region} cif {content}")
    service.publish("visibility 10 t")
    live.draws(SCREEN, [[RED, RED, CLEAR, CLEAR]])
    service.publish("visibility 2 t")
    live.draws(SCREEN, [COLOURS, [BLACK, CLEAR, CLEAR, CLEAR], [RED, RED, CLEAR, CLEAR]])
    live.shows("#screen p", "Visible regions: 2, 10")
    titles = "return [...document.querySelectorAll('#regions h3')].map((title) => title.innerText)"
    assert live.run(titles) == ["Region 2", "Region 7", "Region 10"]


def test_shows_bytes_and_entries_of_pixels(live, service):
    service.publish("palette 3 1 f " + ENTRIES.hex())
    service.publish("visibility 3 t")
    service.publish("region-data 3 cif 00010203030201")
    live.draws(PIXELS, [COLOURS, [RED, GREY, BLACK, CLEAR]])
    hover(live, PIXELS, 3.5 / 4, 1 / 4)
    live.shows("#region-3 .pixel", "x 3, y 0: byte 3, Y 81, Cb 90, Cr 240")
    hover(live, PIXELS, 3.5 / 4, 3 / 4)
    live.shows("#region-3 .pixel", "x 3, y 1: no pixel")
    hover(live, SCREEN, 1.5 / 4, 3 / 4)
    live.shows("#screen .pixel", "region 3, x 1, y 1: byte 2, Y 234, Cb 128, Cr 128")
    live.shows("#region-3 .pixel", "")
    service.publish("region-data 4 cif 00000102")
    service.publish("visibility 4 t")
    live.draws(SCREEN, live.pixels(PIXELS) + [[BLACK, BLACK, *STEPS[1:3]]])
    hover(live, SCREEN, 3.5 / 4, 5 / 6)
    live.shows("#screen .pixel", "region 4, x 3, y 0: byte 2, no palette")
    hover(live, "#region-3 .palette", 2.5 / 4, 1 / 2)
    live.shows("#region-3 .pixel", "entry 2: Y 234, Cb 128, Cr 128")
    # A change of the pixel changes its text.
    hover(live, PIXELS, 3.5 / 4, 3 / 4)
    service.publish("region-data 3 cif 0001020303020103")
    live.shows("#region-3 .pixel", "x 3, y 1: byte 3, Y 81, Cb 90, Cr 240")
    live.run("document.querySelector(arguments[0]).focus()", PIXELS)
    live.press("\ue012\ue013")  # left, up
    live.shows("#region-3 .pixel", "x 2, y 0: byte 2, Y 234, Cb 128, Cr 128")
    live.press("\ue011")  # home
    live.shows("#announcement", "x 0, y 0: byte 0, Y 0, Cb 128, Cr 128")


def hover(page, selector, across, down):
    """Moves the pointer to a place in an element, given as parts of its size."""
    canvas = page.find(selector)
    page.run("arguments[0].scrollIntoView({block: 'center'})", canvas)
    size = canvas.size
    page.actions().move_to_element_with_offset(
        canvas, round(size["width"] * (across - 0.5)), round(size["height"] * (down - 0.5))
    ).perform()


def test_counts_the_last_second_by_a_clock_that_falls_back(page, serve, recording):
    address, process = serve("--width", 2, "-")
    page.open(address)
    for _ in range(2):
        recording.lines.clear()
        recording.bitmap(0, 3, bytes(1234))
        process.stdin.write(recording.lines[0] + "\n")
        process.stdin.flush()
        page.shows("#rates", "Messages/s: 1, bytes/s: 1,234")
        page.shows("#region-3 .rate", "Messages/s: 1, bytes/s: 1,234")
        page.shows("#rates", "Messages/s: 0, bytes/s: 0")


def test_connection_is_lost_and_comes_back(live, service):
    service.publish("region-data 3 hd 0506")
    service.stop()
    live.shows("#connection", "no service")
    service.start()
    live.shows("#connection", "connected")
    service.await_subscribers(10)
    service.publish("region-data 3 hd 0708")
    live.draws(PIXELS, [[(7, 7, 7, 255), (8, 8, 8, 255), CLEAR, CLEAR]])
