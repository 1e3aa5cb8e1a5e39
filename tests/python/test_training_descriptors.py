"""Descriptors of a teacher: aligned faces, any function as a teacher, and the teacher from npm."""

import os
import shutil
import sys
import unittest
from pathlib import Path

import numpy as np
from support import SeededTest, TemporaryFolderTest, face_document
from training_support import SIDES, made_chips, needs_pillow

from facefeature.training import chips, descriptors
from facefeature.training.__main__ import main

PACKAGES = os.environ.get("FACEFEATURE_FACE_API", "")

needs_face_api = unittest.skipUnless(
    shutil.which("node") and (Path(PACKAGES) / "node_modules/@vladmandic/face-api").is_dir(),
    "FACEFEATURE_FACE_API names no folder with the npm packages (see the help of descriptors)",
)


def mean_color(faces):
    """A teacher: three numbers per face."""
    return faces.reshape(len(faces), -1, 3).mean(axis=1).astype(np.float32)


def interrupted(faces):
    """A teacher that fails after its second call."""
    interrupted.calls += 1
    if interrupted.calls > 2:
        raise descriptors.TeacherError("enough")
    return mean_color(faces)


def wrong_shape(faces):
    return np.zeros((len(faces) + 1, 3), np.float32)


@needs_pillow
class AlignedFaces(SeededTest):
    def setUp(self):
        super().setUp()
        self.chips = made_chips(self.numbers, people=4)

    def test_have_the_landmarks_where_the_teacher_expects_them(self):
        """Chips with two ramps: the red and green of a pixel encode its position in the chip."""
        from PIL import Image

        columns, rows = np.meshgrid(np.arange(200), np.arange(200))
        ramps = np.stack([columns, rows, 0 * rows], axis=2).astype(np.uint8)
        made = self.chips.select([0])
        slots = made.slots[0, [18, 16, 19, 21, 15]].astype(np.float64)
        for turn in (1, np.exp(0.4j)):
            turned = (slots - 100) @ np.array([[1, 1j]]).T * turn
            points = np.hstack([turned.real, turned.imag]) + 100
            made.slots[0, [18, 16, 19, 21, 15]] = points
            ramp_chips = _WithImage(made, ramps)
            face = descriptors.aligned_faces(ramp_chips, [0])[0]
            # The points of a real face differ from the template's by this much after the best
            # similarity.
            x, y = np.round(descriptors.FACE_POINTS).astype(int).T
            residual = face[y, x, :2].astype(float) - points
            self.assertLess(np.abs(residual.mean(axis=0)).max(), 0.75)
            self.assertLess(np.abs(residual).max(), 4)
        self.assertEqual((150, 150), Image.fromarray(face).size)

    def test_of_odd_views_are_mirrored(self):
        plain, mirrored, third = (
            descriptors.aligned_faces(self.chips, [1], view)[0].astype(int) for view in (0, 1, 2)
        )
        # A view also moves the face a little, so the pictures are similar, not equal.
        apart = np.abs(plain - mirrored[:, ::-1]).mean()
        self.assertLess(apart, 0.7 * np.abs(plain - mirrored).mean())
        self.assertLess(np.abs(plain - third).mean(), 0.7 * np.abs(plain - mirrored).mean())
        self.assertGreater(np.abs(plain - third).mean(), 0)

    def test_of_a_view_repeat_with_the_seed(self):
        first = descriptors.aligned_faces(self.chips, [2, 3], view=3, seed=5)
        np.testing.assert_array_equal(
            first[1:], descriptors.aligned_faces(self.chips, [3], view=3, seed=5)
        )
        other = descriptors.aligned_faces(self.chips, [2, 3], view=3, seed=6)
        self.assertTrue((first != other).any())


class _WithImage:
    """Chips that all have the same picture, without the loss of JPEG."""

    def __init__(self, archive, picture):
        self.slots = archive.slots
        self._picture = picture

    def image(self, index):
        return self._picture


