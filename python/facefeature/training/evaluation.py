"""Error rates of scores, with intervals.

The terms are those of ISO/IEC 19795-1, and the definitions those of the program's evaluate.

A pair of photographs is accepted at a threshold t if its score is at least t. A score that is NaN
reaches no threshold.

    false match rate      the share of the pairs of two people that are accepted
    false non-match rate  the share of the pairs of one person that are not accepted
    accept rate           1 - false non-match rate

Both rates are step functions of t that change at the scores that occur. The accept rate at a false
match rate f is the highest one among the thresholds whose false match rate is at most f; nothing is
interpolated. Only the equal error rate is: it lies where the straight lines between neighbouring
operating points cross the line on which both rates are equal.

An interval is the middle 95 % of what a bootstrap over people gives: people are drawn with
replacement, and a pair counts as often as its people were drawn. Pairs are not independent of each
other, because each person is part of many, so an interval by pairs would be far too narrow. A rate
of exactly 0 or 1 has no errors in any replicate; its interval then ends at the bound of as many
independent trials as there are people with several photographs, 1 - 0.05^(1/n). With fewer than 20
such people there are no intervals.
"""

from __future__ import annotations

from dataclasses import asdict, dataclass
from typing import Dict, List, Optional, Sequence, Tuple

import numpy as np
from numpy.typing import NDArray

import facefeature

FALSE_MATCH_RATES = (1e-1, 1e-2, 1e-3, 1e-4, 1e-5, 1e-6)

# An accept rate is not reported if its false match rate allows fewer wrong acceptances than this.
# With 30, a rate has a chance of 90 % to be within 30 % of the true one if pairs are independent.
FEWEST_WRONG_ACCEPTANCES = 30

FEWEST_PEOPLE_FOR_INTERVALS = 20

_INTERVAL = (2.5, 97.5)  # percentiles of the resampled rates


class EvaluationError(facefeature.FaceFeatureError):
    """The photographs do not allow this evaluation."""


@dataclass(frozen=True)
class Pairs:
    """All pairs of different photographs with a person, each pair once.

    scores         (p,) float32
    first, second  (p,) indices of the person of each photograph, below people; equal for a pair of
                   one person
    people         number of people
    """

    scores: NDArray[np.float32]
    first: NDArray[np.int32]
    second: NDArray[np.int32]
    people: int

    @property
    def same(self) -> NDArray[np.bool_]:
        return self.first == self.second


@dataclass(frozen=True)
class Rate:
    """An estimate with its interval, which is None without a bootstrap or with too few people."""

    value: float
    low: Optional[float] = None
    high: Optional[float] = None


@dataclass(frozen=True)
class AcceptRate:
    """The accept rate at a false match rate, and the threshold for it. Both are None if the pairs
    are too few for this rate (see FEWEST_WRONG_ACCEPTANCES)."""

    false_match_rate: float
    accepted: Optional[Rate]
    threshold: Optional[float]


@dataclass(frozen=True)
class Evaluation:
    photographs: int
    people: int
    genuine_pairs: int
    impostor_pairs: int
    equal_error_rate: Rate
    equal_error_threshold: float
    accept_rates: List[AcceptRate]
    rank_one: Rate  # share of photographs whose highest score is with the same person
    genuine_percentiles: Dict[str, float]
    impostor_percentiles: Dict[str, float]
    replicates: int
    seed: int

    def as_json(self) -> dict:
        return asdict(self)


@dataclass(frozen=True)
class Curve:
    """Operating points in ascending order of both match rates, starting with "accept nothing".

    thresholds       (k,) the first is infinite
    false_match      (k,)
    false_non_match  (k,)
    """

    thresholds: NDArray[np.float64]
    false_match: NDArray[np.float64]
    false_non_match: NDArray[np.float64]


