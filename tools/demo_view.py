#!/usr/bin/env python3
"""Shows what the system reports beside what the scenario makes true, and judges the whole at the end.

Reads events.jsonl and channels.jsonl of the server as they grow. The exit status is 0 only if every swing that the
scenario makes visible was found with its frequency, magnitude, damping ratio and events, and if the split stopped
and restarted the jobs that heed it.
"""
import argparse
import cmath
import json
import math
import os
import statistics
import sys
import time
import xml.etree.ElementTree as ElementTree
from dataclasses import dataclass, field
from datetime import datetime, timezone

TICKS_PER_S = 10_000_000
TICKS_TO_1970 = 621_355_968_000_000_000

EVENT_TEXT = {4203: "Undamped Critical Power Swing", 4204: "Critical Power Swing",
              4205: "Distinct Power Swing", 4206: "Notified Power Swing"}
ZONE_KEYS = (4003, 4004, 4005, 4006)
OTHER_TEXT = {7: "Restart", 4201: "Application stops", 4202: "No phasor data"}

# What the analysis can meet on windows of a few periods of the swing, as medians over the passes of a swing.
TOLERANCE_FREQUENCY = 0.03    # of the true one
TOLERANCE_MAGNITUDE = 0.25    # of the true one
TOLERANCE_DAMPING = 0.012     # absolute
SHARE_OF_PASSES = 0.6         # passes that must report, of those that could
VISIBLE = 0.6                 # of the warning limit: nothing is expected of weaker swings; the system's floor is 0.4


# ---- what is true ----------------------------------------------------------------------------------------------------

def decay_rate(frequency, damping):
    """1/s, of a damping ratio; below 0 for a swing that decays."""
    return 2 * math.pi * frequency * damping / math.sqrt(1 - damping * damping)


class Swing:
    def __init__(self, entry):
        self.name = entry.get("name", "swing")
        self.frequency = entry["frequency_hz"]
        self.damping = entry["damping"]
        self.start = entry["start_s"]
        self.end = entry.get("end_s", math.inf)
        self.damping_after = entry.get("damping_after_end")
        self.amplitude = entry["amplitude_deg"]
        self.shape = entry["shape"]

    def damping_at(self, t):
        return self.damping if t <= self.end or self.damping_after is None else self.damping_after

    def envelope(self, t):
        """Degrees at a place with shape 1."""
        if t < self.start or (t >= self.end and self.damping_after is None):
            return 0.0
        exponent = decay_rate(self.frequency, self.damping) * (min(t, self.end) - self.start)
        if t > self.end:
            exponent += decay_rate(self.frequency, self.damping_after) * (t - self.end)
        return self.amplitude * math.exp(exponent)


class Limits:
    """Magnitude and damping limits of a job, and the degree of exposure that follows from them."""
    LEVELS = ((0, 2, 4, 6), (1, 5, 8, 9), (3, 7, 10, 11))
    EVENT_OF_LEVEL = (None, 4206, 4206, 4205, 4205, 4205, 4205, 4204, 4204, 4204, 4204, 4203)

    def __init__(self, job):
        magnitude, damping = job.find("PSMagnitude"), job.find("PSDampingRatio")
        nominal = float(magnitude.get("Nominal"))
        self.magn_warn = nominal * float(magnitude.get("PSMagnitudeWarning"))
        self.magn_alarm = nominal * float(magnitude.get("PSMagnitudeAlarm"))
        self.damp_warn = float(damping.get("PSDampingRatioWarning"))
        self.damp_alarm = float(damping.get("PSDampingRatioAlarm"))

    def level(self, magn, damp):
        row = (magn >= self.magn_warn) + (magn >= self.magn_alarm)
        column = (damp >= self.damp_warn) + (damp >= self.damp_alarm) + (damp >= 0)
        return self.LEVELS[row][column]

    def exposure(self, magn, damp):
        if magn < self.magn_warn:
            in_magn = magn / self.magn_warn
        elif magn < self.magn_alarm:
            in_magn = (magn - self.magn_warn) / (self.magn_alarm - self.magn_warn)
        else:
            in_magn = (magn - self.magn_alarm) / magn
        if damp < self.damp_warn:
            in_damp = self.damp_warn / damp
        elif damp < self.damp_alarm:
            in_damp = (damp - self.damp_warn) / (self.damp_alarm - self.damp_warn)
        elif damp < 0:
            in_damp = (damp - self.damp_alarm) / -self.damp_alarm
        else:
            in_damp = damp / (damp - self.damp_alarm)
        return self.level(magn, damp) + in_magn * in_damp

    def sure_event(self, magn, damp):
        """Key of the event, or nothing if a small error of magnitude or damping ratio would change it."""
        keys = {self.EVENT_OF_LEVEL[self.level(magn * m, damp + d)] for m in (0.85, 1, 1.15) for d in (-0.008, 0, 0.008)}
        return keys.pop() if len(keys) == 1 else None


