"""The library's own patches and reference length, from a shared object that contains only the
library's geometry (tools/training, libfacefeature_patches.so of a build folder).

The kit samples patches in PyTorch and does not need this; tests compare them with these.
"""

from __future__ import annotations

import ctypes
import os
from functools import lru_cache
from pathlib import Path
from typing import Any, List

import numpy as np
from numpy.typing import NDArray

from .._landmarks import read_landmarks
from ..errors import ImageError, LibraryError
from .patch_table import PATCHES, ROWS

_NAME = "libfacefeature_patches.so"


def object_path() -> str:
    """$FACEFEATURE_PATCHES, or the object in build/release or build/dev of the checkout."""
    if os.environ.get("FACEFEATURE_PATCHES"):
        return os.environ["FACEFEATURE_PATCHES"]
    builds = Path(__file__).resolve().parents[3] / "build"
    paths = [builds / preset / _NAME for preset in ("release", "dev")]
    return next((str(path) for path in paths if path.exists()), _NAME)


@lru_cache(maxsize=None)
def _object() -> ctypes.CDLL:
    try:
        loaded = ctypes.CDLL(object_path())
    except OSError as error:
        raise LibraryError(
            f"{object_path()}: can't be loaded: {error}. Build the target facefeature_patches."
        ) from error
    integer, pointer = ctypes.c_int32, ctypes.c_void_p
    loaded.FacefeaturePatches.argtypes = [pointer, integer, integer, integer, pointer, pointer]
    loaded.FacefeatureReferenceLength.argtypes = [pointer]
    loaded.FacefeatureReferenceLength.restype = ctypes.c_float
    return loaded


def library_patches(image: NDArray[np.uint8], landmarks: Any) -> List[NDArray[np.float32]]:
    """The 25 patches before their mean is subtracted, each (2, planes, side, side): the direct
    sample, then the mirrored one.

    image      (height, width, 3), red first
    landmarks  as ``facefeature.read_landmarks`` takes them
    """
    pixels = np.ascontiguousarray(image[..., ::-1])
    record = _record(landmarks)
    floats = np.empty(_object().FacefeaturePatchFloats(), np.float32)
    height, width = pixels.shape[:2]
    if not _object().FacefeaturePatches(
        pixels.ctypes.data, width, height, 3 * width, record.ctypes.data, floats.ctypes.data
    ):
        raise ImageError(f"an image of {width} x {height} pixels is too small")
    shapes = [(ROWS, patch.planes, patch.side, patch.side) for patch in PATCHES]
    ends = np.cumsum([np.prod(shape) for shape in shapes])
    return [part.reshape(shape) for part, shape in zip(np.split(floats, ends[:-1]), shapes)]


def reference_length(landmarks: Any) -> float:
    """The reference length in pixels."""
    record = _record(landmarks)
    return float(_object().FacefeatureReferenceLength(record.ctypes.data))


def _record(landmarks: Any) -> NDArray[np.uint8]:
    entries = read_landmarks(landmarks).entries
    head = np.array([len(entries), 0], np.int32)
    return np.frombuffer(head.tobytes() + entries.tobytes(), np.uint8)
