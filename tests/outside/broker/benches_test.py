"""Many benches on one broker, and what arrives when a part of the way fails."""

import base64
import itertools
import json
import os
import signal
import subprocess
import urllib.request

from fleet import OPEN, Broker, Desk, wait_until
from pytest_subtitle import SECONDS

BENCHES = 100
MESSAGES = 10
PICTURE = (
    "palette 3 1 false 00808000a22c8eff",
    "region-data 3 cif 0100010001010100010101000001000001000100000100000100010001010100",
    "visibility 3 true",
)
DRAWN = """\
region 3 cif visible
█▄█ ▀█▀
█ █ ▄█▄
"""


def numbers_of(lines):
    """The numbers that a bench has published, from the lines of its tap."""
    messages = [json.loads(line) for line in lines]
    return [
        int.from_bytes(base64.b64decode(message["data"]), "big")
        for message in messages
        if message.get("size") == 4
    ]


def publish_picture(bench):
    for line in PICTURE:
        bench.service.publish(line)


def draw(programs, lines):
    return subprocess.run(
        [programs / "SubtitleMgrView", "terminal", "--width", "8", "--no-color", "-"],
        input=b"".join(line + b"\n" for line in lines),
        stdout=subprocess.PIPE,
        check=True,
        timeout=SECONDS,
    ).stdout.decode()


def test_a_broker_takes_a_hundred_benches(broker, new_bench, tmp_path, programs):
    desk = Desk(broker, tmp_path / "desk", "-q", "1", "-t", "bench/+/subtitle", "-F", "%t %p")
    benches = [new_bench(str(number)) for number in range(BENCHES)]
    for bench in benches:
        bench.begin(broker)
    for bench in benches:
        bench.publish(1000 * int(bench.name) + number for number in range(MESSAGES))
        publish_picture(bench)
    lines = {bench.topic: [] for bench in benches}
    for line in desk.await_lines(BENCHES * (1 + MESSAGES + 3)):
        topic, _, text = line.partition(b" ")
        lines[topic.decode()].append(text)
    for bench in benches:
        expected = [1000 * int(bench.name) + number for number in range(MESSAGES)]
        assert numbers_of(lines[bench.topic]) == expected
        assert draw(programs, lines[bench.topic]) == DRAWN


def test_a_desk_joins_a_stream_without_its_header(broker, bench, tmp_path, programs):
    first = Desk(broker, tmp_path / "first", "-q", "1", "-t", bench.topic)
    bench.begin(broker)
    bench.publish([1])
    first.await_lines(2)
    late = Desk(broker, tmp_path / "late", "-q", "1", "-t", bench.topic)
    publish_picture(bench)
    assert draw(programs, late.await_lines(3)) == DRAWN


def start_on_stream(broker, bench, *command, **options):
    """Starts a program whose input is what a bench sends. Returns its first line."""
    start = broker.processes.start
    subscriber = start(
        "mosquitto_sub",
        *("-p", broker.port, "-i", "stream", "-q", 1, "-t", bench.topic),
        stdout=subprocess.PIPE,
    )
    program = start(*command, stdin=subscriber.stdout, stdout=subprocess.PIPE, **options)
    subscriber.stdout.close()
    broker.await_log("Sending SUBACK to stream\n")
    return program.stdout.readline().decode().strip()


def test_a_page_shows_a_bench(broker, bench, programs):
    address = start_on_stream(broker, bench, programs / "SubtitleMgrView", "page", "-")
    bench.begin(broker)
    publish_picture(bench)
    with urllib.request.urlopen(address + "events", timeout=SECONDS) as events:
        shown = (json.loads(line[6:]) for line in events if line.startswith(b"data: "))
        kinds = [
            message["notification"]
            for message in itertools.islice(shown, 4)
            if "regionId" in message
        ]
    assert kinds == ["Palette", "RegionData", "RegionVisibility"]


def test_a_simulated_service_shows_a_bench(broker, bench, processes, programs, tmp_path):
    environment = {**os.environ, "LINX_DIR": str(tmp_path / "linx")}
    command = (programs / "SubtitleMgrSim", "--quiet", "--play", "-")
    assert start_on_stream(broker, bench, *command, env=environment) == "ready"
    tap = processes.start(
        *(programs / "SubtitleMgrTap", "--json", "--count", 3, "--seconds", SECONDS),
        env=environment,
        stdout=subprocess.PIPE,
    )
    assert tap.stdout.readline()  # it has subscribed
    bench.begin(broker)
    publish_picture(bench)
    assert draw(programs, tap.stdout.read().splitlines()) == DRAWN


