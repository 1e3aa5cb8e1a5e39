"""Joint Bayesian model of net outputs, and the two projections that make it a score.

The model. A vector x (net outputs less their mean, in some basis of d dimensions) is the sum of
what belongs to the person and what belongs to the photograph, both Gaussian with mean zero:

    x = m + e,    m ~ N(0, B) drawn once per person,    e ~ N(0, W) drawn once per photograph

B is the between-person covariance, W the within-person covariance. For two vectors a and b let T be
the covariance of one vector, T = B + W. The covariance of the pair (a, b) is

    same person        [ T  B ]        two people        [ T  0 ]
                       [ B  T ]                          [ 0  T ]

and the logarithm of the likelihood ratio of the two hypotheses is

    llr(a, b) = c + 1/2 (a, b)' ( [T 0; 0 T]^-1 - [T B; B T]^-1 ) (a, b).

The inverse of the first matrix has blocks of the same form, [P Q; Q P]. Their product is I, so
(T + B)(P + Q) = I and (T - B)(P - Q) = I. With T - B = W and T + B = 2B + W:

    P = ( (2B + W)^-1 + W^-1 ) / 2
    Q = ( (2B + W)^-1 - W^-1 ) / 2 = -(2B + W)^-1 B W^-1

    llr(a, b) = c - 1/2 a'(P - T^-1)a - 1/2 b'(P - T^-1)b - a'Q b
    c         = log det T - 1/2 log det W - 1/2 log det (2B + W)

Both K = -Q and A = P - T^-1 are positive semidefinite: a basis V exists with V'WV = I and
V'BV = diag(l), l >= 0, and there (VV' = W^-1)

    K = V diag( l / (2l + 1) ) V',    A = V diag( l^2 / ((l + 1)(2l + 1)) ) V'.

The score. A feature holds f = C x (elements 0 to 499), q = |S x|^2 (element 500) and n = |f|
(element 501), with the cross projection C (file 6-2) and the self projection S (file 6-1), and

    score(a, b) = (2 f_a'f_b - (q_a + q_b)) / (n_a n_b) + 1.

Choose C and S with C'C = K and S'S = A. Then f_a'f_b = a'K b and q = x'A x, and

    2 f_a'f_b - (q_a + q_b) = 2 (llr(a, b) - c),
    score(a, b) = 1 + 2 (llr(a, b) - c) / (n_a n_b).

So the numerator of the score is the log likelihood ratio up to a factor and a constant, in real
arithmetic without any error. The denominator is not part of the model: it divides by how far both
vectors are from the mean, as the cosine does, and makes one threshold hold for faces of all
lengths. For two features of given norms the score is an increasing function of the log likelihood
ratio.

The roots need d rows each, and a model file has 500, so d is at most 500; rows beyond d are zero.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable, Optional, Tuple

import numpy as np
import scipy.linalg
from numpy.typing import NDArray

Array = NDArray[np.float64]


@dataclass(frozen=True)
class Covariances:
    """between and within, (d, d) each, symmetric. within is positive definite, between
    semidefinite."""

    between: Array
    within: Array


def roots(covariances: Covariances) -> Tuple[Array, Array]:
    """The matrices C and S of the module's text, (d, d) each: C'C = K and S'S = A."""
    l, v = _common_basis(covariances)
    cross = np.sqrt(l / (2 * l + 1))
    self_ = l / np.sqrt((l + 1) * (2 * l + 1))
    return cross[:, None] * v.T, self_[:, None] * v.T


def log_likelihood_ratio_constant(covariances: Covariances) -> float:
    """The c of the module's text."""
    b, w = covariances.between, covariances.within
    log_det = lambda m: np.linalg.slogdet(m)[1]  # noqa: E731
    return float(log_det(b + w) - (log_det(w) + log_det(2 * b + w)) / 2)


