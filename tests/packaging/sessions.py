#!/usr/bin/env python3
"""Runs the terminal sessions of manual pages and guides and compares them with what happens.

sessions.py BIN_DIR FILE... [-- EMULATOR...]

A session is a literal display of a manual page, or a block of a guide fenced as `console`. A line
that begins with "$ " is a command; what follows is its terminal, typed text included. The commands
of a file share one shell, one folder and one messaging directory.

  [...]                      stands for a menu that was shown in full before
  $ cat FILE                 makes the file from the text shown, when there is none yet
  <!-- service: OPTIONS -->  in a guide, .\\" service: OPTIONS in a page: starts a service that says
                             nothing; "none" ends those that run
"""

import os
import pty
import re
import select
import shlex
import shutil
import subprocess
import sys
import termios
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "python"))
sys.dont_write_bytecode = True  # nothing of a run stays in the sources

# pylint: disable=wrong-import-position
from pytest_subtitle import Service, Workspace

DEADLINE = 10
END_OF_COMMAND = "\x1e"
PROGRAMS = ("SubtitleMgrCli", "SubtitleMgrSim")

# Runs one command after the other, each with the terminal as its streams.
SHELL = r"""
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
MENU = r"\nChoose an (?:sensor )?option:\n(?:[^\n]+\n)+\n"
PROMPT = re.compile(
    r"(Enter [A-Za-z ]+: +|Enter region visibility \(t/f\): |RGB palette \(t/f\): "
    r"|Transparent pixel\? \(t/f\): |Transparent pixel value: +|Background code: +"
    r"|Region Fill \(t/f\): |New log level \(a sum of bits, 2 for errors, 8 for notes\): )(\S+)$"
)
NOTIFICATION = re.compile(r"$|\*\*\* |CLI: |Unexpected |Add\w+: ")


class Mismatch(Exception):
    pass


def literal_text(line):
    """The characters that a line of a literal display stands for."""
    for escape, character in (
        (r"\-", "-"),
        (r"\(aq", "'"),
        (r"\(ga", "`"),
        (r"\&", ""),
        (r"\e", "\0"),
    ):
        line = line.replace(escape, character)
    if "\\" in line:
        raise Mismatch("an escape that this test does not know: " + line)
    return line.replace("\0", "\\")


def steps_of_page(text):
    """Yields ("service", options) and ("session", lines) of a manual page's examples."""
    examples = text.split(".Sh EXAMPLES\n", 1)[1].split("\n.Sh ", 1)[0]
    block = None
    for line in examples.split("\n"):
        if line.startswith('.\\" service: '):
            yield "service", line.split(": ", 1)[1]
        elif line.startswith(".Bd -literal"):
            block = []
        elif line == ".Ed":
            yield "session", block
            block = None
        elif block is not None:
            block.append(literal_text(line))


def steps_of_guide(text):
    block = None
    for line in text.split("\n"):
        service = re.match(r"<!-- service: (.*) -->$", line)
        if service:
            yield "service", service.group(1)
        elif block is None and line == "```console":
            block = []
        elif block is not None and line == "```":
            yield "session", block
            block = None
        elif block is not None:
            block.append(line)


def commands_of(session):
    """Yields each command with the lines that its terminal shows."""
    if not session or not session[0].startswith("$ "):
        raise Mismatch("a session that begins with no command: " + "\n".join(session[:1]))
    command, shown = None, []
    for line in session:
        if line.startswith("$ "):
            if command is not None:
                yield command, shown
            command, shown = line[2:], []
        else:
            shown.append(line)
    yield command, shown


def script_of(shown):
    """Splits a terminal's lines into a pattern of all that is shown, and the typed lines.

    Returns the parts of the pattern and, for each typed line, after how many parts it is typed.
    """
    parts, typed = [], []
    at_menu = False
    for number, line in enumerate(shown):
        prompt = PROMPT.match(line)
        if line == MENU_AGAIN:
            parts.append(MENU)
            at_menu = True
        elif prompt:
            parts.append(re.escape(prompt.group(1)))
            typed.append((len(parts), prompt.group(2)))
            parts.append(re.escape(prompt.group(2)) + "\n")
        elif at_menu and not NOTIFICATION.match(line):
            typed.append((len(parts), line))
            parts.append(re.escape(line) + "\n")
            at_menu = False
        else:
            parts.append(re.escape(line.rstrip()) + "\n")
            at_menu = at_menu or (line == "" and number > 0 and shown[number - 1] == MENU_END)
    return parts, typed


def without_trailing_blanks(text):
    return re.sub(r" +(?=\n|$)", "", text)


