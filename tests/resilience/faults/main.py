"""Makes system calls and allocations of the programs fail, one in each run, and reports findings.

A run is a finding unless it ends as usual or with a line that the pages for users describe.
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

sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from memory import MemorySweep
from partial import PartialSweep
from scenarios import SCENARIOS, SERVICE_START
from sinks import SinkSweep
from system_calls import Sweep

SWEEPS = {
    "calls": (Sweep, "system calls that fail, and the death of the service at each"),
    "memory": (MemorySweep, "allocations that fail"),
    "partial": (PartialSweep, "reads and writes of 1 to 3 bytes, and interruptions"),
    "sinks": (SinkSweep, "system calls that fail where lines are written"),
}
BAD = ("hang", "crash", "finding")


class Workers:
    """Gives each thread a sweep with its own place."""

    def __init__(self, make_sweep):
        self.make_sweep = make_sweep
        self.local = threading.local()
        self.sweeps = []

    def run(self, scenario, fault):
        if not hasattr(self.local, "sweep"):
            self.local.sweep = self.make_sweep()
            self.sweeps.append(self.local.sweep)
        return scenario, fault, *self.local.sweep.run(scenario, fault)

    def close(self):
        for sweep in self.sweeps:
            sweep.close()


def sample(plan, count, seed):
    """Chooses COUNT runs of a plan, from each scenario in turn. A seed chooses the same runs again,
    although the plan varies a little, because the number of a program's calls varies."""

    def rank(job):
        scenario, fault = job
        return hashlib.sha256(f"{seed} {scenario.name} {fault}".encode()).digest()

    by_scenario = {}
    for scenario, fault in sorted(plan, key=rank):
        by_scenario.setdefault(scenario.name, []).append((scenario, fault))
    turns = itertools.zip_longest(*(by_scenario[name] for name in sorted(by_scenario)))
    return [run for turn in turns for run in turn if run][:count]


def plan_of(part, arguments):
    """Returns the runs of a sweep, or a sample of them."""
    sweep = SWEEPS[part][0](arguments)
    try:
        plan = sweep.plan()
    finally:
        sweep.close()
    print(f"== {part}: {len(plan)} runs", flush=True)
    if arguments.short:
        plan = sample(plan, arguments.sample or sweep.SHORT, arguments.seed)
        print(f"a sample of {len(plan)}, chosen by seed {arguments.seed}", flush=True)
    return plan


def run_sweep(part, arguments):
    """\\return the number of findings"""
    started = time.monotonic()
    plan = plan_of(part, arguments)
    verdicts, terminations = collections.Counter(), {}
    workers = Workers(lambda: SWEEPS[part][0](arguments))
    try:
        with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
            for scenario, fault, verdict, text in pool.map(lambda job: workers.run(*job), plan):
                verdicts[verdict] += 1
                if verdict in BAD:
                    print(f"{verdict}: {scenario.name}: {fault}\n{text}\n", flush=True)
                elif verdict == "terminates":
                    terminations[text] = fault
    finally:
        workers.close()
    for text in sorted(terminations):
        print(f"ends before main: {text}")
    print(", ".join(f"{verdict} {count}" for verdict, count in sorted(verdicts.items())))
    bad = sum(verdicts[verdict] for verdict in BAD)
    print(f"{bad} findings in {len(plan)} runs, {time.monotonic() - started:.0f} s", flush=True)
    # A sweep without runs, or whose faults never happen, proves nothing.
    return bad if verdicts["not reached"] < len(plan) else 1


def main():
    parser = argparse.ArgumentParser(prog="script/faults", description=__doc__)
    parser.add_argument("bin", help="folder of the programs and of the preloaded libraries")
    names = [scenario.name for scenario in SCENARIOS] + [SERVICE_START]
    parser.add_argument("scenario", nargs="*", help="these scenarios only: " + ", ".join(names))
    for part, (_, text) in SWEEPS.items():
        parser.add_argument("--" + part, action="store_true", help=text)
    parser.add_argument("--short", action="store_true", help="samples, less than a minute")
    parser.add_argument("--sample", type=int, help="runs of a sample")
    parser.add_argument("--seed", type=int, default=1, help="chooses the samples")
    parser.add_argument("--call", action="append", help="this system call only")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="runs at a time")
    arguments = parser.parse_intermixed_args()
    for part in ("memory", "partial"):
        library = os.path.join(os.path.abspath(arguments.bin), f"lib{part}_preload.so")
        setattr(arguments, part + "_library", library)
    parts = [part for part in SWEEPS if getattr(arguments, part)] or list(SWEEPS)
    return 1 if sum(run_sweep(part, arguments) for part in parts) else 0


if __name__ == "__main__":
    sys.exit(main())