def test_nothing_is_lost_when_the_broker_restarts(broker, bench, tmp_path, programs):
    desk = Desk(broker, tmp_path / "desk", "-q", "1", "-c", "-t", bench.topic)
    bench.begin(broker)
    bench.publish(range(2000))
    desk.await_lines(10)
    broker.stop()
    bench.publish(range(2000, 2100))
    broker.start()
    bench.publish(range(2100, 2200))
    publish_picture(bench)
    wait_until(lambda: b"Visibility" in desk.lines()[-1], "the last line")
    # Lines that were on the way may come twice and out of order.
    assert sorted(set(numbers_of(desk.lines()))) == list(range(2200))
    assert draw(programs, desk.lines()) == DRAWN


def test_a_restarted_broker_has_what_a_desk_has_not_taken(broker, bench, tmp_path):
    options = ("-q", "1", "-c", "-t", bench.topic)
    Desk(broker, tmp_path / "away", *options).process.kill()
    witness = Desk(broker, tmp_path / "witness", *options)
    bench.begin(broker)
    bench.publish(range(10))
    witness.await_lines(11)
    broker.stop()
    broker.start()
    back = Desk(broker, tmp_path / "away", *options)
    assert numbers_of(back.await_lines(11)) == list(range(10))


def test_a_killed_broker_loses_only_what_desks_have_not_got(broker, bench, tmp_path):
    desk = Desk(broker, tmp_path / "desk", "-q", "1", "-c", "-t", bench.topic)
    bench.begin(broker)
    bench.publish(range(100))
    desk.await_lines(101)
    broker.stop(signal.SIGKILL)
    bench.publish(range(100, 200))
    broker.start()
    broker.await_log("Sending SUBACK to desk\n")
    bench.publish(range(200, 300))
    wait_until(lambda: 299 in numbers_of(desk.lines()), "the last number")
    assert set(range(300)) - set(numbers_of(desk.lines())) <= set(range(100, 200))


def test_a_line_that_stands_still_does_not_delay_the_bench(broker, bench, new_line, tmp_path):
    desk = Desk(broker, tmp_path / "desk", "-q", "1", "-t", bench.topic)
    line = new_line(broker.port)
    bench.begin(broker, "--count", "2000", port=line.port)
    bench.publish([0])
    desk.await_lines(2)
    line.moves.clear()
    bench.publish(range(1, 2000))
    assert bench.tap.wait(SECONDS) == 0
    assert len(numbers_of(desk.lines())) < 2000
    line.moves.set()
    assert bench.publisher.wait(SECONDS) == 0
    assert numbers_of(desk.await_lines(2001)) == list(range(2000))


def test_a_slow_desk_delays_no_other(broker, bench, new_line, tmp_path):
    line = new_line(broker.port)
    slow = Desk(broker, tmp_path / "slow", "-q", "1", "-t", bench.topic, port=line.port)
    quick = Desk(broker, tmp_path / "quick", "-q", "1", "-t", bench.topic)
    line.moves.clear()
    bench.begin(broker)
    bench.publish(range(2000))
    assert numbers_of(quick.await_lines(2001)) == list(range(2000))
    assert len(slow.lines()) < 2001
    line.moves.set()
    assert numbers_of(slow.await_lines(2001)) == list(range(2000))


def test_a_broker_with_a_limit_drops_lines_of_a_slow_desk(processes, bench, new_line, tmp_path):
    broker = Broker(processes, tmp_path, OPEN)
    line = new_line(broker.port)
    Desk(broker, tmp_path / "slow", "-q", "1", "-t", bench.topic, port=line.port)
    line.moves.clear()
    bench.begin(broker)
    bench.publish(range(2000))
    broker.await_log("Outgoing messages are being dropped for client slow")


def test_a_bench_comes_back_in_the_same_stream(broker, bench, tmp_path, programs):
    away = Desk(broker, tmp_path / "away", "-q", "1", "-t", "bench/7/away")
    desk = Desk(broker, tmp_path / "desk", "-q", "1", "-t", bench.topic)
    bench.begin(broker)
    bench.publish([1])
    desk.await_lines(2)
    os.kill(bench.publisher.pid, signal.SIGKILL)
    away.await_lines(1)
    bench.begin(broker)
    desk.await_lines(3)  # its second header: the new tap has subscribed
    publish_picture(bench)
    assert draw(programs, desk.await_lines(6)) == DRAWN


def test_the_last_state_waits_for_a_desk(broker, bench, tmp_path):
    publish_picture(bench)
    broker.publish("bench/7/state", "-r", "-q", "1", "-s", text=json.dumps(bench.service.state()))
    broker.stop()
    broker.start()
    desk = Desk(broker, tmp_path / "desk", "-t", "bench/+/state")
    (state,) = desk.await_lines(1)
    assert json.loads(state)["regions"][0]["bitmaps"][0]["crc32"] == "d372d8a0"
