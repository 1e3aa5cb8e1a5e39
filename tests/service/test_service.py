"""The local service, with a library that is fast and fails on demand: the width of a photograph selects
how (tests/tools/verbs/stub_library.c)."""

import json
import os
import shutil
import signal
import socket
import stat
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path
from random import Random

from service_support import (
    FEATURE_BYTES, ROOT, Connection, Service, ServiceError, landmarks, picture,
)  # fmt: skip

ABORTS, EXITS, SLEEPS, NOT_A_NUMBER, TAKES_ITS_TIME, ORDINARY = 13, 14, 15, 16, 18, 20
OPENS_A_FILE, SIGNALS_ITS_PARENT, MAPS_CODE = 19, 21, 22
HEIGHT = 20
PROGRAM = os.environ["FACEFEATURE_PROGRAM"]
MODEL = os.environ["FACEFEATURE_TEST_MODEL"]
POINTS = landmarks(0.03)


def photo(width: int, seed: int = 1) -> bytes:
    return picture(Random(seed), width, HEIGHT)


class ServiceTest(unittest.TestCase):
    options = ()

    @classmethod
    def setUpClass(cls):
        cls.folder = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (cls.folder / "bin").mkdir()
        cls.program = cls.folder / "bin/facefeature"
        shutil.copy2(PROGRAM, cls.program)
        shutil.copy2(os.environ["FACEFEATURE_STUB_LIBRARY"], cls.folder / "bin/libfacefeature.so.1")
        cls.service = cls.enterClassContext(cls.start(*cls.options)).wait_until_ready()

    @classmethod
    def start(cls, *options, folder=None):
        return Service(cls.program, MODEL, folder or cls.folder, "--workers", 2, *options)

    def connect(self) -> Connection:
        return self.enterContext(self.service.connect())

    def assert_fails(self, code: str, connection: Connection, *request) -> str:
        with self.assertRaises(ServiceError) as caught:
            connection.ask(*request)
        self.assertEqual(code, caught.exception.code, caught.exception)
        return str(caught.exception)

    def extraction(self, width: int, **more):
        return {"request": "extract", "landmarks": POINTS, **more}, photo(width)

    def wait_until_alone(self):
        """Until the service has noticed that earlier connections are closed."""
        end = time.monotonic() + 30
        while (health := self.service.health())["connections"] > 1 or health["running"] > 0:
            self.assertLess(time.monotonic(), end, health)
            time.sleep(0.05)

    def assert_others_are_served(self):
        with self.service.connect() as other:
            self.assertEqual(FEATURE_BYTES, len(other.extract(photo(ORDINARY), POINTS)))


