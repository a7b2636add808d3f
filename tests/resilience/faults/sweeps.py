"""The sweeps: calls that fail once or kill their program, refused memory, and partial transfers.

strace lists the calls of a run, and makes the chosen call fail.
"""

import re
import signal
import subprocess
import sys

from processes import Place
from scenarios import SCENARIOS, SERVICE_START

ERRORS = ("EINTR", "EAGAIN", "ECONNRESET", "EPIPE", "ENOMEM", "EMFILE", "ENOSPC", "EIO")
KILL = "SIGKILL"
SEEDS = 150  # of partial transfers

ALLOCATION = "allocation"
ALONE, LASTING = "alone", "with all later ones"
# The initialisers that end a program: counters and endpoint, option tables, reserve for exceptions.
BEFORE_MAIN = re.compile(r"_GLOBAL__sub_I_.*(process_objects\.cpp|simulator/options\.cpp|eh_alloc)")

TRACED = "trace=%network,%file,%desc,munmap"
NOT_TOUCHED = {"mmap", "munmap", "execve", "exit_group", "exit"}
CALL = re.compile(r"^\d+ +(?:<\.\.\. )?(\w+)\(")

# The program stays the started process, so that signals and waits reach it.
STRACE = ("strace", "-D", "-f", "-e", "quiet=attach,personality", "-e", "signal=KILL", "-o")


class Fault:
    """The Nth call of a kind, and its error or signal."""

    def __init__(self, who, call, number, error):
        self.who, self.call, self.number, self.error = who, call, number, error

    def __str__(self):
        return f"{self.who}: {self.call} number {self.number}: {self.error}"


def calls_of_main(trace_lines):
    """Returns the calls of a traced run after the loader, as a set of (call, number).

    The loader's last call unmaps its cache, after it has found all libraries.
    """
    counts = {}  # by thread and call, like strace counts
    found = set()
    loading = True
    main_thread = None
    for line in trace_lines:
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
    return sorted(found)


def is_part_of(part, whole):
    """Whether another text contains all characters of one text in their order."""
    rest = iter(whole)
    return all(character in rest for character in part)


def hits_output(hits):
    """Whether the console's own output failed: such a text is lost."""
    return any(re.search(r" (write|writev|newfstatat|fcntl)\([12],", hit) for hit in hits)


