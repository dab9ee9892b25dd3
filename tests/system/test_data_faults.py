"""Data faults: each produces its message, and the analysis continues."""
import unittest

import data_faults
from harness import START_TICKS, TICKS_S, SwingTest, free_ports, grid_ticks, iso, swing, wait_for, write_recording


class DataFaults(SwingTest):
    def play(self, seconds, edit=None, speed="max", **config):
        self.write_config(**config)
        write_recording(self.dir / "rec.csv", seconds, lambda t: swing(t, 1.1, 30e6), edit=edit)
        vds = self.vds("--replay", self.dir / "rec.csv", "--speed", speed, "--once", wait=False)
        wait_for(self.listening, "vds")
        oma = self.oma()
        self.assertEqual(vds.wait(), 0, vds.text())
        self.assertTrue(oma.running())
        self.assertEqual(oma.stop(), 0)
        return oma

    def swings(self, begin_s, end_s):
        return [e for e in self.swing_events() if begin_s <= (e["time"] - START_TICKS) / TICKS_S < end_s]

    def assertSwingReturns(self, after_s):
        self.assertTrue([e for e in self.swings(after_s, 1e9) if e["transition"] == "APP"], "no swing after the fault")

    def test_missing_cycles_reset_the_analysis(self):
        oma = self.play(60, lambda i, row: None if 1000 <= i < 1005 else row)
        # The distance is measured from the stored stamp, which is one cycle before the expected one.
        self.assertRegex(oma.text(), r"Actual input TS \( .* \) too early by -6 cycles \(VDS cycle rate: 50 Hz \)")
        self.assertTrue(oma.has("RESET Meas.Deque"))
        self.assertSwingReturns(20)

    def test_stamp_that_jumps_back(self):
        oma = self.play(60, lambda i, row: [iso(grid_ticks(i - 500, 50)), *row[1:]] if i == 1500 else row)
        self.assertIn("too early by", oma.text())
        self.assertIn("delayed by", oma.text())
        self.assertSwingReturns(30)

    def test_repeated_stamp(self):
        oma = self.play(60, lambda i, row: [row, row] if i == 1500 else row)
        self.assertTrue(oma.has("too early by") or oma.has("delayed by"))
        self.assertSwingReturns(30)

    def test_stamp_off_the_grid_is_refused(self):
        oma = self.play(60, lambda i, row: [iso(grid_ticks(i, 50) + 12345), *row[1:]] if i == 1500 else row)
        self.assertTrue(oma.has("Invalid successive time stamp value"))
        self.assertSwingReturns(30)

    def test_lost_samples_invalidate_and_recovery_is_told(self):
        oma = self.play(60, lambda i, row: [row[0], "", "", *row[3:]] if 1500 <= i < 1600 else row)
        self.assertTrue(oma.has("APP - INVALID PMU input data (wait for DIS warning...)"))
        self.assertTrue(oma.has("DIS - PMU input data again all VALID now"))
        self.assertSwingReturns(32)

    def test_values_that_are_no_numbers(self):
        odd = {1400: "nan", 1500: "inf", 1600: "-inf", 1700: "1e38", 1800: "-1e30"}
        oma = self.play(70, lambda i, row: [row[0], odd[i], *row[2:]] if i in odd else row)
        self.assertTrue(oma.has("No physical value for total power [W]: "))
        self.assertSwingReturns(0)

    def test_three_input_modes_with_pmus_of_different_rates(self):
        for mode, rates, rate in ((0, {101: 50, 102: 25}, 50), (1, {101: 50, 102: 25}, 25), (2, {101: 50, 102: 20}, 10)):
            with self.subTest(mode=mode):
                for log in ("events.jsonl", "channels.jsonl"):
                    (self.dir / log).unlink(missing_ok=True)
                self.ports = free_ports()
                slow = 50 // min(rates.values()) if mode != 2 else 1
                oma = self.play(70, lambda i, row: [*row[:3], "", "", *row[5:]] if i % slow else row, input_mode=mode,
                                rates=rates)
                cycle_ms = int(1000 / rate)
                self.assertIn(f"Actual VDS cycle time: {cycle_ms}", oma.text())
                # A pass checks the quality of its own cycle, and both PMUs have a sample at each full second.
                self.assertSwingReturns(0)

    def test_zone_texts_of_every_kind_do_no_harm(self):
        _, oma = self.begin()
        self.wait_swing()
        texts = ["", "#ZONE_DATA#~", "#ZONE_DATA#~ZONE=", "#ZONE_DATA#~ZONE=2 x ID=7 END", "#ZONE_DATA#~ZONE=1",
                 "#ZONE_DATA#~ZONE=1 x ID=99999999999999999999 END", "#ZONE_DATA#~ZONE=1 x ID=1011",
                 "#ZONE_DATA#~ZONE=-2147483649 x ID=1 END", "#ZONE_DATA#~" + "ZONE=1 x ID=1 " * 2000, "\u00fc\u20ac" * 300]
        for key in (4003, 4004, 4005, 4006):
            for text in texts:
                self.vdsctl("post", key, "APP", 2, 1, text)
        oma.wait_text("Invalid zone index: 2[target: 1]")
        self.vdsctl("post", 4001, "APP", 9, 1, "unknown element")
        self.vdsctl("post", 12345, "APP", 3, 901, "unknown key")
        oma.wait_text("Unknown APP event")
        self.wait_event(key=12345, transition="DIS")
        self.assertEqual(oma.stop(), 0)

    def test_random_faults(self):
        data_faults.play(self, 2, 1, faulty_s=40)


if __name__ == "__main__":
    unittest.main()
