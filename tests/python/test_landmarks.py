"""Landmarks: what is accepted, what is rejected, and with which message."""

import copy
import json
import unittest

import numpy as np
from support import LANDMARK_FILE, TemporaryFolderTest, face_document

import facefeature
from facefeature import LandmarkError, read_landmarks


class Landmarks(TemporaryFolderTest):
    def test_of_a_file_are_its_numbers(self):
        face = read_landmarks(LANDMARK_FILE)
        document = face_document()
        self.assertEqual((512, 600), (face.width, face.height))
        for entry, wanted in zip(face.entries, document["landmarks"], strict=True):
            self.assertEqual(wanted["id"], entry["id"])
            self.assertEqual(np.float32(wanted["x"]), entry["x"])
            self.assertEqual(np.float32(wanted["y"]), entry["y"])
        self.assertEqual(facefeature.FULL_IDS, tuple(face.entries["id"].tolist()))

    def test_make_the_record_of_the_library(self):
        record = read_landmarks(LANDMARK_FILE).record()
        self.assertEqual(8 + 29 * 12, record.size)
        self.assertEqual([29, 0], record[:8].view(np.int32).tolist())
        first = face_document()["landmarks"][0]
        self.assertEqual(first["id"], record[8:12].view(np.int32)[0])
        self.assertEqual(np.float32(first["x"]), record[12:16].view(np.float32)[0])
        self.assertEqual(np.float32(first["y"]), record[16:20].view(np.float32)[0])

    def test_without_the_sides_of_the_head_are_enough(self):
        sides = (240, 241, 315, 316)
        entries = [e for e in face_document()["landmarks"] if e["id"] not in sides]
        self.assertEqual(25, len(read_landmarks(entries).entries))

    def refused(self, change, words):
        document = copy.deepcopy(face_document())
        change(document)
        with self.assertRaisesRegex(LandmarkError, words):
            read_landmarks(document)
        path = self.folder / "face.json"
        path.write_text(json.dumps(document))
        with self.assertRaisesRegex(LandmarkError, "face.json.*" + words):
            read_landmarks(path)

    def test_that_the_library_would_reject_are_refused(self):
        def entry(**values):
            return lambda document: document["landmarks"][3].update(values)

        cases = [
            (lambda d: d["landmarks"].pop(5), "24 entries besides"),
            (lambda d: d["landmarks"].append({"id": 9, "x": 1, "y": 1}), "26 entries besides"),
            (lambda d: d["landmarks"].clear(), "0 entries besides"),
            (entry(id=318), "entry 3 has the id 318, not 0 to 317"),
            (entry(id=-1), "entry 3 has the id -1, not 0 to 317"),
            (entry(id=2**64), "entry 3 has the id 18446744073709551616"),
            (entry(id=3.5), "entry 3 has the id 3.5, which is not a whole number"),
            (entry(id=True), "not a whole number"),
            (entry(id="3"), "not a whole number"),
            (entry(x=float("nan")), "entry 3 has the coordinate nan"),
            (entry(y=float("inf")), "entry 3 has the coordinate inf"),
            (entry(x=3.5e38), "out of range"),
            (entry(x="1"), "not a number"),
            (entry(y=None), "not a number"),
            (lambda d: d["landmarks"][3].pop("y"), "entry 3 does not have id, x and y"),
            (lambda d: d["landmarks"].insert(3, 7), "entry 3 does not have id, x and y"),
            (lambda d: d.update(landmarks={}), 'no list "landmarks"'),
            (lambda d: d.update(width="512"), '"width" is not a whole number'),
        ]
        for change, words in cases:
            with self.subTest(words=words):
                self.refused(change, words)

    def test_of_a_broken_file_are_refused(self):
        path = self.folder / "face.json"
        with self.assertRaisesRegex(LandmarkError, "face.json: can't be read"):
            read_landmarks(path)
        for text in ("", "{", "[" * 100000, '{"landmarks": [}', "\xff"):
            path.write_bytes(text.encode("latin-1"))
            with self.assertRaisesRegex(LandmarkError, "face.json: is not JSON"):
                read_landmarks(path)
        path.write_text("[1, 2]")
        with self.assertRaisesRegex(LandmarkError, 'face.json: no list "landmarks"'):
            read_landmarks(path)

    def test_of_no_such_form_are_refused(self):
        for source in (None, 7, b"face.json"):
            with self.assertRaisesRegex(LandmarkError, "can't be read from"):
                read_landmarks(source)
        with self.assertRaisesRegex(LandmarkError, "id 4 does not have two coordinates"):
            read_landmarks({4: 7})


if __name__ == "__main__":
    unittest.main()
