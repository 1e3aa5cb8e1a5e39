// Compares the search with a sort of all scores.
#include "search/gallery_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "engine/feature_engine.h"
#include "support/bits.h"
#include "support/placed_floats.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

// Every CompareFeatures score that may match, in the order of the search results.
ProbeAnswer sortedScores(const std::vector<FeatureVector>& rows, const FeatureVector& probe,
                         const SearchLimits& limits) {
  ProbeAnswer answer;
  for (size_t row = 0; row < rows.size(); ++row) {
    const float score = facefeature::CompareFeatures(&probe, &rows[row]);
    if (std::isnan(score)) ++answer.notNumbers;
    if (std::isnan(score) || (limits.threshold && score < *limits.threshold)) continue;
    answer.matches.push_back({row, score});
  }
  std::stable_sort(answer.matches.begin(), answer.matches.end(),
                   [](const Match& a, const Match& b) { return a.score > b.score; });
  if (limits.top != 0 && answer.matches.size() > limits.top) answer.matches.resize(limits.top);
  return answer;
}

class GallerySearch : public ::testing::Test {
 protected:
  std::vector<FeatureVector> featuresOfKind(size_t count, int32_t kind) {
    std::vector<FeatureVector> features(count);
    for (FeatureVector& feature : features) {
      for (float& value : feature.values) value = floatOfKind(random, kind);
    }
    return features;
  }

  // The rows as several runs, with other rows between them.
  std::vector<FeatureRun> runsOf(const std::vector<FeatureVector>& rows) {
    stored.clear();
    std::vector<std::pair<size_t, size_t>> pieces;  // first row, count
    for (size_t row = 0; row < rows.size();) {
      const size_t count = std::min(rows.size() - row, static_cast<size_t>(random.integer(1, 700)));
      pieces.push_back({row, count});
      row += count;
    }
    std::vector<size_t> indices;
    for (const auto& [first, count] : pieces) {
      indices.push_back(stored.size());
      stored.insert(stored.end(), rows.begin() + static_cast<std::ptrdiff_t>(first),
                    rows.begin() + static_cast<std::ptrdiff_t>(first + count));
      stored.push_back(rows.front());
    }
    std::vector<FeatureRun> runs;
    for (size_t i = 0; i < pieces.size(); ++i) {
      runs.push_back({pieces[i].first, pieces[i].second,
                      reinterpret_cast<const uint8_t*>(stored.data() + indices[i])});
    }
    return runs;
  }

  void expectAnswers(const std::vector<FeatureVector>& rows,
                     const std::vector<FeatureVector>& probes, const SearchLimits& limits) {
    const std::vector<ProbeAnswer> answers = searchRuns(runsOf(rows), probes, limits);
    ASSERT_EQ(probes.size(), answers.size());
    for (size_t p = 0; p < probes.size(); ++p) {
      const ProbeAnswer wanted = sortedScores(rows, probes[p], limits);
      SCOPED_TRACE(::testing::Message() << "probe " << p << ", top " << limits.top);
      EXPECT_EQ(wanted.notNumbers, answers[p].notNumbers);
      ASSERT_EQ(wanted.matches.size(), answers[p].matches.size());
      for (size_t i = 0; i < wanted.matches.size(); ++i) {
        ASSERT_EQ(wanted.matches[i].row, answers[p].matches[i].row) << "rank " << i;
        ASSERT_SAME_FLOAT(wanted.matches[i].score, answers[p].matches[i].score);
      }
    }
  }

  SeededRandom random;
  std::vector<FeatureVector> stored;
};

TEST_F(GallerySearch, AnswersAsASortOfAllScoresWould) {
  for (const size_t count : {size_t{1}, size_t{2}, size_t{127}, size_t{3000}}) {
    const auto rows = featuresOfKind(count, 0);
    for (const size_t probes : {size_t{1}, size_t{3}, size_t{70}}) {
      SearchLimits limits;
      limits.top = static_cast<size_t>(random.integer(0, 20));
      limits.threads = static_cast<unsigned>(random.integer(1, 4));
      expectAnswers(rows, featuresOfKind(probes, 0), limits);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_F(GallerySearch, HandlesNumbersOfAllKinds) {
  for (int32_t kind = 0; kind < kFloatKinds; ++kind) {
    for (const ScanKernels& kernels : scanKernels()) {
      if (!kernels.runsHere()) continue;
      SearchLimits limits;
      limits.top = 40;
      limits.kernels = &kernels;
      limits.threads = 2;
      expectAnswers(featuresOfKind(600, kind), featuresOfKind(9, kind), limits);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_F(GallerySearch, PutsEqualScoresInTheOrderOfTheGallery) {
  auto rows = featuresOfKind(5000, 0);
  for (size_t i = 0; i < rows.size(); ++i) {
    if (i % 3 != 0) rows[i] = rows[i % 7];
  }
  // Every thread gets scores that are equal to those of another thread.
  for (const unsigned threads : {1u, 2u, 5u}) {
    SearchLimits limits;
    limits.top = 1000;
    limits.threads = threads;
    expectAnswers(rows, featuresOfKind(3, 0), limits);
    if (HasFatalFailure()) return;
  }
}

TEST_F(GallerySearch, AZeroOfEitherSignIsTheSameScore) {
  auto rows = featuresOfKind(3, 0);
  FeatureVector probe = {};
  probe.values[0] = probe.values[501] = 1.0f;
  for (FeatureVector& row : rows) {
    row = {};
    row.values[501] = 1.0f;
    row.values[500] = 1.0f;  // a score of -1 / 1 + 1, which is +0
  }
  rows[0].values[0] = -1.0f;  // below the others
  SearchLimits limits;
  limits.top = 2;
  const auto answers = searchRuns(runsOf(rows), {probe}, limits);
  ASSERT_EQ(2u, answers[0].matches.size());
  EXPECT_EQ(1u, answers[0].matches[0].row);
  EXPECT_EQ(2u, answers[0].matches[1].row);
}

TEST_F(GallerySearch, AThresholdIsReachedByAnEqualScoreAndByNoNaN) {
  auto rows = featuresOfKind(300, 0);
  for (float& value : rows[7].values) value = std::numeric_limits<float>::quiet_NaN();
  const auto probes = featuresOfKind(2, 0);
  SearchLimits limits;
  limits.top = 0;
  limits.threshold = facefeature::CompareFeatures(&probes[0], &rows[100]);
  expectAnswers(rows, probes, limits);
  limits.threshold = -std::numeric_limits<float>::infinity();
  expectAnswers(rows, probes, limits);
  limits.threshold = std::numeric_limits<float>::infinity();
  expectAnswers(rows, probes, limits);
}

TEST_F(GallerySearch, InfiniteScoresAreScores) {
  auto rows = featuresOfKind(50, 0);
  rows[10].values[501] = 0.0f;
  rows[20].values[501] = -0.0f;
  SearchLimits limits;
  limits.top = 0;
  expectAnswers(rows, featuresOfKind(4, 0), limits);
}

TEST_F(GallerySearch, OfNothingIsEmpty) {
  const auto probes = featuresOfKind(2, 0);
  const auto answers = searchRuns({}, probes, {});
  ASSERT_EQ(2u, answers.size());
  EXPECT_TRUE(answers[0].matches.empty());
  const auto rows = featuresOfKind(3, 0);
  EXPECT_TRUE(searchRuns(runsOf(rows), {}, {}).empty());
}

}  // namespace
}  // namespace facefeature_test
