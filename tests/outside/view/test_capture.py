"""Captures of SubtitleMgrView, as Wireshark reads them."""

import base64
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import zlib

import pytest

from pytest_subtitle import PipedConsole, Service, Workspace
from pytest_subtitle.limits import Deadline, await_readable

ROOT = pathlib.Path(__file__).parents[3]
SECONDS = 120

# Fields of a recording that have another name in Wireshark, or are shown elsewhere.
NAMES = {
    "regionId": "region_id",
    "subtitleFormat": "format",
    "itemId": "item_id",
    "backgroundCode": "background_code",
}
ELSEWHERE = {
    *("monoUs", "wallUs", "notification", "request", "client", "receivers", "result", "crc32"),
    "data",
}
RESULTS = {"ok": 0, "refused": 1, "unanswered": 2}
KINDS = {"request": 1, "reply": 2, "notification": 3, "one-way": 4}


@pytest.fixture(name="installed", scope="module")
def install(programs, tmp_path_factory):
    """The root of the installed package, and the path of its dissector below it."""
    root = tmp_path_factory.mktemp("root")
    subprocess.run(
        ["cmake", "--install", programs.parent, "--component", "view", "--prefix", "/usr"],
        env={**os.environ, "DESTDIR": str(root)},
        check=True,
        capture_output=True,
    )
    (dissector,) = root.rglob("subtitlemgr.lua")
    return root, dissector


@pytest.fixture(name="environment", scope="module")
def make_environment(programs, installed, tmp_path_factory):
    """Of commands that find the programs and the dissector."""
    home = tmp_path_factory.mktemp("home")
    plugins = home / ".local/lib/wireshark/plugins"  # root cannot choose the folder of all users
    plugins.mkdir(parents=True)
    shutil.copy(installed[1], plugins)
    path = "%s:%s" % (programs, os.environ["PATH"])
    return {"HOME": str(home), "PATH": path, "LINX_DIR": str(home / "linx")}


@pytest.fixture(name="run", scope="module")
def make_runner(environment):
    """Runs a command. Returns its standard output."""

    def run_command(*command, given=None, cwd=None):
        done = subprocess.run(
            command,
            input=given,
            env=environment,
            cwd=cwd,
            capture_output=True,
            timeout=SECONDS,
            check=False,
        )
        assert done.returncode == 0, done.stderr.decode()
        assert b"Lua Error" not in done.stdout + done.stderr, done.stderr.decode()
        return done.stdout

    return run_command


@pytest.fixture(name="names", scope="module")
def read_names(run):
    """What Wireshark calls values: by field, then by word."""
    found = {}
    values = run("tshark", "-G", "values").decode()
    for field, number, word in re.findall(r"^V\tsubtitle\.(\w+)\t(\w+)\t(.*)$", values, re.M):
        found.setdefault(field, {})[word] = int(number, 0)
    return found


def packets_of(run, capture):
    """Each packet as its time in microseconds, and a list of dicts of numbers, bytes and words."""
    text = run("tshark", "-r", "-", "-T", "json", "--no-duplicate-keys", given=capture)
    for packet in json.loads(text):
        layers = packet["_source"]["layers"]
        seconds, _, nanoseconds = layers["frame"]["frame.time_epoch"].partition(".")
        shown = layers["subtitle"]
        yield int(seconds) * 1000000 + int(nanoseconds) // 1000, [
            values_of(layer) for layer in (shown if isinstance(shown, list) else [shown])
        ]


def values_of(layer):
    values = {}
    for name, value in layer.items():
        if name == "_ws.expert":
            values["expert"] = next(key for key in value if key.startswith("subtitle."))
        elif name == "subtitle.data":
            values["data"] = bytes.fromhex(value.replace(":", ""))
        elif name == "subtitle.mark":
            values["mark"] = value
        else:
            values[name.removeprefix("subtitle.")] = int(value, 0)
    return values


