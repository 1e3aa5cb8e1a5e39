"""Compares patches sampled in PyTorch with those of the library's own geometry."""

import unittest

import numpy as np
from support import ROOT, SeededTest, face_document
from training_support import needs_pillow, needs_torch, upright_slots

from facefeature import FULL_IDS
from facefeature.training import head_model
from facefeature.training.patch_table import GROUPS, PATCHES

try:
    import torch
    from facefeature.training import library_geometry, nets, patches
except ModuleNotFoundError:
    torch = None

SAMPLES = ROOT.parent / "shared/samples"
_KEPT = [i for i in FULL_IDS if i not in (240, 241, 315, 316)]


def full_landmarks() -> np.ndarray:
    points = {entry["id"]: (entry["x"], entry["y"]) for entry in face_document()["landmarks"]}
    return np.array([points[i] for i in FULL_IDS])


def one_face(image: np.ndarray, points: np.ndarray) -> "patches.Faces":
    """points: one for each of FULL_IDS."""
    record = [(i, *p) for i, p in zip(FULL_IDS, points)]
    slots = np.array([p for i, p in zip(FULL_IDS, points) if i in _KEPT], np.float32)
    height, width = image.shape[:2]
    side = max(width, height)
    padded = np.zeros((3, side, side), np.uint8)
    padded[:, :height, :width] = image.transpose(2, 0, 1)
    return patches.Faces(
        torch.from_numpy(padded)[None], torch.tensor([[width, height]]),
        torch.from_numpy(slots)[None],
        torch.tensor([library_geometry.reference_length(record)], dtype=torch.float32),
    )  # fmt: skip


def by_patch(sampled: "patches.Patches") -> list:
    """Samples of one face in the library's order, with blank margins."""
    result = [None] * len(PATCHES)
    for group, values in zip(GROUPS, sampled):
        blanked = values * nets._inside(group)
        for row, patch in enumerate(group):
            result[patch] = blanked[row].numpy()
    return result


@needs_torch
class PatchesOfAFace(SeededTest):
    def library(self, image, points):
        return library_geometry.library_patches(image, [(i, *p) for i, p in zip(FULL_IDS, points)])

    def assert_the_librarys_to_the_bit(self, image, points):
        sampled = by_patch(patches.library_patches(one_face(image, points)))
        for patch, (expected, actual) in enumerate(zip(self.library(image, points), sampled)):
            self.assertEqual(expected.tobytes(), (actual + 0.0).tobytes(), f"patch {patch}")

    def test_are_bit_identical_for_any_picture_and_landmarks(self):
        numbers = self.numbers
        for trial in range(40):
            width, height = numbers.integers(2, 400, 2)
            image = numbers.integers(0, 256, (height, width, 3), np.uint8)
            points = full_landmarks() - 250
            angle, scale = numbers.uniform(-3, 3), np.exp(numbers.uniform(-2.5, 1))
            turn = np.array([[np.cos(angle), np.sin(angle)], [-np.sin(angle), np.cos(angle)]])
            points = scale * points @ turn + numbers.uniform(-0.3, 1.3, 2) * [width, height]
            points += numbers.normal(0, 4 * scale, points.shape)
            with self.subTest(trial=trial):
                self.assert_the_librarys_to_the_bit(image, points.astype(np.float32))

    def test_of_several_faces_are_those_of_each(self):
        faces = [
            one_face(self.numbers.integers(0, 256, (200, 200, 3), np.uint8),
                     full_landmarks() / 3 + self.numbers.normal(0, 1, 2))
            for _ in range(3)
        ]  # fmt: skip
        together = patches.library_patches(
            patches.Faces(*(torch.cat(values) for values in zip(*faces)))
        )
        for k, face in enumerate(faces):
            for all_faces, alone in zip(together, patches.library_patches(face)):
                self.assertTrue(torch.equal(all_faces[:, [k, 3 + k]], alone))

    @needs_pillow
    def test_are_bit_identical_for_photographs(self):
        for image, points in self.photographs():
            self.assert_the_librarys_to_the_bit(image, points)

    @needs_pillow
    def test_for_training_are_within_a_level_and_not_shifted(self):
        for image, points in self.photographs():
            sampled = by_patch(patches.training_patches(one_face(image, points)))
            for patch, (expected, actual) in enumerate(zip(self.library(image, points), sampled)):
                difference = actual - expected
                self.assertLessEqual(np.median(abs(difference)), 1, f"patch {patch}")
                # A shift of (dx, dy) would differ by dx and dy times the slopes.
                down, across = np.gradient(expected, axis=(2, 3))
                inner = np.s_[..., 8:-8, 8:-8]
                slopes = np.stack([across[inner].ravel(), down[inner].ravel()], 1)
                usual = abs(difference[inner].ravel()) < 5  # the rest is outside the photograph
                shift = np.linalg.lstsq(slopes[usual], difference[inner].ravel()[usual], rcond=None)
                self.assertLess(abs(shift[0]).max(), 0.05, f"patch {patch}")

    def photographs(self):
        from PIL import Image

        import facefeature

        names = sorted(SAMPLES.glob("*.json"))
        if not names:
            self.skipTest("../shared/samples is not there")
        for path in names:
            photograph = next(p for p in SAMPLES.glob(path.stem + ".*") if p.suffix != ".json")
            entries = facefeature.read_landmarks(path).entries
            points = {int(i): (x, y) for i, x, y in entries}
            with self.subTest(photograph=photograph.name), Image.open(photograph) as picture:
                yield np.asarray(picture.convert("RGB")), np.array([points[i] for i in FULL_IDS])


@needs_torch
class TheRigidHead(SeededTest):
    def test_gives_the_librarys_reference_length(self):
        for _ in range(50):
            points = full_landmarks() + self.numbers.normal(0, 5, (29, 2))
            ids = self.numbers.permutation(29)
            record = [(FULL_IDS[i], *points[i]) for i in ids]
            length = head_model.reference_length([FULL_IDS[i] for i in ids], points[ids])
            self.assertAlmostEqual(
                1, length / library_geometry.reference_length(record), delta=1e-4
            )


class ThePatchTable(unittest.TestCase):
    def test_mirrors_each_patch_at_the_partner_of_its_landmark(self):
        for patch in PATCHES:
            self.assertEqual(patch.mirror, head_model.MIRRORED_SLOTS[patch.center])
        for slot, partner in enumerate(head_model.MIRRORED_SLOTS):
            self.assertEqual(slot, head_model.MIRRORED_SLOTS[partner])

    def test_has_the_landmarks_of_upright_faces_on_their_sides(self):
        slots = upright_slots()
        for slot, partner in enumerate(head_model.MIRRORED_SLOTS):
            left = head_model.SLOT_POINTS[slot, 0] < head_model.SLOT_POINTS[partner, 0]
            self.assertEqual(left, slots[slot, 0] < slots[partner, 0])
