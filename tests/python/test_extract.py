"""Extraction gives the bits of the host program, whatever the layout of pictures and landmarks."""

import unittest
import warnings

import numpy as np
from support import (
    LANDMARK_FILE, MODEL, ROOT, SeededTest, TemporaryFolderTest, face_document, made_picture,
    run_program, write_ppm,
)  # fmt: skip

import facefeature
from facefeature._images import bgr_pixels

SAMPLES = ROOT.parent / "shared/samples"


def setUpModule():
    global engine
    engine = unittest.enterModuleContext(facefeature.Engine(model=MODEL))


class TheHostProgram(TemporaryFolderTest):
    def extracted_by_program(self, photo, landmarks):
        path = self.folder / "feature"
        run_program("extract", photo, landmarks, "-o", path, "--model", MODEL)
        return facefeature.read_feature(path)

    def test_gives_the_same_bits(self):
        for _ in range(3):
            rgb = made_picture(self.numbers)
            write_ppm(self.folder / "picture.ppm", rgb)
            expected = self.extracted_by_program(self.folder / "picture.ppm", LANDMARK_FILE)
            got = engine.extract(rgb, LANDMARK_FILE, channels="RGB")
            self.assertEqual(expected.tobytes(), got.tobytes())

    def test_gives_the_same_bits_on_photographs(self):
        if not SAMPLES.is_dir():
            self.skipTest("../shared/samples is not there")
        import matplotlib.image

        # A PNG, because JPEG decoders differ in the last bits of a pixel.
        photo = SAMPLES / "collins_1.png"
        rgb = np.round(matplotlib.image.imread(photo) * 255).astype(np.uint8)[..., :3]
        landmarks = SAMPLES / "collins_1.json"
        expected = self.extracted_by_program(photo, landmarks)
        self.assertEqual(
            expected.tobytes(), engine.extract(rgb, landmarks, channels="RGB").tobytes()
        )

    def test_scores_features_of_this_package_alike(self):
        a = engine.extract(made_picture(self.numbers), LANDMARK_FILE, channels="BGR")
        b = engine.extract(made_picture(self.numbers), LANDMARK_FILE, channels="BGR")
        facefeature.write_feature(self.folder / "a", a)
        facefeature.write_feature(self.folder / "b", b)
        printed = run_program("compare", self.folder / "a", self.folder / "b")
        self.assertEqual(printed, f"{facefeature.compare(a, b):.9g}\n")


class APicture(SeededTest):
    def setUp(self):
        super().setUp()
        self.bgr = made_picture(self.numbers)
        self.expected = self.extract(self.bgr)

    def extract(self, image, channels="BGR"):
        return engine.extract(image, LANDMARK_FILE, channels=channels).tobytes()

    def test_may_be_any_view(self):
        wide = np.zeros((self.bgr.shape[0] + 7, self.bgr.shape[1] + 5, 3), np.uint8)
        wide[3:-4, 2:-3] = self.bgr
        bottom_up = np.ascontiguousarray(self.bgr[::-1])[::-1]
        planes = np.ascontiguousarray(self.bgr.transpose(2, 0, 1)).transpose(1, 2, 0)
        alpha = np.zeros((*self.bgr.shape[:2], 4), np.uint8)
        alpha[..., :3] = self.bgr
        every_other = np.repeat(self.bgr, 2, axis=0)[::2]
        read_only = self.bgr.copy()
        read_only.flags.writeable = False
        fortran = np.asfortranarray(self.bgr)
        views = [wide[3:-4, 2:-3], bottom_up, planes, alpha[..., :3], every_other, read_only,
                 fortran, self.bgr[:, ::-1].copy()[:, ::-1]]  # fmt: skip
        for number, view in enumerate(views):
            with self.subTest(view=number):
                self.assertEqual(self.expected, self.extract(view))

    def test_of_broadcast_rows_is_copied(self):
        row = self.bgr[:1]
        self.assertEqual(
            self.extract(np.repeat(row, 600, axis=0)),
            self.extract(np.broadcast_to(row, self.bgr.shape)),
        )

    def test_has_the_channel_order_that_is_said(self):
        rgb = np.ascontiguousarray(self.bgr[..., ::-1])
        self.assertEqual(self.expected, self.extract(rgb, "RGB"))
        self.assertEqual(self.expected, self.extract(self.bgr[..., ::-1], "RGB"))
        self.assertNotEqual(self.expected, self.extract(self.bgr, "RGB"))

    def test_has_no_channel_order_by_default(self):
        with self.assertRaises(TypeError):
            engine.extract(self.bgr, LANDMARK_FILE)

    def test_that_is_none_is_refused_with_the_reason(self):
        bad = [
            (self.bgr[..., 0], "BGR", r"shape .*\(600, 512\)"),
            (np.zeros((4, 4, 4), np.uint8), "BGR", "shape"),
            (self.bgr / 255.0, "BGR", "dtype uint8, not float64"),
            (self.bgr[:1], "BGR", "512 x 1 pixels"),
            (self.bgr[:, :1], "BGR", "1 x 600 pixels"),
            (self.bgr[:0], "BGR", "512 x 0 pixels"),
            (self.bgr.tolist(), "BGR", "numpy array"),
            (self.bgr, "GBR", "channels: .*'GBR'"),
        ]
        for image, channels, words in bad:
            with self.assertRaisesRegex(facefeature.ImageError, words):
                self.extract(image, channels)


