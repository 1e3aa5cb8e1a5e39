#include "evaluation/comparison_scores.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_map>

#include "evaluation/parallel_sort.h"
#include "evaluation/score_rows.h"
#include "search/scan_kernels.h"

namespace facefeature_tools {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr size_t kHistogramBins = 2000;

// Coarse classes in the order of the scores: the sign, the exponent and seven bits of the fraction.
class CoarseCounts {
 public:
  static constexpr uint32_t kClasses = 1u << 16;

  CoarseCounts() : counts_(kClasses) {}

  // REQUIRES: not NaN.
  void add(float score) { ++counts_[classOf(score)]; }
  void add(const CoarseCounts& other) {
    for (size_t i = 0; i < kClasses; ++i) counts_[i] += other.counts_[i];
  }

  static uint32_t classOf(float score) {
    uint32_t bits;
    std::memcpy(&bits, &score, sizeof bits);
    return (bits & 0x80000000u ? ~bits : bits | 0x80000000u) >> 16;
  }

  // The lowest score of a class. The class of -infinity begins with NaNs, which are not counted.
  static float lowestOf(uint32_t scoreClass) {
    const uint32_t ordered = scoreClass << 16;
    const uint32_t bits = ordered & 0x80000000u ? ordered & 0x7FFFFFFFu : ~ordered;
    float score;
    std::memcpy(&score, &bits, sizeof score);
    return std::isnan(score) ? -kInfinity : score;
  }

  uint64_t operator[](size_t scoreClass) const { return counts_[scoreClass]; }

 private:
  std::vector<uint64_t> counts_;
};

struct FirstPass {
  std::vector<Comparison> genuine;
  CoarseCounts impostors;
  uint64_t impostorsNotANumber = 0;
  float lowest = kInfinity;  // of the finite scores
  float highest = -kInfinity;

  void see(float score) {
    if (!std::isfinite(score)) return;
    lowest = std::min(lowest, score);
    highest = std::max(highest, score);
  }

