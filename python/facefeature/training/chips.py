"""Chip archives: face chips as JPEG files with their landmarks, in one .npz.

A chip is the part of a photograph that the 25 patches read, scaled so that the eyes are about 40
pixels apart. An archive holds these arrays, one element or row for each chip:

    names             name of the photograph
    people            who it shows; empty if nobody knows
    origins           where the photograph comes from, or empty
    jpeg, offsets     bytes; chip k is the JPEG file jpeg[offsets[k]:offsets[k + 1]]
    slots             (n, 25, 2) float32: the 25 landmarks of the alignment in ascending order of
                      id, x and y in pixels of the chip; (0, 0) is the centre of the top left pixel
    reference_length  (n,) float32, pixels of the chip
    teacher           (n, D), optional: descriptors to learn from
"""

from __future__ import annotations

import io
import os
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, replace
from pathlib import Path
from typing import List, Optional, Sequence, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ..errors import FaceFeatureError
from .patch_table import SLOTS

_ARRAYS = ("names", "people", "origins", "jpeg", "offsets", "slots", "reference_length")


class ChipError(FaceFeatureError, ValueError):
    """An archive of chips can't be read, or its arrays don't fit each other."""


@dataclass(frozen=True)
class Chips:
    names: NDArray
    people: NDArray
    origins: NDArray
    jpeg: NDArray
    offsets: NDArray
    slots: NDArray
    reference_length: NDArray
    teacher: Optional[NDArray] = None

    def __len__(self) -> int:
        return len(self.names)

    def image(self, index: int) -> NDArray[np.uint8]:
        """The chip as (height, width, 3), red first."""
        from PIL import Image

        data = self.jpeg[self.offsets[index] : self.offsets[index + 1]].tobytes()
        with Image.open(io.BytesIO(data)) as picture:
            return np.asarray(picture.convert("RGB"))

    def images(
        self, indices: Sequence[int], side: int = 0, threads: int = 1
    ) -> Tuple[NDArray[np.uint8], NDArray[np.int32]]:
        """The chips as (n, 3, side, side), red first, and their (width, height) as (n, 2).

        Chips smaller than side are at the top left; what remains is 0. side 0 is the largest side
        among these chips.
        """
        if threads > 1:
            with ThreadPoolExecutor(threads) as pool:
                pictures = list(pool.map(self.image, indices))
        else:
            pictures = [self.image(index) for index in indices]
        sizes = np.array([p.shape[1::-1] for p in pictures], np.int32).reshape(-1, 2)
        largest = int(sizes.max(initial=1))
        if side and largest > side:
            raise ChipError(f"a chip has a side of {largest} pixels, more than {side}")
        side = side or largest
        images = np.zeros((len(pictures), 3, side, side), np.uint8)
        for image, picture in zip(images, pictures):
            image[:, : picture.shape[0], : picture.shape[1]] = picture.transpose(2, 0, 1)
        return images, sizes

    def select(self, indices: Sequence[int]) -> "Chips":
        """Chips with these indices, in this order."""
        indices = np.asarray(indices, np.int64)
        parts = [self.jpeg[self.offsets[k] : self.offsets[k + 1]] for k in indices]
        offsets = np.concatenate([[0], np.cumsum([len(part) for part in parts])]).astype(np.int64)
        return Chips(
            names=self.names[indices], people=self.people[indices], origins=self.origins[indices],
            jpeg=np.concatenate(parts) if parts else np.zeros(0, np.uint8), offsets=offsets,
            slots=self.slots[indices], reference_length=self.reference_length[indices],
            teacher=None if self.teacher is None else self.teacher[indices],
        )  # fmt: skip

    def with_teacher(self, teacher: Optional[NDArray]) -> "Chips":
        """These chips with these descriptors, a row for each chip."""
        if teacher is not None and (teacher.ndim != 2 or len(teacher) != len(self)):
            raise ChipError(f"descriptors of shape {teacher.shape} for {len(self)} chips")
        return replace(self, teacher=teacher)


def load(path: Union[str, "os.PathLike[str]"]) -> Chips:
    """Reads an archive. Raises ChipError, whose text names the file and the error."""
    try:
        with np.load(path, allow_pickle=False) as archive:
            # An archive decodes an array at each access, so each is accessed once.
            arrays = {name: archive[name] for name in archive.files}
    except (OSError, ValueError) as error:
        raise ChipError(f"{path}: can't be read: {error}") from error
    missing = [name for name in _ARRAYS if name not in arrays]
    if missing:
        raise ChipError(f"{path}: lacks the array {missing[0]}")
    chips = Chips(**{name: arrays[name] for name in _ARRAYS}, teacher=arrays.get("teacher"))
    _check(chips, str(path))
    return chips


def people(path: Union[str, "os.PathLike[str]"]) -> NDArray:
    """The people of an archive, without reading its chips. Raises ChipError."""
    try:
        with np.load(path, allow_pickle=False) as archive:
            return archive["people"]
    except (OSError, ValueError, KeyError) as error:
        raise ChipError(f"{path}: can't be read: {error}") from error


def _check(chips: Chips, source: str) -> None:
    count = len(chips)
    shapes = {
        "people": (count,), "origins": (count,), "offsets": (count + 1,),
        "slots": (count, SLOTS, 2), "reference_length": (count,),
    }  # fmt: skip
    for name, shape in shapes.items():
        if getattr(chips, name).shape != shape:
            raise ChipError(f"{source}: {name} has shape {getattr(chips, name).shape}, not {shape}")
    if chips.teacher is not None and (chips.teacher.ndim != 2 or len(chips.teacher) != count):
        raise ChipError(f"{source}: teacher has shape {chips.teacher.shape} for {count} chips")
    steps = np.diff(chips.offsets)
    if (steps < 0).any() or chips.offsets[0] != 0 or chips.offsets[-1] > len(chips.jpeg):
        raise ChipError(f"{source}: offsets don't fit the bytes of the chips")


def save(path: Union[str, "os.PathLike[str]"], chips: Chips) -> None:
    """Writes an archive; an existing one is replaced only by a complete one."""
    path = Path(path)
    arrays = {name: getattr(chips, name) for name in _ARRAYS}
    if chips.teacher is not None:
        arrays["teacher"] = chips.teacher
    partial = path.with_name(path.name + ".partial")
    with open(partial, "wb") as file:
        np.savez(file, **arrays)
    os.replace(partial, path)


def concatenate(archives: List[Chips]) -> Chips:
    """One set of all chips. Descriptors are kept if every archive has them."""
    if len(archives) == 1:
        return archives[0]
    starts = np.cumsum([0] + [int(a.offsets[-1]) for a in archives])
    offsets = [a.offsets[:-1] + start for a, start in zip(archives, starts)]
    teachers = [a.teacher for a in archives]

    def joined(name: str) -> NDArray:
        return np.concatenate([getattr(a, name) for a in archives])

    return Chips(
        names=joined("names"), people=joined("people"), origins=joined("origins"),
        jpeg=np.concatenate([a.jpeg[: a.offsets[-1]] for a in archives]),
        offsets=np.concatenate([*offsets, starts[-1:]]).astype(np.int64),
        slots=joined("slots"), reference_length=joined("reference_length"),
        teacher=None if any(t is None for t in teachers) else np.concatenate(teachers),
    )  # fmt: skip
