// "facefeature extract --list": its output, and the effect of bad photographs and bad lists.
#include <cstdlib>
#include <regex>

#include "base/csv.h"
#include "gallery/feature_file.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/model/synthetic_folder.h"
#include "tools/verbs/batch_fixture.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::Gallery;
using Ids = std::vector<std::string>;

TEST_F(Batch, GivesAGalleryInListOrderAndTheSameBytesWhateverTheJobs) {
  // The first ones take longest.
  writeList({kTakesItsTime, kTakesItsTime, kOrdinary, 21, 22, 23, 24, 25, 26});
  std::string first;
  for (const char* jobs : {"1", "2", "5"}) {
    const Outcome outcome = extract({"--jobs", jobs});
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
    EXPECT_EQ("", outcome.out);
    if (first.empty()) first = contentOf(gallery);
    EXPECT_EQ(first, contentOf(gallery)) << jobs;
    EXPECT_FALSE(fs::exists(journal));
    expectNothingLeftBehind();
  }
  EXPECT_EQ((Ids{"p1", "p2", "p3", "p4", "p5", "p6", "p7", "p8", "p9"}), idsIn(gallery));
}

TEST_F(Batch, RowsAreTheFeaturesOfSingleExtractions) {
  writeList({kOrdinary, 21, 22});
  ASSERT_EQ(0, extract({"--jobs", "2"}).exitCode);
  const Gallery opened(gallery);
  ASSERT_EQ(3u, opened.count());
  for (int number = 1; number <= 3; ++number) {
    const std::string name = base + "/p" + std::to_string(number);
    const std::string path = base + "/single";
    ASSERT_EQ(0,
              runProgram({"extract", name + ".ppm", name + ".json", "-o", path, "--model", model},
                         temporary, program)
                  .exitCode);
    const FeatureVector single = facefeature_tools::readFeatureFile(path);
    const FeatureVector row = opened.feature(static_cast<size_t>(number) - 1);
    EXPECT_TRUE(sameFloats(single.values, row.values, 502)) << number;
  }
}

TEST_F(Batch, GalleryNamesItsModelVersionAndProcessor) {
  writeList({kOrdinary});
  ASSERT_EQ(0, extract().exitCode);
  const Outcome fingerprint = runProgram({"model", "fingerprint", model});
  const Outcome info = runProgram({"gallery", "info", gallery});
  EXPECT_TRUE(contains(info.out, "model: " + fingerprint.out)) << info.out;
  EXPECT_TRUE(contains(info.out, "count: 1\n"));
  EXPECT_TRUE(contains(info.out, "library: 1."));
  EXPECT_TRUE(contains(info.out, "blas core: "));
}

TEST_F(Batch, ModelOfTheTemporaryFolderIsUsedIfNoneIsNamed) {
  writeList({kOrdinary});
  const std::string wanted = undisturbed();
  fs::rename(model, temporary + "/~kwplugintmp~");
  EXPECT_EQ(0, runProgram({"extract", "--list", list, "-o", gallery}, temporary, program).exitCode);
  EXPECT_EQ(wanted, contentOf(gallery));
}

