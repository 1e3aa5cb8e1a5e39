"""Projections fitted to photographs whose person is known, and the choice among them.

A few photographs of a few people determine 500 x 500 covariances poorly. So a model's own
projections are the prior of the fit, and their weight is found by cross validation over people:
each candidate is fitted without some of the people and measured on them. A simpler candidate wins
unless a more adapted one is better by more than its standard error; the simplest one is the
unchanged model. So a fit to photographs without information does not make a model worse.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple

import numpy as np
from numpy.typing import NDArray

import facefeature

from . import basis as bases
from . import evaluation, joint_bayesian
from .joint_bayesian import Covariances
from .outputs import Outputs
from .projection import Projection, padded

FEWEST_PEOPLE = 20
"""A fit needs this many people with several photographs."""

PRIOR_WEIGHTS = (30000.0, 10000.0, 3000.0, 1000.0, 300.0)

# Singular values of a between-person covariance that is only a prior must not be zero.
_LEAST_BETWEEN = 1e-3


class FitError(facefeature.FaceFeatureError, ValueError):
    """The photographs do not allow a fit."""


class Candidate(NamedTuple):
    """kind   "unchanged": the projections of the model
           "mean": the same projections, about the mean of the photographs
           "learnt": joint Bayesian in the basis of the model's cross projection
           "principal": joint Bayesian in the whitened principal components of the photographs
    weight  of the prior, in people and in photographs, for the last two"""

    kind: str
    weight: float = 0.0

    def __str__(self) -> str:
        if self.kind in ("unchanged", "mean"):
            return self.kind
        return f"joint Bayesian, {self.kind} basis, prior weight {self.weight:g}"


def candidates(kinds: Sequence[str], weights: Sequence[float] = PRIOR_WEIGHTS) -> List[Candidate]:
    """Candidates of these kinds, the simplest first."""
    result = []
    for kind in ("unchanged", "mean"):
        if kind in kinds:
            result.append(Candidate(kind))
    for kind in ("learnt", "principal"):
        if kind in kinds:
            result += [Candidate(kind, weight) for weight in sorted(weights, reverse=True)]
    return result


@dataclass(frozen=True)
class Choice:
    """chosen    the candidate
    measures     of each candidate, one number for each fold: the mean accept rate (see
                 evaluation.mean_accept_rate) on the people of the fold
    """

    chosen: Candidate
    measures: Dict[Candidate, List[float]]


def fit(
    gallery: Outputs, model: Projection, wanted: Sequence[Candidate]
) -> Iterator[Tuple[Candidate, Projection]]:
    """Fits each candidate to all photographs of the gallery that have a person.

    Candidates of one kind follow each other in descending order of the prior's weight, and each fit
    starts from the previous one.
    """
    known = gallery.select(np.flatnonzero(gallery.people != ""))
    person = np.unique(known.people, return_inverse=True)[1]
    mean = _mean_of_people(known.outputs, person)
    fits: Dict[str, _JointBayesianFits] = {}
    for candidate in wanted:
        if candidate.kind == "unchanged":
            yield candidate, model
        elif candidate.kind == "mean":
            yield candidate, Projection(mean.astype(np.float32), model.cross, model.self_)
        else:
            if candidate.kind not in fits:
                rows = (
                    bases.learnt(model.cross)
                    if candidate.kind == "learnt"
                    else bases.principal(known.outputs, mean)
                )
                fits[candidate.kind] = _JointBayesianFits(known.outputs, person, mean, rows)
            yield candidate, fits[candidate.kind].fit(candidate.weight)


def choose(
    gallery: Outputs,
    model: Projection,
    wanted: Sequence[Candidate],
    *,
    folds: int = 5,
    repeats: int = 2,
    seed: int = 1,
    on_fold: Callable[[int], None] = lambda done: None,
) -> Choice:
    """Cross validation over people. wanted is in ascending order of complexity. on_fold is called
    with the number of completed folds.

    Raises FitError if fewer than FEWEST_PEOPLE people have several photographs.
    """
    people = people_with_several(gallery.people)
    if len(people) < FEWEST_PEOPLE:
        raise FitError(
            f"{len(people)} people with several photographs remain to fit to, and {FEWEST_PEOPLE} "
            "are needed"
        )
    generator = np.random.default_rng(seed)
    measures: Dict[Candidate, List[float]] = {candidate: [] for candidate in wanted}
    for repeat in range(repeats):
        for fold, part in enumerate(split(gallery.people, [1 / folds] * folds, generator)):
            inside = np.isin(gallery.people, part)
            test = gallery.select(np.flatnonzero(inside))
            for candidate, projection in fit(
                gallery.select(np.flatnonzero(~inside)), model, wanted
            ):
                measures[candidate].append(measure(test, projection))
            on_fold(repeat * folds + fold + 1)
    return Choice(_simplest_of_the_best(measures, folds), measures)


def measure(test: Outputs, projection: Projection) -> float:
    """The mean accept rate of the photographs with a projection."""
    features = projection.features(test.outputs)
    person = np.unique(test.people, return_inverse=True)[1]
    pairs = evaluation.pairs_of(facefeature.score_matrix(features), person)
    return evaluation.mean_accept_rate(evaluation.curve(pairs))


def people_with_several(people: NDArray) -> NDArray:
    """Names of the people with more than one photograph, sorted."""
    names, counts = np.unique(people[people != ""], return_counts=True)
    return names[counts > 1]


def split(
    people: NDArray, shares: Sequence[float], generator: np.random.Generator
) -> List[NDArray]:
    """Splits people at random into disjoint sets of these shares. People with several photographs
    and people with one are split separately, so that each set gets its share of both."""
    several = people_with_several(people)
    single = np.setdiff1d(people[people != ""], several)
    parts: List[List[NDArray]] = [[] for _ in shares]
    for names in (several, single):
        ends = np.round(np.cumsum(shares) * len(names)).astype(int)
        drawn = generator.permutation(names)
        for part, start, end in zip(parts, [0, *ends[:-1]], ends):
            part.append(drawn[start:end])
    return [np.concatenate(part) for part in parts]


class _JointBayesianFits:
    """Fits in one basis, in descending order of the prior's weight.

    The prior is the same in all directions, so the basis may be rotated. It is rotated so that its
    first directions span all photographs. In the other directions the fit is one variance between
    and one within people, the same for all of them, so one such direction represents the rest. With
    300 photographs in a basis of 500 that saves three quarters of the time.
    """

    def __init__(
        self,
        outputs: NDArray[np.float32],
        person: NDArray[np.integer],
        mean: NDArray[np.float64],
        rows: NDArray[np.float64],
    ) -> None:
        x = (outputs - mean) @ rows.T
        within, between = _variances(x, person)
        strongest_first = np.linalg.eigh(x.T @ x)[1][:, ::-1]
        held = min(len(x), len(rows))
        kept = min(held + 1, len(rows))
        self._x = x @ strongest_first[:, :kept]
        self._x[:, held:] = 0  # except for rounding, they are
        self._mean, self._rows, self._person = mean, strongest_first.T @ rows, person
        identity = np.eye(kept)
        self._prior = Covariances(between * identity, within * identity)
        self._current = self._prior

    def fit(self, weight: float) -> Projection:
        self._current = joint_bayesian.expectation_maximisation(
            self._x, self._person, self._current, prior=self._prior,
            prior_people=weight, prior_photographs=weight,
        )  # fmt: skip
        cross, self_ = joint_bayesian.roots(self._current)
        # The score does not change if both are multiplied by a factor. With this one, lengths are
        # about 1.
        scale = 1 / np.sqrt(np.mean(np.sum((self._x @ cross.T) ** 2, axis=1)))
        return Projection(
            self._mean.astype(np.float32),
            padded(scale * self._in_outputs(cross)),
            padded(scale * self._in_outputs(self_)),
        )

    def _in_outputs(self, root: NDArray[np.float64]) -> NDArray[np.float64]:
        """The root for all directions, as rows over the 8000 outputs."""
        kept = len(root)
        others = np.linalg.norm(root[:, -1]) * self._rows[kept:]
        return np.concatenate([root @ self._rows[:kept], others])


def _variances(x: NDArray[np.float64], person: NDArray[np.integer]) -> Tuple[float, float]:
    """Mean variance of a dimension within and between people. The model's prior consists of these
    two numbers."""
    counts = np.bincount(person)
    sums = np.zeros((len(counts), x.shape[1]))
    np.add.at(sums, person, x)
    residuals = x - (sums / counts[:, None])[person]
    within = (residuals**2).sum() / (len(x) - len(counts)) / x.shape[1]
    total = (x**2).mean()
    return within, max(total - within, _LEAST_BETWEEN * total)


def _mean_of_people(
    outputs: NDArray[np.float32], person: NDArray[np.integer]
) -> NDArray[np.float64]:
    """The mean with equal weight for every person, whatever the number of photographs."""
    weights = 1 / np.bincount(person)[person]
    return (weights / weights.sum()) @ outputs.astype(np.float64)


def _simplest_of_the_best(measures: Dict[Candidate, List[float]], folds: int) -> Candidate:
    """The first candidate that is at most one standard error below the best. The error is that of
    the difference, fold by fold; repeated folds share their photographs and count as one."""
    best = max(measures, key=lambda candidate: float(np.mean(measures[candidate])))
    for candidate, values in measures.items():
        differences = np.array(measures[best]) - np.array(values)
        if differences.mean() <= differences.std(ddof=1) / np.sqrt(folds):
            return candidate
    return best
