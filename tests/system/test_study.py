"""Study mode and measurement files on real processes; the test reads their result files with its own code."""
import cmath
import math
import os
import random
import re
import subprocess
import unittest
from pathlib import Path

from data_faults import QUIET_JOB
from harness import LIMIT_S, POWER_JOB, SystemTest, wait_for, write_recording

TOOL = Path(__file__).resolve().parents[2] / "tools" / "result_view.py"
DOC = Path(__file__).resolve().parents[2] / "docs" / "offline.md"
SAMPLES = 1024  # of the second band; the third one is omitted, so that the files contain this one
STEP_S = 0.02
FREQ_HZ, AMPL, DAMP = 0.43, 20e6, -0.02
STUDY = ["-study", "-PEAK:0.43,20000000,-0.02,0", "-spec3", "-File:FFT", "-file:psm"]
FILES = ["OMA_LINE_POWER.csv", "OMA_LINE_POWER_FFT.dat", "OMA_LINE_POWER_PsmExt.dat"]
MODE_FORMATS = ["%6.3f", "%8.0f", "%6.4f", "%6.2f"]


def study_sample(i):
    """The sinusoid of -peak:, computed from the width that the option is converted to."""
    width = 2 * FREQ_HZ / math.sqrt(1 / DAMP ** 2 - 1)
    ratio = -1 / math.sqrt((2 * FREQ_HZ / width) ** 2 + 1)
    angle = 2 * math.pi * FREQ_HZ * STEP_S * i
    return AMPL * math.sin(angle) * math.exp(ratio * angle)


def spectrum(x):
    """Unscaled transform of a block whose length is a power of two."""
    if len(x) == 1:
        return [complex(x[0])]
    even, odd = spectrum(x[0::2]), spectrum(x[1::2])
    turned = [cmath.exp(-2j * math.pi * k / len(x)) * odd[k] for k in range(len(odd))]
    return [e + t for e, t in zip(even, turned)] + [e - t for e, t in zip(even, turned)]


