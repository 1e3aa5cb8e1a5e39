#include "evaluation/person_bootstrap.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <random>

namespace facefeature_tools {
namespace {

double quantile(const std::vector<double>& sorted, double share) {
  const double position = share * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<size_t>(position);
  const size_t above = std::min(below + 1, sorted.size() - 1);
  return sorted[below] + (position - static_cast<double>(below)) * (sorted[above] - sorted[below]);
}

}  // namespace

std::vector<uint16_t> drawPeople(size_t people, size_t replicate, uint64_t seed) {
  std::seed_seq seeds{static_cast<uint32_t>(seed), static_cast<uint32_t>(seed >> 32),
                      static_cast<uint32_t>(replicate)};
  std::mt19937_64 random(seeds);
  std::vector<uint16_t> drawn(people);
  // Not a standard distribution, because those differ between libraries. The bias of this product
  // is below 2^-32 times the number of people.
  for (size_t i = 0; i < people; ++i) ++drawn[((random() >> 32) * people) >> 32];
  return drawn;
}

std::vector<WeightRow> drawWeights(const std::vector<uint32_t>& personOf, size_t people,
                                   size_t first, uint64_t seed) {
  std::vector<WeightRow> weights(personOf.size() + 1);
  weights.back().fill(1);
  for (size_t lane = 0; lane < kLanes; ++lane) {
    const std::vector<uint16_t> drawn = drawPeople(people, first + lane, seed);
    for (size_t i = 0; i < personOf.size(); ++i) weights[i][lane] = drawn[personOf[i]];
  }
  return weights;
}

Interval middleInterval(std::vector<double> values) {
  values.erase(std::remove_if(values.begin(), values.end(), [](double v) { return std::isnan(v); }),
               values.end());
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  if (values.empty()) return {kNone, kNone};
  std::sort(values.begin(), values.end());
  return {quantile(values, 0.025), quantile(values, 0.975)};
}

std::optional<RateIntervals> bootstrapRates(const RateInput& input, size_t people,
                                            const std::vector<double>& falseMatchRates,
                                            const BootstrapOptions& options) {
  const size_t replicates = options.replicates;
  std::vector<double> equalErrorRates(replicates);
  std::vector<std::vector<double>> acceptRates(falseMatchRates.size(),
                                               std::vector<double>(replicates));
  std::atomic<bool> ranOut{false};
#pragma omp parallel for schedule(dynamic)
  for (size_t first = 0; first < replicates; first += kLanes) {
    if (ranOut) continue;
    const auto weights = drawWeights(*input.personOf, people, first, options.seed);
    const auto rates = errorRates(input, weights, falseMatchRates);
    if (!rates) {
      ranOut = true;
      continue;
    }
    for (size_t lane = 0; lane < kLanes && first + lane < replicates; ++lane) {
      equalErrorRates[first + lane] = (*rates)[lane].equalErrorRate;
      for (size_t i = 0; i < falseMatchRates.size(); ++i) {
        acceptRates[i][first + lane] = (*rates)[lane].acceptRates[i];
      }
    }
  }
  if (ranOut) return std::nullopt;
  RateIntervals intervals;
  intervals.equalErrorRate = middleInterval(std::move(equalErrorRates));
  for (std::vector<double>& values : acceptRates) {
    intervals.acceptRates.push_back(middleInterval(std::move(values)));
  }
  return intervals;
}

}  // namespace facefeature_tools
