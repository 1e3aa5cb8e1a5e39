"""Noise for training: what differs between two photographs of one person.

``Noise.apply`` changes a batch of faces in this order:

1. mirrored for half of the faces;
2. pose: the head is turned a little. The turned positions of the landmarks follow from the depths
   of the rigid head; a quadratic field through them moves the pixels;
3. expression: mouth, eyes and brows move, as smooth bumps of the same field;
4. occlusion: glasses, hats and other things are drawn over the face;
5. light: gain, colour cast, offset, gamma, gray, light from a side, resolution, sharpness and
   noise;
6. landmarks: each point, all points, the turn, the scale and the squeeze, as a detector errs.

Lengths are in parts of the reference length, the distance between the eyes of a frontal face. All
random numbers that describe a face come from one generator on the CPU, so that a step of a run
can be repeated.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import NamedTuple, Tuple

import numpy as np
import torch
import torch.nn.functional as F

from .head_model import MIRRORED_SLOTS, SLOT_POINTS
from .patch_table import LOWER_ANCHOR, UPPER_ANCHOR
from .patches import Faces

_NODE_STEP = 4  # pixels between the nodes of a displacement field


class Draws:
    """Random tensors on a device, from a generator on the CPU."""

    def __init__(self, generator: torch.Generator, device: torch.device) -> None:
        self._generator, self._device = generator, device

    def normal(self, *shape: int) -> torch.Tensor:
        return torch.randn(*shape, generator=self._generator).to(self._device)

    def uniform(self, low: float, high: float, *shape: int) -> torch.Tensor:
        values = torch.rand(*shape, generator=self._generator)
        return (low + (high - low) * values).to(self._device)

    def chance(self, probability: float, count: int) -> torch.Tensor:
        return self.uniform(0, 1, count) < probability

    def pixels(self, shape: torch.Size) -> torch.Tensor:
        """Normally distributed numbers, drawn on the device with a seed from the generator."""
        seed = int(torch.randint(2**62, (1,), generator=self._generator))
        generator = torch.Generator(self._device).manual_seed(seed)
        return torch.randn(shape, generator=generator, device=self._device)


@dataclass(frozen=True)
class Noise:
    """The amount of each kind of noise; 1 is the default and 0 is none."""

    mirror: bool = True
    pose: float = 1.0
    expression: float = 1.0
    occlusion: float = 1.0
    light: float = 1.0
    landmarks: float = 1.0

    @classmethod
    def none(cls) -> "Noise":
        return cls(False, 0, 0, 0, 0, 0)

    def apply(self, faces: Faces, generator: torch.Generator) -> Faces:
        """The faces with noise; images become float32 gray levels from 0 to 255."""
        draws = Draws(generator, faces.slots.device)
        faces = faces._replace(images=faces.images.float())
        if self.mirror or self.pose or self.expression:
            faces = _moved(faces, draws, self.mirror, self.pose, self.expression)
        if self.occlusion:
            faces = faces._replace(images=_occluded(faces, draws, self.occlusion))
        if self.light:
            faces = faces._replace(images=_lit(faces.images, draws, self.light))
        if self.landmarks:
            faces = _with_landmark_noise(faces, draws, self.landmarks)
        return faces


class _Bumps(NamedTuple):
    """Local displacements: (shift + stretch * (q - center)) * exp(-|q - center|^2 / (2 radius^2)),
    the stretch along the face's down direction only."""

    center: torch.Tensor  # (n, bumps, 2)
    radius: torch.Tensor  # (n, bumps)
    shift: torch.Tensor  # (n, bumps, 2)
    stretch: torch.Tensor  # (n, bumps)
    down: torch.Tensor  # (n, 2)


