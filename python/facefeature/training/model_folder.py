"""Model folders: the 303 files that the library reads, as arrays."""

from __future__ import annotations

import os
import struct
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Dict, Union

import numpy as np
from numpy.typing import NDArray

from .._model import model_files
from ..errors import ModelError
from .patch_table import JOINED, PROJECTED

_PROJECTIONS = {"6-0": (JOINED,), "6-1": (PROJECTED, JOINED), "6-2": (PROJECTED, JOINED)}


@dataclass(frozen=True)
class Model:
    """The content of a model folder, all float32.

    nets             the arrays of the 25 nets by file name: "0-n-0" the patch means (a vector),
                     "1-n-1" to "5-n-3" the matrices of the layers, as rows and columns of the file
    mean             (8000,): file 6-0
    self_projection  (500, 8000): file 6-1, whose products only determine element 500 of a feature
    cross_projection (500, 8000): file 6-2, whose products are elements 0 to 499
    """

    nets: Dict[str, NDArray[np.float32]]
    mean: NDArray[np.float32]
    self_projection: NDArray[np.float32]
    cross_projection: NDArray[np.float32]


def _shapes() -> Dict[str, tuple]:
    return {f.name: _PROJECTIONS.get(f.name, tuple(f.header)) for f in model_files()}


NET_SHAPES = {name: shape for name, shape in _shapes().items() if name not in _PROJECTIONS}
"""Shape of each array of ``Model.nets``, by file name."""


def read(folder: Union[str, "os.PathLike[str]"]) -> Model:
    """Reads the 303 files. Raises ModelError, whose text names the file and the error."""
    arrays = {}
    for file in model_files():
        path = Path(folder) / file.name
        try:
            data = path.read_bytes()
        except OSError as error:
            raise ModelError(f"{path}: can't be read: {error.strerror}") from error
        head = struct.pack(f"<{len(file.header)}i", *file.header)
        if len(data) != file.size or not data.startswith(head):
            raise ModelError(f"{path}: has another shape than its net needs")
        floats = np.frombuffer(data, "<f4", offset=len(head)).astype(np.float32)
        arrays[file.name] = floats.reshape(_PROJECTIONS.get(file.name, file.header))
    mean, self_projection, cross_projection = (arrays.pop(name) for name in _PROJECTIONS)
    return Model(arrays, mean, self_projection, cross_projection)


def write(model: Model, folder: Union[str, "os.PathLike[str]"]) -> None:
    """Writes the 303 files to the folder, which is created if necessary.

    Raises ModelError for values that are not finite, before anything is written.
    """
    arrays = _arrays(model)
    folder = Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    for file in model_files():
        head = struct.pack(f"<{len(file.header)}i", *file.header)
        floats = np.ascontiguousarray(arrays[file.name], "<f4").tobytes()
        partial = folder / (file.name + ".partial")
        partial.write_bytes(head + floats)
        os.replace(partial, folder / file.name)


def _arrays(model: Model) -> Dict[str, NDArray]:
    arrays = dict(model.nets)
    arrays["6-0"] = model.mean
    arrays["6-1"] = model.self_projection
    arrays["6-2"] = model.cross_projection
    for name, shape in _shapes().items():
        if name not in arrays:
            raise ModelError(f"the model lacks the array {name}")
        if arrays[name].shape != shape:
            raise ModelError(f"the array {name} has shape {arrays[name].shape}, not {shape}")
        if not np.isfinite(arrays[name]).all():
            raise ModelError(f"the array {name} has values that are not finite")
    return arrays


def rounded(model: Model) -> Model:
    """The model with every value rounded to half precision.

    The files keep their size, but compress to half of it. Raises ModelError for values that half
    precision can't represent.
    """

    def half(name: str, values: NDArray) -> NDArray[np.float32]:
        with np.errstate(over="ignore"):
            result = values.astype(np.float16).astype(np.float32)
        if not np.isfinite(result).all():
            raise ModelError(f"the array {name} has values beyond half precision")
        return result

    return replace(
        model,
        nets={name: half(name, values) for name, values in model.nets.items()},
        mean=half("6-0", model.mean),
        self_projection=half("6-1", model.self_projection),
        cross_projection=half("6-2", model.cross_projection),
    )
