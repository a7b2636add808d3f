"""An independent model of the client: what typed text makes it print, send, log and save."""

import re

from console_input import ConsoleInput
from scripted_platform import ScriptedPlatform
from session_file import global_text
from session_files import SessionFiles
from traffic import Traffic

SERVICE_PROCESS_PING = 15105
PING_REPLY = 15106
QUIT = 15104
REGION_DATA_ITEM = 15129
VISIBILITY_ITEM = 15132
PALETTE_ITEM = 15133

# Texts with {1}, {2} and so on for their variable parts.
USAGE, MAIN_MENU, DYNAMIC_MENU, SENSOR_MENU = (
    re.sub(r"\{\d\}", "%s", global_text(name) + "\n").encode()
    for name in ("usage", "menu", "dynamic-menu", "sensor-menu")
)

# Key: (sensor, on)
# fmt: off
SENSORS = {
    b"1": (0, True), b"2": (0, False), b"3": (5, True), b"4": (5, False),
    b"5": (1, True), b"6": (1, False), b"7": (2, True), b"8": (2, False),
    b"9": (3, True), b"0": (3, False), b"n": (4, True), b"m": (4, False),
}
# fmt: on

LINE_WIDTH = 640
LINES = 48
TABLE_SIZE = 1024

READ_PREFIX = b"SubtitleRegion::UpdateRegionFile() - "


class Enough(Exception):
    """The session repeats itself, and the compared part is complete."""


def means_yes(word):
    """Whether an answer means yes."""
    # Only ASCII letters have two cases.
    return word.lower() in (b"t", b"true", b"y", b"yes", b"on", b"1")


def divided(value, by):
    """Returns a quotient without its fraction, also below 0."""
    return value // by if value >= 0 else -(-value // by)


