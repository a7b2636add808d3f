"""Fails each network and file call of a program once, with each of some errors, or kills it there.

strace does both: it tells which calls a run makes, and makes the chosen one fail.
"""

import re
import signal

ERRORS = ("EINTR", "EAGAIN", "ECONNRESET", "EPIPE", "ENOMEM", "EMFILE", "ENOSPC", "EIO")
KILL = "SIGKILL"

TRACED = "%network,%file,%desc,munmap"
NOT_TOUCHED = {"mmap", "munmap", "execve", "exit_group", "exit"}
CALL = re.compile(r"^\d+ +(?:<\.\.\. )?(\w+)\(")


STRACE = ["strace", "-f", "-e", "quiet=attach,personality", "-e", "signal=KILL"]
# The service stays the process that was started, so that it can be sent signals and waited for.
STRACE_SERVICE = [STRACE[0], "-D", *STRACE[1:]]


class Fault:
    """The Nth call of a kind, and what becomes of it."""

    def __init__(self, who, call, number, error):
        self.who, self.call, self.number, self.error = who, call, number, error

    def __str__(self):
        return f"{self.who}: {self.call} number {self.number}: {self.error}"

    def option(self):
        what = f"signal={self.error}" if self.error == KILL else f"error={self.error}"
        return f"inject={self.call}:{what}:when={self.number}"

    def prefix(self, trace):
        """The words before a command that is to suffer it."""
        return [
            *(STRACE_SERVICE if self.who == "service" else STRACE),
            "-o",
            trace,
            "-e",
            f"trace={self.call}",
            "-e",
            self.option(),
        ]


def calls_of_main(trace):
    """Which calls a traced run made after the loader was done: a set of (call, number).

    The loader unmaps its cache when it has found all libraries; that is its last call.
    """
    counts = {}  # by thread and call, as strace counts
    found = set()
    loading = True
    main_thread = None
    for line in trace.splitlines():
        match = CALL.match(line)
        if not match or "resumed>" in line[:40]:
            continue
        thread, call = line.split()[0], match.group(1)
        main_thread = main_thread or thread
        counts[thread, call] = counts.get((thread, call), 0) + 1
        if loading and thread == main_thread:
            loading = call != "munmap"
        elif call not in NOT_TOUCHED:
            found.add((call, counts[thread, call]))
    return found


def learn_client(place, scenario):
    """The calls that the client makes; twice, since two threads do not always make the same."""
    calls = set()
    for _ in range(2):
        ensure_service(place, scenario)
        outcome = place.run_client(
            scenario, [*STRACE, "-o", place.path("trace"), "-e", "trace=" + TRACED]
        )
        if outcome.status != 0:
            raise SystemExit(f"{scenario.name}: fails without any fault: {outcome}")
        calls |= calls_of_main(place.text("trace"))
    return calls


def learn_service(place, scenario):
    """The calls that the service makes from its start to its end around a scenario."""
    place.start_service([*STRACE_SERVICE, "-o", place.path("trace"), "-e", "trace=" + TRACED])
    place.run_client(scenario)
    place.stop_service()
    return calls_of_main(place.text("trace"))


def ensure_service(place, scenario):
    if scenario.needs_service and not place.service_is_alive():
        place.start_service()


def describe(outcome):
    """An outcome for a person, not longer than needed."""
    return (
        f"status {outcome.status}{', hangs' if outcome.timed_out else ''}\n"
        f"out: {outcome.out[-600:]!r}\nerr: {outcome.err[-600:]!r}\n"
        f"log: {outcome.log[-5:]}\nrequests: {outcome.requests[-5:]}\n"
        f"saved: {outcome.saved and len(outcome.saved)}"
    )


def is_part_of(part, whole):
    """Whether all characters of one text stand in another one, in their order."""
    rest = iter(whole)
    return all(character in rest for character in part)


