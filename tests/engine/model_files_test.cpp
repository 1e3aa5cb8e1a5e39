#include "engine/model_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "engine/model_state.h"
#include "platform/platform.h"
#include "support/bits.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

using facefeature::kLargestSample;
using facefeature::kPatchCount;
using facefeature::openSharedForReading;
using facefeature::patchMeans;
using facefeature::readPatchMean;
using facefeature::readRawFloats;

constexpr float kMark = -31.25f;
constexpr size_t kSlot = kLargestSample;
constexpr size_t kAllSlots = kSlot * kPatchCount;

std::string meanBytes(int32_t count, const std::vector<float>& values) {
  std::string bytes;
  appendNumber(bytes, count);
  appendFloats(bytes, values);
  return bytes;
}

std::string rawBytes(const std::vector<float>& values) {
  std::string bytes;
  appendFloats(bytes, values);
  return bytes;
}

// start, start + 1, ...
std::vector<float> risingFloats(size_t count, float start = 1.0f) {
  std::vector<float> values(count);
  for (size_t i = 0; i < count; ++i) values[i] = start + static_cast<float>(i);
  return values;
}

// Fills the slots with marks during a test.
class PatchMeanFile : public ::testing::Test {
 protected:
  PatchMeanFile() { std::fill_n(&patchMeans[0][0], kAllSlots, kMark); }
  ~PatchMeanFile() override { std::fill_n(&patchMeans[0][0], kAllSlots, 0.0f); }

  // The slots as one array: `values` from the start of slot n - 1, and marks everywhere else.
  static void expectSlots(int32_t n, const std::vector<float>& values) {
    std::vector<float> wanted(kAllSlots, kMark);
    std::copy(values.begin(), values.end(),
              wanted.begin() + static_cast<std::ptrdiff_t>(kSlot) * (n - 1));
    EXPECT_TRUE(sameFloats(wanted.data(), &patchMeans[0][0], kAllSlots));
  }

  std::ifstream stream_;
};

TEST_F(PatchMeanFile, ASmallerCountLeavesTheRestOfTheSlotUnchanged) {
  const std::vector<float> values = risingFloats(2209);
  const SpoiltFile file("0-4-0", meanBytes(2209, values));
  EXPECT_TRUE(readPatchMean(stream_, 4));
  expectSlots(4, values);
}

TEST_F(PatchMeanFile, AFullSlotIsReadWhole) {
  const std::vector<float> values = risingFloats(kSlot);
  const SpoiltFile file("0-25-0", meanBytes(static_cast<int32_t>(kSlot), values));
  EXPECT_TRUE(readPatchMean(stream_, 25));
  expectSlots(25, values);
}

TEST_F(PatchMeanFile, ALargerCountRunsOnIntoTheNextSlot) {
  const std::vector<float> values = risingFloats(kSlot + 77);
  const SpoiltFile file("0-2-0", meanBytes(static_cast<int32_t>(values.size()), values));
  EXPECT_TRUE(readPatchMean(stream_, 2));
  expectSlots(2, values);
}

TEST_F(PatchMeanFile, ACountBeyondAllSlotsIsCutOffAtTheEndOfTheLast) {
  const std::vector<float> values = risingFloats(kSlot + 1000);
  const SpoiltFile last("0-25-0", meanBytes(static_cast<int32_t>(values.size()), values));
  EXPECT_TRUE(readPatchMean(stream_, 25));
  expectSlots(25, std::vector<float>(values.begin(), values.begin() + kLargestSample));

  const std::vector<float> more = risingFloats(kAllSlots + 3);
  const SpoiltFile first("0-1-0", meanBytes(static_cast<int32_t>(more.size()), more));
  EXPECT_TRUE(readPatchMean(stream_, 1));
  expectSlots(1, std::vector<float>(more.begin(), more.end() - 3));
}

TEST_F(PatchMeanFile, ACountWhoseBytesOverflowReadsWhatTheFileHas) {
  for (const int32_t count : {std::numeric_limits<int32_t>::max(), 0x40000001, 0x40000000}) {
    const std::vector<float> values = risingFloats(12);
    const SpoiltFile file("0-24-0", meanBytes(count, values));
    EXPECT_TRUE(readPatchMean(stream_, 24));
    expectSlots(24, values);
  }
}

