// Compares error rates with naive definitions, on random lists with ties and NaN.
#include "evaluation/error_rates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <set>

#include "evaluation/person_bootstrap.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

const std::vector<double> kRates = {0.5, 0.1, 0.01, 0.0};

struct RandomLists {
  std::vector<uint32_t> personOf;
  size_t people = 0;
  std::vector<Comparison> genuine;
  std::vector<Comparison> impostors;
};

// Few different scores, so that most are ties within and between the lists.
float tiedScore(Random& random, float shift) {
  if (random.chance(2)) return std::numeric_limits<float>::quiet_NaN();
  return 0.25f * std::floor(4.0f * (random.normal() + shift));
}

RandomLists randomLists(Random& random) {
  RandomLists lists;
  lists.people = static_cast<size_t>(random.integer(2, 12));
  for (uint32_t person = 0; person < lists.people; ++person) {
    lists.personOf.insert(lists.personOf.end(), static_cast<size_t>(random.integer(1, 4)), person);
  }
  for (FeatureIndex a = 0; a < lists.personOf.size(); ++a) {
    for (FeatureIndex b = a + 1; b < lists.personOf.size(); ++b) {
      const bool same = lists.personOf[a] == lists.personOf[b];
      (same ? lists.genuine : lists.impostors)
          .push_back({tiedScore(random, same ? 1.0f : 0.0f), a, b});
    }
  }
  std::sort(lists.genuine.begin(), lists.genuine.end(), ranksBefore);
  std::sort(lists.impostors.begin(), lists.impostors.end(), ranksBefore);
  return lists;
}

// The share of the weight that reaches a threshold. drawn is per person; both says whether the
// second person's weight is a factor, too.
double shareReaching(const RandomLists& lists, const std::vector<Comparison>& list,
                     const std::vector<uint16_t>& drawn, bool both, double threshold) {
  double reached = 0.0, total = 0.0;
  for (const Comparison& comparison : list) {
    double weight = drawn[lists.personOf[comparison.a]];
    if (both) weight *= drawn[lists.personOf[comparison.b]];
    total += weight;
    if (comparison.score >= threshold) reached += weight;
  }
  return reached / total;
}

// The points of all thresholds, from "none accepted" to the lowest score.
struct NaiveRates {
  double equalErrorRate = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> acceptRates;
};

NaiveRates naiveRates(const RandomLists& lists, const std::vector<uint16_t>& drawn) {
  std::set<double, std::greater<double>> thresholds;
  for (const auto* list : {&lists.genuine, &lists.impostors}) {
    for (const Comparison& comparison : *list) {
      if (!std::isnan(comparison.score)) thresholds.insert(comparison.score);
    }
  }
  NaiveRates rates;
  rates.acceptRates.assign(kRates.size(), 0.0);
  double lastMatch = 0.0, lastMiss = 1.0;
  for (const double threshold : thresholds) {
    const double match = shareReaching(lists, lists.impostors, drawn, true, threshold);
    const double miss = 1.0 - shareReaching(lists, lists.genuine, drawn, false, threshold);
    for (size_t i = 0; i < kRates.size(); ++i) {
      if (match <= kRates[i]) rates.acceptRates[i] = std::max(rates.acceptRates[i], 1.0 - miss);
    }
    if (std::isnan(rates.equalErrorRate) && match >= miss) {
      // The intersection of the segment from the last point with match = miss.
      const double t = (lastMiss - lastMatch) / ((lastMiss - lastMatch) + (match - miss));
      rates.equalErrorRate = lastMatch + t * (match - lastMatch);
    }
    lastMatch = match;
    lastMiss = miss;
  }
  return rates;
}

RateInput inputOf(const RandomLists& lists, bool everyPair) {
  RateInput input;
  input.personOf = &lists.personOf;
  input.genuine = lists.genuine;
  for (Comparison& comparison : input.genuine) comparison.b = input.noPerson();
  input.impostors = &lists.impostors;
  input.everyPair = everyPair;
  return input;
}

bool hasWeight(const RandomLists& lists, const std::vector<uint16_t>& drawn) {
  return shareReaching(lists, lists.genuine, drawn, false, -1e9) > 0.0 &&
         shareReaching(lists, lists.impostors, drawn, true, -1e9) > 0.0;
}

