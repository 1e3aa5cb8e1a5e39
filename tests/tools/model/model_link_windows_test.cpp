#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "base/failure.h"
#include "model/model_link.h"
#include "tools/model/model_link_folders.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

using facefeature_tools::Failure;
using facefeature_tools::libraryModelFolder;
using facefeature_tools::ModelLink;

using ModelLinkTest = ModelLinkFolders;

TEST_F(ModelLinkTest, DefaultFolderFollowsTheTemporaryFolder) {
  EXPECT_EQ(temporary + "\\~kwplugintmp~", libraryModelFolder());
}

TEST_F(ModelLinkTest, FilesOfAnyFolderAreReachedThroughAPrivateOne) {
  {
    const ModelLink link(model);
    EXPECT_EQ(temporary, fs::path(getenv("TMP")).parent_path().string());
    EXPECT_EQ("x", contentOf(libraryModelFolder() + "\\6-0"));
  }
  EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ModelLinkTest, FolderOfTheRightNameIsUsedDirectly) {
  const std::string named = base + "\\~kwplugintmp~";
  fs::rename(model, named);
  const ModelLink link(named);
  EXPECT_EQ("x", contentOf(libraryModelFolder() + "\\6-0"));
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