def expected_layers(fields, line, names):
    """What Wireshark shows of a line of a recording."""
    is_request = "request" in fields
    name = fields["request" if is_request else "notification"]
    prefix = {"line": line, "mono_us": fields["monoUs"]}
    record = {NAMES.get(key, key): int(fields[key]) for key in fields if key not in ELSEWHERE}
    is_cut = fields.get("size", 0) > 0 and "data" not in fields
    if fields.get("data"):
        record["data"] = base64.b64decode(fields["data"])
    if not is_request:
        if "receivers" in fields:
            prefix["receivers"] = fields["receivers"]
        frame = frame_of("notification", names[name], fields["subscription"], name, record)
        return [prefix, frame]
    prefix.update(client=fields["client"], recorded_result=RESULTS[fields["result"]])
    if fields["result"] == "unanswered":
        prefix["expert"] = "subtitle.unanswered"
    layers = [prefix, frame_of("request", names[name], line, name, record)]
    if name == "Quit":
        layers[1].update(kind=KINDS["one-way"], correlation=0)
    elif is_cut:
        layers.append({"expert": "subtitle.cut"})
    elif name != "GetLogLevel" and fields["result"] != "unanswered":
        result = {} if name == "Ping" else {"result": RESULTS[fields["result"]]}
        layers.append(frame_of("reply", names[name + " reply"], line, name, result))
        if result.get("result"):
            layers[2]["expert"] = "subtitle.refused"
    return layers


SIZES = {"subscription": 4, "item_id": 4, "size": 4, "sensor": 4, "level": 4, "result": 4}


def frame_of(kind, message, correlation, name, record):
    widths = {**SIZES, **({"region_id": 4} if name == "InvertRegionData" else {})}
    on_wire = {key for key in record if kind != "notification" or key != "subscription"}
    length = sum(widths.get(key, 1) for key in on_wire - {"data"}) + record.get("size", 0)
    return {
        **{"mark": "ST", "version": 1, "kind": KINDS[kind], "message": message},
        **{"correlation": correlation, "length": length},
        **record,
    }


def assert_shows(run, names, recording):
    """Every field of every message of a recording is in Wireshark, and nothing else."""
    capture = run("SubtitleMgrView", "pcapng", "-o", "-", "-", given=recording)
    lines = [json.loads(line) for line in recording.splitlines()][1:]
    packets = list(packets_of(run, capture))
    assert len(packets) == len(lines) > 0
    for number, (fields, (us, layers)) in enumerate(zip(lines, packets), 2):
        assert us == fields["wallUs"]
        assert layers == expected_layers(fields, number, names["message"])
    return lines


def test_every_field_of_every_kind_is_shown(run, names):
    """Also requests without bytes, as in a journal, and every result."""
    lines = assert_shows(run, names, run("recording_lines"))
    kinds = {fields.get("request") or fields["notification"] for fields in lines}
    assert len(kinds) == 15


def test_large_values_are_shown(run, names):
    values = {
        **{
            "subscription": 0xF1000001,
            "itemId": 0xF2000002,
            "regionId": 254,
            "subtitleFormat": 253,
        },
        **{"size": 3, "crc32": "352441c2", "data": "YWJj", "visible": True, "fill": True},
        **{"on": True, "backgroundCode": 252, "sensor": 0xF3000003, "level": 0xF4000004},
    }
    bitmap = "regionId subtitleFormat size crc32 data"
    requests = {
        **{"Subscribe": "subscription itemId", "Unsubscribe": "subscription"},
        **{"SetRegionData": bitmap, "SetRegionVisibility": "regionId visible"},
        **{"SetPaletteData": "regionId size crc32 data fill backgroundCode"},
        **{"InvertRegionData": "regionId", "SendSensorUpdate": "on sensor", "SetLogLevel": "level"},
    }
    recording = run("recording_lines").splitlines()[0] + b"\n"
    for name, fields in requests.items():
        line = {"monoUs": 7, "wallUs": 8, "request": name, "client": 9, "result": "ok"}
        line.update((field, values[field]) for field in fields.split())
        if name == "InvertRegionData":
            line["regionId"] = 0xF5000005
        if name == "InvertRegionData":
            line["regionId"] = 0xF5000005
        recording += json.dumps(line).encode() + b"\n"
    assert_shows(run, names, recording)


def test_real_traffic_is_shown(run, names, programs, tmp_path):
    recording = tmp_path / "drive.jsonl"
    with Workspace(programs) as workspace:
        with Service(workspace, ["--record", str(recording)]) as service:
            service.start()
            with PipedConsole(workspace, ["-i"]) as console:
                for key in ("1", "4", "3", "t", "6", "15", "r", "x"):
                    console.key(key)
                assert console.wait() == 0
            service.stop()
    lines = assert_shows(run, names, recording.read_bytes())
    assert {"Subscribe", "RefreshRegions"} <= {fields.get("request") for fields in lines}
    assert "RegionVisibility" in {fields.get("notification") for fields in lines}
    assert "refused" in {fields.get("result") for fields in lines}


