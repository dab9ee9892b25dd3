"""Processes for the system tests: a server, an application, their logs, and recordings to play.

OMA_BIN_DIR is the directory of the binaries (ctest sets it); a sanitizer's report in any process fails the test.
"""
import json
import math
import os
import random
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

BIN = Path(os.environ.get("OMA_BIN_DIR", Path(__file__).resolve().parents[2] / "build" / "release" / "bin"))
DATA = Path(__file__).resolve().parents[1] / "data"
# Sanitizers slow the processes down; the limits end a hanging test and do not measure time.
LIMIT_S = 120.0
TICKS_S = 10_000_000
START_TICKS = 638452296000000000  # 2024-03-05T10:00:00Z


def free_ports():
    """Two ports that were free a moment ago."""
    socks = [socket.socket() for _ in range(2)]
    for s in socks:
        s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        s.bind(("127.0.0.1", 0))
    ports = [s.getsockname()[1] for s in socks]
    for s in socks:
        s.close()
    return ports


def wait_for(condition, what, limit_s=LIMIT_S):
    end = time.monotonic() + limit_s
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError(f"not seen within {limit_s} s: {what}")


def read_jsonl(path):
    """All complete lines so far."""
    try:
        text = Path(path).read_text()
    except FileNotFoundError:
        return []
    return [json.loads(line) for line in text.split("\n")[:-1] if line]


class Process:
    """A process with its output in a file; it is always stopped."""

    def __init__(self, name, args, folder, env=None):
        self.name = name
        self.log = Path(folder) / f"{name}.log"
        self.out = open(self.log, "wb")
        self.proc = subprocess.Popen([str(a) for a in args], stdout=self.out, stderr=subprocess.STDOUT,
                                     stdin=subprocess.DEVNULL, cwd=folder, env={**os.environ, **(env or {})})

    def text(self):
        return self.log.read_text(errors="replace")

    def has(self, text):
        return text in self.text()

    def count(self, text):
        return self.text().count(text)

    def wait_text(self, text, count=1, limit_s=LIMIT_S):
        def seen():
            if self.count(text) >= count:
                return True
            if self.proc.poll() is not None and self.count(text) < count:
                raise AssertionError(f"{self.name} ended ({self.proc.returncode}) before {text!r}:\n{self.text()[-3000:]}")
            return False
        wait_for(seen, f"{self.name}: {text!r} (x{count})\n" + self.text()[-3000:], limit_s)

    def running(self):
        return self.proc.poll() is None

    def send(self, sig):
        self.proc.send_signal(sig)

    def wait(self, limit_s=LIMIT_S):
        try:
            return self.proc.wait(limit_s)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"{self.name} has not ended within {limit_s} s:\n{self.text()[-3000:]}")

    def stop(self, limit_s=LIMIT_S):
        if self.running():
            self.send(signal.SIGTERM)
        return self.wait(limit_s)

    def kill(self):
        if self.running():
            self.proc.kill()
        self.proc.wait()
        self.out.close()


