"""The Debian package of this build: its contents, and its programs as the units start them, from an unpacked copy."""
import gzip
import os
import re
import shlex
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from harness import LIMIT_S, SystemTest, write_recording
from test_security import SERVER_EXT, make_ca, make_certificate
from test_service import RUNNING, STOPPED, Manager

PREFIX = os.environ.get("OMA_PREFIX", "/usr")
ETC = os.environ.get("OMA_SYSCONFDIR", "/etc") + "/oma"
PROGRAMS = ("oma", "omaview", "vds", "vdsctl", "omacheck")
PAGES = ("man8/oma.8", "man8/omaview.8", "man8/vds.8", "man1/vdsctl.1", "man1/omacheck.1")


def run(*args, **kwargs):
    r = subprocess.run([str(a) for a in args], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                       timeout=LIMIT_S, **kwargs)
    if r.returncode != 0:
        raise AssertionError(f"{args}: {r.returncode}\n{r.stdout}")
    return r.stdout


class Package(SystemTest):
    @classmethod
    def setUpClass(cls):
        cls.made = tempfile.TemporaryDirectory(prefix="oma-package-")
        run(os.environ["OMA_CPACK"], "-G", "DEB", "--config", os.environ["OMA_CPACK_CONFIG"], "-B", cls.made.name)
        [cls.deb] = Path(cls.made.name).glob("*.deb")
        cls.root = Path(cls.made.name) / "root"
        run("dpkg-deb", "-x", cls.deb, cls.root)

    @classmethod
    def tearDownClass(cls):
        cls.made.cleanup()

    def installed(self, path):
        return self.root / (PREFIX + "/" + path).lstrip("/")

    def field(self, name):
        return run("dpkg-deb", "-f", self.deb, name).strip()

    def unit(self, name):
        """Settings of a unit; of a repeated setting the last one."""
        text = self.installed(f"lib/systemd/system/{name}.service").read_text()
        return dict(line.split("=", 1) for line in text.splitlines() if "=" in line and not line.startswith("#"))

    def test_contents(self):
        expected = [f"bin/{p}" for p in PROGRAMS] + [f"share/man/{p}.gz" for p in PAGES] + [
            "share/oma/oma.xsd", "share/doc/oma/copyright", "share/doc/oma/README.md", "share/doc/oma/operation.md",
            "share/doc/oma/examples/power.xml", "share/doc/oma/examples/demo.json",
            "lib/systemd/system/oma.service", "lib/systemd/system/omaview.service", "lib/systemd/system/vds.service"]
        for path in expected:
            self.assertTrue(self.installed(path).is_file(), path)
        self.assertTrue((self.root / ETC.lstrip("/")).is_dir())
        for line in run("dpkg-deb", "-c", self.deb).splitlines():
            self.assertRegex(line, r"^[d-]rw[x-]r-[x-]r-[x-] root/root ")
        logrotate = Path(str(self.root) + ETC).parent / "logrotate.d" / "oma"
        self.assertIn("--signal=HUP vds.service", logrotate.read_text())
        self.assertIn("/logrotate.d/oma", run("dpkg-deb", "-I", self.deb, "conffiles"))
        self.assertEqual(self.field("Package"), "oma")
        depends = self.field("Depends")
        for library in ("libc6", "libstdc++6", "libxml2", "libsystemd0"):
            self.assertIn(library, depends)
        for script in ("postinst", "prerm", "postrm"):
            run("sh", "-n", "/dev/stdin", input=run("dpkg-deb", "-I", self.deb, script))

    def test_programs_tell_one_version_and_their_usage(self):
        for name in PROGRAMS[1:]:
            program = self.installed(f"bin/{name}")
            self.assertEqual(run(program, "--version"), f"{name} {self.field('Version')}\n")
            self.assertTrue(run(program, "--help").startswith(f"usage: {name} "))
        for example in self.installed("share/doc/oma/examples").glob("*.xml"):
            run(self.installed("bin/omacheck"), example)

    def test_man_pages_are_clean_and_name_every_option(self):
        # The options accepted by the programs, taken from their sources.
        source = Path(__file__).resolve().parents[2]
        shell = "".join((source / "host" / "shell" / f).read_text() for f in ("CShellBAS.cpp", "CShellOMA.cpp"))
        options = {"oma.8": set(re.findall(r'L"(-[a-z0-9]+:?(?:fft|psm)?)"', shell)),
                   "vds.8": set(re.findall(r'"(--?[a-z-]+:?)"', (source / "vds/config/CommandLine.cpp").read_text())),
                   "omaview.8": set(re.findall(r'"(--[a-z-]+)"', (source / "view" / "ViewCommand.cpp").read_text()))}
        self.assertGreater(len(options["oma.8"]), 20)
        for page in PAGES:
            text = gzip.decompress(self.installed(f"share/man/{page}.gz").read_bytes()).decode()
            self.assertNotIn("@", text.replace("@localhost", ""))
            for option in options.get(page.split("/")[1], ()):
                self.assertIn(option.lower().rstrip(":"), text.replace("\\-", "-").lower(), page)
            if shutil.which("groff"):
                self.assertEqual(run("groff", "-t", "-man", "-Tutf8", "-ww", "-z", input=text), "", page)

    def test_units_are_sound_and_hardened(self):
        units = [f"{self.installed('lib/systemd/system')}/{n}.service" for n in ("oma", "omaview", "vds")]
        for path in units:
            # The programs are elsewhere here; the manual pages are not installed.
            copy = self.dir / Path(path).name
            copy.write_text(Path(path).read_text().replace(f"={PREFIX}/bin", f"={self.installed('bin')}"))
            if not shutil.which("systemd-analyze"):
                continue
            self.assertEqual(run("systemd-analyze", "verify", "--man=no", copy), "")
            run("systemd-analyze", "security", "--offline=true", "--threshold=20", copy)

    def start_unit(self, name, manager, options, env=None):
        unit = self.unit(name)
        self.assertEqual(unit["Type"], "notify")
        command = unit["ExecStart"].replace(f"${name.upper()}_OPTIONS", options)
        args = [a.replace(PREFIX + "/bin", str(self.installed("bin"))).replace(ETC, f"{self.root}{ETC}")
                for a in shlex.split(command)]
        return self.start(name, args, {"NOTIFY_SOCKET": manager.path, "WATCHDOG_USEC": "1500000", **(env or {})})

    def test_unpacked_programs_run_as_the_units_start_them(self):
        self.config = Path(f"{self.root}{ETC}/oma.xml")
        self.write_config()
        write_recording(self.dir / "rec.csv", 60)
        for name in ("vds", "oma", "omaview"):
            (self.dir / name).mkdir()
        server, service = Manager(self.dir / "vds"), Manager(self.dir / "oma")
        vds = self.start_unit("vds", server, "--replay rec.csv")
        server.wait_states("READY=1")
        oma = self.start_unit("oma", service, "-INFO")
        oma.wait_text("All OMA data pre-processing done")
        service.wait_states(*RUNNING)
        window = Manager(self.dir / "omaview")
        view = self.start_unit("omaview", window, "--port 0")
        window.wait_states("READY=1")
        window.wait_pings(2)
        self.assertEqual(view.stop(), 0)
        window.sock.close()
        server.wait_pings(2)
        service.wait_pings(2)
        self.assertEqual(oma.stop(), 0)
        service.wait_states(*STOPPED)
        self.assertEqual(vds.stop(), 0)
        server.wait_states("READY=1", "STOPPING=1")
        self.assertTrue((self.dir / "vds.state").exists())
        for manager in (server, service):
            manager.sock.close()

    def test_units_over_tls_with_credentials_of_their_own(self):
        """One oma.xml, and a folder for each service as LoadCredential= would create it."""
        self.config = Path(f"{self.root}{ETC}/oma.xml")
        self.write_config()
        make_ca(self.config.parent, "ca")
        make_certificate(self.config.parent, "ca", "server", "/CN=server", SERVER_EXT)
        element = ('<Security CAFile="ca.pem" CertificateFile="server.pem" KeyFile="${CREDENTIALS_DIRECTORY}/server.key" '
                   'TokenFile="${CREDENTIALS_DIRECTORY}/oma.token"/>')
        text = self.config.read_text()
        self.config.write_text(text.replace(f'Data="{self.ports[1]}"/>', f'Data="{self.ports[1]}">{element}</VDS>'))
        write_recording(self.dir / "rec.csv", 60)
        env = {}
        for name in ("vds", "oma"):
            folder = self.dir / name
            folder.mkdir()
            (folder / "oma.token").write_text("right-0123456789abcdef\n")
            env[name] = {"CREDENTIALS_DIRECTORY": str(folder)}
        (self.config.parent / "server.key").rename(self.dir / "vds" / "server.key")
        omacheck = self.installed("bin/omacheck")
        self.assertIn("CREDENTIALS_DIRECTORY is not set",
                      subprocess.run([omacheck, self.config], text=True, capture_output=True).stderr)
        run(omacheck, self.config, env={**os.environ, **env["vds"]})
        managers = {name: Manager(self.dir / name) for name in env}
        vds = self.start_unit("vds", managers["vds"], "--replay rec.csv", env["vds"])
        managers["vds"].wait_states("READY=1")
        oma = self.start_unit("oma", managers["oma"], "-INFO", env["oma"])
        oma.wait_text("All OMA data pre-processing done")
        self.assertEqual((oma.stop(), vds.stop()), (0, 0))
        for manager in managers.values():
            manager.sock.close()


if __name__ == "__main__":
    unittest.main()