TEST_F(Batch, EachBadPhotographIsOneLineAndTheRunContinues) {
  writeList({kOrdinary, kNotANumber, 21, 22, 23});
  fs::remove(base + "/p3.ppm");
  writeText(base + "/p4.json", "{}");
  const Outcome outcome = extract({"--jobs", "2", "--report", report});
  EXPECT_EQ(3, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_EQ((Ids{"p1", "p5"}), idsIn(gallery));
  EXPECT_EQ(1u, timesIn(outcome.err, "facefeature extract: p2: "));
  EXPECT_EQ(1u, timesIn(outcome.err, "facefeature extract: p3: "));
  EXPECT_EQ(1u, timesIn(outcome.err, "facefeature extract: p4: "));
  EXPECT_TRUE(contains(outcome.err, gallery + ": 2 features, 3 photographs failed.\n"));

  const auto rows = facefeature_tools::parseCsv(contentOf(report));
  ASSERT_EQ(4u, rows.size());
  EXPECT_EQ((Ids{"id", "photo", "outcome", "text"}), rows[0].fields);
  for (size_t i = 1; i <= 3; ++i) {
    ASSERT_EQ(4u, rows[i].fields.size());
    const std::string id = "p" + std::to_string(i + 1);
    EXPECT_EQ(id, rows[i].fields[0]);
    EXPECT_EQ(base + "/" + id + ".ppm", rows[i].fields[1]);
    EXPECT_EQ("failed", rows[i].fields[2]);
  }
  EXPECT_TRUE(contains(rows[1].fields[3], "the feature is not a number"));
  EXPECT_TRUE(contains(rows[2].fields[3], "/p3.ppm: can't be opened: "));
  EXPECT_TRUE(contains(rows[3].fields[3], "/p4.json: "));
}

TEST_F(Batch, WarningsAreInTheReportAndLoseNothing) {
  writeList({kOrdinary, 21});
  fs::copy_file(base + "/p2.ppm", base + "/p1.ppm", fs::copy_options::overwrite_existing);
  const Outcome outcome = extract({"--report", report});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ(2u, Gallery(gallery).count());
  const auto rows = facefeature_tools::parseCsv(contentOf(report));
  ASSERT_EQ(2u, rows.size());
  EXPECT_EQ("p1", rows[1].fields[0]);
  EXPECT_EQ("warning", rows[1].fields[2]);
  EXPECT_EQ(1u, timesIn(outcome.err, "facefeature extract: p1: "));
}

TEST_F(Batch, PhotographThatCrashesItsWorkerIsTheOnlyOneLost) {
  writeList({kOrdinary, kAborts, 21, kExits, kAborts, 22, 23, kAborts});
  for (const char* jobs : {"1", "3"}) {
    const Outcome outcome = extract({"--jobs", jobs, "--report", report});
    EXPECT_EQ(3, outcome.exitCode);
    EXPECT_EQ((Ids{"p1", "p3", "p6", "p7"}), idsIn(gallery));
    const auto rows = facefeature_tools::parseCsv(contentOf(report));
    ASSERT_EQ(5u, rows.size());
    EXPECT_TRUE(contains(rows[1].fields[3], "p2.ppm: the worker was killed by signal 6 ("));
    EXPECT_TRUE(contains(rows[2].fields[3], "p4.ppm: the worker exited with code 7 on "));
    expectNothingLeftBehind();
  }
}

TEST_F(Batch, GivesWorkersAsManyPhotographsAtATimeAsAreAskedForAndFewerAtTheEnd) {
  writeList(std::vector<uint32_t>(44, kTellsFaces));
  const auto facesAtATime = [&](const std::vector<std::string>& more) {
    EXPECT_EQ(0, extract(more).exitCode);
    const Gallery opened(gallery);
    std::vector<int> faces;
    for (size_t row = 0; row < opened.count();) {
      faces.push_back(static_cast<int>(opened.feature(row).values[0]));
      row += static_cast<size_t>(faces.back());
    }
    return faces;
  };
  EXPECT_EQ((std::vector<int>{16, 14, 7, 3, 2, 1, 1}), facesAtATime({"--jobs", "1"}));
  EXPECT_EQ((std::vector<int>{5, 5, 5, 5, 5, 5, 5, 4, 2, 1, 1, 1}),
            facesAtATime({"--jobs", "1", "--batch", "5"}));
  EXPECT_EQ(std::vector<int>(44, 1), facesAtATime({"--jobs", "1", "--batch", "1"}));
  EXPECT_EQ(11, facesAtATime({"--jobs", "2", "--batch", "16"}).front());
}

// The list is random; the outcomes of each photograph alone are the reference.
TEST_F(Batch, OutcomesDoNotDependOnTheNumberOfPhotographsAtATime) {
  SeededRandom random;
  const std::vector<uint32_t> kinds = {
      kOrdinary, 21, 22, 23, kAborts, kExits, kNotANumber, kAbortsInThePass, 24, kFailsThePass};
  std::vector<uint32_t> widths;
  for (int i = 0; i < 60; ++i) {
    // Long runs of good ones too.
    const bool anyKind = random.chance(20);
    widths.push_back(anyKind ? kinds[static_cast<size_t>(random.integer(0, 9))] : 25u);
  }
  writeList(widths);
  fs::remove(base + "/p7.ppm");
  writeText(base + "/p33.json", "{}");
  // Some messages name the folder through which this run reaches the model.
  const std::regex folder("/facefeature-\\w{6}/");
  const auto reported = [&] {
    return std::regex_replace(contentOf(report), folder, "/facefeature/");
  };
  std::string wantedGallery, wantedReport;
  for (const auto& [jobs, batch] : {std::pair<const char*, const char*>{"1", "1"},
                                    {"1", "2"},
                                    {"1", "16"},
                                    {"2", "7"},
                                    {"3", "16"}}) {
    const Outcome outcome = extract({"--jobs", jobs, "--batch", batch, "--report", report});
    EXPECT_EQ(3, outcome.exitCode);
    if (wantedGallery.empty()) {
      wantedGallery = contentOf(gallery);
      wantedReport = reported();
    }
    EXPECT_EQ(wantedGallery, contentOf(gallery)) << jobs << " jobs, batch " << batch;
    EXPECT_EQ(wantedReport, reported()) << jobs << " jobs, batch " << batch;
    expectNothingLeftBehind();
  }
}

TEST_F(Batch, PassThatFailsIsRepeatedPhotographByPhotograph) {
  std::vector<uint32_t> widths(20, kOrdinary);
  widths[2] = kFailsThePass;
  writeList(widths);
  const Outcome outcome = extract({"--jobs", "1", "--batch", "8", "--report", report});
  EXPECT_EQ(3, outcome.exitCode);
  EXPECT_EQ(19u, Gallery(gallery).count());
  EXPECT_EQ(1u, timesIn(outcome.err, "the feature is not a number")) << outcome.err;
  EXPECT_EQ(0u, timesIn(outcome.err, "worker")) << outcome.err;
}

TEST_F(Batch, WithoutTheBatchLibraryEndsWithItsName) {
  writeList({kOrdinary});
  writeText(base + "/bin/libfacefeature_batch.so.1", "no library");
  const Outcome outcome = extract();
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, "bin/libfacefeature_batch.so.1: can't be loaded: "))
      << outcome.err;
}

