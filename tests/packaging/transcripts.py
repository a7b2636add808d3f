#!/usr/bin/env python3
"""Runs the terminal transcripts of manual pages and guides, and compares the output.

transcripts.py BIN_DIR FILE... [-- EMULATOR...]

A transcript is a literal display of a manual page, or a block of a guide fenced as `console`. A
line that begins with "$ " is a command. Its terminal with typed text follows. The
commands of a file share one shell, one folder and one messaging directory.

  [...]                      a menu that an earlier line shows in full
  "monoUs":1, passed in 1s   any time
  http://127.0.0.1:1/        any port
  /home/me                   the folder
  $ cat FILE                 makes the file from the shown text, if it does not exist
  export PATH=...            runs too if a block fenced as `sh` has it; before the first transcript
  the programs are not found without it
  <!-- service: OPTIONS -->  in a guide, .\\" service: OPTIONS in a page: starts a service that
                             prints nothing; "none" ends the running services
"""

import difflib
import os
import re
import shlex
import sys

import pexpect

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "python"))
sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from pytest_subtitle import SECONDS, Service, Workspace

PROGRAMS = (
    "SubtitleMgrCli",
    "SubtitleMgrCtl",
    "SubtitleMgrSim",
    "SubtitleMgrTap",
    "SubtitleMgrView",
)
DEMO = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../script/demo")
END_OF_COMMAND = "\x1e"
# Runs one command after the other; the terminal is their standard streams.
SHELL = r"""
exec 9<>"$COMMANDS"
status=0
while IFS= read -r -d '' -u 9 command; do
    (exit $status)
    eval "$command"
    status=$?
    printf '\036'
done
"""
MENU_END = "x) Exit"
MENU_AGAIN = "[...]"
MENU = r"\r\nChoose an (?:sensor )?option:\r\n(?:[^\r]+\r\n)+\r\n"
PROMPT = re.compile(
    r"(Enter [A-Za-z ]+: +|Enter region visibility \(t/f\): |RGB palette \(t/f\): "
    r"|Transparent pixel\? \(t/f\): |Transparent pixel value: +|Background code: +"
    r"|Region Fill \(t/f\): |New log level \(a sum of bits, 2 for errors, 8 for notes\): )(\S+)$"
)
ANY_NUMBER = re.compile(
    r'("(?:mono|wall)Us":|http://127\\\.0\\\.0\\\.1:|(?:passed|skipped)\\ in\\ )[\d\\.]+'
)
NOTIFICATION = re.compile(r"$|\*\*\* |CLI: |Unexpected |Add\w+: ")
ESCAPES = {r"\-": "-", r"\(aq": "'", r"\(ga": "`", r"\&": "", r"\e": "\\"}


class Mismatch(Exception):
    pass


def steps_of_page(text):
    """Yields ("service", options) and ("command", lines) of a manual page's examples."""
    examples = text.split(".Sh EXAMPLES\n", 1)[1].split("\n.Sh ", 1)[0]
    for service, display in re.findall(
        r'^\.\\" service: (.*)\n|^\.Bd -literal.*\n((?:[^.].*\n)+)\.Ed$', examples, re.MULTILINE
    ):
        if service:
            yield "service", service
        else:
            plain = re.sub(r"\\(?:\(\w\w|.)", lambda escape: ESCAPES[escape[0]], display)
            yield from commands_of(plain)


def steps_of_guide(text):
    """Yields the same of a guide, and ("export", line)."""
    for service, kind, block in re.findall(
        r"^<!-- service: (.*) -->$|^```(\w*)\n((?:.*\n)*?)```$", text, re.MULTILINE
    ):
        if service:
            yield "service", service
        elif kind == "console":
            yield from commands_of(block)
        elif kind == "sh":
            yield from (("export", line) for line in re.findall("^export .*", block, re.MULTILINE))


def commands_of(block):
    """Yields each command with the lines of its terminal, as ("command", lines)."""
    begin, *commands = re.split(r"^\$ ", block, flags=re.MULTILINE)
    if begin:
        raise Mismatch("a transcript does not begin with a command: " + begin)
    for command in commands:
        yield "command", command.removesuffix("\n").split("\n")


def segments_of(shown):
    """Splits a terminal's lines before each typed text.

    Yields patterns of shown text, each with the text that is typed next. The last has none.
    """
    pattern = ""
    at_menu = False
    for number, line in enumerate(shown):
        prompt = PROMPT.match(line)
        if line == MENU_AGAIN:
            pattern += MENU
            at_menu = True
        elif prompt:
            yield pattern + re.escape(prompt[1]), prompt[2]
            pattern = re.escape(prompt[2]) + "\r\n"
        elif at_menu and not NOTIFICATION.match(line):
            yield pattern, line
            pattern = re.escape(line) + "\r\n"
            at_menu = False
        else:
            pattern += ANY_NUMBER.sub(r"\1[\\d.]+", re.escape(line.rstrip())) + " *\r\n"
            at_menu = at_menu or (line == "" and number > 0 and shown[number - 1] == MENU_END)
    yield pattern, None


