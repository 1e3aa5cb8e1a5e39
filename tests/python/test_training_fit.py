"""The joint Bayesian model, its projections, and fits to photographs of people."""

import json
import unittest
from math import sqrt
from unittest import mock

import numpy as np
from support import MODEL, SeededTest, TemporaryFolderTest, run_program
from training_support import made_chips, needs_pillow, needs_torch

import facefeature
from facefeature.training import basis, evaluation, fitting, joint_bayesian, model_folder, outputs
from facefeature.training.joint_bayesian import Covariances
from facefeature.training.outputs import Outputs
from facefeature.training.projection import Projection, padded

try:
    import scipy.stats
except ModuleNotFoundError as error:
    raise unittest.SkipTest("SciPy is not installed (tools/install-packages training)") from error

UNIT = 2.0**-24  # the largest relative error of one rounding to float32


def random_covariance(numbers, size, rank=None):
    rows = numbers.normal(size=(rank or size, size))
    return rows.T @ rows / size + (0 if rank else 0.1) * np.eye(size)


def drawn_photographs(numbers, covariances, counts):
    """Vectors of the model, counts[i] for person i."""
    size = len(covariances.within)
    own = numbers.multivariate_normal(np.zeros(size), covariances.between, len(counts))
    person = np.repeat(np.arange(len(counts)), counts)
    noise = numbers.multivariate_normal(np.zeros(size), covariances.within, len(person))
    return own[person] + noise, person


def feature_of(x, cross, self_):
    """The feature of a vector, computed in double precision and rounded."""
    f = np.zeros(500)
    f[: len(cross)] = cross @ x
    return np.concatenate([f, [((self_ @ x) ** 2).sum(), np.linalg.norm(f)]]).astype(np.float32)


def score_error(a, b):
    """The largest difference between the library's score of two features and the score in real
    arithmetic of the vectors that were rounded to these features.

    u is the error of a rounding. The 500 products have factors with an error of u each, are
    rounded, and are added in chains of 500: an error of at most (503 u) sum |a_k b_k|, which is
    then doubled exactly. The squares are rounded features, and are added: 2 u times their sum. The
    difference of both, the product of the rounded norms, the division and the addition of 1 round
    once more each. The factor covers terms in u^2.
    """
    a, b = a.astype(np.float64), b.astype(np.float64)
    dots = np.abs(a[:500] * b[:500]).sum()
    squares, norms = a[500] + b[500], a[501] * b[501]
    numerator = abs(2 * (a[:500] @ b[:500]) - squares)
    error = (2 * 503 * dots + 2 * squares + numerator) / norms  # of numerator / norms
    error += 4 * numerator / norms  # three roundings in the norms, and the division's own
    error += abs(1 + numerator / norms) + 1
    return 1.01 * UNIT * error


