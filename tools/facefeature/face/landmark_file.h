// Landmark files: JSON with a list "landmarks" of objects {"id", "x", "y"} and, optionally, the
// "width" and "height" of the photograph. Other keys are ignored.
#ifndef FACEFEATURE_TOOLS_FACE_LANDMARK_FILE_H
#define FACEFEATURE_TOOLS_FACE_LANDMARK_FILE_H

#include <facefeature/facefeature.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace facefeature_tools {

struct LandmarkFile {
  std::optional<int64_t> width;
  std::optional<int64_t> height;
  std::vector<Landmark> landmarks;  // in the order of the file

  // Empty, or a text about ids that the library accepts but that are not a complete record of 29.
  // Faces are then aligned by whatever replaces the missing ones.
  std::string warning;
};

// Reads a file that ExtractFeature accepts: ids from 0 to 317, exactly 25 besides 240, 241, 315 and
// 316, every coordinate a finite float. Throws Failure (kBadInput) for any other.
LandmarkFile readLandmarkFile(const std::string& path);

// The same from the text itself. Throws std::runtime_error with a text that completes "the file
// ...".
LandmarkFile parseLandmarks(const std::string& text);

// The text of a landmark file that readLandmarkFile reads back to the same floats.
std::string landmarkText(const std::string& image, int32_t width, int32_t height,
                         const std::vector<Landmark>& landmarks);

struct RecordFreer {
  void operator()(LandmarkSet* record) const { std::free(record); }
};
using LandmarkRecord = std::unique_ptr<LandmarkSet, RecordFreer>;

// The record that the library takes.
LandmarkRecord makeRecord(const std::vector<Landmark>& landmarks);

}  // namespace facefeature_tools

#endif
