"""The 25 nets in PyTorch, with weights from the arrays of a model folder."""

from __future__ import annotations

from typing import Dict, List, Mapping

import numpy as np
import torch
import torch.nn.functional as F
from numpy.typing import NDArray
from torch import nn

from .model_folder import NET_SHAPES, Model
from .patch_table import GROUPS, NETS, PATCHES
from .patches import Patches

_FILTER_SIDES = (4, 3, 3, 2)
# The first layer trains with inputs of about unit size. The factor is a power of two, so conversion
# to the units of the files and back changes no bit.
_INPUT_UNIT = 64.0


class Nets(nn.Module):
    """All 25 nets with their patch means.

    Nets of one shape are one set of parameters, with the net as first dimension, in the layout of
    the files: ``groups[g]["w3"]`` is (nets, 288, 48). "w5" has the matrix of local4 above that of
    pool3. On a GPU a layer of all nets of a shape is one batched product; on a CPU, where
    convolutions without unfolded copies are faster, each net runs alone. Sums have other orders
    then, and so other last bits.
    """

    def __init__(self) -> None:
        super().__init__()
        self.groups = nn.ModuleList()
        for g, group in enumerate(GROUPS):
            arrays = {}
            for layer in range(1, 6):
                rows, columns = _layer_shape(group[0], layer)
                # Rectifiers halve the variance; the last layer has none.
                spread = ((1 if layer == 5 else 2) / rows) ** 0.5
                arrays[f"w{layer}"] = nn.Parameter(torch.randn(len(group), rows, columns) * spread)
                arrays[f"b{layer}"] = nn.Parameter(torch.zeros(len(group), columns))
            self.groups.append(nn.ParameterDict(arrays))
            patch = PATCHES[group[0]]
            shape = (len(group), 1, patch.planes, patch.side, patch.side)
            self.register_buffer(f"means{g}", torch.full(shape, 128.0))
            self.register_buffer(f"inside{g}", _inside(group))

    @classmethod
    def from_model(cls, model: Model) -> "Nets":
        nets = cls()
        nets.set_arrays(model.nets)
        return nets

    def set_arrays(self, arrays: Mapping[str, NDArray]) -> None:
        """Copies the arrays of ``Model.nets``, by file name."""
        with torch.no_grad():
            for g, group in enumerate(GROUPS):
                for row, net in enumerate(group):
                    values = {
                        item: torch.from_numpy(np.array(arrays[name], np.float32))
                        for item, name in _file_names(net).items()
                    }
                    self._set_net(g, row, values)

    def arrays(self) -> Dict[str, NDArray[np.float32]]:
        """The arrays of ``Model.nets``, by file name."""
        result = {}
        for g, group in enumerate(GROUPS):
            for row, net in enumerate(group):
                values = self._net(g, row)
                for item, name in _file_names(net).items():
                    array = values[item].detach().float().cpu().numpy()
                    result[name] = array.reshape(NET_SHAPES[name]).copy()
        return {name: result[name] for name in NET_SHAPES}

    def set_means(self, means: Patches) -> None:
        """Copies the patch means: for each group (nets, planes, side, side)."""
        for g, mean in enumerate(means):
            self._means(g).copy_(mean[:, None])

    def forward(self, patches: Patches) -> torch.Tensor:
        """(n, 8000): rows of 160 outputs, each of unit length, in the order in which the library
        projects them: for each net the direct row, then the mirrored one."""
        count = patches[0].shape[1] // 2
        rows: List[torch.Tensor] = [torch.empty(0)] * NETS
        for g, group in enumerate(GROUPS):
            outputs = F.normalize(self.raw_outputs(g, patches[g]).float(), dim=2)
            for row, net in enumerate(group):
                rows[net] = torch.cat([outputs[row, :count], outputs[row, count:]], 1)
        return torch.cat(rows, 1)

    def raw_outputs(self, g: int, patches: torch.Tensor) -> torch.Tensor:
        """Outputs of the last layer of the nets of one group: (nets, rows, 160)."""
        inputs = (patches - self._means(g)) * (self._buffer("inside", g) / _INPUT_UNIT)
        parameters = self.groups[g]
        if inputs.is_cuda:
            return _run_batched(inputs, parameters)
        return torch.stack([_run_net(inputs[row], {k: v[row] for k, v in parameters.items()})
                            for row in range(len(GROUPS[g]))])  # fmt: skip

    def _buffer(self, kind: str, g: int) -> torch.Tensor:
        return getattr(self, f"{kind}{g}")

    def _means(self, g: int) -> torch.Tensor:
        return self._buffer("means", g)

    def _net(self, g: int, row: int) -> Dict[str, torch.Tensor]:
        values = {name: value[row] for name, value in self.groups[g].items()}
        values["w1"] = values["w1"] / _INPUT_UNIT
        values["mean"] = self._means(g)[row, 0]
        above = _split(GROUPS[g][row])
        values["w5a"], values["w5b"] = values["w5"][:above], values["w5"][above:]
        return values

    def _set_net(self, g: int, row: int, values: Dict[str, torch.Tensor]) -> None:
        self._means(g)[row, 0] = values["mean"].view(self._means(g)[row, 0].shape)
        values["w1"] = values["w1"] * _INPUT_UNIT
        values["w5"] = torch.cat([values["w5a"], values["w5b"]])
        for name, parameter in self.groups[g].items():
            parameter[row] = values[name].view(parameter[row].shape)


