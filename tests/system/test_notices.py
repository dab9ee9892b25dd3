"""Notices of the window: to a web server, a broker and a mail server that die and return."""
import hashlib
import hmac
import http.server
import json
import re
import shutil
import socketserver
import subprocess
import threading
import unittest

from harness import BIN, LIMIT_S, config_xml, free_ports, swing, wait_for
from test_view import ViewTest

KEY = "key-of-the-signature"


class Hook:
    """A web server that keeps what is posted; `refuse` makes it answer with 503."""

    def __init__(self, port):
        self.taken, self.refuse, self.tries = [], False, 0
        hook = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                hook.tries += 1
                if not hook.refuse:
                    hook.taken.append((dict(self.headers), body))
                self.send_response(503 if hook.refuse else 204)
                self.end_headers()

            def log_message(self, *args):
                pass
        http.server.HTTPServer.allow_reuse_address = True
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", port), Handler)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def stop(self):
        self.server.shutdown()
        self.server.server_close()

    def bodies(self):
        return [json.loads(b) for _, b in self.taken]


class Mail:
    """As much of a mail server as one sender needs."""

    def __init__(self, port):
        self.taken = []
        mail = self

        class Handler(socketserver.StreamRequestHandler):
            def handle(self):
                self.wfile.write(b"220 here\r\n")
                for line in self.rfile:
                    word = line[:4].upper()
                    if word == b"DATA":
                        self.wfile.write(b"354 go on\r\n")
                        text = b""
                        while not text.endswith(b"\r\n.\r\n"):
                            text += self.rfile.readline()
                        mail.taken.append(text.decode())
                    self.wfile.write(b"250 mail\r\n" if word != b"QUIT" else b"221 bye\r\n")
                    if word == b"QUIT":
                        return
        socketserver.ThreadingTCPServer.allow_reuse_address = True
        self.server = socketserver.ThreadingTCPServer(("127.0.0.1", port), Handler)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def stop(self):
        self.server.shutdown()
        self.server.server_close()


