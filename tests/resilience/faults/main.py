"""Makes everything below the programs fail, one thing at a time, and tells what comes of it.

Each run ends as usual, in a line that the pages for users have, or is a finding.
"""

import argparse
import collections
import concurrent.futures
import hashlib
import itertools
import os
import sys
import threading
import time

sys.dont_write_bytecode = True  # nothing of a run stays in the sources

import memory
import memory_scenarios
import partial
import sinks
import system_calls
from processes import Place, Programs
from scenarios import SCENARIOS, SERVICE_START

BAD = ("hang", "crash", "finding")
VERDICTS = (
    "success",
    "documented",
    "output lost",
    "entry lost",
    "repeats",
    "terminates",
    "not reached",
    *BAD,
)
SHORT_SAMPLE = {"calls": 300, "memory": 600, "partial": 40, "sinks": 300}
PARTIAL_SEEDS = 150


def plan_calls(place, scenarios, arguments):
    plan = system_calls.plan(place, scenarios)
    if not arguments.scenario or SERVICE_START in arguments.scenario:
        ping = next(scenario for scenario in SCENARIOS if scenario.name == "ping")
        plan += system_calls.plan_service_start(place, ping)
    if arguments.call:
        plan = [(scenario, fault) for scenario, fault in plan if fault.call in arguments.call]
    return plan


def plan_memory(place, scenarios, arguments):
    plan = memory.MemorySweep(place, arguments.memory_library).plan
    return [
        (scenario, refusal)
        for scenario in scenarios
        for refusal in plan(scenario, scenario in SCENARIOS)
    ]


def plan_partial(_place, scenarios, _arguments):
    return [(scenario, seed) for scenario in scenarios for seed in range(1, PARTIAL_SEEDS + 1)]


def plan_sinks(place, _scenarios, arguments):
    sink_sweep = sinks.SinkSweep(place)
    plan = [
        run
        for kind in sinks.kinds()
        for run in sink_sweep.plan(kind)
        if not arguments.scenario or kind.name in arguments.scenario
    ]
    return [
        (kind, fault) for kind, fault in plan if not arguments.call or fault.call in arguments.call
    ]


def make_sweep(part, place, arguments):
    if part == "memory":
        return memory.MemorySweep(place, arguments.memory_library)
    if part == "partial":
        return partial.PartialSweep(place, arguments.partial_library)
    if part == "sinks":
        return sinks.SinkSweep(place)
    return system_calls.Sweep(place)


PLANS = {"calls": plan_calls, "memory": plan_memory, "partial": plan_partial, "sinks": plan_sinks}


class Workers:
    """A place for each thread."""

    def __init__(self, part, programs, arguments):
        self.part, self.programs, self.arguments = part, programs, arguments
        self.local = threading.local()
        self.places = []

    def run(self, scenario, fault):
        if not hasattr(self.local, "sweep"):
            place = Place(self.programs)
            self.places.append(place)
            self.local.sweep = make_sweep(self.part, place, self.arguments)
        return scenario, fault, *self.local.sweep.run(scenario, fault)

    def close(self):
        for place in self.places:
            place.close()


def row_name(scenario, fault):
    is_start = (
        not isinstance(scenario, sinks.Kind)
        and getattr(fault, "who", "") == "service"
        and getattr(fault, "error", "") not in ("", system_calls.KILL)
    )
    return SERVICE_START if is_start else scenario.name


def scenarios_of(part):
    return SCENARIOS + (memory_scenarios.MEMORY_SCENARIOS if part == "memory" else [])


def sample(plan, count, seed):
    """So many runs of a plan, from each scenario in turn, so that none is left out. A seed chooses
    the same ones although a program makes now and then a call more or less, so that the plan
    differs a little from run to run."""

    def rank(job):
        scenario, fault = job
        return hashlib.sha256(f"{seed} {scenario.name} {fault}".encode()).digest()

    by_scenario = {}
    for scenario, fault in sorted(plan, key=rank):
        by_scenario.setdefault(scenario.name, []).append((scenario, fault))
    turns = itertools.zip_longest(*(by_scenario[name] for name in sorted(by_scenario)))
    return [run for turn in turns for run in turn if run][:count]


