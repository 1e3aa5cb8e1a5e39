"""Checks that the training commands in docs/models.md exist."""

import contextlib
import io
import re
import shlex
import unittest

from documents import ROOT, blocks_of, commands_of, spans_of
from training_support import needs_torch

from facefeature.training.__main__ import COMMANDS, _parser

DOCUMENT = ROOT / "docs/models.md"
KIT = "python3 -m facefeature.training"
TORCHRUN = r"torchrun --nproc_per_node \d+ -m facefeature\.training"


@needs_torch
class TheDocument(unittest.TestCase):
    def test_has_commands_that_the_kit_takes(self):
        named = set()
        for block in blocks_of(DOCUMENT):
            for line in commands_of(block):
                line = re.sub(f"^{TORCHRUN}", KIT, line)
                if not line.startswith(KIT):
                    continue
                arguments = shlex.split(line)[3:]
                with self.subTest(block.location, command=line):
                    with contextlib.redirect_stderr(io.StringIO()) as message:
                        try:
                            _parser(arguments[0]).parse_args(arguments)
                        except SystemExit:
                            self.fail(message.getvalue())
                    named.add(arguments[0])
        commands = {command.name for command in COMMANDS}
        self.assertEqual({"outputs"}, commands - named)  # named in a sentence

    def test_names_options_that_the_kit_has(self):
        helps = "".join(self.help_of(command.name) for command in COMMANDS)
        for span in spans_of(DOCUMENT):
            for option in re.findall(r"(?<!\S)--[a-z][a-z-]*", span):
                if not span.startswith(("facefeature ", "torchrun ")):
                    with self.subTest(span):
                        self.assertRegex(helps, rf"{option}\b")

    @staticmethod
    def help_of(command):
        with contextlib.redirect_stdout(io.StringIO()) as text:
            with contextlib.suppress(SystemExit):
                _parser(command).parse_args([command, "--help"])
        return text.getvalue()


if __name__ == "__main__":
    unittest.main()
