"""The example of a host that decodes photographs in a sandboxed process."""

import os
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

from service_support import ROOT

PHOTO = ROOT / "examples/face.ppm"
POINTS = ROOT / "examples/face.txt"


class SandboxedHost(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.folder / "~kwplugintmp~").symlink_to(os.environ["FACEFEATURE_TEST_MODEL"])
        lines = [line.split() for line in POINTS.read_text().splitlines()]
        self.moved = self.folder / "moved.txt"
        self.moved.write_text("".join(f"{i} {float(x) + 2} {y}\n" for i, x, y in lines))

    def start(self, name: str, *files) -> subprocess.Popen:
        process = subprocess.Popen(
            [os.environ[name], *files], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            env={**os.environ, "TMPDIR": str(self.folder)},
        )  # fmt: skip
        self.addCleanup(process.kill)
        return process

    def run_host(self, *files, host="FACEFEATURE_SANDBOXED_HOST"):
        process = self.start(host, *files)
        return (*process.communicate(timeout=120), process.returncode)

    def test_gives_the_score_of_the_minimal_host(self):
        faces = (PHOTO, POINTS, PHOTO, self.moved)
        expected = self.run_host(*faces, host="FACEFEATURE_MINIMAL_HOST")
        self.assertEqual(0, expected[2])
        self.assertEqual(expected, self.run_host(*faces))

    def test_refuses_what_is_not_a_photograph(self):
        photo = PHOTO.read_bytes()
        bad = self.folder / "bad.ppm"
        for content in (b"", b"P6", photo[:-1], photo + b"x", b"P6 9999 9999 255\n", b"P6 -1 2 255\n",
                        b"P6 99999999999999999999 2 255\n", b"\xff" * 100):  # fmt: skip
            with self.subTest(content[:20]):
                bad.write_bytes(content)
                self.assertEqual(("", "", 3), self.run_host(bad, POINTS, PHOTO, POINTS))

    def test_a_lost_worker_costs_its_photograph_only(self):
        pipe = self.folder / "pipe.ppm"
        os.mkfifo(pipe)
        host = self.start("FACEFEATURE_SANDBOXED_HOST", pipe, POINTS, PHOTO, POINTS)
        # The host waits for the photograph, and its worker for a request.
        with open(pipe, "wb") as stream:
            children = Path(f"/proc/{host.pid}/task/{host.pid}/children").read_text().split()
            self.assertEqual(1, len(children))
            self.assertRegex(Path(f"/proc/{children[0]}/status").read_text(), "Seccomp:\t2")
            os.kill(int(children[0]), signal.SIGKILL)
            stream.write(PHOTO.read_bytes())
        output, message = host.communicate(timeout=120)
        self.assertEqual(("", f"{pipe}: the worker was lost\n", 3), (output, message, host.returncode))


if __name__ == "__main__":
    unittest.main()
