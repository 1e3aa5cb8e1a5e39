"""Many faces at a time: the bits of each face alone, and an error for each face that has none."""

import gc
import shutil
import threading
import unittest
import warnings
import weakref
from pathlib import Path

import numpy as np

from support import (
    LANDMARK_FILE, LIBRARY, MODEL, SeededTest, TemporaryFolderTest, face_document, made_picture,
    run_python,
)  # fmt: skip

import facefeature


def setUpModule():
    global engine
    engine = unittest.enterModuleContext(facefeature.Engine(model=MODEL))


class MadeFaces(SeededTest):
    def made_face(self, number):
        """A picture of any size, in colour or gray, in memory of any layout, and a face in it."""
        height, width = self.random.randint(150, 700), self.random.randint(150, 700)
        picture = made_picture(self.numbers, height, width)
        if number % 5 == 1:
            picture = np.repeat(picture[..., :1], 3, axis=2)  # gray
        elif number % 5 == 2:
            picture = picture[::-1]
        elif number % 5 == 3:
            picture = made_picture(self.numbers, height + 9, width + 7)[4:-5, 3:-4]
        elif number % 5 == 4:
            picture = picture[..., ::-1]
        scale = np.array([width / 512, height / 600]) * self.random.uniform(0.5, 1.1)
        entries = [
            (entry["id"], *(scale * (entry["x"], entry["y"]) + self.numbers.normal(0, 2, 2)))
            for entry in face_document()["landmarks"]
        ]
        return picture, entries

    def alone(self, faces, channels="BGR"):
        return [engine.extract(*face, channels=channels).tobytes() for face in faces]

    def assert_features(self, expected, got):
        self.assertEqual({}, got.errors)
        self.assertEqual((len(expected), 502), got.features.shape)
        self.assertEqual(np.float32, got.features.dtype)
        self.assertEqual(expected, [feature.tobytes() for feature in got.features])


class ManyFaces(MadeFaces):
    def test_have_the_bits_of_each_alone_for_every_number(self):
        faces = [self.made_face(number) for number in range(17)]
        expected = self.alone(faces)
        for count in range(18):
            with self.subTest(count=count):
                first = self.random.randint(0, 17 - count)
                chosen = slice(first, first + count)
                got = engine.extract_many(faces[chosen], channels="BGR")
                self.assert_features(expected[chosen], got)

    def test_may_be_more_than_a_pass_and_come_from_a_generator(self):
        faces = [self.made_face(number) for number in range(3)]
        expected = self.alone(faces, "RGB")
        got = engine.extract_many((faces[i % 3] for i in range(37)), channels="RGB")
        self.assert_features([expected[i % 3] for i in range(37)], got)

    def test_are_held_a_pass_at_a_time(self):
        picture, face = self.made_face(0)
        given, most = [], 0

        def alive():
            return sum(reference() is not None for reference in given)

        class Picture(np.ndarray):
            pass

        def faces():
            nonlocal most
            for _ in range(40):
                copy = picture.copy().view(Picture)
                given.append(weakref.ref(copy))
                most = max(most, alive())
                yield copy, face
                del copy

        engine.extract_many(faces(), channels="BGR")
        self.assertLessEqual(most, 17)
        self.assertEqual(0, alive())

    def test_that_are_bad_cost_only_themselves(self):
        faces = [self.made_face(number) for number in range(18)]
        expected = self.alone(faces)
        picture, face = faces[0]
        bad = {
            0: ((picture[..., 0], face), facefeature.ImageError, "shape"),
            3: ((picture / 255.0, face), facefeature.ImageError, "dtype"),
            7: ((picture, face[1:]), facefeature.LandmarkError, "24 entries"),
            15: ((picture, "nowhere.json"), facefeature.LandmarkError, "nowhere.json"),
            16: ((picture, [(0, float("nan"), 1)]), facefeature.LandmarkError, "out of range"),
            17: (picture, facefeature.ImageError, "pair"),
        }
        for number, (pair, _, _) in bad.items():
            faces[number] = pair
        got = engine.extract_many(faces, channels="BGR")
        self.assertEqual(set(bad), set(got.errors))
        for number, feature in enumerate(got.features):
            if number in bad:
                self.assertTrue(np.isnan(feature).all(), number)
                _, kind, words = bad[number]
                self.assertIsInstance(got.errors[number], kind)
                self.assertRegex(str(got.errors[number]), words)
            else:
                self.assertEqual(expected[number], feature.tobytes(), number)

    def test_that_are_bad_are_not_kept_in_memory_by_their_error(self):
        class Picture(np.ndarray):
            pass

        picture = np.zeros((1, 5, 3), np.uint8).view(Picture)
        kept = weakref.ref(picture)
        got = engine.extract_many([(picture, LANDMARK_FILE)], channels="BGR")
        del picture
        gc.collect()
        self.assertEqual({0}, set(got.errors))
        self.assertIsNone(kept())

    def test_all_bad_or_none_at_all_are_no_failure(self):
        self.assert_features([], engine.extract_many([], channels="BGR"))
        got = engine.extract_many([(None, None)] * 20, channels="RGB")
        self.assertEqual(set(range(20)), set(got.errors))
        self.assertTrue(np.isnan(got.features).all())

    def test_have_one_channel_order_that_is_said(self):
        faces = [self.made_face(0)]
        with self.assertRaises(TypeError):
            engine.extract_many(faces)
        with self.assertRaisesRegex(facefeature.ImageError, "'GBR'"):
            engine.extract_many(faces, channels="GBR")
        self.assertNotEqual(
            engine.extract_many(faces, channels="BGR").features.tobytes(),
            engine.extract_many(faces, channels="RGB").features.tobytes(),
        )

    def test_are_warned_of_where_they_are_asked_for(self):
        picture, face = self.made_face(0)
        face[0] = (7, *face[0][1:])
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            engine.extract(picture, face, channels="BGR")
            engine.extract_many([(picture, face)], channels="BGR")
        self.assertEqual(2, len(caught))
        for warning in caught:
            self.assertEqual(__file__, warning.filename)
            self.assertRegex(str(warning.message), "id 7 is not one of the 29")

    def test_that_stop_coming_raise_and_leave_the_engine_usable(self):
        faces = [self.made_face(number) for number in range(20)]
        expected = self.alone(faces[:2])

        def broken():
            yield from faces[:18]
            raise OSError("the disk is gone")

        with self.assertRaisesRegex(OSError, "the disk is gone"):
            engine.extract_many(broken(), channels="BGR")
        self.assert_features(expected, engine.extract_many(faces[:2], channels="BGR"))