PREFIX = b"SR\x01\xff" + b"\xff" * 4 + bytes(12)


def block(kind, body):
    body += bytes(-len(body) % 4)
    return struct.pack("<II", kind, len(body) + 12) + body + struct.pack("<I", len(body) + 12)


def capture_of(packets):
    """A capture that another program could write. A packet may have a size of its own."""
    section = block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1))
    blocks = [section, block(1, struct.pack("<HHI", 147, 0, 0))]
    for packet in packets:
        data, size = packet if isinstance(packet, tuple) else (packet, len(packet))
        blocks.append(block(6, struct.pack("<IIIII", 0, 0, 0, len(data), size) + data))
    return b"".join(blocks)


def fields_of(run, packets, *fields):
    """Some fields of each packet as texts."""
    words = [word for field in fields for word in ("-e", field)]
    text = run("tshark", "-r", "-", "-T", "fields", *words, given=capture_of(packets)).decode()
    rows = [line.split("\t") for line in text.splitlines()]
    assert len(rows) == len(packets)
    return rows


def test_frames_are_malformed_when_the_product_refuses_them(run, names):
    verdicts = [line.split("\t") for line in run("frame_verdicts").decode().splitlines()]
    assert {mistake for _, mistake in verdicts} > {"", "the payload", "not a frame"}
    frames = [PREFIX + bytes.fromhex(frame) for frame, _ in verdicts]
    experts = ("malformed", "unknown", "other_kind")
    shown = fields_of(run, frames, "_ws.expert.message", *("subtitle." + name for name in experts))
    words = {number: word for word, number in names["message"].items()}
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


def numbers_in(text, pattern):
    return {int(number, 0) for number in re.findall(pattern, text)}


def test_every_number_has_a_name(names):
    """Those of the product, and no other."""
    header, code, client = (
        (ROOT / "platform" / path).read_text(encoding="utf-8")
        for path in ("src/wire_format.h", "src/wire_format.cpp", "include/SubtitleClient.h")
    )
    messages, subscriptions = header.split("namespace subscriptions {")
    ids = dict(re.findall(r"constexpr unsigned int (\w+) = (0x\w+);", messages))
    replies = {int(ids[name], 0) + 1 for name in re.findall(r"case ReplyTo\((\w+)\)", code)}
    assert set(names["message"].values()) == numbers_in(" ".join(ids.values()), r"\w+") | replies
    assert set(names["subscription"].values()) == numbers_in(
        subscriptions, r"constexpr unsigned int \w+ = (\d+);"
    )
    sensors = dict(re.findall(r"e_Sensor(\w+) = (\d)", client))
    assert names["sensor"] == {word: int(number) for word, number in sensors.items()}
    assert names["kind"] == KINDS
    assert names["format"] == {"HD": 0, "SD": 1, "CIF": 2}
    assert names["result"] == {"accepted": 0, "refused": 1}
    assert names["recorded_result"] == RESULTS


