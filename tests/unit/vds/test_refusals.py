#!/usr/bin/env python3
"""What vds refuses at its start: options, scenarios and recordings, each with one line that names the place.

The program is the argument.
"""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

XML = Path(__file__).resolve().parents[2] / "data" / "config" / "base.xml"
PROGRAM = None


def scenario(more="", head='"rate": 50'):
    """Two places on a line, three voltages and one current, and more members."""
    return ('{"start": "2024-03-05T10:00:00Z", "duration_s": 20, ' + head + """,
        "places": [{"name": "North", "voltage_V": 230940, "angle_deg": 20},
                   {"name": "South", "voltage_V": 220000, "angle_deg": -5}],
        "lines": [{"name": "Line", "from": "North", "to": "South", "reactance_Ohm": 60}],
        "pmus": [{"place": "North", "phases": {"L1": 11, "L2": 12, "L3": 13}},
                 {"place": "South", "phases": {"L1": 31}},
                 {"place": "North", "line": "Line", "phases": {"L1": 21}},
                 {"place": "South", "line": "Line", "phases": {"L3": 43}}]""" + (", " + more if more else "") + "}")


SWING = '"frequency_hz": 1, "start_s": 0, "amplitude_deg": 1, '
SCENARIOS = (
    ('', 'cannot be opened for reading, or it is empty'),
    ('{\n "start": ?}', 'line 2, column 11: expected valid JSON'),
    (scenario() + 'x', 'expected valid JSON to end here'),
    ('[]', 'expected an object'),
    (scenario()[:40], 'expected valid JSON'),
    (scenario('"swing": []'), 'swing: unknown member'),
    (scenario('', '"rate": 0'), 'rate: expected cycles per second'),
    (scenario('', '"rate": 12.5'), 'rate: expected a whole number from -3600 to 1000, found 1.25E1'),
    (scenario('', '"rate": "50"'), 'rate: expected a whole number'),
    (scenario('', '"seed": 1'), 'rate: missing'),
    (scenario('"noise": {"angle": 1}'), 'noise.angle: unknown member'),
    (scenario('"noise": {"angle_deg": -1}'), 'noise.angle_deg: expected a number, not below 0, not above 180'),
    ('{"start": "noon"}', 'start: expected a UTC time'),
    ('{"start": "2024-03-05T10:00:00.5Z"}', 'start: expected a UTC time on a whole second'),
    ('{"start": "2024-03-05T10:00:00Z", "rate": 50, "duration_s": 1}', 'pmus: expected a list'),
    (scenario('"swings": {}'), 'swings: expected a list'),
    (scenario('"swings": [{"name": "a"}]'), 'swings[0].frequency_hz: missing'),
    (scenario('"swings": [{' + SWING + '"damping": 2, "shape": {}}]'), 'swings[0].damping: expected a num'),
    (scenario('"swings": [{' + SWING + '"damping": 0.5, "shape": {}}]'), 'would grow to'),
    (scenario('"swings": [{' + SWING + '"damping": 0, "shape": {"West": 1}}]'), 'swings[0].shape.West: no such place'),
    (scenario('"swings": [{' + SWING + '"damping": 0, "shape": {"North": 2}}]'),
     'swings[0].shape.North: expected a number'),
    (scenario('"swings": [{' + SWING + '"damping": 0, "shape": {}, "damping_after_end": -0.1}]'),
     'swings[0].damping_after_end: expected only together with end_s'),
    (scenario('"drifts": [{"place": "West"}]'), 'drifts[0].place: expected the name of a place, found "West"'),
    (scenario('"invalid": [{"ids": [11, 99], "from_s": 0, "to_s": 1}]'),
     'invalid[0].ids[1]: expected the datapoint id of a PMU above, found 99'),
    (scenario('"invalid": [{"ids": [], "from_s": 0, "to_s": 1}]'), 'invalid[0].ids: expected at least one'),
    (scenario('"invalid": [{"ids": [11], "from_s": 0, "to_s": 1, "state": "-1"}]'), 'invalid[0].state: exp'),
    (scenario('"gaps": [{"from_s": 2, "to_s": 1}]'), 'gaps[0].to_s: expected a number, not below 2'),
    (scenario('"repeats": [{"at_s": 2, "count": 0}]'), 'repeats[0].count: expected a whole number'),
    (scenario('"jumps": [{"at_s": 2}]'), 'jumps[0].by_s: missing'),
    (scenario('"events": [{"at_s": 2, "key": 4003, "transition": "GO"}]'),
     'events[0].transition: expected "APP" or "DIS", found "GO"'),
)
GOOD = "time;1.magn;1.angle\n0.00;1;2\n"
RECORDINGS = (
    ('', 'no header line'),
    ('zeit;1.magn;1.angle\n', ':1: column 1: expected time, found "zeit"'),
    ('time\n', ':1: column 2: expected <datapoint>.magn, found the end of the header'),
    ('time;1.magn\n', ':1: column 3: expected 1.angle, found the end'),
    ('time;1.magn;2.angle\n', ':1: column 3: expected 1.angle, found "2.angle"'),
    ('time;1.magn;1.angle;2.state\n', ':1: column 4: expected <datapoint>.magn'),
    ('time;x.magn;x.angle\n', ':1: column 2: expected <datapoint>.magn'),
    ('time;0.magn;0.angle\n', ':1: column 2: expected <datapoint>.magn'),
    ('time;1.magn;1.angle;1.magn;1.angle\n', ':1: column 4: datapoint 1 occurs twice'),
    (GOOD, 'no rate can be found'),
    (GOOD + '0.00;1;2\n', 'no rate can be found'),
    (GOOD + '0.40;1;2\n', 'which is not a known rate'),
    (GOOD + '0.02;1\n', ':3: expected 3 fields as in the header, found 2'),
    (GOOD + '0.02;1;2;\n', ':3: expected 3 fields as in the header, found 4'),
    (GOOD + 'noon;1;2\n', ':3: column 1 (time): expected a UTC time'),
    (GOOD + '1e300;1;2\n', ':3: column 1 (time): expected a UTC time'),
    (GOOD + '0.02;1,5;2\n', ':3: column 2 (1.magn): expected a magnitude as a decimal number, found "1,5"'),
    (GOOD + '0.02;1;1e99\n', ':3: column 3 (1.angle): expected an angle'),
    ('time;1.magn;1.angle;1.state\n0;1;2;0xG\n', ':2: column 4 (1.state): expected a 64-bit state word'),
)
X = ("-xml:a",)
OPTIONS = (
    (("--replay", "r"), "option '-xml:FILE' is missing"),
    ((*X, "--once"), "options '--speed' and '--once': allowed only with '--simulate' or '--replay'; live streams have "
     "their own pace and no end"),
    ((*X, "--replay", "r", "--simulate", "s"), "options '--simulate' and '--replay': expected only one of them, once"),
    ((*X, "--replay"), "option '--replay': expected a value after it"),
    ((*X, "--replay", ""), "option '--replay': expected a value after it"),
    ((*X, "--replay="), "option '--replay': expected a value after it"),
    ((*X, "--once=1"), "option '--once': expected no value"),
    (("-xml:", "--replay", "r"), "option '-xml:FILE' is missing"),
    ((*X, "--sim", "s"), "option '--sim' is unknown"),
    ((*X, "fast"), "option 'fast' is unknown"),
    ((*X, "--fast"), "option '--fast' is unknown"),
    ((*X, "--speed", "0"), "option '--speed': expected a number from 0.001 to 1000000 or 'max', got '0'"),
    ((*X, "--speed", "2x"), "option '--speed': expected a number from 0.001 to 1000000 or 'max', got '2x'"),
    ((*X, "--replay", "r", "--start", "today"),
     "option '--start': expected a time such as 2026-03-05T10:00:00Z, got 'today'"),
    ((*X, "--simulate", "s", "--start", "2026-03-05T10:00:00Z"),
     "option '--start': allowed only with '--replay'; a scenario sets its own start"),
    ((*X, "--replay", "r", "--log-dir", "/no/such"),
     "option '--log-dir': '/no/such' is not a directory: expected an existing one"),
)


class Refused(unittest.TestCase):
    def fault(self, *arguments):
        run = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=60)
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertEqual(run.stderr.count("\n"), 1, run.stderr)
        return run.stderr.strip()

    def test_options(self):
        for arguments, said in OPTIONS:
            self.assertEqual(self.fault(*arguments), "vds: " + said)

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "input"
            for option, cases in (("--simulate", SCENARIOS), ("--replay", RECORDINGS)):
                for text, said in cases:
                    with self.subTest(text=text):
                        path.write_text(text)
                        fault = self.fault(f"-xml:{XML}", option, str(path))
                        self.assertIn(str(path), fault)
                        self.assertIn(said, fault)
        for path in ("/no/such/recording.csv", "/"):
            self.assertIn(path, self.fault(f"-xml:{XML}", "--replay", path))


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
