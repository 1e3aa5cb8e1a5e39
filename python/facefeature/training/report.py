"""Presents the results of runs and evaluations: rates as text, and plots with matplotlib."""

from __future__ import annotations

import csv
import json
from pathlib import Path
from typing import Dict, List, Optional

import numpy as np
from numpy.typing import NDArray

import facefeature

from . import evaluation
from .evaluation import Evaluation, EvaluationError, Rate

_NO_LOSSES = ("step", "faces", "seconds", "rate")  # other columns of losses.csv


def read_run(folder: Path) -> dict:
    """The run.json of a folder that train has written. Raises EvaluationError."""
    return read_json(folder / "run.json")


def read_json(path: Path) -> dict:
    """Raises EvaluationError, whose message names the file."""
    try:
        document = json.loads(path.read_text(encoding="utf-8"))
    except (OSError, ValueError) as error:
        raise EvaluationError(f"{path}: can't be read: {error}") from error
    if not isinstance(document, dict):
        raise EvaluationError(f"{path}: is not a JSON object")
    return document


def percent(rate: Optional[Rate]) -> str:
    """A rate with its interval: "6.0 % (5.1 to 7.2)"."""
    if rate is None:
        return "too few pairs"
    if rate.low is None or rate.high is None:
        return f"{100 * rate.value:.1f} %"
    return f"{100 * rate.value:.1f} % ({100 * rate.low:.1f} to {100 * rate.high:.1f})"


def summary(measured: Evaluation) -> str:
    """One line: the equal error rate and the accept rates that could be measured."""
    texts = [f"equal error {percent(measured.equal_error_rate)}"]
    for rate in measured.accept_rates:
        if rate.accepted is not None:
            at = f"{100 * rate.false_match_rate:g} %"
            texts.append(f"accepted at {at} {percent(rate.accepted)}")
    return "; ".join(texts)


def plot_scores(features: NDArray[np.float32], people: NDArray, folder: Path) -> None:
    """Writes det.png (false non-match rate over false match rate, both on probit axes) and
    scores.png (histograms of both kinds of pairs)."""
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    person = np.unique(people, return_inverse=True)[1]
    pairs = evaluation.pairs_of(facefeature.score_matrix(features), person)
    points = evaluation.curve(pairs)

    figure, axes = plt.subplots(figsize=(6, 6))
    inside = (points.false_match > 0) & (points.false_non_match > 0)
    axes.plot(_probit(points.false_match[inside]), _probit(points.false_non_match[inside]))
    ticks = np.array([1e-4, 1e-3, 1e-2, 0.05, 0.2, 0.5, 0.8])
    for axis in (axes.xaxis, axes.yaxis):
        axis.set_ticks(_probit(ticks), [f"{100 * t:g} %" for t in ticks])
    limits = _probit(np.array([5e-5, 0.9]))
    axes.set(xlim=limits, ylim=limits, xlabel="false match rate", ylabel="false non-match rate")
    axes.plot(limits, limits, color="0.8", linewidth=1, zorder=0)
    axes.grid(color="0.9")
    _save(figure, folder / "det.png")

    figure, axes = plt.subplots(figsize=(7, 4))
    finite = pairs.scores[np.isfinite(pairs.scores)]
    bins = np.linspace(*np.percentile(finite, [0.1, 100]), 80)
    for chosen, label in ((pairs.same, "one person"), (~pairs.same, "two people")):
        axes.hist(pairs.scores[chosen], bins, density=True, alpha=0.6, label=label)
    axes.set(xlabel="score", ylabel="density")
    axes.legend()
    _save(figure, folder / "scores.png")


def plot_losses(path: Path, folder: Path) -> None:
    """Writes losses.png: the losses and the error rates of a run over its steps."""
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    columns = read_losses(path)
    steps = columns["step"]
    rates = {name: values for name, values in columns.items() if name.startswith("held_out")}
    losses = {name: columns[name] for name in loss_names(columns)}
    figure, panes = plt.subplots(1, 2, figsize=(11, 4))
    for axes, group, label in zip(panes, (losses, rates), ("loss", "rate on people held out")):
        for name, values in group.items():
            known = np.isfinite(values)
            axes.plot(steps[known], values[known], label=name, marker="." if group is rates else "")
        axes.set(xlabel="step", ylabel=label)
        if group:
            axes.legend(fontsize="small")
    panes[0].set_yscale("log")
    _save(figure, folder / "losses.png")


def read_losses(path: Path) -> Dict[str, NDArray[np.float64]]:
    """The columns of a losses.csv; an empty field is NaN. Raises EvaluationError."""
    try:
        with open(path, newline="", encoding="utf-8") as file:
            rows: List[dict] = list(csv.DictReader(file))
            names = rows[0].keys() if rows else []
            return {n: np.array([float(row[n] or "nan") for row in rows]) for n in names}
    except (OSError, ValueError) as error:
        raise EvaluationError(f"{path}: can't be read: {error}") from error


def loss_names(columns: Dict[str, NDArray[np.float64]]) -> List[str]:
    """The columns that are losses and have a value in some row."""
    return [
        name
        for name, values in columns.items()
        if name not in _NO_LOSSES and not name.startswith("held_out") and np.isfinite(values).any()
    ]


def _probit(shares: NDArray[np.float64]) -> NDArray[np.float64]:
    from scipy.stats import norm

    return norm.ppf(shares)


def _save(figure, path: Path) -> None:
    import matplotlib.pyplot as plt

    figure.tight_layout()
    figure.savefig(path, dpi=120)
    plt.close(figure)
