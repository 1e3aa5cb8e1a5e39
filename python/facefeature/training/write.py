"""Write what a run has trained as a folder of 303 model files.

The folder is complete for the library. Projections fitted to people (the command fit) can replace
those that were trained with the nets.
"""

from __future__ import annotations

import argparse
from pathlib import Path

import numpy as np

from ..errors import ModelError
from . import model_folder


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("run_folder", type=Path, metavar="RUN", help="folder that train wrote")
    parser.add_argument("model", type=Path, metavar="MODEL", help="folder to write the files into")
    parser.add_argument(
        "--projection", type=Path, metavar="FILE",
        help="projection.npz to use instead of the one in RUN",
    )  # fmt: skip
    parser.add_argument(
        "--half", action="store_true",
        help="round every value to half precision, so that the files compress to half their size",
    )  # fmt: skip


def run(arguments: argparse.Namespace) -> int:
    projection = arguments.projection or arguments.run_folder / "projection.npz"
    model = read_run(arguments.run_folder / "nets.npz", projection)
    model_folder.write(model_folder.rounded(model) if arguments.half else model, arguments.model)
    print(f"write: {arguments.model}: 303 files written")
    return 0


def read_run(nets: Path, projection: Path) -> model_folder.Model:
    """The model in the two files of a run. Raises ModelError."""
    arrays = _load(nets, list(model_folder.NET_SHAPES))
    parts = _load(projection, ["mean", "cross", "self"])
    return model_folder.Model(arrays, parts["mean"], parts["self"], parts["cross"])


def write_run(model: model_folder.Model, nets: Path, projection: Path) -> None:
    """Writes the two files of a run."""
    np.savez(nets, **model.nets)
    np.savez(projection, mean=model.mean, cross=model.cross_projection, self=model.self_projection)


def _load(path: Path, names: list) -> dict:
    try:
        with np.load(path, allow_pickle=False) as archive:
            return {name: archive[name].astype(np.float32) for name in names}
    except (OSError, ValueError) as error:
        raise ModelError(f"{path}: can't be read: {error}") from error
    except KeyError as error:
        raise ModelError(f"{path}: {error.args[0]}") from error
