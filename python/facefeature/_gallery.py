"""Galleries: many features with their ids and where they come from, in one file.

A gallery is little-endian and is mapped into memory as it is. Its header has 256 bytes, zero where
nothing stands:

      0  "FFGALLRY"
      8  uint32  version, 1
     12  uint32  bytes of the header, 256
     16  uint64  count of features
     24  uint32  floats of a feature, 502
     32  32 bytes  fingerprint of the model
     64  64 bytes  version of the library, NUL padded
    128  64 bytes  what OpenBLAS calls the processor, NUL padded
    192  uint64  place of the ids
    200  uint64  bytes of the ids
    208  uint64  place of the features, a multiple of 64

The ids are count + 1 uint64 places within the UTF-8 text that follows them; id i stands from place
i to place i + 1. The features are count x 502 float32, and the file ends with them.
"""

from __future__ import annotations

import mmap
import os
import struct
import tempfile
import unicodedata
from typing import Any, List, Sequence, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ._features import FEATURE_FLOATS, feature_rows
from .errors import FeatureError, GalleryError

_MAGIC = b"FFGALLRY"
_VERSION = 1
_HEADER = struct.Struct("<8sIIQII32s64s64sQQQ40x")
_ALIGNMENT = 64
_FEATURE_BYTES = 4 * FEATURE_FLOATS
_LONGEST_ID = 1024  # bytes
_LONGEST_TEXT = 63  # bytes; a NUL stands behind them

Path = Union[str, "os.PathLike[str]"]


class Gallery:
    """A gallery, opened for reading.

    path             as it was given
    ids              (n,) tuple of str, no two alike
    features         (n, 502), float32, read-only: the file itself, mapped, which must not be
                     changed in place meanwhile (the host program and this package write galleries
                     beside and rename them)
    fingerprint      of the model: 64 digits
    library_version  of the library that made the features; empty when not known
    blas_core        what OpenBLAS called the processor there, on which the last digits of a feature
                     depend; empty when not known

    Opening one reads the header and the ids. The file stays mapped as long as ``features`` or an
    array cut from it lives. Raises GalleryError for a file that is no sound gallery; the floats are
    not judged.
    """

    def __init__(self, path: Path) -> None:
        self.path = os.fspath(path)
        try:
            with open(path, "rb") as file:
                if os.fstat(file.fileno()).st_size < _HEADER.size:
                    raise GalleryError(f"{path}: is no gallery: shorter than a header")
                data = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        except OSError as error:
            raise GalleryError(f"{path}: can't be read: {error.strerror}") from error
        count, ids_at, ids_bytes, features_at = self._read_header(data)
        self.ids = self._read_ids(data, count, ids_at, ids_bytes)
        self._rows = {id_: row for row, id_ in enumerate(self.ids)}
        if len(self._rows) != count:
            raise GalleryError(f"{path}: an id stands there twice")
        floats = np.frombuffer(data, "<f4", count * FEATURE_FLOATS, features_at)
        self.features: NDArray[np.float32] = floats.reshape(count, FEATURE_FLOATS)

    def feature(self, id_: str) -> NDArray[np.float32]:
        """The feature of an id, (502,), float32, read-only. Raises KeyError."""
        return self.features[self._rows[id_]]

    def __len__(self) -> int:
        return len(self.ids)

    def __repr__(self) -> str:
        return f"<facefeature.Gallery {self.path}, {len(self)} features>"

    def _read_header(self, data: Any) -> Tuple[int, int, int, int]:
        (magic, version, header_bytes, count, floats, _, fingerprint, library, core, ids_at,
         ids_bytes, features_at) = _HEADER.unpack_from(data)  # fmt: skip
        if magic != _MAGIC:
            raise GalleryError(f"{self.path}: is no gallery")
        if version != _VERSION:
            raise GalleryError(f"{self.path}: has version {version}, and only 1 can be read")
        sound = (
            header_bytes == _HEADER.size
            and floats == FEATURE_FLOATS
            and ids_at >= _HEADER.size
            and ids_at % 8 == 0
            and ids_bytes >= 8 * (count + 1)
            and features_at >= ids_at + ids_bytes
            and features_at % _ALIGNMENT == 0
            and features_at + count * _FEATURE_BYTES == len(data)
        )
        if not sound:
            raise GalleryError(f"{self.path}: is cut short, too long, or has a damaged header")
        self.fingerprint = fingerprint.hex()
        self.library_version = library.partition(b"\0")[0].decode("utf-8", "replace")
        self.blas_core = core.partition(b"\0")[0].decode("utf-8", "replace")
        return count, ids_at, ids_bytes, features_at

    def _read_ids(self, data: Any, count: int, at: int, size: int) -> Tuple[str, ...]:
        places = struct.unpack_from(f"<{count + 1}Q", data, at)
        text = data[at + 8 * (count + 1) : at + size]
        rising = all(left <= right for left, right in zip(places, places[1:]))
        if places[0] != 0 or places[-1] != len(text) or not rising:
            raise GalleryError(f"{self.path}: has damaged ids")
        try:
            return tuple(text[a:b].decode("utf-8") for a, b in zip(places, places[1:]))
        except UnicodeDecodeError as error:
            raise GalleryError(f"{self.path}: has damaged ids") from error


