#!/usr/bin/env python3
"""Writes the golden result files beside it, from the layouts and from formulas. Not part of the build: run by hand."""
import cmath
import math
from pathlib import Path


def write(name, *lines):
    Path(__file__).with_name(name).write_text("\n".join(lines) + "\n")


# ---- CSV of a job: rows of (magnitude, degrees) of the phasors, and values of the modes
def csv(name, ids1, ids2, unit2, unit_magn, rows, magn_format, second_format):
    modes = len(rows[0][2])

    def row(n, first, second, outputs):
        fields = [str(1000 * n)]
        for magn, angle in first:
            fields += ["%11.4f" % magn, "%12.9f" % math.radians(angle)]
        for magn, angle in second:
            fields += [second_format % magn, "%12.9f" % math.radians(angle)]
        for f, m, d, e in outputs:
            fields += ["%6.3f" % f, magn_format % m, "%6.4f" % d, "%6.2f" % e]
        return ",".join(fields)
    write(name,
          "Name,ID,IPAddr,Port,IPtype,Timebase,FNOM,REPRATE,CoordType",
          "JOB,500,10.0.0.7,4712,tcp,1000,50,1,polar",
          ",".join(["Time", *map(str, ids1), *map(str, ids2)]
                   + [str(9010 + 10 * m + c) for m in range(modes) for c in range(4)]),
          ",".join(["ms"] + ["V", "rad"] * len(ids1) + [unit2, "rad"] * len(ids2) + ["Hz", unit_magn, "-", "-"] * modes),
          *[row(n, *r) for n, r in enumerate(rows)])


none = (0, 0, 0, 0)
volt, curr = [(230940.125, 90)], [(450.5, -90)]
three = [(100, 0), (100, -120), (100, -240)]
swing = (0.4, 150, 0.02, 9.2)
csv("power.csv", [1011], [1021], "A", "VA", [(volt, curr, [none, none]), (volt, curr, [swing, none])], "%8.0f", "%12.6f")
csv("three_phases.csv", [1011, 1012, 1013], [1021, 1022, 1023], "A", "VA", [(three, three, [none, none])], "%8.0f", "%12.6f")
csv("angle.csv", [1011], [1021], "V", "degree", [(volt, curr, [(0.4, 1234567.125, 0, 11)])], "%6.2f", "%11.4f")

# ---- spectrum of bell shape: the fit on its logarithm is exact whatever channels it takes
N, STEP_S, TOP, CENTRE, SIGMA, TURN = 64, 0.02, 160.0, 12.3, 3.0, 47.0
C, WIDTH_HZ = N // 2, 1 / (N * STEP_S)
magn = [TOP * math.exp(-0.5 * ((k - CENTRE) / SIGMA) ** 2) for k in range(C)]
degs = [math.degrees(cmath.phase(cmath.rect(1, math.radians(TURN * k)))) for k in range(C)]


def signal(low, high):
    """Sum of the channels' cosines; channel 0 is twice the mean."""
    return [sum(magn[k] * (0.5 if k == 0 else 1) * math.cos(2 * math.pi * k * i / N + math.radians(TURN * k))
                for k in range(low, high + 1)) for i in range(N)]


def array(name, values):
    return name.ljust(10) + "%5d" % len(values) + "".join(" %10.3f" % v for v in values)


# From one channel to the next +47 degrees; where that wraps, -313 degrees, less a further turn, is the largest step.
step = [0] + [TURN if b > a else -313 - 360 for a, b in zip(degs, degs[1:])]
search = array("SearchBuf", [m * s / 673 for m, s in zip(magn, step)])
fwhm = 2 * math.sqrt(2 * math.log(2)) * SIGMA
band = signal(int(CENTRE - fwhm), int(CENTRE + fwhm + 1))
pars = [CENTRE * WIDTH_HZ, TOP, fwhm * WIDTH_HZ, 1 / math.sqrt((2 * CENTRE / fwhm) ** 2 + 1)]
write("psmext.dat", "TimeStep  %6.3f" % STEP_S, array("TimeData", signal(0, C - 1)), "FreqStep  %10.3f" % WIDTH_HZ,
      array("Magn", magn), array("Degs", degs), search, array("Peak1", magn), array("IFFT1", band),
      "PeakPars 1" + "".join("%10.3f" % p for p in pars), search)
write("fft.dat", *["%3d:    magn = %10.3f    phas = %8.3f" % (k + 1, 2 * math.log10(m * C), d)
                   for k, (m, d) in enumerate(zip(magn, degs))])
