"""Helpers for the tests of the training kit."""

from __future__ import annotations

import importlib.util
import io
import unittest

import numpy as np

from facefeature.training.chips import Chips
from support import face_document

# Ids of a complete record that the alignment does not use.
SIDES = (240, 241, 315, 316)

needs_torch = unittest.skipUnless(
    importlib.util.find_spec("torch"),
    "PyTorch is not installed (tools/install-packages training)",
)
needs_pillow = unittest.skipUnless(
    importlib.util.find_spec("PIL"),
    "Pillow is not installed (tools/install-packages training)",
)


def upright_slots() -> np.ndarray:
    """25 landmarks of a real face, in a chip of about 200 pixels."""
    points = {entry["id"]: (entry["x"], entry["y"]) for entry in face_document()["landmarks"]}
    slots = np.array([points[i] for i in sorted(points) if i not in SIDES], np.float32)
    scale = 36 / np.linalg.norm(slots[1] - slots[0])
    return (slots - slots[6]) * scale + np.float32([100, 90])


def jpeg(picture: np.ndarray) -> bytes:
    from PIL import Image

    file = io.BytesIO()
    Image.fromarray(picture).save(file, "JPEG", quality=90)
    return file.getvalue()


def made_chips(numbers: np.random.Generator, people: int, each: int = 2, teacher: int = 8) -> Chips:
    """Chips of blurred noise with a pattern for each person, and descriptors close to a point for
    each person."""
    pictures, slots, descriptors, names = [], [], [], []
    for person in range(people):
        pattern = numbers.integers(0, 256, (20, 18, 3)).astype(np.uint8)
        center = numbers.normal(size=teacher)
        for photo in range(each):
            picture = np.kron(pattern, np.ones((10, 10, 1), np.uint8)).astype(int)
            picture += numbers.integers(-20, 20, picture.shape)
            pictures.append(jpeg(np.clip(picture, 0, 255).astype(np.uint8)))
            slots.append(upright_slots() + numbers.normal(0, 1, (25, 2)))
            descriptors.append(center + 0.1 * numbers.normal(size=teacher))
            names.append((f"{person}_{photo}.jpg", f"person {person}"))
    return Chips(
        names=np.array([name for name, _ in names]),
        people=np.array([person for _, person in names]),
        origins=np.array(["made"] * len(names)),
        jpeg=np.frombuffer(b"".join(pictures), np.uint8),
        offsets=np.cumsum([0] + [len(p) for p in pictures]).astype(np.int64),
        slots=np.array(slots, np.float32),
        reference_length=np.full(len(names), 36, np.float32),
        teacher=np.array(descriptors, np.float32),
    )
