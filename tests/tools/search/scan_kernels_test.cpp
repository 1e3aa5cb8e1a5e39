// Compares the kernels of the search with CompareFeatures, bit by bit.
#include "search/scan_kernels.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "engine/feature_engine.h"
#include "search/scan_layout.h"
#include "support/bits.h"
#include "support/placed_floats.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature_tools::kScanFloats;
using facefeature_tools::ScanKernels;
using facefeature_tools::scanKernels;

constexpr int32_t kNorm = facefeature_tools::kScanNorm;

// The library's own scores, one call per pair.
std::vector<float> scoresOfTheLibrary(const std::vector<float>& features, int32_t rows,
                                      const std::vector<float>& probes, int32_t count) {
  std::vector<float> scores;
  for (int32_t p = 0; p < count; ++p) {
    for (int32_t r = 0; r < rows; ++r) {
      FeatureVector a, b;
      std::memcpy(a.values, &probes[static_cast<size_t>(p) * 502], sizeof a);
      std::memcpy(b.values, &features[static_cast<size_t>(r) * 502], sizeof b);
      scores.push_back(facefeature::CompareFeatures(&a, &b));
    }
  }
  return scores;
}

class ScanKernel : public ::testing::TestWithParam<ScanKernels> {
 protected:
  void SetUp() override {
    if (!GetParam().runsHere()) GTEST_SKIP() << "not on this processor";
  }

  void expectScores(int32_t rows, int32_t count, int32_t featureKind, int32_t probeKind,
                    int32_t placement) {
    SCOPED_TRACE(::testing::Message()
                 << rows << " rows, " << count << " probes, sorts " << featureKind << " and "
                 << probeKind << ", place " << placement);
    const size_t size = static_cast<size_t>(kScanFloats);
    const std::vector<float> features =
        floatsOfKind(random, static_cast<size_t>(rows) * size, featureKind);
    const std::vector<float> probes =
        floatsOfKind(random, static_cast<size_t>(count) * size, probeKind);
    const std::vector<float> wanted = scoresOfTheLibrary(features, rows, probes, count);
    PlacedFloats placedFeatures(features, placement);
    PlacedFloats placedProbes(probes, randomPlacement(random));
    PlacedFloats scores(floatsOfKind(random, wanted.size(), 5), randomPlacement(random));
    GetParam().score(placedFeatures.data(), rows, placedProbes.data(), count, scores.data());
    ASSERT_TRUE(sameFloats(wanted.data(), scores.data(), wanted.size()));
    ASSERT_TRUE(scores.isUntouchedAround() && placedProbes.isUntouchedAround() &&
                placedFeatures.isUntouchedAround());
  }

  SeededRandom random;
};

// Twice the widest register, plus one.
TEST_P(ScanKernel, HasTheBitsOfCompareFeaturesForEveryCountOfRowsAndProbes) {
  for (int32_t rows = 0; rows <= 33; ++rows) {
    for (const int32_t count : {0, 1, 2, 3, 5, 7, 8, 9, 15, 16, 17, 33}) {
      expectScores(rows, count, 1, 1, randomPlacement(random));
      if (HasFatalFailure()) return;
    }
  }
}

TEST_P(ScanKernel, HasTheBitsOfCompareFeaturesForNumbersOfAllKinds) {
  for (int32_t featureKind = 0; featureKind < kFloatKinds; ++featureKind) {
    for (int32_t probeKind = 0; probeKind < kFloatKinds; ++probeKind) {
      expectScores(random.integer(1, 40), random.integer(1, 20), featureKind, probeKind,
                   randomPlacement(random));
      if (HasFatalFailure()) return;
    }
  }
}

TEST_P(ScanKernel, ReadsOnlyItsArraysWhereverTheyAre) {
  for (int32_t placement = 0; placement < kFloatPlacements; ++placement) {
    for (const int32_t rows : {1, 16, 23}) {
      expectScores(rows, 3, 0, 0, placement);
      if (HasFatalFailure()) return;
    }
  }
}

// With these numbers, a sum that is split across lanes or fused has different bits.
TEST_P(ScanKernel, AddsInAscendingOrderAndRoundsEveryStep) {
  std::vector<float> feature(502, 0.0f), probe(502, 0.0f);
  feature[0] = 0x1p24f;
  for (int32_t k = 1; k < 500; ++k) feature[static_cast<size_t>(k)] = 1.0f;
  for (int32_t k = 0; k < 500; ++k) probe[static_cast<size_t>(k)] = 1.0f;
  feature[kNorm] = probe[kNorm] = 1.0f;
  std::vector<float> rows;
  for (int32_t r = 0; r < 20; ++r) rows.insert(rows.end(), feature.begin(), feature.end());
  std::vector<float> scores(20);
  GetParam().score(rows.data(), 20, probe.data(), 1, scores.data());
  // 2^24 + 1 is not a float, so each of the 499 ones is lost.
  for (const float score : scores) EXPECT_SAME_FLOAT(0x1p25f, score);

  // (1 + 2^-12)^2 - 1 - 2^-11 is 2^-24 if fused and 0 if the product is rounded first.
  feature.assign(502, 0.0f);
  probe = feature;
  feature[0] = -1.0f - 0x1p-11f;
  probe[0] = 1.0f;
  feature[1] = probe[1] = 1.0f + 0x1p-12f;
  feature[kNorm] = probe[kNorm] = 0x1p-30f;
  rows.clear();
  for (int32_t r = 0; r < 20; ++r) rows.insert(rows.end(), feature.begin(), feature.end());
  GetParam().score(rows.data(), 20, probe.data(), 1, scores.data());
  for (const float score : scores) EXPECT_SAME_FLOAT(1.0f, score);
}

INSTANTIATE_TEST_SUITE_P(Sets, ScanKernel, ::testing::ValuesIn(scanKernels()),
                         [](const auto& parameter) { return std::string(parameter.param.name); });

TEST(ScanKernels, EndWithThePlainSetAndChooseOneThatRuns) {
  EXPECT_STREQ("plain", scanKernels().back().name);
  EXPECT_TRUE(scanKernels().back().runsHere());
  EXPECT_TRUE(facefeature_tools::fastestScanKernels().runsHere());
}

}  // namespace
}  // namespace facefeature_test
