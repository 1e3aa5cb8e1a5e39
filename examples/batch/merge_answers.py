#!/usr/bin/env python3
"""Merges the answers of the shards of a gallery into those of the whole gallery.

    examples/batch/merge_answers.py TOP ANSWERS.csv... >answers.csv

The files are the output of "facefeature search SHARD PROBES --top TOP", in the order of the shards.
Equal scores stay in that order, so the result has the same bytes as a search of the whole gallery
if every probe has at least one match.
"""

import csv
import sys
from itertools import islice


def main() -> None:
    top = int(sys.argv[1])
    matches: dict[str, list[tuple[str, str]]] = {}
    for path in sys.argv[2:]:
        with open(path, newline="", encoding="utf-8") as file:
            for row in csv.DictReader(file):
                matches.setdefault(row["probe"], []).append((row["id"], row["score"]))
    writer = csv.writer(sys.stdout, lineterminator="\n")
    writer.writerow(["probe", "rank", "id", "score"])
    for probe, found in matches.items():
        # Nine digits distinguish any two scores. The sort is stable.
        found.sort(key=lambda match: -float(match[1]))
        for rank, (id_, score) in enumerate(islice(found, top or None), 1):
            writer.writerow([probe, rank, id_, score])


if __name__ == "__main__":
    main()
