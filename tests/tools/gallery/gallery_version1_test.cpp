// Galleries of version 1, which this program still reads.
#include <gtest/gtest.h>

#include <filesystem>

#include "base/failure.h"
#include "gallery/gallery_file.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/gallery/version1_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::Failure;
using facefeature_tools::Gallery;

class GalleryVersion1 : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
    for (int i = 0; i < 3; ++i) features.push_back(randomFeature(random));
    whole = version1Bytes({"a", "b\xC3\xA9", "third, \"3\""}, features);
  }
  void TearDown() override { fs::remove_all(base); }

  std::string faultOf(const std::string& bytes) const {
    writeText(path, bytes);
    try {
      const Gallery gallery(path);
      return "";
    } catch (const Failure& failure) {
      EXPECT_EQ(facefeature_tools::kBadInput, failure.code());
      return failure.what();
    }
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/gallery_version1";
  const std::string path = base + "/faces.gallery";
  std::vector<FeatureVector> features;
  std::string whole;
};

TEST_F(GalleryVersion1, IsReadAsItWasWritten) {
  EXPECT_EQ("", faultOf(whole));
  const Gallery gallery(path);
  EXPECT_EQ(1u, gallery.version());
  ASSERT_EQ(3u, gallery.count());
  EXPECT_EQ("third, \"3\"", gallery.id(2));
  EXPECT_EQ(originOf(7).model, gallery.origin().model);
  EXPECT_EQ("1.2.3", gallery.origin().libraryVersion);
  EXPECT_EQ("Somecore", gallery.origin().blasCore);
  for (size_t row = 0; row < 3; ++row) {
    EXPECT_TRUE(sameFloats(features[row].values, gallery.feature(row).values, 502));
  }
  ASSERT_EQ(1u, gallery.runs().size());
  EXPECT_EQ(3u, gallery.runs()[0].count);
}

TEST_F(GalleryVersion1, WithoutRowsIsEmpty) {
  EXPECT_EQ("", faultOf(version1Bytes({}, {})));
  EXPECT_EQ(0u, Gallery(path).count());
  EXPECT_TRUE(Gallery(path).runs().empty());
}

TEST_F(GalleryVersion1, CutShortOrTooLongIsRefused) {
  for (size_t size = 0; size < whole.size(); size += size < 400 ? 1 : 97) {
    EXPECT_NE("", faultOf(whole.substr(0, size))) << size;
  }
  EXPECT_NE("", faultOf(whole.substr(0, whole.size() - 1)));
  EXPECT_NE("", faultOf(whole + '\0'));
}

TEST_F(GalleryVersion1, WrongNumbersInTheHeaderAreRefused) {
  const auto with = [&](size_t at, const std::string& bytes) {
    std::string changed = whole;
    changed.replace(at, bytes.size(), bytes);
    return faultOf(changed);
  };
  EXPECT_NE("", with(12, "\1"));
  EXPECT_NE("", with(24, littleEndian(501, 4)));
  const uint64_t huge[] = {0, 1, 5, 1u << 20, uint64_t{1} << 61, UINT64_MAX / 8, UINT64_MAX};
  for (const uint64_t number : huge) {
    for (const size_t at : {16, 192, 200, 208}) {
      EXPECT_NE("", with(at, littleEndian(number, 8))) << number << " at " << at;
    }
    EXPECT_NE("", with(256, littleEndian(number | 1, 8))) << number;
    EXPECT_NE("", with(280, littleEndian(number, 8))) << number;
  }
  EXPECT_NE(std::string::npos, with(288, "\n").find(": has damaged ids. "));
  EXPECT_NE("", with(288, "\xFF"));
}

TEST_F(GalleryVersion1, ChangedBytesNeverReachBeyondTheFile) {
  for (int round = 0; round < 500; ++round) {
    std::string changed = whole;
    for (int i = random.integer(1, 4); i > 0; --i) {
      changed[static_cast<size_t>(random.integer(8, 300))] =
          static_cast<char>(random.chance(50) ? 0 : random.next() >> 56);
    }
    if (changed[8] == 2) continue;
    writeText(path, changed);
    try {
      const Gallery gallery(path);
      for (size_t row = 0; row < gallery.count(); ++row) {
        EXPECT_LE(gallery.id(row).size(), 300u);
        gallery.feature(row);
      }
    } catch (const Failure&) {
    }
  }
}

}  // namespace
}  // namespace facefeature_test
