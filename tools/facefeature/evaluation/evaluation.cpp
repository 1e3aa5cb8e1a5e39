#include "evaluation/evaluation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_set>

#include "base/failure.h"
#include "evaluation/error_rates.h"
#include "evaluation/operating_points.h"

namespace facefeature_tools {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// A rate with fewer errors than this is unreliable (the rule of 30).
constexpr double kErrorsForARate = 30.0;
// Resampling fewer people than this does not show how much people differ.
constexpr uint64_t kPeopleForAnInterval = 20;
constexpr size_t kWorstPairs = 20;
constexpr size_t kRanks = 50;
constexpr size_t kBinsOfReport = 100;

struct NamedRate {
  const char* name;
  double rate;
};

constexpr NamedRate kFalseMatchRates[] = {{"1e-1", 1e-1}, {"1e-2", 1e-2}, {"1e-3", 1e-3},
                                          {"1e-4", 1e-4}, {"1e-5", 1e-5}, {"1e-6", 1e-6}};
constexpr NamedRate kFalsePositiveRates[] = {{"1e-1", 1e-1}, {"1e-2", 1e-2}, {"1e-3", 1e-3}};

// If a rate has no errors, its replicates have none either, and the interval would have no width.
// The bound is then that of as many independent trials as there are people (the rule of three).
Interval widened(Interval interval, double value, uint64_t people) {
  if (!(interval.low == interval.high)) return interval;
  const double bound = std::pow(0.05, 1.0 / static_cast<double>(people));
  if (value == 1.0) return {bound, 1.0};
  if (value == 0.0) return {0.0, 1.0 - bound};
  return interval;
}

struct Rates {
  Estimate equalErrorRate;
  std::vector<RateAt> at;
};

// The requested rates, each with its interval; those with too few expected false acceptances are
// refused. Returns nothing if the list of impostors is too short.
template <size_t kCount>
std::optional<Rates> ratesOf(const RateInput& input, uint64_t impostorCount,
                             const NamedRate (&named)[kCount], const char* trials,
                             const EvaluationSet& set, uint64_t peopleWithPairs,
                             const BootstrapOptions& options) {
  std::vector<double> asked;
  for (const NamedRate& rate : named) {
    if (static_cast<double>(impostorCount) * rate.rate >= kErrorsForARate - 1e-6) {
      asked.push_back(rate.rate);
    }
  }
  const auto rates = errorRates(input, asked);
  if (!rates) return std::nullopt;
  const Interval none = {kNone, kNone};
  RateIntervals intervals = {none, std::vector<Interval>(asked.size(), none)};
  if (peopleWithPairs >= kPeopleForAnInterval) {
    const auto found = bootstrapRates(input, set.people.size(), asked, options);
    if (!found) return std::nullopt;
    intervals = *found;
  }
  Rates result;
  result.equalErrorRate = {rates->equalErrorRate, widened(intervals.equalErrorRate,
                                                          rates->equalErrorRate, peopleWithPairs)};
  for (size_t i = 0; i < kCount; ++i) {
    RateAt at;
    at.name = named[i].name;
    at.falsePositiveRate = named[i].rate;
    const auto threshold =
        i < asked.size()
            ? lowestThreshold(*input.impostors, allowedAt(at.falsePositiveRate, impostorCount))
            : std::nullopt;
    if (i >= asked.size()) {
      const auto needed =
          static_cast<uint64_t>(std::llround(kErrorsForARate / at.falsePositiveRate));
      at.refusal = std::to_string(impostorCount) + " " + trials +
                   " are too few: " + std::to_string(needed) + " are needed";
    } else if (!threshold) {
      at.refusal = "no threshold: too many scores are infinite or not a number";
    } else {
      at.threshold = *threshold;
      at.falsePositives = reaching(*input.impostors, *threshold);
      at.right = {rates->acceptRates[i],
                  widened(intervals.acceptRates[i], rates->acceptRates[i], peopleWithPairs)};
    }
    result.at.push_back(at);
  }
  return result;
}

double rankOneShare(const std::vector<SearchScores>& searches,
                    const std::vector<WeightRow>& weights, size_t lane) {
  uint64_t mated = 0, first = 0;
  for (size_t i = 0; i < searches.size(); ++i) {
    if (searches[i].rank > 0) mated += weights[i][lane];
    if (searches[i].rank == 1) first += weights[i][lane];
  }
  return mated == 0 ? kNone : static_cast<double>(first) / static_cast<double>(mated);
}

Interval rankOneInterval(const std::vector<SearchScores>& searches, const EvaluationSet& set,
                         const BootstrapOptions& options) {
  std::vector<double> shares(options.replicates);
#pragma omp parallel for schedule(dynamic)
  for (size_t first = 0; first < options.replicates; first += kLanes) {
    const auto weights = drawWeights(set.personOf, set.people.size(), first, options.seed);
    for (size_t lane = 0; lane < kLanes && first + lane < options.replicates; ++lane) {
      shares[first + lane] = rankOneShare(searches, weights, lane);
    }
  }
  return middleInterval(std::move(shares));
}

Identification identificationOf(const EvaluationSet& set, const std::vector<SearchScores>& searches,
                                uint64_t peopleWithPairs, const BootstrapOptions& options) {
  RateInput input;
  input.personOf = &set.personOf;
  std::vector<Comparison> nonMated;
  std::vector<uint64_t> ofRank(kRanks + 2);
  for (FeatureIndex i = 0; i < searches.size(); ++i) {
    nonMated.push_back({searches[i].nonMate, i, input.noPerson()});
    if (searches[i].rank == 0) continue;
    input.genuine.push_back({searches[i].mate, i, input.noPerson()});
    ++ofRank[std::min<size_t>(searches[i].rank, kRanks + 1)];
  }
  std::sort(input.genuine.begin(), input.genuine.end(), ranksBefore);
  std::sort(nonMated.begin(), nonMated.end(), ranksBefore);
  input.impostors = &nonMated;

  Identification result;
  result.mated = input.genuine.size();
  result.nonMated = nonMated.size();
  result.people = static_cast<uint32_t>(set.people.size());
  uint64_t found = 0;
  for (size_t rank = 1; rank <= std::min<size_t>(kRanks, result.people); ++rank) {
    found += ofRank[rank];
    result.foundByRank.push_back(static_cast<double>(found) / static_cast<double>(result.mated));
  }
  result.rankOne = {result.foundByRank.front(), {kNone, kNone}};
  if (peopleWithPairs >= kPeopleForAnInterval) {
    result.rankOne.interval =
        widened(rankOneInterval(searches, set, options), result.rankOne.value, peopleWithPairs);
  }
  // Both lists are complete, so there is a result.
  result.found = ratesOf(input, nonMated.size(), kFalsePositiveRates, "searches", set,
                         peopleWithPairs, options)
                     ->at;
  result.curve = searchCurve(input.genuine, nonMated);
  return result;
}

NamedComparison named(const Comparison& comparison, const EvaluationSet& set) {
  return {set.ids[comparison.a], set.ids[comparison.b], set.people[set.personOf[comparison.a]],
          set.people[set.personOf[comparison.b]], comparison.score};
}

std::vector<uint64_t> coarser(const ScoreHistogram& histogram) {
  std::vector<uint64_t> counts(kBinsOfReport);
  for (size_t i = 0; i < histogram.bins(); ++i) {
    counts[i * kBinsOfReport / histogram.bins()] += histogram.count(i);
  }
  return counts;
}

void describe(const EvaluationSet& set, const ComparisonScores& scores, Evaluation& evaluation) {
  evaluation.features = set.count();
  evaluation.people = set.people.size();
  evaluation.idsWithoutPerson = set.idsWithoutPerson;
  evaluation.idsWithoutFeature = set.idsWithoutFeature;
  evaluation.genuine = scores.genuine.size();
  evaluation.impostors = scores.impostorCount;
  evaluation.genuineNotANumber = scores.genuineNotANumber;
  evaluation.impostorsNotANumber = scores.impostorsNotANumber;
  std::unordered_set<uint32_t> people;
  for (const Comparison& comparison : scores.genuine) people.insert(set.personOf[comparison.a]);
  evaluation.peopleWithPairs = people.size();
  if (evaluation.peopleWithPairs < kPeopleForAnInterval) {
    evaluation.noIntervals =
        "only " + std::to_string(people.size()) +
        " people have several features: " + std::to_string(kPeopleForAnInterval) +
        " are needed for intervals";
  }

  const std::vector<float>& edges = scores.genuineHistogram.edges();
  for (size_t i = 0; i <= kBinsOfReport; ++i) {
    evaluation.histogramEdges.push_back(edges[i * (edges.size() - 1) / kBinsOfReport]);
  }
  evaluation.genuineHistogram = coarser(scores.genuineHistogram);
  evaluation.impostorHistogram = coarser(scores.impostorHistogram);
  for (size_t i = 0; i < std::min(kWorstPairs, scores.impostors.size()); ++i) {
    if (std::isnan(scores.impostors[i].score)) break;
    evaluation.worstFalseMatches.push_back(named(scores.impostors[i], set));
  }
  for (size_t i = 0; i < std::min(kWorstPairs, scores.genuine.size()); ++i) {
    evaluation.worstFalseNonMatches.push_back(named(scores.genuine.rbegin()[i], set));
  }
  evaluation.curve = verificationCurve(scores);
  evaluation.equalErrorThreshold = equalErrorThreshold(scores);
}

void requireBothKinds(const Gallery& gallery, const ComparisonScores& scores) {
  if (!scores.genuine.empty() && scores.impostorCount > 0) return;
  throw Failure(kBadInput, gallery.path(),
                scores.genuine.empty() ? "has no two features of one person"
                                       : "has features of one person only",
                "Name the people of more ids");
}

// Returns false if the list has too few impostors.
bool addRates(const EvaluationSet& set, const ComparisonScores& scores, Evaluation& evaluation) {
  const RateInput input = verificationInput(scores, set);
  const auto rates = ratesOf(input, scores.impostorCount, kFalseMatchRates, "impostor comparisons",
                             set, evaluation.peopleWithPairs, evaluation.bootstrap);
  if (!rates) return false;
  evaluation.equalErrorRate = rates->equalErrorRate;
  evaluation.accepted = rates->at;
  return true;
}

Evaluation startOf(const Gallery& gallery, const BootstrapOptions& options) {
  Evaluation evaluation;
  evaluation.gallery = gallery.path();
  evaluation.model = gallery.origin().model;
  evaluation.bootstrap = options;
  return evaluation;
}

}  // namespace