class Study(SystemTest):
    def play(self, *args, results=None, seconds=50, jobs=(POWER_JOB,)):
        """Plays a recording of a quiet line to drive the passes."""
        self.write_config(jobs=jobs)
        for log in ("events.jsonl", "channels.jsonl"):
            (self.dir / log).unlink(missing_ok=True)
        write_recording(self.dir / "rec.csv", seconds)
        vds = self.vds("--replay", self.dir / "rec.csv", "--speed", "max", "--once", wait=False)
        wait_for(self.listening, "vds")
        oma = self.oma(*args, env={"OMA_RESULT_DIR": str(results or self.dir)})
        self.assertEqual(vds.wait(), 0, vds.text())
        self.assertEqual(oma.stop(), 0, oma.text()[-3000:])
        return oma

    def lines(self, name):
        text = (self.dir / name).read_text()
        self.assertTrue(text.endswith("\n"))
        return text.split("\n")[:-1]

    def sets(self, file=FILES[2]):
        """Name and values of each line of the extended peak file; checks the layout to the character."""
        result = []
        for line in self.lines(file):
            name = line[:10].rstrip()
            values = [float(v) for v in re.findall(r"-?\d+\.\d{3}", line[10:])]
            if name == "TimeStep":
                self.assertEqual(line, "TimeStep  %6.3f" % values[0])
            elif name == "FreqStep":
                self.assertEqual(line, "FreqStep  %10.3f" % values[0])
            elif name.startswith("PeakPars"):
                self.assertEqual(line, "PeakPars %s" % name[9:] + "".join("%10.3f" % v for v in values))
            else:
                self.assertEqual(line, name.ljust(10) + "%5d" % len(values) + "".join(" %10.3f" % v for v in values))
            result.append((name, values))
        return result

    def test_study_run_leaves_its_three_files(self):
        oma = self.play(*STUDY, "-csv:12")
        for text in ("Create PMU sim.file: c:\\OMA_LINE_POWER.csv.", "Write Header to PMU sim.file..",
                     "Close PMU sim.file. after all data being transferred."):
            self.assertEqual(oma.count(text), 1, text)
        self.assertFalse(oma.has("due to job terminating"))
        self.check_csv()
        sets = self.sets()
        self.check_peaks(sets)
        self.check_fft(sets)
        self.check_pictures()
        # Checks the numpy lines of the documentation.
        lines = re.findall(r"^    ((?:rows|fft|sets) = .*)$", DOC.read_text(), re.M)
        script = "\n".join(["import numpy as np, re", *lines, "print(rows.shape, fft.shape, sets['TimeData'].shape)"])
        r = subprocess.run(["/usr/bin/python3", "-c", script], capture_output=True, text=True, cwd=self.dir)
        self.assertEqual(r.stdout, f"(12, 17) ({SAMPLES // 2},) ({SAMPLES},)\n", r.stderr)

    def check_csv(self):
        lines = self.lines(FILES[0])
        self.assertEqual(lines[:4], [
            "Name,ID,IPAddr,Port,IPtype,Timebase,FNOM,REPRATE,CoordType",
            f"LINE_POWER,500,127.0.0.1,{self.ports[0]},tcp,1000,50,1,polar",
            "Time,1011,1021,9010,9011,9012,9013,9020,9021,9022,9023,9030,9031,9032,9033",
            "ms,V,rad,A,rad" + ",Hz,VA,-,-" * 3])
        self.assertEqual(len(lines), 4 + 12)
        formats = ["%.0f", "%11.4f", "%12.9f", "%12.6f", "%12.9f"] + 3 * MODE_FORMATS
        for n, line in enumerate(lines[4:]):
            values = [float(v) for v in line.split(",")]
            self.assertEqual(line, ",".join(f % v for f, v in zip(formats, values, strict=True)))
            self.assertEqual(values[0], 1000 * n)
            self.assertEqual(values[1], 230000.0)
            self.assertAlmostEqual(values[2], math.radians(20), delta=1e-6)
            self.assertAlmostEqual(values[3], 300e6 / 230000, delta=2)
        # The second mode has the swing from the first pass with a full window; its magnitude is that at the end of the
        # window.
        frequency, magnitude, damping, _ = values[9:13]
        self.assertAlmostEqual(frequency, FREQ_HZ, delta=0.05)
        self.assertAlmostEqual(damping, DAMP, delta=0.02)
        self.assertTrue(0.2 * AMPL < magnitude < AMPL)

    def check_peaks(self, sets):
        names = [name for name, _ in sets]
        self.assertEqual(names[:9], ["TimeStep", "TimeData", "FreqStep", "Magn", "Degs", "SearchBuf", "Peak1", "IFFT1",
                                     "PeakPars 1"])
        named = dict(sets)
        self.assertEqual(named["TimeStep"] + named["FreqStep"], [0.02, 0.049])
        for i, value in enumerate(named["TimeData"]):
            self.assertAlmostEqual(value, study_sample(i), delta=0.0006)
        x = spectrum(named["TimeData"])
        for k in range(SAMPLES // 2):
            self.assertAlmostEqual(named["Magn"][k], abs(x[k]) / (SAMPLES // 2), delta=0.002)
        frequency, height, width, ratio = named["PeakPars 1"]
        self.assertAlmostEqual(frequency, FREQ_HZ, delta=0.05)
        # The fit is a bell curve that passes through the values at its own channels; the ratio of the width has no
        # sign.
        top = max(range(len(named["Peak1"])), key=lambda k: named["Peak1"][k])
        self.assertAlmostEqual(top / (SAMPLES * STEP_S), frequency, delta=0.5 / (SAMPLES * STEP_S))
        self.assertTrue(0.8 * height < named["Peak1"][top] <= height + 0.001)
        self.assertAlmostEqual(ratio, 1 / math.sqrt((2 * frequency / width) ** 2 + 1), delta=0.002)
        # The time signal is one band of the spectrum and nothing else; its mean is removed.
        band = spectrum(named["IFFT1"])[:SAMPLES // 2]
        inside = [k for k in range(SAMPLES // 2) if abs(band[k]) > 1]
        self.assertEqual(inside, list(range(max(inside[0], 1), inside[-1] + 1)))
        self.assertTrue(inside[0] <= FREQ_HZ * SAMPLES * STEP_S <= inside[-1])
        for k in inside:
            self.assertAlmostEqual(abs(band[k] - x[k]), 0, delta=1)

    def check_fft(self, sets):
        x = spectrum(dict(sets)["TimeData"])
        lines = self.lines(FILES[1])
        self.assertEqual(len(lines), SAMPLES // 2)
        for k, line in enumerate(lines):
            magn, phas = float(line.split("=")[1][:-8]), float(line.split("=")[2])
            self.assertEqual(line, "%3d:    magn = %10.3f    phas = %8.3f" % (k + 1, magn, phas))
            self.assertAlmostEqual(magn, math.log10(abs(x[k]) ** 2), delta=0.0011)
            turn = abs(phas - math.degrees(cmath.phase(x[k])))
            self.assertLess(min(turn, 360 - turn), 0.0011)

    def tool(self, *args):
        return subprocess.run([TOOL, *args], capture_output=True, text=True, cwd=self.dir, timeout=LIMIT_S)

    def check_pictures(self):
        self.assertIn("half-cycle extremes", self.tool("--help").stdout)
        for name in FILES:
            r = self.tool(name)
            self.assertEqual((r.returncode, r.stderr), (0, ""), name)
            self.assertTrue((self.dir / (name + ".png")).read_bytes().startswith(b"\x89PNG"))
            self.assertEqual(self.tool(name, "-o", "x.svg", "--rate", "50", "--fmax", "2").returncode, 0)
            self.assertIn("</svg>", (self.dir / "x.svg").read_text())
        text = (self.dir / FILES[0]).read_text()
        for content, reason in ((None, "No such file"), ("", "empty"), ("x;y\n", "neither"), ("\x00\xff", "neither"),
                                (text[:400], "fields, expected"), (text[:180], "lines, expected four"),
                                (text.replace("230000", "abc", 1), "line 5: could not convert"),
                                ("TimeStep   0.020\nTimeData      5      1.000\n", "line 2: 1 values"),
                                ("  1:    magn =      1.000    phas =    0.000\n  2: x\n", "line 2: expected")):
            if content is not None:
                (self.dir / "bad").write_text(content)
            r = self.tool("bad")
            self.assertEqual((r.returncode, r.stderr.count("\n")), (2, 1), r.stderr)
            self.assertIn(reason, r.stderr)
        self.assertIn("cannot write /no/x.png", self.tool(FILES[0], "-o", "/no/x.png").stderr)
        self.assertIn("cannot write x.doc", self.tool(FILES[0], "-o", "x.doc").stderr)

    def test_files_that_cannot_be_written_stop_no_analysis(self):
        full = self.dir / "full"
        full.mkdir()
        for name in FILES:
            (full / name).symlink_to("/dev/full")
        oma = self.play(*STUDY, "-csv:5", results=full)
        self.assertEqual(oma.count("Close PMU sim.file. after all data being transferred."), 1)
        self.assertTrue([c for c in self.channels() if c["op"] == "write" and c["pmu"] == 802])

        oma = self.play("-study", STUDY[1], "-csv:1000", "-file:psm", results=self.dir / "missing")
        self.assertTrue(oma.has("Cannot open PMU sim.file: c:\\OMA_LINE_POWER.csv!"))
        self.assertTrue(oma.has("CProcOMA::Run():Cannot open TUI input file!"))
        self.assertTrue([c for c in self.channels() if c["op"] == "write" and c["pmu"] == 802])

    def test_measurement_file_feeds_one_sample_a_pass(self):
        rows = [f"2024-03-05 10:00:{i:02};230000;20;{1000 + i}.5;{20 - i}" for i in range(20)]
        rows[7] = rows[7][:26]  # no current
        rows[9] = ""
        (self.dir / "Meas.CSV").write_bytes(("\ufefftime;v;phi;i;phi\r\n" + "\r\n".join(rows) + "\r\n").encode())
        oma = self.play(f"-MeasFile:{self.dir}/Meas.CSV", "-VOLTAGE:1,0,0", "-current:3,0,0", "-Start:10:00:02",
                        "-stop:10:00:11", "-spec3", "-file:psm", "-csv:100")
        self.assertTrue(oma.has("Close PMU sim.file. due to job terminating."))
        want = [0.0 if i in (7, 9) else 3 * 230000 * (1000.5 + i) * math.cos(math.radians(i)) for i in range(2, 12)]
        # The server's 50 samples of a pass stay in the window, followed by one sample from the file.
        got = dict(self.sets())["TimeData"][::-51]
        self.assertEqual(len(got), 21)
        begin = min(range(10), key=lambda i: abs(want[i] - got[-1]))
        for n, value in enumerate(reversed(got)):
            self.assertAlmostEqual(value, want[(begin + n) % 10], delta=0.001)

    def test_measurement_files_that_cannot_be_used(self):
        (self.dir / "m.csv").write_text("t;v;p;i;p\n1;1;0;1;0\n")
        (self.dir / "long.csv").write_bytes(b"\n" * 10_000_002)
        os.mkfifo(self.dir / "pipe")
        self.write_config()
        for args, text in (
                (["-measfile:none.csv", "-study"], "Specified meas.data CSV file does not exist! -> Suspend Application."),
                (["-measfile:pipe"], "Specified meas.data CSV file does not exist! -> Suspend Application."),
                (["-measfile:long.csv", "-voltage:1,0,0", "-current:3,0,0", "-start:never"],
                 "CReadFileMeas::ReadData():File has more lines than 10000000!"),
                (["-measfile:/dev/zero", "-voltage:1,0,0", "-current:3,0,0"], ""),
                (["-measfile:m.csv"], "CReadFileMeas::DoSort():Invalid no.of 1st PMU data: 0!"),
                (["-measfile:m.csv", "-voltage:1"], "CReadFileMeas::DoSort():Invalid no.of 2nd PMU data: 0!"),
                (["-measfile:m.csv", "-voltage:1,3,0", "-current:1,0,0"],
                 "CalcActivePower():Invalid current/voltage phase configuration: #phases V=2, #phases I=1!")):
            oma = self.oma(*args)
            oma.wait_text(text)
            if args[0] not in ("-measfile:none.csv", "-measfile:pipe", "-measfile:/dev/zero"):
                oma.wait_text("Error reading meas.file! -> Suspend Application.")
            oma.wait_text("Application waiting for service being stopped...")
            self.assertEqual(oma.stop(), 0)

    def test_two_jobs_share_a_measurement_file_and_a_study_signal(self):
        second = {**QUIET_JOB, "pmu1": POWER_JOB["pmu1"], "pmu2": POWER_JOB["pmu2"]}
        files = (FILES[2], "OMA_QUIET_PsmExt.dat")
        rows = [f"10:{i // 60:02}:{i % 60:02};230000;20;{1000 + i};20" for i in range(200)]
        (self.dir / "meas.csv").write_text("time;v;phi;i;phi\n" + "\n".join(rows) + "\n")
        want = {3 * 230000.0 * (1000 + i) for i in range(200)}
        self.play(f"-measfile:{self.dir}/meas.csv", "-voltage:1,0,0", "-current:3,0,0", "-stop:10:03:19", "-spec3",
                  "-file:psm", jobs=(POWER_JOB, second))
        taken = [dict(self.sets(file))["TimeData"][::-51] for file in files]
        for values in taken:
            self.assertLessEqual(set(map(round, values)), set(map(round, want)))
            steps = [round(a - b) // 690000 % 200 for a, b in zip(values, values[1:])]
            self.assertTrue(all(0 < step <= 4 for step in steps), f"each takes the samples in their order: {steps}")
        for file in files:
            (self.dir / file).unlink()
        self.play(*STUDY, "-shift:0.3", "-range:20", jobs=(POWER_JOB, second))
        for file in files:
            self.assertTrue(dict(self.sets(file))["Magn"])

    def test_options_of_any_value_go_through_whole_passes(self):
        numbers = ["", "nan", "inf", "-inf", "1e308", "-1e308", "1e-320", "-1", "0", "99999999999999999999", "0.5",
                   "20000000", "x", "\u00fc", "9" * 5000, "-0.02", "1e9"]
        rng = random.Random(6)
        for n in range(1 + int(os.environ.get("OMA_ROUNDS", 6))):
            some = lambda n: ",".join(rng.choices(numbers, k=n))
            options = ["-study", *(f"-peak:{some(rng.randint(1, 6))}" for _ in range(rng.randint(1, 4)))]
            options += [f"-{name}:{some(1)}" for name in ("noise", "shift", "range", "nmaxhs", "csv", "minfreq", "maxfreq",
                                                          "dampcorr", "spec") if rng.random() < 0.5]
            options += rng.sample(["-lma", "-rawmagn", "-rawdamp", "-file:fft", "-file:psm", "-DATA"], rng.randint(0, 3))
            if n == 0:
                options = STUDY[:2]  # values appear only where there are some
            with self.subTest(options=options):
                oma = self.play(*options)
                self.assertIn("Start Reading Config.File", oma.text())
                values = [v for c in self.channels() if c["op"] == "write" for v in c["values"]]
                self.assertFalse([v for v in values if not isinstance(v, (int, float)) or not math.isfinite(v)])
                self.assertTrue(values or n)


if __name__ == "__main__":
    unittest.main()
