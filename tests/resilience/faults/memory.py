"""Fails each allocation of a program once, alone or with all that follow.

A preloaded library counts and refuses. Before main a program may end in std::terminate; after that
it says what failed, and an option or a command of the console that is given up has no effect.
"""

import dataclasses
import os
import re
import signal
import subprocess

from scenarios import INIT
from system_calls import Sweep, describe, ensure_service, is_part_of


class Refusal:
    """Allocation number N of one of the programs, alone or with all that follow."""

    def __init__(self, who, number, lasting):
        self.who, self.number, self.lasting = who, number, lasting

    def __str__(self):
        return f"{self.who}: allocation {self.number}{' and all that follow' * self.lasting}"


class MemorySweep(Sweep):
    """Runs scenarios with refused allocations in one place, and judges what comes out."""

    def __init__(self, place, library):
        super().__init__(place)
        self.library = library

    def environment(self, number=0, lasting=False):
        extra = {
            "LD_PRELOAD": self.library,
            "MEMORY_REPORT": self.place.path("memory"),
            "MEMORY_FAIL_AT": str(number),
        }
        return {**extra, "MEMORY_LASTING": "1"} if lasting else extra

    def report(self):
        try:
            lines = self.place.text("memory").splitlines()
            os.remove(self.place.path("memory"))
        except FileNotFoundError:
            return []
        return [line.split() for line in lines]

    def numbers(self, scenario):
        """The allocations of the last run. Those before main are the same in every scenario."""
        total, before_main = next(
            (int(words[1]), int(words[2])) for words in self.report() if words[0] == "allocations"
        )
        return range(1 if scenario.name == "ping" else before_main + 1, total + 1)

    def plan(self, scenario, with_service):
        """Every refusal of a scenario in the client, and in the service if wanted."""
        ensure_service(self.place, scenario)
        self.place.run_client(scenario, extra=self.environment())
        if scenario.ends_service:
            self.place.service_ends()
        numbers = [("client", number) for number in self.numbers(scenario)]
        if scenario.needs_service and with_service:
            if self.place.service_is_alive():
                self.place.stop_service()
            self.place.start_service(extra=self.environment())
            self.place.run_client(scenario)
            self.place.stop_service()
            numbers += [("service", number) for number in self.numbers(scenario)]
        return [
            Refusal(who, number, lasting) for who, number in numbers for lasting in (False, True)
        ]

    def run(self, scenario, fault):
        """\\return (verdict, description)"""
        usual = self.baseline(scenario)
        self.report()
        if fault.who == "client":
            return self.run_client(scenario, fault, usual)
        return self.run_service(scenario, fault, usual)

    def run_client(self, scenario, refusal, usual):
        ensure_service(self.place, scenario)
        outcome = self.place.run_client(
            scenario, extra=self.environment(refusal.number, refusal.lasting)
        )
        if scenario.ends_service and "Quit issued" in outcome.out:
            self.place.service_ends()
        self.place.collect(outcome)
        frames = [words for words in self.report() if words[0] != "allocations"]
        if (
            scenario.needs_service
            and self.place.service_is_alive()
            and (not self.place.is_answered())
        ):
            return "finding", "the service suffers\n" + describe(outcome)
        if outcome.status == -signal.SIGABRT:
            return self.judge_termination(frames)
        problem = scenario.untold_loss(outcome, refusal.lasting)
        if problem:
            return "finding", problem + "\n" + describe(outcome)
        return self.judge_outcome(scenario, outcome, usual, frames, refusal.lasting)

    def judge_termination(self, frames):
        """Before main there is nobody to tell; after its start, that is a fault."""
        functions = self.functions(frames)
        names = [name for name, _ in functions]
        if not frames or not any(name.startswith("_GLOBAL__sub_I") for name in names):
            return "crash", str(functions)
        return "terminates", " < ".join(names)

    def judge_outcome(self, scenario, outcome, usual, frames, log_was_hit=False):
        if outcome.timed_out:
            return "hang", describe(outcome) + str(self.functions(frames))
        if outcome.status != 0:
            return "crash", describe(outcome) + str(self.functions(frames))
        if outcome.seen() == usual.seen():
            return "success", ""
        if self.is_described(scenario, outcome, usual, log_was_hit):
            return "documented", ""
        # An entry may lose a part of its text, which is all that it had memory for.
        if is_part_of("\n".join(outcome.log), "\n".join(usual.log)) and self.is_described(
            scenario, dataclasses.replace(outcome, log=[]), usual, log_was_hit
        ):
            return "entry lost", ""
        return "finding", describe(outcome) + str(self.functions(frames))

    def is_described(self, scenario, outcome, usual, log_was_hit):
        """Whether the pages for users have it. What fails silently looks as usual."""
        looks_usual = outcome.out == usual.out and re.fullmatch(
            INIT + re.escape(usual.err), outcome.err
        )
        return (
            looks_usual
            and scenario.leaves_its_traces(outcome)
            or scenario.is_told(outcome)
            or scenario.is_given_up(outcome, log_was_hit)
        )

    def run_service(self, scenario, refusal, usual):
        if self.place.service_is_alive():
            self.place.stop_service()
        self.place.start_service(extra=self.environment(refusal.number, refusal.lasting))
        outcome = self.place.run_client(scenario)
        if scenario.ends_service and outcome.out == usual.out:
            self.place.service_ends()
        self.place.collect(outcome)
        status = self.place.stop_service()
        said = self.place.text("service.err")
        frames = [words for words in self.report() if words[0] != "allocations"]
        if status == -signal.SIGABRT:
            return self.judge_termination(frames)
        if status not in (0, 1, 2):
            return "crash", f"the service ends with {status}: {said} {self.functions(frames)}"
        if "journal is not complete" in said:
            outcome.requests = usual.requests
        return self.judge_outcome(scenario, outcome, usual, frames)

    def functions(self, frames):
        """Names and files of the program's functions in a report, innermost first."""
        names = []
        for program in (self.place.programs.client, self.place.programs.service):
            addresses = ["0x" + address for file, address in frames if file == program]
            if addresses:
                text = subprocess.run(
                    ["addr2line", "-f", "-C", "-i", "-e", program, *addresses],
                    stdout=subprocess.PIPE,
                    text=True,
                    check=True,
                ).stdout
                lines = text.splitlines()
                names += [
                    (name, file)
                    for name, file in zip(lines[::2], lines[1::2])
                    if not file.startswith("/usr/")
                ]
        return names