def pairs_of(scores: NDArray[np.float32], person: NDArray[np.integer]) -> Pairs:
    """Each pair of a matrix of scores once.

    scores  (n, n), symmetric
    person  (n,) index of the person of each photograph
    """
    first, second = np.triu_indices(len(person), 1)
    return Pairs(
        scores[first, second],
        person[first].astype(np.int32),
        person[second].astype(np.int32),
        int(person.max(initial=-1)) + 1,
    )


def curve(pairs: Pairs) -> Curve:
    """The operating points of all pairs. Raises EvaluationError without pairs of both kinds."""
    return _Sorted(pairs).curve(None)


def equal_error(points: Curve) -> Tuple[float, float]:
    """The equal error rate, and the highest threshold at which the false match rate is at least the
    false non-match rate. Both are NaN if there is none, because too many scores are NaN."""
    gap = points.false_match - points.false_non_match  # -1 at the first point
    after = int(np.searchsorted(gap, 0.0))
    if after == len(gap):
        return float("nan"), float("nan")
    before = after - 1
    share = gap[before] / (gap[before] - gap[after])
    rise = points.false_match[after] - points.false_match[before]
    return float(points.false_match[before] + share * rise), float(points.thresholds[after])


def accepted_at(points: Curve, false_match_rate: float) -> Tuple[float, float]:
    """The accept rate at a false match rate, and its threshold."""
    last = int(np.searchsorted(points.false_match, false_match_rate, side="right")) - 1
    return float(1.0 - points.false_non_match[last]), float(points.thresholds[last])


def mean_accept_rate(points: Curve) -> float:
    """The accept rate, averaged over false match rates from 0.1 % to 10 % in equal steps of their
    logarithm. It orders models as their accept rates do and depends on more pairs than any single
    one of them."""
    return float(np.mean([accepted_at(points, f)[0] for f in np.geomspace(1e-3, 1e-1, 33)]))


def evaluate(
    features: NDArray[np.float32],
    people: Sequence[str],
    *,
    replicates: int = 1000,
    seed: int = 1,
    false_match_rates: Sequence[float] = FALSE_MATCH_RATES,
) -> Evaluation:
    """Compares all photographs with each other.

    features    (n, 502) float32
    people      n names; a photograph with an empty one is left out
    replicates  of the bootstrap; 0 for no intervals

    Raises EvaluationError if there are no pairs of one person or none of two.
    """
    names = np.asarray(people, dtype=str)
    known = np.flatnonzero(names != "")
    person = np.unique(names[known], return_inverse=True)[1]
    scores = facefeature.score_matrix(np.ascontiguousarray(features[known], dtype=np.float32))
    pairs = pairs_of(scores, person)
    ranked = _Sorted(pairs)
    hits = _Hits(scores, person)
    points = ranked.curve(None)
    impostors = int((~pairs.same).sum())
    several = int((np.bincount(person) > 1).sum())
    if several < FEWEST_PEOPLE_FOR_INTERVALS:
        replicates = 0
    rates = [f for f in false_match_rates if f * impostors >= FEWEST_WRONG_ACCEPTANCES]

    generator = np.random.default_rng(seed)
    equal_errors: List[float] = []
    accepted: List[List[float]] = []
    firsts: List[float] = []
    for _ in range(replicates):
        drawn = np.bincount(
            generator.integers(0, pairs.people, pairs.people), minlength=pairs.people
        )
        firsts.append(hits.share(drawn))
        resampled = ranked.curve(drawn)
        if resampled is None:
            continue
        equal_errors.append(equal_error(resampled)[0])
        accepted.append([accepted_at(resampled, f)[0] for f in rates])

    value, threshold = equal_error(points)
    table = []
    for f in false_match_rates:
        if f not in rates:
            table.append(AcceptRate(f, None, None))
            continue
        share, at = accepted_at(points, f)
        column = [row[rates.index(f)] for row in accepted]
        table.append(AcceptRate(f, _with_interval(share, column, several), at))
    return Evaluation(
        photographs=len(known),
        people=pairs.people,
        genuine_pairs=int(pairs.same.sum()),
        impostor_pairs=impostors,
        equal_error_rate=_with_interval(value, equal_errors, several),
        equal_error_threshold=threshold,
        accept_rates=table,
        rank_one=_with_interval(hits.share(None), firsts, several),
        genuine_percentiles=_percentiles(pairs.scores[pairs.same]),
        impostor_percentiles=_percentiles(pairs.scores[~pairs.same]),
        replicates=replicates,
        seed=seed,
    )


