#!/usr/bin/python3
"""Draws a result file of the application to a picture.

  OMA_<job>_PsmExt.dat   spectrum with the fitted peaks; for each peak the time signal of its band, with half-cycle extremes
  OMA_<job>_FFT.dat      amplitude and phase of each channel
  OMA_<job>.csv          frequency, magnitude, damping ratio and degree of exposure of the modes over time

The kind of file is known by its content. The exit status is 2, with one line that says why, if nothing could be drawn.
"""
import argparse
import math
import re
import sys
from pathlib import Path

CSV_HEAD = "Name,ID,IPAddr,Port,IPtype,Timebase,FNOM,REPRATE,CoordType"
CSV_UNITS = {"VA": "magnitude in VA", "degree": "magnitude in degrees"}
FFT_LINE = re.compile(r" *(\d+): {4}magn = *(\S+) {4}phas = *(\S+)")
VALUE = re.compile(r"-?(?:\d+\.\d{3}|inf|nan)")  # every value has three decimals, also where no blank parts two of them
RATES_HZ = (10, 12, 15, 20, 25, 30, 50, 60, 100, 120)


class Unusable(Exception):
    pass


# ---- reading ---------------------------------------------------------------------------------------------------------

def read_lines(path):
    try:
        lines = Path(path).read_text(encoding="utf-8-sig").splitlines()
    except (OSError, UnicodeDecodeError) as error:
        raise Unusable(getattr(error, "strerror", None) or "no text file") from None
    if not lines:
        raise Unusable("the file is empty")
    return lines


def numbers(texts, number):
    try:
        return [float(text) for text in texts]
    except ValueError as error:
        raise Unusable(f"line {number}: {error}") from None


def read_csv(lines):
    """Times in s, unit of the magnitude, and of each mode its name and four columns."""
    if len(lines) < 4:
        raise Unusable(f"{len(lines)} lines, expected four head lines and data")
    ids, units = lines[2].split(","), lines[3].split(",")
    modes = units.count("Hz")
    if modes == 0:
        raise Unusable("line 4: no mode, expected columns in Hz")
    # The number of phasor columns depends on both PMUs, so the modes are counted from the end of the line.
    rows = [numbers(line.split(","), number) for number, line in enumerate(lines[4:], 5)]
    for number, row in enumerate(rows, 5):
        if len(row) < 1 + 4 * modes or len(row) != len(rows[0]):
            raise Unusable(f"line {number}: {len(row)} fields, expected {max(len(rows[0]), 1 + 4 * modes)}")
    if not rows:
        raise Unusable("no data behind the head lines")
    first = len(rows[0]) - 4 * modes
    columns = list(zip(*rows))
    names = [f"channels {i}, ..." for i in ids[-4 * modes::4]]
    return ([t / 1000 for t in columns[0]], CSV_UNITS.get(units[-3], units[-3]),
            [(names[m], columns[first + 4 * m:first + 4 * m + 4]) for m in range(modes)])


def read_fft(lines):
    """log10 of the squared magnitude, and the phase in degrees, of each channel."""
    rows = []
    for number, line in enumerate(lines, 1):
        match = FFT_LINE.fullmatch(line)
        if not match or int(match[1]) != number:
            raise Unusable(f'line {number}: expected "{number}:    magn = ...    phas = ..."')
        rows.append(numbers(match.groups()[1:], number))
    return rows


def read_psm(lines):
    """Sets by name. Of a name that comes more than once the last one stays."""
    sets = {}
    for number, line in enumerate(lines, 1):
        name, values = line[:10].rstrip(), [float(v) for v in VALUE.findall(line[10:])]
        counted = line[10:15].strip() if name not in ("TimeStep", "FreqStep") and not name.startswith("PeakPars") else None
        if not name or (counted is not None and counted != str(len(values))):
            raise Unusable(f"line {number}: {len(values)} values of {name!r}, expected {counted or 'a name'}")
        sets[name] = values
    for name in ("TimeStep", "TimeData", "FreqStep", "Magn"):
        if not sets.get(name):
            raise Unusable(f"no set {name!r}")
    return sets


# ---- drawing ---------------------------------------------------------------------------------------------------------

def exact_rate(step_s):
    """Samples a second of a step that was rounded to a millisecond."""
    near = [r for r in RATES_HZ if abs(1 / r - step_s) <= 0.0005]
    return float(min(near, key=lambda r: abs(1 / r - step_s))) if near else 1 / step_s if step_s > 0 else 1.0


def half_cycle_extremes(signal):
    """Index of the extreme of each whole half cycle."""
    found, best = [], None
    for i in range(1, len(signal)):
        if signal[i] * signal[i - 1] < 0:
            if best is not None:
                found.append(best)
            best = i
        elif best is not None and abs(signal[i]) > abs(signal[best]):
            best = i
    return found


def draw_csv(plt, lines, _options):
    times, magnitude, modes = read_csv(lines)
    figure, axes = plt.subplots(4, 1, sharex=True, figsize=(9, 8))
    labels = ("frequency in Hz", magnitude, "damping ratio", "degree of exposure")
    for axis, label, column in zip(axes, labels, range(4)):
        for name, columns in modes:
            if not any(columns[0]):
                continue  # this mode was never alive
            # Until a mode has its first values it stands at 0.
            shown = [v if f else math.nan for v, f in zip(columns[column], columns[0])]
            axis.plot(times, shown, drawstyle="steps-post", label=name)
        axis.set_ylabel(label)
        axis.grid(alpha=0.3)
    axes[2].axhline(0, color="grey", linewidth=0.8)
    if axes[0].lines:
        axes[0].legend(fontsize="small")
    axes[-1].set_xlabel("time since the first row in s")
    return figure


