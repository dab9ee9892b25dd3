"""Loss and recovery of the link during a swing."""
import signal
import unittest
from pathlib import Path

from harness import SwingTest, wait_for


class LinkLoss(SwingTest):
    def threads(self, process):
        return len(list(Path(f"/proc/{process.proc.pid}/task").iterdir()))

    def restart_server(self, vds):
        vds.send(signal.SIGKILL)
        vds.wait()
        return self.vds("--replay", self.dir / "rec.csv", "--speed", "20")

    def test_server_killed_ten_times(self):
        vds, oma = self.begin()
        self.wait_swing()
        threads = 0
        for i in range(10):
            seen = len(self.swing_events())
            vds = self.restart_server(vds)
            wait_for(lambda: [e for e in self.swing_events()[seen:] if e["transition"] == "APP"], f"swing after loss {i}")
            self.assertTrue(oma.running())
            if i == 2:  # the library keeps the threads that the first losses required
                threads = self.threads(oma)
        self.assertLessEqual(self.threads(oma), threads + 2)
        self.assertGreaterEqual(oma.count("CVdsCbOMA::OnDisconnected():Connection to VDS server lost!"), 10)
        self.assertGreaterEqual(oma.count("RESOVLED - re-connected to VDS server"), 10)
        self.assertEqual(oma.stop(), 0)
        self.assertNothingStandsSince(vds)

    def assertNothingStandsSince(self, _):
        """Covers the last server only: an earlier one cannot report what it did not receive."""
        last = {}
        for e in self.swing_events():
            last[e["elementId"]] = e["transition"]
        self.assertNotIn("APP", last.values())

    def test_each_connection_cut_alone(self):
        _, oma = self.begin()
        self.wait_swing()
        for which in ("event", "data", "all") * 3:
            lost = oma.count("Connection to VDS server lost")
            self.vdsctl("drop", which)
            wait_for(lambda: oma.count("Connection to VDS server lost") > lost, f"loss of {which}")
            # Only from here on: an event active when the application ends without a link stays active at the server.
            seen = len(self.swing_events())
            wait_for(lambda: [e for e in self.swing_events()[seen:] if e["transition"] == "APP"],
                     f"swing after loss of {which}")
        self.assertEqual(oma.stop(), 0)
        self.assertNothingStands()

    def test_server_that_stays_away_does_not_hinder_a_stop(self):
        vds, oma = self.begin()
        self.wait_swing()
        vds.send(signal.SIGKILL)
        vds.wait()
        oma.wait_text("Connection to VDS server lost")
        self.assertEqual(oma.stop(), 0)

    def test_stalled_server_is_noticed_and_the_analysis_goes_on(self):
        _, oma = self.begin()
        self.wait_swing()
        seen = len(self.swing_events())
        self.vdsctl("stall", 8)
        wait_for(lambda: len(self.swing_events()) > seen, "events after the stall")
        self.assertTrue(oma.running())
        self.assertEqual(oma.stop(), 0)


if __name__ == "__main__":
    unittest.main()