class Requests(ServiceTest):
    options = ("--transfer-seconds", 1, "--seconds", 1, "--photo-mb", 1, "--connections", 6)

    def test_extract_gives_the_feature_of_the_program(self):
        connection = self.connect()
        for seed in range(5):
            file = self.folder / "photo.ppm"
            file.write_bytes(photo(ORDINARY, seed))
            (self.folder / "points.json").write_text(json.dumps({"landmarks": POINTS}))
            subprocess.run(
                [self.program, "extract", file, self.folder / "points.json", "-o",
                 self.folder / "feature", "--model", MODEL], check=True, capture_output=True,
            )  # fmt: skip
            expected = (self.folder / "feature").read_bytes()
            self.assertEqual(expected, connection.extract(photo(ORDINARY, seed), POINTS))

    def test_compare_gives_the_scores_with_the_first_feature(self):
        features = b"".join(struct.pack("<502f", *([value] * 502)) for value in (5, 3, 7))
        reply, scores = self.connect().ask({"request": "compare"}, features)
        self.assertEqual((2.0, -2.0), struct.unpack("<2f", scores))
        reply, scores = self.connect().ask({"request": "compare"}, features[: 2 * FEATURE_BYTES])
        self.assertEqual((2.0, (2.0,)), (reply["score"], struct.unpack("<f", scores)))

    def test_info_and_health_report_the_limits_and_the_load(self):
        info = self.connect().ask({"request": "info"})[0]
        self.assertEqual((502, 2, 1 << 20), (info["feature_floats"], info["workers"],
                                             info["limits"]["photo_bytes"]))  # fmt: skip
        self.assertRegex(info["model"], "^[0-9a-f]{64}$")
        health = self.connect().ask({"request": "health"})[0]
        self.assertEqual((0, 0), (health["running"], health["waiting"]))

    def test_a_reply_has_the_id_of_its_request(self):
        for number in (7, "seven", 7.5):
            self.assertEqual(number, self.connect().ask({"request": "health", "id": number})[0]["id"])
        with self.assertRaises(ServiceError) as caught:
            self.connect().ask({"request": "nothing", "id": "n"})
        self.assertEqual("n", caught.exception.reply["id"])

    def test_requests_that_are_sent_at_once_are_answered_in_order(self):
        connection = self.connect()
        for number in range(20):
            header, body = self.extraction(ORDINARY, id=number)
            connection.send(header, body)
            connection.send({"request": "health", "id": -number})
        for number in range(20):
            self.assertEqual(number, connection.receive()[0]["id"])
            self.assertEqual(-number, connection.receive()[0]["id"])

    def test_bad_requests_leave_the_connection_open(self):
        connection = self.connect()
        for header in (b"", b"{", b"[]", b"\xff", b'"extract"', b"[" * 60000, {}, {"request": 7},
                       {"request": "other"}, {"request": "health", "id": []},
                       {"request": "health", "id": "x" * 1000}, {"request": "compare"}):  # fmt: skip
            self.assert_fails("bad-request", connection, header)
        self.assert_fails("bad-request", connection, {"request": "compare"}, bytes(2 * 2008 + 1))
        self.assertTrue(connection.ask({"request": "health"})[0]["ok"])

    def test_bad_photographs_and_landmarks_leave_the_connection_open(self):
        connection = self.connect()
        header, body = self.extraction(ORDINARY)
        for bytes_ in (b"", b"no photograph", body[:-1], b"P6\n2000 2000\n255\n", b"\xff\xd8\xff"):
            message = self.assert_fails("bad-input", connection, header, bytes_)
            self.assertIn("the photograph", message)
        for points in (None, [], POINTS[:-5], [{"id": 999, "x": 1, "y": 1}], "x"):
            message = self.assert_fails("bad-input", connection,
                                      {"request": "extract", "landmarks": points}, body)  # fmt: skip
            self.assertIn("the landmarks", message)
        self.assertEqual(FEATURE_BYTES, len(connection.extract(photo(ORDINARY), POINTS)))

    def test_a_request_that_is_too_long_is_refused_from_its_lengths_alone(self):
        for lengths in ((0xFFFFFFFF, 0), (70000, 0), (10, (1 << 20) + 1), (0xFFFFFFFF, 0xFFFFFFFF)):
            with self.service.connect() as connection:
                connection.socket.sendall(struct.pack("<II", *lengths))
                with self.assertRaises(ServiceError) as caught:
                    connection.receive()
                self.assertEqual("too-long", caught.exception.code)
                self.assertTrue(connection.is_closed())

    def test_a_worker_that_crashes_costs_its_request_only(self):
        connection = self.connect()
        for width in (ABORTS, EXITS):
            self.assert_fails("lost", connection, *self.extraction(width))
            self.assert_others_are_served()
        self.assertEqual(FEATURE_BYTES, len(connection.extract(photo(ORDINARY), POINTS)))

    def test_a_worker_that_takes_too_long_is_replaced(self):
        connection = self.connect()
        start = time.monotonic()
        connection.send(*self.extraction(SLEEPS))
        self.assert_others_are_served()
        self.assertRaisesRegex(ServiceError, "timeout", connection.receive)
        self.assertGreater(time.monotonic() - start, 0.9)
        self.assertEqual(FEATURE_BYTES, len(connection.extract(photo(ORDINARY), POINTS)))

    def test_a_feature_of_a_broken_model_is_an_error(self):
        self.assert_fails("bad-model", self.connect(), *self.extraction(NOT_A_NUMBER))

    def test_a_worker_can_t_open_files_signal_others_or_run_new_code(self):
        connection = self.connect()
        if not connection.ask({"request": "info"})[0]["sandbox"]:
            self.skipTest("this program was built without a sandbox")
        for width in (OPENS_A_FILE, SIGNALS_ITS_PARENT, MAPS_CODE):
            message = self.assert_fails("lost", connection, *self.extraction(width))
            self.assertIn("Bad system call", message)

    def test_a_slow_request_ends_after_its_time(self):
        connection = self.connect()
        connection.socket.sendall(b"\x10\0\0")
        self.assert_others_are_served()
        with self.assertRaises(ServiceError) as caught:
            connection.receive()
        self.assertEqual("timeout", caught.exception.code)
        self.assertTrue(connection.is_closed())

    def test_a_client_that_does_not_read_loses_its_connection(self):
        connection = self.connect()
        feature = bytes(FEATURE_BYTES)
        try:
            for _ in range(2000):
                connection.send({"request": "compare"}, feature * 500)
        except (ConnectionError, TimeoutError):
            pass
        else:
            self.fail("the service took everything")
        self.assert_others_are_served()

    def test_a_client_may_end_its_requests_and_then_read_the_reply(self):
        connection = self.connect()
        connection.send(*self.extraction(TAKES_ITS_TIME))
        connection.socket.shutdown(socket.SHUT_WR)
        self.assertEqual(FEATURE_BYTES, len(connection.receive()[1]))
        self.assertTrue(connection.is_closed())

    def test_connections_that_are_cut_leave_nothing_behind(self):
        header, body = self.extraction(TAKES_ITS_TIME)
        for _ in range(3):
            with self.service.connect() as connection:
                connection.send(header, body)
        with self.service.connect() as connection:
            connection.socket.sendall(b"\x10\0\0\0\x10\0")
        self.wait_until_alone()
        self.assert_others_are_served()

    def test_one_connection_too_many_is_refused(self):
        self.wait_until_alone()
        some = [self.enterContext(self.service.connect()) for _ in range(6)]
        for connection in some:
            connection.ask({"request": "health"})
        with self.service.connect() as refused:
            with self.assertRaises(ServiceError) as caught:
                refused.receive()
            self.assertEqual("busy", caught.exception.code)
            self.assertTrue(refused.is_closed())
        for connection in some:
            connection.close()
        self.wait_until_alone()

    def test_the_example_clients_print_the_score(self):
        files = []
        for number in (1, 2):
            (self.folder / f"{number}.ppm").write_bytes(photo(ORDINARY, number))
            (self.folder / f"{number}.json").write_text(json.dumps({"landmarks": POINTS}))
            files += [self.folder / f"{number}.ppm", self.folder / f"{number}.json"]
        connection = self.connect()
        a, b = (struct.unpack("<f", connection.extract(photo(ORDINARY, number), POINTS)[:4])[0]
                for number in (1, 2))  # fmt: skip
        self.assertNotEqual(a, b)
        for interpreter, name in ((sys.executable, "service_client.py"), ("node", "service_client.js")):
            with self.subTest(name):
                if shutil.which(interpreter) is None:
                    self.skipTest(f"there is no {interpreter}")
                command = [interpreter, ROOT / "examples/hosts" / name, self.service.socket, *files]
                result = subprocess.run(command, capture_output=True, text=True, timeout=60)
                self.assertEqual("", result.stderr)
                self.assertEqual(a - b, float(result.stdout))

    def test_a_photograph_that_needs_too_much_memory_is_refused(self):
        # The address space of a worker is limited to 400 MB, and this picture has 600.
        size = (20000, 10000)
        header = b"P6\n%d %d\n255\n" % size
        with self.start("--memory-mb", 400, "--photo-mb", 1024, folder=self.own_folder()) as service:
            connection = self.enterContext(service.wait_until_ready().connect())
            if not connection.ask({"request": "info"})[0]["sandbox"]:
                self.skipTest("a worker of this build may use all memory")
            text = json.dumps({"request": "extract", "landmarks": POINTS})
            message = self.assert_fails("failed", connection, text.encode(), header + bytes(100))
            self.assertIn("memory", message)
            self.assertEqual(FEATURE_BYTES, len(connection.extract(photo(ORDINARY), POINTS)))

    def own_folder(self) -> Path:
        return Path(self.enterContext(tempfile.TemporaryDirectory()))

    def test_the_socket_is_for_its_owner_alone(self):
        mode = os.stat(self.service.socket).st_mode
        self.assertTrue(stat.S_ISSOCK(mode))
        self.assertEqual(0o600, stat.S_IMODE(mode))


