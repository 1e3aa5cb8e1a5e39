// The whole path on photographs, if the checkout has the folder of samples beside it.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/oracle_extraction.h"
#include "support/reference_extract.h"
#include "support/reference_projection.h"
#include "support/sample_faces.h"
#include "support/sample_pictures.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

class ExtractFeatureSamples : public ::testing::Test {
 protected:
  void SetUp() override {
    if (samplesFolder().empty()) GTEST_SKIP() << "there is no folder of samples";
    if (!kReadsPhotographs) GTEST_SKIP() << "this build has no reader of photographs";
    haveModel();
  }
};

TEST_F(ExtractFeatureSamples, EveryPhotographHasTheFeatureOfTheOracle) {
  const OwnEngine engine;
  ASSERT_NE(nullptr, engine.get());
  std::map<std::string, FeatureVector> features;
  for (SampleFace& sample : sampleFaces(samplesFolder())) {
    SCOPED_TRACE(sample.name);
    const Picture picture = samplePicture(samplesFolder() + "/" + sample.imageFile);
    ASSERT_EQ(sample.width, picture.width);
    ASSERT_EQ(sample.height, picture.height);
    const reference::Extraction wanted =
        extractedByOracle(modelNumbers(), picture.view(), *sample.face.set());
    const std::vector<float> got = extracted(engine.get(), picture, sample.face);
    EXPECT_TRUE(sameFloats(wanted.feature.data(), got.data(), kFeatureFloats));
    EXPECT_EQ(0, std::memcmp(wanted.patches.grayFace.data(), engine->grayFace, 25600));
    EXPECT_EQ(0, std::memcmp(wanted.patches.colorFace.data(), engine->colorFace, 76800));
    std::memcpy(features[sample.name].values, got.data(), sizeof(FeatureVector));
  }
  ASSERT_FALSE(features.empty());
  for (const auto& a : features) {
    for (const auto& b : features) {
      EXPECT_SAME_FLOAT(reference::compare(a.second.values, b.second.values),
                        facefeature::CompareFeatures(&a.second, &b.second));
    }
  }
}

}  // namespace
}  // namespace facefeature_test
