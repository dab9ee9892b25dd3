"""Streams of IEEE C37.118 that the server offers: its results, its phasors, and both as decoded by tshark."""
import math
import re
import select
import shutil
import socket
import struct
import subprocess
import threading
import time
import unittest
from pathlib import Path

import synchrophasors as sp
from harness import BIN, LIMIT_S, TICKS_S, SystemTest, free_ports, wait_for

EXAMPLES = Path(__file__).resolve().parents[2] / "config" / "examples"
TSHARK = shutil.which("tshark")
EPOCH_S = 62135596800
OFF, ON, HEADER, CFG1, CFG2, CFG3 = range(1, 7)
MODES = ((611, "NORTH_P 0.05-0.3", 811), (612, "NORTH_PO 0.3-0.9", 812), (613, "NORTH_POWE 0.9-3", 813),
         (621, "NORTH_S 0.05-0.3", 821), (622, "NORTH_SO 0.3-0.9", 822), (623, "NORTH_SOUT 0.9-3", 823))
LEVELS = {4206: 1, 4205: 2, 4204: 4, 4203: 8}


def command(code, stream=1):
    return sp.frame(4, stream, int(time.time()) * 1_000_000, struct.pack(">H", code))


def cut(buffer):
    """Complete frames of a stream, and the remaining bytes."""
    frames = []
    while len(buffer) >= 4 and len(buffer) >= (size := struct.unpack(">H", buffer[2:4])[0]):
        frames.append(buffer[:size])
        buffer = buffer[size:]
    return frames, buffer


def kind(data):
    return data[1] >> 4


