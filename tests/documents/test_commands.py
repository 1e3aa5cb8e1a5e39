"""Checks the commands of the documents: runs those of the program and the Python code, and checks
that the scripts and presets of the others exist."""

import json
import os
import re
import subprocess
import unittest
from pathlib import Path

import sandbox
from documents import ROOT, blocks_of, commands_of, documents, spans_of, variants_of
from support import LANDMARK_FILE, PROGRAM, TemporaryFolderTest, made_picture, run_program

import facefeature

HOST = Path(os.environ["FACEFEATURE_MINIMAL_HOST"])
PROGRAM_NAMES = re.compile(r"^(build/\w+/)?facefeature ")


def commands():
    """Every command of a shell block or of indented lines, with its file and line."""
    for document in documents():
        for block in blocks_of(document):
            if block.language in ("", "sh"):
                for line in commands_of(block):
                    yield block.location, line


class OtherCommands(unittest.TestCase):
    def test_name_presets_and_scripts_that_exist(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))
        kinds = {"--build": "buildPresets", "ctest": "testPresets"}
        count = 0
        for location, line in commands():
            for command in line.split(" && "):
                words = [word for word in command.split() if not re.match(r"[A-Z_]+=", word)]
                first = words[0] if words else ""
                script = re.match(r"(\./|(tools|tests|bench|examples|fuzz)/)", first)
                preset = re.search(r"\b(cmake|ctest) (--build )?--preset (\S+)", command)
                with self.subTest(location, command=command):
                    if script:
                        self.assertTrue(os.access(ROOT / first, os.X_OK))
                    if preset:
                        kind = kinds.get((preset[2] or preset[1]).strip(), "configurePresets")
                        self.assertIn(preset[3], [each["name"] for each in presets[kind]])
                count += bool(script or preset)
        self.assertGreater(count, 15)


class ProgramCommands(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        sandbox.fill(self.folder, self.numbers)

    def test_succeed(self):
        count = 0
        for location, line in commands():
            if not PROGRAM_NAMES.match(line):
                continue
            for form in variants_of(PROGRAM_NAMES.sub("facefeature ", line)):
                command = sandbox.filled_in(form)
                result = sandbox.run(command, self.folder, check=False)
                with self.subTest(location, command=command):
                    if "built without" in result.stderr or "LANDMARKS is required" in result.stderr:
                        print(f"{location}: needs an optional part that is not built: {command}")
                    elif not sandbox.SAMPLE.exists() and result.returncode == 3:
                        print(f"{location}: there is no folder of samples: {command}")
                    else:
                        self.assertEqual(0, result.returncode, result.stderr)
                        count += 1
        self.assertGreater(count, 20)

    def test_in_sentences_name_verbs_and_options_that_exist(self):
        help_texts = "".join(
            run_program(*verb.split(), "--help")
            for verb in ("model synth", "model check", "landmarks", "draw", "extract", "compare",
                         "gallery info", "gallery export", "gallery merge", "gallery add",
                         "gallery remove", "gallery compact", "gallery verify", "evaluate",
                         "cluster", "view", "search", "serve")
        )  # fmt: skip
        verbs = r"(?:facefeature )?(extract|draw|landmarks|compare|gallery|model|search|serve) -"
        for document in documents():
            for span in spans_of(document):
                if not re.match(verbs, span):
                    continue
                for option in re.findall(r"(?<!\S)--[a-z][a-z-]*", span):
                    with self.subTest(document.name, span=span):
                        self.assertRegex(help_texts, rf"{option}\b")

    def test_minimal_host_gives_the_score_of_the_program(self):
        arguments = []
        for name in ("first", "second"):
            sandbox.write_ppm(self.folder / f"{name}.ppm", made_picture(self.numbers))
            (self.folder / f"{name}.txt").write_text(sandbox.face_points(), encoding="utf-8")
            sandbox.run(f"facefeature extract {name}.ppm '{LANDMARK_FILE}' -o {name}.feature",
                        self.folder)  # fmt: skip
            arguments += [f"{name}.ppm", f"{name}.txt"]
        wanted = sandbox.run("facefeature compare first.feature second.feature", self.folder).stdout
        self.assertEqual((0, wanted), self.run_host(*arguments))

    def test_minimal_host_reads_the_synthetic_face(self):
        face = [ROOT / "examples/face.ppm", ROOT / "examples/face.txt"]
        code, score = self.run_host(*face, *face)
        self.assertEqual(0, code)
        self.assertTrue(float(score) <= 3)

    def test_minimal_host_tells_failures_apart_by_its_exit_code(self):
        self.assertEqual((2, ""), self.run_host())
        self.assertEqual((3, ""), self.run_host("none.ppm", "none.txt", "none.ppm", "none.txt"))
        self.assertEqual((4, ""), self.run_host("", "", "", "", TMPDIR=str(self.folder)))

    def run_host(self, *arguments, **environment):
        settings = {**sandbox.environment(self.folder), **environment}
        done = subprocess.run([HOST, *arguments], capture_output=True, text=True, env=settings,
                              cwd=self.folder, timeout=300)  # fmt: skip
        return done.returncode, done.stdout

    def test_python_runs(self):
        blocks = [block for document in documents() for block in blocks_of(document)
                  if block.lines[0].startswith("import facefeature")]  # fmt: skip
        self.assertTrue(blocks)
        printed = []
        names = {"picture": made_picture(self.numbers), "other": made_picture(self.numbers),
                 "print": printed.append}  # fmt: skip
        here = os.getcwd()
        os.chdir(self.folder)
        try:
            for block in blocks:
                exec(compile("\n".join(block.lines), block.location, "exec"), names)
        finally:
            os.chdir(here)
        with facefeature.Engine() as engine:
            a, b = (engine.extract(names[name], LANDMARK_FILE, channels="RGB")
                    for name in ("picture", "other"))  # fmt: skip
        self.assertEqual([facefeature.compare(a, b)] * len(blocks), printed)


class Forms(unittest.TestCase):
    def test_have_each_optional_part_and_each_alternative_once(self):
        self.assertEqual(["a B", "a B --x", "a B --y 1", "a B --y 2"],
                         variants_of("a B [--x] [--y 1|2]"))
        self.assertEqual(["a x.b", "a x.c", "a x.b --y", "a x.c --y"], variants_of("a x.b|x.c [--y]"))

    def test_command_continues_in_an_indented_line_and_ends_before_a_comment(self):
        self.assertEqual("facefeature", PROGRAM.split("/")[-1])
        lines = ("cmake a  comment", "cmake b c # comment", "  [d]", "cmake e \\", "f")
        block = type("Block", (), {"lines": lines})
        self.assertEqual(["cmake a", "cmake b c [d]", "cmake e f"], commands_of(block))


if __name__ == "__main__":
    unittest.main()