def _file_names(net: int) -> Dict[str, str]:
    n = net + 1
    names = {"mean": f"0-{n}-0", "w5a": f"5-{n}-1", "w5b": f"5-{n}-2", "b5": f"5-{n}-3"}
    for layer in range(1, 5):
        names[f"w{layer}"], names[f"b{layer}"] = f"{layer}-{n}-1", f"{layer}-{n}-2"
    return names


def _split(net: int) -> int:
    """Rows of "w5" that read local4."""
    return NET_SHAPES[f"5-{net + 1}-1"][0]


def _layer_shape(net: int, layer: int) -> List[int]:
    rows, columns = NET_SHAPES[f"{layer}-{net + 1}-1"]
    return [rows + (NET_SHAPES[f"5-{net + 1}-2"][0] if layer == 5 else 0), columns]


def _inside(group: List[int]) -> torch.Tensor:
    """1 inside the margins of each patch, 0 in them."""
    side = PATCHES[group[0]].side
    inside = torch.ones(len(group), 1, 1, side, side)
    for row, net in enumerate(group):
        columns, rows = PATCHES[net].column_margin, PATCHES[net].row_margin
        if columns:
            inside[row, ..., :columns] = inside[row, ..., side - columns :] = 0
        elif rows:
            inside[row, ..., :rows, :] = inside[row, ..., side - rows :, :] = 0
    return inside


# The rectifier follows the pooling here, on a quarter of the values: the largest rectified value is
# the rectified largest value.


def _run_net(x: torch.Tensor, p: Mapping[str, torch.Tensor]) -> torch.Tensor:
    """x: (rows, planes, side, side); p: the parameters of one net."""
    # Pooling is several times as fast with the channels of a pixel next to each other in memory.
    x = x.contiguous(memory_format=torch.channels_last)

    def convolved(x: torch.Tensor, layer: int) -> torch.Tensor:
        side = _FILTER_SIDES[layer - 1]
        return F.conv2d(x, p[f"w{layer}"].t().reshape(-1, x.shape[1], side, side), p[f"b{layer}"])

    for layer in (1, 2, 3):
        x = F.relu(F.max_pool2d(convolved(x, layer), 2))
    last = F.relu(convolved(x, 4))
    return F.linear(torch.cat([last.flatten(1), x.flatten(1)], 1), p["w5"].t(), p["b5"])


def _run_batched(x: torch.Tensor, p: Mapping[str, torch.Tensor]) -> torch.Tensor:
    """x: (nets, rows, planes, side, side); p: the parameters of all nets of the group."""
    nets, rows = x.shape[:2]
    if torch.is_autocast_enabled():
        # Unfolded copies in single precision would be twice as large.
        x = x.to(torch.get_autocast_gpu_dtype())

    def convolved(x: torch.Tensor, layer: int) -> torch.Tensor:
        side = _FILTER_SIDES[layer - 1]
        unfolded = x.unfold(3, side, 1).unfold(4, side, 1)
        out = unfolded.shape[3]
        unfolded = unfolded.permute(0, 1, 3, 4, 2, 5, 6).reshape(nets, rows * out * out, -1)
        weights, biases = p[f"w{layer}"].to(x.dtype), p[f"b{layer}"][:, None].to(x.dtype)
        y = torch.baddbmm(biases, unfolded, weights)
        return y.reshape(nets, rows, out, out, -1).permute(0, 1, 4, 2, 3)

    for layer in (1, 2, 3):
        y = F.max_pool2d(convolved(x, layer).flatten(0, 1), 2)
        x = F.relu(y).unflatten(0, (nets, rows))
    last = F.relu(convolved(x, 4))
    joined = torch.cat([last.flatten(2), x.flatten(2)], 2)
    return torch.baddbmm(p["b5"][:, None].to(joined.dtype), joined, p["w5"].to(joined.dtype))
