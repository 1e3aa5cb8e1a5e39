"""Compares the nets in PyTorch with the library's, within the bound of their rounding errors."""

import dataclasses

import numpy as np
from support import MODEL, TemporaryFolderTest, face_document
from training_support import needs_torch

import facefeature
from facefeature.training import model_folder
from facefeature.training.patch_table import GROUPS, JOINED, NET_OUTPUTS, PROJECTED, ROW_OUTPUTS

try:
    import torch
    import torch.nn.functional as F
    from facefeature.training import library_geometry, nets
except ModuleNotFoundError:
    torch = None

_UNIT = 2.0**-24  # of rounding to single precision


def net_patches(image: np.ndarray, landmarks) -> list:
    """The library's patches in the layout of the module."""
    found = library_geometry.library_patches(image, landmarks)
    return [torch.from_numpy(np.stack([found[patch] for patch in group])) for group in GROUPS]


class ExactNet:
    """One net in double precision, with the possible effect of rounding on its outputs.

    A sum of K products and a bias, in any order and with products rounded or fused, errs by at most
    g(K + 2) = (K + 2) u / (1 - (K + 2) u) times the sum of the magnitudes. To first order, the
    error of an output is the sum, over all sums of the net, of that error times the derivative of
    the output by the sum. If roundings are independent, errors add in quadrature, with a deviation
    of at most sqrt(K + 2) u times the magnitudes each.
    """

    def __init__(self, model: model_folder.Model, net: int, patch: "torch.Tensor") -> None:
        self._arrays, self._n = model.nets, net + 1
        self._sums, self._bounds, self._deviations = [], [], []
        x = patch.double() - torch.from_numpy(model.nets[f"0-{net + 1}-0"]).view(patch.shape)
        inside = [nets._inside(group)[group.index(net)] for group in GROUPS if net in group][0]
        x = (x * inside).requires_grad_()
        for layer, side in ((1, 4), (2, 3), (3, 3)):
            x = F.max_pool2d(F.relu(self._convolved(x, layer, side)), 2)
        last = F.relu(self._convolved(x, 4, 2))
        joined = torch.cat([last.flatten(1), x.flatten(1)], 1)
        weights = np.concatenate([self._arrays[f"5-{self._n}-1"], self._arrays[f"5-{self._n}-2"]])
        outputs = self._summed(F.linear, joined, torch.from_numpy(weights.T), f"5-{self._n}-3")
        self.outputs = F.normalize(outputs, dim=1)[0]

    def bounds(self, output: int):
        """The bound of the error of one output, and its deviation if roundings are independent."""
        slopes = torch.autograd.grad(self.outputs[output], self._sums, retain_graph=True)
        bound = sum((s.abs() * b).sum().item() for s, b in zip(slopes, self._bounds))
        squares = sum(((s * d) ** 2).sum().item() for s, d in zip(slopes, self._deviations))
        # The normalisation itself: a sum of 160 squares, a root and a division.
        own = abs(self.outputs[output].item()) * (ROW_OUTPUTS + 4) * _UNIT
        return bound + own, squares**0.5 + own

    def _convolved(self, x, layer, side):
        weights = torch.from_numpy(self._arrays[f"{layer}-{self._n}-1"].T.copy())
        weights = weights.view(-1, x.shape[1], side, side)
        return self._summed(F.conv2d, x, weights, f"{layer}-{self._n}-2")

    def _summed(self, operation, x, weights, biases):
        weights = weights.double()
        biases = torch.from_numpy(self._arrays[biases]).double().flatten()
        terms = weights[0].numel() + 2
        magnitudes = operation(x.detach().abs(), weights.abs(), biases.abs())
        self._sums.append(operation(x, weights, biases))
        self._bounds.append(terms * _UNIT / (1 - terms * _UNIT) * magnitudes)
        self._deviations.append(terms**0.5 * _UNIT * magnitudes)
        return self._sums[-1]


@needs_torch
class NetsInPyTorch(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.model = model_folder.read(MODEL)
        ramp = np.linspace(0, 200, 600)[:, None, None] * [0.5, 0.7, 1]
        image = ramp + self.numbers.integers(0, 56, (600, 512, 3))
        self.image = image.astype(np.uint8)
        self.patches = net_patches(self.image, face_document())

    def library_outputs(self, chosen: np.ndarray) -> np.ndarray:
        """These of the 8000 outputs, through a projection that selects them."""
        pick = np.zeros((PROJECTED, JOINED), np.float32)
        pick[np.arange(len(chosen)), chosen] = 1
        model = dataclasses.replace(
            self.model, mean=np.zeros(JOINED, np.float32), cross_projection=pick,
            self_projection=np.zeros_like(pick),
        )  # fmt: skip
        model_folder.write(model, self.folder)
        with facefeature.Engine(model=self.folder) as engine:
            return engine.extract(self.image, face_document(), channels="RGB")[: len(chosen)]

    def chosen_outputs(self) -> np.ndarray:
        """10 of each row of each net, in the order of the nets."""
        rows = [self.numbers.choice(ROW_OUTPUTS, 10, replace=False) for _ in range(50)]
        return np.concatenate([row * ROW_OUTPUTS + kept for row, kept in enumerate(rows)])

    def largest_ratios(self, values: np.ndarray, chosen: np.ndarray):
        """The largest distance from the exact outputs, in bounds and in deviations."""
        ratios = []
        for row in range(50):
            net, mirrored = divmod(row, 2)
            group = next(g for g, group in enumerate(GROUPS) if net in group)
            patch = self.patches[group][GROUPS[group].index(net)][mirrored : mirrored + 1]
            exact = ExactNet(self.model, net, patch)
            for value, output in zip(values[10 * row :][:10], chosen[10 * row :][:10]):
                output = output - net * NET_OUTPUTS - mirrored * ROW_OUTPUTS
                difference = abs(float(value) - exact.outputs[output].item())
                ratios.append([difference / bound for bound in exact.bounds(output)])
        return np.max(ratios, axis=0)

    def test_and_the_librarys_err_within_the_bound(self):
        chosen = self.chosen_outputs()
        module = nets.Nets.from_model(self.model)
        with torch.no_grad():
            torch_outputs = module(self.patches).numpy()[0]
        results = {"PyTorch": torch_outputs[chosen], "library": self.library_outputs(chosen)}
        self.assertGreater(np.ptp(torch_outputs), 0.3)
        for name, values in results.items():
            in_bounds, in_deviations = self.largest_ratios(values, chosen)
            with self.subTest(name, in_bounds=in_bounds, in_deviations=in_deviations):
                self.assertLess(in_bounds, 1)
                self.assertLess(in_deviations, 6)

    def test_with_one_wrong_weight_err_beyond_it(self):
        self.model.nets["3-7-1"][100, 20] *= 1.2
        module = nets.Nets.from_model(self.model)
        self.model.nets["3-7-1"][100, 20] /= 1.2
        chosen = self.chosen_outputs()
        with torch.no_grad():
            values = module(self.patches).numpy()[0][chosen]
        self.assertGreater(self.largest_ratios(values, chosen)[1], 6)

    def test_as_one_product_for_each_shape_are_those_run_one_by_one(self):
        module = nets.Nets.from_model(self.model)
        with torch.no_grad():
            for g, group in enumerate(GROUPS):
                inputs = (self.patches[g] - module._means(g)) * (module._buffer("inside", g) / 64)
                batched = nets._run_batched(inputs, module.groups[g])
                alone = module.raw_outputs(g, self.patches[g])
                self.assertLess((batched - alone).abs().max(), 1e-4 * alone.abs().max())
