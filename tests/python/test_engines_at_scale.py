"""The examples for many machines and for search engines, and their answers."""

import csv
import os
import subprocess
import sys
import unittest
from pathlib import Path
from shutil import which

import numpy as np
from support import PROGRAM, ROOT, TemporaryFolderTest

from facefeature import Gallery, write_gallery

MODEL = "0123456789abcdef" * 4
ENGINES = ROOT / "examples/engines"
BATCH = ROOT / "examples/batch"


def faces(numbers, people, each):
    """Features of people with norms and squares that differ a little, like those of a model."""
    centres = numbers.normal(size=(people, 500))
    rows = np.repeat(centres, each, axis=0) + 0.5 * numbers.normal(size=(people * each, 500))
    norms = np.linalg.norm(rows, axis=1)
    squares = norms**2 * numbers.uniform(0.8, 1.2, len(rows))
    return np.column_stack([rows, squares, norms]).astype(np.float32)


class Scripts(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.rows = faces(self.numbers, 150, 8)
        self.rows[77] = self.rows[5]  # equal scores
        self.ids = [f"p{i}, \"{i % 7}\"" for i in range(len(self.rows))]
        self.gallery = self.written("faces", self.ids, self.rows)
        probes = self.rows[::60] + self.numbers.normal(size=(20, 502)).astype(np.float32) * 0.1
        probes[3] = self.rows[5]
        self.probes = self.written("probes", [f"probe {i}" for i in range(20)], probes)
        self.environment = {
            **os.environ,
            "FACEFEATURE": PROGRAM,
            "PYTHON": sys.executable,
            "OMPI_ALLOW_RUN_AS_ROOT": "1",
            "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1",
        }

    def written(self, name, ids, rows):
        path = self.folder / f"{name}.gallery"
        write_gallery(path, ids, rows, fingerprint=MODEL)
        return path

    def run_script(self, *command):
        done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                              env=self.environment, timeout=600, check=False)  # fmt: skip
        self.assertEqual(0, done.returncode, done.stderr)
        return done.stdout

    def search(self, *more):
        return self.run_script(PROGRAM, "search", self.gallery, self.probes, *more)

    def verified(self, answers, top):
        text = self.search("--top", top, "--verify", answers)
        (row,) = csv.DictReader(text.splitlines())
        return {name: float(value) for name, value in row.items()}

    def test_shards_under_mpi_give_the_answers_of_one_machine(self):
        if which("mpirun") is None:
            self.skipTest("mpirun is not installed (Debian: openmpi-bin)")
        shards = self.folder / "shards"
        shards.mkdir()
        bounds = [0, 300, 301, 777, 1000, len(self.rows)]
        for number, (start, end) in enumerate(zip(bounds, bounds[1:]), 1):
            write_gallery(shards / f"part-{number:04}.gallery", self.ids[start:end],
                          self.rows[start:end], fingerprint=MODEL)  # fmt: skip
        for top in (1, 10, 400):
            out = self.folder / f"out-{top}"
            self.run_script("mpirun", "--oversubscribe", "-n", 4, BATCH / "mpi_search.sh",
                            shards, self.probes, top, out)  # fmt: skip
            answers = sorted(out.glob("answers-*.csv"))
            self.assertEqual(5, len(answers))
            merged = self.run_script(sys.executable, BATCH / "merge_answers.py", top, *answers)
            self.assertEqual(self.search("--top", top), merged)

    def test_candidates_get_exact_scores(self):
        exact = self.search("--top", 30)
        (self.folder / "candidates.csv").write_text(exact, encoding="utf-8")
        answers = self.folder / "answers.csv"
        self.run_script(sys.executable, ENGINES / "rescore.py", self.gallery, self.probes,
                        self.folder / "candidates.csv", answers)  # fmt: skip
        self.assertEqual(self.search("--top", 10), answers.read_text(encoding="utf-8"))

    def test_faiss_finds_what_the_search_finds(self):
        try:
            import faiss  # pylint: disable=import-outside-toplevel,unused-import
        except ImportError:
            self.skipTest("faiss is not installed (tools/install-packages engines)")
        answers = self.folder / "answers.csv"
        for more, recall in (["--flat"], 1.0), ([], 0.98):
            self.run_script(sys.executable, ENGINES / "faiss_search.py", self.gallery, self.probes,
                            answers, *more)  # fmt: skip
            check = self.verified(answers, 10)
            self.assertGreaterEqual(check["recall"], recall)
            self.assertEqual((200, 0), (check["scores"], check["wrong_scores"]))

    def require_node_module(self, name):
        if which("node") is None:
            self.skipTest("node is not installed (tools/install-packages engines)")
        if not (ENGINES / "node_modules" / name).is_dir():
            self.skipTest(f"{name} is not installed (tools/install-packages engines)")

    def assert_finds(self, recall, *command):
        """The answers of a script, of fewer rows, have exact scores and nearly all exact matches."""
        self.gallery = self.written("some", self.ids[::3], self.rows[::3])
        answers = self.folder / "answers.csv"
        self.run_script(*command, self.gallery, self.probes, answers, "--top", 7)
        check = self.verified(answers, 7)
        self.assertGreaterEqual(check["recall"], recall)
        self.assertEqual((140, 0), (check["scores"], check["wrong_scores"]))

    def test_sqlite_vec_finds_what_the_search_finds(self):
        self.require_node_module("sqlite-vec-linux-x64")
        self.assert_finds(1, sys.executable, ENGINES / "sqlite_vec_search.py")

    def test_pgvector_finds_what_the_search_finds(self):
        self.require_node_module("@electric-sql/pglite-pgvector")
        self.assert_finds(0.98, "node", ENGINES / "pgvector_search.mjs")

    def test_lancedb_finds_what_the_search_finds(self):
        self.require_node_module("@lancedb/lancedb")
        self.assert_finds(0.98, "node", ENGINES / "lancedb_search.mjs")

    def test_the_form_ranks_as_the_score_does(self):
        rows, probes = self.folder / "rows.npy", self.folder / "probes.npy"
        self.run_script(PROGRAM, "gallery", "export", self.gallery, "--to", "npy503", "-o", rows)
        form = self.folder / "rows.form.json"
        self.run_script(PROGRAM, "gallery", "export", self.probes, "--to", "npy503", "--form", form,
                        "--probes", "-o", probes)  # fmt: skip
        vectors = np.load(rows).astype(np.float64)
        questions = np.load(probes).astype(np.float64)
        self.assertEqual(((1200, 503), (20, 503)), (vectors.shape, questions.shape))
        lengths = np.linalg.norm(vectors, axis=1)
        np.testing.assert_allclose(lengths, lengths[0], rtol=1e-6)
        ids = Path(self.folder / "rows.ids.txt").read_text(encoding="utf-8").splitlines()
        self.assertEqual(self.ids, ids)
        found = Gallery(self.gallery).search(Gallery(self.probes), top=5)
        products = questions @ vectors.T
        distances = np.linalg.norm(questions[:, np.newaxis] - vectors, axis=2)
        for i, matches in enumerate(found):
            best = {match.row for match in matches}
            self.assertEqual(best, set(np.argsort(-products[i], kind="stable")[:5]))
            self.assertEqual(best, set(np.argsort(distances[i], kind="stable")[:5]))


if __name__ == "__main__":
    unittest.main()