TEST_F(Batch, EachWorkerHasItsShareOfTheThreads) {
  writeList({kTellsThreads});
  setenv("OMP_NUM_THREADS", "7", 1);
  // The threads are shared among the workers that have something to do.
  EXPECT_EQ(0, extract({"--jobs", "5"}).exitCode);
  EXPECT_EQ(7.0f, Gallery(gallery).feature(0).values[0]);
  writeList({kTellsThreads, kTellsThreads, kTellsThreads});
  EXPECT_EQ(0, extract({"--jobs", "2"}).exitCode);
  EXPECT_EQ(3.0f, Gallery(gallery).feature(0).values[0]);
  EXPECT_EQ(0, extract().exitCode);
  EXPECT_EQ(2.0f, Gallery(gallery).feature(2).values[0]);
  setenv("OMP_NUM_THREADS", "1", 1);
  EXPECT_EQ(0, extract({"--jobs", "3"}).exitCode);
  EXPECT_EQ(1.0f, Gallery(gallery).feature(0).values[0]);
  unsetenv("OMP_NUM_THREADS");
}

TEST_F(Batch, ListWithoutPhotographsGivesAnEmptyGallery) {
  writeText(list, "id,photo,landmarks\n");
  const Outcome outcome = extract();
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, list + ": warning: there is no photograph in it.\n"));
  EXPECT_EQ(0u, Gallery(gallery).count());
}

TEST_F(Batch, ShardsJoinedAreTheWhole) {
  writeList({kOrdinary, 21, kAborts, 22, 23, 24, 25});
  const std::string whole = undisturbed();
  Ids parts;
  for (const char* shard : {"1/3", "2/3", "3/3"}) {
    parts.push_back(base + "/part" + shard[0]);
    const Outcome outcome = runProgram(
        {"extract", "--list", list, "-o", parts.back(), "--model", model, "--shard", shard},
        temporary, program);
    EXPECT_EQ(shard[0] == '2' ? 3 : 0, outcome.exitCode);
  }
  const Outcome merged = runProgram(
      {"gallery", "merge", parts[0], parts[1], parts[2], "-o", gallery}, temporary, program);
  EXPECT_EQ(0, merged.exitCode) << merged.err;
  EXPECT_EQ(whole, contentOf(gallery));

  fs::remove(gallery);
  const Outcome ordered =
      runProgram({"gallery", "merge", parts[2], parts[0], parts[1], "-o", gallery, "--list", list},
                 temporary, program);
  EXPECT_EQ(0, ordered.exitCode) << ordered.err;
  EXPECT_EQ(whole, contentOf(gallery));
}

TEST_F(Batch, WrongUsageExitsWith2) {
  writeList({kOrdinary});
  const std::string here = "facefeature extract: ";
  for (const Ids& more : std::vector<Ids>{{"--jobs", "0"},
                                          {"--jobs", "-1"},
                                          {"--jobs", "x"},
                                          {"--batch", "0"},
                                          {"--batch", "17"},
                                          {"--progress", "loud"},
                                          {"--shard", "0/3"},
                                          {"--shard", "4/3"},
                                          {base + "/p1.ppm"}}) {
    const Outcome outcome = extract(more);
    EXPECT_EQ(2, outcome.exitCode) << more[0];
    EXPECT_EQ(0u, outcome.err.find(here)) << outcome.err;
  }
  const std::string photo = base + "/p1.ppm";
  const std::string points = base + "/p1.json";
  for (const char* option : {"--resume", "--jobs=2", "--batch=2", "--shard=1/2", "--report=r"}) {
    EXPECT_EQ(2, runProgram({"extract", photo, points, "-o", gallery, option}).exitCode) << option;
  }
  EXPECT_FALSE(fs::exists(gallery));
  EXPECT_FALSE(fs::exists(journal));
}