class _Sorted:
    """Pairs in descending order of score, ready to be counted with any weights of people."""

    def __init__(self, pairs: Pairs) -> None:
        same = pairs.same
        if not same.any() or same.all():
            raise EvaluationError(
                f"{pairs.people} people and {len(same)} pairs: pairs of one person and pairs of "
                "two are needed"
            )
        # NaN becomes negative infinity: it comes last, and no threshold is below it.
        scores = np.where(np.isnan(pairs.scores), -np.inf, pairs.scores).astype(np.float64)
        order = np.argsort(-scores, kind="stable")
        self._scores = scores[order]
        self._first = pairs.first[order]
        self._second = pairs.second[order]
        self._same = same[order]
        # The last pair of each run of equal scores. Scores of minus infinity are never accepted.
        ends = np.flatnonzero(self._scores[1:] != self._scores[:-1])
        last = np.append(ends, len(self._scores) - 1)
        self._last = last[self._scores[last] > -np.inf]

    def curve(self, drawn: Optional[NDArray[np.int64]]) -> Optional[Curve]:
        """The operating points with each person counted drawn times (once if drawn is None). None
        if there are no pairs of one kind."""
        if drawn is None:
            genuine = self._same.astype(np.float64)
            impostor = 1.0 - genuine
        else:
            weights = drawn.astype(np.float64)
            first = weights[self._first]
            genuine = np.where(self._same, first, 0.0)
            impostor = np.where(self._same, 0.0, first * weights[self._second])
        all_genuine, all_impostor = genuine.sum(), impostor.sum()
        if all_genuine == 0 or all_impostor == 0:
            return None
        matches = np.cumsum(genuine)[self._last] / all_genuine
        false_matches = np.cumsum(impostor)[self._last] / all_impostor
        return Curve(
            np.concatenate([[np.inf], self._scores[self._last]]),
            np.concatenate([[0.0], false_matches]),
            np.concatenate([[1.0], 1.0 - matches]),
        )


class _Hits:
    """For each photograph of a person with several: whether another photograph of the same person
    scores higher than every photograph of other people. Equal scores count as failures."""

    def __init__(self, scores: NDArray[np.float32], person: NDArray[np.integer]) -> None:
        probes = np.flatnonzero(np.bincount(person)[person] > 1)
        own = np.equal.outer(person[probes], person)
        table = np.where(np.isnan(scores[probes]), -np.inf, scores[probes])
        others = np.where(own, -np.inf, table).max(axis=1)
        own[np.arange(len(probes)), probes] = False
        self._hit = np.where(own, table, -np.inf).max(axis=1) > others
        self._person = person[probes]

    def share(self, drawn: Optional[NDArray[np.int64]]) -> float:
        weights = np.ones(len(self._hit)) if drawn is None else drawn[self._person]
        total = weights.sum()
        return float((weights * self._hit).sum() / total) if total else float("nan")


def _with_interval(value: float, resampled: List[float], people: int) -> Rate:
    if not resampled:
        return Rate(value)
    low, high = np.nanpercentile(resampled, _INTERVAL)
    without_errors = 1 - 0.05 ** (1 / people)
    if value == 0:
        high = without_errors
    if value == 1:
        low = 1 - without_errors
    return Rate(value, float(low), float(high))


def _percentiles(scores: NDArray[np.float32]) -> Dict[str, float]:
    shares = (1, 5, 25, 50, 75, 95, 99, 99.9)
    finite = scores[np.isfinite(scores)]
    if not len(finite):
        return {}
    return {f"{share:g}": float(v) for share, v in zip(shares, np.percentile(finite, shares))}
