"""Access to the server over TLS, and events that survive kill -9 of the server."""
import random
import signal
import socket
import ssl
import subprocess
import time
import unittest

from harness import BIN, LIMIT_S, SystemTest, swing, wait_for, write_recording
from hostile import Peer, hello


def openssl(folder, *args):
    subprocess.run(["openssl", *map(str, args)], cwd=folder, check=True, capture_output=True)


def make_ca(folder, name):
    openssl(folder, "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", 2,
            "-subj", f"/CN={name}", "-keyout", f"{name}.key", "-out", f"{name}.pem")


def make_certificate(folder, ca, name, subject, ext, days=2):
    openssl(folder, "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", subject,
            "-keyout", f"{name}.key", "-out", f"{name}.csr")
    (folder / f"{name}.ext").write_text(ext)
    openssl(folder, "x509", "-req", "-in", f"{name}.csr", "-CA", f"{ca}.pem", "-CAkey", f"{ca}.key", "-days", days,
            "-extfile", f"{name}.ext", "-out", f"{name}.pem")


SERVER_EXT = "subjectAltName=IP:127.0.0.1\nextendedKeyUsage=serverAuth\n"
CLIENT_EXT = "extendedKeyUsage=clientAuth\n"


class Security(SystemTest):
    def setUp(self):
        super().setUp()
        for ca in ("ca", "other"):
            make_ca(self.dir, ca)
        make_certificate(self.dir, "ca", "server", "/CN=server", SERVER_EXT)
        make_certificate(self.dir, "ca", "elsewhere", "/CN=elsewhere", SERVER_EXT.replace("0.0.1", "0.0.2"))
        make_certificate(self.dir, "ca", "old", "/CN=old", CLIENT_EXT, days=-1)
        make_certificate(self.dir, "ca", "plain", "/CN=plain", CLIENT_EXT)
        make_certificate(self.dir, "ca", "operator", "/OU=operator/CN=ann", CLIENT_EXT)
        make_certificate(self.dir, "other", "stranger", "/OU=operator/CN=eve", CLIENT_EXT)
        for token in ("application", "operator", "wrong"):
            (self.dir / f"{token}.token").write_text(f"{token}-0123456789abcdef\n")
        write_recording(self.dir / "rec.csv", 2000, lambda t: swing(t, 1.1, 30e6))

    def secure(self, certificate="server", **attributes):
        attributes = {"CAFile": "ca.pem", "CertificateFile": f"{certificate}.pem", "KeyFile": f"{certificate}.key",
                      "TokenFile": "application.token", "OperatorTokenFile": "operator.token", **attributes}
        element = "<Security " + " ".join(f'{k}="{v}"' for k, v in attributes.items() if v) + "/>"
        self.write_config()
        text = self.config.read_text()
        self.config.write_text(text.replace(f'Data="{self.ports[1]}"/>', f'Data="{self.ports[1]}">{element}</VDS>'))

    def ctl(self, options, *command):
        r = subprocess.run([str(BIN / "vdsctl"), *map(str, options), f"127.0.0.1:{self.ports[0]}", *map(str, command)],
                           cwd=self.dir, text=True, capture_output=True, timeout=LIMIT_S)
        self.assertLessEqual(len(r.stderr.splitlines()), 1, r.stderr)
        return r

    def serve(self, *args):
        return self.vds("--replay", self.dir / "rec.csv", "--speed", "20", *args)

    def test_peers(self):
        self.secure()
        vds = self.serve()
        post = ("post", 4003, "APP", 2, 1, "zones")
        ca = ["--ca", "ca.pem"]
        key = lambda name: [*ca, "--cert", f"{name}.pem", "--key", f"{name}.key"]
        token = lambda name: [*ca, "--token-file", f"{name}.token"]
        # options, command, what the client is told, what the server logs
        refused = [([], post, "127.0.0.1", "TLS"),
                   (["--ca", "other.pem"], post, "TLS: certificate of the peer", "unknown ca"),
                   (ca, post, "neither a token nor a certificate", "neither a token nor a certificate"),
                   (token("wrong"), post, "refused: wrong token", "refused: wrong token"),
                   (key("old"), post, "TLS", "certificate has expired"),
                   (key("stranger"), post, "TLS", "unable to get local issuer"),
                   (token("application"), post, "operator", "it is not an operator"),
                   (key("plain"), post, "operator", "of 'vdsctl@plain'")]
        for options, command, client, server in refused:
            r = self.ctl(options, *command)
            self.assertEqual(r.returncode, 1, (options, r.stdout))
            self.assertIn(client, r.stderr, options)
            vds.wait_text(server)
        self.assertEqual(self.events(), [])
        for options, sender in ((token("operator"), "vdsctl"), (key("operator"), "vdsctl@ann"),
                                ([f"-xml:{self.config}"], "vdsctl")):
            self.assertEqual(self.ctl(options, *post).returncode, 0)
            self.assertEqual(self.events()[-1]["from"], sender)
        self.assertEqual(self.ctl(token("application"), "standing").returncode, 0)
        text = vds.text()
        for secret in ("0123456789abcdef", "PRIVATE"):
            self.assertNotIn(secret, text)

    def test_application(self):
        self.secure()
        vds = self.serve()
        oma = self.oma()
        event = self.wait_event(key=4204, transition="APP")
        self.assertEqual(event["from"], "OMA_1st_Socket")
        # A server whose certificate is for another host: one line, no rapid retries.
        vds.kill()
        shared = self.config.read_text()
        self.secure(certificate="elsewhere")
        vds = self.serve()
        oma.wait_text("IP address mismatch")
        vds.stop()
        self.assertLessEqual(oma.count("IP address mismatch"), 2, "one line per connection")
        self.config.write_text(shared)
        self.serve()
        seen = len(self.events())
        wait_for(lambda: len(self.events()) > seen, "the application works again")
        oma.stop()

    def test_beyond_loopback(self):
        self.write_config()
        plain = self.config.read_text()
        far = plain.replace('IPAddr="127.0.0.1"', 'IPAddr="192.0.2.1"')
        for text, args in ((plain, ["--listen", "0.0.0.0"]), (far, [])):
            self.config.write_text(text)
            vds = self.vds("--replay", self.dir / "rec.csv", *args, wait=False)
            self.assertEqual(vds.wait(), 1)
            self.assertIn("expected element Security", vds.text())
            self.assertEqual(len(vds.text().splitlines()), 1)
        oma = self.oma()
        oma.wait_text("'192.0.2.1' is another machine: expected element Security")
        oma.stop()
        self.secure(OperatorTokenFile="none.token")
        vds = self.vds("--replay", self.dir / "rec.csv", wait=False)
        self.assertEqual(vds.wait(), 1)
        self.assertIn("none.token", vds.text())

    def test_wrong_tokens_delay_nobody_else(self):
        self.secure()
        vds = self.serve()
        guess = lambda: self.ctl(["--ca", "ca.pem", "--token-file", "wrong.token"], "standing")
        right = lambda: self.ctl(["--ca", "ca.pem", "--token-file", "application.token"], "standing")
        waits = []
        for _ in range(6):  # delays of 0.1, 0.2 ... 3.2 s
            begin = time.monotonic()
            self.assertIn("refused: wrong token", guess().stderr)
            waits.append(time.monotonic() - begin)
        self.assertGreater(waits[-1], 3.1)
        context = ssl.create_default_context(cafile=self.dir / "ca.pem")
        context.check_hostname = False
        guessers = []
        for _ in range(120):  # more than the limit for connections that have not greeted
            peer = Peer(self.ports[0], context).upgrade()
            peer.send(hello(3, b"wrong-0123456789abcdef"))
            guessers.append(peer)
            if len(guessers) % 10 == 0:
                self.assertEqual(right().returncode, 0, "the right token is refused")
        vds.wait_text("place needed")
        oma = self.oma()
        oma.wait_text("All OMA data pre-processing done")
        for peer in guessers:
            peer.close()
        self.assertEqual(oma.stop(), 0)


