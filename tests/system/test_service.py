"""The application as a service: this test acts as the service manager, with its own notification socket."""
import os
import signal
import socket
import time
import unittest
from pathlib import Path

from harness import SwingTest, swing, wait_for, write_recording

WATCHDOG_S = 1.5


class Manager:
    def __init__(self, folder):
        self.path = str(Path(folder) / "notify")
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.sock.bind(self.path)
        self.sock.setblocking(False)
        self.states = []
        self.pings = 0

    def poll(self):
        """Reads all messages received so far."""
        while True:
            try:
                text = self.sock.recv(4096).decode()
            except BlockingIOError:
                return self
            for line in text.split("\n"):
                if line.startswith("WATCHDOG="):
                    self.pings += 1
                elif not line.startswith("STATUS="):
                    self.states.append(line)
                else:
                    self.states.append(line[len("STATUS="):])

    def wait_states(self, *expected):
        wait_for(lambda: len(self.poll().states) >= len(expected), f"states {expected}, got {self.states}")
        if self.states != list(expected):
            raise AssertionError(f"states {self.states}, expected {expected}")

    def wait_pings(self, count):
        """Waits for this many more messages."""
        goal = self.poll().pings + count
        wait_for(lambda: self.poll().pings >= goal, f"{count} more watchdog pings")


RUNNING = ("starting", "READY=1", "running")
STOPPING = (*RUNNING, "STOPPING=1", "stopping")
STOPPED = (*STOPPING, "stopped")


class Service(SwingTest):
    def setUp(self):
        super().setUp()
        self.manager = Manager(self.dir)
        self.env = {"NOTIFY_SOCKET": self.manager.path, "WATCHDOG_USEC": str(int(WATCHDOG_S * 1e6))}

    def tearDown(self):
        self.manager.sock.close()
        super().tearDown()

    def run_pass(self):
        self.write_config()
        write_recording(self.dir / "rec.csv", 4000, lambda t: swing(t, 1.1, 30e6))
        self.vds("--replay", self.dir / "rec.csv", "--speed", "20")
        oma = self.oma(env=self.env)
        self.wait_swing()
        return oma

    def test_stop_during_a_pass_is_pending_until_all_threads_have_ended(self):
        oma = self.run_pass()
        self.manager.wait_states(*RUNNING)
        self.manager.wait_pings(3)
        # The server does not answer for a while, so that ending the threads takes some time.
        self.vdsctl("stall", 2)
        oma.send(signal.SIGTERM)
        self.manager.wait_states(*STOPPING)
        self.assertFalse(oma.has("Service stopping"), "reported before the end of the pass")
        self.manager.wait_states(*STOPPED)
        for text in ("All threads have been finished", "Main loop has been exited", "Service stopping"):
            self.assertTrue(oma.has(text), text)
        self.assertEqual(oma.wait(), 0)
        wait_for(lambda: len(self.swing_events()) % 2 == 0, "end of the event")
        self.assertNothingStands()

    def test_running_is_told_at_once_and_a_stop_during_the_start_is_heeded(self):
        # A server that accepts the connection but never sends anything delays the start.
        self.write_config()
        mute = socket.socket()
        mute.bind(("127.0.0.1", self.ports[0]))
        mute.listen()
        oma = self.oma(env=self.env)
        self.manager.wait_states(*RUNNING)
        oma.wait_text("Config.File Read Done.")
        self.assertFalse(oma.has("All OMA data pre-processing done"))
        oma.send(signal.SIGTERM)
        self.manager.wait_states(*STOPPED)
        self.assertEqual(oma.wait(), 0)
        mute.close()

    def test_stop_at_the_very_first_moment_waits_until_the_service_runs(self):
        self.write_config()
        oma = self.oma(env=self.env)
        wait_for(lambda: self.manager.poll().states, "first message")
        oma.send(signal.SIGTERM)
        self.manager.wait_states(*STOPPED)
        self.assertEqual(oma.wait(), 0)

    def test_suspended_service_runs_on_and_stops_within_ten_seconds(self):
        self.write_config()
        self.config.write_text("<Configuration/>")
        oma = self.oma(env=self.env)
        oma.wait_text("Application waiting for service being stopped...")
        self.manager.wait_states(*RUNNING)
        self.manager.wait_pings(2)
        begin = time.monotonic()
        oma.send(signal.SIGTERM)
        self.manager.wait_states(*STOPPED)
        self.assertEqual(oma.wait(), 0)
        self.assertLess(time.monotonic() - begin, 15, "10 s and what a loaded machine adds")

    def test_second_stop_changes_nothing(self):
        oma = self.run_pass()
        self.vdsctl("stall", 2)
        oma.send(signal.SIGTERM)
        oma.wait_text("Init. stopping OMA app.")
        oma.send(signal.SIGINT)
        oma.wait_text("Init. stopping OMA app.", 2)
        wait_for(lambda: not oma.running(), "end")
        self.assertEqual(oma.wait(), 0)
        states = self.manager.poll().states
        self.assertEqual(states[:len(RUNNING)], list(RUNNING))
        self.assertEqual(states.count("stopped"), 1)
        self.assertEqual(states[-1], "stopped")
        self.assertEqual(set(states[len(RUNNING):-1]), {"STOPPING=1", "stopping"})

    def test_watchdog_hears_nothing_from_a_process_that_hangs(self):
        oma = self.run_pass()
        self.manager.wait_pings(2)
        oma.send(signal.SIGSTOP)
        wait_for(lambda: "State:\tT" in Path(f"/proc/{oma.proc.pid}/status").read_text(), "halt")
        before = self.manager.poll().pings
        time.sleep(WATCHDOG_S)  # silence can only be detected by waiting
        self.assertEqual(self.manager.poll().pings, before)
        oma.send(signal.SIGCONT)
        self.manager.wait_pings(2)
        self.assertEqual(oma.stop(), 0)
        self.assertEqual(self.manager.poll().states[-1], "stopped")

    def test_without_a_watchdog_there_are_no_pings(self):
        del self.env["WATCHDOG_USEC"]
        self.assertNotIn("WATCHDOG_USEC", os.environ)
        oma = self.run_pass()
        self.assertEqual(oma.stop(), 0)
        self.manager.wait_states(*STOPPED)
        self.assertEqual(self.manager.pings, 0)

    def test_on_a_console_each_signal_stops_once(self):
        """Without a manager it is a console program. A second signal of the same kind takes its default action."""
        self.write_config()
        signals = (signal.SIGABRT, signal.SIGTERM, signal.SIGINT, signal.SIGILL, signal.SIGFPE, signal.SIGQUIT)
        running = [self.oma(f"-job:{s.name}") for s in (*signals, signal.SIGINT)]
        for oma in running:
            oma.wait_text("Application waiting for service being stopped...")
        for oma, sig in zip(running, signals):
            oma.send(sig)
        last = running[-1]
        last.send(signal.SIGINT)
        last.wait_text("Init. stopping OMA app.")
        last.send(signal.SIGINT)
        for oma in running[:-1]:
            self.assertEqual(oma.wait(), 0)
            self.assertTrue(oma.text().endswith("Service stopping\n"), oma.text())
        self.assertEqual(last.wait(), -signal.SIGINT)
        self.assertEqual(self.manager.poll().states, [])


if __name__ == "__main__":
    unittest.main()
