// Equal error rate and accept rates of ranked scores, for several weightings of the people at once.
//
// Definitions, with a score accepted at a threshold if it is the threshold or more:
//
//   false match rate(t)      share of the weight of all impostor scores that is accepted at t
//   false non-match rate(t)  share of the weight of all genuine scores that is not accepted at t
//   equal error rate         their common value where the polygon through the points (false match
//                            rate, false non-match rate) of all thresholds crosses the diagonal
//   accept rate at f         the highest 1 - false non-match rate of all thresholds whose false
//                            match rate is at most f; nothing is interpolated
//
// NaN is accepted at no threshold and is part of all totals.
#ifndef FACEFEATURE_TOOLS_EVALUATION_ERROR_RATES_H
#define FACEFEATURE_TOOLS_EVALUATION_ERROR_RATES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "evaluation/comparison_scores.h"

namespace facefeature_tools {

// Weightings that are computed side by side.
constexpr size_t kLanes = 16;

// How often each person was drawn, for kLanes draws. Row i belongs to the person of feature i. The
// row after the last feature is 1 in all lanes, for scores that have only one person.
using WeightRow = std::array<uint16_t, kLanes>;

struct RateInput {
  // Sorted by ranksBefore(). The weight of an entry is the product of the weights of its features.
  std::vector<Comparison> genuine;                     // complete
  const std::vector<Comparison>* impostors = nullptr;  // owned by the caller
  // If set, the impostor scores are those of every pair of features of two people, and the list may
  // contain only the highest. Otherwise the list is complete.
  bool everyPair = false;
  bool holdsAllImpostors = true;
  const std::vector<uint32_t>* personOf = nullptr;  // of each feature; owned by the caller

  // The index that means "no second person".
  FeatureIndex noPerson() const { return static_cast<FeatureIndex>(personOf->size()); }
};

// The rates of pairs of features: a genuine score has the weight of its person once, an impostor
// score that of both people. comparisons and set must outlive the result.
RateInput verificationInput(const ComparisonScores& comparisons, const EvaluationSet& set);

struct ErrorRates {
  double equalErrorRate;            // NaN if the polygon does not cross the diagonal
  std::vector<double> acceptRates;  // one for each requested false match rate
};

// The rates for each lane of the weights, or nothing if the list of impostors is too short for one
// of them. A lane without genuine or without impostor weight has NaN for all rates. REQUIRES: a row
// of weights for each feature, plus one. A weight is below 4096.
std::optional<std::vector<ErrorRates>> errorRates(const RateInput& input,
                                                  const std::vector<WeightRow>& weights,
                                                  const std::vector<double>& falseMatchRates);

// The same with a weight of 1 for every person.
std::optional<ErrorRates> errorRates(const RateInput& input,
                                     const std::vector<double>& falseMatchRates);

}  // namespace facefeature_tools

#endif
