"""Fails each system call once with which the service writes `ready`, standard error or the journal.

The outputs are pipes, sockets, terminals, files, or files on a disk that is full for a while. In
each run the service must answer every ping and end on request. Each output has whole lines only,
and standard error has the number of lost lines.
"""

import ctypes
import os
import pty
import re
import select
import socket
import subprocess
import time
from dataclasses import dataclass

from processes import PING, PONG, SECONDS, Service, receive
from system_calls import CALL, STRACE, Fault, Sweep

ERRORS = ("EINTR", "EAGAIN", "EIO", "ENOMEM", "ENOSPC")
CALLS = ("openat", "newfstatat", "fstat", "prlimit64", "write", "sendto", "poll", "lseek")
CALLS += ("ftruncate",)
PINGS = 3  # before and after the full disk has room
ERROR_LINES = 2 * PINGS + 1

EARLIER_JOURNAL_LINE = '{"request":"Ping"}\n'
JOURNAL_LINE = re.compile(
    r'\{"monoUs":\d+,"wallUs":\d+,"request":"Ping","client":\d,"result":"ok"\}\n'
)
ERROR_LINE = re.compile(r"SubtitleMgrSim: (client \d: Ping|serving \S+)")
TOLD = re.compile(r"SubtitleMgrSim: the journal is not complete: [^\n]+")
LOST = re.compile(r"SubtitleMgrSim: standard error lost (\d+) lines: [^\n]+")
EARLIER_ERROR_LINE = "SubtitleMgrSim: client 9: Ping\n"

CLONE_NEWNS = 0x20000


def may_mount():
    """Whether small disks can be mounted, for this process and its children only."""
    libc = ctypes.CDLL(None, use_errno=True)
    return (
        os.geteuid() == 0
        and libc.unshare(CLONE_NEWNS) == 0
        and subprocess.run(["mount", "--make-rprivate", "/"], check=False).returncode == 0
    )


@dataclass(frozen=True)
class Kind:
    """Outputs of one kind, in the role of a scenario."""

    name: str