class Terminal:
    """A shell on a pseudo-terminal, in a folder of its own."""

    def __init__(self, bin_dir, emulator):
        self.workspace = Workspace(
            os.path.join(bin_dir, "..", "launchers") if emulator else bin_dir
        )
        programs = os.path.join(self.workspace.root, "programs")
        os.mkdir(programs)
        for name in PROGRAMS:
            path = os.path.join(programs, name)
            target = os.path.join(os.path.abspath(bin_dir), name)
            if not emulator:
                os.symlink(target, path)
                continue
            with open(path, "w", encoding="utf-8") as launcher:
                launcher.write(
                    '#!/bin/sh\nexec %s "$@"\n' % shlex.join(emulator + ["-0", name, target])
                )
            os.chmod(path, 0o755)
        self.work = self.workspace.files
        self.environment = {
            **self.workspace.environment(),
            "LC_ALL": "C.UTF-8",
            "PATH": programs + ":" + os.environ["PATH"],
            "HOME": self.work,
        }
        self.services = []
        self.master, slave = pty.openpty()
        attributes = termios.tcgetattr(slave)
        attributes[1] &= ~termios.OPOST  # a newline stays one character
        termios.tcsetattr(slave, termios.TCSANOW, attributes)
        commands, self.commands = os.pipe()
        os.set_inheritable(commands, True)
        shell = "exec 9<&%d %d<&-\n%s" % (commands, commands, SHELL)
        self.shell = subprocess.Popen(
            ["bash", "-c", shell],
            stdin=slave,
            stdout=slave,
            stderr=slave,
            cwd=self.work,
            env=self.environment,
            pass_fds=[commands],
            start_new_session=True,
        )
        os.close(slave)
        os.close(commands)

    def close(self):
        self.stop_services()
        os.close(self.commands)
        try:
            os.killpg(self.shell.pid, 15)  # with all that it left in the background
        except ProcessLookupError:
            pass
        self.shell.wait(DEADLINE)
        os.close(self.master)
        shutil.rmtree(self.workspace.root)

    def start_service(self, options):
        self.services.append(Service(self.workspace, shlex.split(options)))
        self.services[-1].start()

    def stop_services(self):
        while self.services:
            self.services.pop().stop()

    def run(self, command, shown):
        made = re.match(r"cat (\S+)$", command)
        if made and not os.path.exists(os.path.join(self.work, made.group(1))):
            with open(os.path.join(self.work, made.group(1)), "w", encoding="utf-8") as file:
                file.write("".join(line + "\n" for line in shown))
        parts, typed = script_of(shown)
        os.write(self.commands, command.encode() + b"\0")
        output = ""
        for count, text in typed:
            pattern = re.compile("".join(parts[:count]).rstrip(" \\"))
            output = self.read_until(
                output,
                lambda so_far, pattern=pattern: pattern.fullmatch(without_trailing_blanks(so_far)),
                command,
                shown,
            )
            os.write(self.master, (text + "\n").encode())
        whole = re.compile("".join(parts))
        if command.endswith("&"):
            # What it prints comes when it comes.
            self.read_until(
                output,
                lambda so_far: END_OF_COMMAND in so_far
                and whole.fullmatch(so_far.replace(END_OF_COMMAND, "")),
                command,
                shown,
            )
            return
        output = self.read_until(
            output, lambda so_far: so_far.endswith(END_OF_COMMAND), command, shown
        )
        output = without_trailing_blanks(output[:-1])
        if output and not output.endswith("\n"):
            output += "\n"  # the prompt would follow on the same line
        if not whole.fullmatch(output):
            self.fail("differs", output, command, shown)

    def read_until(self, output, is_complete, command, shown):
        deadline = time.monotonic() + DEADLINE
        while not is_complete(output):
            if output.endswith(END_OF_COMMAND) and not command.endswith("&"):
                self.fail("has ended", output, command, shown)
            left = deadline - time.monotonic()
            if left <= 0 or not select.select([self.master], [], [], left)[0]:
                self.fail("shows something else for %d s" % DEADLINE, output, command, shown)
            output += os.read(self.master, 65536).decode()
        return output

    @staticmethod
    def fail(what, output, command, shown):
        raise Mismatch(
            "$ %s\n%s\n--- described:\n%s\n--- shown:\n%s"
            % (command, what, "\n".join(shown), output)
        )


def check(path, bin_dir, emulator):
    """Returns how many commands were run."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    steps = steps_of_guide(text) if path.endswith(".md") else steps_of_page(text)
    terminal = Terminal(bin_dir, emulator)
    count = 0
    try:
        for kind, content in steps:
            if kind == "session":
                for command, shown in commands_of(content):
                    terminal.run(command, shown)
                    count += 1
            elif content == "none":
                terminal.stop_services()
            else:
                terminal.start_service(content)
    finally:
        terminal.close()
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
        except Mismatch as mismatch:
            print("%s: %s" % (path, mismatch))
            failed = True
            continue
        print("%s: %d commands" % (path, count))
        if count == 0:
            print("%s: has no session" % path)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