@dataclass
class Mode:
    """One swing mode of a job, with what was reported of it."""
    job: "Job"
    ident: int
    low: float
    high: float
    unit: int
    window: float                                  # seconds that the spectrum of its band needs
    found: dict = field(default_factory=dict)      # data time -> (frequency, magnitude, damping, exposure, quality)
    events: list = field(default_factory=list)     # (data time, transition, key)
    writing: bool = False

    def stop(self):
        self.writing = False

    @property
    def label(self):
        return f"{self.low:.2f} to {self.high:.2f} Hz"


@dataclass
class Job:
    name: str
    is_power: bool
    limits: Limits
    heeds_split: bool
    ends: tuple          # the two places, and the line's reactance and the number of phases for a power job
    modes: list = field(default_factory=list)

    def magnitude_text(self, value):
        return f"{value / 1e6:.1f} MW" if self.is_power else f"{value:.2f} deg"


class Truth:
    """The scenario and the configuration: which swing each job sees, and how large."""

    def __init__(self, scenario_file, config_file):
        with open(scenario_file, encoding="utf-8") as file:
            self.scenario = json.load(file)
        start = datetime.fromisoformat(self.scenario["start"].replace("Z", "+00:00")).astimezone(timezone.utc)
        self.start_ticks = round(start.timestamp()) * TICKS_PER_S + TICKS_TO_1970
        self.duration = self.scenario["duration_s"]
        self.places = {p["name"]: p for p in self.scenario["places"]}
        self.swings = [Swing(entry) for entry in self.scenario.get("swings", [])]
        zone_events = [e for e in self.scenario.get("events", []) if e["key"] in ZONE_KEYS]
        begins = [e["at_s"] for e in zone_events if e["transition"] == "APP"]
        ends = [e["at_s"] for e in zone_events if e["transition"] == "DIS"] + [math.inf] * len(begins)
        self.splits = list(zip(begins, ends))
        self._read_config(ElementTree.parse(config_file).getroot())

    def _read_config(self, root):
        unit_of_point = {}
        for unit in root.iter("MeasurementUnit"):
            for point in unit.iter("Datapoint"):
                unit_of_point[int(point.get("Id"))] = int(unit.get("Id"))
        self.jobs = []
        self.mode_of_unit = {}
        self.mode_of_id = {}
        for oma in root.find("OMAs"):
            for job in oma.iter("Job"):
                self._read_job(job, unit_of_point)

    def _read_job(self, entry, unit_of_point):
        groups = [[int(i.get("RefID")) for i in group] for group in entry.find("InputGroups")]
        is_power = entry.get("JobMode") in ("0", "active-power")
        first, second = (self._pmu_of(group[0]) for group in groups)
        if is_power:
            line = next(li for li in self.scenario["lines"] if li["name"] == second["line"])
            far = line["to"] if line["from"] == second["place"] else line["from"]
            ends = (first["place"], far, line["reactance_Ohm"], len(groups[0]))
        else:
            ends = (first["place"], second["place"])
        job = Job(entry.get("Name"), is_power, Limits(entry), entry.get("IsUsingNTM") == "true", ends)
        sets = entry.find("SpectralDataSets")
        for mode in entry.find("PSModes"):
            low, high = float(mode.get("MinFrequency")), float(mode.get("MaxFrequency"))
            own = next((s for s in sets if float(s.get("LowerCutOffFrequency")) <= low), sets[-1])
            window = int(sets.get("NoOfSamples")) * int(own.get("SamplesMultiplier")) / self.scenario["rate"]
            unit = unit_of_point[int(mode.find("Outputs")[0].get("RefID"))]
            job.modes.append(Mode(job, int(mode.get("Id")), low, high, unit, window))
            self.mode_of_unit[unit] = self.mode_of_id[int(mode.get("Id"))] = job.modes[-1]
        self.jobs.append(job)

    def _pmu_of(self, datapoint):
        return next(p for p in self.scenario["pmus"] if datapoint in p["phases"].values())

    def seconds(self, ticks):
        return (ticks - self.start_ticks) / TICKS_PER_S

    def magnitude(self, job, swing, t):
        """Amplitude of a swing in the job's unit: from the angles by the equations of the network."""
        turn = swing.envelope(t)
        if not job.is_power:
            return turn * abs(swing.shape.get(job.ends[0], 0) - swing.shape.get(job.ends[1], 0))
        place, far, reactance, phases = job.ends

        def power(degrees):
            near_v, far_v = (cmath.rect(self.places[name]["voltage_V"], math.radians(
                self.places[name]["angle_deg"] + degrees * swing.shape.get(name, 0))) for name in (place, far))
            return phases * (near_v * ((near_v - far_v) / (1j * reactance)).conjugate()).real

        return abs(power(turn) - power(-turn)) / 2

    def swing_of(self, mode, t):
        """The largest swing within the limits of a mode: (swing, magnitude), or nothing."""
        inside = [(self.magnitude(mode.job, s, t), s) for s in self.swings if mode.low <= s.frequency <= mode.high]
        magnitude, swing = max(inside, key=lambda pair: pair[0], default=(0.0, None))
        return (swing, magnitude) if magnitude > 0.1 * mode.job.limits.magn_warn else None

    def is_echo(self, mode, frequency, t):
        """Whether a frequency is that of a swing that was there within the job's longest window."""
        window = max(m.window for m in mode.job.modes)
        return any(abs(frequency / s.frequency - 1) < 0.1 and self.swing_of(mode, past)
                   for s in self.swings for past in range(max(0, math.floor(t - window)), math.ceil(t)))

    def is_suspended(self, job, t, window=0.0):
        """Whether a job waits for the end of a split, or for the samples of a window behind it."""
        return job.heeds_split and any(begin - 1 <= t <= end + 2 + window for begin, end in self.splits)


