"""The rigid head of 29 points, and its fit to landmarks.

Units are those of the library's model of the head: the eyes are 6.28 apart. X runs across the face,
Y down, Z towards the viewer.
"""

from __future__ import annotations

from typing import List, Tuple

import numpy as np
from numpy.typing import ArrayLike, NDArray

from .._landmarks import _SIDES, FULL_IDS

EYE_DISTANCE = 6.2773
"""Units that a reference length stands for."""

POINTS: NDArray[np.float64] = np.array([
    [-3.227, -3.484, 9.589], [3.05, -3.546, 9.59], [-5.7, -4.652, 8.292],
    [-1.549, -5.085, 10.83], [1.612, -5.106, 10.83], [5.705, -4.704, 8.148],
    [-0.0185, -3.543, 11.07], [0.01795, -0.2319, 13.32], [-0.02015, 2.274, 11.62],
    [-0.04147, 4.102, 11.41], [-2.673, 3.301, 10.002], [2.528, 3.315, 9.962],
    [1.661, 0.3568, 10.66], [-1.74, 0.2793, 10.69], [0.07737, 3.101, 11.32],
    [-0.01402, 1.045, 11.69], [-1.782, -3.277, 9.267], [-3.255, -2.946, 9.531],
    [-4.436, -3.397, 8.747], [4.376, -3.418, 8.762], [3.056, -2.961, 9.522],
    [1.626, -3.367, 9.263], [-7.386, 0.05087, 1.039], [7.377, 0.0564, 1.298],
    [-3.956, -5.678, 10.06], [3.664, -5.768, 10.18], [-0.0435, 6.917, 10.75],
    [-6.365, 3.718, 3.913], [6.252, 3.752, 3.822],
])  # fmt: skip
"""One row for each of FULL_IDS."""

SLOT_POINTS: NDArray[np.float64] = POINTS[[i not in _SIDES for i in FULL_IDS]]
"""The 25 points that the alignment keeps."""


def _partners() -> List[int]:
    """For each slot the slot of its mirrored point."""
    mirrored = SLOT_POINTS * [-1, 1, 1]
    distances = np.linalg.norm(mirrored[:, None] - SLOT_POINTS[None], axis=2)
    return distances.argmin(1).tolist()


MIRRORED_SLOTS: List[int] = _partners()


def reference_length(ids: ArrayLike, points: ArrayLike) -> float:
    """The reference length that the library computes from these landmarks, in double precision.

    ids     n numbers from 0 to 317; an id that is not one of the 29 takes the point of id 0, as in
            the library.
    points  (n, 2), pixels.
    """
    rows = [FULL_IDS.index(i) if i in FULL_IDS else 0 for i in np.asarray(ids).tolist()]
    scale = fit_rows(np.asarray(points, float), POINTS[rows])[0]
    return scale * EYE_DISTANCE


def fit_rows(
    points: NDArray[np.float64], model: NDArray[np.float64]
) -> Tuple[float, NDArray[np.float64]]:
    """Scale (pixels per unit) and the first two rows of the rotation, from a least squares fit of a
    scaled orthographic camera.

    The rows of the affine fit are made orthogonal and of equal length in closed form.
    """
    centered = model - model.mean(0)
    first, second = np.linalg.lstsq(centered, points - points.mean(0), rcond=None)[0].T
    A, B, H = first @ first, second @ second, first @ second
    a, b, D = np.sqrt(A), np.sqrt(B), np.sqrt(A * B - H * H)
    E = np.sqrt(A * B) * D + A * B - H * H
    g = H / (2 * D)
    u = first * (b * H * H / (2 * a * E) + (a + b) / (2 * a)) - second * g
    v = second * (a * H * H / (2 * b * E) + (a + b) / (2 * b)) - first * g
    scale = float(np.linalg.norm(u))
    return scale, np.stack([u, v]) / scale
