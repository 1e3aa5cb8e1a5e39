// Converts the points of a detector's scheme to the 29 landmarks.
#ifndef FACEFEATURE_TOOLS_FACE_LANDMARK_SCHEME_H
#define FACEFEATURE_TOOLS_FACE_LANDMARK_SCHEME_H

#include <facefeature/facefeature.h>

#include <array>
#include <vector>

namespace facefeature_tools {

struct ImagePoint {
  double x;
  double y;
};

constexpr int kSchemePoints = 68;
using SchemePoints = std::array<ImagePoint, kSchemePoints>;

// The 29 landmarks, in ascending order of id, from the points of the common 68-point scheme (jaw 0
// to 16, brows 17 to 26, nose 27 to 35, eyes 36 to 47, mouth 48 to 67, each from image left to
// image right). Rounded to hundredths of a pixel, like landmark files, so that a face gives the
// same feature when its landmarks are used directly and when they are written and read again.
std::vector<Landmark> landmarksFrom68(const SchemePoints& points);

}  // namespace facefeature_tools

#endif
