"""A running "facefeature serve", and connections to it. Needs the standard library only."""

from __future__ import annotations

import json
import os
import random
import signal
import socket
import struct
import subprocess
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
LANDMARK_FILE = ROOT / "tools/demo/landmarks/grace_hopper.json"
WIDTH, HEIGHT = 512, 600  # of the picture that those landmarks are for
FEATURE_BYTES = 2008


def landmarks(scale: float = 1.0) -> list[dict]:
    points = json.loads(LANDMARK_FILE.read_text(encoding="utf-8"))["landmarks"]
    return [{"id": p["id"], "x": p["x"] * scale, "y": p["y"] * scale} for p in points]


def picture(numbers: random.Random, width: int, height: int) -> bytes:
    """A PPM file of noise."""
    return b"P6\n%d %d\n255\n" % (width, height) + numbers.randbytes(3 * width * height)


class ServiceError(Exception):
    def __init__(self, reply: dict):
        super().__init__(f"{reply['error']}: {reply['message']}")
        self.code = reply["error"]
        self.reply = reply


class Connection:
    """A client. Each call raises ConnectionError if the service has closed the connection."""

    def __init__(self, path, timeout: float = 60):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(timeout)
        try:
            self.socket.connect(str(path))
        except OSError:
            self.socket.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self) -> None:
        self.socket.close()

    def send(self, header: dict | bytes, body: bytes = b"") -> None:
        text = header if isinstance(header, bytes) else json.dumps(header).encode()
        self.socket.sendall(struct.pack("<II", len(text), len(body)) + text + body)

    def bytes(self, count: int) -> bytes:
        pieces = b""
        while len(pieces) < count:
            piece = self.socket.recv(count - len(pieces))
            if not piece:
                raise ConnectionError("the service has closed the connection")
            pieces += piece
        return pieces

    def receive(self) -> tuple[dict, bytes]:
        header, body = struct.unpack("<II", self.bytes(8))
        reply = json.loads(self.bytes(header))
        content = self.bytes(body)
        if not reply["ok"]:
            raise ServiceError(reply)
        return reply, content

    def ask(self, header: dict | bytes, body: bytes = b"") -> tuple[dict, bytes]:
        self.send(header, body)
        return self.receive()

    def extract(self, photo: bytes, points: list[dict]) -> bytes:
        return self.ask({"request": "extract", "landmarks": points}, photo)[1]

    def is_closed(self) -> bool:
        """Waits until the service closes the connection. False if it sends something instead."""
        try:
            return self.socket.recv(1) == b""
        except ConnectionError:
            return True


class Service:
    """The process. The folder receives its socket and what it prints."""

    def __init__(self, program, model, folder, *options):
        self.socket = Path(folder) / "socket"
        self.output = Path(folder) / "output"
        self.temporary = Path(folder) / "temporary"
        self.temporary.mkdir(exist_ok=True)
        command = [str(program), "serve", "--socket", str(self.socket), "--model", str(model)]
        with open(self.output, "ab") as output:
            self.process = subprocess.Popen(
                [*command, *map(str, options)], stdout=output, stderr=output,
                env={**os.environ, "TMPDIR": str(self.temporary)},
            )  # fmt: skip

    def wait_until_ready(self, seconds: float = 240) -> "Service":
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if self.process.poll() is not None:
                raise RuntimeError(f"the service has ended: {self.output.read_text()}")
            try:
                Connection(self.socket).close()
                return self
            except (FileNotFoundError, ConnectionRefusedError):
                time.sleep(0.02)
        raise TimeoutError("the service is not ready")

    def connect(self, timeout: float = 60) -> Connection:
        return Connection(self.socket, timeout)

    def workers(self) -> list[int]:
        children = f"/proc/{self.process.pid}/task/{self.process.pid}/children"
        return [int(pid) for pid in Path(children).read_text().split()]

    def health(self) -> dict:
        with self.connect() as connection:
            return connection.ask({"request": "health"})[0]

    def resident_kilobytes(self, pid: int | None = None) -> int:
        """Of the service, or of a worker."""
        for line in Path(f"/proc/{pid or self.process.pid}/status").read_text().splitlines():
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
        raise RuntimeError("the system does not report the memory of the process")

    def stop(self, number: int = signal.SIGTERM, seconds: float = 60) -> int:
        """The exit code."""
        if self.process.poll() is None:
            self.process.send_signal(number)
        return self.process.wait(seconds)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