class Notices(ViewTest):
    def setUp(self):
        super().setUp()
        (self.dir / "key").write_text(KEY + "\n")
        self.hook_port, self.dead_port = free_ports()
        self.mail_port, self.broker_port = free_ports()
        self.servers = []

    def tearDown(self):
        for server in self.servers:
            server.stop()
        super().tearDown()

    def serve(self, server):
        self.servers.append(server)
        return server

    def configure(self, rules):
        url = "http://127.0.0.1"
        view = (f'<View><Webhook Name="hook" Url="{url}:{self.hook_port}/x" SecretFile="key"/>'
                f'<Webhook Name="dead" Url="{url}:{self.dead_port}/x"/>'
                f'<Email Name="mail" Url="smtp://127.0.0.1:{self.mail_port}" From="oma@example.org" To="night@example.org"/>'
                f'<Mqtt Name="broker" Url="mqtt://127.0.0.1:{self.broker_port}" Topic="grid/oma"/>{rules}</View>')
        self.config.write_text(config_xml(self.ports).replace("</Configuration>", view + "</Configuration>"))

    def write_config(self, **kwargs):
        """Written by the test itself."""

    @staticmethod
    def rule(receiver, level="distinct", standing=3, jobs="LINE*"):
        return f'<Rule Receiver="{receiver}" Level="{level}" StandingInS="{standing}" Jobs="{jobs}"/>'

    def test_raised_and_cleared_in_order_beside_a_dead_receiver(self):
        self.configure(self.rule("hook") + self.rule("dead") + self.rule("hook", jobs="OTHER?"))
        hook = self.serve(Hook(self.hook_port))
        self.begin(power=lambda t: swing(t, 1.1, 30e6) if t < 40 else 0, seconds=130)
        view = self.view()
        wait_for(lambda: any(b["what"] == "cleared" for b in hook.bodies()), "a cleared notice")
        bodies = self.chains(hook)
        self.assertGreaterEqual(bodies[0]["time_ms"] - bodies[0]["begin_ms"], 3000)
        self.assertEqual((bodies[0]["job_name"], bodies[0]["unit"]), ("LINE_POWER", "W"))
        short = [e["id"] for e in self.get("/api/v1/events")["events"]
                 if e["end_ms"] and e["end_ms"] - e["begin_ms"] < 3000]
        self.assertFalse({b["event"] for b in bodies} & set(short))
        for headers, body in hook.taken:
            expected = "sha256=" + hmac.new(KEY.encode(), body, hashlib.sha256).hexdigest()
            self.assertEqual(headers["X-Oma-Signature"], expected)
        self.assertEqual(len({h["X-Oma-Notice"] for h, _ in hook.taken}), len(hook.taken))
        health = {r["name"]: r for r in self.get("/api/v1/health")["receivers"]}
        self.assertEqual(health["hook"]["waiting"], 0)
        self.assertGreaterEqual(health["dead"]["waiting"], 2)
        self.assertGreater(health["dead"]["failed"], 0)
        self.check_metrics()
        self.assertEqual(view.stop(), 0)

    def chains(self, hook):
        """All bodies; each event is raised once, then changed, and cleared last."""
        chains = {}
        for body in hook.bodies():
            chains.setdefault(body["event"], []).append(body["what"])
        for whats in chains.values():
            self.assertRegex(" ".join(whats), "^raised( changed)*( cleared)?$")
        return hook.bodies()

    def check_metrics(self):
        text = self.ask("/metrics")[1]
        self.assertEqual(subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True).returncode, 0)
        self.assertIn(b'oma_notices_waiting{receiver="hook"} 0\n', text)

    def test_queue_outlives_kill_and_a_refusing_receiver(self):
        self.configure(self.rule("hook", standing=1))
        hook = self.serve(Hook(self.hook_port))
        hook.refuse = True
        self.begin(power=lambda t: swing(t, 1.1, 30e6) if t < 40 else 0, seconds=100)
        view = self.view()
        wait_for(lambda: hook.tries >= 2, "two tries")
        view.kill()
        self.assertEqual(hook.taken, [])
        view = self.view()
        wait_for(lambda: expected_end(self), "the swing has ended")
        hook.refuse = False
        wait_for(lambda: [b["what"] for b in hook.bodies() if b["mode"] == 603][-1:] == ["cleared"], "all are taken")
        self.chains(hook)
        self.assertEqual(view.stop(), 0)

    def test_broker_keeps_the_state_of_each_mode(self):
        self.configure(self.rule("broker", standing=1))
        self.begin(power=lambda t: swing(t, 1.1, 30e6), seconds=3000)
        self.view()
        self.wait_swing()
        conf = self.dir / "broker.conf"
        conf.write_text(f"listener {self.broker_port} 127.0.0.1\nallow_anonymous true\n")
        mosquitto = shutil.which("mosquitto") or "/usr/sbin/mosquitto"
        self.start("mosquitto", [mosquitto, "-c", conf])  # only now: the notice has waited for it
        r = subprocess.run(["mosquitto_sub", "-h", "127.0.0.1", "-p", str(self.broker_port), "-t", "grid/oma/500/603",
                            "-C", "1", "-W", str(int(LIMIT_S)), "-F", "%r %q %p"], capture_output=True, text=True) \
            if self.broker_up() else None
        retained, _, body = r.stdout.split(" ", 2)
        self.assertIn(json.loads(body)["what"], ("raised", "changed"))
        # Whoever comes later is told at once.
        r = subprocess.run(["mosquitto_sub", "-h", "127.0.0.1", "-p", str(self.broker_port), "-t", "grid/oma/500/603",
                            "-C", "1", "-W", str(int(LIMIT_S)), "-F", "%r"], capture_output=True, text=True)
        self.assertEqual(r.stdout.strip(), "1")

    def broker_up(self):
        def up():
            r = subprocess.run(["mosquitto_pub", "-h", "127.0.0.1", "-p", str(self.broker_port), "-t", "up", "-m", "x"],
                               capture_output=True)
            return r.returncode == 0
        return wait_for(up, "the broker")

    def test_notice_on_request(self):
        self.configure("")
        hook, mail = self.serve(Hook(self.hook_port)), self.serve(Mail(self.mail_port))

        def test(name):
            return subprocess.run([BIN / "omaview", f"-xml:{self.config}", "--test-notice", name], text=True,
                                  capture_output=True, timeout=60)
        for name in ("hook", "mail"):
            r = test(name)
            self.assertEqual((r.returncode, r.stdout), (0, f"omaview: '{name}' has taken the notice\n"), r.stderr)
        self.assertEqual(hook.bodies()[0]["what"], "test")
        head, _, text = mail.taken[0].partition("\r\n\r\n")
        self.assertRegex(head, r"Subject: test: ")
        self.assertIn("To: <night@example.org>", head)
        self.assertIn("what: test", text)
        for name, line in (("dead", r"omaview: .*onnect"), ("nobody", r"omaview: receiver 'nobody': expected")):
            r = test(name)
            self.assertEqual(r.returncode, 1)
            self.assertTrue(re.match(line, r.stderr), r.stderr)


def expected_end(test):
    return [e for e in test.events() if e["elementId"] == 603 and e["transition"] == "DIS" and e["key"] < 4206]


del ViewTest  # its tests are run elsewhere

if __name__ == "__main__":
    unittest.main()
