#!/usr/bin/env python3
"""A first hour with a model and some photographs.

    python3 first_hour.py MODEL OUTPUT.png PHOTO LANDMARKS [PHOTO LANDMARKS ...]

Needs only Debian's python3-numpy and python3-matplotlib. Editors that know cells (# %%) can run
them one by one; set the names in the first cell by hand then.
"""

# %% The inputs: a model, photographs, and the landmarks of the face in each.
import sys
from pathlib import Path

import matplotlib

matplotlib.use("Agg")  # writes pictures to files; remove it in a notebook
import matplotlib.pyplot as plt
import numpy as np

import facefeature

if len(sys.argv) < 5 or len(sys.argv) % 2 == 0:
    sys.exit(__doc__)
model, output, *files = sys.argv[1:]
photos, landmarks = files[0::2], files[1::2]


# %% Photographs as arrays. matplotlib reads a JPEG as bytes and a PNG as floats from 0 to 1, both
# in the order red, green, blue. A gray picture has no third axis, and some pictures have a fourth
# channel.
def read_photo(path):
    pixels = plt.imread(path)
    if pixels.dtype != np.uint8:
        pixels = np.round(pixels * 255).astype(np.uint8)
    if pixels.ndim == 2:
        pixels = np.repeat(pixels[:, :, np.newaxis], 3, axis=2)
    return pixels[..., :3]


pictures = [read_photo(path) for path in photos]

# %% One feature per photograph: 502 floats. Creating the engine takes longest: it reads the model.
with facefeature.Engine(model=model) as engine:
    fingerprint, version = engine.fingerprint, engine.library_version
    features = np.array(
        [
            engine.extract(picture, face, channels="RGB")
            for picture, face in zip(pictures, landmarks)
        ]
    )
print(f"{len(features)} features of {features.shape[1]} floats, model {fingerprint[:8]}")

# %% Store them in a gallery, with their names and the model that computed them.
names = [f"{number} {Path(photo).name}" for number, photo in enumerate(photos, start=1)]
gallery_path = Path(output).with_suffix(".gallery")
facefeature.write_gallery(
    gallery_path, names, features, fingerprint=fingerprint, library_version=version
)

# %% The score of each pair. Higher is more similar, without a fixed range. Pairs of your own
# photographs show which scores mean "the same person".
gallery = facefeature.Gallery(gallery_path)
scores = facefeature.score_matrix(gallery)
for name, row in zip(gallery.ids, scores):
    print(f"{name:30.30}", " ".join(f"{score:8.3f}" for score in row))

# %% The same scores as a picture.
figure, axes = plt.subplots(figsize=(4 + 0.5 * len(names), 3 + 0.5 * len(names)))
shown = axes.imshow(scores, cmap="viridis")
axes.set_xticks(range(len(names)), names, rotation=90)
axes.set_yticks(range(len(names)), names)
figure.colorbar(shown, label="score")
figure.tight_layout()
figure.savefig(output, dpi=100)
print(f"{output} and {gallery_path} written")
