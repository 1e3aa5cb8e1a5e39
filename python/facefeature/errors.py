"""The exceptions of this package. Every message names the argument or file and the error."""


class FaceFeatureError(Exception):
    """The base class of all exceptions that this package defines."""


class LibraryError(FaceFeatureError):
    """The shared library can't be found or loaded, or another one is already loaded."""


class ModelError(FaceFeatureError):
    """The model is missing or incomplete, or engines of another model are open."""


class EngineError(FaceFeatureError):
    """The engine can't be used: it is closed, or belongs to another process after a fork."""


class ImageError(FaceFeatureError, ValueError):
    """An array is not a photograph that the library can read."""


class LandmarkError(FaceFeatureError, ValueError):
    """Landmarks can't be read, or the library would reject them."""


class FeatureError(FaceFeatureError, ValueError):
    """An array or a file is not a feature."""


class GalleryError(FaceFeatureError, ValueError):
    """A gallery can't be read or written, or two of them have different models."""


class FaceFeatureWarning(UserWarning):
    """Valid input that is probably not what the caller meant."""