class Rate(ServiceTest):
    options = ("--rate", 10)

    def test_slows_down_the_extractions_of_one_connection(self):
        connection = self.connect()
        start = time.monotonic()
        for _ in range(6):
            connection.extract(photo(ORDINARY), POINTS)
        self.assertGreater(time.monotonic() - start, 0.45)


class Lifetime(ServiceTest):
    def test_a_second_service_is_refused(self):
        second = self.start()
        self.assertEqual(1, second.process.wait(60))
        self.assertEqual(FEATURE_BYTES, len(self.connect().extract(photo(ORDINARY), POINTS)))

    def own_folder(self) -> Path:
        return Path(self.enterContext(tempfile.TemporaryDirectory()))

    def test_a_signal_ends_it_when_the_complete_requests_are_answered(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            folder = self.own_folder()
            with self.start(folder=folder).wait_until_ready() as service:
                replies = []
                connections = [service.connect() for _ in range(5)]
                idle, half = service.connect(), service.connect()
                half.socket.sendall(b"\x10\0\0\0")
                for connection in connections:
                    connection.send(*self.extraction(TAKES_ITS_TIME))
                while service.health()["running"] + service.health()["waiting"] < 5:
                    time.sleep(0.01)
                reader = threading.Thread(
                    target=lambda: replies.extend(each.receive() for each in connections))
                reader.start()
                self.assertEqual(0, service.stop(number))
                reader.join()
                self.assertEqual([FEATURE_BYTES] * 5, [len(body) for _, body in replies])
                self.assertTrue(idle.is_closed() and half.is_closed())
                for connection in (*connections, idle, half):
                    connection.close()
                self.assertEqual([], sorted(folder.glob("socket*")))
                self.assertEqual([], sorted(service.temporary.iterdir()))

    def test_the_socket_of_a_killed_service_is_replaced(self):
        folder = self.own_folder()
        with self.start(folder=folder).wait_until_ready() as service:
            service.stop(signal.SIGKILL)
            self.assertTrue(service.socket.exists())
        with self.start(folder=folder).wait_until_ready() as service:
            self.assertEqual(0, service.stop())

    def test_a_file_that_is_not_a_socket_stays(self):
        folder = self.own_folder()
        (folder / "socket").write_text("mine")
        self.assertEqual(1, self.start(folder=folder).process.wait(60))
        self.assertEqual("mine", (folder / "socket").read_text())

    def test_workers_end_with_a_killed_service(self):
        folder = self.own_folder()
        with self.start(folder=folder).wait_until_ready() as service:
            workers = service.workers()
            self.assertEqual(2, len(workers))
            service.stop(signal.SIGKILL)
            end = time.monotonic() + 30
            while any(self.is_alive(pid) for pid in workers) and time.monotonic() < end:
                time.sleep(0.02)
            self.assertFalse(any(self.is_alive(pid) for pid in workers))

    @staticmethod
    def is_alive(pid: int) -> bool:
        try:
            return Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0] != "Z"
        except (FileNotFoundError, ProcessLookupError):
            return False


if __name__ == "__main__":
    unittest.main()
