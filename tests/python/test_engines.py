"""Engines: models, threads, processes, and leaks."""

import os
import shutil
import threading
import unittest
import warnings
from pathlib import Path

from support import (
    LANDMARK_FILE, LIBRARY, MODEL, SeededTest, TemporaryFolderTest, made_picture, run_program,
    run_python,
)  # fmt: skip

import facefeature
from facefeature import Engine, EngineError, ModelError

FACE = f"""
import os, sys
import numpy as np
import facefeature
model, face = {MODEL!r}, {str(LANDMARK_FILE)!r}
picture = np.random.default_rng(1).integers(0, 256, (600, 512, 3), dtype=np.uint8)
def extract(engine):
    return engine.extract(picture, face, channels="BGR").tobytes()
"""


class AnEngine(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.picture = made_picture(self.numbers)

    def extract(self, engine):
        return engine.extract(self.picture, LANDMARK_FILE, channels="BGR").tobytes()

    def test_is_a_context(self):
        with Engine(model=MODEL) as engine:
            self.assertIn("open", repr(engine))
            self.extract(engine)
        self.assertIn("closed", repr(engine))
        with self.assertRaisesRegex(EngineError, "closed"):
            self.extract(engine)
        engine.close()

    def test_knows_its_model_and_library(self):
        with Engine(model=MODEL) as engine:
            self.assertEqual(Path(MODEL), engine.model)
            self.assertRegex(engine.fingerprint, "^[0-9a-f]{64}$")
            self.assertEqual(facefeature.model_fingerprint(MODEL), engine.fingerprint)
            self.assertRegex(engine.library_version, r"^\d+\.\d+\.\d+$")

    def test_stands_beside_others_of_its_model(self):
        copy = self.folder / "copy"
        shutil.copytree(MODEL, copy)
        with Engine(model=MODEL) as first, Engine(model=copy) as second:
            expected = self.extract(first)
            first.close()
            self.assertEqual(expected, self.extract(second))

    def test_needs_its_folder_only_while_it_is_made(self):
        copy = self.folder / "copy"
        shutil.copytree(MODEL, copy)
        with Engine(model=MODEL) as engine:
            expected = self.extract(engine)
        with Engine(model=copy) as engine:
            shutil.rmtree(copy)
            self.assertEqual(expected, self.extract(engine))

    def test_of_another_model_waits_until_the_first_is_closed(self):
        other = self.folder / "other"
        run_program("model", "synth", other, "--seed", 2)
        with Engine(model=MODEL) as engine:
            first = self.extract(engine)
            with self.assertRaisesRegex(ModelError, "another model.*Close it first"):
                Engine(model=other)
            self.assertEqual(first, self.extract(engine))
        with Engine(model=other) as engine:
            self.assertNotEqual(first, self.extract(engine))
        with Engine(model=MODEL) as engine:
            self.assertEqual(first, self.extract(engine))

    def test_that_is_dropped_is_warned_of_and_freed(self):
        other = self.folder / "other"
        run_program("model", "synth", other, "--seed", 2)
        with self.assertWarnsRegex(ResourceWarning, "was not closed"):
            engine = Engine(model=MODEL)
            del engine
        # It no longer prevents the use of another model.
        Engine(model=other).close()

    def test_leaves_the_environment_and_the_temporary_folder_as_they_were(self):
        code = FACE + """
before = dict(os.environ)
engine = facefeature.Engine(model=model)
assert dict(os.environ) == before
folders = os.listdir(os.environ["TMPDIR"])
assert len(folders) == 1, folders
folder = os.path.join(os.environ["TMPDIR"], folders[0])
assert os.stat(folder).st_mode & 0o777 == 0o700
assert os.listdir(folder) == []
extract(engine); engine.close()
"""
        result = run_python(code, TMPDIR=str(self.folder))
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertEqual([], os.listdir(self.folder))

    def test_without_a_folder_takes_the_model_of_the_repository(self):
        shipped = Path(facefeature.__file__).resolve().parents[2] / "models/portraits"
        self.assert_default_model(shipped, facefeature.__file__)

    def test_without_a_folder_takes_the_model_of_the_prefix_that_it_is_installed_in(self):
        package = self.folder / "usr/lib/python3/dist-packages/facefeature"
        shutil.copytree(Path(facefeature.__file__).parent, package)
        installed = self.folder / "usr/share/facefeature/models/portraits"
        installed.parent.mkdir(parents=True)
        installed.symlink_to(MODEL)
        self.assert_default_model(installed, package, PYTHONPATH=str(package.parent))

    def assert_default_model(self, folder, package, **environment):
        code = FACE + """
e = facefeature.Engine(); print(facefeature.__file__); print(e.model); print(e.fingerprint)
extract(e); e.close()
"""
        temporary = self.folder / "empty"
        temporary.mkdir()
        result = run_python(code, TMPDIR=str(temporary), FACEFEATURE_LIBRARY=LIBRARY, **environment)
        self.assertEqual("", result.stderr)
        used, model, fingerprint = result.stdout.split()
        self.assertTrue(used.startswith(str(package)), used)
        self.assertEqual((str(folder), facefeature.model_fingerprint(folder)), (model, fingerprint))

    def test_without_any_model_names_the_folder_that_the_library_reads(self):
        package = self.folder / "alone/facefeature"
        shutil.copytree(Path(facefeature.__file__).parent, package)
        result = run_python("import facefeature; facefeature.Engine()", TMPDIR=str(self.folder),
                            PYTHONPATH=str(package.parent), FACEFEATURE_LIBRARY=LIBRARY)  # fmt: skip
        self.assertIn(f"ModelError: {self.folder}/~kwplugintmp~: is not a folder", result.stderr)

    def test_without_a_folder_takes_the_one_that_the_library_reads(self):
        (self.folder / "~kwplugintmp~").symlink_to(MODEL)
        result = run_python(
            FACE + "e = facefeature.Engine(); print(e.fingerprint); extract(e); e.close()",
            TMPDIR=str(self.folder),
        )
        self.assertEqual(result.stdout.strip(), facefeature.model_fingerprint(MODEL), result.stderr)


class ABadModel(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        self.model = self.folder / "model"
        # Links, so that a case can remove one file without copying all of them.
        self.model.mkdir()
        for file in Path(MODEL).iterdir():
            (self.model / file.name).symlink_to(file)

    def refused(self, words):
        with self.assertRaisesRegex(ModelError, words):
            Engine(model=self.model)

    def test_folder_is_refused(self):
        with self.assertRaisesRegex(ModelError, "nowhere: is not a folder"):
            Engine(model=self.folder / "nowhere")

    def test_file_is_named(self):
        for name in ("0-1-0", "6-2", "3-7-1", "5-25-3"):
            data = (self.model / name).read_bytes()
            (self.model / name).unlink()
            self.refused(f"incomplete: {name} is missing$")
            (self.model / name).write_bytes(data[:-4])
            self.refused(f"{name} has {len(data) - 4} bytes, not {len(data)}")
            if not name.startswith("6"):
                (self.model / name).write_bytes(bytes([data[0] ^ 128]) + data[1:])
                self.refused(f"{name} has a header of another shape")
            (self.model / name).write_bytes(data)
        Engine(model=self.model).close()

    def test_is_not_named_file_after_file_without_end(self):
        for file in self.model.glob("2-*"):
            file.unlink()
        self.refused("and 40 more files$")

    def test_of_no_numbers_is_an_error_at_the_extraction(self):
        path = self.model / "6-0"
        path.unlink()
        path.write_bytes(b"\xff" * 32000)
        with Engine(model=self.model) as engine:
            with self.assertRaisesRegex(ModelError, "not a number"):
                engine.extract(made_picture(self.numbers), LANDMARK_FILE, channels="BGR")

    def test_has_another_fingerprint(self):
        before = facefeature.model_fingerprint(self.model)
        (self.model / "README").unlink()
        self.assertEqual(before, facefeature.model_fingerprint(self.model))
        data = bytearray((self.model / "4-3-2").read_bytes())
        data[-1] ^= 1
        (self.model / "4-3-2").unlink()
        (self.model / "4-3-2").write_bytes(data)
        self.assertNotEqual(before, facefeature.model_fingerprint(self.model))


class Threads(SeededTest):
    def test_extract_with_one_engine_and_with_several(self):
        pictures = [made_picture(self.numbers) for _ in range(4)]
        got = {}
        with Engine(model=MODEL) as first, Engine(model=MODEL) as second:
            expected = [self.extract(first, picture) for picture in pictures]

            def work(name, engine):
                got[name] = [self.extract(engine, picture) for picture in pictures]

            workers = [
                threading.Thread(target=work, args=(i, engine))
                for i, engine in enumerate([first, first, second, second])
            ]
            for worker in workers:
                worker.start()
            # Engines are created and destroyed in between.
            for _ in range(3):
                with Engine(model=MODEL) as third:
                    self.assertEqual(expected[0], self.extract(third, pictures[0]))
            for worker in workers:
                worker.join()
        self.assertEqual({i: expected for i in range(4)}, got)

    def extract(self, engine, picture):
        return engine.extract(picture, LANDMARK_FILE, channels="BGR").tobytes()

    def test_run_on_during_an_extraction(self):
        with Engine(model=MODEL) as engine:
            picture = made_picture(self.numbers)
            running, steps = threading.Event(), 0
            worker = threading.Thread(
                target=lambda: (running.set(), [self.extract(engine, picture) for _ in range(3)])
            )
            worker.start()
            running.wait()
            while worker.is_alive():
                steps += 1
            self.assertGreater(steps, 1000)


class Processes(TemporaryFolderTest):
    def assert_runs(self, code, **environment):
        result = run_python(FACE + code, TMPDIR=str(self.folder), **environment)
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertEqual([], os.listdir(self.folder), "left behind")

    def test_forked_before_an_extraction_extract(self):
        self.assert_runs("""
with facefeature.Engine(model=model) as engine:
    child = os.fork()
    mine = extract(engine)
    if child == 0:
        with facefeature.Engine(model=model) as another:
            os._exit(0 if extract(another) == mine else 1)
    assert os.waitpid(child, 0)[1] == 0
""")

    def test_forked_after_an_extraction_are_told_so(self):
        self.assert_runs("""
with facefeature.Engine(model=model) as engine:
    extract(engine)
    child = os.fork()
    if child == 0:
        try:
            extract(engine)
        except facefeature.EngineError as error:
            assert "forked" in str(error)
            engine.close()
            os._exit(0)
        os._exit(1)
    assert os.waitpid(child, 0)[1] == 0
    extract(engine)
""")

    def test_that_end_as_a_script_leave_the_folder_to_their_parent(self):
        self.assert_runs("""
facefeature.load_library()
if os.fork() == 0:
    sys.exit()
os.wait()
assert len(os.listdir(os.environ["TMPDIR"])) == 1
facefeature.Engine(model=model).close()
""")

    def test_of_a_pool_extract(self):
        for method in ("fork", "spawn"):
            for load_first in ("", "facefeature.load_library()"):
                with self.subTest(method=method, load_first=load_first):
                    script = self.folder.parent / (self.folder.name + ".py")
                    self.addCleanup(script.unlink, missing_ok=True)
                    script.write_text(FACE + f"""
import multiprocessing
engine = None
def work(_):
    # Not in an initializer: where that fails, a pool starts processes for ever.
    global engine
    engine = engine or facefeature.Engine(model=model)
    return extract(engine)
if __name__ == "__main__":
    {load_first}
    with multiprocessing.get_context({method!r}).Pool(2) as pool:
        features = pool.map(work, range(4), chunksize=1)
        pool.close()
        pool.join()
    assert len(set(features)) == 1
""")
                    self.assert_runs(f"""
import subprocess
subprocess.run([sys.executable, {str(script)!r}], check=True)
""")


class TheLibrary(TemporaryFolderTest):
    def run_code(self, code, **environment):
        result = run_python("import facefeature, os\n" + code, **environment)
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        return result.stdout.strip()

    def test_is_the_one_that_is_named(self):
        copy = self.folder / "libfacefeature.so.1"
        shutil.copy(LIBRARY, copy)
        code = "facefeature.load_library({}); print(facefeature.library_path())"
        self.assertEqual(str(copy), self.run_code(code.format(repr(str(copy)))))
        self.assertEqual(str(copy), self.run_code(code.format(""), FACEFEATURE_LIBRARY=str(copy)))

    def test_lies_in_the_prefix_of_an_installed_package(self):
        package = self.folder / "lib/python3/dist-packages/facefeature"
        shutil.copytree(Path(facefeature.__file__).parent, package)
        library = self.folder / "lib/libfacefeature.so.1"
        shutil.copy(LIBRARY, library)
        self.assertEqual(str(library), self.run_code(
            "print(facefeature.library_path())", PYTHONPATH=str(package.parent),
            FACEFEATURE_LIBRARY=""))  # fmt: skip

    def test_stays_for_the_life_of_the_process(self):
        copy = self.folder / "copy.so"
        shutil.copy(LIBRARY, copy)
        facefeature.load_library()
        facefeature.load_library(LIBRARY)
        with self.assertRaisesRegex(facefeature.LibraryError, "loaded already"):
            facefeature.load_library(copy)

    def test_that_somebody_else_loaded_is_refused(self):
        self.run_code(f"""
import ctypes
ctypes.CDLL({LIBRARY!r})
try:
    facefeature.load_library({LIBRARY!r})
except facefeature.LibraryError as error:
    assert "by other code" in str(error), error
else:
    raise SystemExit("loaded")
""")

    def test_that_is_none_is_an_error(self):
        path = self.folder / "none.so"
        code = """
for _ in range(2):
    try:
        facefeature.load_library({!r})
    except facefeature.LibraryError as error:
        assert {!r} in str(error), error
    else:
        raise SystemExit("loaded")
facefeature.load_library()
"""
        self.run_code(code.format(str(path), "none.so: can't be loaded"))
        path.write_text("no library")
        self.run_code(code.format(str(path), "none.so: can't be loaded"))


if __name__ == "__main__":
    warnings.simplefilter("error", ResourceWarning)
    unittest.main()
