#ifndef FACEFEATURE_TOOLS_VERBS_VERB_DRAW_H
#define FACEFEATURE_TOOLS_VERBS_VERB_DRAW_H

#include <cstddef>
#include <string>

#include "base/failure.h"
#include "face/face_input.h"

namespace facefeature_tools {

constexpr char kDrawVerb[] = "draw";

struct DrawRequest {
  std::string photo;      // empty with modelPoints only
  std::string landmarks;  // empty: the detector finds the face
  std::string picture;    // to write, PNG
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;  // as in ExtractRequest
  bool modelPoints = false;
};

// "facefeature draw": a picture of what the library sees of a face, or of the 29 model points.
// Throws Failure (kFailed) if the program was built without cairo.
ExitCode runDraw(const DrawRequest& request);

}  // namespace facefeature_tools

#endif
