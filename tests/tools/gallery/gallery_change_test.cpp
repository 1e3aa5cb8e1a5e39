// Adds and removes rows, and compares the gallery with a list that has the same changes.
#include "gallery/gallery_change.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "base/failure.h"
#include "base/file_lock.h"
#include "gallery/gallery_verify.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/gallery/version1_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using namespace facefeature_tools;

struct Row {
  std::string id;
  FeatureVector feature;
};

class GalleryChange : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
  }
  void TearDown() override { fs::remove_all(base); }

  Row newRow() { return {"id " + std::to_string(nextId++), randomFeature(random)}; }

  void writeRows(size_t count) {
    std::vector<std::string> ids;
    for (size_t i = 0; i < count; ++i) {
      rows.push_back(newRow());
      ids.push_back(rows.back().id);
    }
    GalleryWriter writer(path, originOf(7), ids);
    for (const Row& row : rows) writer.add(row.feature);
    writer.finish();
  }

  NewRows newRows(const std::vector<Row>& added) {
    NewRows result;
    for (const Row& row : added) result.ids.push_back(row.id);
    result.feature = [added](size_t i) { return added[i].feature; };
    result.origin = originOf(7);
    return result;
  }

  // Makes a random change to the file and to the list.
  void changeBoth(bool rewrites) {
    std::vector<size_t> removed;
    std::vector<Row> stay, added;
    const int32_t share = random.integer(0, 40);
    for (size_t row = 0; row < rows.size(); ++row) {
      if (random.chance(share)) {
        removed.push_back(row);
      } else {
        stay.push_back(rows[row]);
      }
    }
    for (int32_t i = random.integer(0, 40); i > 0; --i) added.push_back(newRow());
    if (!removed.empty() && random.chance(50)) {
      // The id of a removed row can be reused.
      added.push_back(newRow());
      added.back().id = rows[removed.front()].id;
    }
    (rewrites ? rewriteGallery : changeGallery)(Gallery(path), removed, newRows(added));
    rows = stay;
    rows.insert(rows.end(), added.begin(), added.end());
  }

  void expectRows(const Gallery& gallery) const {
    ASSERT_EQ(rows.size(), gallery.count());
    for (size_t row = 0; row < rows.size(); ++row) {
      ASSERT_EQ(rows[row].id, gallery.id(row));
      ASSERT_TRUE(sameFloats(rows[row].feature.values, gallery.feature(row).values, 502));
    }
    size_t next = 0;
    for (const FeatureRun& run : gallery.runs()) {
      ASSERT_EQ(next, run.firstRow);
      for (size_t i = 0; i < run.count; ++i) {
        ASSERT_EQ(0, std::memcmp(run.features + 2008 * i, &rows[next + i].feature, 2008));
      }
      next += run.count;
    }
    ASSERT_EQ(rows.size(), next);
    EXPECT_TRUE(galleryFaults(gallery).empty());
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/gallery_change";
  const std::string path = base + "/faces.gallery";
  std::vector<Row> rows;
  int nextId = 1;
};

TEST_F(GalleryChange, ManyChangesLeaveTheRowsOfTheList) {
  for (const size_t count : {0u, 1u, 50u}) {
    rows.clear();
    writeRows(count);
    for (int round = 0; round < 25; ++round) {
      changeBoth(random.chance(10));
      expectRows(Gallery(path));
      if (HasFatalFailure()) return;
    }
  }
}

TEST_F(GalleryChange, OfVersion1MakesVersion2) {
  std::vector<FeatureVector> features;
  std::vector<std::string> ids;
  for (int i = 0; i < 5; ++i) {
    rows.push_back(newRow());
    ids.push_back(rows.back().id);
    features.push_back(rows.back().feature);
  }
  writeText(path, version1Bytes(ids, features));
  changeBoth(false);
  EXPECT_EQ(2u, Gallery(path).version());
  expectRows(Gallery(path));
}

TEST_F(GalleryChange, OnlyAppends) {
  writeRows(10);
  const std::string before = contentOf(path);
  const std::vector<Row> added = {newRow()};
  changeGallery(Gallery(path), {3}, newRows(added));
  const std::string after = contentOf(path);
  EXPECT_EQ(before.substr(12288), after.substr(12288, before.size() - 12288));
  EXPECT_EQ(before.substr(0, 4096), after.substr(0, 4096));
  // A feature, an id, digests and two trailers, but not the ten features of the gallery.
  EXPECT_LT(after.size() - before.size(), 3500u);
}

TEST_F(GalleryChange, OfNothingWritesNothing) {
  writeRows(3);
  const std::string before = contentOf(path);
  changeGallery(Gallery(path), {}, newRows({}));
  EXPECT_EQ(before, contentOf(path));
}

