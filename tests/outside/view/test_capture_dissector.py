"""The dissector, compared with the product."""

import pathlib
import re
import struct

from wireshark import KINDS, RESULTS

ROOT = pathlib.Path(__file__).parents[3]
PREFIX = b"SR\x01\xff" + b"\xff" * 4 + bytes(12)


def test_frames_are_malformed_when_the_product_refuses_them(wireshark):
    verdicts = [line.split("\t") for line in wireshark.run("frame_verdicts").decode().splitlines()]
    assert {mistake for _, mistake in verdicts} > {"", "the payload", "not a frame"}
    frames = [PREFIX + bytes.fromhex(frame) for frame, _ in verdicts]
    experts = ("malformed", "unknown", "other_kind")
    shown = wireshark.fields(
        frames, "_ws.expert.message", *("subtitle." + name for name in experts)
    )
    words = {number: word for word, number in wireshark.names["message"].items()}
    for (frame, mistake), (text, malformed, unknown, other_kind) in zip(verdicts, shown):
        assert bool(malformed) == bool(mistake), frame
        if mistake not in ("", "the payload"):
            assert text == "Malformed: " + mistake, frame
        else:
            word = words.get(int(frame[8:16], 16))
            assert bool(unknown) == (word is None), frame
            assert bool(other_kind) == bool(word and not is_request(word)), frame


def is_request(word):
    others = ("Quit", "RegionData", "RegionVisibility", "Palette", "NotUnderstood")
    return word not in others and not word.endswith(" reply")


def test_every_number_has_a_name(wireshark):
    """Those of the product, and no other."""
    header, code, client = (
        (ROOT / "platform" / path).read_text(encoding="utf-8")
        for path in ("src/wire_format.h", "src/wire_format.cpp", "include/SubtitleClient.h")
    )
    messages, subscriptions = header.split("namespace subscriptions {")
    ids = dict(re.findall(r"constexpr unsigned int (\w+) = (0x\w+);", messages))
    replies = {int(ids[name], 0) + 1 for name in re.findall(r"case ReplyTo\((\w+)\)", code)}
    known = {field: set(words.values()) for field, words in wireshark.names.items()}
    assert known["message"] == {int(number, 16) for number in ids.values()} | replies
    numbers = re.findall(r"constexpr unsigned int \w+ = (\d+);", subscriptions)
    assert known["subscription"] == set(map(int, numbers))
    sensors = dict(re.findall(r"e_Sensor(\w+) = (\d)", client))
    assert wireshark.names["sensor"] == {word: int(number) for word, number in sensors.items()}
    assert wireshark.names["kind"] == KINDS
    assert wireshark.names["format"] == {"HD": 0, "SD": 1, "CIF": 2}
    assert wireshark.names["result"] == {"accepted": 0, "refused": 1}
    assert wireshark.names["recorded_result"] == RESULTS


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
