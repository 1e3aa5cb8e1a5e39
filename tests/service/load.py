#!/usr/bin/env python3
"""Attacks a local service while clients use it: cut connections, huge headers, slow writers, clients
that do not read, files that are not photographs, killed workers. Fails if a client gets anything but
the feature of its photograph, if a request is not answered, or if memory grows.

    tests/service/load.py PROGRAM MODEL [--requests N] [--clients N] [--seed N] [--kill-every SECONDS]

A request whose worker is killed gets the error "lost" and is sent again. Every other reply must be
the feature that "facefeature extract" writes for the same photograph. With --kill-every 0, workers
live as long as the service, and their memory is checked, too.
"""

from __future__ import annotations

import argparse
import contextlib
import json
import os
import signal
import struct
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path
from random import Random

from service_support import Connection, Service, ServiceError, landmarks, picture

SCALE = 0.25
WIDTH, HEIGHT = 128, 150
PHOTOGRAPHS = 4
TRANSFER_SECONDS = 1
GROWTH_KILOBYTES = 4096  # a photograph has 58 kB: 72 leaked ones exceed this


def expected_features(program: str, model: str, folder: Path, photos: list[bytes]) -> list[bytes]:
    points = folder / "points.json"
    points.write_text(json.dumps({"landmarks": landmarks(SCALE)}))
    features = []
    for number, photo in enumerate(photos):
        file, feature = folder / f"{number}.ppm", folder / f"{number}.feature"
        file.write_bytes(photo)
        subprocess.run([program, "extract", file, points, "-o", feature, "--model", model],
                       check=True)  # fmt: skip
        features.append(feature.read_bytes())
    return features


