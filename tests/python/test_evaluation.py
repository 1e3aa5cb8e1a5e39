"""Compares the figures of "facefeature evaluate" with those of scikit-learn and of plain loops."""

import csv
import io
import json
import os
import re
import shutil
import subprocess
import unittest
import warnings
from html.parser import HTMLParser

import numpy as np
from matplotlib.image import imread
from scipy.interpolate import interp1d
from scipy.optimize import brentq
from sklearn.metrics import roc_curve
from support import PROGRAM, TemporaryFolderTest

from facefeature import score_matrix, write_feature, write_gallery

RATES = {"1e-1": 0.1, "1e-2": 0.01, "1e-3": 0.001, "1e-4": 1e-4, "1e-5": 1e-5, "1e-6": 1e-6}
MODEL = "a7" * 32


def faces(numbers, people, per_person, spread=1.0):
    """Features of people. Those of one person are close to a point of their own."""
    scale = np.exp(-np.arange(500) / 40.0)
    centres = numbers.normal(size=(people, 500))
    owners = np.repeat(np.arange(people), per_person)
    rows = (centres[owners] + spread * numbers.normal(size=(len(owners), 500))) * scale
    features = np.empty((len(owners), 502), np.float32)
    features[:, :500] = rows
    features[:, 500] = (features[:, :500] ** 2).sum(1)
    features[:, 501] = np.sqrt(features[:, 500])
    order = numbers.permutation(len(owners))
    return features[order], owners[order]


def roc(labels, scores, weights=None):
    """scikit-learn's points for all thresholds. A score that is NaN reaches none of them."""
    scores = np.where(np.isnan(scores), -np.inf, scores.astype(np.float64))
    finite = scores[np.isfinite(scores)]
    scores = np.where(np.isinf(scores) & (scores < 0), finite.min() - 1.0, scores)
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        return roc_curve(labels, scores, sample_weight=weights, drop_intermediate=False)


def equal_error_rate(fpr, tpr):
    return brentq(lambda x: 1.0 - x - interp1d(fpr, tpr)(x), 0.0, 1.0) if not _is_step(fpr, tpr) \
        else _step_crossing(fpr, tpr)  # fmt: skip


def _is_step(fpr, tpr):
    """Whether the polygon is vertical where it crosses the diagonal, and so not a function of fpr.
    """
    at = np.argmax(fpr >= 1.0 - tpr)
    return fpr[at] == fpr[at - 1]


def _step_crossing(fpr, tpr):
    return fpr[np.argmax(fpr >= 1.0 - tpr)]


