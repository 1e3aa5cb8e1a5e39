"""The commands of the documents do what the documents say: each one is run here, or it is known
which other test runs it."""

import ast
import os
import re
import subprocess
import unittest
from pathlib import Path

import numpy as np
import sandbox
from documents import ROOT, blocks_of, commands_of, documents, forms_of, is_command, spans_of
from elsewhere import BLOCKS, BY_HAND, RUN
from support import LANDMARK_FILE, MODEL, PROGRAM, TemporaryFolderTest, made_picture, run_program

import facefeature

HOST = Path(os.environ["FACEFEATURE_MINIMAL_HOST"])


def command_blocks():
    for document in documents():
        for block in blocks_of(document):
            if is_command(block.lines[0]):
                yield block


def commands():
    """Every command of a block, and those between backticks that are whole commands."""
    for block in command_blocks():
        for line in commands_of(block):
            yield block.place, line
    for document in documents():
        for span in spans_of(document):
            if not is_command(span) or (span.startswith("facefeature ") and " -o " not in span):
                continue  # the name of a verb, perhaps with an option
            if " " in span or span.startswith(("./", "tools/")):
                yield document.name, span


class Blocks(unittest.TestCase):
    def test_are_commands_or_known(self):
        seen = set()
        for document in documents():
            for block in blocks_of(document):
                first = block.lines[0]
                seen.add(first)
                if is_command(first) or document.name == "performance.md":  # whose others are figures
                    continue
                self.assertIn(first, BLOCKS, block.place)
        self.assertEqual(set(), set(BLOCKS) - seen, "no document has this block any more")

    def test_of_the_readme_hold_the_whole_host(self):
        host = (ROOT / "examples/minimal_host.c").read_text(encoding="utf-8").rstrip("\n")
        self.assertIn(host, ["\n".join(block.lines) for block in blocks_of(ROOT / "README.md")])


class OtherCommands(unittest.TestCase):
    def test_are_run_by_a_test_or_by_hand_for_a_reason(self):
        forms = set()
        for place, line in commands():
            for form in forms_of(line):
                if not form.startswith("facefeature "):
                    with self.subTest(place, command=form):
                        self.assertTrue(form in RUN or form in BY_HAND)
                    forms.add(form)
        self.assertEqual(set(), (set(RUN) | set(BY_HAND)) - forms, "no document says this any more")

    def test_are_where_they_are_said_to_be(self):
        for command, (path, words) in RUN.items():
            with self.subTest(command):
                self.assertIn(words, (ROOT / path).read_text(encoding="utf-8"))

    def test_by_hand_can_be_read_by_their_interpreters(self):
        for command in BY_HAND:
            script = ROOT / command.split(" ")[0]
            if not script.is_file() or command.startswith("build/"):
                continue
            text = script.read_text(encoding="utf-8")
            with self.subTest(command):
                if "python" in text.split("\n")[0]:
                    ast.parse(text)
                else:
                    subprocess.run(["bash", "-n", script], check=True)


class ProgramCommands(TemporaryFolderTest):
    def setUp(self):
        super().setUp()
        sandbox.fill(self.folder, self.numbers)

    def test_end_well(self):
        count = 0
        for place, line in commands():
            for form in forms_of(line) if line.startswith("facefeature ") else []:
                command = sandbox.filled_in(form)
                result = sandbox.run(command, self.folder, check=False)
                with self.subTest(place, command=command):
                    if "built without" in result.stderr or "LANDMARKS is required" in result.stderr:
                        print(f"{place}: not built with what it needs: {command}")
                    elif not sandbox.SAMPLE.exists() and result.returncode == 3:
                        print(f"{place}: there is no folder of samples: {command}")
                    else:
                        self.assertEqual(0, result.returncode, result.stderr)
                        count += 1
        self.assertGreater(count, 20)

    def test_in_sentences_name_verbs_and_options_that_there_are(self):
        help_texts = "".join(
            run_program(*verb.split(), "--help")
            for verb in ("model synth", "model check", "landmarks", "draw", "extract", "compare",
                         "gallery info", "gallery export", "gallery merge")
        )  # fmt: skip
        for document in documents():
            for span in spans_of(document):
                named = re.match(r"(?:facefeature )?(extract|draw|landmarks|compare|gallery|model) -",
                                 span)
                if not named and not re.match(r"--\w[\w-]*(=\S+| \S+)?$", span):
                    continue
                for option in re.findall(r"(?<!\S)--[a-z][a-z-]*", span):
                    with self.subTest(document.name, span=span):
                        self.assertRegex(help_texts, rf"{option}\b")

    def test_minimal_host_gives_the_score_of_the_program(self):
        names = ("first", "second")
        stream = b""
        for name in names:
            rgb = made_picture(self.numbers)
            sandbox.write_ppm(self.folder / f"{name}.ppm", rgb)
            sandbox.run(f"facefeature extract {name}.ppm '{LANDMARK_FILE}' -o {name}.feature",
                        self.folder)
            stream += sandbox.face_points().encode() + np.ascontiguousarray(rgb[:, :, ::-1]).tobytes()
        wanted = sandbox.run("facefeature compare first.feature second.feature", self.folder).stdout
        settings = sandbox.environment(self.folder)
        host = subprocess.run([HOST], input=stream, capture_output=True, env=settings, timeout=300)
        self.assertEqual((0, wanted), (host.returncode, host.stdout.decode()))

    def test_minimal_host_without_a_model_ends_with_4(self):
        settings = {**sandbox.environment(self.folder), "TMPDIR": str(self.folder)}
        self.assertEqual(4, subprocess.run([HOST], input=b"", env=settings, timeout=300).returncode)

    def test_python_of_the_documents_runs(self):
        blocks = [block for document in documents() for block in blocks_of(document)
                  if block.lines[0].startswith("import ")]  # fmt: skip
        self.assertTrue(blocks)
        printed = []
        names = {"picture": made_picture(self.numbers), "other": made_picture(self.numbers),
                 "print": printed.append}  # fmt: skip
        here = os.getcwd()
        os.chdir(self.folder)
        try:
            for block in blocks:
                exec(compile("\n".join(block.lines), block.place, "exec"), names)
        finally:
            os.chdir(here)
        with facefeature.Engine(model=MODEL) as engine:
            a, b = (engine.extract(names[name], LANDMARK_FILE, channels="RGB")
                    for name in ("picture", "other"))  # fmt: skip
        self.assertEqual([facefeature.compare(a, b)] * len(blocks), printed)


class Forms(unittest.TestCase):
    def test_have_each_optional_part_and_each_alternative_once(self):
        self.assertEqual(["a B", "a B --x", "a B --y 1", "a B --y 2"],
                         forms_of("a B [--x] [--y 1|2]"))
        self.assertEqual(["a x.b", "a x.c", "a x.b --y", "a x.c --y"], forms_of("a x.b|x.c [--y]"))

    def test_command_goes_on_where_a_line_is_indented_and_ends_ahead_of_words(self):
        self.assertEqual("facefeature", PROGRAM.split("/")[-1])
        block = type("Block", (), {"lines": ("cmake a  words about it", "cmake b c", "  [d]")})
        self.assertEqual(["cmake a", "cmake b c [d]"], commands_of(block))


if __name__ == "__main__":
    unittest.main()
