#!/usr/bin/python3
"""Drives the studio's page in headless chromium and checks what it shows.

Usage: studio_browser_test.py ORV_ACTION CHROMIUM OUTPUT_DIR

Starts `orv-action studio --port 0`, opens the address it prints in chromium,
and talks to chromium over --remote-debugging-pipe (the DevTools protocol as
NUL-separated JSON on file descriptors 3 and 4), so it needs nothing but the
standard library. It types a template and checks the output, inserts a data
tree node's path, adds a partial, makes a syntax error and checks its marker,
checks the names the data lacks, saves a screenshot in OUTPUT_DIR and prints
the median time from a keystroke to the updated output of the golden example.
Exits 0 when every check holds, 1 otherwise; chromium and the studio are
always ended.
"""

import base64
import fcntl
import json
import os
import queue
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

# Generous: chromium may take several seconds to start on a loaded machine.
START_TIMEOUT = 90.0
CONDITION_TIMEOUT = 30.0
KEYSTROKES = 20


class Failure(Exception):
    pass


class DevTools:
    """The DevTools protocol over the pipe chromium opens on fds 3 and 4."""

    def __init__(self, to_browser, from_browser):
        self._out = os.fdopen(to_browser, "wb", buffering=0)
        self._in = os.fdopen(from_browser, "rb", buffering=0)
        self._next_id = 0
        self._answers = {}
        self._arrived = threading.Condition()
        self._closed = False
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        pending = b""
        while True:
            try:
                chunk = self._in.read(65536)
            except (OSError, ValueError):  # closed
                chunk = b""
            if not chunk:
                break
            pending += chunk
            *messages, pending = pending.split(b"\0")
            for message in messages:
                try:
                    answer = json.loads(message)
                except ValueError:
                    print(f"chromium sent no JSON: {message[:200]!r}", file=sys.stderr)
                    continue
                if "id" in answer:
                    with self._arrived:
                        self._answers[answer["id"]] = answer
                        self._arrived.notify_all()
        with self._arrived:
            self._closed = True
            self._arrived.notify_all()

    def call(self, method, params=None, session=None, timeout=CONDITION_TIMEOUT):
        self._next_id += 1
        message = {"id": self._next_id, "method": method, "params": params or {}}
        if session:
            message["sessionId"] = session
        self._out.write(json.dumps(message).encode() + b"\0")
        deadline = time.monotonic() + timeout
        with self._arrived:
            while self._next_id not in self._answers:
                left = deadline - time.monotonic()
                if self._closed or left <= 0:
                    raise Failure(f"chromium did not answer {method}")
                self._arrived.wait(left)
            answer = self._answers.pop(self._next_id)
        if "error" in answer:
            raise Failure(f"{method} failed: {answer['error']}")
        return answer["result"]

    def close(self):
        for stream in (self._out, self._in):
            try:
                stream.close()
            except OSError:
                pass


