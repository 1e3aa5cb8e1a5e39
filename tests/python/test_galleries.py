"""Galleries: writing, reading, mapping, searching and rejecting them."""

import hashlib
import os
import stat
import struct
import unittest

import numpy as np
from support import TemporaryFolderTest, features

from facefeature import (
    FeatureError,
    Gallery,
    GalleryError,
    compare,
    score_matrix,
    write_gallery,
)

MODEL = "0123456789abcdef" * 4
OTHER = "fedcba9876543210" * 4


def ids_section(ids):
    texts = [id_.encode() for id_ in ids]
    offsets = [0]
    for text in texts:
        offsets.append(offsets[-1] + len(text))
    return b"".join(struct.pack("<Q", offset) for offset in offsets) + b"".join(texts)


def filled(data, multiple=64):
    return data + bytes(-len(data) % multiple)


def old_by_hand(ids, rows, model, library=b"1.0.0", core=b"Haswell"):
    """A gallery of version 1, assembled byte by byte."""
    section = ids_section(ids)
    features_at = 256 + len(section) + -(256 + len(section)) % 64
    header = b"FFGALLRY" + struct.pack("<IIQII", 1, 256, len(ids), 502, 0)
    header += bytes.fromhex(model) + library.ljust(64, b"\0") + core.ljust(64, b"\0")
    header += struct.pack("<QQQ", 256, len(section), features_at)
    data = (header.ljust(256, b"\0") + section).ljust(features_at, b"\0")
    return data + b"".join(struct.pack("<502f", *row) for row in rows)


def segment(start, previous, data, kind, count, ids_bytes, features_at):
    """A segment of version 2 with this data, its digests and its trailer."""
    digests = [hashlib.sha256(data[i : i + 65536]).digest() for i in range(0, len(data), 65536)]
    table = b"".join(digests)
    table += bytes(-(start + len(data) + len(table)) % 64)
    end = table + b"FFSEGMNT" + struct.pack("<IIQQ", kind, 256, start, count)
    ids_at = start if kind == 1 else 0
    end += struct.pack("<QQQQQ", ids_at, ids_bytes, features_at, start + len(data), previous)
    end = end.ljust(len(table) + 224, b"\0")
    return data + end + hashlib.sha256(end).digest()


def rows_segment(start, previous, ids, rows):
    section = ids_section(ids)
    data = filled(section)
    features_at = start + len(data)
    data += b"".join(struct.pack("<502f", *row) for row in rows)
    return segment(start, previous, data, 1, len(ids), len(section), features_at)


def removals_segment(start, previous, numbers):
    data = b"".join(struct.pack("<Q", number) for number in numbers)
    return segment(start, previous, data, 2, len(numbers), 0, 0)


def with_roots(segments, count, model, library=b"1.0.0", core=b"Haswell", sequence=1):
    header = b"FFGALLRY" + struct.pack("<IIQII", 2, 12288, 0, 502, 0) + bytes.fromhex(model)
    header = header.ljust(256, b"\0")
    size = 12288 + sum(map(len, segments))
    root = struct.pack("<QQQQQ", sequence, size, count, len(segments), size - 256)
    root = root.ljust(64, b"\0") + library.ljust(64, b"\0") + core.ljust(64, b"\0")
    root = root.ljust(224, b"\0")
    root += hashlib.sha256(header + root).digest()
    return filled(header, 4096) + filled(root, 4096) * 2 + b"".join(segments)


def by_hand(ids, rows, model, library=b"1.0.0", core=b"Haswell"):
    """A gallery of version 2, assembled byte by byte."""
    return with_roots([rows_segment(12288, 0, ids, rows)], len(ids), model, library, core)


