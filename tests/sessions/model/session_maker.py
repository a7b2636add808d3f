"""Sessions made up by chance, the same for the same seed, and those of every key."""

import random
from dataclasses import dataclass, field

from scripted_platform import Script

NUMBERS = "0 1 2 3 7 13 14 15 255 256 259 300 640 641 48 49 80 12 1024".split()
ODD_NUMBERS = "-1 +5 007 256 4294967295 -4294967290 -4294967295 0000".split()
BAD_NUMBERS = (
    "4294967296 99999999999999999999 -4294967296 abc - + 0x10 1e5 5.7 3,4 +-3 --1 " "t"
).split()
ANSWERS = "t t f f true false Yes no ON off 1 0 y maybe TRUE tr T\xc4".split()
REGION_FILES = (
    "region region small small empty table folder none table.out . blue\xe9\x1b[1m"
).split(" ")
REGION_SIZES = "0 0 1 4 5 6 1023 1024 1025 4000 4001 65536 -1".split()
TABLES = (
    "table table grey longer shorter empty folder none table.out grey.out.out barred full small"
    " blue\xe9\x1b[1m full.out"
).split(" ")
ENDINGS = ["\n"] * 6 + [" ", "\t", "\r\n", "\n \n", "\v\f"]
SEGMENTS = "80 12 100 10 640 48 641 49 1 320 24 2 7 0 4294967295 64 5".split()
# Words of a command line, and what the parser makes of them.
CONSOLE = (["-i"], [("i", None)])
COMMAND_LINES = [CONSOLE] * 12 + [
    (["--interactive"], [("i", None)]),
    (["-pi"], [("p", None), ("i", None)]),
    (["-i", "-p"], [("i", None), ("p", None)]),
    (["-c", "-i", "-c"], [("c", None), ("i", None), ("c", None)]),
    (["-e", "node1", "-p", "-i"], [("e", "node1"), ("p", None), ("i", None)]),
    (["-ea", "--connection=b", "-i", "-q"], [("e", "a"), ("e", "b"), ("i", None), ("q", None)]),
    (["-i", "-e", "n", "-p", "-l"], [("i", None), ("e", "n"), ("p", None), ("l", None)]),
    (["-s", "12x", "-i"], [("s", "12x"), ("i", None)]),
    (["--setloglevel", "-1", "-l"], [("s", "-1"), ("l", None)]),
    (["-s", "abc", "--loglevel"], [("s", "abc"), ("l", None)]),
    (["-s", "", "-q"], [("s", ""), ("q", None)]),
    (["-h"], [("h", None)]),
    (["--usage", "--ping", "--quit"], [("h", None), ("p", None), ("q", None)]),
    (["--help", "-i"], [("h", None), ("i", None)]),
    (["--config", "-i"], [("?", None), ("i", None)]),
    (["-z", "-c", "-p"], [("?", None), ("c", None), ("p", None)]),
    (["-i", "-i"], [("i", None), ("i", None)]),
]


@dataclass
class Session:
    """All that makes a session."""

    name: str
    keys: bytes
    words: list = field(default_factory=lambda: ["-i"])
    options: list = field(default_factory=lambda: [("i", None)])
    script: Script = field(default_factory=Script)