@needs_pillow
class TheCommand(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        sys.path.insert(0, str(Path(__file__).parent))
        self.addCleanup(sys.path.remove, str(Path(__file__).parent))
        self.chips = made_chips(self.numbers, people=25)
        self.archive, self.output = self.folder / "chips.npz", self.folder / "taught.npz"
        chips.save(self.archive, self.chips)

    def describe(self, *options):
        arguments = ["descriptors", self.archive, "-o", self.output, *options]
        return main([str(argument) for argument in arguments])

    def test_takes_an_array(self):
        rows = self.numbers.normal(size=(50, 7)).astype(np.float32)
        np.save(self.folder / "rows.npy", rows)
        self.assertEqual(0, self.describe("--npy", self.folder / "rows.npy"))
        np.testing.assert_array_equal(rows, chips.load(self.output).teacher)
        np.save(self.folder / "rows.npy", rows[1:])
        self.assertEqual(1, self.describe("--npy", self.folder / "rows.npy"))
        (self.folder / "rows.npy").write_bytes(b"0,1,2")
        self.assertEqual(1, self.describe("--npy", self.folder / "rows.npy"))

    def test_takes_a_function(self):
        self.assertEqual(0, self.describe("--python", "test_training_descriptors:mean_color",
                                          "--views", 2, "--workers", 2))  # fmt: skip
        views = [descriptors.aligned_faces(self.chips, range(50), view) for view in (0, 1)]
        expected = np.mean([mean_color(faces) for faces in views], axis=0, dtype=np.float64)
        np.testing.assert_allclose(chips.load(self.output).teacher, expected, rtol=1e-6)

    def test_continues_a_run_that_was_stopped(self):
        import test_training_descriptors as functions  # the copy that the command imports

        functions.interrupted.calls = 0
        name = "test_training_descriptors:interrupted"
        self.assertEqual(1, self.describe("--python", name))
        self.assertFalse(self.output.exists())
        journal = self.folder / "taught.npz.descriptors"
        with open(journal, "ab") as file:  # a record that was truncated while it was written
            file.write(journal.read_bytes()[100:300])
        functions.interrupted.calls = -9
        self.assertEqual(0, self.describe("--python", name))
        self.assertEqual(-7, functions.interrupted.calls)  # 50 chips in batches of 16: 2 + 2 calls
        expected = mean_color(descriptors.aligned_faces(self.chips, range(50)))
        np.testing.assert_array_equal(expected, chips.load(self.output).teacher)
        self.assertFalse(journal.exists())

    def test_refuses_an_answer_of_another_shape(self):
        self.assertEqual(1, self.describe("--python", "test_training_descriptors:wrong_shape"))
        self.assertFalse(self.output.exists())

    def test_says_so_when_the_packages_are_missing(self):
        if not shutil.which("node"):
            self.skipTest("node is not installed")
        self.assertEqual(1, self.describe("--face-api", self.folder))


@needs_face_api
@needs_pillow
class TheNetworkFromNpm(SeededTest):
    def test_knows_a_face_again(self):
        """A photograph from a Debian package, among faces that are noise."""
        from matplotlib import cbook
        from PIL import Image

        points = {entry["id"]: (entry["x"], entry["y"]) for entry in face_document()["landmarks"]}
        slots = np.array([points[i] for i in sorted(points) if i not in SIDES], np.float32)
        with cbook.get_sample_data("grace_hopper.jpg") as file:
            picture = np.asarray(Image.open(file).convert("RGB"))

        class OneFace:
            def image(self, index):
                return picture

        face = OneFace()
        face.slots = slots[np.newaxis]
        faces = np.concatenate([descriptors.aligned_faces(face, [0], view) for view in range(4)])
        others = self.numbers.integers(0, 256, faces.shape).astype(np.uint8)
        teacher = descriptors.FaceApiTeacher(PACKAGES)
        self.addCleanup(teacher.close)
        own, noise = teacher(faces), teacher(others)
        np.testing.assert_array_equal(own[2:], teacher(faces[2:]))
        # The network's author treats two faces at a distance below 0.6 as one person.
        distances = np.linalg.norm(own[:, None] - own[None], axis=2)
        self.assertLess(distances.max(), 0.4)
        self.assertGreater(np.linalg.norm(own[:, None] - noise[None], axis=2).min(), 0.6)


if __name__ == "__main__":
    unittest.main()
