"""Helpers for the tests of the Python package."""

from __future__ import annotations

import json
import os
import random
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parents[2]
MODEL = os.environ["FACEFEATURE_TEST_MODEL"]
PROGRAM = os.environ["FACEFEATURE_PROGRAM"]
LIBRARY = os.environ["FACEFEATURE_LIBRARY"]
LANDMARK_FILE = ROOT / "tools/demo/landmarks/grace_hopper.json"
WIDTH, HEIGHT = 512, 600  # of the picture to which the landmarks belong


def seed() -> int:
    """Set by FACEFEATURE_TEST_SEED. Tests that use it print it."""
    return int(os.environ.get("FACEFEATURE_TEST_SEED", "20240607"))


class SeededTest(unittest.TestCase):
    """Tests with random numbers. A failure names the seed."""

    def setUp(self) -> None:
        self.random = random.Random(seed())
        self.numbers = np.random.default_rng(seed())
        self.enterContext(self.subTest(FACEFEATURE_TEST_SEED=seed()))


class TemporaryFolderTest(SeededTest):
    def setUp(self) -> None:
        super().setUp()
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))


def face_document() -> dict:
    return json.loads(LANDMARK_FILE.read_text(encoding="utf-8"))


def made_picture(numbers: np.random.Generator, height=HEIGHT, width=WIDTH) -> np.ndarray:
    """A picture of noise on gradients, in any channel order."""
    rows = np.linspace(0, 120, height)[:, np.newaxis, np.newaxis]
    columns = np.linspace(0, 90, width)[np.newaxis, :, np.newaxis]
    return (rows + columns + numbers.integers(0, 40, (height, width, 3))).astype(np.uint8)


def features(numbers: np.random.Generator, count: int) -> np.ndarray:
    """Random features of plausible size."""
    rows = numbers.normal(size=(count, 502)).astype(np.float32)
    rows[:, 500:] = numbers.uniform(10, 600, (count, 2))
    return rows


def write_ppm(path: Path, rgb: np.ndarray) -> None:
    height, width = rgb.shape[:2]
    path.write_bytes(b"P6\n%d %d\n255\n" % (width, height) + rgb.tobytes())


def run_program(*arguments: object) -> str:
    """The output of the host program."""
    command = [PROGRAM, *map(str, arguments)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def run_python(code: str, **environment: str) -> subprocess.CompletedProcess:
    """Another interpreter with this package, for tests of what happens only once per process."""
    settings = {**os.environ, **environment}
    return subprocess.run(
        [sys.executable, "-W", "error::ResourceWarning", "-c", code],
        env=settings, capture_output=True, text=True, timeout=300,
    )  # fmt: skip
