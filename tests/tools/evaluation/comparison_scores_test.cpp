// Compares the scores of an evaluation with a loop over all pairs.
#include "evaluation/comparison_scores.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>

#include "evaluation/operating_points.h"
#include "gallery/gallery_file.h"
#include "support/private_temp_folder.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

struct SmallGallery {
  EvaluationSet set;
  std::map<std::string, FeatureVector> features;
};

// The formula, as an independent copy.
float scoreOf(const FeatureVector& a, const FeatureVector& b) {
  float product = 0.0f;
  for (int i = 0; i < 500; ++i) product = product + a.values[i] * b.values[i];
  const float spread = product * 2.0f - (a.values[500] + b.values[500]);
  return spread / (a.values[501] * b.values[501]) + 1.0f;
}

// Features of a person are similar, some are equal, and some are NaN or have a norm of zero.
SmallGallery smallGallery(Random& random, size_t count, size_t people) {
  const std::string path = privateTempFolder() + "/comparisons.gallery";
  SmallGallery small;
  std::vector<std::string> ids;
  std::vector<PersonOfId> listed;
  std::vector<FeatureVector> centres;
  for (size_t i = 0; i < people; ++i) centres.push_back(randomFeature(random));
  std::vector<FeatureVector> features;
  for (size_t i = 0; i < count; ++i) {
    ids.push_back("face " + std::to_string(i));
    const auto person = static_cast<size_t>(random.integer(0, static_cast<int32_t>(people) - 1));
    FeatureVector feature = randomFeature(random);
    for (int k = 0; k < 502; ++k) {
      feature.values[k] = 0.5f * (feature.values[k] + centres[person].values[k]);
    }
    if (i > 0 && random.chance(5)) feature = features.back();
    if (random.chance(2)) feature.values[7] = std::numeric_limits<float>::quiet_NaN();
    if (random.chance(2)) feature.values[501] = 0.0f;
    features.push_back(feature);
    small.features[ids.back()] = feature;
    if (!random.chance(10)) listed.push_back({ids.back(), "person " + std::to_string(person)});
  }
  GalleryWriter writer(path, originOf(7), ids);
  for (const FeatureVector& feature : features) writer.add(feature);
  writer.finish();
  listed.push_back({"not in the gallery", "person 0"});
  small.set = makeEvaluationSet(Gallery(path), listed);
  return small;
}

