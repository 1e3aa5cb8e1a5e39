// 95 % intervals by resampling people.
//
// Comparisons are not independent: one person whom the model confuses with many is in thousands of
// them. So each replicate draws as many people as there are, with replacement, and takes all
// comparisons of those drawn: a person drawn n times has n times the genuine comparisons, and an
// impostor comparison has the product of the two numbers. Two copies of one person are not
// compared.
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

// The number of times that each person is drawn in replicate r. Depends on its arguments alone, on
// every system.
std::vector<uint16_t> drawPeople(size_t people, size_t replicate, uint64_t seed);

// Rows of weights, for each feature and nobody, of replicates first to first + kLanes - 1.
std::vector<WeightRow> drawWeights(const std::vector<uint32_t>& personOf, size_t people,
                                   size_t first, uint64_t seed);

// The middle 95 % of the values: between the quantiles 0.025 and 0.975, linearly interpolated
// between neighbours. NaN are left out.
Interval middleInterval(std::vector<double> values);

struct RateIntervals {
  Interval equalErrorRate;
  std::vector<Interval> acceptRates;
};

// Or nothing if the list of impostors is too short for a replicate. Runs on as many threads as
// OpenMP starts; the result does not depend on their number.
std::optional<RateIntervals> bootstrapRates(const RateInput& input, size_t people,
                                            const std::vector<double>& falseMatchRates,
                                            const BootstrapOptions& options);

}  // namespace facefeature_tools

#endif
