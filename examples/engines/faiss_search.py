#!/usr/bin/env python3
"""Searches a gallery with faiss and writes the matches with exact scores.

    examples/engines/faiss_search.py GALLERY PROBES ANSWERS.csv [--top K] [--flat]

PROBES is also a gallery. A graph index (HNSW, M 32, efSearch 256) finds candidates; with --flat,
faiss compares every row instead. The library's own arithmetic scores the candidates again, so the
scores have the bits of CompareFeatures. Needs Debian's python3-faiss.
"""

import argparse
import tempfile
from pathlib import Path

import faiss
import numpy as np
from engine_forms import export_forms, write_answers

NEIGHBOURS = 32  # of each row in the graph
CANDIDATES = 256  # kept during a search


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("gallery")
    parser.add_argument("probes")
    parser.add_argument("answers")
    parser.add_argument("--top", type=int, default=10)
    parser.add_argument("--flat", action="store_true")
    options = parser.parse_args()

    with tempfile.TemporaryDirectory() as folder:
        export_forms("faiss", options.gallery, options.probes, folder, ".npy")
        rows = np.load(Path(folder) / "rows.npy")
        probes = np.load(Path(folder) / "probes.npy")
        row_ids = (Path(folder) / "rows.ids.txt").read_text(encoding="utf-8").splitlines()
        probe_ids = (Path(folder) / "probes.ids.txt").read_text(encoding="utf-8").splitlines()

    width = rows.shape[1]
    if options.flat:
        index = faiss.IndexFlatL2(width)
    else:
        index = faiss.IndexHNSWFlat(width, NEIGHBOURS, faiss.METRIC_L2)
        index.hnsw.efConstruction = 200
        index.hnsw.efSearch = CANDIDATES
    index.add(rows)
    _, found = index.search(probes, min(4 * options.top, len(rows)))
    candidates = {
        probe: [row_ids[row] for row in rows_of_probe if row >= 0]
        for probe, rows_of_probe in zip(probe_ids, found)
    }
    write_answers(options.gallery, options.probes, candidates, options.top, options.answers)


if __name__ == "__main__":
    main()
