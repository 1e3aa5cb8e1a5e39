// From the temporary folder of the system to the model folder.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "host/linked_model.h"
#include "host/probe_run.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

const Steps kCreation = {"load", "create", "a", "destroy", "a", "unload"};

TEST(TemporaryFolder, ASeparatorAtTheEndMakesNoDifference) {
  const LinkedModel model;
  model.remove("1-1-1");
  const std::string without = outputOf(runProbe(model.temporaryFolder(), kCreation));
  EXPECT_EQ(loadLine(model, "1-1-1") + "a made\n", without);
  EXPECT_EQ(without, outputOf(runProbe(model.temporaryFolder() + "/", kCreation)));
}

TEST(TemporaryFolder, OnlyTheLastOfSeveralSeparatorsIsCut) {
  const LinkedModel model;
  model.remove("1-1-1");
  EXPECT_EQ("load " + model.temporaryFolder() + "//~kwplugintmp~/1-1-1 failed\na made\n",
            outputOf(runProbe(model.temporaryFolder() + "//", kCreation)));
}

TEST(TemporaryFolder, LongPathsAreReadToo) {
  const LinkedModel model;
  model.remove("5-25-3");
  std::string deep = privateTempFolder() + "/deep";
  for (int32_t level = 0; level < 8; ++level) deep += "/" + std::string(100, 'd');
  std::filesystem::create_directories(deep);
  std::filesystem::rename(model.folder(), deep + "/~kwplugintmp~");
  EXPECT_EQ("load " + deep + "/~kwplugintmp~/5-25-3 failed\na made\n",
            outputOf(runProbe(deep, kCreation)));
  std::filesystem::remove_all(privateTempFolder() + "/deep");
}

TEST(TemporaryFolder, IsReadWhenTheLibraryIsLoadedAndNotAgain) {
  const LinkedModel model;
  const std::string elsewhere = privateTempFolder() + "/not-there";
  EXPECT_EQ("a made\na null\n",
            outputOf(runProbe(elsewhere, {"setenv", "TMPDIR", model.temporaryFolder(), "load",
                                          "setenv", "TMPDIR", elsewhere, "create", "a", "destroy",
                                          "a", "unload", "load", "create", "a", "unload"})));
}

}  // namespace
}  // namespace facefeature_test
