"""Random data faults, seeded, played to an application that events restart and stop in the meantime.

As a program (see ./soak): data_faults.py [COUNT [SEED]], a recording of four minutes each. One place swings, another one
does not. The application must survive, never report the quiet place nor a mode that does not swing, end each event that
it raises, and report the swing when the data is sound again.
"""
import datetime
import itertools
import random
import sys
import time
import unittest

from harness import ANGLE_JOB, POWER_JOB, TICKS_S, SwingTest, free_ports, grid_ticks, swing, wait_for

SPEED = 60
RATE = 50
SOUND_S = 60  # s after the faulty part
QUIET_JOB = {**POWER_JOB, "name": "QUIET", "id": 520, "output_ref_id": 720,
             "modes": {**POWER_JOB["modes"], "list": [{**m, "id": m["id"] + 20, "unit_id": m["unit_id"] + 20,
                                                       "outputs": [o + 200 for o in m["outputs"]]}
                                                      for m in POWER_JOB["modes"]["list"]]},
             "pmu1": {"id": 105, "signal": 0, "phasors": [1051]}, "pmu2": {"id": 106, "signal": 1, "phasors": [1061]}}
JOBS = (POWER_JOB, ANGLE_JOB, QUIET_JOB)
IDS = (1011, 1021, 1031, 1051, 1061)
SWINGING = 603
NOT_QUIET = {601, 602, 603, 611}  # modes of the place whose samples may be wrong without an invalid state
ODD = ("nan", "-nan", "inf", "-inf")
PLAUSIBLE = ("0", "1e-320", "-1", "1e30", "-3.4e38", "460000")  # a recording must not contain 1e308
STATES = ("0x2000", "0x0100000000000000", "0x0080000000000000", "0xFFFFFFFFFFFFFFFF", "1", "0x0080000000000001")
GOOD_RATES = ((50, 50), (50, 25), (25, 50), (10, 50), (50, 10))
ODD_RATES = ((7, 50), (23, 23), (49, 50), (100, 50), (1, 50), (120, 7), (50, 13), (33, 11), (-2, 50), (-10, -10))


