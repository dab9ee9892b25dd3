"""docs/accuracy.md: described outputs, second estimate and bound, side by side. Run by ./accuracy: accuracy.py BIN_DIR OUT."""
import argparse
import contextlib
import json
import math
import os
import random
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "system"))

VOLT, LEVEL, SIZE, NOISE = 230000.0, 300e6, 20e6, 20e6 * math.sqrt(0.5 / 100.0)  # 20 dB
MODES = [(0.05, 0.2), (0.2, 0.8), (0.8, 3.0)]
FREQS, RATIOS = (0.12, 0.4, 0.9, 1.7), (-0.1, -0.03, -0.01, 0.0, 0.005, 0.02)
QUIET_S, SWING_S = 120.0, 60.0


def mode_of(freq):
    return next(i for i, (lo, hi) in enumerate(MODES) if lo <= freq < hi)


def job(h, index):
    """A one-phase line power with three modes; all ids of a job lie in a thousand of their own."""
    base = 10000 + 100 * index
    modes = [{"id": base + m, "unit_id": base + 10 + m, "min": lo, "max": hi,
              "outputs": [base + 20 + 4 * m + i for i in range(4)]} for m, (lo, hi) in enumerate(MODES)]
    return {**h.POWER_JOB, "name": f"LINE_{index}", "id": base + 50, "output_ref_id": base + 60,
            "magnitude": {"nominal": SIZE, "warning": 0.2, "alarm": 0.5},
            "modes": {"samples": 10, "reporting_rate": 1, "list": modes},
            "pmu1": {"id": 101, "signal": 0, "phasors": [1011]},
            "pmu2": {"id": base + 70, "signal": 1, "phasors": [base + 71]}}


def play(h, bin_dir, folder, cases, seed):
    """Plays one recording with a job a case through vds and oma. Channels as they were written."""
    os.environ["OMA_BIN_DIR"] = str(bin_dir)
    h.BIN = Path(bin_dir)
    rng = random.Random(seed)
    jobs = [job(h, i) for i in range(len(cases))]
    onsets = [QUIET_S + rng.random() for _ in cases]
    phases = [rng.random() * 2 * math.pi for _ in cases]
    with open(folder / "rec.csv", "w") as f:
        f.write("time;1011.magn;1011.angle" + "".join(f";{j['pmu2']['phasors'][0]}.magn;{j['pmu2']['phasors'][0]}.angle"
                                                      for j in jobs) + "\n")
        for i in range(int((QUIET_S + SWING_S) * 50)):
            t = i / 50
            row = [h.iso(h.grid_ticks(i, 50)), "230000", "0"]
            for (freq, ratio), onset, phase in zip(cases, onsets, phases):
                p = LEVEL + rng.gauss(0, NOISE)
                if t >= onset:
                    w = 2 * math.pi * freq
                    p += SIZE * math.exp(w * ratio / math.sqrt(1 - ratio * ratio) * (t - onset)) * math.cos(w * (t - onset) + phase)
                row += [f"{p / VOLT:.10g}", "0"]
            f.write(";".join(row) + "\n")
    ports = h.free_ports()
    config = folder / "grid.xml"
    config.write_text(h.config_xml(ports, jobs=jobs))
    with contextlib.ExitStack() as stack:
        vds = h.Process("vds", [h.BIN / "vds", f"-xml:{config}", "--log-dir", folder, "--log-measurements", "--replay",
                                folder / "rec.csv", "--speed", "max", "--once"], folder)
        stack.callback(vds.kill)
        oma = h.Process("oma", [h.BIN / "oma", f"-xml:{config}", "-INFO"], folder)
        stack.callback(oma.kill)
        if vds.wait(600) != 0:
            raise SystemExit(vds.text()[-2000:])
        oma.stop()
    return jobs, onsets, h.read_jsonl(folder / "channels.jsonl")


def second(bin_dir, case, values, standing):
    lo, hi = MODES[mode_of(case[0])]
    text = [f"job 50 {lo} {hi}"]
    for n, (ticks, value, quality) in enumerate(values):
        text.append(f"v {ticks} {value!r} {quality}")
        if n % 50 == 49:
            text.append(f"e {int(ticks // 10_000_000 in standing)}")
    r = subprocess.run([Path(bin_dir) / "accuracy_replay"], input="\n".join(text), capture_output=True, text=True, check=True)
    return [json.loads(line) for line in r.stdout.splitlines()]