class Sweep:
    """Runs scenarios with faults in one place, and judges what comes out."""

    def __init__(self, place):
        self.place = place
        self.usual = {}

    def baseline(self, scenario):
        """How the scenario looks when nothing fails."""
        if scenario.name not in self.usual:
            ensure_service(self.place, scenario)
            outcome = self.place.run_client(scenario)
            if scenario.ends_service:
                self.place.service_ends()
            self.place.collect(outcome)
            self.usual[scenario.name] = outcome
        return self.usual[scenario.name]

    def run(self, scenario, fault):
        """Runs a scenario with one fault. \\return (verdict, description)"""
        if fault.who == "client":
            return self.run_with_client_fault(scenario, fault)
        return self.run_with_service_fault(scenario, fault)

    def run_with_client_fault(self, scenario, fault):
        usual = self.baseline(scenario)
        ensure_service(self.place, scenario)
        trace = self.place.path("trace")
        outcome = self.place.run_client(scenario, fault.prefix(trace))
        hits = [line for line in self.place.text("trace").splitlines() if "(INJECTED)" in line]
        quit_is_on_its_way = scenario.ends_service and (
            outcome.out == usual.out or hits_output(hits)
        )
        problem = None
        if quit_is_on_its_way and not self.place.service_ends():
            problem = "the service did not end"
        self.place.collect(outcome)
        if scenario.needs_service and not quit_is_on_its_way and not self.place.is_answered():
            problem = f"the service suffers: {self.place.text('service.err')}"
        if not hits and not outcome.timed_out:
            return "not reached", ""
        return self.judge(scenario, usual, outcome, hits, problem)

    def judge(self, scenario, usual, outcome, hits, problem):
        if outcome.timed_out:
            return "hang", describe(outcome)
        if outcome.status == -signal.SIGXFSZ and any(" read(0," in hit for hit in hits):
            return "repeats", ""  # as at the end of its input
        if outcome.status != 0:
            return "crash", describe(outcome)
        log_was_hit = any(self.place.path("log") in hit for hit in hits) or any(
            re.search(r" (write|newfstatat|close|fcntl)\(([3-9]|\d\d)", hit) for hit in hits
        )
        problem = problem or scenario.untold_loss(outcome, log_was_hit)
        if problem:
            return "finding", problem + "\n" + describe(outcome)
        if outcome.seen() == usual.seen():
            return "success", ""
        if scenario.is_told(outcome):
            return "documented", ""
        if (
            hits_output(hits)
            and is_part_of(outcome.out, usual.out)
            and (is_part_of(outcome.err, usual.err))
        ):
            return "output lost", ""
        return "finding", describe(outcome)

    def run_with_service_fault(self, scenario, fault):
        usual = self.baseline(scenario)
        if self.place.service_is_alive():
            self.place.stop_service()
        self.place.start_service(fault.prefix(self.place.path("trace")))
        outcome = self.place.run_client(scenario)
        quit_is_on_its_way = scenario.ends_service and outcome.out == usual.out
        if quit_is_on_its_way:
            self.place.service_ends()
        self.place.collect(outcome)
        if "the journal is not complete" in self.place.text("service.err"):
            outcome.requests = usual.requests
        problem = self.check_service(fault, quit_is_on_its_way)
        hits = [
            line
            for line in self.place.text("trace").splitlines()
            if "(INJECTED)" in line or "killed by SIGKILL" in line
        ]
        if not problem and not hits:
            return "not reached", ""
        problem = problem or self.check_successor()
        if problem:
            return "finding", problem + "\n" + describe(outcome)
        return self.judge(scenario, usual, outcome, hits, None)

    def check_service(self, fault, quit_is_on_its_way):
        """\\return what is wrong with the service after the fault, or None"""
        if quit_is_on_its_way:
            if not self.place.service_ends() and fault.error != KILL:
                return "the service did not end"
        elif self.place.service_is_alive() and not self.place.is_answered():
            if fault.error != KILL or self.place.service_is_alive():
                return "the service runs and does not answer"
        status = self.place.stop_service()
        said = self.place.text("service.err")
        if status is None:
            return "the service does not end"
        if status == 0 or (status == -signal.SIGKILL and fault.error == KILL):
            return None
        told = re.fullmatch(r"SubtitleMgrSim: [^\n]+\n", said) or fault.call == "write"
        return None if status == 1 and told else f"the service ends with {status}: {said}"

    def check_successor(self):
        """Whatever happened, the next service takes over and answers."""
        self.place.start_service()
        if not self.place.service_is_alive() or not self.place.is_answered():
            return "no service can be started afterwards: " + self.place.text("service.err")
        return None


def hits_output(hits):
    """Whether it was the console's own output that failed: such a text is lost."""
    return any(re.search(r" (write|writev|newfstatat|fcntl)\([12],", hit) for hit in hits)


def plan(place, scenarios):
    """Every (scenario, fault) there is."""
    faults = []
    for scenario in scenarios:
        for call, number in sorted(learn_client(place, scenario)):
            faults += [(scenario, Fault("client", call, number, error)) for error in ERRORS]
        if scenario.needs_service:
            if place.service_is_alive():
                place.stop_service()
            for call, number in sorted(learn_service(place, scenario)):
                faults.append((scenario, Fault("service", call, number, KILL)))
    return faults


def plan_service_start(place, ping):
    """The service from its start over a ping to its end."""
    if place.service_is_alive():
        place.stop_service()
    return [
        (ping, Fault("service", call, number, error))
        for call, number in sorted(learn_service(place, ping))
        for error in ERRORS
    ]
