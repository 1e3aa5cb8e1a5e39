// "facefeature extract --list" interrupted, killed, without disk space, and resumed.
#include <csignal>

#include "model/model_fingerprint.h"
#include "tools/verbs/batch_fixture.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::Gallery;
using Ids = std::vector<std::string>;

std::string fingerprintOf(const std::string& model) {
  return facefeature_tools::hexText(facefeature_tools::modelFingerprint(model));
}

class BatchResumed : public Batch {
 protected:
  // Five photographs that finish at once, and two that keep two workers busy forever.
  void writeListThatNeverEnds() const { writeList({kOrdinary, 21, 22, 23, kSleeps, kSleeps, 24}); }

  // The same list, with fast photographs instead of the two endless ones.
  void writeListThatEnds() const { writeList({kOrdinary, 21, 22, 23, 25, 26, 24}); }

  // Starts a run of the endless list and waits until nothing more happens.
  std::unique_ptr<StartedProgram> started() const {
    writeListThatNeverEnds();
    auto run = std::make_unique<StartedProgram>(arguments({"--jobs", "2"}), temporary, program);
    waitForFeatures(4);
    // Until both workers have received an endless photograph.
    usleep(300000);
    return run;
  }

  // Expects that a resumed run gives the result of an undisturbed one.
  void expectResumedEqualsUndisturbed() const {
    writeListThatEnds();
    // Finished photographs are not extracted again: they have even been deleted.
    const std::string wanted = undisturbed();
    for (int number = 1; number <= 4; ++number) {
      fs::remove(base + "/p" + std::to_string(number) + ".ppm");
    }
    const Outcome outcome = extract({"--resume", "--jobs", "2"});
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
    EXPECT_EQ(wanted, contentOf(gallery));
    EXPECT_FALSE(fs::exists(journal));
    EXPECT_FALSE(fs::exists(unfinished));
  }
};

TEST_F(BatchResumed, InterruptedLeavesAGalleryOfWhatIsDone) {
  for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
    const auto run = started();
    const std::vector<pid_t> workers = childrenOf(run->process());
    EXPECT_EQ(2u, workers.size());
    kill(run->process(), signalNumber);
    const Outcome outcome = run->outcome();
    EXPECT_EQ(signalNumber, outcome.signal) << outcome.err;
    EXPECT_EQ((Ids{"p1", "p2", "p3", "p4"}), idsIn(unfinished));
    EXPECT_FALSE(fs::exists(gallery));
    EXPECT_TRUE(contains(outcome.err,
                         "interrupted. " + unfinished + ": 4 features, 0 photographs failed. "))
        << outcome.err;
    for (const pid_t worker : workers) EXPECT_TRUE(hasEnded(worker));
    expectNothingLeftBehind();
    expectResumedEqualsUndisturbed();
    fs::remove(gallery);
  }
}

TEST_F(BatchResumed, SignalsToAllItsProcessesLoseNoPhotograph) {
  const auto run = started();
  for (const pid_t worker : childrenOf(run->process())) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) kill(worker, number);
  }
  usleep(300000);
  EXPECT_EQ(2u, childrenOf(run->process()).size());
  kill(run->process(), SIGINT);
  EXPECT_FALSE(contains(run->outcome().err, "the worker"));
}

TEST_F(BatchResumed, KilledLosesNothingAndLeavesNoWorkers) {
  const auto run = started();
  const std::vector<pid_t> workers = childrenOf(run->process());
  ASSERT_EQ(2u, workers.size());
  kill(run->process(), SIGKILL);
  EXPECT_EQ(SIGKILL, run->outcome().signal);
  for (const pid_t worker : workers) {
    for (int tries = 0; tries < 500 && !hasEnded(worker); ++tries) usleep(10000);
    EXPECT_TRUE(hasEnded(worker));
  }
  EXPECT_FALSE(fs::exists(gallery));
  EXPECT_TRUE(fs::exists(journal));
  expectResumedEqualsUndisturbed();
}

