"""The command outputs: the 8000 outputs of the nets for every chip of an archive.

An outputs gallery is an .npz with the arrays

    outputs        (n, 8000) float32: for each net the direct row and the mirrored row of 160
                   outputs, each row of unit length, in the order in which the library projects them
    names, people  (n,) as in the archive of chips
    nets           text: the digest of the nets that made the outputs (see nets_digest)

It takes 32 kB a photograph.
"""

from __future__ import annotations

import argparse
import hashlib
import os
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING, Callable, Union

import numpy as np
from numpy.typing import NDArray

from ..errors import FaceFeatureError
from . import chips as chip_archives
from . import model_folder
from .chips import Chips
from .model_folder import NET_SHAPES, Model
from .patch_table import JOINED
from .progress import Progress

if TYPE_CHECKING:
    from .nets import Nets

_BATCH = 32


class OutputsError(FaceFeatureError, ValueError):
    """A gallery of net outputs can't be read, or was computed by other nets."""


@dataclass(frozen=True)
class Outputs:
    outputs: NDArray[np.float32]
    names: NDArray
    people: NDArray
    nets: str

    def __len__(self) -> int:
        return len(self.names)

    def select(self, indices: NDArray) -> "Outputs":
        return Outputs(self.outputs[indices], self.names[indices], self.people[indices], self.nets)


def nets_digest(model: Model) -> str:
    """SHA-256 of the arrays of the nets, including the patch means. Outputs of equal digests can be
    compared and projected together."""
    digest = hashlib.sha256()
    for name in NET_SHAPES:
        digest.update(np.ascontiguousarray(model.nets[name], "<f4").tobytes())
    return digest.hexdigest()


def compute(chips: Chips, model: Model, device: str = "cpu") -> Outputs:
    """The outputs of a model's nets for all chips. Prints progress lines."""
    from .nets import Nets

    nets = Nets.from_model(model).to(device).eval()
    progress = Progress("outputs", len(chips), "faces")
    rows = run_nets(nets, chips, device, on_faces=progress.update)
    progress.finish()
    return Outputs(rows, chips.names, chips.people, nets_digest(model))


def run_nets(
    nets: Nets, chips: Chips, device: str, on_faces: Callable[[int], None] = lambda done: None
) -> NDArray[np.float32]:
    """(n, 8000) outputs of all chips, from patches that are bit-identical to the library's. The
    nets are on the device. on_faces is called with the number of completed faces."""
    import torch

    from .patches import faces_of, library_patches

    outputs = np.empty((len(chips), JOINED), np.float32)
    with torch.no_grad():
        for start in range(0, len(chips), _BATCH):
            indices = range(start, min(start + _BATCH, len(chips)))
            rows = nets(library_patches(faces_of(chips, indices, device)))
            outputs[start : start + len(indices)] = rows.cpu().numpy()
            on_faces(start + len(indices))
    return outputs


def save(path: Union[str, "os.PathLike[str]"], gallery: Outputs) -> None:
    """Writes a gallery. An existing file is replaced when the new one is complete."""
    path = Path(path)
    partial = path.with_name(path.name + ".partial")
    with open(partial, "wb") as file:
        np.savez(file, outputs=gallery.outputs, names=gallery.names, people=gallery.people,
                 nets=np.array(gallery.nets))  # fmt: skip
    os.replace(partial, path)


def load(path: Union[str, "os.PathLike[str]"]) -> Outputs:
    """Reads a gallery. Raises OutputsError, whose text names the file and the error."""
    try:
        with np.load(path, allow_pickle=False) as archive:
            arrays = {name: archive[name] for name in archive.files}
    except (OSError, ValueError) as error:
        raise OutputsError(f"{path}: can't be read: {error}") from error
    missing = {"outputs", "names", "people"} - set(arrays)
    if missing:
        raise OutputsError(f"{path}: lacks the array {min(missing)}")
    outputs, names, people = arrays["outputs"], arrays["names"], arrays["people"]
    count = len(names)
    if outputs.shape != (count, JOINED) or people.shape != (count,):
        raise OutputsError(
            f"{path}: outputs of shape {outputs.shape} and people of shape {people.shape} for "
            f"{count} names"
        )
    return Outputs(outputs.astype(np.float32, copy=False), names, people,
                   str(arrays.get("nets", "")))  # fmt: skip


def load_or_compute(
    path: Union[str, "os.PathLike[str]"], model: Model, device: str = "cpu"
) -> Outputs:
    """The outputs of a gallery, or of an archive of chips.

    Raises OutputsError for a gallery that was computed by other nets.
    """
    if not _is_gallery(path):
        return compute(chip_archives.load(path), model, device)
    gallery = load(path)
    if gallery.nets and gallery.nets != nets_digest(model):
        raise OutputsError(f"{path}: made by other nets than those of the model. Compute it again.")
    return gallery


def _is_gallery(path: Union[str, "os.PathLike[str]"]) -> bool:
    try:
        with np.load(path, allow_pickle=False) as archive:
            return "outputs" in archive.files
    except (OSError, ValueError) as error:
        raise OutputsError(f"{path}: can't be read: {error}") from error


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.description = "Computes the outputs of a model's nets for an archive of chips."
    parser.add_argument("chips", help="archive of chips, as prepare writes it")
    parser.add_argument("--model", required=True, help="model folder; only its nets are used")
    parser.add_argument("-o", "--output", required=True, help="gallery of outputs to write, .npz")
    parser.add_argument(
        "--device", default="cpu", help="where PyTorch runs the nets (default: cpu)"
    )


def run(args: argparse.Namespace) -> int:
    model = model_folder.read(args.model)
    chips = chip_archives.load(args.chips)
    save(args.output, compute(chips, model, args.device))
    return 0
