"""An editor as `zepl lsp` sees it: starts the server, sends it messages, and reads what it sends."""

import json
import pathlib
import queue
import subprocess
import threading
import urllib.parse

EVERYTHING = {"textDocument": {
    "completion": {"completionItem": {"snippetSupport": True}},
    "documentSymbol": {"hierarchicalDocumentSymbolSupport": True},
}}


def read_message(stream):
    """The next message; None at the end. Anything but a frame is a fault."""
    header = b""
    while not header.endswith(b"\r\n\r\n"):
        byte = stream.read(1)
        if not byte:
            assert not header, header
            return None
        header += byte
    assert header.startswith(b"Content-Length: "), header
    return json.loads(stream.read(int(header.split()[1])))


class Editor:
    def __init__(self, tool, folder, *options):
        self.folder = pathlib.Path(folder)
        self.process = subprocess.Popen([tool, "lsp", *options], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, cwd=folder)
        self.came, self.kept, self.count, self.versions, self.published = queue.Queue(), [], 0, {}, []
        self.listener = threading.Thread(target=self.listen, daemon=True)
        self.listener.start()

    def listen(self):
        while (message := read_message(self.process.stdout)) is not None:
            self.came.put(message)
        self.came.put(None)

    def end(self):
        self.process.kill()
        self.process.wait()
        self.listener.join()
        for stream in (self.process.stdin, self.process.stdout, self.process.stderr):
            stream.close()

    def raw(self, content):
        self.process.stdin.write(content)
        self.process.stdin.flush()

    def send(self, **message):
        content = json.dumps({"jsonrpc": "2.0", **message}).encode()
        self.raw(b"Content-Length: %d\r\n\r\n" % len(content) + content)

    def notify(self, method, **params):
        self.send(method=method, params=params)

    def read(self):
        message = self.came.get(timeout=60)
        if message is not None and message.get("method") == "textDocument/publishDiagnostics":
            self.published.append(message["params"])
        return message

    def answer(self, method, **params):
        """The whole answer to a request: its result or its error."""
        self.count += 1
        self.send(id=self.count, method=method, params=params)
        while "id" not in (message := self.read()):
            pass
        assert message["id"] == self.count, message
        return message

    def ask(self, method, **params):
        answer = self.answer(method, **params)
        assert "error" not in answer, answer
        return answer["result"]

    def start(self, capabilities=EVERYTHING):
        result = self.ask("initialize", processId=None, rootUri=None, capabilities=capabilities)
        self.notify("initialized")
        return result

    def stop(self):
        """The exit status of a session that ends in order."""
        self.ask("shutdown")
        self.notify("exit")
        return self.process.wait(timeout=60)

    def uri(self, name):
        return "file://" + urllib.parse.quote(str(self.folder / name))

    def open(self, text, name="p.zp"):
        self.versions[name] = 1
        self.notify("textDocument/didOpen",
                    textDocument={"uri": self.uri(name), "languageId": "zepl", "version": 1, "text": text})

    def change(self, *changes, name="p.zp"):
        """Changes are whole texts, or ((line, column), (line, column), text)."""
        self.versions[name] += 1
        contents = [{"text": each} if isinstance(each, str) else
                    {"range": {"start": place(each[0]), "end": place(each[1])}, "text": each[2]} for each in changes]
        self.notify("textDocument/didChange", contentChanges=contents,
                    textDocument={"uri": self.uri(name), "version": self.versions[name]})

    def at(self, line, column, name="p.zp"):
        return {"textDocument": {"uri": self.uri(name)}, "position": place((line, column))}

    def found(self, name="p.zp"):
        """The diagnostics of the document's present text, as (severity, line, start, end, message)."""
        wanted = lambda each: each["uri"] == self.uri(name) and each.get("version") == self.versions[name]
        while not any(map(wanted, self.published)):
            self.read()
        given = [each for each in self.published if wanted(each)][-1]
        self.published.clear()
        shown = []
        for each in given["diagnostics"]:
            start, end = each["range"]["start"], each["range"]["end"]
            shown.append((each["severity"], start["line"], start["character"], end["character"], each["message"]))
        return shown


def place(line_and_column):
    return {"line": line_and_column[0], "character": line_and_column[1]}