TEST_F(PatchMeanFile, ANegativeCountAndACountOfZeroReadNothing) {
  for (const int32_t count : {-1, -2209, std::numeric_limits<int32_t>::min(), 0}) {
    const SpoiltFile file("0-7-0", meanBytes(count, risingFloats(20)));
    EXPECT_TRUE(readPatchMean(stream_, 7));
    expectSlots(7, {});
  }
}

TEST_F(PatchMeanFile, AnEmptyFileLeavesTheSlotUnchanged) {
  const SpoiltFile file("0-3-0", std::string());
  EXPECT_TRUE(readPatchMean(stream_, 3));
  expectSlots(3, {});
}

TEST_F(PatchMeanFile, AnIncompleteHeaderLeavesTheSlotUnchanged) {
  const SpoiltFile file("0-3-0", std::string("\x05\x00\x00", 3));
  EXPECT_TRUE(readPatchMean(stream_, 3));
  expectSlots(3, {});
}

TEST_F(PatchMeanFile, AShortFileDeliversWhatItHas) {
  const std::vector<float> values = risingFloats(100);
  const SpoiltFile file("0-3-0", meanBytes(2209, values));
  EXPECT_TRUE(readPatchMean(stream_, 3));
  expectSlots(3, values);
}

TEST_F(PatchMeanFile, TheSurplusOfALongFileIsIgnored) {
  const std::vector<float> values = risingFloats(100);
  const SpoiltFile file("0-3-0", meanBytes(40, values));
  EXPECT_TRUE(readPatchMean(stream_, 3));
  expectSlots(3, std::vector<float>(values.begin(), values.begin() + 40));
}

TEST_F(PatchMeanFile, AMissingFileIsReportedAndChangesNothing) {
  const SpoiltFile file("0-3-0");
  EXPECT_FALSE(readPatchMean(stream_, 3));
  expectSlots(3, {});
}

TEST_F(PatchMeanFile, OneStreamServesFileAfterFileWhateverStateItWasLeftIn) {
  const std::vector<float> values = risingFloats(9);
  const SpoiltFile shortFile("0-5-0", meanBytes(30, {}));
  const SpoiltFile missing("0-6-0");
  const SpoiltFile good("0-7-0", meanBytes(9, values));
  EXPECT_TRUE(readPatchMean(stream_, 5));
  EXPECT_FALSE(readPatchMean(stream_, 6));
  EXPECT_TRUE(readPatchMean(stream_, 7));
  expectSlots(7, values);
}

TEST_F(PatchMeanFile, TheFileIsClosedAtOnce) {
  const SpoiltFile good("0-7-0", meanBytes(1, {1.0f}));
  EXPECT_TRUE(readPatchMean(stream_, 7));
  EXPECT_FALSE(stream_.is_open());
  const SpoiltFile shortFile("0-8-0", std::string());
  EXPECT_TRUE(readPatchMean(stream_, 8));
  EXPECT_FALSE(stream_.is_open());
}

TEST_F(PatchMeanFile, FloatsAreReadBitForBit) {
  const std::vector<float> values = {floatOfBits(0x7FA00001u), floatOfBits(0xFFC12345u),
                                     floatOfBits(0x80000000u), floatOfBits(0x00000001u)};
  const SpoiltFile file("0-9-0", meanBytes(4, values));
  EXPECT_TRUE(readPatchMean(stream_, 9));
  for (size_t i = 0; i < values.size(); ++i) EXPECT_EQ(bitsOf(values[i]), bitsOf(patchMeans[8][i]));
}

TEST(RawFloatFile, IsReadFromItsStart) {
  const std::vector<float> values = risingFloats(8000);
  const SpoiltFile file("6-0", rawBytes(values));
  std::ifstream stream;
  std::vector<float> got(8001, kMark);
  EXPECT_TRUE(readRawFloats(stream, "6-0", got.data(), 8000));
  EXPECT_TRUE(sameFloats(values.data(), got.data(), 8000));
  EXPECT_EQ(kMark, got[8000]);
  EXPECT_FALSE(stream.is_open());
}

