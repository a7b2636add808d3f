"""The page of the view in a headless Chromium, and recordings for it."""

import base64
import contextlib
import json
import signal
import subprocess
import time
import zlib

from pytest_subtitle import SECONDS
from selenium import webdriver
from selenium.webdriver.chrome.service import Service as Driver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By

LOOK_AGAIN = 0.02
SUBSCRIPTIONS = {"RegionVisibility": 6, "Palette": 10}
FORMATS = {0: 2, 1: 3, 2: 4}

# [width, height, the RGBA bytes of all pixels in base64]
READ_PIXELS = """
const read = (canvas) => {
    const {data} = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
    let text = "";
    data.forEach((byte) => { text += String.fromCharCode(byte); });
    return [canvas.width, canvas.height, btoa(text)];
};
"""
READ_CANVAS = READ_PIXELS + "return read(document.querySelector(arguments[0]));"
READ_PNG = (
    READ_PIXELS
    + """
const [source, answer] = arguments;
const image = new Image();
image.onload = () => {
    const canvas = document.createElement("canvas");
    canvas.width = image.width;
    canvas.height = image.height;
    canvas.getContext("2d").drawImage(image, 0, 0);
    answer(read(canvas));
};
image.src = "data:image/png;base64," + source;
"""
)


class Page:
    """The page in a browser."""

    def __init__(self, driver, downloads):
        self.driver = driver
        self.downloads = downloads
        self.expected_errors = ["willReadFrequently"]  # the tests read canvases

    def open(self, address):
        """Opens the page and waits until it shows its source."""
        self.driver.get(address)
        self.wait_for(lambda: self.text("#connection") != "", True)

    @staticmethod
    def wait_for(find, expected, seconds=SECONDS):
        deadline = time.monotonic() + seconds
        while (found := find()) != expected:
            assert time.monotonic() < deadline, f"found {found!r}, not {expected!r}"
            time.sleep(LOOK_AGAIN)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        """Returns the text of an element, also while it is not shown; None without the element."""
        return self.run("return document.querySelector(arguments[0])?.textContent", selector)

    def is_there(self, selector):
        script = "return document.querySelector(arguments[0])?.checkVisibility() ?? false"
        return self.run(script, selector)

    def shows(self, selector, text):
        self.wait_for(lambda: self.text(selector), text)

    def press(self, keys):
        self.actions().send_keys(keys).perform()

    def actions(self):
        return ActionChains(self.driver, duration=0)

    def click(self, selector):
        self.find(selector).click()

    def pixels(self, selector):
        """Returns a canvas as rows of tuples of red, green, blue and alpha."""
        if self.run("return !document.querySelector(arguments[0])", selector):
            return None
        return rows_of(self.run(READ_CANVAS, selector))

    def pixels_of_png(self, content):
        source = base64.b64encode(content).decode()
        return rows_of(self.driver.execute_async_script(READ_PNG, source))

    def errors(self):
        """What the browser has to say against the page, without what a test expects."""
        texts = [entry["message"] for entry in self.driver.get_log("browser")]
        return [text for text in texts if not any(known in text for known in self.expected_errors)]

    def draws(self, selector, rows):
        self.wait_for(lambda: self.pixels(selector), rows)


def rows_of(answer):
    width, height, data = answer
    data = base64.b64decode(data)
    pixels = [tuple(data[i : i + 4]) for i in range(0, len(data), 4)]
    assert len(pixels) == width * height
    return [pixels[i : i + width] for i in range(0, len(pixels), width)]


@contextlib.contextmanager
def open_browser(folder):
    """Runs a browser that keeps everything in a folder."""
    downloads = folder / "downloads"
    downloads.mkdir()
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for option in (
        "--headless=new",
        "--no-sandbox",
        "--disable-dev-shm-usage",
        "--window-size=1200,950",
        f"--user-data-dir={folder / 'profile'}",
    ):
        options.add_argument(option)
    options.add_experimental_option(
        "prefs",
        {
            "download.default_directory": str(downloads),
            "profile.default_content_setting_values.automatic_downloads": 1,  # no question
        },
    )
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(options=options, service=Driver("/usr/bin/chromedriver"))
    try:
        yield Page(driver, downloads)
    finally:
        driver.quit()


@contextlib.contextmanager
def page_server(workspace, programs, *options):
    """Runs `SubtitleMgrView page`. Gives its address and its process."""
    with subprocess.Popen(
        ["setpriv", "--pdeathsig=KILL", programs / "SubtitleMgrView", "page", *map(str, options)],
        env=workspace.environment(),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    ) as process:
        try:
            address = process.stdout.readline().rstrip("\n")
            assert address.startswith("http://127.0.0.1:"), address
            yield address, process
        finally:
            process.send_signal(signal.SIGINT)
            assert process.wait(SECONDS) == 0


class Recording:
    """Makes the lines of a recording. Times are milliseconds since its beginning."""

    start_us = 5_000_000

    def __init__(self):
        self.lines = [self.line(0, subtitleRecording=1, writer="tests", service="SubtitleMgr")]

    def line(self, ms, **fields):
        us = self.start_us + round(1000 * ms)
        return json.dumps({"monoUs": us, "wallUs": 1_763_730_000_000_000 + us, **fields})

    def add(self, ms, name, region, **fields):
        subscription = SUBSCRIPTIONS.get(name) or FORMATS.get(fields["subtitleFormat"], 12)
        self.lines.append(
            self.line(ms, notification=name, subscription=subscription, regionId=region, **fields)
        )

    @staticmethod
    def data(content):
        return {
            "size": len(content),
            "crc32": f"{zlib.crc32(content):08x}",
            "data": base64.b64encode(content).decode(),
        }

    def bitmap(self, ms, region, content, form=2):
        self.add(ms, "RegionData", region, subtitleFormat=form, **self.data(content))

    def visibility(self, ms, region, visible):
        self.add(ms, "RegionVisibility", region, visible=visible)

    def palette(self, ms, region, content):
        self.add(ms, "Palette", region, **self.data(content), fill=False, backgroundCode=1)

    def write(self, path):
        path.write_text("".join(line + "\n" for line in self.lines), encoding="ascii")
        return path
