// "facefeature search" over galleries of hostile features and of every layout, compared with an
// oracle that ranks each row by counting the rows before it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "base/csv.h"
#include "base/float_text.h"
#include "gallery/gallery_change.h"
#include "support/placed_floats.h"
#include "support/reference_projection.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/gallery/version1_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using namespace facefeature_tools;

class SearchOfHostileGalleries : public ::testing::Test {
 protected:
  struct Row {
    std::string id;
    FeatureVector feature;
  };

  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
  }
  void TearDown() override { fs::remove_all(base); }

  // Plausible, spoilt in a few elements, of arbitrary floats, or the same as an earlier row.
  FeatureVector hostileFeature(const std::vector<Row>& earlier) {
    if (!earlier.empty() && random.chance(25)) {
      return earlier[static_cast<size_t>(random.next()) % earlier.size()].feature;
    }
    FeatureVector feature = randomFeature(random);
    if (random.chance(10)) {
      const int32_t kind = random.integer(0, kFloatKinds - 1);
      for (float& value : feature.values) value = floatOfKind(random, kind);
    } else if (random.chance(30)) {
      for (int32_t spot = random.integer(1, 3); spot > 0; --spot) {
        const int32_t index = random.chance(70) ? random.integer(500, 501) : random.integer(0, 499);
        feature.values[index] = random.special();
      }
    }
    return feature;
  }

  std::vector<Row> hostileRows(const std::string& prefix, int32_t count) {
    std::vector<Row> rows;
    for (int32_t i = 0; i < count; ++i) {
      rows.push_back({prefix + std::to_string(nextId++) + " \"a, b\"", hostileFeature(rows)});
    }
    return rows;
  }

  static std::vector<std::string> idsOf(const std::vector<Row>& rows) {
    std::vector<std::string> ids;
    for (const Row& row : rows) ids.push_back(row.id);
    return ids;
  }

  static void writeGallery(const std::string& path, const std::vector<Row>& rows) {
    GalleryWriter writer(path, originOf(7), idsOf(rows));
    for (const Row& row : rows) writer.add(row.feature);
    writer.finish();
  }

  // Removes some rows of the gallery and adds others, so that it has several segments.
  void change(std::vector<Row>& rows) {
    std::vector<size_t> removed;
    std::vector<Row> kept;
    for (size_t i = 0; i < rows.size(); ++i) {
      if (random.chance(20)) {
        removed.push_back(i);
      } else {
        kept.push_back(rows[i]);
      }
    }
    const std::vector<Row> added = hostileRows("later ", random.integer(0, 40));
    changeGallery(Gallery(path), removed,
                  {idsOf(added), [&added](size_t i) { return added[i].feature; }, originOf(7)});
    kept.insert(kept.end(), added.begin(), added.end());
    rows = kept;
  }

  // Of version 1 or 2, of one segment or several. Returns the rows that it has in the end.
  std::vector<Row> makeGallery(int32_t count) {
    std::vector<Row> rows = hostileRows("id ", count);
    if (random.chance(25)) {
      std::vector<FeatureVector> features;
      for (const Row& row : rows) features.push_back(row.feature);
      writeText(path, version1Bytes(idsOf(rows), features));
    } else {
      writeGallery(path, rows);
      if (random.chance(50)) {
        for (int32_t changes = random.integer(1, 3); changes > 0; --changes) change(rows);
      }
    }
    return rows;
  }

  // The lines for one probe. A row has the rank 1 + the number of rows that come before it.
  static std::string wantedLines(const Row& probe, const std::vector<Row>& rows, size_t top,
                                 const float* threshold) {
    std::vector<float> scores;
    for (const Row& row : rows) {
      scores.push_back(reference::compare(probe.feature.values, row.feature.values));
    }
    std::vector<std::string> lines(rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
      if (!(threshold == nullptr ? scores[i] == scores[i] : scores[i] >= *threshold)) continue;
      size_t before = 0;
      for (size_t j = 0; j < rows.size(); ++j) {
        if (scores[j] > scores[i] || (j < i && scores[j] == scores[i])) ++before;
      }
      if (top != 0 && before >= top) continue;
      lines[before] = csvField(probe.id) + "," + std::to_string(before + 1) + "," +
                      csvField(rows[i].id) + "," + floatText(scores[i]) + "\n";
    }
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/search_hostile";
  const std::string path = base + "/faces.gallery";
  const std::string probesPath = base + "/probes.gallery";
  int nextId = 0;
};

TEST_F(SearchOfHostileGalleries, AnswersAsAnOracleDoes) {
  size_t matches = 0, rounds = 0;
  for (const int32_t count : {0, 1, 2, 7, 8, 15, 16, 17, 31, 33, 100, 300}) {
    for (const int32_t probeCount : {1, random.integer(2, 20)}) {
      const std::vector<Row> rows = makeGallery(count);
      const std::vector<Row> probes = hostileRows("probe ", probeCount);
      writeGallery(probesPath, probes);
      const size_t top = static_cast<size_t>(random.integer(0, 12));
      std::vector<std::string> command = {"search", path, probesPath, "--top", std::to_string(top)};
      const float threshold = random.chance(30) ? random.special() : random.between(-2.0f, 2.0f);
      const bool hasThreshold = random.chance(40) && !std::isnan(threshold);
      if (hasThreshold) command.insert(command.end(), {"--threshold=" + floatText(threshold)});
      std::string wanted;
      for (const Row& probe : probes) {
        wanted += wantedLines(probe, rows, top, hasThreshold ? &threshold : nullptr);
      }
      SCOPED_TRACE(::testing::Message()
                   << count << " rows at first, then " << rows.size() << "; " << probeCount
                   << " probes, top " << top << ", threshold " << hasThreshold << " " << threshold);
      const Outcome outcome = runProgram(command);
      EXPECT_EQ(hasThreshold && wanted.empty() ? 1 : 0, outcome.exitCode) << outcome.err;
      ASSERT_EQ("probe,rank,id,score\n" + wanted, outcome.out);
      matches += static_cast<size_t>(std::count(wanted.begin(), wanted.end(), '\n'));
      ++rounds;
    }
  }
  EXPECT_GT(matches, 10 * rounds);
}

}  // namespace
}  // namespace facefeature_test