class AGallery(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.path = self.folder / "gallery"
        self.rows = features(self.numbers, 7)
        self.ids = ["a", "Zoë", "photos/b c.jpg", "日本", "x" * 1024, "5", "=1+1"]

    def test_is_written_to_the_byte(self):
        write_gallery(self.path, self.ids, self.rows, fingerprint=MODEL, library_version="1.0.0",
                      blas_core="Haswell")  # fmt: skip
        self.assertEqual(by_hand(self.ids, self.rows, MODEL), self.path.read_bytes())

    def test_is_read(self):
        self.path.write_bytes(by_hand(self.ids, self.rows, MODEL))
        gallery = Gallery(self.path)
        self.assertEqual(tuple(self.ids), gallery.ids)
        self.assertEqual(7, len(gallery))
        self.assertEqual(self.rows.tobytes(), gallery.features.tobytes())
        self.assertEqual(
            (MODEL, "1.0.0", "Haswell"),
            (gallery.fingerprint, gallery.library_version, gallery.blas_core),
        )
        self.assertEqual(self.rows[3].tobytes(), gallery.feature("日本").tobytes())
        with self.assertRaises(KeyError):
            gallery.feature("nobody")

    def test_of_version_1_is_read(self):
        self.path.write_bytes(old_by_hand(self.ids, self.rows, MODEL))
        gallery = Gallery(self.path)
        self.assertEqual((1, tuple(self.ids)), (gallery.version, gallery.ids))
        self.assertEqual(self.rows.tobytes(), gallery.features.tobytes())
        self.assertEqual((MODEL, "Haswell"), (gallery.fingerprint, gallery.blas_core))

    def test_of_several_segments_has_the_rows_that_are_left(self):
        first = rows_segment(12288, 0, self.ids[:4], self.rows[:4])
        at = 12288 + len(first)
        second = removals_segment(at, at - 256, [0, 2])
        at += len(second)
        third = rows_segment(at, at - 256, self.ids[4:] + ["a"], self.rows[[4, 5, 6, 0]])
        data = with_roots([first, second, third], 6, MODEL)
        self.path.write_bytes(data + b"of a process that was killed")
        gallery = Gallery(self.path)
        self.assertEqual((self.ids[1], self.ids[3], *self.ids[4:], "a"), gallery.ids)
        rows = self.rows[[1, 3, 4, 5, 6, 0]]
        self.assertEqual(rows.tobytes(), gallery.features.tobytes())
        self.assertEqual(rows[-1].tobytes(), gallery.feature("a").tobytes())
        with self.assertRaises(ValueError):
            gallery.features[0, 0] = 1

    def test_is_mapped_and_not_to_be_written(self):
        write_gallery(self.path, self.ids, self.rows, fingerprint=MODEL)
        gallery = Gallery(self.path)
        self.assertFalse(gallery.features.flags.owndata)
        self.assertEqual(0, gallery.features.ctypes.data % 64)
        with self.assertRaises(ValueError):
            gallery.features[0, 0] = 1
        with open("/proc/self/maps", encoding="utf-8") as maps:
            self.assertIn(str(self.path), maps.read())

    def test_keeps_its_bytes_when_it_is_written_anew(self):
        write_gallery(self.path, self.ids, self.rows, fingerprint=MODEL)
        rows = Gallery(self.path).features
        write_gallery(self.path, ["a"], self.rows[:1] * 2, fingerprint=MODEL)
        self.assertEqual(self.rows.tobytes(), rows.tobytes())
        self.assertEqual(("a",), Gallery(self.path).ids)

    def test_may_be_empty(self):
        write_gallery(self.path, [], self.rows[:0], fingerprint=MODEL)
        gallery = Gallery(self.path)
        self.assertEqual((), gallery.ids)
        self.assertEqual((0, 502), gallery.features.shape)

    def test_of_any_ids_comes_back(self):
        signs = "aé日\U0001f600 /,\"'="
        for _ in range(50):
            count = self.random.randrange(20)
            ids = ["".join(self.random.choices(signs, k=self.random.randrange(30))) + str(i)
                   for i in range(count)]  # fmt: skip
            rows = features(self.numbers, count)
            write_gallery(self.path, ids, rows, fingerprint=OTHER)
            gallery = Gallery(self.path)
            self.assertEqual(tuple(ids), gallery.ids)
            self.assertEqual(rows.tobytes(), gallery.features.tobytes())
            self.assertEqual(by_hand(ids, rows, OTHER, b"", b""), self.path.read_bytes())

    def test_has_the_rights_of_a_new_file(self):
        write_gallery(self.path, self.ids, self.rows, fingerprint=MODEL)
        (self.folder / "new").touch()
        expected = stat.S_IMODE(os.stat(self.folder / "new").st_mode)
        self.assertEqual(expected, stat.S_IMODE(os.stat(self.path).st_mode))

    def test_that_cannot_be_written_is_an_error_and_leaves_nothing(self):
        write_gallery(self.path, self.ids, self.rows, fingerprint=MODEL)
        bad = [
            (dict(ids=self.ids[:-1]), FeatureError, "7 rows for 6 ids"),
            (dict(ids=["a"] * 7), GalleryError, "must be unique"),
            (dict(ids=[""] + self.ids[1:]), GalleryError, "0 bytes"),
            (dict(ids=["x" * 1025] + self.ids[1:]), GalleryError, "1025 bytes"),
            (dict(ids=["a\nb"] + self.ids[1:]), GalleryError, "control"),
            (dict(ids=["\udc80"] + self.ids[1:]), GalleryError, "UTF-8"),
            (dict(fingerprint="12"), GalleryError, "64 hexadecimal digits"),
            (dict(library_version="1" * 64), GalleryError, "64 bytes"),
            (dict(features=self.rows.astype(float)), FeatureError, "float64"),
            (dict(path=self.folder / "none" / "gallery"), GalleryError, "can't be written"),
        ]
        good = dict(path=self.path, ids=self.ids, features=self.rows, fingerprint=MODEL)
        for change, error, words in bad:
            with self.assertRaisesRegex(error, words):
                write_gallery(**{**good, **change})
        self.assertEqual(["gallery"], os.listdir(self.folder))
        self.assertEqual(7, len(Gallery(self.path)))


class ADamagedGallery(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.path = self.folder / "gallery"
        self.rows = features(self.numbers, 3)
        self.good = by_hand(["a", "bc", "dé"], self.rows, MODEL)

    def refused(self, data, words="."):
        self.path.write_bytes(data)
        with self.assertRaisesRegex(GalleryError, words):
            Gallery(self.path)

    def test_is_refused_wherever_it_is_cut(self):
        for end in [0, 1, 7, 8, 255, 256, 300, len(self.good) - 1]:
            self.refused(self.good[:end])

    def test_is_refused_with_the_reason(self):
        self.refused(b"X" + self.good[1:], "is not a gallery")
        self.refused(self.good[:8] + struct.pack("<I", 3) + self.good[12:], "version 3")

        self.refused(self.good[:20] + b"\1" + self.good[21:], "damaged header")
        self.refused(self.good[:-300] + b"\1" + self.good[-299:], "damaged segment")
        self.refused(by_hand(["a", "a", "b"], self.rows, MODEL), "twice")
        removal = rows_segment(12288, 0, ["a"], self.rows[:1])
        for numbers in ([1], [0, 0]):
            end = 12288 + len(removal)
            both = [removal, removals_segment(end, end - 256, numbers)]
            self.refused(with_roots(both, 0, MODEL), "damaged removals")

    def test_of_version_1_is_refused_with_the_reason(self):
        good = old_by_hand(["a", "bc", "dé"], self.rows, MODEL)

        def with_number(at, number, form="<Q"):
            size = struct.calcsize(form)
            return good[:at] + struct.pack(form, number) + good[at + size :]

        for end in [8, 255, 256, 300, len(good) - 1]:
            self.refused(good[:end])
        self.refused(good + b"\0")
        for at in (16, 192, 200, 208):
            for number in (0, 1, 2**32, 2**63, 2**64 - 1):
                self.refused(with_number(at, number), "header|ids")
        for at in (12, 24):
            self.refused(with_number(at, 0, "<I"), "header")
        for offset in (256, 264, 272, 280):
            for number in (7, 2**63, 2**64 - 1):
                self.refused(with_number(offset, number), "ids")
        self.refused(good.replace("dé".encode(), b"d\xff\xff"), "damaged ids")
        self.refused(old_by_hand(["a", "a", "b"], self.rows, MODEL), "twice")

    def test_with_one_damaged_root_is_read_from_the_other(self):
        for root in (4096, 8192):
            data = bytearray(self.good)
            data[root] ^= 1
            self.path.write_bytes(data)
            self.assertEqual(3, len(Gallery(self.path)))

    def test_never_ends_in_anything_but_a_refusal(self):
        old = old_by_hand(["a", "bc", "dé"], self.rows, MODEL)
        for round_ in range(600):
            data = bytearray(self.good if round_ % 2 else old)
            for _ in range(self.random.randrange(1, 4)):
                data[self.random.randrange(300)] = self.random.randrange(256)
            if round_ % 2:
                data[-self.random.randrange(1, 400)] ^= 1
            self.path.write_bytes(data)
            try:
                gallery = Gallery(self.path)
            except GalleryError:
                continue
            self.assertEqual((len(gallery.ids), 502), gallery.features.shape)

    def test_that_is_not_there_is_an_error(self):
        with self.assertRaisesRegex(GalleryError, "gallery: can't be read"):
            Gallery(self.path)
        with self.assertRaisesRegex(GalleryError, "can't be read"):
            Gallery(self.folder)


class ASearch(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.rows = features(self.numbers, 90)
        self.rows[7] = np.nan
        self.rows[[20, 60, 30]] = self.rows[5]
        self.rows[11, 501] = 0
        write_gallery(self.folder / "g", [f"id {i}" for i in range(90)], self.rows,
                      fingerprint=MODEL)  # fmt: skip
        self.gallery = Gallery(self.folder / "g")
        self.probes = features(self.numbers, 70)

    def expected(self, probe, top, threshold=None):
        """Sorts the library's own scores."""
        scores = [(compare(probe, row), i) for i, row in enumerate(self.rows)]
        scores = [s for s in scores if s[0] == s[0] and (threshold is None or s[0] >= threshold)]
        scores.sort(key=lambda s: (-s[0], s[1]))
        scores = scores[:top] if top else scores
        return [(f"id {i}", score, i) for score, i in scores]

    def test_answers_as_a_sort_of_all_scores_would(self):
        for top in (1, 10, 89, 100, 0):
            answers = self.gallery.search(self.probes, top=top)
            self.assertEqual(70, len(answers))
            for probe, matches in zip(self.probes[:5], answers):
                self.assertEqual(self.expected(probe, top), matches)

    def test_puts_equal_scores_in_the_order_of_the_gallery(self):
        for top in (1, 2, 3, 4, 50):
            (matches,) = self.gallery.search(self.rows[5], top=top)
            self.assertEqual(self.expected(self.rows[5], top), matches)

    def test_with_a_threshold_has_what_reaches_it(self):
        probe = self.probes[0]
        threshold = compare(probe, self.rows[40])
        (matches,) = self.gallery.search(probe, top=0, threshold=threshold)
        self.assertEqual(self.expected(probe, 0, threshold), matches)
        self.assertIn("id 40", [match.id for match in matches])

    def test_of_an_empty_gallery_has_no_matches(self):
        write_gallery(self.folder / "none", [], self.rows[:0], fingerprint=MODEL)
        gallery = Gallery(self.folder / "none")
        for top in (0, 1, 10):
            self.assertEqual([[], [], []], gallery.search(self.probes[:3], top=top))
        self.assertEqual([[]], gallery.search(self.probes[0], threshold=-np.inf))

    def test_of_one_row_has_that_row(self):
        write_gallery(self.folder / "one", ["only"], self.rows[:1], fingerprint=MODEL)
        gallery = Gallery(self.folder / "one")
        score = compare(self.probes[0], self.rows[0])
        for top in (0, 1, 10):
            self.assertEqual([[("only", score, 0)]], gallery.search(self.probes[0], top=top))
        self.assertEqual([[("only", score, 0)]], gallery.search(self.probes[0], threshold=score))
        above = np.nextafter(np.float32(score), np.float32(np.inf))
        self.assertEqual([[]], gallery.search(self.probes[0], threshold=above))

    def test_for_no_probes_is_empty(self):
        self.assertEqual([], self.gallery.search(self.probes[:0]))
        write_gallery(self.folder / "none", [], self.rows[:0], fingerprint=MODEL)
        self.assertEqual([], self.gallery.search(Gallery(self.folder / "none")))

    def test_nan_matches_nothing(self):
        probes = self.probes[:3].copy()
        probes[0] = np.nan
        probes[1, 250] = np.nan
        probes[2, 501] = np.nan
        self.assertEqual([[], [], []], self.gallery.search(probes, top=0))
        self.assertEqual([[], [], []], self.gallery.search(probes, top=0, threshold=-np.inf))
        rows = np.full((5, 502), np.nan, np.float32)
        write_gallery(self.folder / "nan", list("abcde"), rows, fingerprint=MODEL)
        self.assertEqual([[]] * 70, Gallery(self.folder / "nan").search(self.probes))
        self.assertNotIn(7, [match.row for match in self.gallery.search(self.probes[0], top=0)[0]])

    def test_of_hostile_numbers_answers_as_a_sort_of_all_scores_would(self):
        special = np.array([np.nan, np.inf, -np.inf, 0, -0.0, 1e-45, -1e-38, 3.4e38], np.float32)
        for _ in range(8):
            count = self.random.randrange(1, 40)
            self.rows = features(self.numbers, count)
            for i in range(count):
                if self.random.random() < 0.5:
                    column = self.random.choice([self.random.randrange(500), 500, 501])
                    self.rows[i, column] = self.random.choice(special)
                if self.random.random() < 0.3:
                    self.rows[i] = self.rows[self.random.randrange(count)]
            write_gallery(self.folder / "h", [f"id {i}" for i in range(count)], self.rows,
                          fingerprint=MODEL)  # fmt: skip
            probes = self.probes[:4].copy()
            probes[0, 501] = self.random.choice(special)
            probes[1, 17] = self.random.choice(special)
            top = self.random.randrange(12)
            answers = Gallery(self.folder / "h").search(probes, top=top)
            for probe, matches in zip(probes, answers):
                self.assertEqual(self.expected(probe, top), matches)

    def test_takes_a_gallery_of_the_same_model_only(self):
        write_gallery(self.folder / "p", ["p", "q"], self.probes[:2], fingerprint=MODEL)
        self.assertEqual(
            self.gallery.search(self.probes[:2]), self.gallery.search(Gallery(self.folder / "p"))
        )
        write_gallery(self.folder / "p", ["p"], self.probes[:1], fingerprint=OTHER)
        with self.assertRaisesRegex(GalleryError, "different models"):
            self.gallery.search(Gallery(self.folder / "p"))
        with self.assertRaises(FeatureError):
            self.gallery.search(self.probes[:, :500])


class TwoGalleries(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.rows = features(self.numbers, 5)
        self.other_rows = features(self.numbers, 4)
        self.first = self.written("first", self.rows, MODEL)

    def written(self, name, rows, model):
        write_gallery(self.folder / name, [str(i) for i in range(len(rows))], rows,
                      fingerprint=model)  # fmt: skip
        return Gallery(self.folder / name)

    def test_of_one_model_are_scored(self):
        second = self.written("second", self.other_rows, MODEL)
        expected = score_matrix(self.rows, self.other_rows).tobytes()
        self.assertEqual(expected, score_matrix(self.first, second).tobytes())
        self.assertEqual(expected, score_matrix(self.first, self.other_rows).tobytes())
        self.assertEqual(
            score_matrix(self.rows).tobytes(), score_matrix(self.first).tobytes()
        )

    def test_of_two_models_are_refused_by_both_names(self):
        second = self.written("second", self.other_rows, OTHER)
        with self.assertRaisesRegex(GalleryError, f"{MODEL} and {OTHER}"):
            score_matrix(self.first, second)


if __name__ == "__main__":
    unittest.main()
