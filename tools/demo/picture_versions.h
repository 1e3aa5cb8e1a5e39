// Versions of a photograph for the demonstration, with their landmarks transformed along.
#ifndef FACEFEATURE_TOOLS_DEMO_PICTURE_VERSIONS_H
#define FACEFEATURE_TOOLS_DEMO_PICTURE_VERSIONS_H

#include <facefeature/facefeature.h>

#include <vector>

#include "photo/photo.h"

namespace facefeature_tools {

struct FacePicture {
  Photo photo;
  std::vector<Landmark> landmarks;
};

// Turned clockwise about its middle, on a canvas large enough for all of it; the corners are gray.
FacePicture turned(const FacePicture& picture, double degrees);

// Scaled without smoothing, so a factor much below one half looks poor.
FacePicture scaled(const FacePicture& picture, double factor);

// Every sample multiplied, the landmarks unchanged.
FacePicture darkened(const FacePicture& picture, double factor);

}  // namespace facefeature_tools

#endif