class _Field(NamedTuple):
    """Maps pixels of the new picture to positions in the old one."""

    center: torch.Tensor  # (n, 2)
    length: torch.Tensor  # (n,)
    quadratic: torch.Tensor  # (n, 6, 2)
    bumps: _Bumps

    def offsets(self, points: torch.Tensor) -> torch.Tensor:
        """points: (n, p, 2). Returns the offsets to their old positions."""
        t = (points - self.center[:, None]) / self.length[:, None, None]
        # Beyond the face the field has its value at the edge of the face.
        t = t * (1.6 / t.norm(dim=2, keepdim=True).clamp_min(1e-6)).clamp_max(1)
        offsets = _quadratic_basis(t) @ self.quadratic
        bumps = self.bumps
        q = points[:, :, None] - bumps.center[:, None]
        weight = torch.exp(q.square().sum(3) / (-2 * bumps.radius.square())[:, None])
        along = (q * bumps.down[:, None, None]).sum(3) * bumps.stretch[:, None] * weight
        return (offsets + (weight[..., None] * bumps.shift[:, None]).sum(2)
                + along.sum(2, keepdim=True) * bumps.down[:, None])  # fmt: skip


def _quadratic_basis(t: torch.Tensor) -> torch.Tensor:
    x, y = t.unbind(-1)
    return torch.stack([torch.ones_like(x), x, y, x * x, x * y, y * y], -1)


def _directions(slots: torch.Tensor) -> Tuple[torch.Tensor, torch.Tensor]:
    """Unit vectors to the right and down in the face's own directions, each (n, 2)."""
    down = F.normalize(slots[:, LOWER_ANCHOR] - slots[:, UPPER_ANCHOR], dim=1)
    return torch.stack([down[:, 1], -down[:, 0]], 1), down


def _moved(faces: Faces, draws: Draws, mirror: bool, pose: float, expression: float) -> Faces:
    count = len(faces.slots)
    mirrored = draws.chance(0.5 if mirror else 0.0, count)
    right_edge = (faces.sizes[:, :1] - 1).float()
    flipped = faces.slots[:, MIRRORED_SLOTS].clone()
    flipped[..., 0] = right_edge - flipped[..., 0]
    slots = torch.where(mirrored[:, None, None], flipped, faces.slots)

    turned = _turned(slots, draws, pose)
    field = _Field(
        turned.mean(1), faces.lengths, _fitted(turned, slots - turned, faces.lengths),
        _expression(turned, faces.lengths, draws, expression),
    )  # fmt: skip
    # The new landmarks are the points that the field sends to the old ones.
    points = turned
    for _ in range(5):
        points = slots - field.offsets(points)

    side = faces.images.shape[-1]
    sources = _pixel_sources(field, side)
    x, y = sources.unbind(1)
    x = torch.where(mirrored[:, None, None], right_edge[..., None] - x, x)
    limit = (faces.sizes - 1).float()[:, :, None, None]
    x = torch.minimum(x.clamp_min(0), limit[:, 0]) * (2 / (side - 1)) - 1
    y = torch.minimum(y.clamp_min(0), limit[:, 1]) * (2 / (side - 1)) - 1
    images = F.grid_sample(faces.images, torch.stack([x, y], 3), align_corners=True)
    return faces._replace(images=images, slots=points)