def test_examples_of_the_wire_format_are_well_formed(run):
    page = (ROOT / "docs/wire-format.md").read_text(encoding="utf-8")
    examples = [
        bytes.fromhex(re.sub("reply.*:", "", block))
        for block in re.findall(r"^```\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)
    ]
    assert len(examples) > 15
    shown = fields_of(run, examples, "subtitle.malformed", "subtitle.message")
    assert [bool(malformed) for malformed, _ in shown] == [True] + [False] * (len(examples) - 1)
    assert shown[-1][1] == "0x00003c06,0x00003c07"


def test_a_cut_packet_is_no_malformed_one(run):
    """Cut at each byte: in the prefix, in a header, in a payload, before the reply."""
    frames = b"ST\x01\x01" + struct.pack(">3I", 0x3C04, 1, 9) + b"\x0e\x02\0\0\0\x03abc"
    whole = PREFIX + frames + b"ST\x01\x02" + struct.pack(">4I", 0x3C05, 1, 4, 0)
    packets = [(whole[:size], len(whole)) for size in range(len(PREFIX), len(whole) + 1)]
    shown = fields_of(run, packets, "subtitle.malformed", "subtitle.cut")
    assert [bool(malformed) for malformed, _ in shown] == [False] * len(packets)
    assert [bool(cut) for _, cut in shown] == [True] * (len(packets) - 1) + [False]
    # Bytes that end too early are malformed; those of other users of the link type are theirs.
    packets = [whole[:size] for size in range(len(PREFIX) + 1, len(whole))] + [b"", b"S", b"SR\x01"]
    packets.append(whole.replace(b"SR\x01", b"SR\x02"))
    shown = fields_of(run, packets, "subtitle.malformed", "frame.protocols")
    ends = [len(PREFIX) + len(frames)]
    for packet, (malformed, protocols) in zip(packets, shown):
        is_ours = len(packet) > len(PREFIX) and packet[2] == 1
        assert bool(malformed) == (is_ours and len(packet) not in ends), packet
        assert ("subtitle" in protocols) == is_ours


def test_a_large_bitmap_is_cut(run):
    data = bytes(300000)
    line = {
        **{"monoUs": 1, "wallUs": 2, "notification": "RegionData", "subscription": 2},
        **{
            "regionId": 1,
            "subtitleFormat": 0,
            "size": len(data),
            "crc32": "%08x" % zlib.crc32(data),
        },
        "data": base64.b64encode(data).decode(),
    }
    recording = json.dumps(line).encode() + b"\n"
    capture = run("SubtitleMgrView", "pcapng", "-o", "-", "-", given=recording)
    ((_, layers),) = packets_of(run, capture)
    assert layers[1]["size"] == 300000
    assert layers[1]["data"] == data[: 262144 - 20 - 16 - 6]
    assert layers[2] == {"expert": "subtitle.cut"}


def test_capinfos_reads_the_capture(run, tmp_path):
    recording = run("recording_lines")
    path = tmp_path / "drive.pcapng"
    run("SubtitleMgrView", "pcapng", "-o", path, "-", given=recording)
    shown = run("capinfos", path).decode()
    for text in (
        r"File encapsulation:  USER 0\n",
        r"Number of packets:   %d\n" % (len(recording.splitlines()) - 1),
        r"Capture application: SubtitleMgrView [\d.]+\n",
        r"Name = node1/Sub\n",
        r"Time precision = microseconds \(6\)\n",
    ):
        assert re.search(text, shown), shown


def test_packets_are_shown_while_messages_come(run, environment):
    """As in a live view: the input of the pipeline does not end."""
    recording = run("recording_lines").splitlines(keepends=True)
    pipeline = "SubtitleMgrView pcapng -o - - | tshark -l -i - -T fields -e subtitle.line"
    with subprocess.Popen(
        ["sh", "-c", pipeline],
        env=environment,
        bufsize=0,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
    ) as programs:
        programs.stdin.write(b"".join(recording[:4]))
        for line in (b"2\n", b"3\n", b"4\n"):
            await_readable(programs.stdout, Deadline(SECONDS), "a packet")
            assert programs.stdout.readline() == line
        programs.stdin.close()
        assert programs.wait(SECONDS) == 0


def test_the_dissector_is_where_wireshark_looks(run, installed):
    root, dissector = installed
    (folder,) = re.findall(
        r"^Global Lua Plugins:\s+(.*)$", run("tshark", "-G", "folders").decode(), re.M
    )
    assert "/" + str(dissector.relative_to(root)) == folder + "/subtitlemgr.lua"


def test_the_page_shows_what_the_programs_do(run, tmp_path):
    """The commands of docs/view.md, on a recording of its scenario."""
    page = (ROOT / "docs/view.md").read_text(encoding="utf-8")
    (scenario,) = re.findall(r"^\$ cat traffic.scenario\n(.*?)^\$ ", page, re.M | re.S)
    (transcript,) = re.findall(r"^### In Wireshark.*?```text\n(.*?)```", page, re.M | re.S)
    (tmp_path / "traffic.scenario").write_text(scenario, encoding="utf-8")
    play = "SubtitleMgrSim --record drive.jsonl --play traffic.scenario --exit-at-end"
    tap = "SubtitleMgrTap --wait-for-service 60s --count 4"
    run("sh", "-c", "%s & %s; wait" % (play, tap), cwd=tmp_path)
    commands = re.findall(r"^\$ (.*)\n((?:[^$].*\n)*)", transcript, re.M)
    assert len(commands) == 3
    for command, shown in commands:
        assert run("sh", "-c", command, cwd=tmp_path).decode() == shown
