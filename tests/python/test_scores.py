"""Scores have the bits of the library, one pair at a time and many at once."""

import unittest

import numpy as np
from support import SeededTest, features

from facefeature import FeatureError, compare, score_matrix

SPECIAL = np.array([0, -0.0, 1, 1e-45, -1e-40, 3e38, -3e38, np.inf, -np.inf, np.nan], np.float32)


def by_hand(a, b):
    """The formula in 32-bit scalars, one operation at a time."""
    with np.errstate(all="ignore"):
        total = np.float32(0)
        for x, y in zip(a[:500], b[:500]):
            total = np.float32(total + np.float32(x * y))
        squares = np.float32(a[500] + b[500])
        numerator = np.float32(np.float32(total * np.float32(2)) - squares)
        ratio = np.float32(numerator / np.float32(a[501] * b[501]))
        return np.float32(ratio + np.float32(1))


class AScore(SeededTest):
    def assert_same(self, expected, got):
        if np.isnan(expected):
            self.assertTrue(np.isnan(got))
        else:
            self.assertEqual(np.float32(expected).tobytes(), np.float32(got).tobytes())

    def test_is_the_formula(self):
        for a, b in zip(features(self.numbers, 20), features(self.numbers, 20)):
            self.assert_same(by_hand(a, b), compare(a, b))

    def test_is_the_same_in_either_order(self):
        for a, b in zip(features(self.numbers, 20), features(self.numbers, 20)):
            self.assert_same(compare(a, b), compare(b, a))

    def test_depends_on_the_order_of_its_sum(self):
        # Otherwise the comparisons of bits in this file would not depend on the order.
        rows = features(self.numbers, 20)
        shuffled = rows[:, [*self.numbers.permutation(500), 500, 501]]
        self.assertNotEqual(score_matrix(rows).tobytes(), score_matrix(shuffled).tobytes())

    def test_takes_other_strides_and_byte_orders(self):
        a, b = features(self.numbers, 2)
        expected = compare(a, b)
        self.assert_same(expected, compare(np.repeat(a, 3)[::3], b))
        self.assert_same(expected, compare(a[::-1].copy()[::-1], b))
        self.assert_same(expected, compare(a.astype(">f4"), b))

    def test_of_what_is_no_feature_is_refused(self):
        a = features(self.numbers, 1)[0]
        for bad, words in [(a[:501], r"shape \(502,\)"), (a[np.newaxis], "shape"),
                           (a.astype(float), "dtype float32, not float64"),
                           (a.astype(np.float16), "float16"), (7, "shape")]:  # fmt: skip
            with self.assertRaisesRegex(FeatureError, "a: .*" + words):
                compare(bad, a)
            with self.assertRaisesRegex(FeatureError, "b: .*" + words):
                compare(a, bad)


class AMatrixOfScores(SeededTest):
    def assert_all_pairs(self, first, second):
        scores = score_matrix(first, second)
        self.assertEqual((len(first), len(second)), scores.shape)
        self.assertEqual(np.float32, scores.dtype)
        expected = np.array([[compare(a, b) for b in second] for a in first], np.float32)
        expected = expected.reshape(scores.shape)
        both_nan = np.isnan(expected) & np.isnan(scores)
        same = expected.view(np.uint32) == scores.view(np.uint32)
        self.assertTrue((same | both_nan).all(), f"{(~(same | both_nan)).sum()} of {scores.size}")

    def test_has_the_bits_of_each_pair(self):
        # Around the edges of the blocks.
        for rows, columns in [(1, 1), (3, 5), (64, 512), (65, 513), (63, 511), (130, 40)]:
            with self.subTest(rows=rows, columns=columns):
                self.assert_all_pairs(features(self.numbers, rows), features(self.numbers, columns))

    def test_has_them_for_numbers_of_all_sizes(self):
        first, second = features(self.numbers, 60), features(self.numbers, 70)
        for rows in (first, second):
            rows *= np.exp2(self.numbers.uniform(-140, 100, rows.shape)).astype(np.float32)
        self.assert_all_pairs(first, second)

    def test_has_them_for_awkward_numbers(self):
        for share in (0.001, 0.05):
            first, second = features(self.numbers, 60), features(self.numbers, 70)
            for rows in (first, second):
                special = self.numbers.random(rows.shape) < share
                rows[special] = self.numbers.choice(SPECIAL, special.sum())
            self.assert_all_pairs(first, second)

    def test_of_one_set_is_symmetric(self):
        rows = features(self.numbers, 70)
        scores = score_matrix(rows)
        self.assertEqual(scores.tobytes(), score_matrix(rows, rows).tobytes())
        self.assertEqual(scores.tobytes(), scores.T.tobytes())

    def test_of_nothing_is_empty(self):
        rows = features(self.numbers, 3)
        self.assertEqual((0, 3), score_matrix(rows[:0], rows).shape)
        self.assertEqual((3, 0), score_matrix(rows, rows[:0]).shape)

    def test_takes_other_strides(self):
        rows = features(self.numbers, 20)
        expected = score_matrix(rows[::2].copy(), rows).tobytes()
        self.assertEqual(expected, score_matrix(rows[::2], np.asfortranarray(rows)).tobytes())

    def test_of_what_are_no_features_is_refused(self):
        rows = features(self.numbers, 3)
        for bad in (rows[0], rows[:, :501], rows.astype(float), [[1, 2]]):
            with self.assertRaisesRegex(FeatureError, "^a: "):
                score_matrix(bad, rows)
            with self.assertRaisesRegex(FeatureError, "^b: "):
                score_matrix(rows, bad)

    def test_leaves_its_arguments_alone(self):
        rows = features(self.numbers, 5)
        before = rows.tobytes()
        score_matrix(rows)
        self.assertEqual(before, rows.tobytes())


if __name__ == "__main__":
    unittest.main()
