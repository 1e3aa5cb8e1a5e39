// Galleries byte by byte, and the damage that is refused.
#include "gallery/gallery_file.h"

#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <csignal>
#include <cstring>
#include <filesystem>

#include "base/failure.h"
#include "base/sha256.h"
#include "support/bits.h"
#include "support/seeded_random.h"
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

  // The error of the current file, or nothing.
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

std::string digestOf(const std::string& bytes) {
  facefeature_tools::Sha256 sha;
  sha.add(bytes.data(), bytes.size());
  const facefeature_tools::Digest digest = sha.digest();
  return std::string(digest.begin(), digest.end());
}

TEST_F(GalleryFile, HasEveryByteWhereReadersExpectIt) {
  SeededRandom random;
  std::vector<std::string> ids = {"a", "b\xC3\xA9", "third, \"3\""};
  // Enough rows for a second block of digests.
  for (int i = 3; i < 40; ++i) ids.push_back(std::to_string(i));
  const auto features = writeRandomGallery(path, ids, random);

  std::string data = raw64(0);
  std::string text;
  for (const std::string& id : ids) data += raw64((text += id).size());
  data = padded(data + text, (data.size() + text.size() + 63) / 64 * 64);
  const uint64_t featuresAt = 12288 + data.size();
  for (const FeatureVector& feature : features) {
    for (const float value : feature.values) data += raw32(bitsOf(value));
  }
  ASSERT_GT(data.size(), 65536u);
  ASSERT_LT(data.size(), 131072u);
  const std::string digests = digestOf(data.substr(0, 65536)) + digestOf(data.substr(65536));
  const uint64_t digestsAt = 12288 + data.size();
  const uint64_t trailerAt = (digestsAt + digests.size() + 63) / 64 * 64;
  std::string end = padded(digests, trailerAt - digestsAt);
  end += "FFSEGMNT" + raw32(1) + raw32(256) + raw64(12288) + raw64(40) + raw64(12288) +
         raw64(8 * 41 + text.size()) + raw64(featuresAt) + raw64(digestsAt) + raw64(0);
  end = padded(end, trailerAt - digestsAt + 224);
  end += digestOf(end);

  const std::string header = padded("FFGALLRY" + raw32(2) + raw32(12288) + raw64(0) + raw32(502) +
                                        raw32(0) + std::string(32, '\7'),
                                    256);
  std::string root = raw64(1) + raw64(trailerAt + 256) + raw64(40) + raw64(1) + raw64(trailerAt);
  root = padded(padded(root, 64) + padded("1.2.3", 64) + padded("Somecore", 64), 224);
  root += digestOf(header + root);
  EXPECT_EQ(padded(header, 4096) + padded(root, 4096) + padded(root, 4096) + data + end,
            contentOf(path));
  EXPECT_FALSE(fs::exists(path + ".part"));
}

TEST_F(GalleryFile, IsReadAsItWasWritten) {
  SeededRandom random;
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

TEST_F(GalleryFile, KeepsEveryBitOfSpecialFloats) {
  SeededRandom random;
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
  SeededRandom random;
  writeRandomGallery(path, {"a", "b"}, random);
  const std::string whole = contentOf(path);
  for (size_t size = 0; size < whole.size(); size += size < 64 ? 1 : 397) {
    EXPECT_NE("", faultOf(whole.substr(0, size))) << size;
  }
  EXPECT_NE("", faultOf(whole.substr(0, whole.size() - 1)));
  EXPECT_EQ("", faultOf(whole));
}

TEST_F(GalleryFile, BytesOfAnUnfinishedChangeAreIgnored) {
  SeededRandom random;
  writeRandomGallery(path, {"a", "b"}, random);
  EXPECT_EQ("", faultOf(contentOf(path) + "what a killed process has left"));
  EXPECT_EQ(2u, Gallery(path).count());
}

TEST_F(GalleryFile, AChangedByteOfTheHeaderOrATrailerIsRefused) {
  SeededRandom random;
  writeRandomGallery(path, {"a", "b"}, random);
  const std::string whole = contentOf(path);
  const auto changedAt = [&](size_t at) {
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ (1 << random.integer(0, 7)));
    return faultOf(changed);
  };
  for (size_t at = 0; at < 256; ++at) EXPECT_NE("", changedAt(at)) << at;
  for (size_t at = whole.size() - 320; at < whole.size(); ++at) EXPECT_NE("", changedAt(at)) << at;
  EXPECT_NE(std::string::npos, changedAt(0).find(": is not a gallery. "));
  std::string other = whole;
  other[8] = 3;
  EXPECT_NE(std::string::npos, faultOf(other).find(": is a gallery of version 3, "));
}

