#!/usr/bin/env python3
"""Writes the starting inputs of every fuzz target, made from the project's
own examples and test data, into DIRECTORY/<target>/. scripts/fuzz.sh
--seeds runs it and minimises the result into fuzz/corpus/seed/."""

import hashlib
import json
import pathlib
import struct
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def write(directory, target, data):
    if isinstance(data, str):
        data = data.encode()
    folder = directory / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / hashlib.sha1(data).hexdigest()).write_bytes(data)


def mustache_tests():
    for path in sorted((ROOT / "tests/data/mustache").glob("*.json")):
        yield from json.loads(path.read_text())["tests"]


def events():
    for name in ["examples/events/every_kind.json", "examples/golden/golden_event.json"]:
        yield (ROOT / name).read_text()
    for line in (ROOT / "examples/device/events.jsonl").read_text().splitlines():
        if line.strip():
            yield line
    # Each kind of object alone in an event.
    every = json.loads((ROOT / "examples/events/every_kind.json").read_text())
    for kind in every["objects"]:
        yield json.dumps(dict(every, objects=[kind]))


NETWORK_CONFIG = {
    "armed": True,
    "actions": [
        {"type": "orv.action.Request", "name": "webhook", "rules": [17],
         "properties": {"uri": "https://hooks.example.test/alarm/{{the_event.name}}", "auth": "bearer",
                        "token": "secret-token", "method": "PUT", "headers": "X-Event: {{the_event.name}}\nX-Id: 1",
                        "expected_status": "2xx, 404", "body_escape": "auto", "content_type": "application/json",
                        "body": "{\"event\":\"{{the_event.name}}\"}"}},
        {"type": "orv.action.Mail", "name": "guard mail", "rules": [17, 18], "always_trigger": False,
         "properties": {"host": "smtp.example.test", "port": 587, "security": "starttls", "username": "camera",
                        "password": "secret", "from": "camera@example.test", "to": ["guard@example.test"],
                        "cc": "a@example.test, b@example.test", "bcc": [], "subject": "Alarm: {{the_event.name}}",
                        "body": "{{the_event.name}} at {{the_event.start.iso8601}}",
                        "html_body": "<p>{{the_event.name}}</p>", "verify_tls": False, "timeout_ms": 5000}},
    ],
}

PROPERTY_TEXTS = ["true", "false", "0", "587", "-1", "9223372036854775807", "starttls", "POST", "bearer", "2xx, 404",
                  "a@example.test, b@example.test", "", "{{the_event.name}}", "{{#Zone}}{{name}}{{/Zone}}",
                  "https://example.test/{{the_event.name}}", "X-Event: {{the_event.name}}\nX-B: c", "{{/x}}"]


def main():
    directory = pathlib.Path(sys.argv[1])
    for event in events():
        write(directory, "fuzz_event", event)
    write(directory, "fuzz_config", (ROOT / "examples/device/config.json").read_text())
    write(directory, "fuzz_config", json.dumps(NETWORK_CONFIG, indent=2))

    # The property's index among all of the types' properties, the way, the text.
    for index in range(48):
        for text in PROPERTY_TEXTS:
            write(directory, "fuzz_property", bytes([index, 0]) + text.encode())
        write(directory, "fuzz_property", bytes([index, 0x80 + index % 8]) + b"text")

    templates = [(ROOT / "examples/golden/notification.mustache").read_text()]
    templates += [test["template"] for test in mustache_tests()]
    for number, text in enumerate(templates):
        write(directory, "fuzz_template", bytes([number % 16]) + text.encode())
    for number, test in enumerate(mustache_tests()):
        pieces = [test["template"]]
        for name, text in sorted(test.get("partials", {}).items()):
            pieces += [name, text]
        write(directory, "fuzz_partials", bytes([number % 16]) + "\0".join(pieces).encode())

    # Structured inputs read with FuzzedDataProvider: plain texts do.
    for text in ["camera@example.test guard@example.test Subject =?utf-8?q?x?= body\r\n.\r\nline",
                 "\x03\x02a.b@c-d.e\x05x@y.z\x01Alarm \xc3\xa9t\xc3\xa9: =_orv_alternative_ --b\n\nFrom: x@y\x00<p>&amp;</p>",
                 "\xff" * 64]:
        write(directory, "fuzz_mime", text.encode("latin-1"))
    for text in ["\x00" + "200, 404\x00<html>error</html>", "\x01\x07Could not connect\x02250 OK\x00550 No\r\n221 Bye",
                 "\x02POST\x00application/json\x00X-A: {{the_event.name}}\x00https://u:p@example.test/{{the_event.type}}"
                 "\x00{\"a\":\"{{the_event.name}}\"}"]:
        write(directory, "fuzz_replies", text.encode("latin-1"))
    # The studio's API: the first byte chooses /api/data (even) or /api/render (odd).
    golden = (ROOT / "examples/golden/golden_event.json").read_text()
    write(directory, "fuzz_studio", b"\0" + json.dumps({"event": {"id": "golden"}}).encode())
    write(directory, "fuzz_studio", b"\0" + json.dumps({"event": {"json": golden}}).encode())
    for number, text in enumerate(templates[:40]):
        escape = ["none", "html", "url", "json"][number % 4]
        write(directory, "fuzz_studio", b"\1" + json.dumps(
            {"event": {"id": "golden"}, "template": text, "escape": escape}).encode())
    for test in mustache_tests():
        if test.get("partials"):
            write(directory, "fuzz_studio", b"\1" + json.dumps(
                {"event": {"json": golden}, "template": test["template"], "partials": test["partials"]}).encode())

    # run's line reader: the limit, the size of the pieces written, the text.
    lines = (ROOT / "examples/device/events.jsonl").read_text()
    for limit, piece in [(63, 255), (20, 7), (0, 0), (40, 1)]:
        write(directory, "fuzz_lines", bytes([limit, piece]) + lines.encode())
    write(directory, "fuzz_lines", bytes([5, 3]) + b"one\n\ntwo\r\nxxxxxxxxxxxx\nlast")

    for seed in range(4):
        write(directory, "fuzz_outbox", struct.pack("<16Q", *[seed * 0x0101010101010101 + i for i in range(16)]))


if __name__ == "__main__":
    main()
