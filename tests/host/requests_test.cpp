// Valid and invalid requests and comparisons, as a host makes them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "host/linked_model.h"
#include "host/probe_run.h"
#include "support/bits.h"
#include "support/private_temp_folder.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using Feature = std::vector<float>;

std::string scoreLine(float score) {
  char line[32];
  std::snprintf(line, sizeof line, "score %08x\n", bitsOf(score));
  return line;
}

// The bits in the last line of this output.
float scoreIn(const std::string& out) {
  const size_t offset = out.rfind("score ");
  if (offset == std::string::npos) ADD_FAILURE() << "no score in: " << out.substr(0, 200);
  return offset == std::string::npos ? 0.0f
                                     : floatOfBits(static_cast<uint32_t>(
                                           std::strtoul(out.c_str() + offset + 6, nullptr, 16)));
}

std::string featureFile(const std::string& name, const Feature& feature) {
  const std::string path = privateTempFolder() + "/" + name;
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr || std::fwrite(feature.data(), 4, feature.size(), file) != feature.size()) {
    throw std::runtime_error("can't write " + path);
  }
  std::fclose(file);
  return path;
}

// There is no engine and no model: a comparison needs only its two features.
float comparedByTheLibrary(const Feature& a, const Feature& b) {
  const std::string pathA = featureFile("feature-a", a), pathB = featureFile("feature-b", b);
  return scoreIn(
      outputOf(runProbe(privateTempFolder(), {"load", "read-feature", "a", pathA, "read-feature",
                                              "b", pathB, "score", "a", "b"})));
}

// Each operation is rounded to a float before the next.
float comparedByHand(const Feature& a, const Feature& b) {
  float products = 0.0f;
  for (size_t k = 0; k < 500; ++k) {
    const volatile float product = a[k] * b[k];
    products = products + product;
  }
  const volatile float squares = a[500] + b[500];
  const volatile float doubled = products * 2.0f;
  const volatile float difference = doubled - squares;
  const volatile float norms = a[501] * b[501];
  const volatile float ratio = difference / norms;
  return ratio + 1.0f;
}

Feature randomFeature(Random& random) {
  Feature feature = random.normals(502);
  feature[500] = 500.0f * random.between(0.5f, 1.5f);
  feature[501] = 22.0f * random.between(0.5f, 1.5f);
  return feature;
}

// The engine is still usable.
TEST(Requests, WithoutAPossibleFeatureGiveNaNsAlone) {
  const std::vector<std::string> variants = {
      "null-pixels", "null-landmarks", "width-1", "height-1",    "count-negative", "count-zero",
      "id-negative", "id-318",         "id-huge", "one-too-few", "one-too-many"};
  Steps steps = {"load", "create", "a"};
  for (const std::string& variant : variants) {
    steps = joined({steps, {"extract", "a", variant, "extract", "a", "face"}});
  }
  const LinkedModel model;
  const std::vector<std::string> lines =
      linesOf(outputOf(runProbe(model, joined({steps, {"destroy", "a", "unload"}}))));
  ASSERT_EQ(1 + 2 * variants.size(), lines.size());
  for (size_t i = 0; i < variants.size(); ++i) {
    EXPECT_EQ("a nan", lines[1 + 2 * i]) << variants[i];
    EXPECT_EQ("a " + goodFeature(), lines[2 + 2 * i]) << "after " << variants[i];
  }
}

TEST(Requests, WithoutAnEngineOrAFeatureWriteNothing) {
  const LinkedModel model;
  EXPECT_EQ("a made\na untouched\na untouched\n",
            outputOf(runProbe(model, {"load", "create", "a", "extract", "a", "null-engine",
                                      "extract", "a", "null-feature", "destroy", "a", "unload"})));
}

TEST(Requests, ARejectedOneNeedsNoThreads) {
  const LinkedModel model;
  EXPECT_EQ("a made\na nan\nthreads 1\n",
            outputOf(runProbe(model,
                              {"load", "create", "a", "extract", "a", "one-too-few", "threads",
                               "destroy", "a", "unload"},
                              {{"OMP_NUM_THREADS", "4"}})));
}

TEST(Requests, GiveNumbersInAllElements) {
  EXPECT_EQ(7u + 502u * 9u, goodFeature().size());
  for (const char* variant : {"face", "other-face"}) {
    const std::string text = goodFeature(variant);
    for (size_t offset = 7; offset + 9 <= text.size(); offset += 9) {
      const auto bits =
          static_cast<uint32_t>(std::strtoul(text.substr(offset + 1, 8).c_str(), nullptr, 16));
      EXPECT_TRUE(std::isfinite(floatOfBits(bits))) << "element " << (offset - 7) / 9;
    }
  }
}

TEST(Scores, NeedNoEngineAndNoModel) {
  SeededRandom random;
  for (int32_t round = 0; round < 10; ++round) {
    const Feature a = randomFeature(random), b = randomFeature(random);
    EXPECT_SAME_FLOAT(comparedByHand(a, b), comparedByTheLibrary(a, b));
    EXPECT_SAME_FLOAT(comparedByHand(a, b), comparedByTheLibrary(b, a));
  }
}

TEST(Scores, AreNotClampedAndPassOnInfinitiesAndNaNs) {
  SeededRandom random;
  const Feature plain = randomFeature(random);
  Feature spoilt = plain;
  spoilt[501] = 0.0f;
  EXPECT_TRUE(std::isinf(comparedByTheLibrary(plain, spoilt)));
  spoilt = plain;
  spoilt[17] = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(std::isnan(comparedByTheLibrary(plain, spoilt)));
  EXPECT_TRUE(std::isnan(comparedByTheLibrary(Feature(502, 0.0f), Feature(502, 0.0f))));
  spoilt = plain;
  spoilt[500] = 1e6f;
  EXPECT_LT(comparedByTheLibrary(plain, spoilt), -100.0f);
}

// Features remain comparable after the engine is destroyed and the library is unloaded and loaded
// again.
TEST(Scores, OutliveTheEngine) {
  const LinkedModel model;
  const std::string out = outputOf(runProbe(
      model,
      {"load",   "create",     "a",     "create", "b", "extract", "a", "face",    "extract",
       "b",      "other-face", "score", "a",      "b", "destroy", "a", "destroy", "b",
       "unload", "load",       "score", "a",      "b", "score",   "b", "a",       "unload"}));
  const std::string line = scoreLine(scoreIn(out));
  EXPECT_EQ("a made\nb made\na " + goodFeature() + "\nb " + goodFeature("other-face") + "\n" +
                line + line + line,
            out);
  EXPECT_TRUE(std::isfinite(scoreIn(out)));
}

}  // namespace
}  // namespace facefeature_test
