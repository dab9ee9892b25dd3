"""Random link faults, seeded, during a swing.

As a program (see ./soak): faults.py [COUNT [SEED [NAME...]]], the names of the faults to play, default all. After each
fault the application has to come back without help: the swing is reported again, all output channels run, threads,
handles and memory are where they were.
"""
import json
import os
import random
import signal
import socket
import sys
import time
import unittest
from collections import Counter
from pathlib import Path

from harness import ANGLE_JOB, BIN, POWER_JOB, SystemTest, config_xml, wait_for
from linkproxy import LinkProxy

SCENARIO = {
    "start": "2026-03-05T10:00:00Z", "duration_s": 10_000_000, "rate": 50, "seed": 5,
    "noise": {"magnitude_percent": 0.05, "angle_deg": 0.03},
    "places": [{"name": "A", "voltage_V": 230940, "angle_deg": 12}, {"name": "B", "voltage_V": 230940, "angle_deg": 0}],
    "lines": [{"name": "A-B", "from": "A", "to": "B", "reactance_Ohm": 60}],
    "pmus": [{"place": "A", "phases": {"L1": 1011}}, {"place": "B", "phases": {"L1": 1031}},
             {"place": "A", "line": "A-B", "phases": {"L1": 1021}}],
    "swings": [{"name": "standing", "frequency_hz": 1.1, "damping": 0, "start_s": 5, "amplitude_deg": 4,
                "shape": {"A": 1, "B": -0.5}}]}
SWING_MODES = {603: "power", 611: "angle"}  # the modes of the two jobs, by job name of the harness
GROWTH = 0.2  # allowed memory growth in the second half of a run: filling pools take up to 10 %
PS_UNIT, MEAS_UNITS = 803, (800, 810)
FAULTS = {}


def fault(function):
    FAULTS[function.__name__] = function
    return function


class FaultRun:
    def __init__(self, test, seed, names):
        self.test = test
        self.rng = random.Random(seed)
        self.names = names or sorted(FAULTS)
        self.ports = test.ports
        self.proxies = [LinkProxy(port) for port in self.ports]
        self.test.config.write_text(config_xml(self.ports, jobs=(POWER_JOB, ANGLE_JOB)))
        self.client_config = test.dir / "client.xml"
        self.client_config.write_text(config_xml([p.port for p in self.proxies], jobs=(POWER_JOB, ANGLE_JOB)))
        (test.dir / "swing.json").write_text(json.dumps(SCENARIO))
        self.vds = None
        self.start_server()
        self.oma = test.start("oma", [BIN / "oma", f"-xml:{self.client_config}"])
        self.count = Counter()
        self.levels = []

    # ---- the server ----
    def start_server(self):
        self.vds = self.test.vds("--simulate", self.test.dir / "swing.json", "--speed", "20", "--log-measurements",
                                 "--state", self.test.dir / "state.jsonl", wait=False)
        wait_for(self.test.listening, "vds listening")

    def stop_server(self, sig):
        self.vds.send(sig)
        self.vds.wait()
        self.vds.kill()
        self.test.processes.remove(self.vds)
        # The values of the output channels: only those from here on are checked.
        (self.test.dir / "channels.jsonl").unlink(missing_ok=True)

    # ---- observations ----
    def rows(self, what):
        """The server's output; empty while it does not answer."""
        return [line.split() for line in self.test.vdsctl(what, check=False).stdout.splitlines()]

    def times(self):
        """Time of the newest value of each started output channel, by PMU."""
        rows = self.rows("channels")
        return {int(row[0]): row[4] for row in rows if row[-1] == "started"}

    def standing(self):
        rows = self.rows("standing")
        return Counter(int(row[3]) for row in rows if 4203 <= int(row[1]) <= 4206)

    def recovered(self):
        """Both swings are reported exactly once, and all channels receive values."""
        before = self.times()
        if not {PS_UNIT, *MEAS_UNITS} <= before.keys():
            return False

        def flowing():
            now = self.times()
            return all(now.get(pmu, "-") != before[pmu] for pmu in (PS_UNIT, *MEAS_UNITS))
        try:
            wait_for(flowing, "values", 3)
        except AssertionError:
            return False
        # Active events at the server also remain active for a moment after the loss.
        return self.standing() == Counter(SWING_MODES.keys()) and self.connections() == 2

    def connections(self):
        folder = Path(f"/proc/{self.oma.proc.pid}/fd")
        try:
            return sum(os.readlink(entry).startswith("socket:") for entry in folder.iterdir())
        except OSError:  # one has just been closed
            return 0

    def history(self):
        """The newest events, and the newest starts and stops of channels."""
        channels = [c for c in self.test.channels() if c["op"] != "write"]
        return "".join(f"{line}\n" for line in (*self.test.swing_events()[-12:], *channels[-12:]))

    def level(self):
        status = dict(line.split(":", 1) for line in
                      Path(f"/proc/{self.oma.proc.pid}/status").read_text().splitlines() if ":" in line)
        return {"threads": int(status["Threads"]), "kB": int(status["VmRSS"].split()[0]),
                "handles": len(os.listdir(f"/proc/{self.oma.proc.pid}/fd"))}

    # ---- one fault ----
    def step(self):
        name = self.rng.choice(self.names)
        self.count[name] += 1
        FAULTS[name](self)
        for proxy in self.proxies:
            proxy.heal()
        try:
            wait_for(self.recovered, f"recovery from {name}", 180)
        except AssertionError as error:
            raise AssertionError(f"fault {sum(self.count.values())}: {error}\nchannels {self.times()}\nstanding "
                                 f"{self.standing()}\n{self.history()}{self.oma.text()[-6000:]}\n"
                                 f"server {self.vds.proc.poll()}, wires {[len(p.wires) for p in self.proxies]}, "
                                 f"connections {self.connections()}\n{self.vds.text()[-4000:]}") from None
        if not self.oma.running():
            raise AssertionError(f"oma has ended after {name}:\n" + self.oma.text()[-6000:])
        self.levels.append(self.level())

    def some(self):
        """Affects one connection or both."""
        return self.rng.choice([self.proxies[:1], self.proxies[1:], self.proxies])

    def pause(self, low=0.05, high=2.0):
        """Short times are more frequent than long ones."""
        time.sleep(low * (high / low) ** self.rng.random())

    def close(self):
        code = self.oma.stop()
        left = self.standing()
        started = self.times()
        for proxy in self.proxies:
            proxy.close()
        return code, left, started


