"""Galleries: written, read, mapped, refused."""

import os
import stat
import struct
import unittest

import numpy as np
from support import TemporaryFolderTest, features

from facefeature import FeatureError, Gallery, GalleryError, score_matrix, write_gallery

MODEL = "0123456789abcdef" * 4
OTHER = "fedcba9876543210" * 4


def by_hand(ids, rows, model, library=b"1.0.0", core=b"Haswell"):
    """A gallery put together byte by byte."""
    texts = [id_.encode() for id_ in ids]
    places = [0]
    for text in texts:
        places.append(places[-1] + len(text))
    section = b"".join(struct.pack("<Q", place) for place in places) + b"".join(texts)
    features_at = 256 + len(section)
    while features_at % 64:
        features_at += 1
    header = b"FFGALLRY" + struct.pack("<IIQII", 1, 256, len(ids), 502, 0)
    header += bytes.fromhex(model) + library.ljust(64, b"\0") + core.ljust(64, b"\0")
    header += struct.pack("<QQQ", 256, len(section), features_at)
    data = (header.ljust(256, b"\0") + section).ljust(features_at, b"\0")
    return data + b"".join(struct.pack("<502f", *row) for row in rows)


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
            (dict(ids=["a"] * 7), GalleryError, "no two"),
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
        self.refused(self.good + b"\0")

    def test_is_refused_with_the_reason(self):
        self.refused(b"X" + self.good[1:], "is no gallery")
        self.refused(self.good[:8] + struct.pack("<I", 2) + self.good[12:], "version 2")

        def with_number(at, number, form="<Q"):
            size = struct.calcsize(form)
            return self.good[:at] + struct.pack(form, number) + self.good[at + size :]

        for at in (16, 192, 200, 208):
            for number in (0, 1, 2**32, 2**63, 2**64 - 1):
                self.refused(with_number(at, number), "header|ids")
        for at in (12, 24):
            self.refused(with_number(at, 0, "<I"), "header")
        for place in (256, 264, 272, 280):
            for number in (7, 2**63, 2**64 - 1):
                self.refused(with_number(place, number), "ids")
        self.refused(self.good.replace("dé".encode(), b"d\xff\xff"), "damaged ids")
        self.refused(by_hand(["a", "a", "b"], self.rows, MODEL), "twice")

    def test_never_ends_in_anything_but_a_refusal(self):
        for _ in range(300):
            data = bytearray(self.good)
            for _ in range(self.random.randrange(1, 4)):
                data[self.random.randrange(300)] = self.random.randrange(256)
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
