// The host's floating point environment: what a call does to it, and how a feature changes in an
// environment other than the default.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "host/linked_model.h"
#include "host/probe_run.h"

namespace facefeature_test {
namespace {

// Multiplies the numbers of a matrix file by a power of two.
void scale(const LinkedModel& model, const std::string& name, int exponent) {
  std::string bytes = model.read(name);
  for (size_t offset = 8; offset < bytes.size(); offset += sizeof(float)) {
    float value;
    std::memcpy(&value, &bytes[offset], sizeof value);
    value = std::ldexp(value, exponent);
    std::memcpy(&bytes[offset], &value, sizeof value);
  }
  model.write(name, bytes);
}

// Nets whose first layer produces denormal numbers, which the second scales back to normal size.
void makeDenormal(const LinkedModel& model) {
  for (int32_t net = 1; net <= 25; ++net) {
    const std::string number = std::to_string(net);
    scale(model, "1-" + number + "-1", -134);
    scale(model, "1-" + number + "-2", -134);
    scale(model, "2-" + number + "-1", 124);
    scale(model, "2-" + number + "-2", -10);
  }
}

// The features that these steps produce between a creation and a destruction.
std::vector<std::string> featuresOf(const LinkedModel& model, const Steps& steps, int32_t threads) {
  const std::string out =
      outputOf(runProbe(model, joined({{"load", "create", "a"}, steps, {"destroy", "a", "unload"}}),
                        withThreads(threads)));
  std::vector<std::string> features;
  for (const std::string& line : linesOf(out)) {
    if (line.compare(0, 10, "a feature ") == 0) features.push_back(line.substr(2));
  }
  return features;
}

std::string featureOf(const LinkedModel& model, const Steps& steps, int32_t threads) {
  const std::vector<std::string> features = featuresOf(model, steps, threads);
  EXPECT_EQ(1u, features.size());
  return features.empty() ? "none" : features[0];
}

const Steps kExtract = {"extract", "a", "face"};

TEST(FloatEnvironment, IsAfterEachCallWhatItWasBefore) {
  const LinkedModel model;
  for (const char* rounding : {"nearest", "upward", "downward", "zero"}) {
    for (const char* denormals : {"kept", "flushed"}) {
      const std::string line =
          "environment " + std::string(rounding) + " " + std::string(denormals);
      SCOPED_TRACE(line);
      const std::vector<std::string> lines = linesOf(outputOf(runProbe(
          model,
          {"rounding",    rounding,      "denormals",   denormals,    "load",        "environment",
           "create",      "a",           "environment", "extract",    "a",           "face",
           "environment", "score",       "a",           "a",          "environment", "destroy",
           "a",           "environment", "unload",      "environment"})));
      ASSERT_EQ(9u, lines.size());
      for (const size_t offset : {0u, 2u, 4u, 6u, 7u, 8u}) EXPECT_EQ(line, lines[offset]);
    }
  }
}

// In the default environment of a process.
TEST(FloatEnvironment, DenormalActivationsMatterAndAreTheSameOnAnyNumberOfThreads) {
  const LinkedModel model;
  makeDenormal(model);
  const std::string kept = featureOf(model, kExtract, 1);
  EXPECT_EQ(std::string::npos, kept.find(" 7fc00000")) << "the model is of no use";
  for (const int32_t threads : {2, 7, 25}) EXPECT_EQ(kept, featureOf(model, kExtract, threads));
  // So denormals occur, and nothing in the library or its dependencies flushes them.
  EXPECT_NE(kept, featureOf(model, joined({{"denormals", "flushed"}, kExtract}), 1));
}

#if defined(_WIN32)
// Each thread starts in the default environment.
constexpr bool kWorkersTakeOver = false;
#else
// A thread inherits the environment of the thread that starts it.
constexpr bool kWorkersTakeOver = true;
#endif

// The nets share the work with the calling thread. If worker threads inherit its environment, all
// of them round, or flush, alike.
TEST(FloatEnvironment, SetBeforeTheFirstExtractionReachesTheThreadsThatTakeItOver) {
  const LinkedModel model;
  makeDenormal(model);
  const std::string none = featureOf(model, kExtract, 1);
  for (const Steps& setting : {Steps{"denormals", "flushed"}, Steps{"rounding", "upward"},
                               Steps{"rounding", "downward"}, Steps{"rounding", "zero"}}) {
    SCOPED_TRACE(setting[1]);
    const std::string alone = featureOf(model, joined({setting, kExtract}), 1);
    EXPECT_NE(none, alone);
    for (const int32_t threads : {2, 7}) {
      const std::string shared = featureOf(model, joined({setting, kExtract}), threads);
      EXPECT_EQ(kWorkersTakeOver, alone == shared);
      EXPECT_NE(none, shared);
    }
  }
}

// A warning rather than a promise: worker threads keep the environment that they were started in.
// If the host changes it later, the change, or its reversal, affects only some of the nets.
TEST(FloatEnvironment, SetLaterReachesTheCallingThreadAlone) {
  const LinkedModel model;
  makeDenormal(model);
  const struct {
    const char *verb, *other, *usual;
  } settings[] = {{"denormals", "flushed", "kept"}, {"rounding", "upward", "nearest"}};
  for (const auto& [verb, other, usual] : settings) {
    SCOPED_TRACE(other);
    const std::string all = featureOf(model, joined({{verb, other}, kExtract}), 1);
    const std::string none = featureOf(model, kExtract, 1);
    const std::vector<std::string> later =
        featuresOf(model, joined({kExtract, {verb, other}, kExtract, {verb, usual}, kExtract}), 4);
    ASSERT_EQ(3u, later.size());
    EXPECT_EQ(none, later[0]);
    EXPECT_NE(all, later[1]);
    EXPECT_NE(none, later[1]);
    EXPECT_EQ(none, later[2]);

    const std::vector<std::string> earlier =
        featuresOf(model, joined({{verb, other}, kExtract, {verb, usual}, kExtract}), 4);
    ASSERT_EQ(2u, earlier.size());
    EXPECT_EQ(kWorkersTakeOver, all == earlier[0]);
    EXPECT_EQ(kWorkersTakeOver, none != earlier[1]);
  }
}

// The last destruction ends the workers, and the next ones start in the default environment.
TEST(FloatEnvironment, IsForgottenWithTheLastEngine) {
  const LinkedModel model;
  const std::vector<std::string> features =
      featuresOf(model,
                 joined({{"rounding", "upward"},
                         kExtract,
                         {"rounding", "nearest", "destroy", "a", "create", "a"},
                         kExtract}),
                 4);
  ASSERT_EQ(2u, features.size());
  EXPECT_NE(goodFeature(), features[0]);
  EXPECT_EQ(goodFeature(), features[1]);
}

// A creation reads, parses and builds the same in any environment.
TEST(FloatEnvironment, OfTheCreationDoesNotMatter) {
  const LinkedModel model;
  for (const char* rounding : {"upward", "downward", "zero"}) {
    const std::string out = outputOf(
        runProbe(model, joined({{"rounding", rounding, "denormals", "flushed", "load", "create",
                                 "a", "rounding", "nearest", "denormals", "kept"},
                                kExtract,
                                {"destroy", "a", "unload"}})));
    EXPECT_EQ("a made\na " + goodFeature() + "\n", out) << rounding;
  }
}

}  // namespace
}  // namespace facefeature_test