TEST_F(BatchResumed, KilledWithinARecordExtractsThatOneAgain) {
  for (const size_t cut : {1u, 9u, 1000u, 2013u, 2021u}) {
    const auto run = started();
    kill(run->process(), SIGKILL);
    run->outcome();
    fs::resize_file(journal, fs::file_size(journal) - cut);
    writeListThatEnds();
    const std::string wanted = undisturbed();
    EXPECT_EQ(0, extract({"--resume"}).exitCode);
    EXPECT_EQ(wanted, contentOf(gallery)) << cut;
    fs::remove(gallery);
  }
}

TEST_F(BatchResumed, DamagedEndOfTheJournalIsNotReadAsFeatures) {
  for (const std::string& rubbish :
       {std::string(5000, '\0'), std::string(5000, 'x'), std::string("\x02\0\0\0p7", 6)}) {
    const auto run = started();
    kill(run->process(), SIGKILL);
    run->outcome();
    writeText(journal, contentOf(journal) + rubbish);
    expectResumedEqualsUndisturbed();
    fs::remove(gallery);
  }
}

TEST_F(BatchResumed, KilledWorkerLosesOnePhotographAndIsReplaced) {
  const auto run = started();
  const std::vector<pid_t> workers = childrenOf(run->process());
  ASSERT_EQ(2u, workers.size());
  for (const pid_t worker : workers) kill(worker, SIGKILL);
  const Outcome outcome = run->outcome();
  EXPECT_EQ(3, outcome.exitCode);
  EXPECT_EQ((Ids{"p1", "p2", "p3", "p4", "p7"}), idsIn(gallery));
  EXPECT_EQ(2u, timesIn(outcome.err, ".ppm: the worker was killed by signal 9 ("));
  expectNothingLeftBehind();
}

// A worker that has several photographs loses none of them.
TEST_F(BatchResumed, WorkersThatAreKilledWithSeveralPhotographsCostNone) {
  std::vector<uint32_t> widths(24, kOrdinary);
  std::fill_n(widths.begin(), 10, kTakesItsTime);
  writeList(widths);
  const std::string wanted = undisturbed();
  StartedProgram run(arguments({"--jobs", "1", "--batch", "12"}), temporary, program);
  std::vector<pid_t> workers;
  for (int tries = 0; tries < 1000 && workers.empty(); ++tries) {
    usleep(10000);
    workers = childrenOf(run.process());
  }
  ASSERT_EQ(1u, workers.size());
  // Within the first 12 photographs, which take 3 seconds.
  usleep(1500000);
  kill(workers[0], SIGKILL);
  const Outcome outcome = run.outcome();
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ(wanted, contentOf(gallery));
  expectNothingLeftBehind();
}

TEST_F(BatchResumed, RunThatDidNotEndIsNotOverwritten) {
  const auto run = started();
  kill(run->process(), SIGKILL);
  run->outcome();
  const std::string before = contentOf(journal);
  const Outcome outcome = extract();
  EXPECT_EQ(2, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, journal + ": is left from a run that did not finish. "));
  EXPECT_EQ(before, contentOf(journal));
}

TEST_F(BatchResumed, TwoRunsDoNotWriteOneGallery) {
  const auto run = started();
  const Outcome second = extract({"--resume"});
  EXPECT_EQ(1, second.exitCode);
  EXPECT_TRUE(contains(second.err, journal + ": is being written by another process. "));
  kill(run->process(), SIGINT);
  EXPECT_EQ(SIGINT, run->outcome().signal);
  expectResumedEqualsUndisturbed();
}

TEST_F(BatchResumed, AnotherModelExitsWith4AndNamesBoth) {
  const auto run = started();
  kill(run->process(), SIGKILL);
  run->outcome();
  const std::string first = fingerprintOf(model);
  std::string bytes = contentOf(model + "/6-0");
  bytes[5] = 1;
  writeText(model + "/6-0", bytes);
  const std::string second = fingerprintOf(model);
  const Outcome outcome = extract({"--resume"});
  EXPECT_EQ(4, outcome.exitCode);
  EXPECT_TRUE(
      contains(outcome.err, journal + ": was made with the model " + first + ", not of " + second))
      << outcome.err;

  // The same if the earlier run has completed.
  fs::remove(journal);
  writeListThatEnds();
  ASSERT_EQ(0, extract().exitCode);
  bytes[5] = 0;
  writeText(model + "/6-0", bytes);
  const Outcome ended = extract({"--resume"});
  EXPECT_EQ(4, ended.exitCode);
  EXPECT_TRUE(
      contains(ended.err, gallery + ": was made with the model " + second + ", not of " + first))
      << ended.err;
  // No run was started, so nothing prevents a run with the right model.
  EXPECT_FALSE(fs::exists(journal));
}

