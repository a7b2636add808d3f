#!/usr/bin/env python3
"""Searches the product's sources for forbidden code, since no run can prove that it is absent.

source_rules.py ROOT RULE
"""

import pathlib
import re
import sys

ROOMS = ("client", "platform", "simulator", "tools")

# Name: pattern, files with permitted exceptions.
RULES = {
    # With a descriptor above 1023, select() writes beyond its set.
    "NoSelect": (r"\b(select|pselect|FD_SET)\s*\(", ()),
    # Only the default locale prints and reads numbers without grouping.
    "NoLocale": (r"setlocale|std::locale|\bimbue\b", ()),
    # Waits use the monotonic clock. Only log entries and recordings contain the time of day; the
    # report reads it and does not use it.
    "NoWallClock": (
        r"system_clock|gettimeofday|CLOCK_REALTIME|\btime\s*\(\s*(nullptr|0|NULL)",
        ("platform/src/LogMsg.cpp", "client/stats/report.cpp", "tools/recording/writer.cpp"),
    ),
    # Sequentially consistent order only, and no atomics wider than the device's words.
    "NoWeakAtomics": (r"memory_order|std::atomic<(?!(unsigned|bool|int)>)|__atomic|__sync", ()),
    # The product reads and writes the bytes of a message one by one.
    "NoStructsOnTheWire": (
        r"reinterpret_cast<(const )?(struct )?\w+(Header|Record|Item|Frame)\b"
        r"|#pragma pack|packed\)\)|\b(hton|ntoh)[sl]\b",
        # The address of the page.
        ("tools/view/page_server/http_server.cpp",),
    ),
    # The abstract namespace has no permissions: any program may take a name first.
    "NoAbstractSockets": (r"sun_path\s*\[\s*0\s*\]|sun_path\s*\+\s*1", ()),
    # Stacks are small on the device: no variable and no large locals.
    "NoLargeLocals": (
        r"\balloca\s*\(|^\s+(unsigned )?char \w+\[(\d{5,}|[89]\d{3}|\d+ \* 1024)\];",
        (),
    ),
    # A program with more rights than its caller must ignore the caller's variables.
    "NoTrustInTheEnvironment": (r"(?<!secure_)getenv\s*\(|\benviron\b", ()),
    # The product asks the kernel for a peer's user, never for its process, except to name it.
    "NoTrustInProcessNumbers": (r"peer\.pid|ucred.*\.pid", ("tools/control/doctor_service.cpp",)),
}


def main():
    root, (pattern, exceptions) = pathlib.Path(sys.argv[1]), RULES[sys.argv[2]]
    found, excepted = [], set()
    for path in sorted(path for room in ROOMS for path in (root / room).rglob("*.*")):
        name = path.relative_to(root).as_posix()
        if path.suffix in (".cpp", ".h"):
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                if re.search(pattern, line.split("//")[0]) and name in exceptions:
                    excepted.add(name)
                elif re.search(pattern, line.split("//")[0]):
                    found.append(f"{name}:{number}: {line.strip()}")
    # An exception that is no longer needed would hide the next violation.
    found += [f"{name}: the exception is not needed" for name in set(exceptions) - excepted]
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
