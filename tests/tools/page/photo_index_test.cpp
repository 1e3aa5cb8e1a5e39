#include "page/photo_index.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using namespace facefeature_tools;

class PhotoIndexTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(folder);
    fs::create_directories(folder + "/below");
  }
  void TearDown() override { fs::remove_all(folder); }

  const std::string folder = privateTempFolder() + "/photographs";
  const std::string picture = std::string("P6\n2 1\n255\n") + "abcdef";
};

TEST_F(PhotoIndexTest, FindsFilesOfAFolderByTheirNameWithOrWithoutItsEnding) {
  writeText(folder + "/a.ppm", picture);
  writeText(folder + "/below/b.jpg", picture);
  const PhotoIndex index(folder);
  EXPECT_EQ(fs::path(folder + "/a.ppm"), fs::path(index.pathOf("a").value()));
  EXPECT_EQ(fs::path(folder + "/a.ppm"), fs::path(index.pathOf("a.ppm").value()));
  EXPECT_EQ(fs::path(folder + "/below/b.jpg"), fs::path(index.pathOf("below/b").value()));
  EXPECT_FALSE(index.pathOf("c"));
  EXPECT_FALSE(index.pathOf("below"));
}

TEST_F(PhotoIndexTest, FindsPhotographsOfAListBesideIt) {
  writeText(folder + "/list.csv", "id,photo\nAda 1,below/x.jpg\n");
  const PhotoIndex index(folder + "/list.csv");
  EXPECT_EQ(fs::path(folder + "/below/x.jpg"), fs::path(index.pathOf("Ada 1").value()));
  EXPECT_FALSE(index.pathOf("Ada"));
}

TEST_F(PhotoIndexTest, EmbedsAJpegAndCountsWhatCantBeRead) {
  writeText(folder + "/a.ppm", picture);
  writeText(folder + "/b.ppm", "no picture");
  const PhotoIndex index(folder);
  // The first bytes of every JPEG file, FF D8 FF.
  EXPECT_EQ(0u, index.thumbnailUri("a", 100).find("data:image/jpeg;base64,/9j/"));
  EXPECT_EQ("", index.thumbnailUri("missing", 100));
  EXPECT_EQ(0u, index.unreadable());
  EXPECT_EQ("", index.thumbnailUri("b", 100));
  EXPECT_EQ(1u, index.unreadable());
}

TEST_F(PhotoIndexTest, WithoutPhotographsFindsNone) {
  EXPECT_FALSE(PhotoIndex().pathOf("photographs"));
  EXPECT_EQ("", PhotoIndex().thumbnailUri("a", 10));
}

}  // namespace
}  // namespace facefeature_test
