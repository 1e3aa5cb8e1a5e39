// The scripts of examples/batch: each gives the gallery of a single undisturbed run.
#include <cstdlib>

#include "tools/verbs/batch_fixture.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

bool isInstalled(const std::string& command) {
  return std::system(("command -v " + command + " >/dev/null").c_str()) == 0;
}

class BatchExamples : public Batch {
 protected:
  void SetUp() override {
    Batch::SetUp();
    writeList({kOrdinary, 21, kAborts, 22, 23, 24, 25});
    wanted = undisturbed();
  }

  // Runs a shell command with $LIST, $MODEL and $OUT.
  Outcome shell(const std::string& line) const {
    const std::string start = "export FACEFEATURE=" + program + " LIST=" + list +
                              " MODEL=" + model + " OUT=" + out + "; cd " + FACEFEATURE_SOURCE_DIR +
                              "; ";
    return runProgram({"-c", start + line}, temporary, "/bin/bash");
  }

  void mergeParts() const {
    const Outcome outcome =
        shell("$FACEFEATURE gallery merge $OUT/part-*.gallery -o $OUT/faces.gallery");
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  }

  const std::string out = base + "/out";
  const std::string faces = out + "/faces.gallery";
  std::string wanted;
};

TEST_F(BatchExamples, SlurmArrayGivesTheWholeGallery) {
  // The variables as Slurm sets them. Slurm need not be installed.
  for (int task = 12; task >= 1; --task) {
    const Outcome outcome = shell("SLURM_ARRAY_TASK_ID=" + std::to_string(task) +
                                  " SLURM_ARRAY_TASK_COUNT=12 SLURM_CPUS_PER_TASK=2"
                                  " examples/batch/slurm_array.sh $LIST $MODEL $OUT");
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  }
  mergeParts();
  EXPECT_EQ(wanted, contentOf(faces));
  // Each part has a report, and the report of the failed photograph names it.
  EXPECT_EQ(0, shell("test $(cat $OUT/part-*.csv | grep -c '^p3,.*,failed,') = 1").exitCode);
}

TEST_F(BatchExamples, SlurmTaskThatFailsPermanentlyReportsIt) {
  fs::remove(model + "/6-1");
  EXPECT_EQ(4, shell("SLURM_ARRAY_TASK_ID=1 SLURM_ARRAY_TASK_COUNT=2"
                     " examples/batch/slurm_array.sh $LIST $MODEL $OUT")
                   .exitCode);
}

TEST_F(BatchExamples, GnuParallelGivesTheWholeGallery) {
  if (!isInstalled("parallel")) GTEST_SKIP() << "parallel is not here (Debian: parallel)";
  const Outcome outcome = shell("examples/batch/gnu_parallel.sh $LIST $MODEL $OUT 3");
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ(wanted, contentOf(faces));
}

TEST_F(BatchExamples, MpiLauncherGivesTheWholeGallery) {
  if (!isInstalled("mpirun")) GTEST_SKIP() << "mpirun is not here (Debian: openmpi-bin)";
  // By default, mpirun refuses to run as root and with more ranks than processors.
  const Outcome outcome = shell(
      "export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1; "
      "mpirun --oversubscribe -n 3 examples/batch/mpi_rank.sh $LIST $MODEL $OUT");
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  mergeParts();
  EXPECT_EQ(wanted, contentOf(faces));
}

TEST_F(BatchExamples, RanksOfOtherLaunchersGiveTheWholeGallery) {
  for (const char* rank : {"0", "1"}) {
    const Outcome outcome = shell(std::string("PMI_SIZE=2 PMI_RANK=") + rank +
                                  " examples/batch/mpi_rank.sh $LIST $MODEL $OUT");
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  }
  mergeParts();
  EXPECT_EQ(wanted, contentOf(faces));
}

}  // namespace
}  // namespace facefeature_test
