"""Runs of the training: killed and continued, in several processes, and from people only."""

import csv
import json
import signal
import subprocess
import sys
import time

import numpy as np
from support import MODEL, TemporaryFolderTest
from training_support import made_chips, needs_pillow, needs_torch

from facefeature.training import __main__ as command_line
from facefeature.training import chips, model_folder


@needs_torch
@needs_pillow
class ATraining(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.archive = self.folder / "chips.npz"
        chips.save(self.archive, made_chips(self.numbers, people=6))

    def arguments(self, run: str, *more: str) -> list:
        return [
            "train", str(self.archive), str(self.folder / run), "--batch", "2", "--threads", "1",
            "--warm-up", "2", "--log-steps", "1", "--held-out-share", "0.34", *more,
        ]  # fmt: skip

    def train(self, run: str, *more: str) -> int:
        return command_line.main(self.arguments(run, *more))

    def arrays(self, run: str) -> dict:
        result = {}
        for name in ("nets.npz", "projection.npz"):
            with np.load(self.folder / run / name) as archive:
                result.update({key: archive[key] for key in archive.files})
        return result

    def rows(self, run: str) -> list:
        with open(self.folder / run / "losses.csv", newline="") as file:
            rows = list(csv.DictReader(file))
        for row in rows:
            del row["seconds"]
        return rows

    def test_that_was_killed_ends_as_if_it_had_not_been(self):
        steps = ("--steps", "4", "--checkpoint-steps", "3", "--validate-steps", "2")
        self.assertEqual(0, self.train("whole", *steps))
        command = [sys.executable, "-m", "facefeature.training"]
        killed = subprocess.Popen(
            command + self.arguments("killed", *steps), stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )  # fmt: skip
        try:
            limit = time.monotonic() + 600
            while not (self.folder / "killed/checkpoint.pt").exists() and killed.poll() is None:
                self.assertLess(time.monotonic(), limit)
                time.sleep(0.02)
        finally:
            killed.send_signal(signal.SIGKILL)
            killed.wait()
        self.assertFalse((self.folder / "killed/nets.npz").exists())
        self.assertEqual(0, self.train("killed", *steps))
        self.assertEqual(self.rows("whole"), self.rows("killed"))
        expected, continued = self.arrays("whole"), self.arrays("killed")
        for name, values in expected.items():
            np.testing.assert_array_equal(values, continued[name], name)

        self.assertEqual(4, len(self.rows("whole")))
        self.assertTrue(self.rows("whole")[1]["held_out_eer"])
        self.assertEqual(1, self.train("whole", *steps, "--rate", "0.5"), "other settings")
        summary = json.loads((self.folder / "whole/run.json").read_text())
        self.assertEqual((8, 4), (summary["counts"]["chips"], summary["counts"]["held_out_chips"]))
        self.assertTrue(summary["finished"])

        model = self.folder / "model"
        self.assertEqual(0, command_line.main(["write", str(self.folder / "whole"), str(model),
                                               "--half"]))  # fmt: skip
        written = model_folder.read(model)
        np.testing.assert_array_equal(
            expected["cross"].astype(np.float16), written.cross_projection
        )
        np.testing.assert_array_equal(expected["3-20-1"].astype(np.float16), written.nets["3-20-1"])

    def test_lowers_its_loss(self):
        self.assertEqual(0, self.train("run", "--steps", "5", "--no-noise", "--batch", "8",
                                       "--rate", "3e-4"))  # fmt: skip
        losses = [float(row["loss"]) for row in self.rows("run")]
        self.assertLess(losses[-1], 0.9 * losses[0])

    def test_starts_from_a_model(self):
        self.assertEqual(0, self.train("run", "--steps", "1", "--rate", "0", "--start", MODEL))
        model, arrays = model_folder.read(MODEL), self.arrays("run")
        for name, values in model.nets.items():
            np.testing.assert_array_equal(values, arrays[name], name)
        np.testing.assert_array_equal(model.cross_projection, arrays["cross"])
        np.testing.assert_array_equal(model.mean, arrays["mean"])

    def test_learns_from_people_alone(self):
        made = chips.load(self.archive)
        chips.save(self.archive, made.with_teacher(None))
        self.assertEqual(1, self.train("run", "--steps", "2"), "there is no teacher")
        self.assertEqual(0, self.train("run", "--steps", "2", "--learn", "people"))
        for row in self.rows("run"):
            self.assertGreater(float(row["people"]), 0)
            self.assertEqual("", row["teacher"])

    def test_in_two_processes_is_one_with_twice_the_batch(self):
        # Losses that are means over faces: the mean of the two halves is that of the whole.
        settings = (
            "--steps", "2", "--no-noise", "--relation-weight", "0", "--precision", "float32",
            "--average", "0", "--validate-steps", "100", "--rate", "1e-5",
        )  # fmt: skip
        together = [
            sys.executable, "-m", "torch.distributed.run", "--standalone", "--nproc_per_node", "2",
            # Under Python 3.11, PyTorch 1.13 misreads its own defaults of these two.
            "--redirects", "9:3", "--tee", "9:3",
            "-m", "facefeature.training", *self.arguments("two", *settings),
        ]  # fmt: skip
        done = subprocess.run(together, capture_output=True, text=True, timeout=300)
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertEqual(0, self.train("one", *settings, "--batch", "4"))
        one, two = self.arrays("one"), self.arrays("two")
        for name, values in one.items():
            self.assertLess(abs(values - two[name]).max(), 1e-4, name)
            if name == "mean" or (name.endswith("-2") and not name.startswith("5-")):
                # They start at 0, so they are what was learned. The optimiser divides by the
                # size of a gradient: rounding may change the sign of a tiny one.
                differs = abs(values - two[name]) > 1e-2 * abs(values).max()
                self.assertLess(differs.mean(), 0.05, name)
        counts = json.loads((self.folder / "two/run.json").read_text())["settings"]
        self.assertEqual(2, counts["processes"])
