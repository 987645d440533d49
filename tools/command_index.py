#!/usr/bin/env python3
"""Makes docs/commands.md, the commands by area, from the first lines of their pages and the folders of their sources.

    tools/command_index.py           writes it
    tools/command_index.py --check   fails where it is not what would be written
"""

import pathlib
import sys

root = pathlib.Path(__file__).resolve().parent.parent
index = root / "docs/commands.md"
titles = {
    "arith": "Arithmetic, sample by sample",
    "stats": "Statistics of blocks, and running sums",
    "spectral": "Spectra and correlation",
    "fir": "Filters",
    "generators": "Signal generators",
    "control": "Controllers",
    "lookup": "Tables, transfer functions and peaks",
    "events": "Triggers",
    "digital": "Counters and digital ports",
    "routing": "Routing of streams",
}


def area_of(command):
    return next(area for area in titles if (root / f"src/{area}/{command.lower()}.cpp").exists())


def summary_of(page):
    text = page.read_text()
    if text.startswith("---\n"):
        text = text.split("\n---\n", 1)[1]
    return text.split("\n", 1)[0].split(" - ", 1)[1]


def text_of_index():
    pages = {page.stem: page for page in (root / "docs/commands").glob("*.md")}
    lines = ["# Commands", "", "`zepl help NAME` shows a page in the terminal; `zepl commands WORD` searches.", ""]
    for area, title in titles.items():
        lines += [f"## {title}", ""]
        for command in sorted(pages):
            if area_of(command) == area:
                lines.append(f"- [{command}](commands/{command}.md): {summary_of(pages[command])}")
        lines.append("")
    return "\n".join(lines)


def main():
    text = text_of_index()
    if "--check" not in sys.argv:
        index.write_text(text)
    elif not index.exists() or index.read_text() != text:
        sys.exit("docs/commands.md is not what the pages say: run tools/command_index.py")


if __name__ == "__main__":
    main()
