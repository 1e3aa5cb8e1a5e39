// Files that open but are too short, too long, empty or odd: the library trusts the bytes that are
// there, reads missing ones as zero, and prints nothing.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "host/linked_model.h"
#include "host/probe_run.h"

namespace facefeature_test {
namespace {

constexpr size_t kLargestSampleBytes = 9075 * sizeof(float);

std::string numberBytes(int32_t number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

std::string matrixHeader(int32_t rows, int32_t cols) {
  return numberBytes(rows) + numberBytes(cols);
}

// Removes the second half of the file, once for good and once replaced by zeros.
void expectTheSameAsZeros(const std::string& name) {
  SCOPED_TRACE(name);
  const LinkedModel model;
  const std::string bytes = model.read(name);
  const std::string kept = bytes.substr(0, bytes.size() / 2 / sizeof(float) * sizeof(float));
  model.write(name, kept + std::string(bytes.size() - kept.size(), '\0'));
  const std::string withZeros = featureWith(model);
  EXPECT_NE(goodFeature(), withZeros);
  model.write(name, kept);
  EXPECT_EQ(withZeros, featureWith(model));
}

TEST(ShortModelFile, MissingFloatsOfARawFileAreZero) {
  for (const char* name : {"6-0", "6-1", "6-2"}) expectTheSameAsZeros(name);
}

TEST(ShortModelFile, MissingFloatsOfALayerFileAreZero) {
  for (const char* name : {"1-1-1", "2-10-1", "3-2-1", "4-25-1", "5-1-1", "5-10-2"}) {
    expectTheSameAsZeros(name);
  }
  for (const char* name : {"1-1-2", "4-25-2", "5-10-3"}) expectTheSameAsZeros(name);
}

// In a fresh process the slots are zero, so a mean file that ends early leaves zeros.
TEST(ShortModelFile, MissingFloatsOfAMeanFileAreZeroAtTheFirstCreation) {
  for (const char* name : {"0-1-0", "0-10-0", "0-25-0"}) expectTheSameAsZeros(name);
}

TEST(ShortModelFile, AMeanFileThatEndsEarlyLeavesTheSlotAsTheLastCreationMadeIt) {
  const std::string good = goodFeature();
  for (const size_t bytes : {size_t{0}, size_t{3}, size_t{4}, size_t{4004}}) {
    SCOPED_TRACE(bytes);
    const LinkedModel model;
    const std::string whole = model.temporaryFolder() + "/whole";
    const std::string part = model.read("0-3-0").substr(0, bytes);
    model.write("../part", part);
    const ChildResult result = runProbe(
        model, joined({{"load", "create", "a", "destroy", "a"},
                       {"move", model.temporaryFolder() + "/part", model.path("0-3-0")},
                       {"create", "a", "extract", "a", "face", "destroy", "a", "unload"}}));
    EXPECT_EQ("a made\na made\na " + good + "\n", outputOf(result));
  }
}

TEST(EmptyModelFile, AnEmptyRawFileIsAllZeros) {
  for (const char* name : {"6-0", "6-1", "6-2"}) {
    SCOPED_TRACE(name);
    const LinkedModel model;
    model.write(name, std::string(model.read(name).size(), '\0'));
    const std::string withZeros = featureWith(model);
    EXPECT_NE(goodFeature(), withZeros);
    model.write(name, "");
    EXPECT_EQ(withZeros, featureWith(model));
  }
}

TEST(EmptyModelFile, EmptyBiasesAreNoneAndAreNotReported) {
  for (const char* name : {"1-1-2", "2-2-2", "3-25-2", "4-10-2", "5-1-3"}) {
    SCOPED_TRACE(name);
    const LinkedModel model;
    const std::string bytes = model.read(name);
    model.write(name, bytes.substr(0, 8) + std::string(bytes.size() - 8, '\0'));
    const std::string withZeros = featureWith(model);
    model.write(name, "");
    EXPECT_EQ(withZeros, featureWith(model));
  }
}

TEST(EmptyModelFile, EmptyWeightsAreNotReported) {
  const LinkedModel model;
  for (const char* name : {"1-1-1", "5-25-2"}) model.write(name, "");
  EXPECT_EQ("a made\n",
            outputOf(runProbe(model, {"load", "create", "a", "destroy", "a", "unload"})));
}

TEST(LongModelFile, WhatFollowsTheNumbersIsIgnored) {
  const LinkedModel model;
  const std::string surplus(1000, '\x42');
  for (const auto& names : {engineFileNames(), layerFileNames()}) {
    for (const std::string& name : names) model.write(name, model.read(name) + surplus);
  }
  EXPECT_EQ(goodFeature(), featureWith(model));
}

TEST(MeanFile, ACountBeyondTheSlotFillsTheNextOne) {
  const LinkedModel model;
  const std::string first = model.read("0-1-0").substr(4), second = model.read("0-2-0").substr(4);
  ASSERT_EQ(kLargestSampleBytes, first.size());
  model.write("0-1-0", numberBytes(2 * 9075) + first + second);
  model.write("0-2-0", "");
  EXPECT_EQ(goodFeature(), featureWith(model));
}

TEST(MeanFile, ACountBeyondTheLastSlotIsCutOffAtItsEnd) {
  const std::string good = goodFeature();
  for (const int32_t count : {9076, 1000000, 2147483647}) {
    SCOPED_TRACE(count);
    const LinkedModel model;
    const std::string floats = model.read("0-25-0").substr(4);
    model.write("0-25-0", numberBytes(count) + floats + std::string(5000000, '\x42'));
    EXPECT_EQ(good, featureWith(model));
  }
}

TEST(MeanFile, ANegativeCountReadsNothing) {
  const LinkedModel model;
  const std::string floats = model.read("0-4-0").substr(4);
  model.write("0-4-0", numberBytes(0));
  const std::string withoutMean = featureWith(model);
  EXPECT_NE(goodFeature(), withoutMean);
  for (const int32_t count : {-1, -2147483647 - 1}) {
    model.write("0-4-0", numberBytes(count) + floats);
    EXPECT_EQ(withoutMean, featureWith(model));
  }
}

// More bytes than fit in 32 bits, or a negative number of them. What was built so far is leaked.
TEST(LayerFile, ImpossibleSizesAreExhaustedMemory) {
  for (const std::string& header : {matrixHeader(40000, 40000), matrixHeader(1 << 30, 1),
                                    matrixHeader(-1, 16), matrixHeader(16, -1)}) {
    const LinkedModel model;
    model.write("3-2-1", header + std::string(4000, '\0'));
    EXPECT_EQ("a out of memory\n",
              outputOf(runProbe(model, {"load", "create", "a"}, leaksAllowed())));
  }
}

}  // namespace
}  // namespace facefeature_test
