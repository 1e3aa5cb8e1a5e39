"""The modules that are trained: the 25 nets, the projection, and the heads for the losses."""

from __future__ import annotations

from typing import Dict, NamedTuple, Optional

import torch
import torch.nn.functional as F
from torch import nn

from .model_folder import Model
from .nets import Nets
from .patch_table import JOINED, NET_OUTPUTS, NETS, PROJECTED
from .patches import Patches


class Weights(NamedTuple):
    """The weight of each loss.

    teacher   squared error of a linear map from the unit feature to the descriptor
    nets      the same from the two rows of each net by itself, averaged over the nets
    relation  squared difference of the cosines of all pairs of the batch, features and descriptors
    people    angular margin softmax over the people
    """

    teacher: float = 1.0
    nets: float = 0.5
    relation: float = 20.0
    people: float = 1.0


# The linear map reads features of this length, so that descriptors don't need large weights.
_FEATURE_LENGTH = 10.0
# The angle of the margin softmax by which the correct person must be closer, in radians, and the
# factor of the cosines.
_MARGIN, _COSINE_SCALE = 0.3, 30.0


class Student(nn.Module):
    """descriptors: length of a teacher's descriptor, 0 without a teacher.
    people: number of people for the margin softmax, 0 without it."""

    def __init__(self, descriptors: int, people: int, weights: Weights) -> None:
        super().__init__()
        self.nets = Nets()
        self.mean = nn.Parameter(torch.zeros(JOINED))
        self.projection = nn.Parameter(torch.randn(PROJECTED, JOINED) * JOINED**-0.5)
        self._weights = weights
        if descriptors:
            self.teacher_head = nn.Linear(PROJECTED, descriptors)
            spread = NET_OUTPUTS**-0.5
            self.net_heads = nn.Parameter(torch.randn(NETS, NET_OUTPUTS, descriptors) * spread)
        if people:
            self.people = nn.Parameter(torch.randn(people, PROJECTED))

    def forward(
        self, patches: Patches, descriptors: Optional[torch.Tensor], people: Optional[torch.Tensor]
    ) -> Dict[str, torch.Tensor]:
        """The losses by name, "loss" the weighted sum.

        descriptors  (n, D) centred descriptors, or None
        people       (n,) indices of people, -1 for unknown, or None
        """
        outputs = self.nets(patches)
        # Differences of small losses need single precision, also if the nets use half precision.
        with torch.autocast(outputs.device.type, enabled=False):
            losses = self._losses(outputs, descriptors, people)
        losses["loss"] = sum(getattr(self._weights, name) * value for name, value in losses.items())
        return losses

    def _losses(
        self, outputs: torch.Tensor, descriptors: Optional[torch.Tensor],
        people: Optional[torch.Tensor],
    ) -> Dict[str, torch.Tensor]:  # fmt: skip
        features = F.normalize((outputs - self.mean) @ self.projection.t(), dim=1)
        losses = {}
        if descriptors is not None:
            predicted = self.teacher_head(features * _FEATURE_LENGTH)
            losses["teacher"] = (predicted - descriptors).square().sum(1).mean()
            rows = outputs.view(len(outputs), NETS, NET_OUTPUTS)
            by_net = torch.einsum("bno,nod->bnd", rows, self.net_heads)
            losses["nets"] = (by_net - descriptors[:, None]).square().sum(2).mean()
            unit = F.normalize(descriptors, dim=1)
            losses["relation"] = (features @ features.t() - unit @ unit.t()).square().mean()
        if people is not None:
            losses["people"] = self._margin_softmax(features, people)
        return losses

    def _margin_softmax(self, features: torch.Tensor, people: torch.Tensor) -> torch.Tensor:
        cosines = features @ F.normalize(self.people, dim=1).t()
        known = people >= 0
        if not known.any():
            # Every parameter must take part: processes that train together wait for its gradient.
            return cosines.sum() * 0
        cosines, people = cosines[known], people[known]
        own = cosines.gather(1, people[:, None]).clamp(-1 + 1e-6, 1 - 1e-6)
        # Beyond 180 degrees the cosine would increase again.
        with_margin = torch.cos((torch.acos(own) + _MARGIN).clamp_max(torch.pi))
        logits = _COSINE_SCALE * cosines.scatter(1, people[:, None], with_margin)
        return F.cross_entropy(logits, people)

    def set_model(self, model: Model) -> None:
        """Copies the nets of a model, and its cross projection."""
        self.nets.set_arrays(model.nets)
        with torch.no_grad():
            self.mean.copy_(torch.from_numpy(model.mean))
            self.projection.copy_(torch.from_numpy(model.cross_projection))

    def model(self) -> Model:
        """A model that uses the trained projection as both of its projections."""
        projection = self.projection.detach().float().cpu().numpy().copy()
        mean = self.mean.detach().float().cpu().numpy().copy()
        return Model(self.nets.arrays(), mean, projection, projection)