class TheJointBayesianModel(SeededTest):
    def test_is_the_numerator_of_the_score(self):
        """Compares the library's score with the likelihood ratio of SciPy's normal distributions.
        """
        for size, rank in ((2, None), (7, None), (20, 3), (40, None)):
            covariances = Covariances(
                random_covariance(self.numbers, size, rank), random_covariance(self.numbers, size)
            )
            cross, self_ = joint_bayesian.roots(covariances)
            total, between = covariances.between + covariances.within, covariances.between
            same = np.block([[total, between], [between, total]])
            two = np.block([[total, 0 * between], [0 * between, total]])
            c = joint_bayesian.log_likelihood_ratio_constant(covariances)
            x, _ = drawn_photographs(self.numbers, covariances, [2] * 30)
            for a, b in zip(x[0::2], x[1::2]):
                both = np.concatenate([a, b])
                ratio = scipy.stats.multivariate_normal.logpdf(both, cov=same)
                ratio -= scipy.stats.multivariate_normal.logpdf(both, cov=two)
                lengths = np.linalg.norm(cross @ a) * np.linalg.norm(cross @ b)
                first, second = feature_of(a, cross, self_), feature_of(b, cross, self_)
                expected = 1 + 2 * (ratio - c) / lengths
                # 1e-9 is the error of the likelihoods in double precision.
                bound = score_error(first, second) + 1e-9 * (1 + abs(ratio)) / lengths
                self.assertLess(abs(facefeature.compare(first, second) - expected), bound)

    def test_roots_give_the_forms_of_the_derivation(self):
        covariances = Covariances(
            random_covariance(self.numbers, 30, 5), random_covariance(self.numbers, 30)
        )
        b, w = covariances.between, covariances.within
        inverse = np.linalg.inv(np.block([[b + w, b], [b, b + w]]))
        p, q = inverse[:30, :30], inverse[:30, 30:]
        cross, self_ = joint_bayesian.roots(covariances)
        np.testing.assert_allclose(cross.T @ cross, -q, atol=1e-9)
        np.testing.assert_allclose(self_.T @ self_, p - np.linalg.inv(b + w), atol=1e-9)

    def test_without_people_accepts_nobody_more_than_another(self):
        covariances = Covariances(np.zeros((4, 4)), random_covariance(self.numbers, 4))
        cross, self_ = joint_bayesian.roots(covariances)
        self.assertFalse(cross.any() or self_.any())


class ExpectationMaximisation(SeededTest):
    def fitted(self, x, person, **options):
        start = Covariances(np.eye(x.shape[1]), np.eye(x.shape[1]))
        return joint_bayesian.expectation_maximisation(x, person, start, **options)

    def test_finds_the_covariances_that_the_photographs_were_drawn_with(self):
        truth = Covariances(random_covariance(self.numbers, 5), random_covariance(self.numbers, 5))
        counts = self.numbers.integers(1, 6, 4000)
        x, person = drawn_photographs(self.numbers, truth, counts)
        found = self.fitted(x, person, iterations=200, tolerance=1e-9)
        # 4,000 people: the error of a variance is about sqrt(2 / 4000) = 2.2 % of it.
        scale = np.abs(np.diag(truth.between)).max()
        self.assertLess(np.abs(found.between - truth.between).max(), 0.15 * scale)
        self.assertLess(np.abs(found.within - truth.within).max(), 0.1 * scale)

    def test_never_lowers_the_likelihood(self):
        """Compares the objective with SciPy's density of all photographs of a person together."""
        truth = Covariances(random_covariance(self.numbers, 3), random_covariance(self.numbers, 3))
        x, person = drawn_photographs(self.numbers, truth, self.numbers.integers(1, 4, 40))
        start = Covariances(np.eye(3), np.eye(3))
        values = []
        steps = [start]
        for _ in range(6):
            steps.append(
                joint_bayesian.expectation_maximisation(
                    x, person, steps[-1], iterations=1,
                    on_iteration=lambda _, value: values.append(value),
                )  # fmt: skip
            )
        likelihoods = [self.likelihood(x, person, step) / len(x) for step in steps[:6]]
        np.testing.assert_allclose(np.diff(values), np.diff(likelihoods), atol=1e-9)
        self.assertTrue((np.diff(values) > 0).all())

    @staticmethod
    def likelihood(x, person, covariances):
        total = 0.0
        for p in np.unique(person):
            own = x[person == p]
            k = len(own)
            block = np.kron(np.ones((k, k)), covariances.between)
            block += np.kron(np.eye(k), covariances.within)
            total += scipy.stats.multivariate_normal.logpdf(own.ravel(), cov=block)
        return total

    def test_with_a_heavy_prior_stays_at_the_prior(self):
        x, person = drawn_photographs(self.numbers, Covariances(4 * np.eye(3), np.eye(3)), [2] * 50)
        prior = Covariances(np.diag([1.0, 2, 3]), np.diag([3.0, 2, 1]))
        found = joint_bayesian.expectation_maximisation(
            x, person, prior, prior=prior, prior_people=1e9, prior_photographs=1e9
        )
        np.testing.assert_allclose(found.between, prior.between, atol=1e-5)
        np.testing.assert_allclose(found.within, prior.within, atol=1e-5)


