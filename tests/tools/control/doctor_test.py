#!/usr/bin/env python3
"""Breaks a desk in many ways: doctor finds each, and its repair mends it. Arguments: the programs.

A shell runs the repair, then the doctor once more: the finding must be gone.
"""

import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = []
SECONDS = 60
UNPRIVILEGED = 65534
SYSTEM_LOG = pathlib.Path("/dev/log")
# A repair starts or ends a process; the shell waits until the test has seen that.
REPAIR_AND_EXAMINE = """
trap 'kill $(jobs -p) 2>/dev/null; wait' EXIT
eval "$1" || exit 99
read -r _
"${@:2}"
"""
# Makes the socket of a service, and then accepts, closes, lets one client wait, or has the lock and
# does not listen.
PEER = """
import fcntl, socket, sys
path, does = sys.argv[1:]
listener = socket.socket(socket.AF_UNIX)
listener.bind(path)
if does == "lock":
    lock = open(path + ".lock", "w")
    fcntl.flock(lock, fcntl.LOCK_EX)
else:
    listener.listen(0 if does == "wait" else 8)
waiting = socket.socket(socket.AF_UNIX)
if does == "wait":
    waiting.connect(path)
print("ready", flush=True)
kept = []
while does in ("accept", "close"):
    kept += [listener.accept()[0]]
    if does == "close":
        kept.pop().close()
sys.stdin.read()
"""


