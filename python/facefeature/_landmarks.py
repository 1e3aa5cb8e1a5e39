"""Converts landmarks from several sources to the record that the library reads."""

from __future__ import annotations

import json
import math
import numbers
import os
import warnings
from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any, Iterable, List, Optional, Tuple

import numpy as np
from numpy.typing import NDArray

from .errors import FaceFeatureWarning, LandmarkError

FULL_IDS: Tuple[int, ...] = (
    *range(0, 7), *range(9, 14), 43, 44, 45, 200, 221, 222, 223, 225, 226, 227,
    240, 241, 300, 302, 314, 315, 316,
)  # fmt: skip
"""The 29 ids of a full record."""

# Points at the sides of the head, which are used to fit the head model but not for the alignment.
_SIDES = (240, 241, 315, 316)
_ALIGNED = 25
_LAST_ID = 317
_LARGEST_FLOAT = float(np.finfo(np.float32).max)

_ENTRY = np.dtype([("id", np.int32), ("x", np.float32), ("y", np.float32)])


@dataclass(frozen=True)
class Landmarks:
    """The landmarks of one face, checked: the library accepts them.

    entries  structured array (n,) of id (int32), x and y (float32, pixels, x right and y down, the
             centre of the top left pixel at 0, 0), in the given order.
    width,   of the photograph to which they belong, in pixels, or None if unknown.
    height
    source   their name in messages: the path, or "landmarks".
    """

    entries: NDArray[Any]
    width: Optional[int] = None
    height: Optional[int] = None
    source: str = "landmarks"

    def record(self) -> NDArray[np.uint8]:
        """The bytes of the library's record: the count, an unused word, the entries."""
        head = np.array([len(self.entries), 0], dtype=np.int32)
        return np.frombuffer(head.tobytes() + self.entries.tobytes(), dtype=np.uint8)

    def warn(self, width: int, height: int, stacklevel: int = 3) -> None:
        """Warns (FaceFeatureWarning) of an incomplete record or a picture of another size.

        stacklevel is that of warnings.warn; the default is the caller of the caller."""
        warning = _record_warning(self.entries["id"].tolist())
        if warning:
            warnings.warn(
                f"{self.source}: not a full record of 29 landmarks: {warning}. Compare the feature "
                "only with features of such records.",
                FaceFeatureWarning,
                stacklevel=stacklevel,
            )
        if self.width in (None, width) and self.height in (None, height):
            return
        warnings.warn(
            f"{self.source}: the landmarks are for a picture of {self.width or '?'} x "
            f"{self.height or '?'} pixels, but the image has {width} x {height}",
            FaceFeatureWarning,
            stacklevel=stacklevel,
        )


def read_landmarks(source: Any) -> Landmarks:
    """Reads landmarks.

    source  the path of a JSON file; the content of such a file: a mapping with a list "landmarks"
            of {"id", "x", "y"} and optionally "width" and "height"; such a list by itself; a
            mapping from id to (x, y); a sequence of (id, x, y), or an array of shape (n, 3); or a
            Landmarks object.

    Exactly 25 entries must have ids other than 240, 241, 315 and 316. Ids are 0 to 317, and
    coordinates are finite. Raises LandmarkError.
    """
    if isinstance(source, Landmarks):
        return source
    if isinstance(source, (str, os.PathLike)):
        return _from_document(_document(source), os.fspath(source))
    if isinstance(source, Mapping) and "landmarks" in source:
        return _from_document(source, "landmarks")
    if isinstance(source, Mapping):
        return Landmarks(_entries((id_, *_pair(point, id_)) for id_, point in source.items()))
    if isinstance(source, (list, tuple, np.ndarray)):
        return Landmarks(_entries(_triple(entry, i) for i, entry in enumerate(source)))
    raise LandmarkError(f"landmarks: can't be read from {type(source).__name__}")


def _document(path: Any) -> Any:
    try:
        with open(path, encoding="utf-8") as file:
            return json.load(file)
    except OSError as error:
        raise LandmarkError(f"{path}: can't be read: {error.strerror}") from error
    except (ValueError, RecursionError) as error:
        raise LandmarkError(f"{path}: is not JSON ({error})") from error


def _from_document(document: Any, source: str) -> Landmarks:
    try:
        if not isinstance(document, Mapping) or not isinstance(document.get("landmarks"), list):
            raise LandmarkError('landmarks: no list "landmarks"')
        entries = _entries(_triple(entry, i) for i, entry in enumerate(document["landmarks"]))
        width, height = _size(document, "width"), _size(document, "height")
    except LandmarkError as error:
        if source == "landmarks":
            raise
        raise LandmarkError(str(error).replace("landmarks", source, 1)) from None
    return Landmarks(entries, width, height, source)


def _size(document: Mapping[str, Any], key: str) -> Optional[int]:
    value = document.get(key)
    if value is None or (isinstance(value, int) and not isinstance(value, bool)):
        return value
    raise LandmarkError(f'landmarks: "{key}" is not a whole number')


def _pair(point: Any, id_: Any) -> Tuple[Any, Any]:
    try:
        x, y = point
    except (TypeError, ValueError):
        raise LandmarkError(f"landmarks: id {id_} does not have two coordinates") from None
    return x, y


def _triple(entry: Any, place: int) -> Tuple[Any, Any, Any]:
    try:
        if isinstance(entry, Mapping):
            return entry["id"], entry["x"], entry["y"]
        id_, x, y = entry
    except (KeyError, TypeError, ValueError):
        raise LandmarkError(f"landmarks: entry {place} does not have id, x and y") from None
    return id_, x, y


def _entries(triples: Iterable[Tuple[Any, Any, Any]]) -> NDArray[Any]:
    checked: List[Tuple[int, float, float]] = []
    for id_, x, y in triples:
        place = f"entry {len(checked)}"
        # In an array of floats, ids are floats.
        whole = isinstance(id_, numbers.Real) and not isinstance(id_, bool) and id_ == id_ // 1
        if not whole:
            raise LandmarkError(
                f"landmarks: {place} has the id {id_!r}, which is not a whole number"
            )
        if not 0 <= id_ <= _LAST_ID:
            raise LandmarkError(f"landmarks: {place} has the id {id_}, not 0 to {_LAST_ID}")
        checked.append((int(id_), _coordinate(x, place), _coordinate(y, place)))
    aligned = sum(id_ not in _SIDES for id_, _, _ in checked)
    if aligned != _ALIGNED:
        raise LandmarkError(
            f"landmarks: {aligned} entries besides 240, 241, 315 and 316, not exactly {_ALIGNED}"
        )
    return np.array(checked, dtype=_ENTRY)


def _coordinate(value: Any, place: str) -> float:
    if not isinstance(value, numbers.Real) or isinstance(value, bool):
        raise LandmarkError(
            f"landmarks: {place} has the coordinate {value!r}, which is not a number"
        )
    number = float(value)
    if math.isnan(number) or abs(number) > _LARGEST_FLOAT:
        raise LandmarkError(f"landmarks: {place} has the coordinate {number}, out of range")
    return number


def _record_warning(ids: List[int]) -> str:
    words = []
    for id_ in FULL_IDS:
        if ids.count(id_) != 1:
            words.append(f"id {id_} " + ("appears more than once" if id_ in ids else "is missing"))
    words += [f"id {id_} is not one of the 29" for id_ in ids if id_ not in FULL_IDS]
    return ", ".join(words)
