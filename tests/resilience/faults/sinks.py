"""Fails each system call once by which the service writes `ready`, standard error or the journal.

The outputs are pipes, sockets, terminals, files, or files on a disk that is full for a while. In
each run the service answers every ping and ends when it is told to; each output holds whole lines
only, and those that are missing are counted on standard error.
"""

import ctypes
import os
import pty
import re
import select
import signal
import socket
import subprocess
import time

from processes import DEADLINE, PING, PONG, end
from system_calls import CALL, STRACE_SERVICE, Fault

ERRORS = ("EINTR", "EAGAIN", "EIO", "ENOMEM", "ENOSPC")
CALLS = (
    "openat",
    "newfstatat",
    "fstat",
    "prlimit64",
    "write",
    "sendto",
    "poll",
    "lseek",
    "ftruncate",
)
PINGS = 3  # before and after the full disk has room

JOURNAL_LINE = '{"request":"Ping"}\n'
ERROR_LINE = re.compile(r"SubtitleMgrSim: client \d: Ping")
TOLD = re.compile(r"SubtitleMgrSim: the journal is not complete: [^\n]+")
LOST = re.compile(r"SubtitleMgrSim: standard error lost (\d+) lines: [^\n]+")
EARLIER_ERROR_LINE = "SubtitleMgrSim: client 9: Ping\n"

CLONE_NEWNS = 0x20000


def may_mount():
    """Whether small disks can be mounted, from now on for this process and its children alone."""
    libc = ctypes.CDLL(None, use_errno=True)
    return (
        os.geteuid() == 0
        and libc.unshare(CLONE_NEWNS) == 0
        and subprocess.run(["mount", "--make-rprivate", "/"], check=False).returncode == 0
    )


