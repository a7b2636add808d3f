"""Standard input as the console reads it: formatted extraction of the C++ library, byte by byte."""

SPACE = b" \t\n\v\f\r"
LARGEST = 0xFFFFFFFF


class ConsoleInput:
    """Keys with the two states of a stream, at its end and failed; nothing ever clears them."""

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
        """One byte that is no space, or `before` when there is none."""
        if not self._begin():
            return before
        self.at += 1
        return self.keys[self.at - 1 : self.at]

    def number(self, before):
        """An unsigned number of 32 bits; `before` when nothing can be read, 0 for no number."""
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
        """Bytes up to the next space; none when nothing can be read."""
        if not self._begin():
            return b""
        begin = self.at
        while self.at < len(self.keys) and self.keys[self.at] not in SPACE:
            self.at += 1
        self.at_end = self.at == len(self.keys)
        return self.keys[begin : self.at]

    def discard(self):
        """Drops one byte, whatever it is."""
        if self._begin(skips_space=False):
            if self.at == len(self.keys):
                self.at_end = True
            else:
                self.at += 1