TEST_F(GalleryFile, OneDamagedRootIsReplacedByTheOther) {
  SeededRandom random;
  writeRandomGallery(path, {"a", "b"}, random);
  const std::string whole = contentOf(path);
  for (const size_t root : {size_t{4096}, size_t{8192}}) {
    for (size_t at = root; at < root + 256; at += 5) {
      std::string changed = whole;
      changed[at] = static_cast<char>(~changed[at]);
      EXPECT_EQ("", faultOf(changed)) << at;
      changed[12288 - root + at % 4096] = static_cast<char>(~changed[12288 - root + at % 4096]);
      EXPECT_NE(std::string::npos, faultOf(changed).find(": has a damaged header: neither"));
    }
  }
}

// A digest detects accidents only: anyone who can compute it can write any numbers.
TEST_F(GalleryFile, WrongNumbersUnderGoodDigestsNeverReachBeyondTheFile) {
  SeededRandom random;
  writeRandomGallery(path, {"a", "bb", "ccc"}, random);
  const std::string whole = contentOf(path);
  const size_t trailer = whole.size() - 256;
  const size_t digests = Gallery(path).segments()[0].digestsAt;
  const auto reseal = [&](std::string& bytes) {
    bytes.replace(trailer + 224, 32, digestOf(bytes.substr(digests, trailer + 224 - digests)));
    for (const size_t root : {size_t{4096}, size_t{8192}}) {
      bytes.replace(root + 224, 32, digestOf(bytes.substr(0, 256) + bytes.substr(root, 224)));
    }
  };
  std::string same = whole;
  reseal(same);
  ASSERT_TRUE(same == whole) << "the digests are somewhere else";
  int opened = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string changed = whole;
    const uint64_t numbers[] = {0,
                                1,
                                3,
                                64,
                                256,
                                12288,
                                trailer,
                                whole.size(),
                                uint64_t{1} << 61,
                                UINT64_MAX / 8,
                                UINT64_MAX - 255,
                                UINT64_MAX};
    for (int i = random.integer(1, 2); i > 0; --i) {
      const std::string number = raw64(numbers[random.integer(0, 11)]);
      const size_t field = 8 * static_cast<size_t>(random.integer(0, 9));
      const int32_t where = random.integer(0, 2);
      if (where == 0) changed.replace(trailer + field, 8, number);
      if (where == 1) changed.replace(12288 + field % 32, 8, number);
      if (where == 2) {
        changed.replace(4096 + field, 8, number);
        changed.replace(8192 + field, 8, number);
      }
    }
    reseal(changed);
    writeText(path, changed);
    try {
      const Gallery gallery(path);
      ++opened;
      for (size_t row = 0; row < gallery.count(); ++row) {
        EXPECT_LE(gallery.id(row).size(), 300u);
        gallery.feature(row);
      }
    } catch (const Failure&) {
    }
  }
  EXPECT_GT(opened, 0);
}

TEST_F(GalleryFile, FoldersAndMissingFilesAreRefused) {
  EXPECT_NE(std::string::npos, fault().find(": can't be opened: "));
  fs::create_directories(path);
  EXPECT_NE(std::string::npos, fault().find(": is not a regular file. "));
}

TEST_F(GalleryFile, ThatIsNotFinishedLeavesTheEarlierFile) {
  SeededRandom random;
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
TEST_F(GalleryFile, ThatOutgrowsTheDiskIsNamedAndLeavesTheEarlierFile) {
  SeededRandom random;
  writeRandomGallery(path, {"a"}, random);
  const std::string before = contentOf(path);
  // A limit on the file size acts like a full disk.
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
