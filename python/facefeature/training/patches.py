"""Patches sampled in PyTorch: the inputs of the 25 nets, from face chips and their landmarks.

``library_patches`` repeats the library's operations in the library's order, so its patches are
bit-identical to those that the library samples from the same pixels. ``training_patches`` reads the
same positions of pictures whose values need not be integers, without rounding, and repeats the
picture's border outside, where the library extrapolates.

Patches are a list of one tensor for each group of ``patch_table.GROUPS``, of shape
(nets of the group, 2 * faces, planes, side, side): first the direct samples of all faces, then the
mirrored ones. Values are gray levels; ``nets.Nets`` subtracts the means and blanks the margins.
"""

from __future__ import annotations

from typing import List, NamedTuple, Sequence, Tuple

import numpy as np
import torch
import torch.nn.functional as F

from .chips import Chips
from .patch_table import GROUPS, LOWER_ANCHOR, PATCHES, UPPER_ANCHOR

Patches = List[torch.Tensor]

_FRAME_SIDE = 160
_UPPER_X, _UPPER_Y = 80.0, 60.0  # position of the upper anchor in every frame


class Faces(NamedTuple):
    """A batch of faces, all tensors on one device.

    images   (n, 3, side, side), red first, uint8 or float32 gray levels
    sizes    (n, 2) int64: width and height of the part of images that is a picture, at least 2
    slots    (n, 25, 2) float32, pixels
    lengths  (n,) float32: reference length in pixels
    """

    images: torch.Tensor
    sizes: torch.Tensor
    slots: torch.Tensor
    lengths: torch.Tensor


def faces_of(
    chips: Chips, indices: Sequence[int], device: str = "cpu", side: int = 0, threads: int = 1
) -> Faces:
    """These chips as a batch; side and threads as ``Chips.images`` takes them."""
    images, sizes = chips.images(indices, side, threads)
    slots = np.array(chips.slots[indices], np.float32)
    lengths = np.array(chips.reference_length[indices], np.float32)
    arrays = (images, sizes.astype(np.int64), slots, lengths)
    return Faces(*(torch.from_numpy(array).to(device) for array in arrays))


def library_patches(faces: Faces) -> Patches:
    """The library's patches of uint8 images, bit-identical.

    Coordinates must be finite and less than 2**31 pixels from the image; beyond that, the library
    reads the first pixel.
    """
    color = faces.images.flatten(2)
    red, green, blue = color.to(torch.int32).unbind(1)
    gray = ((117 * blue + 601 * green + 306 * red) >> 10).to(torch.uint8)[:, None]
    return [
        _blend(color if PATCHES[group[0]].planes == 3 else gray, faces, *_positions(group, faces))
        for group in GROUPS
    ]


def training_patches(faces: Faces) -> Patches:
    """Patches of float32 images, interpolated linearly and not rounded."""
    images = faces.images.float()
    weights = images.new_tensor([306, 601, 117]).view(1, 3, 1, 1) / 1024
    gray = (images * weights).sum(1, keepdim=True)
    return [
        _interpolate(images if PATCHES[group[0]].planes == 3 else gray, faces.sizes,
                     *_positions(group, faces))
        for group in GROUPS
    ]  # fmt: skip


def _positions(group: List[int], faces: Faces) -> Tuple[torch.Tensor, torch.Tensor]:
    """The positions in the image of each element of the patches: x and y, each of shape
    (n, nets of the group, 2, side, side), the direct sample first.

    Every operation here rounds to float32 as it does in the library, in the library's order. The
    names follow the closed form of the similarity fit.
    """
    slots, device = faces.slots, faces.slots.device
    span = torch.tensor([float(PATCHES[p].span) for p in group], device=device)
    x6, y6 = slots[:, UPPER_ANCHOR, None].unbind(2)
    x8, y8 = slots[:, LOWER_ANCHOR, None].unbind(2)
    squares = (x6 - x8) * (x6 - x8) + (y6 - y8) * (y6 - y8)
    anchor_distance = squares.double().sqrt().float()
    h = (span * anchor_distance) / faces.lengths[:, None] + _UPPER_Y

    Sx, Sy = x8 + x6, y8 + y6
    Su, Sv = 2 * _UPPER_X, _UPPER_Y + h
    Q = (y8 * y8 + x8 * x8) + (y6 * y6 + x6 * x6)
    A = (y8 * h + x8 * _UPPER_X) + (y6 * _UPPER_Y + x6 * _UPPER_X)

    # The similarity from the image to the frame, which maps the landmarks.
    B = (x8 * h - y8 * _UPPER_X) + (x6 * _UPPER_Y - y6 * _UPPER_X)
    D = (Q * 2 - Sx * Sx) - Sy * Sy
    a = (A * 2 - (Sy * Sv + Sx * Su)) / D
    b = ((Sy * Su - Sx * Sv) + B * 2) / D
    tx = ((Q * Su - A * Sx) + B * Sy) / D
    ty = ((Q * Sv - A * Sy) - B * Sx) / D
    columns, rows = zip(*(_frame_pixels(group, slots, a, b, tx, ty, mirrored)
                          for mirrored in (False, True)))  # fmt: skip
    column, row = torch.stack(columns, 2)[..., None, :], torch.stack(rows, 2)[..., None]

    # The similarity back to the image. It is fitted separately and is not exactly the inverse.
    T = (h * h + _UPPER_X * _UPPER_X) + 10000.0
    B = (y8 * _UPPER_X - x8 * h) + (y6 * _UPPER_X - x6 * _UPPER_Y)
    D = (T * 2 - Su * Su) - Sv * Sv
    a = (A * 2 - (Sv * Sy + Su * Sx)) / D
    b = ((Sv * Sx - Su * Sy) + B * 2) / D
    tx = ((T * Sx - A * Su) + B * Sv) / D
    ty = ((T * Sy - A * Sv) - B * Su) / D
    a, b, tx, ty = (value[:, :, None, None, None] for value in (a, b, tx, ty))
    return (column * a - row * b) + tx, (column * b + row * a) + ty


