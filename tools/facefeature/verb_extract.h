#ifndef FACEFEATURE_TOOLS_VERB_EXTRACT_H
#define FACEFEATURE_TOOLS_VERB_EXTRACT_H

#include <cstddef>
#include <string>

#include "face_input.h"
#include "failure.h"

namespace facefeature_tools {

constexpr char kExtractVerb[] = "extract";

struct ExtractRequest {
  std::string photo;
  std::string landmarks;  // empty: the detector finds the face
  std::string feature;
  std::string model;  // empty: the folder that the library reads by itself
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;  // of several that the detector finds: 1 is the largest; 0: that one, with words
};

// "facefeature extract": a photograph and its landmarks in, a feature file out.
ExitCode runExtract(const ExtractRequest& request);

}  // namespace facefeature_tools

#endif
