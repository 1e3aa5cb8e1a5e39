// Several live engines: they share one projection, which is freed with the last of them.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engine/feature_engine.h"
#include "engine/loaded_model.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

TEST(SeveralEngines, ShareTheModelUntilTheLastIsDestroyed) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  OwnEngine first;
  const std::vector<float> wanted = extracted(first.get(), request);
  OwnEngine second;
  ASSERT_NE(first.get(), second.get());
  expectModelIsLoaded();
  EXPECT_TRUE(sameFloats(wanted.data(), extracted(first.get(), request).data(), 502));
  EXPECT_TRUE(sameFloats(wanted.data(), extracted(second.get(), request).data(), 502));
  first.destroy();
  expectModelIsLoaded();
  EXPECT_TRUE(sameFloats(wanted.data(), extracted(second.get(), request).data(), 502));
  OwnEngine third;
  second.destroy();
  expectModelIsLoaded();
  EXPECT_TRUE(sameFloats(wanted.data(), extracted(third.get(), request).data(), 502));
  third.destroy();
  expectNoModel();
}

TEST(SeveralEngines, ACreationThatLacksAProjectionLeavesTheEarlierOnesWithoutAModel) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  OwnEngine earlier;
  {
    const SpoiltFile missing("6-2");
    EXPECT_EQ(nullptr, facefeature::CreateFeatureEngine());
  }
  expectNoModel();
  for (const float value : extracted(earlier.get(), request)) ASSERT_TRUE(std::isnan(value));
  earlier.destroy();
  expectNoModel();
}

TEST(SeveralEngines, ALaterCreationGivesTheEarlierOnesAModelAgain) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  OwnEngine earlier;
  const std::vector<float> wanted = extracted(earlier.get(), request);
  {
    const SpoiltFile missing("6-0");
    EXPECT_EQ(nullptr, facefeature::CreateFeatureEngine());
  }
  OwnEngine later;
  ASSERT_NE(nullptr, later.get());
  EXPECT_TRUE(sameFloats(wanted.data(), extracted(earlier.get(), request).data(), 502));
  later.destroy();
  expectModelIsLoaded();
  earlier.destroy();
  expectNoModel();
}

TEST(SeveralEngines, ACreationThatLacksAPatchMeanLeavesTheModelOfTheEarlierOnes) {
  haveModel();
  OwnEngine earlier;
  {
    const SpoiltFile missing("0-25-0");
    EXPECT_EQ(nullptr, facefeature::CreateFeatureEngine());
  }
  expectModelIsLoaded();
  earlier.destroy();
  expectNoModel();
}

}  // namespace
}  // namespace facefeature_test
