"""Engines, which compute a feature from a picture and landmarks."""

from __future__ import annotations

import itertools
import os
import threading
import warnings
from pathlib import Path
from typing import Any, Dict, Iterable, List, NamedTuple, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ._features import FEATURE_FLOATS
from ._images import bgr_pixels, require_channels
from ._landmarks import read_landmarks
from ._library import FaceArguments, Library, load_library
from ._model import default_model_folder, model_fingerprint
from .errors import EngineError, FaceFeatureError, ImageError, ModelError


class _OpenEngines:
    """The engines of this process. All of them share the model's large numbers, which each
    creation reads anew, so they must all have the same model."""

    def __init__(self) -> None:
        self.count = 0
        self.fingerprint = ""
        self.folder = Path()
        self.abandoned: List[int] = []  # handles of engines that were never closed
        self.extracted_in: Optional[int] = None  # the process that made the first extraction

    def create(self, library: Library, folder: Path, fingerprint: str) -> int:
        with library.order.exclusive():
            self._destroy_abandoned(library)
            if self.count > 0 and self.fingerprint != fingerprint:
                raise ModelError(
                    f"{folder}: an engine of another model, {self.folder}, is open in this "
                    "process. Close it first, or use a process for each model."
                )
            with library.model_link(folder):
                handle = library.engines.create()
            if handle is None:
                raise ModelError(f"{folder}: the library could not open the model")
            self.count += 1
            self.fingerprint, self.folder = fingerprint, folder
            return int(handle)

    def destroy(self, library: Library, handle: int) -> None:
        with library.order.exclusive():
            self._destroy_abandoned(library)
            library.engines.destroy(handle)
            self.count -= 1

    def _destroy_abandoned(self, library: Library) -> None:
        while self.abandoned:
            library.engines.destroy(self.abandoned.pop())
            self.count -= 1


_open_engines = _OpenEngines()


class ExtractedFaces(NamedTuple):
    """What ``Engine.extract_many`` returns, for n faces.

    features  (n, 502), float32: row i is the feature of face i. NaNs if it has none.
    errors    what ``extract`` would have raised (ImageError, LandmarkError, ModelError), for the
              faces without a feature only: {i: error}.
    """

    features: NDArray[np.float32]
    errors: Dict[int, FaceFeatureError]


class _Face:
    """A face as the library takes it. Raises ImageError and LandmarkError, and warns."""

    def __init__(self, image: Any, landmarks: Any, channels: str, stacklevel: int) -> None:
        self._pixels = bgr_pixels(image, channels)
        read = read_landmarks(landmarks)
        height, width = self._pixels.shape[:2]
        read.warn(width, height, stacklevel)
        self._record = read.record()

    @property
    def arguments(self) -> FaceArguments:
        """Valid for the life of this object."""
        height, width = self._pixels.shape[:2]
        return (
            self._pixels.ctypes.data, width, height, self._pixels.strides[0],
            self._record.ctypes.data,
        )  # fmt: skip


def _image_and_landmarks(pair: Any) -> Tuple[Any, Any]:
    try:
        image, landmarks = pair
    except (TypeError, ValueError):
        raise ImageError("a pair of (image, landmarks) is wanted") from None
    return image, landmarks


