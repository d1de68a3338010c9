#!/usr/bin/env python3
"""Checks a report page as a reader would see it, in headless Chromium.

    check-report.py PAGE.html [--screenshot PNG] [--pdf PDF] [--max-bytes N]
                              [--panel ID ...]
    check-report.py --self-test

Opens the page from disk in Debian's `chromium` (driven over the DevTools
protocol on a pipe; Python standard library only) and fails when:
  - the page is larger than --max-bytes;
  - it asks for anything besides itself (a font, an image, a style sheet: the
    page must read offline);
  - the console shows an error, or a script error is raised;
  - a panel is missing: every id given with --panel (by default the report's
    eight panels), and every <section> whose id starts with "panel-";
  - a panel's box, below its heading, is blank in the screenshot, or any
    picture (<svg>) in it is blank;
  - the page does not print to A4.
The full-page screenshot (and the printed PDF) can be kept for people to
look at. --self-test checks a page with one of each fault and fails unless
every one is found. Exit status: 0 passed, 1 failed, 77 chromium is not
installed.
"""

import argparse
import base64
import fcntl
import json
import os
import select
import shutil
import struct
import sys
import tempfile
import time
import zlib
from pathlib import Path

PANELS = [
    "panel-header", "panel-warnings", "panel-fit", "panel-residuals", "panel-sphere-map",
    "panel-convergence", "panel-identifiability", "panel-histogram",
]
CHROMIUM_FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking",
    "--disable-component-update", "--disable-sync", "--no-first-run",
    "--remote-debugging-pipe",
]
VIEWPORT_WIDTH = 900
TIMEOUT_S = 60.0
# A pixel is ink when a channel differs from the page's white by more than this.
INK_THRESHOLD = 24
# Least share of ink in a panel's body and in a picture.
PANEL_INK = 0.002
PICTURE_INK = 0.01
# Run in the loaded page to measure it (the page itself has no script).
MEASURE_JS = """(() => {
  const box = (e) => { const r = e.getBoundingClientRect();
    return [r.left + scrollX, r.top + scrollY, r.width, r.height]; };
  const panels = {};
  for (const s of document.querySelectorAll('section[id^="panel-"]')) {
    const h = s.querySelector('h1, h2');
    panels[s.id] = { box: box(s), heading: h ? box(h) : null,
                     pictures: [...s.querySelectorAll('svg')].map(box) };
  }
  const ids = [...document.querySelectorAll('[id]')].map(e => e.id);
  return JSON.stringify({ panels, ids,
    width: document.documentElement.scrollWidth,
    height: document.documentElement.scrollHeight });
})()"""


class Failure(Exception):
    pass


class Browser:
    """Chromium driven over --remote-debugging-pipe (fd 3 in, fd 4 out)."""

    def __init__(self, executable):
        self.profile = tempfile.mkdtemp(prefix="tavric-chromium-")
        to_browser_r, to_browser_w = os.pipe()
        from_browser_r, from_browser_w = os.pipe()
        # Move the child's ends clear of 3 and 4 before they are dup'ed there.
        child_in = fcntl.fcntl(to_browser_r, fcntl.F_DUPFD_CLOEXEC, 10)
        child_out = fcntl.fcntl(from_browser_w, fcntl.F_DUPFD_CLOEXEC, 10)
        self.log_path = os.path.join(self.profile, "chromium.log")
        log = os.open(self.log_path, os.O_WRONLY | os.O_CREAT, 0o600)
        self.pid = os.posix_spawn(
            executable, [executable, *CHROMIUM_FLAGS, "--user-data-dir=" + self.profile,
                         "about:blank"], os.environ,
            file_actions=[(os.POSIX_SPAWN_DUP2, child_in, 3),
                          (os.POSIX_SPAWN_DUP2, child_out, 4),
                          (os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0),
                          (os.POSIX_SPAWN_DUP2, log, 1), (os.POSIX_SPAWN_DUP2, log, 2)])
        for fd in (to_browser_r, from_browser_w, child_in, child_out, log):
            os.close(fd)
        self.out = to_browser_w
        self.inp = from_browser_r
        self.buffer = b""
        self.next_id = 0
        self.events = []
        self.session = None

    def send(self, method, params=None, session=True):
        self.next_id += 1
        message = {"id": self.next_id, "method": method, "params": params or {}}
        if session and self.session:
            message["sessionId"] = self.session
        os.write(self.out, json.dumps(message).encode() + b"\0")
        return self.next_id

    def receive(self, deadline):
        while b"\0" not in self.buffer:
            if time.monotonic() > deadline:
                raise Failure("chromium did not answer in time")
            ready, _, _ = select.select([self.inp], [], [], 1.0)
            if ready:
                chunk = os.read(self.inp, 1 << 20)
                if not chunk:
                    raise Failure("chromium closed the pipe; its log:\n" + self.log())
                self.buffer += chunk
        message, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, params=None, session=True):
        wanted = self.send(method, params, session)
        deadline = time.monotonic() + TIMEOUT_S
        while True:
            message = self.receive(deadline)
            if message.get("id") == wanted:
                if "error" in message:
                    raise Failure(f"{method}: {message['error']}")
                return message.get("result", {})
            if "method" in message:
                self.events.append(message)

    def wait_for(self, event):
        deadline = time.monotonic() + TIMEOUT_S
        while not any(e["method"] == event for e in self.events):
            message = self.receive(deadline)
            if "method" in message:
                self.events.append(message)

    def log(self):
        try:
            return Path(self.log_path).read_text(errors="replace")[-4000:]
        except OSError:
            return ""

    def close(self):
        try:
            self.send("Browser.close", session=False)
        except OSError:
            pass
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            pid, _ = os.waitpid(self.pid, os.WNOHANG)
            if pid:
                break
            time.sleep(0.1)
        else:
            os.kill(self.pid, 9)
            os.waitpid(self.pid, 0)
        os.close(self.out)
        os.close(self.inp)
        shutil.rmtree(self.profile, ignore_errors=True)


