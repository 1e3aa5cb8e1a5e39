"""People who are held out of a training, and error rates on them."""

from __future__ import annotations

from typing import Dict, Optional, Set

import numpy as np
import torch
from numpy.typing import NDArray

from . import evaluation
from .chips import Chips
from .nets import Nets
from .outputs import run_nets


def choose_people(people: NDArray, share: float, seed: int) -> Set[str]:
    """A share of the people, drawn with the seed.

    People with several photographs are drawn first, because only they have pairs of one person.
    Photographs without a person can't be held out.
    """
    names, counts = np.unique(people[people != ""], return_counts=True)
    wanted = int(round(share * len(names)))
    order = np.random.default_rng([seed, 1]).permutation(len(names))
    order = order[np.argsort(counts[order] < 2, kind="stable")]
    return set(names[order[:wanted]].tolist())


def joined_outputs(nets: Nets, chips: Chips, device: str) -> torch.Tensor:
    """(n, 8000): the outputs that the library would project for each chip."""
    return torch.from_numpy(run_nets(nets, chips, device))


def error_rates(
    outputs: torch.Tensor, mean: torch.Tensor, projection: torch.Tensor, people: NDArray
) -> Optional[Dict[str, float]]:
    """Rates of the score with this as both projections; None without pairs of both kinds."""
    features = ((outputs - mean.cpu()) @ projection.cpu().t()).double()
    norms = features.norm(dim=1)
    twice = norms.square()[:, None] + norms.square()[None]
    scores = (2 * features @ features.t() - twice) / (norms[:, None] * norms[None]) + 1
    person = np.unique(people, return_inverse=True)[1]
    pairs = evaluation.pairs_of(scores.numpy(), person)
    if not pairs.same.any() or pairs.same.all():
        return None
    points = evaluation.curve(pairs)
    return {
        "held_out_eer": evaluation.equal_error(points)[0],
        "held_out_accept_1e-2": evaluation.accepted_at(points, 1e-2)[0],
        "held_out_accept_1e-3": evaluation.accepted_at(points, 1e-3)[0],
    }
