"""Scores between features, bit-identical to the library's CompareFeatures."""

from __future__ import annotations

from typing import Any, List, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ._features import FEATURE_FLOATS, feature_rows, one_feature
from ._gallery import Gallery
from ._library import load_library
from .errors import GalleryError

_PRODUCTS = 500
_SQUARES = 500
_NORM = 501

# A block of sums and a block of products stay in the cache of a core for all 500 passes.
_BLOCK_ROWS = 64
_BLOCK_COLUMNS = 512


def compare(a: Any, b: Any) -> float:
    """The score of two features, higher for more similar faces.

    a, b  (502,), float32, of the same model; this can't be checked here.

    The value is a 32-bit float; ``"%.9g" % score`` identifies it. It has no fixed range, and the
    order of a and b does not matter. NaN if a feature contains NaNs. May be called on any thread
    at any time. Raises FeatureError for another shape or dtype, and LibraryError.
    """
    first = one_feature(a, "a")
    second = one_feature(b, "b")
    return load_library().compare(first.ctypes.data, second.ctypes.data)


def score_matrix(
    a: Union[Gallery, Any], b: Union[Gallery, Any, None] = None
) -> NDArray[np.float32]:
    """The score of each feature of a with each of b: element [i, j] is bit-identical to
    ``compare(a[i], b[j])``.

    a, b  (n, 502) and (m, 502), float32, or a Gallery each. Without b, each of a with each of a.

    Returns (n, m), float32. A score that is NaN is also NaN here, but the sign of a NaN may differ.
    Raises FeatureError for another shape or dtype, GalleryError if two galleries have different
    models.
    """
    if b is None:
        b = a
    _require_one_model(a, b)
    first = feature_rows(a.features if isinstance(a, Gallery) else a, "a")
    second = feature_rows(b.features if isinstance(b, Gallery) else b, "b")

    # Transposed, because the outer loop runs over k.
    columns_of_first = np.ascontiguousarray(first.T)
    columns_of_second = np.ascontiguousarray(second.T)
    scores = np.empty((len(first), len(second)), dtype=np.float32)
    for top in range(0, len(first), _BLOCK_ROWS):
        rows = slice(top, top + _BLOCK_ROWS)
        for left in range(0, len(second), _BLOCK_COLUMNS):
            columns = slice(left, left + _BLOCK_COLUMNS)
            scores[rows, columns] = _block(columns_of_first[:, rows], columns_of_second[:, columns])
    return scores


def best_rows(
    gallery: Gallery, features: Any, top: int, threshold: Optional[float]
) -> List[List[Tuple[int, float]]]:
    """The rows and scores of the matches of Gallery.search."""
    _require_one_model(gallery, features)
    if isinstance(features, Gallery):
        probes = features.features
    elif np.ndim(features) == 1:
        probes = one_feature(features, "features")[np.newaxis]
    else:
        probes = feature_rows(features, "features")
    answers = []
    for start in range(0, len(probes), _BLOCK_ROWS):
        scores = score_matrix(probes[start : start + _BLOCK_ROWS], gallery)
        answers += [_best(row, top, threshold) for row in scores]
    return answers


def _best(
    scores: NDArray[np.float32], top: int, threshold: Optional[float]
) -> List[Tuple[int, float]]:
    matching = ~np.isnan(scores)
    if threshold is not None:
        matching &= scores >= np.float32(threshold)
    rows = np.flatnonzero(matching)
    if 0 < top < len(rows):
        # Keeps every row that scores as high as the last match, so that the order of the gallery
        # decides ties.
        last = np.partition(scores[rows], len(rows) - top)[len(rows) - top]
        rows = rows[scores[rows] >= last]
    # A stable sort keeps equal scores in the order of the gallery.
    rows = rows[np.argsort(-scores[rows], kind="stable")]
    if top > 0:
        rows = rows[:top]
    return [(int(row), float(scores[row])) for row in rows]


def _require_one_model(a: Any, b: Any) -> None:
    if not isinstance(a, Gallery) or not isinstance(b, Gallery):
        return
    if a.fingerprint != b.fingerprint:
        raise GalleryError(
            f"{a.path} and {b.path}: made with different models, {a.fingerprint} and "
            f"{b.fingerprint}. Extract both with one model."
        )


def _block(a: NDArray[np.float32], b: NDArray[np.float32]) -> NDArray[np.float32]:
    """The scores of (502, n) with (502, m).

    The order of the operations is the contract: one product and one sum at a time, in ascending
    order of k, each rounded to 32 bits. ``a.T @ b`` would add in the order of the machine's BLAS,
    and ``np.sum`` in pairs; both give other bits.
    """
    assert a.shape[0] == b.shape[0] == FEATURE_FLOATS
    sums = np.zeros((a.shape[1], b.shape[1]), dtype=np.float32)
    products = np.empty_like(sums)
    # Infinities and NaNs are valid scores.
    with np.errstate(all="ignore"):
        for k in range(_PRODUCTS):
            np.multiply(a[k][:, np.newaxis], b[k], out=products)
            np.add(sums, products, out=sums)
        squares = np.add.outer(a[_SQUARES], b[_SQUARES])
        norms = np.multiply.outer(a[_NORM], b[_NORM])
        return (sums * np.float32(2) - squares) / norms + np.float32(1)