class Outputs:
    """The three outputs of one run. The service gets the ends `out`, `err` and `journal`."""

    def __init__(self, kind, folder):
        self.kind = kind
        self.folder = os.path.join(folder, "sinks")  # a mount point for the small disk
        os.mkdir(self.folder)
        self.texts = {"out": b"", "err": b"", "journal": b""}
        self.readers = {}  # by output; files have none
        self.earlier = {"out": "", "err": "", "journal": ""}
        if kind.name == "full-disk":
            command = ["mount", "-t", "tmpfs", "-o", "size=16k", "none", self.folder]
            subprocess.run(command, check=True)
        self.out, self.err = self.make("out"), self.make("err")
        self.journal = self.path("journal")
        if kind.name in ("pipes", "no-proc"):
            os.mkfifo(self.journal)
            self.readers["journal"] = os.open(self.journal, os.O_RDONLY | os.O_NONBLOCK)
        elif kind.name == "full-disk":
            self.fill_disk()

    def path(self, name):
        return os.path.join(self.folder, name)

    def make(self, output):
        if self.kind.name in ("files", "full-disk"):
            return os.open(self.path(output), os.O_WRONLY | os.O_CREAT | os.O_APPEND)
        if self.kind.name == "sockets":
            ours, theirs = (end.detach() for end in socket.socketpair())
        elif self.kind.name == "terminal":
            ours, theirs = pty.openpty()
        else:
            ours, theirs = os.pipe()
        os.set_blocking(ours, False)
        self.readers[output] = ours
        return theirs

    def fill_disk(self):
        """Fills the disk: the next line of each file begins in its page and needs another one."""
        for output, line in (("err", EARLIER_ERROR_LINE), ("journal", EARLIER_JOURNAL_LINE)):
            self.earlier[output] = line * (4095 // len(line))
            with open(self.path(output), "w", encoding="utf-8") as file:
                file.write(self.earlier[output])
        with open(self.path("filler"), "wb") as file:
            file.write(bytes(8192))

    def make_room(self):
        if self.kind.name == "full-disk":
            os.remove(self.path("filler"))

    def read(self):
        """Reads the available output."""
        for output, reader in self.readers.items():
            while select.select([reader], [], [], 0)[0]:
                try:
                    more = os.read(reader, 65536)
                except OSError:  # a terminal whose program has ended
                    break
                if not more:
                    break
                self.texts[output] += more

    def text(self, output):
        if output in self.readers:
            return self.texts[output].decode().replace("\r\n", "\n")
        with open(self.path(output), encoding="utf-8") as file:
            return file.read()

    def close(self):
        for descriptor in (self.out, self.err, *self.readers.values()):
            os.close(descriptor)
        if self.kind.name == "full-disk":
            subprocess.run(["umount", "-l", self.folder], check=True)
        for name in os.listdir(self.folder):
            os.remove(self.path(name))
        os.rmdir(self.folder)


def calls_of_sinks(trace_lines, journal):
    """Returns the calls of a traced run that write outputs, as (call, number) of strace."""
    counts, found, descriptors = {}, [], {"1", "2"}
    for line in trace_lines:
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


class SinkSweep(Sweep):
    """Runs the service in one place, with one fault at a time."""

    def __init__(self, arguments):
        super().__init__(arguments)
        self.base = {}  # by kind, calls that fail in every run

    def plan(self):
        names = ["pipes", "sockets", "terminal", "files", "no-proc"]
        if may_mount():
            names.append("full-disk")
        else:
            print("full-disk: skipped, since only root can mount a small disk")
        chosen = self.arguments.scenario or names
        return self.with_chosen_calls(
            (kind, Fault("service", call, number, error))
            for kind in (Kind(name) for name in names if name in chosen)
            for call, number in self.learn(kind)
            for error in ERRORS
        )

    def learn(self, kind):
        """Returns every call that writes outputs of this kind."""
        if kind.name == "no-proc":
            first = next(number for call, number in self.learn(Kind("pipes")) if call == "openat")
            self.base[kind] = [f"inject=openat:error=EACCES:when={first}+"]
        journal, verdict, text = self.run_once(kind, self.base.get(kind, []))
        if verdict != "success" and kind.name != "full-disk":
            raise SystemExit(f"{kind.name}: fails without any fault: {text}")
        calls = calls_of_sinks(self.place.trace_lines(), journal)
        return [entry for entry in calls if kind not in self.base or entry[0] != "openat"]

    def run(self, scenario, fault):
        """\\return (verdict, description)"""
        if scenario.name == "no-proc" and scenario not in self.base:
            self.learn(scenario)
        _, verdict, text = self.run_once(scenario, [*self.base.get(scenario, []), fault.option()])
        was_hit = any(
            "(INJECTED)" in line and f" {fault.call}(" in line for line in self.place.trace_lines()
        )
        return (verdict, text) if was_hit or verdict == "finding" else ("not reached", "")

    def run_once(self, kind, injections):
        """Plays pings. \\return the journal's path, a verdict and a description"""
        outputs = Outputs(kind, self.place.workspace.files)
        words = [word for injection in injections for word in ("-e", injection)]
        launcher = [*STRACE, self.place.trace, "-e", "trace=" + ",".join(CALLS), *words]
        service = Service(
            self.place.workspace, ["--journal", outputs.journal], launcher, quiet=False
        )
        try:
            service.launch(outputs.out, outputs.err)
            problem = self.ping(service, outputs)
            service.process.terminate()
            status = service.wait_for_end()
            self.wait_for_tracer()
            outputs.read()
            if status != 0:
                problem = problem or f"it ends with {status}"
            return outputs.journal, *judge(outputs, problem)
        finally:
            service.kill()
            outputs.close()

    def wait_for_tracer(self):
        """Waits for the tracer, which writes its last lines after the service has ended."""
        deadline = time.monotonic() + SECONDS
        while time.monotonic() < deadline:
            if any(re.search(r"\+\+\+ (exited|killed)", line) for line in self.place.trace_lines()):
                return
            time.sleep(0.001)

    def ping(self, service, outputs):
        """\\return the error, or None"""
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as peer:
            peer.settimeout(SECONDS)
            if not self.connect(peer, service):
                return "the service does not accept a connection"
            for number in range(2 * PINGS):
                if number == PINGS:
                    outputs.make_room()
                try:
                    peer.sendall(PING)
                    if receive(peer, len(PONG)) != PONG:
                        return "a wrong answer"
                except OSError as error:
                    return f"no answer: {error}"
                outputs.read()
        return None

    def connect(self, peer, service):
        deadline = time.monotonic() + SECONDS
        while time.monotonic() < deadline and service.is_running():
            try:
                peer.connect(os.path.join(self.place.workspace.messaging, "SubtitleMgr"))
                return True
            except OSError:
                time.sleep(0.001)
        return False


def judge(outputs, problem):
    """\\return (verdict, description)"""
    texts = {output: outputs.text(output) for output in ("out", "err", "journal")}
    is_undamaged = all(texts[output].startswith(outputs.earlier[output]) for output in texts)
    new = {output: text[len(outputs.earlier[output]) :] for output, text in texts.items()}
    description = f"{problem or ''}\n{new}"
    if problem or not is_undamaged:
        return "finding", description
    torn, written = JOURNAL_LINE.subn("", new["journal"])
    lines = new["err"].splitlines()
    told = sum(bool(TOLD.fullmatch(line)) for line in lines)
    losses = [int(match.group(1)) for match in map(LOST.fullmatch, lines) if match]
    usual = sum(bool(ERROR_LINE.fullmatch(line)) for line in lines)
    if (
        new["out"] not in ("", "ready\n")
        or torn
        or (new["err"] and not new["err"].endswith("\n"))
        or told > 1
        or usual + told + len(losses) != len(lines)
    ):
        return "finding", "an incomplete line\n" + description
    # The line about the journal may be among the lost lines.
    is_complete = written == 2 * PINGS
    if usual + sum(losses) + told - (not is_complete) != ERROR_LINES:
        return "finding", "lines are lost and not counted\n" + description
    is_whole = new["out"] and is_complete and not losses
    return ("success" if is_whole else "output lost"), description
