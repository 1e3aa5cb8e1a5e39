#!/usr/bin/env python3
"""Computes exact scores for the candidates that any search engine has found.

    examples/engines/rescore.py GALLERY PROBES CANDIDATES.csv ANSWERS.csv [--top K]

CANDIDATES has the columns probe and id. ANSWERS gets the format of the command search.
"""

import argparse
import csv

from engine_forms import write_answers


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("gallery")
    parser.add_argument("probes")
    parser.add_argument("candidates")
    parser.add_argument("answers")
    parser.add_argument("--top", type=int, default=10)
    options = parser.parse_args()
    candidates: dict[str, list[str]] = {}
    with open(options.candidates, newline="", encoding="utf-8") as file:
        for row in csv.DictReader(file):
            candidates.setdefault(row["probe"], []).append(row["id"])
    write_answers(options.gallery, options.probes, candidates, options.top, options.answers)


if __name__ == "__main__":
    main()
