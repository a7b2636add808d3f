"""Captures of SubtitleMgrView, as Wireshark reads them."""

import base64
import itertools
import json
import pathlib
import re
import struct

from browser import Recording

ROOT = pathlib.Path(__file__).parents[3]
PREFIX = b"SR\x01\xff" + b"\xff" * 4 + bytes(12)
KINDS = {"request": 1, "reply": 2, "notification": 3, "one-way": 4}
RESULTS = {"ok": 0, "refused": 1, "unanswered": 2}

# The parts of each payload, as recordings name them.
BITMAP, VISIBILITY = "regionId subtitleFormat size", "regionId visible"
PALETTE = "regionId backgroundCode fill size"
NOTIFICATIONS = {"RegionData": BITMAP, "RegionVisibility": VISIBILITY, "Palette": PALETTE}
REQUESTS = {
    **{"Ping": "", "Quit": "", "RefreshRegions": "", "GetLogLevel": ""},
    **{"Subscribe": "subscription itemId", "Unsubscribe": "subscription"},
    **{"SetRegionData": BITMAP, "SetRegionVisibility": VISIBILITY, "SetPaletteData": PALETTE},
    **{"InvertRegionData": "regionId", "SendSensorUpdate": "sensor on", "SetLogLevel": "level"},
}
# Numbers that need all bytes of their fields.
VALUES = {
    **{"subscription": 0xF1000001, "itemId": 0xF2000002, "sensor": 0xF3000003},
    **{"level": 0xF4000004, "regionId": 254, "subtitleFormat": 253, "backgroundCode": 252},
    **{"visible": True, "fill": True, "on": True, **Recording.data(b"abc")},
}
# Parts with another name in Wireshark, and the bytes of each part.
NAMES = {
    **{"regionId": "region_id", "subtitleFormat": "format"},
    **{"itemId": "item_id", "backgroundCode": "background_code"},
}
ONE_BYTE = {"regionId", "subtitleFormat", "backgroundCode", "visible", "fill", "on"}


def size_of(name, parts):
    """The bytes of a payload without its data."""
    wide = name == "InvertRegionData"
    return sum(1 if part in ONE_BYTE and not wide else 4 for part in parts)


def every_kind():
    """The lines of a recording: every result, with bytes and without, with receivers and without."""
    recording = Recording()
    recording.lines.clear()
    rows = itertools.product(REQUESTS.items(), RESULTS, (True, False))
    for (name, parts), result, has_bytes in rows:
        fields = {part: VALUES[part] for part in parts.split()}
        if "size" in fields:
            fields.update(Recording.data(b"abc"))
            if not has_bytes:
                del fields["data"]
        recording.lines.append(recording.line(1, request=name, client=9, result=result, **fields))
    for (name, parts), content in itertools.product(NOTIFICATIONS.items(), (b"abc", b"")):
        fields = {part: VALUES[part] for part in parts.split()[1:]}
        fields.update(Recording.data(content) if "size" in fields else {})
        fields.update({"receivers": 0xF5000005} if content else {})
        recording.add(2, name, VALUES["regionId"], **fields)
    return recording.lines


def expected_layers(line, number, messages):
    """What Wireshark shows of a line of a recording."""
    is_request = "request" in line
    name = line["request" if is_request else "notification"]
    parts = (REQUESTS if is_request else NOTIFICATIONS)[name].split()
    record = {NAMES.get(part, part): int(line[part]) for part in parts}
    length = size_of(name, parts) + line.get("size", 0)
    if line.get("data"):
        record["data"] = base64.b64decode(line["data"])

    def frame(kind, message, correlation, length, record):
        head = {"mark": "ST", "version": 1, "kind": KINDS[kind], "message": messages[message]}
        return {**head, "correlation": correlation, "length": length, **record}

    prefix = {"line": number, "mono_us": line["monoUs"]}
    if not is_request:
        prefix.update({"receivers": line["receivers"]} if "receivers" in line else {})
        record["subscription"] = line["subscription"]
        return [prefix, frame("notification", name, line["subscription"], length, record)]
    result = line["result"]
    prefix.update(client=line["client"], recorded_result=RESULTS[result])
    prefix.update({"expert": "subtitle.unanswered"} if result == "unanswered" else {})
    if name == "Quit":
        return [prefix, frame("one-way", name, 0, length, record)]
    layers = [prefix, frame("request", name, number, length, record)]
    if "size" in line and "data" not in line:
        layers.append({"expert": "subtitle.cut"})
    elif name != "GetLogLevel" and result != "unanswered":
        has_result = name != "Ping"
        answer = {"result": RESULTS[result]} if has_result else {}
        answer.update({"expert": "subtitle.refused"} if answer.get("result") else {})
        layers.append(frame("reply", name + " reply", number, 4 if has_result else 0, answer))
    return layers


def test_every_field_of_every_kind_is_shown(wireshark):
    lines = every_kind()
    recording = "".join(line + "\n" for line in lines).encode()
    capture = wireshark.run("SubtitleMgrView", "pcapng", "-o", "-", "-", given=recording)
    shown = list(wireshark.layers(capture))
    assert len(shown) == len(lines)
    for number, (line, (us, layers)) in enumerate(zip(map(json.loads, lines), shown), 1):
        assert us == line["wallUs"]
        assert layers == expected_layers(line, number, wireshark.names["message"])


def test_numbers_have_names(wireshark):
    sensors = ("Brakes", "Lights", "Siren", "Aux", "Crash", "Mics")
    names = wireshark.names
    assert names["sensor"] == {word: number for number, word in enumerate(sensors)}
    assert set(names["subscription"].values()) == {1, 2, 3, 4, 6, 10, 12}
    assert (names["kind"], names["recorded_result"]) == (KINDS, RESULTS)
    assert names["format"] == {"HD": 0, "SD": 1, "CIF": 2}
    assert names["result"] == {"accepted": 0, "refused": 1}
    assert names["message"]["NotUnderstood"] == 0x3CFF


def test_capinfos_reads_the_capture(wireshark, recording, tmp_path):
    path = tmp_path / "drive.pcapng"
    recording.visibility(1, 3, True)
    given = recording.write(tmp_path / "drive.jsonl")
    wireshark.run("SubtitleMgrView", "pcapng", "-o", path, given)
    shown = wireshark.run("capinfos", path).decode()
    for text in (
        r"Capture application: SubtitleMgrView [\d.]+\n",
        r"Name = SubtitleMgr\n",
        r"Time precision = microseconds \(6\)\n",
    ):
        assert re.search(text, shown), shown


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
    for name, parts in {**REQUESTS, **NOTIFICATIONS}.items():
        kind = "notification" if name in NOTIFICATIONS else "request"
        head = bytes([KINDS["one-way" if name == "Quit" else kind]])
        head += struct.pack(">I", wireshark.names["message"][name]) + bytes(4)
        parts = parts.split()
        size = size_of(name, parts)
        payloads = [(bytes(size), ""), (bytes(size + 1), "the ")]
        if size > 0:
            payloads.append((bytes(size - 1), "the payload has "))
        if "size" in parts:
            payloads.append((bytes(size - 1) + b"\1", "the size is 1, and 0 bytes follow"))
        for payload, mistake in payloads:
            rows.append((b"ST\x01" + head + struct.pack(">I", len(payload)) + payload, mistake))
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
