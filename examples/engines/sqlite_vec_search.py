#!/usr/bin/env python3
"""Searches a gallery with SQLite and sqlite-vec and gives the answers exact scores.

    examples/engines/sqlite_vec_search.py GALLERY PROBES ANSWERS.csv [--top K]

PROBES is a gallery too. sqlite-vec compares each probe with every row. The candidates are scored
again by the library's own arithmetic, so the scores of the answers have the bits of CompareFeatures.
"npm install" in this folder installs the extension; the variable SQLITE_VEC names it elsewhere.
"""

import argparse
import csv
import os
import sqlite3
import sys
import tempfile
from collections.abc import Iterator
from pathlib import Path

from engine_forms import export_forms, write_answers

EXTENSION = Path(__file__).parent / "node_modules/sqlite-vec-linux-x64/vec0.so"


def read_vectors(path: Path) -> Iterator[tuple[str, str]]:
    csv.field_size_limit(sys.maxsize)
    with open(path, newline="", encoding="utf-8") as file:
        for row in csv.DictReader(file):
            yield row["id"], row["embedding"]


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("gallery")
    parser.add_argument("probes")
    parser.add_argument("answers")
    parser.add_argument("--top", type=int, default=10)
    options = parser.parse_args()

    database = sqlite3.connect(":memory:")
    database.enable_load_extension(True)
    database.load_extension(os.environ.get("SQLITE_VEC", str(EXTENSION)))
    database.execute("CREATE TABLE faces (row INTEGER PRIMARY KEY, id TEXT UNIQUE NOT NULL)")
    database.execute("CREATE VIRTUAL TABLE vectors USING vec0(embedding float[503])")
    candidates: dict[str, list[str]] = {}
    with tempfile.TemporaryDirectory() as folder:
        export_forms("sqlite-vec", options.gallery, options.probes, folder, ".csv")
        for row, (id_, vector) in enumerate(read_vectors(Path(folder) / "rows.csv")):
            database.execute("INSERT INTO faces VALUES (?, ?)", (row, id_))
            database.execute("INSERT INTO vectors (rowid, embedding) VALUES (?, ?)", (row, vector))
        for probe, vector in read_vectors(Path(folder) / "probes.csv"):
            found = database.execute(
                "SELECT id FROM vectors JOIN faces ON faces.row = vectors.rowid "
                "WHERE embedding MATCH ? AND k = ? ORDER BY distance",
                (vector, 4 * options.top),
            )
            candidates[probe] = [id_ for (id_,) in found]
    write_answers(options.gallery, options.probes, candidates, options.top, options.answers)


if __name__ == "__main__":
    main()
