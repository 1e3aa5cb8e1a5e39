"""Cut face chips out of photographs, into one archive.

LIST is CSV with a photograph on each row: id,photo[,landmarks[,person]]. A first row with these
words is a heading. Relative paths start in the list's folder. Where landmarks are missing, the
program "facefeature landmarks" finds the largest face. A photograph that can't be used is reported
in CHIPS.failures.csv and left out.

Chips are written in parts of --part photographs to the folder CHIPS.parts; a second run with the
same list continues after the parts that are complete.
"""

from __future__ import annotations

import argparse
import csv
import hashlib
import io
import json
import multiprocessing
import os
import shutil
import subprocess
import tempfile
from concurrent.futures import ProcessPoolExecutor
from dataclasses import dataclass
from pathlib import Path
from typing import List, NamedTuple

import numpy as np

from .._landmarks import _SIDES, Landmarks, read_landmarks
from ..errors import FaceFeatureError
from . import chips
from .head_model import reference_length
from .progress import Progress

REACH = 3.2
"""Reference lengths from the upper anchor that a chip reaches to the left, right, top and bottom.
The corners of the patch with the smallest span are 3.18 away."""


class Entry(NamedTuple):
    id: str
    photo: str
    landmarks: str  # a path, or empty
    person: str


class Failure(NamedTuple):
    id: str
    reason: str


@dataclass(frozen=True)
class Settings:
    length: float  # the largest reference length of a chip, pixels
    quality: int  # of the JPEG files
    origin: str
    program: str  # finds landmarks
    exif: str  # ignore or apply


class Chip(NamedTuple):
    entry: Entry
    jpeg: bytes
    slots: np.ndarray
    length: float


