#include "model/model_link.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "base/failure.h"
#include "tools/model/model_link_folders.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

using facefeature_tools::Failure;
using facefeature_tools::kModelFolderName;
using facefeature_tools::libraryModelFolder;
using facefeature_tools::ModelLink;

class ModelLinkTest : public ModelLinkFolders {
 protected:
  // Runs in a child that has created the link, and returns the child's status for waitpid's macros.
  // inParent gets the child's process id once the link exists.
  int statusOfChild(const std::function<void()>& beforeLink, const std::function<void()>& afterLink,
                    const std::function<void(pid_t)>& inParent) {
    int ready[2];
    if (pipe(ready) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
      beforeLink();
      const ModelLink link(model);
      if (!fs::exists(libraryModelFolder() + "/6-0")) _exit(99);
      if (write(ready[1], "x", 1) != 1) _exit(98);
      afterLink();
      for (;;) pause();
    }
    char byte;
    EXPECT_EQ(1, read(ready[0], &byte, 1));
    close(ready[0]);
    close(ready[1]);
    inParent(child);
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }
};

TEST_F(ModelLinkTest, DefaultFolderFollowsTheTemporaryFolder) {
  setenv("TMPDIR", "/some/where", 1);
  EXPECT_EQ("/some/where/~kwplugintmp~", libraryModelFolder());
  setenv("TMPDIR", "/some/where/", 1);
  EXPECT_EQ("/some/where/~kwplugintmp~", libraryModelFolder());
  setenv("TMPDIR", "", 1);
  EXPECT_EQ("/tmp/~kwplugintmp~", libraryModelFolder());
  unsetenv("TMPDIR");
  EXPECT_EQ("/tmp/~kwplugintmp~", libraryModelFolder());
}

TEST_F(ModelLinkTest, FolderOfAnyNameIsReachedThroughAPrivateLink) {
  {
    const ModelLink link(model);
    const std::string folder = getenv("TMPDIR");
    EXPECT_EQ(temporary, fs::path(folder).parent_path());
    struct stat status;
    ASSERT_EQ(0, lstat(folder.c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 07777u);
    EXPECT_TRUE(fs::is_symlink(folder + "/" + kModelFolderName));
    EXPECT_EQ("x", contentOf(libraryModelFolder() + "/6-0"));
  }
  EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ModelLinkTest, FolderOfTheRightNameIsUsedDirectly) {
  const std::string named = base + "/~kwplugintmp~";
  fs::rename(model, named);
  for (const std::string& spelling :
       {named, named + "/", named + "/.", named + "/../~kwplugintmp~"}) {
    setenv("TMPDIR", temporary.c_str(), 1);
    const ModelLink link(spelling);
    EXPECT_EQ(fs::canonical(base).string(), getenv("TMPDIR"));
    EXPECT_TRUE(fs::is_empty(temporary));
  }
  EXPECT_TRUE(fs::exists(named + "/6-0"));
}

TEST_F(ModelLinkTest, RelativeFolderIsReachedFromAnywhere) {
  const fs::path before = fs::current_path();
  fs::current_path(base);
  {
    const ModelLink link("my model");
    fs::current_path(before);
    EXPECT_EQ("x", contentOf(libraryModelFolder() + "/6-0"));
  }
  EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ModelLinkTest, MissingFolderIsAFaultOfTheModel) {
  try {
    const ModelLink link(base + "/none");
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(facefeature_tools::kBadModel, failure.code());
  }
  EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ModelLinkTest, TemporaryFolderThatIsMissingIsNamed) {
  setenv("TMPDIR", (base + "/none").c_str(), 1);
  try {
    const ModelLink link(model);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(facefeature_tools::kFailed, failure.code());
    EXPECT_EQ(0u, std::string(failure.what()).find(base + "/none/facefeature-"));
  }
}

TEST_F(ModelLinkTest, TerminationSignalsRemoveTheLinkAndEndTheProcess) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    const int status = statusOfChild([] {}, [] {}, [&](pid_t child) { kill(child, number); });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(number, WTERMSIG(status));
    EXPECT_TRUE(nothingIsLeft()) << "after signal " << number;
  }
}

TEST_F(ModelLinkTest, IgnoredSignalStaysIgnored) {
  const int status = statusOfChild([] { signal(SIGHUP, SIG_IGN); }, [] {},
                                   [&](pid_t child) {
                                     kill(child, SIGHUP);
                                     EXPECT_FALSE(fs::is_empty(temporary));
                                     kill(child, SIGTERM);
                                   });
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(SIGTERM, WTERMSIG(status));
  EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ModelLinkTest, ExitRemovesTheLink) {
  const int status = statusOfChild([] {}, [] { exit(1); }, [](pid_t) {});
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(1, WEXITSTATUS(status));
  EXPECT_TRUE(nothingIsLeft());
}

}  // namespace
}  // namespace facefeature_test
