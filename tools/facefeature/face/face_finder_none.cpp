// The program without a detector.
#include "base/failure.h"
#include "face/face_finder.h"

namespace facefeature_tools {

struct FaceFinder::Models {};

bool facesCanBeFound() { return false; }

std::string faceDetectorName() { return ""; }

FaceFinder::FaceFinder() {
  throw Failure(kFailed, "finding faces", "this program was built without a detector",
                "Give the landmarks in a file, or build the program with dlib");
}

FaceFinder::~FaceFinder() = default;

std::vector<FoundFace> FaceFinder::find(const Photo&) const { return {}; }

}  // namespace facefeature_tools
