"""Reads bytes in words that people can check by hand.

00 ff, "text", 640*07, 12*(80*00 80*08); NAME for bytes that have one, NAME+5 with 5 added to each.
"""

import re

WORD = re.compile(
    r'\s*(?:(?P<count>\d+)\*|(?P<hex>[0-9a-f]{2})(?![\w*])|"(?P<text>[^"]*)"'
    r"|(?P<name>[a-z][\w-]*(?:\+\d+)?)|(?P<sign>[()]))"
)


def byte_words(text, names):
    """Returns the bytes of the words; \\p names has the bytes of names."""
    words = list(_words(text))
    data = _sequence(words, names)
    if words:
        raise ValueError("a ) too many: " + text)
    return data


def _words(text):
    at = 0
    text = text.rstrip()
    while at < len(text):
        match = WORD.match(text, at)
        if not match:
            raise ValueError("not bytes: " + text[at:])
        at = match.end()
        yield match.lastgroup, match[match.lastgroup]


def _sequence(words, names):
    data = b""
    while words and words[0] != ("sign", ")"):
        data += _item(words, names)
    return data


def _item(words, names):
    kind, word = words.pop(0) if words else ("sign", "nothing")
    if kind == "hex":
        return bytes.fromhex(word)
    if kind == "text":
        return word.encode("latin-1")
    if kind == "name":
        name, _, more = word.partition("+")
        return bytes((byte + int(more or 0)) % 256 for byte in names[name])
    if kind == "count":
        return int(word) * _item(words, names)
    if word != "(":
        raise ValueError("bytes are missing before " + word)
    data = _sequence(words, names)
    if not words:
        raise ValueError("a ) is missing")
    words.pop(0)
    return data
