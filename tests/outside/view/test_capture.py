"""Captures of SubtitleMgrView, as Wireshark reads them."""

import base64
import json
import pathlib
import re
import subprocess
import zlib

from pytest_subtitle import PipedConsole, Service, Workspace
from pytest_subtitle.limits import Deadline, await_readable
from wireshark import KINDS, RESULTS, SECONDS

ROOT = pathlib.Path(__file__).parents[3]

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


def assert_shows(wireshark, recording):
    """Every field of every message of a recording is in Wireshark, and nothing else."""
    capture = wireshark.run("SubtitleMgrView", "pcapng", "-o", "-", "-", given=recording)
    lines = [json.loads(line) for line in recording.splitlines()][1:]
    packets = list(wireshark.packets(capture))
    assert len(packets) == len(lines) > 0
    for number, (fields, (us, layers)) in enumerate(zip(lines, packets), 2):
        assert us == fields["wallUs"]
        assert layers == expected_layers(fields, number, wireshark.names["message"])
    return lines


def test_every_field_of_every_kind_is_shown(wireshark):
    """Also requests without bytes, as in a journal, and every result."""
    lines = assert_shows(wireshark, wireshark.run("recording_lines"))
    kinds = {fields.get("request") or fields["notification"] for fields in lines}
    assert len(kinds) == 15


def test_large_values_are_shown(wireshark):
    values = {
        **{"subscription": 0xF1000001, "itemId": 0xF2000002, "sensor": 0xF3000003},
        **{"level": 0xF4000004, "regionId": 254, "subtitleFormat": 253, "backgroundCode": 252},
        **{"size": 3, "crc32": "352441c2", "data": "YWJj"},
        **{"visible": True, "fill": True, "on": True},
    }
    bitmap = "regionId subtitleFormat size crc32 data"
    requests = {
        **{"Subscribe": "subscription itemId", "Unsubscribe": "subscription"},
        **{"SetRegionData": bitmap, "SetRegionVisibility": "regionId visible"},
        **{"SetPaletteData": "regionId size crc32 data fill backgroundCode"},
        **{"InvertRegionData": "regionId", "SendSensorUpdate": "on sensor", "SetLogLevel": "level"},
    }
    recording = wireshark.run("recording_lines").splitlines()[0] + b"\n"
    for name, fields in requests.items():
        line = {"monoUs": 7, "wallUs": 8, "request": name, "client": 9, "result": "ok"}
        line.update((field, values[field]) for field in fields.split())
        if name == "InvertRegionData":
            line["regionId"] = 0xF5000005
        recording += json.dumps(line).encode() + b"\n"
    assert_shows(wireshark, recording)


def test_real_traffic_is_shown(wireshark, programs, tmp_path):
    recording = tmp_path / "drive.jsonl"
    with Workspace(programs) as workspace:
        with Service(workspace, ["--record", str(recording)]) as service:
            service.start()
            with PipedConsole(workspace, ["-i"]) as console:
                for key in ("1", "4", "3", "t", "6", "15", "r", "x"):
                    console.key(key)
                assert console.wait() == 0
            service.stop()
    lines = assert_shows(wireshark, recording.read_bytes())
    assert {"Subscribe", "RefreshRegions"} <= {fields.get("request") for fields in lines}
    assert "RegionVisibility" in {fields.get("notification") for fields in lines}
    assert "refused" in {fields.get("result") for fields in lines}


def test_a_large_bitmap_is_cut(wireshark):
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
    capture = wireshark.run("SubtitleMgrView", "pcapng", "-o", "-", "-", given=recording)
    ((_, layers),) = wireshark.packets(capture)
    assert layers[1]["size"] == 300000
    assert layers[1]["data"] == data[: 262144 - 20 - 16 - 6]
    assert layers[2] == {"expert": "subtitle.cut"}


def test_capinfos_reads_the_capture(wireshark, tmp_path):
    recording = wireshark.run("recording_lines")
    path = tmp_path / "drive.pcapng"
    wireshark.run("SubtitleMgrView", "pcapng", "-o", path, "-", given=recording)
    shown = wireshark.run("capinfos", path).decode()
    for text in (
        r"File encapsulation:  USER 0\n",
        r"Number of packets:   %d\n" % (len(recording.splitlines()) - 1),
        r"Capture application: SubtitleMgrView [\d.]+\n",
        r"Name = node1/Sub\n",
        r"Time precision = microseconds \(6\)\n",
    ):
        assert re.search(text, shown), shown


def test_packets_are_shown_while_messages_come(wireshark):
    """As in a live view: the input of the pipeline does not end."""
    recording = wireshark.run("recording_lines").splitlines(keepends=True)
    pipeline = "SubtitleMgrView pcapng -o - - | tshark -l -i - -T fields -e subtitle.line"
    with subprocess.Popen(
        ["sh", "-c", pipeline],
        env=wireshark.environment,
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
