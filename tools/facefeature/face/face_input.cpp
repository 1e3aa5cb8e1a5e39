#include "face/face_input.h"

#include <cmath>
#include <utility>

#include "base/failure.h"
#include "face/face_checks.h"
#include "face/head_fit.h"

namespace facefeature_tools {
namespace {

// The detector is made for upright faces.
constexpr float kLargestRollOfADetector = 20.0f;

// Loaded once: for a list without landmarks, reloading it would take longer than the faces.
const FaceFinder& faceFinder() {
  static const FaceFinder finder;
  return finder;
}

}  // namespace

const FoundFace& chosenFace(const std::string& verb, const std::string& photo,
                            const std::vector<FoundFace>& faces, size_t number) {
  if (faces.empty()) {
    throw Failure(kBadInput, photo, "no face was found",
                  "The detector finds upright faces that look into the camera and are not small "
                  "in the picture; give the landmarks in a file");
  }
  if (number > faces.size()) {
    throw Failure(kBadInput, photo,
                  "has no face " + std::to_string(number) + ", only " +
                      std::to_string(faces.size()) + (faces.size() == 1 ? " was" : " were") +
                      " found",
                  "Face 1 is the largest");
  }
  if (number == 0 && faces.size() > 1) {
    say(verb, photo + ": " + std::to_string(faces.size()) +
                  " faces were found; this is the largest. --face N takes another, in descending "
                  "order of size.");
  }
  return faces[number == 0 ? 0 : number - 1];
}

FaceLandmarks readFaceLandmarks(const std::string& verb, const std::string& photoPath,
                                const Photo& photo, const std::string& landmarksPath, size_t face) {
  FaceLandmarks result;
  if (landmarksPath.empty()) {
    const std::vector<FoundFace> faces = faceFinder().find(photo);
    result = landmarksOfFound(chosenFace(verb, photoPath, faces, face), photoPath, photo);
  } else {
    result.file = readLandmarkFile(landmarksPath);
    result.warnings = faceWarnings(result.file, photoPath, photo.width, photo.height);
  }
  printWarnings(verb, landmarksPath.empty() ? photoPath : landmarksPath, result.warnings);
  return result;
}

FaceLandmarks landmarksOfFound(const FoundFace& face, const std::string& photoPath,
                               const Photo& photo) {
  FaceLandmarks result;
  result.file.width = photo.width;
  result.file.height = photo.height;
  result.file.landmarks = face.landmarks;
  result.warnings = faceWarnings(result.file, photoPath, photo.width, photo.height);
  const HeadFit fit = fitHead(face.landmarks);
  if (fit.isGood && std::fabs(fit.roll) > kLargestRollOfADetector) {
    result.warnings.push_back(
        "the head is tilted by " + std::to_string(std::lround(fit.roll)) +
        " degrees. The detector is made for upright faces and can be far off here: check the "
        "points with \"facefeature draw\".");
  }
  return result;
}

void printWarnings(const std::string& verb, const std::string& path,
                   const std::vector<std::string>& warnings) {
  for (const std::string& warning : warnings) say(verb, path + ": warning: " + warning);
}

}  // namespace facefeature_tools
