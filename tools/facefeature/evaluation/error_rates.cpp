#include "evaluation/error_rates.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace facefeature_tools {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

using LaneSums = std::array<uint64_t, kLanes>;

// Adds the weights of list[from, to) to the sums.
void addWeights(const std::vector<Comparison>& list, size_t from, size_t to,
                const std::vector<WeightRow>& weights, LaneSums& sums) {
  // So few that the sum of products of weights below 4096 fits into 32 bits.
  constexpr size_t kBlock = 256;
  while (from < to) {
    const size_t end = std::min(to, from + kBlock);
    std::array<uint32_t, kLanes> block = {};
    for (; from < end; ++from) {
      const WeightRow& a = weights[list[from].a];
      const WeightRow& b = weights[list[from].b];
      for (size_t lane = 0; lane < kLanes; ++lane) block[lane] += uint32_t{a[lane]} * b[lane];
    }
    for (size_t lane = 0; lane < kLanes; ++lane) sums[lane] += block[lane];
  }
}

LaneSums sumOf(const std::vector<Comparison>& list, const std::vector<WeightRow>& weights) {
  LaneSums sums = {};
  addWeights(list, 0, list.size(), weights, sums);
  return sums;
}

// The weight of all pairs of features of two people: half of the difference between the square of
// the sum over all features and the squares of the sums within people.
LaneSums sumOfEveryPair(const std::vector<uint32_t>& personOf,
                        const std::vector<WeightRow>& weights) {
  LaneSums all = {}, squares = {}, person = {};
  for (size_t i = 0; i < personOf.size(); ++i) {
    const bool isLast = i + 1 == personOf.size() || personOf[i + 1] != personOf[i];
    for (size_t lane = 0; lane < kLanes; ++lane) {
      person[lane] += weights[i][lane];
      if (!isLast) continue;
      all[lane] += person[lane];
      squares[lane] += person[lane] * person[lane];
      person[lane] = 0;
    }
  }
  for (size_t lane = 0; lane < kLanes; ++lane) {
    all[lane] = (all[lane] * all[lane] - squares[lane]) / 2;
  }
  return all;
}

// The state of one weighting while the threshold descends.
class Lane {
 public:
  Lane(uint64_t genuine, uint64_t impostors, size_t rates)
      : genuine_(static_cast<double>(genuine)), impostors_(static_cast<double>(impostors)) {
    result_.equalErrorRate = kNone;
    result_.acceptRates.assign(rates, isEmpty() ? kNone : 0.0);
  }

  // Lowers the threshold to one that accepts this weight in total.
  void fallTo(uint64_t accepted, uint64_t falseMatches, const std::vector<double>& rates) {
    if (isEmpty()) return;
    const double falseMatchRate = static_cast<double>(falseMatches) / impostors_;
    const double acceptRate = static_cast<double>(accepted) / genuine_;
    const double nonMatchRate = 1.0 - acceptRate;
    if (!crossed_ && falseMatchRate >= nonMatchRate) {
      crossed_ = true;
      const double before = nonMatchRate_ - falseMatchRate_;
      const double after = nonMatchRate - falseMatchRate;
      const double part = before > after ? before / (before - after) : 0.0;
      result_.equalErrorRate = falseMatchRate_ + part * (falseMatchRate - falseMatchRate_);
    }
    for (size_t i = 0; i < rates.size(); ++i) {
      if (falseMatchRate <= rates[i]) result_.acceptRates[i] = acceptRate;
    }
    falseMatchRate_ = falseMatchRate;
    nonMatchRate_ = nonMatchRate;
  }

  // Whether lower thresholds change nothing.
  bool isDone(double highestRate) const {
    return isEmpty() || (crossed_ && (falseMatchRate_ > highestRate || nonMatchRate_ == 0.0));
  }

  const ErrorRates& result() const { return result_; }

 private:
  bool isEmpty() const { return genuine_ == 0.0 || impostors_ == 0.0; }

  double genuine_;
  double impostors_;
  double falseMatchRate_ = 0.0;
  double nonMatchRate_ = 1.0;
  bool crossed_ = false;
  ErrorRates result_;
};

