"""One run of the client in a session."""

import os
import re
import shlex
import signal

from expectation import Difference, ExpectedText
from pytest_subtitle import PipedConsole, TimeLimit
from pytest_subtitle.terminal import TerminalConsole

# The compared output of a console that repeats itself, at least three turns.
REPEATED = 4096
# A console that prints so many bytes more than expected is killed.
TOO_MUCH = 100000
# Control bytes, which a terminal echoes as ^A to ^Z.
CONTROL = re.compile(rb"[\x01-\x08\x0b-\x1f]")


class ConsoleRun:
    """A client that runs a section of a session."""

    def __init__(self, player, section):
        self.player = player
        self.line = section.line
        self.steps = player.session.steps(section)
        self.on_terminal = player.medium == "terminal"
        self.output, self.errors = ExpectedText(), ExpectedText()
        self.before_turns = None  # the output before the part that repeats for ever
        make = TerminalConsole if self.on_terminal else PipedConsole
        words = section.words or "-i"
        self.console = make(
            player.workspace,
            [] if words == "without options" else shlex.split(words),
            self.launcher(),
        )

    def launcher(self):
        """Returns the words that start the client; in a session with modes they restrict root."""
        words = [
            word
            for section in self.player.session.of("through")
            for word in shlex.split(section.words)
        ]
        if self.player.session.of("mode") and os.geteuid() == 0:
            words += ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]
        return words

    def play(self):
        typed = [step for step in self.steps if step.kind == "typed"]
        kinds = {step.kind for step in self.steps}
        # On a pipe all text is typed ahead, unless the session has events.
        in_step = self.on_terminal or "event" in kinds
        with self.console:
            for step in self.steps if typed else [None, *self.steps]:
                if step and step.kind in ("event", "typed") and in_step:
                    self.await_expected()
                if step:
                    self.take(step)
                # A terminal needs the end of the input on an empty line.
                if step is (typed[-1] if typed else None) and (
                    not self.on_terminal or not typed or "forever" in kinds
                ):
                    self.console.end_input()
            if "forever" in kinds:
                self.check_turns()
            else:
                self.check_end()

    def take(self, step):
        if step.kind == "text":
            self.expect(self.output, step.value, step.line)
        elif step.kind == "errors":
            self.expect(self.output if self.on_terminal else self.errors, step.value, step.line)
        elif step.kind == "forever":
            self.before_turns, self.output = self.output, ExpectedText()
        elif step.kind == "event":
            self.player.event(step.value, step.line)
        else:
            self.console.type(step.value)
            if self.on_terminal:
                echo = CONTROL.sub(lambda byte: b"^%c" % (byte[0][0] ^ 64), step.value)
                self.expect(self.output, echo, step.line)

    def expect(self, stream, text, line):
        stream.add(text.replace(b"\n", b"\r\n") if self.on_terminal else text, line)

    def await_expected(self):
        """Waits until the output is as expected."""

        def is_complete():
            self.output.check_beginning("standard output differs", self.console.output)
            self.errors.check_beginning("standard error differs", self.console.errors)
            return (
                self.console.output == self.output.text and self.console.errors == self.errors.text
            )

        try:
            if not self.console.wait_for(is_complete, "the text"):
                self.check_end()
        except TimeLimit:
            self.output.check("standard output is missing", self.console.output)
            self.errors.check("standard error is missing", self.console.errors)

    def check_end(self):
        """Waits for the client's end and compares its output."""
        limit = len(self.output.text) + TOO_MUCH
        try:
            ended = not self.console.wait_for(lambda: len(self.console.output) > limit, "the end")
        except TimeLimit:
            self.output.check("standard output differs", self.console.output)
            raise Difference(self.line, "the client does not end") from None
        self.output.check("standard output differs", self.console.output)
        self.errors.check("standard error differs", self.console.errors)
        exits = [-getattr(signal, section.words) for section in self.player.session.of("exits")]
        status = self.console.wait() if ended else None
        if status != (exits[0] if exits else 0):
            raise Difference(self.line, "the client ends with %s" % status)

    def check_turns(self):
        """Compares a console that repeats itself for ever."""
        turn, expected = self.output, self.before_turns
        limit = len(expected.text) + max(REPEATED, 3 * len(turn.text))
        ended = not self.console.wait_for(lambda: len(self.console.output) >= limit, "the turns")
        while len(expected.text) < limit:
            expected.append(turn)
        expected.check_beginning("standard output differs", self.console.output[:limit])
        self.errors.check("standard error differs", self.console.errors)
        if ended:
            raise Difference(self.line, "the client ends")