TEST_F(GalleryChange, ThatFailsLeavesTheGallery) {
  writeRows(3);
  NewRows bad = newRows({newRow(), newRow()});
  bad.feature = [](size_t i) -> FeatureVector {
    if (i == 1) throw Failure(kBadInput, "second", "can't be read", "Try another");
    return {};
  };
  EXPECT_THROW(changeGallery(Gallery(path), {0}, bad), Failure);
  expectRows(Gallery(path));
  // Its leftovers are not part of the gallery, and the next change removes them.
  changeBoth(false);
  expectRows(Gallery(path));
}

TEST_F(GalleryChange, AReaderKeepsTheStateThatItHasOpened) {
  writeRows(20);
  const Gallery reader(path);
  const std::vector<Row> before = rows;
  changeBoth(false);
#if defined(_WIN32)
  // A file that is mapped can't be replaced there.
  const std::string changed = contentOf(path);
  EXPECT_THROW(rewriteGallery(Gallery(path), {}, newRows({})), Failure);
  EXPECT_EQ(changed, contentOf(path));
  EXPECT_FALSE(fs::exists(path + ".part"));
#else
  changeBoth(true);
#endif
  changeBoth(false);
  expectRows(Gallery(path));
  rows = before;
  ASSERT_EQ(rows.size(), reader.count());
  for (size_t row = 0; row < rows.size(); ++row) {
    EXPECT_EQ(rows[row].id, reader.id(row));
    EXPECT_TRUE(sameFloats(rows[row].feature.values, reader.feature(row).values, 502));
  }
}

TEST_F(GalleryChange, JoinsTheOriginsOfItsRows) {
  writeRows(2);
  NewRows added = newRows({newRow()});
  added.origin.blasCore = "Another";
  changeGallery(Gallery(path), {}, added);
  EXPECT_EQ("Another+Somecore", Gallery(path).origin().blasCore);
}

// A process that is killed between its last two writes leaves a single copy of the root.
TEST_F(GalleryChange, FirstOverwritesTheCopyOfTheRootThatIsNotInUse) {
  writeRows(4);
  const std::string old = contentOf(path);
  changeBoth(false);
  const std::string changed = contentOf(path);
  for (const size_t stale : {size_t{4096}, size_t{8192}}) {
    std::string bytes = changed;
    bytes.replace(stale, 4096, old, stale, 4096);
    writeText(path, bytes);
    expectRows(Gallery(path));
    const auto kept = rows;
    changeBoth(false);
    expectRows(Gallery(path));
    rows = kept;
  }
}

TEST_F(GalleryChange, VerifyFindsEveryChangedByte) {
  writeRows(60);
  changeBoth(false);
  const std::string whole = contentOf(path);
  int refused = 0;
  for (int round = 0; round < 400; ++round) {
    std::string bytes = whole;
    const size_t at = static_cast<size_t>(random.next() % bytes.size());
    bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.integer(0, 7)));
    writeText(path, bytes);
    try {
      EXPECT_FALSE(galleryFaults(Gallery(path)).empty()) << "byte " << at;
    } catch (const Failure&) {
      ++refused;  // damage that prevents opening the gallery
    }
  }
  EXPECT_LT(refused, 400);
}

TEST_F(GalleryChange, VerifyNamesTheRowsOfADamagedBlock) {
  writeRows(100);
  std::string bytes = contentOf(path);
  const size_t at = Gallery(path).segments()[0].featuresAt + 70 * 2008;
  bytes[at] = static_cast<char>(~bytes[at]);
  writeText(path, bytes);
  const std::vector<std::string> faults = galleryFaults(Gallery(path));
  ASSERT_EQ(1u, faults.size());
  EXPECT_NE(std::string::npos, faults[0].find("are damaged: features ")) << faults[0];
  EXPECT_NE(std::string::npos, faults[0].find("of 100 in segment 1")) << faults[0];
}

TEST_F(GalleryChange, TwoWritersAreRefusedByName) {
  writeRows(1);
  {
    const FileLock lock(path);
    try {
      const FileLock second(path);
      ADD_FAILURE() << "two locks";
    } catch (const Failure& failure) {
      EXPECT_EQ(kFailed, failure.code());
      EXPECT_NE(std::string::npos, std::string(failure.what()).find(": is being changed by "));
    }
    EXPECT_EQ(1u, Gallery(path).count());
  }
  EXPECT_FALSE(fs::exists(path + ".lock"));
  const FileLock again(path);
}

}  // namespace
}  // namespace facefeature_test
