"""The noise of training: what it does not change, and that landmarks move with the picture."""

import unittest

import numpy as np
from support import SeededTest
from training_support import needs_torch, upright_slots

from facefeature.training import head_model

try:
    import torch
    import torch.nn.functional as F
    from facefeature.training.augment import Noise
    from facefeature.training.patches import Faces
except ModuleNotFoundError:
    torch = None

SIDE = 220
WIDTH, HEIGHT = 200, 180


@needs_torch
class Noises(SeededTest):
    def faces(self, count: int = 8) -> "Faces":
        """A picture whose red and green levels are its x and y."""
        image = np.zeros((3, SIDE, SIDE), np.float32)
        image[0, :HEIGHT, :WIDTH] = np.arange(WIDTH)
        image[1, :HEIGHT, :WIDTH] = np.arange(HEIGHT)[:, None]
        slots = upright_slots() + self.numbers.normal(0, 0.5, (count, 25, 2))
        return Faces(
            torch.from_numpy(image).expand(count, -1, -1, -1).clone(),
            torch.tensor([[WIDTH, HEIGHT]] * count), torch.from_numpy(slots.astype(np.float32)),
            torch.full((count,), 36.0),
        )  # fmt: skip

    def generator(self) -> "torch.Generator":
        return torch.Generator().manual_seed(int(self.numbers.integers(2**31)))

    def test_of_no_amount_change_nothing(self):
        faces = self.faces()
        for before, after in zip(faces, Noise.none().apply(faces, self.generator())):
            self.assertTrue(torch.equal(before, after))

    def test_are_repeated_by_their_seed(self):
        faces = self.faces()
        first, second = (Noise().apply(faces, torch.Generator().manual_seed(5)) for _ in range(2))
        other = Noise().apply(faces, torch.Generator().manual_seed(6))
        for a, b in zip(first, second):
            self.assertTrue(torch.equal(a, b))
        self.assertFalse(torch.equal(first.slots, other.slots))
        self.assertFalse(torch.equal(first.images, other.images))

    def test_leave_faces_and_levels_plausible(self):
        after = Noise().apply(self.faces(64), self.generator())
        self.assertTrue(torch.isfinite(after.images).all() and torch.isfinite(after.slots).all())
        self.assertGreaterEqual(after.images.min(), 0)
        self.assertLessEqual(after.images.max(), 255)
        moved = (after.slots - self.faces(1).slots).norm(dim=2)
        self.assertLess(moved.max(), 3 * 36)
        self.assertGreater(moved.max(), 1)

    def test_of_pose_and_expression_move_landmarks_with_the_picture(self):
        faces = self.faces(64)
        for noise in (Noise(True, 1, 0, 0, 0, 0), Noise(False, 0, 1, 0, 0, 0),
                      Noise(True, 1.5, 1.5, 0, 0, 0)):  # fmt: skip
            after = noise.apply(faces, self.generator())
            grid = after.slots / (SIDE - 1) * 2 - 1
            levels = F.grid_sample(after.images, grid[:, None], align_corners=True)[:, :2, 0]
            # The old position of each landmark, or of its mirror image if the face is mirrored.
            was = levels.transpose(1, 2)
            straight = (was - faces.slots).abs().amax((1, 2))
            mirrored = (was - faces.slots[:, head_model.MIRRORED_SLOTS]).abs().amax((1, 2))
            self.assertLess(torch.minimum(straight, mirrored).max(), 0.6)
            self.assertEqual(noise.mirror, bool((mirrored < straight).any()))
            self.assertTrue((straight < mirrored).any())
            self.assertGreater((after.slots - faces.slots).norm(dim=2).max(), 0.5)

    def test_of_pose_turn_the_head_and_keep_its_size(self):
        faces = self.faces(64)
        after = Noise(False, 1, 0, 0, 0, 0).apply(faces, self.generator())
        turns = []
        for before, turned in zip(faces.slots.double().numpy(), after.slots.double().numpy()):
            first, rows = head_model.fit_rows(before, head_model.SLOT_POINTS)
            second, new_rows = head_model.fit_rows(turned, head_model.SLOT_POINTS)
            self.assertAlmostEqual(1, second / first, delta=0.12)
            cosine = np.cross(*rows) @ np.cross(*new_rows)
            turns.append(np.degrees(np.arccos(np.clip(cosine, -1, 1))))
        self.assertGreater(np.mean(turns), 3)
        self.assertLess(np.max(turns), 45)

    def test_of_occlusion_and_light_leave_landmarks(self):
        faces = self.faces(64)
        after = Noise(False, 0, 0, 1, 1, 0).apply(faces, self.generator())
        self.assertTrue(torch.equal(faces.slots, after.slots))
        changed = (after.images - faces.images).abs().mean((1, 2, 3))
        self.assertGreater(changed.min(), 0.5)


if __name__ == "__main__":
    unittest.main()
