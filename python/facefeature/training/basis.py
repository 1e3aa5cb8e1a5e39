"""Bases in which the joint Bayesian model is fitted: at most 500 directions of the net outputs.

A prior that is the same in all directions expresses the distances of the basis. In the basis of a
model's cross projection these are the distances of the model's own scores; in the whitened
principal components they are Mahalanobis distances.
"""

from __future__ import annotations

import numpy as np
import scipy.linalg
from numpy.typing import NDArray

from .patch_table import PROJECTED

# Variances below this share of the mean variance of the components are whitened as if they had it.
# Small ones are inaccurate, and dividing by them would make the score follow their noise.
_VARIANCE_FLOOR = 0.1


def learnt(cross: NDArray[np.float32]) -> NDArray[np.float64]:
    """The rows of a cross projection that are not zero: (d, 8000)."""
    rows = cross.astype(np.float64)
    return rows[np.abs(rows).sum(axis=1) > 0]


def principal(
    outputs: NDArray[np.float32], mean: NDArray[np.float64], dimensions: int = PROJECTED
) -> NDArray[np.float64]:
    """(d, 8000): the whitened principal components of (n, 8000) outputs about a mean, in descending
    order of variance. d is at most dimensions and less than n."""
    x = outputs.astype(np.float64) - mean
    count = min(dimensions, len(x) - 1)
    # The smaller of the two products has the same nonzero eigenvalues.
    if len(x) <= x.shape[1]:
        values, vectors = _strongest(x @ x.T, count)
        directions = (x.T @ vectors).T
    else:
        values, vectors = _strongest(x.T @ x, count)
        directions = vectors.T
    directions /= np.linalg.norm(directions, axis=1)[:, None]
    variances = values / len(x)
    return directions / np.sqrt(np.maximum(variances, _VARIANCE_FLOOR * variances.mean()))[:, None]


def _strongest(matrix: NDArray[np.float64], count: int):
    size = len(matrix)
    values, vectors = scipy.linalg.eigh(matrix, subset_by_index=[size - count, size - 1])
    return values[::-1], vectors[:, ::-1]
