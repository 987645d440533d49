"""Writes the report of tests/conformance from the tests' results: conformance.py FOLDER BUILD..., where FOLDER holds
BUILD.json as the tests write it. Exit status 1 when a test failed or two builds gave different bytes."""

import collections
import datetime
import json
import pathlib
import re
import subprocess
import sys

import conformance_page

BUILDS = {
    "release": ("g++", "-O3"),
    "clang": ("clang++", "-O3"),
    "sanitize": ("clang++", "address and undefined-behaviour sanitizers"),
}

TYPES = ("int16", "int32", "float", "double")

LEGEND = """Each command's own tests are those of the files about it. A run is a small procedure under a random arrival of its
input (pieces, default block, capacities of pipes, lent or streamed), which must give the bytes of the usual arrival;
`types` are those of its streams. The same bytes came from all builds above. What depends on arrival by its nature is named,
and checked by what must hold all the same.
"""


def results_of(folder, build):
    report = json.loads(pathlib.Path(folder, build + ".json").read_text())
    return [test for suite in report["testsuites"] for test in suite["testsuite"]]


def version(compiler):
    return subprocess.run([compiler, "--version"], capture_output=True, text=True).stdout.splitlines()[0]


def records_of(results):
    """What the determinism tests noted of each command."""
    records = collections.defaultdict(dict)
    for test in results:
        for key, value in test.items():
            if noted := re.fullmatch(r"([A-Z0-9]+) (runs|digest|types|why)", key):
                records[noted[1]][noted[2]] = value
    return records


def own_tests(results):
    """The tests of each command: those of the files that say that they cover it."""
    by_file = collections.Counter(test["file"] for test in results)
    own = collections.Counter()
    for file, count in by_file.items():
        for declaration in re.findall(r"^const Covers (.*?);", pathlib.Path(file[file.rindex("tests/") :]).read_text(), re.M | re.S):
            for command in re.findall(r'"(\w+)"', declaration):
                own[command] += count
    return own


def build_rows(results):
    yield "| build | tests | failed |"
    yield "|---|--:|--:|"
    for build, tests in results.items():
        compiler, how = BUILDS[build]
        failures = [test for test in tests if test.get("failures")]
        yield f"| {version(compiler)}, {how} | {len(tests)} | {len(failures)} |"


def command_rows(records, own):
    first, *others = records.values()
    yield "| command | own tests | runs | types | same bytes | depends on arrival |"
    yield "|---|--:|--:|---|---|---|"
    for command, record in sorted(first.items()):
        same = all(other[command]["digest"] == record["digest"] for other in others)
        runs = sum(int(build[command]["runs"]) for build in records.values())
        types = " ".join(name for name in TYPES if name in record["types"].split())
        verdict = ("yes" if same else "NO") if others else "one build"
        yield f"| {command} | {own[command]} | {runs:,} | {types} | {verdict} | {record['why']} |"


def main():
    folder, *builds = sys.argv[1:]
    results = {build: results_of(folder, build) for build in builds}
    records = {build: records_of(tests) for build, tests in results.items()}
    commands = list(command_rows(records, own_tests(results[builds[0]])))
    print("# Conformance\n")
    print(f"Made on {datetime.date.today()} by `tests/conformance`.\n")
    print("\n".join(build_rows(results)))
    print()
    print(LEGEND)
    print("\n".join(commands))
    if kept := conformance_page.section(conformance_page.PAGE.read_text(), "Architectures"):
        print("\n" + kept, end="")
    failed = any(test.get("failures") for tests in results.values() for test in tests)
    sys.exit(1 if failed or any("| NO |" in row for row in commands) else 0)


main()
