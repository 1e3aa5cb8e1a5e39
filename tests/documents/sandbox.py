"""A folder with the files to which the commands of the documents refer."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
from pathlib import Path

import numpy as np
from support import LANDMARK_FILE, LIBRARY, MODEL, PROGRAM, ROOT, made_picture, write_ppm

SAMPLE = ROOT.parent / "shared/samples/hopper_1.jpg"

# The replacement of each placeholder, in the order in which they are tried.
WORDS = {
    "add GALLERY SOURCE...": "add $(mktemp -u) others.gallery#c",
    "remove GALLERY ID...": "remove $(cp others.gallery spare.gallery; echo spare.gallery) c",
    "--match PATTERN": "--match '*'",
    "--id ID": "--id one",
    "PROBE...": "others.gallery#c",
    "--top K": "--top 3",
    "GALLERY...": "faces.gallery others.gallery",
    # It would serve until a signal ends it. tests/service runs it.
    "serve --socket PATH": "serve --help",
    "-o GALLERY": "-o new.gallery",
    "GALLERY#ID": "faces.gallery#a",
    "evaluate GALLERY": "evaluate album.gallery",
    "--people PEOPLE": "--people people.csv",
    "--pairs PAIRS": "--pairs pairs.csv",
    "--photos LIST": "--photos list.csv",
    "--replicates N": "--replicates 200",
    "--html FILE.": "--html new.",
    "A.jpg B.jpg": "photo.jpg other.jpg",
    "A.json": "photo.json",
    "B.json": "other.json",
    "GALLERY": "faces.gallery",
    "I/N": "1/2",
    "--jobs N": "--jobs 1",
    "--batch N": "--batch 4",
    "--face N": "--face 1",
    "--seed N": "--seed 7",
    "synth DIR": "synth new-model",
    "DIR": "my-model",
    "-o FILE.": "-o new.",
    "-o FILE": "-o new.json",
    "--report FILE": "--report report.csv",
    "--list LIST": "--list list.csv",
    "PHOTO": "photo.jpg",
    "LANDMARKS": "photo.json",
    "FEATURE": "new.feature",
    "A B": "other.feature other.feature",
    "--threshold T": "--threshold 0.5",
    "--threshold-file FILE": "--threshold-file REPORT.thresholds.json",
}


def filled_in(form: str) -> str:
    for word, meaning in WORDS.items():
        form = form.replace(word, meaning)
    return form


def fill(folder: Path, numbers: np.random.Generator) -> None:
    """Creates the inputs of all commands. The program is on the path and finds a model in the
    temporary folder."""
    (folder / "bin").mkdir()
    (folder / "bin/facefeature").symlink_to(PROGRAM)
    (folder / "temporary").mkdir()
    (folder / "temporary/~kwplugintmp~").symlink_to(MODEL)
    (folder / "my-model").symlink_to(MODEL)
    (folder / "tools").symlink_to(ROOT / "tools")
    (folder / "build/demo").mkdir(parents=True)
    for name in ("grace_hopper.jpg", "astronaut.png"):
        write_ppm(folder / "build/demo" / name, made_picture(numbers, 512, 512))
    (folder / "photos").mkdir()
    (folder / "known").mkdir()
    for name in ("photo", "me", "picture", "other", "somebody", "photos/one", "known/anna"):
        if SAMPLE.exists():
            shutil.copy(SAMPLE, folder / f"{name}.jpg")
        else:
            write_ppm(folder / f"{name}.jpg", made_picture(numbers))
        shutil.copy(LANDMARK_FILE, folder / f"{name}.json")
    for gallery, ids in (("faces", "ab"), ("others", "cd")):
        rows = "".join(f"{name},photo.jpg,photo.json\n" for name in ids)
        (folder / "list.csv").write_text(rows, encoding="utf-8")
        run(f"facefeature extract --list list.csv -o {gallery}.gallery --model my-model", folder)
    rows = "".join(f"{name},photo.jpg,photo.json\n" for name in "abcd")
    (folder / "list.csv").write_text(rows, encoding="utf-8")
    # Two people with two photographs each, and the evaluation of them.
    run("facefeature extract --list list.csv -o album.gallery --model my-model", folder)
    people = "a,Ada\nb,Ada\nc,Ida\nd,Ida\n"
    (folder / "people.csv").write_text(people, encoding="utf-8")
    (folder / "pairs.csv").write_text("a,b,1\na,c,0\n", encoding="utf-8")
    run("facefeature evaluate album.gallery --people people.csv -o REPORT.html", folder)
    for name in ("me", "other"):
        run(f"facefeature extract {name}.jpg {name}.json -o {name}.feature --model my-model", folder)


def environment(folder: Path) -> dict[str, str]:
    return {
        **os.environ,
        "PATH": f"{folder / 'bin'}:{os.environ['PATH']}",
        "TMPDIR": str(folder / "temporary"),
        "LD_LIBRARY_PATH": str(Path(LIBRARY).parent),
    }


def run(command: str, folder: Path, check: bool = True) -> subprocess.CompletedProcess:
    result = subprocess.run(command, shell=True, cwd=folder, env=environment(folder),
                            capture_output=True, text=True, timeout=300)  # fmt: skip
    if check and result.returncode != 0:
        raise AssertionError(f"{command}: exit code {result.returncode}\n{result.stderr}")
    return result


def face_points() -> str:
    points = json.loads(LANDMARK_FILE.read_text(encoding="utf-8"))["landmarks"]
    return "".join(f"{point['id']} {point['x']} {point['y']}\n" for point in points)
