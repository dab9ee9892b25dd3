#!/usr/bin/env python3
"""Cycles of recordings, captures and of the simulator, against what the file says they are. source_lines is the argument."""
import cmath
import math
import struct
import subprocess
import sys
import tempfile
import unittest
from datetime import datetime, timezone
from pathlib import Path
from typing import NamedTuple

sys.path[:0] = [str(Path(__file__).resolve().parents[n] / name) for n, name in ((1, "vds"), (2, "system"))]
import synchrophasors as sp
from test_refusals import scenario

PROGRAM = None
TEN = 638_452_296_000_000_000  # 2024-03-05T10:00:00Z
START = "2024-03-05T10:00:00"


class Cycle(NamedTuple):
    stamp: int     # ticks
    samples: list  # (magnitude or None, angle, state)
    events: list


def ticks(iso):
    seconds = datetime.fromisoformat(iso[:19]).replace(tzinfo=timezone.utc).timestamp()
    return (int(seconds) + 62_135_596_800) * 10**7 + int(iso[20:27])


def parsed(lines):
    """Cycles up to the end, its line, and the lines after it."""
    cycles = []
    for n, line in enumerate(lines):
        kind, *fields = line.split(" ")
        if kind == "end":
            return cycles, line, lines[n + 1:]
        samples = [f.split(",") for f in fields[1:] if not f.startswith("event")]
        cycles.append(Cycle(ticks(fields[0]),
                            [(None if m == "-" else float(m), None if m == "-" else float(a), int(s, 16))
                             for m, a, s in samples], [f for f in fields[1:] if f.startswith("event")]))


