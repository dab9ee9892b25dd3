"""Prints the table of docs/performance.md and draws its plot. Run by ./measure:
measure.py BIN_DIR [--quick | --plots].
"""
import argparse
import json
import os
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent


class Measurement:
    def __init__(self, bin_dir):
        self.bin = Path(bin_dir).resolve()
        self.results = {}
        self.misses = 0

    def bench(self, program, case, counter):
        """A counter of a benchmark; each program runs only once."""
        if program not in self.results:
            r = subprocess.run([self.bin / program, "--benchmark_format=json"], capture_output=True, text=True, check=True)
            self.results[program] = {b["name"].split("/iterations")[0].split("/manual_time")[0]: b
                                     for b in json.loads(r.stdout)["benchmarks"]}
        return self.results[program][case][counter]

    def load(self, *args):
        r = subprocess.run([sys.executable, HERE / "load.py", *map(str, args)], capture_output=True, text=True,
                           env={**os.environ, "OMA_BIN_DIR": str(self.bin)})
        if r.returncode != 0:
            raise SystemExit(r.stderr)
        return json.loads(r.stdout)

    def row(self, figure, goal, value, text=None, least=False):
        """One line of the table; goal None: a figure without a goal."""
        met = goal is None or (value >= goal if least else value <= goal)
        self.misses += not met
        wanted = "" if goal is None else f"at {'least' if least else 'most'} {goal:g}"
        print(f"| {figure} | {wanted} | {text or format(value, '.3g')} | {'' if goal is None else 'yes' if met else 'NO'} |",
              flush=True)


def table(m, quick):
    print("| Figure | Goal | Measured | Met |\n|---|---|---|---|")
    for case, what, goal in (("BM_Pass_Peaks", "with peaks in all three windows", 2.0),
                             ("BM_Pass_NoPeak", "without a peak", 1.5)):
        got = {name: m.bench("bench_pass", case, name)
               for name in ("ratio", "pass_us", "transforms_us", "transforms", "peaks")}
        m.row(f"Pass of 512/2048/8192 samples {what}, in times of its {got['transforms']:.0f} transforms alone", goal,
              got["ratio"], f"{got['ratio']:.2f} ({got['pass_us']:.0f} us against {got['transforms_us']:.0f} us; "
              f"{got['peaks']:.0f} peaks)")
        m.row("Heap allocations of that pass", 20, m.bench("bench_pass", case, "allocs"))

    got = {name: m.bench("bench_receive", "BM_Receive", name) for name in ("ratio", "ns_phasor", "bare_ns_phasor", "allocs")}
    m.row("Receive with 300 three-phase PMUs and 300 jobs, no pass due, in times of a bare loop", 3.0, got["ratio"],
          f"{got['ratio']:.2f} ({got['ns_phasor']:.0f} ns against {got['bare_ns_phasor']:.0f} ns a phasor)")
    m.row("Heap allocations in it", 0, got["allocs"])
    got = {name: m.bench("bench_link", "BM_Link", name)
           for name in ("ratio", "ratio_99", "link_us", "link_us_99", "echo_us", "echo_us_99", "echo_one_core_us")}
    for part, suffix in (("median", ""), ("99th percentile", "_99")):
        ratio, link, echo = (got[name + suffix] for name in ("ratio", "link_us", "echo_us"))
        m.row(f"One cycle of 900 phasors through the link, in times of a TCP echo between two cores, {part}", 2.0, ratio,
              f"{ratio:.2f} ({link:.0f} us against {echo:.0f} us)")
    m.row("TCP echo with both ends on one core, us", None, got["echo_one_core_us"])
    pass_us = m.bench("bench_pass", "BM_Pass_Peaks", "pass_us")
    for jobs, seconds, interval_us in ((1, 2000, 400), (300, 400, 4000)):
        r = m.load(jobs, seconds, "--swings", "bursts", "--events", interval_us)
        what = f"From the sample that completes a PS cycle to the event, {jobs} {'job' if jobs == 1 else 'jobs'}"
        m.row(f"{what}, median, ms beyond one pass", 2.0 if jobs == 1 else None, (r["median_us"] - pass_us) / 1000,
              f"{(r['median_us'] - pass_us) / 1000:.2f} (of {r['events']} events: median {r['median_us'] / 1000:.2f} ms, "
              f"99th percentile {r['p99_us'] / 1000:.2f} ms)")

    seconds = 360 if quick else 3600
    r = m.load(100, seconds, "--speed", "max", "--places", 10, "--recording")
    m.row(f"Replay of {seconds} s of data at speed max, 100 jobs, in times of real time", 100, r["times_real_time"],
          f"{r['times_real_time']} ({r['wall_s']} s; processor: oma {r['cpu_oma_s']} s, vds {r['cpu_vds_s']} s)", least=True)
    seconds = 60 if quick else 600
    r = m.load(2000, seconds)
    m.row(f"Losses and gaps with 2000 jobs at 50 samples/s, {seconds} s at speed 1", 0, r["input_data_losses"] + r["gaps"],
          f"{r['input_data_losses']} losses, {r['gaps']} gaps (processor: oma {r['cpu_oma_s']} s, vds {r['cpu_vds_s']} s; "
          f"oma {r['MB_oma']:.0f} MB)")
    memory(m)


def memory(m):
    """All windows full, each job each job with a swing in progress."""
    few, many = (m.load(n, 240, "--speed", "max") for n in (100, 300))
    per_job = (many["MB_oma"] - few["MB_oma"]) / 200 * 1e6
    m.row("Resident memory of oma for one job more (512/2048/8192 samples, three modes), kB", None, per_job / 1000)


def plots(m):
    import matplotlib
    matplotlib.use("svg")
    import matplotlib.pyplot as plt
    figure, (left, right) = plt.subplots(1, 2, figsize=(11, 4))
    samples = [2 ** n for n in range(8, 17)]
    for counter, label in (("pass_us", "pass"), ("transforms_us", "its transforms alone")):
        left.loglog(samples, [m.bench("bench_pass", f"BM_Pass_Samples/{n}", counter) for n in samples], "o-", base=2,
                    label=label)
    left.set(xlabel="samples of the window", ylabel="time of a pass, us", title="One window with one swing")
    jobs = (10, 30, 100, 300, 1000, 2000, 4000)
    runs = [m.load(n, 240, "--speed", "max", "--swings", "none") for n in jobs]
    for process in ("oma", "vds"):
        right.loglog(jobs, [r[f"cpu_{process}_s"] / r["seconds"] for r in runs], "o-", label=process)
    right.set(xlabel="jobs, 50 samples/s, a pass a second", ylabel="processor seconds for a second of data",
              title="Server and application")
    for axes in (left, right):
        axes.grid(True, which="both", alpha=0.3)
        axes.legend()
    figure.tight_layout()
    figure.savefig(HERE.parent / "docs" / "performance.svg")
    print("docs/performance.svg")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin_dir")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--plots", action="store_true")
    args = parser.parse_args()
    m = Measurement(args.bin_dir)
    if args.plots:
        plots(m)
    else:
        table(m, args.quick)
        sys.exit(1 if m.misses else 0)


if __name__ == "__main__":
    main()
