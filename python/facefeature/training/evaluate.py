"""Measure the error rates of a model on people whom its training did not see.

Compares all photographs of an archive of chips, or of a gallery of outputs, with each other and
writes report.json and plots into a folder. Rates on people of the training would be far too good
and mean nothing, so the command asks who is new:

    --run RUN     only the people whom this run held out
    --unseen      all people of the photographs; you state that none of them was in the training

features.gallery and people.csv, which are written too, are the input of the program's own
evaluation. It gives the same rates, a page to read and a file of thresholds:

    facefeature evaluate features.gallery --people people.csv -o report.html
"""

from __future__ import annotations

import argparse
import csv
import json
from pathlib import Path

import numpy as np
from numpy.typing import NDArray

from .._gallery import write_gallery
from .._model import model_fingerprint
from . import evaluation, model_folder, outputs, report
from .evaluation import EvaluationError
from .projection import Projection


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "photographs", type=Path, help="archive of chips or gallery of outputs, .npz"
    )
    parser.add_argument("--model", type=Path, required=True, help="model folder to measure")
    who = parser.add_mutually_exclusive_group(required=True)
    who.add_argument("--run", type=Path, dest="run_folder", metavar="RUN", help="folder of train")
    who.add_argument("--unseen", action="store_true", help="nobody in them was in the training")
    parser.add_argument("-o", "--output", type=Path, required=True, help="folder of the report")
    parser.add_argument(
        "--replicates", type=int, default=1000, help="of the bootstrap (default: 1000)"
    )
    parser.add_argument("--seed", type=int, default=1, help="of the bootstrap (default: 1)")
    parser.add_argument(
        "--device", default="cpu", help="where PyTorch runs the nets (default: cpu)"
    )


def run(arguments: argparse.Namespace) -> int:
    model = model_folder.read(arguments.model)
    gallery = outputs.load_or_compute(arguments.photographs, model, arguments.device)
    new = gallery.people != ""
    if arguments.run_folder:
        new &= np.isin(gallery.people, report.read_run(arguments.run_folder)["held_out_people"])
        if not new.any():
            raise EvaluationError(
                f"{arguments.photographs}: contains none of the people that the run held out"
            )
    gallery = gallery.select(np.flatnonzero(new))
    features = Projection.of_model(model).features(gallery.outputs)
    measured = evaluation.evaluate(
        features, gallery.people, replicates=arguments.replicates, seed=arguments.seed
    )
    arguments.output.mkdir(parents=True, exist_ok=True)
    document = {
        "model": model_fingerprint(arguments.model),
        "unseen": "held out by the run" if arguments.run_folder else "stated by the caller",
        **measured.as_json(),
    }
    (arguments.output / "report.json").write_text(
        json.dumps(document, indent=1) + "\n", encoding="utf-8"
    )
    _write_gallery(arguments.output, gallery, features, document["model"])
    report.plot_scores(features, gallery.people, arguments.output)
    if arguments.run_folder:
        report.plot_losses(arguments.run_folder / "losses.csv", arguments.output)
    print(f"evaluate: {arguments.output}: {report.summary(measured)}")
    return 0


def _write_gallery(
    folder: Path, gallery: outputs.Outputs, features: NDArray[np.float32], fingerprint: str
) -> None:
    """Writes the features and the person of each, for "facefeature evaluate"."""
    names = [str(name) for name in gallery.names]
    if len(set(names)) != len(names):  # several archives may use the same ids
        names = [f"{name}/{row}" for row, name in enumerate(names)]
    write_gallery(folder / "features.gallery", names, features, fingerprint=fingerprint)
    with open(folder / "people.csv", "w", encoding="utf-8", newline="") as file:
        rows = csv.writer(file, lineterminator="\n")
        rows.writerow(["id", "person"])
        rows.writerows(zip(names, gallery.people))
