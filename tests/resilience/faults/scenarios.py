"""What the sweeps let the programs do, and what may be seen of it.

A scenario is a command line with keys. Its outcome is told by all that a person can look at: both
outputs, the log, what the service was asked and the files that were written.
"""

import os
import re
import zlib
from dataclasses import dataclass, field

USAGE = """Usage: SubtitleMgrCli
       [-h] or [--help] or [--usage] Shows help
       [-p] or [--ping] Pings the SubtitleMgr process
       [-q] or [--quit] Tells the SubtitleMgr to exit
       [-l] or [--loglevel] Changes the log level through a menu
       [-s] or [--setloglevel] Changes the log level
       [-c] or [--config] Create tsApp config file
       [-i] or [--interactive] Interactively control subtitle regions

"""

MENU = """
Choose an option:
1) Subscribe for subtitles                 (currently {state})
2) Unsubscribe for subtitles
3) Modify Region Data
4) Modify Region Visibility
5) Modify Palette Data
6) Invert Region Data
7) Run dynamic test
8) Send sensor changes
r) Refresh all subtitles
s) View statistics
x) Exit

"""
HEADINGS = """

                         Msgs                                     Bytes    
           -----------------------------------   ---------------------------------------
  Id (vis)     HD +     SD +    CIF =                HD +       SD +      CIF = 

"""

SENSOR_MENU = """
Choose an sensor option:
1) Brakes ON
2) Brakes OFF
3) Mics ON
4) Mics OFF
5) Lights ON
6) Lights OFF
7) Siren ON
8) Siren OFF
9) Aux ON
0) Aux OFF
n) Crash ON
m) Crash OFF
c) Clear statistics
s) View statistics
x) Exit

"""
SUBSCRIBED = re.escape(MENU.format(state="subscribed"))
UNSUBSCRIBED = re.escape(MENU.format(state="unsubscribed"))

MARK = r"(\n|  ERROR)"
INIT = r"(Error initializing the connection\n)?"
# The client's own entry when memory is refused to a whole command or option.
GIVEN_UP = r"level=2 SubtitleMgrCli:\d+ Error allocating memory for (a command|an option)"
# What the messaging library may say of a lost connection; no person at the console sees it.
LIBRARY_ENTRIES = (
    r"level=2 (endpoint |connection to |a subscription was refused |dropped "
    r"|\d+ log entries were lost: ).*"
)

PALETTE = bytes(range(256)) * 4


def converted(table):
    """A table of blue, green, red and a byte that stays, as luminance and two differences."""
    result = bytearray(table)
    for at in range(0, len(table), 4):
        b, g, r = table[at : at + 3]
        result[at] = ((3176 * b + 16425 * g + 8432 * r) >> 15) + 16
        result[at + 1] = int((14345 * b - 9527 * g - 4818 * r) / 32768) + 128
        result[at + 2] = int((-2300 * b - 12045 * g + 14345 * r) / 32768) + 128
    return bytes(result)


@dataclass
class Outcome:
    """What is left of one run."""

    status: int = 0
    timed_out: bool = False
    out: str = ""
    err: str = ""
    log: list = field(default_factory=list)
    requests: list = field(default_factory=list)
    saved: bytes = None  # the output file, None when there is none

    def seen(self):
        """All but the library's own log entries, to be compared with a run without a fault."""
        return (
            self.status,
            self.out,
            self.err,
            self.requests,
            self.saved,
            [line for line in self.log if not re.fullmatch(LIBRARY_ENTRIES, line)],
        )


@dataclass
class Scenario:
    """One use of the client, and the ways it may end when something fails below it."""

    name: str
    arguments: list
    keys: str = ""
    needs_service: bool = True
    ends_service: bool = False
    # Pairs of patterns for standard output and standard error of a run that says what failed.
    told: tuple = ()
    entries: str = r"(?!)"  # log entries of the client
    requests: str = r"(?!)"  # lines of the journal
    # The same pairs, of a run that gave a command or an option up and says so in the log.
    given_up: tuple = ()
    saves: bool = False  # writes an output file

    def is_told(self, outcome):
        """Whether an outcome is one that the pages for users describe."""
        return matches(self.told, outcome) and self.leaves_its_traces(outcome)

    def is_given_up(self, outcome, log_was_hit):
        """Whether a command or an option had no effect, and the log has the entry if it can."""
        return (
            matches(self.given_up, outcome)
            and self.leaves_its_traces(outcome)
            and (log_was_hit or any(re.fullmatch(GIVEN_UP, line) for line in outcome.log))
        )

    def leaves_its_traces(self, outcome):
        """Whether log and journal have nothing but what belongs to this scenario."""
        return all(
            re.fullmatch(f"{LIBRARY_ENTRIES}|{GIVEN_UP}|{self.entries}", line)
            for line in outcome.log
        ) and all(re.fullmatch(self.requests, line) for line in outcome.requests)

    def untold_loss(self, outcome, log_was_hit):
        """What got lost without a word, or None. A log that failed itself cannot tell."""
        if not self.saves or log_was_hit:
            return None
        whole = converted(PALETTE)
        if outcome.saved not in (None, whole) and not whole.startswith(outcome.saved):
            return "the output file has bytes of nobody"
        if outcome.saved != whole and not any("level=2 " in line for line in outcome.log):
            return "an output file that is not whole, and no log entry"
        return None


