"""A simulated IEEE C37.118 device for tests: written from the standard, independently of the server's code."""
import cmath
import socket
import struct
import threading
import time


def crc(data):
    value = 0xFFFF
    for byte in data:
        value ^= byte << 8
        for _ in range(8):
            value = (value << 1 ^ 0x1021) & 0xFFFF if value & 0x8000 else value << 1 & 0xFFFF
    return value


def frame(kind, stream, seconds, body, base=1_000_000, quality=0):
    """seconds: UTC since 1970 as a number of ticks of the time base."""
    head = struct.pack(">BBHHII", 0xAA, kind << 4 | 1, 16 + len(body), stream, seconds // base,
                       quality << 24 | seconds % base)
    return head + body + struct.pack(">H", crc(head + body))


class Device:
    """One PMU. Phasors: name -> (is current, counts per V or A as integer, function of the time giving a complex)."""

    def __init__(self, stream, pmu, phasors, floats=False, rate=50, base=1_000_000):
        self.stream, self.pmu, self.phasors, self.floats, self.rate, self.base = stream, pmu, phasors, floats, rate, base
        self.stat = 0
        self.count = 1

    def config(self, now):
        body = struct.pack(">IH16sHHHHH", self.base, 1, b"STATION".ljust(16), self.pmu, 0xF if self.floats else 0,
                           len(self.phasors), 0, 0)
        body += b"".join(name.encode().ljust(16) for name in self.phasors)
        body += b"".join(struct.pack(">I", current << 24 | unit) for current, unit, _ in self.phasors.values())
        return frame(3, self.stream, int(now) * self.base, body + struct.pack(">HHh", 1, self.count, self.rate),
                     self.base)

    def data(self, index):
        """Frame number index since 1970."""
        t = index / self.rate
        body = struct.pack(">H", self.stat)
        for _, unit, value in self.phasors.values():
            v = value(t)
            if self.floats:
                body += struct.pack(">ff", abs(v), cmath.phase(v))
            else:
                body += struct.pack(">hh", round(v.real / unit * 1e5), round(v.imag / unit * 1e5))
        body += struct.pack(">ff", 50.0, 0.0) if self.floats else struct.pack(">hh", 0, 0)
        return frame(0, self.stream, index * self.base // self.rate, body, self.base)


class Server(threading.Thread):
    """Serves one device over TCP, one client at a time, in real time; given a UDP port, it sends its data there."""

    def __init__(self, device, late_s=0.0, data_port=None, host="127.0.0.1"):
        super().__init__(daemon=True)
        self.device, self.late, self.host = device, late_s, host
        self.listener = self.listen()
        self.datagrams = data_port and Datagrams(data_port)
        self.port = self.listener.getsockname()[1]
        self.commands = []
        self.given = 0  # number of data frames sent
        self.inject = []  # bytes to send between two frames
        self.cut = threading.Event()
        self.mute = threading.Event()  # accepts commands, answers nothing, sends nothing
        self.ending = threading.Event()
        self.start()

    def listen(self):
        family = socket.AF_INET6 if ":" in self.host else socket.AF_INET
        return socket.create_server((self.host, 0), family=family)

    def stop(self):
        self.ending.set()
        self.join(10)
        self.listener.close()
        if self.datagrams:
            self.datagrams.close()

    def run(self):
        self.listener.settimeout(0.1)
        while not self.ending.is_set():
            try:
                client, _ = self.listener.accept()
            except TimeoutError:
                continue
            with client:
                try:
                    self.serve(client)
                except OSError:
                    self.take_last(client)

    def serve(self, client):
        client.settimeout(0.002)
        on, index, pending = False, 0, b""
        self.cut.clear()
        while not self.ending.is_set() and not self.cut.is_set():
            try:
                chunk = client.recv(1000)
                if not chunk:
                    return
                pending += chunk
            except TimeoutError:
                pass
            while len(pending) >= 18:
                code = struct.unpack(">H", pending[14:16])[0]
                pending = pending[18:]
                self.commands.append(code)
                if self.mute.is_set():
                    continue
                if code == 5:
                    client.sendall(self.device.config(time.time()))
                elif code in (1, 2):
                    on, index = code == 2, int(time.time() * self.device.rate)
            while on and not self.mute.is_set() and (index + 1) / self.device.rate <= time.time() - self.late:
                index += 1
                self.give(client, self.device.data(index))
                self.given += 1

    def take_last(self, client):
        """The commands received before the end of a connection that turned out to be closed when data was sent."""
        try:
            rest = client.recv(1000)
            self.commands += [struct.unpack(">H", rest[i + 14:i + 16])[0] for i in range(0, len(rest) - 17, 18)]
        except OSError:
            pass

    def give(self, client, data):
        if self.datagrams:
            return self.datagrams.sendall(data)
        half = len(data) // 2  # two writes, so that frames are split in transit
        client.sendall(data[:half])
        client.sendall(data[half:] + b"".join(self.inject))
        self.inject.clear()


class Datagrams(socket.socket):
    """Behaves like a client's connection; datagrams go to a given port, or to the sender of the last one."""

    def __init__(self, port=None):
        super().__init__(socket.AF_INET, socket.SOCK_DGRAM)
        self.bind(("127.0.0.1", 0))
        self.peer = ("127.0.0.1", port)

    def recv(self, size):
        data, self.peer = self.recvfrom(size)
        return data

    def sendall(self, data):
        self.sendto(data, self.peer)


class UdpServer(Server):
    """The same with commands and data over UDP."""

    def listen(self):
        return Datagrams()

    def run(self):
        while not self.ending.is_set():
            self.serve(self.listener)

    def give(self, client, data):
        client.sendall(data)


def pcap(path, packets, magic=0xA1B2C3D4, order="<"):
    """packets: (time in s, source port, TCP sequence number, bytes) from 127.0.0.1, over Ethernet with a VLAN tag."""
    with open(path, "wb") as f:
        f.write(struct.pack(order + "IHHiIII", magic, 2, 4, 0, 0, 65535, 1))
        for t, port, seq, data in packets:
            tcp = struct.pack(">HHIIBBHHH", port, 40000, seq & 0xFFFFFFFF, 0, 0x50, 0x18, 1000, 0, 0) + data
            ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(tcp), 0, 0, 64, 6, 0, b"\x7f\0\0\1", b"\x7f\0\0\1")
            packet = bytes(12) + b"\x81\0\0\5\x08\0" + ip + tcp
            scale = 1_000_000_000 if magic == 0xA1B23C4D else 1_000_000
            f.write(struct.pack(order + "IIII", int(t), int(t % 1 * scale), len(packet), len(packet)) + packet)