class Sources(unittest.TestCase):
    def play(self, mode, text, *arguments):
        """The head, the cycles and the line at the end; after a rewind all is the same."""
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "input"
            path.write_bytes(text if isinstance(text, bytes) else text.encode())
            run = subprocess.run([PROGRAM, mode, path, *map(str, arguments)], capture_output=True, text=True, timeout=60)
        self.assertEqual(run.returncode, 0, run.stderr)
        head, *lines = run.stdout.splitlines()
        cycles, end, rest = parsed(lines)
        self.assertEqual(rest, lines[:len(cycles) + 1], "after a rewind")
        return head, cycles, end

    def simulate(self, *arguments):
        return self.play("simulate", scenario(*arguments))[1]

    def replay(self, stamps, start=TEN):
        text = "time;1.magn;1.angle\n" + "".join(f"{s};1;2\n" for s in stamps)
        head, cycles, end = self.play("replay", text, start)
        self.assertEqual(end, "end 0 ")
        return head, [c.stamp for c in cycles]

    # ---- recordings ----

    def test_each_field_reaches_its_datapoint(self):
        head, cycles, end = self.play("replay", (
            "\ufefftime;1011.magn;1011.angle;1011.state; 1021.magn;1021.angle\r\n"
            f"{START}.0000000Z;230940.5;-19.989990234375;0x2000;1e3;180\r\n\r\n"
            f"{START}.0200000Z;;1;;nan;-inf\r\n"
            f"{START}.0400000Z;5;;8192;1e-320;-1e-45"), 0)
        self.assertEqual((head, end), ("rate 50 1011 1021", "end 0 "))
        self.assertEqual([c.stamp - TEN for c in cycles], [0, 200_000, 400_000])
        first, second, third = (c.samples for c in cycles)
        self.assertEqual(first, [(230940.5, -19.9899902, 0x2000), (1000, 180, 0)])
        self.assertEqual((second[0], math.isnan(second[1][0]), second[1][1]), ((None, None, 0), True, -math.inf))
        self.assertEqual((third[0], third[1][0]), ((None, None, 8192), 0), "too small for single precision")

    def test_seconds_fall_exactly_on_the_grid_of_each_rate(self):
        for rate in (10, 12, 15, 20, 25, 30, 50, 60):
            for decimals in (3, 6):
                count = range(2 * rate + 1)
                head, stamps = self.replay([f"{i / rate:.{decimals}f}" for i in count])
                self.assertEqual(head, f"rate {rate} 1")
                self.assertEqual([s - TEN for s in stamps],
                                 [i // rate * 10**7 + int(i % rate / rate * 1e7 + 0.5) for i in count], (rate, decimals))

    def test_stamps_off_the_grid_stay_as_they_are(self):
        """More than half a millisecond off the grid; seven digits a tick off it; a jump back; a repeat."""
        head, stamps = self.replay([f"{START}Z", f"{START}.0200001Z", f"{START}.0406Z", f"{START}.0604Z",
                                    "2024-03-05T09:00:00Z", "2024-03-05T09:00:00Z", "2024-03-05T09:00:00.02Z"])
        self.assertEqual(head, "rate 50 1")
        self.assertEqual([s - TEN for s in stamps],
                         [0, 200_001, 406_000, 600_000, -36_000_000_000, -36_000_000_000, -35_999_800_000])

    def test_a_bad_line_far_on_ends_the_source_with_its_place(self):
        text = "time;1.magn;1.angle\n" + "".join(f"{0.02 * i:.2f};{'one' if i == 900 else 1};2\n" for i in range(1000))
        _, cycles, end = self.play("replay", text, TEN)
        self.assertEqual(len(cycles), 900)
        self.assertTrue(end.startswith("end 0 "), "stays at its end, instead of going on after the bad line")
        self.assertIn(":902: column 2 (1.magn): expected a magnitude", end)

    # ---- captures ----

    def test_each_link_type_in_both_byte_orders(self):
        """A configuration over IPv4, a frame over IPv6 after a hop-by-hop header; a fragment and pieces between."""
        device = sp.Device(60, 61, {"VA": (0, 915527, lambda t: 230e3)})

        def udp(data):
            return struct.pack(">HHHH", 4000, 4713, 8 + len(data), 0) + data

        def v4(body, fragment=0):
            return struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(body), 0, fragment, 64, 17, 0) + bytes(8) + body

        def v6(body):
            return struct.pack(">IHBB", 6 << 28, 8 + len(body), 0, 64) + bytes(32) + b"\x11" + bytes(7) + body
        ether = b"\1" * 12
        for link, first, second in ((1, ether + b"\x08\0", ether + b"\x81\0\0\5\x86\xdd"),
                                    (113, b"\1" * 14 + b"\x08\0", b"\1" * 14 + b"\x86\xdd"),
                                    (276, b"\1" * 20, b"\1" * 20), (0, b"\0\0\0\2", b"\0\0\0\x1e"), (101, b"", b"")):
            packets = [first + v4(udp(device.config(1_700_000_000))), first + v4(udp(b"fragment"), 0x2000),
                       first + b"\x45", b"", second + v6(udp(device.data(1_700_000_000 * 50)))]
            for order in "<>":
                capture = struct.pack(order + "IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, link)
                for i, packet in enumerate(packets):
                    capture += struct.pack(order + "IIII", 1_700_000_000, 20000 * i, len(packet), len(packet)) + packet
                _, cycles, end = self.play("capture", capture)
                self.assertEqual((len(cycles), end), (1, "end 0 "), (link, order))
                self.assertAlmostEqual(cycles[0].samples[0][0], 230e3, delta=10)

    # ---- simulator ----

    def test_steady_state_is_that_of_the_network_equations(self):
        cycles = self.simulate()
        self.assertEqual(len(cycles), 1000)
        self.assertEqual([cycles[0].stamp, cycles[51].stamp], [TEN, TEN + 10_200_000])
        samples = cycles[500].samples
        self.assertEqual([samples[1][1], samples[2][1]], [-100, 140], "20 - 240, folded")
        phasor = lambda sample, turn=0: cmath.rect(sample[0], math.radians(sample[1] + turn))
        # Power into the line: U1 U2 sin(d) / X, the same at its other end with the other sign.
        power = 230940 * 220000 * math.sin(math.radians(25)) / 60
        self.assertAlmostEqual((phasor(samples[0]) * phasor(samples[4]).conjugate()).real / power, 1, delta=1e-5)
        self.assertAlmostEqual((phasor(samples[3]) * phasor(samples[5], 240).conjugate()).real / power, -1, delta=1e-5)

    def test_swing_has_its_frequency_damping_and_shape(self):
        rate = math.pi * 0.05 / math.sqrt(1 - 0.05 ** 2)
        cycles = self.simulate(""""swings": [{"frequency_hz": 0.5, "damping": 0.05, "start_s": 2, "end_s": 10,
            "damping_after_end": -0.05, "amplitude_deg": 3, "shape": {"North": 1, "South": -0.5}},
            {"frequency_hz": 1.5, "damping": 0, "start_s": 12, "end_s": 14, "amplitude_deg": 2, "phase_deg": 90,
             "shape": {"South": 1}}]""")
        for i, cycle in enumerate(cycles):
            t = i / 50
            swing = 0 if t < 2 else (3 * math.sin(math.pi * (t - 2)) *
                                     math.exp(rate * (t - 2 if t < 10 else 8 - (t - 10))))
            second = 2 * math.cos(3 * math.pi * (t - 12)) if 12 <= t < 14 else 0
            self.assertAlmostEqual(cycle.samples[0][1], 20 + swing, delta=1e-4, msg=t)
            self.assertAlmostEqual(cycle.samples[3][1], -5 - 0.5 * swing + second, delta=1e-4, msg=t)

    def test_noise_has_its_size_and_repeats_with_the_seed(self):
        noise = '"noise": {"magnitude_percent": 0.1, "angle_deg": 0.05}'
        first, again, other = (self.simulate(noise, head) for head in
                               ('"rate": 50', '"rate": 50', '"rate": 50, "seed": 2'))
        self.assertEqual(first, again)
        self.assertNotEqual(first[10].samples[0][1], other[10].samples[0][1])
        angles = [c.samples[0][1] - 20 for c in first]
        size = lambda values: math.sqrt(sum(v * v for v in values) / len(values))
        self.assertAlmostEqual(sum(angles) / len(angles), 0, delta=0.05 * 4 / math.sqrt(len(angles)))
        self.assertAlmostEqual(size(angles), 0.05, delta=0.005)
        self.assertAlmostEqual(size([c.samples[0][0] / 230940 - 1 for c in first]), 0.001, delta=1e-4)

    def test_faults_come_where_the_scenario_puts_them(self):
        cycles = self.simulate("""
            "invalid": [{"ids": [31], "from_s": 1, "to_s": 1.1},
                        {"ids": [31], "from_s": 1, "to_s": 1.02, "state": "0x10"}],
            "gaps": [{"from_s": 2, "to_s": 2.1}, {"ids": [11, 12], "from_s": 3, "to_s": 3.02}],
            "repeats": [{"at_s": 4, "count": 2}],
            "jumps": [{"at_s": 5, "by_s": 0.003, "cycles": 1}, {"at_s": 6, "by_s": -2.5}],
            "events": [{"at_s": 8, "key": 4003, "transition": "DIS", "element_type": 2, "element_id": 1},
                       {"at_s": 2.02, "key": 4003, "transition": "APP", "element_type": 2, "element_id": 1, "text": "x"}]""")
        self.assertEqual(len(cycles), 1000 - 5 + 2)
        for n, stamp in ((49, 0.98), (50, 1), (54, 1.08), (55, 1.1), (99, 1.98), (100, 2.1), (145, 3), (146, 3.02),
                         (195, 4), (196, 4), (197, 4), (198, 4.02), (247, 5.003), (248, 5.02), (296, 5.98), (297, 3.5),
                         (397, 5.5), (996, 17.48)):
            self.assertEqual(cycles[n].stamp, TEN + round(stamp * 1e7), n)
        self.assertEqual([cycles[n].samples[3][2] for n in (49, 50, 54, 55)], [0, 0x2010, 0x2000, 0])
        self.assertEqual([[s[0] is None for s in cycles[n].samples[1:3]] for n in (145, 146)],
                         [[True, False], [False, False]])
        # The first cycle after the gap brings what fell into it.
        self.assertEqual({n: c.events for n, c in enumerate(cycles) if c.events},
                         {100: ["event,4003,1,2,1,x"], 397: ["event,4003,0,2,1,"]})

    def test_drift_and_offset_turn_the_angles(self):
        cycles = self.simulate('"frequency_offset_hz": 0.1, '
                               '"drifts": [{"place": "South", "from_s": 5, "to_s": 6, "frequency_hz": 0.5}]')
        for n, place, angle in ((500, 0, 20), (275, 3, -5 + 198 + 90 - 360), (300, 3, -5 + 216 - 360)):
            self.assertAlmostEqual(cycles[n].samples[place][1], angle, delta=1e-4)


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
