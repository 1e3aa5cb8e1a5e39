"""Features as arrays, and as files of 2008 bytes."""

from __future__ import annotations

import os
from typing import Any, Union

import numpy as np
from numpy.typing import NDArray

from .errors import FeatureError

FEATURE_FLOATS = 502
"""Floats in a feature."""

Path = Union[str, "os.PathLike[str]"]


def feature_rows(features: Any, name: str) -> NDArray[np.float32]:
    """Features as contiguous rows in native byte order; copies the array only if necessary.

    features has the shape (n, 502). Raises FeatureError; its message calls the array name.
    """
    array = np.asarray(features)
    if array.ndim != 2 or array.shape[1] != FEATURE_FLOATS:
        raise FeatureError(f"{name}: expected the shape (n, 502), not {array.shape}")
    # Converting doubles would silently round values that may have been rounded before.
    if array.dtype.kind != "f" or array.dtype.itemsize != 4:
        raise FeatureError(f"{name}: expected the dtype float32, not {array.dtype}")
    return np.ascontiguousarray(array, dtype=np.float32)


def one_feature(feature: Any, name: str) -> NDArray[np.float32]:
    """The same for one feature of shape (502,)."""
    array = np.asarray(feature)
    if array.shape != (FEATURE_FLOATS,):
        raise FeatureError(f"{name}: expected the shape (502,), not {array.shape}")
    return feature_rows(array[np.newaxis], name)[0]


def read_feature(path: Path) -> NDArray[np.float32]:
    """Reads a feature file: 502 floats, little-endian, 2008 bytes. The values are not validated.

    Returns an array of shape (502,), float32. Raises FeatureError.
    """
    try:
        with open(path, "rb") as file:
            data = file.read(4 * FEATURE_FLOATS + 1)
    except OSError as error:
        raise FeatureError(f"{path}: can't be read: {error.strerror}") from error
    if len(data) != 4 * FEATURE_FLOATS:
        size = os.stat(path).st_size
        raise FeatureError(f"{path}: has {size} bytes, but a feature has 2008")
    return np.frombuffer(data, dtype="<f4").astype(np.float32)


def write_feature(path: Path, feature: Any) -> None:
    """Writes a feature file, as "facefeature compare" reads it.

    feature has the shape (502,), float32. Raises FeatureError.
    """
    data = one_feature(feature, "feature").astype("<f4").tobytes()
    try:
        with open(path, "wb") as file:
            file.write(data)
    except OSError as error:
        raise FeatureError(f"{path}: can't be written: {error.strerror}") from error
