"""Streams of IEEE C37.118 as the source of the server: live, and from a capture."""
import cmath
import random
import socket
import subprocess
import threading
import time
import unittest

import synchrophasors as sp
from harness import BIN, LIMIT_S, SystemTest, config_xml, swing, wait_for

VOLTS, BEGIN = 230e3, 1_700_000_000


def current(t):
    """Current for 300 MW at 230 kV with a swing of 30 MW at 1.1 Hz and some noise."""
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
        vds.wait_text("stream north: 1 PMU, 50 frames per second, 1 of 1 phasors found")
        vds.wait_text("stream south: 1 PMU, 50 frames per second, 1 of 1 phasors found")
        self.wait_swing("APP")
        self.assertEqual(first.commands[:3], [1, 5, 2], "off, CFG-2, on")

        # Another phasor before the wanted one: the change is requested once, and garbage does no harm.
        first.inject += [b"\xaa\x01\xff\xff garbage", first.device.data(1)[:9]]
        first.device.phasors = {"VX": (0, 1, lambda t: 0j), **first.device.phasors}
        first.device.stat = 0x0400
        vds.wait_text("stream north: new configuration")
        self.assertEqual(first.commands.count(5), 2)

        second.cut.set()
        vds.wait_text("stream south: connection lost")
        vds.wait_text("stream south: 1 PMU", count=2)
        self.assertEqual(vds.count("stream south: connection lost"), 1)
        self.wait_swing("APP", skip=1)
        self.assertEqual(oma.stop(), 0)
        self.assertEqual(vds.stop(), 0)
        wait_for(lambda: first.commands[-1] == 1, "data turned off at the end")
        self.assertRegex(vds.text(), r"stream north: \d+ data frames, .*resynchronisations, .*\d+ length mismatches, .*"
                                     r"1 new configurations\n")
        self.assertRegex(vds.text(), r"stream south: \d+ data frames, .*2 connections\n")

    def udp_port(self):
        """A port that was free a moment ago."""
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            probe.bind(("127.0.0.1", 0))
            return probe.getsockname()[1]

    def write_stream(self, attributes):
        self.write_streams((1, 2))
        text = self.config.read_text()
        begin, end = text.index("<Stream"), text.index("</Synchrophasors>")
        self.config.write_text(text[:begin] + f'<Stream Name="n" {attributes} StreamId="60">'
                               '<Phasor Name="VA" Datapoint="1011"/></Stream>' + text[end:])

    def test_data_over_udp_on_command(self):
        """Commands over UDP, and over TCP with data over UDP; a device that falls silent is asked again."""
        port = self.udp_port()
        both, data = sp.UdpServer(north()), sp.Server(north(), data_port=port)
        for server, attributes in (
                (both, f'Host="127.0.0.1" UdpPort="{both.port}" Transport="udp"'),
                (data, f'Host="127.0.0.1" Port="{data.port}" UdpPort="{port}" Transport="tcp-udp"')):
            self.addCleanup(server.stop)
            self.write_stream(attributes)
            vds = self.vds()
            vds.wait_text("stream n: 1 PMU, 50 frames per second, 1 of 1 phasors found")
            wait_for(lambda: len(server.commands) > 2, "data turned on")
            self.assertEqual(server.commands[:3], [1, 5, 2], "off, CFG-2, on")
            server.cut.set()
            wait_for(lambda: server.commands.count(2) > 1, "data turned on again")
            given = server.given
            wait_for(lambda: server.given > given + 50, "a second of data")
            self.assertEqual(vds.stop(), 0)
            wait_for(lambda: server.commands[-1] == 1, "data turned off at the end")
            self.assertRegex(vds.text(), r"stream n: \d\d+ data frames, \d+ bytes(, \d+ gaps.*lost)?(, 2 connections)?\n")

    def test_spontaneous_udp(self):
        """One datagram per frame without any command; the configuration arrives late, as it is sent once a minute."""
        port = self.udp_port()
        self.write_stream(f'UdpPort="{port}" Transport="spontaneous"')
        vds = self.vds()
        device, index = north(), int(time.time()) * 50
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            for i in range(30):
                for datagram in ([device.config(time.time())] if i == 10 else []) + [device.data(index + i)]:
                    sender.sendto(datagram, ("127.0.0.1", port))
            vds.wait_text("stream n: 1 PMU, 50 frames per second, 1 of 1 phasors found")
            device.count += 1
            sender.sendto(device.config(time.time()), ("127.0.0.1", port))
            vds.wait_text("stream n: new configuration")
        self.assertEqual(vds.stop(), 0)
        self.assertRegex(vds.text(), r"stream n: 30 data frames, \d+ bytes, 1 new configurations\nvds: 20 cycles;")

    def test_ipv6_and_a_device_that_falls_silent(self):
        try:
            server = sp.Server(north(), host="::1")
        except OSError as e:
            self.skipTest(f"no IPv6 on the loopback of this machine: {e}")
        self.addCleanup(server.stop)
        self.write_stream(f'Host="::1" Port="{server.port}"')
        vds = self.vds()
        wait_for(lambda: server.given > 50, "a second of data")
        server.mute.set()
        vds.wait_text("stream n: no data received; ")
        self.assertEqual(server.commands[:4], [1, 5, 2, 2], "data turned on once more before the connection is closed")
        server.mute.clear()
        given = server.given
        wait_for(lambda: server.given > given + 50, "data after the silence")
        self.assertEqual(vds.stop(), 0)

    def test_multicast(self):
        """Joined on the interface of the system's choice, and sent there; a life of 0 keeps it on this machine."""
        port, group = self.udp_port(), "239.255.37.118"
        sender, member = (socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(2))
        with sender, member:
            sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 0)
            try:
                member.bind(("", 0))
                member.settimeout(5)
                member.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(group) + bytes(4))
                sender.sendto(b"?", (group, member.getsockname()[1]))
                member.recv(1)
            except OSError as e:
                self.skipTest(f"no multicast on this machine: {e}")
            self.write_stream(f'Host="{group}" UdpPort="{port}" Transport="spontaneous"')
            vds = self.vds()
            device, index = north(), int(time.time()) * 50
            config = device.config(time.time())

            def found():
                sender.sendto(config, (group, port))  # the first ones may come before it listens
                return vds.has("stream n: 1 PMU, 50 frames per second, 1 of 1 phasors found")
            wait_for(found, "configuration")
            for i in range(30):
                sender.sendto(device.data(index + i), (group, port))
            device.count += 1
            sender.sendto(device.config(time.time()), (group, port))
            vds.wait_text("stream n: new configuration")
        self.assertEqual(vds.stop(), 0)
        self.assertRegex(vds.text(), r"stream n: 30 data frames")

    def test_both_edges_of_a_change_are_asked_for_at_once(self):
        """The second edge arrives within the 5 s of the first request, and changes the length of the frames."""
        server = self.serve(north())
        self.write_stream(f'Host="127.0.0.1" Port="{server.port}"')
        vds = self.vds()
        wait_for(lambda: server.given > 10, "data")
        server.device.stat = 0x0400
        wait_for(lambda: server.commands.count(5) == 2, "requested on the rising edge")
        server.device.phasors = {"VX": (0, 1, lambda t: 0j), **server.device.phasors}
        server.device.stat = 0
        vds.wait_text("stream n: new configuration")
        self.assertEqual(server.commands.count(5), 3)
        self.assertEqual(server.commands.count(2), 1, "the data has not been turned on again")
        self.assertNotIn("no data received", vds.text())
        self.assertEqual(vds.stop(), 0)

    def test_a_flood_of_rubbish_is_closed_and_not_told_for_ever(self):
        server = self.serve(north())
        self.write_stream(f'Host="127.0.0.1" Port="{server.port}"')
        vds = self.vds()
        wait_for(lambda: server.given > 10, "data")
        flood = threading.Event()

        def pour():
            while not flood.is_set():
                server.inject.append(b"\xaa\x01\xff\xff" * 50000)
                time.sleep(0.02)
        threading.Thread(target=pour, daemon=True).start()
        vds.wait_text("stream n: sends far more than its configuration implies, or bytes that are not frames")
        wait_for(lambda: server.commands.count(5) > 2, "reconnected")
        flood.set()
        self.assertEqual(vds.stop(), 0)
        self.assertEqual(vds.text().count("sends far more than"), 1)

    def test_from_a_probe_to_a_running_analysis(self):
        device = north()
        device.phasors["IA <1>"] = (1, 45776, current)
        server = self.serve(device)
        r = subprocess.run([BIN / "vdsctl", "probe", f"127.0.0.1:{server.port}/60", "--seconds", "1", "--xml",
                            self.config], text=True, capture_output=True, timeout=LIMIT_S)
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertIn("PMU 61 'STATION': nominal frequency 50 Hz, 2 phasors (integer, rectangular)", r.stdout)
        self.assertIn('<Phasor Pmu="61" Name="IA &lt;1&gt;" Datapoint="'.replace("&gt;", ">"), r.stdout)
        self.assertIn(" 0 lost, 0 in error\nclock quality at worst 0 (locked)", r.stdout)
        for port, mine in zip(self.ports, ("47120", "47121")):
            self.config.write_text(self.config.read_text().replace(mine, str(port)))
        vds = self.vds()
        self.oma()
        vds.wait_text("2 of 2 phasors found")
        self.wait_swing("APP")
        r = subprocess.run([BIN / "vdsctl", "probe", f"127.0.0.1:{self.ports[0]}x"], text=True, capture_output=True)
        self.assertEqual(r.returncode, 1)
        self.assertIn("port: expected a number from 1 to 65535", r.stderr)

    def play(self, packets, **kwargs):
        sp.pcap(self.dir / "streams.pcap", packets, **kwargs)
        for name in ("events.jsonl", "channels.jsonl"):
            (self.dir / name).unlink(missing_ok=True)
        vds = self.vds("--replay", self.dir / "streams.pcap", "--speed", "max", "--once", wait=False)
        wait_for(self.listening, "vds")
        oma = self.oma()
        self.assertEqual(vds.wait(), 0, vds.text())
        self.assertEqual(oma.stop(), 0)
        return vds

    def test_capture(self):
        """The same from a capture: two captures in different formats, one with segments out of order, agree."""
        self.write_streams((1, 2), wait_ms=300)
        random.seed(7)
        packets, seqs = [], {1: 1000, 2: 0xFFFFFF00}
        for i in range(40 * 50):
            for port, device, late in ((1, north(), 0.0), (2, south(), 0.1)):
                data = (device.config(BEGIN) if i == 0 else b"") + device.data(BEGIN * 50 + i)
                packets.append((BEGIN + i / 50 + late, port, seqs[port], data))
                seqs[port] += len(data)
        packets.sort(key=lambda p: p[0])
        vds = self.play(packets)
        self.assertRegex(vds.text(), r"stream north: 2000 data frames, \d+ bytes\n")
        swings = [e for e in self.swing_events()]
        self.assertTrue([e for e in swings if e["elementId"] == 603 and e["transition"] == "APP"])
        written = [c["values"] for c in self.channels() if c["op"] == "write" and c["pmu"] == 803]
        self.assertAlmostEqual(written[-1][0], 1.1, delta=0.02)
        self.assertAlmostEqual(written[-1][1], 30e6, delta=3e6)

        packets[60:64] = packets[61], packets[60], packets[61], *packets[62:64]
        self.play(packets, magic=0xA1B23C4D, order=">")
        strip = lambda events: [{k: v for k, v in e.items() if k != "from"} for e in events]
        self.assertEqual(strip(self.swing_events()), strip(swings))


if __name__ == "__main__":
    unittest.main()
