"""A faulty wire: a proxy between an application and a server, on one port, that injects faults on request.

It forwards bytes. Towards the application it looks into the WebSocket frames for the answers to a start of an output
channel, which it can delay, falsify or swallow.
"""
import select
import socket
import struct
import threading
import time

WRITE_RESPONSE = bytes([0x8A, 0x02])  # key of Message.write_response (field 33), length-delimited


def varint(data, at):
    value = shift = 0
    while True:
        value |= (data[at] & 0x7F) << shift
        shift += 7
        at += 1
        if not data[at - 1] & 0x80:
            return value, at


def to_varint(value):
    out = bytearray()
    while value > 0x7F:
        out.append(value & 0x7F | 0x80)
        value >>= 7
    out.append(value)
    return bytes(out)


def messages(frame):
    """The messages of a Frame (field 1, repeated), each as bytes."""
    at = 0
    while at < len(frame):
        key, at = varint(frame, at)
        if key != 0x0A:
            raise ValueError(f"frame: key {key}")
        length, at = varint(frame, at)
        yield frame[at:at + length]
        at += length


def to_frame(parts):
    payload = b"".join(b"\x0a" + to_varint(len(p)) + p for p in parts)
    n = len(payload)
    head = bytes([0x82, n]) if n < 126 else struct.pack(">BBH", 0x82, 126, n) if n < 65536 else \
        struct.pack(">BBQ", 0x82, 127, n)
    return head + payload


def refused(message):
    """The same reply with an error."""
    length, at = varint(message, 2)
    body = message[at:at + length] + b"\x18\x07"  # error = 7: of a repeated field the last value counts
    return message[:2] + to_varint(len(body)) + body


class FrameCutter:
    """Splits the server's bytes into the HTTP response and WebSocket frames."""

    def __init__(self):
        self.data = b""
        self.open = False

    def feed(self, data):
        self.data += data
        while True:
            size = self.size()
            if size is None or len(self.data) < size:
                return
            yield self.data[:size]
            self.data = self.data[size:]
            self.open = True

    def size(self):
        if not self.open:
            end = self.data.find(b"\r\n\r\n")
            return None if end < 0 else end + 4
        if len(self.data) < 2:
            return None
        n = self.data[1]
        extra = 2 if n == 126 else 8 if n == 127 else 0
        if len(self.data) < 2 + extra:
            return None
        return 2 + extra + (n if not extra else int.from_bytes(self.data[2:2 + extra], "big"))


class Wire:
    """One connection through the proxy: two threads, one per direction."""

    def __init__(self, proxy, client):
        self.proxy = proxy
        self.client = client
        self.server = None
        self.lock = threading.Lock()
        self.closed = False
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        try:
            while self.proxy.silent and not self.closed:
                time.sleep(0.01)
            if not self.closed:
                self.server = socket.create_connection(("127.0.0.1", self.proxy.target), 2)
                self.server.settimeout(None)
                threading.Thread(target=self.down, daemon=True).start()
                self.pump(self.client, lambda data: self.put(self.server, data, "up"))
        except (OSError, ValueError, IndexError):
            pass
        self.close()

    def down(self):
        cutter = FrameCutter()

        def forward(data):
            for piece in cutter.feed(data):
                piece = self.answered(piece)
                if piece:
                    self.put(self.client, piece, "down")
        try:
            self.pump(self.server, forward)
        except (OSError, ValueError, IndexError):
            pass
        self.close()

    def pump(self, source, forward):
        while not self.closed:
            # Never blocks in a read: the kernel would delay closing the socket until the read returns.
            if not select.select([source], [], [], 0.1)[0]:
                continue
            data = source.recv(65536)
            while self.proxy.stalled and not self.closed:
                time.sleep(0.005)
            if not data:
                return
            forward(data)

    def put(self, sock, data, way):
        with self.lock:
            if self.proxy.half == way:
                sock.sendall(data[:max(1, len(data) // 2)])
                raise OSError("cut in a message")
            sock.sendall(data)

    def answered(self, piece):
        """A frame of the server, after the fault for replies to a start has been applied."""
        mode = self.proxy.answers
        if mode == "good" or WRITE_RESPONSE not in piece or piece[0] != 0x82:
            return piece
        at = 2 + (2 if piece[1] == 126 else 8 if piece[1] == 127 else 0)
        keep, held = [], []
        for message in messages(piece[at:]):
            (held if message.startswith(WRITE_RESPONSE) else keep).append(message)
        if mode == "wrong":
            keep += [refused(m) for m in held]
        elif mode == "late" and held:
            threading.Timer(0.7, self.late, [to_frame(held)]).start()
        return to_frame(keep) if keep else b""

    def late(self, frame):
        try:
            self.put(self.client, frame, "down")
        except OSError:
            pass

    def inject(self, way, data):
        sock = self.client if way == "down" else self.server
        try:
            with self.lock:
                if sock:
                    sock.sendall(data)
        except OSError:
            pass

    def close(self, reset=False):
        self.closed = True
        for sock in (self.client, self.server):
            if sock:
                try:
                    if reset:
                        sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                    else:
                        sock.shutdown(socket.SHUT_RDWR)
                    sock.close()
                except OSError:
                    pass
        self.proxy.wires.discard(self)


class LinkProxy:
    def __init__(self, target):
        self.target = target
        self.wires = set()
        self.stalled = False
        self.silent = False
        self.half = None      # "up" or "down": the next piece in this direction is cut in the middle
        self.answers = "good"  # "late", "wrong", "missing"
        self.listener = None
        self.port = 0
        self.listen()

    def listen(self):
        listener = socket.socket()
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind(("127.0.0.1", self.port))
        listener.listen(16)
        self.port = listener.getsockname()[1]
        self.listener = listener
        threading.Thread(target=self.accept, args=[listener], daemon=True).start()

    def accept(self, listener):
        while True:
            try:
                client, _ = listener.accept()
            except OSError:
                return
            if listener is not self.listener:
                client.close()
                return
            self.wires.add(Wire(self, client))

    def refuse(self):
        """Stops listening."""
        listener, self.listener = self.listener, None
        if listener:
            listener.shutdown(socket.SHUT_RDWR)
            listener.close()

    def cut(self, reset=False):
        for wire in list(self.wires):
            wire.close(reset)

    def inject(self, way, data):
        for wire in list(self.wires):
            wire.inject(way, data)

    def heal(self):
        self.stalled = self.silent = False
        self.half = None
        self.answers = "good"
        if not self.listener:
            self.listen()

    def close(self):
        self.refuse()
        self.cut()
