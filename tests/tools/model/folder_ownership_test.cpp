#include "model/folder_ownership.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/model/synthetic_folder.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using facefeature_tools::callingUser;
using facefeature_tools::OwnershipWarning;
using facefeature_tools::ownershipWarnings;

namespace fs = std::filesystem;

constexpr uint32_t kStranger = 12345;

void setMode(const std::string& path, mode_t mode) { ASSERT_EQ(0, chmod(path.c_str(), mode)); }

// A model folder with its own files, in a separate temporary folder.
class FolderOwnership : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(folder);
    for (const auto& file : fs::directory_iterator(syntheticFolder())) {
      fs::create_hard_link(file.path(), fs::path(folder) / file.path().filename());
    }
  }

  // A file that belongs to that folder, not a link to the file that all tests share.
  std::string ownFile(const std::string& name) {
    const std::string path = folder + "/" + name;
    const std::string bytes = contentOf(path);
    fs::remove(path);
    writeText(path, bytes);
    return path;
  }

  void expectNoWarning() { EXPECT_TRUE(ownershipWarnings(folder, callingUser()).empty()); }

  void expectWarning(const std::string& path, const std::string& warning, size_t others = 0) {
    expectWarningAbout(callingUser(), path, warning, others);
  }

  void expectWarningAbout(uint32_t caller, const std::string& path, const std::string& warning,
                          size_t others = 0) {
    const std::vector<OwnershipWarning> warnings = ownershipWarnings(folder, caller);
    ASSERT_EQ(1u, warnings.size());
    EXPECT_EQ(path, warnings[0].path);
    EXPECT_EQ(warning, warnings[0].warning);
    EXPECT_EQ(others, warnings[0].others);
  }

  // The standard error of the program when the model folder is the one that the library reads.
  Outcome check(int32_t exitCode) {
    const Outcome outcome = runProgram({"model", "check", folder}, base);
    EXPECT_EQ(exitCode, outcome.exitCode);
    EXPECT_EQ("", outcome.out);
    return outcome;
  }

  const std::string base = privateTempFolder() + "/ownership";
  const std::string folder = base + "/~kwplugintmp~";
  const std::string elsewhere = base + "/elsewhere";
};

TEST_F(FolderOwnership, WhatOnlyTheCallerCanWriteRaisesNoWarning) { expectNoWarning(); }

TEST_F(FolderOwnership, AFolderThatOthersCanWriteIsNamed) {
  setMode(folder, 0775);
  expectWarning(folder, "can be written by its group " + std::to_string(getegid()));
  setMode(folder, 0757);
  expectWarning(folder, "can be written by everybody");
  setMode(folder, 01757);
  expectWarning(folder, "can be written by everybody, who can add files that are missing");
}

TEST_F(FolderOwnership, FilesThatOthersCanWriteAreNamedTogether) {
  setMode(ownFile("0-3-0"), 0664);
  const std::string group = "can be written by its group " + std::to_string(getegid());
  expectWarning(folder + "/0-3-0", group);
  setMode(ownFile("5-25-3"), 0664);
  setMode(ownFile("6-1"), 0664);
  expectWarning(folder + "/0-3-0", group, 2);
  setMode(ownFile("6-2"), 0606);
  const std::vector<OwnershipWarning> warnings = ownershipWarnings(folder, callingUser());
  ASSERT_EQ(2u, warnings.size());
  EXPECT_EQ(folder + "/6-2", warnings[1].path);
  EXPECT_EQ("can be written by everybody", warnings[1].warning);
}

TEST_F(FolderOwnership, OtherFilesInTheFolderAreIgnored) {
  writeText(folder + "/notes", "");
  setMode(folder + "/notes", 0666);
  expectNoWarning();
}

TEST_F(FolderOwnership, WhatIsMissingRaisesNoWarning) {
  fs::remove(folder + "/6-0");
  expectNoWarning();
  fs::remove_all(folder);
  expectNoWarning();
}