class Engine:
    """The library with a model, ready to extract.

        with Engine(model="my-model") as engine:
            feature = engine.extract(picture, "picture.json", channels="RGB")

    model    the folder with the 303 files. Default: ~kwplugintmp~ in $TMPDIR (or /tmp) if it
             exists, else the model that is installed with the package. The constructor reads the
             files; they are not needed afterwards.
    library  the file of the shared library. Default: ``library_path()``.

    Raises ModelError if the model is missing or incomplete, or if an engine of another model is
    open: a process can have only one model at a time. Raises LibraryError.

    Threads: any thread may call any method. One engine runs one call at a time, and other calls
    wait; several engines of one model extract concurrently. An extraction uses OMP_NUM_THREADS
    threads, or as many as there are processors, and does not hold Python's global lock.

    Fork (os.fork, multiprocessing's default on Linux) before the first extraction, while no other
    thread uses this package; engines then work in the children. After an extraction, children do
    not have the library's threads, and ``extract`` raises EngineError in them. multiprocessing's
    "spawn" and "forkserver" have no such restrictions.

    If memory runs out inside the library, MemoryError is raised; without the batch library, the
    process terminates.
    """

    def __init__(
        self,
        model: Union[str, "os.PathLike[str]", None] = None,
        *,
        library: Union[str, "os.PathLike[str]", None] = None,
    ) -> None:
        self._handle: Optional[int] = None
        self._lock = threading.Lock()
        self._model = default_model_folder() if model is None else Path(model)
        self._fingerprint = model_fingerprint(self._model)
        self._library = load_library(library)
        self._handle = _open_engines.create(self._library, self._model, self._fingerprint)

    @property
    def model(self) -> Path:
        """The folder from which the model was read."""
        return self._model

    @property
    def fingerprint(self) -> str:
        """The model's fingerprint, 64 digits. Features are comparable only if theirs are equal."""
        return self._fingerprint

    @property
    def library_version(self) -> str:
        """For example "1.0.0"; empty if the name of the library's file has no version."""
        return self._library.version

    def extract(self, image: Any, landmarks: Any, *, channels: str) -> NDArray[np.float32]:
        """The feature of one face.

        image      (height, width, 3), uint8, at least 2 x 2 pixels. Slices, including upside-down
                   ones, are read in place; other views are copied.
        landmarks  the face, in pixels of the image: anything that ``read_landmarks`` accepts.
        channels   the order of image[..., 0:3]: "BGR" (as OpenCV reads pictures) or "RGB" (as
                   matplotlib and Pillow do). There is no default, because a wrong guess also gives
                   a feature, but a bad one. "RGB" copies the image.

        Returns (502,), float32, without NaNs. Warns (FaceFeatureWarning) if the landmarks are not a
        complete record or belong to a picture of another size. Raises ImageError, LandmarkError and
        EngineError, and ModelError if the model's numbers give a NaN.
        """
        face = _Face(image, landmarks, channels, stacklevel=4)
        feature = np.full(FEATURE_FLOATS, np.nan, dtype=np.float32)
        self._extract([face], feature[np.newaxis])
        if np.isnan(feature[-1]):
            raise self._not_a_number()
        return feature

    def extract_many(self, faces: Iterable[Tuple[Any, Any]], *, channels: str) -> ExtractedFaces:
        """The features of many faces, with the bits that ``extract`` gives for each.

        faces     pairs of (image, landmarks), each as for ``extract``, for instance from a
                  generator. Images may differ in size. 16 pairs are held at a time.
        channels  as for ``extract``, the same for all images.

        16 faces pass through the model together, which takes less time for each; without the batch
        library (docs/python.md) they pass one by one. A face that has no feature does not stop the
        others: see ExtractedFaces. Between passes, other threads may use the engine.

        Warns as ``extract`` does. Raises ImageError for bad channels, EngineError, MemoryError, and
        what the iteration raises.
        """
        require_channels(channels)
        errors: Dict[int, FaceFeatureError] = {}
        blocks = [np.empty((0, FEATURE_FLOATS), dtype=np.float32)]
        first = 0
        pairs = iter(faces)
        while True:
            group = list(itertools.islice(pairs, self._library.engines.faces_at_once))
            if not group:
                break
            blocks.append(self._extract_group(group, first, channels, errors))
            first += len(group)
            # Otherwise these images would be held until the next ones are there.
            del group
        return ExtractedFaces(np.concatenate(blocks), errors)

    def _extract_group(
        self, group: List[Any], first: int, channels: str, errors: Dict[int, FaceFeatureError]
    ) -> NDArray[np.float32]:
        """The features of one pass. The errors of its faces are added to errors, by the number of
        the face; first is that of the first one in the group."""
        features = np.full((len(group), FEATURE_FLOATS), np.nan, dtype=np.float32)
        faces, rows = [], []
        for row, pair in enumerate(group):
            try:
                faces.append(_Face(*_image_and_landmarks(pair), channels, stacklevel=5))
                rows.append(row)
            except FaceFeatureError as error:
                # A traceback would keep the image in memory.
                errors[first + row] = error.with_traceback(None)
        if faces:
            computed = np.full((len(faces), FEATURE_FLOATS), np.nan, dtype=np.float32)
            self._extract(faces, computed)
            for row, feature in zip(rows, computed):
                if np.isnan(feature[-1]):
                    errors[first + row] = self._not_a_number()
                else:
                    features[row] = feature
        return features

    def _extract(self, faces: List["_Face"], features: NDArray[np.float32]) -> None:
        with self._lock:
            handle = self._usable_handle()
            with self._library.order.shared():
                self._library.engines.extract(handle, [face.arguments for face in faces], features)

    def _not_a_number(self) -> ModelError:
        return ModelError(
            f"{self._model}: the feature is not a number. Check the numbers of the model with "
            '"facefeature model check".'
        )

    def close(self) -> None:
        """Frees the engine. Waits for a running extraction. A second call does nothing."""
        with self._lock:
            handle, self._handle = self._handle, None
        if handle is not None:
            _open_engines.destroy(self._library, handle)

    def _usable_handle(self) -> int:
        if self._handle is None:
            raise EngineError("the engine is closed")
        process = os.getpid()
        if _open_engines.extracted_in not in (None, process):
            raise EngineError(
                "this process was forked from one that had extracted, and the library's threads "
                "did not follow. Fork before the first extraction, or start processes by spawning."
            )
        _open_engines.extracted_in = process
        return self._handle

    def __enter__(self) -> "Engine":
        return self

    def __exit__(self, *exception: Tuple[Any, ...]) -> None:
        self.close()

    def __del__(self) -> None:
        handle = getattr(self, "_handle", None)
        if handle is None:
            return
        # May run during another call, on the thread that holds the library's lock, so the handle is
        # freed by the next creation or destruction.
        _open_engines.abandoned.append(handle)
        warnings.warn(f"engine of {self._model} was not closed", ResourceWarning, source=self)

    def __repr__(self) -> str:
        state = "closed" if self._handle is None else "open"
        return f"<facefeature.Engine of {self._model}, {state}>"
