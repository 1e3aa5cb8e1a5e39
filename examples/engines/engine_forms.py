"""Helpers of the examples: export vectors for search engines, and score their results exactly."""

from __future__ import annotations

import csv
import os
import subprocess
from pathlib import Path

import numpy as np

import facefeature

PROGRAM = os.environ.get("FACEFEATURE", "facefeature")


def export_forms(engine: str, gallery: str, probes: str, folder: str, ending: str) -> None:
    """Writes rows and probes for an engine to a folder: rows.npy or rows.csv, probes.npy or
    probes.csv, and rows.form.json. With .npy the ids are in rows.ids.txt and probes.ids.txt."""
    rows = str(Path(folder) / f"rows{ending}")
    export = [PROGRAM, "gallery", "export"]
    subprocess.run([*export, gallery, "--to", engine, "-o", rows], check=True)
    form = str(Path(folder) / "rows.form.json")
    subprocess.run(
        [*export, probes, "--to", engine, "--form", form, "--probes",
         "-o", str(Path(folder) / f"probes{ending}")], check=True,
    )  # fmt: skip


def write_answers(
    gallery: str, probes: str, candidates: dict[str, list[str]], top: int, path: str
) -> None:
    """Scores the candidates of each probe exactly and writes the best ones in the format of search:
    a CSV file with the columns probe, rank, id and score. Equal scores are in the order of the
    gallery."""
    rows = facefeature.Gallery(gallery)
    row_of = {id_: row for row, id_ in enumerate(rows.ids)}
    probe_rows = facefeature.Gallery(probes)
    with open(path, "w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(["probe", "rank", "id", "score"])
        for probe, found in candidates.items():
            numbers = np.array(sorted(row_of[id_] for id_ in found), dtype=np.int64)
            feature = probe_rows.feature(probe)[np.newaxis]
            scores = facefeature.score_matrix(feature, rows.features[numbers])[0]
            order = np.argsort(-scores, kind="stable")[:top]
            for rank, place in enumerate(order, 1):
                row = numbers[place]
                writer.writerow([probe, rank, rows.ids[row], f"{scores[place]:.9g}"])
