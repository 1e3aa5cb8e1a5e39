#include "platform/model_directory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "engine/model_files.h"
#include "platform/platform.h"
#include "support/temporary_folder_variable.h"

namespace facefeature_test {
namespace {

using facefeature::ModelDirectory;
using facefeature::tempBasePath;
using facefeature::temporaryFolder;
using facefeature::withoutLastComponent;

TEST(WithoutLastComponent, ASeparatorAtTheEndGoesAlone) {
  EXPECT_EQ("/tmp", withoutLastComponent("/tmp/"));
  EXPECT_EQ("/home/some one/tmp", withoutLastComponent("/home/some one/tmp/"));
  EXPECT_EQ("relative", withoutLastComponent("relative/"));
}

TEST(WithoutLastComponent, APathWithoutASeparatorAtItsEndLosesItsLastName) {
  EXPECT_EQ("/var", withoutLastComponent("/var/tmp"));
  EXPECT_EQ("", withoutLastComponent("/tmp"));
}

TEST(WithoutLastComponent, OfDoubledSeparatorsOnlyTheLastGoes) {
  EXPECT_EQ("/tmp/", withoutLastComponent("/tmp//"));
}

TEST(WithoutLastComponent, TheRootBecomesTheEmptyText) { EXPECT_EQ("", withoutLastComponent("/")); }

TEST(TemporaryFolder, TheVariableGetsASeparatorAtItsEndUnlessItHasOne) {
  {
    const TemporaryFolderVariable variable("/somewhere/else");
    EXPECT_EQ("/somewhere/else/", temporaryFolder());
  }
  {
    const TemporaryFolderVariable variable("/somewhere/else/");
    EXPECT_EQ("/somewhere/else/", temporaryFolder());
  }
}

TEST(TemporaryFolder, WithoutTheVariableOrWithAnEmptyOneItIsTmp) {
  {
    const TemporaryFolderVariable variable(nullptr);
    EXPECT_EQ("/tmp/", temporaryFolder());
  }
  {
    const TemporaryFolderVariable variable("");
    EXPECT_EQ("/tmp/", temporaryFolder());
  }
}

TEST(TemporaryFolder, HasNoLimitOfLength) {
  std::string path;
  for (int i = 0; i < 300; ++i) path += "/component-" + std::to_string(i);
  const TemporaryFolderVariable variable(path.c_str());
  EXPECT_EQ(path + "/", temporaryFolder());
}

TEST(ModelDirectory, IsTheFolderBelowTheTemporaryOneWithASeparatorAtItsEnd) {
  EXPECT_EQ(privateTempFolder(), tempBasePath);
  EXPECT_EQ(tempBasePath + "/~kwplugintmp~/", ModelDirectory);
}

TEST(ModelDirectory, ALaterChangeOfTheVariableIsNotSeen) {
  const std::string before = ModelDirectory;
  const TemporaryFolderVariable variable("/somewhere/else");
  EXPECT_EQ(before, ModelDirectory);
  EXPECT_EQ(before + "/6-0", facefeature::engineFilePath("6-0"));
}

TEST(EngineFilePath, TheSeparatorBeforeTheNameIsDoubled) {
  EXPECT_EQ(privateTempFolder() + "/~kwplugintmp~//0-1-0", facefeature::engineFilePath("0-1-0"));
  EXPECT_EQ(privateTempFolder() + "/~kwplugintmp~//6-2", facefeature::engineFilePath("6-2"));
}

}  // namespace
}  // namespace facefeature_test
