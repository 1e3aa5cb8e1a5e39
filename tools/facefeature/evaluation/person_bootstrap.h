// 95 % intervals by resampling people.
//
// Comparisons are not independent: a person whom the model confuses with many others is in
// thousands of them. So each replicate draws as many people as there are, with replacement, and
// takes all comparisons of those people. A person who is drawn n times has n times the genuine
// comparisons, and an impostor comparison is weighted by the product of the two numbers. Two copies
// of one person are not compared.
#ifndef FACEFEATURE_TOOLS_EVALUATION_PERSON_BOOTSTRAP_H
#define FACEFEATURE_TOOLS_EVALUATION_PERSON_BOOTSTRAP_H

#include <cstdint>
#include <optional>
#include <vector>

#include "evaluation/error_rates.h"

namespace facefeature_tools {

struct Interval {
  double low;  // both NaN if there is no interval
  double high;
};

struct BootstrapOptions {
  size_t replicates = 1000;
  uint64_t seed = 1;
};

// How often each person is drawn in replicate r. Depends only on the arguments, and is the same on
// every system.
std::vector<uint16_t> drawPeople(size_t people, size_t replicate, uint64_t seed);

// Rows of weights, one for each feature and one for "no person", of replicates first to first +
// kLanes - 1.
std::vector<WeightRow> drawWeights(const std::vector<uint32_t>& personOf, size_t people,
                                   size_t first, uint64_t seed);

// The middle 95 % of the values: the quantiles 0.025 and 0.975, interpolated linearly. NaNs are
// ignored.
Interval middleInterval(std::vector<double> values);

struct RateIntervals {
  Interval equalErrorRate;
  std::vector<Interval> acceptRates;
};

// Returns nothing if the list of impostors is too short for a replicate. Uses as many threads as
// OpenMP starts; the result does not depend on their number.
std::optional<RateIntervals> bootstrapRates(const RateInput& input, size_t people,
                                            const std::vector<double>& falseMatchRates,
                                            const BootstrapOptions& options);

}  // namespace facefeature_tools

#endif
