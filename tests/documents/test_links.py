"""Checks that the links of the documents work, that the pictures are those that their tool draws,
and that model cards have the section that ./demo prints."""

import os
import re
import subprocess
import sys
import unittest
from importlib.machinery import SourceFileLoader
from importlib.util import module_from_spec, spec_from_loader
from pathlib import Path

from documents import ROOT, anchors_of, documents, links_of, spans_of


class Links(unittest.TestCase):
    def test_lead_to_files_and_headings(self):
        count = 0
        for document in documents():
            for link in links_of(document):
                if re.match(r"[a-z]+:", link):
                    continue  # external
                name, _, anchor = link.partition("#")
                target = document.parent / name if name else document
                with self.subTest(str(document.relative_to(ROOT)), link=link):
                    self.assertTrue(target.exists())
                    if anchor:
                        self.assertIn(anchor, anchors_of(target))
                count += 1
        self.assertGreater(count, 50)

    def test_stay_in_a_fresh_clone(self):
        def git(*arguments):
            return subprocess.run(["git", "-C", ROOT, *arguments], capture_output=True, text=True)

        if git("rev-parse", "--is-inside-work-tree").returncode != 0:
            self.skipTest("not a Git checkout")
        ignored = set()
        for document in documents():
            for link in links_of(document):
                target = os.path.normpath(document.parent / link.partition("#")[0])
                if not re.match(r"[a-z]+:", link) and git("check-ignore", target).stdout:
                    ignored.add((document.name, link))
        self.assertEqual(set(), ignored)

    def test_take_the_place_of_code_spans_that_name_a_document(self):
        for document in documents():
            for span in spans_of(document):
                named = [base / span for base in (ROOT, document.parent)]
                with self.subTest(str(document.relative_to(ROOT)), span=span):
                    self.assertFalse(span.endswith(".md") and any(map(Path.exists, named)))


class Pictures(unittest.TestCase):
    def test_are_those_that_the_tool_draws(self):
        sys.dont_write_bytecode = True
        loader = SourceFileLoader("pictures", str(ROOT / "tools/pictures"))
        module = module_from_spec(spec_from_loader("pictures", loader))
        loader.exec_module(module)
        for name, content in module.files().items():
            with self.subTest(name):
                self.assertEqual(content, (ROOT / name).read_bytes())


class ModelCards(unittest.TestCase):
    def test_say_how_to_read_a_score(self):
        cards = sorted((ROOT / "models").glob("*/MODEL.md"))
        self.assertTrue(cards)
        for card in cards:
            section = re.search(r"(?ms)^## Reading a score\n\n(.*?)^## ", card.read_text("utf-8"))
            with self.subTest(card.parent.name):
                self.assertTrue(section and re.search(r"score above -?\d", section[1]))


if __name__ == "__main__":
    unittest.main()
