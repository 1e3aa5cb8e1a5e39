// Lists of photographs, their ids and their shards.
#include "batch/photo_list.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "base/failure.h"
#include "base/identifier.h"
#include "support/environment.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using facefeature_tools::Failure;
using facefeature_tools::identifierFault;
using facefeature_tools::parseShard;
using facefeature_tools::PhotoEntry;
using facefeature_tools::readPhotoList;
using facefeature_tools::shardOf;

class PhotoList : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(base); }
  void TearDown() override { std::filesystem::remove_all(base); }

  std::vector<PhotoEntry> read(const std::string& text) const {
    writeText(path, text);
    return readPhotoList(path);
  }

  std::string faultOf(const std::string& text) const {
    try {
      read(text);
      return "";
    } catch (const Failure& failure) {
      EXPECT_EQ(facefeature_tools::kBadInput, failure.code());
      return failure.what();
    }
  }

  const std::string base = privateTempFolder() + "/photo_list";
  const std::string path = base + "/list.csv";
};

TEST_F(PhotoList, PathsStartInTheFolderOfTheList) {
  const std::string elsewhere =
      std::filesystem::absolute("/pictures/two.png").make_preferred().string();
  const auto entries = read("a,one.jpg,one.json\nb," + elsewhere + ",sub/two.json\n");
  ASSERT_EQ(2u, entries.size());
  EXPECT_EQ("a", entries[0].id);
  EXPECT_EQ(base + kSeparator + "one.jpg", entries[0].photo);
  EXPECT_EQ(base + kSeparator + "one.json", entries[0].landmarks);
  EXPECT_EQ(elsewhere, entries[1].photo);
  EXPECT_EQ(base + kSeparator + "sub/two.json", entries[1].landmarks);
}

TEST_F(PhotoList, HeadingIsOptional) {
  EXPECT_EQ(1u, read("id,photo,landmarks\na,p,l\n").size());
  EXPECT_EQ(1u, read("id,photo\na,p\n").size());
  EXPECT_EQ(2u, read("name,photo,landmarks\na,p,l\n").size());
  EXPECT_EQ(0u, read("id,photo\n").size());
  EXPECT_EQ(0u, read("").size());
}

TEST_F(PhotoList, LandmarksMayBeLeftOut) {
  const auto entries = read("a,p\nb,q,\n");
  EXPECT_EQ("", entries[0].landmarks);
  EXPECT_EQ("", entries[1].landmarks);
}

TEST_F(PhotoList, BadRowsAreNamedWithTheirLine) {
  EXPECT_NE(std::string::npos, faultOf("a,p,l\nb\n").find(path + ": line 2 has 1 fields, not "));
  EXPECT_NE(std::string::npos, faultOf("a,p,l,m\n").find(": line 1 has 4 fields, not "));
  EXPECT_NE(std::string::npos, faultOf(",p,l\n").find(": line 1 has an id that is empty. "));
  EXPECT_NE(std::string::npos, faultOf("a,,l\n").find(": line 1 does not name a photograph. "));
  EXPECT_NE(std::string::npos, faultOf("a,p\nb,p\na,q\n").find(": line 3 repeats the id a. "));
  EXPECT_NE(std::string::npos, faultOf("a,\"p\n").find(": line 1 has a quote that is not "));
  EXPECT_NE(std::string::npos,
            faultOf(std::string("a,p\0q\n", 6)).find(": line 1 contains a NUL character. "));
}

TEST(Identifier, IsOneLineOfUtf8) {
  EXPECT_EQ("", identifierFault("a"));
  EXPECT_EQ("", identifierFault("J\xC3\xBCrgen #2, \"x\" \xF0\x9F\x98\x80"));
  EXPECT_EQ("", identifierFault(std::string(1024, 'a')));
  EXPECT_EQ("is empty", identifierFault(""));
  EXPECT_EQ("has more than 1024 bytes", identifierFault(std::string(1025, 'a')));
  for (const char* text : {"a\nb", "\x1F", "\x7F", "\t"}) {
    EXPECT_EQ("contains a control character", identifierFault(text));
  }
  // Truncated, starting with a continuation byte, overlong, a single surrogate, above the last code
  // point.
  for (const char* text : {"\xC3", "\xA9", "\xC1\x81", "\xE0\x80\x80", "\xE0\x9F\xBF",
                           "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF0\x9F\x98",
                           "\xE2\x28\xA1", "\xF0\x8F\xBF\xBF"}) {
    EXPECT_EQ("is not UTF-8", identifierFault(text));
  }
}

TEST(Shards, OneAfterTheOtherAreTheList) {
  std::vector<PhotoEntry> entries;
  for (int i = 0; i < 23; ++i) entries.push_back({std::to_string(i), "p", "l"});
  for (size_t count = 1; count <= 30; ++count) {
    size_t next = 0;
    for (size_t number = 1; number <= count; ++number) {
      const auto part = shardOf(entries, {number, count});
      EXPECT_LE(part.size(), (23 + count - 1) / count);
      EXPECT_GE(part.size(), 23 / count);
      for (const PhotoEntry& entry : part) EXPECT_EQ(std::to_string(next++), entry.id);
    }
    EXPECT_EQ(23u, next);
  }
}

TEST(Shards, AreReadFromTwoNumbers) {
  EXPECT_EQ(2u, parseShard("2/10").number);
  EXPECT_EQ(10u, parseShard("2/10").count);
  for (const char* text : {"", "/", "1", "1/", "/2", "0/2", "3/2", "1/0", "-1/2", "1/2x", "1 /2",
                           "a/b", "1/99999999999999999999", "1/1000001"}) {
    EXPECT_THROW(parseShard(text), std::invalid_argument) << text;
  }
}

}  // namespace
}  // namespace facefeature_test
