// Galleries byte by byte, and what of a damaged one is refused.
#include "gallery/gallery_file.h"

#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <csignal>
#include <cstring>
#include <filesystem>

#include "base/failure.h"
#include "support/bits.h"
#include "tools/gallery/random_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::Failure;
using facefeature_tools::Gallery;

class GalleryFile : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
  }
  void TearDown() override { fs::remove_all(base); }

  // What is wrong with the file as it stands, or nothing.
  std::string fault() const {
    try {
      const Gallery gallery(path);
      return "";
    } catch (const Failure& failure) {
      EXPECT_EQ(facefeature_tools::kBadInput, failure.code());
      return failure.what();
    }
  }

  std::string faultOf(const std::string& bytes) const {
    writeText(path, bytes);
    return fault();
  }

  const std::string base = privateTempFolder() + "/gallery_file";
  const std::string path = base + "/faces.gallery";
};

// Least significant byte first.
std::string raw(uint64_t number, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i));
  return text;
}

std::string raw32(uint32_t number) { return raw(number, 4); }
std::string raw64(uint64_t number) { return raw(number, 8); }

std::string padded(std::string text, size_t size) {
  text.resize(size);
  return text;
}

TEST_F(GalleryFile, HasEveryByteWhereReadersExpectIt) {
  Random random = seededRandom();
  SCOPED_TRACE(random.trace());
  const auto features = writeRandomGallery(path, {"a", "b\xC3\xA9", "third, \"3\""}, random);
  std::string wanted = "FFGALLRY" + raw32(1) + raw32(256) + raw64(3) + raw32(502) + raw32(0) +
                       std::string(32, '\7') + padded("1.2.3", 64) + padded("Somecore", 64) +
                       raw64(256) + raw64(8 * 4 + 14) + raw64(320) + std::string(40, '\0');
  ASSERT_EQ(256u, wanted.size());
  wanted += raw64(0) + raw64(1) + raw64(4) + raw64(14);
  wanted += "ab\xC3\xA9third, \"3\"";
  wanted.resize(320);
  for (const FeatureVector& feature : features) {
    for (const float value : feature.values) wanted += raw32(bitsOf(value));
  }
  EXPECT_EQ(wanted, contentOf(path));
  EXPECT_FALSE(fs::exists(path + ".part"));
}

TEST_F(GalleryFile, GivesBackWhatWasWritten) {
  Random random = seededRandom();
  SCOPED_TRACE(random.trace());
  for (int32_t count = 0; count < 40; count += 3) {
    std::vector<std::string> ids;
    for (int32_t i = 0; i < count; ++i) {
      const size_t length = static_cast<size_t>(random.integer(0, 70));
      ids.push_back("id" + std::to_string(i) + std::string(length, 'x'));
    }
    const auto features = writeRandomGallery(path, ids, random);
    const Gallery gallery(path);
    ASSERT_EQ(ids.size(), gallery.count());
    EXPECT_EQ(originOf(7).model, gallery.origin().model);
    EXPECT_EQ("1.2.3", gallery.origin().libraryVersion);
    EXPECT_EQ("Somecore", gallery.origin().blasCore);
    for (size_t row = 0; row < ids.size(); ++row) {
      EXPECT_EQ(ids[row], gallery.id(row));
      EXPECT_EQ(row, gallery.find(ids[row]));
      const FeatureVector feature = gallery.feature(row);
      EXPECT_TRUE(sameFloats(features[row].values, feature.values, 502));
    }
    EXPECT_FALSE(gallery.find("id"));
  }
}

TEST_F(GalleryFile, KeepsEveryBitOfAwkwardFloats) {
  Random random = seededRandom();
  SCOPED_TRACE(random.trace());
  FeatureVector feature;
  for (float& value : feature.values) {
    value = floatOfBits(static_cast<uint32_t>(random.next() >> 32));
  }
  facefeature_tools::GalleryWriter writer(path, originOf(1), {"noise"});
  writer.add(feature);
  writer.finish();
  const FeatureVector read = Gallery(path).feature(0);
  EXPECT_EQ(0, std::memcmp(&feature, &read, sizeof read));
}

TEST_F(GalleryFile, TextsOfTheOriginThatAreTooLongAreCutBeforeTheirNul) {
  auto origin = originOf(1);
  origin.blasCore = std::string(100, 'c');
  facefeature_tools::GalleryWriter writer(path, origin, {});
  writer.finish();
  EXPECT_EQ(std::string(63, 'c'), Gallery(path).origin().blasCore);
}

TEST_F(GalleryFile, CutShortAnywhereIsRefused) {
  Random random = seededRandom();
  SCOPED_TRACE(random.trace());
  writeRandomGallery(path, {"a", "b"}, random);
  const std::string whole = contentOf(path);
  for (size_t size = 0; size < whole.size(); size += size < 400 ? 1 : 97) {
    EXPECT_NE("", faultOf(whole.substr(0, size))) << size;
  }
  EXPECT_NE("", faultOf(whole.substr(0, whole.size() - 1)));
  EXPECT_NE("", faultOf(whole + '\0'));
  EXPECT_EQ("", faultOf(whole));
}

