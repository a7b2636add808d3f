"""Makes random sessions from a seed, and sessions of every key."""

import random
from dataclasses import dataclass, field

from scripted_platform import Script

# Typed text for the words of COMMANDS in capitals.
ANSWERS = "t t f f true false Yes no ON off 1 0 y maybe TRUE tr T\xc4".split()
CHOICES = {
    "REGION": "1 2 3 7 13 14 15 0 259 300".split(),
    "FILE": ("region region small small empty table folder none table.out . blue\xe9\x1b[1m").split(
        " "
    ),
    "SIZE": "0 0 1 4 5 6 1023 1024 1025 4000 4001 65536 -1".split(),
    "TABLE": (
        "table table grey longer shorter empty folder none table.out grey.out.out barred full small"
        " blue\xe9\x1b[1m full.out"
    ).split(" "),
    "RGB": "t yes 1 On".split(),
    "PLAIN": "f no 2".split(),
    "PIXEL": "0 1 17 254 255 256 1000".split(),
    "CODE": "0 1 9 31 255 256 300".split(),
    "ANSWER": ANSWERS,
    "NUMBER": "0 1 2 3 7 13 14 15 255 256 259 300 640 641 48 49 80 12 1024".split(),
    "SEGMENT": "80 12 100 10 640 48 641 49 1 320 24 2 7 0 4294967295 64 5".split(),
    "SENSOR": "1 2 3 4 5 6 7 8 9 0 n m c s M z 12 nm9".split(),
    "UNKNOWN": ["9", "0", "w", "X", "S", "z", "%", "R", "K", "\x80", "\xff"],
}
NUMBERS = ("REGION", "SIZE", "PIXEL", "CODE", "NUMBER", "SEGMENT")
ODD_NUMBERS = "-1 +5 007 256 4294967295 -4294967290 -4294967295 0000".split()
BAD_NUMBERS = (
    "4294967296 99999999999999999999 -4294967296 abc - + 0x10 1e5 5.7 3,4 +-3 --1 " "t"
).split()
ENDINGS = ["\n"] * 6 + [" ", "\t", "\r\n", "\n \n", "\v\f"]

# More frequent commands occur several times.
COMMANDS = (
    ["3 REGION FILE SIZE"] * 4
    + ["4 REGION ANSWER"] * 2
    + ["5 REGION TABLE RGB f", "5 REGION TABLE RGB t PIXEL", "5 REGION TABLE PLAIN CODE ANSWER"] * 2
    + ["6 REGION"] * 2
    + ["7 REGION"] * 4
    + ["8"] * 4
    + ["s", "s", "c", "r", "r", "2", "k", "k"]
    + ["UNKNOWN"] * 2
)
SUBSCRIBING = ["1"] * 8 + ["2"] * 2
# Commands inside these menus, which x or q leaves.
INSIDE = {
    "7": ["1 NUMBER", "2 NUMBER", "3 SEGMENT", "4 SEGMENT", "5", "s", "s", "z"],
    "8": ["SENSOR"],
}

# Words of a command line, and the options that the parser returns.
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
    """The input of a session."""

    name: str
    keys: bytes
    words: list = field(default_factory=lambda: ["-i"])
    options: list = field(default_factory=lambda: [("i", None)])
    script: Script = field(default_factory=Script)


class SessionMaker:
    """Makes a random session."""

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
            self.command(self.chance.choice(COMMANDS + SUBSCRIBING * self.subscribes))
        self.end()
        keys = "".join(self.keys).encode("latin-1")
        words, options = self.chance.choice(COMMAND_LINES)
        return Session("seed %d" % self.seed, keys, words, options, self.script())

    # Typed text

    def command(self, command):
        """Returns a command with its answers, and with the commands of its own menu."""
        for word in command.split():
            self.type(self.word(word))
        if command[0] in INSIDE:
            for _ in range(self.chance.randrange(7)):
                for word in self.chance.choice(INSIDE[command[0]]).split():
                    self.type(self.word(word))
            if not self.one_in(20):
                self.type(self.chance.choice("xxq"))

    def word(self, word):
        """Returns a word. Numbers are sometimes odd ones; if careless, sometimes no numbers."""
        if word in NUMBERS and self.careless and self.one_in(25):
            return self.chance.choice(BAD_NUMBERS)
        if word in NUMBERS and self.one_in(10):
            return self.chance.choice(ODD_NUMBERS)
        return self.chance.choice(CHOICES.get(word, [word]))

    def type(self, word):
        """Types a word and a separator; if careless, with typing errors."""
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
        """Returns any bytes except those of a path."""
        length = self.chance.randrange(1, 7)
        bytes_ = [
            self.chance.randrange(33, 127) if self.one_in(2) else self.chance.randrange(256)
            for _ in range(length)
        ]
        return "".join("#" if chr(byte) in "./" else chr(byte) for byte in bytes_)

    def end(self):
        """Leaves the console, or ends the input earlier."""
        if self.one_in(12):
            if self.one_in(2) and self.keys:
                self.keys[-1] = self.keys[-1].rstrip()
            return
        self.keys.append("x\n" * self.chance.choice([1, 1, 2, 3]))

    # Actions of the SDK

    def script(self):
        """Makes failing calls and notifications."""
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
        """Returns a usual number or any number."""
        return self.chance.randrange(256) if self.one_in(6) else self.chance.choice(usual)

    def notification(self):
        """Returns a record for one of the three handlers."""
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
        """Returns pixels, mostly with the values 0 to 3."""
        length = self.chance.choice([0, 1, 4, 100, 3000])
        pixels = bytes(byte & 3 for byte in self.chance.randbytes(length))
        if self.one_in(3):
            odd = self.chance.randbytes(self.chance.randrange(4))
            pixels = pixels[: length // 2] + odd + pixels[length // 2 :]
        return pixels


def first_keys():
    """Yields sessions with every byte as the first key of each menu."""
    for menu, opening in (("main", b""), ("dynamic", b"7\n1\n"), ("sensor", b"8\n")):
        for key in range(256):
            keys = opening + bytes([key]) + b"\nx\nx\nx\n"
            yield Session("%s menu, key %d" % (menu, key), keys)


DIALOGUES = (
    "3 1 region 5",
    "4 1 t",
    "5 1 table t t 17",
    "5 1 table f 9 t",
    "6 1",
    "7 300 1 5 s 1",
    "7 300 2 9 1 7 3 100 4 10 2",
    "8 n s x",
)


def cut_dialogues():
    """Yields the dialogue of each command with an end of the input after each word."""
    for dialogue in DIALOGUES:
        words = dialogue.split()
        for count in range(1, len(words) + 1):
            keys = "".join(word + "\n" for word in words[:count])
            yield Session("input ends after " + " ".join(words[:count]), keys.encode())


def failing_calls():
    """Yields each option that calls the SDK, with a failure of each of its calls."""
    for option, argument in (("p", None), ("q", None), ("l", None), ("s", "7")):
        for call in (1, 2, 3):
            words = ["-" + option + (argument or "")]
            name = "%s, call %d fails" % (words[0], call)
            yield Session(name, b"", words, [(option, argument)], Script({call}))
