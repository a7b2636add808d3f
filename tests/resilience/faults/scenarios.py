"""What the sweeps let the programs do, and what may be seen of it.

A scenario is a command line with keys. Its outcome is told by all that a person can look at: both
outputs, the log, what the service was asked and the files that were written.
"""

import os
import re
import sys
import zlib
from dataclasses import dataclass, field

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../sessions/model"))

# pylint: disable=wrong-import-position
from console import MAIN_MENU, USAGE, to_ycbcr

UNSUBSCRIBED = re.escape((MAIN_MENU % b"unsubscribed").decode())
SUBSCRIBED = re.escape((MAIN_MENU % b"subscribed").decode())

MARK = r"(\n|  ERROR)"
INIT = r"(Error initializing the connection\n)?"
# The client's own entry when memory is refused to a whole command or option.
GIVEN_UP = r"level=2 Error allocating memory for (a command|an option)"
# What the messaging library may say of a lost connection; no person at the console sees it.
LIBRARY_ENTRIES = (
    r"level=2 (endpoint |connection to |a subscription was refused |dropped "
    r"|\d+ log entries were lost: ).*"
)

REGION = b"\0\1\2\3"
PALETTE = bytes(range(256)) * 4
CONVERTED = bytes(to_ycbcr(PALETTE))


@dataclass
class Outcome:
    """What is left of one run."""

    status: int = 0
    timed_out: bool = False
    repeats: bool = False  # ended because it printed for ever
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

    def __str__(self):
        """For a person, not longer than needed."""
        return (
            f"status {self.status}{', hangs' * self.timed_out}\n"
            f"out: {self.out[-600:]!r}\nerr: {self.err[-600:]!r}\n"
            f"log: {self.log[-5:]}\nrequests: {self.requests[-5:]}\n"
            f"saved: {self.saved and len(self.saved)}"
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
        if outcome.saved not in (None, CONVERTED) and not CONVERTED.startswith(outcome.saved):
            return "the output file has other bytes"
        if outcome.saved != CONVERTED and not any("level=2 " in line for line in outcome.log):
            return "an output file that is not whole, and no log entry"
        return None


def matches(patterns, outcome):
    return any(
        re.fullmatch(out, outcome.out) and re.fullmatch(err, outcome.err) for out, err in patterns
    )


def request(name, fields=""):
    """The pattern of a journal line."""
    return rf'\{{"request":"{name}"{fields}\}}'


def sized(data):
    """How a journal line shows bytes, or none when they could not be read."""
    shown = [f'"size":{len(part)},"crc32":"{zlib.crc32(part):08x}"' for part in (data, b"")]
    return "(" + "|".join(shown) + ")"


def file_entries(name, count):
    return (
        rf"level=\d .*(Successfully opened (output )?file {re.escape(name)}(\.out)?"
        rf"|Error opening (output )?file {re.escape(name)}(\.out)?"
        rf"|Error (reading|writing output) file \( \d+ of {count} \))"
    )


PALETTE_PROMPTS = r"Enter region ID:   Enter filename:    RGB palette \(t/f\): "

SCENARIOS = [
    Scenario("help", ["-h"], needs_service=False, told=((re.escape(USAGE.decode()), INIT),)),
    Scenario(
        "ping",
        ["-p"],
        requests=request("Ping"),
        told=((r"Let's Ping\n", INIT + r"Error (running ping|allocating request)\n"),),
    ),
    Scenario(
        "quit",
        ["-q"],
        ends_service=True,
        requests=request("Quit"),
        told=(
            (r"", INIT + r"Shut down Requested\nError (running quit|allocating request)\n"),
            # There is no reply: a service that is killed before it reads the request ends as well.
            (r"Quit issued\n", r"Shut down Requested\n"),
        ),
    ),
    Scenario(
        "log-level",
        ["-l"],
        keys="63\n",
        requests=request("GetLogLevel") + "|" + request("SetLogLevel", ',"level":63'),
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
        requests=request("RefreshRegions")
        + "|"
        + request("Subscribe", r',"subscription":\d+,"itemId":\d+'),
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
        requests=request("SetRegionData", rf',"regionId":1,"subtitleFormat":\d+,{sized(REGION)}'),
        entries=file_entries("region.bin", 4),
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
        requests=request(
            "SetPaletteData", f',"regionId":2,{sized(CONVERTED)},"fill":false,"backgroundCode":1'
        ),
        entries=file_entries("palette.rgb", 1024),
        told=(
            (
                UNSUBSCRIBED
                + PALETTE_PROMPTS
                + r"Converting palette of size (0|1024)\.\.\.Done\n\nTransparent pixel\? \(t/f\): "
                + UNSUBSCRIBED,
                INIT,
            ),
        ),
        # The answer "f" that was typed ahead is then an unknown key.
        given_up=((UNSUBSCRIBED + PALETTE_PROMPTS + UNSUBSCRIBED * 2, INIT),),
    ),
]

# The service itself, from its start over one ping to its end: every call that it makes can fail.
SERVICE_START = "service-start"


def prepare_files(workspace):
    """The files that scenarios read; what an earlier run left goes."""
    for name, content in (("region.bin", REGION), ("palette.rgb", PALETTE)):
        with open(os.path.join(workspace.files, name), "wb") as file:
            file.write(content)
    for path in (os.path.join(workspace.files, "palette.rgb.out"), workspace.log):
        if os.path.exists(path):
            os.remove(path)
