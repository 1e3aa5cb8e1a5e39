"""The 303 files of a model: checks that they are complete, and computes their fingerprint.

The library trusts its files: if weights are missing, it prints lines and terminates the process. So
the package checks a folder before the library reads it.
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
_LARGE_NETS = (1, 2)  # 55 x 55 pixels; all others have 47 x 47
_COLOUR_NETS = (1, 2, 3, 5, 8, 11, 14, 17, 19, 21, 23, 25)
_JOINED = 8000
_PROJECTED = 500
_FAULTS_NAMED = 10


class ModelFile(NamedTuple):
    name: str
    header: Tuple[int, ...]  # of 32 bits each, before the floats
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
    """All 303, in the order in which the library opens them, which the fingerprint depends on."""
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
    """The model of ``Engine()``: the folder that the library reads by default if something with
    that name exists, else the model that is installed with this package. The former if neither
    exists."""
    of_library = Path(os.environ.get("TMPDIR") or "/tmp") / FOLDER_NAME
    # A dangling link was created by someone who wants it to be used.
    if os.path.lexists(of_library):
        return of_library
    return _shipped_model_folder() or of_library


def _shipped_model_folder() -> Optional[Path]:
    """The model of the checkout that contains this package, or of the installation's prefix."""
    package = Path(__file__).resolve().parent
    checkout = package.parent.parent
    folders = []
    if (checkout / "CMakeLists.txt").exists():
        folders.append(checkout / _SHIPPED_FOLDER)
    folders += [prefix / "share/facefeature" / _SHIPPED_FOLDER for prefix in package.parents]
    return next((folder for folder in folders if folder.is_dir()), None)


def model_fingerprint(model: Union[str, "os.PathLike[str]"]) -> str:
    """Identifies a model: SHA-256 over its 303 files, as 64 digits, like the host program's.

    model  the folder.

    The input of the hash is, for each file, its name, a NUL byte, its length (64 bits,
    little-endian) and its bytes. Other files of the folder are ignored. Raises ModelError if a file
    is missing, can't be read, or does not have the shape that the nets need; the message names up
    to ten of them. The values are not validated.
    """
    folder = Path(model)
    if not folder.is_dir():
        raise ModelError(
            f"{folder}: is not a folder. Name the folder with the 303 files of a model."
        )
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
        text = "; ".join(faults[:_FAULTS_NAMED]) + (f"; and {more} more files" if more > 0 else "")
        raise ModelError(f"{folder}: the model is missing or incomplete: {text}")
    return digest.hexdigest()
