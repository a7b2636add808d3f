"""Every option and every key of the console, for a client to which memory is refused.

Answers that were typed ahead for a command that ends early are read as keys, so each scenario has
answers that end the console as keys too. A long word stands on one line with all that belongs to
it, because the client discards the rest of a line whose word it cannot store.
"""

import re

from scenarios import (
    HEADINGS,
    INIT,
    MARK,
    PALETTE,
    PING,
    REGION,
    SENSOR_MENU,
    SUBSCRIBED,
    UNSUBSCRIBED,
    Scenario,
    converted,
    palette_request,
    region_request,
)

LONG_PREFIX = "n" * 70
LONG_WAY = "./" * 40  # before the name of a file: the same file
LONG_NO = "no" * 40

REPORT = re.escape(HEADINGS) + r"(.{99}\n){14}\n\n"
PING_ERROR = r"Error (running ping|allocating request)\n"
QUIT_ERROR = r"Shut down Requested\nError (running quit|allocating request)\n"
SET_LEVEL_ERROR = r"Error setting the log level of SubtitleMgr: .+\n"
UNSUBSCRIBE = r'\{"request":"Unsubscribe","subscription":\d+\}'
SUBSCRIBE = r'\{"request":"Subscribe","subscription":\d+,"itemId":\d+\}'
VISIBILITY = r'\{"request":"SetRegionVisibility","regionId":1,"visible":false\}'
SENSOR = r'\{"request":"SendSensorUpdate","on":(true|false),"sensor":\d\}'


def file_entries(name):
    file = r"file (\./)*" + re.escape(name)
    return (
        rf"level=\d SubtitleMgrCli:\d+ .*(Successfully opened (output )?{file}(\.out)?"
        rf"|Error opening (output )?{file}(\.out)?"
        r"|Error (reading|writing output) file \( \d+ of \d+ \))"
    )


def command(name, keys, *prompts, **rest):
    """A command that may be given up after each of its prompts; the console then goes on."""
    shown = ""
    for prompt in reversed(prompts):
        shown = f"({prompt}{shown})?"
    given_up = UNSUBSCRIBED + shown + rf"({UNSUBSCRIBED}(Unsubscribing\.\.\.\n)?)*" + UNSUBSCRIBED
    return Scenario(name, ["-i"], keys=keys, given_up=((given_up, INIT),), **rest)


OPTIONS = [
    Scenario("long-help", ["--help"], needs_service=False),
    Scenario("usage", ["--usage"], needs_service=False),
    Scenario("no-option", [], needs_service=False),
    Scenario("unknown-option", ["-u", "-p"], needs_service=False),
    Scenario("unknown-word", ["--config", "-p"], needs_service=False),
    Scenario("no-argument", ["-e"], needs_service=False),
    Scenario(
        "config", ["-c", "--ping"], requests=PING, told=((r"Let's Ping\n", INIT + PING_ERROR),)
    ),
    Scenario(
        "connection",
        ["-e", LONG_PREFIX, "-p", "-q"],
        told=((r"Let's Ping\n", INIT + PING_ERROR + QUIT_ERROR),),
        given_up=((r"", INIT),),
    ),
    Scenario(
        "long-connection",
        ["-p", "--connection", LONG_PREFIX, "--quit"],
        requests=PING,
        told=(
            (r"Let's Ping\n", INIT + PING_ERROR + QUIT_ERROR),
            (r"Let's Ping\nSuccessful Ping\n", QUIT_ERROR),
        ),
        given_up=((r"Let's Ping\n", INIT + PING_ERROR), (r"Let's Ping\nSuccessful Ping\n", r"")),
    ),
    Scenario(
        "set-log-level",
        ["-s", "63", "-p"],
        requests=PING + r'|\{"request":"SetLogLevel","level":63\}',
        told=((r"Let's Ping\n", PING_ERROR), (r"", INIT + SET_LEVEL_ERROR)),
    ),
    Scenario(
        "long-set-log-level",
        ["--setloglevel", "x"],
        requests=r'\{"request":"SetLogLevel","level":0\}',
        told=((r"", INIT + SET_LEVEL_ERROR),),
    ),
    Scenario(
        "long-log-level",
        ["--loglevel"],
        keys=LONG_NO + "\n",
        requests=r'\{"request":"GetLogLevel"\}',
        told=(
            (
                r"(Log level of SubtitleMgr is \d+\n"
                r"New log level \(a sum of bits, 2 for errors, 8 for notes\): )?",
                INIT + r"Error (getting|setting) the log level of SubtitleMgr: .+\n",
            ),
        ),
    ),
]

SENSOR_KEYS = "1234567890nmczsx"
SENSOR_OUTCOME = r"(Sent sensor =\d  (ON|OFF)\n)?"


