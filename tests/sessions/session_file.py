"""Reads *.session files; README.md describes them."""

import os
import re
from dataclasses import dataclass, field

from byte_words import byte_words

TEXTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "texts")
FOR_FILES = ("text", "bytes", "file")
FOR_SESSIONS = (
    "service scenario through on file folder link fifo socket mode console event exits requests log"
).split()
PLACEHOLDER = re.compile(r"\{([^{}]+)\}")
ESCAPE = re.compile(r"\\(?:x([0-9a-f]{2})|(c\n|[\\cnrt]))")
LETTERS = {"\\": "\\", "n": "\n", "r": "\r", "t": "\t", "c": "", "c\n": ""}


class Mistake(Exception):
    """A session file has an error."""


@dataclass
class Section:
    """A section begins with a line of three dashes."""

    kind: str
    words: str  # of the first line
    line: int
    lines: list = field(default_factory=list)  # (number, text)


@dataclass
class Step:
    """An expected text, a typed text or an event in a console's section."""

    kind: str  # text, errors, typed, event, forever
    value: object
    line: int


class Session:
    """A session with the texts and bytes of its file."""

    def __init__(self, name, path, line, texts, byte_names):
        self.name = name
        self.path = path
        self.line = line
        self.texts = texts
        self.byte_names = byte_names
        self.sections = []

    def mistake(self, line, what):
        return Mistake("%s:%d: %s" % (self.path, line, what))

    def of(self, kind):
        return [section for section in self.sections if section.kind == kind]

    def bytes_of(self, section, words):
        """Returns the bytes of a section from \\p words of its first line and its other lines."""
        return self.bytes_in(" ".join([words, *(text for _, text in section.lines)]), section.line)

    def bytes_in(self, words, line):
        try:
            return byte_words(words, self.byte_names)
        except (ValueError, KeyError) as problem:
            raise self.mistake(line, problem) from problem

    def expand(self, text, line):
        """Returns a text as bytes, with replaced placeholders and escapes."""
        while PLACEHOLDER.search(text):
            text = PLACEHOLDER.sub(lambda match: self._text_of(match[1].split(), line), text)
        text = ESCAPE.sub(
            lambda match: chr(int(match[1], 16)) if match[1] else LETTERS[match[2]], text
        )
        return text.encode("latin-1")

    def _text_of(self, words, line):
        name, *more = words
        if name == "rows":
            return rows(*more)
        if name.isdigit() and more[0] == "times":
            return "\n".join(int(name) * ["{%s}" % " ".join(more[1:])])
        if name.isdigit() and more[0] == "of":
            return int(name) * more[1]
        text = self.texts.get(name) or global_text(name)
        if text is None:
            raise self.mistake(line, "there is no text {%s}" % name)
        for number, word in enumerate(more, 1):
            text = text.replace("{%d}" % number, word)
        return text

    def steps(self, section):
        """Returns the steps of a console's section in order."""
        steps = []
        lines = section.lines
        if lines and re.fullmatch("<[^<>]*>", lines[0][1]):
            lines = [(lines[0][0], "{menu unsubscribed}"), *lines]
        for number, text in lines:
            if text.startswith("=> "):
                steps.append(Step("event", text[3:], number))
            elif text == "{for ever}":
                steps.append(Step("forever", None, number))
            elif text.startswith("! "):
                steps.append(Step("errors", self.expand(text[2:] + "\n", number), number))
            else:
                shown, typed = re.fullmatch(r"(.*?)(?:<([^<>]*)>)?", text).groups()
                shown = self.expand(shown + ("\n" if typed is None else ""), number)
                if shown:
                    steps.append(Step("text", shown, number))
                if typed is not None:
                    steps.append(Step("typed", self.expand(typed + "\n", number), number))
        return steps


def global_text(name):
    """Returns a text that all session files share, or None."""
    path = os.path.join(TEXTS, name + ".txt")
    if not os.path.exists(path):
        return None
    with open(path, encoding="latin-1") as file:
        return file.read().removesuffix("\n")


def rows(regions, share):
    """Returns rows of the report for regions without traffic: rows("1-14", "nan")."""
    first, last = regions.split("-")
    return "\n".join(
        "  %2d   F   %6d + %6d + %6d = %6d   %8d + %8d + %8d = %8d    %5s %%"
        % (region, *8 * [0], share)
        for region in range(int(first), int(last) + 1)
    )


def read_sessions(path, shown_path):
    """Reads the sessions of a file. \\p shown_path is its name in messages."""
    with open(path, encoding="latin-1") as file:
        lines = file.read().split("\n")
    suite = os.path.splitext(os.path.basename(path))[0]
    shared = current = Session(suite, shown_path, 1, {}, {})
    sessions, section = [shared], None
    for number, text in enumerate(lines, 1):
        if text.startswith("=== "):
            current = Session(
                "%s.%s" % (suite, text[4:]), shown_path, number, shared.texts, shared.byte_names
            )
            current.sections += shared.of("file")
            sessions.append(current)
            section = None
        elif text.startswith("--- "):
            kind, _, words = text[4:].partition(" ")
            if kind not in (FOR_FILES if current is shared else FOR_SESSIONS):
                raise shared.mistake(number, "no such section here: " + kind)
            section = Section(kind, current.expand(words, number).decode("latin-1"), number)
            current.sections.append(section)
        elif section:
            section.lines.append((number, text))
        elif text and not text.startswith("#"):
            if current is shared:
                raise shared.mistake(number, "a line outside of any session")
            section = Section("console", "", number, [(number, text)])
            current.sections.append(section)
    for section in [section for session in sessions for section in session.sections]:
        while section.lines and not section.lines[-1][1].strip():
            section.lines.pop()
    for section in shared.sections:
        name, _, words = section.words.partition(":")
        if section.kind == "bytes":
            shared.byte_names[name] = shared.bytes_of(section, words)
        elif section.kind == "text":
            shared.texts[name] = "\n".join(text for _, text in section.lines)
    return sessions[1:]
