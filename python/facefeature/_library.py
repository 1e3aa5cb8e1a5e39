"""Finds and loads the shared library, and decides which calls may run at the same time.

The library determines the temporary folder once, while it is loaded, and reads its model there
under a fixed name. So TMPDIR is set to a private folder during loading, and while an engine is
created, that folder has a link of the fixed name to the model.
"""

from __future__ import annotations

import atexit
import contextlib
import ctypes
import fcntl
import os
import sys
import sysconfig
import tempfile
import threading
from pathlib import Path
from typing import Any, Iterator, List, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ._model import FOLDER_NAME
from .errors import LibraryError

_NAMES = ("libfacefeature.so.1", "libfacefeature.so")
_BATCH_NAMES = ("libfacefeature_batch.so.1", "libfacefeature_batch.so")
_VARIABLE = "FACEFEATURE_LIBRARY"


class CallOrder:
    """Allows extractions to run concurrently, and creations and destructions only alone.

    The library has no locks, and a creation rewrites data that an extraction of any other engine
    reads.
    """

    def __init__(self) -> None:
        self.reset()
        # The parent's threads do not exist in this child and would never leave.
        os.register_at_fork(after_in_child=self.reset)

    def reset(self) -> None:
        self._changed = threading.Condition()
        self._extractions = 0
        self._waiting = 0

    @contextlib.contextmanager
    def shared(self) -> Iterator[None]:
        """For an extraction."""
        with self._changed:
            # A waiting creation or destruction comes next, so that extractions can't delay it
            # forever.
            self._changed.wait_for(lambda: self._waiting == 0)
            self._extractions += 1
        try:
            yield
        finally:
            with self._changed:
                self._extractions -= 1
                self._changed.notify_all()

    @contextlib.contextmanager
    def exclusive(self) -> Iterator[None]:
        """For a creation or a destruction."""
        with self._changed:
            self._waiting += 1
            try:
                self._changed.wait_for(lambda: self._extractions == 0)
                yield
            finally:
                self._waiting -= 1
                self._changed.notify_all()


# A face as both libraries take it: address of the first pixel, width, height, stride, address of
# the landmark record. What lies at the addresses belongs to the caller.
FaceArguments = Tuple[int, int, int, int, int]


class FaceByFace:
    """Engines of libfacefeature.so, used if there is no batch library."""

    faces_at_once = 1

    def __init__(self, module: ctypes.CDLL) -> None:
        pointer, integer = ctypes.c_void_p, ctypes.c_int32
        self._create = module.CreateFeatureEngine
        self._extract = module.ExtractFeature
        self.destroy = module.DestroyFeatureEngine
        self._create.argtypes, self._create.restype = [], pointer
        self._extract.argtypes = [pointer, pointer, integer, integer, integer, pointer, pointer]
        self._extract.restype = None
        self.destroy.argtypes, self.destroy.restype = [pointer], None

    def create(self) -> Optional[int]:
        """The handle of a new engine, or None if the model can't be opened."""
        handle: Optional[int] = self._create()
        return handle

    def extract(self, handle: int, faces: List[FaceArguments], features: NDArray[Any]) -> None:
        """Writes the feature of faces[i] to features[i] (float32, C-contiguous), and leaves that row
        as it is if the face has no feature. At most faces_at_once faces."""
        for arguments, feature in zip(faces, features):
            self._extract(handle, *arguments, feature.ctypes.data)


class SeveralFaces:
    """Engines of libfacefeature_batch.so, which extract several faces in one pass."""

    faces_at_once = 16
    _DONE, _NO_MEMORY = 0, 4

    def __init__(self, module: ctypes.CDLL) -> None:
        pointer, integer = ctypes.c_void_p, ctypes.c_int32
        self._create = module.CreateFaceBatch
        self._put = module.PutFaceInBatch
        self._extract = module.ExtractFaceBatch
        self.destroy = module.DestroyFaceBatch
        self._create.argtypes = [ctypes.POINTER(pointer)]
        self._put.argtypes = [pointer, integer, pointer, integer, integer, integer, pointer]
        self._extract.argtypes = [pointer, integer, pointer]
        for function in (self._create, self._put, self._extract):
            function.restype = integer
        self.destroy.argtypes, self.destroy.restype = [pointer], None

    def create(self) -> Optional[int]:
        """As FaceByFace.create. Raises MemoryError."""
        handle = ctypes.c_void_p()
        self._raise_for_memory(self._create(ctypes.byref(handle)))
        return handle.value

    def extract(self, handle: int, faces: List[FaceArguments], features: NDArray[Any]) -> None:
        """As FaceByFace.extract. Raises MemoryError; no feature is to be used then."""
        rows = []
        for row, arguments in enumerate(faces):
            status = self._put(handle, len(rows), *arguments)
            self._raise_for_memory(status)
            if status == self._DONE:
                rows.append(row)
        if not rows:
            return
        computed = np.empty((len(rows), features.shape[1]), dtype=np.float32)
        self._raise_for_memory(self._extract(handle, len(rows), computed.ctypes.data))
        features[rows] = computed

    def _raise_for_memory(self, status: int) -> None:
        if status == self._NO_MEMORY:
            raise MemoryError("the library has no memory")


