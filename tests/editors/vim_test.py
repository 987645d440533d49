"""How Vim colours procedures, in Vim itself, and what its plugin sets up. Called with the tool: vim_test.py build/zepl."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/zepl").resolve()
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
GROUPS = {"statement": "zeplStatement", "name": "zeplName", "type": "zeplType", "clause": "zeplClause", "text": "zeplText",
          "number": "zeplNumber", "function": "zeplFunction", "word": "zeplWord", "command": "zeplCommand", "task": "zeplTask",
          "comment": "zeplComment", "operator": "zeplOperator"}
PLAIN = ("", "zeplList")


class Vim(unittest.TestCase):
    def run_vim(self, name, text, *commands):
        """The lines that the commands append to `said`, in a Vim that has the plugin alone."""
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder)
            (place / name).write_text(text)
            script = ["let said = []", *commands, f"call writefile(said, '{place}/said')", "qall!"]
            (place / "script.vim").write_text("\n".join(script) + "\n")
            subprocess.run(["vim", "-N", "-u", "NONE", "-i", "NONE", "-es", "--cmd", f"set rtp^={ROOT}/editors/vim", "--cmd",
                            "filetype plugin on | syntax on", str(place / name), "-S", str(place / "script.vim")],
                           cwd=place, check=True, timeout=60, capture_output=True,
                           env={**os.environ, "PATH": f"{TOOL.parent}:{os.environ['PATH']}"})
            return (place / "said").read_text().splitlines()

    def test_WordsHaveTheirColours(self):
        cases = json.loads((ROOT / "tests/editors/colours.json").read_text())
        places = [(line, mark, kind) for line, marks in cases for mark, kind in marks.items()]
        commands = []
        for line, mark, kind in places:
            row = [each[0] for each in cases].index(line) + 1
            column = line.index(mark.replace("|", "")) + 1
            commands.append(f"call add(said, synIDattr(synID({row}, {column}, 1), 'name'))")
        shown = self.run_vim("p.zp", "".join(line + "\n" for line, _ in cases), *commands)
        for (line, mark, kind), group in zip(places, shown, strict=True):
            self.assertIn(group, PLAIN if kind == "plain" else (GROUPS[kind],), (line, mark))

    def test_MakeListsTheMistakesWithTheirRemedies(self):
        shown = self.run_vim("p.zp", "pipe a : int16 starts [1]\nAB (a, b)\nABS (a, c)\n", "silent make!",
                             "for each in getqflist() | if each.valid | call add(said, join([each.lnum, each.col, each.type] "
                             "+ split(each.text, '\\n'), '|')) | endif | endfor",
                             "call add(said, &filetype . ' ' . &commentstring)")
        self.assertEqual(shown, ["2|1|E|unknown command `AB`|AB (a, b)|^~|did you mean `ABS`?",
                                 "3|9|E|unknown name `c`|ABS (a, c)|        ^|declare it as a pipe, trigger, variable or vector",
                                 "zepl # %s"])


if __name__ == "__main__":
    unittest.main()
