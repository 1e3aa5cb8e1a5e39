"""Compares the training kit's error rates with scikit-learn and with explicit counts."""

import importlib.util
import unittest

import numpy as np
from support import SeededTest

import facefeature
from facefeature.training import evaluation

needs_sklearn = unittest.skipUnless(
    importlib.util.find_spec("sklearn"),
    "scikit-learn is not installed (tools/install-packages ci)",
)


def made_pairs(numbers, people, each, ties):
    """Random scores of all pairs; with ties, many are equal."""
    person = np.repeat(np.arange(people), each)
    scores = numbers.normal(size=(len(person), len(person))) + 2 * np.equal.outer(person, person)
    if ties:
        scores = np.round(scores, 1)
    scores = (scores + scores.T).astype(np.float32)
    return scores, person


def features_of_people(numbers, people, each, noise):
    """Features that a model with equal projections would give, and the names of the people."""
    centers = np.repeat(numbers.normal(size=(people, 500)), each, axis=0)
    rows = centers + noise * numbers.normal(size=centers.shape)
    squares = (rows**2).sum(axis=1, keepdims=True)
    features = np.hstack([rows, squares, np.sqrt(squares)]).astype(np.float32)
    return features, np.repeat([f"person {p}" for p in range(people)], each)


class ErrorRates(SeededTest):
    @needs_sklearn
    def test_are_those_of_scikit_learn(self):
        from scipy.interpolate import interp1d
        from scipy.optimize import brentq
        from sklearn.metrics import roc_curve

        for ties in (False, True):
            scores, person = made_pairs(self.numbers, 40, 3, ties)
            pairs = evaluation.pairs_of(scores, person)
            points = evaluation.curve(pairs)
            false, true, thresholds = roc_curve(
                pairs.same, pairs.scores.astype(np.float64), drop_intermediate=False
            )
            np.testing.assert_allclose(points.false_match, false, atol=1e-12)
            np.testing.assert_allclose(1 - points.false_non_match, true, atol=1e-12)
            np.testing.assert_array_equal(points.thresholds[1:], thresholds[1:])
            expected = brentq(lambda f: 1 - f - interp1d(false, true)(f), 0, 1)
            value, threshold = evaluation.equal_error(points)
            self.assertAlmostEqual(expected, value, delta=1e-6)
            at = np.flatnonzero(thresholds == threshold)[0]
            self.assertGreaterEqual(false[at], 1 - true[at])
            self.assertLess(false[at - 1], 1 - true[at - 1])
            for f in (0.1, 0.01, 0.001):
                share, threshold = evaluation.accepted_at(points, f)
                self.assertAlmostEqual(max(true[false <= f]), share)
                self.assertLessEqual((pairs.scores[~pairs.same] >= threshold).mean(), f)
                self.assertAlmostEqual((pairs.scores[pairs.same] >= threshold).mean(), share)

    def test_of_separated_scores_are_zero(self):
        features, people = features_of_people(self.numbers, 30, 3, noise=0.01)
        result = evaluation.evaluate(features, people, replicates=20)
        # 30 trials without an error: a rate above this bound would have shown one with probability
        # 95 %.
        bound = 1 - 0.05 ** (1 / 30)
        self.assertEqual(evaluation.Rate(0.0, 0.0, bound), result.equal_error_rate)
        self.assertEqual(evaluation.Rate(1.0, 1 - bound, 1.0), result.rank_one)
        counts = (result.photographs, result.people, result.genuine_pairs, result.impostor_pairs)
        self.assertEqual((90, 30, 90, 3915), counts)

    def test_of_few_people_have_no_intervals(self):
        features, people = features_of_people(self.numbers, 19, 2, noise=3)
        result = evaluation.evaluate(features, people)
        self.assertIsNone(result.equal_error_rate.low)
        self.assertEqual(0, result.replicates)

    def test_at_rank_one_count_equal_scores_against_the_person(self):
        """Scores as whole numbers, compared with a count in loops."""
        for _ in range(20):
            scores, person = made_pairs(self.numbers, 6, 2, ties=False)
            scores = np.round(scores)
            hits = []
            for i in range(12):
                own = [scores[i, j] for j in range(12) if person[j] == person[i] and j != i]
                hits.append(
                    all(scores[i, j] < max(own) for j in range(12) if person[j] != person[i])
                )
            self.assertEqual(np.mean(hits), evaluation._Hits(scores, person).share(None))

    def test_of_scores_that_say_nothing_are_one_half(self):
        scores = np.zeros((30, 30), np.float32)
        points = evaluation.curve(evaluation.pairs_of(scores, np.arange(30) // 3))
        self.assertAlmostEqual(0.5, evaluation.equal_error(points)[0])

    def test_of_nan_scores_are_rejections(self):
        scores = np.array([[0, np.nan, 1], [np.nan, 0, -np.inf], [1, -np.inf, 0]], np.float32)
        points = evaluation.curve(evaluation.pairs_of(scores, np.array([0, 0, 1])))
        np.testing.assert_array_equal([np.inf, 1], points.thresholds)
        np.testing.assert_array_equal([0, 0.5], points.false_match)
        np.testing.assert_array_equal([1, 1], points.false_non_match)

    def test_are_not_given_where_pairs_are_too_few(self):
        features, people = features_of_people(self.numbers, 10, 3, noise=3)
        result = evaluation.evaluate(features, people, replicates=0)
        given = [rate.false_match_rate for rate in result.accept_rates if rate.accepted]
        self.assertEqual([0.1], given)  # 405 impostor pairs: 40 acceptances, then 4

    def test_need_pairs_of_both_kinds(self):
        features, people = features_of_people(self.numbers, 4, 1, noise=1)
        for names in (people, np.full(4, "one")):
            with self.assertRaisesRegex(evaluation.EvaluationError, "people"):
                evaluation.evaluate(features, names)

    def test_leave_photographs_without_a_person_out(self):
        features, people = features_of_people(self.numbers, 12, 3, noise=3)
        alone = evaluation.evaluate(features[:30], people[:30], replicates=0)
        people[30:] = ""
        self.assertEqual(alone, evaluation.evaluate(features, people, replicates=0))


class Intervals(SeededTest):
    def test_come_from_people_drawn_with_replacement(self):
        """Compares a resampled curve with one that is counted pair by pair over copies of people.
        """
        scores, person = made_pairs(self.numbers, 8, 3, ties=True)
        drawn = np.bincount(self.numbers.integers(0, 8, 8), minlength=8)
        genuine, impostor = [], []
        copies = [p for p in range(8) for _ in range(drawn[p])]
        for a, p in enumerate(copies):
            own = np.flatnonzero(person == p)
            genuine += [scores[i, j] for i in own for j in own if i < j]
            for q in copies[a + 1 :]:
                if q != p:
                    impostor += scores[np.ix_(own, np.flatnonzero(person == q))].ravel().tolist()
        points = evaluation._Sorted(evaluation.pairs_of(scores, person)).curve(drawn)
        genuine, impostor = np.array(genuine), np.array(impostor)
        for t, false, missed in zip(points.thresholds, points.false_match, points.false_non_match):
            self.assertAlmostEqual((impostor >= t).mean(), false)
            self.assertAlmostEqual((genuine < t).mean(), missed)

    def test_hold_the_rate_of_the_population_as_often_as_they_say(self):
        """The true rate is that of a large sample. Intervals of 95 % that miss it 15 times or more
        of 60 have a probability of 2e-7; those of 90 %, which few people may give, 7e-4."""
        large, people = features_of_people(self.numbers, 500, 2, noise=5.5)
        truth = evaluation.evaluate(large, people, replicates=0).equal_error_rate.value
        missed = 0
        for _ in range(60):
            features, people = features_of_people(self.numbers, 30, 2, noise=5.5)
            rate = evaluation.evaluate(features, people, replicates=100).equal_error_rate
            missed += not rate.low <= truth <= rate.high
        self.assertLess(missed, 15)

    def test_repeat_with_their_seed(self):
        features, people = features_of_people(self.numbers, 10, 3, noise=4)
        first = evaluation.evaluate(features, people, replicates=50, seed=3)
        self.assertEqual(first, evaluation.evaluate(features, people, replicates=50, seed=3))
        self.assertNotEqual(first, evaluation.evaluate(features, people, replicates=50, seed=4))


class TheMeanAcceptRate(SeededTest):
    def test_is_higher_for_scores_that_separate_better(self):
        means = []
        for noise in (2, 4, 6):
            features, people = features_of_people(self.numbers, 40, 2, noise)
            person = np.unique(people, return_inverse=True)[1]
            pairs = evaluation.pairs_of(facefeature.score_matrix(features), person)
            means.append(evaluation.mean_accept_rate(evaluation.curve(pairs)))
        self.assertEqual(sorted(means, reverse=True), means)
        self.assertGreater(means[0], means[2])


if __name__ == "__main__":
    unittest.main()
