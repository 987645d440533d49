"""What the server of `zepl serve` gives, to whom, and what it withstands. Called with the tool: server_test.py build/zepl."""

import concurrent.futures
import pathlib
import random
import select
import subprocess
import sys
import tempfile
import time
import unittest

from client import Picture, Served, answer, receive

TOOL = sys.argv.pop(1) if len(sys.argv) > 1 else "build/zepl"
# Runs for an hour at the wall clock's pace, with a variable in its way.
ENDLESS = """rate 8000
variable gain  : float = 2
variable count : int16 = 3
pipe wave : float
pipe out  : float = gain * wave + 0 * count to "/dev/null" format raw limit 28800000
SINEWAVE (-1.0, 1.0, 100.0, 125.0, wave)
"""


class Procedure(unittest.TestCase):
    """Tests of runs in a folder of their own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def serve(self, text, *options):
        (self.folder / "served.zp").write_text(text)
        served = Served(TOOL, str(self.folder / "served.zp"), "--quiet", *options)
        self.addCleanup(served.__exit__)
        return served

    def open(self, served, **headers):
        page = served.page(**headers)
        self.addCleanup(page.__exit__)
        return page

    def assertServed(self, page):
        """The server answers what the page asks now."""
        page.send({"type": "set", "variable": "gain", "value": "none"})
        self.assertIn("no number", page.until(lambda each: not isinstance(each, bytes) and each["type"] == "error")["text"])


class Access(Procedure):
    def test_OnlyItsOwnPageWithTheTokenGetsAnything(self):
        served = self.serve(ENDLESS)
        token = f"?token={served.token}"
        cases = [
            ("/" + token, {}, 200), ("/page.js" + token, {}, 200), ("/page.css" + token, {}, 200),
            ("/" + token, {"Host": f"localhost:{served.port}"}, 200),
            ("/" + token, {"Origin": f"http://{served.host}"}, 200),
            ("/" + token, {"Host": "example.org"}, 421), ("/" + token, {"Host": f"example.org:{served.port}"}, 421),
            ("/" + token, {"Host": "127.0.0.1:1"}, 421), ("/" + token, {"Host": "127.0.0.1"}, 421),
            ("/" + token, {"Host": None}, 421), ("/" + token, {"Host": [served.host, "example.org"]}, 421),
            ("/" + token, {"Origin": "http://example.org"}, 403), ("/" + token, {"Origin": "null"}, 403),
            ("/" + token, {"Origin": f"https://{served.host}"}, 403),
            ("/" + token, {"Origin": f"http://localhost:{served.port}"}, 403),
            ("/", {}, 403), ("/page.js", {}, 403), ("/?token=", {}, 403), ("/?token=" + "0" * 32, {}, 403),
            (f"/{token}0", {}, 403), (f"/{token[:-1]}", {}, 403), (f"/?token={served.token.upper()}x", {}, 403),
            (f"/?x=1&token={served.token}", {}, 403), ("/live" + token, {}, 404),
        ]
        for target, headers, status in cases:
            with self.subTest(target=target, headers=headers):
                got, _, body = served.get(target, **headers)
                self.assertEqual(got, status)
                if status != 200:
                    self.assertNotIn(served.token.encode(), body)

    def test_NoPathLeadsToAFile(self):
        served = self.serve(ENDLESS)
        for path in ["/../../../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "//etc/passwd", "/page.js/../../../etc/passwd",
                     "/served.zp", "/index.html", "/./page.js", "file:///etc/passwd", "/page.js%00", "/PAGE.JS", "*"]:
            with self.subTest(path=path):
                self.assertEqual(served.get(f"{path}?token={served.token}")[0], 404)

    def test_WhatIsNoPlainRequestIsRefused(self):
        served = self.serve(ENDLESS)
        place = f"/?token={served.token}"
        for method in ["POST", "PUT", "DELETE", "HEAD", "OPTIONS", "TRACE"]:
            self.assertEqual(served.get(place, method=method)[0], 405, method)
        for bytes_sent in [b"\0" * 9000, b"GET " + b"/" * 20000 + b" HTTP/1.1\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n", b"\r\n" * 5000,
                           f"GET {place} HTTP/1.1\r\nHost: {served.host}\r\n".encode() + b"X: y\r\n" * 5000 + b"\r\n",
                           f"GET {place} HTTP/1.1\r\nHost: {served.host}\r\nContent-Length: 5\r\n\r\nhello".encode(),
                           f"GET {place} HTTP/1.1\r\nHost: {served.host}\r\nContent-Length: 99999999999999\r\n\r\n".encode()]:
            with self.subTest(bytes_sent=bytes_sent[:40]), served.connected() as link:
                try:
                    link.sendall(bytes_sent)
                except ConnectionError:
                    pass
                self.assertNotEqual(answer(link)[0], 200)
        self.assertEqual(served.get(place)[0], 200)

    def test_ThePageRunsItsOwnScriptAlone(self):
        served = self.serve(ENDLESS)
        _, head, body = served.get(f"/?token={served.token}")
        for policy in ["default-src 'none'", "script-src 'self'", "frame-ancestors 'none'", f"connect-src 'self' ws://{served.host}"]:
            self.assertIn(policy, head)
        self.assertIn("no-store", head)
        self.assertNotIn(b"{{token}}", body)

    def test_AWebSocketNeedsTheSame(self):
        served = self.serve(ENDLESS)
        for headers, status in [({}, 101), ({"Origin": f"http://{served.host}"}, 101), ({"Origin": "http://example.org"}, 403),
                                ({"Host": "example.org"}, 421), ({"token": "0" * 32}, 403), ({"token": ""}, 403)]:
            with self.subTest(headers=headers):
                self.assertEqual(self.open(served, **headers).status, status)


class Messages(Procedure):
    def test_WhatIsNotUnderstoodIsSaidAndChangesNothing(self):
        served = self.serve(ENDLESS)
        page = self.open(served)
        for message, said in [
            ([], "not understood: a message is an object"), ({}, "not understood: type is missing"),
            ({"type": "open"}, "not understood: type is none of look, set, start, stop, pause and continue"),
            ({"type": "look", "span": 1}, "not understood: columns is missing"),
            ({"type": "look", "span": 1, "columns": 0}, "not understood: columns is no whole number from 1 to 16384"),
            ({"type": "look", "span": 1, "columns": 1e9}, "not understood: columns is no whole number from 1 to 16384"),
            ({"type": "look", "span": -1, "columns": 9}, "not understood: span is out of its range"),
            ({"type": "look", "span": 1, "columns": 9, "pipes": [-1]}, "not understood: pipes is no whole number from 0 to 1000000"),
            ({"type": "look", "span": 1, "columns": 9, "pipes": [0] * 33}, "not understood: pipes is no list of at most 32 pipes"),
            ({"type": "set", "variable": "gain", "value": "2"}, "not understood: value is no number"),
            ({"type": "set", "variable": 7, "value": 2}, "not understood: variable is no text"),
        ]:
            with self.subTest(message=message):
                page.send(message)
                self.assertEqual(page.until(lambda each: each["type"] == "error")["text"], said)
        page.send_frame(0x81, b"{")
        self.assertEqual(page.until(lambda each: each["type"] == "error")["text"], "not understood: this is no JSON")

    def test_AValueThatTheTypeDoesNotHoldIsRefused(self):
        served = self.serve(ENDLESS)
        page = self.open(served)
        page.state(phase="running")
        for name, value, part in [("count", 2.5, "`count`"), ("count", 40000, "`count`"), ("gain", 1e39, "`gain`"), ("other", 1, "`other`"),
                                  ("../../etc/passwd", 1, "passwd"), ("wave", 1, "`wave`")]:
            page.send({"type": "set", "variable": name, "value": value})
            self.assertIn(part, page.until(lambda each: each["type"] == "error")["text"])
        page.send({"type": "set", "variable": "count", "value": -32768})
        values = {each["name"]: each["value"] for each in page.until(
            lambda each: each["type"] == "state" and each["variables"][1]["value"] != 3)["variables"]}
        self.assertEqual(values, {"gain": 2, "count": -32768})

    def test_AValueActsOnTheRunAndStaysForTheNext(self):
        served = self.serve(ENDLESS)
        page = self.open(served)
        page.state(phase="running")
        page.send({"type": "set", "variable": "gain", "value": 5})
        page.send({"type": "look", "pipes": [1], "span": 0.05, "columns": 100})
        greatest = lambda message: isinstance(message, bytes) and max(
            (value for value in Picture(message).pipes[0]["lists"][1] if value == value), default=0)
        page.until(lambda message: greatest(message) and abs(greatest(message) - 5) < 0.01)
        page.send({"type": "stop"})
        self.assertEqual(page.state(phase="ended")["status"], "interrupted")
        page.send({"type": "start"})
        again = page.state(phase="running", run=2)["variables"][0]
        page.until(lambda message: isinstance(message, bytes) and Picture(message).run == 2 and abs(greatest(message) - 5) < 0.01)
        self.assertEqual(again["starts"], 2)

    def test_APausedRunWaitsAndTakesValues(self):
        served = self.serve(ENDLESS.replace('to "/dev/null" format raw', 'capacity 256 to "out.csv"'))
        page = self.open(served)
        page.send({"type": "continue"})
        page.state(phase="running")
        page.send({"type": "pause"})
        held = page.state(phase="paused")
        page.send({"type": "start"})
        page.send({"type": "set", "variable": "gain", "value": 5})
        later = page.until(lambda each: not isinstance(each, bytes) and each["type"] == "state" and each["variables"][0]["value"] == 5)
        self.assertEqual((later["phase"], later["run"]), ("paused", 1))
        # A page that comes later learns the same.
        self.assertEqual(self.open(served).state()["phase"], "paused")
        again = page.until(lambda each: each["type"] == "state" and each["seconds"] > later["seconds"] + 0.5)
        self.assertEqual((again["frames"], again["round"]), (later["frames"], later["round"]))
        page.send({"type": "continue"})
        page.until(lambda each: each["type"] == "state" and each["phase"] == "running" and each["frames"] > held["frames"] + 4000)
        page.send({"type": "pause"})
        page.state(phase="paused")
        page.send({"type": "stop"})
        end = page.state(phase="ended")
        self.assertEqual(end["status"], "interrupted")
        values = [float(line) for line in (self.folder / "out.csv").read_text().split()[1:]]
        self.assertEqual(len(values), end["frames"])
        self.assertAlmostEqual(max(values), 5, places=2)

    def test_MistakesInAProcedureAreSaidAndCanBeMended(self):
        served = self.serve("pipe a : int16\nABS (a, b)\n")
        page = self.open(served)
        self.assertIn("served.zp:2:9", page.state(phase="refused")["text"])
        (self.folder / "served.zp").write_text(ENDLESS)
        page.send({"type": "start"})
        self.assertEqual(page.state(phase="running")["run"], 2)


class Pictures(Procedure):
    def ramp(self, count, options=("--pace", "0")):
        (self.folder / "ramp.csv").write_text("\n".join(map(str, range(count))) + "\n")
        served = self.serve('rate 1\npipe ramp : int32 from "ramp.csv"\npipe same : int32 to "same.csv"\n'
                            'pipe tens : int32 to "tens.csv"\nABS (ramp, same)\nSKIP (ramp, 0, 1, 9, tens)\n', *options)
        page = self.open(served)
        page.state(phase="ended")
        page.send({"type": "look", "pipes": [1], "span": 1, "columns": 1})
        page.until(lambda each: isinstance(each, bytes) and Picture(each).newest == count)
        return page

    def test_AColumnHasTheLeastAndTheGreatestOfItsSamples(self):
        page = self.ramp(40960)
        for start, step, columns in [(0, 1, 100), (1000, 2, 50), (40000, 7, 200), (0, 64, 640), (4096, 512, 72), (0, 40960, 1)]:
            with self.subTest(start=start, step=step):
                page.send({"type": "look", "look": start + step, "pipes": [1], "span": step * columns, "columns": columns, "end": start + step * columns})
                picture = page.picture()
                while picture.look != start + step:
                    picture = page.picture()
                least, greatest = picture.pipes[0]["lists"]
                for k in range(columns):
                    first, last = start + k * step, min(start + k * step + step, 40960) - 1
                    if first > last:
                        self.assertNotEqual(least[k], least[k], "nothing came in this column")
                    else:
                        self.assertEqual((least[k], greatest[k]), (first, last))
        self.assertEqual((picture.pipes[0]["seen"], picture.pipes[0]["last"], picture.newest), (40960, 40959, 40960))

    def test_APipeWithOneSampleInTenIsOnTheSameTime(self):
        page = self.ramp(40960)
        page.send({"type": "look", "pipes": [1, 2], "span": 100, "columns": 100, "end": 5000})
        same, tens = Picture(page.until(lambda each: isinstance(each, bytes) and len(Picture(each).pipes) == 2)).pipes
        self.assertEqual(tens["rate"], 0.1)
        times = [k for k, value in enumerate(tens["lists"][0]) if value == value]
        self.assertEqual(times, list(range(0, 100, 10)))
        self.assertEqual(same["lists"][0][0], 4900)

    def test_ATriggeredPictureStandsOnItsEvent(self):
        page = self.open(self.serve(ENDLESS))
        page.state(phase="running")
        for level, rising, phase in [(0, True, 0), (0, False, 0.5), (1, True, 1 / 12)]:
            page.send({"type": "look", "look": 1 + round(phase * 100), "pipes": [0, 1], "span": 0.02, "columns": 320,
                       "trigger": {"pipe": 1, "level": level, "rising": rising}})
            picture = Picture(page.until(lambda each: isinstance(each, bytes) and each[1] == 1 and
                                         Picture(each).look == 1 + round(phase * 100)))
            self.assertAlmostEqual((picture.event * 100 - phase + 0.5) % 1, 0.5, places=2)
            self.assertAlmostEqual(picture.event - picture.start, 0.2 * 0.02)
        page.send({"type": "look", "look": 98, "pipes": [1], "span": 0.02, "columns": 320, "trigger": {"pipe": 1, "level": 3, "waits": True}})
        page.send({"type": "look", "look": 99, "pipes": [1], "span": 0.02, "columns": 320, "trigger": {"pipe": 1, "level": 3}})
        picture = page.picture()
        while picture.look < 98:
            picture = page.picture()
        self.assertEqual((picture.look, picture.flags), (99, 0), "one that waits for an event that does not come shows nothing")

    def test_TheClientOfTheDocumentsSeesTheWave(self):
        root = pathlib.Path(__file__).resolve().parents[2]
        client = root / "examples/live/client.py"
        what, _, program = client.read_text().partition("\n")
        self.assertTrue(what.startswith("#"))
        self.assertIn("```python\n" + program + "```", (root / "docs/page.md").read_text())
        served = self.serve(ENDLESS)
        with subprocess.Popen(["/usr/bin/python3", "-u", client, served.address], stdout=subprocess.PIPE, text=True) as process:
            least, greatest = 0, 0
            while not (least < -0.99 and greatest > 0.99):
                line = process.stdout.readline()
                self.assertNotEqual(line, "", "the client has ended")
                least, greatest = map(float, line.split())
            process.terminate()
        self.assertEqual((least, greatest), (-1, 1))

    def test_SamplesAreTheLastOnes(self):
        page = self.ramp(40960)
        page.send({"type": "look", "pipes": [], "span": 1, "columns": 1, "sampled": [1], "samples": 16})
        self.assertEqual(Picture(page.until(lambda each: isinstance(each, bytes) and each[0] == 2)).pipes[0]["lists"][0], tuple(range(40944, 40960)))


class Endurance(Procedure):
    def test_FramesOfNoProtocolEndTheirOwnConnectionAlone(self):
        served = self.serve(ENDLESS)
        watcher = self.open(served)
        seed = random.SystemRandom().randrange(1 << 32)
        chance = random.Random(seed)
        known = [lambda page: page.send_frame(0x83, b"{}"), lambda page: page.send_frame(0xF1, b"{}"),
                 lambda page: page.send_frame(0x81, b"{}", masked=False), lambda page: page.send_frame(0x81, b" " * 9000),
                 lambda page: page.link.sendall(b"\x81\xff" + b"\x7f" * 8 + b"\0" * 9), lambda page: page.send_frame(0x81, b"\xff\xfe"),
                 lambda page: page.send_frame(0x82, b"{}"), lambda page: page.send_frame(0x89, b"x" * 200), lambda page: page.send_frame(0x80, b"x"),
                 lambda page: [page.send_frame(0x81, b"[" * 4000) for _ in range(40)]]
        noise = lambda page: (page.link.sendall(chance.randbytes(chance.randrange(1, 9000)) + b"\xff" * 9000), page.link.shutdown(1))
        for number, case in enumerate(known + [noise] * 60):
            page = self.open(served)
            try:
                case(page)
            except OSError:
                pass
            self.assertTrue(page.is_closed(), f"case {number}, seed {seed}")
            page.link.close()
        self.assertServed(watcher)

    def test_AFloodOfConnectionsLeavesOpenPagesAlone(self):
        served = self.serve(ENDLESS)
        page = self.open(served)
        links = [served.connected() for _ in range(300)]
        self.assertEqual(receive(links[-1]), b"", "one that is too many is closed")
        self.assertEqual(select.select(links[:1], [], [], 0)[0], [], "the first ones have some time")
        before = page.state(phase="running")["frames"]
        page.until(lambda each: each["type"] == "state" and each["frames"] > before)
        for link in links:
            link.close()
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            list(pool.map(lambda _: served.get("/nowhere"), range(200)))
        self.assertEqual(served.get(f"/?token={served.token}")[0], 200)

    def test_SocketsLeftOpenAreClosed(self):
        served = self.serve(ENDLESS)
        silent = self.open(served)
        silent.send_frame = lambda *_: None  # it reads, and answers no ping
        links = []
        for half in [b"", f"GET /?token={served.token} HTTP/1.1\r\nHost".encode(), b"GET /live HTTP/1.1\r\n"]:
            links.append(served.connected())
            self.addCleanup(links[-1].close)
            links[-1].sendall(half)
        for link in links:
            self.assertEqual(answer(link)[0], 0)
        self.assertTrue(silent.is_closed())
        self.assertServed(self.open(served))

    def test_SixteenPagesAreServedAndNoMore(self):
        served = self.serve(ENDLESS)
        pages = [self.open(served) for _ in range(16)]
        for page in pages:
            page.state()
            page.send({"type": "look", "pipes": [0, 1], "span": 0.05, "columns": 500})
        for page in pages:
            self.assertEqual(len(page.picture().pipes), 2)
        self.assertEqual(self.open(served).status, 503)
        pages[3].link.close()
        while (again := self.open(served)).status == 503:
            pages[0].state()
        self.assertEqual(again.status, 101)

    def test_AFloodOfRequestsEndsItsConnection(self):
        served = self.serve(ENDLESS)
        watcher, page = self.open(served), self.open(served)
        try:
            for i in range(100000):
                page.send({"type": "set", "variable": "gain", "value": i % 7})
        except ConnectionError:
            pass
        self.assertTrue(page.is_closed())
        self.assertServed(watcher)

    def test_APageThatDoesNotReadCostsNothing(self):
        served = self.serve(ENDLESS)
        watcher, idle = self.open(served), self.open(served)
        idle.send({"type": "look", "pipes": [0, 1] * 16, "span": 2, "columns": 16384, "pictures": 60})
        first = watcher.state(phase="running")
        memory = lambda: int(next(line for line in pathlib.Path(f"/proc/{served.process.pid}/status").read_text().splitlines()
                                  if line.startswith("VmRSS")).split()[1])
        before, frames = memory(), first["frames"]
        watcher.until(lambda each: each["type"] == "state" and each["frames"] > frames + 24000)
        # One picture of 8 MB is on its way.
        self.assertLess(memory() - before, 65536)

    def test_ManyMarksAndMuchTextAreCut(self):
        text = 'rate 1000\ntrigger mark\npipe wave : int16 to "/dev/null" format raw limit 200000\n' \
               'SQUAREWAVE (0, 1, 500.0, 1000.0, wave)\nTOGGLE (wave, inside, 1, 1, inside, 0, 0, mark)\n'
        page = self.open(self.serve(text, "--pace", "0"))
        end = page.until(lambda each: each["type"] == "events" and each["first"] + len(each["positions"]) >= 199999)
        self.assertLessEqual(len(end["positions"]), 500)


if __name__ == "__main__":
    unittest.main()
