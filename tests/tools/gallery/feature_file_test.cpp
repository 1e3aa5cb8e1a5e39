#include "gallery/feature_file.h"

#include <gtest/gtest.h>

#include <string>

#include "base/failure.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using facefeature_tools::Failure;
using facefeature_tools::readFeatureFile;
using facefeature_tools::writeFeatureFile;

std::string path() { return privateTempFolder() + "/face.feature"; }

TEST(FeatureFile, HoldsTheFloatsLittleEndianAndNothingElse) {
  FeatureVector feature = {};
  feature.values[0] = floatOfBits(0x01020304);
  feature.values[501] = floatOfBits(0xA0B0C0D0);
  writeFeatureFile(path(), feature);
  const std::string bytes = contentOf(path());
  ASSERT_EQ(2008u, bytes.size());
  EXPECT_EQ("\x04\x03\x02\x01", bytes.substr(0, 4));
  EXPECT_EQ(std::string(2000, '\0'), bytes.substr(4, 2000));
  EXPECT_EQ("\xD0\xC0\xB0\xA0", bytes.substr(2004));
}

TEST(FeatureFile, IsReadBackBitForBit) {
  SeededRandom random;
  FeatureVector feature;
  for (float& value : feature.values) value = random.chance(5) ? random.special() : random.normal();
  writeFeatureFile(path(), feature);
  const FeatureVector again = readFeatureFile(path());
  for (int i = 0; i < kFeatureFloats; ++i) {
    EXPECT_EQ(bitsOf(feature.values[i]), bitsOf(again.values[i])) << i;
  }
}

TEST(FeatureFile, ReplacesALongerFile) {
  writeText(path(), std::string(5000, 'x'));
  writeFeatureFile(path(), FeatureVector());
  EXPECT_EQ(2008u, contentOf(path()).size());
}

TEST(FeatureFile, OfAnotherSizeIsRefused) {
  for (const size_t size : {0u, 4u, 2000u, 2007u, 2009u, 4016u}) {
    writeText(path(), std::string(size, '\0'));
    try {
      readFeatureFile(path());
      ADD_FAILURE() << size;
    } catch (const Failure& failure) {
      EXPECT_EQ(facefeature_tools::kBadInput, failure.code());
      EXPECT_EQ(path() + ": has " + std::to_string(size) +
                    " bytes, but a feature has 2008. Make feature files with \"facefeature "
                    "extract\".",
                failure.what());
    }
  }
}

TEST(FeatureFile, FileThatCannotBeWrittenIsNamed) {
  const std::string nowhere = privateTempFolder() + "/none/face.feature";
  try {
    writeFeatureFile(nowhere, FeatureVector());
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(facefeature_tools::kFailed, failure.code());
    EXPECT_EQ(0u, std::string(failure.what()).find(nowhere + ": can't be created: "));
  }
}

#if !defined(_WIN32)
// Windows has no device that is always full.
TEST(FeatureFile, FullDiskIsNoticed) {
  EXPECT_THROW(writeFeatureFile("/dev/full", FeatureVector()), Failure);
}
#endif

}  // namespace
}  // namespace facefeature_test