class Threads(MadeFaces):
    def test_have_one_engine_and_several(self):
        faces = [self.made_face(number) for number in range(20)]
        expected = self.alone(faces)
        got = {}
        with facefeature.Engine(model=MODEL) as second:

            def work(name, used, first):
                got[name] = [
                    used.extract_many(faces[first:], channels="BGR"),
                    used.extract_many(faces[:first], channels="BGR"),
                    used.extract(*faces[first], channels="BGR"),
                ]

            workers = [
                threading.Thread(target=work, args=(i, (engine, second)[i % 2], 3 * i + 1))
                for i in range(4)
            ]
            for worker in workers:
                worker.start()
            with facefeature.Engine(model=MODEL) as third:
                self.assert_features(expected[:3], third.extract_many(faces[:3], channels="BGR"))
            for worker in workers:
                worker.join()
        for i in range(4):
            self.assert_features(expected[3 * i + 1 :], got[i][0])
            self.assert_features(expected[: 3 * i + 1], got[i][1])
            self.assertEqual(expected[3 * i + 1], got[i][2].tobytes())


class AnEngine(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.picture = made_picture(self.numbers)
        self.faces = [(self.picture, LANDMARK_FILE)] * 2

    def test_that_is_closed_says_so(self):
        with facefeature.Engine(model=MODEL) as closed:
            pass
        with self.assertRaisesRegex(facefeature.EngineError, "closed"):
            closed.extract_many(self.faces, channels="BGR")

    def test_of_no_numbers_is_an_error_of_each_face(self):
        for file in Path(MODEL).iterdir():
            (self.folder / file.name).symlink_to(file)
        (self.folder / "6-0").unlink()
        (self.folder / "6-0").write_bytes(b"\xff" * 32000)
        code = f"""
import numpy as np, facefeature
picture = np.zeros((600, 512, 3), np.uint8)
with facefeature.Engine(model={str(self.folder)!r}) as engine:
    got = engine.extract_many([(picture, {str(LANDMARK_FILE)!r})] * 2, channels="BGR")
assert np.isnan(got.features).all()
for i in range(2):
    assert isinstance(got.errors[i], facefeature.ModelError), got
    assert "not a number" in str(got.errors[i])
"""
        result = run_python(code)
        self.assertEqual((0, ""), (result.returncode, result.stderr))

    def test_without_the_batch_library_gives_the_same_features_face_by_face(self):
        expected = engine.extract_many(self.faces, channels="BGR").features
        np.save(self.folder / "picture.npy", self.picture)
        np.save(self.folder / "expected.npy", expected)
        copy = self.folder / "libfacefeature.so.1"
        shutil.copy(LIBRARY, copy)
        code = f"""
import numpy as np, facefeature
folder = {str(self.folder)!r}
faces = [(np.load(folder + "/picture.npy"), {str(LANDMARK_FILE)!r})] * 2
with facefeature.Engine(model={MODEL!r}) as engine:
    got = engine.extract_many(faces + [(None, None)], channels="BGR")
    one = engine.extract(*faces[0], channels="BGR")
    assert engine._library.engines.faces_at_once == 1
expected = np.load(folder + "/expected.npy")
assert got.features[:2].tobytes() == expected.tobytes()
assert one.tobytes() == expected[0].tobytes()
assert list(got.errors) == [2]
"""
        result = run_python(code, FACEFEATURE_LIBRARY=str(copy))
        self.assertEqual((0, ""), (result.returncode, result.stderr))

    def test_uses_the_batch_library_of_the_build(self):
        self.assertEqual(16, engine._library.engines.faces_at_once)


if __name__ == "__main__":
    unittest.main()