def write_gallery(
    path: Path,
    ids: Sequence[str],
    features: Any,
    *,
    fingerprint: str,
    library_version: str = "",
    blas_core: str = "",
) -> None:
    """Writes a gallery, as the host program reads it. The path keeps what it held until all is
    written.

    ids              n texts, no two alike, of 1 to 1024 bytes in UTF-8, without control characters
    features         (n, 502), float32
    fingerprint      ``Engine.fingerprint`` of the model that made them
    library_version  ``Engine.library_version``, at most 63 bytes
    blas_core        left empty where it is not known: the library does not tell it

    Raises GalleryError, FeatureError.
    """
    rows = feature_rows(features, "features")
    if isinstance(ids, str) or len(ids) != len(rows):
        raise FeatureError(f"features: {len(rows)} rows for {len(ids)} ids")
    texts = [_checked_id(id_) for id_ in ids]
    if len(set(texts)) != len(texts):
        raise GalleryError(f"{path}: ids: no two may be alike")
    places = np.zeros(len(texts) + 1, dtype="<u8")
    places[1:] = np.cumsum([len(text) for text in texts], dtype=np.uint64)
    section = places.tobytes() + b"".join(texts)
    features_at = -(-(_HEADER.size + len(section)) // _ALIGNMENT) * _ALIGNMENT
    header = _HEADER.pack(
        _MAGIC, _VERSION, _HEADER.size, len(rows), FEATURE_FLOATS, 0, _digest(fingerprint),
        _text(library_version, "library_version"), _text(blas_core, "blas_core"), _HEADER.size,
        len(section), features_at,
    )  # fmt: skip
    padding = bytes(features_at - _HEADER.size - len(section))
    _write_and_rename(os.fspath(path), [header, section, padding, rows.astype("<f4").tobytes()])


def _checked_id(id_: Any) -> bytes:
    if not isinstance(id_, str) or any(unicodedata.category(sign) == "Cc" for sign in id_):
        raise GalleryError(f"ids: {id_!r} is no text without control characters")
    try:
        text = id_.encode("utf-8")
    except UnicodeEncodeError as error:
        raise GalleryError(f"ids: {id_!r} can't be written in UTF-8") from error
    if not 1 <= len(text) <= _LONGEST_ID:
        raise GalleryError(f"ids: {id_!r} has {len(text)} bytes, not 1 to {_LONGEST_ID}")
    return text


def _digest(fingerprint: str) -> bytes:
    try:
        digest = bytes.fromhex(fingerprint)
    except (TypeError, ValueError):
        digest = b""
    if len(digest) != 32:
        raise GalleryError(f"fingerprint: 64 hexadecimal digits are wanted, not {fingerprint!r}")
    return digest


def _text(value: str, name: str) -> bytes:
    text = value.encode("utf-8")
    if len(text) > _LONGEST_TEXT:
        raise GalleryError(f"{name}: has {len(text)} bytes, at most {_LONGEST_TEXT} have room")
    return text


def _write_and_rename(path: str, parts: List[bytes]) -> None:
    folder, name = os.path.split(path)
    beside = ""
    try:
        descriptor, beside = tempfile.mkstemp(prefix=f".{name}.", dir=folder or ".")
        with os.fdopen(descriptor, "wb") as file:
            for part in parts:
                file.write(part)
            file.flush()
            os.fsync(file.fileno())
        # A private file is what mkstemp makes; a new file of this process is what is wanted.
        mask = os.umask(0)
        os.umask(mask)
        os.chmod(beside, 0o666 & ~mask)
        os.replace(beside, path)
    except OSError as error:
        if beside and os.path.exists(beside):
            os.unlink(beside)
        raise GalleryError(f"{path}: can't be written: {error.strerror}") from error
