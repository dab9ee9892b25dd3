"""The window: omaview beside a server and an application, asked over HTTP as a browser asks it."""
import http.client
import json
import re
import socket
import sqlite3
import ssl
import struct
import subprocess
import unittest
from pathlib import Path

import jsonschema
from harness import ANGLE_JOB, BIN, POWER_JOB, SwingTest, config_xml, swing, wait_for, write_recording
from test_security import SERVER_EXT, make_ca, make_certificate

CONTRACT = json.loads((Path(__file__).resolve().parents[2] / "view" / "openapi.json").read_text())
LEVEL = {4206: 1, 4205: 2, 4204: 3, 4203: 4}
EPOCH_TICKS = 621355968000000000


def ms(ticks):
    return (ticks - EPOCH_TICKS) // 10000


def expected_records(events):
    """Mode, begin, end, worst level of all chains of levels, from the server's own log."""
    records, open_ = [], {}
    for e in events:
        if e["key"] not in LEVEL:
            continue
        last = open_.get(e["elementId"])
        if e["transition"] == "APP":
            if last is None or (last["end"] is not None and last["end"] != ms(e["time"])):
                last = {"mode": e["elementId"], "begin": ms(e["time"]), "worst": 0}
                records.append(last)
                open_[e["elementId"]] = last
            last["end"] = None
            last["worst"] = max(last["worst"], LEVEL[e["key"]])
        elif last is not None:
            last["end"] = ms(e["time"])
    return sorted((r["mode"], r["begin"], r["end"], r["worst"]) for r in records)


def validate(path, answer):
    """Holds an answer against the description of the interface."""
    template = next(p for p in CONTRACT["paths"]
                    if re.fullmatch(re.sub(r"\{\w+\}", r"\\d+", p.replace(".", r"\.")), path))
    schema = CONTRACT["paths"][template]["get"]["responses"]["200"]["content"]["application/json"]["schema"]
    jsonschema.Draft202012Validator({**schema, "components": CONTRACT["components"]}).validate(answer)