class Recording:
    """Rows of fields; a row that is None is omitted."""

    def __init__(self, rng, faulty_s):
        self.rng = rng
        self.faulty_s = faulty_s
        self.rows = []
        for i in range((faulty_s + SOUND_S) * RATE):
            t = i / RATE
            power = 300e6 + swing(t, 1.1, 30e6) + rng.gauss(0, 4e4)
            angle = 10 + rng.gauss(0, 0.03)
            quiet = 200e6 + rng.gauss(0, 4e4)
            values = ((230000, 20), (power / 230000, 20), (230000, 20 - angle), (230000, 5), (quiet / 230000, 5))
            self.rows.append([grid_ticks(i, RATE), *itertools.chain(*((f"{m:.9g}", f"{a:.9g}", "") for m, a in values))])
        self.plausible = False

    def stretch(self):
        """First and last row of a fault: a single row, or a range."""
        begin = self.rng.randrange(RATE, (self.faulty_s - 12) * RATE)
        return begin, begin + (1 if self.rng.random() < 0.3 else int(10 ** self.rng.uniform(0, 2.7)))

    def fault(self):
        getattr(self, self.rng.choice([name for name in dir(self) if name.startswith("f_")]))(*self.stretch())

    # ---- time faults ----
    def f_gap(self, begin, end):
        for i in range(begin, end):
            self.rows[i] = None

    def f_stamps_jump(self, begin, end):
        """By cycles to years, temporary or permanent; or temporarily off the grid: such cycles are refused."""
        by = self.rng.choice([TICKS_S // RATE, TICKS_S, 3600 * TICKS_S, 86400 * TICKS_S, 3650 * 86400 * TICKS_S, 1, 12345])
        by *= self.rng.choice([-1, 1]) * self.rng.choice([1, 1, 2, 7])
        for_good = by % (TICKS_S // RATE) == 0 and self.rng.random() < 0.3
        for row in self.rows[begin:None if for_good else end]:
            if row:
                row[0] += by

    def f_stamps_far_away(self, begin, end):
        ticks = self.rng.choice([0, 1, 621355968000000000, 3155378975999999999, 638452296000000000 - 1])
        for row in self.rows[begin:min(end, begin + 20)]:
            if row:
                row[0] = ticks

    def f_rows_in_disorder(self, begin, end):
        piece = self.rows[begin:end]
        self.rng.shuffle(piece)
        self.rows[begin:end] = piece

    def f_rows_repeated(self, begin, end):
        self.rows[begin:begin] = [list(row) if row else None for row in self.rows[begin:min(end, begin + 50)]]

    # ---- sample faults ----
    def change(self, begin, end, fields, value):
        chance = self.rng.choice([1.0, 1.0, 0.3])
        for row in self.rows[begin:end]:
            if row and self.rng.random() < chance:
                for field in fields:
                    row[field] = value()

    def fields(self, ids, parts):
        chosen = self.rng.sample(ids, self.rng.randint(1, len(ids)))
        return [1 + 3 * IDS.index(i) + part for i in chosen for part in parts]

    def f_samples_missing(self, begin, end):
        self.change(begin, end, self.fields(IDS, (0, 1)), lambda: "")

    def f_no_numbers(self, begin, end):
        self.change(begin, end, self.fields(IDS, self.rng.choice([(0,), (1,), (0, 1)])), lambda: self.rng.choice(ODD))

    def f_states(self, begin, end):
        word = self.rng.choice(STATES)
        self.change(begin, end, self.fields(IDS, (2,)), lambda: word)

    def f_wrong_values(self, begin, end):
        self.plausible = True
        self.change(begin, end, self.fields(IDS[:3], self.rng.choice([(0,), (1,)])), lambda: self.rng.choice(PLAUSIBLE))

    def f_channels_swapped(self, begin, end):
        self.plausible = True
        one, two = (3 * i for i in self.rng.sample(range(3), 2))
        for row in self.rows[begin:end]:
            if row:
                row[one + 1:one + 4], row[two + 1:two + 4] = row[two + 1:two + 4], row[one + 1:one + 4]

    def write(self, path):
        with open(path, "w") as f:
            f.write("time;" + ";".join(f"{i}.magn;{i}.angle;{i}.state" for i in IDS) + "\n")
            for row in self.rows:
                if row:
                    f.write(";".join([stamp(row[0]), *row[1:]]) + "\n")


def stamp(ticks):
    seconds, rest = divmod(min(max(ticks, 0), 3155378975999999999), TICKS_S)
    days, seconds = divmod(seconds, 86400)
    day = datetime.date.fromordinal(int(days) + 1)
    return f"{day.isoformat()}T{seconds // 3600:02d}:{seconds // 60 % 60:02d}:{seconds % 60:02d}.{rest:07d}Z"


class DataFaultRun:
    def __init__(self, test, seed, faulty_s=180):
        self.test = test
        self.faulty_s = faulty_s
        self.rng = random.Random(seed)

    def round(self):
        """Plays a recording from start to end."""
        test, rng = self.test, self.rng
        for log in ("events.jsonl", "channels.jsonl"):
            (test.dir / log).unlink(missing_ok=True)
        test.ports = free_ports()
        fits = rng.random() < 0.7
        rates = rng.choice(GOOD_RATES if fits else ODD_RATES)
        mode = rng.choice((0, 1, 2))
        test.write_config(jobs=JOBS, input_mode=mode, rate=rates[0], rates={102: rates[1], 106: rates[1]},
                          ntm=rng.random() < 0.5)
        recording = Recording(rng, self.faulty_s)
        for _ in range(rng.randint(1, 12)):
            recording.fault()
        recording.write(test.dir / "rec.csv")
        vds = test.vds("--replay", test.dir / "rec.csv", "--speed", SPEED, wait=False)
        wait_for(test.listening, "vds")
        oma = test.oma()
        self.post(time.monotonic() + self.faulty_s / SPEED)
        if fits:
            vds.wait_text("the source has ended")
            wait_for(lambda: self.standing() == [SWINGING], "only the swing, once the data is valid again")
        test.assertTrue(vds.running() and oma.running(), vds.text()[-3000:] + oma.text()[-3000:])
        test.assertEqual(oma.stop(), 0, oma.text()[-3000:])
        self.judge(recording)
        for process in (oma, vds):
            process.kill()
            test.processes.remove(process)

    def post(self, end):
        """Continuous zone events, restarts and stop orders during the faults."""
        rng = self.rng
        while time.monotonic() < end:
            draw = rng.random()
            if draw < 0.03:
                self.test.vdsctl("post", 7, "APP", rng.choice((0, 3)), 900)
            elif draw < 0.05:
                self.test.vdsctl("post", 4201, "APP", 3, 900)
            else:
                self.test.vdsctl("post", rng.choice((4003, 4004, 4005, 4006)), rng.choice(("APP", "DIS")), 2,
                                 rng.choice((1, 2)), self.zone_text())

    def zone_text(self):
        words = [f"ZONE={n}" for n in (0, 1, 1, 2, 3, -1, 99999999999)] + ["SUBZONE=1", "SUBZONE=2", "x", "END", "ID="] + \
            [f"ID={i}" for i in (*IDS, 7, -1)]
        if self.rng.random() < 0.5:
            split = self.rng.randint(0, len(IDS))
            words = ["ZONE=1", "a", *(f"ID={i}" for i in IDS[:split]), "ZONE=2", "b", *(f"ID={i}" for i in IDS[split:]),
                     "END"]
        else:
            words = self.rng.choices(words, k=self.rng.randint(0, 12))
        return "#ZONE_DATA#~" + " ".join(words)

    def standing(self):
        rows = [line.split() for line in self.test.vdsctl("standing").stdout.splitlines()]
        return [int(row[3]) for row in rows if 4203 <= int(row[1]) <= 4206]

    def judge(self, recording):
        events = self.test.swing_events()
        known = NOT_QUIET if recording.plausible else {SWINGING}
        self.test.assertLessEqual({e["elementId"] for e in events}, known, f"modes that do not swing: {events[-6:]}")
        self.test.assertNothingStands()


def play(test, count, seed, faulty_s=180, told=lambda number: None):
    for number in range(count):
        try:
            DataFaultRun(test, seed * 1_000_000 + number, faulty_s).round()
        except AssertionError as error:
            raise AssertionError(f"recording {number} of seed {seed}: {error}") from None
        told(number + 1)


class Program(SwingTest):
    def runTest(self):
        count, seed = int((sys.argv[1:] or [100])[0]), int((sys.argv[2:] or [1])[0])
        begin = time.monotonic()

        def told(done):
            if done % 10 == 0 or done == count:
                print(f"{done:5d} recordings, {time.monotonic() - begin:6.0f} s", flush=True)
        play(self, count, seed, told=told)


if __name__ == "__main__":
    result = unittest.TextTestRunner().run(Program())
    sys.exit(0 if result.wasSuccessful() else 1)
