"""Hostile peers at the server's ports: raw WebSocket frames with contents that no client sends.

    OMA_BIN_DIR=... python3 hostile.py 60       # the long form: 100 peers of all kinds for 60 s, plain and over TLS
"""
import json
import os
import random
import socket
import ssl
import struct
import sys
import threading
import time
import unittest
from pathlib import Path

from harness import LIMIT_S

UPGRADE = (b"GET /dli HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           b"Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n")


# ---- protocol ------------------------------------------------------------------------------------------------------

def varint(n):
    out = bytearray()
    while n > 0x7F:
        out.append(n & 0x7F | 0x80)
        n >>= 7
    out.append(n)
    return bytes(out)


def number(field, n):
    return varint(field << 3) + varint(n)


def part(field, data):
    return varint(field << 3 | 2) + varint(len(data)) + data


def fixed64(field, n):
    return varint(field << 3 | 1) + struct.pack("<q", n)


def messages(*parts):
    """A frame of messages, each given as its field number and its bytes."""
    return b"".join(part(1, part(field, data)) for field, data in parts)


def websocket(data, size=None):
    """One binary message. The mask is zero, which is valid. size: the size claimed in the header."""
    size = len(data) if size is None else size
    if size < 126:
        head = struct.pack(">BB", 0x82, 0x80 | size)
    elif size < 65536:
        head = struct.pack(">BBH", 0x82, 0x80 | 126, size)
    else:
        head = struct.pack(">BBQ", 0x82, 0x80 | 127, size)
    return head + bytes(4) + data


def hello(element_type=3, token=b""):
    return 1, number(1, 2) + number(2, element_type) + part(3, b"hostile") + fixed64(4, 77) + part(5, token)


def event(element, text=b"", key=4204, transition=1):
    return (number(2, key) + number(3, transition) + number(4, 3) + number(5, element) + part(6, text))


class Peer:
    """One connection."""

    def __init__(self, port, context=None, limit_s=LIMIT_S):
        self.sock = socket.create_connection(("127.0.0.1", port), limit_s)
        self.sock.settimeout(limit_s)
        self.sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        if context:
            self.sock = context.wrap_socket(self.sock)
        self.rest = b""

    def upgrade(self):
        self.sock.sendall(UPGRADE)
        while b"\r\n\r\n" not in self.rest:
            self.more()
        self.rest = self.rest[self.rest.index(b"\r\n\r\n") + 4:]
        return self

    def more(self):
        data = self.sock.recv(65536)
        if not data:
            raise ConnectionError("closed")
        self.rest += data

    def send(self, *parts):
        self.sock.sendall(websocket(messages(*parts)))

    def receive(self):
        """The next binary message; raises an exception at a close or the end of the connection."""
        while True:
            while len(self.rest) < 2:
                self.more()
            head, size, at = self.rest[0], self.rest[1], 2
            if size >= 126:
                at = 4 if size == 126 else 10
                while len(self.rest) < at:
                    self.more()
                size = int.from_bytes(self.rest[2:at], "big")
            while len(self.rest) < at + size:
                self.more()
            data, self.rest = self.rest[at:at + size], self.rest[at + size:]
            if head & 0x0F == 8:
                raise ConnectionError(data[2:].decode(errors="replace"))
            if head & 0x0F == 2:
                return data

    def greet(self, token=b"", element_type=3):
        self.upgrade().send(hello(element_type, token))
        self.receive()
        return self

    def until_closed(self):
        """@return the server's line about it."""
        try:
            while True:
                self.receive()
        except OSError as e:
            return str(e)
        finally:
            self.sock.close()

    def close(self):
        self.sock.close()


def standing(port, context=None, token=b""):
    """A complete session of a legitimate client. @return its time in s."""
    begin = time.monotonic()
    peer = Peer(port, context).greet(token)
    peer.send((40, number(1, 1)))
    peer.receive()
    taken = time.monotonic() - begin
    peer.close()
    return taken


# ---- attacks: each opens its own connections, again and again ----------------------------------------------------

class Attack:
    def __init__(self, ports, context=None, token=b""):
        self.ports, self.context, self.token = ports, context, token

    def stranger(self):
        return Peer(self.ports[0], self.context, 10).upgrade()

    def client(self, data=False):
        return Peer(self.ports[data], self.context, 10).greet(self.token)

    def members_before_the_greeting(self):
        peer = self.stranger()
        peer.sock.sendall(websocket(b"\x0a\x00" * 2_000_000))
        peer.until_closed()

    def half_a_frame(self):
        peer = self.client()
        peer.sock.sendall(websocket(bytes(900_000), 1_000_000))
        peer.until_closed()

    def half_a_frame_before_the_greeting(self):
        peer = self.stranger()
        peer.sock.sendall(websocket(bytes(3000), 4000))
        peer.until_closed()

    def empty_messages(self):
        peer = self.client()
        peer.sock.sendall(websocket(b"\x0a\x00" * 500_000))
        peer.until_closed()

    def members_of_a_message(self):
        peer = self.client()
        peer.send((22, part(2, b"") * 300_000))
        peer.until_closed()

    def requests_without_end(self):
        peer = self.client()
        frame = websocket(messages(*[(3, number(1, 5))] * 30_000))
        while True:
            peer.sock.sendall(frame)

    def standing_without_reading(self):
        peer = self.client()
        while True:
            peer.send((21, number(1, 1) + fixed64(2, 1 << 61)), (40, number(1, 1)), (40, number(1, 2)))

    def history_without_reading(self):
        peer = self.client()
        while True:
            peer.send((23, fixed64(1, 1)))

    def long_events(self):
        peer = self.client()
        for n in range(100):
            peer.send((20, part(1, event(random.randrange(1 << 30), b"x" * 60000))))
        peer.until_closed()

    def many_channels(self):
        peer = self.client()
        ids = b"".join(varint(random.randrange(2000)) for _ in range(90_000))
        peer.send((10, number(1, 1) + number(2, 1) + number(3, 50) + part(5, ids)), (12, number(1, 1) + number(2, 1)))
        time.sleep(5)
        peer.until_closed()

    def many_outputs(self):
        peer = self.client(True)
        ids = b"".join(varint(n) for n in range(40_000))
        for n in range(1000):
            peer.send((30, number(1, n) + number(2, n % 7) + part(3, ids) + number(4, 1) + number(5, 1)))
        peer.until_closed()

    def wrong_tokens(self):
        peer = self.stranger()
        peer.send(hello(3, b"wrong-0123456789abcdef"))
        peer.until_closed()

    def long_request(self):
        peer = Peer(self.ports[0], self.context, 10)
        peer.sock.sendall(UPGRADE.replace(b"\r\n\r\n", b"\r\nContent-Length: 900000\r\n\r\n") + bytes(800_000))
        peer.until_closed()

    def silence(self):
        Peer(self.ports[0], self.context, 10).until_closed()


STRANGERS = ("members_before_the_greeting", "half_a_frame_before_the_greeting", "wrong_tokens", "long_request", "silence")
CLIENTS = ("half_a_frame", "empty_messages", "members_of_a_message", "requests_without_end", "standing_without_reading",
           "history_without_reading", "long_events", "many_channels", "many_outputs")


def assault(attack, kinds, peers, end):
    """Runs this many peers of these kinds until the given time; each starts again when it is disconnected."""
    def play(kind):
        while time.monotonic() < end:
            try:
                getattr(attack, kind)()
            except OSError:
                time.sleep(0.02)

    threads = [threading.Thread(target=play, args=(kinds[i % len(kinds)],), daemon=True) for i in range(peers)]
    for thread in threads:
        thread.start()
    return threads


def main():
    """One process of the attack: ports, kinds, peers, seconds, token, authority."""
    ports, kinds, peers, seconds, token, ca = json.loads(sys.argv[2])
    context = None
    if ca:
        context = ssl.create_default_context(cafile=ca)
        context.check_hostname = False
    assault(Attack(ports, context, token.encode()), kinds, peers, time.monotonic() + seconds)
    time.sleep(seconds)
    os._exit(0)


def memory_mb(process, field="VmHWM"):
    text = Path(f"/proc/{process.proc.pid}/status").read_text()
    return int(text.split(field + ":")[1].split()[0]) / 1024


def run_assault(test, vds, kinds, peers, seconds, context=None, token=b"", ca=""):
    """Sessions of a legitimate client during the attack. @return their times in s, without the failed ones."""
    order = json.dumps([test.ports, kinds, peers, seconds, token.decode(), str(ca)])
    test.start("hostile", [sys.executable, Path(__file__).resolve(), "play", order])
    time.sleep(0.5)
    times, failed = [], []
    end = time.monotonic() + seconds - 1
    while time.monotonic() < end:
        try:
            times.append(standing(test.ports[0], context, token))
        except OSError as e:
            failed.append(str(e))
        time.sleep(0.05)
    times.sort()
    print(f"{peers} peers, {seconds} s{', TLS' if context else ''}: {len(times)} calls served, {len(failed)} not "
          f"{failed[:3]}; median {times[len(times) // 2]:.3f} s, 99 % {times[len(times) * 99 // 100]:.3f} s, worst "
          f"{times[-1]:.3f} s; memory of vds: most {memory_mb(vds):.0f} MB, then {memory_mb(vds, 'VmRSS'):.0f} MB",
          flush=True)
    return times, failed


if __name__ == "__main__":
    if sys.argv[1] == "play":
        main()
    else:
        os.environ["OMA_SECONDS"] = sys.argv[1]
        unittest.main("test_hostile", argv=["test_hostile", "Assault"])
