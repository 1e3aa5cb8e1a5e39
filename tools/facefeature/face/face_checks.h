// Problems that a person would see at once in a picture of the landmarks, and that the library does
// not check for.
#ifndef FACEFEATURE_TOOLS_FACE_FACE_CHECKS_H
#define FACEFEATURE_TOOLS_FACE_FACE_CHECKS_H

#include <cstdint>
#include <string>
#include <vector>

#include "face/landmark_file.h"

namespace facefeature_tools {

// The largest residual of the head fit, in model units, that gives no warning. Detected landmarks
// of portraits leave 0.23 to 0.48, and a wide open mouth adds to it. Exchanging the two points of a
// pair leaves 0.88 (inner ends of the brows) or more, and stretching one coordinate by half leaves
// 0.85 or more.
constexpr double kLargestResidual = 0.7;

// Sentences, without file names, about everything that makes it unlikely that these landmarks
// belong to the intended face; none for a good face. photo names the photograph in them.
//
// Landmarks that are a good face by themselves are not detected: those of another photograph of the
// same size, or all of them moved or scaled, as long as they stay inside the picture.
std::vector<std::string> faceWarnings(const LandmarkFile& file, const std::string& photo,
                                      int32_t width, int32_t height);

}  // namespace facefeature_tools

#endif
