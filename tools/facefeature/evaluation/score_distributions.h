// The distributions of an evaluation, read back from its JSON report.
#ifndef FACEFEATURE_TOOLS_EVALUATION_SCORE_DISTRIBUTIONS_H
#define FACEFEATURE_TOOLS_EVALUATION_SCORE_DISTRIBUTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "base/sha256.h"
#include "evaluation/evaluation.h"

namespace facefeature_tools {

struct ScoreDistributions {
  Digest model = {};
  uint64_t genuine = 0;  // comparisons
  uint64_t impostors = 0;
  std::vector<float> edges;
  std::vector<uint64_t> genuineHistogram;  // one element fewer than edges
  std::vector<uint64_t> impostorHistogram;
  std::vector<OperatingPoint> curve;  // descending thresholds
};

// Throws Failure (kBadInput) if the file is not a report of an evaluation.
ScoreDistributions readScoreDistributions(const std::string& path);

// The rates at the highest known threshold that the score reaches. Neighbouring thresholds differ
// by a few percent of a rate at most. A score below all thresholds has the rates 1 and 0.
OperatingPoint ratesBelow(const ScoreDistributions& distributions, float score);

// The histograms as an inline SVG. The score is marked if it is not null.
std::string distributionsChart(const ScoreDistributions& distributions, const float* score,
                               const std::string& scoreName);

}  // namespace facefeature_tools

#endif
