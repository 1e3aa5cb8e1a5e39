"""Galleries: files of many features with their ids and their origin.

docs/galleries.md describes the format. A gallery of version 2 has a header, two copies of a root,
and segments. Each segment adds or removes rows and ends in a trailer. Version 1, which is read but
no longer written, has a header, the ids and the features.
"""

from __future__ import annotations

import hashlib
import mmap
import os
import struct
import tempfile
import unicodedata
from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ._features import FEATURE_FLOATS, feature_rows
from .errors import FeatureError, GalleryError

_MAGIC = b"FFGALLRY"
_SEGMENT_MAGIC = b"FFSEGMNT"
_VERSION = 2
_OLD_VERSION = 1
_OLD_HEADER = struct.Struct("<8sIIQII32s64s64sQQQ40x")
_HEADER = struct.Struct("<8sIIQII32s192x")
_ROOT = struct.Struct("<QQQQQ24x64s64s32x")  # the digest follows
_TRAILER = struct.Struct("<8sIIQQQQQQQ152x")  # the digest follows
_RECORD = 256  # bytes of a header, a root or a trailer
_PAGE = 4096
_ROOTS = (_PAGE, 2 * _PAGE)
_FIRST_SEGMENT = 3 * _PAGE
_ROWS, _REMOVALS = 1, 2  # kinds of segments
_BLOCK = 65536  # bytes covered by one digest
_ALIGNMENT = 64
_FEATURE_BYTES = 4 * FEATURE_FLOATS
_MAX_ID_BYTES = 1024  # bytes
_MAX_TEXT_BYTES = 63  # bytes; a NUL follows them

Path = Union[str, "os.PathLike[str]"]


class _Segment(NamedTuple):
    """The parts of a segment, as offsets in bytes from the start of the file."""

    kind: int
    start: int
    count: int
    ids_bytes: int
    features_at: int
    digests_at: int
    trailer_at: int
    previous: int

    @property
    def end(self) -> int:
        return self.trailer_at + _RECORD


