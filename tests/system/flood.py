"""What a device that sends 9 MB/s of rubbish costs the server, in processor time; of several programs, one after the other.

    OMA_BIN_DIR=... python3 flood.py 30 OTHER_VDS...     # seconds for each kind of rubbish and program
"""
import subprocess
import time
import os
import random
import sys
import tempfile

import synchrophasors as sp
from pathlib import Path

from harness import BIN, config_xml, free_ports, wait_for

RATE, PIECE = 9_000_000, 90_000
KINDS = {"zeros": bytes(PIECE),
         "noise": random.Random(1).randbytes(PIECE),
         "beginnings of long frames": b"\xaa\x01\xff\xf0" * (PIECE // 4),
         "beginnings of short frames": b"\xaa\x01\x00\x40" * (PIECE // 4)}


class Flooder(sp.Server):
    """Answers as a device does, then pours."""
    rubbish = b""
    poured = 0
    connections = 0

    def serve(self, client):
        self.connections += 1
        client.settimeout(1)
        while client.recv(18)[14:16] != b"\x00\x05":
            pass
        client.sendall(self.device.config(time.time()))
        begin = time.monotonic()
        for i in range(sys.maxsize):
            if self.ending.is_set():
                return
            client.sendall(self.rubbish)
            self.poured += len(self.rubbish)
            time.sleep(max(0.0, begin + i * PIECE / RATE - time.monotonic()))


def processor_s(pid):
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def run(vds, kind, seconds):
    server = Flooder(sp.Device(60, 61, {"VA": (0, 915527, lambda t: 230e3)}))
    server.rubbish = KINDS[kind]
    with tempfile.TemporaryDirectory() as directory:
        config = Path(directory) / "vds.xml"
        ports = free_ports()
        config.write_text(config_xml(ports).replace(
            'PortApplicationData="%d"/>' % ports[1],
            f'PortApplicationData="{ports[1]}"><Synchrophasors><Stream Name="n" Host="127.0.0.1" Port="{server.port}" '
            'StreamId="60"><Phasor Name="VA" Datapoint="1011"/></Stream></Synchrophasors></VDS>'))
        with open(Path(directory) / "log", "wb") as log:
            process = subprocess.Popen([vds, f"-xml:{config}", "--log-dir", directory], stdout=log, stderr=log)
        wait_for(lambda: server.poured > 0, "flood")
        begin, used = time.monotonic(), processor_s(process.pid)
        time.sleep(seconds)
        taken_s, used = time.monotonic() - begin, processor_s(process.pid) - used
        process.terminate()
        process.wait()
    server.stop()
    print(f"{vds}: {kind}: {100 * used / taken_s:.1f} % of a core, {server.poured / taken_s / 1e6:.2f} MB/s taken, "
          f"{server.connections} connections", flush=True)


if __name__ == "__main__":
    for kind in KINDS:
        for vds in [*sys.argv[2:], BIN / "vds"]:
            run(str(vds), kind, float(sys.argv[1]))
