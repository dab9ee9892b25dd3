"""The cost of many jobs: a server and an application in two processes, a grid of up to 300 three-phase PMUs.

load.py JOBS SECONDS [--speed N|max] [--modes 1|3] [--swings none|some|all|bursts] [--places N] [--recording] prints one
line of JSON: what was analysed, the resources used, the losses. With --events US it prints instead how long after the
cycle that completes a second the events arrived, at one cycle every US microseconds. OMA_BIN_DIR is the folder of the
binaries. ./measure prints the tables.
"""
import argparse
import json
import math
import os
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests" / "system"))
import re
from collections import Counter

from harness import ANGLE_JOB, BIN, POWER_JOB, SystemTest, config_xml, wait_for

PLACES = 150  # each with a PMU for its voltage and one for the current of its line
RATE = 50
LAST_S = 2.0  # s of data: the last passes may still be running when the server ends
BANDS = ((0.05, 0.2), (0.2, 0.8), (0.8, 3.0))
CLOCK_S = 1.0 / os.sysconf("SC_CLK_TCK")


def phases(unit):
    return [1000 + 10 * unit + k for k in range(3)]


def jobs_of(count, places, modes):
    """Alternately the power of a line and the angle between two places, with three bands each."""
    jobs = []
    for i in range(count):
        place = i % places
        far = (place + 1 + 2 * (i // 2)) % places  # in the other group
        base = ANGLE_JOB if i % 2 else {**POWER_JOB, "magnitude": {"nominal": 800e6, "warning": 0.25, "alarm": 0.5}}
        second = (2 * far, 0) if i % 2 else (2 * place + 1, 1)
        bands = BANDS if modes == 3 else ((BANDS[0][0], BANDS[-1][1]),)
        jobs.append({
            **base, "name": f"JOB_{i}", "id": 200_000 + i, "output_ref_id": 300_000 + i, "using_ntm": False,
            "damping": {"warning": -0.4, "alarm": -0.2},  # a steady swing stays "Distinct", however much its damping
                                                          # varies
            "spectral": {"samples": 512, "sets": [
                {"multiplier": m, "lower": lower, "upper": upper}
                for m, (lower, upper) in zip((1, 4, 16), reversed(BANDS))]},
            "modes": {"samples": 10, "reporting_rate": 1, "list": [
                {"id": 400_000 + 3 * i + k, "unit_id": 400_000 + 3 * i + k, "min": low, "max": high,
                 "outputs": [500_000 + 12 * i + 4 * k + n for n in range(4)]}
                for k, (low, high) in enumerate(bands)]},
            "pmu1": {"id": 100 + 2 * place, "signal": 0, "phasors": phases(2 * place)},
            "pmu2": {"id": 100 + second[0], "signal": second[1], "phasors": phases(second[0])}})
    return jobs


def swings_of(kind, seconds):
    """(Frequency, begin, end, damping): when the whole grid swings, each place against the next."""
    if kind == "all":
        return [(freq, 1, seconds, 0) for freq in (1.13, 0.43, 0.117)]
    if kind == "some":
        return [(1.13, 0.35 * seconds, 0.5 * seconds, 0), (0.43, 0.6 * seconds, 0.8 * seconds, 0)]
    if kind == "bursts":
        return [(1.13, begin, begin + 12, 0) for begin in range(20, seconds, 40)]
    return []


def scenario_of(places, seconds, swings):
    """A ring of places."""
    names = [f"P{i}" for i in range(places)]
    label = dict(zip(("L1", "L2", "L3"), range(3)))
    pmus = []
    for i, name in enumerate(names):
        for unit, line in ((2 * i, None), (2 * i + 1, f"L{i}")):
            pmus.append({"place": name, **({"line": line} if line else {}),
                         "phases": {phase: phases(unit)[k] for phase, k in label.items()}})
    return {"start": "2026-03-05T10:00:00Z", "duration_s": seconds, "rate": RATE, "seed": 5,
            "noise": {"magnitude_percent": 0.05, "angle_deg": 0.03},
            "places": [{"name": name, "voltage_V": 230940, "angle_deg": 10 * math.sin(6.28 * i / places)}
                       for i, name in enumerate(names)],
            "lines": [{"name": f"L{i}", "from": name, "to": names[(i + 1) % places], "reactance_Ohm": 60}
                      for i, name in enumerate(names)],
            "pmus": pmus,
            "swings": [{"name": f"{freq} Hz", "frequency_hz": freq, "damping": damping, "start_s": start, "end_s": end,
                        "damping_after_end": -0.1, "amplitude_deg": 1,
                        "shape": {name: 1 - i % 2 * 2 for i, name in enumerate(names)}}
                       for freq, start, end, damping in swings_of(swings, seconds)]}


def write_recording_of(path, scenario):
    """The scenario's data as a recording; at most some 60 phasors, or the file becomes large."""
    import numpy
    rng = numpy.random.default_rng(scenario["seed"])
    places = [p["name"] for p in scenario["places"]]
    ids = [pmu["phases"][phase] for pmu in scenario["pmus"] for phase in ("L1", "L2", "L3")]
    reactance = {line["name"]: (places.index(line["from"]), places.index(line["to"]), line["reactance_Ohm"])
                 for line in scenario["lines"]}
    with open(path, "w") as f:
        f.write(";".join(["time"] + [f"{i}.magn;{i}.angle" for i in ids]) + "\n")
        row = "%.2f" + ";%.7g;%.4f" * len(ids) + "\n"
        for begin in range(0, scenario["duration_s"] * RATE, 3000):
            t = numpy.arange(begin, min(begin + 3000, scenario["duration_s"] * RATE)) / RATE
            angle = numpy.zeros((len(places), t.size))
            for i, place in enumerate(scenario["places"]):
                angle[i] = place["angle_deg"]
                for s in scenario["swings"]:
                    swinging = (t >= s["start_s"]) & (t < s["end_s"])
                    angle[i] += s["shape"][place["name"]] * swinging * s["amplitude_deg"] * \
                        numpy.sin(2 * math.pi * s["frequency_hz"] * (t - s["start_s"]))
            voltage = scenario["places"][0]["voltage_V"] * numpy.exp(1j * numpy.radians(angle))
            columns = [t]
            for pmu in scenario["pmus"]:
                phasor = voltage[places.index(pmu["place"])]
                if "line" in pmu:
                    near, far, ohm = reactance[pmu["line"]]
                    phasor = (voltage[near] - voltage[far]) / (1j * ohm)
                for k in range(3):
                    noise = rng.normal(size=(2, t.size))
                    columns.append(abs(phasor) * (1 + scenario["noise"]["magnitude_percent"] / 100 * noise[0]))
                    turned = numpy.degrees(numpy.angle(phasor)) - 120 * k + scenario["noise"]["angle_deg"] * noise[1]
                    columns.append((turned + 180) % 360 - 180)
            f.writelines(row % tuple(values) for values in numpy.array(columns).T)


class Load(SystemTest):
    """Not a test: reuses the tests' harness to start and stop processes."""

    def runTest(self):
        pass

    def usage(self, process):
        """CPU seconds, bytes of resident memory, threads."""
        folder = Path(f"/proc/{process.proc.pid}")
        fields = (folder / "stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) * CLOCK_S, int(fields[21]) * os.sysconf("SC_PAGE_SIZE"), int(fields[17])

    def prepare(self, jobs, seconds, modes, swings, places):
        """Writes the configuration. @return the scenario."""
        places = max(2, min(places, jobs)) // 2 * 2
        self.config.write_text(config_xml(self.ports, jobs=jobs_of(jobs, places, modes), rate=RATE))
        return scenario_of(places, seconds, swings)

    def events_after(self, jobs, seconds, modes, swings, places, interval_us):
        (self.dir / "load.json").write_text(json.dumps(self.prepare(jobs, seconds, modes, swings, places)))
        server = self.start("server", [BIN / "bench_events", self.config, self.dir / "load.json", interval_us])
        wait_for(self.listening, "bench_events listening")
        oma = self.start("oma", [BIN / "oma", f"-xml:{self.config}"])
        if server.wait(limit_s=60 + seconds * RATE * interval_us * 2e-6) != 0 or oma.stop() != 0:
            raise AssertionError(server.text()[-3000:] + oma.text()[-3000:])
        return {"jobs": jobs, "seconds": seconds, "interval_us": interval_us, **json.loads(server.text().splitlines()[-1])}

    def measure(self, jobs, seconds, speed, modes, swings, places, recording):
        scenario = self.prepare(jobs, seconds, modes, swings, places)
        source = ["--simulate", self.dir / "load.json"]
        if recording:
            source = ["--replay", self.dir / "load.csv"]
            write_recording_of(source[1], scenario)
        else:
            source[1].write_text(json.dumps(scenario))
        vds = self.start("vds", [BIN / "vds", f"-xml:{self.config}", *source, "--speed", speed, "--once",
                                 "--log-dir", self.dir])
        wait_for(self.listening, "vds listening")
        begin = time.monotonic()
        oma = self.start("oma", [BIN / "oma", f"-xml:{self.config}"])
        last = {}
        first_s = None
        while vds.running():
            for p in (oma, vds):
                try:
                    last[p.name] = self.usage(p)
                except (OSError, IndexError):
                    pass
            if first_s is None and (self.dir / "channels.jsonl").exists() and \
                    (self.dir / "channels.jsonl").stat().st_size:
                first_s = time.monotonic() - begin
            if not oma.running():
                raise AssertionError("oma has exited:\n" + oma.text()[-3000:])
            time.sleep(0.2)
        wall_s = time.monotonic() - begin
        if vds.wait() != 0 or oma.stop() != 0:
            raise AssertionError(vds.text()[-3000:] + oma.text()[-3000:])
        text = oma.text()
        return {
            "jobs": jobs, "seconds": seconds, "speed": speed, "wall_s": round(wall_s, 1), "start_s": first_s,
            "times_real_time": round(seconds / wall_s, 1),
            "cpu_oma_s": round(last[oma.name][0], 1), "cpu_vds_s": round(last[vds.name][0], 1),
            "MB_oma": round(last[oma.name][1] / 1e6, 1), "MB_vds": round(last[vds.name][1] / 1e6, 1),
            "threads_oma": last[oma.name][2],
            "input_data_losses": text.count("Input data loss"),
            "gaps": len(re.findall("delayed by|too early by|Missing OMA input data", text)),
            "lines": len(text.splitlines()),
            "swing_events": len(self.swing_events()),
            "errors_oma": sum(" error " in line for line in text.splitlines()),
            "errors": Counter(re.sub(r"[0-9]+", "N", line.split(" error ", 1)[1]) for line in text.splitlines()
                              if " error " in line).most_common(5),
            "lines_vds": vds.text().splitlines()}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("jobs", type=int)
    parser.add_argument("seconds", type=int)
    parser.add_argument("--speed", default="1")
    parser.add_argument("--modes", type=int, default=3, choices=(1, 3))
    parser.add_argument("--swings", default="some", choices=("none", "some", "all", "bursts"))
    parser.add_argument("--places", type=int, default=PLACES, help="places with two three-phase PMUs each")
    parser.add_argument("--recording", action="store_true", help="from a file instead of the simulator")
    parser.add_argument("--events", type=int, metavar="US",
                        help="measure the time of events instead, at one cycle every US microseconds")
    args = parser.parse_args()
    load = Load()
    load.setUp()
    try:
        scene = (args.modes, args.swings, args.places)
        result = load.events_after(args.jobs, args.seconds, *scene, args.events) if args.events else \
            load.measure(args.jobs, args.seconds, args.speed, *scene, args.recording)
        print(json.dumps(result))
    finally:
        load.tearDown()


if __name__ == "__main__":
    main()
