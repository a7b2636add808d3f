"""A model of the C++ library's formatted input, byte by byte."""

SPACE = b" \t\n\v\f\r"
LARGEST = 0xFFFFFFFF


class ConsoleInput:
    """Typed bytes, and the stream states "end" and "failed", which are never cleared."""

    def __init__(self, keys):
        self.keys = keys
        self.at = 0
        self.at_end = False
        self.failed = False

    def _begin(self, skips_space=True):
        """Whether an extraction may begin."""
        if self.at_end or self.failed:
            self.failed = True
            return False
        if skips_space:
            while self.at < len(self.keys) and self.keys[self.at] in SPACE:
                self.at += 1
            if self.at == len(self.keys):
                self.at_end = self.failed = True
                return False
        return True

    def key(self, before):
        """Returns one byte that is not white space, or `before` if there is none."""
        if not self._begin():
            return before
        self.at += 1
        return self.keys[self.at - 1 : self.at]

    def number(self, before):
        """Returns a 32-bit number; `before` if nothing can be read, 0 if the text is no number."""
        if not self._begin():
            return before
        negative = self.keys[self.at : self.at + 1] == b"-"
        if negative or self.keys[self.at : self.at + 1] == b"+":
            self.at += 1
        begin = self.at
        while self.at < len(self.keys) and self.keys[self.at] in b"0123456789":
            self.at += 1
        digits = self.keys[begin : self.at]
        self.at_end = self.at == len(self.keys)
        if not digits:
            self.failed = True
            return 0
        value = int(digits) if len(digits) < 4000 else LARGEST + 1
        if value > LARGEST:
            self.failed = True
            return LARGEST
        return -value & LARGEST if negative else value

    def word(self):
        """Returns bytes up to the next white space; none if nothing can be read."""
        if not self._begin():
            return b""
        begin = self.at
        while self.at < len(self.keys) and self.keys[self.at] not in SPACE:
            self.at += 1
        self.at_end = self.at == len(self.keys)
        return self.keys[begin : self.at]

    def discard(self):
        """Drops one byte."""
        if self._begin(skips_space=False):
            if self.at == len(self.keys):
                self.at_end = True
            else:
                self.at += 1
