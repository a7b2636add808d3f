"""Runs docs/fleet.md: the broker's commands, and then its transcripts with that broker."""

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest
from fleet import Broker, free_port
from pytest_subtitle import SECONDS

ROOT = Path(__file__).resolve().parents[3]
TRANSCRIPTS = ROOT / "tests" / "packaging" / "transcripts.py"
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


class Page:
    """The page with the paths, the port and the name of a broker on this machine."""

    def __init__(self, folder):
        self.port = free_port()
        text = (ROOT / "docs" / "fleet.md").read_text()
        for old, new in (
            ("broker.example", "localhost"),
            ("8883", str(self.port)),
            ("/etc/mosquitto", str(folder)),
            ("/etc/ssl", str(folder)),
        ):
            assert old in text
            text = text.replace(old, new)
        self.sections = re.split(r"^(?=## )", text, flags=re.MULTILINE)
        (self.options,) = self.blocks("Every bench and desk")

    def blocks(self, heading):
        (section,) = [text for text in self.sections if text.startswith("## %s\n" % heading)]
        return [block for _, block in BLOCK.findall(section)]


@pytest.fixture(name="page")
def fixture_page(tmp_path, processes):
    """The page; its broker runs, and the clients have its options."""
    found = Page(tmp_path)
    commands, configuration = found.blocks("The broker")
    script = "".join(line.removeprefix("$ ") for line in commands.splitlines(True))
    if os.getuid() != 0:
        script = re.sub("^chown .*", "", script, flags=re.MULTILINE)
    subprocess.run(["bash", "-ec", script], check=True, capture_output=True, timeout=SECONDS)
    Broker(processes, tmp_path, configuration, found.port)
    return found


def with_options(folder, options):
    """The environment of a client with these options."""
    folder.mkdir()
    for program in ("mosquitto_pub", "mosquitto_sub"):
        (folder / program).write_text(options)
    return {**os.environ, "XDG_CONFIG_HOME": str(folder)}


def test_its_commands_work(page, programs, tmp_path):
    transcripts = tmp_path / "fleet.md"
    transcripts.write_text("".join(page.sections[3:]))
    subprocess.run(
        [sys.executable, TRANSCRIPTS, programs, transcripts],
        env=with_options(tmp_path / "options", page.options), check=True, timeout=10 * SECONDS,
    )  # fmt: skip


def test_the_broker_refuses_other_clients(page, tmp_path):
    changes = {"options": ("", ""), "any": ("--cafile .*\n", ""), "guess": ("secret", "guess")}
    for name, (old, new) in {**changes, "anonymous": ("-[uP] .*\n", "")}.items():
        environment = with_options(tmp_path / name, re.sub(old, new, page.options))
        client = ["mosquitto_pub", "-t", "x", "-m", "x"]
        status = subprocess.run(client, env=environment, check=False, timeout=SECONDS).returncode
        assert (status == 0) == (name == "options"), name
