"""Bad input to the three programs: one clear line, a meaningful exit status, nothing half-written."""
import socket
import subprocess
import unittest

from harness import BIN, LIMIT_S, SystemTest, wait_for, write_recording


class BadInput(SystemTest):
    def refused(self, args, *parts):
        r = subprocess.run([str(a) for a in args], text=True, capture_output=True, timeout=LIMIT_S, cwd=self.dir)
        out = r.stdout + r.stderr
        self.assertGreater(r.returncode, 0, f"{args}: status {r.returncode}\n{out}")
        self.assertLess(r.returncode, 128, out)
        for part in parts:
            self.assertIn(str(part), out, args)
        if not out.startswith("usage:"):
            self.assertLessEqual(len(out.strip().splitlines()), 3, f"more than the clear line:\n{out}")
        for log in ("events.jsonl", "channels.jsonl"):
            self.assertFalse((self.dir / log).exists() and (self.dir / log).stat().st_size, "half-written log")

    def test_vds(self):
        self.write_config()
        rec = self.dir / "rec.csv"
        write_recording(rec, 2)
        vds, xml = BIN / "vds", f"-xml:{self.config}"
        replay = ["--replay", rec, "--log-dir", self.dir]
        self.refused([vds], "-xml:")
        self.refused([vds, xml], "--simulate", "--replay")
        self.refused([vds, f"-xml:{self.dir}/none.xml", *replay], "none.xml")
        self.refused([vds, xml, *replay, "--sped", "3"], "--sped")
        self.refused([vds, xml, *replay, "--speed", "fast"], "--speed", "fast")
        self.refused([vds, xml, *replay, "--speed", "-1"], "--speed")
        self.refused([vds, xml, *replay, "--speed"], "--speed")
        self.refused([vds, xml, "--replay", self.dir / "none.csv", "--log-dir", self.dir], "none.csv")
        self.refused([vds, xml, *replay, "--log-dir", self.dir / "none" / "deeper"], "--log-dir")
        self.refused([vds, xml, *replay, "--listen", "not.an.address.at.all"], "not.an.address.at.all")
        broken = self.dir / "broken.xml"
        broken.write_text(self.config.read_text().replace("<OMAs", "<OMAz"))
        self.refused([vds, f"-xml:{broken}", *replay], "broken.xml")
        for name, text, part in (("empty", "", "header"), ("binary", "\x00\x01\x7f\n" * 50, "time"),
                                 ("column", "time;1011.size\n", "1011.size"),
                                 ("header", "stamp;1011.magn;1011.angle\n", "stamp"),
                                 ("number", "time;1011.magn;1011.angle\n2024-03-05T10:00:00Z;x;1\n", "number.csv:2"),
                                 ("stamp", "time;1011.magn;1011.angle\n2024-13-05T10:00:00Z;1;1\n", "stamp.csv:2"),
                                 ("field", "time;1011.magn;1011.angle\n2024-03-05T10:00:00Z;1;1;1\n", "field.csv:2")):
            bad = self.dir / f"{name}.csv"
            bad.write_text(text)
            self.refused([vds, xml, "--replay", bad, "--log-dir", self.dir], f"{name}.csv", part)
        for name, text in (("empty", ""), ("list", "[]"), ("cut", '{"rate": 50, "places": ['),
                           ("rate", '{"rate": 0}'), ("type", '{"rate": "fifty"}'), ("deep", "[" * 100000)):
            bad = self.dir / f"{name}.json"
            bad.write_text(text)
            self.refused([vds, xml, "--simulate", bad, "--log-dir", self.dir], f"{name}.json")
        taken = socket.socket()
        taken.bind(("127.0.0.1", self.ports[1]))
        taken.listen()
        self.refused([vds, xml, *replay], self.ports[1])
        taken.close()

    def test_vdsctl(self):
        ctl, addr = BIN / "vdsctl", f"127.0.0.1:{self.ports[0]}"
        self.refused([ctl])
        self.refused([ctl, addr], "usage: vdsctl")
        self.refused([ctl, addr, "pots"], "pots")
        self.refused([ctl, addr, "standing"], addr)
        self.refused([ctl, "127.0.0.1:99999", "standing"], "99999")
        self.write_config()
        write_recording(self.dir / "rec.csv", 2)
        vds = self.start("vds", [BIN / "vds", f"-xml:{self.config}", "--replay", self.dir / "rec.csv"])
        wait_for(self.listening, "vds")
        self.refused([ctl, addr, "post", "x", "APP", 3, 1], "x")
        self.refused([ctl, addr, "post", 7, "MAYBE", 3, 1], "MAYBE")
        self.refused([ctl, addr, "post", 7, "APP", 3], "post")
        self.refused([ctl, addr, "drop", "some"], "some")
        self.refused([ctl, addr, "stall", "-3"], "-3")
        self.assertTrue(vds.running())

    def test_oma_names_file_line_and_what_was_expected(self):
        cases = [("<Configuration/>", r"grid\.xml:\d+"), ("no xml at all", r"grid\.xml:1"), ("", r"grid\.xml"),
                 (None, r'grid\.xml:\d+.*IsActive.*perhaps')]
        for text, pattern in cases:
            self.write_config()
            good = self.config.read_text()
            self.config.write_text(good.replace('IsActive="true"', 'IsActive="perhaps"') if text is None else text)
            oma = self.oma()
            oma.wait_text("CreateBaseOMA(): Cannot read KESTREL config.file! -> Suspend Application.")
            self.assertRegex(oma.text(), pattern)
            self.assertEqual(oma.stop(), 0)

    def test_oma_options(self):
        self.write_config()
        missing = self.start("oma", [BIN / "oma", f"-xml:{self.dir}/none.xml"])
        missing.wait_text("CShellOMA::ExtractCmdLinePars(): Specified KESTREL config.file does not exist!"
                          " -> Suspend Application.")
        self.assertEqual(missing.stop(), 0)
        meas = self.oma("-measfile:none.csv")
        meas.wait_text("CShellOMA::ExtractCmdLineParsOMA(): Specified meas.data CSV file does not exist!"
                       " -> Suspend Application.")
        self.assertEqual(meas.stop(), 0)
        odd = self.oma("-peak:", "-peak:,,,", "-voltage:", "-nmaxhs:99999999999999999999", "-spec", "-csv:-1", "-id:",
                       "-tdata:", "-tinfo:x", "-\u00fc", "", "-TFILE:/nowhere/at/all.log")
        odd.wait_text("No VDS server socket handle available")
        self.assertEqual(odd.stop(), 0)


if __name__ == "__main__":
    unittest.main()
