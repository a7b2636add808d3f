#!/usr/bin/env python3
"""Looks in the product's sources for what must not be there; no run could show its absence.

source_rules.py ROOT RULE
"""

import pathlib
import re
import sys

ROOMS = ("client", "platform", "simulator", "tools")

# Name: pattern, files where it may be all the same.
RULES = {
    # Descriptors above 1023 would write beyond the set.
    "NoSelect": (r"\b(select|pselect|FD_SET)\s*\(", ()),
    # Numbers are printed and read without grouping only in the locale that a program starts with.
    "NoLocale": (r"setlocale|std::locale|\bimbue\b", ()),
    # Waits are measured on the monotonic clock; only log entries and recordings tell the time of
    # day, and the report asks for it and does nothing with the answer.
    "NoWallClock": (
        r"system_clock|gettimeofday|CLOCK_REALTIME|\btime\s*\(\s*(nullptr|0|NULL)",
        ("platform/src/LogMsg.cpp", "client/stats/report.cpp", "tools/recording/writer.cpp"),
    ),
    # Strong ordering only, and no atomics wider than the device's words.
    "NoWeakAtomics": (r"memory_order|std::atomic<(?!(unsigned|bool|int)>)|__atomic|__sync", ()),
    # Bytes of a message are read and written one by one.
    "NoStructsOnTheWire": (
        r"reinterpret_cast<(const )?(struct )?\w+(Header|Record|Item|Frame)\b"
        r"|#pragma pack|packed\)\)|\b(hton|ntoh)[sl]\b",
        (),
    ),
    # The abstract namespace has no permissions: any program may take a name first.
    "NoAbstractSockets": (r"sun_path\s*\[\s*0\s*\]|sun_path\s*\+\s*1", ()),
    # Stacks are small on the device: nothing that grows, nothing large.
    "NoLargeLocals": (
        r"\balloca\s*\(|^\s+(unsigned )?char \w+\[(\d{5,}|[89]\d{3}|\d+ \* 1024)\];",
        (),
    ),
    # A program with more rights than its caller must not be steered by the caller's variables.
    "NoTrustInTheEnvironment": (r"(?<!secure_)getenv\s*\(|\benviron\b", ()),
    # Who is at the other end is asked of the kernel as a user, never as a process.
    "NoTrustInProcessNumbers": (r"peer\.pid|ucred.*\.pid", ()),
}


def violations(root, pattern, exceptions):
    for room in ROOMS:
        for path in sorted((root / room).rglob("*")):
            name = path.relative_to(root).as_posix()
            if path.suffix not in (".cpp", ".h") or name in exceptions:
                continue
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                if re.search(pattern, line.split("//")[0]):
                    yield f"{name}:{number}: {line.strip()}"


def main():
    root, rule = pathlib.Path(sys.argv[1]), sys.argv[2]
    pattern, exceptions = RULES[rule]
    found = list(violations(root, pattern, exceptions))
    # An exception that is none any more would hide the next violation.
    stale = [
        name
        for name in exceptions
        if not any(re.search(pattern, line) for line in (root / name).read_text().splitlines())
    ]
    for line in found + [f"{name}: no exception is needed any more" for name in stale]:
        print(line)
    return 1 if found or stale else 0


if __name__ == "__main__":
    sys.exit(main())
