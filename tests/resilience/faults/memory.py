"""Fails each allocation of a program once, alone or with all that follow.

A preloaded library counts and refuses allocations. Before main a program may end in std::terminate.
Later it must print what failed, and a failed option or console command must have no effect.
"""

import dataclasses
import os
import re
import signal
import subprocess

from scenarios import INIT
from system_calls import Sweep, is_part_of


class Refusal:
    """Refuses allocation number N of one program, alone or with all that follow."""

    def __init__(self, who, number, lasting):
        self.who, self.number, self.lasting = who, number, lasting

    def __str__(self):
        return f"{self.who}: allocation {self.number}{' and all that follow' * self.lasting}"


class MemorySweep(Sweep):
    """Runs scenarios with refused allocations in one place, and judges the outcomes."""

    SHORT = 600

    def __init__(self, arguments):
        super().__init__(arguments)
        self.report = self.place.workspace.new_path("memory")

    def launcher(self, number=0, lasting=False):
        return [
            "env",
            f"LD_PRELOAD={self.arguments.memory_library}",
            f"MEMORY_REPORT={self.report}",
            f"MEMORY_FAIL_AT={number}",
            *["MEMORY_LASTING=1"] * lasting,
        ]

    def take_report(self):
        """\\return the places of the failure, and the numbers of allocations"""
        lines = []
        if os.path.exists(self.report):
            with open(self.report, encoding="utf-8") as file:
                lines = [line.split() for line in file]
            os.remove(self.report)
        return (
            [words for words in lines if words[0] != "allocations"],
            [words[1:] for words in lines if words[0] == "allocations"],
        )

    def numbers(self, scenario):
        """The allocations of the last run. Those before main are the same in every scenario."""
        total, before_main = map(int, self.take_report()[1][0])
        return range(1 if scenario.name == "ping" else before_main + 1, total + 1)

    def plan(self):
        plan = []
        for scenario in self.chosen():
            self.ensure_service(scenario)
            self.place.run_client(scenario, self.launcher())
            numbers = [("client", number) for number in self.numbers(scenario)]
            if scenario.needs_service:
                self.place.stop_service()
                self.place.start_service(self.launcher())
                self.place.run_client(scenario)
                self.place.stop_service()
                numbers += [("service", number) for number in self.numbers(scenario)]
            plan += [
                (scenario, Refusal(who, number, lasting))
                for who, number in numbers
                for lasting in (False, True)
            ]
        return plan

    def run_with_client_fault(self, scenario, fault, usual):
        self.ensure_service(scenario)
        self.take_report()
        outcome = self.place.run_client(scenario, self.launcher(fault.number, fault.lasting))
        if scenario.ends_service and "Quit issued" in outcome.out:
            self.place.end_of_service()
        self.place.collect(outcome)
        frames = self.take_report()[0]
        if self.place.service.is_running() and not self.place.is_answered():
            return "finding", f"the service is affected\n{outcome}"
        if outcome.status == -signal.SIGABRT:
            return self.judge_termination(frames)
        problem = scenario.untold_loss(outcome, fault.lasting)
        if problem:
            return "finding", f"{problem}\n{outcome}"
        return self.judge_outcome(scenario, outcome, usual, frames, fault.lasting)

    def run_with_service_fault(self, scenario, fault, usual):
        self.place.stop_service()
        self.take_report()
        self.place.start_service(self.launcher(fault.number, fault.lasting))
        outcome = self.place.run_client(scenario)
        if scenario.ends_service and outcome.out == usual.out:
            # The service goes on when it has no memory for a client.
            self.place.end_of_service(seconds=2)
        self.place.collect(outcome)
        status = self.place.stop_service()
        said = self.place.service.error_text()
        frames = self.take_report()[0]
        if status == -signal.SIGABRT:
            return self.judge_termination(frames)
        if status not in (0, 1, 2):
            return "crash", f"the service ends with {status}: {said} {self.functions(frames)}"
        if "journal is not complete" in said:
            outcome.requests = usual.requests
        return self.judge_outcome(scenario, outcome, usual, frames)

    def judge_termination(self, frames):
        """Before main no part of the program can report a failure; later a crash is a finding."""
        functions = self.functions(frames)
        names = [name for name, _ in functions]
        if not any(name.startswith("_GLOBAL__sub_I") for name in names):
            return "crash", str(functions)
        return "terminates", " < ".join(names)

    def judge_outcome(self, scenario, outcome, usual, frames, log_was_hit=False):
        if outcome.timed_out or outcome.status != 0:
            verdict = "hang" if outcome.timed_out else "crash"
            return verdict, f"{outcome}\n{self.functions(frames)}"
        if outcome.seen() == usual.seen():
            return "success", ""
        if self.is_described(scenario, outcome, usual, log_was_hit):
            return "documented", ""
        # An entry may lose the part of its text that it had no memory for.
        log = "\n".join(outcome.log).replace("SubtitleMgrCli:", "")  # the first word of an entry
        if is_part_of(log, "\n".join(usual.log)) and self.is_described(
            scenario, dataclasses.replace(outcome, log=[]), usual, log_was_hit
        ):
            return "entry lost", ""
        return "finding", f"{outcome}\n{self.functions(frames)}"

    @staticmethod
    def is_described(scenario, outcome, usual, log_was_hit):
        """Whether the pages for users describe the outcome. A silent failure looks as usual."""
        looks_usual = outcome.out == usual.out and re.fullmatch(
            INIT + re.escape(usual.err), outcome.err
        )
        return (
            looks_usual
            and scenario.leaves_its_traces(outcome)
            or scenario.is_told(outcome)
            or scenario.is_given_up(outcome, log_was_hit)
        )

    def functions(self, frames):
        """Returns names and files of the program's functions in a report, innermost first."""
        names = []
        for program in (self.place.workspace.client, self.place.workspace.service):
            addresses = ["0x" + address for file, address in frames if file == program]
            if addresses:
                lines = subprocess.run(
                    ["addr2line", "-f", "-C", "-i", "-e", program, *addresses],
                    stdout=subprocess.PIPE,
                    text=True,
                    check=True,
                ).stdout.splitlines()
                names += [
                    (name, file)
                    for name, file in zip(lines[::2], lines[1::2])
                    if not file.startswith("/usr/")
                ]
        return names
