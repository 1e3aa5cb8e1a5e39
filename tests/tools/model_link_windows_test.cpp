#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "failure.h"
#include "model_link.h"
#include "run_program.h"
#include "support/environment.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

using facefeature_tools::defaultModelFolder;
using facefeature_tools::Failure;
using facefeature_tools::ModelLink;

// An empty temporary folder, and beside it a folder that plays a model. TMP is set back after.
class ModelLinkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(temporary);
    fs::create_directories(model);
    writeText(model + "\\6-0", "x");
    setVariable("TMP", temporary);
  }
  void TearDown() override {
    setVariable("TMP", privateTempFolder());
    fs::remove_all(base);
  }

  bool nothingIsLeft() const { return fs::is_empty(temporary) && fs::exists(model + "\\6-0"); }

  const std::string base = privateTempFolder() + "\\links";
  const std::string temporary = base + "\\temporary";
  const std::string model = base + "\\my model";
};

TEST_F(ModelLinkTest, DefaultFolderFollowsTheTemporaryFolder) {
  EXPECT_EQ(temporary + "\\~kwplugintmp~", defaultModelFolder());
}

TEST_F(ModelLinkTest, FilesOfAnyFolderAreReachedThroughAPrivateOne) {
  {
    const ModelLink link(model);
    EXPECT_EQ(temporary, fs::path(getenv("TMP")).parent_path().string());
    EXPECT_EQ("x", contentOf(defaultModelFolder() + "\\6-0"));
  }
  EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ModelLinkTest, FolderThatBearsTheNameIsUsedWhereItIs) {
  const std::string named = base + "\\~kwplugintmp~";
  fs::rename(model, named);
  const ModelLink link(named);
  EXPECT_EQ("x", contentOf(defaultModelFolder() + "\\6-0"));
  EXPECT_TRUE(fs::is_empty(temporary));
}

TEST_F(ModelLinkTest, MissingFolderIsAFaultOfTheModel) {
  try {
    const ModelLink link(base + "\\none");
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(facefeature_tools::kBadModel, failure.code());
  }
  EXPECT_TRUE(nothingIsLeft());
}

}  // namespace
}  // namespace facefeature_test