class SessionMaker:
    """Makes one session up."""

    def __init__(self, seed):
        self.seed = seed
        self.chance = random.Random(seed)
        self.keys = []
        self.subscribes = not self.one_in(4)
        self.careless = self.one_in(2)

    def one_in(self, count):
        return self.chance.randrange(count) == 0

    def make(self):
        if self.subscribes and self.one_in(2):
            self.type("1")
        for _ in range(self.chance.randrange(14)):
            self.command()
        self.end()
        keys = "".join(self.keys).encode("latin-1")
        words, options = self.chance.choice(COMMAND_LINES)
        return Session("seed %d" % self.seed, keys, words, options, self.script())

    # Typing

    def type(self, word):
        """Types a word and what separates it from the next; one who is careless slips."""
        slip = self.chance.randrange(120) if self.careless else None
        if slip == 0:
            return
        self.keys.append(self.junk() if slip == 1 else word)
        if slip == 2:
            return
        if slip == 3:
            self.keys.append(" " + word)
        self.keys.append(self.chance.choice(ENDINGS))

    def junk(self):
        """Bytes of any kind, but not those that make a path."""
        length = self.chance.randrange(1, 7)
        bytes_ = [
            self.chance.randrange(33, 127) if self.one_in(2) else self.chance.randrange(256)
            for _ in range(length)
        ]
        return "".join("#" if chr(byte) in "./" else chr(byte) for byte in bytes_)

    def number(self, usual):
        """A number, now and then an odd one, and for the careless one that is none."""
        if self.careless and self.one_in(25):
            return self.chance.choice(BAD_NUMBERS)
        return self.chance.choice(ODD_NUMBERS if self.one_in(10) else usual)

    def end(self):
        """Leaves, or stops in the middle."""
        if self.one_in(12):
            if self.one_in(2) and self.keys:
                self.keys[-1] = self.keys[-1].rstrip()
            return
        self.keys.append("x\n" * self.chance.choice([1, 1, 2, 3]))

    # Commands

    def command(self):
        """One command of the main console."""
        commands = (
            [self.region_data] * 2
            + [self.visibility]
            + [self.palette] * 3
            + [self.invert]
            + [self.dynamic_test] * 2
            + [self.sensor_test] * 2
            + [self.plain] * 3
            + [self.unknown]
        )
        if self.subscribes:
            commands += [lambda: self.type("1")] * 4 + [lambda: self.type("2")]
        self.chance.choice(commands)()

    def plain(self):
        """A key without questions."""
        self.type(self.chance.choice("sscr2kr"))

    def unknown(self):
        """A key that is none."""
        self.type(self.chance.choice(["9", "0", "w", "X", "S", "z", "%", "R", "K", "\x80", "\xff"]))

    def region(self):
        return self.number("1 2 3 7 13 14 15 0 259 300".split())

    def region_data(self):
        self.type("3")
        self.type(self.region())
        self.type(self.chance.choice(REGION_FILES))
        self.type(self.number(REGION_SIZES))

    def visibility(self):
        self.type("4")
        self.type(self.region())
        self.type(self.chance.choice(ANSWERS))

    def palette(self):
        self.type("5")
        self.type(self.region())
        self.type(self.chance.choice(TABLES))
        if self.one_in(2):
            self.type(self.chance.choice(["t", "yes", "1", "On"]))
            if self.one_in(2):
                self.type("t")
                self.type(self.number("0 1 17 254 255 256 1000".split()))
            else:
                self.type("f")
        else:
            self.type(self.chance.choice(["f", "no", "2"]))
            self.type(self.number("0 1 9 31 255 256 300".split()))
            self.type(self.chance.choice(ANSWERS))

    def invert(self):
        self.type("6")
        self.type(self.region())

    def dynamic_test(self):
        self.type("7")
        self.type(self.region())
        for _ in range(self.chance.randrange(7)):
            key = self.chance.choice("1 2 3 4 5 s s z".split())
            self.type(key)
            if key in "12":
                self.type(self.number(NUMBERS))
            elif key in "34":
                self.type(self.number(SEGMENTS))
        if not self.one_in(20):
            self.type(self.chance.choice("xxq"))

    def sensor_test(self):
        self.type("8")
        for _ in range(self.chance.randrange(7)):
            self.type(self.chance.choice("1 2 3 4 5 6 7 8 9 0 n m c s M z 12 nm9".split()))
        if not self.one_in(20):
            self.type(self.chance.choice("xxq"))

    # What the platform does meanwhile

    def script(self):
        """Failing calls and notifications."""
        script = Script()
        if self.one_in(3):
            likely = self.chance.choice([2, 5, 20])
            script.fails = {call for call in range(1, 80) if self.one_in(likely)}
        if self.subscribes:
            for _ in range(self.chance.randrange(25)):
                call = self.chance.randrange(2, self.chance.choice([20, 40, 80]))
                script.brings.setdefault(call, []).append(self.notification())
        return script

    def byte(self, usual):
        """A usual one or any."""
        return self.chance.randrange(256) if self.one_in(6) else self.chance.choice(usual)

    def notification(self):
        """A record for one of the three handlers."""
        region = self.byte([0, 1, 2, 3, 13, 14, 15])
        kind = self.chance.randrange(5)
        if kind == 3:
            return ("visibility", region, self.one_in(2))
        if kind == 4:
            table = self.chance.randbytes(self.chance.choice([0, 0, 1, 4, 64, 1024]))
            return ("palette", region, self.byte([0, 1, 31]), self.one_in(2), table)
        size = self.chance.choice([0, 1, 1000, 40000, 99999999, 2000000000, 0xFFFFFFFF])
        return ("data", region, self.byte([0, 1, 2, 2, 2, 3, 4]), size, self.pixels())

    def pixels(self):
        """Mostly values of a palette of four."""
        length = self.chance.choice([0, 1, 4, 100, 3000])
        pixels = bytes(byte & 3 for byte in self.chance.randbytes(length))
        if self.one_in(3):
            odd = self.chance.randbytes(self.chance.randrange(4))
            pixels = pixels[: length // 2] + odd + pixels[length // 2 :]
        return pixels


MENUS = {"main": b"", "dynamic": b"7\n1\n", "sensor": b"8\n"}


def first_keys(menu):
    """Every byte as the first key of a menu."""
    for key in range(256):
        yield Session("%s menu, key %d" % (menu, key), MENUS[menu] + bytes([key]) + b"\nx\nx\nx\n")


KNOWN_KEYS = {"main": b"12345678rsckxq", "dynamic": b"12345sxq", "sensor": b"1234567890nmcsxq"}


def second_keys(menu):
    """Every byte behind every byte. Behind a key that is none, all of them in one session."""
    for key in range(256):
        if key in KNOWN_KEYS[menu] + b" \t\n\v\f\r":
            for second in range(256):
                yield Session(
                    "%s menu, keys %d and %d" % (menu, key, second),
                    MENUS[menu] + bytes([key, second]) + b"\nx\nx\nx\n",
                )
        else:
            pairs = b"".join(bytes([key, second]) + b"\n" for second in range(256))
            yield Session(
                "%s menu, key %d and all others" % (menu, key), MENUS[menu] + pairs + b"x\nx\nx\n"
            )