class ViewTest(SwingTest):
    def view(self, *args, name="omaview"):
        view = self.start(name, [BIN / "omaview", f"-xml:{self.config}", "--port", 0, "--data", self.dir / "view.db", *args])
        view.wait_text("omaview: http")
        self.port = int(re.search(r"omaview: https?://\S*:(\d+)/", view.text()).group(1))
        return view

    def ask(self, path, method="GET", body=None, headers=None, tls=None):
        make = (lambda: http.client.HTTPSConnection("127.0.0.1", self.port, timeout=60, context=tls)) if tls else \
            (lambda: http.client.HTTPConnection("127.0.0.1", self.port, timeout=60))
        connection = make()
        headers = dict(headers or {})
        if body is not None:
            headers.setdefault("Content-Type", "application/json")
            body = json.dumps(body)
        connection.request(method, path, body, headers)
        response = connection.getresponse()
        data = response.read()
        connection.close()
        self.headers = {k.lower(): v for k, v in response.getheaders()}
        return response.status, data

    def get(self, path):
        status, data = self.ask(path)
        self.assertEqual(status, 200, data)
        answer = json.loads(data)
        validate(path.split("?")[0], answer)
        return answer

    def records(self):
        events, before = [], ""
        while True:
            part = self.get(f"/api/v1/events?kind=swing&limit=500{before}")
            events += part["events"]
            if part["next"] is None:
                return sorted((e["mode"], e["begin_ms"], e["end_ms"], e["level_worst"]) for e in events)
            before = "&before=" + part["next"]

    def wait_same_records(self):
        expected, found = [], []

        def same():
            expected[:], found[:] = expected_records(self.events()), self.records()
            return expected and found == expected
        try:
            wait_for(same, "the records of the window like those of events.jsonl", 60)
        except AssertionError as e:
            raise AssertionError(f"{e}: missing {set(expected) - set(found)}, too many {set(found) - set(expected)}")
        return expected

    def live(self, query=""):
        """A raw connection to the live stream."""
        s = socket.create_connection(("127.0.0.1", self.port), 60)
        s.sendall(f"GET /api/v1/live{query} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode())
        return s

    @staticmethod
    def stream_events(s, count):
        text = b""
        while text.count(b"\n\n") < count:
            part = s.recv(65536)
            if not part:
                break
            text += part
        found = re.findall(rb"event: (\w+)\ndata: (.*)\n", text)
        return [(n.decode(), json.loads(d)) for n, d in found]


def burst(t):
    """Two swings that come and go, the second one severe."""
    return swing(t, 1.1, 14e6, -0.04, 20) if t < 60 else swing(t, 1.1, 12e6, 0.02, 60) if t < 90 else 0.0


class View(ViewTest):
    def begin_two_jobs(self, seconds=150):
        self.config.write_text(config_xml(self.ports, jobs=(POWER_JOB, ANGLE_JOB)))
        write_recording(self.dir / "rec.csv", seconds, burst, lambda t: burst(t) / 4e6)
        vds = self.vds("--replay", self.dir / "rec.csv", "--speed", "20", "--log-measurements")
        return vds, self.oma()

    def test_shows_what_the_server_logs(self):
        self.config.write_text(config_xml(self.ports, jobs=(POWER_JOB, ANGLE_JOB)))
        view = self.view()
        self.assertEqual(self.get("/api/v1/state")["status"]["level"], "fault")  # no server yet
        self.assertEqual(self.ask("/readyz")[0], 503)
        self.begin_two_jobs()
        wait_for(lambda: self.ask("/readyz")[0] == 200, "ready")
        stream = self.live("?trace=500&trace_s=60")
        first = self.stream_events(stream, 10)
        self.assertEqual(first[0][0], "snapshot")
        jsonschema.Draft202012Validator({"$ref": "#/components/schemas/Change", "components": CONTRACT["components"]}) \
            .validate(first[-1][1])
        stream.close()
        self.wait_swing()
        self.check_stream()
        self.wait_swing(transition="DIS")
        wait_for(lambda: sum(c["op"] == "write" and c["pmu"] == 803 for c in self.channels()) > 40 and
                 any(r[3] >= 3 and r[2] for r in expected_records(self.events())), "a severe swing, and its end")
        self.assertTrue(any(r[3] >= 3 for r in self.wait_same_records()))
        for path in ("/api/v1/jobs", "/api/v1/health", "/api/v1/session", "/api/v1/trends?modes=500:603,510:611",
                     "/api/v1/values?job=500", "/api/v1/events?standing=true"):
            self.get(path)
        self.check_values()
        self.check_event_page()
        self.check_metrics()
        self.assertEqual(view.stop(), 0)

    def check_stream(self):
        """A stream that is read all the time is told of each pass, however its reads fall between publications."""
        stream, passes = self.live(), set()
        try:
            text = b""
            while len(passes) < 8:
                text += stream.recv(65536)
                *whole, text = text.split(b"\n\n")
                for piece in whole:
                    found = re.search(rb"event: change\ndata: (.*)", piece)
                    for job in json.loads(found.group(1))["jobs"] if found else ():
                        passes |= {(m["mode"], m["time_ms"]) for m in job["modes"] if m["alive"] and m["time_ms"]}
        finally:
            stream.close()

    def check_values(self):
        """The passes are those of channels.jsonl, to the ms and to single precision."""
        course = self.get("/api/v1/trends?modes=500:603&points=5000")["modes"][0]
        seen = {t: (f, e) for t, f, e in zip(course["time_ms"], course["frequency_Hz"], course["exposure"]) if f is not None}
        written = {ms(c["time"]): (c["values"][0], c["values"][3]) for c in self.channels()
                   if c["op"] == "write" and c["pmu"] == 803}
        self.assertGreater(len(seen), 20)
        for time, values in seen.items():
            for one, other in zip(values, written[time]):
                self.assertAlmostEqual(one, other, delta=2e-6 * abs(other))

    def check_event_page(self):
        event = next(e for e in self.get("/api/v1/events?mode=603&level_min=3")["events"] if e["end_ms"])
        page = self.get(f"/api/v1/events/{event['id']}?points=5000")
        self.assertEqual(page["values"]["resolution"], "full")
        # From the ring: the data began less than two minutes before the event.
        self.assertLess(page["values"]["time_ms"][0], event["begin_ms"] - 15000)
        logged = {ms(c["time"]): c["values"][0] for c in self.channels() if c["op"] == "write" and c["pmu"] == 800}
        for time, value in list(zip(page["values"]["time_ms"], page["values"]["mean"]))[::50]:
            self.assertAlmostEqual(value, logged[time], delta=2e-6 * abs(logged[time]))
        self.assertEqual([n["job"] for n in page["neighbours"]], [510])
        self.assertLess(abs(page["neighbours"][0]["phase_deg"]), 10)  # both follow the same swing
        self.check_record(event, page)

    def check_record(self, event, page):
        csv = self.ask(f"/api/v1/export/events/{event['id']}.csv")[1].decode().splitlines()
        self.assertTrue(csv[0].startswith("time,value_W,level,frequency_Hz"))
        data = self.ask(f"/api/v1/export/events/{event['id']}.cff")[1]
        head, body = re.split(rb"--- file type: DAT BINARY: \d+ ---\r\n", data)
        lines = head.decode().split("\r\n")
        self.assertEqual(lines[1:3], ["LINE_POWER,omaview,2013", "9,5A,4D"])
        self.assertIn("FLOAT32", lines)
        size = 4 + 4 + 5 * 4 + 2
        self.assertEqual(len(body) % size, 0)
        records = [struct.unpack_from("<II5fH", body, i) for i in range(0, len(body), size)]
        self.assertEqual(len(records), len(csv) - 1)
        self.assertEqual([r[0] for r in records], list(range(1, len(records) + 1)))
        self.assertEqual(records[50][1], 1_000_000)  # a second, in microseconds
        self.assertAlmostEqual(records[0][2], page["values"]["mean"][0], delta=1e-6 * abs(records[0][2]))
        self.assertEqual(records[0][3], struct.unpack("<f", b"\xff\xff\x7f\xff")[0])  # no pass yet: missing
        self.assertTrue(any(r[7] for r in records))

    def check_metrics(self):
        text = self.ask("/metrics")[1]
        r = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True)
        self.assertEqual(r.returncode, 0, r.stdout + r.stderr)
        cycles = int(float(re.search(rb"^oma_cycle_seconds_count (\S+)", text, re.M).group(1)))
        self.assertGreater(cycles, 1000)

    def test_notes_and_acknowledgements_are_the_operators(self):
        self.begin(power=burst, seconds=150)
        self.view()
        self.wait_swing()
        event = wait_for(lambda: self.get("/api/v1/events")["events"], "an event")[0]
        token = {"X-CSRF-Token": self.get("/api/v1/session")["csrf_token"]}
        base = f"/api/v1/events/{event['id']}"
        text = "<script>alert(1)</script> \u00e4"
        self.assertEqual(self.ask(base + "/notes", "POST", {"text": text}, token)[0], 200)
        self.assertEqual(self.ask(base + "/acknowledge", "POST", {}, token)[0], 200)
        page = self.get(base)
        self.assertEqual(page["notes"][0]["text"], text)
        self.assertEqual(page["event"]["acknowledged"]["by"], "operator")
        for body, headers, status in (({"text": "x"}, {}, 403), ({"text": "x"}, {**token, "Origin": "http://evil"}, 403),
                                      ({"text": ""}, token, 400), ({"text": "x" * 5000}, token, 400), ([], token, 400),
                                      ({"text": "x"}, {**token, "Content-Type": "text/plain"}, 400),
                                      ({"text": "x" * 70000}, token, 413)):
            self.assertEqual(self.ask(base + "/notes", "POST", body, headers)[0], status, (str(body)[:30], headers))
        self.assertEqual(self.ask("/api/v1/events/99999/notes", "POST", {"text": "x"}, token)[0], 404)
        self.assertEqual(len(self.get(base)["notes"]), 1)

    def test_killed_at_any_moment_it_loses_a_second_at_most(self):
        self.begin(seconds=2000, power=lambda t: swing(t % 40, 1.1, 30e6, -0.03) + swing(t, 0.3, 12e6))
        self.wait_swing()
        for i in range(25):
            view = self.view()
            wait_for(lambda: self.get("/api/v1/state")["now_ms"], "data")
            wait_for(lambda: len(self.events()) > 4 * i, "events")
            view.kill()
            with sqlite3.connect(f"file:{self.dir / 'view.db'}?mode=ro", uri=True) as db:
                self.assertEqual(db.execute("PRAGMA integrity_check").fetchone(), ("ok",))
        self.view()
        self.wait_same_records()
        ids = [e["id"] for e in self.get("/api/v1/events?limit=500")["events"]]
        self.assertEqual(len(ids), len(set(ids)))
        course = self.get("/api/v1/trends?modes=500:603&points=5000")["modes"][0]["time_ms"]
        self.assertEqual(course, sorted(set(course)))

    def test_loss_of_the_server_is_said(self):
        vds, oma = self.begin()
        self.view()
        self.wait_swing()
        wait_for(lambda: self.get("/api/v1/events?standing=true")["events"], "a standing event")
        vds.kill()
        status = wait_for(lambda: self.get("/api/v1/state")["status"]["level"] == "fault" and
                          self.get("/api/v1/state")["status"], "a fault")
        self.assertIn("no connection to the server", status["text"])
        self.vds("--replay", self.dir / "rec.csv", "--speed", "20")
        # The new server knows of no event: what stood has ended, nobody knows when.
        wait_for(lambda: [e for e in self.get("/api/v1/events")["events"] if not e["end_known"]], "an unknown end")


