"""Wireshark's programs, with the dissector that is installed."""

import os
import re
import shutil
import struct
import subprocess

SECONDS = 120


class Wireshark:
    """Runs the programs in a private folder."""

    def __init__(self, programs, folder):
        self.root = folder / "root"
        subprocess.run(
            ["cmake", "--install", programs.parent, "--component", "view", "--prefix", "/usr"],
            env={**os.environ, "DESTDIR": str(self.root)},
            check=True,
            capture_output=True,
        )
        (self.dissector,) = self.root.rglob("subtitlemgr.lua")
        plugins = folder / ".local/lib/wireshark/plugins"  # root cannot choose that of all users
        plugins.mkdir(parents=True)
        shutil.copy(self.dissector, plugins)
        path = "%s:%s" % (programs, os.environ["PATH"])
        self.environment = {"HOME": str(folder), "PATH": path, "LINX_DIR": str(folder / "linx")}
        self.names = {}  # of values: by field, then by word
        values = self.run("tshark", "-G", "values").decode()
        for field, number, word in re.findall(r"^V\tsubtitle\.(\w+)\t(\w+)\t(.*)$", values, re.M):
            self.names.setdefault(field, {})[word] = int(number, 0)

    def run(self, *command, given=None, cwd=None):
        """Runs a command with the programs. Returns its standard output."""
        done = subprocess.run(
            command,
            input=given,
            env=self.environment,
            cwd=cwd,
            capture_output=True,
            timeout=SECONDS,
            check=False,
        )
        assert done.returncode == 0, done.stderr.decode()
        assert b"Lua Error" not in done.stdout + done.stderr, done.stderr.decode()
        return done.stdout

    def fields_of(self, capture, *fields):
        """Some fields of each packet of a capture as texts."""
        words = [word for field in fields for word in ("-e", field)]
        text = self.run("tshark", "-r", "-", "-T", "fields", *words, given=capture).decode()
        return [line.split("\t") for line in text.splitlines()]

    def fields(self, packets, *fields):
        """Some fields of each packet as texts. A packet may be a tuple of bytes and a size."""
        rows = self.fields_of(capture_of(packets), *fields)
        assert len(rows) == len(packets)
        return rows


def block(kind, body):
    body += bytes(-len(body) % 4)
    return struct.pack("<II", kind, len(body) + 12) + body + struct.pack("<I", len(body) + 12)


def capture_of(packets):
    """A capture that another program could write. A packet may have a size of its own."""
    section = block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1))
    blocks = [section, block(1, struct.pack("<HHI", 147, 0, 0))]
    for packet in packets:
        data, size = packet if isinstance(packet, tuple) else (packet, len(packet))
        blocks.append(block(6, struct.pack("<IIIII", 0, 0, 0, len(data), size) + data))
    return b"".join(blocks)
