#!/usr/bin/env python3
"""Stress-tests client and service: kills, exits, long streams and concurrent calls.

soak.py PROGRAMS PART [COUNT]: PART is kills, exits, soak, meetings or all. COUNT is a
number, "sample" or "short"; for meetings it is a number of seconds. SOAK_SEED is the seed of
meetings, default 1. Prints figures. The status is 1 when something was lost, or when files,
descriptors or memory remain.
"""

import base64
import concurrent.futures
import contextlib
import itertools
import os
import signal
import statistics
import subprocess
import sys
import threading
import time

sys.dont_write_bytecode = True  # keeps the source folder clean
os.environ.setdefault("SUBTITLE_TEST_SECONDS", "120")  # time limit for each wait
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../python"))

# pylint: disable=wrong-import-position
from pytest_subtitle import PipedConsole, Service, TimeLimit, Workspace

FLAT_KB = 1024
READY_MS = 200
MANY = 100
FEW_LOOKS = 20  # queues and blocks have their final size after so many measurements
FEW_COUNTS = 3
A_DAY = 24 * 3600  # for a program that ends by itself


class Violation(Exception):
    """Forbidden behaviour was found."""


def demand(holds, what):
    """Ends the run unless a condition holds."""
    if not holds:
        raise Violation(what)


def spread(milliseconds):
    """Returns a summary of many times."""
    times = sorted(milliseconds)
    return "%.1f to %.1f ms, median %.1f, 99th percentile %.1f" % (
        times[0],
        times[-1],
        statistics.median(times),
        times[int(0.99 * (len(times) - 1))],
    )


class Room(Workspace):
    """A workspace with one service at a time."""

    def __init__(self, programs):
        super().__init__(programs)
        self.programs = os.path.abspath(programs)
        self.running = None  # the service
        self.start_times = []

    def __exit__(self, *_):
        if self.running:
            self.running.kill()
        super().__exit__()

    def start(self, program, *words):
        """Starts a program of the build."""
        return PipedConsole(self, words, program=os.path.join(self.programs, program))

    def start_scenario(self, lines):
        """Starts a service that plays these lines repeatedly, and waits until it answers."""
        path = os.path.join(self.files, "scenario")
        with open(path, "w", encoding="ascii") as file:
            file.writelines(lines)
        begin = time.monotonic()
        self.running = Service(self, ["--play", path, "--loop"])
        self.running.start()
        self.start_times.append((time.monotonic() - begin) * 1000)

    def start_console(self):
        """Returns a subscribed console."""
        console = self.start("SubtitleMgrCli", "-i")
        console.key("1")
        console.expect("Subscribing for PaletteUpdate\n")
        return console

    def stop_service(self):
        """Ends the service by SIGTERM; it must leave no file. Returns its standard error."""
        self.running.stop()
        left = os.listdir(self.messaging)
        demand(not left, "files remain: %s" % left)
        return self.running.error_text()

    def check_stream(self, tap, count, numbers):
        """Reads the tap's lines; each bitmap begins with its number."""
        begin, received = time.monotonic(), 0
        with watched("service", self.running.process.pid), watched("tap", tap.pid):
            for line in itertools.islice(tap.stdout, 1, None):
                data = base64.b64decode(line[line.rindex(b'"data":"') + 8 :][:8])
                number = int.from_bytes(data[:4], "big")
                demand(number == received % numbers, "number %d is missing" % received)
                received += 1
        demand(received == count and tap.wait() == 0, "only %d arrived" % received)
        print("  %.0f a second" % (count / (time.monotonic() - begin)))

    def check_ready_times(self):
        """Prints and, in a long run, checks the times until a killed program is ready again."""
        times = self.start_times[1:]
        print("  ready again after " + spread(times))
        demand(len(times) < MANY or max(times) <= READY_MS, "not ready in time")


