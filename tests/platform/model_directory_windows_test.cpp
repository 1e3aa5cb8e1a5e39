#include <gtest/gtest.h>

#include <string>

#include "engine/model_files.h"
#include "platform/model_directory.h"
#include "platform/platform.h"
#include "support/temporary_folder_variable.h"

namespace facefeature_test {
namespace {

using facefeature::engineFilePath;
using facefeature::ModelDirectory;
using facefeature::tempBasePath;
using facefeature::temporaryFolder;
using facefeature::withoutLastComponent;

TEST(WithoutLastComponent, ABackslashAtTheEndGoesAlone) {
  EXPECT_EQ("C:\\Temp", withoutLastComponent("C:\\Temp\\"));
  EXPECT_EQ("C:", withoutLastComponent("C:\\"));
  EXPECT_EQ("C:\\a b\\Temp", withoutLastComponent("C:\\a b\\Temp\\"));
}

TEST(WithoutLastComponent, APathWithoutABackslashAtItsEndLosesItsLastName) {
  EXPECT_EQ("C:", withoutLastComponent("C:\\Temp"));
  EXPECT_EQ("C:\\a", withoutLastComponent("C:\\a\\b/c"));
}

TEST(WithoutLastComponent, OfDoubledBackslashesOnlyTheLastGoes) {
  EXPECT_EQ("C:\\Temp\\", withoutLastComponent("C:\\Temp\\\\"));
}

TEST(WithoutLastComponentDeathTest, WithoutABackslashTheProcessTerminates) {
  for (const char* path : {"", "C:Temp", "C:/Temp/"}) {
    EXPECT_EXIT(withoutLastComponent(path),
                ::testing::ExitedWithCode(static_cast<int>(0xC0000409u)), "")
        << path;
  }
}

TEST(TemporaryFolder, TheVariableGetsABackslashAtItsEndUnlessItHasOne) {
  for (const char* value : {"C:\\somewhere\\else", "C:\\somewhere\\else\\"}) {
    const TemporaryFolderVariable variable(value);
    EXPECT_EQ("C:\\somewhere\\else\\", temporaryFolder());
  }
}

TEST(TemporaryFolder, AnAnswerThatDoesNotFit256BytesIsLost) {
  const std::string fits = "C:\\" + std::string(251, 'x');
  {
    const TemporaryFolderVariable variable(fits);
    EXPECT_EQ(fits + "\\", temporaryFolder());
    EXPECT_EQ(255u, temporaryFolder().size());
  }
  const TemporaryFolderVariable variable(fits + "x");
  EXPECT_EQ("", temporaryFolder());
}

TEST(ModelDirectory, IsTheFolderBelowTheTemporaryOneWithABackslashAtItsEnd) {
  EXPECT_EQ(privateTempFolder(), tempBasePath);
  EXPECT_EQ(tempBasePath + "\\~kwplugintmp~\\", ModelDirectory);
}

TEST(ModelDirectory, ALaterChangeOfTheVariableIsNotSeen) {
  const std::string before = ModelDirectory;
  const TemporaryFolderVariable variable("C:\\somewhere\\else");
  EXPECT_EQ(before, ModelDirectory);
  EXPECT_EQ(before + "\\6-0", engineFilePath("6-0"));
}

TEST(EngineFilePath, TheBackslashBeforeTheNameIsDoubled) {
  EXPECT_EQ(privateTempFolder() + "\\~kwplugintmp~\\\\0-1-0", engineFilePath("0-1-0"));
}

TEST(EngineFilePathDeathTest, APathOfMoreThan259CharactersTerminatesTheProcess) {
  const size_t room = 259 - (ModelDirectory.size() + 1);
  EXPECT_EQ(259u, engineFilePath(std::string(room, 'n')).size());
  EXPECT_EXIT(engineFilePath(std::string(room + 1, 'n')),
              ::testing::ExitedWithCode(static_cast<int>(0xC0000409u)), "");
}

}  // namespace
}  // namespace facefeature_test
