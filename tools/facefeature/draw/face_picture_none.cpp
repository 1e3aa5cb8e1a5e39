// The drawing functions of a program that was built without cairo.
#include "base/failure.h"
#include "draw/face_picture.h"
#include "draw/pair_picture.h"

namespace facefeature_tools {
namespace {

Failure notBuilt() {
  return Failure(kFailed, "drawing", "this program was built without cairo",
                 "Install libcairo2-dev and build it again");
}

}  // namespace

bool facesCanBeDrawn() { return false; }

void requireDrawing() { throw notBuilt(); }

void writeFacePicture(const std::string&, const std::string&, const Photo&, const LandmarkFile&,
                      const std::vector<std::string>&) {
  throw notBuilt();
}

void writeModelPointsPicture(const std::string&) { throw notBuilt(); }

std::vector<uint8_t> patchPairPicture(const PictureFace&, const PictureFace&) { throw notBuilt(); }

std::vector<uint8_t> pairPicture(const PictureFace&, const PictureFace&, const std::string&) {
  throw notBuilt();
}

}  // namespace facefeature_tools
