#!/usr/bin/env python3
"""Refuses an include that points from a lower subsystem to a higher one, or a heavy header in a header of ours."""

import pathlib
import re
import sys

# Each subsystem may use those before it.
ORDER = ["platform", "core", "endpoints", "engine", "tools", "studio", "language", "app", "cli", "tap"]
HEAVY = re.compile(r"^(asio|nlohmann/json\.hpp|CLI|Q[A-Z]|JavaScriptCore|lua|jack/|alsa/|rtaudio/|xcb/|xkbcommon/)")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')

# Raw atomics, locks, clocks and threads belong to the platform alone.
PLATFORM_ONLY = {"atomic", "mutex", "thread", "condition_variable", "shared_mutex", "random", "ctime"}
# A scoped lock over one of the platform's own lock types.
MAY_USE_MUTEX = {"src/engine/ToolChain.hpp", "src/engine/ToolChain.cpp"}


def faults_of(path, root):
    subsystem = path.relative_to(root / "src").parts[0]
    name = str(path.relative_to(root))
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        bracket, target = match.groups()
        place = f"{name}:{number}"
        if bracket == '"':
            used = target.split("/")[0]
            if used not in ORDER:
                yield f"{place}: \"{target}\" must be written from src/, as \"subsystem/File.hpp\""
            elif ORDER.index(used) > ORDER.index(subsystem):
                yield f"{place}: {subsystem} must not use {used}"
        else:
            if path.suffix == ".hpp" and HEAVY.match(target):
                yield f"{place}: <{target}> is too heavy for a header"
            if subsystem != "platform" and target in PLATFORM_ONLY and not (
                target == "mutex" and name in MAY_USE_MUTEX
            ):
                yield f"{place}: <{target}> belongs to the platform subsystem"


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    faults = [
        fault
        for path in sorted((root / "src").rglob("*"))
        if path.suffix in (".hpp", ".cpp")
        for fault in faults_of(path, root)
    ]
    print("\n".join(faults) if faults else "every include points the right way")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
