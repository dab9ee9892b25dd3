"""The viewer must accept logs that tell the truth, and must see each way in which they can be wrong."""
import contextlib
import io
import json
import math
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
import demo_view  # noqa: E402

SCENARIO = ROOT / "config/examples/demo.json"
CONFIG = ROOT / "config/examples/demo.xml"


def true_logs(truth):
    """Logs of an analysis without error: values and events of each second, straight from the scenario."""
    channels, events = [], []
    ticks = lambda t: truth.start_ticks + t * demo_view.TICKS_PER_S
    for job in truth.jobs:
        for mode in job.modes:
            standing = None
            writing = False
            for t in range(math.floor(truth.duration)):
                seen = None if truth.is_suspended(job, t, mode.window) else truth.swing_of(mode, t)
                if seen and seen[1] < 0.4 * job.limits.magn_warn:
                    seen = None
                key = values = None
                if seen:
                    damping = seen[0].damping_at(t)
                    values = [seen[0].frequency, seen[1], damping, job.limits.exposure(seen[1], damping)]
                    key = job.limits.EVENT_OF_LEVEL[job.limits.level(seen[1], damping)]
                if bool(seen) != writing:
                    writing = bool(seen)
                    channels.append({"op": "start" if writing else "stop", "pmu": mode.unit, "at": t})
                if seen:
                    channels.append({"op": "write", "pmu": mode.unit, "time": ticks(t), "values": values,
                                     "quality": 0, "at": t})
                for change, old in (("DIS", standing), ("APP", key)):
                    if key != standing and old is not None:
                        text = "#~" + "|".join(f"{v:.6f}" for v in values) if values else "#~01.00|0001.00|00.010|01.00"
                        events.append({"time": ticks(t), "key": old, "transition": change, "elementType": 3,
                                       "elementId": mode.ident, "text": text})
                standing = key
    channels.sort(key=lambda entry: entry["at"])
    events.sort(key=lambda entry: entry["time"])
    return channels, events


class DemoView(unittest.TestCase):
    def setUp(self):
        self.truth = demo_view.Truth(SCENARIO, CONFIG)
        self.channels, self.events = true_logs(self.truth)

    def run_viewer(self, *options):
        """(exit status, what was shown) of the viewer on the logs as they stand now."""
        with tempfile.TemporaryDirectory() as name:
            path = pathlib.Path(name)
            for file, entries in (("channels.jsonl", self.channels), ("events.jsonl", self.events)):
                (path / file).write_text("".join(json.dumps(entry) + "\n" for entry in entries))
            (path / "done").touch()
            sys.argv = ["demo_view.py", "--scenario", str(SCENARIO), "--config", str(CONFIG), "--log-dir", name,
                        "--done", str(path / "done"), *options]
            shown = io.StringIO()
            with contextlib.redirect_stdout(shown):
                status = demo_view.main()
        return status, shown.getvalue()

    def writes_of(self, ident):
        unit = self.truth.mode_of_id[ident].unit
        return [entry for entry in self.channels if entry["op"] == "write" and entry["pmu"] == unit]

    def assert_missed(self, *words):
        status, shown = self.run_viewer()
        self.assertEqual(status, 1, shown)
        missed = [line for line in shown.splitlines() if "MISSED" in line]
        self.assertTrue(any(all(word in line for word in words) for line in missed), shown)

    def test_truth_is_accepted_and_every_swing_is_judged_on_both_jobs(self):
        status, shown = self.run_viewer("--verbose")
        self.assertEqual(status, 0, shown)
        for swing in self.truth.swings:
            for job in self.truth.jobs:
                self.assertRegex(shown, rf"ok +{job.name} +{swing.name} +\d+ of \d+ passes")
        self.assertIn('"Undamped Critical Power Swing" stood', shown)
        self.assertRegex(shown, "silent during the split, its events ended, back afterwards")

    def test_summary_has_a_line_for_each_swing_and_split_in_their_order(self):
        status, shown = self.run_viewer()
        self.assertEqual(status, 0, shown)
        lines = [line for line in shown.splitlines() if " | " in line][1:]
        self.assertLess(len(shown.splitlines()), 24)
        names = [s.name for s in self.truth.swings] + ["network split"]
        starts = [s.start for s in self.truth.swings] + [self.truth.splits[0][0]]
        self.assertEqual(len(lines), len(names))
        for line, (_, name) in zip(lines, sorted(zip(starts, names))):
            self.assertIn(name, line)
        self.assertRegex(lines[1], r"growing +0\.400 Hz .*\| .*0\.400 Hz .* \+0\.020 +Undamped Critical Power Swing")

    def test_magnitude_of_the_power_follows_the_network(self):
        # 3 U^2 / X * cos(12 deg) * 0.8 * 1 deg, for a swing that is small against the angle between the places
        job, swing = self.truth.jobs[0], self.truth.swings[0]
        small = 3 * 230940 ** 2 / 60 * math.cos(math.radians(12)) * 0.8 * math.radians(1.6)
        self.assertAlmostEqual(self.truth.magnitude(job, swing, swing.start) / small, 1, delta=1e-3)

    def test_wrong_values_are_seen(self):
        for place, factor in ((0, 1.1), (1, 1.5), (2, 4.0)):
            with self.subTest(place=place):
                self.setUp()
                for entry in self.writes_of(612):
                    entry["values"][place] *= factor
                self.assert_missed("NORTH_POWER", "growing", "passes:")

    def test_silence_is_seen(self):
        gone = self.writes_of(623)
        self.channels = [entry for entry in self.channels if entry not in gone]
        self.assert_missed("NORTH_SOUTH", "decaying", "reported in 0 of")

    def test_missing_event_is_seen(self):
        self.events = [entry for entry in self.events if not (entry["key"] == 4203 and entry["elementId"] == 622)]
        self.assert_missed("NORTH_SOUTH", "Undamped Critical", "stood in 0 of")

    def test_event_without_its_end_is_seen(self):
        last = max(i for i, entry in enumerate(self.events)
                   if entry["elementId"] == 612 and entry["transition"] == "DIS")
        del self.events[last - 1 if self.events[last - 1]["elementId"] == 612 else last]
        self.events = [entry for entry in self.events if entry["elementId"] != 612 or entry["transition"] == "APP"]
        self.assert_missed("NORTH_POWER", "events", "do not fit")

    def test_output_during_the_split_is_seen(self):
        mode = self.truth.mode_of_id[621]
        self.channels.append({"op": "write", "pmu": mode.unit, "time": self.truth.start_ticks + 4050000000,
                              "values": [0.11, 1.0, -0.01, 10.0], "quality": 0})
        self.assert_missed("NORTH_SOUTH", "network split", "NOT silent")

    def test_lines_in_the_making_wait_for_their_end(self):
        with tempfile.TemporaryDirectory() as name:
            path = pathlib.Path(name) / "log"
            tail = demo_view.Tail(path)
            self.assertEqual(tail.read(), [])
            path.write_text('{"a": 1}\n{"a"')
            self.assertEqual(tail.read(), [{"a": 1}])
            with path.open("a") as file:
                file.write(': 2}\n')
            self.assertEqual(tail.read(), [{"a": 2}])
            tail.close()

    def test_filled_numbers(self):
        for text, value in (("00.36", 0.36), ("00000001500", 1500), ("-0.015", -0.015), ("00-1.5", -1.5)):
            self.assertEqual(demo_view.filled_number(text), value)


if __name__ == "__main__":
    unittest.main()
