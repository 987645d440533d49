"""Runs procedures for bench/scale, measures each run, and compares what came out."""

import os
import subprocess
import sys
from array import array
from dataclasses import dataclass

MEASURED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "scale_measured.py")


class WrongOutput(Exception):
    """An output, or what the tool said, is not what it must be."""


@dataclass
class Run:
    seconds: float
    megabytes: float  # the tool's peak
    said: str


def require(holds, what):
    if not holds:
        raise WrongOutput(what)


def samples(numbers):
    return array("h", numbers)


def saturated(value):
    return max(-32768, min(32767, value))


class Bench:
    def __init__(self, tool, folder, quick):
        self.tool = os.path.abspath(tool)
        self.folder = folder
        self.quick = quick

    def at(self, name):
        return os.path.join(self.folder, name)

    def note(self, text):
        print(text, file=sys.stderr, flush=True)

    def put(self, name, content):
        with open(self.at(name), "w" if isinstance(content, str) else "wb") as file:
            file.write(content)

    def read(self, name, code="h"):
        elements = array(code)
        with open(self.at(name), "rb") as file:
            elements.frombytes(file.read())
        return elements

    def run(self, lines, *options, feed=None, expected=0):
        """Runs the procedure; `feed` is called with a file object that is the tool's standard input."""
        self.put("p.zp", "\n".join(lines) + "\n")
        call = [sys.executable, "-I", "-S", MEASURED, "measures", self.tool, "run", "p.zp", *options]
        with open(self.at("said"), "wb") as said:
            source = subprocess.PIPE if feed else subprocess.DEVNULL
            with subprocess.Popen(call, cwd=self.folder, stdin=source, stderr=said) as process:
                if feed:
                    feed(process.stdin)
        with open(self.at("measures"), encoding="ascii") as file:
            status, seconds, kilobytes = map(float, file.read().split())
        with open(self.at("said"), encoding="utf-8") as said:
            text = said.read()
        require(status == expected, f"the run ended with {status:.0f} and not {expected}:\n{text[:2000]}")
        return Run(seconds, kilobytes / 1024, text)

    def requireFile(self, name, expected):
        with open(self.at(name), "rb") as file:
            require(file.read() == bytes(expected), f"{name} is not what it must be")
        os.remove(self.at(name))

    def requireRepeated(self, name, block, times, skipped=0):
        """The file is the block, so many times, behind `skipped` bytes of a header."""
        block = bytes(block)
        with open(self.at(name), "rb") as file:
            file.seek(skipped)
            for number in range(times):
                require(file.read(len(block)) == block, f"{name} is wrong in repetition {number}")
            require(file.read(1) == b"", f"{name} is longer than it must be")
        os.remove(self.at(name))


def table(heading, rows):
    lines = ["| " + " | ".join(heading) + " |", "|" + "---|" * len(heading)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines)


def count(number):
    return f"{number:,}"
