#!/usr/bin/env python3
"""Frames of C37.118 through the codec of the server: what it reads, and that it writes the same bytes.

Frames are made here, from the clauses of the standard, or given as bytes that other programs decode. frame_lines, the
program given as the argument, is the codec.
"""
import cmath
import itertools
import math
import struct
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "system"))
import synchrophasors as sp

PROGRAM = None
EPOCH_S = 62135596800
DATA, HEADER, CFG2, COMMAND, CFG3 = 0, 1, 3, 4, 5
CFG3_SAMPLE = bytes.fromhex(
    "aa5200a9003c6553f1000007a1200000000f4240000105425241564f003e000102030405060708090a0b0c0d0e0f000f0001"
    "00010001045631504d024d570242300242310242320242330242340242350242360242370242380242390342313003423131"
    "03423132034231330342313403423135008001003f800000000000003f000000c12000000000ffff426d51ec41908f5c7f80"
    "00004d000186a00000c3500001000400326634")
DATA_SAMPLE = bytes.fromhex("aa010034003c6553f1000607a1200000392b0000fdde03b2ffe7000cff9c3c12244148619600bf490fdb4247e666"
                            "3df5c28fb7a6")
NAN = math.nan


def ask(*lines):
    """The fields of each answer, without the empty one at the end."""
    text = "".join(word + " " + " ".join(a.hex() or "-" if isinstance(a, bytes) else str(a) for a in arguments) + "\n"
                   for word, *arguments in lines)
    answers = subprocess.run([PROGRAM], input=text, capture_output=True, encoding="latin-1", timeout=120)
    if answers.returncode:
        raise AssertionError(f"ended with {answers.returncode}: {answers.stderr}")
    return [line.split("|")[:-1] for line in answers.stdout.split("\n")[:-1]]


def sealed(data):
    """A frame with its size and check word as they have to be."""
    data = data[:2] + struct.pack(">H", len(data)) + data[4:-2]
    return data + struct.pack(">H", sp.crc(data))


def name(text, third):
    return bytes([len(text)]) + text.encode() if third else text.encode().ljust(16)


