"""Short versions of the long runs of ./soak."""
import unittest

import faults
import soak
from harness import SystemTest


class Faults(SystemTest):
    def test_recovery_from_random_faults(self):
        faults.play(self, 12, 7)

    def test_minutes_of_data_leave_memory_threads_and_handles_where_they_were(self):
        run = soak.SoakRun(self, 0.6, 10)
        run.run()
        self.assertTrue([e for e in self.swing_events() if e["transition"] == "APP"], "no swing was found")
        run.check_memory()
        for name in ("oma", "vds"):
            settled = run.settled(name)
            self.assertEqual(settled[0][2], settled[-1][2], f"threads of {name}")
            self.assertLessEqual(abs(settled[0][3] - settled[-1][3]), 1, f"handles of {name}")


if __name__ == "__main__":
    unittest.main()
