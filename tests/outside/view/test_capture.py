"""Captures of SubtitleMgrView, as Wireshark reads them."""

import json
import pathlib
import re
import struct

from browser import Recording

ROOT = pathlib.Path(__file__).parents[3]
PREFIX = b"SR\x01\xff" + b"\xff" * 4 + bytes(12)

# Messages with numbers that need all bytes of their fields, and what the list of packets shows.
ROWS = """
Ping ok
  Ping; Ping reply
Quit ok
  Quit; ok
GetLogLevel ok
  GetLogLevel; ok
RefreshRegions refused
  RefreshRegions; RefreshRegions reply refused
Subscribe unanswered subscription=4043309057 itemId=4060086274
  Subscribe 4043309057, item 4060086274; unanswered
Unsubscribe ok subscription=4043309057
  Unsubscribe 4043309057; Unsubscribe reply accepted
SetRegionData ok regionId=254 subtitleFormat=253 data="YWJj"
  SetRegionData region 254, format 253, 3 bytes; SetRegionData reply accepted
SetRegionData ok regionId=254 subtitleFormat=253
  SetRegionData region 254, format 253, 3 bytes; ok
SetRegionVisibility ok regionId=254 visible=false
  SetRegionVisibility region 254, hidden; SetRegionVisibility reply accepted
SetPaletteData ok regionId=254 backgroundCode=252 fill=true data="YWJj"
  SetPaletteData region 254, background 252, filled, 3 bytes; SetPaletteData reply accepted
InvertRegionData ok regionId=4110417925
  InvertRegionData region 4110417925; InvertRegionData reply accepted
SendSensorUpdate ok sensor=4076863491 on=true
  SendSensorUpdate sensor 4076863491, on; SendSensorUpdate reply accepted
SetLogLevel ok level=4093640708
  SetLogLevel level 4093640708; SetLogLevel reply accepted
""".splitlines()[
    1:
]
# The bytes of each payload without its data.
SIZES = {
    **{"Quit": 0, "Ping": 0, "RefreshRegions": 0, "GetLogLevel": 0, "Subscribe": 8},
    **{"Unsubscribe": 4, "InvertRegionData": 4, "SendSensorUpdate": 5, "SetLogLevel": 4},
    **{"RegionVisibility": 2, "SetRegionVisibility": 2},
}
# The fields of messages, as a recording and as Wireshark names them.
NAMES = {name: name for name in "subscription size visible fill on sensor level".split()}
NAMES.update(regionId="region_id", subtitleFormat="format", itemId="item_id")
NAMES.update(backgroundCode="background_code")
SIZES_BEFORE_DATA = {"RegionData": 6, "SetRegionData": 6, "Palette": 7, "SetPaletteData": 7}


def capture(wireshark, recording):
    """Makes a capture of a recording."""
    given = "".join(line + "\n" for line in recording.lines).encode()
    return wireshark.run("SubtitleMgrView", "pcapng", "-o", "-", "-", given=given)


def test_every_message_is_listed_with_its_fields(wireshark, recording):
    for name, result, *texts in map(str.split, ROWS[::2]):
        fields = Recording.data(b"abc") if name in SIZES_BEFORE_DATA else {}
        fields.pop("data", None)
        fields.update(
            (key, json.loads(value)) for key, value in (text.split("=") for text in texts)
        )
        recording.lines.append(recording.line(1, request=name, client=9, result=result, **fields))
    recording.bitmap(2, 3, b"abc", form=1)
    recording.visibility(3, 4, True)
    shown = wireshark.fields_of(
        capture(wireshark, recording),
        *("_ws.col.Info", "frame.time_epoch", "subtitle.refused", "subtitle.unanswered"),
        *(f"subtitle.{name}" for name in NAMES.values()),
    )
    texts = list(map(str.strip, ROWS[1::2]))
    texts += ["RegionData region 3, format SD, 3 bytes", "RegionVisibility region 4, visible"]
    assert [row[0] for row in shown] == texts
    lines = map(json.loads, recording.lines[1:])
    for line, (text, seconds, refused, unanswered, *values) in zip(lines, shown):
        assert int(seconds.replace(".", "")) == 1000 * line["wallUs"]
        numbers = {key: int(value, 0) for key, value in zip(NAMES, values) if value}
        assert numbers == {key: line[key] for key in NAMES if key in line}
        assert bool(refused) == text.endswith("reply refused")
        assert bool(unanswered) == text.endswith("; unanswered")