class Survivor:
    """Measures a process while it works or other processes are killed."""

    def __init__(self, name, pid):
        self.name, self.pid = name, pid
        self.sizes, self.counts = [], []

    def look(self):
        """Measures resident size and descriptors."""
        with open("/proc/%d/statm" % self.pid, encoding="ascii") as file:
            pages = int(file.read().split()[1])
        self.sizes.append(pages * os.sysconf("SC_PAGE_SIZE") // 1024)
        self.counts.append(len(os.listdir("/proc/%d/fd" % self.pid)))

    def check(self):
        """Fails when descriptors grow, or the size in the second half of a long run."""
        # A measurement may count a client that is disconnecting.
        first, last = max(self.counts[:FEW_COUNTS]), min(self.counts[-FEW_COUNTS:])
        half = (len(self.sizes) + 1) // 2
        before, after = max(self.sizes[:half]), max(self.sizes[half:], default=0)
        print("  %s: %d descriptors at first, %d at the end" % (self.name, first, last))
        print("  %s: at most %d kB resident, then %d" % (self.name, before, after))
        demand(last <= first, "the number of descriptors grows")
        demand(len(self.sizes) < FEW_LOOKS or after - before <= FLAT_KB, "the resident size grows")


@contextlib.contextmanager
def watched(name, pid):
    """Checks a process at the end."""
    survivor = Survivor(name, pid)
    is_over = threading.Event()

    def watch():
        while True:
            with contextlib.suppress(OSError):  # the process may have ended
                survivor.look()
            if is_over.wait(0.25):
                return

    thread = threading.Thread(target=watch)
    thread.start()
    try:
        yield
    finally:
        is_over.set()
        thread.join()
    survivor.check()


# Kills

ARRIVAL = "CLI: Process region"


def little_traffic(region=1):
    """Returns a scenario that publishes a bitmap from time to time."""
    return ["region-data %d 2 00010203\n" % region, "sleep 1\n"]


def kill_services(room, count):
    """Kills the service; a subscribed console survives."""
    room.start_scenario(little_traffic())
    console = room.start_console()
    survivor = Survivor("console", console.process.pid)
    for number in range(count):
        room.running.kill()
        # Each service publishes another region than the last one, to distinguish their traffic.
        region = number % 13 + 2
        room.start_scenario(little_traffic(region))
        console.type(b"6\n1\n")
        console.expect("%s %2d" % (ARRIVAL, region))
        console.forget_expected()
        survivor.look()
    room.check_ready_times()
    survivor.check()
    console.key("x")
    demand(console.wait() == 0, "the console failed: %r" % console.errors)
    console.kill()
    room.stop_service()


def kill_clients(room, count):
    """Kills subscribed consoles; the service survives."""
    room.start_scenario(little_traffic())
    survivor = Survivor("service", room.running.process.pid)
    for _ in range(count):
        room.start_console().kill()
        # The service answers a request only after it has seen the earlier ends.
        with room.start("SubtitleMgrCli", "-p") as ping:
            ping.expect("Successful Ping\n")
            demand(ping.wait() == 0, "no answer")
        survivor.look()
    survivor.check()
    room.stop_service()


def kills(programs, count):
    """Sends SIGKILL to the service and to the client."""
    for name, part in (("the service", kill_services), ("the client", kill_clients)):
        print("kills: %d times %s" % (count, name), flush=True)
        with Room(programs) as room:
            part(room, count)


# Exits

AT_A_TIME = 16
OTHER_KEYS = b"r\ns\nc\n6\n1\nr\n2\n1\nr\ns\n"


def one_exit(room, arrivals, keys=b""):
    """Leaves a console after so many notifications and after other keys; an option follows it.
    Returns the time until the end."""
    with room.start("SubtitleMgrCli", "-i", "-p") as console:
        console.key("1")
        for _ in range(arrivals):
            console.expect(ARRIVAL)
        begin = time.monotonic()
        console.type(keys + b"x\n")
        status = console.wait()
        problem = "status %d: %r" % (status, console.errors[-2000:])
        demand(status == 0 and not console.errors, problem)
        return (time.monotonic() - begin) * 1000


def exits(programs, count):
    """Ends consoles during notifications, several at a time."""
    print("exits: %d during traffic, %d at a time" % (count, AT_A_TIME), flush=True)
    traffic = [
        "region-data %d 2 0001020304\nvisibility 3 t\npalette 2 31 t 10ff\n" % region
        for region in range(1, 15)
    ]
    # Its handler uses the statistics after it has copied the bitmap, which takes a while.
    large = "region-data 4 0 %s\n" % ("02" * 400000)
    with Room(programs) as room, concurrent.futures.ThreadPoolExecutor(AT_A_TIME) as pool:
        room.start_scenario([*traffic, large, "sleep 1\n"])
        leave_one = lambda number: one_exit(room, number % 4, OTHER_KEYS * (number % 16 == 0))
        try:
            times = list(pool.map(leave_one, range(count)))
        finally:
            pool.shutdown(cancel_futures=True)
        # The threads of a client mix their texts, so its output does not tell.
        pings = sum(fields["request"] == "Ping" for fields in room.running.requests())
        demand(pings == count, "%d options after the console did nothing" % (count - pings))
        print("  %d with status 0 and no report; x to the end %s" % (len(times), spread(times)))
        room.stop_service()


# Long streams


def stream(programs, count, numbers, size):
    """One subscriber reads a stream of bitmaps whose numbers repeat."""
    print("soak: %d numbered notifications, %d bytes each" % (count, size), flush=True)
    rest = "5a" * (size - 4)
    numbered = ["region-data 1 0 %08x%s\n" % (number, rest) for number in range(numbers)]
    with Room(programs) as room:
        room.start_scenario(["wait-subscribers 2\n", *numbered])
        command = [room.program("SubtitleMgrTap"), "--json", "--kinds=data", "--formats=hd"]
        with subprocess.Popen(
            [*command, "--count=%d" % count], env=room.environment(), stdout=subprocess.PIPE
        ) as tap:
            try:
                room.check_stream(tap, count, numbers)
            finally:
                tap.kill()
        demand(not room.stop_service(), "the service reported a loss")


def soak(programs, count):
    """Streams small notifications and notifications of a region's size."""
    stream(programs, count, numbers=100000, size=4)
    stream(programs, max(count // 100, 1), numbers=200, size=30720)


# Concurrent calls


def meetings(programs, seconds):
    """Makes calls on eight threads of one client while its service restarts."""
    with Room(programs) as room:
        words = str(seconds), os.environ.get("SOAK_SEED", "1"), room.service
        with room.start("soak_meetings", *words) as callers:
            status = callers.wait(A_DAY)
            print(callers.output.decode(), end="")
            demand(status == 0, "status %d %r" % (status, callers.errors))


# Name: function, counts of a sample for the tests of every build, of a short run and of a full run.
PARTS = {
    "kills": (kills, 12, 20, 1000),
    "exits": (exits, 32, 1000, 10000),
    "soak": (soak, 50000, 200000, 10000000),
    "meetings": (meetings, 3, 5, 60),
}


def main():
    """Runs a part. Returns the exit status."""
    words = sys.argv[1:]
    if len(words) not in (2, 3) or words[1] not in ("all", *PARTS):
        print(__doc__, file=sys.stderr)
        return 2
    programs, chosen, count = (*words, None)[:3]
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    try:
        for name, (part, sample, short, full) in PARTS.items():
            if chosen in ("all", name):
                part(programs, {"sample": sample, "short": short}.get(count) or int(count or full))
    except (Violation, TimeLimit, RuntimeError) as violation:
        print("VIOLATION: %s" % violation)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