class Hostile(ViewTest):
    def test_wrong_requests_harm_nobody(self):
        self.begin(seconds=600)
        self.view()
        self.wait_swing()
        for path, status in (("/api/v1/events?limit=0", 400), ("/api/v1/events?limit=x", 400), ("/api/v1/values", 400),
                             ("/api/v1/values?job=1", 404), ("/api/v1/trends?modes=1", 400), ("/api/v1/trends", 400),
                             ("/api/v1/trends?modes=500:603&from_ms=9&to_ms=3", 400), ("/api/v1/events/0", 404),
                             ("/api/v1/events/-1", 404), ("/api/v1/live?trace=1", 400), ("/api/v1/nothing", 404),
                             ("/api/v1/events?text=%zz", 400), ("/..%2f..%2fetc/passwd", 404), ("/a/../../x.js", 404),
                             ("/api/v1/events?job=9223372036854775808", 400), ("/api/v1/events?text=%27%20OR%201=1--", 200)):
            self.assertEqual(self.ask(path)[0], status, path)
        self.assertEqual(self.ask("/api/v1/state", headers={"Host": "evil.example"})[0], 403)
        self.assertEqual(self.ask("/api/v1/state", headers={"X": "y" * 20000})[0], 431)
        self.assertEqual(self.ask("/api/v1/state", "TRACE")[0], 405)
        for junk in (b"\x16\x03\x01\x02\x00", b"GET\r\n\r\n", b"\r\n" * 5000,
                     b"GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"):
            with socket.create_connection(("127.0.0.1", self.port), 60) as s:
                s.sendall(junk)
        for key in ("content-security-policy", "x-content-type-options"):
            self.ask("/")
            self.assertIn(key, self.headers)

    def test_slow_browsers_cost_nothing(self):
        self.begin(seconds=3000)
        view = self.view()
        self.wait_swing()
        # Some never read, some never ask, more than there may be.
        idle = [socket.create_connection(("127.0.0.1", self.port), 60) for _ in range(100)]
        streams = [self.live("?trace=500") for _ in range(120)]
        before = len(self.events())
        wait_for(lambda: len(self.events()) > before, "the analysis goes on")
        self.get("/api/v1/state")
        memory = int(re.search(r"VmRSS:\s+(\d+)", Path(f"/proc/{view.proc.pid}/status").read_text()).group(1))
        self.assertLess(memory, 400_000)  # kB; without a sanitizer it is a tenth
        for s in idle + streams:
            s.close()
        self.assertEqual(view.stop(), 0)


