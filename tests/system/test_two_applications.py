"""Which application an event belongs to: two applications on one server, suspensions of one, and operator orders."""
import unittest

from harness import BIN, POWER_JOB, SwingTest, swing, wait_for, write_recording


def sibling(xml):
    """The same grid for another application: with its own elements and channels."""
    for old, new in (('Id="900"', 'Id="950"'), ('Id="901"', 'Id="951"'),
                     ('Name="LINE_POWER" Id="500"', 'Name="OTHER" Id="505"')):
        assert old in xml
        xml = xml.replace(old, new)
    for element in (601, 602, 603, 700, 800, 801, 802, 803):
        xml = xml.replace(f'Id="{element}"', f'Id="{element + 50}"').replace(f'RefId="{element}"', f'RefId="{element + 50}"')
    xml = xml.replace('OutputRefId="700"', 'OutputRefId="750"')
    for channel in [r for m in POWER_JOB["modes"]["list"] for r in m["outputs"]]:
        xml = xml.replace(f'"{channel}"', f'"{channel + 500}"')
    return xml


PASS = "Start Reading Config.File"


class TwoApplications(SwingTest):
    def setUp(self):
        super().setUp()
        self.write_config()
        write_recording(self.dir / "rec.csv", 4000, lambda t: swing(t, 1.1, 30e6))
        self.vds("--replay", self.dir / "rec.csv", "--speed", "20")
        self.other = self.dir / "other.xml"
        self.other.write_text(sibling(self.config.read_text()))

    def second(self):
        return self.start("other", [BIN / "oma", f"-xml:{self.other}", "-INFO"])

    def standing(self, key):
        rows = [line.split() for line in self.vdsctl("standing").stdout.splitlines()]
        return sorted(int(row[3]) for row in rows if int(row[1]) == key)

    def wait_passes(self, oma, mode, passes):
        """The pass with that number has found a swing, and no other has started."""
        oma.wait_text(PASS, passes)
        seen = len(self.swing_events())
        wait_for(lambda: [e for e in self.swing_events()[seen:] if (e["elementId"], e["transition"]) == (mode, "APP")],
                 f"swing of {mode} in pass {passes}\n" + oma.text()[-3000:])
        self.assertEqual(oma.count(PASS), passes)

    def test_suspension_of_one_is_nothing_to_the_other_and_ends_with_its_next_start(self):
        first = self.oma()
        self.wait_swing()
        good = self.other.read_text()
        # The second connection fails: the application does not know its own id yet.
        self.other.write_text(good.replace(f'PortApplicationData="{self.ports[1]}"', 'PortApplicationData="1"'))
        second = self.second()
        second.wait_text("-> Suspend Application.")
        self.wait_event(key=4201, elementId=0, transition="APP")
        second.stop()
        self.assertEqual(self.standing(4201), [0])
        self.other.write_text(good)
        second = self.second()
        self.wait_swing(mode=653)
        self.assertEqual(self.standing(4201), [], "repaired and restarted")
        self.assertFalse(first.has("This pass ends") or second.has("This pass ends"))
        # Neither start has ended a swing of the other application: each end has its start.
        standing = set()
        for e in self.swing_events():
            change = {(e["key"], e["elementId"])}
            self.assertEqual(change <= standing, e["transition"] == "DIS", e)
            standing ^= change

    def test_order_goes_to_whom_it_concerns_and_is_carried_out_once(self):
        first, second = self.oma(), self.second()
        self.wait_passes(first, 603, 1)
        self.wait_passes(second, 653, 1)
        self.vdsctl("post", 4201, "APP", 3, 950)
        second.wait_text(f'This pass ends by event 4201 APP of element type 3, element id 950, from "vdsctl"; to clear '
                         f'it: vdsctl 127.0.0.1:{self.ports[0]} post 4201 DIS 3 950!')
        self.wait_passes(second, 653, 2)
        self.assertEqual(first.count(PASS), 1)
        # An id that nobody has: everybody receives it once, though it is active.
        self.vdsctl("post", 4201, "APP", 3, 777)
        self.wait_passes(first, 603, 2)
        self.wait_passes(second, 653, 3)
        self.assertEqual(self.standing(4201), [777])
        self.vdsctl("post", 7, "APP", 3, 900)
        first.wait_text('This pass ends by event 7 APP of element type 3, element id 900, from "vdsctl"; nothing needs '
                        'to be cleared')
        self.wait_passes(first, 603, 3)
        self.assertEqual(second.count(PASS), 3)
        for oma in (first, second):
            self.assertEqual(oma.stop(), 0)
        self.assertNothingStands()


if __name__ == "__main__":
    unittest.main()