bool sameBits(float a, float b) {
  return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

struct NaiveScores {
  std::vector<Comparison> genuine;
  std::vector<Comparison> impostors;
};

NaiveScores naiveScores(const SmallGallery& small) {
  NaiveScores scores;
  for (FeatureIndex a = 0; a < small.set.count(); ++a) {
    for (FeatureIndex b = a + 1; b < small.set.count(); ++b) {
      const float score =
          scoreOf(small.features.at(small.set.ids[a]), small.features.at(small.set.ids[b]));
      const bool same = small.set.personOf[a] == small.set.personOf[b];
      (same ? scores.genuine : scores.impostors).push_back({score, a, b});
    }
  }
  std::sort(scores.genuine.begin(), scores.genuine.end(), ranksBefore);
  std::sort(scores.impostors.begin(), scores.impostors.end(), ranksBefore);
  return scores;
}

void expectStartOf(const std::vector<Comparison>& wanted, const std::vector<Comparison>& got) {
  ASSERT_LE(got.size(), wanted.size());
  for (size_t i = 0; i < got.size(); ++i) {
    EXPECT_TRUE(sameBits(wanted[i].score, got[i].score)) << i;
    EXPECT_EQ(wanted[i].a, got[i].a) << i;
    EXPECT_EQ(wanted[i].b, got[i].b) << i;
  }
}

uint64_t notANumber(const std::vector<Comparison>& list) {
  return static_cast<uint64_t>(std::count_if(
      list.begin(), list.end(), [](const Comparison& c) { return std::isnan(c.score); }));
}

TEST(EvaluationSet, GroupsFeaturesByPersonAndCountsWhatIsLeftOut) {
  SeededRandom random;
  const std::string path = privateTempFolder() + "/set.gallery";
  const auto features = writeRandomGallery(path, {"a", "b", "c", "d", "e"}, random);
  const EvaluationSet set = makeEvaluationSet(
      Gallery(path), {{"e", "Ada"}, {"x", "Ada"}, {"b", "Ida"}, {"a", "Ada"}, {"d", "Ida"}});
  EXPECT_EQ((std::vector<std::string>{"a", "e", "b", "d"}), set.ids);
  EXPECT_EQ((std::vector<uint32_t>{0, 0, 1, 1}), set.personOf);
  EXPECT_EQ((std::vector<std::string>{"Ada", "Ida"}), set.people);
  EXPECT_EQ(1u, set.idsWithoutPerson);
  EXPECT_EQ(1u, set.idsWithoutFeature);
  EXPECT_EQ(0, std::memcmp(set.feature(1), &features[4], sizeof(FeatureVector)));
}

TEST(ComparisonScores, KeepAllGenuineAndTheHighestImpostorsWithTheirBits) {
  SeededRandom random;
  for (int repetition = 0; repetition < 12; ++repetition) {
    const SmallGallery small = smallGallery(random, static_cast<size_t>(random.integer(20, 90)),
                                            static_cast<size_t>(random.integer(2, 12)));
    const NaiveScores wanted = naiveScores(small);
    if (wanted.genuine.empty() || wanted.impostors.empty()) continue;
    const double share = 0.1f * static_cast<float>(random.integer(0, 10));
    const ComparisonScores got = scoreEveryPair(small.set, {share, 0}).comparisons;

    EXPECT_TRUE(got.everyPair);
    EXPECT_EQ(wanted.genuine.size(), got.genuine.size());
    expectStartOf(wanted.genuine, got.genuine);
    expectStartOf(wanted.impostors, got.impostors);
    EXPECT_EQ(wanted.impostors.size(), got.impostorCount);
    EXPECT_EQ(notANumber(wanted.genuine), got.genuineNotANumber);
    EXPECT_EQ(notANumber(wanted.impostors), got.impostorsNotANumber);
    const uint64_t numbers = got.impostorCount - got.impostorsNotANumber;
    EXPECT_EQ(got.holdsAllImpostors, got.impostors.size() == numbers);
    EXPECT_GE(
        got.impostors.size(),
        std::min(numbers, static_cast<uint64_t>(share * static_cast<double>(got.impostorCount))));

    for (size_t bin = 0; bin < got.genuineHistogram.bins(); ++bin) {
      const float low = got.genuineHistogram.edges()[bin];
      const float high = got.genuineHistogram.edges()[bin + 1];
      const auto inside = [low, high](const Comparison& c) {
        return c.score >= low && c.score < high;
      };
      EXPECT_EQ(static_cast<uint64_t>(
                    std::count_if(wanted.genuine.begin(), wanted.genuine.end(), inside)),
                got.genuineHistogram.count(bin));
      EXPECT_EQ(static_cast<uint64_t>(
                    std::count_if(wanted.impostors.begin(), wanted.impostors.end(), inside)),
                got.impostorHistogram.count(bin));
    }
  }
}

TEST(ComparisonScores, SearchesFindTheBestMateAndTheBestOfOthers) {
  SeededRandom random;
  const SmallGallery small = smallGallery(random, 80, 20);
  const std::vector<SearchScores> searches = scoreEveryPair(small.set, {1.0, 0}).searches;
  ASSERT_EQ(small.set.count(), searches.size());
  const float none = -std::numeric_limits<float>::infinity();
  for (FeatureIndex a = 0; a < small.set.count(); ++a) {
    std::map<uint32_t, float> best;
    for (FeatureIndex b = 0; b < small.set.count(); ++b) {
      if (a == b) continue;
      float& score = best.try_emplace(small.set.personOf[b], none).first->second;
      score = std::fmax(
          score, scoreOf(small.features.at(small.set.ids[a]), small.features.at(small.set.ids[b])));
    }
    const auto mate = best.find(small.set.personOf[a]);
    uint32_t rank = mate == best.end() ? 0 : 1;
    float nonMate = none;
    for (const auto& [person, score] : best) {
      if (person == small.set.personOf[a]) continue;
      nonMate = std::fmax(nonMate, score);
      if (mate != best.end() && score >= mate->second) ++rank;
    }
    EXPECT_EQ(rank, searches[a].rank) << a;
    EXPECT_TRUE(sameBits(nonMate, searches[a].nonMate)) << a;
    const float wanted = mate == best.end() ? std::nanf("") : mate->second;
    EXPECT_TRUE(sameBits(wanted, searches[a].mate)) << a;
  }
}

TEST(ComparisonScores, OfChosenPairsAreThoseOfThePairsAlone) {
  SeededRandom random;
  const SmallGallery small = smallGallery(random, 40, 5);
  const auto& ids = small.set.ids;
  size_t leftOut = 0;
  const ComparisonScores got = scorePairs(
      small.set, {{ids[3], ids[1], true}, {ids[0], ids[9], false}, {"none", ids[0], false}},
      leftOut);
  EXPECT_EQ(1u, leftOut);
  EXPECT_FALSE(got.everyPair);
  EXPECT_TRUE(got.holdsAllImpostors);
  ASSERT_EQ(1u, got.genuine.size());
  ASSERT_EQ(1u, got.impostors.size());
  EXPECT_TRUE(sameBits(scoreOf(small.features.at(ids[1]), small.features.at(ids[3])),
                       got.genuine[0].score));
  EXPECT_TRUE(sameBits(scoreOf(small.features.at(ids[9]), small.features.at(ids[0])),
                       got.impostors[0].score));
}

TEST(OperatingPoints, LowestThresholdAcceptsAtMostTheAllowedAndItsLowerNeighbourMore) {
  SeededRandom random;
  std::vector<Comparison> scores;
  for (FeatureIndex i = 0; i < 300; ++i) {
    scores.push_back({0.5f * std::floor(8.0f * random.normal()), i, i + 1});
  }
  std::sort(scores.begin(), scores.end(), ranksBefore);
  for (uint64_t allowed = 0; allowed < 300; ++allowed) {
    const auto threshold = lowestThreshold(scores, allowed);
    ASSERT_TRUE(threshold);
    EXPECT_LE(reaching(scores, *threshold), allowed);
    EXPECT_GT(reaching(scores, std::nextafter(*threshold, -1e9f)), allowed);
  }
  EXPECT_FALSE(lowestThreshold(scores, 300));
}

TEST(OperatingPoints, AllowedIsExactWhereTheShareIsWrittenInDecimals) {
  EXPECT_EQ(3u, allowedAt(1e-6, 3000000));
  EXPECT_EQ(1u, allowedAt(1e-3, 1999));
  EXPECT_EQ(2u, allowedAt(1e-3, 2000));
  for (uint64_t count = 1; count < 5000; ++count) {
    EXPECT_EQ(count / 10, allowedAt(0.1, count));
    EXPECT_EQ(count / 1000, allowedAt(0.001, count));
  }
}

TEST(OperatingPoints, CurveOfATrimmedListHasTheExactRates) {
  SeededRandom random;
  const SmallGallery small = smallGallery(random, 90, 9);
  const NaiveScores all = naiveScores(small);
  const auto rate = [](const std::vector<Comparison>& list, float threshold) {
    const auto reached = std::count_if(list.begin(), list.end(), [threshold](const Comparison& c) {
      return c.score >= threshold;
    });
    return static_cast<double>(reached) / static_cast<double>(list.size());
  };
  const ComparisonScores trimmed = scoreEveryPair(small.set, {0.0, 0}).comparisons;
  ASSERT_FALSE(trimmed.holdsAllImpostors);
  const std::vector<OperatingPoint> curve = verificationCurve(trimmed);
  ASSERT_GT(curve.size(), 200u);
  for (size_t i = 0; i < curve.size(); ++i) {
    EXPECT_DOUBLE_EQ(rate(all.impostors, curve[i].threshold), curve[i].falsePositiveRate);
    EXPECT_NEAR(1.0 - rate(all.genuine, curve[i].threshold), curve[i].falseNegativeRate, 1e-12);
    EXPECT_LE(curve[i].threshold, curve[i == 0 ? 0 : i - 1].threshold);
  }
}

}  // namespace
}  // namespace facefeature_test