TEST_F(BatchResumed, AnotherFileInsteadOfTheJournalIsRefused) {
  writeListThatEnds();
  writeText(journal, std::string(300, 'n'));
  const Outcome outcome = extract({"--resume"});
  EXPECT_EQ(3, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, journal + ": is not a journal of this program. "));
  EXPECT_EQ(std::string(300, 'n'), contentOf(journal));
}

TEST_F(BatchResumed, AfterItsEndExtractsWhatFailedAndWhatIsNew) {
  writeList({kOrdinary, kAborts, 22});
  EXPECT_EQ(3, extract().exitCode);
  writeList({kOrdinary, 21, 22, 23});
  const std::string wanted = undisturbed();
  fs::remove(base + "/p1.ppm");
  fs::remove(base + "/p3.ppm");
  const Outcome outcome = extract({"--resume"});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ(wanted, contentOf(gallery));
}

TEST_F(BatchResumed, WithNothingToContinueIsAnOrdinaryRun) {
  writeListThatEnds();
  const std::string wanted = undisturbed();
  EXPECT_EQ(0, extract({"--resume"}).exitCode);
  EXPECT_EQ(wanted, contentOf(gallery));
}

TEST_F(BatchResumed, ReportKeepsWhatItSaidOfPhotographsThatAreNotDoneAgain) {
  writeListThatEnds();
  // Landmarks for a picture of a different size cause a warning; a missing picture is a failure.
  fs::copy_file(base + "/p2.ppm", base + "/p1.ppm", fs::copy_options::overwrite_existing);
  const std::string third = contentOf(base + "/p3.ppm");
  fs::remove(base + "/p3.ppm");
  EXPECT_EQ(3, extract({"--report", report}).exitCode);
  const std::string first = contentOf(report);
  EXPECT_TRUE(contains(first, "p1,")) << first;
  EXPECT_TRUE(contains(first, ",failed,")) << first;

  EXPECT_EQ(3, extract({"--resume", "--report", report}).exitCode);
  EXPECT_EQ(first, contentOf(report));

  writeText(base + "/p3.ppm", third);
  EXPECT_EQ(0, extract({"--resume", "--report", report}).exitCode);
  EXPECT_TRUE(contains(contentOf(report), "p1,"));
  EXPECT_FALSE(contains(contentOf(report), ",failed,"));
}

TEST_F(BatchResumed, RunThatIsRefusedLeavesTheEarlierReport) {
  const auto run = started();
  kill(run->process(), SIGKILL);
  run->outcome();
  writeText(report, "of an earlier run\n");
  EXPECT_EQ(2, extract({"--report", report}).exitCode);
  EXPECT_EQ("of an earlier run\n", contentOf(report));
  EXPECT_FALSE(fs::exists(report + ".part"));
}

TEST_F(BatchResumed, FullDiskEndsTheRunWhichContinuesWithMoreRoom) {
  writeListThatEnds();
  const std::string wanted = undisturbed();
  // A limit on the file size acts like a full disk. Five features don't fit.
  const std::string command = "trap '' XFSZ; ulimit -f 8; exec " + program + " extract --list " +
                              list + " -o " + gallery + " --model " + model + " --jobs 2";
  const Outcome outcome = runProgram({"-c", command}, temporary, "/bin/bash");
  EXPECT_EQ(1, outcome.exitCode) << outcome.err;
  EXPECT_TRUE(contains(outcome.err, journal + ": can't be written: ")) << outcome.err;
  EXPECT_FALSE(fs::exists(gallery));
  EXPECT_TRUE(fs::is_empty(temporary));
  EXPECT_EQ(0, extract({"--resume"}).exitCode);
  EXPECT_EQ(wanted, contentOf(gallery));
}

}  // namespace
}  // namespace facefeature_test
