"""The files of a session, on the disk and in the model."""

import os
import random

DEVICE_FULL = "/dev/full"
LARGEST_READ = 1 << 24


def _noise(seed, length, below=256):
    chance = random.Random(seed)
    return bytes(chance.randrange(below) for _ in range(length))


CONTENTS = {
    b"region": _noise(1, 4000, 4),
    b"small": b"\x00\x01\x02\x03\xff",
    b"empty": b"",
    b"table": _noise(2, 1024),
    b"longer": _noise(3, 1500),
    b"shorter": _noise(4, 1023),
    b"full": _noise(5, 1024),
    b"barred": _noise(6, 1024),
    b"grey": bytes(value for level in range(256) for value in (level, level, level, 255 - level)),
    # Those of the fuzz target, whose corpus is replayed.
    b"pal": 1024 * b"\x40",
    b"bits": 1500 * b"\x03",
    b"short": 100 * b"\x7f",
    b"blue\xe9\x1b[1m": _noise(7, 1024),
}
DIRECTORIES = {b"folder", b"barred.out"}
FULL_DISKS = {b"full.out"}


class TooLong(Exception):
    """The read would need gigabytes."""


class SessionFiles:
    """The files by name; sessions run in their folder."""

    def __init__(self):
        self.contents = dict(CONTENTS)

    @staticmethod
    def _name(path):
        """Returns the part of a path that the C library uses."""
        return path.split(b"\0")[0]

    @classmethod
    def is_directory(cls, path):
        """Whether a path names a folder, like each path of dots and slashes."""
        name = cls._name(path)
        only_dots = name and not name.strip(b"./") and b"..." not in name
        return bool(only_dots) or name in DIRECTORIES

    def read(self, path, size):
        """Returns the first bytes of a file, or all; None if it cannot be opened."""
        name = self._name(path)
        if self.is_directory(path):
            return b""
        if name in FULL_DISKS:
            if size > LARGEST_READ:
                raise TooLong
            return b"\0" * size
        return self.contents[name][:size] if name in self.contents else None

    def write(self, path, content):
        """Returns the number of bytes written; None if the file cannot be opened."""
        name = self._name(path)
        if self.is_directory(path) or not name or b"/" in name:
            return None
        if name in FULL_DISKS:
            return 0
        self.contents[name] = content
        return len(content)


def make_folder(folder):
    """Makes the files in an empty folder."""
    for name, content in CONTENTS.items():
        with open(os.path.join(os.fsencode(folder), name), "wb") as file:
            file.write(content)
    for name in DIRECTORIES:
        os.mkdir(os.path.join(os.fsencode(folder), name))
    for name in FULL_DISKS:
        os.symlink(DEVICE_FULL, os.path.join(os.fsencode(folder), name))


def look_at_folder(folder):
    """Returns the contents of the plain files in a folder."""
    found = {}
    for entry in os.scandir(os.fsencode(folder)):
        if entry.is_file(follow_symlinks=False):
            with open(entry.path, "rb") as file:
                found[entry.name] = file.read()
    return found