def draw_fft(plt, lines, options):
    rows = read_fft(lines)
    count = len(rows)
    width = options.rate / (2 * count) if options.rate else 1.0
    x = [k * width for k in range(count)]
    try:
        height = [10 ** (magn / 2) / count for magn, _ in rows]
    except OverflowError:
        raise Unusable("a magnitude beyond any number") from None
    figure, (upper, lower) = plt.subplots(2, 1, sharex=True, figsize=(9, 6))
    upper.semilogy(x[1:], [h if h > 0 else math.nan for h in height[1:]])  # channel 0 is the mean
    upper.set_ylabel("amplitude")
    lower.plot(x[1:], [phase for _, phase in rows[1:]], ".", markersize=3)
    lower.set_ylabel("phase in degrees")
    lower.set_xlabel("frequency in Hz" if options.rate else "channel")
    if options.fmax:
        lower.set_xlim(0, options.fmax)
    for axis in (upper, lower):
        axis.grid(alpha=0.3)
    return figure


def draw_psm(plt, lines, options):
    sets = read_psm(lines)
    rate = options.rate or exact_rate(sets["TimeStep"][0])
    width = rate / len(sets["TimeData"])
    peaks = [n for n in range(1, 5) if len(sets.get(f"PeakPars {n}", [])) == 4 and f"IFFT{n}" in sets]
    figure, axes = plt.subplots(1 + max(1, len(peaks)), 1, figsize=(9, 3 + 2.2 * max(1, len(peaks))))
    frequencies = [k * width for k in range(len(sets["Magn"]))]
    top = options.fmax or min(2.0 * max((sets[f"PeakPars {n}"][0] for n in peaks), default=rate / 4), rate / 2)
    shown = [k for k, f in enumerate(frequencies) if k > 0 and f <= top] or [0]
    axes[0].plot(frequencies[1:], sets["Magn"][1:], color="0.3", label="spectrum")
    for place, n in enumerate(peaks):
        color, (frequency, _, _, ratio) = f"C{place}", sets[f"PeakPars {n}"]
        axes[0].plot(frequencies, sets[f"Peak{n}"], color=color, linestyle="--",
                     label=f"fit {n}: {frequency:.3f} Hz, ratio of its width {ratio:.3f}")
        signal = sets[f"IFFT{n}"]
        extremes = half_cycle_extremes(signal)
        axes[1 + place].plot([i / rate for i in range(len(signal))], signal, color=color)
        axes[1 + place].plot([i / rate for i in extremes], [signal[i] for i in extremes], "k.")
        axes[1 + place].set_ylabel(f"band of peak {n}")
    if not peaks:
        axes[1].plot([i / rate for i in range(len(sets["TimeData"]))], sets["TimeData"], color="0.3")
        axes[1].set_ylabel("samples (no peak)")
    high = max((sets["Magn"][k] for k in shown if math.isfinite(sets["Magn"][k])), default=1.0)
    axes[0].set(xlim=(0, top), ylim=(0, 1.15 * high or 1.0), xlabel="frequency in Hz", ylabel="amplitude")
    axes[0].legend(fontsize="small")
    axes[-1].set_xlabel("time since the oldest sample in s")
    for axis in axes:
        axis.grid(alpha=0.3)
    return figure


def kind_of(lines):
    if lines[0] == CSV_HEAD:
        return draw_csv
    if FFT_LINE.fullmatch(lines[0]):
        return draw_fft
    if lines[0].startswith("TimeStep  "):
        return draw_psm
    raise Unusable("neither a CSV of a job nor an _FFT.dat nor a _PsmExt.dat file")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("file", help="result file of a job")
    parser.add_argument("-o", "--output", help="picture, .png or .svg; default: FILE.png beside the file")
    parser.add_argument("--rate", type=float, help="samples a second; needed for Hz below an _FFT.dat")
    parser.add_argument("--fmax", type=float, help="highest frequency shown, Hz")
    options = parser.parse_args()
    output = options.output or options.file + ".png"
    try:
        if any(v is not None and not 0 < v < math.inf for v in (options.rate, options.fmax)):
            raise Unusable("--rate and --fmax are numbers above 0")
        lines = read_lines(options.file)
        draw = kind_of(lines)
        try:
            import matplotlib
            matplotlib.use("Agg")
            matplotlib.rcParams["svg.hashsalt"] = "oma"  # the same file gives the same picture
            import matplotlib.pyplot as plt
        except ImportError:
            raise Unusable("needs the package python3-matplotlib") from None
        figure = draw(plt, lines, options)
        figure.suptitle(Path(options.file).name)
        figure.tight_layout()
        try:
            figure.savefig(output, dpi=80, metadata={"Date": None} if output.endswith(".svg") else None)
        except (OSError, ValueError) as error:
            raise Unusable(f"cannot write {output}: {getattr(error, 'strerror', None) or error}") from None
    except Unusable as error:
        print(f"result_view: {options.file}: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
