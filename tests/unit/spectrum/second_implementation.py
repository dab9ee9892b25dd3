"""A second, simple implementation of the spectrum evaluation. Its results are compared with those of the application.

second_implementation.py PROGRAM [RUNS [SEED]]: PROGRAM is spectrum_runs, which evaluates the same runs. The two share
nothing but the input. All peaks, the spectrum and every trace line are compared.
"""
import cmath
import math
import random
import re
import subprocess
import sys
import tempfile

EPS = 1.1920929e-07
NAN, INF = math.nan, math.inf
RESO, GRID_QUAL = 1, 1


# ---- arithmetic with infinite values and NaN where Python raises an error ----
def div(a, b):
    if b != 0:
        return a / b
    return NAN if a == 0 or a != a else math.copysign(INF, a) * math.copysign(1, b)


def guarded(function, *args):
    try:
        return function(*args)
    except OverflowError:
        return INF
    except ValueError:
        return NAN


def log10(x):
    return -INF if x == 0 else guarded(math.log10, x)


def power10(x):
    return guarded(math.pow, 10.0, x)


def root(x):
    return guarded(math.sqrt, x)


def truncated(x):
    return int(x) if 0 < x < 2**32 else 0 if not x > 0 else 2**32 - 1


# ---- transform ----
def transform(x, sign):
    n = len(x)
    if n == 1:
        return list(x)
    even, odd = transform(x[0::2], sign), transform(x[1::2], sign)
    turned = [cmath.exp(sign * 2j * math.pi * k / n) * odd[k] for k in range(n // 2)]
    return [e + t for e, t in zip(even, turned)] + [e - t for e, t in zip(even, turned)]


def forward(samples):
    """Channels 0 to n / 2 - 1 of the block, padded to a power of two."""
    n = 1
    while n < len(samples):
        n *= 2
    return transform([complex(s) for s in samples] + [0j] * (n - len(samples)), -1)[:n // 2]


def band_in_time(channels, low, high):
    count = len(channels)
    if high == 0:
        low, high = 0, count - 1
    band = [c if low <= k <= high else 0j for k, c in enumerate(channels)]
    whole = [complex(band[0].real)] + band[1:] + [0j] + [c.conjugate() for c in reversed(band[1:])]
    return [v.real / (2 * count) for v in transform(whole, 1)]


# ---- fits ----
def determinant(matrix):
    m = [row[:] for row in matrix]
    result = 1.0
    for k in range(len(m)):
        if abs(m[k][k]) < EPS:
            return 0.0
        result *= m[k][k]
        for i in range(k + 1, len(m)):
            factor = m[i][k] / m[k][k]
            m[i] = [a - factor * b for a, b in zip(m[i], m[k])]
    return result


class Parabola:
    """Fits the logarithms of the amplitudes."""
    def __init__(self, logs, left, right, trace):
        self.trace = trace
        self.ok = True
        x = [float(k) for k in range(left, right + 1)]
        y = logs[left:right + 1]
        if len(x) > 3:
            s = [sum(v**k for v in x) for k in range(5)]
            t = [sum(w * v**k for v, w in zip(x, y)) for k in range(3)]
            normal = [[s[i + j] for j in range(3)] for i in range(3)]
            det = determinant(normal)
            if abs(det) < EPS:
                self.ok = False
                return trace("CFitLsqOMA::FitPeak():Fit of PS peak failed")
            self.c = [determinant([[t[i] if j == k else normal[i][j] for j in range(3)] for i in range(3)]) / det
                      for k in range(3)]
        elif len(x) == 3:
            # Differences: y0 + (x - x0) d1 + (x - x0) (x - x1) d2.
            d1, d2 = y[1] - y[0], (y[2] - 2 * y[1] + y[0]) / 2
            self.c = [y[0] - x[0] * d1 + x[0] * x[1] * d2, d1 - (x[0] + x[1]) * d2, d2]
        else:
            self.ok = False
            return trace("CFitLsqOMA::FitPeak():Invalid No Of Data")
        if any(v != v for v in self.c):
            self.ok = False
            trace("CFitLsqOMA::FitPeak():Invalid PS peak fit coefficients")

    def centre(self):
        f = div(-self.c[1], 2 * self.c[2])
        if not f < EPS:
            return f
        self.trace("CFitLsqOMA::CalcPeakFreq():Invalid LSQ fit results: f[Hz]=%.6f coef_0=%.6f coef_1=%.6f coef_2=%.6f"
                   % (f, *self.c))
        return -1.0

    def log_height(self):
        f = self.centre()
        if f < 0:
            self.trace("CFitLsqOMA::CalcPeakLogAmplMax():Invalid PS peak freq.channel")
            return None
        return (self.c[2] * f + self.c[1]) * f + self.c[0]

    def height(self):
        log = self.log_height()
        if log is None:
            self.trace("CFitLsqOMA::CalcPeakAmplMax():Invalid PS peak freq.channel")
            return -1.0
        return power10(log)

    def width(self):
        if self.centre() < 0:
            self.trace("CFitLsqOMA::CalcPeakFWHM():Invalid PS peak freq.channel")
            return -1.0
        log = self.log_height()
        if log is None:
            self.trace("CFitLsqOMA::CalcPeakFWHM():Invalid PS peak log.magn.")
            return -1.0
        d = self.c[1] ** 2 - 4 * self.c[2] * (math.log10(2.0) + self.c[0] - log)
        return -1.0 if d < 0 else div(root(d), abs(self.c[2]))

    def curve(self, count):
        return [power10(self.c[0] + self.c[1] * k + self.c[2] * k * k) for k in range(count)]

    def data(self, step):
        name = "CFitLsqOMA::CalcPeakData():"
        ampl = self.height()
        if ampl != ampl:
            return self.trace(name + "Invalid peak ampl.max.")
        freq = self.centre() * step
        if not freq > 0:
            return self.trace(name + "Invalid peak freq.")
        width = self.width() * step
        if not width > 0:
            return self.trace(name + "Invalid peak FWHM")
        return freq, width, ampl


def solved(a, b):
    """Gauss-Jordan with full pivoting; if it fails, b is used as it is at that point."""
    a, b = [row[:] for row in a], b[:]
    done = [False] * 3
    for _ in range(3):
        big, row, col = 0.0, None, None
        for j in range(3):
            for k in range(3):
                if not done[j] and not done[k] and big <= abs(a[j][k]):
                    big, row, col = abs(a[j][k]), j, k
        if row is None:
            return b
        done[col] = True
        a[row], a[col] = a[col], a[row]
        b[row], b[col] = b[col], b[row]
        if a[col][col] == 0:
            return b
        inverse = 1 / a[col][col]
        a[col] = [v * inverse for v in a[col]]
        b[col] *= inverse
        for j in range(3):
            if j != col:
                factor = a[j][col]
                a[j] = [v - factor * w for v, w in zip(a[j], a[col])]
                b[j] -= factor * b[col]
    return b


class Lorentzian:
    def __init__(self, ampl, left, right, start, trace, way):
        self.trace = trace
        self.ok = False
        if right - left + 1 < 3:
            return trace("CFitLmaOMA::FitPeak():Too few data points for calculation (required: >= 3)")
        points = [(float(x), ampl[x]) for x in range(left, right + 1)][::way]
        c, (alpha, beta, chi) = start[:], self.sums(points, start)
        first, factor = chi, 0.001
        for _ in range(10):
            damped = [[v * (1 + factor) if j == k else v for k, v in enumerate(row)] for j, row in enumerate(alpha)]
            tried = [v + s for v, s in zip(c, solved(damped, beta))]
            sums = self.sums(points, tried)
            if sums[2] < chi:
                factor *= 0.1
                alpha, beta, chi = sums
                c = tried
            else:
                factor *= 10
        if not chi < first:
            return trace("CFitLmaOMA::FitPeak():Fit Parameters Could Not Be Improved")
        self.c = c
        self.ok = not any(v != v for v in c)

    @staticmethod
    def sums(points, c):
        alpha, beta, chi = [[0.0] * 3 for _ in range(3)], [0.0] * 3, 0.0
        for x, y in points:
            u = div(2 * (x - c[1]), c[2])
            d = div(1.0, 2 * u * u + 1)
            slope = [d, div(d * d * 4 * u, c[2]), div(d * d * 2 * u * u, c[2])]
            dy = y - c[0] * d
            for j in range(3):
                for k in range(3):
                    alpha[j][k] += slope[j] * slope[k]
                beta[j] += dy * slope[j]
            chi += dy * dy
        return alpha, beta, chi

    def curve(self, count):
        return [div(self.c[0], div(2 * (k - self.c[1]), self.c[2]) ** 2 + 1) for k in range(count)]

    def data(self, step):
        name = "CFitLmaOMA::CalcPeakData(): "
        if self.c[0] != self.c[0]:
            return self.trace(name + "Invalid #fAmplMax# value")
        freq, width = self.c[1] * step, self.c[2] * step
        if not freq > 0:
            return self.trace(name + "Invalid #fFreq_Hz# value")
        if not width > 0:
            return self.trace(name + "Invalid #fFWHM_Hz# value")
        return freq, width, self.c[0]


# ---- search ----
def next_peak(search, offs, regions, threshold):
    data = [0.0 if k < offs or any(a <= k <= b for a, b in regions) else v for k, v in enumerate(search)]
    best, place = 0.0, offs
    for k in range(offs, len(data)):
        if data[k] > best:
            best, place = data[k], k
    if place in (offs, len(data) - 1) or data[place - 1] < EPS or data[place + 1] < EPS:
        return None
    return place if threshold <= math.sqrt(place + 1.0) * data[place] else None


def limits(search, threshold, peak):
    top, place, left, right = search[peak], peak, None, None
    for k in range(peak, max(peak - int(math.sqrt(peak)) - 3, -1), -1):
        if search[k] < 0.5 * top:
            left = k
            break
        if search[k] > top:
            top, place = search[k], k
    if left is None:
        return None
    for k in range(place, min(place + int(math.sqrt(place)) + 3, len(search))):
        if search[k] < 0.5 * top:
            right = k
            break
        top = max(top, search[k])
    return (left, right) if right is not None and threshold <= top else None


# ---- time domain ----
def ratio(freq, rate):
    return div(rate, math.hypot(2 * math.pi * freq, rate))


def damping(time, spacing, freq, most, trace):
    """Magnitude and damping ratio, either None if it is not reached."""
    name = "CProcOMA:: DampFromTimeData():"
    mean = sum(time) / len(time)
    time = [v - mean for v in time]
    first, second, places = [], [], []
    crossed, to_first, ext, place, last = False, True, 0.0, 0, time[0]
    for i in range(1, len(time)):
        v = time[i]
        if v * last < 0:
            if crossed:
                (first if to_first else second).append(ext)
                places.append(place)
                to_first = not to_first
            ext, place, last, crossed = abs(v), i, v, True
        elif ext < abs(v):
            ext, place = abs(v), i

    def rate(a, b, dt):
        if a < EPS:
            return trace("CMathBAS::Atten(): Invalid #p_fData_1st# value: %.6f" % a)
        if dt < EPS:
            return trace("CMathBAS::Atten(): Invalid #p_fDelta_s# value: %.6f" % dt)
        return (-INF if b == 0 else math.log(b / a)) / dt

    if not first:
        trace(name + "No max. found")
        return None, None
    if not second:
        trace(name + "Too few data")
        return None, None
    if len(first) == 1 and len(second) == 1:
        found = rate(first[0], second[0], (places[1] - places[0]) * spacing)
        return (first[0] + second[0]) * 0.5, None if found is None else ratio(freq, found)
    magn, rates = None, []
    tuples = len(first) + len(second) - 2
    begin = max(tuples - (most - 2), 0)
    for i in range(begin, tuples):
        if i % 2 == 0:
            k = i // 2
            s1, s2 = first[k] + second[k], second[k] + first[k + 1]
        else:
            k = (i - 1) // 2
            s1, s2 = second[k] + first[k + 1], first[k + 1] + second[k + 1]
        magn = 0.5 * s2
        found = rate(s1, s2, (places[i + 2] - places[i]) * 0.5 * spacing)
        if found is None:
            return magn, None
        rates.append(found)
    # The mean of several rates comes from the determinants of a fit, which treats smaller sums as 0.
    mean = sum(rates) / len(rates) if tuples == 1 or not abs(sum(rates)) < EPS else 0.0
    return magn, None if mean != mean else ratio(freq, mean)


def evaluate(run):
    """Peaks, amplitudes, frequency step and lines."""
    lines, peaks = [], []

    def trace(text):
        lines.append(text)
    spacing, count = run["spacing"], run["samples"]
    name = "CProcOMA::Run():"
    trace(name + "Begin 'Run'")
    if len(run["data"]) < count:
        trace(name + "Peak Detection Done, #PEAKS=0")
        return peaks, [], -1.0, lines
    trace(name + "Apply FFT of length=%d" % count)
    if count < 2:
        trace("CFFT::FFTbyMKL():Invalid binary data size returned")
        trace(name + "FFT error")
        trace(name + "Peak Detection Done, #PEAKS=0")
        return peaks, [], -1.0, lines
    spectrum = forward(run["data"][-count:])
    channels = len(spectrum)
    step = 1 / (count * spacing)
    ampl = [math.hypot(c.real, c.imag) / channels for c in spectrum]
    offs = truncated(0.04 * run["end"] / (0.5 / spacing) * channels) + 1
    if channels <= offs:
        trace(name + "Insufficient spec.ampl. buf.size: %d" % offs)
    else:
        search_peaks(run, spectrum, ampl, step, offs, peaks, trace)
    trace(name + "Peak Detection Done, #PEAKS=%d" % len(peaks))
    return peaks, ampl, step, lines


def search_peaks(run, spectrum, ampl, step, offs, peaks, trace):
    name = "CProcOMA::Run():"
    channels, regions = len(ampl), []
    search = [EPS] * offs + ampl[offs:]
    start = search[:]
    logs = [log10(v) for v in start]
    least = 0.2 * run["limit"]
    most = 0.2 * max((v for v in search if v == v), default=NAN)
    lorentz = run["fit"] == 2
    trace(name + "Before Peak Detect, fMagnThresh=%.6f" % least)
    for _ in range(4):
        place = next_peak(search, offs, regions, least)
        if place is None:
            return
        mean = sum(map(abs, search)) / (channels - offs)
        check = sum(search[offs:]) / (channels - offs)
        if abs(check) > EPS and abs(mean - check) / abs(check) > 0.001:
            trace("CProc::CalcDataThresh():Data thresh. calc. failed: #fMean#=%.6f #fMeanCheck#=)%.6f" % (mean, check))
            trace(name + "Cannot calc. ampl.thresh. for peak detection")
            return
        threshold = max(most, 2 * mean)
        trace(name + "Before Peak Evaluation: #fAmplThresh#=%.6f, #fMaxAmplThresh#=%.6f, #fNoiseThresh#=%.6f"
              % (threshold, most, 2 * mean))
        found = limits(search, threshold, place)
        if found is None:
            return
        fit = Parabola(logs, *found, trace)
        if not fit.ok:
            return
        if lorentz:
            better = Lorentzian(start, *found, [fit.height(), fit.centre(), fit.width()], trace,
                                run.get("way", 1))
            lorentz = better.ok
            if lorentz:
                fit = better
        search = [v - c for v, c in zip(search, fit.curve(channels))]
        if min(search) < EPS:
            search = [EPS if v <= EPS else v for v in search]
        data = fit.data(step)
        if data is None:
            trace(name + "No valid output from %s fit" % ("Lorentzian" if lorentz else "Gaussian"))
            return
        freq, width, height = data
        if not run["max"] > freq:
            trace(name + "Peak freq. [%.6fHz] above max. freq. [%.6f]" % (freq, run["max"]))
            continue
        low = truncated(max(0.0, (freq - width) / step))
        high = min(truncated((freq + width) / step + 1.0), channels - 1)
        trace(name + "Peak at f[Hz]=%.6f" % freq)
        magn, damp = damping(band_in_time(spectrum, low, high), run["spacing"], freq, run["most"], trace)
        if damp is None:
            return
        regions.append((low, high))
        if not 0.4 * run["limit"] <= magn:
            trace(name + "PS magn. [%.6f] below thresh. [%.6f]" % (magn, 0.4 * run["limit"]))
            return
        of_width = (-1 if damp < 0 else 1) * run["corr"] / math.sqrt((2 * freq / width) ** 2 + 1)
        if width < EPS:
            trace("CPeak::CalcDamp():Invalid FWHM: 0.0")
            of_width = -1.0
        trace(name + "Damp.ratio from TIME (applied): %.6f, damp.ratio from FREQ (info only): %.6f" % (damp, of_width))
        peaks.append([RESO, GRID_QUAL, freq, width, height, magn, damp, of_width])


# ---- runs ----
def bell(rng, run, weighted):
    """A bell-shaped spectrum whose weighted height is close to a threshold, or a spectrum of several bells."""
    count = run["samples"]
    spectrum = [0.0] * max(count // 2, 1)
    bells = 1 if weighted else rng.randint(1, 4)
    for _ in range(bells):
        centre = rng.uniform(2, max(count // 2 - 2, 3))
        width = rng.uniform(0.7, 6)
        if weighted:  # on a channel; often on one whose weight a test of many channels may use for all of them
            ends = [truncated(0.04 * run["end"] / (0.5 / run["spacing"]) * (count // 2)) + 1]
            while 2 * ends[-1] < count // 2:
                ends.append(2 * ends[-1])
            last = rng.choice(ends) - 1
            centre = float(last if last > 1 and rng.random() < 0.7 else round(centre))
        height = run["limit"] * (0.2 / math.sqrt(round(centre) + 1) * rng.choice((0.9985, 0.99999, 1.00001, 1.0004, 1.0015))
                                 if weighted else 10 ** rng.uniform(-1.2, 0.7))
        for k in range(len(spectrum)):
            spectrum[k] += height * math.exp(-0.5 * ((k - centre) / width) ** 2)
    shift = rng.uniform(0, count)
    return [sum(a * math.cos(2 * math.pi * k * (i + shift) / count) for k, a in enumerate(spectrum) if a > 1e-9)
            for i in range(count)]


def swings(rng, run):
    count, spacing = run["samples"], run["spacing"]
    parts = [(run["limit"] * 10 ** rng.uniform(-1.2, 1), run["end"] * 10 ** rng.uniform(-1.5, 0.2),
              rng.choice((0.0, rng.uniform(-0.2, 0.08))), rng.uniform(0, 2 * math.pi)) for _ in range(rng.randint(1, 5))]
    if rng.random() < 0.3:  # exactly on channels: the neighbours contain only noise
        parts = [(a, round(f * count * spacing) / (count * spacing), 0.0, p) for a, f, _, p in parts]
    mean = rng.choice((0.0, rng.uniform(-100, 100) * run["limit"]))
    noise = run["limit"] * rng.choice((0.0, 10 ** rng.uniform(-5, 0)))
    parts = [(a * rng.choice((1, 3)), f, d, p) for a, f, d, p in parts]
    return [mean + rng.gauss(0, 1) * noise +
            sum(a * math.exp(min(d * 2 * math.pi * f * i * spacing, 30)) * math.sin(2 * math.pi * f * i * spacing + p)
                for a, f, d, p in parts) for i in range(count)]


def odd(rng, run):
    count = run["samples"]
    data = swings(rng, run)
    kind = rng.randrange(9)
    if kind == 0:
        return [v * 1e200 for v in data]
    if kind == 1:
        return [v * 1e-200 for v in data]
    if kind == 2:
        return [0.0] * count
    if kind == 3:
        return [0.0 if i < count // 2 else v for i, v in enumerate(data)]
    if kind == 4:
        return data[:rng.randrange(count)]
    if kind == 5:
        data[rng.randrange(count)] = NAN
        return data
    if kind == 6:
        return [(float(i == count // 3) + 0.3 * float(i == count // 2)) * 10 * run["limit"] * count for i in range(count)]
    if kind == 7:
        return [rng.uniform(-1, 1) * 1e3 * run["limit"] for _ in range(count)]
    return [v + run["limit"] * i for i, v in enumerate(data)]


def make_run(rng):
    run = {"samples": rng.choice((64, 64, 128, 128, 256, 60, 100, 16, 8, 4, 1) if rng.random() < 0.3 else (64, 128)),
           "spacing": rng.choice((0.02, 0.1, 0.25)), "limit": 10 ** rng.uniform(-1, 7),
           "fit": rng.choice((1, 2)), "most": rng.choice((4, 5, 6, 8, 8, 12, 40)), "corr": rng.choice((1.0, 1.0, 0.75, 1.5))}
    run["end"] = 0.5 / run["spacing"] * rng.choice((0.1, 0.4, 1.0, rng.uniform(0.05, 26) if rng.random() < 0.1 else 0.8))
    run["max"] = run["end"] * rng.choice((1.0, 1.0, 0.6))
    kind = rng.random()
    run["data"] = (swings(rng, run) if kind < 0.5 else bell(rng, run, False) if kind < 0.75 else
                   bell(rng, run, True) if kind < 0.9 else odd(rng, run))
    if len(run["data"]) == run["samples"] and rng.random() < 0.3:
        run["data"] = [1e9, -5.0, 3e7] + run["data"]  # older than the window
    return run


NUMBER = re.compile(r"-?(?:\d+\.\d{6}|nan|inf)")


def same(a, b, digits=1e-5, absolute=0.0):
    if a == b or (a != a and b != b):
        return True
    return abs(a - b) <= max(digits * max(abs(a), abs(b)), absolute)


def same_line(a, b):
    if NUMBER.sub("#", a) != NUMBER.sub("#", b):
        return False
    return all(same(float(x), float(y), absolute=2e-6) for x, y in zip(NUMBER.findall(a), NUMBER.findall(b)))


def difference(want, got):
    """The first difference, or nothing."""
    peaks, ampl, step, lines = want
    if len(lines) != len(got["trace"]) or not all(map(same_line, lines, got["trace"])):
        return "lines"
    if len(peaks) != len(got["peak"]) or not all(same(a, b) for p, q in zip(peaks, got["peak"]) for a, b in zip(p, q)):
        return "peaks"
    if ampl and (len(ampl) != len(got["spectrum"]) - 1 or not same(step, got["spectrum"][0], 1e-14)):
        return "frequency step"
    top = max((v for v in ampl if v == v), default=0.0)
    if not all(same(a, b, 1e-11, max(1e-13 * top, 1e-150)) for a, b in zip(ampl, got["spectrum"][1:])):
        return "spectrum"
    return None


def hangs_on_digits(run, want):
    """Whether the result depends on the samples' last digits or the order of sums: then programs may differ."""
    rng = random.Random(1)
    for n in range(60):
        data = [v * (1 + 10 ** rng.uniform(-13, -10) * rng.gauss(0, 1)) for v in run["data"]]
        near = evaluate({**run, "way": (-1) ** n, "data": data})
        peaks, ampl, step, lines = near
        if difference(want, {"peak": peaks, "spectrum": [step, *want[1]], "trace": lines}):
            return True
    return False


def main(program, count, seed):
    runs = [make_run(random.Random(seed * 1000003 + i)) for i in range(count)]
    with tempfile.NamedTemporaryFile("w") as file:
        for run in runs:
            head = (run["samples"], run["spacing"], run["end"], run["max"], run["limit"], run["fit"],
                    run["most"], run["corr"])
            file.write(" ".join(float(v).hex() for v in (*head, *run["data"])) + "\n")
        file.flush()
        output = subprocess.run([program, file.name], capture_output=True, text=True, check=True).stdout
    results, current = [], {"trace": [], "peak": []}
    for line in output.splitlines():
        kind, _, rest = line.partition(" ")
        if kind == "trace":
            current["trace"].append(rest.rstrip("!."))
        elif kind == "peak":
            reso, qual, *numbers = rest.split()
            current["peak"].append([int(reso), int(qual), *map(float.fromhex, numbers)])
        else:
            results.append({**current, "spectrum": [float.fromhex(v) for v in rest.split()]})
            current = {"trace": [], "peak": []}
    assert len(results) == count, f"{len(results)} results of {count} runs"
    wrong = peaks = left_out = 0
    for n, (run, got) in enumerate(zip(runs, results)):
        want = evaluate(run)
        want[3][:] = [line.rstrip("!.") for line in want[3]]
        peaks += len(want[0])
        what = difference(want, got)
        if what in ("lines", "peaks") and hangs_on_digits(run, want):
            left_out += 1
        elif what:
            wrong += 1
            if wrong <= 3:
                print(f"run {n}: {what}\n  {({k: v for k, v in run.items() if k != 'data'})}")
                print("  want", want[0], *want[3], sep="\n    ")
                print("  got", got["peak"], *got["trace"], sep="\n    ")
        if wrong > 2 or left_out > count // 50:
            break
    print(f"{n + 1} runs, {peaks} peaks, {wrong} differ, {left_out} left out because they hang on the last digits")
    if not wrong and peaks < count // 4:
        print("too few peaks to say anything")
    return 1 if wrong or left_out > count // 50 or peaks < count // 4 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], int((sys.argv[2:] or [3000])[0]), int((sys.argv[3:] or [1])[0])))
