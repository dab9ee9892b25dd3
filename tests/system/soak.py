"""Plays hours of data as fast as the application can receive them: memory, threads and handles must not grow.

As a program (see ./soak): soak.py [HOURS [JOBS]].
"""
import json
import os
import sys
import time
import unittest
from pathlib import Path

from faults import GROWTH, SCENARIO
from harness import ANGLE_JOB, BIN, POWER_JOB, SystemTest, config_xml, wait_for

SAMPLE_S = (0.1, 5.0)  # for short and for long runs: each sample starts a process


def jobs_of(count):
    """Jobs of three bands and one mode each: alternately power and angle."""
    jobs = []
    for i in range(count):
        base = ANGLE_JOB if i % 2 else POWER_JOB
        unit = 20000 + 10 * i
        jobs.append({**base, "name": f"JOB_{i}", "id": 10000 + i, "output_ref_id": 40000 + i, "using_ntm": False,
                     "modes": {"samples": 10, "reporting_rate": 1, "list": [
                         {"id": unit, "unit_id": unit, "min": 0.05, "max": 3.0,
                          "outputs": [100000 + 4 * i + k for k in range(4)]}]}})
    return jobs


def slope(points):
    """Slope of the least-squares line through (x, y)."""
    n = len(points)
    mx, my = sum(p[0] for p in points) / n, sum(p[1] for p in points) / n
    sxx = sum((p[0] - mx) ** 2 for p in points)
    return sum((p[0] - mx) * (p[1] - my) for p in points) / sxx if sxx else 0.0


class SoakRun:
    def __init__(self, test, hours, jobs):
        self.test = test
        self.hours = hours
        self.samples = {"oma": [], "vds": []}  # (hours of data, bytes, threads, handles)
        test.config.write_text(config_xml(test.ports, jobs=jobs_of(jobs)))
        # The swing comes and goes in a beat, so that modes and events keep starting and ending.
        scenario = {**SCENARIO, "duration_s": int(hours * 3600), "swings": [
            {**SCENARIO["swings"][0], "name": f"{f} Hz", "frequency_hz": f, "amplitude_deg": 2.0}
            for f in (1.1, 1.104, 0.4, 0.402)]}
        (test.dir / "day.json").write_text(json.dumps(scenario))
        self.vds = test.vds("--simulate", test.dir / "day.json", "--speed", "max", "--once", wait=False)
        wait_for(test.listening, "vds listening")
        self.oma = test.start("oma", [BIN / "oma", f"-xml:{test.config}"])

    def data_hours(self):
        rows = [line.split() for line in self.test.vdsctl("channels", check=False).stdout.splitlines()]
        stamps = [row[4] for row in rows if row[4] != "-"]
        if not stamps:
            return None
        t = time.strptime(max(stamps)[:19], "%Y-%m-%dT%H:%M:%S")
        start = time.strptime(SCENARIO["start"], "%Y-%m-%dT%H:%M:%SZ")
        return (time.mktime(t) - time.mktime(start)) / 3600

    def look(self):
        hours = self.data_hours()
        if hours is None:
            return
        for name, process in (("oma", self.oma), ("vds", self.vds)):
            try:
                status = dict(line.split(":", 1) for line in
                              Path(f"/proc/{process.proc.pid}/status").read_text().splitlines() if ":" in line)
                self.samples[name].append((hours, int(status["VmRSS"].split()[0]) * 1024, int(status["Threads"]),
                                           len(os.listdir(f"/proc/{process.proc.pid}/fd"))))
            except (OSError, KeyError):
                return

    def run(self, told=lambda hours: None):
        while self.vds.running():
            if not self.oma.running():
                raise AssertionError("oma has ended:\n" + self.oma.text()[-3000:])
            self.look()
            if self.samples["oma"]:
                told(self.samples["oma"][-1][0])
            time.sleep(min(max(SAMPLE_S[0], self.hours / 20), SAMPLE_S[1]))
        self.test.assertEqual(self.vds.wait(), 0, self.vds.text()[-3000:])
        self.test.assertEqual(self.oma.stop(), 0)

    def settled(self, name):
        """The second half: queues are full and all buffers allocated."""
        return [s for s in self.samples[name] if s[0] >= self.hours / 2]

    def check_memory(self):
        for name in self.samples:
            settled = self.settled(name)
            self.test.assertGreaterEqual(len(settled), 4, f"{name} has hardly been looked at")
            self.test.assertLessEqual(settled[-1][1], settled[0][1] * (1 + GROWTH), f"memory of {name}")

    def growth(self, name):
        """Bytes per hour of data."""
        return slope([(s[0], s[1]) for s in self.settled(name)])


class Program(SystemTest):
    def runTest(self):
        hours = float(sys.argv[1]) if len(sys.argv) > 1 else 24.0
        jobs = int(sys.argv[2]) if len(sys.argv) > 2 else 200
        begin = time.monotonic()
        last = [0.0]

        def told(now):
            if now - last[0] >= hours / 20:
                last[0] = now
                s = run.samples["oma"][-1]
                print(f"{now:6.2f} h of data, {time.monotonic() - begin:6.0f} s, oma {s[1] / 1e6:.1f} MB, {s[2]} threads, "
                      f"{s[3]} handles", flush=True)
        run = SoakRun(self, hours, jobs)
        run.run(told)
        print(f"{hours} h of data, {jobs} jobs, {len(self.swing_events())} events, {time.monotonic() - begin:.0f} s")
        for name in ("oma", "vds"):
            settled = run.settled(name)
            print(f"{name}: memory {settled[0][1] / 1e6:.1f} to {settled[-1][1] / 1e6:.1f} MB in the second half, growth "
                  f"{run.growth(name):.0f} bytes an hour of data; threads {min(s[2] for s in settled)} to "
                  f"{max(s[2] for s in settled)}, handles {min(s[3] for s in settled)} to {max(s[3] for s in settled)}")
        run.check_memory()


if __name__ == "__main__":
    result = unittest.TextTestRunner().run(Program())
    sys.exit(0 if result.wasSuccessful() else 1)
