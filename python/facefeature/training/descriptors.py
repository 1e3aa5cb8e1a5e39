"""Add a teacher's descriptors to an archive of chips: the targets that the nets learn.

A teacher is a network that already knows faces. Its descriptors come from one of these:

    --npy FILE            an array with a row for each chip, made by any other program
    --face-api FOLDER     the face recognition network of the npm package @vladmandic/face-api, run
                          by node. Its network is a conversion of a model under CC0; the package is
                          under the MIT licence. Nothing of it is part of this kit. Install it with
                              npm install --prefix FOLDER @vladmandic/face-api@1.7.15 \\
                                  @tensorflow/tfjs@4.22.0 @tensorflow/tfjs-backend-wasm@4.22.0
    --python MODULE:NAME  a function of your own: from faces, a (n, 150, 150, 3) array of uint8 with
                          red first, to an (n, D) array of floats

The teacher sees each face turned and scaled so that the corners of the eyes and the base of the
nose are where the network of --face-api expects them. With --views N it sees N slightly different
versions, every second one mirrored, and the target is the mean of what it says of them.

A run that was stopped continues where it was.
"""

from __future__ import annotations

import argparse
import importlib
import json
import os
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Callable, Iterator, List, Optional, Sequence

import numpy as np
from numpy.typing import NDArray

from ..errors import FaceFeatureError
from . import chips as chip_archives
from .chips import Chips
from .progress import Progress

FACE_SIDE = 150

# Positions in the aligned face of the outer and inner corners of the left eye (in the picture), of
# the right eye, and of the base of the nose, in pixels; (0, 0) is the centre of the top left pixel.
# The network of --face-api was trained with pictures that had them there.
FACE_POINTS = np.array([
    [37.0575, 46.3727], [58.4085, 47.9064], [110.9567, 46.3498], [89.6060, 47.8967],
    [74.0112, 87.7798],
])  # fmt: skip
_SLOTS = [18, 16, 19, 21, 15]  # of the same points

# Standard deviations of the additional views.
_VIEW_SHIFT = 1.5  # pixels of the aligned face
_VIEW_TURN = 0.03  # radians
_VIEW_SCALE = 0.03

_BATCH = 16  # chips that a worker describes in one batch

Teacher = Callable[[NDArray[np.uint8]], NDArray[np.float32]]


class TeacherError(FaceFeatureError):
    """A teacher can't be started, or its result has the wrong shape."""


class FaceApiTeacher:
    """The network of --face-api in a process of node. Used by one thread at a time.

    folder  contains node_modules with the three packages
    """

    LENGTH = 128

    def __init__(self, folder: os.PathLike) -> None:
        script = Path(__file__).with_name("face_api_teacher.js")
        try:
            self._process = subprocess.Popen(
                ["node", str(script), str(folder)], stdin=subprocess.PIPE, stdout=subprocess.PIPE
            )
        except OSError as error:
            raise TeacherError(f"node can't be started: {error.strerror}") from error

    def __call__(self, faces: NDArray[np.uint8]) -> NDArray[np.float32]:
        assert self._process.stdin and self._process.stdout
        # All results of a batch fit into a pipe, so neither side waits for the other.
        try:
            self._process.stdin.write(np.ascontiguousarray(faces).tobytes())
            self._process.stdin.flush()
        except BrokenPipeError:
            pass  # the result is missing then
        wanted = 4 * self.LENGTH * len(faces)
        data = self._process.stdout.read(wanted)
        if len(data) != wanted:
            raise TeacherError(
                "node exited before it had described all faces; its own message is above. Are the "
                "packages installed? python3 -m facefeature.training descriptors --help says how."
            )
        return np.frombuffer(data, "<f4").reshape(len(faces), self.LENGTH)

    def close(self) -> None:
        assert self._process.stdin and self._process.stdout
        self._process.stdin.close()
        self._process.stdout.close()
        self._process.wait()


def aligned_faces(
    chips: Chips, indices: Sequence[int], view: int = 0, seed: int = 1
) -> NDArray[np.uint8]:
    """(n, 150, 150, 3): the faces as a teacher sees them.

    view  0 is the unchanged face. Each other view of a chip has its own small shift, rotation and
          scale, and odd views are mirrored. The same view and seed give the same pixels.
    """
    from PIL import Image

    faces = np.empty((len(indices), FACE_SIDE, FACE_SIDE, 3), np.uint8)
    for face, index in zip(faces, indices):
        scale, shift = _similarity(FACE_POINTS, chips.slots[index][_SLOTS].astype(np.float64))
        if view:
            random = np.random.default_rng([seed, view, index])
            center = complex(FACE_SIDE - 1, FACE_SIDE - 1) / 2
            moved = complex(*random.normal(0, _VIEW_SHIFT, 2))
            change = np.exp(random.normal(0, _VIEW_SCALE) + 1j * random.normal(0, _VIEW_TURN))
            # z is replaced by change (z - center) + center + moved.
            shift += scale * (center + moved - change * center)
            scale *= change
        # Pillow's coordinates are half a pixel larger in both directions.
        shift += complex(0.5, 0.5) - scale * complex(0.5, 0.5)
        matrix = (scale.real, -scale.imag, shift.real, scale.imag, scale.real, shift.imag)
        picture = Image.fromarray(chips.image(index)).transform(
            (FACE_SIDE, FACE_SIDE), Image.AFFINE, matrix, Image.BICUBIC
        )
        face[:] = np.asarray(picture)
        if view % 2:
            face[:] = face[:, ::-1].copy()
    return faces