// Walks both lists in descending order of score, for all lanes.
class Descent {
 public:
  Descent(const RateInput& input, const std::vector<WeightRow>& weights,
          const std::vector<double>& rates)
      : input_(input), weights_(weights), rates_(rates) {
    const LaneSums genuine = sumOf(input.genuine, weights);
    const LaneSums impostors = input.everyPair ? sumOfEveryPair(*input.personOf, weights)
                                               : sumOf(*input.impostors, weights);
    for (size_t lane = 0; lane < kLanes; ++lane) {
      lanes_.emplace_back(genuine[lane], impostors[lane], rates.size());
    }
    for (const double rate : rates) highestRate_ = std::max(highestRate_, rate);
  }

  // Returns false if the list of impostors is too short.
  bool run() {
    const std::vector<Comparison>& genuine = input_.genuine;
    size_t next = 0;
    while (next < genuine.size() && !std::isnan(genuine[next].score)) {
      const float score = genuine[next].score;
      // To just above this score: the accept rate stays and the false match rate increases. Then to
      // the score itself, where both may change.
      takeImpostors([score](float other) { return other > score; });
      if (ranOut_) return false;
      fall();
      const size_t first = next;
      while (next < genuine.size() && genuine[next].score == score) ++next;
      addWeights(genuine, first, next, weights_, accepted_);
      takeImpostors([score](float other) { return other >= score; });
      if (ranOut_) return false;
      fall();
      if (isDone()) return true;
    }
    takeImpostors([](float other) { return !std::isnan(other); });
    if (ranOut_) return false;
    fall();
    return true;
  }

  std::vector<ErrorRates> results() const {
    std::vector<ErrorRates> results;
    for (const Lane& lane : lanes_) results.push_back(lane.result());
    return results;
  }

 private:
  // The list is in descending order of score, so the accepted ones are at its beginning.
  template <typename Wanted>
  void takeImpostors(const Wanted& wanted) {
    const std::vector<Comparison>& list = *input_.impostors;
    const size_t first = nextImpostor_;
    while (nextImpostor_ < list.size() && wanted(list[nextImpostor_].score)) ++nextImpostor_;
    addWeights(list, first, nextImpostor_, weights_, falseMatches_);
    ranOut_ = nextImpostor_ == list.size() && !input_.holdsAllImpostors;
  }

  void fall() {
    for (size_t i = 0; i < kLanes; ++i) lanes_[i].fallTo(accepted_[i], falseMatches_[i], rates_);
  }

  bool isDone() const {
    return std::all_of(lanes_.begin(), lanes_.end(),
                       [&](const Lane& lane) { return lane.isDone(highestRate_); });
  }

  const RateInput& input_;
  const std::vector<WeightRow>& weights_;
  const std::vector<double>& rates_;
  double highestRate_ = 0.0;
  std::vector<Lane> lanes_;
  LaneSums accepted_ = {};
  LaneSums falseMatches_ = {};
  size_t nextImpostor_ = 0;
  bool ranOut_ = false;
};

}  // namespace

RateInput verificationInput(const ComparisonScores& comparisons, const EvaluationSet& set) {
  RateInput input;
  input.personOf = &set.personOf;
  input.genuine = comparisons.genuine;
  // If a person is drawn twice, each of their genuine pairs counts twice. The product of the
  // weights of the two features would count it four times.
  for (Comparison& comparison : input.genuine) comparison.b = input.noPerson();
  input.impostors = &comparisons.impostors;
  input.everyPair = comparisons.everyPair;
  input.holdsAllImpostors = comparisons.holdsAllImpostors;
  return input;
}

std::optional<std::vector<ErrorRates>> errorRates(const RateInput& input,
                                                  const std::vector<WeightRow>& weights,
                                                  const std::vector<double>& falseMatchRates) {
  Descent descent(input, weights, falseMatchRates);
  if (!descent.run()) return std::nullopt;
  return descent.results();
}

std::optional<ErrorRates> errorRates(const RateInput& input,
                                     const std::vector<double>& falseMatchRates) {
  WeightRow everyone;
  everyone.fill(1);
  const std::vector<WeightRow> weights(input.personOf->size() + 1, everyone);
  const auto results = errorRates(input, weights, falseMatchRates);
  if (!results) return std::nullopt;
  return results->front();
}

}  // namespace facefeature_tools
