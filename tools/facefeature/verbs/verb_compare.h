#ifndef FACEFEATURE_TOOLS_VERBS_VERB_COMPARE_H
#define FACEFEATURE_TOOLS_VERBS_VERB_COMPARE_H

#include <optional>
#include <string>

#include "base/failure.h"

namespace facefeature_tools {

constexpr char kCompareVerb[] = "compare";

struct CompareRequest {
  std::string first;
  std::string second;
  // A float, as scores are: a score that was printed and is given back is reached.
  std::optional<float> threshold;
};

// The exit code that says "below the threshold". Nothing else ends with it then.
constexpr ExitCode kBelow = kFailed;

// Empty for text that tells a number, or words for what is wrong with it.
std::string thresholdFault(const std::string& text);

// "facefeature compare": prints the score of two features, or of all pairs of two galleries.
ExitCode runCompare(const CompareRequest& request);

}  // namespace facefeature_tools

#endif
