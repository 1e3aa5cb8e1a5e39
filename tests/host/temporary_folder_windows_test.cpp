// From the result of GetTempPathA to the model folder, and the limits of the two buffers.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "host/linked_model.h"
#include "host/probe_run.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

const Steps kCreation = {"load", "create", "a", "destroy", "a", "unload"};

// The exit status with which the C runtime ends a process for a text that is too long.
constexpr int kEndedByACheck = static_cast<int>(0xC0000409u);

constexpr size_t kModelFolderBytes = 15;  // "\~kwplugintmp~\"

// A folder whose path has this many characters, padded with subfolders.
std::string folderOfLength(size_t length) {
  std::string path = privateTempFolder() + "\\long";
  while (length - path.size() > 120) path += "\\" + std::string(99, 'd');
  path += "\\" + std::string(length - path.size() - 1, 'e');
  EXPECT_EQ(length, path.size());
  return path;
}

TEST(TemporaryFolder, ABackslashAtTheEndMakesNoDifference) {
  const LinkedModel model;
  model.remove("1-1-1");
  const std::string without = outputOf(runProbe(model.temporaryFolder(), kCreation));
  EXPECT_EQ(loadLine(model, "1-1-1") + "a made\n", without);
  EXPECT_EQ(without, outputOf(runProbe(model.temporaryFolder() + "\\", kCreation)));
}

TEST(TemporaryFolder, IsReadWhenTheLibraryIsLoadedAndNotAgain) {
  const LinkedModel model;
  const std::string elsewhere = privateTempFolder() + "\\not-there";
  EXPECT_EQ("a made\na null\n",
            outputOf(runProbe(elsewhere, {"setenv", "TMP", model.temporaryFolder(), "load",
                                          "setenv", "TMP", elsewhere, "create", "a", "destroy", "a",
                                          "unload", "load", "create", "a", "unload"})));
}

// The result ends in a backslash and a NUL, and a buffer of 256 bytes holds both.
TEST(TemporaryFolder, APathThatDoesNotFitItsBufferEndsTheLoading) {
  for (const size_t length : {253, 254, 255, 256}) {
    SCOPED_TRACE(length);
    const ChildResult result = runProbe(folderOfLength(length), {"load", "mapped", "unload"});
    EXPECT_EQ(length <= 254 ? 0 : kEndedByACheck, result.exitStatus) << result.err;
    EXPECT_EQ(length <= 254 ? "mapped yes\n" : "", result.out);
  }
}

// "0-1-0" is the first name: the folder, two backslashes, five characters, a NUL.
TEST(TemporaryFolder, AnEngineFileWhosePathDoesNotFitItsBufferEndsTheCreation) {
  const size_t longest = 259 - kModelFolderBytes - 1 - 5;
  for (const size_t length : {longest, longest + 1}) {
    SCOPED_TRACE(length);
    const ChildResult result = runProbe(folderOfLength(length), kCreation);
    EXPECT_EQ(length == longest ? 0 : kEndedByACheck, result.exitStatus) << result.err;
    EXPECT_EQ(length == longest ? "a null\n" : "", result.out);
  }
}

// From the tenth patch on, names are one character longer.
TEST(TemporaryFolder, NamesOfSixCharactersMustFitToo) {
  const size_t longest = 259 - kModelFolderBytes - 1 - 6;
  for (const size_t length : {longest, longest + 1}) {
    SCOPED_TRACE(length);
    const LinkedModel model;
    const std::string folder = folderOfLength(length);
    std::filesystem::create_directories(folder);
    std::filesystem::rename(model.folder(), folder + "\\~kwplugintmp~");
    const ChildResult result = runProbe(folder, kCreation);
    EXPECT_EQ(length == longest ? 0 : kEndedByACheck, result.exitStatus) << result.err;
    EXPECT_EQ(length == longest ? "a made\n" : "", result.out);
    std::filesystem::remove_all(privateTempFolder() + "\\long");
  }
}

}  // namespace
}  // namespace facefeature_test
