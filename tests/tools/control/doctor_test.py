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
SubtitleMgrCtl "${@:2}"
"""
# Makes the socket of a service and then accepts, closes, sends other bytes than frames, lets one
# client wait, or has the lock and does not listen.
PEER = """
import contextlib, fcntl, socket, sys
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
while does in ("accept", "close", "send"):
    peer = listener.accept()[0]
    kept.append(peer)
    if does == "close":
        peer.close()
    elif does == "send":
        with contextlib.suppress(OSError):
            peer.sendall(b"HTTP/1.1 400 Bad Request" * 2)
sys.stdin.read()
"""


class Doctor(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        self.linx = self.root / "linx"
        self.linx.mkdir(0o700)
        self.socket = self.linx / "SubtitleMgr"
        self.lock = self.linx / "SubtitleMgr.lock"
        self.wrapper = []
        self.limit = "30s"
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
        process = subprocess.Popen(
            ["setpriv", "--pdeathsig=KILL", *command],
            env=self.environment,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        self.assertEqual(process.stdout.readline(), "ready\n")
        return process

    def serve(self, *options):
        return self.launch(PROGRAMS[1], "--quiet", *options)

    def expect_refusal(self, *options):
        service = subprocess.run(
            [PROGRAMS[1], *options], env=self.environment, capture_output=True, check=False
        )
        self.assertEqual(service.returncode, 1)

    def serve_falsely(self, what, program=sys.executable):
        return self.launch(program, "-c", PEER, self.socket, what)

    def words(self, name):
        options = ["--name", name] if name else []
        return [*options, "--timeout", self.limit, "--json", "doctor"]

    def examine(self, name=None):
        """Returns the status and the findings by their checks."""
        result = subprocess.run(
            [*self.wrapper, PROGRAMS[0], *self.words(name)],
            env=self.environment,
            cwd=self.root,
            capture_output=True,
            text=True,
            timeout=SECONDS,
            check=False,
        )
        self.assertEqual(result.stderr, "")
        return self.parse(result.stdout, result.returncode)

    def parse(self, output, status):
        answer = json.loads(output)
        for finding in answer["findings"]:
            self.assertEqual(finding["ok"], "repair" not in finding)
        self.assertEqual(status, 0 if answer["ok"] else 1)
        self.assertEqual(answer["ok"], all(finding["ok"] for finding in answer["findings"]))
        return answer["findings"]

    def examine_after(self, repair, name=None):
        shell = subprocess.Popen(
            [*self.wrapper, "bash", "-c", REPAIR_AND_EXAMINE, "bash", repair, *self.words(name)],
            env=self.environment,
            cwd=self.root,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        if repair.endswith("&"):
            self.assertEqual(shell.stdout.readline(), "ready\n")
        for killed in re.findall(r"^kill (?:-KILL )?(\d+)", repair):
            os.waitid(os.P_PID, int(killed), os.WEXITED | os.WNOWAIT)
        output = shell.communicate("\n", SECONDS)[0]
        self.assertNotEqual(shell.returncode, 99, "the repair fails: " + repair)
        return self.parse(output, shell.returncode)

    def expect_repair(self, check, text, repair, name=None):
        """Finds one problem, and runs its repair. Returns the findings after it."""
        found = [finding for finding in self.examine(name) if not finding["ok"]]
        problems = [finding for finding in found if finding["check"] == check]
        self.assertEqual(len(problems), 1, found)
        self.assertRegex(problems[0]["text"], text)
        self.assertRegex(problems[0]["repair"], "^" + repair + "$")
        after = self.examine_after(problems[0]["repair"], name)
        self.assertNotIn(problems[0]["text"], [finding["text"] for finding in after])
        self.assertFalse(
            [item for item in after if item["check"] == check and re.search(text, item["text"])]
        )
        return after

    def expect_health_after(self, *arguments, **options):
        for finding in self.expect_repair(*arguments, **options):
            self.assertTrue(finding["ok"], finding)

    def test_finds_a_healthy_desk(self):
        process = self.serve()
        findings = self.examine()
        self.assertEqual(
            [re.sub(r"\d+ us", "5 us", finding["text"]) for finding in findings],
            [
                f"messaging directory {self.linx}: safe",
                f"lock SubtitleMgr: held by {self.text_of(process)}",
                "service SubtitleMgr: answers in 5 us",
                "control socket SubtitleMgr: answers",
                f"log {self.root}/log: written",
            ],
        )
        self.assertIn("examines the log", (self.root / "log").read_text(encoding="utf-8"))

    def text_of(self, process):
        name = pathlib.Path("/proc/%d/comm" % process.pid).read_text(encoding="utf-8").strip()
        return f"process {process.pid} ({name})"

    def test_shows_a_line_for_each_finding(self):
        result = subprocess.run(
            [PROGRAMS[0], "doctor"],
            env=self.environment,
            stdout=subprocess.PIPE,
            text=True,
            timeout=SECONDS,
            check=False,
        )
        self.assertEqual(result.returncode, 1)
        self.assertEqual(
            result.stdout,
            f"ok: messaging directory {self.linx}: safe\n"
            "problem: service SubtitleMgr: does not run; repair: SubtitleMgrSim --quiet &\n"
            f"ok: log {self.root}/log: written\n",
        )

    def expect_directory(self, text, repair):
        self.expect_repair("directory", text, repair)

    def test_repairs_the_mode_of_the_directory(self):
        self.linx.chmod(0o755)
        self.expect_directory("has another mode than 0700", f"chmod 700 {self.linx}")

    def test_leaves_the_mode_of_a_shared_directory(self):
        self.linx.chmod(0o1777)
        self.environment["HOME"] += "/home"
        (self.root / "home").mkdir()
        self.expect_directory("has another mode than 0700", r'export LINX_DIR="\$HOME/linx"')

    def test_names_the_directory_itself(self):
        (self.root / "link").symlink_to("linx")
        (self.linx / "below").mkdir(0o700)
        for value, text in (
            (str(self.root / "link"), "is a symbolic link"),
            ("linx", "not an absolute path"),
            (str(self.linx / "below" / ".."), r"ends in \.\."),
        ):
            with self.subTest(value):
                self.environment["LINX_DIR"] = value
                self.expect_directory(text, r'export LINX_DIR="\$\(readlink -m .*\)"')

    def test_moves_a_file_away_from_the_directory(self):
        self.linx.rmdir()
        self.linx.touch()
        self.expect_directory("Not a directory", f"mv {self.linx} {self.linx}.old")

    def test_makes_the_folder_of_the_directory(self):
        self.environment["LINX_DIR"] = f"{self.root}/it's/not here/linx"
        self.expect_directory("cannot be made", f"mkdir -p '{self.root}/it'.*'s/not here'")

    def test_chooses_another_directory(self):
        foreign = self.root / "foreign"
        foreign.mkdir(0o700)
        places = ["/proc/linx", "/" + "x" * 300]
        if os.geteuid() == 0:
            os.chown(foreign, UNPRIVILEGED, UNPRIVILEGED)
            places.append(str(foreign))
        for place in places:
            with self.subTest(place):
                self.environment["LINX_DIR"] = place
                self.expect_directory(
                    "belongs to another user|cannot be made", r'export LINX_DIR="\$HOME/linx"'
                )

    def test_starts_the_service(self):
        self.expect_health_after("service", "does not run", "SubtitleMgrSim --quiet &")
        name = "node1/SubtitleMgr"
        start = f"SubtitleMgrSim --name {name} --quiet &"
        self.expect_health_after("service", "does not run", start, name=name)

    def test_starts_a_service_that_was_killed(self):
        service = self.serve()
        service.kill()
        service.wait(SECONDS)
        self.expect_health_after("service", "was killed", "SubtitleMgrSim --quiet &")

    def test_names_the_directory_that_has_the_service(self):
        self.serve()
        other = self.root / "other"
        other.mkdir(0o700)
        self.environment["LINX_DIR"] = str(other)
        self.expect_health_after("service", "its socket is in", f"export LINX_DIR={self.linx}")

    def test_removes_a_socket_without_a_service(self):
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(str(self.socket))
        listener.close()
        self.expect_repair("service", "left by a program that has ended", f"rm {self.socket}")

    def test_ends_a_forwarding_that_leads_nowhere(self):
        ssh = self.root / "ssh"
        ssh.symlink_to(sys.executable)
        process = self.serve_falsely("close", str(ssh))
        self.expect_repair(
            "service",
            rf"process {process.pid} \(ssh\) forwards to a service that does not answer",
            f"kill {process.pid}; rm -f {self.socket}",
        )
        process.wait(SECONDS)

    def test_ends_a_program_that_does_not_answer(self):
        process = self.serve_falsely("accept")
        self.limit = "100ms"
        text = rf"process {process.pid} \(.*\) does not answer within 0\.100 s"
        self.expect_repair("service", text, f"kill -KILL {process.pid}")

    def test_ends_a_program_that_is_no_service(self):
        for does in ("close", "send"):
            with self.subTest(does):
                process = self.serve_falsely(does)
                text = rf"process {process.pid} \(.*\) closes the connection"
                self.expect_repair("service", text, f"kill -KILL {process.pid}")
                process.wait(SECONDS)
                self.socket.unlink()

    def test_ends_a_service_that_does_not_listen(self):
        process = self.serve_falsely("lock")
        text = rf"process {process.pid} \(.*\) does not listen"
        self.expect_repair("service", text, f"kill {process.pid}")

    def test_removes_a_socket_that_accepts_no_connection(self):
        self.serve_falsely("wait")
        self.limit = "100ms"
        self.expect_repair("service", "a process does not answer", f"rm {self.socket}")

    def test_continues_a_stopped_service(self):
        process = self.serve()
        process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, process.pid, os.WSTOPPED)
        self.limit = "2s"
        text = rf"process {process.pid} \(.*\) is stopped"
        self.expect_health_after("service", text, f"kill -CONT {process.pid}")

    def test_ends_faults(self):
        for number, kind in enumerate(("mute", "hang-up", "refuse request=Subscribe")):
            with self.subTest(kind):
                name = "SubtitleMgr%d" % number
                self.serve("--name", name, "--fault", kind)
                self.limit = "2s" if kind == "mute" else "30s"
                repair = f"SubtitleMgrCtl --name {name} no-fault"
                self.expect_health_after("service", "has faults on purpose", repair, name=name)

    def test_ends_a_service_that_has_lost_its_socket(self):
        process = self.serve()
        self.socket.unlink()
        text = f"process {process.pid} .* has lost its socket"
        self.expect_repair("service", text, f"kill {process.pid}")

    def test_ends_a_service_that_has_lost_its_control_socket(self):
        process = self.serve()
        (self.linx / "SubtitleMgr.control").unlink()
        text = "no service at .*/SubtitleMgr.control: No such file or directory"
        self.expect_repair("control socket", text, f"kill {process.pid}")

    def test_removes_a_control_socket_that_leads_nowhere(self):
        self.serve()
        self.lock.unlink()  # as if the socket were forwarded
        control = self.linx / "SubtitleMgr.control"
        control.unlink()
        control.touch()
        self.expect_health_after("control socket", "no service at", f"rm {control}")

    def test_moves_obstacles_away(self):
        (self.linx / "file").touch()
        (self.linx / "link").symlink_to(".")
        for name, part, reason in (
            ("file", "file", "is not a socket"),
            ("file/SubtitleMgr", "file", "is not a folder"),
            ("link/SubtitleMgr", "link", "is not a folder"),
        ):
            with self.subTest(name):
                path = self.linx / part
                move = f"mv {path} {path}.old"
                self.expect_repair("service", f"{path} {reason}", move, name=name)
                os.rename(f"{path}.old", path)

    def test_moves_a_closed_folder_away(self):
        folder = self.linx / "node1"
        folder.mkdir(0)
        self.wrapper = self.without_override()
        text = f"{folder} is not accessible"
        move = f"mv {folder} {folder}.old"
        self.expect_repair("service", text, move, name="node1/SubtitleMgr")

    def without_override(self):
        """Words that start a program for which the modes of files count, for root as well."""
        options = "--bounding-set=-dac_override,-dac_read_search"
        return ["setpriv", options] if os.geteuid() == 0 else []

    def test_moves_a_lock_away_that_is_no_file(self):
        self.lock.mkdir()
        self.expect_refusal()
        text = "cannot be locked, so no service can start"
        self.expect_repair("lock", text, f"mv {self.lock} {self.lock}.old")

    def test_refuses_a_name_as_soon_as_the_service_does(self):
        longest = "n" * 83
        self.serve("--name", longest)
        self.assertTrue(all(finding["ok"] for finding in self.examine(longest)))
        too_long = longest + "n"
        self.expect_refusal("--name", too_long)
        finding = self.examine(too_long)[1]
        self.assertEqual(finding["text"], f"service {too_long}: its name is too long for a socket")
        self.assertEqual(finding["repair"], "SubtitleMgrCtl doctor")
        self.assertNotIn("too long", str(self.examine()))

    def expect_log(self, text, repair):
        self.expect_repair("log", text, repair)

    def test_makes_the_folder_of_the_log(self):
        self.environment["SUBTITLE_LOG"] = str(self.root / "logs" / "log")
        self.expect_log("No such file or directory", f"mkdir -p {self.root}/logs")

    def test_makes_the_log_writable(self):
        log = self.root / "log"
        log.touch(0o400)
        self.wrapper = self.without_override()
        self.expect_log("Permission denied", f"chmod u\\+w {log}")

    def test_names_the_log_itself(self):
        (self.root / "log").symlink_to("real")
        repair = f'export SUBTITLE_LOG="\\$\\(readlink -m {self.root}/log\\)"'
        self.expect_log("Too many levels of symbolic links", repair)

    def test_chooses_another_log(self):
        os.mkfifo(self.root / "pipe")
        places = {"/dev/full": "No space left", str(self.root / "pipe"): "No such device"}
        places[str(self.root)] = "Is a directory"
        if not SYSTEM_LOG.exists():
            places[""] = "log /dev/log: entries are lost: No such file or directory"
        for place, text in places.items():
            with self.subTest(place):
                self.environment["SUBTITLE_LOG"] = place
                self.expect_log(text, r'export SUBTITLE_LOG="\$HOME/subtitle\.log"')


if __name__ == "__main__":
    PROGRAMS = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
