"""The cycle of passes on real processes: restart, suspension by the server and from inside, stop in each state."""
import os
import random
import time
import unittest

from harness import ANGLE_JOB, BIN, POWER_JOB, SwingTest, swing, wait_for, write_recording


class Cycle(SwingTest):
    def test_stop_while_a_swing_stands_ends_events_and_channels(self):
        _, oma = self.begin()
        self.wait_swing()
        self.assertEqual(oma.stop(), 0)
        self.assertNothingStands()
        for text in ("Main loop has been exited", "Service stopping",
                     "StopApplication():StopApplication(): Init. stopping OMA app.."):
            self.assertTrue(oma.has(text), text)

    def test_restart_reads_the_changed_file_and_keeps_the_connections(self):
        _, oma = self.begin()
        self.wait_swing()
        # The mode of the permanent swing gets another id: only a pass that has read the file again can report it.
        self.config.write_text(self.config.read_text().replace('Id="603"', 'Id="699"'))
        self.vdsctl("post", 7, "APP", 3, 900)
        self.wait_swing(mode=699)
        self.assertTrue(oma.has("Initializing OMA re-start"))
        self.assertEqual(oma.count("Start Reading Config.File"), 2)
        self.vdsctl("post", 7, "APP", 0, 0)
        oma.wait_text("Start Reading Config.File", 3)
        self.wait_swing(mode=699, skip=1)
        self.assertEqual(oma.stop(), 0)
        self.assertNothingStands()

    def test_suspension_from_the_server_begins_a_new_pass(self):
        _, oma = self.begin()
        self.wait_swing()
        self.vdsctl("post", 4201, "APP", 3, 900)
        oma.wait_text("Initializing OMA suspension")
        oma.wait_text("Start Reading Config.File", 2)
        self.wait_swing(skip=1)
        self.assertEqual(oma.stop(), 0)
        self.assertNothingStands()

    def test_orders_and_zones_at_any_moment_of_a_pass(self):
        """Repeated restarts, suspensions and splits, at once or after a delay: while a pass is built, runs or ends."""
        rng = random.Random(4)
        self.write_config(jobs=[POWER_JOB, ANGLE_JOB], ntm=True)
        write_recording(self.dir / "rec.csv", 4000, lambda t: swing(t, 1.1, 30e6), lambda t: swing(t, 1.1, 20))
        vds = self.vds("--replay", self.dir / "rec.csv", "--speed", "30")
        oma = self.oma()
        zones = "#ZONE_DATA#~ZONE=1 NAME ID=1011 ZONE=2 NAME ID=1031 END"
        orders = [(7, "APP", 3, 900)] * 2 + [(7, "APP", 0, 0), (4201, "APP", 3, 900)] + \
            [(key, transition, 2, 1, zones) for key in (4003, 4005) for transition in ("APP", "DIS")]
        for _ in range(int(os.environ.get("OMA_ROUNDS", 60))):
            self.vdsctl("post", *rng.choice(orders))
            time.sleep(rng.choice((0, 0, 0.02, 0.1, 0.5, 1.5)) * rng.random())
        for key in (4003, 4005):
            self.vdsctl("post", key, "DIS", 2, 1, zones)
        passes = oma.count("Start Reading Config.File")
        self.assertGreater(passes, 3)

        def both_stand():
            rows = [line.split() for line in self.vdsctl("standing").stdout.splitlines()]
            return sorted(int(row[3]) for row in rows if 4203 <= int(row[1]) <= 4206) == [603, 611]
        wait_for(both_stand, "each swing once, after the orders have ended\n" + oma.text()[-3000:])
        self.assertTrue(vds.running())
        self.assertEqual(oma.stop(), 0)
        self.assertNothingStands()

    def test_restart_with_an_unreadable_file_suspends_until_stopped(self):
        _, oma = self.begin()
        self.wait_swing()
        self.config.write_text("<Configuration>")
        self.vdsctl("post", 7, "APP", 3, 900)
        oma.wait_text("CreateBaseOMA(): Cannot read KESTREL config.file! -> Suspend Application.")
        oma.wait_text("Application waiting for service being stopped...")
        event = self.wait_event(key=4201, transition="APP")
        self.assertEqual((event["elementType"], event["elementId"]), (3, 900))
        self.assertEqual(event["text"], "Cannot read KESTREL config.file!")
        self.assertTrue(oma.running())
        self.assertEqual(oma.stop(), 0)

    def test_a_start_clears_the_stopped_state(self):
        self.begin()
        event = self.wait_event(key=4201, transition="DIS")
        self.assertEqual((event["elementType"], event["elementId"], event["text"]), (3, 900, "OMA stopped."))

    def test_failure_while_building_suspends_and_tells_the_server(self):
        self.write_config()
        self.config.write_text(self.config.read_text().replace('MinFrequency="0.8"', 'MinFrequency="4.0"'))
        write_recording(self.dir / "rec.csv", 10)
        self.vds("--replay", self.dir / "rec.csv")
        oma = self.oma()
        oma.wait_text("AddPsmsToJob(): Invalid PSM freq. boundaries: Min.[Hz]=4.000000  Max.[Hz]=3.000000!"
                      " -> Suspend Application.")
        self.wait_event(key=4201, transition="APP", elementId=900)
        self.assertEqual(oma.stop(), 0)

    def test_stop_without_a_server_and_with_wrong_options(self):
        self.write_config()
        oma = self.oma()
        oma.wait_text("No VDS server socket handle available for event handling and reading data")
        self.assertEqual(oma.stop(), 0)
        wrong = self.start("oma", [BIN / "oma", "-INFO", "-study"])
        wrong.wait_text("CShellOMA::ExtractCmdLinePars(): Missing (at least) KESTREL config.file name!"
                        " -> Suspend Application.")
        wrong.wait_text("Application waiting for service being stopped...")
        self.assertTrue(wrong.has("call of OMA application: "))
        self.assertEqual(wrong.stop(), 0)

    def test_inactive_instance_waits_for_a_restart(self):
        self.write_config(active=False)
        write_recording(self.dir / "rec.csv", 10)
        self.vds("--replay", self.dir / "rec.csv")
        oma = self.oma()
        oma.wait_text("No OMA instances being active and running")
        self.write_config()
        self.vdsctl("post", 7, "APP", 3, 900)
        oma.wait_text("Start Reading Config.File", 2)
        self.assertEqual(oma.stop(), 0)

    def test_split_stops_the_angle_job_and_reclosing_starts_it_again(self):
        self.write_config(jobs=[ANGLE_JOB], ntm=True)
        write_recording(self.dir / "rec.csv", 4000, angle=lambda t: swing(t, 1.1, 20))
        self.vds("--replay", self.dir / "rec.csv", "--speed", "20")
        oma = self.oma()
        self.wait_swing(611)
        zones = "#ZONE_DATA#~ZONE=1 NAME ID=1011 ZONE=2 NAME ID=1031 END"
        self.vdsctl("post", 4003, "APP", 2, 1, zones)
        oma.wait_text("No OMA data analysis due to actual network split")
        self.wait_swing(611, "DIS")
        self.vdsctl("post", 4003, "DIS", 2, 1, zones)
        oma.wait_text("OMA data analysis re-started due to network re-closing")
        self.wait_swing(611, skip=1)
        self.assertEqual(oma.stop(), 0)
        self.assertNothingStands()

    def test_left_over_swing_event_is_cleared_at_start(self):
        self.write_config()
        write_recording(self.dir / "rec.csv", 100)
        self.vds("--replay", self.dir / "rec.csv")
        self.vdsctl("post", 4204, "APP", 3, 603, "left over")
        oma = self.oma()
        event = self.wait_event(key=4204, transition="DIS")
        self.assertEqual((event["elementId"], event["text"]), (603, "left over"))
        self.assertEqual(oma.stop(), 0)

    def test_study_signal_runs_from_the_command_line(self):
        self.write_config()
        write_recording(self.dir / "rec.csv", 4000)
        self.vds("--replay", self.dir / "rec.csv", "--speed", "20")
        oma = self.oma("-study", "-peak:1.13,30000000,-0.02,0", "-noise:1000000", "-shift:0.1", "-range:60")
        event = self.wait_swing()
        self.assertAlmostEqual(float(event["text"].split("~")[1].split("|")[0]), 1.13, delta=0.1)
        self.assertEqual(oma.stop(), 0)


if __name__ == "__main__":
    unittest.main()
