"""Cutting chips from photographs."""

import contextlib
import csv
import io
import json
import unittest.mock

import numpy as np
from support import TemporaryFolderTest, face_document
from training_support import needs_pillow

from facefeature import FULL_IDS
from facefeature.training import __main__ as command_line
from facefeature.training import chips, head_model, prepare


@needs_pillow
class Prepare(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.list = self.folder / "list.csv"
        self.archive = self.folder / "chips.npz"

    def write_photo(self, name: str, scale: float) -> np.ndarray:
        """A photograph whose red and green levels rise from 0 to 250 across and down, and the
        landmarks of a face in it."""
        from PIL import Image

        width, height = int(512 * scale), int(600 * scale)
        image = np.zeros((height, width, 3))
        image[..., 0] = np.linspace(0, 250, width)
        image[..., 1] = np.linspace(0, 250, height)[:, None]
        Image.fromarray(np.round(image).astype(np.uint8)).save(
            self.folder / f"{name}.jpg", quality=98, subsampling=0
        )
        document = face_document()
        document["width"], document["height"] = width, height
        for entry in document["landmarks"]:
            entry["x"], entry["y"] = entry["x"] * scale, entry["y"] * scale
        (self.folder / f"{name}.json").write_text(json.dumps(document))
        points = {e["id"]: (e["x"], e["y"]) for e in document["landmarks"]}
        return np.array([points[i] for i in sorted(points)]) / [width - 1, height - 1] * 250

    def run_command(self, *arguments) -> int:
        return command_line.main(["prepare", str(self.list), str(self.archive), *arguments])

    def test_cuts_what_the_patches_read(self):
        levels = {name: self.write_photo(name, scale)
                  for name, scale in (("small", 0.5), ("large", 1.7), ("huge", 3.1))}  # fmt: skip
        self.list.write_text(
            "id,photo,landmarks,person\n"
            "a,small.jpg,small.json,ann\nb,large.jpg,large.json,ben\nc,huge.jpg,huge.json\n"
        )
        self.assertEqual(0, self.run_command("--jobs", "2", "--origin", "made", "--length", "30"))
        made = chips.load(self.archive)
        self.assertEqual(["a", "b", "c"], made.names.tolist())
        self.assertEqual(["ann", "ben", ""], made.people.tolist())
        self.assertEqual(["made"] * 3, made.origins.tolist())
        kept = [i for i, id_ in enumerate(FULL_IDS) if id_ not in (240, 241, 315, 316)]
        for k, name in enumerate(("small", "large", "huge")):
            image = made.image(k).astype(float)
            for (x, y), expected in zip(made.slots[k], levels[name][kept]):
                found = image[int(round(y)), int(round(x)), :2]
                # A pixel of the chip is up to 2.5 levels wide.
                np.testing.assert_allclose(found, expected, atol=3.5, err_msg=name)
            self.assertLess(made.reference_length[k], 30.5)
            length = made.reference_length[k]
            self.assertLessEqual(max(image.shape), 2 * prepare.REACH * length + 4)

    def test_reports_what_can_not_be_used(self):
        self.write_photo("good", 0.5)
        (self.folder / "bad.jpg").write_bytes(b"no photograph")
        (self.folder / "few.json").write_text('{"landmarks": []}')
        self.list.write_text(
            "a,good.jpg,good.json,ann\nb,bad.jpg,good.json,ben\nc,good.jpg,few.json,cid\n"
            "d,gone.jpg,good.json,dan\n"
        )
        self.assertEqual(0, self.run_command("--jobs", "1"))
        self.assertEqual(["a"], chips.load(self.archive).names.tolist())
        with open(self.folder / "chips.npz.failures.csv", newline="") as file:
            failures = {row["id"]: row["reason"] for row in csv.DictReader(file)}
        self.assertEqual({"b", "c", "d"}, set(failures))
        self.assertIn("few.json", failures["c"])
        self.assertIn("gone.jpg", failures["d"])

    def test_continues_after_complete_parts(self):
        self.write_photo("p", 0.5)
        rows = "".join(f"{k},p.jpg,p.json,\n" for k in range(5))
        self.list.write_text(rows)
        with unittest.mock.patch.object(prepare, "_join_parts", side_effect=OSError("full disk")):
            self.assertEqual(1, self.run_command("--jobs", "1", "--part", "2"))
        parts = self.folder / "chips.npz.parts"
        (parts / "000000000002.npz").unlink()
        first = (parts / "000000000000.npz").stat().st_mtime_ns
        with unittest.mock.patch.object(prepare, "_join_parts", side_effect=OSError("full disk")):
            self.run_command("--jobs", "1", "--part", "2")
        self.assertEqual(first, (parts / "000000000000.npz").stat().st_mtime_ns)
        self.assertTrue((parts / "000000000002.npz").exists())
        with unittest.mock.patch.object(prepare, "_pool"):  # nothing is cut again
            self.assertEqual(0, self.run_command("--jobs", "1", "--part", "2"))
        self.assertEqual([str(k) for k in range(5)], chips.load(self.archive).names.tolist())
        self.assertFalse(parts.exists())

    def test_stops_at_once_without_the_program_that_finds_landmarks(self):
        self.write_photo("small", 0.5)
        self.list.write_text("a,small.jpg\n")
        with contextlib.redirect_stderr(io.StringIO()) as messages:
            self.assertEqual(1, self.run_command("--program", str(self.folder / "none")))
        self.assertIn("none: this program finds landmarks and can't be run", messages.getvalue())
        self.assertEqual({"small.jpg", "small.json", "list.csv"},
                         {path.name for path in self.folder.iterdir()})  # fmt: skip
        # It is not needed if every photograph has its landmarks.
        self.list.write_text("a,small.jpg,small.json\n")
        self.assertEqual(0, self.run_command("--program", str(self.folder / "none")))

    def test_refuses_malformed_lists(self):
        for rows in ("a,p.jpg\na,p.jpg\n", "a\n", "a,p.jpg,x.json,ann,more\n", ",p.jpg\n", ""):
            self.list.write_text(rows)
            self.assertEqual(1, self.run_command("--jobs", "1"), rows)


class APhotographsFace(TemporaryFolderTest):
    def test_has_the_reference_length_of_its_eyes_if_it_is_frontal(self):
        points = head_model.POINTS[:, :2] * 7 + [100, 200]
        self.assertAlmostEqual(
            7 * head_model.EYE_DISTANCE, head_model.reference_length(FULL_IDS, points), places=6
        )
