"""From the 8000 outputs of the nets to features: the mean and the two projections of a model."""

from __future__ import annotations

import os
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Union

import numpy as np
from numpy.typing import NDArray

from .model_folder import Model
from .patch_table import JOINED, PROJECTED

_BLOCK = 2048  # photographs projected at once


@dataclass(frozen=True)
class Projection:
    """mean (8000,), cross (500, 8000) and self_ (500, 8000): files 6-0, 6-2 and 6-1. float32."""

    mean: NDArray[np.float32]
    cross: NDArray[np.float32]
    self_: NDArray[np.float32]

    @classmethod
    def of_model(cls, model: Model) -> "Projection":
        return cls(model.mean, model.cross_projection, model.self_projection)

    @classmethod
    def load(cls, path: Union[str, "os.PathLike[str]"]) -> "Projection":
        """Reads the projection.npz of a work folder."""
        with np.load(path, allow_pickle=False) as arrays:
            return cls(arrays["mean"], arrays["cross"], arrays["self"])

    def in_model(self, model: Model) -> Model:
        """The model with its projections replaced by these."""
        return replace(
            model, mean=self.mean, cross_projection=self.cross, self_projection=self.self_
        )

    def features(self, outputs: NDArray[np.float32]) -> NDArray[np.float32]:
        """(n, 502) features of (n, 8000) outputs.

        Sums are in double precision, so the last bits differ from those of the library, which adds
        in single precision.
        """
        features = np.empty((len(outputs), PROJECTED + 2), np.float32)
        cross, self_ = self.cross.T.astype(np.float64), self.self_.T.astype(np.float64)
        for start in range(0, len(outputs), _BLOCK):
            rows = slice(start, start + _BLOCK)
            x = outputs[rows].astype(np.float64) - self.mean
            projected = x @ cross
            features[rows, :PROJECTED] = projected
            features[rows, PROJECTED] = ((x @ self_) ** 2).sum(axis=1)
            features[rows, PROJECTED + 1] = np.linalg.norm(projected, axis=1)
        return features

    def save(self, path: Union[str, "os.PathLike[str]"]) -> None:
        path = Path(path)
        partial = path.with_name(path.name + ".partial")
        with open(partial, "wb") as file:
            np.savez(file, mean=self.mean, cross=self.cross, self=self.self_)
        os.replace(partial, path)


def padded(rows: NDArray[np.float64]) -> NDArray[np.float32]:
    """Up to 500 rows of 8000 floats, followed by rows of zeros as in a file. A zero row gives a
    zero element of the feature and changes no other."""
    assert rows.shape[0] <= PROJECTED and rows.shape[1] == JOINED
    result = np.zeros((PROJECTED, JOINED), np.float32)
    result[: len(rows)] = rows
    return result
