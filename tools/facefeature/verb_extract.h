#ifndef FACEFEATURE_TOOLS_VERB_EXTRACT_H
#define FACEFEATURE_TOOLS_VERB_EXTRACT_H

#include <string>

#include "failure.h"

namespace facefeature_tools {

constexpr char kExtractVerb[] = "extract";

struct ExtractRequest {
  std::string photo;
  std::string landmarks;
  std::string feature;
  std::string model;  // empty: the folder that the library reads by itself
};

// "facefeature extract": a photograph and its landmarks in, a feature file out.
ExitCode runExtract(const ExtractRequest& request);

}  // namespace facefeature_tools

#endif
