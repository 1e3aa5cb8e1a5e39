// All figures of an evaluation. docs/evaluation.md defines them.
#ifndef FACEFEATURE_TOOLS_EVALUATION_EVALUATION_H
#define FACEFEATURE_TOOLS_EVALUATION_EVALUATION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/sha256.h"
#include "evaluation/comparison_scores.h"
#include "evaluation/evaluation_set.h"
#include "evaluation/person_bootstrap.h"

namespace facefeature_tools {

struct Estimate {
  double value;       // NaN if it is undefined
  Interval interval;  // NaN if there are too few people
};

// The rate of correct decisions at a rate of false ones: the accept rate at a false match rate, or
// the identification rate at a false positive identification rate.
struct RateAt {
  std::string name;  // of the false rate: "1e-3"
  double falsePositiveRate;
  // Why there is no figure. If it is set, nothing below is.
  std::string refusal;
  Estimate right = {};
  float threshold = 0.0f;       // the lowest at which the false rate is not exceeded
  uint64_t falsePositives = 0;  // that reach the threshold
};

// A threshold and the exact rates at it.
struct OperatingPoint {
  float threshold;
  double falsePositiveRate;
  double falseNegativeRate;  // of matches that are not accepted, or searches that do not find
};

struct Identification {
  uint64_t mated = 0;     // searches of a feature whose person has others
  uint64_t nonMated = 0;  // searches of every feature, with its person removed
  uint32_t people = 0;    // enrolled
  Estimate rankOne = {};
  std::vector<double> foundByRank;  // element r - 1: share found within rank r
  std::vector<RateAt> found;        // 1 - FNIR at each FPIR
  std::vector<OperatingPoint> curve;
};

struct NamedComparison {
  std::string firstId, secondId;
  std::string firstPerson, secondPerson;
  float score;
};

struct Evaluation {
  std::string gallery;  // path
  Digest model = {};
  BootstrapOptions bootstrap;

  uint64_t features = 0;
  uint64_t people = 0;
  uint64_t peopleWithPairs = 0;  // that have a genuine comparison
  uint64_t idsWithoutPerson = 0;
  uint64_t idsWithoutFeature = 0;
  uint64_t pairsLeftOut = 0;  // of a list of pairs
  uint64_t genuine = 0;
  uint64_t impostors = 0;
  uint64_t genuineNotANumber = 0;
  uint64_t impostorsNotANumber = 0;
  std::string noIntervals;  // why there are none, or nothing

  Estimate equalErrorRate = {};
  std::optional<float> equalErrorThreshold;
  std::vector<RateAt> accepted;
  std::vector<OperatingPoint> curve;  // descending thresholds
  std::vector<float> histogramEdges;
  std::vector<uint64_t> genuineHistogram;  // one element fewer
  std::vector<uint64_t> impostorHistogram;
  std::vector<NamedComparison> worstFalseMatches;
  std::vector<NamedComparison> worstFalseNonMatches;

  // Not set for a list of pairs.
  std::optional<Identification> identification;
};

// Compares each feature of the gallery whose id has a person with every other. Throws Failure
// (kBadInput) if there is no genuine or no impostor comparison.
Evaluation evaluatePeople(const Gallery& gallery, const std::vector<PersonOfId>& people,
                          const BootstrapOptions& options);

// Compares the chosen pairs. people are those of peopleOfPairs(). Throws as above.
Evaluation evaluatePairs(const Gallery& gallery, const std::vector<LabelledPair>& pairs,
                         const std::vector<PersonOfId>& people, const BootstrapOptions& options);

}  // namespace facefeature_tools

#endif
