// The adapter to the interface of one-to-one vendor tests, driven as a harness drives it:
// initialise once, fork, work in the children.
#include <frvt11.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "adapters/forked_process.h"
#include "adapters/templates.h"
#include "face/face_finder.h"
#include "model/library_loader.h"
#include "support/sample_faces.h"
#include "tools/model/synthetic_folder.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using FRVT::EyePair;
using FRVT::ReturnCode;
using FRVT::TemplateRole;

class OneToOne : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!facefeature_tools::facesCanBeFound()) GTEST_SKIP() << "built without a detector";
    syntheticFolder();
  }
};

std::vector<EyePair> eyes;  // of the last template

ReturnCode create(FRVT_11::Interface& adapter, const std::vector<FRVT::Image>& images,
                  TemplateBytes& templ) {
  return adapter.createFaceTemplate(images, TemplateRole::Verification_11, templ, eyes).code;
}

TEST_F(OneToOne, InitialisesOnceAndThenNeedsNoFileAndHasNoThread) {
  EXPECT_TRUE(passesInFork([] {
    const std::string config = privateTempFolder() + "/config";
    std::filesystem::create_directory_symlink(syntheticFolder(), config);
    const auto adapter = FRVT_11::Interface::getImplementation();
    const auto status = adapter->initialize(config);
    EXPECT_EQ(ReturnCode::Success, status.code) << status.info;
    EXPECT_EQ(1, threadCount());
    std::filesystem::remove(config);
    for (int process = 0; process < 3; ++process) {
      EXPECT_TRUE(passesInFork([&] {
        SeededRandom random;
        TemplateBytes templ;
        EXPECT_EQ(ReturnCode::FaceDetectionError, create(*adapter, {noise(random, 24)}, templ));
        EXPECT_EQ(1, threadCount());
      }));
    }
  }));
}

TEST_F(OneToOne, TemplatesAreTheFeaturesOfTheProgram) {
  const std::string samples = samplesFolder();
  if (samples.empty()) GTEST_SKIP() << "there are no sample photographs";
  const std::string photo = samples + "/hopper_1.jpg";
  const std::string feature = privateTempFolder() + "/feature";
  ASSERT_EQ(0,
            runProgram({"extract", photo, "-o", feature, "--model", syntheticFolder()}).exitCode);
  const std::string wanted = contentOf(feature);
  EXPECT_TRUE(passesInFork([&] {
    const auto adapter = FRVT_11::Interface::getImplementation();
    ASSERT_EQ(ReturnCode::Success, adapter->initialize(syntheticFolder()).code);
    const FRVT::Image image = imageOf(facefeature_tools::readPhoto(photo));
    for (int process = 0; process < 2; ++process) {
      EXPECT_TRUE(passesInFork([&] {
        TemplateBytes templ;
        ASSERT_EQ(ReturnCode::Success, create(*adapter, {image}, templ));
        EXPECT_EQ(wanted, std::string(templ.begin(), templ.end()));
        EXPECT_EQ(1, threadCount());
        ASSERT_EQ(1u, eyes.size());
        EXPECT_TRUE(eyes[0].isLeftAssigned && eyes[0].isRightAssigned);
        // The person's left eye is on the right.
        EXPECT_GT(eyes[0].xleft, eyes[0].xright + 5);
        EXPECT_LT(eyes[0].xleft, image.width);

        // An image without a face adds nothing.
        SeededRandom random;
        TemplateBytes both;
        ASSERT_EQ(ReturnCode::Success, create(*adapter, {noise(random, 8), image}, both));
        EXPECT_EQ(templ, both);
        EXPECT_FALSE(eyes.at(0).isLeftAssigned);
        EXPECT_TRUE(eyes.at(1).isLeftAssigned);

        std::vector<TemplateBytes> all;
        std::vector<EyePair> eyesOfAll;
        ASSERT_EQ(
            ReturnCode::Success,
            adapter->createFaceTemplate(image, TemplateRole::Enrollment_11, all, eyesOfAll).code);
        EXPECT_EQ(templ, all.at(0));
        EXPECT_EQ(all.size(), eyesOfAll.size());
      }));
    }
  }));
}

TEST_F(OneToOne, SimilarityIsTheHighestScoreOfTheFeatures) {
  EXPECT_TRUE(passesInFork([] {
    const auto adapter = FRVT_11::Interface::getImplementation();
    ASSERT_EQ(ReturnCode::Success, adapter->initialize(syntheticFolder()).code);
    const facefeature_tools::LoadedLibrary library;
    SeededRandom random;
    for (int round = 0; round < 20; ++round) {
      const TemplateBytes a = madeUpTemplate(random, 2), b = madeUpTemplate(random, 3);
      double wanted = -1e30;
      for (size_t i = 0; i < 2; ++i) {
        for (size_t k = 0; k < 3; ++k) {
          const FeatureVector one = featureIn(a, i), other = featureIn(b, k);
          const double score = static_cast<double>(library.compareFeatures(&one, &other));
          if (score > wanted) wanted = score;
        }
      }
      double similarity = 0;
      EXPECT_EQ(ReturnCode::Success, adapter->matchTemplates(a, b, similarity).code);
      EXPECT_EQ(wanted, similarity);
    }
  }));
}

TEST_F(OneToOne, FailuresHaveTheCodesOfTheInterface) {
  EXPECT_TRUE(passesInFork([] {
    SeededRandom random;
    const TemplateBytes good = madeUpTemplate(random);
    TemplateBytes templ = good;
    double similarity = 0;
    const auto adapter = FRVT_11::Interface::getImplementation();
    EXPECT_EQ(ReturnCode::ConfigError, create(*adapter, {noise(random, 24)}, templ));
    EXPECT_EQ(ReturnCode::ConfigError, adapter->matchTemplates(good, good, similarity).code);
    EXPECT_EQ(ReturnCode::ConfigError, adapter->initialize(privateTempFolder() + "/none").code);
    ASSERT_EQ(ReturnCode::Success, adapter->initialize(syntheticFolder()).code);

    const FRVT::Image dot = imageOf(1, 1, 24, {1, 2, 3});
    FRVT::Image nothing = noise(random, 24), deep = noise(random, 24);
    nothing.data = nullptr;
    deep.depth = 16;
    for (const FRVT::Image& image : {dot, nothing, deep}) {
      templ = good;
      EXPECT_EQ(ReturnCode::RefuseInput, create(*adapter, {image}, templ));
      EXPECT_TRUE(templ.empty());
      EXPECT_EQ(1u, eyes.size());
    }
    for (const uint8_t depth : {uint8_t{8}, uint8_t{24}}) {
      templ = good;
      EXPECT_EQ(ReturnCode::FaceDetectionError, create(*adapter, {noise(random, depth)}, templ));
      EXPECT_TRUE(templ.empty());
      EXPECT_FALSE(eyes.at(0).isLeftAssigned || eyes.at(0).isRightAssigned);
    }
    const TemplateBytes shortOne(good.begin(), good.end() - 1);
    for (const TemplateBytes& bad : {TemplateBytes(), shortOne}) {
      similarity = 0;
      EXPECT_EQ(ReturnCode::VerifTemplateError,
                adapter->matchTemplates(good, bad, similarity).code);
      EXPECT_EQ(-1, similarity);
    }
  }));
}

}  // namespace
}  // namespace facefeature_test