class TheBases(SeededTest):
    def test_principal_components_are_white_where_the_photographs_vary(self):
        spread = np.zeros(8000)
        spread[:30] = self.numbers.uniform(1, 2, 30)
        x = (self.numbers.normal(size=(200, 8000)) * spread).astype(np.float32)
        mean = x.mean(axis=0).astype(np.float64)
        rows = basis.principal(x, mean, 20)
        projected = (x - mean) @ rows.T
        np.testing.assert_allclose(projected.T @ projected / 200, np.eye(20), atol=1e-6)

    def test_zero_rows_of_a_projection_are_no_directions(self):
        rows = self.numbers.normal(size=(3, 8000))
        np.testing.assert_array_equal(np.float32(rows), basis.learnt(padded(rows)))


def made_gallery(numbers, people, each, within):
    """Outputs of unit rows: a point per person, and noise that is mostly in a few directions."""
    directions = numbers.normal(size=(20, 8000))
    points = np.repeat(numbers.normal(size=(people, 8000)), each, axis=0)
    noise = numbers.normal(size=points.shape) * 0.5
    noise += within * numbers.normal(size=(len(points), 20)) @ directions
    rows = (points + noise).reshape(len(points), 50, 160)
    rows /= np.linalg.norm(rows, axis=2, keepdims=True)
    names = np.array([f"{k}.jpg" for k in range(len(points))])
    owners = np.repeat([f"person {p}" for p in range(people)], each)
    return Outputs(rows.reshape(len(points), 8000).astype(np.float32), names, owners, "")


def made_projection(numbers):
    rows = (numbers.normal(size=(60, 8000)) / sqrt(8000)).astype(np.float64)
    return Projection(np.zeros(8000, np.float32), padded(rows), padded(rows))


class AFit(SeededTest):
    CANDIDATES = fitting.candidates(["unchanged", "mean", "learnt"], [1000, 30])

    def test_separates_people_that_the_model_confuses(self):
        projection = made_projection(self.numbers)
        gallery = made_gallery(self.numbers, 80, 3, within=1.5)
        train, test = (gallery.select(k) for k in (np.arange(150), np.arange(150, 240)))
        measures = {
            candidate.kind: fitting.measure(test, fitted)
            for candidate, fitted in fitting.fit(train, projection, self.CANDIDATES)
        }
        self.assertGreater(measures["learnt"], measures["unchanged"] + 0.1)
        choice = fitting.choose(train, projection, self.CANDIDATES, folds=3, repeats=1)
        self.assertEqual("learnt", choice.chosen.kind)

    def test_in_fewer_directions_is_the_fit_in_all(self):
        """Few photographs in a basis of 60, compared with the iteration in all 60."""
        rows = self.numbers.normal(size=(60, 8000)) / sqrt(8000)
        for people in (8, 40):
            gallery = made_gallery(self.numbers, people, 2, within=1.0)
            person = np.repeat(np.arange(people), 2)
            mean = gallery.outputs.mean(axis=0).astype(np.float64)
            x = (gallery.outputs - mean) @ rows.T
            within, between = fitting._variances(x, person)
            prior = Covariances(between * np.eye(60), within * np.eye(60))
            wanted = joint_bayesian.expectation_maximisation(
                x, person, prior, prior=prior, prior_people=20, prior_photographs=20, tolerance=0
            )
            fits = fitting._JointBayesianFits(gallery.outputs, person, mean, rows)
            with mock.patch.dict(
                joint_bayesian.expectation_maximisation.__kwdefaults__, {"tolerance": 0}
            ):
                found = fits.fit(20)
            features = found.features(gallery.outputs)
            cross, self_ = joint_bayesian.roots(wanted)
            expected = np.array([feature_of(row, cross, self_) for row in x])
            np.testing.assert_allclose(
                facefeature.score_matrix(features), facefeature.score_matrix(expected), atol=1e-4
            )

    def test_of_people_without_likeness_leaves_the_model_unchanged(self):
        gallery = made_gallery(self.numbers, 30, 2, within=0.0)
        shuffled = Outputs(
            gallery.outputs, gallery.names, self.numbers.permutation(gallery.people), ""
        )
        choice = fitting.choose(
            shuffled, made_projection(self.numbers), self.CANDIDATES, folds=3, repeats=1
        )
        self.assertEqual("unchanged", choice.chosen.kind)

    def test_without_enough_people_is_refused(self):
        gallery = made_gallery(self.numbers, 19, 2, within=1.0)
        with self.assertRaisesRegex(fitting.FitError, "19 people.*20"):
            fitting.choose(gallery, made_projection(self.numbers), self.CANDIDATES)

    def test_folds_share_out_people_and_not_photographs(self):
        people = np.array([f"p{k // 2}" for k in range(60)] + [f"s{k}" for k in range(30)] + [""])
        parts = fitting.split(people, [1 / 3] * 3, self.numbers)
        self.assertEqual(60, len(np.unique(np.concatenate(parts))))
        self.assertEqual(60, sum(map(len, parts)))
        for part in parts:
            self.assertEqual(10, sum(name.startswith("p") for name in part))

    def test_one_common_factor_of_both_projections_changes_no_score(self):
        gallery = made_gallery(self.numbers, 5, 2, within=1.0)
        one = made_projection(self.numbers)
        two = Projection(one.mean, 2 * one.cross, 2 * one.self_)
        np.testing.assert_array_equal(
            facefeature.score_matrix(one.features(gallery.outputs)),
            facefeature.score_matrix(two.features(gallery.outputs)),
        )


