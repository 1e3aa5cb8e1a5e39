#ifndef FACEFEATURE_TOOLS_VERBS_VERB_LANDMARKS_H
#define FACEFEATURE_TOOLS_VERBS_VERB_LANDMARKS_H

#include <cstddef>
#include <string>

#include "base/failure.h"
#include "face/face_input.h"

namespace facefeature_tools {

constexpr char kLandmarksVerb[] = "landmarks";

struct LandmarksRequest {
  std::string photo;
  std::string landmarks;  // to write; empty: standard output
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;  // as in ExtractRequest
  bool all = false;
};

// "facefeature landmarks": the landmarks of a face that the detector finds. All faces go to files
// of their own, FILE_1.json, FILE_2.json and so on for FILE.json, or to standard output one after
// the other.
ExitCode runLandmarks(const LandmarksRequest& request);

// The name of the file for one of several faces, counted from 1.
std::string numberedName(const std::string& path, size_t number);

// The text of a landmark file for a found face: what landmarkText writes, and the detector, its box
// and its own points beside it. The name of the photograph goes in without its folder.
std::string foundFaceText(const std::string& photoPath, const Photo& photo, const FoundFace& face);

}  // namespace facefeature_tools

#endif