// Files of root never belong to somebody else. So the test gives files away if it runs as root, and
// otherwise claims to be called by another user.
TEST_F(FolderOwnership, WhatBelongsToSomebodyElseIsNamed) {
  const bool isRoot = geteuid() == 0;
  const uint32_t owner = isRoot ? kStranger : geteuid();
  const uint32_t caller = isRoot ? 0 : kStranger;
  const std::string warning = "belongs to somebody else, user " + std::to_string(owner);
  if (!isRoot) {
    expectWarningAbout(caller, folder, warning, 303);
    return;
  }
  expectNoWarning();
  ASSERT_EQ(0, chown(folder.c_str(), owner, getegid()));
  expectWarning(folder, warning);
  ASSERT_EQ(0, chown(folder.c_str(), 0, getegid()));
  ASSERT_EQ(0, chown(ownFile("2-2-1").c_str(), owner, getegid()));
  expectWarning(folder + "/2-2-1", warning);
  // For that user, they are the user's own files.
  EXPECT_TRUE(ownershipWarnings(folder, owner).empty());
}

TEST_F(FolderOwnership, TheTargetOfALinkIsChecked) {
  fs::create_directory(elsewhere);
  fs::rename(ownFile("6-1"), elsewhere + "/far");
  fs::create_symlink(elsewhere + "/far", folder + "/6-1");
  expectNoWarning();
  setMode(elsewhere + "/far", 0602);
  expectWarning(elsewhere + "/far", "can be written by everybody");
}

TEST_F(FolderOwnership, TheFolderOfALinksTargetIsChecked) {
  fs::create_directory(elsewhere);
  for (const char* name : {"6-0", "6-1"}) {
    fs::rename(ownFile(name), elsewhere + "/" + name);
    fs::create_symlink(elsewhere + "/" + name, folder + "/" + name);
  }
  setMode(elsewhere, 0777);
  const std::vector<OwnershipWarning> warnings = ownershipWarnings(folder, callingUser());
  ASSERT_EQ(2u, warnings.size());  // by its group, and by everybody; once for two files
  EXPECT_EQ(elsewhere, warnings[1].path);
  EXPECT_EQ("can be written by everybody", warnings[1].warning);
  EXPECT_EQ(0u, warnings[1].others);
}

TEST_F(FolderOwnership, AFolderThatIsALinkIsFollowed) {
  fs::rename(folder, elsewhere);
  fs::create_directory_symlink(elsewhere, folder);
  expectNoWarning();
  setMode(elsewhere, 0702);
  expectWarning(elsewhere, "can be written by everybody");
}

TEST_F(FolderOwnership, ALinkOfSomebodyElseIsNamed) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  fs::rename(folder, elsewhere);
  fs::create_directory_symlink(elsewhere, folder);
  ASSERT_EQ(0, lchown(folder.c_str(), kStranger, getegid()));
  expectWarning(folder, "is a link that belongs to somebody else, user 12345");
}

TEST_F(FolderOwnership, ADanglingLinkRaisesNoWarning) {
  fs::remove(folder + "/6-1");
  fs::create_symlink("nowhere", folder + "/6-1");
  expectNoWarning();
}

TEST_F(FolderOwnership, TheTemporaryFolderIsCheckedIfTheLibraryWouldReadThisModel) {
  const std::string line =
      "facefeature model check: " + base +
      ": warning: can be written by everybody, who can add files that are missing. "
      "Anyone who can change a model decides which faces match: make it your own (chown) and "
      "close it to others (chmod go-w).\n";
  const std::string verdict =
      "facefeature model check: " + folder + ": all 303 files are correct\n";
  EXPECT_EQ(verdict, check(0).err);
  setMode(base, 01703);
  EXPECT_EQ(line + verdict, check(0).err);
  EXPECT_EQ(verdict, runProgram({"model", "check", folder}, privateTempFolder()).err);
}

TEST_F(FolderOwnership, AWarningLeavesTheExitCodeAndTheFaultsAsTheyAre) {
  setMode(ownFile("6-1"), 0602);
  setMode(ownFile("6-2"), 0602);
  fs::remove(folder + "/3-7-2");
  EXPECT_EQ("facefeature model check: " + folder +
                "/3-7-2: is missing\n"
                "facefeature model check: " +
                folder +
                "/6-1 (and 1 more): warning: can be written by everybody. Anyone who can change "
                "a model decides which faces match: make it your own (chown) and close it to "
                "others (chmod go-w).\n"
                "facefeature model check: " +
                folder + ": 1 of 303 files are wrong. Copy the model again from its source.\n",
            check(4).err);
}

}  // namespace
}  // namespace facefeature_test
