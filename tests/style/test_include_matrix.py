"""scripts/include-matrix on small trees: one that is right, and each fault that it is there to find."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "scripts" / "include-matrix"
ROOMS = """\
foreach(strRoom
        # the link
        link/dli platform/sync
        host/base job vds/core
        apps)
endforeach()
"""
FILES = {
    "platform/sync/posix/WinEvents.h": "",
    "host/base/CTime.h": '#include "WinEvents.h"\n',
    "job/CJob.h": '#include "host/base/CTime.h"\n#include <vector>\n',
    "job/CJob.cpp": '#include "job/CJob.h"\n',
    "vds/core/CServer.cpp": '#include "link/dli/Ticks.h"\n',
    "apps/oma.cpp": '#include "job/CJob.h"\n#include "WinEvents.h"\n',
}


class IncludeMatrix(unittest.TestCase):
    def setUp(self):
        tmp = tempfile.TemporaryDirectory(prefix="oma-includes-")
        self.addCleanup(tmp.cleanup)
        self.root = Path(tmp.name)
        self.write("CMakeLists.txt", ROOMS)
        self.write("docs/architecture.md", "before\n<!-- matrix: scripts/include-matrix --write -->\n"
                   "<!-- end of matrix -->\nafter\n")
        for name, text in FILES.items():
            self.write(name, text)
        self.run_script("--write")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def run_script(self, option):
        return subprocess.run([sys.executable, str(SCRIPT), option, "--root", str(self.root)], text=True,
                              capture_output=True, timeout=60)

    def assert_refused(self, complaint):
        """Each complaint is the only one, apart from the picture that may have changed with it."""
        self.run_script("--write")
        done = self.run_script("--check")
        self.assertEqual((done.returncode, done.stderr), (1, f"include-matrix: {complaint}\n"))

    def test_arrows_that_point_down_pass_and_are_shown(self):
        done = self.run_script("--check")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        text = (self.root / "docs/architecture.md").read_text()
        self.assertTrue(text.startswith("before\n<!--") and text.endswith("-->\nafter\n"), text)
        self.assertIn("\njob         x\nhost/base   1  sync\n", text)

    def test_an_upward_include(self):
        self.write("host/base/CTime.cpp", '#include "host/base/CTime.h"\n#include "job/CJob.h"\n')
        self.assert_refused('host/base/CTime.cpp includes "job/CJob.h": job stands above host/base')

    def test_an_upward_include_by_a_bare_name(self):
        self.write("link/dli/Ticks.h", '#include "WinEvents.h"\n')
        self.assert_refused('link/dli/Ticks.h includes "WinEvents.h": platform/sync stands above link/dli')

    def test_a_downward_include_of_a_group_that_may_not_be_used(self):
        self.write("vds/core/CServer.cpp", '#include "job/CJob.h"\n')
        self.assert_refused('vds/core/CServer.cpp includes "job/CJob.h": vds may not use job')

    def test_a_folder_that_is_not_listed(self):
        for name in ("host/run/Threads.cpp", "vds/base/ISource.h"):
            with self.subTest(name):
                self.write(name, "")
                self.assert_refused(f"{name} lies in no room of CMakeLists.txt")
                (self.root / name).unlink()

    def test_a_picture_that_is_out_of_date(self):
        self.write("job/CPmu.cpp", '#include "WinEvents.h"\n')
        done = self.run_script("--check")
        self.assertEqual(done.returncode, 1)
        self.assertIn("docs/architecture.md shows another matrix", done.stderr)
        self.assertEqual(self.run_script("--write").returncode, 0)
        self.assertEqual(self.run_script("--check").returncode, 0)


if __name__ == "__main__":
    unittest.main()
