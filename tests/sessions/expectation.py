"""Compares expected and actual results of a session, and shows the first difference."""

import os

AROUND = 60  # characters of a long line before and after the difference


class Difference(Exception):
    """An actual result differs from the session."""

    def __init__(self, line, what, *context):
        super().__init__(what)
        self.line = line
        self.what = what
        self.context = context


def shown(text, at=0):
    """Returns a part of a line with visible blanks and control bytes."""
    begin = max(0, at - AROUND)
    return "%s%s%s" % (
        "..." if begin else "",
        repr(text[begin : at + AROUND])[1:],
        "..." if at + AROUND < len(text) else "",
    )


class ExpectedText:
    """A text that remembers the line of each part."""

    def __init__(self):
        self.text = b""
        self.ends = []  # (end of a part, line)

    def add(self, part, line):
        self.text += part
        self.ends.append((len(self.text), line))

    def append(self, other):
        self.ends += [(len(self.text) + end, line) for end, line in other.ends]
        self.text += other.text

    def check_beginning(self, what, found):
        """Raises a Difference unless \\p found is this text or its beginning."""
        if not self.text.startswith(found):
            self.fail(what, found)

    def check(self, what, found):
        """Raises a Difference unless \\p found is this text."""
        if self.text != found:
            self.fail(what, found)

    def fail(self, what, found):
        """Returns a Difference with the lines before it."""
        at = len(os.path.commonprefix([self.text, found]))
        begin = self.text.rfind(b"\n", 0, at) + 1
        line = next(
            (line for end, line in self.ends if end > at), self.ends[-1][1] if self.ends else None
        )
        before = ["  " + shown(text) for text in self.text[:begin].split(b"\n")[-3:-1]]
        sides = [
            sign
            + (
                shown(text[begin:].split(b"\n")[0], at - begin)
                if at < len(text)
                else "nothing more"
            )
            for sign, text in (("- ", self.text), ("+ ", found))
        ]
        raise Difference(line, what, *before, *sides)


def check_lines(what, line, expected, found, repeats=False):
    """Compares lists. Items of \\p expected are (text, line). The last one may repeat for ever."""
    texts = [text for text, _ in expected]
    if repeats:
        texts += texts[-1:] * max(1, len(found) - len(texts))
    if texts == found:
        return
    at = next(
        (number for number, pair in enumerate(zip(texts, found)) if pair[0] != pair[1]),
        min(len(texts), len(found)),
    )
    before = ["  %.200s" % text for text in texts[max(0, at - 2) : at]]
    sides = [
        "%s%.200s" % (sign, items[at] if at < len(items) else "nothing more")
        for sign, items in (("- ", texts), ("+ ", found))
    ]
    raise Difference(
        expected[min(at, len(expected) - 1)][1] if expected else line,
        "%s differ from number %d on" % (what, at + 1),
        *before,
        *sides
    )