class Security(ViewTest):
    def secure(self):
        make_ca(self.dir, "ca")
        make_certificate(self.dir, "ca", "server", "/CN=view", SERVER_EXT)
        users = self.dir / "users"
        lines = []
        for name, role in (("ann", "operator"), ("bob", "viewer")):
            r = subprocess.run([BIN / "omaview", "--add-user", name, role], input=f"{name}-password\n", text=True,
                               capture_output=True, check=True)
            lines.append(r.stdout)
        r = subprocess.run([BIN / "omaview", "--add-machine", "scraper", "viewer"], text=True, capture_output=True,
                           check=True)
        lines.append(r.stdout)
        self.token = r.stderr.strip().split()[-1]
        users.write_text("".join(lines))
        view = '<View UsersFile="users" CertificateFile="server.pem" KeyFile="server.key"/></Configuration>'
        self.config.write_text(config_xml(self.ports).replace("</Configuration>", view))
        self.tls = ssl.create_default_context(cafile=self.dir / "ca.pem")

    def sign_in(self, name, password):
        status, data = self.ask("/api/v1/session", "POST", {"name": name, "password": password}, tls=self.tls)
        cookie = self.headers.get("set-cookie", "")
        return status, json.loads(data), cookie

    def test_sign_in(self):
        self.secure()
        self.view()
        self.assertEqual(self.ask("/api/v1/state", tls=self.tls)[0], 401)
        self.assertEqual(self.ask("/metrics", tls=self.tls)[0], 401)
        self.assertEqual(self.ask("/metrics", headers={"Authorization": "Bearer " + self.token}, tls=self.tls)[0], 200)
        self.assertEqual(self.ask("/metrics", headers={"Authorization": "Bearer x"}, tls=self.tls)[0], 401)
        status, session, cookie = self.sign_in("ann", "ann-password")
        self.assertEqual((status, session["role"]), (200, "operator"))
        for part in ("HttpOnly", "SameSite=Strict", "Secure"):
            self.assertIn(part, cookie)
        who = {"Cookie": cookie.split(";")[0]}
        self.assertEqual(self.ask("/api/v1/state", headers=who, tls=self.tls)[0], 200)
        note = ("/api/v1/events/1/notes", "POST", {"text": "x"})
        self.assertEqual(self.ask(*note, who, self.tls)[0], 403)  # without its token
        token = {"X-CSRF-Token": session["csrf_token"]}
        self.assertEqual(self.ask(*note, {**who, **token}, self.tls)[0], 404)
        _, viewer, other = self.sign_in("bob", "bob-password")
        headers = {"Cookie": other.split(";")[0], "X-CSRF-Token": viewer["csrf_token"]}
        self.assertEqual(self.ask(*note, headers, self.tls)[0], 403)
        self.assertEqual(self.ask("/api/v1/session", "DELETE", None, {**who, **token}, self.tls)[0], 200)
        self.assertEqual(self.ask("/api/v1/state", headers=who, tls=self.tls)[0], 401)

    def test_guesses_are_counted(self):
        self.secure()
        self.view()
        answers = [self.sign_in("ann" if i % 2 else "nobody", "wrong")[0] for i in range(14)]
        self.assertEqual(set(answers), {401, 429})
        self.assertEqual(answers[:8], [401] * 8)
        self.assertEqual(answers[-1], 429)

    def test_beyond_this_machine_everything_is_secured(self):
        self.write_config()
        r = subprocess.run([BIN / "omaview", f"-xml:{self.config}", "--listen", "0.0.0.0", "--data", self.dir / "v.db"],
                           text=True, capture_output=True, timeout=60)
        self.assertEqual(r.returncode, 1)
        self.assertRegex(r.stderr, r"^omaview: address '0\.0\.0\.0' is reached by other machines: expected .*UsersFile.*\n$")


if __name__ == "__main__":
    unittest.main()
