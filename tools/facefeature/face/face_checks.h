// What a person would see at once in a picture of the landmarks, and the library does not look at.
#ifndef FACEFEATURE_TOOLS_FACE_FACE_CHECKS_H
#define FACEFEATURE_TOOLS_FACE_FACE_CHECKS_H

#include <cstdint>
#include <string>
#include <vector>

#include "face/landmark_file.h"

namespace facefeature_tools {

// The largest residual of the head's fit, in model units, that is not spoken of. Landmarks of
// portraits by a detector leave 0.23 to 0.48, and a wide open mouth adds to it. Exchanging the two
// points of a pair leaves 0.88 (inner ends of the brows) or more, and coordinates of which one is
// stretched by half 0.85 or more.
constexpr double kLargestResidual = 0.7;

// Sentences, without the name of any file, for whatever makes these landmarks unlikely to be those
// of the face that is meant; none for a good face. photo names the photograph in them.
//
// Not found out, since such landmarks are a good face by themselves: those of another photograph of
// the same size, or all of them moved or scaled, as long as they stay inside of the picture.
std::vector<std::string> doubtsAboutFace(const LandmarkFile& file, const std::string& photo,
                                         int32_t width, int32_t height);

}  // namespace facefeature_tools

#endif