  void add(const FirstPass& other) {
    genuine.insert(genuine.end(), other.genuine.begin(), other.genuine.end());
    impostors.add(other.impostors);
    impostorsNotANumber += other.impostorsNotANumber;
    lowest = std::min(lowest, other.lowest);
    highest = std::max(highest, other.highest);
  }
};

// The first feature of each person, followed by the number of features.
std::vector<FeatureIndex> startsOfPeople(const EvaluationSet& set) {
  std::vector<FeatureIndex> starts;
  for (FeatureIndex i = 0; i < set.count(); ++i) {
    if (i == 0 || set.personOf[i] != set.personOf[i - 1]) starts.push_back(i);
  }
  starts.push_back(static_cast<FeatureIndex>(set.count()));
  return starts;
}

float bestOf(const float* scores, FeatureIndex from, FeatureIndex to) {
  float best = -kInfinity;
  for (FeatureIndex i = from; i < to; ++i) best = scores[i] > best ? scores[i] : best;
  return best;
}

// scores holds those of feature a with all features.
SearchScores searchOf(FeatureIndex a, uint32_t person, const std::vector<FeatureIndex>& starts,
                      const float* scores) {
  const FeatureIndex from = starts[person], to = starts[person + 1];
  SearchScores search = {std::numeric_limits<float>::quiet_NaN(), -kInfinity, 0};
  if (to - from > 1) {
    search.mate = std::max(bestOf(scores, from, a), bestOf(scores, a + 1, to));
    search.rank = 1;
  }
  for (uint32_t other = 0; other + 1 < starts.size(); ++other) {
    if (other == person) continue;
    const float best = bestOf(scores, starts[other], starts[other + 1]);
    search.nonMate = std::max(search.nonMate, best);
    if (best >= search.mate) ++search.rank;
  }
  return search;
}

FirstPass countEveryPair(const EvaluationSet& set, std::vector<SearchScores>& searches) {
  const std::vector<FeatureIndex> starts = startsOfPeople(set);
  const auto count = static_cast<FeatureIndex>(set.count());
  searches.resize(count);
  FirstPass all;
#pragma omp parallel
  {
    FirstPass mine;
    forEachScoreRow(set.features.data(), set.count(), AllColumns::kYes,
                    [&](FeatureIndex a, const float* scores) {
                      const uint32_t person = set.personOf[a];
                      searches[a] = searchOf(a, person, starts, scores);
                      for (FeatureIndex b = a + 1; b < starts[person + 1]; ++b) {
                        mine.genuine.push_back({scores[b], a, b});
                        mine.see(scores[b]);
                      }
                      for (FeatureIndex b = starts[person + 1]; b < count; ++b) {
                        if (std::isnan(scores[b])) {
                          ++mine.impostorsNotANumber;
                          continue;
                        }
                        mine.impostors.add(scores[b]);
                        mine.see(scores[b]);
                      }
                    });
#pragma omp critical
    all.add(mine);
  }
  return all;
}

// The lowest class of impostor scores to keep.
uint32_t lowestKeptClass(const FirstPass& pass, const std::vector<Comparison>& genuine,
                         uint64_t impostorCount, const KeepRule& rule) {
  uint64_t wanted =
      std::max(static_cast<uint64_t>(std::ceil(rule.share * static_cast<double>(impostorCount))),
               std::min(impostorCount, rule.number));
  uint64_t impostors = 0;
  size_t accepted = 0;
  bool crossed = false;
  for (uint32_t scoreClass = CoarseCounts::kClasses; scoreClass-- > 0;) {
    impostors += pass.impostors[scoreClass];
    while (accepted < genuine.size() && !std::isnan(genuine[accepted].score) &&
           CoarseCounts::classOf(genuine[accepted].score) >= scoreClass) {
      ++accepted;
    }
    const double falseMatches = static_cast<double>(impostors) / static_cast<double>(impostorCount);
    const double falseNonMatches =
        1.0 - static_cast<double>(accepted) / static_cast<double>(genuine.size());
    if (!crossed && falseMatches >= falseNonMatches) {
      // Twice as far as the equal error rate needs, because resampled sets of people need more.
      crossed = true;
      wanted = std::max(wanted, 2 * impostors);
    }
    if (crossed && impostors >= wanted) return scoreClass;
  }
  return 0;
}

// The lower end of histograms, which one impostor score in ten thousand may be below. A few
// features with small norms have scores far below all others and would fill most of a chart.
float lowEnd(const FirstPass& pass, uint64_t impostorCount) {
  uint64_t below = 0;
  uint32_t scoreClass = 0;
  while (scoreClass + 1 < CoarseCounts::kClasses &&
         below + pass.impostors[scoreClass] <= impostorCount / 10000) {
    below += pass.impostors[scoreClass++];
  }
  const float low = CoarseCounts::lowestOf(scoreClass);
  return std::isfinite(low) ? std::max(low, pass.lowest) : pass.lowest;
}

void makeHistograms(float lowest, float highest, ComparisonScores& scores) {
  if (!(lowest < highest)) {
    lowest = std::isfinite(lowest) ? lowest - 0.5f : 0.0f;
    highest = lowest + 1.0f;
  }
  scores.genuineHistogram = ScoreHistogram(lowest, highest, kHistogramBins);
  scores.impostorHistogram = scores.genuineHistogram.emptyCopy();
  for (const Comparison& comparison : scores.genuine) {
    if (!std::isnan(comparison.score)) scores.genuineHistogram.add(comparison.score);
  }
}

void keepImpostors(const EvaluationSet& set, uint32_t lowestClass, ComparisonScores& scores) {
  const auto count = static_cast<FeatureIndex>(set.count());
  const bool keepAll = lowestClass == 0;
  const float lowest = keepAll ? -kInfinity : CoarseCounts::lowestOf(lowestClass);
  std::atomic<size_t> used{0};
#pragma omp parallel
  {
    std::vector<Comparison> row;
    ScoreHistogram histogram = scores.genuineHistogram.emptyCopy();
    forEachScoreRow(set.features.data(), set.count(), AllColumns::kNo,
                    [&](FeatureIndex a, const float* rowScores) {
                      row.clear();
                      FeatureIndex b = a + 1;
                      while (b < count && set.personOf[b] == set.personOf[a]) ++b;
                      for (; b < count; ++b) {
                        const float score = rowScores[b];
                        if (std::isnan(score)) continue;
                        histogram.add(score);
                        if (score >= lowest) row.push_back({score, a, b});
                      }
                      std::copy(row.begin(), row.end(),
                                scores.impostors.begin() + used.fetch_add(row.size()));
                    });
#pragma omp critical
    scores.impostorHistogram.add(histogram);
  }
  sortInParallel(scores.impostors, ranksBefore);
}

uint64_t notANumber(const std::vector<Comparison>& comparisons) {
  return static_cast<uint64_t>(
      std::count_if(comparisons.begin(), comparisons.end(),
                    [](const Comparison& comparison) { return std::isnan(comparison.score); }));
}

}  // namespace