TEST_F(GalleryFile, WrongNumbersInTheHeaderAreRefused) {
  Random random = seededRandom();
  SCOPED_TRACE(random.trace());
  writeRandomGallery(path, {"a", "b"}, random);
  const std::string whole = contentOf(path);
  const auto with = [&](size_t at, const std::string& bytes) {
    std::string changed = whole;
    changed.replace(at, bytes.size(), bytes);
    return faultOf(changed);
  };
  EXPECT_NE(std::string::npos, with(0, "f").find(": is no gallery. "));
  EXPECT_NE(std::string::npos, with(8, "\2").find(": is a gallery of version 2, "));
  EXPECT_NE("", with(12, "\1"));
  EXPECT_NE("", with(24, raw32(501)));
  const uint64_t huge[] = {0, 1, 3, 1u << 20, uint64_t{1} << 61, UINT64_MAX / 8, UINT64_MAX};
  for (const uint64_t number : huge) {
    EXPECT_NE("", with(16, raw64(number))) << number;
    EXPECT_NE("", with(192, raw64(number))) << number;
    EXPECT_NE("", with(200, raw64(number))) << number;
    EXPECT_NE("", with(208, raw64(number))) << number;
    EXPECT_NE("", with(256, raw64(number | 1))) << number;
    if (number > 1) {
      EXPECT_NE("", with(264, raw64(number))) << number;
    }
    EXPECT_NE("", with(272, raw64(number))) << number;
  }
  EXPECT_NE(std::string::npos, with(280, "\n").find(": has damaged ids. "));
  EXPECT_NE("", with(280, "\xFF"));
}

TEST_F(GalleryFile, ChangedBytesNeverReachBeyondTheFile) {
  Random random = seededRandom();
  SCOPED_TRACE(random.trace());
  writeRandomGallery(path, {"a", "bb", "ccc"}, random);
  const std::string whole = contentOf(path);
  for (int round = 0; round < 500; ++round) {
    std::string changed = whole;
    for (int i = random.integer(1, 4); i > 0; --i) {
      changed[static_cast<size_t>(random.integer(8, 300))] =
          static_cast<char>(random.chance(50) ? 0 : random.next() >> 56);
    }
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

TEST_F(GalleryFile, FoldersAndMissingFilesAreRefused) {
  EXPECT_NE(std::string::npos, fault().find(": can't be opened: "));
  fs::create_directories(path);
  EXPECT_NE(std::string::npos, fault().find(": is no ordinary file. "));
}

TEST_F(GalleryFile, ThatIsNotFinishedLeavesWhatWasThere) {
  Random random = seededRandom();
  writeRandomGallery(path, {"a"}, random);
  const std::string before = contentOf(path);
  {
    facefeature_tools::GalleryWriter writer(path, originOf(2), {"b", "c"});
    writer.add(randomFeature(random));
    EXPECT_TRUE(fs::exists(path + ".part"));
  }
  EXPECT_EQ(before, contentOf(path));
  EXPECT_FALSE(fs::exists(path + ".part"));
}

#if !defined(_WIN32)
// Windows has no such limit.
TEST_F(GalleryFile, ThatOutgrowsTheDiskNamesTheFileAndLeavesWhatWasThere) {
  Random random = seededRandom();
  writeRandomGallery(path, {"a"}, random);
  const std::string before = contentOf(path);
  // A limit on the size of files is as good as a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old = {};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &old));
  const rlimit small = {4096, old.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  try {
    writeRandomGallery(path, std::vector<std::string>{"a", "b", "c", "d", "e"}, random);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const Failure& failure) {
    EXPECT_EQ(facefeature_tools::kFailed, failure.code());
    EXPECT_NE(std::string::npos, std::string(failure.what()).find(".part: can't be written: "));
  }
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_EQ(before, contentOf(path));
  EXPECT_FALSE(fs::exists(path + ".part"));
}
#endif

TEST(GalleryOrigin, OfSeveralProcessorsNamesEachOnce) {
  using facefeature_tools::joinedOrigin;
  auto a = originOf(1);
  auto b = originOf(1);
  EXPECT_EQ("Somecore", joinedOrigin(a, b).blasCore);
  b.blasCore = "Another";
  const auto both = joinedOrigin(a, b);
  EXPECT_EQ("Another+Somecore", both.blasCore);
  EXPECT_EQ("1.2.3", both.libraryVersion);
  EXPECT_EQ("Another+Somecore", joinedOrigin(both, a).blasCore);
  EXPECT_EQ("Another+Somecore", joinedOrigin(b, both).blasCore);
  a.blasCore = std::string(60, 'x');
  EXPECT_EQ("several", joinedOrigin(a, b).blasCore);
}

TEST(GalleryOrigin, OfThisProgramNamesItsProcessor) {
  const auto origin = facefeature_tools::ownOrigin({});
  EXPECT_NE("", origin.blasCore);
  EXPECT_EQ(std::string::npos, origin.blasCore.find(' '));
  EXPECT_NE("", origin.libraryVersion);
}

}  // namespace
}  // namespace facefeature_test
