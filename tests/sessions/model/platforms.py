"""What the model's client is connected to: the scripted platform, or a service on the stand-in."""

import zlib
from collections import deque
from dataclasses import dataclass, field

FORMAT_SUBSCRIPTIONS = {0: 2, 1: 3, 2: 4}
VISIBILITY_SUBSCRIPTION = 6
PALETTE_SUBSCRIPTION = 10


@dataclass
class Event:
    """One request, with how much output was written, and surely gone, before it."""

    what: object
    written: int
    flushed: int


@dataclass
class Script:
    """What the scripted platform does, by the number of the console's call."""

    fails: set = field(default_factory=set)
    brings: dict = field(default_factory=dict)  # call: [(kind, numbers..., data)]

    def text(self):
        """The script as the platform reads it."""
        lines = ["fail %d\n" % call for call in sorted(self.fails)]
        for call, notifications in sorted(self.brings.items()):
            for kind, *values in notifications:
                words = [v.hex() or "-" if isinstance(v, bytes) else str(int(v)) for v in values]
                lines.append("at %d %s %s\n" % (call, kind, " ".join(words)))
        return "".join(lines).encode()


class ScriptedPlatform:
    """The lock-step platform of the tests: its calls, results and notifications."""

    service_name = "Titles"
    new_data = b"\x05\x06\x07"
    new_format = 9
    stops_after_mistakes = False

    def __init__(self, script):
        self.script = script
        self.console = None
        self.calls = 0
        self.events = []
        self.subscriptions = set()
        self.queue = deque()
        self.has_receiver = False
        self.note("- made SubtitleMgrCli 2000 63 SubtitleMgrCli")

    def note(self, text):
        """A line of the journal."""
        console = self.console
        where = (console.written, console.flushed) if console else (0, 0)
        self.events.append(Event(text, *where))

    def call(self, text):
        """A call of the console, during which notifications may arrive."""
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
        """The subscription that a notification belongs to."""
        kind, _, second = notification[:3]
        if kind == "data":
            return FORMAT_SUBSCRIPTIONS.get(second, 12)
        return VISIBILITY_SUBSCRIPTION if kind == "visibility" else PALETTE_SUBSCRIPTION

    def deliver(self):
        """Lets the receive thread take all there is."""
        while self.queue:
            notification = self.queue.popleft()
            if self.subscription_of(notification) in self.subscriptions:
                kind, *values = notification
                getattr(self.console, kind + "_arrives")(*values)

    # The frame

    def init(self):
        """Opens the endpoint."""
        return self.call("Init")

    def starts(self, result):
        """The client is ready for its options."""
        self.note("- PreInit %d" % result)
        self.has_receiver = True

    def option_done(self, option, result):
        """An option was carried out."""
        self.note("- option %d %d" % (ord(option), result))

    def ends(self):
        """All options were carried out."""
        self.note("- end 1 1")

    def handle_log_level(self):
        """Returns a result code."""
        return 40 if self.call("HandleLogLevel Titles") else 45

    def set_log_level(self, level):
        """Returns a result code."""
        return 60 if self.call("SetLogLevel Titles %d" % level) else 65

    # Requests

    def pause(self, microseconds):
        """The console sleeps."""
        self.call("pause %d" % microseconds)

    def allocate(self, number):
        """Makes a message ready."""
        return self.call("Allocate %d 0 null" % number)

    def request(self, server, number, reply):
        """Sends a message and waits for its reply."""
        return self.call("Request %s %d %d -1 null" % (server, number, reply))

    def notify(self, server, number):
        """Sends a message that has no reply."""
        return self.call("Notify %s %d 1" % (server, number))

    def subscribe(self, number, item, kind):
        """Subscribes; one that is refused leaves what was subscribed before."""
        if self.calls + 1 not in self.script.fails:
            self.subscriptions.add(number)
        return self.call("Subscribe %d %d %s null" % (number, item, kind))

    def unsubscribe(self, number):
        """Ends a subscription, or those of all formats."""
        self.subscriptions -= {2, 3, 4, 12} if number == 1 else {number}
        return self.call("Unsubscribe %d" % number)

    def set_region_data(self, region, data):
        """Sends a bitmap."""
        return self.call(
            "SetRegionData %d %d %d %d" % (region, self.new_format, len(data), zlib.crc32(data))
        )

    def set_visibility(self, region, visible):
        """Shows or hides a region."""
        return self.call("SetRegionVisibility %d %d" % (region, visible))

    def set_palette(self, region, code, fill, table):
        """Sends a palette."""
        return self.call(
            "SetPaletteData %d %d %d %d %d" % (region, code, fill, len(table), zlib.crc32(table))
        )

    def invert(self, region):
        """Inverts a region."""
        return self.call("InvertRegionData %d" % region)

    def refresh(self):
        """Asks for everything once more."""
        return self.call("RefreshRegions")

    def sensor(self, sensor, on):
        """Sends a sensor's state."""
        return self.call("SendSensorUpdate %d %d" % (sensor, on))