def _similarity(source: NDArray[np.float64], target: NDArray[np.float64]):
    """(a, t), complex, so that a z + t maps the source points as closely as possible to the target
    points."""
    z = source[:, 0] + 1j * source[:, 1]
    w = target[:, 0] + 1j * target[:, 1]
    centered = z - z.mean()
    a = np.vdot(centered, w - w.mean()) / np.vdot(centered, centered)
    return a, w.mean() - a * z.mean()


def compute(
    chips: Chips,
    teachers: Sequence[Teacher],
    *,
    views: int = 1,
    seed: int = 1,
    first: int = 0,
) -> Iterator[NDArray[np.float32]]:
    """Descriptors of the chips from index first on, some rows at a time, in order.

    teachers  equivalent ones that run concurrently, each in a thread

    Raises TeacherError for a result with another number of rows, or one that is not finite.
    """

    def described(k: int, indices: range) -> NDArray[np.float32]:
        answers = [teachers[k](aligned_faces(chips, indices, v, seed)) for v in range(views)]
        for answer in answers:
            if answer.ndim != 2 or len(answer) != len(indices) or not np.isfinite(answer).all():
                raise TeacherError(
                    f"the teacher answered with an array of shape {answer.shape} for "
                    f"{len(indices)} faces, or with numbers that are not finite"
                )
        return np.mean(answers, axis=0, dtype=np.float64).astype(np.float32)

    with ThreadPoolExecutor(len(teachers)) as pool:
        for start in range(first, len(chips), _BATCH * len(teachers)):
            parts = [
                range(s, min(s + _BATCH, len(chips)))
                for s in range(start, min(start + _BATCH * len(teachers), len(chips)), _BATCH)
            ]
            yield np.concatenate(list(pool.map(described, range(len(parts)), parts)))


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("chips", type=Path, help="archive of chips, as prepare writes it")
    parser.add_argument("-o", "--output", type=Path, required=True,
                        help="archive to write: the chips with their descriptors; may be the "
                             "same file")  # fmt: skip
    source = parser.add_mutually_exclusive_group(required=True)
    source.add_argument("--npy", type=Path, metavar="FILE", help="descriptors, a row for each chip")
    source.add_argument("--face-api", type=Path, metavar="FOLDER", help="has the npm packages")
    source.add_argument("--python", metavar="MODULE:NAME", help="a function of your own")
    parser.add_argument("--views", type=int, default=1, help="of each face (default: 1)")
    parser.add_argument("--seed", type=int, default=1, help="of the views (default: 1)")
    parser.add_argument("--workers", type=int, default=1, help="concurrent teachers (default: 1)")


def run(arguments: argparse.Namespace) -> int:
    chips = chip_archives.load(arguments.chips)
    if arguments.npy:
        descriptors = _read_array(arguments.npy)
    else:
        descriptors = _with_journal(chips, arguments)
    chip_archives.save(arguments.output, chips.with_teacher(descriptors))
    _journal(arguments).unlink(missing_ok=True)
    print(
        f"descriptors: {arguments.output}: {len(chips)} chips, {descriptors.shape[1]} numbers each"
    )
    return 0


def _read_array(path: Path) -> NDArray[np.float32]:
    try:
        return np.asarray(np.load(path, allow_pickle=False), np.float32)
    except (OSError, ValueError, TypeError) as error:
        raise TeacherError(f"{path}: is not an array of numbers: {error}") from error


def _journal(arguments: argparse.Namespace) -> Path:
    return arguments.output.with_name(arguments.output.name + ".descriptors")


def _with_journal(chips: Chips, arguments: argparse.Namespace) -> NDArray[np.float32]:
    """Descriptors of all chips. Each part is appended to a file as soon as it is computed, and a
    later run with the same chips and options continues after it."""
    path = _journal(arguments)
    options = {
        "chips": [len(chips), int(chips.offsets[-1]), str(chips.names[0]) if len(chips) else ""],
        "teacher": str(arguments.face_api or arguments.python),
        "views": arguments.views, "seed": arguments.seed,
    }  # fmt: skip
    head = (json.dumps(options) + "\n").encode()
    parts = _read_journal(path, head)
    done = sum(map(len, parts))
    teachers = _teachers(arguments)
    progress = Progress("descriptors", len(chips), "faces", done)
    try:
        with open(path, "ab") as file:
            if not file.tell():
                file.write(head)
            for part in compute(
                chips, teachers, views=arguments.views, seed=arguments.seed, first=done
            ):
                np.save(file, part, allow_pickle=False)
                file.flush()
                parts.append(part)
                done += len(part)
                progress.update(done)
        progress.finish()
    finally:
        for teacher in teachers:
            if isinstance(teacher, FaceApiTeacher):
                teacher.close()
    return np.concatenate(parts) if parts else np.zeros((0, 0), np.float32)


def _read_journal(path: Path, head: bytes) -> List[NDArray[np.float32]]:
    """The complete parts of a journal with this header. Anything after them is cut off. A journal
    with another header is removed."""
    parts: List[NDArray[np.float32]] = []
    try:
        with open(path, "r+b") as file:
            if file.readline() != head:
                path.unlink()
                return []
            end = file.tell()
            while True:
                try:
                    parts.append(np.load(file, allow_pickle=False))
                except (ValueError, EOFError, OSError):
                    break
                end = file.tell()
            file.truncate(end)
    except FileNotFoundError:
        pass
    return parts


def _teachers(arguments: argparse.Namespace) -> List[Teacher]:
    if arguments.face_api:
        return [FaceApiTeacher(arguments.face_api) for _ in range(arguments.workers)]
    module, _, name = arguments.python.partition(":")
    function: Optional[Teacher] = getattr(importlib.import_module(module), name, None)
    if function is None:
        raise TeacherError(f"{arguments.python}: the module {module} has no {name or 'function'}")
    return [function] * arguments.workers