class ListError(FaceFeatureError, ValueError):
    """A list of photographs is malformed."""


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("list", type=Path, metavar="LIST", help="CSV file of photographs")
    parser.add_argument("chips", type=Path, metavar="CHIPS", help="archive to write (.npz)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="processes (all CPUs)")
    parser.add_argument(
        "--length", type=float, default=40,
        help="larger faces are scaled down to this distance of the eyes, in pixels (40)",
    )  # fmt: skip
    parser.add_argument("--quality", type=int, default=92, help="JPEG quality of the chips (92)")
    parser.add_argument("--origin", default="", help="origin to note for every photograph")
    parser.add_argument(
        "--program", default=default_program(),
        help="host program that finds landmarks (facefeature)",
    )  # fmt: skip
    parser.add_argument(
        "--exif", choices=["ignore", "apply"], default="ignore",
        help="the orientation that Exif data give; landmarks of LIST must follow it (ignore)",
    )  # fmt: skip
    parser.add_argument("--part", type=int, default=1000, help="photographs in a part (1000)")


def default_program() -> str:
    """$FACEFEATURE_PROGRAM, the program of the checkout's build, or the one on the path."""
    if os.environ.get("FACEFEATURE_PROGRAM"):
        return os.environ["FACEFEATURE_PROGRAM"]
    checkout = Path(__file__).resolve().parents[3]
    for preset in ("release", "dev"):
        program = checkout / "build" / preset / "facefeature"
        if program.exists():
            return str(program)
    return "facefeature"


def run(arguments: argparse.Namespace) -> int:
    entries = read_list(arguments.list)
    _require_program(entries, arguments.program)
    settings = Settings(
        arguments.length, arguments.quality, arguments.origin, arguments.program, arguments.exif
    )
    made = prepare(entries, arguments.chips, settings, arguments.jobs, arguments.part)
    failures = len(entries) - made
    print(f"prepare: {arguments.chips}: {made} chips from {len(entries)} photographs")
    if failures:
        print(f"prepare: {_failures_path(arguments.chips)} has the {failures} that failed")
    return 0 if made else 1


def read_list(path: Path) -> List[Entry]:
    """The rows of a list. Raises ListError, whose text names the row."""
    entries, ids = [], set()
    with open(path, newline="", encoding="utf-8-sig") as file:
        for number, row in enumerate(csv.reader(file), 1):
            if not row or (number == 1 and row[:2] == ["id", "photo"]):
                continue
            if not 2 <= len(row) <= 4 or not row[0] or not row[1]:
                raise ListError(f"{path}: row {number} is not id,photo[,landmarks[,person]]")
            if row[0] in ids:
                raise ListError(f"{path}: row {number} repeats the id {row[0]}")
            ids.add(row[0])
            id_, photo, landmarks, person = row + [""] * (4 - len(row))
            landmarks = str(path.parent / landmarks) if landmarks else ""
            entries.append(Entry(id_, str(path.parent / photo), landmarks, person))
    if not entries:
        raise ListError(f"{path}: does not name a photograph")
    return entries


def _require_program(entries: List[Entry], program: str) -> None:
    """Ends the run at once. Otherwise every photograph would fail for the same reason."""
    if all(entry.landmarks for entry in entries) or shutil.which(program):
        return
    raise ListError(
        f"{program}: this program finds landmarks and can't be run. Build it as README.md says, "
        "name it with --program, or give a landmark file for each photograph."
    )


def prepare(entries: List[Entry], path: Path, settings: Settings, jobs: int, part: int) -> int:
    """Writes the archive and returns the number of its chips."""
    folder = _parts_folder(path, entries, settings, part)
    starts = range(0, len(entries), part)
    done = {start for start in starts if _part_path(folder, start).exists()}
    count = sum(len(entries[start : start + part]) for start in done)
    progress = Progress("prepare", len(entries), "photographs", done=count)
    with _pool(jobs) as pool:
        for start in starts:
            if start in done:
                continue
            block = entries[start : start + part]
            results = []
            for result in pool.map(_cut_or_fail, block, [settings] * len(block), chunksize=4):
                results.append(result)
                count += 1
                progress.update(count)
            _write_part(folder, start, results, settings)
    progress.finish()
    return _join_parts(folder, path, starts)


def _pool(jobs: int) -> ProcessPoolExecutor:
    # Not fork: a caller may have threads.
    return ProcessPoolExecutor(max(jobs, 1), mp_context=multiprocessing.get_context("spawn"))


def _parts_folder(path: Path, entries: List[Entry], settings: Settings, part: int) -> Path:
    """Parts of another list, or made with other settings, are deleted."""
    folder = path.with_name(path.name + ".parts")
    key = hashlib.sha256(repr((entries, settings, part)).encode()).hexdigest()
    if folder.exists() and (folder / key).exists():
        return folder
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    (folder / key).touch()
    return folder


def _part_path(folder: Path, start: int) -> Path:
    return folder / f"{start:012d}.npz"


def _failures_path(path: Path) -> Path:
    return path.with_name(path.name + ".failures.csv")


def _write_part(folder: Path, start: int, results: List, settings: Settings) -> None:
    made = [result for result in results if isinstance(result, Chip)]
    failed = [result for result in results if isinstance(result, Failure)]
    # Written first, so that a part never exists without its failures.
    (folder / f"{start:012d}.json").write_text(json.dumps(failed), encoding="utf-8")
    chips.save(_part_path(folder, start), chips.Chips(
        names=np.array([c.entry.id for c in made], str),
        people=np.array([c.entry.person for c in made], str),
        origins=np.array([settings.origin] * len(made), str),
        jpeg=np.frombuffer(b"".join(c.jpeg for c in made), np.uint8),
        offsets=np.cumsum([0] + [len(c.jpeg) for c in made]).astype(np.int64),
        slots=np.array([c.slots for c in made], np.float32).reshape(-1, 25, 2),
        reference_length=np.array([c.length for c in made], np.float32),
    ))  # fmt: skip


def _join_parts(folder: Path, path: Path, starts: range) -> int:
    joined = chips.concatenate([chips.load(_part_path(folder, start)) for start in starts])
    failed = []
    for start in starts:
        failed += json.loads((folder / f"{start:012d}.json").read_text(encoding="utf-8"))
    if failed:
        with open(_failures_path(path), "w", newline="", encoding="utf-8") as file:
            csv.writer(file).writerows([Failure._fields, *failed])
    else:
        _failures_path(path).unlink(missing_ok=True)
    chips.save(path, joined)
    shutil.rmtree(folder)
    return len(joined)


def _cut_or_fail(entry: Entry, settings: Settings):
    try:
        return cut(entry, settings)
    except (FaceFeatureError, OSError, ValueError) as error:
        return Failure(entry.id, str(error))


def cut(entry: Entry, settings: Settings) -> Chip:
    """The chip of one photograph. Raises FaceFeatureError, OSError or ValueError."""
    landmarks = _landmarks(entry, settings)
    ids = landmarks.entries["id"]
    points = np.stack([landmarks.entries["x"], landmarks.entries["y"]], 1).astype(float)
    length = reference_length(ids, points)
    if not np.isfinite(length) or length < 1:
        raise ListError(f"{landmarks.source}: the landmarks do not form a face")
    kept = ~np.isin(ids, _SIDES)
    slots = points[kept][np.argsort(ids[kept], kind="stable")]
    picture, slots, length = _scaled_crop(entry.photo, slots, length, settings)
    file = io.BytesIO()
    picture.save(file, "JPEG", quality=settings.quality, subsampling=0)
    return Chip(entry, file.getvalue(), slots.astype(np.float32), length)


def _landmarks(entry: Entry, settings: Settings) -> Landmarks:
    if entry.landmarks:
        return read_landmarks(entry.landmarks)
    with tempfile.TemporaryDirectory() as folder:
        found = os.path.join(folder, "landmarks.json")
        command = [settings.program, "landmarks", entry.photo, "-o", found, "--exif", settings.exif]
        try:
            done = subprocess.run(command, capture_output=True, text=True)
        except OSError as error:
            raise ListError(f"{settings.program}: can't be run: {error.strerror}") from error
        if done.returncode:
            lines = done.stderr.strip().splitlines()
            raise ListError(lines[-1] if lines else f"no landmarks: exit status {done.returncode}")
        return read_landmarks(found)


def _scaled_crop(photo: str, slots: np.ndarray, length: float, settings: Settings):
    """The part of the photograph that the patches read, with the landmarks and the reference length
    in pixels of that part."""
    from PIL import Image, ImageOps

    scale = min(1.0, settings.length / length)
    with Image.open(photo) as picture:
        stored = picture.width
        # JPEG files are decoded at a half, a quarter or an eighth if that is enough.
        picture.draft("RGB", (int(picture.width * scale), int(picture.height * scale)))
        decoded = 1 / round(stored / picture.width)
        if settings.exif == "apply":
            picture = ImageOps.exif_transpose(picture)
        slots = (slots + 0.5) * decoded - 0.5
        length, scale = length * decoded, scale / decoded
        left, top = np.maximum(np.floor(slots[6] - REACH * length), 0).astype(int)
        right, bottom = np.minimum(np.ceil(slots[6] + REACH * length) + 1, picture.size).astype(int)
        if right - left < 2 or bottom - top < 2:
            raise ListError(f"{photo}: the face is outside the photograph")
        size = [max(2, round(float(side) * scale)) for side in (right - left, bottom - top)]
        cropped = picture.convert("RGB").crop((left, top, right, bottom))
        chip = cropped.resize(size, Image.Resampling.LANCZOS) if scale < 1 else cropped
    factors = np.array(chip.size) / cropped.size
    slots = (slots - [left, top] + 0.5) * factors - 0.5
    return chip, slots, length * float(factors.mean())