class Files(SystemTest):
    """What the server logs, and what an operator sees of it."""

    def setUp(self):
        super().setUp()
        self.write_config()
        write_recording(self.dir / "rec.csv", 100)

    def serve(self):
        return self.vds("--replay", self.dir / "rec.csv", "--speed", "1", "--state", self.dir / "state")

    def test_files_that_have_been_renamed_are_made_anew(self):
        vds = self.serve()
        self.vdsctl("post", 4204, "APP", 3, 601, "first")
        names = ("events.jsonl", "channels.jsonl", "state")
        for turn in (1, 2):
            for name in names:
                (self.dir / name).rename(self.dir / f"{name}.{turn}")
            vds.send(signal.SIGHUP)
            vds.wait_text("reopening files", turn)
            self.assertTrue(all((self.dir / name).exists() for name in names))
            self.vdsctl("post", 4204, "APP", 3, 601 + turn, "later")
            self.assertEqual([e["elementId"] for e in self.events()], [601 + turn])
        vds.kill()
        vds = self.serve()
        self.assertEqual([line.split()[3] for line in self.vdsctl("standing").stdout.splitlines()],
                         ["601", "602", "603"])
        vds.send(signal.SIGQUIT)
        self.assertEqual(vds.wait(), 0)
        self.assertIn("vds: stopping on signal 3", vds.text())

    def test_journal_tells_each_event(self):
        vds = self.serve()
        self.vdsctl("post", 4203, "APP", 3, 603, "f: 0.42 Hz\x1b[2J\nvds: DIS forged")
        self.vdsctl("post", 4203, "DIS", 3, 603)
        self.vdsctl("post", 4003, "APP", 2, 1, "x" * 60000)
        vds.wait_text("60000 bytes")
        lines = [line for line in vds.text().splitlines() if line.startswith(("vds: APP", "vds: DIS"))]
        self.assertEqual(len(lines), 3, lines)
        self.assertTrue(lines[0].startswith('vds: APP "Undamped Critical Power Swing", key 4203, element 603 of type 3, 20'))
        self.assertTrue(lines[0].endswith(r"from 'vdsctl': f: 0.42 Hz\x1b[2J\x0avds: DIS forged"), lines[0])
        self.assertTrue(lines[1].startswith('vds: DIS "Undamped Critical Power Swing", key 4203, element 603'))
        self.assertLess(len(lines[2]), 1000)