class Outputs:
    """The three outputs of one run. The service gets the ends `out`, `err` and `journal`."""

    def __init__(self, name, folder):
        self.name, self.folder = name, folder
        self.texts = {"out": b"", "err": b"", "journal": b""}
        self.readers = {}  # by output, where it is no file
        self.is_mounted = False
        self.journal = os.path.join(folder, "sink-journal")
        self.out, self.err = self.make("out"), self.make("err")
        self.earlier = ("", "")
        if name in ("pipes", "no-proc"):
            os.mkfifo(self.journal)
            self.readers["journal"] = os.open(self.journal, os.O_RDONLY | os.O_NONBLOCK)
        elif name == "full-disk":
            self.fill_disk()

    def make(self, output):
        path = os.path.join(self.folder, "sink-" + output)
        if self.name == "full-disk" and output == "err":
            path = os.path.join(self.mount(), "err")
        if self.name in ("files", "full-disk"):
            return os.open(path, os.O_WRONLY | os.O_CREAT | os.O_APPEND)
        if self.name == "sockets":
            ours, theirs = (end.detach() for end in socket.socketpair())
        elif self.name == "terminal":
            ours, theirs = pty.openpty()
        else:
            ours, theirs = os.pipe()
        os.set_blocking(ours, False)
        self.readers[output] = ours
        return theirs

    def mount(self):
        disk = os.path.join(self.folder, "disk")
        os.mkdir(disk)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k", "none", disk], check=True)
        self.is_mounted = True
        self.journal = os.path.join(disk, "journal")
        return disk

    def fill_disk(self):
        """The next line of each file begins in its one page and needs another, which is missing."""
        self.earlier = (
            EARLIER_ERROR_LINE * (4095 // len(EARLIER_ERROR_LINE)),
            JOURNAL_LINE * (4095 // len(JOURNAL_LINE)),
        )
        os.write(self.err, self.earlier[0].encode())
        with open(self.journal, "w", encoding="utf-8") as file:
            file.write(self.earlier[1])
        with open(os.path.join(self.folder, "disk", "filler"), "wb") as file:
            file.write(bytes(8192))

    def make_room(self):
        if self.is_mounted:
            os.remove(os.path.join(self.folder, "disk", "filler"))

    def read(self):
        """Adds what has come."""
        for output, reader in self.readers.items():
            while select.select([reader], [], [], 0)[0]:
                try:
                    more = os.read(reader, 65536)
                except OSError:  # a terminal without a program
                    break
                if not more:
                    break
                self.texts[output] += more

    def text(self, output):
        if output in self.readers:
            return self.texts[output].decode().replace("\r\n", "\n")
        path = {
            "out": os.path.join(self.folder, "sink-out"),
            "journal": self.journal,
            "err": os.path.join(
                self.folder,
                "disk" if self.is_mounted else "",
                "err" if self.is_mounted else "sink-err",
            ),
        }[output]
        with open(path, encoding="utf-8") as file:
            return file.read()

    def close(self):
        for descriptor in (self.out, self.err, *self.readers.values()):
            os.close(descriptor)
        if self.is_mounted:
            disk = os.path.join(self.folder, "disk")
            subprocess.run(["umount", "-l", disk], check=True)
            os.rmdir(disk)
        for name in ("sink-out", "sink-err", "sink-journal"):
            try:
                os.remove(os.path.join(self.folder, name))
            except FileNotFoundError:
                pass


class Kind:
    """Outputs of one kind, in the role of a scenario."""

    def __init__(self, name):
        self.name = name


def kinds():
    names = ["pipes", "sockets", "terminal", "files", "no-proc"]
    if may_mount():
        names.append("full-disk")
    else:
        print("full-disk: left out, only root can mount a small disk")
    return [Kind(name) for name in names]


def calls_of_sinks(trace, journal):
    """Which calls of a traced run serve the outputs: a list of (call, number), as strace counts."""
    counts, found, descriptors = {}, [], {"1", "2"}
    for line in trace.splitlines():
        match = CALL.match(line)
        if not match or match.group(1) not in CALLS:
            continue
        call, rest = match.group(1), line[match.end() :]
        counts[call] = counts.get(call, 0) + 1
        opened = re.search(r"\) = (\d+)$", line)
        if "/proc/self/fd/" in rest and call == "openat":
            descriptors |= {opened.group(1)} if opened else set()
        elif call == "openat":
            if f'"{journal}"' in rest and opened:
                descriptors.add(opened.group(1))
            continue
        elif call == "prlimit64":
            if "RLIMIT_FSIZE" not in rest:
                continue
        elif call == "poll":
            if not any(f"fd={descriptor}," in rest for descriptor in descriptors):
                continue
        elif re.split("[,)]", rest)[0] not in descriptors:
            continue
        found.append((call, counts[call]))
    return found


class SinkSweep:
    """Runs the service in one place, with one fault at a time."""

    def __init__(self, place):
        self.place = place
        self.base = {}  # by kind, what fails in every run besides

    def run_once(self, kind, injections):
        """Plays pings. \\return (outputs, what is wrong or None)"""
        outputs = Outputs(kind.name, self.place.folder)
        words = [word for injection in injections for word in ("-e", injection)]
        service = subprocess.Popen(
            [
                *STRACE_SERVICE,
                "-o",
                self.place.path("trace"),
                "-e",
                "trace=" + ",".join(CALLS),
                *words,
                self.place.programs.service,
                "--journal",
                outputs.journal,
            ],
            cwd=self.place.folder,
            env=self.place.environment(),
            stdin=subprocess.DEVNULL,
            stdout=outputs.out,
            stderr=outputs.err,
            start_new_session=True,
        )
        try:
            problem = self.ping(service, outputs)
            service.send_signal(signal.SIGTERM)
            try:
                status = service.wait(DEADLINE)
            except subprocess.TimeoutExpired:
                return outputs, "it does not end"
            self.place.wait_for_tracer(service.args)
            outputs.read()
            return outputs, problem or (f"it ends with {status}" if status != 0 else None)
        finally:
            end(service)

    def ping(self, service, outputs):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as peer:
            peer.settimeout(DEADLINE)
            if not self.connect(peer, service):
                return "it cannot be reached"
            for number in range(2 * PINGS):
                if number == PINGS:
                    outputs.make_room()
                try:
                    peer.sendall(PING)
                    if peer.recv(len(PONG), socket.MSG_WAITALL) != PONG:
                        return "another answer"
                except OSError as error:
                    return f"no answer: {error}"
                outputs.read()
        return None

    def connect(self, peer, service):
        deadline = time.monotonic() + DEADLINE
        while time.monotonic() < deadline and service.poll() is None:
            try:
                peer.connect(os.path.join(self.place.directory, "SubtitleMgr"))
                return True
            except OSError:
                time.sleep(0.001)
        return False

    def learn(self, kind):
        """Every call by which outputs of this kind are written."""
        if kind.name == "no-proc":
            first = next(number for call, number in self.learn(Kind("pipes")) if call == "openat")
            self.base[kind.name] = [f"inject=openat:error=EACCES:when={first}+"]
        outputs, problem = self.run_once(kind, self.base.get(kind.name, []))
        verdict, text = self.judge(outputs, problem)
        journal = outputs.journal
        outputs.close()
        if verdict != "success" and kind.name != "full-disk":
            raise SystemExit(f"{kind.name}: fails without any fault: {text}")
        return [
            fault
            for fault in calls_of_sinks(self.place.text("trace"), journal)
            if kind.name != "no-proc" or fault[0] != "openat"
        ]

    def plan(self, kind):
        return [
            (kind, Fault("service", call, number, error))
            for call, number in self.learn(kind)
            for error in ERRORS
        ]

    def run(self, kind, fault):
        """\\return (verdict, description)"""
        if kind.name == "no-proc" and kind.name not in self.base:
            self.learn(kind)
        injections = [*self.base.get(kind.name, []), fault.option()]
        outputs, problem = self.run_once(kind, injections)
        verdict, text = self.judge(outputs, problem)
        outputs.close()
        hits = [
            line
            for line in self.place.text("trace").splitlines()
            if "(INJECTED)" in line and f" {fault.call}(" in line
        ]
        return (verdict, text) if hits or verdict == "finding" else ("not reached", "")

    def judge(self, outputs, problem):
        out, err, journal = (outputs.text(output) for output in ("out", "err", "journal"))
        text = (
            f"out: {out!r}\nerr: {err[len(outputs.earlier[0]):]!r}\n"
            f"journal: {journal[len(outputs.earlier[1]):]!r}"
        )
        if problem:
            return "finding", f"{problem}\n{text}"
        if not err.startswith(outputs.earlier[0]) or not journal.startswith(outputs.earlier[1]):
            return "finding", "an earlier line is damaged\n" + text
        err, journal = err[len(outputs.earlier[0]) :], journal[len(outputs.earlier[1]) :]
        written = journal.count(JOURNAL_LINE)
        lines = err.splitlines()
        told = any(map(TOLD.fullmatch, lines))
        lost = sum(int(match.group(1)) for match in map(LOST.fullmatch, lines) if match)
        pings = sum(bool(ERROR_LINE.fullmatch(line)) for line in lines)
        if (
            out not in ("", "ready\n")
            or journal != JOURNAL_LINE * written
            or (err and not err.endswith("\n"))
            or pings + told + sum(map(bool, map(LOST.fullmatch, lines))) != len(lines)
        ):
            return "finding", "a torn line\n" + text
        # The line about the journal may be one of those that are lost.
        is_complete = written == 2 * PINGS
        if pings + lost + told - (not is_complete) != 2 * PINGS:
            return "finding", "lines are missing that are not counted\n" + text
        return ("success" if out and is_complete and not lost else "output lost"), text
