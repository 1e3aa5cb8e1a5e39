// Versions of a photograph for the demonstration, each with its landmarks moved along.
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

// Scaled; below 1 without smoothing, so halving is about as far as it looks well.
FacePicture scaled(const FacePicture& picture, double factor);

// Every sample multiplied, the landmarks as they are.
FacePicture darkened(const FacePicture& picture, double factor);

}  // namespace facefeature_tools

#endif