class Bounds(SystemTest):
    """An application uses the server all the time and must not be affected."""

    def setUp(self):
        super().setUp()
        self.write_config()
        write_recording(self.dir / "rec.csv", 2000)
        self.server = self.serve()
        self.application = self.oma()
        self.application.wait_text("RESET Meas.Deque!")  # by now it has cleared the events that it found

    def serve(self):
        # Files cannot grow beyond 256 kB, which is handled like a full disk.
        limited = ["bash", "-c", "trap '' XFSZ; ulimit -f 256; exec \"$@\"", "vds"]
        server = self.start("vds", [*limited, BIN / "vds", f"-xml:{self.config}", "--replay", self.dir / "rec.csv",
                                    "--speed", "20", "--state", self.dir / "state.jsonl"])
        wait_for(self.listening, "vds listening")
        return server

    def test_peers_that_say_nothing_or_half_of_it(self):
        upgrade = (b"GET /dli HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                   b"Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n")
        said = (b"", upgrade[:40], upgrade, upgrade + b"\x82\xfe\x01")
        peers = []
        for number in range(240):
            peers.append(socket.create_connection(("127.0.0.1", self.ports[number % 2])))
            peers[-1].sendall(said[number // 2 % len(said)])
            if number % 20 == 19:
                self.vdsctl("standing")  # a client that greets is always served
        self.server.wait_text("place needed")
        for peer in peers:  # all are disconnected in the end
            peer.settimeout(LIMIT_S)
            try:
                while peer.recv(4096):
                    pass
            except ConnectionResetError:
                pass
            peer.close()
        self.assertFalse(self.application.has("Connection to VDS server lost!"))
        self.assertEqual(self.application.stop(), 0)

    def test_disk_that_is_full(self):
        kept = refused = 0
        for number in range(20):
            r = self.vdsctl("post", 4204, "APP", 3, 5000 + number, "x" * 30000, check=False)
            kept += r.returncode == 0
            refused += r.returncode != 0 and "could not be stored" in r.stderr
        self.assertEqual(kept + refused, 20)
        self.assertGreater(kept, 3)
        self.assertGreater(refused, 3)
        self.assertEqual(self.server.count("cannot be written: File too large"), 1, "one line a minute")
        self.assertEqual(len(self.vdsctl("standing").stdout.splitlines()), kept)
        self.server.kill()
        self.serve()
        self.assertEqual(len(self.vdsctl("standing").stdout.splitlines()), kept)
        self.assertEqual(self.application.stop(), 0)


class KillNine(SystemTest):
    def test_acknowledged_events_survive(self):
        rng = random.Random(9)
        self.write_config()
        write_recording(self.dir / "rec.csv", 2)
        acknowledged, tried = [], set()
        number = 0
        rounds = 0
        # A slow machine needs more rounds for the same number of acknowledged events.
        while rounds < 25 or (len(acknowledged) <= 25 and rounds < 200):
            rounds += 1
            vds = self.vds("--replay", self.dir / "rec.csv", "--state", self.dir / "state.jsonl")
            standing = [int(line.split()[3]) for line in self.vdsctl("standing").stdout.splitlines()]
            self.assertEqual(len(standing), len(set(standing)), "an event twice")
            self.assertLessEqual(set(acknowledged), set(standing), "an acknowledged event is lost")
            self.assertLessEqual(set(standing), tried, "an event that nobody posted")
            end = time.monotonic() + rng.uniform(0.0, 0.15)
            while vds.running():
                number += 1
                tried.add(number)
                ctl = subprocess.Popen([str(BIN / "vdsctl"), f"127.0.0.1:{self.ports[0]}", "post", "4204", "APP", "3",
                                        str(number), "x" * rng.randrange(60000)], stderr=subprocess.DEVNULL)
                while ctl.poll() is None:
                    if time.monotonic() >= end and vds.running():
                        vds.kill()
                if ctl.returncode == 0:
                    acknowledged.append(number)
                elif vds.running():
                    self.fail("a post has failed while the server runs")
        self.assertGreater(len(acknowledged), 25)


if __name__ == "__main__":
    unittest.main()