def _frame_pixels(
    group: List[int], slots: torch.Tensor, a: torch.Tensor, b: torch.Tensor, tx: torch.Tensor,
    ty: torch.Tensor, mirrored: bool,
) -> Tuple[torch.Tensor, torch.Tensor]:  # fmt: skip
    """Columns and rows of the frame that a sample reads, each (n, nets of the group, side)."""
    points = [PATCHES[p].mirror if mirrored else PATCHES[p].center for p in group]
    x, y = slots[:, points].unbind(2)
    cx, cy = (a * x - b * y) + tx, (a * y + b * x) + ty
    side = PATCHES[group[0]].side
    steps = torch.arange(side, device=slots.device, dtype=torch.float32) - side // 2
    offset = [np.float32(PATCHES[p].span) * np.float32(PATCHES[p].offset) for p in group]
    below = torch.tensor(np.array(offset, np.float32), device=slots.device)
    column = (cx[..., None] - steps if mirrored else steps + cx[..., None]) + 0.5
    row = ((steps + cy[..., None]) + below[:, None]) + 0.5
    last = _FRAME_SIDE - 1
    return column.trunc().clamp(0, last), row.trunc().clamp(0, last)


def _blend(images: torch.Tensor, faces: Faces, sx: torch.Tensor, sy: torch.Tensor) -> torch.Tensor:
    """images: (n, planes, pixels) of uint8, rows of the images' side."""
    width, height = faces.sizes[:, 0, None], faces.sizes[:, 1, None]
    sx, sy, shape = sx.flatten(1), sy.flatten(1), sx.shape
    ix, iy = sx.trunc(), sy.trunc()
    # The fractions belong to the position before it is clamped to the image, as in the library.
    fx, fy = sx - ix, sy - iy
    x = torch.minimum(ix.long().clamp_min(0), width - 2)
    y = torch.minimum(iy.long().clamp_min(0), height - 2)
    first = (y * faces.images.shape[-1] + x)[:, None].expand(-1, images.shape[1], -1)

    def pixel(step: int) -> torch.Tensor:
        return images.gather(2, first + step).float()

    below = faces.images.shape[-1]
    w00, w10 = ((1 - fx) * (1 - fy))[:, None], ((1 - fy) * fx)[:, None]
    w01, w11 = ((1 - fx) * fy)[:, None], (fy * fx)[:, None]
    value = ((w10 * pixel(1) + w00 * pixel(0)) + w01 * pixel(below)) + w11 * pixel(below + 1)
    # Values are stored as bytes: those outside 0 to 255, which only extrapolation gives, wrap.
    levels = ((value + 0.5).to(torch.int32) & 255).float()
    return _by_net(levels, shape)


def _interpolate(
    images: torch.Tensor, sizes: torch.Tensor, sx: torch.Tensor, sy: torch.Tensor
) -> torch.Tensor:
    limit = (sizes.float() - 1)[:, :, None]
    x = torch.minimum(sx.flatten(1).clamp_min(0), limit[:, 0])
    y = torch.minimum(sy.flatten(1).clamp_min(0), limit[:, 1])
    scale = 2 / (images.shape[-1] - 1)
    grid = torch.stack([x * scale - 1, y * scale - 1], 2)[:, None]
    values = F.grid_sample(images, grid, mode="bilinear", align_corners=True)
    return _by_net(values[:, :, 0], sx.shape)


def _by_net(values: torch.Tensor, shape: Sequence[int]) -> torch.Tensor:
    """From (n, planes, elements of all samples) to (nets, 2 n, planes, side, side)."""
    count, nets, samples, side, _ = shape
    values = values.reshape(count, values.shape[1], nets, samples, side, side)
    return values.permute(2, 3, 0, 1, 4, 5).reshape(nets, samples * count, -1, side, side)
