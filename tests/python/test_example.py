"""The example, with generated pictures and the synthetic model."""

import os
import subprocess
import sys
import unittest

import matplotlib.image
import numpy as np
from support import LANDMARK_FILE, MODEL, ROOT, TemporaryFolderTest, made_picture

import facefeature


class TheFirstHour(TemporaryFolderTest):
    def run_example(self, *arguments):
        script = ROOT / "examples/python/first_hour.py"
        return subprocess.run(
            [sys.executable, script, *map(str, arguments)], capture_output=True, text=True,
            env={**os.environ, "MPLCONFIGDIR": str(self.folder)},
        )  # fmt: skip

    def test_ends_in_a_gallery_and_a_picture(self):
        bright, noisy = made_picture(self.numbers), made_picture(self.numbers)
        matplotlib.image.imsave(self.folder / "bright.png", bright)
        matplotlib.image.imsave(self.folder / "noisy.png", noisy)
        pairs = []
        for name in ("bright.png", "noisy.png", "bright.png"):
            pairs += [self.folder / name, LANDMARK_FILE]
        result = self.run_example(MODEL, self.folder / "scores.png", *pairs)
        self.assertEqual(0, result.returncode, result.stderr)

        gallery = facefeature.Gallery(self.folder / "scores.gallery")
        self.assertEqual(("1 bright.png", "2 noisy.png", "3 bright.png"), gallery.ids)
        self.assertEqual(facefeature.model_fingerprint(MODEL), gallery.fingerprint)
        with facefeature.Engine(model=MODEL) as engine:
            expected = engine.extract(bright, LANDMARK_FILE, channels="RGB")
        self.assertEqual(expected.tobytes(), gallery.features[0].tobytes())
        self.assertEqual(expected.tobytes(), gallery.features[2].tobytes())
        score = facefeature.compare(gallery.features[0], gallery.features[1])
        self.assertIn(f"{score:8.3f}", result.stdout)

        picture = matplotlib.image.imread(self.folder / "scores.png")
        self.assertGreater(np.unique(picture.reshape(-1, picture.shape[2]), axis=0).shape[0], 10)

    def test_says_how_it_is_called(self):
        result = self.run_example(MODEL)
        self.assertEqual(1, result.returncode)
        self.assertIn("first_hour.py MODEL OUTPUT.png PHOTO LANDMARKS", result.stderr)


if __name__ == "__main__":
    unittest.main()