class Load:
    def __init__(self, service: Service, photos, features, arguments):
        self.service = service
        self.photos = photos
        self.features = features
        self.arguments = arguments
        self.seconds: list[float] = []
        self.again = 0
        self.kills = 0
        self.attacks: dict[str, int] = {}
        self.errors: list[str] = []
        self.lock = threading.Lock()
        self.done = threading.Event()

    def client(self, number: int, requests: int) -> None:
        """Sends its requests. Now and then, it opens a new connection."""
        random = Random(f"{self.arguments.seed} client {number}")
        points = landmarks(SCALE)
        connection = None
        try:
            for _ in range(requests):
                if connection is None or random.random() < 0.05:
                    if connection is not None:
                        connection.close()
                    connection = self.service.connect(timeout=120)
                which = random.randrange(PHOTOGRAPHS)
                start = time.monotonic()
                while True:
                    try:
                        feature = connection.extract(self.photos[which], points)
                        break
                    except ServiceError as error:
                        if error.code != "lost":
                            raise
                        with self.lock:
                            self.again += 1
                with self.lock:
                    self.seconds.append(time.monotonic() - start)
                    if feature != self.features[which]:
                        self.errors.append(f"client {number}: wrong feature")
        except Exception as error:  # any error of a client fails the test
            with self.lock:
                self.errors.append(f"client {number}: {error!r}")
        finally:
            if connection is not None:
                connection.close()

    def attacker(self, name: str, attack) -> None:
        random = Random(f"{self.arguments.seed} {name}")
        while not self.done.wait(random.uniform(0.01, 0.1)):
            try:
                with self.service.connect(timeout=30) as connection:
                    # An attacker may be refused or lose its connection.
                    with contextlib.suppress(ConnectionError, ServiceError):
                        attack(connection, random)
                with self.lock:
                    self.attacks[name] = self.attacks.get(name, 0) + 1
            except Exception as error:
                with self.lock:
                    self.errors.append(f"{name}: {error!r}")
                return

    def cut(self, connection: Connection, random: Random) -> None:
        header = {"request": "extract", "landmarks": landmarks(SCALE)}
        text = json.dumps(header).encode()
        photo = self.photos[0]
        frame = struct.pack("<II", len(text), len(photo)) + text + photo
        connection.socket.sendall(frame[: random.randrange(len(frame) + 1)])

    def huge(self, connection: Connection, random: Random) -> None:
        connection.socket.sendall(struct.pack("<II", random.randrange(1 << 17, 1 << 32),
                                              random.randrange(1 << 32)))  # fmt: skip
        try:
            connection.receive()
        except ServiceError as error:
            if error.code != "too-long" or not connection.is_closed():
                raise AssertionError(f"a huge header got {error}") from error

    def slow(self, connection: Connection, random: Random) -> None:
        start = time.monotonic()
        connection.socket.settimeout(0.05)
        while not self.done.is_set():
            try:
                connection.socket.sendall(b"\0")
                if connection.socket.recv(1) == b"":
                    break
            except TimeoutError:
                pass
            if time.monotonic() - start > 30:
                raise AssertionError("a slow writer is not stopped")

    def deaf(self, connection: Connection, random: Random) -> None:
        connection.socket.settimeout(5)
        with contextlib.suppress(TimeoutError):
            for _ in range(100):
                connection.send({"request": "compare"}, bytes(2008 * 200))

    def garbage(self, connection: Connection, random: Random) -> None:
        body = random.choice([random.randbytes(5000), self.photos[0][:-7], b"\xff\xd8\xff\xe0",
                              b"P6\n16000 16000\n255\n", b""])  # fmt: skip
        try:
            connection.extract(body, landmarks(SCALE))
            raise AssertionError("garbage has a feature")
        except ServiceError as error:
            if error.code not in ("bad-input", "lost"):
                raise AssertionError(f"garbage got {error}") from error

    def memory(self) -> dict[int, int]:
        """The kilobytes of each process: of the service, and of its workers unless they are killed."""
        pids = [self.service.process.pid]
        if self.arguments.kill_every == 0:
            pids += self.service.workers()
        return {pid: self.service.resident_kilobytes(pid) for pid in pids}

    def kill(self) -> None:
        random = Random(f"{self.arguments.seed} kill")
        while not self.done.wait(random.uniform(0.5, 1.5) * self.arguments.kill_every):
            workers = self.service.workers()
            if not workers:
                continue
            with contextlib.suppress(ProcessLookupError):
                os.kill(random.choice(workers), signal.SIGKILL)
                self.kills += 1

    def run(self, requests: int) -> None:
        """All clients with their share of the requests, disturbed by everything else."""
        self.done.clear()
        clients = self.arguments.clients
        shares = [requests // clients + (k < requests % clients) for k in range(clients)]
        attacks = {"cut": self.cut, "huge": self.huge, "slow": self.slow, "deaf": self.deaf,
                   "garbage": self.garbage}  # fmt: skip
        others = [threading.Thread(target=self.attacker, args=each) for each in attacks.items()]
        if self.arguments.kill_every > 0:
            others.append(threading.Thread(target=self.kill))
        threads = [threading.Thread(target=self.client, args=each) for each in enumerate(shares)]
        for thread in others + threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.done.set()
        for thread in others:
            thread.join()


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("program")
    parser.add_argument("model")
    parser.add_argument("--requests", type=int, default=1000)
    parser.add_argument("--clients", type=int, default=16)
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--kill-every", type=float, default=2, metavar="SECONDS")
    parser.add_argument("--seed", type=int, default=int(os.environ.get("FACEFEATURE_TEST_SEED", 1)))
    arguments = parser.parse_args()
    print(f"seed {arguments.seed}")
    random = Random(arguments.seed)
    photos = [picture(random, WIDTH, HEIGHT) for _ in range(PHOTOGRAPHS)]
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        features = expected_features(arguments.program, arguments.model, folder, photos)
        service = Service(arguments.program, arguments.model, folder, "--workers",
                          arguments.workers, "--transfer-seconds", TRANSFER_SECONDS,
                          "--rate", 0)  # fmt: skip
        with service.wait_until_ready():
            load = Load(service, photos, features, arguments)
            # The first round brings the memory to its usual level.
            load.run(max(arguments.clients, arguments.requests // 4))
            before = load.memory()
            start, answered = time.monotonic(), len(load.seconds)
            load.run(arguments.requests)
            seconds = time.monotonic() - start
            after = load.memory()
            health = service.health()
            code = service.stop()
        output = service.output.read_text()
    times = sorted(load.seconds[answered:])
    print(f"{len(times)} requests of {arguments.clients} clients in {seconds:.1f} s, answered within "
          f"{1000 * times[len(times) // 2]:.0f} ms (median), {1000 * times[-1]:.0f} ms (worst)")  # fmt: skip
    print(f"{load.kills} workers killed, {load.again} requests sent again; attacks: {load.attacks}")
    print(f"kilobytes of each process: {[*before.values()]} before, {[*after.values()]} after")
    print(f"health: {health}")
    if len(times) != arguments.requests:
        load.errors.append(f"{arguments.requests - len(times)} requests were lost")
    if load.again > load.kills:
        load.errors.append("more requests were lost than workers were killed")
    for pid in before:
        if pid not in after:
            load.errors.append("a worker exited")
        elif after[pid] - before[pid] > GROWTH_KILOBYTES:
            load.errors.append(f"a process has grown by {after[pid] - before[pid]} kB")
    if code != 0:
        load.errors.append(f"the service ended with {code}: {output}")
    for error in load.errors:
        print("failed:", error, file=sys.stderr)
    return 1 if load.errors else 0


if __name__ == "__main__":
    sys.exit(main())