class Terminal:
    """A shell on a pseudo-terminal, in a folder of its own."""

    def __init__(self, workspace, bin_dir, emulator, has_programs):
        self.workspace = workspace
        self.services = []
        self.folder = workspace.files
        programs = os.path.join(self.folder, "build/desk/bin")
        os.makedirs(programs)
        for name in PROGRAMS:
            path = os.path.join(programs, name)
            target = os.path.join(os.path.abspath(bin_dir), name)
            if emulator:  # makes a launcher with the program's name
                with open(path, "w", encoding="utf-8") as launcher:
                    words = shlex.join([*emulator, "-0", name, target])
                    launcher.write('#!/bin/sh\nexec %s "$@"\n' % words)
                os.chmod(path, 0o755)
            else:
                os.symlink(target, path)
        os.mkdir(os.path.join(self.folder, "script"))
        os.symlink(DEMO, os.path.join(self.folder, "script/demo"))
        commands = workspace.new_path("commands")
        os.mkfifo(commands)
        environment = {
            **workspace.environment(),
            "LC_ALL": "C.UTF-8",
            "NO_COLOR": "1",
            "HOME": self.folder,
            "PY_COLORS": "0",
            "COMMANDS": commands,
        }
        if has_programs:
            environment["PATH"] = programs + ":" + environment["PATH"]
        self.shell = pexpect.spawn(
            "bash",
            ["-c", SHELL],
            env=environment,
            cwd=self.folder,
            encoding="utf-8",
            timeout=SECONDS,
        )
        self.shell.delaybeforesend = None
        self.commands = open(commands, "wb", buffering=0)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop_services()
        self.commands.close()
        self.shell.close(force=True)  # also ends its background processes

    def start_service(self, options):
        self.services.append(Service(self.workspace, shlex.split(options)))
        self.services[-1].start()

    def stop_services(self):
        while self.services:
            self.services.pop().stop()

    def run(self, command, shown):
        shown = [line.replace("/home/me", self.folder) for line in shown]
        made = re.match(r"cat (\S+)$", command)
        if made and not os.path.exists(os.path.join(self.folder, made[1])):
            with open(os.path.join(self.folder, made[1]), "w", encoding="utf-8") as file:
                file.write("".join(line + "\n" for line in shown))
        self.commands.write(command.encode() + b"\0")
        found = ""
        for pattern, typed in segments_of(shown):
            if typed is None and not command.endswith("&"):
                pattern = pattern.removesuffix("\r\n") + "(?:\r\n)?" + END_OF_COMMAND
            elif typed is None:  # the output may arrive before or after the end of the command
                pattern = END_OF_COMMAND + "?" + pattern
            ends = [] if command.endswith("&") else [END_OF_COMMAND]
            try:
                match = self.shell.expect([pattern, *ends])
                found += self.shell.before + self.shell.after
            except (pexpect.TIMEOUT, pexpect.EOF):
                match, found = None, found + self.shell.before
            if match != 0 or self.shell.before:
                raise Mismatch(difference(command, shown, found))
            if typed is not None:
                self.shell.send(typed + "\n")
        if command.endswith("&") and END_OF_COMMAND not in found:
            self.shell.expect_exact(END_OF_COMMAND)


def difference(command, shown, found):
    """Returns the lines around the first difference."""
    found = found.replace("\r", "").replace(END_OF_COMMAND, "").removesuffix("\n").split("\n")
    lines = list(difflib.unified_diff(shown, [line.rstrip() for line in found], n=2, lineterm=""))
    return "\n".join(["$ " + command, *lines[3:11]])


def check(path, bin_dir, emulator):
    """Returns the number of commands."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    steps = list(steps_of_guide(text) if path.endswith(".md") else steps_of_page(text))
    count = 0
    has_programs = [kind for kind, _ in steps if kind != "service"][:1] != ["export"]
    launchers = os.path.join(bin_dir, "..", "launchers")
    with Workspace(launchers if emulator else bin_dir) as workspace, Terminal(
        workspace, bin_dir, emulator, has_programs
    ) as terminal:
        for kind, content in steps:
            if kind == "command":
                terminal.run(content[0], content[1:])
                count += 1
            elif kind == "export":
                terminal.run(content, [])
            elif content == "none":
                terminal.stop_services()
            else:
                terminal.start_service(content)
    return count


def main(arguments):
    emulator = []
    if "--" in arguments:
        at = arguments.index("--")
        arguments, emulator = arguments[:at], arguments[at + 1 :]
    failed = False
    for path in arguments[1:]:
        try:
            count = check(path, arguments[0], emulator)
            print("%s: %d commands" % (path, count))
            failed = failed or count == 0
        except Mismatch as mismatch:
            print("%s: %s" % (path, mismatch))
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