# ---- what must be found ----------------------------------------------------------------------------------------------

@dataclass
class Check:
    what: str
    result: str
    ok: bool


class Judge:
    def __init__(self, truth):
        self.truth = truth

    def checks(self):
        for job in self.truth.jobs:
            for swing in self.truth.swings:
                mode = next((m for m in job.modes if m.low <= swing.frequency <= m.high), None)
                if mode is not None:
                    yield from self._swing(mode, swing)
            if job.heeds_split:
                for begin, end in self.truth.splits:
                    yield self._split(job, begin, end)
            yield self._event_order(job)

    def settled(self, mode, swing):
        """Seconds at which the window of the mode's band is full of this swing, alone in the mode and large enough."""
        floor = VISIBLE * mode.job.limits.magn_warn
        begin = swing.start + max(mode.window, 3 / swing.frequency)
        for t in range(math.ceil(begin), math.floor(min(swing.end, self.truth.duration - 1)) + 1):
            seen = self.truth.swing_of(mode, t)
            if (seen and seen[0] is swing and seen[1] >= floor
                    and not self.truth.is_suspended(mode.job, t, mode.window)):
                yield t

    def _swing(self, mode, swing):
        what = f"{mode.job.name:12} {swing.name}"
        times = list(self.settled(mode, swing))
        if len(times) < 4:
            return
        found = [(t, mode.found[t]) for t in times if t in mode.found and mode.found[t][4] == 0]
        if len(found) < SHARE_OF_PASSES * len(times):
            yield Check(what, f"reported in {len(found)} of {len(times)} passes", False)
            return
        frequency = statistics.median(values[0] for _, values in found)
        ratio = statistics.median(values[1] / self.truth.magnitude(mode.job, swing, t) for t, values in found)
        damping = statistics.median(values[2] for _, values in found)
        ok = (abs(frequency / swing.frequency - 1) <= TOLERANCE_FREQUENCY and abs(ratio - 1) <= TOLERANCE_MAGNITUDE
              and abs(damping - swing.damping) <= TOLERANCE_DAMPING)
        yield Check(what, f"{len(found)} of {len(times)} passes: {frequency:.3f} Hz (true {swing.frequency:.3f}), "
                          f"magnitude {100 * ratio:.0f} % of the true one, "
                          f"damping ratio {damping:+.4f} (true {swing.damping:+.4f})", ok)
        for key in sorted({k for k, _ in self._sure_events(mode, swing, times)}):
            due = [t for k, t in self._sure_events(mode, swing, times) if k == key]
            stood = sum(self._standing(mode, t) == key for t in due)
            yield Check(what, f"\"{EVENT_TEXT[key]}\" stood in {stood} of {len(due)} passes", stood * 2 >= len(due))

    def _sure_events(self, mode, swing, times):
        """(key, time) where the truth leaves no doubt, for events that are due for 4 s or more."""
        due = [(mode.job.limits.sure_event(self.truth.magnitude(mode.job, swing, t), swing.damping_at(t)), t)
               for t in times]
        return [(key, t) for key, t in due if key and sum(k == key for k, _ in due) >= 4]

    @staticmethod
    def _standing(mode, t):
        """Key of the event of a mode that stands behind the pass at t."""
        standing = None
        for at, transition, key in mode.events:
            if at <= t + 0.01:
                standing = key if transition == "APP" else None
        return standing

    def _split(self, job, begin, end):
        silent = all(not begin + 2 < t < end for mode in job.modes for t in mode.found)
        ended = all(self._standing(mode, begin + 2) is None for mode in job.modes)
        stood = any(self._standing(mode, begin - 2) is not None for mode in job.modes)
        back = any(t > end for mode in job.modes for t in mode.found)
        result = ("silent during the split" if silent else "NOT silent during the split") + (
            (", its events ended" if ended else ", its events did NOT end") if stood else "") + (
            ", back afterwards" if back else ", NOT back afterwards")
        return Check(f"{job.name:12} network split", result, silent and ended and back)

    @staticmethod
    def _event_order(job):
        wrong = 0
        total = 0
        for mode in job.modes:
            standing = None
            for _, transition, key in mode.events:
                total += 1
                wrong += (standing is not None) if transition == "APP" else (standing != key)
                standing = key if transition == "APP" else None
        return Check(f"{job.name:12} events", f"{total} came and went in pairs" if not wrong
                     else f"{wrong} of {total} do not fit their predecessor", wrong == 0 and total > 0)