def sweep(part, programs, arguments):
    """\\return the number of findings"""
    scenarios = [
        scenario
        for scenario in scenarios_of(part)
        if not arguments.scenario or scenario.name in arguments.scenario
    ]
    place = Place(programs)
    try:
        plan = PLANS[part](place, scenarios, arguments)
    finally:
        place.close()
    whole = len(plan)
    if arguments.short:
        plan = sample(plan, arguments.sample or SHORT_SAMPLE[part], arguments.seed)
    print(
        f"== {part}: {len(plan)} runs of {whole}"
        + f", chosen by seed {arguments.seed}" * arguments.short,
        flush=True,
    )
    verdicts, started = {}, time.monotonic()
    places, workers = {}, Workers(part, programs, arguments)
    try:
        with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
            for scenario, fault, verdict, text in pool.map(lambda job: workers.run(*job), plan):
                counts = verdicts.setdefault(row_name(scenario, fault), collections.Counter())
                counts[verdict] += 1
                if verdict in BAD:
                    print(f"{verdict}: {scenario.name}: {fault}\n{text}\n", flush=True)
                elif verdict == "terminates":
                    places.setdefault(text, f"{scenario.name}: {fault}")
    finally:
        workers.close()
    print_table(verdicts)
    for text in sorted(places):
        print(f"ends before main: {text}")
    bad = sum(counts[verdict] for counts in verdicts.values() for verdict in BAD)
    print(f"{bad} findings in {len(plan)} runs, {time.monotonic() - started:.0f} s", flush=True)
    # A sweep that runs nothing, or whose faults never come about, finds nothing.
    missed = sum(counts["not reached"] for counts in verdicts.values())
    return bad if missed < len(plan) else 1


def print_table(verdicts):
    total = sum(verdicts.values(), collections.Counter())
    columns = [verdict for verdict in VERDICTS if total[verdict] or verdict in BAD]
    print(f"{'':20}" + "".join(f"{column:>12}" for column in columns))
    for name, counts in [*verdicts.items(), ("all", total)]:
        print(f"{name:20}" + "".join(f"{counts[column]:12}" for column in columns), flush=True)


def main():
    parser = argparse.ArgumentParser(prog="script/faults", description=__doc__)
    parser.add_argument("bin", help="folder of the programs and of the preloaded libraries")
    parser.add_argument(
        "scenario",
        nargs="*",
        help="these scenarios only: "
        + ", ".join([scenario.name for scenario in scenarios_of("memory")] + [SERVICE_START]),
    )
    for part, text in (
        ("calls", "system calls that fail, and the death of the service at each"),
        ("memory", "allocations that fail"),
        ("partial", "reads and writes of 1 to 3 bytes, and interruptions"),
        ("sinks", "system calls that fail where lines are written"),
    ):
        parser.add_argument("--" + part, action="store_true", help=text)
    parser.add_argument("--short", action="store_true", help="samples, below a minute")
    parser.add_argument("--sample", type=int, help="runs of a sample")
    parser.add_argument("--seed", type=int, default=1, help="chooses the samples")
    parser.add_argument("--call", action="append", help="this system call only")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="runs at a time")
    arguments = parser.parse_intermixed_args()
    for part in ("memory", "partial"):
        setattr(
            arguments,
            part + "_library",
            os.path.join(os.path.abspath(arguments.bin), f"lib{part}_preload.so"),
        )
    parts = [part for part in PLANS if getattr(arguments, part)] or list(PLANS)
    programs = Programs(arguments.bin)
    return 1 if sum(sweep(part, programs, arguments) for part in parts) else 0


if __name__ == "__main__":
    sys.exit(main())