class Pixels(SeededTest):
    def test_of_any_view_are_as_the_library_walks_them(self):
        for _ in range(200):
            base = made_picture(self.numbers, 13, 11)
            views = [base, base.transpose(1, 0, 2), np.broadcast_to(base[:1], base.shape)]
            rows, columns = (
                slice(None, None, self.random.choice([-2, -1, 1, 2, 3])) for _ in range(2)
            )
            view = self.random.choice(views)[rows, columns][..., :: self.random.choice([-1, 1])]
            for channels, step in (("BGR", 1), ("RGB", -1)):
                pixels = bgr_pixels(view, channels)
                row, column, channel = pixels.strides
                self.assertEqual((3, 1), (column, channel))
                self.assertGreaterEqual(abs(row), 3 * pixels.shape[1])
                self.assertEqual(view[..., ::step].tolist(), pixels.tolist())

    def test_that_lie_right_are_not_copied(self):
        base = made_picture(self.numbers, 13, 11)
        for view in (base, base[::-1], base[2:9:3, 1:-2], base[::-2, 3:]):
            self.assertTrue(np.shares_memory(view, bgr_pixels(view, "BGR")))
            self.assertTrue(np.shares_memory(view, bgr_pixels(view[..., ::-1], "RGB")))


class AFace(SeededTest):
    def setUp(self):
        super().setUp()
        self.picture = made_picture(self.numbers)
        self.expected = self.extract(LANDMARK_FILE)

    def extract(self, landmarks):
        return engine.extract(self.picture, landmarks, channels="BGR").tobytes()

    def test_may_come_in_any_form(self):
        document = face_document()
        entries = document["landmarks"]
        triples = [(entry["id"], entry["x"], entry["y"]) for entry in entries]
        forms = [str(LANDMARK_FILE), document, entries, triples, tuple(triples),
                 np.array(triples, dtype=np.float64), {i: (x, y) for i, x, y in triples},
                 facefeature.read_landmarks(LANDMARK_FILE)]  # fmt: skip
        for number, form in enumerate(forms):
            with self.subTest(form=number):
                self.assertEqual(self.expected, self.extract(form))

    def test_of_another_picture_is_warned_of(self):
        document = {**face_document(), "width": 511}
        with self.assertWarnsRegex(facefeature.FaceFeatureWarning, "511 x 600 .* 512 x 600"):
            self.extract(document)

    def test_with_strange_ids_is_warned_of(self):
        entries = face_document()["landmarks"]
        entries[0]["id"] = 7
        with self.assertWarnsRegex(
            facefeature.FaceFeatureWarning, "id 0 is missing, id 7 is not one of the 29"
        ):
            self.extract(entries)

    def test_of_this_picture_is_not_warned_of(self):
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            self.extract(LANDMARK_FILE)


if __name__ == "__main__":
    unittest.main()