def test_every_field_is_shown(wireshark, recording):
    recording.palette(7, 14, b"abc")
    recording.lines.append(
        recording.line(8, request="SetLogLevel", client=0xF6000006, result="refused", level=63)
    )
    fields = """line mono_us client receivers recorded_result kind message correlation length
        region_id background_code fill data subscription level result""".split()
    fields = [f"subtitle.{name}" for name in fields] + ["frame.interface_name"]
    notification, request = wireshark.fields_of(capture(wireshark, recording), *fields)
    words = "2 5007000 - - - 3 0x00003b1d 10 10 14 1 0 616263 10 - - SubtitleMgr"
    assert [word or "-" for word in notification] == words.split()
    words = "3 5008000 4127195142 - 1 1,2 0x00003c12,0x00003c13 3,3 4,4 - - - - - 63 1 SubtitleMgr"
    assert [word or "-" for word in request] == words.split()


def test_numbers_have_names(wireshark):
    sensors = ("Brakes", "Lights", "Siren", "Aux", "Crash", "Mics")
    names = wireshark.names
    assert names["sensor"] == {word: number for number, word in enumerate(sensors)}
    assert set(names["subscription"].values()) == {1, 2, 3, 4, 6, 10, 12}
    assert names["kind"] == {"request": 1, "reply": 2, "notification": 3, "one-way": 4}
    assert names["recorded_result"] == {"ok": 0, "refused": 1, "unanswered": 2}
    assert names["format"] == {"HD": 0, "SD": 1, "CIF": 2}
    assert names["result"] == {"accepted": 0, "refused": 1}
    assert names["message"]["NotUnderstood"] == 0x3CFF


def test_the_page_shows_what_the_programs_do(wireshark, tmp_path):
    """The commands of docs/view.md, on a recording of its scenario."""
    page = (ROOT / "docs/view.md").read_text(encoding="utf-8")
    (scenario,) = re.findall(r"^\$ cat traffic.scenario\n(.*?)^\$ ", page, re.M | re.S)
    (transcript,) = re.findall(r"^### In Wireshark.*?```text\n(.*?)```", page, re.M | re.S)
    (tmp_path / "traffic.scenario").write_text(scenario, encoding="utf-8")
    play = "SubtitleMgrSim --record drive.jsonl --play traffic.scenario --exit-at-end"
    tap = "SubtitleMgrTap --wait-for-service 60s --count 4"
    wireshark.run("sh", "-c", "%s & %s; wait" % (play, tap), cwd=tmp_path)
    commands = re.findall(r"^\$ (.*)\n((?:[^$].*\n)*)", transcript, re.M)
    assert len(commands) == 3
    for command, shown in commands:
        assert wireshark.run("sh", "-c", command, cwd=tmp_path).decode() == shown


