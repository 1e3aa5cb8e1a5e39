"""Converts numpy arrays to the pixels that the library reads."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

from .errors import ImageError

_SMALLEST_SIDE = 2
_LARGEST_INT = 2**31 - 1


def require_channels(channels: str) -> None:
    """Raises ImageError unless channels is "BGR" or "RGB"."""
    if channels not in ("BGR", "RGB"):
        raise ImageError(f'channels: expected "BGR" or "RGB", not {channels!r}')


def bgr_pixels(image: Any, channels: str) -> NDArray[np.uint8]:
    """A view of the image with the channels blue, green, red in memory, or else a copy.

    image     (height, width, 3), uint8.
    channels  "BGR" or "RGB": the order of image[..., 0:3].

    The result has strides (s, 3, 1) with |s| >= 3 * width, as the library requires; s may be
    negative (a picture that a slice turns upside down) or large (a crop). An "RGB" array whose
    memory has the order blue, green, red, such as ``bgr[..., ::-1]``, is not copied either.

    Raises ImageError.
    """
    require_channels(channels)
    if not isinstance(image, np.ndarray):
        raise ImageError(f"image: expected a numpy array, not {type(image).__name__}")
    if image.ndim != 3 or image.shape[2] != 3:
        raise ImageError(
            f"image: expected the shape (height, width, 3), not {image.shape}. "
            "Repeat a gray plane three times; cut an alpha channel off."
        )
    if image.dtype != np.uint8:
        raise ImageError(
            f"image: expected the dtype uint8, not {image.dtype}. Multiply a picture of floats "
            "from 0 to 1 by 255 and round it."
        )
    height, width = image.shape[:2]
    if height < _SMALLEST_SIDE or width < _SMALLEST_SIDE:
        raise ImageError(f"image: has {width} x {height} pixels, but at least 2 x 2 are needed")
    if max(3 * width, height) > _LARGEST_INT:
        raise ImageError(f"image: {width} x {height} pixels are too many")

    pixels = image if channels == "BGR" else image[..., ::-1]
    row, column, channel = pixels.strides
    walkable = column == 3 and channel == 1 and 3 * width <= abs(row) <= _LARGEST_INT
    return pixels if walkable else np.ascontiguousarray(pixels)