class Sweep(Place):
    """Runs scenarios with faults, and judges the outcomes."""

    SHORT = 300  # runs of a short sweep

    def __init__(self, arguments):
        super().__init__(arguments.bin)
        self.arguments = arguments
        self.usual = {}

    def chosen(self):
        """Returns the scenarios that the command line names, or all."""
        names = self.arguments.scenario
        return [scenario for scenario in SCENARIOS if not names or scenario.name in names]

    def ensure_service(self):
        if not self.service.is_running():
            self.start_service()

    def launcher(self, fault=None):
        """Returns the words for strace, which lists the calls or injects the fault."""
        if not fault:
            return [*STRACE, self.trace, "-e", TRACED]
        what = f"{'signal' if fault.error == KILL else 'error'}={fault.error}"
        inject = f"inject={fault.call}:{what}:when={fault.number}"
        return [*STRACE, self.trace, "-e", f"trace={fault.call}", "-e", inject]

    def calls(self):
        """Returns the calls of the last run that can fail."""
        return calls_of_main(self.trace_lines())

    def plan(self):
        """Returns every (scenario, fault)."""
        plan = []
        for scenario in self.chosen():
            for call, number in self.learn_client(scenario):
                plan += [(scenario, Fault("client", call, number, error)) for error in ERRORS]
            for call, number in self.learn_service(scenario):
                plan.append((scenario, Fault("service", call, number, KILL)))
        if not self.arguments.scenario or SERVICE_START in self.arguments.scenario:
            ping = next(scenario for scenario in SCENARIOS if scenario.name == "ping")
            for call, number in self.learn_service(ping):
                plan += [(ping, Fault("service", call, number, error)) for error in ERRORS]
        calls = self.arguments.call
        return [(what, fault) for what, fault in plan if not calls or fault.call in calls]

    def learn_client(self, scenario):
        """The calls of two runs of the client, since its threads do not always make the same."""
        calls = set()
        for _ in range(2):
            self.ensure_service()
            outcome = self.run_client(scenario, self.launcher())
            if outcome.status != 0:
                raise SystemExit(f"{scenario.name}: fails without any fault: {outcome}")
            calls.update(self.calls())
        return sorted(calls)

    def learn_service(self, scenario):
        """Returns the calls of the service from its start to its end with a scenario."""
        self.stop_service()
        self.start_service(self.launcher())
        self.run_client(scenario)
        self.stop_service()
        return self.calls()

    def baseline(self, scenario):
        """Returns the outcome of the scenario without a fault."""
        if scenario.name not in self.usual:
            self.ensure_service()
            outcome = self.run_client(scenario)
            if scenario.ends_service:
                self.end_of_service()
            self.collect(outcome)
            self.usual[scenario.name] = outcome
        return self.usual[scenario.name]

    def run(self, scenario, fault):
        """Runs a scenario with one fault. \\return (verdict, description)"""
        usual = self.baseline(scenario)
        if fault.who == "client":
            return self.run_with_client_fault(scenario, fault, usual)
        return self.run_with_service_fault(scenario, fault, usual)

    def run_with_client_fault(self, scenario, fault, usual):
        self.ensure_service()
        outcome = self.run_client(scenario, self.launcher(fault))
        hits = [line for line in self.trace_lines() if "(INJECTED)" in line]
        quit_was_sent = scenario.ends_service and (outcome.out == usual.out or hits_output(hits))
        problem = None
        if quit_was_sent and self.end_of_service() != 0:
            problem = "the service did not end"
        self.collect(outcome)
        if not quit_was_sent and not self.is_answered():
            problem = "the service is affected: " + self.service.error_text()
        if not hits and not outcome.timed_out:
            return "not reached", ""
        return self.judge(scenario, usual, outcome, hits, problem)

    def judge(self, scenario, usual, outcome, hits, problem=None):
        if outcome.timed_out:
            return "hang", str(outcome)
        if outcome.repeats and any(" read(0," in hit for hit in hits):
            return "repeats", ""  # like a console at the end of its input
        if outcome.status != 0:
            return "crash", str(outcome)
        problem = problem or scenario.untold_loss(outcome, self.hits_log(hits))
        if problem:
            return "finding", f"{problem}\n{outcome}"
        if outcome.seen() == usual.seen():
            return "success", ""
        if scenario.is_told(outcome):
            return "documented", ""
        is_shorter = is_part_of(outcome.out, usual.out) and is_part_of(outcome.err, usual.err)
        if hits_output(hits) and is_shorter:
            return "output lost", ""
        return "finding", str(outcome)

    def hits_log(self, hits):
        return any(self.workspace.log in hit for hit in hits) or any(
            re.search(r" (write|newfstatat|close|fcntl)\(([3-9]|\d\d)", hit) for hit in hits
        )

    def run_with_service_fault(self, scenario, fault, usual):
        self.stop_service()
        self.start_service(self.launcher(fault))
        outcome = self.run_client(scenario)
        problem = None
        # Without memory for the quit message the service goes on.
        if scenario.ends_service and outcome.out == usual.out and fault.call != ALLOCATION:
            if self.end_of_service() is None and fault.error != KILL:
                problem = "it does not end after the quit message"
            self.collect(outcome)
        else:
            self.collect(outcome)
            is_able = fault.error != LASTING and self.service.is_running()
            if is_able and not self.is_answered():
                problem = "it runs and does not answer" * self.service.is_running()
        status = self.stop_service()
        said = self.service.error_text()
        if "the journal is not complete" in said or fault.error == LASTING:
            outcome.requests = usual.requests
        problem = problem or self.check_status(fault, status, said)
        hits = [
            line
            for line in self.trace_lines()
            if "(INJECTED)" in line or "killed by SIGKILL" in line
        ]
        if not problem and not hits:
            return "not reached", ""
        problem = problem or self.check_successor()
        if problem:
            return "finding", f"the service: {problem}\n{outcome}"
        return self.judge(scenario, usual, outcome, hits)

    def check_status(self, fault, status, said):
        """\\return the error in the end of the service after the fault, or None"""
        if status is None:
            return "it does not end"
        if status == 0 or (status == -signal.SIGKILL and fault.error == KILL):
            return None
        told = re.fullmatch(r"SubtitleMgrSim: [^\n]+\n", said) or fault.call == "write"
        return None if status == 1 and told else f"it ends with {status}: {said}"

    def check_successor(self):
        """After every fault the next service must take over and answer."""
        self.start_service()
        if not self.service.is_running() or not self.is_answered():
            return "no other service can start: " + self.service.error_text()
        return None