class EvaluationTest(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.gallery = self.folder / "faces.gallery"
        self.people = self.folder / "people.csv"

    def write(self, features, owners):
        self.features, self.owners = features, owners
        self.ids = [f"face {i}" for i in range(len(owners))]
        write_gallery(self.gallery, self.ids, features, fingerprint=MODEL)
        with self.people.open("w", newline="") as file:
            csv.writer(file).writerows(zip(self.ids, (f"person {p}" for p in owners)))

    def run_evaluate(self, *arguments, code=0):
        command = [PROGRAM, "evaluate", str(self.gallery), *map(str, arguments)]
        result = subprocess.run(command, capture_output=True, text=True)
        self.assertEqual(code, result.returncode, result.stderr)
        return result

    def report(self, *arguments):
        """The JSON report; checks that the CSV has the same figures."""
        path = self.folder / "report.html"
        result = self.run_evaluate("-o", path, *arguments)
        report = json.loads(path.with_suffix(".json").read_text())
        self.assertEqual(result.stdout, path.with_suffix(".csv").read_text())
        rows = list(csv.DictReader(io.StringIO(result.stdout)))
        equal = next(row for row in rows if row["figure"] == "equal_error_rate")
        self.assertAlmostEqual(report["equal_error_rate"]["value"], float(equal["value"]), 8)
        accept = {row["at"]: row for row in rows if row["figure"] == "accept_rate"}
        for entry in report["accept_rates"]:
            row = accept[entry["name"]]
            self.assertEqual("refused" in entry, row["value"] == "")
            if "refused" not in entry:
                self.assertAlmostEqual(entry["value"], float(row["value"]), 8)
                self.assertEqual(np.float32(entry["threshold"]), np.float32(row["threshold"]))
        return report

    def pairs(self):
        """Scores and labels of each pair."""
        first, second = np.triu_indices(len(self.owners), 1)
        return (score_matrix(self.features)[first, second],
                self.owners[first] == self.owners[second])  # fmt: skip

    def check_verification(self, report, scores, same):
        fpr, tpr, _ = roc(same, scores)
        self.assertAlmostEqual(equal_error_rate(fpr, tpr), report["equal_error_rate"]["value"], 9)
        genuine, impostors = scores[same], scores[~same]
        for entry in report["accept_rates"]:
            rate = RATES[entry["name"]]
            if rate * len(impostors) < 30 - 1e-6:
                self.assertIn(f"{len(impostors)} impostor comparisons are too few",
                              entry["refused"])  # fmt: skip
                continue
            self.assertAlmostEqual(tpr[fpr <= rate].max(), entry["value"], 9)
            threshold = np.float32(entry["threshold"])
            self.assertEqual((impostors >= threshold).sum(), entry["false_positives"])
            self.assertLessEqual(entry["false_positives"] / len(impostors), rate)
            self.assertAlmostEqual((genuine >= threshold).mean(), entry["value"], 9)
            lower = np.nextafter(threshold, np.float32(-np.inf))
            self.assertGreater((impostors >= lower).sum() / len(impostors), rate)
        equal = np.float32(report["equal_error_rate"]["threshold"])
        above = np.nextafter(equal, np.float32(np.inf))
        self.assertGreaterEqual((impostors >= equal).mean(), 1 - (genuine >= equal).mean() - 1e-12)
        self.assertLess((impostors >= above).mean(), 1 - (genuine >= above).mean() + 1e-12)
        for threshold, false_match, false_non_match in report["curve"]:
            if threshold is None:
                continue
            at = np.float32(threshold)
            self.assertAlmostEqual((impostors >= at).mean(), false_match, 9)
            self.assertAlmostEqual(1 - (genuine >= at).mean(), false_non_match, 9)

    def check_search(self, report):
        matrix = np.nan_to_num(score_matrix(self.features), nan=-np.inf)
        np.fill_diagonal(matrix, -np.inf)
        count, people = len(self.owners), np.unique(self.owners)
        best = np.full((count, len(people)), -np.inf)
        for column, person in enumerate(people):
            best[:, column] = matrix[:, self.owners == person].max(axis=1)
        own = np.searchsorted(people, self.owners)
        mated = np.bincount(own)[own] > 1
        mate = best[np.arange(count), own]
        others = best.copy()
        others[np.arange(count), own] = np.nan
        rank = 1 + (others >= mate[:, np.newaxis]).sum(axis=1)
        search = report["identification"]
        self.assertEqual(mated.sum(), search["mated_searches"])
        self.assertEqual(count, search["non_mated_searches"])
        for index, share in enumerate(search["found_within_rank"]):
            self.assertAlmostEqual((rank[mated] <= index + 1).mean(), share, 9)
        self.assertAlmostEqual((rank[mated] == 1).mean(), search["rank_1"]["value"], 9)
        non_mate = np.nanmax(others, axis=1)
        scores = np.concatenate([mate[mated], non_mate])
        labels = np.concatenate([np.ones(mated.sum()), np.zeros(count)])
        fpr, tpr, _ = roc(labels, scores)
        for entry in search["found_rates"]:
            rate = RATES[entry["name"]]
            if rate * count < 30 - 1e-6:
                self.assertIn("searches are too few", entry["refused"])
                continue
            self.assertAlmostEqual(tpr[fpr <= rate].max(), entry["value"], 9)


class Evaluation(EvaluationTest):
    def test_of_people_has_the_figures_of_other_programs(self):
        for people, per_person, spread in [(120, 4, 1.0), (40, 8, 2.0), (300, 2, 0.5)]:
            self.write(*faces(self.numbers, people, per_person, spread))
            report = self.report("--people", self.people)
            self.assertEqual(MODEL, report["model"])
            scores, same = self.pairs()
            self.assertEqual(same.sum(), report["genuine_comparisons"])
            self.assertEqual((~same).sum(), report["impostor_comparisons"])
            self.check_verification(report, scores, same)
            self.check_search(report)

    def test_with_ties_and_scores_that_are_not_numbers(self):
        features, owners = faces(self.numbers, 80, 4, 1.5)
        features[50:90] = features[10:50]  # the same face under two names, as happens often
        features[100:104, 3] = np.nan
        self.write(features, owners)
        report = self.report("--people", self.people)
        scores, same = self.pairs()
        self.assertEqual(np.isnan(scores[same]).sum(), report["genuine_scores_not_a_number"])
        self.assertEqual(np.isnan(scores[~same]).sum(), report["impostor_scores_not_a_number"])
        self.check_verification(report, scores, same)
        self.check_search(report)

    def test_of_a_list_of_pairs_has_the_figures_of_these_pairs(self):
        self.write(*faces(self.numbers, 100, 5, 1.5))
        scores, same = self.pairs()
        first, second = np.triu_indices(len(self.owners), 1)
        chosen = np.sort(np.concatenate([np.flatnonzero(same)[::2],
                                         self.numbers.choice(np.flatnonzero(~same), 5000, False)]))  # fmt: skip
        pairs = self.folder / "pairs.csv"
        with pairs.open("w", newline="") as file:
            rows = csv.writer(file)
            rows.writerow(["id_a", "id_b", "same"])
            for k in chosen:
                rows.writerow([self.ids[second[k]], self.ids[first[k]], int(same[k])])
        report = self.report("--pairs", pairs)
        self.assertNotIn("identification", report)
        self.check_verification(report, scores[chosen], same[chosen])

    def test_intervals_are_those_of_resampled_people(self):
        self.write(*faces(self.numbers, 60, 4, 1.5))
        report = self.report("--people", self.people)
        scores, same = self.pairs()
        first, second = np.triu_indices(len(self.owners), 1)
        found = {"eer": [], "1e-1": [], "1e-2": []}
        for _ in range(400):
            drawn = np.bincount(self.numbers.integers(0, 60, 60), minlength=60)
            weights = np.where(same, drawn[self.owners[first]],
                               drawn[self.owners[first]] * drawn[self.owners[second]])  # fmt: skip
            used = weights > 0
            fpr, tpr, _ = roc(same[used], scores[used], weights[used])
            found["eer"].append(equal_error_rate(fpr, tpr))
            for name in ("1e-1", "1e-2"):
                found[name].append(tpr[fpr <= RATES[name]].max())
        entries = {entry["name"]: entry for entry in report["accept_rates"]}
        entries["eer"] = report["equal_error_rate"]
        for name, values in found.items():
            low, high = np.quantile(values, [0.025, 0.975])
            # Both ends vary between draws by some tenths of the width.
            self.assertAlmostEqual(low, entries[name]["low"], delta=0.3 * (high - low))
            self.assertAlmostEqual(high, entries[name]["high"], delta=0.3 * (high - low))

    def test_intervals_are_refused_for_few_people_and_have_a_width_without_errors(self):
        self.write(*faces(self.numbers, 19, 8, 0.05))
        report = self.report("--people", self.people)
        self.assertIn("19 people", report["bootstrap"]["refused"])
        self.assertIsNone(report["equal_error_rate"]["low"])
        self.write(*faces(self.numbers, 30, 8, 0.05))
        report = self.report("--people", self.people)
        self.assertEqual(1.0, report["accept_rates"][0]["value"])
        self.assertAlmostEqual(0.05 ** (1 / 30), report["accept_rates"][0]["low"], 9)
        self.assertAlmostEqual(1 - 0.05 ** (1 / 30), report["equal_error_rate"]["high"], 9)

    def test_has_the_same_bytes_with_any_number_of_threads(self):
        self.write(*faces(self.numbers, 50, 3, 1.5))
        reports = set()
        for threads in "1", "2", "5":
            path = self.folder / "threads.html"
            subprocess.run(
                [PROGRAM, "evaluate", self.gallery, "--people", self.people, "-o", path],
                check=True, capture_output=True, env={"OMP_NUM_THREADS": threads})  # fmt: skip
            reports.add(path.read_bytes() + path.with_suffix(".json").read_bytes())
        self.assertEqual(1, len(reports))

    def test_without_genuine_or_impostor_pairs_ends_with_3(self):
        self.write(*faces(self.numbers, 8, 1))
        result = self.run_evaluate("--people", self.people, code=3)
        self.assertIn("has no two features of one person", result.stderr)
        self.write(*faces(self.numbers, 1, 8))
        result = self.run_evaluate("--people", self.people, code=3)
        self.assertIn("has features of one person only", result.stderr)

    def test_tells_what_the_list_and_the_gallery_lack(self):
        self.write(*faces(self.numbers, 30, 4))
        rows = self.people.read_text().splitlines()
        self.people.write_text("\n".join(["id,person", "absent,person 0", *rows[2:]]) + "\n")
        result = self.run_evaluate("--people", self.people)
        self.assertIn("1 of its ids have no feature", result.stderr)
        self.assertIn("2 of its ids have no person", result.stderr)

    def test_wants_people_or_pairs(self):
        self.write(*faces(self.numbers, 3, 2))
        self.run_evaluate(code=2)
        self.run_evaluate("--people", self.people, "--pairs", self.people, code=2)


class Parsed(HTMLParser):
    """The elements of a page, and the resources that they load."""

    def __init__(self, text):
        super().__init__()
        self.tags, self.loads, self.text = [], [], []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        self.tags.append(tag)
        self.loads += [value for name, value in attributes if name in ("src", "href")]

    def handle_data(self, data):
        self.text.append(data)


class Page(EvaluationTest):
    def test_stands_alone(self):
        self.write(*faces(self.numbers, 40, 4, 1.5))
        photographs = self.folder / "photographs"
        photographs.mkdir()
        for name in self.ids[::2]:
            (photographs / f"{name}.ppm").write_bytes(b"P6\n2 2\n255\n" + bytes(range(12)))
        self.report("--people", self.people, "--photos", photographs)
        html = (self.folder / "report.html").read_text()
        page = Parsed(html)
        self.assertNotIn("script", page.tags)
        self.assertNotIn("link", page.tags)
        self.assertEqual([], [load for load in page.loads if not load.startswith("data:image/jpeg")])
        self.assertGreater(len(page.loads), 4)
        self.assertEqual(5, page.tags.count("svg"))
        self.assertNotRegex(re.sub(r"data:[^\"]*", "", html), r"https?:|@import|url\(")

    def test_replaces_no_input(self):
        self.write(*faces(self.numbers, 5, 2, 1.5))
        before = self.people.read_bytes()
        result = self.run_evaluate(
            "--people", self.people, "-o", self.folder / "people.html", code=2
        )
        self.assertIn("people.csv: is an input, and the report would replace it", result.stderr)
        self.assertEqual(before, self.people.read_bytes())
        self.assertEqual({"faces.gallery", "people.csv"}, set(os.listdir(self.folder)))

    @unittest.skipUnless(shutil.which("chromium-headless-shell"), "no browser is installed")
    def test_is_shown_by_a_browser(self):
        self.write(*faces(self.numbers, 40, 4, 1.5))
        self.report("--people", self.people)
        picture = self.folder / "page.png"
        subprocess.run(
            ["chromium-headless-shell", "--no-sandbox", "--disable-gpu", "--window-size=1200,2500",
             f"--user-data-dir={self.folder / 'profile'}", f"--screenshot={picture}", (self.folder / "report.html").as_uri()],
            check=True, capture_output=True, timeout=300)  # fmt: skip
        pixels = imread(picture)[:, :, :3]
        # The colours of the two distributions on a white background, and of the lines of the
        # charts.
        for colour in ("#1d6fb8", "#c2571a"):
            wanted = np.array([int(colour[i : i + 2], 16) / 255 for i in (1, 3, 5)])
            self.assertGreater((np.abs(pixels - wanted).max(axis=2) < 0.02).sum(), 200, colour)

    def test_shows_ids_as_text(self):
        features, owners = faces(self.numbers, 10, 3, 1.5)
        self.write(features, owners)
        evil = '<img src="x" onerror=alert(1)>&"'
        self.ids = [evil + str(i) for i in range(len(owners))]
        write_gallery(self.gallery, self.ids, features, fingerprint=MODEL)
        with self.people.open("w", newline="") as file:
            csv.writer(file).writerows(zip(self.ids, (f"<b>{p}" for p in owners)))
        self.report("--people", self.people)
        page = Parsed((self.folder / "report.html").read_text())
        self.assertNotIn("img", page.tags)
        self.assertNotIn("b", page.tags)
        self.assertIn(evil, "".join(page.text))


class ThresholdFile(EvaluationTest):
    def setUp(self):
        super().setUp()
        self.write(*faces(self.numbers, 60, 4, 1.5))
        self.evaluated = self.report("--people", self.people)
        self.file = self.folder / "report.thresholds.json"

    def compare(self, *arguments):
        command = [PROGRAM, "compare", *map(str, arguments)]
        return subprocess.run(command, capture_output=True, text=True)

    def test_has_the_thresholds_of_the_report(self):
        file = json.loads(self.file.read_text())
        self.assertEqual(MODEL, file["model"])
        self.assertEqual("1e-3" if any(entry["name"] == "1e-3" for entry in file["thresholds"])
                         else "1e-2", file["default"])  # fmt: skip
        wanted = {entry["name"]: entry["threshold"] for entry in self.evaluated["accept_rates"]
                  if "refused" not in entry}  # fmt: skip
        wanted["eer"] = self.evaluated["equal_error_rate"]["threshold"]
        self.assertEqual(wanted, {e["name"]: e["threshold"] for e in file["thresholds"]})

    def test_decides_a_comparison(self):
        thresholds = {e["name"]: e["threshold"] for e in json.loads(self.file.read_text())["thresholds"]}
        file = json.loads(self.file.read_text())
        for name in [None, *thresholds]:
            threshold = thresholds[name or file["default"]]
            argument = f"{self.file}#{name}" if name else self.file
            for other in range(1, 30):
                pair = (f"{self.gallery}#{self.ids[0]}", f"{self.gallery}#{self.ids[other]}")
                by_number = self.compare(*pair, f"--threshold={threshold!r}")
                by_file = self.compare(*pair, "--threshold-file", argument)
                self.assertIn(by_file.returncode, (0, 1))
                self.assertEqual(by_number.returncode, by_file.returncode)
                self.assertEqual(by_number.stdout, by_file.stdout)

    def test_of_another_model_is_refused_with_both_fingerprints(self):
        write_gallery(self.gallery, self.ids, self.features, fingerprint="b6" * 32)
        result = self.compare(self.gallery, self.gallery, "--threshold-file", self.file)
        self.assertEqual(4, result.returncode)
        self.assertIn(MODEL, result.stderr)
        self.assertIn("b6" * 32, result.stderr)
        self.assertEqual("", result.stdout)

    def test_that_is_not_valid_ends_with_3(self):
        good = self.file.read_text()
        for text in ["", "{}", "[]", good.replace('"version": 1', '"version": 2'),
                     good.replace(MODEL, MODEL[:-1]), good.replace(MODEL, "G" * 64),
                     good.replace('"threshold"', '"x"'), self.people.read_text()]:  # fmt: skip
            self.file.write_text(text)
            result = self.compare(self.gallery, self.gallery, "--threshold-file", self.file)
            self.assertEqual(3, result.returncode, text)
        self.file.write_text(good)
        result = self.compare(self.gallery, self.gallery, "--threshold-file", f"{self.file}#1e-9")
        self.assertEqual(3, result.returncode)
        self.assertIn("1e-9", result.stderr)
        self.assertIn("eer", result.stderr)

    def test_excludes_a_threshold_on_the_command_line(self):
        result = self.compare(self.gallery, self.gallery, "--threshold-file", self.file,
                              "--threshold", "0")  # fmt: skip
        self.assertEqual(2, result.returncode)

    def test_warns_if_the_model_of_features_is_unknown(self):
        feature = self.folder / "one.feature"
        write_feature(feature, self.features[0])
        result = self.compare(feature, feature, "--threshold-file", self.file)
        self.assertEqual(0, result.returncode)
        self.assertIn(f"warning: it is for the model {MODEL}", result.stderr)


if __name__ == "__main__":
    unittest.main()
