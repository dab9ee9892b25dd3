"""Streams of IEEE C37.118 as the source of the server: live, and from a capture."""
import cmath
import random

import synchrophasors as sp
from harness import *

VOLTS, BEGIN = 230e3, 1_700_000_000


def current(t):
    """Gives 300 MW at 230 kV, and on them a swing of 30 MW at 1.1 Hz; with some noise."""
    return (300e6 + swing(t % 1e6, 1.1, 30e6) + random.gauss(0, 4e4)) / VOLTS * cmath.exp(0.35j)


def north():
    return sp.Device(60, 61, {"VA": (0, 915527, lambda t: VOLTS * cmath.exp(0.35j))})


def south():
    return sp.Device(70, 71, {"IA": (1, 45776, current)}, floats=True, base=16777215)


class Synchrophasors(SystemTest):
    def write_streams(self, ports, wait_ms=2000):
        streams = "".join(f'<Stream Name="{name}" Host="127.0.0.1" Port="{port}" StreamId="{stream}">'
                          f'<Phasor Name="{phasor}" Datapoint="{datapoint}"/></Stream>'
                          for name, port, stream, phasor, datapoint in (("north", ports[0], 60, "VA", 1011),
                                                                        ("south", ports[1], 70, "IA", 1021)))
        self.config.write_text(config_xml(self.ports).replace(
            'PortApplicationData="%d"/>' % self.ports[1],
            f'PortApplicationData="{self.ports[1]}"><Synchrophasors MaxWaitInMs="{wait_ms}">{streams}</Synchrophasors>'
            '</VDS>'))

    def serve(self, device, late_s=0.0):
        server = sp.Server(device, late_s)
        self.addCleanup(server.stop)
        return server

    def wait_swing(self, transition, skip=0):
        def seen():
            found = [e for e in self.swing_events() if e["elementId"] == 603 and e["transition"] == transition]
            return found[skip] if len(found) > skip else None
        return wait_for(seen, f"swing {transition}\n" + "\n".join(p.text()[-1500:] for p in self.processes))

    def test_two_live_streams(self):
        first, second = self.serve(north()), self.serve(south(), late_s=0.1)
        self.write_streams((first.port, second.port))
        vds = self.vds()
        oma = self.oma()
        vds.wait_text("stream north: 1 PMU, 50 frames a second, 1 of 1 phasors found")
        vds.wait_text("stream south: 1 PMU, 50 frames a second, 1 of 1 phasors found")
        self.wait_swing("APP")
        self.assertEqual(first.commands[:3], [1, 5, 2], "off, CFG-2, on")

        # Another phasor ahead of the one that is wanted: the change is asked for once, and garbage does no harm.
        first.inject += [b"\xaa\x01\xff\xff garbage", first.device.data(1)[:9]]
        first.device.phasors = {"VX": (0, 1, lambda t: 0j), **first.device.phasors}
        first.device.stat = 0x0400
        vds.wait_text("stream north: new configuration")
        self.assertEqual(first.commands.count(5), 2)

        second.cut.set()
        vds.wait_text("stream south: connection lost")
        vds.wait_text("stream south: 1 PMU", count=2)
        vds.wait_text("stream south: connection lost", count=1)
        self.wait_swing("APP", skip=1)
        self.assertEqual(oma.stop(), 0)
        self.assertEqual(vds.stop(), 0)
        wait_for(lambda: first.commands[-1] == 1, "data turned off at the end")
        self.assertRegex(vds.text(), r"stream north: \d+ data frames, .*resynchronisations, .*1 length mismatches, .*"
                                     r"1 new configurations\n")
        self.assertRegex(vds.text(), r"stream south: \d+ data frames, .*2 connections\n")


if __name__ == "__main__":
    unittest.main()