bool ranksBefore(const Comparison& a, const Comparison& b) {
  if (a.score > b.score) return true;
  if (a.score < b.score) return false;
  if (std::isnan(a.score) != std::isnan(b.score)) return std::isnan(b.score);
  return a.a != b.a ? a.a < b.a : a.b < b.b;
}

EveryPairScores scoreEveryPair(const EvaluationSet& set, const KeepRule& rule) {
  EveryPairScores result;
  ComparisonScores& scores = result.comparisons;
  FirstPass pass = countEveryPair(set, result.searches);
  scores.everyPair = true;
  scores.genuine = std::move(pass.genuine);
  std::sort(scores.genuine.begin(), scores.genuine.end(), ranksBefore);
  scores.genuineNotANumber = notANumber(scores.genuine);
  scores.impostorsNotANumber = pass.impostorsNotANumber;
  const uint64_t pairs = uint64_t{set.count()} * (set.count() - 1) / 2;
  scores.impostorCount = pairs - scores.genuine.size();
  makeHistograms(lowEnd(pass, scores.impostorCount), pass.highest, scores);

  const uint32_t lowestClass = lowestKeptClass(pass, scores.genuine, scores.impostorCount, rule);
  uint64_t kept = 0;
  for (uint32_t i = lowestClass; i < CoarseCounts::kClasses; ++i) kept += pass.impostors[i];
  scores.holdsAllImpostors = kept == scores.impostorCount - scores.impostorsNotANumber;
  scores.impostors.resize(kept);
  keepImpostors(set, lowestClass, scores);
  return result;
}

ComparisonScores scorePairs(const EvaluationSet& set, const std::vector<LabelledPair>& pairs,
                            size_t& leftOut) {
  std::unordered_map<std::string, FeatureIndex> indexOf;
  for (FeatureIndex i = 0; i < set.count(); ++i) indexOf.emplace(set.ids[i], i);
  ComparisonScores scores;
  leftOut = 0;
  float lowest = kInfinity, highest = -kInfinity;
  for (const LabelledPair& pair : pairs) {
    const auto first = indexOf.find(pair.first);
    const auto second = indexOf.find(pair.second);
    if (first == indexOf.end() || second == indexOf.end()) {
      ++leftOut;
      continue;
    }
    const auto [a, b] = std::minmax(first->second, second->second);
    float score = 0.0f;
    fastestScanKernels().score(set.feature(b), 1, set.feature(a), 1, &score);
    (pair.samePerson ? scores.genuine : scores.impostors).push_back({score, a, b});
    if (!std::isfinite(score)) continue;
    lowest = std::min(lowest, score);
    highest = std::max(highest, score);
  }
  std::sort(scores.genuine.begin(), scores.genuine.end(), ranksBefore);
  std::sort(scores.impostors.begin(), scores.impostors.end(), ranksBefore);
  scores.holdsAllImpostors = true;
  scores.impostorCount = scores.impostors.size();
  scores.genuineNotANumber = notANumber(scores.genuine);
  scores.impostorsNotANumber = notANumber(scores.impostors);
  makeHistograms(lowest, highest, scores);
  for (const Comparison& comparison : scores.impostors) {
    if (!std::isnan(comparison.score)) scores.impostorHistogram.add(comparison.score);
  }
  return scores;
}

}  // namespace facefeature_tools