def test_wrong_frames_are_malformed(wireshark):
    ping = b"ST\x01\x01" + struct.pack(">3I", 0x3B01, 0, 0)
    rows = [
        (b"s" + ping[1:], "not a frame"),
        (ping[:2] + b"\2" + ping[3:], "a frame of another version"),
        (ping[:3] + b"\0" + ping[4:], "a frame of an unknown kind"),
        (ping[:3] + b"\5" + ping[4:], "a frame of an unknown kind"),
        (ping[:12] + b"\x01\0\0\x01", "a frame that claims more than 16 MiB"),
        (ping[:12] + b"\x01\0\0\0", "longer than the packet"),
        (ping, ""),
    ]
    for name, size in {**SIZES, **SIZES_BEFORE_DATA}.items():
        number = wireshark.names["message"][name]
        payloads = [(bytes(size), ""), (bytes(size + 1), "the ")]
        if size > 0:
            payloads.append((bytes(size - 1), "the payload has "))
        if name in SIZES_BEFORE_DATA:
            payloads.append((bytes(size - 1) + b"\1", "the size is 1, and 0 bytes follow"))
        for payload, mistake in payloads:
            header = b"ST\x01\x01" + struct.pack(">3I", number, 0, len(payload))
            rows.append((header + payload, mistake))
    fields = ("_ws.expert.message", "subtitle.malformed")
    shown = wireshark.fields([PREFIX + frame for frame, _ in rows], *fields)
    for (frame, mistake), (text, malformed) in zip(rows, shown):
        assert bool(malformed) == bool(mistake), frame
        assert text.startswith(mistake and "Malformed: " + mistake), frame


def test_unusual_frames_are_noted(wireshark):
    unknown = PREFIX + b"ST\x01\x01" + struct.pack(">3I", 0x3C14, 0, 1) + b"x"
    other_kind = PREFIX + b"ST\x01\x02" + struct.pack(">3I", 0x3B01, 0, 0)
    fields = [f"subtitle.{name}" for name in ("malformed", "unknown", "other_kind")]
    shown = wireshark.fields([unknown, other_kind], *fields)
    assert [list(map(bool, row)) for row in shown] == [[False, True, False], [False, False, True]]


def test_examples_of_the_wire_format_are_well_formed(wireshark):
    page = (ROOT / "docs/wire-format.md").read_text(encoding="utf-8")
    examples = [
        bytes.fromhex(re.sub("reply.*:", "", block))
        for block in re.findall(r"^```\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)
    ]
    assert len(examples) > 15
    shown = wireshark.fields(examples, "subtitle.malformed", "subtitle.message")
    assert [bool(malformed) for malformed, _ in shown] == [True] + [False] * (len(examples) - 1)
    assert shown[-1][1] == "0x00003c06,0x00003c07"


def test_a_cut_packet_is_no_malformed_one(wireshark):
    """Cut at each byte: in the prefix, in a header, in a payload, before the reply."""
    frames = b"ST\x01\x01" + struct.pack(">3I", 0x3C04, 1, 9) + b"\x0e\x02\0\0\0\x03abc"
    whole = PREFIX + frames + b"ST\x01\x02" + struct.pack(">4I", 0x3C05, 1, 4, 0)
    packets = [(whole[:size], len(whole)) for size in range(len(PREFIX), len(whole) + 1)]
    shown = wireshark.fields(packets, "subtitle.malformed", "subtitle.cut")
    assert [bool(malformed) for malformed, _ in shown] == [False] * len(packets)
    assert [bool(cut) for _, cut in shown] == [True] * (len(packets) - 1) + [False]
    # Bytes that end too early are malformed; those of other users of the link type are theirs.
    packets = [whole[:size] for size in range(len(PREFIX) + 1, len(whole))] + [b"", b"S", b"SR\x01"]
    packets.append(whole.replace(b"SR\x01", b"SR\x02"))
    shown = wireshark.fields(packets, "subtitle.malformed", "frame.protocols")
    ends = [len(PREFIX) + len(frames)]
    for packet, (malformed, protocols) in zip(packets, shown):
        is_ours = len(packet) > len(PREFIX) and packet[2] == 1
        assert bool(malformed) == (is_ours and len(packet) not in ends), packet
        assert ("subtitle" in protocols) == is_ours


def test_the_dissector_is_where_wireshark_looks(wireshark):
    folders = wireshark.run("tshark", "-G", "folders").decode()
    (folder,) = re.findall(r"^Global Lua Plugins:\s+(.*)$", folders, re.M)
    assert wireshark.dissector == wireshark.root / folder[1:] / "subtitlemgr.lua"
