"""Plays the scenarios while reads and writes move 1 to 3 bytes and are interrupted, by seed."""

from system_calls import Sweep, describe, ensure_service


class PartialSweep(Sweep):
    """Nothing fails here, so that all must look as usual."""

    def __init__(self, place, library):
        super().__init__(place)
        self.library = library

    def run(self, scenario, fault):
        usual = self.baseline(scenario)
        extra = {"LD_PRELOAD": self.library, "PARTIAL_SEED": str(fault)}
        if self.place.service_is_alive():
            self.place.stop_service()
        if scenario.needs_service:
            self.place.start_service(extra=extra)
        outcome = self.place.run_client(scenario, extra=extra)
        if scenario.ends_service and not self.place.service_ends():
            return "finding", "the service did not end\n" + describe(outcome)
        self.place.collect(outcome)
        if outcome.timed_out:
            return "hang", describe(outcome)
        if outcome.seen() != usual.seen():
            return "finding", describe(outcome)
        ensure_service(self.place, scenario)
        return "success", ""