def decode_png(data):
    """(width, height, channels, rows) of an 8-bit RGB or RGBA PNG."""
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise Failure("the screenshot is not a PNG")
    pos, idat, header = 8, [], None
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat.append(body)
        pos += 12 + length
    width, height, depth, colour, _, _, interlace = header
    if depth != 8 or colour not in (2, 6) or interlace:
        raise Failure(f"unexpected PNG format (depth {depth}, colour type {colour})")
    channels = 3 if colour == 2 else 4
    raw = zlib.decompress(b"".join(idat))
    stride = width * channels
    rows, previous = [], bytearray(stride)
    for y in range(height):
        start = y * (stride + 1)
        kind, row = raw[start], bytearray(raw[start + 1:start + 1 + stride])
        if kind == 1:
            for i in range(channels, stride):
                row[i] = (row[i] + row[i - channels]) & 255
        elif kind == 2:
            row = bytearray((a + b) & 255 for a, b in zip(row, previous))
        elif kind == 3:
            for i in range(stride):
                left = row[i - channels] if i >= channels else 0
                row[i] = (row[i] + ((left + previous[i]) >> 1)) & 255
        elif kind == 4:
            for i in range(stride):
                a = row[i - channels] if i >= channels else 0
                b = previous[i]
                c = previous[i - channels] if i >= channels else 0
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                row[i] = (row[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(row)
        previous = row
    return width, height, channels, rows


def ink_share(image, box):
    """The share of pixels in box (x, y, w, h, CSS pixels) that are not white."""
    width, height, channels, rows = image
    x0, y0 = max(0, int(box[0])), max(0, int(box[1]))
    x1, y1 = min(width, int(box[0] + box[2])), min(height, int(box[1] + box[3]))
    if x1 <= x0 or y1 <= y0:
        return 0.0
    ink = 0
    limit = 255 - INK_THRESHOLD
    for y in range(y0, y1):
        row = rows[y]
        for x in range(x0, x1):
            i = x * channels
            if row[i] < limit or row[i + 1] < limit or row[i + 2] < limit:
                ink += 1
    return ink / ((x1 - x0) * (y1 - y0))


def check(page, args, browser):
    problems = []
    url = page.resolve().as_uri()
    target = browser.call("Target.createTarget", {"url": "about:blank"}, session=False)
    browser.session = browser.call("Target.attachToTarget",
                                   {"targetId": target["targetId"], "flatten": True},
                                   session=False)["sessionId"]
    for domain in ("Page", "Runtime", "Log", "Network"):
        browser.call(domain + ".enable")
    browser.call("Emulation.setDeviceMetricsOverride",
                 {"width": VIEWPORT_WIDTH, "height": 1000, "deviceScaleFactor": 1,
                  "mobile": False})
    browser.events.clear()
    browser.call("Page.navigate", {"url": url})
    browser.wait_for("Page.loadEventFired")

    for event in browser.events:
        method, params = event["method"], event.get("params", {})
        if method == "Network.requestWillBeSent":
            requested = params["request"]["url"]
            if requested != url and not requested.startswith("data:"):
                problems.append(f"the page asks for {requested}")
        elif method == "Runtime.consoleAPICalled" and params.get("type") in ("error", "assert"):
            problems.append("console error: " + json.dumps(params.get("args"))[:300])
        elif method == "Runtime.exceptionThrown":
            problems.append("script error: " + json.dumps(params.get("exceptionDetails"))[:300])
        elif method == "Log.entryAdded" and params["entry"].get("level") == "error":
            problems.append("console error: " + params["entry"].get("text", "")[:300])

    measured = json.loads(browser.call("Runtime.evaluate",
                                       {"expression": MEASURE_JS, "returnByValue": True})
                          ["result"]["value"])
    shot = browser.call("Page.captureScreenshot",
                        {"format": "png", "captureBeyondViewport": True,
                         "clip": {"x": 0, "y": 0, "width": measured["width"],
                                  "height": measured["height"], "scale": 1}})
    png = base64.b64decode(shot["data"])
    if args.screenshot:
        Path(args.screenshot).write_bytes(png)
    image = decode_png(png)

    panels = measured["panels"]
    for panel in args.panel or PANELS:
        if panel not in measured["ids"]:
            problems.append(f"{panel}: missing")
        elif panel not in panels:
            problems.append(f"{panel}: not a <section> with a heading")
    for panel, facts in panels.items():
        x, y, w, h = facts["box"]
        if w < 1 or h < 1:
            problems.append(f"{panel}: has no size on the page")
            continue
        body_top = facts["heading"][1] + facts["heading"][3] if facts["heading"] else y
        body = (x, body_top, w, y + h - body_top)
        share = ink_share(image, body)
        if share < PANEL_INK:
            problems.append(f"{panel}: blank below its heading ({share:.2%} ink)")
        for n, picture in enumerate(facts["pictures"], 1):
            share = ink_share(image, picture)
            if share < PICTURE_INK:
                problems.append(f"{panel}: picture {n} is blank ({share:.2%} ink)")
        print(f"  {panel}: {w:.0f} x {h:.0f} px, {len(facts['pictures'])} pictures")

    pdf = browser.call("Page.printToPDF", {"preferCSSPageSize": True, "printBackground": True})
    pdf_bytes = base64.b64decode(pdf["data"])
    pages = pdf_bytes.count(b"/Type /Page") - pdf_bytes.count(b"/Type /Pages")
    if not pdf_bytes.startswith(b"%PDF") or pages < 1:
        problems.append("the page does not print")
    if args.pdf:
        Path(args.pdf).write_bytes(pdf_bytes)
    print(f"  screenshot {image[0]} x {image[1]} px; printed on {pages} A4 pages")
    return problems


# A page with one of each fault the check must find, and what it must say.
BROKEN_PAGE = """<!DOCTYPE html><html><head><meta charset="utf-8"><title>broken</title></head>
<body><main>
<section id="panel-header"><h1>Broken page</h1><p>Facts of the run.</p></section>
<section id="panel-warnings"><h2>Warnings</h2><p>No warnings.</p></section>
<section id="panel-fit"><h2>Fit</h2></section>
<section id="panel-residuals"><h2>Residuals</h2><p>A picture that shows nothing:</p>
<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 600 200" width="600" height="200"></svg>
</section>
<section id="panel-sphere-map"><h2>Map</h2><img src="missing-picture.png" alt="x"></section>
<section id="panel-convergence"><h2>Convergence</h2><p>Text.</p></section>
<section id="panel-identifiability"><h2>Identifiability</h2><p>Text.</p></section>
<script>console.error("an error in the console"); notDefinedAnywhere();</script>
</main></body></html>
"""
BROKEN_PAGE_FINDINGS = [
    "panel-histogram: missing",
    "panel-fit: blank below its heading",
    "panel-residuals: picture 1 is blank",
    "the page asks for file://",
    "console error",
    "script error",
]


def self_test(executable):
    """Checks that the check finds each fault of BROKEN_PAGE."""
    folder = Path(tempfile.mkdtemp(prefix="tavric-report-check-"))
    page = folder / "broken.html"
    page.write_text(BROKEN_PAGE)
    browser = Browser(executable)
    try:
        found = check(page, argparse.Namespace(screenshot=None, pdf=None, panel=None), browser)
    finally:
        browser.close()
        shutil.rmtree(folder, ignore_errors=True)
    missed = [f for f in BROKEN_PAGE_FINDINGS if not any(f in p for p in found)]
    for f in found:
        print("  found: " + f)
    for f in missed:
        print("FAILED: the check did not find: " + f)
    if missed:
        return 1
    print("The check finds every fault of the broken page")
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("page", type=Path, nargs="?")
    parser.add_argument("--self-test", action="store_true",
                        help="check a deliberately broken page and fail unless every fault is found")
    parser.add_argument("--screenshot", help="keep the full-page screenshot (PNG) here")
    parser.add_argument("--pdf", help="keep the printed page (PDF) here")
    parser.add_argument("--max-bytes", type=int, default=5_000_000)
    parser.add_argument("--panel", action="append", help="a panel id that must be there")
    args = parser.parse_args()

    executable = shutil.which("chromium")
    if not executable:
        print("SKIPPED: chromium is not installed, so the report page was not checked in a "
              "browser (apt-get install chromium)")
        return 77
    if args.self_test:
        return self_test(executable)
    if args.page is None:
        parser.error("a page to check is needed")
    size = args.page.stat().st_size
    print(f"Checking {args.page} ({size} bytes) in {executable}")
    problems = [] if size <= args.max_bytes else [f"{size} bytes, more than {args.max_bytes}"]
    browser = Browser(executable)
    try:
        problems += check(args.page, args, browser)
    except Failure as e:
        problems.append(str(e))
    finally:
        browser.close()
    for p in problems:
        print("FAILED: " + p)
    if problems:
        return 1
    print("Report page check passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
