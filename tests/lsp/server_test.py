"""What `zepl lsp` answers an editor. Called with the tool: server_test.py build/zepl."""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from editor import Editor, place

TOOL = sys.argv.pop(1) if len(sys.argv) > 1 else "build/zepl"
TOOL = str(pathlib.Path(TOOL).resolve())
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent

HEART = """rate 360
constant window = round(0.15 * rate)  # samples
constant n = 2 * window + 1
pipe ecg : int16 from "data/ecg208.wav"
pipe level : int16
pipe shown : int16 to "shown.csv" limit 10 * n
vector hann : double = [0.5 - 0.5 * cos(2 * pi * i / n) for i = 0 to n - 1]
OFFSET (ecg, -2 * window, level)
ABS (level, shown)
"""


class Session(unittest.TestCase):
    """Tests of a session in a folder of its own, which has recordings."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        shutil.copytree(ROOT / "examples/data", self.folder / "data")

    def launch(self, *options):
        editor = Editor(TOOL, self.folder, *options)
        self.addCleanup(editor.end)
        return editor

    def editor(self, text=None):
        editor = self.launch()
        editor.start()
        if text is not None:
            editor.open(text)
        return editor

    def labels(self, editor, line, column):
        return [each["label"] for each in editor.ask("textDocument/completion", **editor.at(line, column))["items"]]


class Protocol(Session):
    def test_ASessionThatEndsInOrderHasStatus0(self):
        editor = self.launch("--stdio")
        abilities = editor.start()["capabilities"]
        self.assertEqual(abilities["positionEncoding"], "utf-16")
        self.assertEqual(editor.stop(), 0)

    def test_WhatEndsASessionOtherwiseHasStatus1(self):
        for end in ("exit", "exit before initialize", "closed"):
            editor = self.launch()
            if end != "exit before initialize":
                editor.start()
            if end == "closed":
                editor.process.stdin.close()
            else:
                editor.notify("exit")
            self.assertEqual(editor.process.wait(timeout=60), 1, end)

    def test_WhatComesAtTheWrongTimeIsRefused(self):
        editor = self.launch()
        code = lambda method: editor.answer(method, textDocument={})["error"]["code"]
        editor.notify("textDocument/didOpen", textDocument={})
        self.assertEqual(code("textDocument/hover"), -32002)
        editor.start()
        self.assertEqual(code("initialize"), -32600)
        self.assertEqual(code("textDocument/inlayHint"), -32601)
        self.assertEqual(code("textDocument/didOpen"), -32601)  # a notification, and no request
        self.assertEqual(code("textDocument/hover"), -32602)
        editor.ask("shutdown")
        self.assertEqual(code("textDocument/hover"), -32600)

    def test_AMessageThatIsNoneIsRefusedAndTheNextIsRead(self):
        editor = self.editor(HEART)
        deep = b'{"jsonrpc":"2.0","id":7,"method":"initialize","params":' + b"[" * 100000 + b"]" * 100000 + b"}"
        cases = [
            (b"Content-Length: 3\r\n\r\n{x}", -32700), (b"Content-Length: 2\r\n\r\n[]", -32600),
            (b"Content-Length: 4\r\n\r\n\xff\xfe12", -32700), (b"Content-Length: 0\r\n\r\n", -32700),
            (b"Content-Length: -1\r\n\r\n", -32700), (b"Content-Length: 9" + b"9" * 30 + b"\r\n\r\n", -32700),
            (b"Content-Type: x\r\n\r\n", -32700), (b"x" * 5000 + b"\r\n\r\n", -32700),
            (b"Content-Length: 100000000\r\n\r\n" + b"[" * 100000000, -32700),
            (b'Content-Length: 12\r\n\r\n{"id":[1]}  ', -32600), (b'Content-Length: 12\r\n\r\n{"method":7}', -32600),
            (b"Content-Length: %d\r\n\r\n" % len(deep) + deep, -32600),
        ]
        for content, code in cases:
            editor.raw(content)
            while "error" not in (message := editor.read()):
                pass
            self.assertEqual(message["error"]["code"], code, content[:60])
            self.assertIsNotNone(editor.ask("textDocument/hover", **editor.at(8, 1)), content[:60])

    def test_HeadersCanHaveOtherFieldsAndCapitals(self):
        editor = self.launch()
        content = json.dumps({"jsonrpc": "2.0", "id": "a", "method": "initialize", "params": {}}).encode()
        for part in (b"content-type: x; charset=utf-8\r\nCONTENT-LENGTH:  %d \r\n\r\n" % len(content), content[:9], content[9:]):
            editor.raw(part)
        self.assertEqual(editor.read()["id"], "a")

    def test_StandardStreamsOfAProcedureAreNotThoseOfTheProtocol(self):
        editor = self.editor('pipe x : int16 from "-"\npipe y : int16 to "-"\nABS (x, y)\n')
        self.assertEqual(editor.found(), [])
        self.assertEqual(editor.stop(), 0)
        self.assertIsNone(editor.read())


class Diagnostics(Session):
    def checked(self, text, name="p.zp"):
        """What `zepl check` prints of a file with that text, as the diagnostics have it."""
        (self.folder / name).write_text(text)
        printed = subprocess.run([TOOL, "check", name], cwd=self.folder, capture_output=True, text=True).stderr
        found, remedy = [], False
        for line in printed.splitlines():
            head = re.match(r"(?:p\.zp(?::(\d+):(\d+))?: (error|warning|caution)|(note)): (.*)", line)
            if head:
                found.append([int(head[1] or 1) - 1, int(head[2] or 1) - 1, head[5] if not head[4] else line])
                pictures = 2 if head[1] else 0
            elif line != "p.zp: ready to run":
                pictures -= 1
                if pictures < 0:
                    found[-1][2] += "\n" + line[2:]
        return sorted(map(tuple, found))

    def test_TheyAreThoseOfZeplCheck(self):
        texts = [path.read_text() for path in sorted((ROOT / "examples").glob("*.zp"))]
        texts += [path.read_text(errors="replace") for path in sorted((ROOT / "tests/fuzz/corpus/procedure").iterdir())]
        texts += ['pipe a : int16 from "none.wav"\npipe b : int16\nABS (a, b)\nAB (b, c)\n',
                  'pipe é : int16\npipe x : int1\nABS (x, "é😀", y)\n', "constant c = 1 / 0\nconstant d = c\n", "",
                  'pipe a : float\nrate 50\nRMS (a, 5, b)\nvariable v : int16 = 5\nABS (v, a)\n',
                  "\ufeffpipe a : int17\n"]
        editor = self.editor("")
        for text in texts:
            if re.search(r'from\s+"?-', text):
                continue  # streams are not waited for
            wanted = self.checked(text)
            editor.change(text)
            given = sorted((line, start, message) for _, line, start, _, message in editor.found())
            # A remedy is printed once, and columns are bytes there.
            strip = lambda found: [(line, message.split("\n")[0]) for line, _, message in found]
            self.assertEqual(strip(given), strip(wanted), text)
            if text.isascii():
                self.assertEqual([each[1] for each in given], [each[1] for each in wanted], text)

    def test_EachHasItsRangeItsSeverityAndItsRemedy(self):
        editor = self.editor('pipe ecg : int16 from "data/ecg208.wav"\npipe r : int16  # 😀 é\nAB (ecg, r)\nSKIP ("😀", ecgg)\n')
        self.assertEqual(editor.found(), [
            (1, 2, 0, 2, "unknown command `AB`\ndid you mean `ABS`?"),
            (1, 3, 12, 16, "unknown name `ecgg`\ndid you mean `ecg`?")])
        editor.change((ROOT / "examples/oven.zp").read_text())
        self.assertEqual({each[0] for each in editor.found()}, {3})  # cautions about arrival

    def test_HalfAStatementIsOneMistake(self):
        lines = HEART.splitlines()
        editor = self.editor(HEART)
        self.assertEqual(editor.found(), [])
        for i, line in enumerate(lines):
            for end in range(1, len(line) + 1):
                text = "\n".join(lines[:i] + [line[:end]] + lines[i + 1:]) + "\n"
                editor.change(text)
                found = editor.found()
                if any("expected" in each[4] or "not closed" in each[4] for each in found):
                    self.assertEqual(len(found), 1, text)

    def test_AChangeOfAPartIsTheSameAsTheWholeText(self):
        editor = self.editor("pipe é😀\n")
        self.assertEqual(len(editor.found()), 1)
        editor.change(((0, 5), (0, 8), "x : int16\r\npipe y"), ((1, 6), (1, 6), " : int16 to \"y.wav\""),
                      ((2, 0), (9, 9), "ABS (x, y)\n# 😀😀"), ((3, 2), (3, 4), ""), ((3, 3), (3, 3), "é"))
        self.assertEqual(sorted(each[1:4] + (each[4][:17],) for each in editor.found()),
                         [(0, 5, 6, "nobody writes `x`"), (1, 5, 6, "the output of `y`")])
        editor.change(((0, 0), (1, 0), ""))
        self.assertEqual(editor.found(), [(1, 1, 5, 6, "unknown name `x`\ndeclare it as a pipe, trigger, variable or vector")])
        for range_ in (((5, 1), (0, 0)), ((0, 99), (0, 99)), ((99, 0), (99, 0))):
            editor.change((*range_, " "))
        self.assertEqual(len(editor.found()), 1)

    def test_ADocumentThatIsClosedHasNone(self):
        editor = self.editor("AB ()\n")
        self.assertEqual(len(editor.found()), 1)
        editor.notify("textDocument/didClose", textDocument={"uri": editor.uri("p.zp")})
        self.assertEqual(editor.read()["params"]["diagnostics"], [])
        self.assertEqual(editor.answer("textDocument/hover", **editor.at(0, 1))["error"]["code"], -32602)

    def test_FilesAreThoseBesideTheDocument(self):
        (self.folder / "sub folder").mkdir()
        text = 'pipe x : int16 from "x.wav"\npipe y : int16 to "y.wav"\nABS (x, y)\n'
        editor = self.editor()
        editor.open(text, "sub folder/p.zp")
        self.assertIn("x.wav", editor.found("sub folder/p.zp")[0][4])
        shutil.copy(self.folder / "data/ecg208.wav", self.folder / "sub folder/x.wav")
        editor.notify("textDocument/didSave", textDocument={"uri": editor.uri("sub folder/p.zp")})
        self.assertEqual(editor.found("sub folder/p.zp"), [])
        self.assertFalse((self.folder / "sub folder/y.wav").exists())

    def test_AFileThatKeepsItsReaderWaitingKeepsNoAnswer(self):
        subprocess.run(["mkfifo", self.folder / "fifo"], check=True)
        editor = self.editor('pipe x : int16 from "fifo"\nvector v : int16 from "fifo"\nABS (x, x)\n')
        self.assertEqual(editor.found(), [
            (3, 1, 22, 28, "this is read from a stream, without which nothing more is checked\nzepl check reads the stream")])
        self.assertIsNotNone(editor.ask("textDocument/hover", **editor.at(2, 1)))

    def test_ACommandThatDamagesItsMemoryEndsNoSession(self):
        probe = pathlib.Path(TOOL).parent / "probe.zlm"
        editor = self.launch("--module", str(probe))
        editor.start()
        editor.open('pipe a : int16 starts [1]\nSCRIPT ("null", a)\n')
        self.assertEqual(editor.found(), [(1, 1, 0, 6, "SCRIPT: used a null pointer\n"
                                           "it is a fault of the command: report it to the author of its module")])
        self.assertEqual(editor.stop(), 0)


class Names(Session):
    def open(self, more=""):
        editor = self.editor(HEART + more)
        self.text = HEART + more
        editor.found()
        return editor

    def spot(self, marked):
        """The position of the | in a part of the text."""
        offset = self.text.index(marked.replace("|", "")) + marked.index("|")
        before = self.text[:offset].split("\n")
        return len(before) - 1, len(before[-1])

    def where(self, ranges):
        """What the ranges cover, with what is before it in its line."""
        lines = self.text.split("\n")
        return [(lines[each["start"]["line"]][:each["start"]["character"]].strip()[-8:].strip(),
                 lines[each["end"]["line"]][each["start"]["character"]:each["end"]["character"]]) for each in ranges]

    def test_HoverShowsPagesDeclarationsAndValues(self):
        editor = self.open("vector few[2] : float = [1.5, length(ecg)]\n")
        cases = [
            ("A|BS (", "### ABS - absolute value"), ("|ABS (", "out dest: a pipe of the same type as `src`"),
            ("ABS (lev|el", "pipe level : int16\n```\n\npipe of int16"),
            ("constant win|dow", "constant, `54`"), ("constant window|", "# samples"), ("n = 2 * wi|ndow", "constant, `54`"),
            ("-2 * wind|ow", "constant, `54`"), ("-|2 * window", "-2 * window = -108"), ("-2 |* window", "-2 * window = -108"),
            ("0.15 * ra|te", "rate = 360"), ("cos(2 * p|i", "pi = 3.14"), ("0.1|5 *", None),
            ("pi * i|", "`i` counts in the formula"), ("ha|nn", "vector hann : double = [0.5"),
            ("pi|pe ecg", "pipe NAME : TYPE ...\n```\n\na stream of samples"), ("li|mit", "at most so many samples"),
            ("fe|w", "array of 2 vectors of float"), ("[1.|5,", None),
            ("leng|th(ecg)", "length(ecg) = 108000"),  # as the check found it
            ("1|0 * n", "10 * n = 1090"), ("rate 3|60", None), ("data/ecg|208", None),
        ]
        for marked, wanted in cases:
            hover = editor.ask("textDocument/hover", **editor.at(*self.spot(marked)))
            shown = hover["contents"]["value"] if hover else None
            self.assertTrue(shown is None if wanted is None else shown and wanted in shown, (marked, wanted, shown))
        self.assertIsNone(editor.ask("textDocument/hover", **editor.at(99, 0)))

    def test_ANameIsFoundWhereverItStands(self):
        editor = self.open("pipe é\ntable \"t.csv\" : seconds every 1 / n, level\nABS (level")
        def ask(marked, declaration=False):
            ranges = editor.ask("textDocument/references", **editor.at(*self.spot(marked)),
                                context={"includeDeclaration": declaration})
            return self.where(each["range"] for each in ranges)
        for marked in ("constant |window", "constant win|dow", "constant window|", "n = 2 * |window", "-2 * window|"):
            declared = editor.ask("textDocument/definition", **editor.at(*self.spot(marked)))
            self.assertEqual(self.where([declared["range"]]), [("constant", "window")], marked)
        self.assertEqual(ask("win|dow", True), [("constant", "window"), ("n = 2 *", "window"), ("cg, -2 *", "window")])
        self.assertEqual(ask("10 * |n"), [("mit 10 *", "n"), ("pi * i /", "n"), ("i = 0 to", "n"), ("very 1 /", "n")])
        self.assertEqual(ask("pipe lev|el"), [("window,", "level"), ("ABS (", "level"), ("y 1 / n,", "level"), ("ABS (", "level")])
        self.assertEqual(ask("for |i", True), [("2 * pi *", "i"), ("/ n) for", "i")])
        for marked in ("p|ipe", "in|t16", "36|0", "sho|wn.csv", "OFF|SET"):
            self.assertIsNone(editor.ask("textDocument/definition", **editor.at(*self.spot(marked))), marked)

    def test_RenameGivesTheSameProcedureOrRefuses(self):
        editor = self.open()
        def edited(marked, name):
            answer = editor.answer("textDocument/rename", **editor.at(*self.spot(marked)), newName=name)
            if "error" in answer:
                self.assertEqual(answer["error"]["code"], -32803)
                return answer["error"]["message"]
            lines = HEART.splitlines()
            for edit in sorted(answer["result"]["changes"][editor.uri("p.zp")], reverse=True,
                               key=lambda each: each["range"]["start"]["character"]):
                start, end = edit["range"]["start"], edit["range"]["end"]
                line = lines[start["line"]]
                lines[start["line"]] = line[:start["character"]] + edit["newText"] + line[end["character"]:]
            return "\n".join(lines) + "\n"
        self.assertEqual(edited("2 * wind|ow", "w"), HEART.replace("window", "w"))
        self.assertEqual(edited("lev|el", "to"), HEART.replace("level", "to"))
        self.assertEqual(edited("pi * |i", "k"), HEART.replace(" i /", " k /").replace("for i", "for k"))
        self.assertEqual(edited("lev|el", "level"), HEART)
        for name, why in (("2x", "is no name"), ("", "is no name"), ("a b", "is no name"), ("ecg", "is used already, at line 4"),
                          ("i", "is used already, at line 7"), ("pi", "is used already, at line 7")):
            self.assertIn(why, edited("lev|el", name))
        for marked in ("OFF|SET", "ra|te", "in|t16", "co|s(", "data|/", "fro|m"):
            self.assertIn("there is no name", edited(marked, "x"))
            self.assertIsNone(editor.ask("textDocument/prepareRename", **editor.at(*self.spot(marked))), marked)
        prepared = editor.ask("textDocument/prepareRename", **editor.at(*self.spot("ABS (level, sho|wn")))
        self.assertEqual(prepared["placeholder"], "shown")

    def test_SymbolsAreDeclarationsAndCommands(self):
        editor = self.editor(HEART + 'table "t.csv" : level\ntrigger b[2')
        symbols = editor.ask("textDocument/documentSymbol", textDocument={"uri": editor.uri("p.zp")})
        self.assertEqual([each["name"] for each in symbols],
                         ["window", "n", "ecg", "level", "shown", "hann", "OFFSET", "ABS", "t.csv", "b"])
        self.assertEqual(symbols[2]["detail"], "int16")
        self.assertEqual(symbols[2]["selectionRange"], {"start": place((3, 5)), "end": place((3, 8))})
        self.assertEqual(symbols[2]["range"], {"start": place((3, 0)), "end": place((3, 39))})


class Completion(Session):
    def test_EachPlaceHasWhatItTakes(self):
        declared = ('pipe x : int16 from "data/ecg208.wav"\npipe y : float\ntrigger t\nvariable v : int16 = 1\n'
                    "vector w : double = [1]\nconstant c = 5\n")
        editor = self.editor("")
        cases = [  # a last line, what is among its candidates, what is not
            ("", ["pipe", "table", "ABS", "OFFSET"], ["x", "from"]),
            ("A", ["ABS", "pipe"], ["x"]),
            ("ABS (", ["x", "y"], ["t", "v", "w", "c", "pipe", "ABS"]),
            ("ABS (x, ", ["x", "y"], ["t", "v", "c", "abs"]),
            ("OFFSET (x, ", ["v", "c", "pi", "abs"], ["x", "t", "w"]),
            ("TOGGLE (x, ", ["inside", "outside"], ["x", "t", "v"]),
            ("TOGGLE (x, inside, 0, 5, outside, 0, c, ", ["t"], ["x", "v", "inside"]),
            ("FIRFILTER (x, ", ["w", "c", "v"], ["x", "t"]),
            ("NOSUCH (", ["x", "t", "v", "w", "c"], []),
            ("OFFSET (x, 2 * ", ["c", "rate", "round"], ["x", "t"]),
            ("OFFSET (x, 5:", ["int16", "double"], ["x"]),
            ("pipe ", [], ["x", "int16"]),
            ("pipe z : ", ["int16", "float"], ["from", "x"]),
            ("pipe z : int16 ", ["from", "to", "starts"], ["with", "x", "int16"]),
            ('pipe z : int16 from "a.wav" ', ["to", "channel", "convert"], ["from", "with"]),
            ("rate length(", ["x", "y"], ["c", "t"]),
            ("rate length(x) + ", ["c"], ["x", "t"]),
            ("pipe z : int16 = ", ["x", "v", "c", "if"], ["t", "w", "from"]),
            ("pipe z : int16 = x ", ["to", "starts"], ["from"]),
            ("pipe z : int16 capacity ", ["c", "rate"], ["x", "to"]),
            ("trigger z ", ["from", "to"], ["capacity"]),
            ('trigger z to "z.csv" with ', ["seconds"], ["to"]),
            ('pipe z : int16 from "a.wav" convert ', ["rounded"], ["to"]),
            ('pipe z : int16 from "a.wav" format ', ["flac"], ["to"]),
            ('table "t.csv" : seconds every ', ["c"], ["x"]),
            ('table "t.csv" : seconds, ', ["x", "y", "hertz"], ["t", "c"]),
            ("feed ", ["lockstep"], ["x"]),
            ("rate ", ["c"], ["x"]),
            ("# ABS (", [], ["x", "pipe"]),
            ('pipe z : int16 from "', [], ["x", "pipe"]),
            ("ABS (x,\n", ["x", "pipe", "ABS"], ["t"]),
            ("vector z : float = [\n  ", ["c", "pi"], ["x"]),
        ]
        for last, wanted, unwanted in cases:
            text = declared + last
            editor.change(text)
            labels = self.labels(editor, text.count("\n"), len(text.rsplit("\n", 1)[1]))
            self.assertEqual([each for each in wanted if each not in labels], [], (last, labels))
            self.assertEqual([each for each in unwanted if each in labels], [], (last, labels))

    def test_ThoseOfTheRightTypeComeFirst(self):
        editor = self.editor("pipe a : float\npipe b : int16\nABS (b, ")
        items = editor.ask("textDocument/completion", **editor.at(2, 8))["items"]
        self.assertEqual([each["label"] for each in sorted(items, key=lambda each: each["sortText"])], ["b", "a"])

    def test_ACommandComesWithItsSummaryItsArgumentsAndItsPage(self):
        editor = self.editor("")
        find = lambda: next(each for each in editor.ask("textDocument/completion", **editor.at(0, 0))["items"]
                            if each["label"] == "OFFSET")
        item = find()
        self.assertEqual((item["detail"], item["insertText"]),
                         ("adds a value", "OFFSET (${1:src}, ${2:offset}, ${3:dest})"))
        self.assertIn("### OFFSET - ", editor.ask("completionItem/resolve", **item)["documentation"]["value"])
        editor = self.launch()
        editor.start({})
        editor.open("")
        self.assertNotIn("insertText", find())


if __name__ == "__main__":
    unittest.main()
