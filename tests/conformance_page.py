"""docs/conformance.md, which tests/conformance and tests/architectures write a part of each: a section starts with its heading
of the second rank and goes to the next one."""

import pathlib
import re

PAGE = pathlib.Path(__file__).resolve().parent.parent / "docs/conformance.md"


def section(page, name):
    """The section with its heading; nothing where the page has none."""
    found = re.search(rf"^## {re.escape(name)}\n.*?(?=^## |\Z)", page, re.M | re.S)
    return found[0].rstrip("\n") + "\n" if found else ""


def with_section(page, text):
    """The page with the section `text` in place of the one of that name, or after all others."""
    name = re.match(r"## (.*)\n", text)[1]
    old = section(page, name)
    if old:
        return page.replace(old, text.rstrip("\n") + "\n")
    return page.rstrip("\n") + "\n\n" + text.rstrip("\n") + "\n"
