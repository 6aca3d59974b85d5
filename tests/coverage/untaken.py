#!/usr/bin/env python3
"""untaken.py LLVM_COV_JSON ROOT EXPLAINED: prints what no test reaches and EXPLAINED does not explain, one line each: functions
never called, conditions that were never true or never false, and other code that was never run. Fails where there is any, and
where a row of EXPLAINED explains nothing.

A row of EXPLAINED is `files | pattern | reason`: in files of that name, which may have wildcards, a place whose text the regular
expression is found in needs no test, for that reason. The text is what would be printed: `never true: CONDITION`. What is met
`by chance`, as a reason may begin, need not be among what was not."""

import collections
import fnmatch
import json
import pathlib
import re
import sys

CODE = 0  # the kind of regions that are neither expansions of macros nor gaps


class File:
    """Counts of a file's places, those of all instances of a template together."""

    def __init__(self) -> None:
        self.branches = collections.defaultdict(lambda: [0, 0])
        self.regions = collections.Counter()
        self.bodies = set()

    def take(self, function: dict, number: int) -> None:
        for *place, true, false, file, _, _ in function["branches"]:
            if file == number:
                counts = self.branches[tuple(place)]
                counts[0] += true
                counts[1] += false
        own = [region for region in function["regions"] if region[5] == number and region[7] == CODE]
        for *place, count, _, _, _ in own:
            self.regions[tuple(place)] += count
        if number == 0 and own:
            self.bodies.add(tuple(own[0][:4]))

    def untaken(self):
        """Places and what about them. What lies within code that was never run is part of it; where neither side of a condition
        was taken the compiler has decided it, or it stands in such code."""
        never_run = [place for place, count in self.regions.items() if count == 0]
        one_sided = [(place, counts) for place, counts in self.branches.items() if (counts[0] == 0) != (counts[1] == 0)]
        for place, counts in one_sided:
            yield place, "never true" if counts[0] == 0 else "never false"
        # What begins where a condition ends is what that would have led to.
        ends = {line + more for (_, _, line, _), _ in one_sided for more in (0, 1)}
        for place in never_run:
            within = any(other != place and other[:2] <= place[:2] and place[2:] <= other[2:] for other in never_run)
            if not within and place in self.bodies:
                yield place, "never called"
            elif not within and place[0] not in ends:
                yield place, "never run"


def files_of(report: dict, root: pathlib.Path) -> dict[str, File]:
    files: dict[str, File] = collections.defaultdict(File)
    for function in report["functions"]:
        for number, name in enumerate(function["filenames"]):
            path = pathlib.Path(name)
            if path.is_relative_to(root / "qfcore") or path.is_relative_to(root / "tessel"):
                files[str(path.relative_to(root))].take(function, number)
    return files


class Explained:
    def __init__(self, path: str) -> None:
        lines = pathlib.Path(path).read_text().splitlines()
        rows = [(line, *line.split(" | ", 2)) for line in lines if line and not line.startswith("#")]
        self.rules = [(line, files, pattern) for line, files, pattern, _ in rows]
        self.unused = dict.fromkeys(line for line, *_, reason in rows if not reason.startswith("by chance"))

    def __call__(self, file: str, text: str) -> bool:
        found = [row for row, files, pattern in self.rules if fnmatch.fnmatch(file, files) and re.search(pattern, text)]
        for row in found:
            self.unused.pop(row, None)
        return bool(found)


def text_of(code: list[str], place: tuple, what: str) -> str:
    first, column, last, end = place
    if not what.endswith(("true", "false")):
        return code[first - 1].strip()
    return code[first - 1][column - 1 : end - 1 if last == first else None].strip()


def main() -> None:
    report, folder, explanations = sys.argv[1:]
    root = pathlib.Path(folder).resolve()
    explained = Explained(explanations)
    listed = 0
    for name, file in sorted(files_of(json.loads(pathlib.Path(report).read_text())["data"][0], root).items()):
        code = (root / name).read_text().splitlines()
        for place, what in sorted(file.untaken()):
            row = f"{what}: {text_of(code, place, what)}"
            if not explained(name, row):
                print(f"{name}:{place[0]}: {row}")
                listed += 1
    for row in explained.unused:
        print(f"explains nothing: {row}")
    print(f"{listed} places without a test or a reason", file=sys.stderr)
    sys.exit(listed > 0 or bool(explained.unused))


main()
