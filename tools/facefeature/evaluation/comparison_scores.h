// The scores of an evaluation: every genuine comparison, the highest impostor comparisons, and
// exact counts of the others.
//
// A genuine comparison is of two features of one person, an impostor comparison of two people. Ten
// thousand features have 50 million impostor comparisons. For most of them only their number
// matters: the equal error rate and the accept rates depend on the highest ones. So scores are
// computed twice, first to count them and then to keep those above a limit. The memory is 12 bytes
// for each comparison that is kept.
#ifndef FACEFEATURE_TOOLS_EVALUATION_COMPARISON_SCORES_H
#define FACEFEATURE_TOOLS_EVALUATION_COMPARISON_SCORES_H

#include <cstdint>
#include <vector>

#include "evaluation/evaluation_set.h"
#include "evaluation/score_histogram.h"

namespace facefeature_tools {

struct Comparison {
  float score;  // has the bits of CompareFeatures
  FeatureIndex a, b;
};

// Whether a comes before b: a higher score first, then the lower features. NaN is last.
bool ranksBefore(const Comparison& a, const Comparison& b);

struct ComparisonScores {
  std::vector<Comparison> genuine;    // all of them, by ranksBefore()
  std::vector<Comparison> impostors;  // the highest, by ranksBefore()
  // Whether impostors holds every impostor comparison. Those whose score is NaN may still be
  // missing: they are part of the counts below.
  bool holdsAllImpostors = false;
  // Whether each feature was compared with every other. Otherwise chosen pairs were compared, and
  // both lists include those whose score is NaN.
  bool everyPair = false;

  uint64_t impostorCount = 0;  // NaN included
  uint64_t genuineNotANumber = 0;
  uint64_t impostorsNotANumber = 0;

  // Without NaN. Both histograms have the same edges.
  ScoreHistogram genuineHistogram;
  ScoreHistogram impostorHistogram;
};

// One search of a feature among all others, with and without its own person.
struct SearchScores {
  // The best score of another feature of the same person; NaN if there is none. -infinity if all
  // scores are NaN.
  float mate;
  // The best score of a feature of another person.
  float nonMate;
  // 1 + the number of other people whose best score is at least that of the mate. 0 without a mate.
  uint32_t rank;
};

struct EveryPairScores {
  ComparisonScores comparisons;
  std::vector<SearchScores> searches;  // one per feature
};

// How many impostor comparisons to keep: at least this share (0 to 1) of them, at least twice as
// many as reach the threshold of equal error, and at least this number.
struct KeepRule {
  double share = 0.2;
  uint64_t number = uint64_t{1} << 24;  // 200 MB
};

// Compares each feature with every other, on as many threads as OpenMP starts; the result does not
// depend on their number.
EveryPairScores scoreEveryPair(const EvaluationSet& set, const KeepRule& rule);

// Compares the chosen pairs. Pairs with an id that the set lacks are left out and counted.
ComparisonScores scorePairs(const EvaluationSet& set, const std::vector<LabelledPair>& pairs,
                            size_t& leftOut);

}  // namespace facefeature_tools

#endif