@needs_torch
@needs_pillow
class TheCommands(TemporaryFolderTest):
    def run_kit(self, *arguments):
        from facefeature.training.__main__ import main

        return main([str(argument) for argument in arguments])

    def test_make_a_model_that_the_library_reads(self):
        from facefeature.training import chips

        archive, gallery = self.folder / "chips.npz", self.folder / "outputs.npz"
        chips.save(archive, made_chips(self.numbers, people=30, each=2))
        self.assertEqual(0, self.run_kit("outputs", archive, "--model", MODEL, "-o", gallery))
        fitted = self.folder / "fitted"
        self.assertEqual(
            0, self.run_kit("fit", gallery, "--model", MODEL, "-o", fitted, "--folds", 2,
                            "--repeats", 1, "--replicates", 20),
        )  # fmt: skip
        run_program("model", "check", fitted)
        report = json.loads((fitted / "fit.json").read_text(encoding="utf-8"))
        self.assertEqual(60, report["photographs"])
        self.assertEqual(9, report["held_out"]["after"]["people"])
        self.assertEqual(facefeature.model_fingerprint(fitted), report["fitted_model"])
        self.assertIn(report["chosen"], report["candidates"])

    def test_refuse_outputs_of_other_nets(self):
        from facefeature.training import chips

        model = model_folder.read(MODEL)
        gallery = outputs.compute(chips.load(self.saved(made_chips(self.numbers, people=2))), model)
        np.testing.assert_allclose(
            np.linalg.norm(gallery.outputs.reshape(-1, 160), axis=1), 1, atol=1e-5
        )
        path = self.folder / "outputs.npz"
        outputs.save(path, gallery)
        self.assertEqual(
            gallery.names.tolist(), outputs.load_or_compute(path, model).names.tolist()
        )
        model.nets["1-1-1"][0, 0] += 1
        with self.assertRaisesRegex(outputs.OutputsError, "other nets"):
            outputs.load_or_compute(path, model)

    def saved(self, archive):
        from facefeature.training import chips

        chips.save(self.folder / "saved.npz", archive)
        return self.folder / "saved.npz"


if __name__ == "__main__":
    unittest.main()