TEST(ErrorRates, AreThoseOfTheDefinitionsForEachLaneOfWeights) {
  SeededRandom random;
  size_t compared = 0;
  for (int repetition = 0; repetition < 200; ++repetition) {
    const RandomLists lists = randomLists(random);
    const uint64_t seed = random.next();
    const auto weights = drawWeights(lists.personOf, lists.people, 0, seed);
    const auto results = errorRates(inputOf(lists, repetition % 2 == 0), weights, kRates);
    ASSERT_TRUE(results);
    for (size_t lane = 0; lane < kLanes; ++lane) {
      const std::vector<uint16_t> drawn = drawPeople(lists.people, lane, seed);
      if (!hasWeight(lists, drawn)) {
        EXPECT_TRUE(std::isnan((*results)[lane].acceptRates[0]) ||
                    (*results)[lane].acceptRates[0] == 0.0);
        continue;
      }
      ++compared;
      const NaiveRates wanted = naiveRates(lists, drawn);
      if (std::isnan(wanted.equalErrorRate)) {
        EXPECT_TRUE(std::isnan((*results)[lane].equalErrorRate));
      } else {
        EXPECT_NEAR(wanted.equalErrorRate, (*results)[lane].equalErrorRate, 1e-12);
      }
      for (size_t i = 0; i < kRates.size(); ++i) {
        EXPECT_NEAR(wanted.acceptRates[i], (*results)[lane].acceptRates[i], 1e-12);
      }
    }
  }
  EXPECT_GT(compared, 1000u);
}

TEST(ErrorRates, OfAListThatEndsTooSoonAreNone) {
  const std::vector<uint32_t> personOf = {0, 0, 1, 2};
  RateInput input;
  input.personOf = &personOf;
  input.genuine = {{1.0f, 0, 4}};
  std::vector<Comparison> impostors = {{2.0f, 0, 2}};
  input.impostors = &impostors;
  input.everyPair = true;
  input.holdsAllImpostors = false;
  EXPECT_FALSE(errorRates(input, {0.1}));
  // Of the five comparisons of two people, one is above the genuine score and one below.
  impostors.push_back({0.5f, 1, 2});
  const auto rates = errorRates(input, {0.1, 0.2});
  ASSERT_TRUE(rates);
  EXPECT_DOUBLE_EQ(0.2, rates->equalErrorRate);
  EXPECT_DOUBLE_EQ(0.0, rates->acceptRates[0]);
  EXPECT_DOUBLE_EQ(1.0, rates->acceptRates[1]);
}

TEST(PersonBootstrap, DrawsAsManyPeopleAsThereAreAndDiffersByReplicateAndSeed) {
  SeededRandom random;
  const uint64_t seed = random.next();
  for (const size_t people : {size_t{1}, size_t{2}, size_t{1000}}) {
    const std::vector<uint16_t> drawn = drawPeople(people, 3, seed);
    EXPECT_EQ(people, static_cast<size_t>(std::accumulate(drawn.begin(), drawn.end(), 0)));
    EXPECT_EQ(drawn, drawPeople(people, 3, seed));
  }
  EXPECT_NE(drawPeople(1000, 3, seed), drawPeople(1000, 4, seed));
  EXPECT_NE(drawPeople(1000, 3, seed), drawPeople(1000, 3, seed + 1));
  // About 1/e of the people are not drawn.
  const std::vector<uint16_t> drawn = drawPeople(100000, 0, seed);
  EXPECT_NEAR(36790.0, static_cast<double>(std::count(drawn.begin(), drawn.end(), 0)), 1000.0);
}

TEST(PersonBootstrap, IntervalIsBetweenInterpolatedQuantiles) {
  std::vector<double> values;
  for (int i = 40; i >= 0; --i) values.push_back(i);
  values.push_back(std::numeric_limits<double>::quiet_NaN());
  const Interval interval = middleInterval(values);
  EXPECT_DOUBLE_EQ(1.0, interval.low);
  EXPECT_DOUBLE_EQ(39.0, interval.high);
  EXPECT_TRUE(std::isnan(middleInterval({}).low));
}

TEST(PersonBootstrap, IsTheIntervalOfTheReplicatesOneByOne) {
  SeededRandom random;
  const RandomLists lists = randomLists(random);
  const BootstrapOptions options = {37, random.next()};  // the last lanes are not used
  const auto intervals = bootstrapRates(inputOf(lists, true), lists.people, kRates, options);
  ASSERT_TRUE(intervals);
  std::vector<double> equalErrorRates, acceptRates;
  for (size_t replicate = 0; replicate < options.replicates; ++replicate) {
    const std::vector<uint16_t> drawn = drawPeople(lists.people, replicate, options.seed);
    if (!hasWeight(lists, drawn)) continue;
    const NaiveRates rates = naiveRates(lists, drawn);
    equalErrorRates.push_back(rates.equalErrorRate);
    acceptRates.push_back(rates.acceptRates[1]);
  }
  const Interval equal = middleInterval(equalErrorRates), accept = middleInterval(acceptRates);
  EXPECT_NEAR(equal.low, intervals->equalErrorRate.low, 1e-12);
  EXPECT_NEAR(equal.high, intervals->equalErrorRate.high, 1e-12);
  EXPECT_NEAR(accept.low, intervals->acceptRates[1].low, 1e-12);
  EXPECT_NEAR(accept.high, intervals->acceptRates[1].high, 1e-12);
}

}  // namespace
}  // namespace facefeature_test