Evaluation evaluatePeople(const Gallery& gallery, const std::vector<PersonOfId>& people,
                          const BootstrapOptions& options) {
  const EvaluationSet set = makeEvaluationSet(gallery, people);
  // The default number of impostors is enough for nearly every gallery. The others are compared
  // again.
  for (KeepRule rule;; rule.share = 1.0) {
    const EveryPairScores scores = scoreEveryPair(set, rule);
    requireBothKinds(gallery, scores.comparisons);
    Evaluation evaluation = startOf(gallery, options);
    describe(set, scores.comparisons, evaluation);
    if (!addRates(set, scores.comparisons, evaluation)) continue;
    evaluation.identification =
        identificationOf(set, scores.searches, evaluation.peopleWithPairs, options);
    return evaluation;
  }
}

Evaluation evaluatePairs(const Gallery& gallery, const std::vector<LabelledPair>& pairs,
                         const std::vector<PersonOfId>& people, const BootstrapOptions& options) {
  const EvaluationSet set = makeEvaluationSet(gallery, people);
  Evaluation evaluation = startOf(gallery, options);
  size_t leftOut = 0;
  const ComparisonScores scores = scorePairs(set, pairs, leftOut);
  requireBothKinds(gallery, scores);
  describe(set, scores, evaluation);
  evaluation.pairsLeftOut = leftOut;
  addRates(set, scores, evaluation);
  return evaluation;
}

}  // namespace facefeature_tools
