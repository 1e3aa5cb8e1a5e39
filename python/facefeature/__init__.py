"""Computes features of faces from numpy arrays, and scores between features.

    import facefeature

    with facefeature.Engine(model="my-model") as engine:
        a = engine.extract(picture, "picture.json", channels="RGB")
        b = engine.extract(other, "other.json", channels="RGB")
    print(facefeature.compare(a, b))

A picture is a numpy array of shape (height, width, 3) and dtype uint8. A feature is a numpy array
of shape (502,) and dtype float32. Every failure raises a subclass of FaceFeatureError whose message
names the argument or file and the error.

The package calls the shared library; ``library_path`` documents where it looks for it.
"""

from ._engine import Engine, ExtractedFaces
from ._features import FEATURE_FLOATS, read_feature, write_feature
from ._gallery import Gallery, Match, write_gallery
from ._landmarks import FULL_IDS, Landmarks, read_landmarks
from ._library import library_path, load_library
from ._model import model_fingerprint
from ._scores import compare, score_matrix
from .errors import (
    EngineError,
    FaceFeatureError,
    FaceFeatureWarning,
    FeatureError,
    GalleryError,
    ImageError,
    LandmarkError,
    LibraryError,
    ModelError,
)

__version__ = "1.0.0"

__all__ = [
    "Engine",
    "EngineError",
    "ExtractedFaces",
    "FEATURE_FLOATS",
    "FULL_IDS",
    "FaceFeatureError",
    "FaceFeatureWarning",
    "FeatureError",
    "Gallery",
    "GalleryError",
    "ImageError",
    "LandmarkError",
    "Landmarks",
    "LibraryError",
    "Match",
    "ModelError",
    "compare",
    "library_path",
    "load_library",
    "model_fingerprint",
    "read_feature",
    "read_landmarks",
    "score_matrix",
    "write_feature",
    "write_gallery",
]
