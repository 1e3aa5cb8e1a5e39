#include "evaluation/operating_points.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace facefeature_tools {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

double share(uint64_t part, uint64_t whole) {
  return static_cast<double>(part) / static_cast<double>(whole);
}

// Ranks from 1 to count, about thirty per factor of ten.
std::vector<size_t> logarithmicRanks(size_t count) {
  std::vector<size_t> ranks;
  for (size_t rank = 1; rank <= count; rank += 1 + rank / 13) ranks.push_back(rank);
  return ranks;
}

void addScoresAt(const std::vector<Comparison>& scores, const std::vector<size_t>& ranks,
                 std::vector<float>& thresholds) {
  for (const size_t rank : ranks) {
    const float score = scores[rank - 1].score;
    if (std::isfinite(score)) thresholds.push_back(score);
  }
}

void addQuantiles(const std::vector<Comparison>& scores, std::vector<float>& thresholds) {
  constexpr size_t kPoints = 100;
  for (size_t i = 0; i <= kPoints && !scores.empty(); ++i) {
    const float score = scores[(scores.size() - 1) * i / kPoints].score;
    if (std::isfinite(score)) thresholds.push_back(score);
  }
}

void sortOnce(std::vector<float>& thresholds) {
  std::sort(thresholds.begin(), thresholds.end(), std::greater<float>());
  thresholds.erase(std::unique(thresholds.begin(), thresholds.end()), thresholds.end());
}

}  // namespace

uint64_t allowedAt(double rate, uint64_t count) {
  // A quotient is rounded only once, so 3 of 3000 is exactly the float of "1e-3".
  auto allowed = static_cast<uint64_t>(rate * static_cast<double>(count));
  while (allowed > 0 && share(allowed, count) > rate) --allowed;
  while (allowed < count && share(allowed + 1, count) <= rate) ++allowed;
  return allowed;
}

uint64_t reaching(const std::vector<Comparison>& scores, float threshold) {
  const auto end = std::partition_point(
      scores.begin(), scores.end(),
      [threshold](const Comparison& comparison) { return comparison.score >= threshold; });
  return static_cast<uint64_t>(end - scores.begin());
}

std::optional<float> lowestThreshold(const std::vector<Comparison>& scores, uint64_t allowed) {
  if (allowed >= scores.size()) return std::nullopt;
  const float rejected = scores[allowed].score;
  if (std::isnan(rejected) || rejected == kInfinity) return std::nullopt;
  return std::nextafter(rejected, kInfinity);
}

std::optional<float> equalErrorThreshold(const ComparisonScores& scores) {
  const std::vector<Comparison>& genuine = scores.genuine;
  const std::vector<Comparison>& impostors = scores.impostors;
  size_t accepted = 0, falseMatches = 0;
  const auto left = [](const std::vector<Comparison>& list, size_t at) {
    return at < list.size() && !std::isnan(list[at].score);
  };
  while (left(genuine, accepted) || left(impostors, falseMatches)) {
    float threshold = -kInfinity;
    if (left(genuine, accepted)) threshold = genuine[accepted].score;
    if (left(impostors, falseMatches)) {
      threshold = std::max(threshold, impostors[falseMatches].score);
    }
    while (left(genuine, accepted) && genuine[accepted].score >= threshold) ++accepted;
    while (left(impostors, falseMatches) && impostors[falseMatches].score >= threshold) {
      ++falseMatches;
    }
    if (share(falseMatches, scores.impostorCount) >= 1.0 - share(accepted, genuine.size())) {
      return threshold;
    }
  }
  return std::nullopt;
}

std::vector<OperatingPoint> verificationCurve(const ComparisonScores& scores) {
  std::vector<OperatingPoint> curve;
  const auto add = [&](float threshold, uint64_t falseMatches) {
    curve.push_back({threshold, share(falseMatches, scores.impostorCount),
                     share(scores.genuine.size() - reaching(scores.genuine, threshold),
                           scores.genuine.size())});
  };
  std::vector<float> thresholds;
  addScoresAt(scores.impostors, logarithmicRanks(scores.impostors.size()), thresholds);
  addQuantiles(scores.genuine, thresholds);
  sortOnce(thresholds);
  // Below the lowest listed impostor, only the edges of the histogram have exact counts.
  const float lowest = scores.holdsAllImpostors || scores.impostors.empty()
                           ? -kInfinity
                           : scores.impostors.back().score;
  for (const float threshold : thresholds) {
    if (threshold >= lowest) add(threshold, reaching(scores.impostors, threshold));
  }
  constexpr size_t kStep = 10;  // bins
  const ScoreHistogram& histogram = scores.impostorHistogram;
  uint64_t above = histogram.above();
  for (size_t bin = histogram.bins(); bin-- > 0;) {
    above += histogram.count(bin);
    if (bin % kStep == 0) add(histogram.edges()[bin], above);
  }
  std::sort(curve.begin(), curve.end(), [](const OperatingPoint& a, const OperatingPoint& b) {
    return a.threshold > b.threshold;
  });
  return curve;
}

std::vector<OperatingPoint> searchCurve(const std::vector<Comparison>& mated,
                                        const std::vector<Comparison>& nonMated) {
  std::vector<float> thresholds;
  addScoresAt(nonMated, logarithmicRanks(nonMated.size()), thresholds);
  addQuantiles(mated, thresholds);
  addQuantiles(nonMated, thresholds);
  sortOnce(thresholds);
  std::vector<OperatingPoint> curve;
  for (const float threshold : thresholds) {
    curve.push_back({threshold, share(reaching(nonMated, threshold), nonMated.size()),
                     share(mated.size() - reaching(mated, threshold), mated.size())});
  }
  return curve;
}

}  // namespace facefeature_tools