class Library:
    """The loaded libraries. A process has one of each and never unloads them."""

    def __init__(self, path: str) -> None:
        self.order = CallOrder()
        self.requested = path
        self._folder = tempfile.mkdtemp(prefix="facefeature-")
        self._remove_folder_at_exit()
        self._module = self._load(path)
        try:
            self.compare = self._module.CompareFeatures
            self.engines = self._engines(os.path.dirname(path))
        except AttributeError as error:
            raise LibraryError(f"{self.requested}: lacks a function: {error}") from error
        self.compare.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
        self.compare.restype = ctypes.c_float

    @property
    def version(self) -> str:
        """From the name of the file ("1.0.0"); empty if that has no version."""
        return os.path.basename(os.path.realpath(self.requested)).partition(".so.")[2]

    @contextlib.contextmanager
    def model_link(self, model: Path) -> Iterator[None]:
        """Makes the library read this model while the block runs."""
        link = os.path.join(self._folder, FOLDER_NAME)
        # Forked children share the folder, so only one of them may use it at a time.
        descriptor = os.open(self._folder, os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
        try:
            fcntl.flock(descriptor, fcntl.LOCK_EX)
            os.symlink(os.path.realpath(model), link)
            try:
                yield
            finally:
                os.unlink(link)
        finally:
            os.close(descriptor)

    def _engines(self, folder: str) -> Union[FaceByFace, SeveralFaces]:
        """Of the batch library in this folder if there is one. An empty folder stands for where
        the system looks."""
        for name in _BATCH_NAMES:
            path = os.path.join(folder, name)
            if folder and not os.path.exists(path):
                continue
            try:
                return SeveralFaces(self._load(path))
            except LibraryError:
                if folder:
                    raise
        return FaceByFace(self._module)

    def _load(self, path: str) -> ctypes.CDLL:
        with contextlib.suppress(OSError):
            ctypes.CDLL(path, mode=os.RTLD_NOW | os.RTLD_NOLOAD)
            raise LibraryError(
                f"{path}: was loaded into this process by other code and reads another folder. "
                "Import facefeature and call load_library() first."
            )
        before = os.environ.get("TMPDIR")
        os.environ["TMPDIR"] = self._folder
        try:
            return ctypes.CDLL(path)
        except OSError as error:
            raise LibraryError(f"{path}: can't be loaded: {error}") from error
        finally:
            if before is None:
                del os.environ["TMPDIR"]
            else:
                os.environ["TMPDIR"] = before

    def _remove_folder_at_exit(self) -> None:
        owner = os.getpid()

        def remove() -> None:
            # A forked child also runs this if it ends like a script.
            if os.getpid() == owner:
                with contextlib.suppress(OSError):
                    os.rmdir(self._folder)

        atexit.register(remove)
        # A child of multiprocessing ends without atexit.
        if "multiprocessing.util" in sys.modules:
            sys.modules["multiprocessing.util"].Finalize(None, remove, exitpriority=0)


_loading = threading.Lock()
_loaded: Optional[Library] = None


def _candidates() -> List[str]:
    """Candidates in the checkout's build folders, or in the prefix of the installation."""
    package = Path(__file__).resolve().parent
    checkout = package.parent.parent
    folders = []
    if (checkout / "CMakeLists.txt").exists():
        folders = [checkout / "build" / preset for preset in ("release", "dev")]
    triplet = sysconfig.get_config_var("MULTIARCH") or ""
    for prefix in package.parents:
        folders += [prefix / "lib" / triplet, prefix / "lib", prefix / "lib64"]
    paths = [folder / name for folder in folders for name in _NAMES]
    return [str(path) for path in paths if path.exists()]


def library_path() -> str:
    """The path of the loaded library, or of the one that ``load_library()`` would load now.

    Searches in this order: $FACEFEATURE_LIBRARY; build/release and build/dev of the checkout that
    contains the package; the lib folders of the prefix of the installation; the system's library
    path.
    """
    if _loaded is not None:
        return _loaded.requested
    set_by_user = os.environ.get(_VARIABLE)
    if set_by_user:
        return set_by_user
    return next(iter(_candidates()), _NAMES[0])


def load_library(path: Union[str, "os.PathLike[str]", None] = None) -> Library:
    """Loads the shared library, once per process. The rest of this package calls it when needed.

    path  the file; default: ``library_path()``. A later call must name the same file, because a
          library stays loaded until the process ends.

    Sets TMPDIR while the library is loaded and restores it: no other thread should read or set
    environment variables at that time. Raises LibraryError.
    """
    global _loaded
    if path is None and _loaded is not None:
        return _loaded
    with _loading:
        wanted = library_path() if path is None else os.fspath(path)
        if _loaded is None:
            _loaded = Library(wanted)
        elif os.path.realpath(wanted) != os.path.realpath(_loaded.requested):
            raise LibraryError(
                f"{wanted}: {_loaded.requested} is loaded already. Use one library per process."
            )
        return _loaded
