// "facefeature gallery": its output, conversions and joins.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "base/csv.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::Gallery;

class GalleryVerbs : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
  }
  void TearDown() override { fs::remove_all(base); }

  void expectFailure(int exitCode, const std::string& start, const Outcome& outcome) const {
    EXPECT_EQ(exitCode, outcome.exitCode) << outcome.err;
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(0u, outcome.err.find(start)) << outcome.err;
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/gallery_verbs";
  const std::string gallery = base + "/g.gallery";
  const std::vector<std::string> ids = {"plain", "with, comma", "quo\"te", "J\xC3\xBCrgen"};
};

TEST_F(GalleryVerbs, InfoPrintsTheHeader) {
  writeRandomGallery(gallery, ids, random);
  const Outcome outcome = runProgram({"gallery", "info", gallery});
  EXPECT_EQ(0, outcome.exitCode);
  std::string model;
  for (int i = 0; i < 32; ++i) model += "07";
  EXPECT_EQ("version: 2\ncount: 4\nfloats: 502\nmodel: " + model +
                "\nlibrary: 1.2.3\nblas core: Somecore\nsegments: 1\nremoved: 0\n",
            outcome.out);
  EXPECT_EQ("plain\nwith, comma\nquo\"te\nJ\xC3\xBCrgen\n",
            runProgram({"gallery", "info", "--ids", gallery}).out);
}

TEST_F(GalleryVerbs, InfoOfSomethingElseExitsWith3) {
  writeText(gallery, "no gallery at all");
  expectFailure(3, "facefeature gallery info: " + gallery + ": is not a gallery. ",
                runProgram({"gallery", "info", gallery}));
}

TEST_F(GalleryVerbs, UsageIsChecked) {
  expectFailure(2, "facefeature gallery: ", runProgram({"gallery"}));
  expectFailure(2, "facefeature gallery export: ", runProgram({"gallery", "export", gallery}));
  expectFailure(2, "facefeature gallery export: " + base + "/x.txt: does not end in a known format",
                runProgram({"gallery", "export", gallery, "-o", base + "/x.txt"}));
  expectFailure(2, "facefeature gallery merge: ", runProgram({"gallery", "merge", "-o", "x"}));
}

TEST_F(GalleryVerbs, ExportToCsvWritesEveryFloat) {
  const auto features = writeRandomGallery(gallery, ids, random);
  const std::string path = base + "/g.csv";
  EXPECT_EQ(0, runProgram({"gallery", "export", gallery, "-o", path}).exitCode);
  const auto rows = facefeature_tools::parseCsv(contentOf(path));
  ASSERT_EQ(5u, rows.size());
  EXPECT_EQ("id", rows[0].fields[0]);
  EXPECT_EQ("f0", rows[0].fields[1]);
  EXPECT_EQ("f501", rows[0].fields[502]);
  for (size_t row = 0; row < 4; ++row) {
    ASSERT_EQ(503u, rows[row + 1].fields.size());
    EXPECT_EQ(ids[row], rows[row + 1].fields[0]);
    for (size_t i = 0; i < 502; ++i) {
      EXPECT_SAME_FLOAT(features[row].values[i],
                        std::strtof(rows[row + 1].fields[i + 1].c_str(), nullptr));
    }
  }
}