class SystemTest(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory(prefix="oma-system-")
        self.dir = Path(self.tmp.name)
        self.processes = []
        self.ports = free_ports()
        self.config = self.dir / "grid.xml"

    def tearDown(self):
        for p in self.processes:
            p.kill()
        reports = [p for p in self.processes if "ERROR: AddressSanitizer" in p.text() or "runtime error:" in p.text()
                   or "WARNING: ThreadSanitizer" in p.text() or "ERROR: LeakSanitizer" in p.text()]
        texts = "\n".join(f"--- {p.name}\n{p.text()[-6000:]}" for p in reports)
        self.tmp.cleanup()
        self.assertFalse(reports, "a sanitizer reported:\n" + texts)

    def start(self, name, args, env=None):
        p = Process(f"{name}{len(self.processes)}", args, self.dir, env)
        self.processes.append(p)
        return p

    def write_config(self, **kwargs):
        self.config.write_text(config_xml(self.ports, **kwargs))

    def vds(self, *args, wait=True):
        p = self.start("vds", [BIN / "vds", f"-xml:{self.config}", "--log-dir", self.dir, *args])
        if wait:
            wait_for(lambda: self.listening(), "vds listening\n" + p.text())
        return p

    def listening(self):
        try:
            for port in self.ports:
                socket.create_connection(("127.0.0.1", port), 0.2).close()
            return True
        except OSError:
            if not self.processes[-1].running():
                raise AssertionError("vds ended:\n" + self.processes[-1].text())
            return False

    def oma(self, *args, env=None):
        return self.start("oma", [BIN / "oma", f"-xml:{self.config}", "-INFO", *args], env)

    def vdsctl(self, *args, check=True):
        r = subprocess.run([str(BIN / "vdsctl"), f"127.0.0.1:{self.ports[0]}", *map(str, args)], text=True,
                           capture_output=True, timeout=LIMIT_S)
        if check:
            self.assertEqual(r.returncode, 0, r.stdout + r.stderr)
        return r

    def events(self):
        return read_jsonl(self.dir / "events.jsonl")

    def swing_events(self):
        return [e for e in self.events() if 4203 <= e["key"] <= 4206]

    def channels(self):
        return read_jsonl(self.dir / "channels.jsonl")

    def wait_event(self, text="event", **match):
        def seen():
            return next((e for e in self.events() if all(e.get(k) == v for k, v in match.items())), None)
        return wait_for(seen, f"{text} {match}")


class SwingTest(SystemTest):
    def begin(self, *args, seconds=4000, power=lambda t: swing(t, 1.1, 30e6)):
        """A live server at 20 times real time with a permanent swing, and an application that analyses it."""
        self.write_config()
        write_recording(self.dir / "rec.csv", seconds, power)
        vds = self.vds("--replay", self.dir / "rec.csv", "--speed", "20")
        oma = self.oma(*args)
        return vds, oma

    def wait_swing(self, mode=603, transition="APP", skip=0):
        def seen():
            found = [e for e in self.swing_events() if e["elementId"] == mode and e["transition"] == transition]
            return found[skip] if len(found) > skip else None
        return wait_for(seen, f"swing {transition} of mode {mode}")

    def assertNothingStands(self):
        standing = {}
        for e in self.swing_events():
            if e["transition"] == "APP":
                # A mode has at most one active event, whatever happens to the link.
                self.assertNotIn(e["elementId"], standing, f"a second event of a mode: {e}")
                standing[e["elementId"]] = e["key"]
            elif standing.get(e["elementId"]) == e["key"]:
                del standing[e["elementId"]]
        self.assertFalse(standing, "events left active")
        running = {}
        for c in self.channels():
            if c["op"] != "write":
                running[c["pmu"]] = c["op"] == "start"
        self.assertFalse([p for p, on in running.items() if on], "channels left started")


# ---- configuration -------------------------------------------------------------------------------------------------

POWER_JOB = {
    "name": "LINE_POWER", "id": 500, "mode": 0, "output_ref_id": 700, "active": True,
    "magnitude": {"nominal": 40000000.0, "warning": 0.25, "alarm": 0.5},
    "damping": {"warning": -0.05, "alarm": -0.03}, "events": [True, True, True],
    "spectral": {"samples": 256, "sets": [{"multiplier": 1, "lower": 0.8, "upper": 3.0},
                                          {"multiplier": 4, "lower": 0.2, "upper": 0.8},
                                          {"multiplier": 16, "lower": 0.05, "upper": 0.2}]},
    "modes": {"samples": 10, "reporting_rate": 1, "list": [
        {"id": 601, "unit_id": 801, "min": 0.05, "max": 0.2, "outputs": [9010, 9011, 9012, 9013]},
        {"id": 602, "unit_id": 802, "min": 0.2, "max": 0.8, "outputs": [9020, 9021, 9022, 9023]},
        {"id": 603, "unit_id": 803, "min": 0.8, "max": 3.0, "outputs": [9030, 9031, 9032, 9033]}]},
    "pmu1": {"id": 101, "signal": 0, "phasors": [1011]}, "pmu2": {"id": 102, "signal": 1, "phasors": [1021]}}

ANGLE_JOB = {**POWER_JOB, "name": "ANGLE", "id": 510, "mode": 1, "output_ref_id": 710, "using_ntm": True,
             "magnitude": {"nominal": 32.0, "warning": 0.125, "alarm": 0.25},
             "modes": {"samples": 10, "reporting_rate": 1, "list": [
                 {"id": 611, "unit_id": 811, "min": 0.05, "max": 3.0, "outputs": [9110, 9111, 9112, 9113]}]},
             "pmu1": {"id": 101, "signal": 0, "phasors": [1011]}, "pmu2": {"id": 103, "signal": 0, "phasors": [1031]}}


def job_xml(job):
    events = "".join(f'<PSEvent Type="{i}" IsActive="{str(on).lower()}"/>' for i, on in enumerate(job["events"]))
    sets = "".join(f'<SpectralDataSet SamplesMultiplier="{s["multiplier"]}" LowerCutOffFrequency="{s["lower"]}" '
                   f'UpperCutOffFrequency="{s["upper"]}"/>' for s in job["spectral"]["sets"])
    modes = "".join(
        f'<PSMode Id="{m["id"]}" MinFrequency="{m["min"]}" MaxFrequency="{m["max"]}"><Outputs>'
        + "".join(f'<Output PhysType="{i}" RefID="{o}"/>' for i, o in enumerate(m["outputs"]))
        + "</Outputs></PSMode>" for m in job["modes"]["list"])
    groups = "".join(
        f'<InputGroup SignalType="{job[p]["signal"]}">'
        + "".join(f'<Input PhaseType="{i}" RefID="{r}"/>' for i, r in enumerate(job[p]["phasors"]))
        + "</InputGroup>" for p in ("pmu1", "pmu2"))
    m, d = job["magnitude"], job["damping"]
    return (f'<Job Name="{job["name"]}" Id="{job["id"]}" IsActive="{str(job["active"]).lower()}" '
            f'JobMode="{job["mode"]}" OutputRefId="{job["output_ref_id"]}" '
            f'IsUsingNTM="{str(job.get("using_ntm", False)).lower()}">'
            f'<PSMagnitude Nominal="{m["nominal"]}" PSMagnitudeWarning="{m["warning"]}" PSMagnitudeAlarm="{m["alarm"]}"/>'
            f'<PSDampingRatio PSDampingRatioWarning="{d["warning"]}" PSDampingRatioAlarm="{d["alarm"]}"/>'
            f'<PSEvents>{events}</PSEvents>'
            f'<SpectralDataSets NoOfSamples="{job["spectral"]["samples"]}">{sets}</SpectralDataSets>'
            f'<PSModes NoOfSamples="{job["modes"]["samples"]}" ReportingRate="{job["modes"]["reporting_rate"]}">{modes}'
            f'</PSModes><InputGroups>{groups}</InputGroups></Job>')


def config_xml(ports, jobs=(POWER_JOB,), rate=50, rates=None, input_mode=0, ntm=False, timeout_ms=5000, active=True):
    """A configuration of one instance. rates: reporting rate by PMU id, where it differs."""
    units = {}
    for job in jobs:
        for p in ("pmu1", "pmu2"):
            units.setdefault(job[p]["id"], list(job[p]["phasors"]))
        for m in job["modes"]["list"]:
            units.setdefault(m["unit_id"], list(m["outputs"]))
        units.setdefault(job["id"] + 300, [job["output_ref_id"]])
    datapoints = "".join(
        f'<MeasurementUnit Id="{u}" ReportingRate="{(rates or {}).get(u, rate)}">'
        + "".join(f'<Datapoint Id="{i}"/>' for i in ids) + "</MeasurementUnit>" for u, ids in units.items())
    inputs = "".join(f'<Input RefId="{job[p]["phasors"][0]}"/>' for job in jobs if job["mode"] == 1
                     for p in ("pmu1", "pmu2"))
    ntms = f'<NTM IsActive="true"><Jobs><Job Name="Static" IsActive="true"><Inputs>{inputs}</Inputs></Job></Jobs></NTM>'
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<Configuration>'
            f'<VDS IPAddr="127.0.0.1" Port="{ports[0]}" PortApplicationData="{ports[1]}"/>'
            f'<Datapoints>{datapoints}</Datapoints>'
            f'<OMAs Name="OMA" Id="900"><OMA Name="GRID" Id="901" IsActive="{str(active).lower()}" '
            f'InputMode="{input_mode}" TimeoutInMs="{timeout_ms}" IsEnabledNTM="{str(ntm).lower()}">'
            f'<Jobs>{"".join(job_xml(j) for j in jobs)}</Jobs></OMA></OMAs>'
            f'<NTMs>{ntms if ntm else ""}</NTMs></Configuration>\n')