class Doctor(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        self.linx = self.root / "linx"
        self.linx.mkdir(0o700)
        self.socket, self.lock, self.control = (
            self.linx / ("SubtitleMgr" + end) for end in ("", ".lock", ".control")
        )
        self.wrapper = []
        self.environment = {
            **os.environ,
            "HOME": str(self.root),
            "LC_ALL": "C",
            "LINX_DIR": str(self.linx),
            "PATH": "%s:%s" % (os.path.dirname(PROGRAMS[0]), os.environ["PATH"]),
            "SUBTITLE_LOG": str(self.root / "log"),
            "XDG_RUNTIME_DIR": str(self.root),
        }

    def launch(self, *command):
        """Starts a program that prints "ready"."""
        process = self.popen(["setpriv", "--pdeathsig=KILL", *command])
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        self.assertEqual(process.stdout.readline(), "ready\n")
        return process

    def popen(self, command):
        pipe = subprocess.PIPE
        return subprocess.Popen(
            command, env=self.environment, cwd=self.root, stdin=pipe, stdout=pipe, text=True
        )

    def serve(self, *options):
        return self.launch(PROGRAMS[1], "--quiet", *options)

    def drop_override(self):
        """The modes of files count for the doctor, for root as well."""
        if os.geteuid() == 0:
            self.wrapper = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]

    def examine(self, name=None, limit="30s", command=("SubtitleMgrCtl",), repair=""):
        """Examines the desk, after a repair if there is one. Returns the findings."""
        options = ["--name", name] if name else []
        shell = self.popen(
            [*self.wrapper, *command, *options, "--timeout", limit, "--json", "doctor"]
        )
        if repair.endswith("&"):
            self.assertEqual(shell.stdout.readline(), "ready\n")
        for killed in re.findall(r"^kill (?:-KILL )?(\d+)", repair):
            os.waitid(os.P_PID, int(killed), os.WEXITED | os.WNOWAIT)
        output = shell.communicate("\n", SECONDS)[0]
        self.assertNotEqual(shell.returncode, 99, "the repair fails: " + repair)
        answer = json.loads(output)
        for finding in answer["findings"]:
            self.assertEqual(finding["ok"], "repair" not in finding)
        self.assertEqual(shell.returncode, 0 if answer["ok"] else 1)
        self.assertEqual(answer["ok"], all(finding["ok"] for finding in answer["findings"]))
        return answer["findings"]

    def expect_repair(self, check, text, repair, name=None, limit="30s", mends_all=False):
        """Finds one problem, and runs its repair."""
        found = [finding for finding in self.examine(name, limit) if not finding["ok"]]
        problems = [finding for finding in found if finding["check"] == check]
        self.assertEqual(len(problems), 1, found)
        self.assertRegex(problems[0]["text"], text)
        self.assertRegex(problems[0]["repair"], "^" + repair + "$")
        found_repair = problems[0]["repair"]
        command = ["bash", "-c", REPAIR_AND_EXAMINE, "bash", found_repair, "SubtitleMgrCtl"]
        after = self.examine(name, command=command, repair=found_repair)
        self.assertFalse(
            [item for item in after if item["check"] == check and re.search(text, item["text"])]
        )
        if mends_all:
            self.assertEqual([finding for finding in after if not finding["ok"]], [])

    def test_finds_a_healthy_desk(self):
        process = self.serve()
        name = pathlib.Path("/proc/%d/comm" % process.pid).read_text(encoding="utf-8").strip()
        self.assertEqual(
            [re.sub(r"\d+ us", "5 us", finding["text"]) for finding in self.examine()],
            [
                f"messaging directory {self.linx}: safe",
                f"lock SubtitleMgr: held by process {process.pid} ({name})",
                "service SubtitleMgr: answers in 5 us",
                "control socket SubtitleMgr: answers",
                f"log {self.root}/log: written",
            ],
        )
        self.assertIn("examines the log", (self.root / "log").read_text(encoding="utf-8"))

    def test_repairs_or_replaces_the_directory(self):
        for name, mode in (("shared", 0o1777), ("foreign", 0o700)):
            (self.root / name).mkdir()
            (self.root / name).chmod(mode)
        (self.root / "link").symlink_to("linx")
        (self.root / "file").touch()
        file = self.root / "file"
        itself = r'export LINX_DIR="\$\(readlink -m .*\)"'
        other = r'export LINX_DIR="\$HOME/linx"'
        rows = [
            (self.root / "link", "is a symbolic link", itself),
            ("linx", "not an absolute path", itself),
            (f"{self.linx}/..", r"ends in \.\.", itself),
            (self.root / "shared", "has another mode than 0700", other),
            ("/proc/linx", "cannot be made", other),
            ("/" + "x" * 300, "cannot be made", other),
            (file, "Not a directory", f"mv {file} {file}.old"),
            (
                f"{self.root}/it's/not here/linx",
                "cannot be made",
                f"mkdir -p '{self.root}/it'.*'s/not here'",
            ),
        ]
        if os.geteuid() == 0:
            os.chown(self.root / "foreign", UNPRIVILEGED, UNPRIVILEGED)
            rows.append((self.root / "foreign", "belongs to another user", other))
        for place, text, repair in rows:
            with self.subTest(place):
                self.environment["LINX_DIR"] = str(place)
                self.expect_repair("directory", text, repair)

    def test_starts_the_service(self):
        start = "SubtitleMgrSim %s--quiet &"
        node = "--name node1/SubtitleMgr "
        self.expect_repair(
            "service", "does not run", start % node, "node1/SubtitleMgr", mends_all=True
        )
        service = self.serve()
        service.kill()
        service.wait(SECONDS)
        self.expect_repair("service", "was killed", start % "", mends_all=True)

    def test_names_the_directory_that_has_the_service(self):
        self.serve()
        other = self.root / "other"
        other.mkdir(0o700)
        self.environment["LINX_DIR"] = str(other)
        repair = f"export LINX_DIR={self.linx}"
        self.expect_repair("service", "its socket is in", repair, mends_all=True)

    def test_removes_a_socket_without_a_service(self):
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(str(self.socket))
        self.expect_repair("service", "left by a program that has ended", f"rm {self.socket}")

    def test_ends_a_program_that_is_no_service(self):
        ssh = self.root / "ssh"
        ssh.symlink_to(sys.executable)
        process = r"process {pid} \(.*\) "
        forwards = r"process {pid} \(ssh\) forwards to a service that does not answer"
        for program, does, text, repair in (
            (ssh, "close", forwards, "kill {pid}; rm -f {socket}"),
            (sys.executable, "close", process + "closes the connection", "kill -KILL {pid}"),
            (
                sys.executable,
                "accept",
                process + r"does not .* within 0\.100 s",
                "kill -KILL {pid}",
            ),
            (sys.executable, "wait", ": a process does not answer", "rm {socket}"),
            (sys.executable, "lock", process + "does not listen", "kill {pid}"),
        ):
            with self.subTest(does):
                peer = self.launch(program, "-c", PEER, self.socket, does)
                limit = "100ms" if does in ("accept", "wait") else "30s"
                text, repair = (
                    words.format(pid=peer.pid, socket=self.socket) for words in (text, repair)
                )
                self.expect_repair("service", text, repair, limit=limit)
                peer.kill()
                peer.wait(SECONDS)
                for left in (self.socket, self.lock):
                    left.unlink(missing_ok=True)

    def test_continues_a_stopped_service(self):
        process = self.serve()
        process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, process.pid, os.WSTOPPED)
        text = rf"process {process.pid} \(.*\) is stopped"
        repair = f"kill -CONT {process.pid}"
        self.expect_repair("service", text, repair, limit="100ms", mends_all=True)

    def test_ends_faults(self):
        for name, kind, limit in (("Mute", "mute", "1s"), ("Refuses", "refuse", "30s")):
            self.serve("--name", name, "--fault", kind)
            repair = f"SubtitleMgrCtl --name {name} no-fault"
            text = "has faults on purpose: " + kind
            self.expect_repair("service", text, repair, name, limit, mends_all=True)

    def test_ends_a_service_that_has_lost_a_socket(self):
        for lost, check, text in (
            (self.socket, "service", "process {pid} .* has lost its socket"),
            (self.control, "control socket", "no service at .*l: No such file or directory"),
        ):
            with self.subTest(check):
                process = self.serve()
                lost.unlink()
                self.expect_repair(check, text.format(pid=process.pid), f"kill {process.pid}")

    def test_removes_a_control_socket_that_leads_nowhere(self):
        self.serve()
        self.lock.unlink()  # as if the socket were forwarded
        self.control.unlink()
        self.control.touch()
        repair = f"rm {self.control}"
        self.expect_repair("control socket", "no service at", repair, mends_all=True)

    def test_moves_obstacles_away(self):
        (self.linx / "file").touch()
        (self.linx / "link").symlink_to(".")
        (self.linx / "closed").mkdir(0)
        self.drop_override()
        for name, part, reason in (
            ("file", "file", "is not a socket"),
            ("file/SubtitleMgr", "file", "is not a folder"),
            ("link/SubtitleMgr", "link", "is not a folder"),
            ("closed/SubtitleMgr", "closed", "is not accessible"),
        ):
            with self.subTest(name):
                path = self.linx / part
                self.expect_repair("service", f"{path} {reason}", f"mv {path} {path}.old", name)
                os.rename(f"{path}.old", path)

    def test_moves_a_lock_away_that_is_no_file(self):
        self.lock.mkdir()
        self.assertEqual(subprocess.call([PROGRAMS[1]], env=self.environment), 1)
        text = "cannot be locked, so no service can start"
        self.expect_repair("lock", text, f"mv {self.lock} {self.lock}.old")

    def test_refuses_a_name_as_soon_as_the_service_does(self):
        longest = "n" * 83
        self.serve("--name", longest)
        self.assertTrue(all(finding["ok"] for finding in self.examine(longest)))
        too_long = [PROGRAMS[1], "--name", longest + "n"]
        self.assertEqual(subprocess.call(too_long, env=self.environment), 1)
        finding = self.examine(longest + "n")[1]
        self.assertEqual(finding["text"], f"service {longest}n: its name is too long for a socket")
        self.assertEqual(finding["repair"], "SubtitleMgrCtl doctor")

    def test_repairs_or_replaces_the_log(self):
        os.mkfifo(self.root / "pipe")
        (self.root / "link").symlink_to("real")
        (self.root / "closed").touch(0o400)
        self.drop_override()
        other = r'export SUBTITLE_LOG="\$HOME/subtitle\.log"'
        itself = rf'export SUBTITLE_LOG="\$\(readlink -m {self.root}/link\)"'
        rows = [
            (self.root / "logs/log", "No such file or directory", f"mkdir -p {self.root}/logs"),
            (self.root / "closed", "Permission denied", f"chmod u\\+w {self.root}/closed"),
            (self.root / "link", "Too many levels of symbolic links", itself),
            (self.root / "pipe", "No such device", other),
            (self.root, "Is a directory", other),
            ("/dev/full", "No space left", other),
        ]
        if not SYSTEM_LOG.exists():
            rows.append(("", "log /dev/log: entries are lost: No such file or directory", other))
        for place, text, repair in rows:
            with self.subTest(place):
                self.environment["SUBTITLE_LOG"] = str(place)
                self.expect_repair("log", text, repair)


if __name__ == "__main__":
    PROGRAMS = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