TEST_F(GalleryVerbs, ExportToJsonLinesWritesEveryFloatAndNullForWhatIsNotANumber) {
  auto features = writeRandomGallery(gallery, ids, random);
  features[1].values[3] = std::numeric_limits<float>::quiet_NaN();
  features[1].values[4] = std::numeric_limits<float>::infinity();
  facefeature_tools::GalleryWriter writer(gallery, originOf(7), ids);
  for (const FeatureVector& feature : features) writer.add(feature);
  writer.finish();
  const std::string path = base + "/g.jsonl";
  EXPECT_EQ(0, runProgram({"gallery", "export", gallery, "-o", path}).exitCode);
  std::istringstream lines(contentOf(path));
  std::string line;
  for (size_t row = 0; row < 4; ++row) {
    ASSERT_TRUE(std::getline(lines, line));
    const auto object = nlohmann::json::parse(line);
    EXPECT_EQ(ids[row], object.at("id").get<std::string>());
    ASSERT_EQ(502u, object.at("feature").size());
    for (size_t i = 0; i < 502; ++i) {
      const auto& value = object.at("feature").at(i);
      if (row == 1 && (i == 3 || i == 4)) {
        EXPECT_TRUE(value.is_null());
      } else {
        EXPECT_SAME_FLOAT(features[row].values[i], value.get<float>());
      }
    }
  }
  EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(GalleryVerbs, ExportToNumpyHasItsHeaderTheFloatsAndAFileOfIds) {
  const auto features = writeRandomGallery(gallery, ids, random);
  const std::string path = base + "/g.npy";
  EXPECT_EQ(0, runProgram({"gallery", "export", gallery, "-o", path}).exitCode);
  const std::string bytes = contentOf(path);
  ASSERT_EQ(128 + 4 * 2008u, bytes.size());
  EXPECT_EQ(std::string("\x93NUMPY\x01\x00\x76\x00", 10), bytes.substr(0, 10));
  EXPECT_EQ("{'descr': '<f4', 'fortran_order': False, 'shape': (4, 502), }",
            bytes.substr(10, bytes.find('}') - 9));
  EXPECT_EQ('\n', bytes[127]);
  EXPECT_EQ(0, std::memcmp(&bytes[128], features.data(), 4 * 2008));
  EXPECT_EQ("plain\nwith, comma\nquo\"te\nJ\xC3\xBCrgen\n", contentOf(base + "/g.ids.txt"));
}

TEST_F(GalleryVerbs, NumpyReadsTheExport) {
  if (std::system("/usr/bin/python3 -c 'import numpy' 2>/dev/null") != 0) {
    GTEST_SKIP() << "python3 with numpy is not here (Debian: python3-numpy)";
  }
  writeRandomGallery(gallery, ids, random);
  const std::string path = base + "/g.npy";
  ASSERT_EQ(0, runProgram({"gallery", "export", gallery, "-o", path}).exitCode);
  const std::string check = "/usr/bin/python3 -c \"import numpy; a = numpy.load('" + path +
                            "'); assert a.shape == (4, 502) and a.dtype == 'float32'; "
                            "a.tofile('" +
                            base + "/raw')\"";
  ASSERT_EQ(0, std::system(check.c_str()));
  EXPECT_EQ(contentOf(path).substr(128), contentOf(base + "/raw"));
}

TEST_F(GalleryVerbs, ExportOfAnEmptyGalleryIsAnEmptyTable) {
  writeRandomGallery(gallery, {}, random);
  for (const char* ending : {".npy", ".csv", ".jsonl"}) {
    EXPECT_EQ(0, runProgram({"gallery", "export", gallery, "-o", base + "/g" + ending}).exitCode);
  }
  EXPECT_NE(std::string::npos, contentOf(base + "/g.npy").find("'shape': (0, 502)"));
  EXPECT_EQ("", contentOf(base + "/g.jsonl"));
}

TEST_F(GalleryVerbs, MergeOfPartsIsTheWhole) {
  Random again = random;
  writeRandomGallery(base + "/whole", {"a", "b", "c", "d", "e"}, again);
  writeRandomGallery(base + "/1", {"a", "b"}, random);
  writeRandomGallery(base + "/2", {}, random);
  writeRandomGallery(base + "/3", {"c", "d", "e"}, random);
  const Outcome outcome =
      runProgram({"gallery", "merge", base + "/1", base + "/2", base + "/3", "-o", gallery});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ("", outcome.err);
  EXPECT_EQ(contentOf(base + "/whole"), contentOf(gallery));
}

TEST_F(GalleryVerbs, MergeFollowsAListWhateverTheOrderOfTheParts) {
  Random again = random;
  writeRandomGallery(base + "/whole", {"a", "b", "c"}, again);
  writeRandomGallery(base + "/1", {"a", "b"}, random);
  writeRandomGallery(base + "/2", {"c"}, random);
  writeText(base + "/list", "id,photo\na,p\nfailed,p\nb,p\nc,p\n");
  const Outcome outcome = runProgram(
      {"gallery", "merge", base + "/2", base + "/1", "-o", gallery, "--list", base + "/list"});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ(contentOf(base + "/whole"), contentOf(gallery));

  writeText(base + "/list", "a,p\nb,p\n");
  expectFailure(3, "facefeature gallery merge: " + base + "/list: lacks 1 of the ids ",
                runProgram({"gallery", "merge", base + "/2", base + "/1", "-o", gallery, "--list",
                            base + "/list"}));
}

TEST_F(GalleryVerbs, MergeOfDifferentModelsExitsWith4AndNamesBoth) {
  writeRandomGallery(base + "/1", {"a"}, random, originOf(0x11));
  writeRandomGallery(base + "/2", {"b"}, random, originOf(0xAB));
  const Outcome outcome = runProgram({"gallery", "merge", base + "/1", base + "/2", "-o", gallery});
  expectFailure(4, "facefeature gallery merge: " + base + "/1, " + base + "/2: are of different ",
                outcome);
  EXPECT_NE(std::string::npos, outcome.err.find("1111111111"));
  EXPECT_NE(std::string::npos, outcome.err.find("abababab"));
  EXPECT_FALSE(fs::exists(gallery));
}

TEST_F(GalleryVerbs, MergeRefusesADuplicateId) {
  writeRandomGallery(base + "/1", {"a", "b"}, random);
  writeRandomGallery(base + "/2", {"b"}, random);
  expectFailure(3,
                "facefeature gallery merge: " + base + "/1, " + base + "/2: both have the id b. ",
                runProgram({"gallery", "merge", base + "/1", base + "/2", "-o", gallery}));
}

TEST_F(GalleryVerbs, MergeOfSeveralProcessorsWarnsAndNamesThem) {
  auto other = originOf(7);
  other.blasCore = "Other";
  writeRandomGallery(base + "/1", {"a"}, random);
  writeRandomGallery(base + "/2", {"b"}, random, other);
  const Outcome outcome = runProgram({"gallery", "merge", base + "/1", base + "/2", "-o", gallery});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_NE(std::string::npos, outcome.err.find(": warning: features from processors of several "));
  EXPECT_EQ("Other+Somecore", Gallery(gallery).origin().blasCore);
}

TEST_F(GalleryVerbs, OutputThatCantBeWrittenIsNamed) {
  writeRandomGallery(base + "/1", {"a"}, random);
  expectFailure(1, "facefeature gallery merge: " + base + "/no/g.lock: can't be created: ",
                runProgram({"gallery", "merge", base + "/1", "-o", base + "/no/g"}));
  expectFailure(1, "facefeature gallery export: " + base + "/no/g.csv.part: can't be created: ",
                runProgram({"gallery", "export", base + "/1", "-o", base + "/no/g.csv"}));
}

}  // namespace
}  // namespace facefeature_test
