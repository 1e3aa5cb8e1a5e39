// "facefeature search": its answers in every format, and its exit codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/csv.h"
#include "base/float_text.h"
#include "engine/feature_engine.h"
#include "gallery/feature_file.h"
#include "page/html.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::floatText;

class SearchVerb : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
    for (int i = 0; i < 60; ++i) ids.push_back("p" + std::to_string(i) + ", \"J\xC3\xBCrgen\"");
    features = writeRandomGallery(gallery, ids, random);
  }
  void TearDown() override { fs::remove_all(base); }

  // The lines of the CSV answer for one probe, from the library's own scores.
  std::string wantedCsv(const std::string& probeName, const FeatureVector& probe, size_t top) {
    std::vector<std::pair<float, size_t>> scores;
    for (size_t row = 0; row < features.size(); ++row) {
      scores.push_back({facefeature::CompareFeatures(&probe, &features[row]), row});
    }
    std::stable_sort(scores.begin(), scores.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    std::string text;
    for (size_t i = 0; i < std::min(top, scores.size()); ++i) {
      text += facefeature_tools::csvField(probeName) + "," + std::to_string(i + 1) + "," +
              facefeature_tools::csvField(ids[scores[i].second]) + "," +
              floatText(scores[i].first) + "\n";
    }
    return text;
  }

  std::string writeProbe(const std::string& name, const FeatureVector& feature) const {
    facefeature_tools::writeFeatureFile(base + "/" + name, feature);
    return base + "/" + name;
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/search";
  const std::string gallery = base + "/g.gallery";
  std::vector<std::string> ids;
  std::vector<FeatureVector> features;
};

TEST_F(SearchVerb, PrintsTheBestTenOfEachProbe) {
  const FeatureVector single = randomFeature(random);
  const std::string file = writeProbe("probe.feature", single);
  const auto others = writeRandomGallery(base + "/probes", {"x", "y"}, random);
  const Outcome outcome =
      runProgram({"search", gallery, file, base + "/probes", gallery + "#" + ids[7]});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ("", outcome.err);
  EXPECT_EQ("probe,rank,id,score\n" + wantedCsv(file, single, 10) + wantedCsv("x", others[0], 10) +
                wantedCsv("y", others[1], 10) + wantedCsv(ids[7], features[7], 10),
            outcome.out);
}

TEST_F(SearchVerb, TopSetsHowManyAndZeroIsAll) {
  const FeatureVector probe = randomFeature(random);
  const std::string file = writeProbe("p", probe);
  for (const size_t top : {size_t{1}, size_t{59}, size_t{100}}) {
    EXPECT_EQ("probe,rank,id,score\n" + wantedCsv(file, probe, top),
              runProgram({"search", gallery, file, "--top", std::to_string(top)}).out);
  }
  EXPECT_EQ("probe,rank,id,score\n" + wantedCsv(file, probe, 60),
            runProgram({"search", gallery, file, "--top", "0"}).out);
}

TEST_F(SearchVerb, AThresholdMakesTheExitCodeTheAnswer) {
  const FeatureVector probe = randomFeature(random);
  const std::string file = writeProbe("p", probe);
  const auto rows = facefeature_tools::parseCsv(wantedCsv(file, probe, 60));
  const std::string third = rows[2].fields[3];
  const Outcome three = runProgram({"search", gallery, file, "--threshold", third});
  EXPECT_EQ(0, three.exitCode);
  EXPECT_EQ("probe,rank,id,score\n" + wantedCsv(file, probe, 3), three.out);
  const Outcome none = runProgram({"search", gallery, file, "--threshold", "1e9"});
  EXPECT_EQ(1, none.exitCode);
  EXPECT_EQ("probe,rank,id,score\n", none.out);
  EXPECT_EQ(3, runProgram({"search", gallery, base + "/none", "--threshold", "1"}).exitCode);
  EXPECT_EQ(2, runProgram({"search", gallery, file, "--threshold", "nan"}).exitCode);
}

TEST_F(SearchVerb, JsonHasTheSameAnswers) {
  const FeatureVector probe = randomFeature(random);
  const std::string file = writeProbe("p", probe);
  const Outcome outcome =
      runProgram({"search", gallery, file, file, "--format", "json", "--top", "4"});
  const auto json = nlohmann::json::parse(outcome.out);
  EXPECT_EQ(gallery, json["gallery"]);
  ASSERT_EQ(2u, json["probes"].size());
  const auto rows = facefeature_tools::parseCsv(wantedCsv(file, probe, 4));
  for (size_t i = 0; i < 4; ++i) {
    const auto& match = json["probes"][1]["matches"][i];
    EXPECT_EQ(i + 1, match["rank"].get<size_t>());
    EXPECT_EQ(rows[i].fields[2], match["id"].get<std::string>());
    EXPECT_EQ(std::stof(rows[i].fields[3]), match["score"].get<float>());
  }
}

TEST_F(SearchVerb, TheTableIsForPeople) {
  const std::string file = writeProbe("p", features[5]);
  const Outcome outcome = runProgram({"search", gallery, file, "--format", "table", "--top", "2"});
  EXPECT_EQ(0u, outcome.out.find(file + "\n    1 ")) << outcome.out;
  EXPECT_NE(std::string::npos, outcome.out.find("  " + ids[5] + "\n"));
  const Outcome none =
      runProgram({"search", gallery, file, "--format", "table", "--threshold", "1e9"});
  EXPECT_EQ(file + "\n  no match\n", none.out);
}

TEST_F(SearchVerb, NaNsAreCountedAndMatchNothing) {
  FeatureVector bad = randomFeature(random);
  bad.values[3] = std::numeric_limits<float>::quiet_NaN();
  const std::string file = writeProbe("bad", bad);
  const Outcome outcome = runProgram({"search", gallery, file});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ("probe,rank,id,score\n", outcome.out);
  EXPECT_NE(std::string::npos, outcome.err.find(": warning: 60 scores are not a number"));
}

TEST_F(SearchVerb, InfiniteScoresAreNullInJson) {
  FeatureVector probe = features[0];
  probe.values[501] = 0.0f;
  const std::string file = writeProbe("p", probe);
  const auto json =
      nlohmann::json::parse(runProgram({"search", gallery, file, "--format", "json"}).out);
  EXPECT_TRUE(json["probes"][0]["matches"][0]["score"].is_null());
}

TEST_F(SearchVerb, RefusesAGalleryOfAnotherModel) {
  writeRandomGallery(base + "/other", {"x"}, random, originOf(8));
  const Outcome outcome = runProgram({"search", gallery, base + "/other"});
  EXPECT_EQ(4, outcome.exitCode);
  EXPECT_NE(std::string::npos, outcome.err.find("are of different models"));
  EXPECT_EQ("", outcome.out);
}

TEST_F(SearchVerb, UsageIsChecked) {
  EXPECT_EQ(2, runProgram({"search", gallery}).exitCode);
  EXPECT_EQ(2, runProgram({"search", gallery, gallery, "--format", "xml"}).exitCode);
  EXPECT_EQ(2, runProgram({"search", gallery, gallery, "--top", "-1"}).exitCode);
  EXPECT_EQ(2, runProgram({"search", gallery, gallery, "--landmarks", "x.json"}).exitCode);
}

TEST_F(SearchVerb, VerifyCountsWhatAnEngineHasFound) {
  const FeatureVector probe = randomFeature(random);
  const std::string file = writeProbe("p", probe);
  const std::string answers = base + "/answers.csv";
  const auto verified = [&](const std::string& text) {
    writeText(answers, text);
    const Outcome outcome =
        runProgram({"search", gallery, file, "--top", "5", "--verify", answers});
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
    return outcome.out;
  };
  const std::string heading = "probes,expected,found,recall,scores,wrong_scores\n";
  const std::string exact = wantedCsv(file, probe, 5);
  EXPECT_EQ(heading + "1,5,5,1,5,0\n", verified("probe,rank,id,score\n" + exact));
  EXPECT_EQ(heading + "1,5,0,0,0,0\n", verified("probe,id\n"));
  const auto rows = facefeature_tools::parseCsv(wantedCsv(file, probe, 60));
  std::string some = "id,probe,score\n";
  for (const size_t i : {size_t{0}, size_t{4}, size_t{5}, size_t{30}}) {
    some += facefeature_tools::csvField(rows[i].fields[2]) + "," + file + "," +
            (i == 4 ? "0.25" : rows[i].fields[3]) + "\n";
  }
  EXPECT_EQ(heading + "1,5,2,0.400000006,4,1\n", verified(some));
  for (const char* bad : {"", "a,b\n", "probe,id\np,nobody\n", "probe,id\np\n"}) {
    writeText(answers, bad);
    EXPECT_EQ(3, runProgram({"search", gallery, file, "--verify", answers}).exitCode) << bad;
  }
}

TEST_F(SearchVerb, ThePageShowsTheProbeAndItsMatches) {
  const std::string one = base + "/a&b.ppm", other = base + "/other.ppm", page = base + "/p.html";
  writeText(one, std::string("P6\n2 1\n255\n") + "abcdef");
  const std::string faces = base + "/photographed";
  // Ids that are names of files, as of "gallery add", and one without a file.
  const auto rows = writeRandomGallery(faces, {one, other, "no <file>"}, random);
  const std::string file = writeProbe("probe", rows[0]);
  const Outcome outcome = runProgram({"search", faces, file, "--html", page, "--top", "2"});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ(outcome.out, runProgram({"search", faces, file, "--top", "2"}).out);
  const std::string html = contentOf(page);
  const auto count = [&html](const std::string& text) {
    size_t found = 0;
    for (size_t at = html.find(text); at != std::string::npos; at = html.find(text, at + 1)) {
      ++found;
    }
    return found;
  };
  EXPECT_EQ(3u, count("<figure class=\"card\">"));
  EXPECT_EQ(1u, count("<img src=\"data:image/jpeg;base64,"));
  EXPECT_NE(std::string::npos, html.find("a&amp;b.ppm"));
  EXPECT_EQ(std::string::npos, html.find("a&b"));
  const auto answers = facefeature_tools::parseCsv(outcome.out);
  for (const size_t row : {size_t{1}, size_t{2}}) {
    EXPECT_EQ(1u,
              count("<strong>" + facefeature_tools::htmlNumber(std::stof(answers[row].fields[3])) +
                    "</strong>"));
  }
  // A list gives the photographs of other ids.
  writeText(base + "/list.csv", "id,photo\nno <file>," + one + "\n");
  runProgram({"search", faces, file, "--html", page, "--top", "0", "--photos", base + "/list.csv"});
  EXPECT_NE(std::string::npos, contentOf(page).find("data:image/jpeg"));
  EXPECT_NE(std::string::npos, contentOf(page).find("no &lt;file&gt;"));
  EXPECT_EQ(std::string::npos, contentOf(page).find("no <file>"));
  runProgram({"search", faces, file, "--html", page, "--threshold", "1e9"});
  EXPECT_NE(std::string::npos, contentOf(page).find("No match"));
  EXPECT_EQ(2, runProgram({"search", faces, file, "--html", base + "/p.txt"}).exitCode);
  EXPECT_EQ(2, runProgram({"search", faces, file, "--html", page, "--verify", file}).exitCode);
}

TEST_F(SearchVerb, AnEmptyGalleryHasNoMatch) {
  writeRandomGallery(base + "/empty", {}, random);
  const Outcome outcome = runProgram({"search", base + "/empty", gallery + "#" + ids[0]});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ("probe,rank,id,score\n", outcome.out);
}

}  // namespace
}  // namespace facefeature_test
