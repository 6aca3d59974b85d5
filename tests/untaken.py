#!/usr/bin/env python3
"""untaken.py GCOVR_JSON ROOT: prints what no test reaches, one line each: `file:line: never run: code`, or
`file:line: K of N branches never taken: code` for a line that is run."""

import json
import pathlib
import sys


def untaken(file: dict, code: list[str]):
    for line in file["lines"]:
        if line.get("gcovr/noncode"):
            continue
        number = line["line_number"]
        branches = [b for b in line["branches"] if not b["throw"]]
        missed = sum(b["count"] == 0 for b in branches)
        if line["count"] == 0:
            what = "never run"
        elif missed:
            what = f"{missed} of {len(branches)} branches never taken"
        else:
            continue
        yield f"{file['file']}:{number}: {what}: {code[number - 1].strip()}"


def main() -> None:
    report, root = sys.argv[1:]
    for file in json.loads(pathlib.Path(report).read_text())["files"]:
        code = (pathlib.Path(root) / file["file"]).read_text().splitlines()
        for row in untaken(file, code):
            print(row)


main()
