"""The evaluation, its plots, and the card of a model."""

import contextlib
import importlib.util
import io
import json
import unittest

import numpy as np
from support import MODEL, TemporaryFolderTest, run_program
from training_support import made_chips, needs_pillow, needs_torch

import facefeature
from facefeature.training import chips, report
from facefeature.training.__main__ import main
from facefeature.training.evaluation import EvaluationError, Rate

RUN = {
    "settings": {"steps": 100, "batch": 32, "seed": 2, "rate": 0.0025, "archives": ["chips.npz"],
                 "noise": {"pose": 1.0, "light": 0.5}},
    "counts": {"chips": 5000, "held_out_chips": 16, "people": 4800, "held_out_people": 8},
    "step": 100, "finished": True, "seconds": 90.0, "device": "cpu",
    "held_out_people": [f"person {k}" for k in range(8)],
}  # fmt: skip
LOSSES = (
    "step,rate,loss,teacher,people,held_out_eer\n10,.001,3.5,2.5,,\n100,.002,1.25,0.75,,0.125\n"
)


@unittest.skipUnless(
    importlib.util.find_spec("matplotlib") and importlib.util.find_spec("scipy"),
    "matplotlib and SciPy are not installed (tools/install-packages training)",
)
@needs_torch
@needs_pillow
class AReport(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.run_folder = self.folder / "run"
        self.run_folder.mkdir()
        (self.run_folder / "run.json").write_text(json.dumps(RUN), encoding="utf-8")
        (self.run_folder / "losses.csv").write_text(LOSSES, encoding="utf-8")
        self.archive, self.output = self.folder / "chips.npz", self.folder / "report"
        chips.save(self.archive, made_chips(self.numbers, people=12))

    def kit(self, *arguments):
        """Exit status and standard output of a command."""
        with contextlib.redirect_stdout(io.StringIO()) as output:
            status = main([str(argument) for argument in arguments])
        return status, output.getvalue()

    def evaluate(self, *options):
        return self.kit("evaluate", self.archive, "--model", MODEL, "-o", self.output,
                        "--replicates", 20, *options)  # fmt: skip

    def read(self):
        return json.loads((self.output / "report.json").read_text(encoding="utf-8"))

    def test_is_of_the_people_held_out_by_the_run(self):
        self.assertEqual(0, self.evaluate("--run", self.run_folder)[0])
        document = self.read()
        self.assertEqual((16, 8, 8), tuple(document[k] for k in
                         ("photographs", "people", "genuine_pairs")))  # fmt: skip
        self.assertEqual("held out by the run", document["unseen"])
        for name in ("det.png", "scores.png", "losses.png"):
            self.assertEqual(b"\x89PNG", (self.output / name).read_bytes()[:4], name)

    def test_of_all_people_is_made_if_the_caller_says_that_they_are_new(self):
        self.assertEqual(0, self.evaluate("--unseen")[0])
        self.assertEqual((24, "stated by the caller"),
                         (self.read()["photographs"], self.read()["unseen"]))  # fmt: skip
        with contextlib.redirect_stderr(io.StringIO()), self.assertRaises(SystemExit):
            self.evaluate()

    def test_has_the_rates_of_the_program(self):
        chips.save(self.archive, made_chips(self.numbers, people=60))
        self.evaluate("--unseen")
        ours, page = self.read(), self.output / "page.html"
        run_program("evaluate", self.output / "features.gallery", "--people",
                    self.output / "people.csv", "--replicates", 100, "-o", page)  # fmt: skip
        theirs = json.loads(page.with_suffix(".json").read_text(encoding="utf-8"))
        self.assertAlmostEqual(
            theirs["equal_error_rate"]["value"], ours["equal_error_rate"]["value"], places=9
        )
        reported = 0
        for our, their in zip(ours["accept_rates"], theirs["accept_rates"]):
            self.assertEqual(our["accepted"] is None, "refused" in their)
            if our["accepted"]:
                self.assertAlmostEqual(their["value"], our["accepted"]["value"], places=9)
                reported += 1
        self.assertGreaterEqual(reported, 2)

    def test_of_people_who_were_all_trained_with_is_refused(self):
        document = dict(RUN, held_out_people=["somebody else"])
        (self.run_folder / "run.json").write_text(json.dumps(document), encoding="utf-8")
        self.assertEqual(1, self.evaluate("--run", self.run_folder)[0])
        self.assertFalse(self.output.exists())

    def test_is_in_the_card(self):
        self.evaluate("--run", self.run_folder)
        status, card = self.kit(
            "card", self.run_folder, "--model", MODEL, "--name", "test", "--data", "noise",
            "--evaluation", self.output / "report.json",
        )  # fmt: skip
        self.assertEqual(0, status)
        document = self.read()
        for text in (
            '# The model "test"', facefeature.model_fingerprint(MODEL), "| photographs | noise |",
            "| licence of this model | unknown |", "| chips trained with | 5,000 |",
            "| steps | 100 of 100 |", "| seed | 2 |", "| rate | 0.0025 |",
            "| noise | pose 1, light 0.5 |", "| loss | 1.25 |",
            "16 photographs of 8 people (held out by the run)",
            f"| equal error rate | {report.percent(Rate(**document['equal_error_rate']))} |",
            "| accepted at a false match rate of 0.01 % | too few pairs |",
        ):  # fmt: skip
            self.assertIn(text, card)

    def test_of_another_model_is_not_taken_into_the_card(self):
        self.evaluate("--unseen")
        document = dict(self.read(), model="0" * 64)
        (self.output / "report.json").write_text(json.dumps(document), encoding="utf-8")
        status, card = self.kit("card", self.run_folder, "--model", MODEL,
                                "--evaluation", self.output / "report.json")  # fmt: skip
        self.assertEqual((1, ""), (status, card))

    def test_that_is_missing_is_said_to_be(self):
        status, card = self.kit("card", self.run_folder, "--model", MODEL)
        self.assertEqual(0, status)
        self.assertIn("Not measured.", card)
        with self.assertRaisesRegex(EvaluationError, "run.json"):
            report.read_run(self.folder)

    def test_reads_losses_with_empty_fields(self):
        columns = report.read_losses(self.run_folder / "losses.csv")
        np.testing.assert_array_equal([10, 100], columns["step"])
        np.testing.assert_array_equal([np.nan, 0.125], columns["held_out_eer"])
        self.assertEqual(["loss", "teacher"], report.loss_names(columns))


if __name__ == "__main__":
    unittest.main()
