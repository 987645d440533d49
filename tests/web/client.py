"""A browser's side of HTTP and WebSockets by plain sockets, so that tests can also send what no browser would."""

import base64
import json
import os
import re
import select
import socket
import struct
import subprocess
import tempfile
import time


class Served:
    """A run of `zepl serve` at a free port."""

    def __init__(self, tool, procedure, *options, stdin=None):
        self.errors = tempfile.TemporaryFile()
        self.process = subprocess.Popen([tool, "serve", procedure, "--listen", "127.0.0.1:0", *options],
                                        stdin=stdin, stdout=subprocess.PIPE, stderr=self.errors, text=True)
        self.address = self.process.stdout.readline().strip()
        found = re.fullmatch(r"http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]{32})", self.address)
        assert found, f"zepl serve printed {self.address!r}"
        self.port, self.token = int(found[1]), found[2]
        self.host = f"127.0.0.1:{self.port}"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(20)
        self.process.stdout.close()
        self.errors.close()

    def connected(self):
        return socket.create_connection(("127.0.0.1", self.port), timeout=20)

    def get(self, target, method="GET", **headers):
        """Status, headers and body of a request; headers whose value is None are left out, lists are sent several times."""
        lines = {"Host": self.host} | {name.replace("_", "-"): value for name, value in headers.items()}
        head = f"{method} {target} HTTP/1.1\r\n"
        for name, value in lines.items():
            for each in value if isinstance(value, list) else [value] * (value is not None):
                head += f"{name}: {each}\r\n"
        with self.connected() as link:
            link.sendall((head + "\r\n").encode("latin-1"))
            return answer(link)

    def page(self, **headers):
        return Page(self, **headers)


def answer(link):
    """What comes until the server closes: status, head and body; status 0 where it closes without a word."""
    got = b""
    while piece := receive(link):
        got += piece
    head, _, body = got.partition(b"\r\n\r\n")
    return (int(head.split()[1]) if head else 0), head.decode("latin-1"), body


def receive(link):
    try:
        return link.recv(1 << 16)
    except ConnectionError:
        return b""


class Page:
    """A WebSocket. `status` is that of the handshake; 101 is success."""

    def __init__(self, served, token=None, **headers):
        self.link = served.connected()
        fields = {"Host": served.host, "Upgrade": "websocket", "Connection": "Upgrade",
                  "Sec-WebSocket-Key": base64.b64encode(os.urandom(16)).decode(), "Sec-WebSocket-Version": "13"}
        fields |= {name.replace("_", "-"): value for name, value in headers.items()}
        query = f"?token={served.token if token is None else token}"
        head = "".join(f"{name}: {value}\r\n" for name, value in fields.items())
        self.link.sendall(f"GET /live{query} HTTP/1.1\r\n{head}\r\n".encode())
        self.got = b""
        while b"\r\n\r\n" not in self.got and (piece := receive(self.link)):
            self.got += piece
        head, _, self.got = self.got.partition(b"\r\n\r\n")
        self.status = int(head.split()[1]) if head else 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.link.close()

    def send(self, message):
        self.send_frame(0x81, json.dumps(message).encode())

    def send_frame(self, first, payload, masked=True):
        size = len(payload)
        head = bytes([first]) + (bytes([size | 128 * masked]) if size < 126
                                 else struct.pack(">BH", 126 | 128 * masked, size) if size < 65536
                                 else struct.pack(">BQ", 127 | 128 * masked, size))
        mask = os.urandom(4) if masked else b""
        body = bytes(byte ^ mask[i % 4] for i, byte in enumerate(payload)) if masked else payload
        self.link.sendall(head + mask + body)

    def take(self, count):
        while len(self.got) < count:
            piece = receive(self.link)
            if not piece:
                raise EOFError
            self.got += piece
        taken, self.got = self.got[:count], self.got[count:]
        return taken

    def read(self):
        """The next message: a dictionary, or the bytes of a binary one. EOFError once the server has closed."""
        while True:
            first, size = self.take(2)
            if size >= 126:
                size = int.from_bytes(self.take(2 if size == 126 else 8), "big")
            payload = self.take(size)
            if first & 15 == 8:
                raise EOFError
            if first & 15 == 9:
                self.send_frame(0x8A, payload)
            elif first & 15 <= 2:
                return payload if first & 15 == 2 else json.loads(payload)

    def until(self, wanted, seconds=30):
        """The first message for which `wanted` gives true; a failure where none comes."""
        message, end = None, time.monotonic() + seconds
        while time.monotonic() < end:
            message = self.read()
            if wanted(message):
                return message
        raise AssertionError(f"nothing that was wanted came; the last message is {message!r:.2000}")

    def state(self, **fields):
        return self.until(lambda each: not isinstance(each, bytes) and each["type"] == "state" and
                          all(each[name] == value for name, value in fields.items()))

    def picture(self):
        return Picture(self.until(lambda each: isinstance(each, bytes)))

    def is_closed(self):
        """Whether the server has closed; waits a minute for it."""
        end = time.monotonic() + 60
        try:
            while time.monotonic() < end:
                self.read()
        except EOFError:
            return True
        return False


class Picture:
    """A binary frame, as docs/page.md lays it out."""

    def __init__(self, frame):
        self.kind, self.flags, count, self.run, self.look, self.columns = struct.unpack_from("<BBHIII", frame)
        self.start, self.step, self.event, self.newest = struct.unpack_from("<4d", frame, 16)
        self.pipes, at = [], 48
        for _ in range(count):
            index, _, seen, rate, last = struct.unpack_from("<IIddd", frame, at)
            at += 32
            lists = [struct.unpack_from(f"<{self.columns}d", frame, at + 8 * self.columns * i) for i in range(3 - self.kind)]
            at += 8 * self.columns * len(lists)
            self.pipes.append({"index": index, "seen": seen, "rate": rate, "last": last, "lists": lists})
        assert at == len(frame)
