"""The page in a headless Chromium: what is drawn, and what its controls do to the run. Called with the tool, and with the folder
that takes the screenshots of the documents if they are to be made: browser_test.py build/zepl [--pictures docs/images]."""

import csv
import os
import pathlib
import signal
import sys
import tempfile
import time
import unittest

from browser import Browser
from client import Served

TOOL = sys.argv.pop(1) if len(sys.argv) > 1 else "build/zepl"
PICTURES = None
if sys.argv[1:2] == ["--pictures"]:
    PICTURES = sys.argv[2]
    del sys.argv[1:3]
EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
WAVES = """rate 8000
variable gain  : float = 2
variable count : int16 = 3
pipe wave : float capacity 256
pipe out  : float = gain * wave + 0 * count capacity 256 to "/dev/null" format raw limit 28800000
pipe edge : int16 = if(wave > 0, 1, 0) capacity 256
trigger up
SINEWAVE (-1.0, 1.0, 10.0, 125.0, wave)
TOGGLE (edge, inside, 1, 1, inside, 0, 0, up)
"""
# What a lane draws, of the pipe of that name: [least, greatest] of the columns that are seen.
DRAWN = """(() => { const {scope} = window.zepl, lane = scope.lanes.find((each) => each.pipes[0].name === '%s');
    const {from, to, data: [pipe]} = lane; let least = Infinity, greatest = -Infinity;
    for (let i = from; i < to; ++i) { if (pipe.least[i] < least) least = pipe.least[i]; if (pipe.greatest[i] > greatest) greatest = pipe.greatest[i]; }
    return [least, greatest]; })()"""


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.__exit__)

    def tearDown(self):
        self.browser.size(1280, 860)

    def show(self, text, *options, name="waves.zp"):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.procedure = pathlib.Path(folder.name) / name
        self.procedure.write_text(text)
        return self.open(str(self.procedure), *options)

    def open(self, procedure, *options):
        served = Served(TOOL, procedure, "--quiet", *options)
        self.addCleanup(served.__exit__)
        self.browser.open(served.address)
        self.browser.until("window.zepl?.scope.frame !== null && window.zepl.scope.lanes.length > 0")
        return served

    def drawn(self, pipe):
        return self.browser.run("return " + DRAWN % pipe)

    def test_TheWaveIsDrawn(self):
        self.show(WAVES)
        browser = self.browser
        browser.until(DRAWN % "out" + "[1] > 1.9")
        least, greatest = self.drawn("out")
        self.assertAlmostEqual(least, -2, places=1)
        self.assertAlmostEqual(greatest, 2, places=1)
        browser.until("window.zepl.scope.frame.newest > 2 * window.zepl.scope.span")  # as soon as the run fills the picture
        # Pixels of the pipe's own colour, in many columns of the canvas and near its top and bottom.
        columns, top, bottom = browser.run("""const {plot} = window.zepl.scope.lanes[1], {width, height} = plot.ctx.canvas;
            const colour = getComputedStyle(document.documentElement).getPropertyValue('--c1').trim();
            const wanted = [1, 3, 5].map((i) => parseInt(colour.slice(i, i + 2), 16)), {data} = plot.ctx.getImageData(0, 0, width, height);
            const columns = new Set(); let top = height, bottom = 0;
            for (let i = 0; i < data.length; i += 4) if (wanted.every((each, k) => Math.abs(each - data[i + k]) < 40)) {
                const y = Math.floor(i / 4 / width); columns.add((i / 4) % width); top = Math.min(top, y); bottom = Math.max(bottom, y); }
            return [columns.size / plot.bbox.width, (top - plot.bbox.top) / plot.bbox.height, (bottom - plot.bbox.top) / plot.bbox.height]""")
        self.assertGreater(columns, 0.9)
        self.assertLess(top, 0.12)
        self.assertGreater(bottom, 0.88)
        self.assertEqual(browser.run("return [...document.querySelectorAll('#legend button')].map((each) => each.firstChild.textContent)"), ["wave", "out", "edge"])
        browser.until("window.zepl.triggers.events.length > 3 && document.querySelectorAll('#eventList li').length > 3")
        self.assertIn("SINEWAVE (line 8)", browser.text("#taskList"))
        self.assertEqual(browser.mistakes(), [])

    def test_ASliderChangesTheOutputOfTheRun(self):
        self.show(WAVES.replace('"/dev/null" format raw limit 28800000', '"out.csv" limit 28800000'))
        browser = self.browser
        browser.until(DRAWN % "out" + "[1] > 1.9")
        # End is a slider's greatest value: 8.
        browser.run("document.querySelector('#variable-gain').focus()")
        browser.press("\ue010")
        browser.until(DRAWN % "out" + "[1] > 7.9")
        browser.write("[aria-label='Value of gain']", "3\n")
        browser.until("Math.abs(" + DRAWN % "out" + "[1] - 3) < 0.1")
        browser.run("document.activeElement.blur()")
        browser.press("s")
        browser.until("document.querySelector('#phase').textContent === 'stopped'")
        values = [float(line) for line in (self.procedure.parent / "out.csv").read_text().split()[1:] if line]
        self.assertAlmostEqual(max(values), 8, places=2)
        self.assertAlmostEqual(max(values[-800:]), 3, places=2)
        self.assertLess(max(values[:800]), 2.01)

    def test_AHeldPictureStandsWhileTheRunContinues(self):
        self.show(WAVES)
        browser = self.browser
        browser.press(" ")
        browser.until("window.zepl.scope.isHeld && window.zepl.scope.wanted === null")
        held = browser.run("return window.zepl.scope.frame.newest")
        frames = browser.run("return window.zepl.state().frames")
        browser.until(f"window.zepl.state().frames > {frames} + 4000")
        self.assertEqual(browser.run("return window.zepl.scope.frame.newest"), held)
        browser.click("#hold")
        browser.until(f"window.zepl.scope.frame.newest > {held}")

    def test_ARunIsPausedStoppedAndStartedAgain(self):
        self.show(WAVES)
        browser = self.browser
        phase = lambda text: browser.until(f"document.querySelector('#phase').textContent === '{text}'")
        phase("running")
        browser.click("#pause")
        phase("paused")
        self.assertEqual(browser.text("#pause").split()[-1], "Continue")
        frames = browser.run("return window.zepl.state().frames")
        browser.press("p")
        browser.until(f"window.zepl.state().phase === 'running' && window.zepl.state().frames > {frames}")
        browser.press("p")
        phase("paused")
        browser.click("#stop")
        browser.until("document.querySelector('#phase').textContent === 'stopped' && document.querySelector('#stop').disabled"
                      " && document.querySelector('#pause').disabled")
        browser.click("#start")
        browser.until("window.zepl.state().run === 2 && window.zepl.state().phase === 'running' && window.zepl.scope.frame.run === 2")

    def test_DraggingZoomsAndADoubleClickGoesBack(self):
        self.show(WAVES)
        browser = self.browser
        browser.until(DRAWN % "out" + "[1] > 1.9")
        left, top, width, height = browser.box(".lane .u-over")
        before = browser.run("return window.zepl.scope.view[1] - window.zepl.scope.view[0]")
        browser.drag((left + 0.25 * width, top + height / 3), (left + 0.5 * width, top + height / 2))
        browser.until("window.zepl.scope.isHeld")
        after = browser.run("return window.zepl.scope.view[1] - window.zepl.scope.view[0]")
        self.assertAlmostEqual(after / before, 0.25, places=1)
        browser.run("document.querySelector('.lane .u-over').dispatchEvent(new MouseEvent('dblclick', {bubbles: true}))")
        browser.until("window.zepl.scope.view[1] - window.zepl.scope.view[0] > 0.199")
        browser.run("document.querySelector('.lane .u-over').dispatchEvent(new MouseEvent('dblclick', {bubbles: true}))")
        browser.until("!window.zepl.scope.isHeld")

    def test_TheTriggersLevelIsDragged(self):
        self.show(WAVES)
        browser = self.browser
        browser.until("window.zepl.settings.trigger.level !== null")
        browser.run("const mode = document.querySelector('#mode'); mode.value = 'normal'; mode.dispatchEvent(new Event('change'))")
        browser.until("document.querySelector('.level') !== null")
        left, top, width, height = browser.box(".level")
        plot = browser.box(".lane .u-over")
        browser.drag((left + 90, top + height / 2), (left + 90, plot[1] + 0.25 * plot[3]))
        level = browser.until("window.zepl.settings.trigger.level")
        self.assertAlmostEqual(level, 0.56, places=1)
        # The wave of 10 Hz passes the level at that part of its period.
        browser.until(f"window.zepl.scope.frame.hasEvent && Math.abs(Math.sin(2 * Math.PI * 10 * window.zepl.scope.frame.event) - {level}) < 0.02")
        browser.run("document.querySelector('.level').focus()")
        browser.press("\ue015\ue015")
        browser.until(f"window.zepl.settings.trigger.level < {level}")

    def test_AnAxisKeepsItsUnitAndItsRange(self):
        self.show(WAVES.replace("float = 2", "float = 0.05"))
        browser = self.browser
        browser.click(".axis")
        browser.until("document.querySelector('#axis').open")
        browser.write("#axisUnit", "V")
        browser.click("#axisFollows")
        browser.write("#axisFrom", "-5")
        browser.write("#axisTo", "5\n")
        stands = "window.zepl?.scope.lanes[0]?.range.join() === '-5,5' && document.querySelector('#legend output').textContent.endsWith(' V')"
        browser.until(stands)
        browser.run("window.isOld = true; location.reload()")
        browser.until(f"!window.isOld && {stands}")
        self.assertEqual(browser.run("return document.querySelector('.value').value"), "0.05", "a float has no more digits than it needs")

    def test_TheSpectrumHasItsPeakWhereTheWaveIs(self):
        self.show(WAVES.replace("10.0, 125.0", "1000.0, 125.0"))
        browser = self.browser
        browser.press("f")
        peak = "(() => { const {plot} = window.zepl.spectrum; if (!plot || plot.data[0].length < 100) return null;" \
               " const level = plot.data[2], k = level.indexOf(Math.max(...level)); return [plot.data[0][k], level[k]]; })()"
        browser.until(f"{peak} && Math.abs({peak}[1] - 6.02) < 0.1")
        self.assertAlmostEqual(browser.run(f"return {peak}")[0], 1000, delta=2)

    def test_ALostConnectionIsSaidAndComesBack(self):
        served = self.show(WAVES)
        browser = self.browser
        served.process.send_signal(signal.SIGSTOP)
        try:
            browser.until("!document.querySelector('#lost').hidden")
            self.assertIn("lost", browser.text("#lost"))
        finally:
            served.process.send_signal(signal.SIGCONT)
        browser.until("document.querySelector('#lost').hidden")
        newest = browser.run("return window.zepl.scope.frame.newest")
        browser.run("window.zepl.connection.socket.close()")
        browser.until(f"window.zepl.connection.isOpen && window.zepl.scope.frame.newest > {newest}")
        served.process.terminate()
        browser.until("document.querySelector('#lost').textContent.includes('new address')")

    def test_OnANarrowScreenNothingIsCutOff(self):
        browser = self.browser
        browser.size(400, 800)
        self.show(WAVES)
        browser.until(DRAWN % "out" + "[1] > 1.9")
        self.assertEqual(browser.run("return document.documentElement.scrollWidth"), 400)
        cut = browser.run("""return [...document.querySelectorAll('button, select, input, .lane')].filter((each) => {
            const box = each.getBoundingClientRect(); return box.width > 0 && (box.left < 0 || box.right > 400); }).map((each) => each.id || each.className)""")
        self.assertEqual(cut, [])
        self.assertGreater(browser.box(".lane .u-over")[2], 250)

    def test_EverythingIsReachedByTheKeyboard(self):
        self.show(WAVES)
        browser = self.browser
        for key, holds in [("2", "window.zepl.scope.lanes.length === 2"), ("2", "window.zepl.scope.lanes.length === 3"),
                           ("l", "window.zepl.scope.lanes.length === 1"), ("l", "window.zepl.scope.lanes.length === 3"),
                           ("d", "document.documentElement.dataset.theme === 'light'"), ("d", "document.documentElement.dataset.theme === 'dark'"),
                           ("+", "document.querySelector('#span').selectedOptions[0].text === '100 ms'"),
                           ("?", "document.querySelector('#keys').open")]:
            browser.press(key)
            browser.until(holds)
        browser.press("\ue00c")
        browser.until("!document.querySelector('#keys').open")
        names = browser.run("""return [...document.querySelectorAll('button, select, input, [role=slider]')].filter((each) => each.offsetParent !== null)
            .filter((each) => each.tabIndex < 0 || !(each.ariaLabel || each.textContent.trim() || each.labels?.length)).map((each) => each.outerHTML)""")
        self.assertEqual(names, [], "a control without a name, or that the tab key does not reach")

    def test_WhatIsSeenIsSaved(self):
        self.show(WAVES)
        browser = self.browser
        browser.protocol("Browser.setDownloadBehavior", behavior="allow", downloadPath=str(browser.downloads))
        browser.until(DRAWN % "out" + "[1] > 1.9")
        browser.press(" ")
        browser.until("window.zepl.scope.isHeld && window.zepl.scope.wanted === null")
        browser.press("ci")
        files = [browser.downloads / "waves.csv", browser.downloads / "waves.png"]
        end = time.monotonic() + 40
        while not all(file.exists() for file in files):
            self.assertLess(time.monotonic(), end, "nothing was saved")
            browser.run("return 0")
        rows = list(csv.reader(files[0].read_text().splitlines()))
        self.assertEqual(rows[0][0], "seconds")
        self.assertEqual([name.split()[0] for name in rows[0][1:]][:2], ["wave", "out"] if len(rows[0]) == 4 else ["wave", "wave"])
        out = rows[0].index("out") if "out" in rows[0] else rows[0].index("out greatest")
        self.assertAlmostEqual(max(float(row[out]) for row in rows[1:] if row[out]), 2, places=2)
        self.assertTrue(files[1].read_bytes().startswith(b"\x89PNG"))

    def test_MistakesOfAProcedureAreShown(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        procedure = pathlib.Path(folder.name) / "wrong.zp"
        procedure.write_text("pipe a : int16\nABS (a, b)\n")
        served = Served(TOOL, str(procedure), "--quiet")
        self.addCleanup(served.__exit__)
        self.browser.open(served.address)
        self.browser.until("document.querySelector('#phase')?.textContent === 'refused'")
        self.assertIn("wrong.zp:2:9", self.browser.text("#noteText"))

    def makePictures(self):
        browser, folder = self.browser, pathlib.Path(PICTURES)
        browser.size(1280, 830)
        self.open(str(EXAMPLES / "live/live_scope.zp"))
        # The sweep is slow at the beginning of each two seconds.
        browser.run("""const wait = () => { const {scope} = window.zepl;
            scope.frame.event > 4 && scope.frame.event % 2 < 0.2 ? scope.hold(true) : requestAnimationFrame(wait); }; wait();""")
        browser.until("window.zepl.scope.isHeld && window.zepl.scope.wanted === null")
        browser.picture(folder / "page-scope.png")
        browser.size(1200, 780)
        self.open(str(EXAMPLES / "live/live_oven.zp"), "--pace", "10")
        browser.until("window.zepl.state().frames > 10 * 55")
        browser.run("const span = document.querySelector('#span'); span.value = 50; span.dispatchEvent(new Event('change'))")
        browser.press("d")
        browser.until("window.zepl.state().frames > 10 * 75")
        browser.picture(folder / "page-oven.png")
        browser.size(400, 800)
        browser.press("d")
        browser.until("window.zepl.state().frames > 10 * 95")
        browser.picture(folder / "page-narrow.png")
        for picture in folder.glob("page-*.png"):
            self.assertLess(os.path.getsize(picture), 200_000, picture.name)

    if PICTURES is not None:
        test_PicturesOfTheDocuments = makePictures


if __name__ == "__main__":
    unittest.main()
