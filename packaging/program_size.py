#!/usr/bin/env python3
"""Prints how large the client of a build is, on disk and in memory; script/size runs it.

program_size.py BUILD SERVICE LIMIT STRIP [EMULATOR...]

BUILD is a build folder, SERVICE a simulated service that runs on this machine, LIMIT the largest
allowed size of text in bytes, STRIP the build's strip, whose folder also has its size. Under an
emulator only memory below 4 GiB counts, which is that of the emulated 32-bit program.
"""

import os
import re
import subprocess
import sys
import tempfile
import time

DEADLINE = 60
NOTIFICATIONS = 10000
LAST_LINE = "*** RegionVisi:  14  visible"

# Members of libstdc++ that throwing and run-time type information need; its other members are
# streams, locales and strings.
EXCEPTIONS = re.compile(
    r"\((eh_|cp-demangle|tinfo|.*_type_info|vterminate|vmi_|si_|class_|pure|"
    r"dyncast|bad_|nested_exception|unwind|del_|new_|guard)"
)


def output_of(*command, **options):
    return subprocess.run(
        command, check=True, capture_output=True, text=True, timeout=DEADLINE, **options
    ).stdout


def wait_until(condition, what):
    deadline = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > deadline:
            sys.exit("program_size.py: %s did not happen" % what)
        time.sleep(0.01)


def sections(client, strip, scratch):
    """Size of the file without symbols, and of text, data and bss."""
    stripped = os.path.join(scratch, "stripped")
    output_of(strip, "-o", stripped, client)
    text, data, bss = (
        output_of(re.sub(r"strip(?=[^/]*$)", "size", strip), stripped).splitlines()[1].split()[:3]
    )
    return os.path.getsize(stripped), int(text), int(data), int(bss)


def resident(process, is_emulated):
    """KiB of the process in memory, and how many of them are anonymous."""
    total = own = 0
    counts = False
    with open("/proc/%d/smaps" % process.pid, encoding="utf-8", errors="replace") as file:
        for line in file:
            mapping = re.match(r"[0-9a-f]+-([0-9a-f]+) ", line)
            if mapping:
                counts = not is_emulated or int(mapping.group(1), 16) <= 1 << 32
            elif counts and line.startswith("Rss:"):
                total += int(line.split()[1])
            elif counts and line.startswith("Anonymous:"):
                own += int(line.split()[1])
    return total, own


class Service:
    """A simulated service on a messaging directory of its own."""

    def __init__(self, program, scratch, *options):
        self.environment = dict(os.environ, LINX_DIR=os.path.join(scratch, "linx"))
        self.process = subprocess.Popen(
            [program, "--quiet", *options], stdout=subprocess.PIPE, env=self.environment
        )
        if self.process.stdout.readline() != b"ready\n":
            sys.exit("program_size.py: the service did not start")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()


def memory_of_ping(client, service, scratch, emulator):
    """Memory of a ping that waits for its reply; after that it only prints one line."""
    journal = os.path.join(scratch, "journal")
    with Service(service, scratch, "--fault", "mute", "--journal", journal) as mute:
        ping = subprocess.Popen(
            emulator + [client, "-p"], stdout=subprocess.DEVNULL, env=mute.environment
        )
        wait_until(lambda: os.path.exists(journal) and os.path.getsize(journal) > 0, "a ping")
        size = resident(ping, bool(emulator))
        ping.kill()
        ping.wait()
    return size


def scenario_of_notifications(scratch):
    """A scenario with all notifications: bitmaps, palettes and visibility in turn."""
    for name, size in (("bitmap", 640 * 48), ("table", 1024)):
        with open(os.path.join(scratch, name), "wb") as file:
            file.write(bytes(i % 4 for i in range(size)))
    turn = ["region-data %d 2 @bitmap", "palette %d 31 t @table", "visibility %d f"]
    path = os.path.join(scratch, "scenario")
    with open(path, "w", encoding="utf-8") as file:
        file.write("wait-subscribers 10\n")
        for number in range(NOTIFICATIONS - 1):
            file.write(turn[number % 3] % (1 + number % 14) + "\n")
        file.write("visibility 14 t\n")
    return path


def memory_of_console(client, service, scratch, emulator):
    """The largest memory while the notifications come, and after them."""
    size = (0, 0)
    with Service(service, scratch, "--play", scenario_of_notifications(scratch)) as playing:
        console = subprocess.Popen(
            emulator + [client, "-i"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
            env=playing.environment,
        )
        console.stdin.write("1\n")
        console.stdin.flush()
        shown = 0
        for line in console.stdout:
            shown += line.startswith(("CLI: ", "*** "))
            if shown % 500 == 0 or line.startswith(LAST_LINE):
                size = max(size, resident(console, bool(emulator)))
            if line.startswith(LAST_LINE):
                break
        if shown != NOTIFICATIONS:
            sys.exit("program_size.py: %d notifications were shown" % shown)
        console.communicate("x\n", timeout=DEADLINE)
    return size


def piece_of(origin):
    """Which part of the program a file or member of an archive belongs to."""
    if "libstdc++" in origin or "libsupc++" in origin or "libgcc" in origin:
        return (
            "exceptions, types, new"
            if EXCEPTIONS.search(origin) or "libgcc" in origin
            else "streams, locales, strings"
        )
    if ".ltrans" in origin:
        return "client and stand-in"
    if "libsubtitle_platform" in origin:
        return "stand-in"
    if "libsubtitle_client" in origin or "SubtitleMgrCli.dir" in origin:
        return "client"
    return "C library, start"


def pieces(build, scratch):
    """Bytes of each part, from the map of a second link of the client."""
    command = output_of("ninja", "-C", build, "-t", "commands", "SubtitleMgrCli").splitlines()[-1]
    link_map = os.path.join(scratch, "map")
    command = command.replace(
        "-o bin/SubtitleMgrCli", "-o %s/again -Wl,-Map,%s" % (scratch, link_map)
    )
    output_of("sh", "-c", command, cwd=build)
    with open(link_map, encoding="utf-8") as file:
        text = file.read().split("Linker script and memory map", 1)[1]
    sizes = {}
    for name, address, size, origin in re.findall(
        r"^ (\.\S+|COMMON)\s+0x([0-9a-f]+)\s+0x([0-9a-f]+) (\S.*)$", text, re.MULTILINE
    ):
        if int(address, 16) != 0 and not re.match(r"\.(debug|comment|note|gnu\.attr)", name):
            piece = piece_of(origin)
            sizes[piece] = sizes.get(piece, 0) + int(size, 16)
    return sizes


def main():
    build, service, limit, strip = sys.argv[1:5]
    emulator = sys.argv[5:]
    client = os.path.join(build, "bin/SubtitleMgrCli")
    with tempfile.TemporaryDirectory() as scratch:
        figures = sections(client, strip, scratch)
        print("file %d, text %d, data %d, bss %d bytes" % figures)
        for name, size in sorted(pieces(build, scratch).items(), key=lambda piece: -piece[1]):
            print("    %-26s %8d bytes" % (name, size))
        print(
            "-p: %d KiB resident, %d of them anonymous"
            % memory_of_ping(client, service, scratch, emulator)
        )
        print(
            "-i, %d notifications: %d KiB resident, %d of them anonymous"
            % (NOTIFICATIONS, *memory_of_console(client, service, scratch, emulator))
        )
    if figures[1] > int(limit):
        sys.exit("program_size.py: more text than %s bytes" % limit)


main()
