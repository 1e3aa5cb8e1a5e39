"""Archives of chips and model folders: reading returns what was written."""

import dataclasses
import unittest

import numpy as np
from support import MODEL, TemporaryFolderTest, run_program
from training_support import made_chips, needs_pillow, needs_torch

import facefeature
from facefeature.training import chips, model_folder


@needs_pillow
class ChipArchives(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.chips = made_chips(self.numbers, people=3)

    def assert_equal_chips(self, expected, actual):
        for field in dataclasses.fields(chips.Chips):
            np.testing.assert_array_equal(
                getattr(expected, field.name), getattr(actual, field.name), field.name
            )

    def test_are_read_as_they_were_written(self):
        path = self.folder / "chips.npz"
        chips.save(path, self.chips)
        self.assert_equal_chips(self.chips, chips.load(path))
        self.assertEqual([path], list(self.folder.iterdir()))

    def test_parts_joined_are_the_whole(self):
        parts = [self.chips.select([0, 1]), self.chips.select([2]), self.chips.select([3, 4, 5])]
        self.assert_equal_chips(self.chips, chips.concatenate(parts))

    def test_images_of_several_threads_are_those_of_one(self):
        alone, sizes = self.chips.images(range(6), side=216)
        together, _ = self.chips.images(range(6), side=216, threads=3)
        np.testing.assert_array_equal(alone, together)
        np.testing.assert_array_equal([[180, 200]] * 6, sizes)
        self.assertEqual((6, 3, 216, 216), alone.shape)
        np.testing.assert_array_equal(
            self.chips.image(4), alone[4, :, :200, :180].transpose(1, 2, 0)
        )
        self.assertFalse(alone[:, :, 200:].any() or alone[..., 180:].any())

    def test_that_do_not_fit_together_are_refused(self):
        path = self.folder / "chips.npz"
        for name, value in {
            "slots": self.chips.slots[:-1],
            "offsets": self.chips.offsets[::-1],
            "teacher": self.chips.teacher[:2],
            "people": self.chips.people[:1],
        }.items():
            chips.save(path, dataclasses.replace(self.chips, **{name: value}))
            with self.assertRaisesRegex(chips.ChipError, f"chips.npz.*{name}"):
                chips.load(path)
        path.write_bytes(b"nothing of the kind")
        with self.assertRaisesRegex(chips.ChipError, "can't be read"):
            chips.load(path)


class ModelFolders(TemporaryFolderTest):
    def test_are_written_as_they_were_read(self):
        model_folder.write(model_folder.read(MODEL), self.folder / "copy")
        self.assertEqual(
            facefeature.model_fingerprint(MODEL),
            facefeature.model_fingerprint(self.folder / "copy"),
        )
        self.assertEqual(303, len(list((self.folder / "copy").iterdir())))
        run_program("model", "check", self.folder / "copy")

    def test_rounding_keeps_half_precision(self):
        model = model_folder.rounded(model_folder.read(MODEL))
        for values in [*model.nets.values(), model.mean, model.cross_projection]:
            np.testing.assert_array_equal(values.astype(np.float16).astype(np.float32), values)
        again = model_folder.rounded(model)
        np.testing.assert_array_equal(model.self_projection, again.self_projection)

    def test_values_that_are_not_finite_are_refused(self):
        model = model_folder.read(MODEL)
        model.nets["3-7-1"][5, 6] = np.nan
        with self.assertRaisesRegex(facefeature.ModelError, "3-7-1"):
            model_folder.write(model, self.folder / "new")
        self.assertFalse((self.folder / "new").exists())
        model.nets["3-7-1"][5, 6] = 70000
        with self.assertRaisesRegex(facefeature.ModelError, "3-7-1.*half"):
            model_folder.rounded(model)

    def test_of_another_shape_are_refused(self):
        model_folder.write(model_folder.read(MODEL), self.folder)
        path = self.folder / "5-2-1"
        path.write_bytes(path.read_bytes()[:-4])
        with self.assertRaisesRegex(facefeature.ModelError, "5-2-1"):
            model_folder.read(self.folder)
        path.unlink()
        with self.assertRaisesRegex(facefeature.ModelError, "5-2-1"):
            model_folder.read(self.folder)


@needs_torch
class NetsOfAModel(unittest.TestCase):
    def test_give_its_arrays_back(self):
        from facefeature.training.nets import Nets

        model = model_folder.read(MODEL)
        arrays = Nets.from_model(model).arrays()
        self.assertEqual(list(model.nets), list(arrays))
        for name, expected in model.nets.items():
            np.testing.assert_array_equal(expected, arrays[name], name)
