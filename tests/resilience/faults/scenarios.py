"""The uses of the programs in the sweeps, and their permitted outcomes.

A scenario is a command line with keys. Its outcome is everything that a user can see: both outputs,
the log, the requests to the service and the written files.
"""

import os
import re
import sys
import zlib
from dataclasses import dataclass, field

SESSIONS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../sessions")
sys.path[:0] = [SESSIONS, os.path.join(SESSIONS, "model")]

# pylint: disable=wrong-import-position
from console import MAIN_MENU, to_ycbcr

UNSUBSCRIBED = re.escape((MAIN_MENU % b"unsubscribed").decode())
SUBSCRIBED = re.escape((MAIN_MENU % b"subscribed").decode())

MARK = r"(\n|  ERROR)"
# Ends the pattern of standard output, and begins that of standard error.
THEN_ERRORS = r"\0(Error initializing the connection\n)?"
# Log entries of the messaging library about a lost connection; the console does not show them.
LIBRARY_ENTRIES = (
    r"level=2 (endpoint |connection to |a subscription was refused |dropped "
    r"|\d+ log entries were lost: ).*"
)

PALETTE = bytes(range(256)) * 4
CONVERTED = bytes(to_ycbcr(PALETTE))


@dataclass
class Outcome:
    """The outcome of one run."""

    status: int = 0
    timed_out: bool = False
    repeats: bool = False  # killed because it did not stop printing
    out: str = ""
    err: str = ""
    log: list = field(default_factory=list)
    requests: list = field(default_factory=list)
    saved: bytes = None  # the output file; None if it does not exist

    def seen(self):
        """The outcome without log entries of the library, to compare with a run without a fault."""
        return (
            self.status,
            self.out,
            self.err,
            self.requests,
            self.saved,
            [line for line in self.log if not re.fullmatch(LIBRARY_ENTRIES, line)],
        )

    def __str__(self):
        """A short text for people."""
        return (
            f"status {self.status}{', hangs' * self.timed_out}\n"
            f"out: {self.out[-600:]!r}\nerr: {self.err[-600:]!r}\n"
            f"log: {self.log[-5:]}\nrequests: {self.requests[-5:]}\n"
            f"saved: {self.saved and len(self.saved)}"
        )


@dataclass
class Scenario:
    """One use of the client, and its permitted outcomes under a fault."""

    name: str
    arguments: list
    keys: str = ""
    ends_service: bool = False
    told: str = ""  # both outputs of a run that prints what failed
    entries: str = r"(?!)"  # log entries of the client
    requests: str = r"(?!)"  # lines of the journal
    saves: bool = False  # writes an output file

    def is_told(self, outcome):
        """Whether the pages for users describe this outcome, and log and journal have only lines
        that belong to this scenario."""
        return (
            re.fullmatch(self.told, f"{outcome.out}\0{outcome.err}") is not None
            and all(re.fullmatch(f"{LIBRARY_ENTRIES}|{self.entries}", line) for line in outcome.log)
            and all(re.fullmatch(self.requests, line) for line in outcome.requests)
        )

    def untold_loss(self, outcome, log_was_hit):
        """Returns what was lost silently, or None. A failed log cannot report."""
        if not self.saves or log_was_hit:
            return None
        if outcome.saved not in (None, CONVERTED) and not CONVERTED.startswith(outcome.saved):
            return "the output file has other bytes"
        if outcome.saved != CONVERTED and not any("level=2 " in line for line in outcome.log):
            return "an incomplete output file without a log entry"
        return None


def request(name, fields=""):
    """Returns the pattern of a journal line."""
    return rf'\{{"request":"{name}"{fields},"result":"ok"\}}'


# Bytes in a journal line, or no bytes if the file was not read.
SENT = "|".join(f'"size":{len(part)},"crc32":"{zlib.crc32(part):08x}"' for part in (CONVERTED, b""))

SCENARIOS = [
    Scenario(
        "ping",
        ["-p"],
        requests=request("Ping"),
        told=r"Let's Ping\n" + THEN_ERRORS + r"Error (running ping|allocating request)\n",
    ),
    Scenario(
        "quit",
        ["-q"],
        ends_service=True,
        requests=request("Quit"),
        # Quit has no reply: a service that is killed before it reads the message ends too.
        told=rf"{THEN_ERRORS}Shut down Requested\nError (running quit|allocating request)\n"
        rf"|Quit issued\n{THEN_ERRORS}Shut down Requested\n",
    ),
    Scenario(
        "console",
        ["-i"],
        keys="1\nr\nx\n",
        requests=request("RefreshRegions")
        + "|"
        + request("Subscribe", r',"subscription":\d+,"itemId":\d+'),
        told=UNSUBSCRIBED
        + rf"Subscribing\.\.\.\nSubscribing for RegionData{MARK * 4}"
        + rf"Subscribing for RegionVisibility{MARK}Subscribing for PaletteUpdate{MARK}"
        + SUBSCRIBED
        + rf"Sending RefreshRegions\n{MARK}"
        + SUBSCRIBED
        + THEN_ERRORS,
    ),
    Scenario(
        "palette",
        ["-i"],
        keys="5\n2\npalette.rgb\nt\nf\nx\n",
        saves=True,
        requests=request(
            "SetPaletteData", f',"regionId":2,({SENT}),"fill":false,"backgroundCode":1'
        ),
        entries=r"level=8 .*Successfully opened (output )?file palette\.rgb(\.out)?"
        r"|level=2 .*Error opening (output )?file palette\.rgb(\.out)?"
        r"|level=2 .*Error (reading|writing output) file \( \d+ of 1024 \)"
        # Without memory the command has no effect, or an entry loses its text.
        r"|level=2 Error allocating memory for a command|level=8 SubtitleMgrCli:",
        told=UNSUBSCRIBED
        + r"Enter region ID:   Enter filename:    RGB palette \(t/f\): "
        + r"(Converting palette of size (0|1024)\.\.\.Done\n\nTransparent pixel\? \(t/f\): "
        + rf"|{UNSUBSCRIBED})"
        + UNSUBSCRIBED
        + THEN_ERRORS,
    ),
]

# The service from its start to its end with one ping: every call that it makes can fail.
SERVICE_START = "service-start"


def prepare_files(workspace):
    """Makes the file that a scenario reads, and removes the files of an earlier run."""
    with open(os.path.join(workspace.files, "palette.rgb"), "wb") as file:
        file.write(PALETTE)
    for path in (os.path.join(workspace.files, "palette.rgb.out"), workspace.log):
        if os.path.exists(path):
            os.remove(path)
