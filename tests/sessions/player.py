"""Plays one session with the real programs, and finds the first difference."""

import glob
import os
import re
import shlex
import socket
import sys
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "python"))

# pylint: disable=wrong-import-position
from expectation import Difference, check_lines
from console_run import ConsoleRun
from pytest_subtitle import PipedConsole, Service, Workspace

# Lines that a terminal changes, or passes on only with the next line.
NOT_FOR_A_TERMINAL = re.compile(rb"[\x00-\x08\x0b-\x1f\x7f-\xff]|[^\n]\Z|\A\Z")


def belongs_on(medium, session):
    """Whether a session is played on a medium: `pipe` or `terminal`."""
    chosen = [section.words for section in session.of("on")]
    if chosen or medium == "pipe":
        return not chosen or chosen[0] == medium
    return not any(
        step.kind == "forever" or step.kind == "typed" and NOT_FOR_A_TERMINAL.search(step.value)
        for section in session.of("console")
        for step in session.steps(section)
    )


class Player:
    """Plays one session."""

    def __init__(self, session, programs, medium):
        self.session = session
        self.medium = medium
        self.workspace = Workspace(programs)
        self.services = {}
        self.service_died = False
        self.files = {}  # name: (content, line) of files that must exist at the end

    def play(self):
        """Plays the session. Raises a Difference after an error."""
        with self.workspace:
            try:
                self.start_services()
                for section in self.session.sections:
                    self.take(section)
                self.check()
            finally:
                for service in self.services.values():
                    service.kill()

    def start_services(self):
        for words in [section.words for section in self.session.of("service")] or [""]:
            options = shlex.split(words)
            if options == ["none"]:
                continue
            for section in self.session.of("scenario"):
                path = self.workspace.new_path("scenario")
                with open(path, "w", encoding="latin-1") as file:
                    file.write(
                        "\n".join(["wait-subscribers 1", *(text for _, text in section.lines), ""])
                    )
                options += ["--play", path]
            service = Service(self.workspace, options)
            self.services[service.name] = service
            service.start()

    def take(self, section):
        words = section.words
        if section.kind == "console":
            ConsoleRun(self, section).play()
        elif section.kind == "event":
            self.event(words, section.line)
        elif section.kind == "folder":
            os.mkdir(self.path(words))
        elif section.kind == "fifo":
            os.mkfifo(self.path(words))
        elif section.kind == "socket":
            with socket.socket(socket.AF_UNIX) as listener:
                listener.bind(self.path(words))
        elif section.kind == "link":
            name, target = words.split(" -> ")
            os.symlink(target, self.path(name))
        elif section.kind == "mode":
            mode, name = words.split(" ", 1)
            os.chmod(self.path(name), int(mode, 8))
        elif section.kind == "file":
            name, _, words = words.partition(":")
            before_any_console = section.line < self.session.of("console")[0].line
            self.files[name] = (self.session.bytes_of(section, words), section.line)
            if before_any_console:
                with open(self.path(name), "wb") as file:
                    file.write(self.files[name][0])

    def path(self, name):
        return os.path.join(os.fsencode(self.workspace.files), name.encode("latin-1"))

    def event(self, words, line):
        service = next(iter(self.services.values()), None)
        kind, _, rest = words.partition(": ")
        times, _, request = rest.rpartition(" times ")
        actions = {
            "service starts": service.start if service else None,
            "service dies": lambda: self.kill(service),
            "service ends": service.wait if service else None,
            "service hears": lambda: service.await_journal(request, int(times or 1)),
            "scenario begins": lambda: service.subscribe(1),
            "elsewhere": lambda: self.type_elsewhere(rest, line),
            "fifo": lambda: self.feed(*rest.split(" ", 1), line),
        }
        if kind not in actions:
            raise self.session.mistake(line, "no such event: " + words)
        actions[kind]()

    def kill(self, service):
        """Kills a service, which leaves its socket."""
        service.kill()
        self.service_died = True

    def type_elsewhere(self, keys, line):
        """Types a line into another console; the line must leave it."""
        with PipedConsole(self.workspace, ["-i"]) as other:
            other.key(keys)
            other.end_input()
            if other.wait_for(lambda: len(other.output) > 100000, "the end of the other console"):
                raise self.session.mistake(line, "the line does not leave the other console")
            if other.wait() != 0 or other.errors:
                raise Difference(line, "the other console prints %r" % other.errors)

    def feed(self, name, words, line):
        with open(self.path(name), "wb") as file:
            file.write(self.session.bytes_in(words, line))

    # At the end

    def check(self):
        sections = {
            section.words or "SubtitleMgr": section for section in self.session.of("requests")
        }
        for name, service in self.services.items():
            service.stop()
            self.check_section(
                "the requests",
                sections.pop(name, None),
                self.request,
                [canonical(fields) for fields in service.requests()],
            )
        if sections:
            raise self.session.mistake(self.session.line, "requests of no service")
        self.check_section(
            "the log entries",
            next(iter(self.session.of("log")), None),
            lambda text, _: text,
            self.workspace.log_entries(),
        )
        if not self.service_died:
            self.check_messaging()
        for section in self.session.of("mode"):
            os.chmod(self.path(section.words.split(" ", 1)[1]), 0o700)
        for name, (content, line) in self.files.items():
            self.check_file(name, content, line)
        for path in glob.glob(self.path("**"), recursive=True):
            name = os.path.relpath(path, self.path("")).decode("latin-1")
            if os.path.isfile(path) and not os.path.islink(path) and name not in self.files:
                raise Difference(self.session.line, "a file %r was made" % name)

    def check_messaging(self):
        """Checks that the messaging directory has only folders of prefixes."""
        left = [
            entry.name
            for entry in os.scandir(self.workspace.messaging)
            if not (self.services and entry.is_dir())
        ]
        if left:
            raise Difference(self.session.line, "the messaging directory still holds %s" % left)

    def check_section(self, what, section, convert, found):
        """Compares the list of a section; without a section the list must be empty."""
        expected, repeats = [], False
        for number, text in joined(section.lines) if section else []:
            for part in self.session.expand(text, number).split(b"\n"):
                repeats = part.startswith(b"for ever: ")
                count = re.match(rb"(?:for ever|(\d+) times): ", part)
                part = part[count.end() :] if count else part
                times = int(count[1] or 1) if count else 1
                expected += [(convert(part, number), number)] * times
        check_lines(what, section.line if section else self.session.line, expected, found, repeats)

    def request(self, text, line):
        """Returns a request of a section in the form of the journal."""
        text, _, words = text.decode("latin-1").partition(":")
        name, *pairs = text.split()
        fields = {"request": name}
        for key, _, value in (pair.partition("=") for pair in pairs):
            fields[key] = int(value) if value.isdigit() else value
        if words:
            data = self.session.bytes_in(words.replace(" nothing", ""), line)
            fields.update(size=len(data), crc32="%08x" % zlib.crc32(data))
        return canonical(fields)

    def check_file(self, name, content, line):
        if not os.path.exists(self.path(name)):
            raise Difference(line, "there is no file %r" % name)
        with open(self.path(name), "rb") as file:
            found = file.read()
        if found != content:
            at = len(os.path.commonprefix([content, found]))
            sides = (
                "%s %s (%d bytes)" % (sign, data[at : at + 16].hex(" "), len(data))
                for sign, data in (("-", content), ("+", found))
            )
            raise Difference(line, "file %r differs at byte %d" % (name, at), *sides)


def joined(lines):
    """Joins each line that begins with a blank to the line before."""
    whole = []
    for number, text in lines:
        if text.startswith(" "):
            whole[-1] = (whole[-1][0], whole[-1][1] + text)
        else:
            whole.append((number, text))
    return whole


def canonical(fields):
    """Returns a request in a readable form for comparisons.

    It has no client and no times, which differ from run to run, and no result "ok".
    """
    left_out = ("request", "client", "monoUs", "wallUs") + ("result",) * (
        fields.get("result") == "ok"
    )
    return " ".join(
        [fields["request"]]
        + [
            "%s=%s" % (key, str(value).lower())
            for key, value in sorted(fields.items())
            if key not in left_out
        ]
    )
