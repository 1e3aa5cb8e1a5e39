#ifndef FACEFEATURE_TOOLS_VERB_COMPARE_H
#define FACEFEATURE_TOOLS_VERB_COMPARE_H

#include <string>

#include "failure.h"

namespace facefeature_tools {

constexpr char kCompareVerb[] = "compare";

struct CompareRequest {
  std::string first;
  std::string second;
};

// "facefeature compare": prints the score of two feature files.
ExitCode runCompare(const CompareRequest& request);

}  // namespace facefeature_tools

#endif
