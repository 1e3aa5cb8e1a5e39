// Thresholds and the exact rates at them, from lists of scores in descending order.
#ifndef FACEFEATURE_TOOLS_EVALUATION_OPERATING_POINTS_H
#define FACEFEATURE_TOOLS_EVALUATION_OPERATING_POINTS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "evaluation/comparison_scores.h"
#include "evaluation/evaluation.h"

namespace facefeature_tools {

// The largest number of `count` scores that may be accepted at this rate.
uint64_t allowedAt(double rate, uint64_t count);

// The number of scores that reach the threshold. REQUIRES: sorted by ranksBefore().
uint64_t reaching(const std::vector<Comparison>& scores, float threshold);

// The lowest threshold that at most `allowed` scores reach. Nothing if the list is too short to
// determine it, or if more scores than that are infinite.
std::optional<float> lowestThreshold(const std::vector<Comparison>& scores, uint64_t allowed);

// The highest threshold whose false match rate is at least its false non-match rate; the equal
// error rate is next to it. Nothing if the listed impostors have none.
std::optional<float> equalErrorThreshold(const ComparisonScores& scores);

// Points for charts: dense where few impostors reach the threshold, a hundred over the genuine
// scores, and over the whole range of the histogram.
std::vector<OperatingPoint> verificationCurve(const ComparisonScores& scores);

// The same for searches. mated and nonMated are complete and in descending order.
std::vector<OperatingPoint> searchCurve(const std::vector<Comparison>& mated,
                                        const std::vector<Comparison>& nonMated);

}  // namespace facefeature_tools

#endif
