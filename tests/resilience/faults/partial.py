"""Plays the scenarios while calls move 1 to 3 bytes and return EINTR, repeatable by a seed."""

from system_calls import Sweep

SEEDS = 150


class PartialSweep(Sweep):
    """No call fails here, so every outcome must be as usual."""

    SHORT = 40

    def plan(self):
        return [(scenario, seed) for scenario in self.chosen() for seed in range(1, SEEDS + 1)]

    def run(self, scenario, fault):
        usual = self.baseline(scenario)
        library = self.arguments.partial_library
        launcher = ["env", f"LD_PRELOAD={library}", f"PARTIAL_SEED={fault}"]
        self.place.stop_service()
        if scenario.needs_service:
            self.place.start_service(launcher)
        outcome = self.place.run_client(scenario, launcher)
        if scenario.ends_service and self.place.end_of_service() != 0:
            return "finding", f"the service did not end\n{outcome}"
        self.place.collect(outcome)
        if outcome.timed_out:
            return "hang", str(outcome)
        return ("success", "") if outcome.seen() == usual.seen() else ("finding", str(outcome))