def matches(patterns, outcome):
    return any(
        re.fullmatch(out, outcome.out) and re.fullmatch(err, outcome.err) for out, err in patterns
    )


def region_request(data):
    return (
        r'\{"request":"SetRegionData","regionId":1,"subtitleFormat":\d+,'
        rf'"size":{len(data)},"crc32":"{zlib.crc32(data):08x}"\}}'
    )


def palette_request(data, fill, background):
    return (
        rf'\{{"request":"SetPaletteData","regionId":2,"size":{len(data)},'
        rf'"crc32":"{zlib.crc32(data):08x}","fill":{fill},"backgroundCode":{background}\}}'
    )


REGION = b"\0\1\2\3"
PING = r'\{"request":"Ping"\}'

SCENARIOS = [
    Scenario("help", ["-h"], needs_service=False, told=((re.escape(USAGE), INIT),)),
    Scenario(
        "ping",
        ["-p"],
        requests=PING,
        told=((r"Let's Ping\n", INIT + r"Error (running ping|allocating request)\n"),),
    ),
    Scenario(
        "quit",
        ["-q"],
        ends_service=True,
        requests=r'\{"request":"Quit"\}',
        told=(
            (r"", INIT + r"Shut down Requested\nError (running quit|allocating request)\n"),
            # Nobody answers: a service that is killed before it reads the request ends as well.
            (r"Quit issued\n", r"Shut down Requested\n"),
        ),
    ),
    Scenario(
        "log-level",
        ["-l"],
        keys="63\n",
        requests=r'\{"request":"GetLogLevel"\}|\{"request":"SetLogLevel","level":63\}',
        told=(
            (
                r"(Log level of SubtitleMgr is \d+\n"
                r"New log level \(a sum of bits, 2 for errors, 8 for notes\): )?",
                INIT + r"Error (getting|setting) the log level of SubtitleMgr: .+\n",
            ),
        ),
    ),
    Scenario(
        "console",
        ["-i"],
        keys="1\nr\nx\n",
        requests=r'\{"request":"(Subscribe","subscription":\d+,"itemId":\d+|RefreshRegions")\}',
        told=(
            (
                UNSUBSCRIBED
                + r"Subscribing\.\.\.\nSubscribing for RegionData"
                + MARK * 4
                + "Subscribing for RegionVisibility"
                + MARK
                + "Subscribing for PaletteUpdate"
                + MARK
                + SUBSCRIBED
                + r"Sending RefreshRegions\n"
                + MARK
                + SUBSCRIBED,
                INIT,
            ),
        ),
    ),
    Scenario(
        "region-file",
        ["-i"],
        keys="3\n1\nregion.bin\n4\nx\n",
        requests=region_request(REGION) + "|" + region_request(b""),
        entries=r"level=\d SubtitleMgrCli:\d+ .*(Successfully opened file region\.bin"
        r"|Error opening file region\.bin|Error reading file \( \d of 4 \))",
        told=(
            (
                UNSUBSCRIBED + "Enter region ID: Enter filename:  Enter file size: " + UNSUBSCRIBED,
                INIT,
            ),
        ),
    ),
    Scenario(
        "palette",
        ["-i"],
        keys="5\n2\npalette.rgb\nt\nf\nx\n",
        saves=True,
        requests=palette_request(converted(PALETTE), "false", 1)
        + "|"
        + palette_request(b"", "false", 1),
        entries=r"level=\d SubtitleMgrCli:\d+ .*(Successfully opened (output )?file "
        r"palette\.rgb(\.out)?|Error opening (output )?file palette\.rgb(\.out)?"
        r"|Error (reading|writing output) file \( \d+ of 1024 \))",
        told=(
            (
                UNSUBSCRIBED + "Enter region ID:   Enter filename:    "
                r"RGB palette \(t/f\): Converting palette of size (0|1024)\.\.\.Done\n\n"
                r"Transparent pixel\? \(t/f\): " + UNSUBSCRIBED,
                INIT,
            ),
        ),
        # The answer "f" that was typed ahead is then an unknown key.
        given_up=(
            (
                UNSUBSCRIBED + "Enter region ID:   Enter filename:    "
                r"RGB palette \(t/f\): " + UNSUBSCRIBED * 2,
                INIT,
            ),
        ),
    ),
]

# The service itself, from its start over one ping to its end: every call that it makes can fail.
SERVICE_START = "service-start"


def prepare_files(folder):
    """The files that scenarios read; what an earlier run left goes."""
    for name, content in (("region.bin", REGION), ("palette.rgb", PALETTE)):
        with open(os.path.join(folder, name), "wb") as file:
            file.write(content)
    for name in ("palette.rgb.out", "log"):
        try:
            os.remove(os.path.join(folder, name))
        except FileNotFoundError:
            pass