TEST_F(Batch, BadListOrModelEndsTheRunBeforeItBegins) {
  writeText(list, "a,photo.jpg,x.json\na,other.jpg,y.json\n");
  const Outcome twice = extract();
  EXPECT_EQ(3, twice.exitCode);
  EXPECT_TRUE(contains(twice.err, list + ": line 2 repeats the id a. ")) << twice.err;
  writeList({kOrdinary});
  fs::remove(model + "/6-1");
  const Outcome bad = extract();
  EXPECT_EQ(4, bad.exitCode);
  EXPECT_TRUE(contains(bad.err, "6-1 is missing")) << bad.err;
  EXPECT_FALSE(fs::exists(gallery));
  EXPECT_FALSE(fs::exists(journal));
}

TEST_F(Batch, LibraryThatOpensNoModelEndsTheRun) {
  writeList({kOrdinary, 21, 22});
  setenv("STUB_HAS_NO_ENGINE", "1", 1);
  const Outcome none = extract();
  unsetenv("STUB_HAS_NO_ENGINE");
  EXPECT_EQ(4, none.exitCode);
  EXPECT_TRUE(contains(none.err, ": the library could not open the model. ")) << none.err;
  setenv("STUB_ABORTS", "1", 1);
  const Outcome dead = extract({"--resume"});
  unsetenv("STUB_ABORTS");
  EXPECT_EQ(1, dead.exitCode);
  EXPECT_TRUE(contains(dead.err, "a worker process: was killed by signal 6 (")) << dead.err;
  expectNothingLeftBehind();
  EXPECT_FALSE(fs::exists(gallery));
}

TEST_F(Batch, GalleryThatCantBeWrittenIsNamedBeforeTheWork) {
  writeList({kOrdinary});
  const Outcome outcome = runProgram(
      {"extract", "--list", list, "-o", base + "/no/g", "--model", model}, temporary, program);
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, base + "/no/g.journal: can't be created: ")) << outcome.err;
}

TEST_F(Batch, ReportThatCantBeWrittenIsNamedBeforeTheWork) {
  writeList({kOrdinary});
  const Outcome outcome = extract({"--report", base + "/no/report.csv"});
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, base + "/no/report.csv")) << outcome.err;
  EXPECT_FALSE(fs::exists(journal));
}

// With the real library, since the rest of this file uses only the stub.
TEST_F(Batch, OfTheRealLibraryGivesTheBitsOfSingleExtractions) {
  SeededRandom random;
  const std::string points =
      std::string(FACEFEATURE_SOURCE_DIR) + "/tools/demo/landmarks/grace_hopper.json";
  std::string text;
  const Ids ids = {"a", "b", "c", "d", "e", "f", "g", "h"};
  for (const std::string& id : ids) {
    const Bytes ppm = encodePpm(512, 600, random.bytes(3 * 512 * 600));
    writeText(base + "/" + id + ".ppm", std::string(ppm.begin(), ppm.end()));
    text += id + "," + id + ".ppm," + points + "\n";
  }
  writeText(list, text);
  std::string first;
  for (const auto& [jobs, batch] : {std::pair<const char*, const char*>{"1", "16"},
                                    {"1", "1"},
                                    {"1", "3"},
                                    {"2", "16"},
                                    {"5", "16"}}) {
    const Outcome outcome = runProgram({"extract", "--list", list, "-o", gallery, "--model",
                                        syntheticFolder(), "--jobs", jobs, "--batch", batch},
                                       temporary);
    ASSERT_EQ(0, outcome.exitCode) << outcome.err;
    if (first.empty()) first = contentOf(gallery);
    EXPECT_EQ(first, contentOf(gallery)) << jobs << " jobs, batch " << batch;
  }
  const Gallery opened(gallery);
  ASSERT_EQ(ids, idsIn(gallery));
  const std::string single = base + "/single";
  ASSERT_EQ(0, runProgram(
                   {"extract", base + "/b.ppm", points, "-o", single, "--model", syntheticFolder()},
                   temporary)
                   .exitCode);
  EXPECT_TRUE(
      sameFloats(facefeature_tools::readFeatureFile(single).values, opened.feature(1).values, 502));
}

}  // namespace
}  // namespace facefeature_test