TEST(RawFloatFile, TheSurplusOfALongFileIsIgnored) {
  const std::vector<float> values = risingFloats(64);
  const SpoiltFile file("6-1", rawBytes(values));
  std::ifstream stream;
  std::vector<float> got(64, kMark);
  EXPECT_TRUE(readRawFloats(stream, "6-1", got.data(), 50));
  EXPECT_TRUE(sameFloats(values.data(), got.data(), 50));
  EXPECT_EQ(std::vector<float>(14, kMark), std::vector<float>(got.begin() + 50, got.end()));
}

TEST(RawFloatFile, WhatAShortFileLacksIsZero) {
  const std::vector<float> values = risingFloats(10);
  const SpoiltFile file("6-2", rawBytes(values));
  std::ifstream stream;
  std::vector<float> got(40, kMark);
  EXPECT_TRUE(readRawFloats(stream, "6-2", got.data(), 40));
  std::vector<float> wanted = values;
  wanted.resize(40, 0.0f);
  EXPECT_TRUE(sameFloats(wanted.data(), got.data(), 40));
}

TEST(RawFloatFile, AnEmptyFileGivesZeros) {
  const SpoiltFile file("6-2", std::string());
  std::ifstream stream;
  std::vector<float> got(8, kMark);
  EXPECT_TRUE(readRawFloats(stream, "6-2", got.data(), 8));
  EXPECT_EQ(std::vector<float>(8, 0.0f), got);
}

TEST(RawFloatFile, AMissingFileIsReported) {
  const SpoiltFile file("6-2");
  std::ifstream stream;
  std::vector<float> got(8, kMark);
  EXPECT_FALSE(readRawFloats(stream, "6-2", got.data(), 8));
}

TEST(OpenSharedForReading, AFolderCannotBeOpened) {
  std::ifstream stream;
  EXPECT_FALSE(openSharedForReading(stream, privateTempFolder()));
  EXPECT_FALSE(openSharedForReading(stream, privateTempFolder() + "/"));
}

TEST(OpenSharedForReading, AFileThatSomebodyWritesToCanBeOpened) {
  const std::string path = privateTempFolder() + "/shared-file";
  std::ofstream writer(path, std::ios::binary);
  writer << "abc" << std::flush;
  std::ifstream stream;
  ASSERT_TRUE(openSharedForReading(stream, path));
  std::string text;
  stream >> text;
  EXPECT_EQ("abc", text);
  // Windows cannot remove an open file.
  writer.close();
  stream.close();
  std::filesystem::remove(path);
}

TEST(OpenSharedForReading, ReadsLineEndsAsTheyAre) {
  const std::string path = privateTempFolder() + "/binary-file";
  const std::string bytes("a\r\nb\x1A\n\0c", 8);
  std::ofstream(path, std::ios::binary) << bytes;
  std::ifstream stream;
  ASSERT_TRUE(openSharedForReading(stream, path));
  const std::string got((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  EXPECT_EQ(bytes, got);
  stream.close();
  std::filesystem::remove(path);
}

TEST(OpenSharedForReading, TheErrorStateOfTheFileBeforeIsCleared) {
  const std::string path = privateTempFolder() + "/good-file";
  std::ofstream(path, std::ios::binary) << "x";
  std::ifstream stream;
  EXPECT_FALSE(openSharedForReading(stream, path + "-that-is-not-there"));
  ASSERT_TRUE(openSharedForReading(stream, path));
  EXPECT_TRUE(stream.good());
  char buffer[4];
  stream.read(buffer, sizeof buffer);
  EXPECT_FALSE(stream.good());
  // It is still open; the next file replaces it.
  ASSERT_TRUE(openSharedForReading(stream, path));
  EXPECT_TRUE(stream.good());
  EXPECT_EQ('x', stream.get());
  stream.close();
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace facefeature_test
