"""The server under attack by hostile peers, and what its operator sees."""
import os
import ssl
import unittest

import hostile
from harness import SystemTest, write_recording
from hostile import memory_mb, run_assault
from test_security import SERVER_EXT, make_ca, make_certificate

# Known to fail on a fast, otherwise idle machine: see "hostile peers" in docs/reliability.md.
KNOWN = "by hand (OMA_ASSAULT=1): greeted peers still get a legitimate client closed after some seconds"
SECONDS = int(os.environ.get("OMA_SECONDS", "8"))
MOST_MB = 256  # sanitizer builds have another limit


class Assault(SystemTest):
    """Times are printed, not checked: the machine may be busy with other work."""

    def setUp(self):
        super().setUp()
        self.write_config()
        write_recording(self.dir / "rec.csv", 600)

    def serve(self):
        vds = self.vds("--replay", self.dir / "rec.csv", "--speed", "1", "--state", self.dir / "state")
        self.sanitized = memory_mb(vds) > 60
        return vds

    def check(self, vds, kinds, context=None, token=b"", ca=""):
        times, failed = run_assault(self, vds, kinds, 100, SECONDS, context, token, ca)
        self.assertEqual(failed, [], "a legitimate client is not served")
        self.assertGreater(len(times), 3)
        self.assertTrue(self.sanitized or memory_mb(vds) < MOST_MB, f"{memory_mb(vds)} MB")
        self.assertEqual(vds.stop(), 0)

    def test_strangers(self):
        self.check(self.serve(), hostile.STRANGERS)

    @unittest.skipUnless("OMA_ASSAULT" in os.environ, KNOWN)
    def test_clients(self):
        self.check(self.serve(), hostile.CLIENTS)

    @unittest.skipUnless("OMA_ASSAULT" in os.environ, KNOWN)
    def test_all_over_tls(self):
        make_ca(self.dir, "ca")
        make_certificate(self.dir, "ca", "server", "/CN=server", SERVER_EXT)
        (self.dir / "oma.token").write_text("right-0123456789abcdef\n")
        element = '<Security CAFile="ca.pem" CertificateFile="server.pem" KeyFile="server.key" TokenFile="oma.token"/>'
        text = self.config.read_text()
        self.config.write_text(text.replace(f'Data="{self.ports[1]}"/>', f'Data="{self.ports[1]}">{element}</VDS>'))
        context = ssl.create_default_context(cafile=self.dir / "ca.pem")
        context.check_hostname = False
        self.check(self.serve(), hostile.STRANGERS + hostile.CLIENTS, context, b"right-0123456789abcdef",
                   self.dir / "ca.pem")


if __name__ == "__main__":
    unittest.main()