def sensor_test():
    """All its keys. Only the statistics need memory that the client itself asks for."""
    menu = re.escape(SENSOR_MENU)
    before = UNSUBSCRIBED + (menu + SENSOR_OUTCOME) * SENSOR_KEYS.index("s") + menu
    errors = INIT + r"(Error Sending sensor\n)*"
    return Scenario(
        "sensor-test",
        ["-i"],
        keys="8\n" + "\n".join(SENSOR_KEYS) + "\nx\n",
        requests=SENSOR,
        told=((before + REPORT + SENSOR_OUTCOME + menu + SENSOR_OUTCOME + UNSUBSCRIBED, errors),),
        given_up=((before + re.escape(HEADINGS) + UNSUBSCRIBED, errors),),
    )


KEYS = [
    Scenario("unknown-key", ["-i"], keys="z\nc\nq\n", needs_service=False),
    Scenario(
        "statistics",
        ["-i"],
        keys="s\nx\n",
        needs_service=False,
        given_up=((UNSUBSCRIBED + re.escape(HEADINGS) + UNSUBSCRIBED, INIT),),
    ),
    Scenario(
        "unsubscribe",
        ["-i"],
        keys="1\n2\nx\n",
        requests=SUBSCRIBE + "|" + UNSUBSCRIBE,
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
                + r"Unsubscribing\.\.\.\n"
                + UNSUBSCRIBED,
                INIT,
            ),
        ),
    ),
    command(
        "long-region-file",
        f"3 1 {LONG_WAY}region.bin 4\nx\n",
        "Enter region ID: ",
        "Enter filename:  ",
        "Enter file size: ",
        requests=region_request(REGION) + "|" + region_request(b""),
        entries=file_entries("region.bin"),
    ),
    command(
        "visibility",
        f"4 1 {LONG_NO}\nx\n",
        "Enter region ID: ",
        r"Enter region visibility \(t/f\): ",
        requests=VISIBILITY,
    ),
    command(
        "long-palette",
        f"5 2 {LONG_WAY}palette.rgb t f\nx\n",
        "Enter region ID:   ",
        "Enter filename:    ",
        r"RGB palette \(t/f\): ",
        r"Converting palette of size (0|1024)\.\.\.Done\n\nTransparent pixel\? \(t/f\): ",
        requests=palette_request(converted(PALETTE), "false", 1)
        + "|"
        + palette_request(b"", "false", 1),
        entries=file_entries("palette.rgb"),
        saves=True,
        told=(
            (
                UNSUBSCRIBED + "Enter region ID:   Enter filename:    "
                r"RGB palette \(t/f\): Converting palette of size 0\.\.\.Done\n\n"
                r"Transparent pixel\? \(t/f\): " + UNSUBSCRIBED,
                INIT,
            ),
        ),
    ),
    command(
        "palette-as-it-is",
        f"5 2 {LONG_WAY}palette.rgb f 2 {LONG_NO}\nx\n",
        "Enter region ID:   ",
        "Enter filename:    ",
        r"RGB palette \(t/f\): ",
        "Background code:   ",
        r"Region Fill \(t/f\): ",
        requests=palette_request(PALETTE, "false", 2)
        + "|"
        + palette_request(b"", "false", 2)
        + "|"
        + UNSUBSCRIBE,
        entries=file_entries("palette.rgb"),
    ),
    Scenario(
        "invert",
        ["-i"],
        keys="6\n1\nx\n",
        requests=r'\{"request":"InvertRegionData","regionId":1\}',
    ),
    # After the bitmap was refused, the keys of the test are keys of the console.
    Scenario(
        "dynamic-test",
        ["-i"],
        keys="7\n1\ns\n1\n2\n2\n1\n3\n80\n4\n12\n5\n5\ns\ns\n5\ns\nz\nx\nx\n",
        requests=r'\{"request":"SetRegionData","regionId":1,.*"size":30720,.*\}|'
        + SUBSCRIBE
        + "|"
        + UNSUBSCRIBE
        + r'|\{"request":"Set(RegionData|PaletteData)","regionId":(80|5),'
        r'.*"size":0,.*\}',
        entries=file_entries("4") + "|" + file_entries("s"),
        given_up=(
            (
                UNSUBSCRIBED
                + "Enter region ID: "
                + UNSUBSCRIBED
                + re.escape(HEADINGS)
                + r"(?s:.*)"
                + SUBSCRIBED,
                INIT,
            ),
        ),
    ),
    sensor_test(),
    Scenario(
        "quit-key",
        ["-i"],
        keys="k\nx\n",
        ends_service=True,
        requests=r'\{"request":"Quit"\}',
        told=((UNSUBSCRIBED + UNSUBSCRIBED, INIT + QUIT_ERROR),),
    ),
]

MEMORY_SCENARIOS = OPTIONS + KEYS
