"""Makes system calls and allocations of the programs fail, one in each run, and reports findings.

A run is a finding unless it ends as usual or with a line that the pages for users describe.
"""

import argparse
import collections
import concurrent.futures
import hashlib
import os
import queue
import sys
import time

sys.dont_write_bytecode = True  # keeps the source folder clean

# pylint: disable=wrong-import-position
from scenarios import SCENARIOS, SERVICE_START
from sweeps import MemorySweep, PartialSweep, Sweep

SWEEPS = {
    "calls": (Sweep, "system calls that fail, and the death of the service at each"),
    "memory": (MemorySweep, "allocations that fail, alone or with all later ones"),
    "partial": (PartialSweep, "reads and writes of 1 to 3 bytes, and interruptions"),
}
BAD = ("hang", "crash", "finding")


def sample(plan, count, seed):
    """Chooses COUNT runs of a plan. A seed chooses the same runs again, although the plan varies a
    little, because the number of a program's calls varies."""

    def rank(job):
        scenario, fault = job
        return hashlib.sha256(f"{seed} {scenario.name} {fault}".encode()).digest()

    return sorted(plan, key=rank)[:count]


def run_sweep(part, arguments):
    """\\return the number of findings"""
    started, verdicts = time.monotonic(), collections.Counter()
    sweeps = [SWEEPS[part][0](arguments) for _ in range(arguments.jobs)]
    idle = queue.SimpleQueue()
    for sweep in sweeps:
        idle.put(sweep)

    def run(job):
        sweep = idle.get()
        try:
            return job, *sweep.run(*job)
        finally:
            idle.put(sweep)

    try:
        plan = sweeps[0].plan()
        print(f"== {part}: {len(plan)} runs", flush=True)
        if arguments.short:
            plan = sample(plan, arguments.sample or sweeps[0].SHORT, arguments.seed)
            print(f"a sample of {len(plan)}, chosen by seed {arguments.seed}", flush=True)
        with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
            for (scenario, fault), verdict, text in pool.map(run, plan):
                verdicts[verdict] += 1
                if verdict in BAD:
                    print(f"{verdict}: {scenario.name}: {fault}\n{text}\n", flush=True)
    finally:
        for sweep in sweeps:
            sweep.close()
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
    arguments.library = os.path.abspath(os.path.join(arguments.bin, "lib%s_preload.so"))
    parts = [part for part in SWEEPS if getattr(arguments, part)] or list(SWEEPS)
    return 1 if sum(run_sweep(part, arguments) for part in parts) else 0


if __name__ == "__main__":
    sys.exit(main())
