// Compares inner products of the 503 numbers with the score itself.
#include "search/score_form.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "base/failure.h"
#include "engine/feature_engine.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using namespace facefeature_tools;

double product(const ScoreForm& a, const ScoreForm& b) {
  double sum = 0.0;
  for (size_t i = 0; i < kFormFloats; ++i) {
    sum += static_cast<double>(a[i]) * static_cast<double>(b[i]);
  }
  return sum;
}

class ScoreForms : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
    std::vector<std::string> ids;
    for (int i = 0; i < 200; ++i) ids.push_back(std::to_string(i));
    features = writeRandomGallery(path, ids, random);
  }
  void TearDown() override { fs::remove_all(base); }

  ScoreForm formOfRow(const FeatureVector& feature, const FormParameters& parameters) {
    ScoreForm form = {};
    EXPECT_TRUE(rowForm(feature, parameters, form));
    return form;
  }

  ScoreForm formOfProbe(const FeatureVector& feature, const FormParameters& parameters) {
    ScoreForm form = {};
    EXPECT_TRUE(probeForm(feature, parameters, form));
    return form;
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/score_forms";
  const std::string path = base + "/g.gallery";
  std::vector<FeatureVector> features;
};

// Up to one constant for each probe, which does not change the order.
TEST_F(ScoreForms, TheInnerProductIsTheScoreLessANumberOfTheProbe) {
  const FormParameters parameters = fitForm(Gallery(path), 1.5);
  for (int round = 0; round < 20; ++round) {
    const FeatureVector probe = randomFeature(random);
    const ScoreForm a = formOfProbe(probe, parameters);
    const double norm = static_cast<double>(probe.values[501]);
    const double constant =
        1.0 - static_cast<double>(probe.values[500]) / norm * parameters.inverseNormMean -
        parameters.squaresMean / norm;
    for (const FeatureVector& row : features) {
      const double score = static_cast<double>(facefeature::CompareFeatures(&probe, &row));
      EXPECT_NEAR(score, product(a, formOfRow(row, parameters)) + constant, 2e-5);
    }
  }
}

TEST_F(ScoreForms, AllRowsAreEquallyLong) {
  const FormParameters parameters = fitForm(Gallery(path), 1.5);
  for (const FeatureVector& row : features) {
    const ScoreForm form = formOfRow(row, parameters);
    EXPECT_NEAR(parameters.squaredLength, product(form, form), 1e-6 * parameters.squaredLength);
  }
}

TEST_F(ScoreForms, HeadroomIsForLongerRows) {
  // A row that is longer than all others: its last two numbers are far from the means.
  FeatureVector longRow = features[0];
  longRow.values[500] *= 3.0f;
  ScoreForm form;
  EXPECT_FALSE(rowForm(longRow, fitForm(Gallery(path), 1.0), form));
  EXPECT_TRUE(rowForm(longRow, fitForm(Gallery(path), 1000.0), form));
}

TEST_F(ScoreForms, FeaturesThatAreNotFiniteHaveNone) {
  const FormParameters parameters = fitForm(Gallery(path), 1.5);
  for (const float bad :
       {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    for (const int32_t index : {0, 499, 500}) {
      FeatureVector feature = features[0];
      feature.values[index] = bad;
      ScoreForm form;
      EXPECT_FALSE(rowForm(feature, parameters, form));
      EXPECT_FALSE(probeForm(feature, parameters, form));
    }
  }
  FeatureVector zero = {};
  ScoreForm form;
  EXPECT_FALSE(rowForm(zero, parameters, form));
}

TEST_F(ScoreForms, ParametersComeBackAsTheyWere) {
  const FormParameters written = fitForm(Gallery(path), 1.5);
  const Digest model = originOf(7).model;
  writeText(base + "/form.json", formText(written, model));
  const FormParameters read = readForm(base + "/form.json", model);
  EXPECT_EQ(written.inverseNormMean, read.inverseNormMean);
  EXPECT_EQ(written.squaresMean, read.squaresMean);
  EXPECT_EQ(written.inverseNormScale, read.inverseNormScale);
  EXPECT_EQ(written.squaresScale, read.squaresScale);
  EXPECT_EQ(written.squaredLength, read.squaredLength);
  EXPECT_THROW(readForm(base + "/form.json", originOf(8).model), Failure);
  for (const char* text : {"", "[]", "{}", "{\"form\": \"facefeature-503\"}", "no json"}) {
    writeText(base + "/form.json", text);
    EXPECT_THROW(readForm(base + "/form.json", model), Failure) << text;
  }
}

TEST_F(ScoreForms, OfAnEmptyGalleryAreStillForms) {
  writeRandomGallery(path, {}, random);
  ScoreForm form;
  EXPECT_TRUE(probeForm(features[0], fitForm(Gallery(path), 1.5), form));
}

}  // namespace
}  // namespace facefeature_test