def to_ycbcr(table):
    """Converts a table of blue, green, red and a fourth byte to Y, Cb, Cr and the fourth byte."""
    converted = bytearray(table)
    for at in range(0, len(table) // 4 * 4, 4):
        blue, green, red = table[at : at + 3]
        converted[at] = ((3176 * blue + 16425 * green + 8432 * red) >> 15) + 16
        converted[at + 1] = divided(14345 * blue - 9527 * green - 4818 * red, 32768) + 128
        converted[at + 2] = divided(-2300 * blue - 12045 * green + 14345 * red, 32768) + 128
    return bytes(converted)


class Pattern:
    """The bitmap of the dynamic test. Painting keeps the pixels outside the segments."""

    def __init__(self):
        self.pixels = bytearray(LINE_WIDTH * LINES)

    def paint(self, start, step, width, height):
        """Paints a grid. Returns its heading and the line of offsets without line ends."""
        # Segments without width or height make no grid.
        rows = LINES // height if height else 0
        columns = LINE_WIDTH // width if width else 0
        heading = b"Generating test pattern: %d rows by %d columns,  %d colors\n\n" % (
            rows,
            columns,
            rows * columns,
        )
        offsets = []
        for row in range(rows):
            for column in range(columns):
                offset = row * height * LINE_WIDTH + column * width
                offsets.append(offset)
                segment = bytes([(start + (row * columns + column) * step) % 256]) * width
                for at in range(offset, offset + height * LINE_WIDTH, LINE_WIDTH):
                    self.pixels[at : at + width] = segment
        return heading, b"".join(b"  %d" % offset for offset in offsets)


class Console:
    """One run of the client."""

    def __init__(self, session, has_huge_buffers, more):
        self.input = ConsoleInput(session.keys)
        self.options = session.options
        self.platform = ScriptedPlatform(session.script)
        self.files = SessionFiles()
        self.has_huge_buffers = has_huge_buffers
        self.more = more  # output after the input has ended

        self.output = []
        self.written = 0
        self.flushed = 0  # the client has written at least so much output
        self.errors = []  # (text, bytes of output before it)
        self.log = []  # (level, text, bytes of output before it)
        self.repeats_from = None  # output before the first read after the end of the input
        self.ended = False

        self.subscribed = False
        self.server = self.platform.service_name
        self.traffic = Traffic()
        self.platform.serve(self)

    # The frame

    def run(self):
        """Plays the options: (value, argument) each, as the option parser returns them."""
        try:
            self._run()
            self.ended = True
        except Enough:
            pass

    def _run(self):
        connected = self.platform.init()
        if not connected:
            self.complain(b"Error initializing the connection\n")
        self.platform.starts(1 if connected else 2)
        for option, argument in self.options:
            self.platform.option_done(option, self.option(option, argument))
        self.platform.ends()

    def option(self, option, argument):
        """Runs one option. Returns its result code."""
        if option == "c":
            return 1
        if option == "e":
            self.server = argument + "/" + self.server
            return 1
        if option == "i":
            return self.main_console()
        if option == "l":
            return self.platform.handle_log_level()
        if option == "p":
            self.ping()
            return 3
        if option == "q":
            self.quit()
            return 3
        if option == "s":
            return self.platform.set_log_level(self.level_of(argument)) + 2
        self.line(USAGE)
        return 2

    @staticmethod
    def level_of(argument):
        """Returns the number at the beginning of an argument."""
        words = ConsoleInput(argument.encode())
        return words.number(0)

    def ping(self):
        self.line(b"Let's Ping\n")
        if not self.platform.allocate(SERVICE_PROCESS_PING):
            self.complain(b"Error allocating request\n")
        elif not self.platform.request(self.server, SERVICE_PROCESS_PING, PING_REPLY):
            self.complain(b"Error running ping\n")
        else:
            self.line(b"Successful Ping\n")

    def quit(self):
        """Option -q and key k."""
        self.complain(b"Shut down Requested\n")
        if not self.platform.allocate(QUIT):
            self.complain(b"Error allocating request\n")
        elif not self.platform.notify(self.server, QUIT):
            self.complain(b"Error running quit\n")
        else:
            self.line(b"Quit issued\n")

    # The main console

    def main_console(self):
        actions = {
            b"1": self.subscribe,
            b"2": self.unsubscribe,
            b"3": self.region_data,
            b"4": self.visibility,
            b"5": self.palette,
            b"6": self.invert,
            b"7": self.dynamic_test,
            b"8": self.sensor_test,
            b"r": self.refresh,
            b"s": self.show_traffic,
            b"c": self.traffic.clear,
            b"k": self.quit,
        }
        key = b"\0"
        while True:
            self.line(MAIN_MENU % (b"subscribed" if self.subscribed else b"unsubscribed"))
            key = self.key(key)
            if key in (b"x", b"q"):
                return 3
            actions.get(key, self.discard)()

    def subscribe(self):
        self.line(b"Subscribing...\n")
        self.put(b"Subscribing for RegionData")
        for number in (2, 3, 4, 12):
            self.mark(self.platform.subscribe(number, REGION_DATA_ITEM, "RegionDataItem"))
        self.put(b"Subscribing for RegionVisibility")
        self.mark(self.platform.subscribe(6, VISIBILITY_ITEM, "RegionVisItem"))
        self.put(b"Subscribing for PaletteUpdate")
        self.mark(self.platform.subscribe(10, PALETTE_ITEM, "PaletteItem"))
        self.subscribed = True

    def mark(self, succeeded):
        """Shows the result of a call."""
        if succeeded:
            self.line(b"\n")
        else:
            self.put(b"  ERROR")

    def unsubscribe(self):
        self.subscribed = False
        self.platform.pause(20000)
        self.line(b"Unsubscribing...\n")
        # The console subscribes to each format, and number 1 ends all of them.
        for number in (1, 6, 10):
            self.platform.unsubscribe(number)

    def invert(self):
        self.put(b"Enter region ID: ")
        region = self.number(0)
        self.discard()
        self.platform.invert(region)

    def refresh(self):
        before = self.subscribed
        self.subscribed = False
        self.platform.pause(20000)
        self.line(b"Sending RefreshRegions\n")
        self.mark(self.platform.refresh())
        self.subscribed = before

    def show_traffic(self):
        self.line(self.traffic.report())

    def region_data(self):
        self.put(b"Enter region ID: ")
        region = self.number(0)
        self.put(b"Enter filename:  ")
        path = self.word()
        self.put(b"Enter file size: ")
        size = self.number(0)
        self.discard()
        data = self.read_file(path, size)
        if data is None:
            data = self.platform.new_data
        self.platform.set_region_data(region % 256, data)

    def visibility(self):
        self.put(b"Enter region ID: ")
        region = self.number(0)
        self.put(b"Enter region visibility (t/f): ")
        answer = self.word()
        self.discard()
        self.platform.set_visibility(region % 256, means_yes(answer))

    def palette(self):
        self.put(b"Enter region ID:   ")
        region = self.number(0)
        self.put(b"Enter filename:    ")
        path = self.word()
        self.put(b"RGB palette (t/f): ")
        is_rgb = means_yes(self.word())
        table = self.read_file(path, TABLE_SIZE) or b""
        if is_rgb:
            table = self.rgb_palette(path, table)
            code, fill = 1, False
        else:
            self.put(b"Background code:   ")
            code = self.number(0) % 256
            self.put(b"Region Fill (t/f): ")
            fill = means_yes(self.word())
        self.discard()
        self.platform.set_palette(region % 256, code, fill, table)

    def rgb_palette(self, path, table):
        """Converts a table, marks the transparent entry and saves it. Returns it."""
        self.line(b"Converting palette of size %d...Done\n" % (len(table) // 4 * 4))
        table = to_ycbcr(table)
        self.line(b"\n")
        self.put(b"Transparent pixel? (t/f): ")
        if means_yes(self.word()):
            self.put(b"Transparent pixel value:   ")
            value = self.number(0)
            if value > 255:
                self.line(b"\nERROR: pixel value out of range\n\n")
            elif value * 4 < len(table):
                table = table[: value * 4] + b"\0" + table[value * 4 + 1 :]
        self.write_file(path + b".out", table)
        return table

    # Files

    def read_file(self, path, size):
        """Returns the first bytes of a file; None if it has fewer."""
        found = self.files.read(path, size)
        if found is None:
            self.entry(2, READ_PREFIX + b"Error opening file " + path)
            return None
        self.entry(8, READ_PREFIX + b"Successfully opened file " + path)
        if size > 0x7FFFFFFF and not self.has_huge_buffers:
            found = b""
        if len(found) < size:
            text = b"Error reading file ( %d of %d )" % (len(found), size)
            self.entry(2, READ_PREFIX + text)
            return None
        return found

    def write_file(self, path, content):
        if len(content) < TABLE_SIZE:
            # An incomplete table is not saved, and an earlier file stays.
            self.short_write(0)
            return
        count = self.files.write(path, content)
        if count is None:
            self.entry(2, b"Error opening output file " + path)
            return
        self.entry(8, b"Successfully opened output file " + path)
        if count < TABLE_SIZE:
            self.short_write(count)

    def short_write(self, count):
        self.entry(2, b"Error writing output file ( %d of %d )" % (count, TABLE_SIZE))

    # Sub-consoles

    def dynamic_test(self):
        pattern = Pattern()
        start, step, width, height, shapes = 0, 8, 80, 12, False
        typed_start = typed_step = 0
        self.put(b"Enter region ID: ")
        region = self.number(0) % 256
        self.send_pattern(region, pattern, start, step, width, height)
        key = b"\0"
        while True:
            numbers = (b"%d" % number for number in (start, step, width, height))
            self.line(DYNAMIC_MENU % (*numbers, b"on" if shapes else b"off"))
            key = self.key(key)
            if key in (b"x", b"q"):
                return
            if key == b"1":
                self.put(b"Enter pixel start value: ")
                typed_start = self.number(typed_start)
                start = typed_start % 256
            elif key == b"2":
                self.put(b"Enter pixel increment value: ")
                typed_step = self.number(typed_step)
                step = typed_step % 256
            elif key == b"3":
                self.put(b"Enter segment width: ")
                width = self.number(width)
            elif key == b"4":
                self.put(b"Enter segment height: ")
                height = self.number(height)
            elif key == b"5":
                shapes = not shapes
            elif key == b"s":
                start = (start + 1) % 256
            else:
                self.discard()
            self.send_pattern(region, pattern, start, step, width, height)

    def send_pattern(self, region, pattern, start, step, width, height):
        """Paints and sends. Shapes are never drawn, even if they are on."""
        heading, offsets = pattern.paint(start, step, width, height)
        self.line(heading)
        self.put(offsets)
        self.line(b"\n\n")
        self.platform.set_region_data(region, bytes(pattern.pixels))

    def sensor_test(self):
        sensor, on = 0, False
        key = b"\0"
        while True:
            self.line(SENSOR_MENU)
            key = self.key(key)
            if key in SENSORS:
                sensor, on = SENSORS[key]
            elif key == b"c":
                self.traffic.clear()
            elif key == b"s":
                self.show_traffic()
            elif key not in (b"x", b"q"):
                self.discard()
            if self.platform.sensor(sensor, on):
                self.line(b"Sent sensor =%d  %s\n" % (sensor, b"ON" if on else b"OFF"))
            else:
                self.complain(b"Error Sending sensor\n")
            if key in (b"x", b"q"):
                return

    # Notifications

    def data_arrives(self, region, form, size, data):
        """Receives a published bitmap."""
        text = self.traffic.add_data(region, form, size)
        if text:
            self.line(text)
        if form != 2:
            return
        for value in data:
            if value > 3:
                self.put(b"Unexpected subtitle data value: 0x%02x\n" % value)
        counts = tuple(data.count(value) for value in range(4))
        self.put(
            b"CLI: Process region %2d (2):  0=%5d   1=%5d   2=%5d   3=%5d\n" % ((region,) + counts)
        )

    def visibility_arrives(self, region, visible):
        """Receives a published visibility."""
        self.line(
            self.traffic.add_visibility(region)
            + b"\n\n*** RegionVisi:  %d  %s\n\n"
            % (region, b"visible" if visible else b"NOT visible")
        )

    def palette_arrives(self, region, code, fill, table):
        """Receives a published palette."""
        shown = b"  [0x%02x,...,0x%02x]" % (table[0], table[-1]) if table else b"[empty]"
        self.line(
            b"*** PalettData:  %d%s  (%d)  (%s, %x)\n\n"
            % (region, shown, len(table), b"Fill" if fill else b"NoFill", code)
        )

    # Streams

    def put(self, text):
        """Prints on standard output."""
        if self.repeats_from is not None and self.written > self.repeats_from + self.more:
            raise Enough
        self.output.append(text)
        self.written += len(text)

    def line(self, text):
        """Prints text; a flush follows its last line end."""
        self.put(text)
        self.flushed = self.written

    def complain(self, text):
        self.errors.append((text, self.written))

    def entry(self, level, text):
        self.log.append((level, text, self.written))

    def key(self, before):
        key = self.input.key(before)
        self.note_failure()
        return key

    def number(self, before):
        number = self.input.number(before)
        self.note_failure()
        return number

    def word(self):
        """Reads a file name or an answer."""
        word = self.input.word()
        self.note_failure()
        return word

    def discard(self):
        self.input.discard()
        self.note_failure()

    def note_failure(self):
        """After the end of the input a session repeats itself."""
        if self.input.failed and self.repeats_from is None:
            self.repeats_from = self.written