class PartialSweep(Sweep):
    """Plays the scenarios while calls move 1 to 3 bytes and return EINTR, repeatable by a seed. No
    call fails here, so every outcome must be as usual."""

    SHORT = 40

    def plan(self):
        return [(scenario, seed) for scenario in self.chosen() for seed in range(1, SEEDS + 1)]

    def run(self, scenario, fault):
        usual = self.baseline(scenario)
        launcher = [
            "env",
            f"LD_PRELOAD={self.arguments.library % 'partial'}",
            f"PARTIAL_SEED={fault}",
        ]
        self.stop_service()
        self.start_service(launcher)
        outcome = self.run_client(scenario, launcher)
        if scenario.ends_service and self.end_of_service() != 0:
            return "finding", f"the service did not end\n{outcome}"
        self.collect(outcome)
        if outcome.timed_out:
            return "hang", str(outcome)
        return ("success", "") if outcome.seen() == usual.seen() else ("finding", str(outcome))


class MemorySweep(Sweep):
    """Refuses each allocation of a program, by a preloaded library that writes the trace."""

    SHORT = 600

    def launcher(self, fault=None):
        first = fault.number if fault else 0
        last = sys.maxsize if fault and fault.error == LASTING else first
        bounds = (f"MEMORY_FIRST={first}", f"MEMORY_LAST={last}", f"MEMORY_TRACE={self.trace}")
        return ["env", f"LD_PRELOAD={self.arguments.library % 'memory'}", *bounds]

    def calls(self):
        return [(ALLOCATION, number + 1) for number in range(int(self.trace_lines()[-1]))]

    def plan(self):
        self.stop_service()
        self.start_service(self.launcher())
        self.stop_service()
        start, names = self.calls(), self.arguments.scenario
        plan = []
        if not names or SERVICE_START in names:
            plan += [(SCENARIOS[0], "service", call) for call in start]
        for scenario in self.chosen():
            plan += [(scenario, "client", call) for call in self.learn_client(scenario)]
            served = self.learn_service(scenario)[len(start) :]
            plan += [(scenario, "service", call) for call in served]
        extents = (ALONE, LASTING)
        return [(run[0], Fault(run[1], *run[2], extent)) for run in plan for extent in extents]

    def check_status(self, fault, status, said):
        if status and self.was_ready:
            return f"it does not go on: {said}"
        has_no_line = status == 1 and fault.error == LASTING  # there is no memory for it
        is_allowed = has_no_line or self.ends_before_main(status)
        return None if is_allowed else super().check_status(fault, status, said)

    def judge(self, scenario, usual, outcome, hits, problem=None):
        if not problem and self.ends_before_main(outcome.status):
            return "ends before main", ""
        return super().judge(scenario, usual, outcome, hits, problem)

    def run(self, scenario, fault):
        verdict, text = super().run(scenario, fault)
        return verdict, text and "\n".join([text, *self.refused()])

    def hits_log(self, hits):
        return len(hits) > 1  # no memory for an entry either

    def ends_before_main(self, status):
        return status == -signal.SIGABRT and any(map(BEFORE_MAIN.search, self.refused()))

    def refused(self):
        """Returns the functions that made the first refused allocation, innermost first."""
        stack = "\n".join(self.trace_lines()).partition("(INJECTED)")[2].partition("(INJECTED)")[0]
        calls = re.findall(r"^(.+/SubtitleMgr\w+)\(\+(0x\w+)\)", stack, re.MULTILINE)
        # A call is before the address to which it returns.
        places = [hex(int(address, 16) - 1) for _, address in calls]
        command = ["addr2line", "-pfiC", "-e", *(program for program, _ in calls[:1]), *places]
        lines = subprocess.check_output(command, text=True).splitlines() if calls else []
        return [line for line in lines if " at /usr/" not in line]