# ---- what is shown ---------------------------------------------------------------------------------------------------

def filled_number(text):
    """A number of an event's text: filled with zeros on its left, a minus sign stands behind them."""
    return float(text[text.find("-"):] if "-" in text else text)


class Tail:
    """Complete lines of a growing file of JSON objects."""

    def __init__(self, path):
        self.path = path
        self.file = None
        self.rest = b""

    def read(self):
        if self.file is None:
            try:
                self.file = open(self.path, "rb")
            except FileNotFoundError:
                return []
        *lines, self.rest = (self.rest + self.file.read()).split(b"\n")
        return [json.loads(line) for line in lines if line.strip()]

    def close(self):
        if self.file is not None:
            self.file.close()


class View:
    EVERY = 5   # seconds of data between two lines of a mode
    BEHIND = 2  # seconds of data that the display stays behind, for the two logs to meet

    def __init__(self, truth, verbose=True):
        self.truth = truth
        self.verbose = verbose
        self.clock = 0.0     # data time that is shown
        self.newest = 0.0    # data time that has been read
        self.last = {}       # by virtual PMU: data time of its last values
        self.waiting = []    # (data time, order within it, what to do)
        self.colour = sys.stdout.isatty() and "NO_COLOR" not in os.environ
        self.notes = sorted(self._notes(), key=lambda note: note[0])
        # In short: a line for each swing and split, when the next one begins.
        lines = [(s.start, lambda s=s: self.swing_line(s)) for s in truth.swings]
        lines += [(begin, lambda b=begin, e=end: self.split_line(b, e)) for begin, end in truth.splits]
        lines.sort(key=lambda item: item[0])
        nexts = [begin - 1 for begin, _ in lines[1:]] + [truth.duration]
        self.summary = [(at, line) for at, (_, line) in zip(nexts, lines)]

    def _notes(self):
        for swing in self.truth.swings:
            kind = "grows" if swing.damping >= 0 else "decays"
            yield swing.start, (f"swing \"{swing.name}\" begins: {swing.frequency:.2f} Hz, "
                                f"damping ratio {swing.damping:+.3f}, it {kind}")
            if swing.end <= self.truth.duration and swing.damping_after is not None:
                yield swing.end, f"swing \"{swing.name}\" is damped from now on: {swing.damping_after:+.3f}"
            elif swing.end <= self.truth.duration:
                yield swing.end, f"swing \"{swing.name}\" ends"
        for begin, end in self.truth.splits:
            yield begin, "the network splits"
            if end <= self.truth.duration:
                yield end, "the network is closed again"

    def paint(self, code, text):
        return f"\033[{code}m{text}\033[0m" if self.colour else text

    @staticmethod
    def stamp(t):
        return f"{int(t) // 60:02d}:{int(t) % 60:02d}"

    def line(self, text=""):
        print(text, flush=True)

    def detail(self, text=""):
        if self.verbose:
            self.line(text)

    def found_line(self, swing, mode):
        """What was found of a swing in one job: when, frequency, largest magnitude, damping ratio, worst level."""
        times = list(Judge(self.truth).settled(mode, swing))
        passes = [mode.found[t] for t in times if t in mode.found]
        raised = [(t, key) for t, transition, key in mode.events
                  if transition == "APP" and swing.start <= t <= min(swing.end, self.truth.duration) + 5]
        if not passes or not raised:
            return None
        worst = min(key for _, key in raised)
        text = (f"{self.stamp(raised[0][0])}  {mode.job.name:12} {statistics.median(v[0] for v in passes):.3f} Hz  "
                f"{mode.job.magnitude_text(max(v[1] for v in passes)):>9}  "
                f"{statistics.median(v[2] for v in passes):+.3f}  {EVENT_TEXT[worst]}")
        return worst, text

    def swing_line(self, swing):
        modes = [m for j in self.truth.jobs for m in j.modes if m.low <= swing.frequency <= m.high]
        lines = [line for line in (self.found_line(swing, m) for m in modes) if line]
        found = min(lines, key=lambda line: line[0])[1] if lines else "not to be seen: too small, or too short"
        self.line(f"  {self.stamp(swing.start)}  {swing.name:16} {swing.frequency:.3f} Hz  {swing.damping:+.3f} | {found}")

    def split_line(self, begin, end):
        checks = [Judge(self.truth)._split(j, begin, end) for j in self.truth.jobs if j.heeds_split]
        self.line(f"  {self.stamp(begin)}  {'network split':16} until {self.stamp(end)}      | "
                  + "; ".join(f"{c.what.split()[0]} {c.result}" for c in checks))

    def head(self):
        self.line(self.truth.scenario.get("name", "Scenario"))
        if not self.verbose:
            self.line()
            self.line(f"  {'true':40} | found, from when on")
            return
        for job in self.truth.jobs:
            limits = job.limits
            kind = "active power" if job.is_power else "voltage angle"
            self.line(f"  {job.name:12} {kind} {' to '.join(job.ends[:2])}, limits "
                      f"{job.magnitude_text(limits.magn_warn)} and {job.magnitude_text(limits.magn_alarm)}, "
                      f"damping ratio {limits.damp_warn} and {limits.damp_alarm}")
        self.line("  echo: the swing is over, but still in the longest window of the analysis")
        self.line()
        self.line(f"{'':5}  {'':12} {'':16} | {'frequency, Hz':>14} | {'magnitude':>21} | {'damping ratio':>16} | "
                  f"{'exposure':>12}")
        self.line(f"{'time':5}  {'job':12} {'mode':16} | {'found':>6}  {'true':>6} | {'found':>10} {'true':>10} | "
                  f"{'found':>7}  {'true':>7} | {'found':>5}  {'true':>5}")

    def advance(self, t):
        """Brings the notes of what becomes true up to data time t."""
        self.clock = max(self.clock, t)
        while self.notes and self.notes[0][0] <= self.clock:
            at, text = self.notes.pop(0)
            self.detail(self.paint("36", f"{self.stamp(at)}  -- true: {text}"))

    def write(self, mode, t, values, quality):
        first = not mode.writing
        mode.writing = True
        mode.found[round(t)] = (*values, quality)
        if not first and round(t) % self.EVERY:
            return
        frequency, magnitude, damping, exposure = values
        seen = self.truth.swing_of(mode, t)
        true = ("-",) * 4
        remark = "" if quality == 0 else f"  quality {quality}"
        if not seen and self.truth.is_echo(mode, frequency, t):
            remark += "  echo"
        if seen:
            ratio = seen[0].damping_at(t)
            true = (f"{seen[0].frequency:.3f}", mode.job.magnitude_text(seen[1]), f"{ratio:+.3f}",
                    f"{mode.job.limits.exposure(seen[1], ratio):.2f}")
        self.detail(f"{self.stamp(t)}  {mode.job.name:12} {mode.label:16} | {frequency:6.3f}  {true[0]:>6} | "
                    f"{mode.job.magnitude_text(magnitude):>10} {true[1]:>10} | {damping:+7.3f}  {true[2]:>7} | "
                    f"{exposure:5.2f}  {true[3]:>5}{remark}")

    def event(self, t, entry):
        mode = self.truth.mode_of_id.get(entry["elementId"]) if entry["key"] in EVENT_TEXT else None
        transition = entry["transition"]
        colour = "32" if transition == "DIS" else "31" if entry["key"] in (4203, 4204) else "33"
        if mode is not None:
            mode.events.append((t, transition, entry["key"]))
            text = f"{EVENT_TEXT[entry['key']]:30} {mode.job.name} {mode.label}"
            if transition == "APP":  # a DIS repeats the values of its APP
                values = [filled_number(v) for v in entry["text"].partition("~")[2].split("|")]
                text += (f": {values[0]:.2f} Hz, {mode.job.magnitude_text(values[1])}, "
                         f"{values[2]:+.3f}, {values[3]:.2f}")
        elif entry["key"] in ZONE_KEYS:
            text = f"{'Zones of the network':30} {entry['text']}"
        else:
            text = f"{OTHER_TEXT.get(entry['key'], 'Event %d' % entry['key']):30} {entry['text']}"
        self.detail(self.paint(colour, f"{self.stamp(t)}  {transition} {text}"))

    def collect(self, channels, events):
        """Takes what the logs have brought; the two files may be a little apart."""
        for entry in channels:
            mode = self.truth.mode_of_unit.get(entry["pmu"])
            if entry["op"] == "write":
                t = self.last[entry["pmu"]] = self.truth.seconds(entry["time"])
                self.newest = max(self.newest, t)
                if mode is not None:
                    self.waiting.append((t, 1, lambda m=mode, e=entry, at=t: self.write(m, at, e["values"],
                                                                                        e["quality"])))
            elif entry["op"] == "stop" and mode is not None:
                self.waiting.append((self.last.get(entry["pmu"], self.newest), 2, mode.stop))
        for entry in events:
            t = self.truth.seconds(entry["time"])
            # Events that the link stamped itself carry the time of day, not that of the data.
            t = t if 0 <= t <= self.truth.duration else self.newest
            self.waiting.append((t, 0, lambda e=entry, at=t: self.event(at, e)))

    def show(self, until):
        """Shows in the order of data time what lies before a time; events stand ahead of the values of their pass."""
        self.waiting.sort(key=lambda item: item[:2])
        while self.waiting and self.waiting[0][0] <= until:
            t, _, action = self.waiting.pop(0)
            self.advance(t)
            action()
        self.advance(min(until, self.truth.duration))
        while not self.verbose and self.summary and self.summary[0][0] <= self.clock:
            self.summary.pop(0)[1]()

    def verdict(self):
        self.line()
        self.detail("What must be found:")
        good = True
        count = 0
        for check in Judge(self.truth).checks():
            count += 1
            good = good and check.ok
            if self.verbose or not check.ok:
                self.line(("  ok      " if check.ok else self.paint("31", "  MISSED  "))
                          + f"{check.what:30} {check.result}")
        self.detail()
        if count == 0:
            self.line("Nothing is expected of this scenario, so nothing can be said.")
        else:
            found = "All was found." if self.verbose else f"All was found: {count} checks."
            self.line(self.paint("32", found) if good else self.paint("31", "Not all was found."))
        return 0 if good and count else 1


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--scenario", required=True, help="scenario that the server plays")
    parser.add_argument("--config", required=True, help="configuration of the application")
    parser.add_argument("--log-dir", required=True, help="directory of events.jsonl and channels.jsonl")
    parser.add_argument("--done", required=True, help="file that appears when the scenario has been played")
    parser.add_argument("--verbose", action="store_true", help="every report beside the truth, not only a line a swing")
    parser.add_argument("--limit", type=float, default=600, help="give up after so many seconds (default 600)")
    args = parser.parse_args()

    truth = Truth(args.scenario, args.config)
    channels = Tail(os.path.join(args.log_dir, "channels.jsonl"))
    events = Tail(os.path.join(args.log_dir, "events.jsonl"))
    view = View(truth, args.verbose)
    view.head()
    deadline = time.monotonic() + args.limit
    done = False
    while not done:
        done = os.path.exists(args.done) or time.monotonic() > deadline or view.newest >= truth.duration + 1
        view.collect(channels.read(), events.read())
        view.show(math.inf if done else view.newest - View.BEHIND)
        if not done:
            time.sleep(0.1)
    channels.close()
    events.close()
    return view.verdict()


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
