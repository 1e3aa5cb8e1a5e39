"""The 303 files of a model: are they all there, and which model is it?

The library trusts its files as they stand, prints lines and ends the process where weights are
missing. So a folder is looked at before the library sees it.
"""

from __future__ import annotations

import hashlib
import os
import struct
from pathlib import Path
from typing import List, NamedTuple, Optional, Tuple, Union

from .errors import ModelError

FOLDER_NAME = "~kwplugintmp~"
"""What the library calls the folder, inside the temporary folder."""

_SHIPPED_FOLDER = "models/portraits"
_NETS = 25
_LARGE_NETS = (1, 2)  # of 55 x 55 pixels; all others have 47 x 47
_COLOUR_NETS = (1, 2, 3, 5, 8, 11, 14, 17, 19, 21, 23, 25)
_JOINED = 8000
_PROJECTED = 500
_FAULTS_NAMED = 10


class ModelFile(NamedTuple):
    name: str
    header: Tuple[int, ...]  # of 32 bits each, ahead of the floats
    floats: int

    @property
    def size(self) -> int:
        return 4 * (len(self.header) + self.floats)


def _matrix(name: str, rows: int, cols: int) -> ModelFile:
    return ModelFile(name, (rows, cols), rows * cols)


def _net_files(net: int) -> List[ModelFile]:
    planes = 3 if net in _COLOUR_NETS else 1
    convolved, pooled = (1024, 1200) if net in _LARGE_NETS else (576, 768)
    return [
        _matrix(f"1-{net}-1", 16 * planes, 16),
        _matrix(f"1-{net}-2", 16, 1),
        _matrix(f"2-{net}-1", 144, 32),
        _matrix(f"2-{net}-2", 32, 1),
        _matrix(f"3-{net}-1", 288, 48),
        _matrix(f"3-{net}-2", 48, 1),
        _matrix(f"4-{net}-1", 192, 64),
        _matrix(f"4-{net}-2", 64, 1),
        _matrix(f"5-{net}-1", convolved, 160),
        _matrix(f"5-{net}-2", pooled, 160),
        _matrix(f"5-{net}-3", 1, 160),
    ]


def model_files() -> List[ModelFile]:
    """All 303, in the order in which the library opens them. The fingerprint rests on it."""
    files = []
    for net in range(1, _NETS + 1):
        side = 55 if net in _LARGE_NETS else 47
        floats = side * side * (3 if net in _COLOUR_NETS else 1)
        files.append(ModelFile(f"0-{net}-0", (floats,), floats))
    files.append(ModelFile("6-0", (), _JOINED))
    files.append(ModelFile("6-1", (), _PROJECTED * _JOINED))
    files.append(ModelFile("6-2", (), _PROJECTED * _JOINED))
    for net in range(1, _NETS + 1):
        files += _net_files(net)
    return files


def default_model_folder() -> Path:
    """The model of ``Engine()``: the folder that the library reads by itself if something of that
    name exists, else the model that comes with this package. The former if there is neither."""
    of_library = Path(os.environ.get("TMPDIR") or "/tmp") / FOLDER_NAME
    # A dangling link was put there by somebody who wants it to be used.
    if os.path.lexists(of_library):
        return of_library
    return _shipped_model_folder() or of_library


def _shipped_model_folder() -> Optional[Path]:
    """The folder of the checkout that holds this package, or of the prefix that it is installed in."""
    package = Path(__file__).resolve().parent
    checkout = package.parent.parent
    folders = []
    if (checkout / "CMakeLists.txt").exists():
        folders.append(checkout / _SHIPPED_FOLDER)
    folders += [prefix / "share/facefeature" / _SHIPPED_FOLDER for prefix in package.parents]
    return next((folder for folder in folders if folder.is_dir()), None)


def model_fingerprint(model: Union[str, "os.PathLike[str]"]) -> str:
    """Which model is it? SHA-256 over its 303 files, as 64 digits, the same as the host program's.

    model  the folder.

    Each file goes in with its name, a NUL byte and its length (64 bits, little-endian) ahead of its
    bytes; other files of the folder don't count. Raises ModelError when a file is missing, can't be
    read, or hasn't the shape that the nets need; its text names up to ten of them. The floats are
    not judged.
    """
    folder = Path(model)
    if not folder.is_dir():
        raise ModelError(f"{folder}: is no folder. Name the folder with the 303 files of a model.")
    faults: List[str] = []
    digest = hashlib.sha256()
    for file in model_files():
        try:
            data = (folder / file.name).read_bytes()
        except FileNotFoundError:
            faults.append(f"{file.name} is missing")
            continue
        except OSError as error:
            faults.append(f"{file.name} can't be read: {error.strerror}")
            continue
        head = struct.pack(f"<{len(file.header)}i", *file.header)
        if not data.startswith(head):
            faults.append(f"{file.name} has a header of another shape")
        elif len(data) != file.size:
            faults.append(f"{file.name} has {len(data)} bytes, not {file.size}")
        digest.update(file.name.encode() + b"\0" + struct.pack("<Q", len(data)))
        digest.update(data)
    if faults:
        more = len(faults) - _FAULTS_NAMED
        text = "; ".join(faults[:_FAULTS_NAMED]) + (f"; and {more} files more" if more > 0 else "")
        raise ModelError(f"{folder}: the model is missing or incomplete: {text}")
    return digest.hexdigest()