def _pixel_sources(field: _Field, side: int) -> torch.Tensor:
    """Old positions of all pixels of the new picture, (n, 2, side, side)."""
    device = field.center.device
    nodes = -(-side // _NODE_STEP) + 1
    line = torch.linspace(0, side - 1, nodes, device=device)
    y, x = torch.meshgrid(line, line, indexing="ij")
    points = torch.stack([x, y], 2).reshape(1, -1, 2).expand(len(field.center), -1, -1)
    coarse = (points + field.offsets(points)).transpose(1, 2).reshape(-1, 2, nodes, nodes)
    return F.interpolate(coarse, (side, side), mode="bilinear", align_corners=True)


def _turned(slots: torch.Tensor, draws: Draws, amount: float) -> torch.Tensor:
    """The landmarks after a rotation of the head about its vertical and its horizontal axis, seen
    by a camera at a finite distance."""
    count = len(slots)
    model = slots.new_tensor(SLOT_POINTS - SLOT_POINTS.mean(0))
    inverse = slots.new_tensor(np.linalg.pinv(SLOT_POINTS - SLOT_POINTS.mean(0)))
    center = slots.mean(1, keepdim=True)
    first, second = (inverse @ (slots - center)).unbind(2)  # (n, 3) each: the affine camera
    first_unit = F.normalize(first, dim=1)
    along = (second * first_unit).sum(1, keepdim=True)
    second_unit = F.normalize(second - along * first_unit, dim=1)
    towards = torch.cross(first_unit, second_unit, dim=1)
    scale = (first.norm(dim=1) + second.norm(dim=1))[:, None] / 2
    depth = scale * (model @ towards[..., None])[..., 0]  # (n, 25) pixels

    # Radians. Most rotations are small; some are 25 degrees.
    yaw = (0.16 * amount * draws.normal(count, 1)).clamp(-0.5, 0.5)
    pitch = (0.09 * amount * draws.normal(count, 1)).clamp(-0.3, 0.3)
    near = 0.02 * amount * draws.normal(count, 1) / scale.clamp_min(1e-6)
    x, y = (slots - center).unbind(2)
    x = x * yaw.cos() + depth * yaw.sin()
    y = y * pitch.cos() + depth * pitch.sin()
    larger = 1 + (near * depth).clamp(-0.2, 0.2)
    return torch.stack([x * larger, y * larger], 2) + center


def _fitted(points: torch.Tensor, offsets: torch.Tensor, lengths: torch.Tensor) -> torch.Tensor:
    """Coefficients (n, 6, 2) of the quadratic field that is closest to these offsets."""
    t = (points - points.mean(1, keepdim=True)) / lengths[:, None, None]
    basis = _quadratic_basis(t)
    squares = basis.transpose(1, 2) @ basis
    ridge = 1e-3 * torch.eye(6, device=points.device)
    return torch.linalg.solve(squares + ridge, basis.transpose(1, 2) @ offsets)


# Slot, radius, then standard deviations: shift to the right, shift down, stretch. In a pair, the
# second slot moves like the mirror image of the first.
_EXPRESSIONS = [
    ((9,), 0.30, 0.000, 0.050, 0.0),  # lower lip
    ((24,), 0.45, 0.010, 0.030, 0.0),  # chin
    ((10, 11), 0.25, 0.040, 0.030, 0.0),  # corners of the mouth
    ((0, 1), 0.17, 0.000, 0.000, 0.2),  # eyelids
    ((22, 23), 0.30, 0.000, 0.025, 0.0),  # brows
    ((3, 4), 0.25, 0.015, 0.020, 0.0),  # inner ends of the brows
]


def _expression(slots: torch.Tensor, lengths: torch.Tensor, draws: Draws, amount: float) -> _Bumps:
    count = len(slots)
    right, down = _directions(slots)
    centers, radii, shifts, stretches = [], [], [], []
    for points, radius, sideways, downwards, stretch in _EXPRESSIONS:
        a = amount * sideways * draws.normal(count)
        b = amount * downwards * draws.normal(count)
        c = (amount * stretch * draws.normal(count)).clamp(-0.45, 0.45)
        for sign, point in zip((1, -1), points):
            centers.append(slots[:, point])
            radii.append(radius * lengths)
            shifts.append(((sign * a)[:, None] * right + b[:, None] * down) * lengths[:, None])
            stretches.append(c)
    return _Bumps(torch.stack(centers, 1), torch.stack(radii, 1), torch.stack(shifts, 1),
                  torch.stack(stretches, 1), down)  # fmt: skip


def _occluded(faces: Faces, draws: Draws, amount: float) -> torch.Tensor:
    count = len(faces.slots)
    glasses = draws.chance(0.10 * amount, count)
    hats = draws.chance(0.06 * amount, count)
    others = draws.chance(0.06 * amount, count)
    images = faces.images.clone()
    for chosen, draw in ((glasses, _draw_glasses), (hats, _draw_hat), (others, _draw_other)):
        indices = chosen.nonzero()[:, 0]
        if len(indices):
            images[indices] = draw(images[indices], _FaceGrid(faces, indices), draws)
    return images


class _FaceGrid:
    """Coordinates of every pixel in the directions of the face: x to the right and y down from the
    upper anchor, in reference lengths."""

    def __init__(self, faces: Faces, indices: torch.Tensor) -> None:
        self.slots = faces.slots[indices]
        self._lengths = faces.lengths[indices]
        self._right, self._down = _directions(self.slots)
        side = faces.images.shape[-1]
        line = torch.arange(side, device=self.slots.device, dtype=torch.float32)
        y, x = torch.meshgrid(line, line, indexing="ij")
        self.x, self.y = self._face_coordinates(torch.stack([x, y], 2).reshape(1, -1, 2))
        self.x, self.y = self.x.reshape(-1, side, side), self.y.reshape(-1, side, side)

    def slot(self, index: int) -> Tuple[torch.Tensor, torch.Tensor]:
        x, y = self._face_coordinates(self.slots[:, index : index + 1])
        return x[..., None], y[..., None]

    def _face_coordinates(self, points: torch.Tensor) -> Tuple[torch.Tensor, torch.Tensor]:
        q = (points - self.slots[:, UPPER_ANCHOR, None]) / self._lengths[:, None, None]
        return (q * self._right[:, None]).sum(2), (q * self._down[:, None]).sum(2)


def _paint(images: torch.Tensor, cover: torch.Tensor, color: torch.Tensor) -> torch.Tensor:
    """cover: (n, side, side) from 0 to 1; color: (n, 3)."""
    cover = cover[:, None]
    return images * (1 - cover) + color[:, :, None, None] * cover


def _draw_glasses(images: torch.Tensor, face: _FaceGrid, draws: Draws) -> torch.Tensor:
    count = len(images)
    one = (count, 1, 1)
    half_width, half_height = draws.uniform(0.30, 0.46, *one), draws.uniform(0.20, 0.38, *one)
    thickness, corners = draws.uniform(0.02, 0.09, *one), draws.uniform(2, 5, *one)
    # Every fifth pair is tinted; a few are sunglasses.
    tint = draws.uniform(0, 0.9, *one) * draws.chance(0.2, count)[:, None, None]
    frame = torch.zeros_like(face.x)
    for slot in (0, 1):
        x, y = face.slot(slot)
        u, v = ((face.x - x) / half_width).abs(), ((face.y - y - 0.03) / half_height).abs()
        radius = (u.pow(corners) + v.pow(corners)).clamp_min(1e-9).pow(1 / corners)
        ring = (1.3 - (radius - 1).abs() * half_height / thickness).clamp(0, 1)
        frame = torch.maximum(frame, torch.maximum(ring, tint * (radius < 1)))
    x0, y0 = face.slot(0)
    x1, _ = face.slot(1)
    between = (face.x > x0 + half_width) & (face.x < x1 - half_width)
    sides = ((face.x < x0 - half_width) | (face.x > x1 + half_width)) & (face.x.abs() < 1.15)
    bar = (1.3 - (face.y - y0 + 0.05).abs() / thickness).clamp(0, 1) * (between | sides)
    return _paint(images, torch.maximum(frame, bar), draws.uniform(0, 140, count, 3))


def _draw_hat(images: torch.Tensor, face: _FaceGrid, draws: Draws) -> torch.Tensor:
    count = len(images)
    edge = draws.uniform(-0.95, -0.42, count, 1, 1)
    bend = draws.uniform(-0.15, 0.25, count, 1, 1)
    # The edge is blurred over a tenth of the distance between the eyes.
    cover = ((edge + bend * face.x.square() - face.y) * 10).clamp(0, 1)
    shade = 1 + 0.3 * draws.normal(count, 1, 1) * face.x
    color = draws.uniform(0, 255, count, 3)
    painted = _paint(images, cover, color)
    return painted * (1 - cover[:, None]) + (painted * shade[:, None]) * cover[:, None]


def _draw_other(images: torch.Tensor, face: _FaceGrid, draws: Draws) -> torch.Tensor:
    """A hand, a scarf, a microphone: an ellipse of one colour that reaches into the face."""
    count = len(images)
    angle = draws.uniform(0, 2 * np.pi, count, 1, 1)
    away = draws.uniform(1.0, 1.9, count, 1, 1)
    x = face.x - away * angle.cos()
    y = face.y - 0.5 - away * angle.sin()
    radius = (x / draws.uniform(0.3, 0.9, count, 1, 1)).square()
    radius = radius + (y / draws.uniform(0.3, 0.9, count, 1, 1)).square()
    cover = ((1 - radius) * 6).clamp(0, 1)
    return _paint(images, cover, draws.uniform(0, 255, count, 3))


def _lit(images: torch.Tensor, draws: Draws, amount: float) -> torch.Tensor:
    count, side = len(images), images.shape[-1]
    one = (count, 1, 1, 1)
    gain = (1 + 0.25 * amount * draws.normal(*one)).clamp(0.4, 1.8)
    cast = (1 + 0.06 * amount * draws.normal(count, 3, 1, 1)).clamp(0.6, 1.5)
    line = torch.linspace(-1, 1, side, device=images.device)
    across = 0.28 * amount * draws.normal(*one) * line
    along = 0.22 * amount * draws.normal(*one) * line[:, None]
    x = images * (gain * cast) * (1 + across + along).clamp(0.25, 2)
    x = x.add_(20 * amount * draws.normal(*one)).clamp_(0.01, 255).div_(255)
    x = x.pow_(torch.exp(0.28 * amount * draws.normal(*one))).mul_(255)

    gray = draws.chance(0.25 * min(amount, 1), count)
    partly = draws.chance(0.4 * min(amount, 1), count) * draws.uniform(0, 1, count)
    mix = torch.maximum(gray.float(), partly)[:, None, None, None]
    x = x.lerp(x.mean(1, keepdim=True), mix)

    x = _with_sharpness(x, draws, amount)
    x = x.add_(draws.pixels(x.shape) * (amount * draws.uniform(0, 5, *one)))
    return x.clamp_(0, 255)


def _with_sharpness(x: torch.Tensor, draws: Draws, amount: float) -> torch.Tensor:
    """Lower resolution for 40 % of the faces, sharpened edges for 15 %."""
    pick = draws.uniform(0, 1, len(x)) / max(min(amount, 1), 1e-6)
    for low, high, step in ((0.0, 0.22, 2), (0.22, 0.34, 3), (0.34, 0.40, 4)):
        chosen = ((pick >= low) & (pick < high)).nonzero()[:, 0]
        if len(chosen):
            small = F.avg_pool2d(x[chosen], step, ceil_mode=True)
            x[chosen] = F.interpolate(small, x.shape[-2:], mode="bilinear", align_corners=False)
    chosen = ((pick >= 0.40) & (pick < 0.55)).nonzero()[:, 0]
    if len(chosen):
        sharp = x[chosen]
        smooth = F.avg_pool2d(sharp, 3, 1, 1, count_include_pad=False)
        x[chosen] = sharp + (sharp - smooth) * draws.uniform(0.3, 1.5, len(chosen), 1, 1, 1)
    return x


def _with_landmark_noise(faces: Faces, draws: Draws, amount: float) -> Faces:
    count = len(faces.slots)
    length = faces.lengths[:, None, None]
    center = faces.slots.mean(1, keepdim=True)
    q = faces.slots - center
    turn = 0.06 * amount * draws.normal(count, 1, 1)
    q = q + turn * torch.stack([-q[..., 1], q[..., 0]], 2)
    q = q * (1 + 0.04 * amount * draws.normal(count, 1, 2))
    each = 0.07 * amount * draws.uniform(0, 1, count, 1, 1) * draws.normal(count, 25, 2)
    all_points = 0.05 * amount * draws.normal(count, 1, 2)
    lengths = faces.lengths * torch.exp(0.05 * amount * draws.normal(count))
    return faces._replace(slots=center + q + (each + all_points) * length, lengths=lengths)