def write_pcap(path, packets, port, protocol):
    """packets: (sent by the server, bytes) in order, as raw IP."""
    seq = [1, 1]
    with open(path, "wb") as f:
        f.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 101))
        for i, (server, data) in enumerate(packets):
            for part in (data[j:j + 60000] for j in range(0, len(data), 60000)):
                ends = (port, 40000) if server else (40000, port)
                if protocol == 6:
                    head = struct.pack(">HHIIBBHHH", *ends, seq[server], seq[not server], 0x50, 0x18, 60000, 0, 0)
                    seq[server] += len(part)
                else:
                    head = struct.pack(">HHHH", *ends, 8 + len(part), 0)
                ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(head) + len(part), i & 0xFFFF, 0, 64, protocol, 0,
                                 b"\x7f\0\0\1", b"\x7f\0\0\1")
                size = len(ip + head + part)
                f.write(struct.pack("<IIII", i // 1000, i % 1000 * 1000, size, size) + ip + head + part)


def tshark(path, port, protocol, *fields):
    """One list of field values for each packet with frames of synchrophasors; the values of a packet as a list."""
    args = [TSHARK, "-r", str(path), "-d", f"{'tcp' if protocol == 6 else 'udp'}.port=={port},synphasor", "-Y",
            "synphasor", "-o", "tcp.desegment_tcp_streams:TRUE", "-T", "fields", "-E", "aggregator=;"]
    for field in fields:
        args += ["-e", field]
    lines = subprocess.run(args, capture_output=True, text=True, check=True, timeout=LIMIT_S).stdout.splitlines()
    return [[value.split(";") if value else [] for value in line.split("\t")] for line in lines]


class Taker(threading.Thread):
    """A client that records what it sends and receives."""

    def __init__(self, test, sock, *codes):
        super().__init__(daemon=True)
        self.sock, self.packets, self.frames = sock, [], []
        sock.settimeout(LIMIT_S)
        test.addCleanup(sock.close)
        for code in codes:
            self.send(command(code))
        self.start()

    def send(self, data):
        self.packets.append((False, data))
        self.sock.send(data)

    def run(self):
        rest = b""
        try:
            while chunk := self.sock.recv(65536):
                self.packets.append((True, chunk))
                frames, rest = cut(rest + chunk)
                self.frames += frames
        except OSError:
            pass

    def of(self, *kinds):
        return [f for f in list(self.frames) if kind(f) in kinds]


class Recorder(threading.Thread):
    """Forwards one connection to a port and records it."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self.target, self.packets = port, []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.start()

    def run(self):
        client, _ = self.listener.accept()
        server = socket.create_connection(("127.0.0.1", self.target))
        with self.listener, client, server:
            while True:
                for source in select.select([client, server], [], [])[0]:
                    try:
                        chunk = source.recv(65536)
                    except OSError:
                        chunk = b""
                    if not chunk:
                        return
                    self.packets.append((source is server, chunk))
                    (client if source is server else server).sendall(chunk)


class Output(SystemTest):
    def write_example(self, path, ports, streams):
        text = (EXAMPLES / "demo.xml").read_text()
        path.write_text(text.replace(
            'Port="4712" PortApplicationData="4713"/>',
            f'Port="{ports[0]}" PortApplicationData="{ports[1]}"><Synchrophasors>{streams}</Synchrophasors></VDS>'))

    def check_frames(self, frames):
        """According to tshark, every frame is complete and has a valid check word."""
        for f in frames:
            self.assertEqual(sp.crc(f[:-2]), struct.unpack(">H", f[-2:])[0])

    def check_tshark(self, packets, port, protocol, frames):
        """@return all data frames: seconds, analogs, digital words."""
        path = self.dir / "stream.pcap"
        write_pcap(path, packets, port, protocol)
        rows = tshark(path, port, protocol, "synphasor.frtype", "synphasor.checksum.status", "_ws.malformed",
                      "synphasor.data.unknown", "synphasor.frsize")
        self.assertEqual(sum(len(r[0]) for r in rows), len(frames), "frames that tshark sees")
        self.assertEqual({s for r in rows for s in r[1]}, {"1"}, "check words")
        self.assertFalse([r for r in rows if r[2] or r[3]], "malformed or without configuration")
        self.assertEqual([int(s) for r in rows for s in r[4]], [len(f) for f in frames])
        return path

    def test_results_of_the_demo(self):
        tcp, udp = free_ports()
        self.write_example(self.config, self.ports,
                           f'<Output Name="results" Port="{tcp}" UdpPort="{udp}" WaitInMs="10000"/>')
        vds = self.vds("--simulate", EXAMPLES / "demo.json", "--speed", "max", "--once")
        stream = Taker(self, socket.create_connection(("127.0.0.1", tcp)), CFG1, CFG2, CFG3, HEADER)
        wait_for(lambda: len(stream.frames) == 4, "answers")
        self.assertEqual([kind(f) for f in stream.frames], [2, 3, 5, 1], "nothing else before on")
        socket_udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        socket_udp.connect(("127.0.0.1", udp))
        datagrams = Taker(self, socket_udp, CFG2, ON)
        stream.send(command(ON, stream=7))  # for another stream: must have no effect
        stream.send(command(ON))
        wait_for(lambda: len(datagrams.frames) == 1, "answer over UDP")
        self.oma()
        self.assertEqual(vds.wait(), 0)
        stream.join(LIMIT_S)
        self.assertTrue(vds.has("1 with another IDCODE"), vds.text())

        self.check_layout(stream.frames[1])
        data = {self.seconds(f): f for f in stream.of(0)}
        self.assertEqual(len(data), 465, "one frame per second")
        self.check_values(data)
        self.check_levels(data)
        sent = {f for f in stream.of(0)}
        self.assertTrue(datagrams.of(0))
        self.assertFalse([f for f in datagrams.of(0) if f not in sent], "UDP brings the same")
        if TSHARK:
            commands = [p for server, p in stream.packets if not server]
            path = self.check_tshark(stream.packets, tcp, 6, self.in_order(stream.packets))
            self.assertEqual(len(commands) + len(stream.frames), len(self.in_order(stream.packets)))
            self.check_values_of_tshark(path, tcp, stream.of(0))
            self.check_tshark(datagrams.packets, udp, 17, [p for _, p in datagrams.packets])

    def in_order(self, packets):
        """All frames of both directions in the order of a capture reader, which sees a frame when it ends."""
        frames, rest = [], [b"", b""]
        for server, data in packets:
            got, rest[server] = cut(rest[server] + data)
            frames += got
        self.check_frames(frames)
        return frames

    def seconds(self, data):
        self.assertEqual(struct.unpack(">I", data[10:14])[0] & 0xFFFFFF, 0, "on the grid")
        return struct.unpack(">I", data[6:10])[0]

    def check_layout(self, config):
        """PMUs in order: each job followed by its modes."""
        names, at = [], 22
        for _ in range(struct.unpack(">H", config[18:20])[0]):
            name, pmu, coding, phasors, analogs, digitals = struct.unpack(">16sHHHHH", config[at - 2:at + 24])
            names.append((pmu, name.decode().rstrip()))
            self.assertEqual((coding, phasors), (14, 0), "all float")
            at += 30 + 16 * (analogs + 16 * digitals) + 4 * (analogs + digitals)
        modes = [(m, n) for m, n, _ in MODES]
        self.assertEqual(names, [(501, "NORTH_POWER"), *modes[:3], (502, "NORTH_SOUTH"), *modes[3:]])

    def blocks(self, data):
        """STAT, analogs and digital word of each PMU, by its name."""
        blocks, at = {}, 14
        for pmu in (501, 611, 612, 613, 502, 621, 622, 623):
            analogs = 1 if pmu in (501, 502) else 4
            stat, *values = struct.unpack(f">H{2 + analogs}f", data[at:at + 10 + 4 * analogs])
            at += 10 + 4 * analogs
            word = None
            if analogs == 4:
                word = struct.unpack(">H", data[at:at + 2])[0]
                at += 2
            blocks[pmu] = (stat & ~0x0400, values[2:], word)
        self.assertEqual(at, len(data) - 2)
        return blocks

    def check_values(self, data):
        """Frames contain what the application wrote for their time, and fillers where it wrote nothing."""
        written = {(w["pmu"], w["time"] / TICKS_S - EPOCH_S): w["values"] for w in self.channels() if w["op"] == "write"}
        seen = 0
        for second, f in data.items():
            blocks = self.blocks(f)
            for mode, _, unit in MODES:
                stat, analogs, _ = blocks[mode]
                values = written.get((unit, second))
                if values:
                    seen += 1
                    self.assertEqual(stat, 0)
                    self.assertTrue(all(math.isclose(a, b, rel_tol=1e-6, abs_tol=1e-9)
                                        for a, b in zip(analogs, values, strict=True)), (second, mode, analogs, values))
                else:
                    self.assertEqual((stat, all(map(math.isnan, analogs))), (0x8000, True), (second, mode))
        self.assertEqual(seen, len(written))
        self.assertGreater(seen, 100)
        # In the steady state the line carries 3 * U^2 / X * sin(12 degrees).
        power = 3 * 230940 ** 2 / 60 * math.sin(math.radians(12))
        self.assertAlmostEqual(self.blocks(data[min(data) + 20])[501][1][0] / power, 1, delta=0.01)

    def check_levels(self, data):
        events = self.swing_events()
        for second, f in data.items():
            level = dict.fromkeys((m for m, _, _ in MODES), 0)
            for e in events:
                if e["time"] <= (second + EPOCH_S) * TICKS_S:
                    bit = LEVELS[e["key"]]
                    level[e["elementId"]] = level[e["elementId"]] & ~bit | (bit if e["transition"] == "APP" else 0)
            self.assertEqual({m: self.blocks(f)[m][2] for m in level}, level, second)

    def check_values_of_tshark(self, path, port, data):
        # The fields contain only the names of the channels; the values are in the text, with three decimals.
        text = subprocess.run([TSHARK, "-r", str(path), "-d", f"tcp.port=={port},synphasor", "-Y", "synphasor", "-O",
                               "synphasor"], capture_output=True, text=True, check=True, timeout=LIMIT_S).stdout
        self.assertEqual(len(re.findall(r"Data Frame \[correct\]", text)), len(data))
        analogs = [float(v) for v in re.findall(r"Analog value #\d+: .*, (\S+)\n", text)]
        words = [int(v, 16) for v in re.findall(r"Digital status word #1: (0x\w+)\n", text)]
        blocks = [b for f in data for b in self.blocks(f).values()]
        expected = [v for b in blocks for v in b[1]]
        self.assertEqual(len(analogs), len(expected))
        self.assertTrue(all(math.isclose(a, b, rel_tol=1e-6, abs_tol=1e-3) or (math.isnan(a) and math.isnan(b))
                            for a, b in zip(analogs, expected)))
        self.assertEqual(words, [b[2] for b in blocks if b[2] is not None])

    def test_round_trip(self):
        """A server offers the phasors of the demo, a second one receives them, and the application finds the swing."""
        ports, (tcp, _) = free_ports(), free_ports()
        first_config = self.dir / "first.xml"
        self.write_example(first_config, ports, f'<Output Name="phasors" Content="phasors" Port="{tcp}"/>')
        first = self.start("vds", [BIN / "vds", f"-xml:{first_config}", "--simulate", EXAMPLES / "demo.json", "--speed",
                                   "5"])
        first.wait_text("listening on")
        recorder = Recorder(tcp)
        phasors = "".join(f'<Phasor Pmu="{unit}" Name="{name} L{phase}" Datapoint="{unit}{phase}"/>'
                          for unit, name in ((101, "North U"), (102, "North I"), (103, "South U")) for phase in (1, 2, 3))
        self.write_example(self.config, self.ports, f'<Stream Name="first" Host="127.0.0.1" Port="{recorder.port}" '
                                                    f'StreamId="1">{phasors}</Stream>')
        second = self.vds()
        self.oma()
        second.wait_text("stream first: 3 PMUs, 50 frames per second, 9 of 9 phasors found")
        event = self.wait_event("swing of the demo", elementId=613, key=4205, transition="APP")
        # 1.2 Hz from second 30 on, damping -0.015; the first pass that detects it has a window of 5 s.
        frequency, _, damping, _ = (float(v) for v in event["text"].split("~")[1].split("|"))
        self.assertAlmostEqual(frequency, 1.2, delta=0.05)
        self.assertLess(damping, 0.02)
        second.stop()
        first.stop()
        recorder.join(LIMIT_S)
        if TSHARK:
            frames = self.in_order(recorder.packets)
            self.assertGreater(len(frames), 1500)
            self.check_tshark(recorder.packets, tcp, 6, frames)


if __name__ == "__main__":
    unittest.main()