def bound(freq, ratio, span):
    """Cramer-Rao bound of frequency and ratio, span seconds at 50 a second, 20 dB, averaged over the phase."""
    import numpy as np
    w, t = 2 * math.pi * freq, np.arange(int(span * 50)) / 50
    s = w * ratio / math.sqrt(1 - ratio * ratio)
    f = z = 0.0
    for phase in (0.4, 0.4 + math.pi / 4, 0.4 + math.pi / 2, 0.4 + 3 * math.pi / 4):
        c, d = np.exp(s * t) * np.cos(w * t + phase), np.exp(s * t) * np.sin(w * t + phase)
        cov = np.linalg.inv(np.array(j := [c, -d, t * c, -t * d, np.ones_like(t)]) @ np.array(j).T) * 0.5 / 100
        f, z = f + cov[3, 3] / 4, z + cov[2, 2] / 4
    return math.sqrt(f) / (2 * math.pi), math.sqrt(z) / w


def real_programs(bin_dir, repeats):
    """Rows of the table through the real programs: one for each frequency and ratio."""
    import harness as h
    cases = [(f, z) for f in FREQS for z in RATIOS if z * f * 2 * math.pi * SWING_S < 3.0]
    rows = {c: {"df": [], "dz": [], "sf": [], "sz": [], "d_wrong": 0, "s_wrong": 0, "d_first": [], "s_right": []} for c in cases}
    for repeat in range(repeats):
        with tempfile.TemporaryDirectory(prefix="oma-accuracy-") as tmp:
            jobs, onsets, channels = play(h, bin_dir, Path(tmp), cases, 100 + repeat)
        writes = {}
        for line in channels:
            if line["op"] == "write":
                writes.setdefault(line["pmu"], []).append((line["time"], line["values"], line["quality"]))
        for case, j, onset in zip(cases, jobs, onsets):
            judge(bin_dir, case, j, onset, writes, rows[case])
    return rows


