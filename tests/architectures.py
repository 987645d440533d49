"""Runs examples, determinism cases and the procedures of architecture_cases on each architecture, compares what they write,
and prints a section for docs/conformance.md: architectures.py FOLDER [--quick]. Exit status 1 when values differ or a test
fails."""

import collections
import concurrent.futures
import datetime
import itertools
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

import architecture_compare as compare
import conformance_page
from architecture_cases import recordings

ROOT = pathlib.Path(__file__).resolve().parent.parent
EMULATED_X86 = "qemu-x86_64"
SYSROOT = ROOT / "build-arm64-sysroot/root"

Architecture = collections.namedtuple("Architecture", "name how build emulator environment")
NATIVE = Architecture("native", "this machine's processor", "build", [], {})
WITHOUT_FMA = Architecture("no FMA", "this machine; the C library with FMA, AVX2 and AVX-512 disabled", "build", [],
                           {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-FMA,-AVX2,-FMA4,-AVX512F"})
NEHALEM = Architecture("Nehalem", "qemu-x86_64 -cpu Nehalem", "build", [EMULATED_X86, "-cpu", "Nehalem"], {})
# Less what the emulator lacks, and would say so of.
HASWELL = Architecture("Haswell", "qemu-x86_64 -cpu Haswell", "build",
                       [EMULATED_X86, "-cpu", "Haswell,-pcid,-x2apic,-tsc-deadline,-hle,-invpcid,-rtm"], {})
ARM64 = Architecture("ARM64", "cross-built, qemu-aarch64", "build-arm64", ["qemu-aarch64", "-L", str(SYSROOT)], {})

SHARDS = 40  # parts of the tests, so that one that ends early takes few others with it

# Tests that an emulator cannot run, and why: they are not run there and count as left out.
LEFT_OUT = {
    "Mistakes.ASystemWithoutMemoryIsNamedAndLeavesNoOutput":
        "an emulated program is not held to the addresses that a process may take",
    "Crash.IsSaidWithItsTaskAndLeavesTheFilesAsTheyWere":
        "the emulator gives 0 for an address that no process can have, and so a null pointer is blamed",
    "Crash.OfAForkOfACommandIsTheForksAlone": "the emulator has a word of its own about a fork that a signal ends",
    "Plot.WhatCannotBeDrawnIsRefusedWithTheWayOut": "the emulator does not say that a program to be started is not there",
    "Datagrams.ThatTheSystemDropsAreCountedAsTheOneBefore":
        "the emulator does not pass on what the system says of dropped datagrams",
    "Datagrams.ThatTheSystemDropsLastAreCountedWhenTheRunIsStopped":
        "the emulator does not pass on what the system says of dropped datagrams",
}

LEGEND = """Outputs are what the examples, the cases of the determinism tests and the procedures of `tests/architecture_cases` write, with
the report and the messages of each run; the last reach every mathematical function in every command that uses one, with
extreme and with ordinary samples. Each is compared with the native one byte by byte. Where only NaNs differ, in sign or
payload, the values are the same, and NaNs are where they were: it is left to processors which NaN an invalid operation
makes, and which of two they pass on (and `qemu-x86_64` takes the one with the greater fraction, where processors take the
first). All that is not the same is listed.
"""

QUICK_CASES = re.compile(r".*-double|thermo-K|scans")


def expanded(path):
    """The procedures that a file describes, by name: one for each choice of the words that it lists."""
    text = path.read_text()
    choices = [[(word, value) for value in values.split()] for word, values in re.findall(r"^# each (\w+): (.*)$", text, re.M)]
    for chosen in itertools.product(*choices):
        one = text
        for word, value in chosen:
            one = one.replace(word, value)
        yield "-".join([path.stem, *(value for _, value in chosen)]), one


def call(architecture, program, arguments, folder, **environment):
    command = [*architecture.emulator, str(ROOT / architecture.build / program), *arguments]
    return subprocess.run(command, cwd=folder, capture_output=True, text=True,
                          env={**os.environ, **architecture.environment, **environment})


def run_procedure(architecture, folder, procedure):
    """Runs it where it is, and leaves a report without times and what was said beside its outputs."""
    report = folder / "report.json"
    done = call(architecture, "zepl", ["run", "--quiet", "--report", report.name, procedure.name], folder)
    if report.exists():
        said = json.loads(report.read_text())
        said.pop("seconds", None)
        report.write_text(json.dumps(said))
    (folder / "messages").write_text(f"exit status {done.returncode}\n{done.stdout}{done.stderr}")


def run_case(architecture, results, name, text):
    folder = results / architecture.name / "procedure" / name
    folder.mkdir(parents=True)
    for recording in (results / "recordings").iterdir():
        (folder / recording.name).symlink_to(recording)
    procedure = folder / "procedure.zp"
    procedure.write_text(text)
    run_procedure(architecture, folder, procedure)


def run_example(architecture, results, example):
    folder = results / architecture.name / "example" / example.stem
    folder.mkdir(parents=True)
    (folder / "data").symlink_to(ROOT / "examples/data")
    (folder / example.name).symlink_to(example)
    run_procedure(architecture, folder, example)


def run_determinism(architecture, results):
    folder = results / architecture.name / "determinism"
    folder.mkdir(parents=True)
    done = call(architecture, "zepl_tests", ["--gtest_filter=*Determinism*", "--gtest_brief=1"], ROOT, ARRIVALS="1",
                OUTPUTS=str(folder))
    (folder / "messages").write_text(f"exit status {done.returncode}\n" + (done.stdout if done.returncode else ""))


def run_shard(architecture, folder, shard):
    """The results of a part of the tests; one that does not come to its end counts as a failed test."""
    report = folder / f"{shard}.json"
    done = call(architecture, "zepl_tests", ["--gtest_filter=-" + ":".join(LEFT_OUT), f"--gtest_output=json:{report}"], ROOT,
                ARRIVALS="1-3", GTEST_TOTAL_SHARDS=str(SHARDS), GTEST_SHARD_INDEX=str(shard))
    (folder / f"{shard}.log").write_text(done.stdout + done.stderr)
    if not report.exists():
        return [{"classname": "shard", "name": f"{shard} ends with {done.returncode}", "failures": [done.stdout[-2000:]]}]
    return [test for suite in json.loads(report.read_text())["testsuites"] for test in suite["testsuite"]]


def run_tests(architecture, results):
    """The results of the module's and the runtime's own tests."""
    print(f"running the tests on {architecture.name}", file=sys.stderr)
    folder = results / architecture.name / "tests"
    folder.mkdir()
    there = call(architecture, "zepl_tests", ["--gtest_list_tests", "--gtest_filter=" + ":".join(LEFT_OUT)], ROOT).stdout
    if there.count("\n  ") != len(LEFT_OUT):
        sys.exit(f"some of the tests that are to be left out are not there: {', '.join(LEFT_OUT)}")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return sum(pool.map(lambda shard: run_shard(architecture, folder, shard), range(SHARDS)), [])


def run_all(architecture, results, cases, quick):
    print(f"running on {architecture.name}", file=sys.stderr)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        jobs = []
        if not quick:
            jobs += [pool.submit(run_determinism, architecture, results)]
            jobs += [pool.submit(run_example, architecture, results, path) for path in sorted((ROOT / "examples").glob("*.zp"))]
        jobs += [pool.submit(run_case, architecture, results, name, text) for name, text in cases.items()]
        for job in jobs:
            job.result()


def outcome_row(architecture, count, differences, tests):
    nans = sum(1 for one in differences if one.others == 0)
    passed = "" if tests is None else f"{len(tests)} run, {sum(1 for test in tests if test.get('failures'))} failed"
    return (f"| {architecture.name} | {architecture.how} | {count:,} | {count - len(differences):,} | {nans} | "
            f"{len(differences) - nans} | {passed} |")


def cell(differences):
    """What is not the same of some files on one architecture."""
    others, nans = (sum(getattr(one, kind) for one in differences) for kind in ("others", "nans"))
    units = [one.units for one in differences if one.others]
    if not others:
        return f"{nans:,} NaN" if nans else ""
    how = "other bytes" if None in units else f"up to {max(units):,} {'unit' if max(units) == 1 else 'units'}"
    return f"**{others:,} values**, {how}" + (f"; {nans:,} NaN" if nans else "")


def difference_rows(differences):
    """A row for each group and type of outputs that some architecture has otherwise, a column for each architecture."""
    rows = sorted({(one.group, one.type) for found in differences.values() for one in found})
    if not rows:
        return
    yield "| outputs of | type | " + " | ".join(differences) + " |"
    yield "|---|---|" + "---|" * len(differences)
    for group, kind in rows:
        cells = [cell([one for one in found if (one.group, one.type) == (group, kind)]) for found in differences.values()]
        yield f"| {group} | {kind} | " + " | ".join(cells) + " |"


def left_out_rows():
    if LEFT_OUT:
        yield "\nLeft out of the tests on ARM64, since the emulator cannot run them; these are not known to pass there:\n"
        yield from (f"- `{test}`: {why}" for test, why in LEFT_OUT.items())


def section_lines(architectures, found, tests, procedures):
    """`found` has the count of outputs and the differences of each architecture, `tests` the results of the tests' runs."""
    yield f"## Architectures\n\nMade on {datetime.date.today()} by `tests/architectures`, {procedures} procedures.\n"
    yield "| architecture | what | outputs | same bytes | other NaN | other values | own tests |"
    yield "|---|---|--:|--:|--:|--:|---|"
    yield from (outcome_row(one, *found[one.name], tests.get(one.name)) for one in architectures)
    yield "\n" + LEGEND
    yield from difference_rows({one.name: found[one.name][1] for one in architectures if one is not NATIVE})
    if tests:
        yield from left_out_rows()


def check_native(results, cases):
    """Each procedure must have run well here and have written all that it declares, or the comparison would show nothing."""
    for name, text in cases.items():
        folder = results / NATIVE.name / "procedure" / name
        told = (folder / "messages").read_text()
        missing = [file for file in re.findall(r' to "([^"]+)"', text)
                   if not (folder / file).exists() or (folder / file).stat().st_size == 0]
        if told != "exit status 0\n" or missing:
            sys.exit(f"{name} does not run as it should on this machine: {told}{' '.join(missing)}")
    for told in (results / NATIVE.name).rglob("messages"):
        if not told.read_text().startswith("exit status 0\n"):
            sys.exit(f"{told} is no run that went well")


def main():
    results, quick = pathlib.Path(sys.argv[1]).resolve(), "--quick" in sys.argv[2:]
    shutil.rmtree(results, ignore_errors=True)
    recordings.write_recordings(results / "recordings")
    cases = dict(one for path in sorted((ROOT / "tests/architecture_cases").glob("*.zp")) for one in expanded(path))
    if quick:
        cases = {name: text for name, text in cases.items() if QUICK_CASES.fullmatch(name)}
    architectures = [NATIVE, NEHALEM] if quick else [NATIVE, WITHOUT_FMA, NEHALEM, HASWELL, ARM64]
    for architecture in architectures:
        run_all(architecture, results, cases, quick)
    check_native(results, cases)
    found = {one.name: compare.folders(results / NATIVE.name, results / one.name) for one in architectures}
    tests = {} if quick else {ARM64.name: run_tests(ARM64, results)}
    page = "\n".join(section_lines(architectures, found, tests, len(cases))) + "\n"
    print(page, end="")
    if not quick:
        conformance_page.PAGE.write_text(conformance_page.with_section(conformance_page.PAGE.read_text(), page))
    failed = [test for ran in tests.values() for test in ran if test.get("failures")]
    for test in failed:
        print(f"failed on ARM64: {test['classname']}.{test['name']}", file=sys.stderr)
    sys.exit(1 if failed or any(one.others for _, differences in found.values() for one in differences) else 0)


main()
