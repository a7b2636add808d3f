"""The page can be used by everyone."""

import pytest

TAB, ESCAPE, ENTER = "\ue004", "\ue00c", "\ue007"

# For each text that is shown: its contrast, as WCAG 2 defines it.
CONTRASTS = """
const parts = (colour) => colour.match(/[\\d.]+/g).map(Number);
const luminance = (colour) => {
    const [red, green, blue] = parts(colour).map((part) =>
        part / 255 <= 0.04045 ? part / 255 / 12.92 : ((part / 255 + 0.055) / 1.055) ** 2.4);
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
};
const ground = (element) => {
    for (; element; element = element.parentElement) {
        const colour = getComputedStyle(element).backgroundColor;
        if ((parts(colour)[3] ?? 1) === 1) {
            return colour;
        }
    }
};
const found = [];
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walker.nextNode()) {
    const element = walker.currentNode.parentElement;
    if (walker.currentNode.data.trim() !== "" && element.checkVisibility()) {
        const [text, back] = [getComputedStyle(element).color, ground(element)].map(luminance);
        const contrast = (Math.max(text, back) + 0.05) / (Math.min(text, back) + 0.05);
        found.push([contrast, walker.currentNode.data.trim()]);
    }
}
return found;
"""


@pytest.fixture(name="full")
def fixture_full(page, serve, recording, tmp_path):
    """The page of a recording with every part of the page."""
    for region in range(1, 15):
        recording.palette(0, region, bytes(8))
        recording.bitmap(0, region, bytes(range(8)))
        recording.visibility(0, region, True)
    name = "a-very-long-name-of-a-recording-" + 100 * "x" + ".jsonl"
    recording.bitmap(10, 3, b"\1")
    address, _ = serve(recording.write(tmp_path / name))
    page.open(address)
    page.shows("#connection", "recording")
    page.wait_for(lambda: page.is_there("#region-14"), True)
    page.press("a.b")
    page.wait_for(lambda: page.is_there("#difference-3"), True)
    return page


@pytest.mark.parametrize("scheme", ("light", "dark"))
def test_texts_have_enough_contrast(full, scheme):
    full.driver.execute_cdp_cmd(
        "Emulation.setEmulatedMedia",
        {"features": [{"name": "prefers-color-scheme", "value": scheme}]},
    )
    full.press("?")
    ground = full.run("return getComputedStyle(document.body).backgroundColor")
    assert ground == {"light": "rgb(255, 255, 255)", "dark": "rgb(20, 24, 29)"}[scheme]
    contrasts = full.run(CONTRASTS)
    texts = [text for _, text in contrasts]
    for text in ("Subtitle regions", "6 wrong values: show next", "recording", "Play", "Space"):
        assert text in texts
    assert min(contrasts)[0] >= 4.5, min(contrasts)


@pytest.mark.parametrize("width", (360, 1200))
def test_needs_no_horizontal_scroll(full, width):
    full.driver.execute_cdp_cmd(
        "Emulation.setDeviceMetricsOverride",
        {"width": width, "height": 640, "deviceScaleFactor": 1, "mobile": False},
    )
    sizes = "const all = document.documentElement; return [all.clientWidth, all.scrollWidth]"
    full.press("?")
    client, scrolled = full.run(sizes)
    assert scrolled <= client <= width
    # Nothing is cut off either.
    right = """return Math.max(...[...document.querySelectorAll("body *")]
        .map((element) => element.getBoundingClientRect().right))"""
    assert full.run(right) <= width


def test_controls_have_names_and_roles(full):
    nodes = full.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
    named = {}
    for node in nodes:
        role, name = (node.get(key, {}).get("value", "") for key in ("role", "name"))
        focusable = any(property["name"] == "focusable" for property in node.get("properties", ()))
        if focusable and role != "RootWebArea" or role in ("image", "Canvas", "article", "region"):
            assert name, node
            named.setdefault(role, []).append(name)
    for role, names in {
        "slider": {"Time"},
        "spinbutton": {"Pixels in a row"},
        "application": {"Pixels of the screen", "Pixels of region 1", "Palette of region 1"},
        "image": {"Difference in region 3: 8 pixels"},
        "region": {"Time line", "Screen", "Regions", "Difference of two moments"},
        "article": {"Region 1", "Region 14"},
        "button": {"Play", "Step back", "Keys", "Mark A", "Save region 7 as PNG"},
    }.items():
        assert names <= set(named[role])
    assert full.run("return document.querySelector('#announcement').ariaLive") == "polite"


def test_can_be_used_with_keys_alone(full):
    focus = """
        const {id, ariaLabel, textContent} = document.activeElement;
        return id || ariaLabel || textContent;
    """
    controls = full.run(
        """return [...document.querySelectorAll("button, input, canvas[tabindex]")]
            .filter((element) => element.checkVisibility())
            .map(({id, ariaLabel, textContent}) => id || ariaLabel || textContent)"""
    )
    full.run("document.activeElement.blur()")
    reached = []
    for _ in controls:
        full.press(TAB)
        reached.append(full.run(focus))
        outline = "return getComputedStyle(document.activeElement).outlineStyle"
        assert full.run(outline) == "solid", reached[-1]
    assert reached == controls
    assert len(controls) > 14 * 4
    full.press("?")
    assert full.run(focus) == "keys-act"
    full.press(" " + ESCAPE)
    # Now single keys do not act.
    full.press("?")
    assert not full.is_there("#help")
    full.run("document.getElementById('help-button').focus()")
    full.press(ENTER)
    assert full.is_there("#help")
    full.press(" " + TAB + ENTER)
    assert not full.is_there("#help")
    full.run("document.getElementById('play').focus()")
    full.press(" ")
    full.shows("#time", "0:00:00.010 of 0:00:00.010, message 43 of 43")