class ServicePlatform:
    """The stand-in with a simulated service of some kind behind it; its journal is told."""

    service_name = "SubtitleMgr"
    new_data = b""
    stops_after_mistakes = True

    def __init__(self, kind):
        self.kind = kind
        self.console = None
        self.events = []
        self.is_notified = False

    def call(self, request, refuser, **fields):
        """A request that one kind of service refuses."""
        if self.kind == "missing":
            return False
        where = (self.console.written, self.console.flushed)
        self.events.append(Event({"request": request, **fields}, *where))
        return self.kind not in (refuser, "hang-up")

    def init(self):
        """Opens the endpoint."""
        return True

    def starts(self, result):
        """Nothing of it is seen outside."""

    def option_done(self, option, result):
        """Nothing of it is seen outside."""

    def ends(self):
        """Nothing of it is seen outside."""

    def set_log_level(self, level):
        """Returns a result code."""
        return 1 if self.call("SetLogLevel", None, level=level) else 0

    def pause(self, microseconds):
        """Nothing of it is seen outside."""

    def allocate(self, _):
        """Makes a message ready."""
        return True

    def request(self, _server, _number, _reply):
        """A ping."""
        return self.call("Ping", None)

    def notify(self, _server, _number):
        """A request to quit, obeyed whatever the service's kind is."""
        self.call("Quit", None)
        return self.kind != "missing"

    def subscribe(self, number, item, _):
        """Subscribes."""
        succeeds = self.call("Subscribe", "refuse-subscribe", subscription=number, itemId=item)
        self.is_notified = self.is_notified or succeeds
        return succeeds

    def unsubscribe(self, number):
        """Ends subscriptions."""
        return self.call("Unsubscribe", None, subscription=number)

    def set_region_data(self, region, data):
        """Sends a bitmap."""
        return self.call(
            "SetRegionData",
            None,
            regionId=region,
            subtitleFormat=0,
            size=len(data),
            crc32="%08x" % zlib.crc32(data),
        )

    def set_visibility(self, region, visible):
        """Shows or hides a region."""
        return self.call("SetRegionVisibility", None, regionId=region, visible=visible)

    def set_palette(self, region, code, fill, table):
        """Sends a palette."""
        return self.call(
            "SetPaletteData",
            None,
            regionId=region,
            size=len(table),
            crc32="%08x" % zlib.crc32(table),
            fill=fill,
            backgroundCode=code,
        )

    def invert(self, region):
        """Inverts a region."""
        return self.call("InvertRegionData", None, regionId=region)

    def refresh(self):
        """Asks for everything once more."""
        return self.call("RefreshRegions", "refuse-refresh")

    def sensor(self, sensor, on):
        """Sends a sensor's state."""
        return self.call("SendSensorUpdate", "refuse-sensor", on=on, sensor=sensor)
