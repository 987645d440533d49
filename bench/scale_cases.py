#!/usr/bin/env python3
"""scale_cases.py TOOL FOLDER [--quick]: runs the cases of bench/scale in FOLDER and prints their section of the report."""

import sys

import scale_streams
import scale_tasks
from scale_run import Bench, WrongOutput

CASES = (
    ("Many tasks", scale_tasks.manyTasks),
    ("Where the number of tasks ends", scale_tasks.endOfTasks),
    ("Many readers, and none", scale_tasks.manyReaders),
    ("Many sources", scale_tasks.manySources),
    ("A long recording in constant memory", scale_streams.longRecordings),
    ("Past position 2^32", scale_streams.pastTheWrap),
    ("A pipe that grows to the limit", scale_streams.growth),
)


def main():
    bench = Bench(sys.argv[1], sys.argv[2], "--quick" in sys.argv)
    try:
        sections = [f"### {title}\n\n{case(bench)}" for title, case in CASES]
    except WrongOutput as wrong:
        print(f"wrong: {wrong}", file=sys.stderr)
        return 1
    print("\n\n".join(sections))
    return 0


sys.exit(main())