# ---- recordings ----------------------------------------------------------------------------------------------------

def grid_ticks(index, rate):
    return START_TICKS + (index // rate) * TICKS_S + int((index % rate) / rate * 1e7 + 0.5)


def iso(ticks):
    t = ticks - 621355968000000000
    return time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(t // TICKS_S)) + f".{t % TICKS_S:07d}Z"


def swing(t, freq, ampl, damp=0.0, begin=0.0):
    """A damped sinusoid; a negative damping ratio decays."""
    if t < begin:
        return 0.0
    w = 2 * math.pi * freq
    return ampl * math.exp(w * damp / math.sqrt(1 - damp * damp) * (t - begin)) * math.sin(w * (t - begin))


def write_recording(path, seconds, power=None, angle=None, rate=50, edit=None, seed=1, noise=1e-3):
    """One-phase voltages 1011 and 1031 and current 1021. power(t) in W, angle(t) in degrees between the voltages.

    edit(index, row) may change a row (list of fields, the time first), return None to leave the line out, or a list of
    rows to put in its place.
    """
    rng = random.Random(seed)
    with open(path, "w") as f:
        f.write("time;1011.magn;1011.angle;1021.magn;1021.angle;1031.magn;1031.angle\n")
        for i in range(int(seconds * rate)):
            t = i / rate
            p = (power(t) if power else 0.0) + 300e6 + rng.gauss(0, noise * 40e6)
            a = (angle(t) if angle else 0.0) + 10 + rng.gauss(0, noise * 32)
            row = [iso(grid_ticks(i, rate)), "230000", "20", f"{p / 230000:.9g}", "20", "230000", f"{20 - a:.9g}"]
            rows = [row] if edit is None else edit(i, row)
            if rows is None:
                continue
            if rows and not isinstance(rows[0], list):
                rows = [rows]
            for r in rows:
                f.write(";".join(map(str, r)) + "\n")


if __name__ == "__main__":
    sys.exit("this is a library")