def config(code, third=False, nominal50=1, base=1_000_000, scale=0.5, angle=0.0, analog=(1, -7), rate=50):
    """Two phasors, an analog and a digital word of PMU 61 in this coding, and a PMU 62 of floats with one phasor."""
    body = (b"\0\0" if third else b"") + struct.pack(">IH", base, 2)
    for pmu, kind, count in ((61, code, 2), (62, 15, 1)):
        more = 1 if pmu == 61 else 0
        body += name(f"STATION {pmu}", third) + struct.pack(">H", pmu) + (bytes(range(16)) if third else b"")
        body += struct.pack(">HHHH", kind, count, more, more)
        names = ["VA", "IA"][:count] + (["AN"] + [f"BIT{i}" for i in range(16)]) * more
        body += b"".join(name(n, third) for n in names)
        for current in range(count):
            unit = round(scale * 1e5) if pmu == 61 else 1
            body += (struct.pack(">HBBff", 0x80, current << 3 | 1, 5, 1.0 if kind & 2 else scale, angle) if third else
                     struct.pack(">I", current << 24 | unit))
        if more:
            body += struct.pack(">ff", 0.5, -10.0) if third else struct.pack(">i", analog[0] << 24 | analog[1] & 0xFFFFFF)
            body += struct.pack(">HH", 3, 0xFFF0)
        if third:
            body += struct.pack(">fffcii", 59.25, 18.5, math.inf, b"P", 100000, 50000)
        body += struct.pack(">HH", nominal50, 7)
    return sp.frame(CFG3 if third else CFG2, 60, 1_700_000_000 * base + base // 2, body + struct.pack(">h", rate), base)


def phasor(code, value, scale):
    """value None: absent."""
    if code & 2:
        a, b = (NAN, NAN) if value is None else cmath.polar(value) if code & 1 else (value.real, value.imag)
        return struct.pack(">ff", a, b)
    if value is None:
        return b"\x80\0\x80\0"
    if code & 1:
        return struct.pack(">Hh", round(abs(value) / scale), round(cmath.phase(value) * 1e4))
    return struct.pack(">hh", round(value.real / scale), round(value.imag / scale))


def data(code, values, scale=0.5, freq=0.012, rocof=None, analog=-7, nominal=60.0):
    body = struct.pack(">H", 0) + b"".join(phasor(code, v, scale) for v in values)
    body += (struct.pack(">ff", nominal + freq, NAN if rocof is None else rocof) if code & 8 else
             struct.pack(">hh", round(freq * 1000), -32768 if rocof is None else round(rocof * 100)))
    body += (struct.pack(">f", analog) if code & 4 else struct.pack(">h", analog)) + struct.pack(">H", 0x8001)
    body += struct.pack(">H", 0x8000) + phasor(15, None, 1) + struct.pack(">ff", NAN, NAN)
    return sp.frame(DATA, 60, 1_700_000_000_500_000, body, quality=6)


class Frames(unittest.TestCase):
    def near(self, got, want, tolerance=1e-6, hint=None):
        for g, w in zip(map(float, got), want, strict=True):
            if math.isnan(w):
                self.assertTrue(math.isnan(g), hint)
            else:
                self.assertAlmostEqual(g, w, delta=tolerance * max(1, abs(w)), msg=hint)

    def test_each_coding_of_both_configurations(self):
        value = cmath.rect(9e3, -2.0)
        for code, third, angle in itertools.product(range(16), (False, True), (0.0, math.pi / 6)):
            if angle and not third:
                continue
            hint = (code, third, angle)
            layout, frame = config(code, third, nominal50=0, angle=angle), data(code, [value, None])
            settings, values = ask(("config", layout), ("data", frame))
            flags = [str(code >> bit & 1) for bit in (3, 2, 1, 0)]
            self.assertEqual(settings[:12], ["60", "1", "1000000", "50", "STATION 61", "61", *flags, "0", "7"], hint)
            unit = "50000" if not third or not code & 2 else "100000"
            kind = ["128", "1", "5"] if third else ["0", "0", "0"]
            self.assertEqual(settings[12:24], ["VA", "0", unit, *kind, "IA", "1", unit, *kind], hint)
            analog = ["AN", "0", "1", "0.5", "-10"] if third else ["AN", "1", "-7", "1", "0"]
            self.assertEqual(settings[24:33], [*analog, "BIT0", "BIT15", "3", "65520"], hint)
            place = [bytes(range(16)).hex(), "59.25", "18.5", "inf", "P", "100000", "50000"]
            self.assertEqual(settings[33:40], place if third else [bytes(16).hex(), *["inf"] * 3, "M", "0", "0"], hint)
            self.assertEqual(settings[-1], layout.hex(), hint)

            turned = value * cmath.exp(-1j * angle)
            self.assertEqual(values[:3], [str((EPOCH_S + 1_700_000_000) * 10**7 + 5_000_000), "6", "0"], hint)
            self.near(values[3:5], [60.012, NAN], hint=hint)
            self.near(values[5:9], [turned.real, turned.imag, NAN, NAN], 1e-4, hint)
            self.near(values[9:-1], [-13.5 if third else -7, 0x8001, 0x8000, NAN, NAN, NAN, NAN], hint=hint)
            self.assertEqual(values[-1], frame.hex(), hint) if code & 3 == 0 else self.same_values(layout, values, hint)

    def same_values(self, layout, values, hint):
        """Of a frame that need not come back bit by bit: floats are rounded, in polar form twice."""
        again = ask(("config", layout), ("data", bytes.fromhex(values[-1])))[1]
        self.near(again[:-1], [float(v) for v in values[:-1]], 1e-4, hint)

    def test_samples_of_other_programs(self):
        settings, = ask(("config", CFG3_SAMPLE))
        self.assertEqual((settings[1], settings[-1]), ("2", CFG3_SAMPLE.hex()))
        for frame, want in ((sp.frame(COMMAND, 60, 1, struct.pack(">H", 2)), ["60", "2", ""]),
                            (sp.frame(COMMAND, 60, 1, struct.pack(">H", 8) + b"more"), ["60", "8", b"more".hex()]),
                            (sp.frame(HEADER, 60, 1, b"HELLO"), ["HELLO"])):
            self.assertEqual(ask(("other", frame)), [[*want, frame.hex()]])

    def test_factor_of_floating_point_phasors(self):
        """PHSCALE of floats: Y is applied as the clause has it, unless it can be none, and goes out as 1."""
        place = CFG3_SAMPLE.index(bytes.fromhex("008001003f80000000000000")) + 4
        frame = sp.frame(DATA, 60, 1, struct.pack(">HfffffH", 0, 100.0, 0.2, 50.0, 0.0, 0.0, 0))
        for factor, magnitude in ((1.0, 100.0), (2.0, 200.0), (0.0, 100.0), (-1.0, 100.0), (math.inf, 100.0)):
            scale = struct.pack(">ff", factor, math.pi / 6)
            layout = sealed(CFG3_SAMPLE[:place] + scale + CFG3_SAMPLE[place + 8:])
            settings, values = ask(("config", layout), ("data", frame))
            self.near(values[5:7], [magnitude * math.cos(0.2 - math.pi / 6), magnitude * math.sin(0.2 - math.pi / 6)])
            self.assertIn(struct.pack(">ff", 1.0, math.pi / 6).hex(), settings[-1])

    def test_time(self):
        for base in (1_000_000, 16_777_215, 1000):
            for i in range(50):
                frame = sp.frame(DATA, 60, 1_700_000_000 * base + round(i * base / 50), data(15, [1j, 1j])[14:-2], base)
                values = ask(("config", config(15, base=base)), ("data", frame))[1]
                ticks = (EPOCH_S + 1_700_000_000) * 10**7 + i * 200_000
                self.assertAlmostEqual(int(values[0]), ticks, delta=0 if base != 16_777_215 else 1)
                self.assertEqual(ask(("time", ticks, base)), [["1700000000", str((i * base + 25) // 50), str(ticks)]])
        ticks = (EPOCH_S + 1_700_000_000) * 10**7
        self.assertEqual(ask(("time", ticks + 9_999_999, 1000)), [["1700000001", "0", str(ticks + 10**7)]])

    def test_counts_that_lie_and_frames_that_end_early(self):
        for layout in (config(15), CFG3_SAMPLE):
            lines = []
            for i in range(14, len(layout) - 3):
                lines += [("config", sealed(layout[:i] + b"\xff\xff" + layout[i + 2:])), ("config", sealed(layout[:i + 2]))]
            answers = ask(*lines)
            self.assertEqual({a[0] for a in answers[1::2]}, {"error"})
            self.assertIn("error", {a[0] for a in answers[::2]})
        answers = ask(("config", config(15)), ("data", DATA_SAMPLE), ("data", config(15)), ("config", DATA_SAMPLE))
        self.assertEqual([a[0] for a in answers[1:]], ["error"] * 3)
        self.assertEqual(ask(("config", config(15, rate=0)))[0], ["error", "DATA_RATE is 0"])
        self.assertEqual(ask(("config", sealed(config(15) + b"\0\0")))[0][0], "error", "two bytes too many")

    def test_configuration_in_parts(self):
        whole = CFG3_SAMPLE[16:-2]
        parts = ((2, 0, 10, "begins in the middle"), (1, 0, 50, ""), (3, 100, 110, "out of turn"),
                 (0xFFFF, 100, None, "nothing before"), (1, 0, 50, ""), (2, 50, 51, ""), (0xFFFF, 51, None, "whole"))
        answers = ask(*(("part", struct.pack(">H", index) + whole[begin:end]) for index, begin, end, _ in parts))
        self.assertEqual(answers, [[""]] * 6 + [[whole.hex()]])


class Cutter(unittest.TestCase):
    def cut(self, *cases):
        """cases: (bytes of a datagram, size of the pieces, bytes). @return of each the frames and the counters."""
        return [(a[:-4], list(map(int, a[-4:]))) for a in ask(*(("cut", *c) for c in cases))]

    def test_pieces_of_any_size(self):
        stream = config(0) + DATA_SAMPLE * 10
        for frames, counters in self.cut(*((0, n, stream) for n in range(1, len(stream) + 1))):
            self.assertEqual(frames, [config(0).hex()] + [DATA_SAMPLE.hex()] * 10)
            self.assertEqual(counters, [len(stream), 0, 0, 0])

    def test_a_flipped_bit_loses_one_frame(self):
        header, size = sp.frame(HEADER, 60, 1, b"HELLO"), len(DATA_SAMPLE)
        cases = []
        for piece, bit in itertools.product((1, 52, 1000), range(8 * size)):
            bad = bytearray(DATA_SAMPLE)
            bad[bit // 8] ^= 1 << bit % 8
            cases.append((0, piece, DATA_SAMPLE + bad + DATA_SAMPLE + header))
        for n, (frames, counters) in enumerate(self.cut(*cases)):
            self.assertEqual(frames, [DATA_SAMPLE.hex(), DATA_SAMPLE.hex(), header.hex()], n)
            self.assertEqual(counters[1:3], [1, size], n)
            self.assertTrue(n % (8 * size) < 32 or counters[3] == 1, n)

    def test_rubbish_is_skipped(self):
        for rubbish in (b"\xaa", b"\xaa\xaa", b"\xaa\x01\0\x05", b"\xaa\x01\xff\xff\0\x3c"):
            for frames, counters in self.cut(*((0, n, rubbish + DATA_SAMPLE + rubbish + DATA_SAMPLE)
                                               for n in (1, 7, 500))):
                self.assertEqual(frames, [DATA_SAMPLE.hex()] * 2)
                self.assertEqual(counters[1:3], [2, 2 * len(rubbish)])
        (frames, counters), = self.cut((20, 1000, DATA_SAMPLE[:20] + DATA_SAMPLE))
        self.assertEqual((frames, counters[1:]), ([DATA_SAMPLE.hex()], [1, 20, 0]), "the rest of a datagram")

    def test_bytes_made_to_cost_work_are_thrown_away(self):
        (frames, counters), = self.cut((0, 65536, b"\xaa\x01\xff\xff" * 500_000 + DATA_SAMPLE))
        self.assertEqual((frames, counters[1]), ([DATA_SAMPLE.hex()], 1))


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
