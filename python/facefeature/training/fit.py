"""Fit the mean and the two projections of a model to photographs of your own people.

The nets stay as they are. The photographs are an archive of chips, or a gallery of the nets'
outputs, with the name of a person for each. At least 30 people need several photographs.

    python3 -m facefeature.training fit chips.npz --model models/portraits -o my-model

writes the 303 files into my-model. fit.json there lists the candidates, the choice among them, and
the error rates before and after, measured on people who were held out of the choice and of the fit.
The model that is written is then fitted to all people, in the form that was chosen.
"""

from __future__ import annotations

import argparse
import json
import time
from pathlib import Path
from typing import Tuple

import numpy as np

from .._model import model_fingerprint
from . import evaluation, fitting, model_folder, outputs, report
from .evaluation import Evaluation
from .fitting import Candidate, Choice, FitError
from .outputs import Outputs
from .progress import Progress
from .projection import Projection


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "photographs", type=Path, help="archive of chips or gallery of outputs, .npz"
    )
    parser.add_argument("--model", type=Path, required=True, help="model folder to start from")
    parser.add_argument("-o", "--output", type=Path, required=True, help="model folder to write")
    parser.add_argument(
        "--principal", action="store_true",
        help="also try the principal components of the outputs, for thousands of photographs",
    )  # fmt: skip
    parser.add_argument(
        "--hold-out", type=float, default=0.3, metavar="SHARE",
        help="share of the people that show what the fit gains (default: %(default)s)",
    )  # fmt: skip
    parser.add_argument("--folds", type=int, default=5, help="of the cross validation (default: 5)")
    parser.add_argument(
        "--repeats", type=int, default=2, help="of the cross validation (default: 2)"
    )
    parser.add_argument(
        "--replicates", type=int, default=1000, help="of the bootstrap (default: 1000)"
    )
    parser.add_argument("--seed", type=int, default=1, help="default: 1")
    parser.add_argument(
        "--device", default="cpu", help="where PyTorch runs the nets (default: cpu)"
    )
    parser.add_argument(
        "--save-outputs", type=Path, metavar="FILE", help="gallery of outputs to write, .npz"
    )


def run(arguments: argparse.Namespace) -> int:
    start = time.monotonic()
    model = model_folder.read(arguments.model)
    gallery = outputs.load_or_compute(arguments.photographs, model, arguments.device)
    if arguments.save_outputs:
        outputs.save(arguments.save_outputs, gallery)
    seconds_outputs = time.monotonic() - start

    shipped = Projection.of_model(model)
    fitted, test = _hold_out(gallery, arguments)
    kinds = ["unchanged", "mean", "learnt"] + (["principal"] if arguments.principal else [])
    progress = Progress("fit", arguments.folds * arguments.repeats, "folds")
    choice = fitting.choose(
        fitted, shipped, fitting.candidates(kinds), folds=arguments.folds,
        repeats=arguments.repeats, seed=arguments.seed, on_fold=progress.update,
    )  # fmt: skip
    progress.finish()
    before = _evaluated(test, shipped, arguments)
    after = _evaluated(test, _fit_one(fitted, shipped, choice.chosen), arguments)
    final = _fit_one(gallery, shipped, choice.chosen)
    model_folder.write(final.in_model(model), arguments.output)
    document = {
        "model": model_fingerprint(arguments.model),
        "fitted_model": model_fingerprint(arguments.output),
        "photographs": len(gallery),
        "people": len(np.unique(gallery.people[gallery.people != ""])),
        "people_with_several_photographs": len(fitting.people_with_several(gallery.people)),
        "seed": arguments.seed,
        "candidates": {str(c): values for c, values in choice.measures.items()},
        "chosen": str(choice.chosen),
        "held_out": {"before": before.as_json(), "after": after.as_json()},
        "seconds": {"outputs": seconds_outputs, "all": time.monotonic() - start},
    }
    text = json.dumps(document, indent=1) + "\n"
    (arguments.output / "fit.json").write_text(text, encoding="utf-8")
    _print(choice, before, after)
    print(f"fit: {arguments.output} written after {time.monotonic() - start:.0f} s")
    return 0


def _hold_out(gallery: Outputs, arguments: argparse.Namespace) -> Tuple[Outputs, Outputs]:
    """The photographs for the fit, and those of the people who are held out."""
    share = arguments.hold_out
    if not 0 < share < 1:
        raise FitError(f"--hold-out {share:g}: must be between 0 and 1")
    generator = np.random.default_rng(arguments.seed)
    _, people = fitting.split(gallery.people, [1 - share, share], generator)
    inside = np.isin(gallery.people, people)
    return gallery.select(np.flatnonzero(~inside)), gallery.select(np.flatnonzero(inside))


def _fit_one(gallery: Outputs, model: Projection, candidate: Candidate) -> Projection:
    """The fit of one candidate. As in the choice, it starts from the fits with heavier priors."""
    heavier = [c for c in fitting.candidates([candidate.kind]) if c.weight >= candidate.weight]
    for _, projection in fitting.fit(gallery, model, heavier):
        last = projection
    return last


def _evaluated(test: Outputs, projection: Projection, arguments: argparse.Namespace) -> Evaluation:
    return evaluation.evaluate(
        projection.features(test.outputs), test.people, replicates=arguments.replicates,
        seed=arguments.seed,
    )  # fmt: skip


def _print(choice: Choice, before: Evaluation, after: Evaluation) -> None:
    print("mean accept rate at false match rates of 0.1 to 10 %, cross validated:")
    for candidate, values in choice.measures.items():
        mark = "*" if candidate == choice.chosen else " "
        print(f" {mark} {100 * np.mean(values):6.2f} %  {candidate}")
    print(f"on {before.people} people held out ({before.genuine_pairs} pairs of one person):")
    print(f"   before  {report.summary(before)}")
    print(f"   after   {report.summary(after)}")