@fault
def server_killed(run):
    run.stop_server(signal.SIGKILL)
    run.pause()
    run.start_server()


@fault
def server_restarted(run):
    run.stop_server(signal.SIGTERM)
    run.start_server()


@fault
def connections_cut(run):
    reset = run.rng.random() < 0.5
    for proxy in run.some():
        proxy.cut(reset)


@fault
def connections_cut_quickly_again(run):
    for _ in range(run.rng.randint(2, 6)):
        connections_cut(run)
        run.pause(0.01, 0.5)


@fault
def link_stalled(run):
    for proxy in run.some():
        proxy.stalled = True
    run.pause(0.1, 20.0)


@fault
def server_stalled(run):
    run.test.vdsctl("stall", round(0.1 * 60 ** run.rng.random(), 2))
    time.sleep(0.2)  # it stops a moment after the answer


@fault
def message_cut_in_its_middle(run):
    for proxy in run.some():
        proxy.half = run.rng.choice(["up", "down"])
    run.pause(0.2, 1.0)


@fault
def garbage_in_the_stream(run):
    data = run.rng.choice([run.rng.randbytes(run.rng.randint(1, 5000)), b"\x82\x05\x0a\x03\xff\xff\xff",
                           b"\x82\x7f" + b"\xff" * 8, b"\x81\x02{}", b"\x82\x00", b"\x8a\x00" * 50, b"\x88\x02\x03\xe8",
                           b"\x82\x04\x0a\x02\x72\x00", b"\x02\x01\x0a", b"GET / HTTP/1.1\r\n\r\n"])
    way = run.rng.choice(["up", "down"])
    for proxy in run.some():
        proxy.inject(way, data)


@fault
def port_refused(run):
    for proxy in run.some():
        proxy.refuse()
        proxy.cut()
    run.pause(0.1, 4.0)


@fault
def server_accepts_and_stays_silent(run):
    for proxy in run.some():
        proxy.silent = True
        proxy.cut()
    run.pause(0.1, 8.0)


@fault
def answers_to_a_start_are_bad(run):
    for proxy in run.proxies:
        proxy.answers = run.rng.choice(["late", "wrong", "missing"])
    run.proxies[1].cut()
    run.pause(0.5, 3.0)


@fault
def hostile_client(run):
    for port in run.ports:
        with socket.create_connection(("127.0.0.1", port), 2) as s:
            s.sendall(run.rng.randbytes(run.rng.randint(1, 100000)))


def play(test, count, seed, names=(), told=lambda run: None):
    run = FaultRun(test, seed, names)
    wait_for(run.recovered, "swing before the first fault")
    for _ in range(count):
        run.step()
        told(run)
    code, left, started = run.close()
    test.assertEqual(code, 0)
    test.assertFalse(left, "events left active")
    test.assertFalse(started, "channels left started")
    # The library keeps the threads and buffers that the first losses required.
    settled, last = run.levels[len(run.levels) // 2], run.levels[-1]
    test.assertLessEqual(last["threads"], settled["threads"] + 2)
    test.assertLessEqual(last["handles"], settled["handles"] + 4)
    test.assertLessEqual(last["kB"], settled["kB"] * (1 + GROWTH), "memory")
    return run


class Program(SystemTest):
    def runTest(self):
        count, seed = int((sys.argv[1:] or [1000])[0]), int((sys.argv[2:] or [1])[0])
        begin = time.monotonic()

        def told(run):
            done = sum(run.count.values())
            if done % 20 == 0 or done == count:
                print(f"{done:5d} faults, {time.monotonic() - begin:6.0f} s, {run.levels[-1]}", flush=True)
        run = play(self, count, seed, sys.argv[3:], told)
        for name, n in sorted(run.count.items()):
            print(f"{n:5d} {name}")
        first, last = run.levels[min(20, count - 1)], run.levels[-1]
        print(f"after 20 faults {first}, after {count} {last}")


if __name__ == "__main__":
    result = unittest.TextTestRunner().run(Program())
    sys.exit(0 if result.wasSuccessful() else 1)