class Page:
    """One tab, attached in flat mode."""

    def __init__(self, devtools, url):
        self.devtools = devtools
        target = devtools.call("Target.createTarget", {"url": "about:blank"})["targetId"]
        self.session = devtools.call("Target.attachToTarget", {"targetId": target, "flatten": True})["sessionId"]
        self.call("Page.enable")
        self.call("Runtime.enable")
        self.call("Emulation.setDeviceMetricsOverride",
                  {"width": 1400, "height": 1100, "deviceScaleFactor": 1, "mobile": False})
        self.call("Page.navigate", {"url": url})

    def call(self, method, params=None):
        return self.devtools.call(method, params, self.session)

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate",
                           {"expression": expression, "returnByValue": True, "awaitPromise": True})
        if "exceptionDetails" in result:
            raise Failure(f"the page threw on {expression!r}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait_for(self, expression, what, timeout=CONDITION_TIMEOUT):
        """Waits until `expression` is truthy in the page; returns its value. A DOM node
        comes back as {}, which is false here: test for one with !!."""
        deadline = time.monotonic() + timeout
        while True:
            value = self.evaluate(expression)
            if value:
                return value
            if time.monotonic() > deadline:
                raise Failure(f"timed out waiting for {what}")
            time.sleep(0.02)

    def key(self, text):
        """One keystroke that types `text` (one character, a line end too), or Backspace/End."""
        named = {"Backspace": 8, "End": 35}
        if text == "\n":
            params = {"key": "Enter", "code": "Enter", "windowsVirtualKeyCode": 13, "text": "\r"}
        elif text in named:
            params = {"key": text, "code": text, "windowsVirtualKeyCode": named[text]}
        else:
            params = {"key": text, "text": text, "unmodifiedText": text}
        self.call("Input.dispatchKeyEvent", {"type": "keyDown", **params})
        self.call("Input.dispatchKeyEvent", {"type": "keyUp", **{k: v for k, v in params.items()
                                                                  if k not in ("text", "unmodifiedText")}})

    def type(self, text):
        for character in text:
            self.key(character)

    def click(self, selector):
        box = self.evaluate(f"""(() => {{
            const element = document.querySelector({json.dumps(selector)});
            if (!element) return null;
            element.scrollIntoView({{block: 'center'}});
            const r = element.getBoundingClientRect();
            return {{x: r.left + r.width / 2, y: r.top + r.height / 2}};
        }})()""")
        if not box:
            raise Failure(f"no element {selector} to click")
        for kind in ("mousePressed", "mouseReleased"):
            self.call("Input.dispatchMouseEvent",
                      {"type": kind, "x": box["x"], "y": box["y"], "button": "left", "clickCount": 1})

    def screenshot(self, path):
        data = self.call("Page.captureScreenshot", {"format": "png"})["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))


def expect_equal(actual, expected, what):
    if actual != expected:
        raise Failure(f"{what}: expected {expected!r}, got {actual!r}")
    print(f"ok: {what}")


def high_fd(fd):
    """A copy of `fd` at 10 or above, so that placing it on 3 or 4 in the child never clashes."""
    copy = fcntl.fcntl(fd, fcntl.F_DUPFD_CLOEXEC, 10)
    os.close(fd)
    return copy


def start_studio(orv_action):
    studio = subprocess.Popen([orv_action, "studio", "--port", "0"], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True)
    lines = queue.Queue()
    threading.Thread(target=lambda: [lines.put(line) for line in studio.stdout], daemon=True).start()
    try:
        line = lines.get(timeout=START_TIMEOUT)
    except queue.Empty:
        line = ""
    match = re.search(r"serving (http://127\.0\.0\.1:\d+/\?token=[0-9a-f]{32})$", line.strip())
    if not match:
        studio.kill()
        raise Failure(f"orv-action studio printed no address: {line!r}")
    return studio, match.group(1)


def start_chromium(chromium, profile, log):
    to_browser_read, to_browser_write = (high_fd(fd) for fd in os.pipe())
    from_browser_read, from_browser_write = (high_fd(fd) for fd in os.pipe())
    arguments = [chromium, "--headless", "--remote-debugging-pipe", f"--user-data-dir={profile}",
                 # Root in a container has no sandbox to drop into; the page is our own.
                 "--no-sandbox", "--disable-gpu", "--no-first-run", "--no-default-browser-check",
                 "--disable-extensions", "--disable-background-networking", "--disable-component-update",
                 "--disable-sync", "--disable-default-apps", "--mute-audio", "--password-store=basic",
                 "--use-mock-keychain", "--disable-features=Translate,MediaRouter", "about:blank"]
    log_fd = high_fd(os.open(log, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644))
    actions = [(os.POSIX_SPAWN_DUP2, to_browser_read, 3), (os.POSIX_SPAWN_DUP2, from_browser_write, 4),
               (os.POSIX_SPAWN_OPEN, 0, os.devnull, os.O_RDONLY, 0),
               (os.POSIX_SPAWN_DUP2, log_fd, 1), (os.POSIX_SPAWN_DUP2, log_fd, 2)]
    # A session of its own: every process chromium starts can be ended with its group.
    pid = os.posix_spawn(chromium, arguments, os.environ, file_actions=actions, setsid=True)
    for fd in (to_browser_read, from_browser_write, log_fd):
        os.close(fd)
    return pid, DevTools(to_browser_write, from_browser_read)


def stop_chromium(pid, devtools):
    try:
        devtools.call("Browser.close", timeout=5)
    except Failure:
        pass
    devtools.close()
    deadline = time.monotonic() + 10
    while time.monotonic() < deadline:
        if os.waitpid(pid, os.WNOHANG)[0] == pid:
            break
        time.sleep(0.05)
    else:
        os.kill(pid, signal.SIGKILL)
        os.waitpid(pid, 0)
    # Whatever chromium left behind in its group.
    try:
        os.killpg(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def template_value(page):
    return page.evaluate("document.getElementById('template-input').value")


def output_text(page):
    return page.evaluate("document.getElementById('output').textContent")


def set_template(page, text):
    """Clears the editor with a keystroke and types `text` into it."""
    page.evaluate("(() => { const i = document.getElementById('template-input');"
                  " i.focus(); i.select(); })()")
    page.key("Backspace")
    page.type(text)
    expect_equal(template_value(page), text, "the editor holds the typed template")


def wait_for_output(page, expected, what):
    quoted = json.dumps(expected)
    try:
        page.wait_for(f"document.getElementById('output').textContent === {quoted}"
                      " && !document.getElementById('output').classList.contains('stale')", what)
    except Failure:
        raise Failure(f"{what}: expected {expected!r}, the page shows {output_text(page)!r}")
    print(f"ok: {what}")


def wait_for_text(page, element_id, expected, what):
    """Waits until the element shows `expected`, as the page may pass through other texts while typing."""
    shown = f"document.getElementById({json.dumps(element_id)})"
    try:
        page.wait_for(f"!{shown}.hidden && {shown}.textContent === {json.dumps(expected)}", what)
    except Failure:
        raise Failure(f"{what}: expected {expected!r}, the page shows {page.evaluate(shown + '.textContent')!r}")
    print(f"ok: {what}")


def outcome_lines(page):
    """The lines of the test's outcome; an action's number, which counts the actions made, as N."""
    lines = page.evaluate("[...document.querySelectorAll('#test-outcome p')].map(p => p.textContent)")
    return [re.sub(r"action_id:\d+:", "action_id:N:", line) for line in lines]


def check_page(page, out_dir):
    page.wait_for("document.body && document.body.dataset.ready === 'true'", "the page to load its data")
    expect_equal(page.evaluate("document.getElementById('connection').hidden"), True, "no connection problem")

    # Typing a template renders it.
    set_template(page, "Rule {{the_event.name}} on {{the_event.host}}")
    wait_for_output(page, "Rule Entrance watch on vm", "the typed template is rendered")

    # Activating a data tree node inserts its path at the cursor.
    page.evaluate("(() => { const i = document.getElementById('template-input');"
                  " i.focus(); i.setSelectionRange(5, 5); })()")
    page.click("button.insert[data-path='the_event.ip']")
    expect_equal(template_value(page), "Rule {{the_event.ip}}{{the_event.name}} on {{the_event.host}}",
                 "clicking the_event.ip inserts its tag at the cursor")
    expect_equal(page.evaluate("document.getElementById('template-input').selectionStart"), 21,
                 "the cursor stands after the inserted tag")
    wait_for_output(page, "Rule 192.0.2.2Entrance watch on vm", "the inserted tag is rendered")
    # A map inserts a section around the selection.
    page.evaluate("(() => { const i = document.getElementById('template-input');"
                  " i.focus(); i.setSelectionRange(0, 4); })()")
    page.click("button.insert[data-path='the_event']")
    expect_equal(template_value(page),
                 "{{#the_event}}Rule{{/the_event}} {{the_event.ip}}{{the_event.name}} on {{the_event.host}}",
                 "clicking the_event puts a section around the selection")

    # A partial beside the main template.
    set_template(page, "[{{>greeting}}]")
    page.evaluate("document.getElementById('partial-name').focus()")
    page.type("greeting")
    page.click("#add-partial")
    page.wait_for("document.getElementById('template-input').getAttribute('aria-label') === 'Partial greeting'",
                  "the partial's tab")
    page.type("Hi {{the_event.name}}")
    wait_for_output(page, "[Hi Entrance watch]", "the main template renders the partial")
    page.click("button.tab[data-partial='']")
    expect_equal(template_value(page), "[{{>greeting}}]", "the main template's tab shows the main template")
    page.click("button.tab[data-partial='greeting']")
    page.click("#remove-partial")
    page.wait_for("document.querySelectorAll('button.tab').length === 1", "the partial's removal")
    wait_for_output(page, "[]", "without the partial the tag renders as nothing")
    expect_equal(page.evaluate("document.querySelector('#missing-list li').textContent"),
                 "Line 1, column 2: no partial greeting is given; the tag renders as nothing",
                 "the missing partial is listed")

    # Names the data lacks are listed and underlined.
    set_template(page, "{{the_event.name}} {{nope}}")
    wait_for_output(page, "Entrance watch ", "a missing name renders as nothing")
    page.wait_for("document.querySelectorAll('#missing-list li').length === 1", "the missing name's entry")
    expect_equal(page.evaluate("document.querySelector('#missing-list li').textContent"),
                 "Line 1, column 20: the event's data has no nope", "the missing name is listed")
    expect_equal(page.evaluate("[...document.querySelectorAll('#highlight .missing-mark')].map(e => e.textContent)"),
                 ["{{nope}}"], "the missing name is underlined")

    # A syntax error is marked at its line and column.
    set_template(page, "Rule {{the_event.name}}\n{{#open}}x")
    wait_for_text(page, "syntax-error", 'Line 2, column 1: unclosed section "open": expected "{{/open}}"',
                  "the syntax error's message")
    expect_equal(page.evaluate("[...document.querySelectorAll('#highlight .error-mark')].map(e => e.textContent)"),
                 ["{{#open}}"], "the unclosed section's tag is marked")
    expect_equal(page.evaluate("[...document.querySelectorAll('#gutter .error-line')].map(e => e.textContent)"),
                 ["2\n"], "the error's line number is marked")
    expect_equal(page.evaluate("document.getElementById('template-input').getAttribute('aria-invalid')"), "true",
                 "the editor is marked invalid")
    # The last good output stays, greyed: which one depends on how fast the keystrokes came.
    expect_equal(page.evaluate("document.getElementById('output').className"), "stale", "the output is marked stale")
    set_template(page, "Hi {{the_event.host}")
    wait_for_text(page, "syntax-error", 'Line 1, column 4: unclosed tag: expected "}}"', "the unclosed tag's message")
    expect_equal(page.evaluate("[...document.querySelectorAll('#highlight .error-mark')].map(e => e.textContent)"),
                 ["{{the_event.host}"], "the unclosed tag is marked")
    # Mending it removes the marks.
    page.key("}")
    wait_for_output(page, "Hi vm", "the mended template is rendered")
    expect_equal(page.evaluate("document.querySelectorAll('#highlight .error-mark').length"), 0,
                 "no error mark is left")
    expect_equal(page.evaluate("document.getElementById('syntax-error').hidden"), True, "no error message is left")

    # A pasted event that is no event gets the errors of `orv-action data`.
    page.evaluate("(() => { const c = document.getElementById('event-choice');"
                  " c.value = '__pasted__'; c.dispatchEvent(new Event('change')); })()")
    page.evaluate("document.getElementById('pasted-event').value = '{\"version\": 1,'")
    page.click("#use-pasted")
    # `orv-action data` says "<file>:1:15: syntax error while parsing object key - ..." of such a file.
    wait_for_text(page, "event-error", "<pasted event>:1:15: syntax error while parsing object key - "
                  "unexpected end of input; expected string literal", "the pasted event's error")

    # Send test: the file action writes the main template rendered for a test event.
    sent = os.path.join(out_dir, "sent.txt")
    if os.path.exists(sent):
        os.remove(sent)
    set_template(page, "Sent {{the_event.name}}")
    page.evaluate("(() => { const t = document.getElementById('test-type');"
                  " t.value = 'orv.action.File'; t.dispatchEvent(new Event('change')); })()")
    expect_equal(page.evaluate("document.getElementById('test-template-property').value"), "template",
                 "the template goes into the file action's template")
    page.evaluate(f"document.getElementById('property-path').value = {json.dumps(sent)}")
    page.click("#send-test")
    page.wait_for("!!document.querySelector('#test-outcome .success, #test-outcome .error')", "the test's outcome")
    expect_equal(outcome_lines(page), ["Audit: action_id:N:rule_id:4294967295", "Executed."], "the test's outcome")
    with open(sent) as file:
        expect_equal(file.read(), "Sent test", "the file action wrote the rendered template")
    unwritable = os.path.join(out_dir, "no-such-directory", "sent.txt")
    page.evaluate(f"document.getElementById('property-path').value = {json.dumps(unwritable)}")
    page.click("#send-test")
    page.wait_for("!!document.querySelector('#test-outcome .error')", "the failed test's outcome")
    expect_equal(outcome_lines(page),
                 ["Audit: action_id:N:rule_id:4294967295",
                  f"Failed: cannot open '{unwritable}' for appending: No such file or directory"],
                 "the failed test's outcome")

    page.screenshot(os.path.join(out_dir, "studio.png"))
    print(f"ok: screenshot saved as {os.path.join(out_dir, 'studio.png')}")


def measure_keystrokes(page):
    """Milliseconds from each of KEYSTROKES keystrokes to the output that shows it, golden example."""
    page.evaluate("""(() => {
        const input = document.getElementById('template-input');
        const output = document.getElementById('output');
        window.keyTimes = [];
        window.outputTimes = [];
        input.addEventListener('keydown', (key) => window.keyTimes.push(key.timeStamp), true);
        new MutationObserver(() => window.outputTimes.push([performance.now(), output.textContent]))
            .observe(output, {childList: true, characterData: true, subtree: true});
    })()""")
    template = page.evaluate("fetch('/api/examples', {headers: {'X-Studio-Token':"
                             " new URLSearchParams(location.search).get('token')}})"
                             ".then(r => r.json()).then(j => j.template)")
    golden = page.evaluate(f"""fetch('/api/render', {{method: 'POST', headers: {{'Content-Type': 'application/json',
        'X-Studio-Token': new URLSearchParams(location.search).get('token')}},
        body: JSON.stringify({{event: {{id: 'golden'}}, template: {json.dumps(template)}}})}})
        .then(r => r.json()).then(j => j.text)""")
    page.evaluate(f"""(() => {{ const i = document.getElementById('template-input');
        i.focus(); i.select(); document.execCommand('insertText', false, {json.dumps(template)}); }})()""")
    wait_for_output(page, golden, "the golden example is rendered")
    page.evaluate("window.keyTimes = []; window.outputTimes = []")
    typed = ""
    for number in range(KEYSTROKES):
        character = "abcdefghijklmnopqrstuvwxyz"[number % 26]
        typed += character
        page.key(character)
        wait_for_output(page, golden + typed, f"keystroke {number + 1} is rendered")
    key_times = page.evaluate("window.keyTimes")
    output_times = page.evaluate("window.outputTimes")
    if len(key_times) != KEYSTROKES:
        raise Failure(f"expected {KEYSTROKES} keystrokes, the page saw {len(key_times)}")
    latencies = []
    for number, pressed in enumerate(key_times):
        shown = golden + typed[:number + 1]
        rendered = next(at for at, text in output_times if text == shown)
        latencies.append(rendered - pressed)
    median = statistics.median(latencies)
    print(f"keystroke to output, golden example: median {median:.1f} ms over {KEYSTROKES} keystrokes "
          f"(min {min(latencies):.1f}, max {max(latencies):.1f})")
    return median


def main():
    if len(sys.argv) != 4:
        print(__doc__, file=sys.stderr)
        return 2
    orv_action, chromium, out_dir = sys.argv[1:]
    os.makedirs(out_dir, exist_ok=True)
    profile = tempfile.mkdtemp(prefix="orv-studio-chromium-")
    log = os.path.join(out_dir, "chromium.log")
    studio = None
    chromium_pid = None
    devtools = None
    try:
        studio, url = start_studio(orv_action)
        print(f"studio at {url}")
        chromium_pid, devtools = start_chromium(chromium, profile, log)
        devtools.call("Browser.getVersion", timeout=START_TIMEOUT)
        page = Page(devtools, url)
        check_page(page, out_dir)
        measure_keystrokes(page)
        # A page without the token says so and renders nothing.
        bare = Page(devtools, url.split("?")[0])
        bare.wait_for("document.getElementById('connection') && !document.getElementById('connection').hidden", "the missing token's notice")
        expect_equal(bare.evaluate("document.getElementById('connection').textContent"),
                     "This address lacks the token: open the address that orv-action studio printed.",
                     "a page without the token says so")
    except (Failure, OSError) as failure:
        # OSError: orv-action or chromium cannot be started (install-deps.sh installs chromium).
        print(f"FAILED: {failure}", file=sys.stderr)
        if os.path.exists(log):
            with open(log, errors="replace") as file:
                print("chromium's log:\n" + file.read()[-4000:], file=sys.stderr)
        return 1
    finally:
        if chromium_pid is not None:
            stop_chromium(chromium_pid, devtools)
        if studio is not None:
            studio.send_signal(signal.SIGTERM)
            try:
                studio.wait(timeout=30)
            except subprocess.TimeoutExpired:
                studio.kill()
                studio.wait()
        shutil.rmtree(profile, ignore_errors=True)
    if studio.returncode != 0:
        print(f"FAILED: orv-action studio ended with {studio.returncode} on SIGTERM", file=sys.stderr)
        return 1
    print("all checks passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
