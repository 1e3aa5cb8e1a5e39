"""Compares the clusters of "facefeature cluster" with those of scipy."""

import csv
import io
import json
import subprocess
import unittest

import numpy as np
from scipy.cluster.hierarchy import fcluster, linkage
from scipy.sparse.csgraph import connected_components
from scipy.spatial.distance import squareform
from support import PROGRAM, TemporaryFolderTest
from test_evaluation import MODEL, Parsed, faces

from facefeature import compare, score_matrix, write_gallery


class Clusters(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.gallery = self.folder / "faces.gallery"

    def write(self, features):
        self.ids = [f"face, {i}" for i in range(len(features))]
        write_gallery(self.gallery, self.ids, features, fingerprint=MODEL)

    def run_cluster(self, *arguments, code=0):
        command = [PROGRAM, "cluster", str(self.gallery), *map(str, arguments)]
        result = subprocess.run(command, capture_output=True, text=True)
        self.assertEqual(code, result.returncode, result.stderr)
        return result

    def clusters(self, *arguments):
        """The number of the cluster of each row."""
        rows = list(csv.reader(io.StringIO(self.run_cluster(*arguments).stdout)))
        self.assertEqual(["id", "cluster"], rows[0])
        self.assertEqual(self.ids, [row[0] for row in rows[1:]])
        return np.array([int(row[1]) for row in rows[1:]])

    def assert_same_groups(self, wanted, got):
        """Whether two labellings group the rows in the same way."""
        pairs = set(zip(wanted.tolist(), got.tolist()))
        self.assertEqual(len(set(wanted.tolist())), len(pairs))
        self.assertEqual(len(set(got.tolist())), len(pairs))

    def thresholds(self, features):
        scores = score_matrix(features)[np.triu_indices(len(features), 1)]
        scores = np.sort(scores[np.isfinite(scores)])
        return scores[[0, len(scores) // 2, -len(scores) // 10, -len(scores) // 40, -5]]

    def test_components_are_those_of_scipy(self):
        for people, per_person in [(20, 6), (60, 2)]:
            features, _ = faces(self.numbers, people, per_person, 1.0)
            features[7, 3] = np.nan
            self.write(features)
            matrix = score_matrix(features)
            for threshold in self.thresholds(features):
                count, wanted = connected_components(matrix >= threshold, directed=False)
                got = self.clusters(f"--threshold={threshold!r}")
                self.assertEqual(count, got.max())
                self.assert_same_groups(wanted, got)

    def test_average_linkage_is_that_of_scipy(self):
        for people, per_person in [(20, 6), (60, 2)]:
            features, _ = faces(self.numbers, people, per_person, 1.0)
            self.write(features)
            matrix = score_matrix(features).astype(np.float64)
            distances = matrix.max() + 1 - matrix
            np.fill_diagonal(distances, 0)
            tree = linkage(squareform(distances, checks=False), "average")
            # Between two merges whose distance is larger than rounding errors.
            heights = np.sort(tree[:, 2])
            gaps = np.flatnonzero(np.diff(heights) > 1e-4)
            for gap in gaps[:: len(gaps) // 8]:
                limit = (heights[gap] + heights[gap + 1]) / 2
                threshold = np.float32(matrix.max() + 1 - limit)
                wanted = fcluster(tree, limit, "distance")
                got = self.clusters(f"--threshold={threshold!r}", "--method", "average")
                self.assert_same_groups(wanted, got)

    def test_average_linkage_resists_a_single_false_match(self):
        # Two people, and one score between them that is as high as their own.
        features, owners = faces(self.numbers, 2, 10, 0.3)
        first, second = np.flatnonzero(owners == 0)[0], np.flatnonzero(owners == 1)[0]
        between = (features[first, :500] + features[second, :500]) / 2
        for row in (first, second):
            mixed = 0.45 * features[row, :500] + 0.55 * between
            features[row, :500] = mixed
            features[row, 500] = (mixed**2).sum()
            features[row, 501] = np.sqrt(features[row, 500])
        self.write(features)
        threshold = score_matrix(features)[first, second]
        self.assertEqual(1, self.clusters(f"--threshold={threshold!r}").max())
        average = self.clusters(f"--threshold={threshold!r}", "--method=average")
        mixture = np.isin(np.arange(20), [first, second])
        self.assert_same_groups(owners[~mixture], average[~mixture])

    def test_are_numbered_by_size_and_then_by_the_first_row(self):
        features, owners = faces(self.numbers, 6, 1, 0.01)
        order = [3, 1, 1, 0, 3, 3, 2, 0]
        self.write(features[order])
        self.assertEqual([1, 2, 2, 3, 1, 1, 4, 3], self.clusters("--threshold=0.9").tolist())

    def test_page_shows_each_cluster_and_stands_alone(self):
        features, _ = faces(self.numbers, 6, 1, 0.01)
        self.write(features[[3, 1, 1, 0, 3, 3, 2, 0]])
        (self.folder / "face, 0.ppm").write_bytes(b"P6\n2 2\n255\n" + bytes(range(12)))
        page = self.folder / "page.html"
        self.clusters("--threshold=0.9", "--html", page, "--photos", self.folder)
        parsed = Parsed(page.read_text())
        text = "".join(parsed.text)
        self.assertEqual(1, len(parsed.loads))
        self.assertTrue(parsed.loads[0].startswith("data:image/jpeg;base64,"))
        self.assertIn("Threshold 0.9.", text)
        # The mean score of each photograph with the others of its cluster.
        features = features[[3, 1, 1, 0, 3, 3, 2, 0]]
        for row, others in [(0, [4, 5]), (4, [0, 5]), (1, [2])]:
            mean = np.mean([compare(features[row], features[other]) for other in others])
            self.assertIn(f"<strong>{mean:.4g}</strong><br>face, {row}", page.read_text())
        for line in ("Cluster 1: 3 photographs", "Cluster 2: 2 photographs", "Alone: 1 photographs"):
            self.assertIn(line, text)

    def test_take_a_threshold_of_their_model(self):
        features, _ = faces(self.numbers, 10, 3, 0.3)
        self.write(features)
        file = self.folder / "thresholds.json"
        text = {"file": "facefeature thresholds", "version": 1, "model": MODEL, "default": "eer",
                "thresholds": [{"name": "eer", "threshold": 0.25}]}  # fmt: skip
        file.write_text(json.dumps(text))
        self.assertEqual(self.clusters("--threshold=0.25").tolist(),
                         self.clusters("--threshold-file", file).tolist())  # fmt: skip
        text["model"] = "00" * 32
        file.write_text(json.dumps(text))
        self.run_cluster("--threshold-file", file, code=4)

    def test_want_a_threshold(self):
        self.write(faces(self.numbers, 2, 1)[0])
        self.run_cluster(code=2)
        self.run_cluster("--threshold=0", "--method=other", code=2)


if __name__ == "__main__":
    unittest.main()