def judge(bin_dir, case, j, onset, writes, row):
    import harness as h
    start = h.START_TICKS
    unit = j["modes"]["list"][mode_of(case[0])]["unit_id"]
    described = [((t - start) / 1e7 - onset, v) for t, v, q in writes.get(unit, []) if q == 0 and (t - start) / 1e7 > onset]
    values = [(t, v[0], q) for t, v, q in writes.get(j["id"] + 300, [])]
    standing = {t // 10_000_000 for t, _, _ in writes.get(unit, [])}
    estimates = [((e["time"] - start) / 1e7 - onset, e) for e in second(bin_dir, case, values, standing)]
    estimates = [(a, e) for a, e in estimates if a > 0]
    end = 4 / case[0]
    at = [v for a, v in described if end <= a <= end + 2.0]
    if at:
        row["df"].append(at[0][0] - case[0])
        row["dz"].append(at[0][2] - case[1])
    at = [e for a, e in estimates if end <= a <= end + 2.0 and e["swings"]]
    if at:
        row["sf"].append(at[0]["freq"] - case[0])
        row["sz"].append(at[0]["ratio"] - case[1])
    if described:
        row["d_first"].append(described[0][0])
    right = 2 if abs(case[1]) <= 0.002 else 1 if case[1] < 0 else 3
    row["d_wrong"] += case[1] < 0 and any(v[2] >= 0 for a, v in described if a <= end)
    row["s_wrong"] += case[1] < 0 and any(e["verdict"] == 3 for a, e in estimates)
    said = [a for a, e in estimates if e["verdict"] == right]
    if said:
        row["s_right"].append(said[0])


def rms(values):
    return math.sqrt(statistics.fmean(v * v for v in values)) if values else float("nan")


def num(value, digits=2):
    return "-" if value is None or math.isnan(value) or value < 0 else f"{value:.{digits}f}"


def real_table(rows, repeats):
    lines = ["| Hz | ratio | bound f, mHz | described f | second f | bound ratio | described ratio | second ratio | decaying swing "
             "called undamped: described | growing: second | first output, s | right verdict, s |",
             "|" + "---|" * 12]
    for (freq, ratio), r in rows.items():
        bf, bz = bound(freq, ratio, 4 / freq + 1)
        first = statistics.median(r["d_first"]) if r["d_first"] else None
        said = statistics.median(r["s_right"]) if len(r["s_right"]) > repeats / 2 else None
        wrong = (f"{r['d_wrong']} of {repeats}", f"{r['s_wrong']} of {repeats}") if ratio < 0 else ("", "")
        lines.append(f"| {freq} | {ratio} | {1e3 * bf:.2f} | {num(rms(r['df']) / bf, 1)} | {num(rms(r['sf']) / bf)} | {bz:.5f} "
                     f"| {num(rms(r['dz']) / bz, 1)} | {num(rms(r['sz']) / bz)} | {wrong[0]} | {wrong[1]} | {num(first, 1)} "
                     f"| {num(said, 1)} |")
    return "\n".join(lines)


def percent(value):
    return f"{100 * value:.1f}"


def swing_table(rows):
    lines = ["| signal | Hz | ratio | SNR dB | rate | periods | runs | known % | f: error / bound | f: bias, bounds | f: covered % "
             "| ratio: error / bound | ratio: bias, bounds | ratio: covered % | amplitude: covered % | onset: error, s "
             "| right verdict % | its median, periods | decaying | steady | growing | forced | ms |", "|" + "---|" * 23]
    for r in rows:
        if r["class"] == "ambient":
            continue
        known = r["known"] > 0
        bias = [f"{r[x + '_bias'] / r[x + '_bound']:+.2f}" if known else "-" for x in "fz"]
        cov = [percent(r[x + "_cov"]) if known else "-" for x in "fza"]
        lines.append(f"| {r['class']} | {r['freq']} | {r['ratio']} | {r['snr']} | {r['rate']} | {r['periods']:g} | {r['runs']} "
                     f"| {percent(r['known'])} | {num(r['f_rms'])} | {bias[0]} | {cov[0]} | {num(r['z_rms'])} | {bias[1]} | {cov[1]} "
                     f"| {cov[2]} | {num(r['onset_rms'])} | {percent(r['right'])} | {num(r['latency'], 1)} | {r['decaying']} "
                     f"| {r['steady']} | {r['growing']} | {r['forced']} | {r['ms']:.2f} ({r['ms_99']:.2f}) |")
    return "\n".join(lines)


def ambient_table(rows):
    lines = ["| Hz | ratio | minutes | runs | f: error, mHz | f: covered % | ratio: error | bound | bias | ratio: covered % | ms |",
             "|" + "---|" * 11]
    for r in (r for r in rows if r["class"] == "ambient"):
        lines.append(f"| {r['freq']} | {r['ratio']} | {r['minutes']:g} | {r['runs']} | {1e3 * r['f_rms']:.2f} | {percent(r['f_cov'])} "
                     f"| {r['z_rms']:.4f} | {r['z_bound']:.4f} | {r['z_bias']:+.4f} | {percent(r['z_cov'])} | {r['ms']:.1f} |")
    return "\n".join(lines)


def goals(rows):
    """The promises, held against this run."""
    main = [r for r in rows if r["class"] == "onset"]
    decays = [r for r in main if r["ratio"] < 0]
    pick = {(r["freq"], r["ratio"]): r for r in main}
    amb = next(r for r in rows if r["class"] == "ambient" and r["minutes"] == 20 and r["freq"] == 0.4 and r["ratio"] == -0.05)
    covered = [100 * r[x + "_cov"] for r in main for x in "fz"]
    late = max(pick[f, z]["latency"] if pick[f, z]["latency"] > 0 else math.inf for f in FREQS for z in (-0.03, 0.02))
    table = [("frequency from 4 periods, 20 dB, error over the bound, worst row", "at most 2", max(r["f_rms"] for r in main), 2.0),
             ("damping ratio, the same", "at most 2", max(r["z_rms"] for r in main), 2.0),
             (f"\"growing\" said of a decaying swing, in {sum(r['runs'] for r in decays)} onsets", "0",
              sum(r["growing"] for r in decays), 0),
             ("periods until the right verdict, -0.03 and +0.02, median, worst row", "at most 4", late, 4.0),
             ("ambient, 0.4 Hz at -0.05, 20 minutes, error of the ratio", "at most 0.008", amb["z_rms"], 0.008),
             ("an estimate, ms, median of the slowest row", "at most 2.5", max(r["ms"] for r in main), 2.5),
             ("true value within two deviations, % of runs, lowest row", "at least 93", min(covered), -93.0),
             ("the same, highest row", "at most 97", max(covered), 97.0)]
    lines = ["| figure | goal | this run | met |", "|---|---|---|---|"]
    for what, goal, value, limit in table:
        met = value >= -limit if limit < 0 else value <= limit
        lines.append(f"| {what} | {goal} | {value:.3g} | {'yes' if met else 'NO'} |")
    return "\n".join(lines)


TEXT = """# How accurate the figures are

`./accuracy` writes this page: seeded, in one run. It compares the outputs of the analysis (frequency, damping ratio, as they
go to the server) with the second estimate of `refine/` and with the Cramér-Rao bound, the least error that any unbiased
estimate can have on the same samples.

**Short answer.** In white noise at 20 dB the second estimate works at 1.0 to 1.2 times the bound in most rows; a few rows are
spoilt by single runs that are far off (below). The table says where a goal is missed. Read "Where it is weak" before you
rely on a figure.

{goals}

## What the words mean

- **SNR**: A²/2 over the variance of the noise of one sample, so over the full band of the sampling rate; A is the
  amplitude at the onset. 20 dB at 50 a second is noise of 7 % of A on each sample.
- **Error / bound**: root mean square error over the bound of all samples from the onset on (60 s at most), with
  amplitude, phase and mean unknown. Bias is given in bounds.
- **Covered**: runs in which the truth lies within two of the deviations that come with the estimate; 95.4 % is ideal.
- **Right verdict**: decaying, steady (|ratio| ≤ 0.002) or growing. "decaying", "steady", "growing", "forced" count the runs in
  which the word was said at least once, with one estimate a second from the onset on: a harder count than one at the end.
- **ms**: processor time of one estimate, median (99th percentile).
- Each run has 30 s of quiet, then the onset at a random instant and phase. The modes are 0.05-0.2, 0.2-0.8 and 0.8-3 Hz.

## Through the real programs

`vds` plays recordings with {repeats} onsets for each row to `oma` (windows of 256, 1024 and 4096 samples at 50 a second, 20 dB);
the described figures are those of the output channels, the second estimate runs on the measurement channel that `oma` writes.
Errors are in bounds, at the first output after 4 periods. "-": no output then.

{real}

## The second estimate alone

{swings}

With two swings, a hole or a new excitation the bound is still that of one swing without them: a ratio above 1 is in the
nature of the case. For "excited again" the samples before the second onset count in the bound but not in the estimate.

## Quiet times

A resonance that noise drives, with drift and measurement noise; spectral maximum likelihood. The bound is
sqrt(alpha / T) / omega for a resonance seen alone.

{ambient}

## Where it is weak

- **Single runs are far off** and spoil the mean square error of their row (1.7 Hz at -0.1, 0.9 Hz at 0), while coverage hardly
  moves. The suspicion, not yet traced in a failing run: such an onset is taken for a new excitation, and the estimate then
  rests on the last periods only.
- **A new excitation** of a swing that still stands is missed or misplaced in some 13 to 20 % of the runs, see "excited again".
- **Noise with a strong slow part and no swing** is called a swing at times, mostly a decaying one: see its row.
- **Fewer than 4 periods**: at 2 periods two deviations hold 88 %.
- **Steady is hard to prove fast.** To tell 0 from ±0.002 at 1.7 Hz and 20 dB takes more than 4 periods; until then the verdict
  is "unknown", and a ratio of +0.005 is called growing late.
- **Two close swings beat.** Until the beat has been seen for about half its period, one growing or decaying swing
  explains the samples as well, and the verdict follows it: see "growing" and "decaying" in those rows. Once both are
  told apart, the figures are right.
- **A soft onset** (seconds instead of an instant) is placed somewhere within its rise, and its deviation does not say so.
- **Coloured noise** is whitened to first order only, from the quiet time before the onset. Deviations then hold for most
  but not all runs, as the rows say; without quiet time before it nothing is whitened.
- **A steady sinusoid** has no origin: forced or undamped, the samples do not say. "Forced" needs harmonics, and a natural
  swing that is large enough to be distorted has them, too.
- **Onset**: for growing swings and short blocks its deviation is too small by up to a third.
- **Ambient**: the ratio is biased by up to 0.003 towards less damping in the fastest mode.
- The noise here is Gaussian, and swings are exponentials. Field data are neither.
"""


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin_dir")
    parser.add_argument("out")
    parser.add_argument("--runs", type=int, default=1000, help="realisations of the main rows")
    parser.add_argument("--repeats", type=int, default=10, help="recordings through the real programs")
    parser.add_argument("--montecarlo", help="lines of an earlier run of accuracy_montecarlo instead of a new one")
    a = parser.parse_args()
    bin_dir = Path(a.bin_dir).resolve()
    print("accuracy: recordings through vds and oma", file=sys.stderr)
    real = real_table(real_programs(bin_dir, a.repeats), a.repeats)
    print("accuracy: realisations", file=sys.stderr)
    if a.montecarlo:
        text = Path(a.montecarlo).read_text()
    else:
        text = subprocess.run([bin_dir / "accuracy_montecarlo", str(a.runs)], stdout=subprocess.PIPE, text=True, check=True).stdout
    rows = [json.loads(line) for line in text.splitlines()]
    page = TEXT.format(goals=goals(rows), real=real, repeats=a.repeats, swings=swing_table(rows), ambient=ambient_table(rows))
    Path(a.out).write_text(page)
    print(goals(rows))


if __name__ == "__main__":
    main()