def _aligned(offset: int) -> int:
    return -(-offset // _ALIGNMENT) * _ALIGNMENT


def _plan(kind: int, start: int, count: int, text_bytes: int, previous: int) -> _Segment:
    """The offsets of a segment's parts. text_bytes is the total length of its ids."""
    if kind == _ROWS:
        ids_bytes = 8 * (count + 1) + text_bytes
        features_at = _aligned(start + ids_bytes)
        digests_at = features_at + count * _FEATURE_BYTES
    else:
        ids_bytes = features_at = 0
        digests_at = start + 8 * count
    digests = -(-(digests_at - start) // _BLOCK)
    trailer_at = _aligned(digests_at + 32 * digests)
    return _Segment(
        kind, start, count, ids_bytes, features_at, digests_at, trailer_at, previous
    )


def _sha256(*parts: Any) -> bytes:
    digest = hashlib.sha256()
    for part in parts:
        digest.update(part)
    return digest.digest()


class Match(NamedTuple):
    """A row of a gallery that a search has found."""

    id: str
    score: float
    row: int


class Gallery:
    """A gallery, opened for reading.

    path             as given
    version          of the file format, 1 or 2
    ids              (n,) tuple of str, all different
    features         (n, 502), float32, read-only: the mapped file itself if all rows are
                     contiguous, as extract, merge and compact write them; otherwise a copy in
                     memory, created when the attribute is first read
    fingerprint      of the model: 64 digits
    library_version  of the library that computed the features; empty if unknown
    blas_core        the order of sums, which determines the last digits of a feature: "fma-chain",
                     or, from version 1.0.0, OpenBLAS's name for the processor; empty if unknown

    Opening a gallery reads the header and the ids. The object keeps the state of that moment, also
    if the host program adds or removes rows afterwards. The file stays mapped as long as
    ``features`` or an array derived from it exists. Raises GalleryError if the file is not a valid
    gallery. The features are not validated.
    """

    def __init__(self, path: Path) -> None:
        self.path = os.fspath(path)
        # A writer may extend the file between the mapping and the reading of the root.
        for _ in range(100):
            data = self._map()
            self.version = int.from_bytes(data[8:12], "little")
            if self.version == _OLD_VERSION:
                segments, rows = [self._read_old_header(data)], None
                break
            if self.version != _VERSION:
                raise GalleryError(
                    f"{path}: has version {self.version}, and only 1 and 2 can be read"
                )
            root = self._newest_root(data)
            if root[1] <= len(data):
                segments, rows = self._read_segments(data, root), root[2]
                break
        else:
            raise GalleryError(f"{path}: is cut short")
        ids: List[str] = []
        self._pieces: List[NDArray[np.float32]] = []
        removed: List[int] = []
        for segment in segments:
            if segment.kind == _REMOVALS:
                numbers = np.frombuffer(data, "<u8", segment.count, segment.start).tolist()
                if any(number >= len(ids) for number in numbers):
                    raise GalleryError(f"{path}: has damaged removals")
                removed += numbers
                continue
            ids += self._read_ids(data, segment.count, segment.start, segment.ids_bytes)
            floats = np.frombuffer(
                data, "<f4", segment.count * FEATURE_FLOATS, segment.features_at
            )
            self._pieces.append(floats.reshape(segment.count, FEATURE_FLOATS))
        self._kept: Optional[NDArray[np.bool_]] = None
        if removed:
            self._kept = np.ones(len(ids), dtype=bool)
            self._kept[removed] = False
            ids = [id_ for id_, kept in zip(ids, self._kept) if kept]
        self.ids = tuple(ids)
        if rows is not None and (len(set(removed)) != len(removed) or len(ids) != rows):
            raise GalleryError(f"{path}: has damaged removals")
        self._rows: Dict[str, int] = {id_: row for row, id_ in enumerate(self.ids)}
        if len(self._rows) != len(self.ids):
            raise GalleryError(f"{path}: an id occurs twice")
        self._features: Optional[NDArray[np.float32]] = None

    @property
    def features(self) -> NDArray[np.float32]:
        if self._features is None:
            if len(self._pieces) == 1 and self._kept is None:
                self._features = self._pieces[0]
            else:
                pieces = self._pieces or [np.empty((0, FEATURE_FLOATS), np.float32)]
                rows = np.concatenate(pieces)
                self._features = rows if self._kept is None else rows[self._kept]
                self._features.flags.writeable = False
        return self._features

    def feature(self, id_: str) -> NDArray[np.float32]:
        """The feature of an id, (502,), float32, read-only. Raises KeyError."""
        return self.features[self._rows[id_]]

    def search(
        self, features: Any, top: int = 10, threshold: Optional[float] = None
    ) -> List[List[Match]]:
        """The rows that score highest with each of several features.

        features   (n, 502) or (502,), float32, of the gallery's model, or a Gallery
        top        largest number of matches per feature; 0 for no limit
        threshold  lowest score of a match

        Returns a list of matches for each feature, in descending order of score; equal scores are
        in the order of the gallery. Every row is scored, bit-identical to ``compare``. A score that
        is NaN never matches. Raises FeatureError for another shape or dtype, GalleryError for a
        gallery of another model.
        """
        # Both modules need each other, so this one is imported late.
        from ._scores import best_rows  # pylint: disable=import-outside-toplevel,cyclic-import

        return [
            [Match(self.ids[row], score, row) for row, score in matches]
            for matches in best_rows(self, features, top, threshold)
        ]

    def __len__(self) -> int:
        return len(self.ids)

    def __repr__(self) -> str:
        return f"<facefeature.Gallery {self.path}, {len(self)} features>"

    def _map(self) -> Any:
        try:
            with open(self.path, "rb") as file:
                if os.fstat(file.fileno()).st_size < _RECORD:
                    raise GalleryError(
                        f"{self.path}: is not a gallery: shorter than a header"
                    )
                data = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        except OSError as error:
            raise GalleryError(f"{self.path}: can't be read: {error.strerror}") from error
        if data[:8] != _MAGIC:
            raise GalleryError(f"{self.path}: is not a gallery")
        return data

    def _read_old_header(self, data: Any) -> _Segment:
        (_, _, header_bytes, count, floats, _, fingerprint, library, core, ids_at,
         ids_bytes, features_at) = _OLD_HEADER.unpack_from(data)  # fmt: skip
        sound = (
            header_bytes == _OLD_HEADER.size
            and floats == FEATURE_FLOATS
            and ids_at >= _OLD_HEADER.size
            and ids_at % 8 == 0
            and ids_bytes >= 8 * (count + 1)
            and features_at >= ids_at + ids_bytes
            and features_at % _ALIGNMENT == 0
            and features_at + count * _FEATURE_BYTES == len(data)
        )
        if not sound:
            raise GalleryError(
                f"{self.path}: is cut short, too long, or has a damaged header"
            )
        self._set_origin(fingerprint, library, core)
        return _Segment(
            _ROWS, ids_at, count, ids_bytes, features_at, len(data), len(data), 0
        )

    def _set_origin(self, fingerprint: bytes, library: bytes, core: bytes) -> None:
        self.fingerprint = fingerprint.hex()
        self.library_version = library.partition(b"\0")[0].decode("utf-8", "replace")
        self.blas_core = core.partition(b"\0")[0].decode("utf-8", "replace")

    def _newest_root(self, data: Any) -> Tuple[Any, ...]:
        """The fields of the root with the highest sequence number whose digest is correct."""
        if len(data) < _FIRST_SEGMENT:
            raise GalleryError(f"{self.path}: is cut short within its header")
        header = data[:_RECORD]
        roots = [data[at : at + _RECORD] for at in _ROOTS]
        sound = [_ROOT.unpack_from(r) for r in roots if _sha256(header, r[:224]) == r[224:]]
        _, _, header_bytes, _, floats, _, fingerprint = _HEADER.unpack(header)
        if not sound or header_bytes != _FIRST_SEGMENT or floats != FEATURE_FLOATS:
            raise GalleryError(f"{self.path}: has a damaged header")
        root = max(sound, key=lambda fields: fields[0])
        self._set_origin(fingerprint, root[5], root[6])
        return root

    def _read_segments(self, data: Any, root: Tuple[Any, ...]) -> List[_Segment]:
        _, below, _, count, trailer_at, _, _ = root
        segments: List[_Segment] = []
        while trailer_at != 0:
            segments.insert(0, self._read_trailer(data, trailer_at, below))
            below, trailer_at = segments[0].start, segments[0].previous
        if below != _FIRST_SEGMENT or len(segments) != count:
            raise GalleryError(f"{self.path}: has a damaged header")
        return segments

    def _read_trailer(self, data: Any, at: int, below: int) -> _Segment:
        damaged = GalleryError(f"{self.path}: has a damaged segment")
        if at < _FIRST_SEGMENT or at + _RECORD != below:
            raise damaged
        (magic, kind, record, start, count, ids_at, ids_bytes, features_at, digests_at,
         previous) = _TRAILER.unpack_from(data, at)  # fmt: skip
        text_bytes = ids_bytes - 8 * (count + 1) if kind == _ROWS else 0
        if (
            magic != _SEGMENT_MAGIC
            or record != _RECORD
            or kind not in (_ROWS, _REMOVALS)
            or not _FIRST_SEGMENT <= start <= at
            or start % _ALIGNMENT != 0
            or text_bytes < 0
        ):
            raise damaged
        segment = _plan(kind, start, count, text_bytes, previous)
        offsets = (ids_at, ids_bytes, features_at, digests_at, at)
        expected = (
            start if kind == _ROWS else 0, segment.ids_bytes, segment.features_at,
            segment.digests_at, segment.trailer_at,
        )  # fmt: skip
        if offsets != expected:
            raise damaged
        if _sha256(data[digests_at : at + 224]) != data[at + 224 : at + _RECORD]:
            raise damaged
        return segment

    def _read_ids(self, data: Any, count: int, at: int, size: int) -> Tuple[str, ...]:
        offsets = struct.unpack_from(f"<{count + 1}Q", data, at)
        text = data[at + 8 * (count + 1) : at + size]
        ascending = all(left <= right for left, right in zip(offsets, offsets[1:]))
        if offsets[0] != 0 or offsets[-1] != len(text) or not ascending:
            raise GalleryError(f"{self.path}: has damaged ids")
        try:
            return tuple(text[a:b].decode("utf-8") for a, b in zip(offsets, offsets[1:]))
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
    """Writes a gallery that the host program can read. An existing file is replaced when the new
    one is complete.

    ids              n strings, all different, of 1 to 1024 bytes in UTF-8, without control
                     characters
    features         (n, 502), float32
    fingerprint      ``Engine.fingerprint`` of the model that computed them
    library_version  ``Engine.library_version``, at most 63 bytes
    blas_core        empty if unknown: the library does not report it

    Raises GalleryError and FeatureError.
    """
    rows = feature_rows(features, "features")
    if isinstance(ids, str) or len(ids) != len(rows):
        raise FeatureError(f"features: {len(rows)} rows for {len(ids)} ids")
    texts = [_checked_id(id_) for id_ in ids]
    if len(set(texts)) != len(texts):
        raise GalleryError(f"{path}: ids must be unique")
    offsets = np.zeros(len(texts) + 1, dtype="<u8")
    offsets[1:] = np.cumsum([len(text) for text in texts], dtype=np.uint64)
    text = b"".join(texts)
    segment = _plan(_ROWS, _FIRST_SEGMENT, len(rows), len(text), 0)
    header = _HEADER.pack(
        _MAGIC, _VERSION, _FIRST_SEGMENT, 0, FEATURE_FLOATS, 0, _digest(fingerprint)
    )
    root = _ROOT.pack(
        1, segment.end, len(rows), 1, segment.trailer_at,
        _text(library_version, "library_version"), _text(blas_core, "blas_core"),
    )  # fmt: skip
    root = (root + _sha256(header, root)).ljust(_PAGE, b"\0")
    ids_section = offsets.tobytes() + text
    padding = bytes(segment.features_at - segment.start - len(ids_section))
    floats = rows.astype("<f4").tobytes()
    parts = [header.ljust(_PAGE, b"\0"), root, root, ids_section, padding, floats]
    _write_and_rename(os.fspath(path), parts + _segment_end(segment, parts[3:]))


def _segment_end(segment: _Segment, parts: List[bytes]) -> List[bytes]:
    """The digests and the trailer of a segment with these bytes."""
    digests = b""
    block = b""
    for part in parts:
        for at in range(0, len(part), _BLOCK):
            block += part[at : at + _BLOCK]
            if len(block) >= _BLOCK:
                digests += _sha256(block[:_BLOCK])
                block = block[_BLOCK:]
    if block:
        digests += _sha256(block)
    trailer = _TRAILER.pack(
        _SEGMENT_MAGIC, segment.kind, _RECORD, segment.start, segment.count, segment.start,
        segment.ids_bytes, segment.features_at, segment.digests_at, segment.previous,
    )  # fmt: skip
    end = digests.ljust(segment.trailer_at - segment.digests_at, b"\0") + trailer
    return [end, _sha256(end)]


def _checked_id(id_: Any) -> bytes:
    if not isinstance(id_, str) or any(unicodedata.category(sign) == "Cc" for sign in id_):
        raise GalleryError(f"ids: {id_!r} is not text without control characters")
    try:
        text = id_.encode("utf-8")
    except UnicodeEncodeError as error:
        raise GalleryError(f"ids: {id_!r} can't be written in UTF-8") from error
    if not 1 <= len(text) <= _MAX_ID_BYTES:
        raise GalleryError(f"ids: {id_!r} has {len(text)} bytes, not 1 to {_MAX_ID_BYTES}")
    return text


def _digest(fingerprint: str) -> bytes:
    try:
        digest = bytes.fromhex(fingerprint)
    except (TypeError, ValueError):
        digest = b""
    if len(digest) != 32:
        raise GalleryError(f"fingerprint: expected 64 hexadecimal digits, not {fingerprint!r}")
    return digest


def _text(value: str, name: str) -> bytes:
    text = value.encode("utf-8")
    if len(text) > _MAX_TEXT_BYTES:
        raise GalleryError(f"{name}: has {len(text)} bytes, more than {_MAX_TEXT_BYTES}")
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
        # mkstemp creates a private file; this one gets the permissions of any new file of the
        # process.
        mask = os.umask(0)
        os.umask(mask)
        os.chmod(beside, 0o666 & ~mask)
        os.replace(beside, path)
    except OSError as error:
        if beside and os.path.exists(beside):
            os.unlink(beside)
        raise GalleryError(f"{path}: can't be written: {error.strerror}") from error
