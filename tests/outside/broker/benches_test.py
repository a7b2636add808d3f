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


def join(broker, bench, folder, *command, **options):
    """Starts a program whose input is what a bench sends after its header and a line.

    Returns its first line.
    """
    desk = Desk(broker, folder / "first", "-q", "1", "-t", bench.topic)
    bench.begin(broker)
    bench.publish([1])
    desk.await_lines(2)
    start = broker.processes.start
    words = ("mosquitto_sub", "-p", broker.port, "-i", "stream", "-q", 1, "-t", bench.topic)
    subscriber = start(*words, stdout=subprocess.PIPE)
    program = start(*command, stdin=subscriber.stdout, stdout=subprocess.PIPE, **options)
    subscriber.stdout.close()
    broker.await_log("Sending SUBACK to stream\n")
    return program.stdout.readline().decode().strip()


def test_a_page_joins_a_bench(broker, bench, programs, tmp_path):
    address = join(broker, bench, tmp_path, programs / "SubtitleMgrView", "page", "-")
    publish_picture(bench)
    with urllib.request.urlopen(address + "events", timeout=SECONDS) as events:
        shown = (json.loads(line[6:]) for line in events if line.startswith(b"data: "))
        notifications = (line["notification"] for line in shown if "regionId" in line)
        assert list(itertools.islice(notifications, 3)) == [
            "Palette",
            "RegionData",
            "RegionVisibility",
        ]


def test_a_simulated_service_joins_a_bench(broker, bench, processes, programs, tmp_path):
    environment = {**os.environ, "LINX_DIR": str(tmp_path / "linx")}
    command = (programs / "SubtitleMgrSim", "--quiet", "--play", "-")
    assert join(broker, bench, tmp_path, *command, env=environment) == "ready"
    tap = processes.start(
        *(programs / "SubtitleMgrTap", "--json", "--count", 3, "--seconds", SECONDS),
        env=environment,
        stdout=subprocess.PIPE,
    )
    assert tap.stdout.readline()  # it has subscribed
    publish_picture(bench)
    assert draw(programs, tap.stdout.read().splitlines()) == DRAWN


def test_nothing_is_lost_when_the_broker_restarts(broker, bench, tmp_path, programs):
    options = ("-q", "1", "-c", "-t", bench.topic)
    Desk(broker, tmp_path / "away", *options).process.kill()
    desk = Desk(broker, tmp_path / "desk", *options)
    bench.begin(broker)
    bench.publish(range(2000))
    desk.await_lines(10)
    broker.stop()
    bench.publish(range(2000, 2100))
    broker.start()
    bench.publish(range(2100, 2200))
    publish_picture(bench)
    for receiver in (desk, Desk(broker, tmp_path / "away", *options)):
        wait_until(lambda to=receiver: b"Visibility" in b"".join(to.lines()[-1:]), "the last line")
        # Lines that were on the way may come twice and out of order.
        assert sorted(set(numbers_of(receiver.lines()))) == list(range(2200))
        assert draw(programs, receiver.lines()) == DRAWN


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


def test_a_line_that_stands_still_does_not_delay_the_bench(broker, bench, tmp_path):
    desk = Desk(broker, tmp_path / "desk", "-q", "1", "-t", bench.topic)
    bench.begin(broker, "--count", "2000")
    bench.publish([0])
    desk.await_lines(2)
    broker.process.send_signal(signal.SIGSTOP)
    bench.publish(range(1, 2000))
    assert bench.tap.wait(SECONDS) == 0
    assert len(numbers_of(desk.lines())) < 2000
    broker.process.send_signal(signal.SIGCONT)
    assert bench.publisher.wait(SECONDS) == 0
    assert numbers_of(desk.await_lines(2001)) == list(range(2000))


def test_a_slow_desk_delays_no_other(broker, bench, tmp_path):
    slow = Desk(broker, tmp_path / "slow", "-q", "1", "-t", bench.topic)
    quick = Desk(broker, tmp_path / "quick", "-q", "1", "-t", bench.topic)
    slow.process.send_signal(signal.SIGSTOP)
    bench.begin(broker)
    bench.publish(range(2000))
    assert numbers_of(quick.await_lines(2001)) == list(range(2000))
    slow.process.send_signal(signal.SIGCONT)
    assert numbers_of(slow.await_lines(2001)) == list(range(2000))


def test_a_broker_with_a_limit_drops_lines_of_a_slow_desk(processes, bench, tmp_path):
    broker = Broker(processes, tmp_path, OPEN)
    slow = Desk(broker, tmp_path / "slow", "-q", "1", "-t", bench.topic)
    slow.process.send_signal(signal.SIGSTOP)
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
