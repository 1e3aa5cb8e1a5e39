"""What can go wrong. Every text names the thing that is wrong and what is wrong with it."""


class FaceFeatureError(Exception):
    """The base of all exceptions that this package raises of itself."""


class LibraryError(FaceFeatureError):
    """The shared library can't be found or loaded, or is another one than the one in use."""


class ModelError(FaceFeatureError):
    """The model is missing or incomplete, or a second model is asked for beside a first."""


class EngineError(FaceFeatureError):
    """The engine can't be used: it is closed, or belongs to the other side of a fork."""


class ImageError(FaceFeatureError, ValueError):
    """An array is no photograph that the library takes."""


class LandmarkError(FaceFeatureError, ValueError):
    """Landmarks can't be read, or the library would not take them."""


class FeatureError(FaceFeatureError, ValueError):
    """An array or a file is no feature."""


class GalleryError(FaceFeatureError, ValueError):
    """A gallery can't be read or written, or two of them come from different models."""


class FaceFeatureWarning(UserWarning):
    """Input that the library takes and that is probably not what was meant."""
