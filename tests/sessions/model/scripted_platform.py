"""The model of the lock-step SDK of tests/sdk/vendor."""

import zlib
from collections import deque
from dataclasses import dataclass, field

FORMAT_SUBSCRIPTIONS = {0: 2, 1: 3, 2: 4}
OTHER_FORMATS = 12
VISIBILITY_SUBSCRIPTION = 6
PALETTE_SUBSCRIPTION = 10


@dataclass
class Event:
    """A line of the journal, and the amounts of written and certainly flushed output before it."""

    what: str
    written: int
    flushed: int


@dataclass
class Script:
    """The actions of the SDK by the number of the console's call."""

    fails: set = field(default_factory=set)
    brings: dict = field(default_factory=dict)  # call: [(kind, numbers..., data)]

    def text(self):
        """Returns the script in the form that LockStep reads."""
        lines = ["fail %d\n" % call for call in sorted(self.fails)]
        for call, notifications in sorted(self.brings.items()):
            for kind, *values in notifications:
                words = [v.hex() or "-" if isinstance(v, bytes) else str(int(v)) for v in values]
                lines.append("at %d %s %s\n" % (call, kind, " ".join(words)))
        return "".join(lines).encode()


class ScriptedPlatform:
    """Calls of the console, their results, and the notifications that come during them."""

    service_name = "Titles"
    new_data = b"\x05\x06\x07"
    new_format = 9

    def __init__(self, script):
        self.script = script
        self.console = None
        self.calls = 0
        self.events = []
        self.subscriptions = set()
        self.queue = deque()
        self.has_receiver = False
        self.note("- made SubtitleMgrCli 2000 63 SubtitleMgrCli")

    def serve(self, console):
        """The calls that follow are those of this console."""
        self.console = console

    def note(self, text):
        console = self.console
        where = (console.written, console.flushed) if console else (0, 0)
        self.events.append(Event(text, *where))

    def call(self, text):
        """Makes a call of the console; notifications may arrive. Returns whether it succeeds."""
        self.calls += 1
        succeeds = self.calls not in self.script.fails
        self.note("%d %s%s" % (self.calls, text, "" if succeeds else " fails"))
        for notification in self.script.brings.get(self.calls, ()):
            if self.subscription_of(notification) in self.subscriptions:
                self.queue.append(notification)
        if self.has_receiver and self.console.subscribed:
            self.deliver()
        return succeeds

    @staticmethod
    def subscription_of(notification):
        kind, _, second = notification[:3]
        if kind == "data":
            return FORMAT_SUBSCRIPTIONS.get(second, OTHER_FORMATS)
        return VISIBILITY_SUBSCRIPTION if kind == "visibility" else PALETTE_SUBSCRIPTION

    def deliver(self):
        """Lets the receive thread take all notifications."""
        while self.queue:
            notification = self.queue.popleft()
            if self.subscription_of(notification) in self.subscriptions:
                kind, *values = notification
                getattr(self.console, kind + "_arrives")(*values)

    # The frame

    def init(self):
        return self.call("Init")

    def starts(self, result):
        self.note("- PreInit %d" % result)
        self.has_receiver = True

    def option_done(self, option, result):
        self.note("- option %d %d" % (ord(option), result))

    def ends(self):
        self.note("- end 1 1")

    def handle_log_level(self):
        return 40 if self.call("HandleLogLevel Titles") else 45

    def set_log_level(self, level):
        return 60 if self.call("SetLogLevel Titles %d" % level) else 65

    # Requests: whether they succeed

    def pause(self, microseconds):
        self.call("pause %d" % microseconds)

    def allocate(self, number):
        return self.call("Allocate %d 0 null" % number)

    def request(self, server, number, reply):
        return self.call("Request %s %d %d -1 null" % (server, number, reply))

    def notify(self, server, number):
        return self.call("Notify %s %d 1" % (server, number))

    def subscribe(self, number, item, kind):
        # A refused subscription keeps the earlier one.
        if self.calls + 1 not in self.script.fails:
            self.subscriptions.add(number)
        return self.call("Subscribe %d %d %s null" % (number, item, kind))

    def unsubscribe(self, number):
        every_format = {*FORMAT_SUBSCRIPTIONS.values(), OTHER_FORMATS}
        self.subscriptions -= every_format if number == 1 else {number}
        return self.call("Unsubscribe %d" % number)

    def set_region_data(self, region, data):
        return self.call(
            "SetRegionData %d %d %d %d" % (region, self.new_format, len(data), zlib.crc32(data))
        )

    def set_visibility(self, region, visible):
        return self.call("SetRegionVisibility %d %d" % (region, visible))

    def set_palette(self, region, code, fill, table):
        return self.call(
            "SetPaletteData %d %d %d %d %d" % (region, code, fill, len(table), zlib.crc32(table))
        )

    def invert(self, region):
        return self.call("InvertRegionData %d" % region)

    def refresh(self):
        return self.call("RefreshRegions")

    def sensor(self, sensor, on):
        return self.call("SendSensorUpdate %d %d" % (sensor, on))