def expectation_maximisation(
    x: Array,
    people: NDArray[np.integer],
    start: Covariances,
    *,
    prior: Optional[Covariances] = None,
    prior_people: float = 0.0,
    prior_photographs: float = 0.0,
    iterations: int = 30,
    tolerance: float = 1e-3,
    on_iteration: Callable[[int, float], None] = lambda iteration, objective: None,
) -> Covariances:
    """Fits the covariances to vectors whose person is known.

    x                  (n, d) vectors with mean zero
    people             (n,) person of each vector, 0 to p - 1, each at least once. People with a
                       single photograph count: they show the sum of both covariances.
    start              where the iteration starts; within is positive definite
    prior              what the covariances are drawn towards, as if that many people
                       (prior_people) and photographs (prior_photographs) had been observed with
                       exactly these covariances: the mode of the posterior with inverse Wishart
                       priors. Without a prior this is the maximum of the likelihood.
    tolerance          the iteration ends when the objective per photograph gains less
    on_iteration       is called with the number of the iteration and the objective before it: the
                       logarithm of the posterior per photograph, up to a constant. It never falls.

    Each step solves for the exact posterior of every person's m, with its covariance, in the basis
    in which both covariances are diagonal: O(n d^2 + d^3).
    """
    counts = np.bincount(people)
    sums = np.zeros((len(counts), x.shape[1]))
    np.add.at(sums, people, x)
    scatter = x.T @ x
    if prior is None:
        prior, prior_people, prior_photographs = start, 0.0, 0.0
    current = start
    before = -np.inf
    for iteration in range(iterations):
        l, v = _common_basis(current)
        objective = _objective(current, l, v, sums, counts, scatter)
        objective -= _penalty(current.between, prior.between, prior_people)
        objective -= _penalty(current.within, prior.within, prior_photographs)
        objective /= len(x)
        on_iteration(iteration, objective)
        if objective - before < tolerance:
            break
        before = objective
        current = _step(
            current, l, v, sums, counts, scatter, prior, prior_people, prior_photographs
        )
    return current


def _common_basis(covariances: Covariances) -> Tuple[Array, Array]:
    """(l, V) with V'WV = I and V'BV = diag(l), l >= 0."""
    l, v = scipy.linalg.eigh(covariances.between, covariances.within)
    return np.maximum(l, 0.0), v


def _step(
    current: Covariances,
    l: Array,
    v: Array,
    sums: Array,
    counts: NDArray[np.integer],
    scatter: Array,
    prior: Covariances,
    prior_people: float,
    prior_photographs: float,
) -> Covariances:
    # In the basis V a person with k photographs has posterior precision 1 / l + k in each
    # dimension, so m has variance l / (1 + k l) and mean l / (1 + k l) times the person's sum.
    shrink = l / (1 + counts[:, None] * l)
    means = shrink * (sums @ v)
    back = current.within @ v  # V^-T: takes a vector of the basis back to the space of x
    between = back @ (means.T @ means + np.diag(shrink.sum(axis=0))) @ back.T
    means = means @ back.T
    mixed = sums.T @ means
    weighted = (counts[:, None] * means).T @ means
    variance = back @ np.diag((counts[:, None] * shrink).sum(axis=0)) @ back.T
    within = scatter - mixed - mixed.T + weighted + variance
    people, photographs = len(counts), counts.sum()
    return Covariances(
        _symmetric((between + prior_people * prior.between) / (people + prior_people)),
        _symmetric((within + prior_photographs * prior.within) / (photographs + prior_photographs)),
    )


def _objective(
    current: Covariances,
    l: Array,
    v: Array,
    sums: Array,
    counts: NDArray[np.integer],
    scatter: Array,
) -> float:
    """The log likelihood up to a constant. In the basis V the k photographs of a person have the
    covariance I + l 11' in each dimension, with determinant 1 + k l and inverse
    I - l / (1 + k l) 11'."""
    photographs = counts.sum()
    log_det_within = -2 * np.linalg.slogdet(v)[1]
    in_basis = sums @ v
    shrink = l / (1 + counts[:, None] * l)
    squares = np.sum((v.T @ scatter) * v.T) - np.sum(shrink * in_basis**2)
    log_dets = photographs * log_det_within + np.log1p(counts[:, None] * l).sum()
    return float(-(squares + log_dets) / 2)


def _penalty(covariance: Array, prior: Array, weight: float) -> float:
    """Minus the logarithm of the prior: weight observations whose scatter is that of the prior."""
    if weight == 0:
        return 0.0
    trace = np.trace(scipy.linalg.solve(covariance, prior, assume_a="sym"))
    return float(weight / 2 * (np.linalg.slogdet(covariance)[1] + trace))


def _symmetric(matrix: Array) -> Array:
    return (matrix + matrix.T) / 2
